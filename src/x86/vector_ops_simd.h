// Window products and the saturating add on x86 vectors, one template for
// SSE4.1 and AVX2. Same results as the portable kernels: the truncating
// 32x16 product (the window coefficient is widened to c << 16, so that the
// high word of the 64-bit product is floor(x * c / 2^16)), wrapping
// accumulation, saturating addition, and the pairs rule. The last few
// elements (fewer than a vector) run the portable kernel.
#ifndef FXAAC_X86_VECTOR_OPS_SIMD_H
#define FXAAC_X86_VECTOR_OPS_SIMD_H

#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

// y[i] = m(x[i], w[i]) (Falling: w[-i]) (+ y[i] when Accumulate: wrapping,
// or saturating when Saturate). y may be x: each step loads before it stores.
template <class V, bool Falling, bool Accumulate, bool Saturate = false>
void window_simd(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    using T = typename V::T;
    constexpr int L = V::kLanes;
    const int count = whole_pairs(n);
    int i = 0;
    for (; i + L <= count; i += L) {
        const T t = Falling ? V::rev(V::load_q16_hi(w - i - (L - 1))) : V::load_q16_hi(w + i);
        const T v = V::load(x + i);
        T p = mulhi<V>(v, V::odd(v), t, V::odd(t));
        if constexpr (Accumulate && Saturate)
            p = add_sat<V>(V::load(y + i), p);
        else if constexpr (Accumulate)
            p = V::add(V::load(y + i), p);
        V::store(y + i, p);
    }
    if (i == count)
        return;
    const int16_t *rest = Falling ? w - i : w + i;
    if constexpr (Saturate) {
        window_rise_overlap_c(x + i, rest, y + i, count - i);
    } else if constexpr (Falling && Accumulate) {
        window_fall_add_c(x + i, rest, y + i, count - i);
    } else if constexpr (Falling) {
        window_fall_c(x + i, rest, y + i, count - i);
    } else if constexpr (Accumulate) {
        window_rise_add_c(x + i, rest, y + i, count - i);
    } else {
        window_rise_c(x + i, rest, y + i, count - i);
    }
}

// z[i] = sat(x[i] + y[i]); z may be x or y.
template <class V>
void add_saturate_simd(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    constexpr int L = V::kLanes;
    const int count = whole_pairs(n);
    int i = 0;
    for (; i + L <= count; i += L)
        V::store(z + i, add_sat<V>(V::load(x + i), V::load(y + i)));
    if (i < count)
        add_saturate_c(x + i, y + i, z + i, count - i);
}

}  // namespace
}  // namespace fxaac

#endif  // FXAAC_X86_VECTOR_OPS_SIMD_H
