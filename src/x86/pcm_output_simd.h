// Two-channel PCM conversion on x86 vectors, one template for SSE4.1 and
// AVX2. Same results as the portable kernels:
//   16-bit: clip16((x + 256) >> 9), 24-bit: clip24((x + 1) >> 1),
// with the offset added with wrapping, written to out[2i] for i below n
// rounded down to an even count.
//
// Every second element: a step loads the output span, replaces the even
// elements and stores it back, so the odd elements (the other channel's)
// are rewritten with the values just read. The span of the last group of
// samples would reach one element past out[2(n - 1)], the last element the
// kernel may touch, so that group, and any rest, runs the portable kernel.
#ifndef FXAAC_X86_PCM_OUTPUT_SIMD_H
#define FXAAC_X86_PCM_OUTPUT_SIMD_H

#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

template <class V>
void pcm16_interleave_simd(const int32_t *in, int16_t *out, int32_t n)
{
    using T = typename V::T;
    constexpr int32_t L = V::kLanes;
    const int32_t count = whole_pairs(n);
    const T half = V::set1(256), lo = V::set1(INT16_MIN), hi = V::set1(INT16_MAX);
    int32_t i = 0;
    for (; i + L < count; i += L) {
        const T v = V::min(V::max(V::template srai<9>(V::add(V::load(in + i), half)), lo), hi);
        // The span out[2i .. 2i + 2L - 1] as words: 2L cells.
        int32_t *span = reinterpret_cast<int32_t *>(out + 2 * i);
        V::store(span, V::blend_even16(V::load(span), v));
    }
    if (i < count)
        pcm16_interleave_c(in + i, out + 2 * i, count - i);
}

template <class V>
void pcm24_interleave_simd(const int32_t *in, int32_t *out, int32_t n)
{
    using T = typename V::T;
    constexpr int32_t L = V::kLanes;
    const int32_t count = whole_pairs(n);
    const T one = V::set1(1), lo = V::set1(-(1 << 23)), hi = V::set1((1 << 23) - 1);
    int32_t i = 0;
    for (; i + L < count; i += L) {
        const T v = V::min(V::max(V::template srai<1>(V::add(V::load(in + i), one)), lo), hi);
        T first, second;
        V::spread_even(v, first, second);
        int32_t *span = out + 2 * i;
        V::store(span, V::blend_even32(V::load(span), first));
        V::store(span + L, V::blend_even32(V::load(span + L), second));
    }
    if (i < count)
        pcm24_interleave_c(in + i, out + 2 * i, count - i);
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_PCM_OUTPUT_SIMD_H
