// Window products and the saturating add with SSE4.1 (src/dsp/kernels.h).
#include "x86/vector_ops_simd.h"

namespace fxaac {

void window_rise_sse41(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V128, false, false>(x, w, y, n);
}

void window_fall_sse41(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V128, true, false>(x, w, y, n);
}

void window_rise_add_sse41(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V128, false, true>(x, w, y, n);
}

void window_fall_add_sse41(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V128, true, true>(x, w, y, n);
}

void window_rise_overlap_sse41(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V128, false, true, true>(x, w, y, n);
}

void add_saturate_sse41(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    add_saturate_simd<V128>(x, y, z, n);
}

}  // namespace fxaac
