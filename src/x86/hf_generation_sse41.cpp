// SBR HF generation's sums and prediction with SSE4.1
// (src/sbr/hf_generation.cpp), two subbands per step in their interleaved
// layout: PMULDQ takes the real parts (even lanes) and, after a 32-bit shift
// of a factor, the imaginary ones, as exact 64-bit products; the portable
// kernels' integer sums in another order, so the same values. The
// prediction's rounded shift by 29 keeps bits 29..60 of each sum: the low
// word of the portable shift, in the real part's lane (a right shift) or the
// imaginary part's (a left shift by 3, the high word).
#include "dsp/kernels.h"
#include "sbr/hf_generation.h"
#include "sbr/sbr_types.h"
#include "x86/simd.h"

namespace fxaac {

namespace {
constexpr int kRow = 2 * sbr::kBands;
}  // namespace

void sbr_covariance_sums_sse41(const int32_t *rows, int32_t lo, int32_t hi, int64_t *sums)
{
    int32_t p = lo;
    for (; p + 2 <= hi; p += 2) {
        __m128i e = V128::zero(), c1r = e, c1i = e, c2r = e, c2i = e;
        __m128i x2 = V128::load(rows + 2 * p), x1 = V128::load(rows + kRow + 2 * p);
        for (int n = 2; n < sbr::kRows; ++n) {
            const __m128i x0 = V128::load(rows + n * kRow + 2 * p);
            const __m128i x0i = V128::odd(x0), x1i = V128::odd(x1), x2i = V128::odd(x2);
            e = V128::add64(e, V128::add64(V128::mul(x1, x1), V128::mul(x1i, x1i)));
            c1r = V128::add64(c1r, V128::add64(V128::mul(x0, x1), V128::mul(x0i, x1i)));
            c1i = V128::add64(c1i, V128::sub64(V128::mul(x0i, x1), V128::mul(x0, x1i)));
            c2r = V128::add64(c2r, V128::add64(V128::mul(x0, x2), V128::mul(x0i, x2i)));
            c2i = V128::add64(c2i, V128::sub64(V128::mul(x0i, x2), V128::mul(x0, x2i)));
            x2 = x1;
            x1 = x0;
        }
        const auto store = [&](int j, __m128i v) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(sums + j * sbr::kLowBands + p), v);
        };
        store(0, e);
        store(1, c1r);
        store(2, c1i);
        store(3, c2r);
        store(4, c2i);
    }
    sbr_covariance_sums_c(rows, p, hi, sums);
}

void sbr_predict_patch_sse41(int32_t *rows, int32_t k, int32_t p, int32_t n, const int32_t *c0,
                             const int32_t *c1, int32_t r0, int32_t r1)
{
    const __m128i half = V128::set1_64(int64_t{1} << (sbr::kHfAlphaQ - 1));
    int32_t x = 0;
    for (; x + 2 <= n; x += 2) {
        const __m128i a = V128::load(c0 + 2 * x), b = V128::load(c1 + 2 * x);
        const __m128i ai = V128::odd(a), bi = V128::odd(b);
        const int32_t *src = rows + 2 * (p + x);
        int32_t *dst = rows + 2 * (k + x);
        __m128i x2 = V128::load(src + (r0 - 2) * kRow), x1 = V128::load(src + (r0 - 1) * kRow);
        for (int32_t r = r0; r < r1; ++r) {
            const __m128i x0 = V128::load(src + r * kRow);
            const __m128i x1i = V128::odd(x1), x2i = V128::odd(x2);
            const __m128i re = V128::add64(V128::sub64(V128::mul(a, x1), V128::mul(ai, x1i)),
                                           V128::sub64(V128::mul(b, x2), V128::mul(bi, x2i)));
            const __m128i im = V128::add64(V128::add64(V128::mul(a, x1i), V128::mul(ai, x1)),
                                           V128::add64(V128::mul(b, x2i), V128::mul(bi, x2)));
            const __m128i step = V128::blend_odd(
                V128::srli64<sbr::kHfAlphaQ>(V128::add64(re, half)),
                V128::slli64<32 - sbr::kHfAlphaQ>(V128::add64(im, half)));
            V128::store(dst + r * kRow, V128::add(x0, step));
            x2 = x1;
            x1 = x0;
        }
    }
    sbr_predict_patch_c(rows, k + x, p + x, n - x, c0 + 2 * x, c1 + 2 * x, r0, r1);
}

}  // namespace fxaac
