// Operations of the precise arithmetic: 32x32-bit products kept in 64 bits
// and rounded once (ties up), where the default arithmetic truncates 32x16
// products. Every operation is integer only, free of undefined behaviour for
// every argument, and gives the same bits on every machine.
#ifndef FXAAC_PRECISE_PRECISE_OPS_H
#define FXAAC_PRECISE_PRECISE_OPS_H

#include <cstdint>

#include "fixedpoint/basic_ops.h"

namespace fxaac::precise {

// The precise spectrum carries this many fractional bits: its values are
// the spectral coefficients (at the scale of the default arithmetic's
// integer spectrum) times 2^kSpectrumBits.
constexpr int32_t kSpectrumBits = 3;

// The precise arithmetic's synthesis scale (time samples, overlap) is
// 2^kSynthesisBits times the default's: 16-bit full scale is 2^28, 13 bits
// below the 16-bit step, 8 times full scale before saturation.
constexpr int32_t kSynthesisBits = 4;

// round(v / 2^s) for 1 <= s <= 62, |v| < 2^62 (ties up).
constexpr int64_t round_shift(int64_t v, int32_t s) { return (v + (int64_t{1} << (s - 1))) >> s; }

// round(v * 2^-s) saturated to 32 bits, any s (left shifts for s < 0).
constexpr int32_t scale_sat(int64_t v, int32_t s)
{
    if (v == 0 || s >= 63)
        return 0;
    if (s > 0)
        return sat32(round_shift(v, s));
    if (s < -31)
        return v > 0 ? kMax32 : kMin32;
    const int64_t limit = int64_t{1} << (62 + s);  // |v| below it: no overflow
    if (v >= limit || v <= -limit)
        return v > 0 ? kMax32 : kMin32;
    return sat32(v * (int64_t{1} << -s));
}

// round(x * c / 2^31) for a Q31 coefficient c: |result| <= |x|.
constexpr int32_t mul_q31(int32_t x, int32_t c)
{
    return static_cast<int32_t>(round_shift(int64_t{x} * c, 31));
}

// round(a b / 2^32), |a b| < 2^62 (ARM's SMMULR).
constexpr int32_t mul_hi_round(int32_t a, int32_t b)
{
    return static_cast<int32_t>((int64_t{a} * b + (int64_t{1} << 31)) >> 32);
}

// round(x / 2^n) for 1 <= n <= 31, ties up, for every x: the floor plus
// the first bit shifted out.
constexpr int32_t round_down(int32_t x, int32_t n) { return (x >> n) + ((x >> (n - 1)) & 1); }

// The same in one operation less, where x >> (n - 1) < 2^31 - 1: for n >= 2
// always, for n = 1 when x < 2^31 - 1.
constexpr int32_t round_down_bounded(int32_t x, int32_t n) { return ((x >> (n - 1)) + 1) >> 1; }

// x * m * 2^-s with a Q30 gain mantissa m (2^30 .. 2^31), rounded once and
// saturated.
constexpr int32_t scale_q30(int32_t x, int32_t m, int32_t s)
{
    return scale_sat(int64_t{x} * m, 30 + s);
}

// Wrapping 64-bit sums for accumulators whose pathological inputs could
// overflow: defined results, garbage only where the input is garbage.
constexpr int64_t add_wrap64(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
constexpr int64_t sub_wrap64(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

}  // namespace fxaac::precise

#endif  // FXAAC_PRECISE_PRECISE_OPS_H
