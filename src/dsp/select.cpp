// Which version of each kernel the decoder runs (src/dsp/kernels.h): the one
// place that decides.
//
// - x86-64 (the build defines FXAAC_KERNELS_X86): at the first kernel call,
//   from the CPU's features. The level is the highest the CPU and its OS
//   support (AVX2, else SSE4.1, else portable); each kernel runs its version
//   of the highest set at or below the level that has one. The choice is a
//   table of function pointers, filled once by a thread-safe initialisation
//   of a function-local static and constant afterwards; the plain kernel
//   names call through it (one indirect call, a handful per frame).
//   For tests, the environment variable FXAAC_CPU_LEVEL (portable, sse41 or
//   avx2), read at that first call, lowers the level; it never raises it
//   above the CPU's, and an unknown value is ignored. Set it before the
//   process decodes: later changes have no effect.
// - ARM with Advanced SIMD (the build defines FXAAC_KERNELS_NEON): the NEON
//   versions, chosen when building, called directly.
// - Anything else: the portable versions.
//
// No GNU indirect functions: their resolvers run while the dynamic loader
// relocates the library, before a sanitizer runtime has started.
#include "dsp/kernel_table.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace fxaac {

const char *kernel_isa_name(KernelIsa isa)
{
    switch (isa) {
    case KernelIsa::kSse41: return "sse41";
    case KernelIsa::kAvx2: return "avx2";
    case KernelIsa::kNeon: return "neon";
    case KernelIsa::kPortable: break;
    }
    return "portable";
}

}  // namespace fxaac

#if defined(FXAAC_KERNELS_X86)

namespace fxaac {

KernelIsa cpu_kernel_level()
{
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2"))
        return KernelIsa::kAvx2;
    if (__builtin_cpu_supports("sse4.1"))
        return KernelIsa::kSse41;
    return KernelIsa::kPortable;
}

bool kernel_level_named(const char *name, KernelIsa *level)
{
    for (const KernelIsa isa : {KernelIsa::kPortable, KernelIsa::kSse41, KernelIsa::kAvx2}) {
        if (std::strcmp(name, kernel_isa_name(isa)) == 0) {
            *level = isa;
            return true;
        }
    }
    return false;
}

#define FXAAC_KERNEL_OVERLAY(a, x86, ret, name, params, args)                                      \
    if (a.name)                                                                                    \
        t.name = a.name;

KernelTable kernels_at_level(KernelIsa level)
{
    KernelTable t = kernel_versions(KernelIsa::kPortable);
    if (level >= KernelIsa::kSse41) {
        const KernelTable sse41 = kernel_versions(KernelIsa::kSse41);
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_OVERLAY, sse41)
    }
    if (level >= KernelIsa::kAvx2) {
        const KernelTable avx2 = kernel_versions(KernelIsa::kAvx2);
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_OVERLAY, avx2)
    }
    return t;
}

namespace {

// The CPU's level, lowered by FXAAC_CPU_LEVEL; decided once per process.
KernelIsa selected_level()
{
    static const KernelIsa level = [] {
        const KernelIsa cpu = cpu_kernel_level();
        const char *request = std::getenv("FXAAC_CPU_LEVEL");
        KernelIsa asked;
        if (request != nullptr && kernel_level_named(request, &asked) && asked < cpu)
            return asked;
        return cpu;
    }();
    return level;
}

// Kept out of line, so that the kernels' calls through the table inline no
// more than the check that it is filled.
[[gnu::noinline, gnu::cold]] KernelTable selected_table()
{
    return kernels_at_level(selected_level());
}

[[gnu::always_inline]] inline const KernelTable &selected_kernels()
{
    static const KernelTable table = selected_table();
    return table;
}

}  // namespace

const char *kernel_isa() { return kernel_isa_name(selected_level()); }

#define FXAAC_KERNEL_FORWARD(a, x86, ret, name, params, args)                                      \
    ret name params { return selected_kernels().name args; }
FXAAC_KERNEL_LIST(FXAAC_KERNEL_FORWARD, )

}  // namespace fxaac

#else  // chosen when building

#if defined(FXAAC_KERNELS_NEON) && defined(__ARM_NEON)
#define FXAAC_KERNEL_FORWARD(a, x86, ret, name, params, args)                                      \
    ret name params { return name##_neon args; }
#define FXAAC_KERNEL_ISA KernelIsa::kNeon
#else
#define FXAAC_KERNEL_FORWARD(a, x86, ret, name, params, args)                                      \
    ret name params { return name##_c args; }
#define FXAAC_KERNEL_ISA KernelIsa::kPortable
#endif

namespace fxaac {
FXAAC_KERNEL_LIST(FXAAC_KERNEL_FORWARD, )

const char *kernel_isa() { return kernel_isa_name(FXAAC_KERNEL_ISA); }
}  // namespace fxaac

#endif
