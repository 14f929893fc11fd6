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
    const LegTwiddles<V128> tw = load_twiddles<V128>(w8, nullptr);
    for (int32_t block = 0; block < N; block += 2 * n)
        stage8_pair(x + 2 * block, tw);
}

// Step t = o N/16 + u reads four values at (N/2) o + 4u (group A) and four
// at N/4 positions further on (group B); A's results go to bins r, B's to
// r + 1, so each store holds one result of each, A's first. body(bin, p)
// gets the four pairs p[k] = (A value k, B value k).
template <typename Body>
void for_each_bin_pair(const int32_t *x, int32_t *out, const int32_t *digRev, int32_t N, Body body)
{
    const int32_t per_half = N / 16;
    for (int32_t t = 0, o = 0; t < N / 8; ++o) {
        for (int32_t u = 0; u < per_half && t < N / 8; ++u, ++t) {
            const int32_t position = N / 2 * o + 4 * u;
            const int32_t *a = x + 2 * position, *b = x + 2 * (position + N / 4);
            const __m128i a01 = V128::load(a), a23 = V128::load(a + 4);
            const __m128i b01 = V128::load(b), b23 = V128::load(b + 4);
            const __m128i p[4] = {_mm_unpacklo_epi64(a01, b01), _mm_unpackhi_epi64(a01, b01),
                                  _mm_unpacklo_epi64(a23, b23), _mm_unpackhi_epi64(a23, b23)};
            body(out + 2 * (digRev[t] / 8), p);
        }
    }
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
