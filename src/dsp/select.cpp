// Which version of each kernel the decoder runs (src/dsp/kernels.h): the one
// place that decides.
//
// - x86-64 (the build defines FXAAC_KERNELS_X86): at load time, from the
//   CPU's features. Every plain kernel name is a GNU indirect function whose
//   resolver, run once by the dynamic loader, returns the AVX2 version if the
//   CPU (and the OS) support AVX2, else the SSE4.1 version if it supports
//   SSE4.1, else the portable one. The decoder then calls through the
//   resolved address; no state of our own is kept.
// - ARM with Advanced SIMD (the build defines FXAAC_KERNELS_NEON): the NEON
//   versions, chosen when building.
// - Anything else: the portable versions.
#include "dsp/kernels.h"

#if defined(FXAAC_KERNELS_X86) && defined(__x86_64__)

namespace fxaac {
namespace {

enum class Isa { kC, kSse41, kAvx2 };

// Resolvers run while the loader relocates the library, before any
// constructor: the CPU model must be initialised here, and nothing may be
// instrumented.
__attribute__((no_sanitize("address", "undefined"))) Isa cpu_isa() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) return Isa::kAvx2;
  if (__builtin_cpu_supports("sse4.1")) return Isa::kSse41;
  return Isa::kC;
}

}  // namespace

const char *kernel_isa() {
  const Isa isa = cpu_isa();
  return isa == Isa::kAvx2 ? "avx2" : isa == Isa::kSse41 ? "sse41" : "c";
}

}  // namespace fxaac

// Resolvers: a kernel with SSE4.1 and AVX2 versions, and one with an
// SSE4.1 version only (AVX2 would not pay: no products, scattered stores).
#define FXAAC_RESOLVER(name)                                        \
  extern "C" __attribute__((no_sanitize("address", "undefined"))) \
  decltype(&fxaac::name##_c) fxaac_resolve_##name()
#define FXAAC_SELECT_AVX2(name)                                                \
  FXAAC_RESOLVER(name) {                                                       \
    const fxaac::Isa isa = fxaac::cpu_isa();                                   \
    if (isa == fxaac::Isa::kAvx2) return fxaac::name##_avx2;                   \
    return isa == fxaac::Isa::kSse41 ? fxaac::name##_sse41 : fxaac::name##_c; \
  }
#define FXAAC_SELECT_SSE41(name)                                                  \
  FXAAC_RESOLVER(name) {                                                          \
    return fxaac::cpu_isa() == fxaac::Isa::kC ? fxaac::name##_c : fxaac::name##_sse41; \
  }

FXAAC_SELECT_AVX2(radix4_stage)
FXAAC_SELECT_AVX2(radix4_stage8)
FXAAC_SELECT_SSE41(post_radix2)
FXAAC_SELECT_SSE41(post_radix4)
FXAAC_SELECT_AVX2(pre_twiddle)
FXAAC_SELECT_AVX2(post_twiddle)
FXAAC_SELECT_AVX2(block_magnitude)
FXAAC_SELECT_AVX2(block_shift)
FXAAC_SELECT_AVX2(window_rise)
FXAAC_SELECT_AVX2(window_fall)
FXAAC_SELECT_AVX2(window_rise_add)
FXAAC_SELECT_AVX2(window_fall_add)
FXAAC_SELECT_AVX2(add_saturate)
FXAAC_SELECT_AVX2(pcm16_interleave)
FXAAC_SELECT_AVX2(pcm24_interleave)

// The plain names, bound to their resolvers.
#define FXAAC_KERNEL_IFUNC(isa, ret, name, params, args) \
  ret name params __attribute__((ifunc("fxaac_resolve_" #name)));
namespace fxaac {
FXAAC_KERNEL_LIST(FXAAC_KERNEL_IFUNC, )
}  // namespace fxaac

#else  // chosen when building

#if defined(FXAAC_KERNELS_NEON) && defined(__ARM_NEON)
#define FXAAC_KERNEL_FORWARD(isa, ret, name, params, args) \
  ret name params { return name##_neon args; }
#define FXAAC_KERNEL_ISA "neon"
#else
#define FXAAC_KERNEL_FORWARD(isa, ret, name, params, args) \
  ret name params { return name##_c args; }
#define FXAAC_KERNEL_ISA "c"
#endif

namespace fxaac {
FXAAC_KERNEL_LIST(FXAAC_KERNEL_FORWARD, )

const char *kernel_isa() { return FXAAC_KERNEL_ISA; }
}  // namespace fxaac

#endif
