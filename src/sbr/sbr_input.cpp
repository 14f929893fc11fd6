// Portable versions of the SBR input kernels (src/dsp/kernels.h).
#include "sbr/sbr_input.h"

#include "dsp/kernels.h"
#include "fixedpoint/basic_ops.h"

namespace fxaac {

void sbr_hand_off_c(int32_t *out, const int32_t *samples, int32_t count)
{
    for (int32_t i = 0; i < count; ++i)
        out[i] = shl_sat(add_wrap(samples[i], sbr::kHandOffHalf), sbr::kHandOffShift);
}

uint32_t sbr_input_peak_c(const int32_t *x, int32_t n)
{
    uint32_t peak = 0;
    for (int32_t i = 0; i < n; ++i) {
        const uint32_t m = sbr::magnitude(sbr::sub_bias(x[i]));
        peak = m > peak ? m : peak;
    }
    return peak;
}

void sbr_input_scale_c(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    for (int32_t i = 0; i < n; ++i)
        out[i] = shl_wrap(sbr::sub_bias(x[i]), shift);
}

void sbr_rescale_down_c(const int32_t *x, int32_t *out, int32_t n, int32_t shift)
{
    if (shift == 0) {
        for (int32_t i = 0; i < n; ++i)
            out[i] = x[i];
        return;
    }
    for (int32_t i = 0; i < n; ++i)
        out[i] = static_cast<int32_t>((int64_t{x[i]} + (int64_t{1} << (shift - 1))) >> shift);
}

}  // namespace fxaac
