// Exported C forms of the basic operations; each forwards to the inline form.
#include "fixedpoint/basic_ops.h"

int32_t Carry = 0;
int32_t Overflow = 0;

int32_t fxaac::mpy_32_16_r_AAC_DEC(int32_t k, int32_t x) { return fxaac::mul_32x16_x2(k, x); }
int32_t fxaac::mpy_32_16_r_ns(int32_t k, int32_t x) { return fxaac::mul_32x16(k, x); }
int32_t fxaac::shift_dir_AAC_DEC(int32_t x, int32_t n) { return fxaac::shift_dir(x, n); }
int16_t fxaac::normalize_AAC_DEC(int32_t x) { return static_cast<int16_t>(fxaac::norm_s32(x)); }
int16_t fxaac::normalize_pos(int32_t x)
{
    return static_cast<int16_t>(fxaac::clz32(static_cast<uint32_t>(x)));
}
int32_t fxaac::L_add_AAC_DEC(int32_t a, int32_t b) { return fxaac::add_sat(a, b); }
int32_t fxaac::L_sub_AAC_DEC(int32_t a, int32_t b) { return fxaac::sub_sat(a, b); }
int32_t fxaac::L_abs_AAC_DEC(int32_t a) { return fxaac::abs_sat(a); }
int32_t fxaac::L_shl_AAC_DEC(int32_t x, int32_t n) { return fxaac::shl_wrap(x, n); }
int32_t fxaac::L_shr_AAC_DEC(int32_t x, int32_t n) { return fxaac::shr(x, n); }
int32_t fxaac::L_shl_AAC_DEC_sat(int32_t x, int32_t n) { return fxaac::shl_sat(x, n); }
int16_t fxaac::negate(int32_t x) { return fxaac::negate16(x); }
int16_t fxaac::extract_h(int32_t x) { return fxaac::extract_hi16(x); }
int16_t fxaac::extract_l(int32_t x) { return fxaac::extract_lo16(x); }
int32_t fxaac::L_add_c(int32_t a, int32_t b) { return fxaac::add_c(a, b, Carry, Overflow); }
int32_t fxaac::L_sub_c(int32_t a, int32_t b) { return fxaac::sub_c(a, b, Carry, Overflow); }
int32_t fxaac::L_ExtractFFT(int32_t x, int16_t *hi, int16_t *lo)
{
    return fxaac::extract_fft(x, hi, lo);
}
int32_t fxaac::modified_Mpy_32_16_FFT(int32_t hi, int32_t lo, int32_t n)
{
    return fxaac::mul_32x16_fft(hi, lo, n);
}
