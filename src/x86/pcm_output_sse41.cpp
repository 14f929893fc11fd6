// Two-channel PCM conversion with SSE4.1 (src/dsp/kernels.h).
#include "x86/pcm_output_simd.h"

namespace fxaac {

void pcm16_interleave_sse41(const int32_t *in, int16_t *out, int32_t n)
{
    pcm16_interleave_simd<V128>(in, out, n);
}

void pcm24_interleave_sse41(const int32_t *in, int32_t *out, int32_t n)
{
    pcm24_interleave_simd<V128>(in, out, n);
}

}  // namespace fxaac
