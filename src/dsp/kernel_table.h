// The kernels of src/dsp/kernels.h as a table of function pointers: the
// versions of one instruction set, and on x86-64 the levels the decoder can
// run at. Read by the selection (src/dsp/select.cpp) and by checkdsp, so
// that which set has which kernel is written only in the kernel list.
#ifndef FXAAC_DSP_KERNEL_TABLE_H
#define FXAAC_DSP_KERNEL_TABLE_H

#include "dsp/kernels.h"

namespace fxaac {

#define FXAAC_KERNEL_FIELD(a, x86, ret, name, params, args) ret(*name) params;
// One version of every kernel; nullptr where the kernel has none.
struct KernelTable {
    FXAAC_KERNEL_LIST(FXAAC_KERNEL_FIELD, )
};
#undef FXAAC_KERNEL_FIELD

// The instruction sets, the x86-64 ones in increasing order: they are also
// the levels the decoder runs at there.
enum class KernelIsa { kPortable, kSse41, kAvx2, kNeon };

// "portable", "sse41", "avx2" or "neon".
const char *kernel_isa_name(KernelIsa isa);

#define FXAAC_KERNEL_SET(isa, x86, ret, name, params, args) t.name = name##_##isa;
#define FXAAC_KERNEL_SET_AVX2(a, x86, ret, name, params, args)                                     \
    FXAAC_IF_HAS_AVX2_##x86(t.name = name##_avx2;)

// Every kernel's version for isa (nullptr where it has none); only the sets
// this build has (FXAAC_KERNELS_X86, FXAAC_KERNELS_NEON) besides the
// portable one, the others give an empty table.
inline KernelTable kernel_versions(KernelIsa isa)
{
    KernelTable t{};
    if (isa == KernelIsa::kPortable) {
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_SET, c)
    }
#if defined(FXAAC_KERNELS_X86)
    if (isa == KernelIsa::kSse41) {
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_SET, sse41)
    }
    if (isa == KernelIsa::kAvx2) {
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_SET_AVX2, )
    }
#endif
#if defined(FXAAC_KERNELS_NEON)
    if (isa == KernelIsa::kNeon) {
        FXAAC_KERNEL_LIST(FXAAC_KERNEL_SET, neon)
    }
#endif
    return t;
}
#undef FXAAC_KERNEL_SET
#undef FXAAC_KERNEL_SET_AVX2

#if defined(FXAAC_KERNELS_X86)
// x86-64 levels (portable, SSE4.1, AVX2).

// The highest level this CPU (and its OS) runs.
KernelIsa cpu_kernel_level();

// The level named "portable", "sse41" or "avx2" in *level; false for any
// other name.
bool kernel_level_named(const char *name, KernelIsa *level);

// The table of a level: each kernel's version of the highest set at or
// below it that has one.
KernelTable kernels_at_level(KernelIsa level);
#endif

}  // namespace fxaac

#endif  // FXAAC_DSP_KERNEL_TABLE_H
