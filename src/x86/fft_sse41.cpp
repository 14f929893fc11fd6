// FFT stages with SSE4.1 (src/dsp/kernels.h): four butterflies per step;
// the last stages add and subtract complex values held in 64-bit halves and
// store them straight to their bins.
#include "x86/fft_simd.h"

namespace fxaac {

void radix4_stage_sse41(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage_simd<V128>(w, x, N, n);
}

void radix4_stage8_sse41(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    if (n != 8 || any_min<V128>(w8, 24)) {
        radix4_stage8_c(w8, x, N, n);
        return;
    }
    const LegTwiddles<V128> tw = load_twiddles<V128>(w8, w8);
    for (int32_t block = 0; block < N; block += 2 * n)
        stage8_pair(x + 2 * block, tw);
}

void post_radix2_sse41(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    if (N / 16 <= 0) {
        post_radix2_c(out, x, digRev, N);
        return;
    }
    for_each_bin_pair(x, out, digRev, N, [N](int32_t *bin, const __m128i *p) {
        V128::store(bin, V128::add(p[0], p[1]));
        V128::store(bin + 2 * (N / 8), V128::add(p[2], p[3]));
        V128::store(bin + 2 * (N / 2), V128::sub(p[0], p[1]));
        V128::store(bin + 2 * (N / 2 + N / 8), V128::sub(p[2], p[3]));
    });
}

void post_radix4_sse41(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    if (N / 16 <= 0) {
        post_radix4_c(out, x, digRev, N);
        return;
    }
    // (re, im) -> (im, -re) per complex value: with it, d02 + that is
    // d02 - j d13 and d02 - that is d02 + j d13 (negation wraps, as PSIGND).
    const __m128i flip = _mm_setr_epi32(1, -1, 1, -1);
    for_each_bin_pair(x, out, digRev, N, [N, flip](int32_t *bin, const __m128i *p) {
        const __m128i s02 = V128::add(p[0], p[2]), d02 = V128::sub(p[0], p[2]);
        const __m128i s13 = V128::add(p[1], p[3]), d13 = V128::sub(p[1], p[3]);
        const __m128i j13 = _mm_sign_epi32(_mm_shuffle_epi32(d13, _MM_SHUFFLE(2, 3, 0, 1)), flip);
        V128::store(bin, V128::add(s02, s13));
        V128::store(bin + 2 * (N / 4), V128::add(d02, j13));
        V128::store(bin + 4 * (N / 4), V128::sub(s02, s13));
        V128::store(bin + 6 * (N / 4), V128::sub(d02, j13));
    });
}

}  // namespace fxaac
