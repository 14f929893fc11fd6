// The precise IMDCT's twiddles and windows with SSE4.1 (src/dsp/kernels.h).
#include "x86/imdct_precise_simd.h"

namespace fxaac {

void pre_twiddle_q31_sse41(const int32_t *front, const int32_t *back, int32_t *out,
                           const int32_t *cosine, const int32_t *sine, int32_t count)
{
    pre_twiddle_q31_simd<V128>(front, back, out, cosine, sine, count);
}

void post_twiddle_q31_sse41(int32_t *out, const int32_t *in, const int32_t *cosine,
                            const int32_t *sine, int32_t N, int32_t shift)
{
    post_twiddle_q31_simd<V128>(out, in, cosine, sine, N, shift);
}

void window_rise_q31_sse41(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31_simd<V128, true, false>(x, w, y, n);
}

void window_fall_q31_sse41(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31_simd<V128, false, false>(x, w, y, n);
}

void window_rise_add_q31_sse41(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31_simd<V128, true, true>(x, w, y, n);
}

void window_fall_add_q31_sse41(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31_simd<V128, false, true>(x, w, y, n);
}

void precise_descale_sse41(int32_t *x, int32_t n) { precise_descale_simd<V128>(x, n); }

}  // namespace fxaac
