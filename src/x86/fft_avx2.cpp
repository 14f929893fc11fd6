// Radix-4 FFT stages with AVX2 (src/dsp/kernels.h): eight butterflies per
// step.
#include "x86/fft_simd.h"

namespace fxaac {

void radix4_stage_avx2(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage_simd<V256>(w, x, N, n);
}

// Four blocks of 8 per step: the low 128-bit halves take two blocks, the
// high halves the next two, and both halves use the same four twiddle
// lanes (m = 0, 1 of one block, then of the next).
void radix4_stage8_avx2(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    if (n != 8 || any_min<V128>(w8, 24)) {
        radix4_stage8_c(w8, x, N, n);
        return;
    }
    LegTwiddles<V256> tw;
    for (int leg = 0; leg < 3; ++leg) {
        tw.ws[leg] = _mm256_broadcastsi128_si256(V128::load(w8 + 8 * leg));
        tw.wc[leg] = _mm256_broadcastsi128_si256(V128::load(w8 + 8 * leg + 4));
    }
    constexpr int32_t kStride = 4;  // legs two complex values apart
    int32_t block = 0;
    for (; block + 2 * n < N; block += 4 * n) {
        int32_t *const p = x + 2 * block;  // blocks at p, p + 16, p + 32, p + 48
        __m256i re[4], im[4];
        for (int q = 0; q < 4; ++q) {
            const int32_t *leg = p + q * kStride;
            const __m256i a = _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(leg + 32),
                                                  reinterpret_cast<const __m128i *>(leg));
            const __m256i b = _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(leg + 48),
                                                  reinterpret_cast<const __m128i *>(leg + 16));
            V256::deinterleave(a, b, re[q], im[q]);
        }
        butterfly<V256>(re, im, tw);
        for (int q = 0; q < 4; ++q) {
            int32_t *leg = p + q * kStride;
            __m256i a, b;
            V256::interleave(re[q], im[q], a, b);
            _mm256_storeu2_m128i(reinterpret_cast<__m128i *>(leg + 32),
                                 reinterpret_cast<__m128i *>(leg), a);
            _mm256_storeu2_m128i(reinterpret_cast<__m128i *>(leg + 48),
                                 reinterpret_cast<__m128i *>(leg + 16), b);
        }
    }
    if (block < N)
        stage8_pair(x + 2 * block, load_twiddles<V128>(w8, w8));
}

}  // namespace fxaac
