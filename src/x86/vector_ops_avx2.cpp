// Window products and the saturating add with AVX2 (src/dsp/kernels.h).
#include "x86/vector_ops_simd.h"

namespace fxaac {

void window_rise_avx2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V256, false, false>(x, w, y, n);
}

void window_fall_avx2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V256, true, false>(x, w, y, n);
}

void window_rise_add_avx2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V256, false, true>(x, w, y, n);
}

void window_fall_add_avx2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V256, true, true>(x, w, y, n);
}

void window_rise_overlap_avx2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    window_simd<V256, false, true, true>(x, w, y, n);
}

void add_saturate_avx2(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    add_saturate_simd<V256>(x, y, z, n);
}

}  // namespace fxaac
