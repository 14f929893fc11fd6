// The precise FFT's radix-4 stages with SSE4.1 (src/dsp/kernels.h).
#include "x86/fft_precise_simd.h"

namespace fxaac {

void radix4_stage_q29_sse41(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage_q29_simd<V128>(w, x, N, n);
}

// The last stages as post_radix2_sse41 and post_radix4_sse41
// (fft_sse41.cpp), each result rounded: (v + 1) >> 1 and (v + 2) >> 2.
void post_radix2_q_sse41(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    if (N / 16 <= 0) {
        post_radix2_q_c(out, x, digRev, N);
        return;
    }
    const __m128i one = V128::set1(1);
    const auto half = [one](__m128i v) { return V128::srai<1>(V128::add(v, one)); };
    for_each_bin_pair(x, out, digRev, N, [N, half](int32_t *bin, const __m128i *p) {
        V128::store(bin, half(V128::add(p[0], p[1])));
        V128::store(bin + 2 * (N / 8), half(V128::add(p[2], p[3])));
        V128::store(bin + 2 * (N / 2), half(V128::sub(p[0], p[1])));
        V128::store(bin + 2 * (N / 2 + N / 8), half(V128::sub(p[2], p[3])));
    });
}

void post_radix4_q_sse41(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    if (N / 16 <= 0) {
        post_radix4_q_c(out, x, digRev, N);
        return;
    }
    const __m128i flip = _mm_setr_epi32(1, -1, 1, -1), two = V128::set1(2);
    const auto quarter = [two](__m128i v) { return V128::srai<2>(V128::add(v, two)); };
    for_each_bin_pair(x, out, digRev, N, [N, flip, quarter](int32_t *bin, const __m128i *p) {
        const __m128i s02 = V128::add(p[0], p[2]), d02 = V128::sub(p[0], p[2]);
        const __m128i s13 = V128::add(p[1], p[3]), d13 = V128::sub(p[1], p[3]);
        const __m128i j13 = _mm_sign_epi32(_mm_shuffle_epi32(d13, _MM_SHUFFLE(2, 3, 0, 1)), flip);
        V128::store(bin, quarter(V128::add(s02, s13)));
        V128::store(bin + 2 * (N / 4), quarter(V128::add(d02, j13)));
        V128::store(bin + 4 * (N / 4), quarter(V128::sub(s02, s13)));
        V128::store(bin + 6 * (N / 4), quarter(V128::sub(d02, j13)));
    });
}

}  // namespace fxaac
