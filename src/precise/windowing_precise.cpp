// The portable window kernels of the precise arithmetic: y = round(x w / 2^31)
// with Q31 coefficients, stored or added (wrapping) to y. The falling forms
// read w[0], w[-1], ...: w points at the last coefficient.
#include "dsp/kernels.h"

#include "precise/precise_ops.h"

namespace fxaac {
namespace {

template <int kStep, bool kAdd>
void window_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    for (int i = 0; i < n; ++i) {
        const int32_t v = precise::mul_q31(x[i], w[kStep * i]);
        y[i] = kAdd ? static_cast<int32_t>(static_cast<uint32_t>(y[i]) + static_cast<uint32_t>(v))
                    : v;
    }
}

}  // namespace

void window_rise_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<1, false>(x, w, y, n);
}

void window_fall_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<-1, false>(x, w, y, n);
}

void window_rise_add_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<1, true>(x, w, y, n);
}

void window_fall_add_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_q31<-1, true>(x, w, y, n);
}

}  // namespace fxaac
