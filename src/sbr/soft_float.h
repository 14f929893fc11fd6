// A small deterministic floating-point number made of two integers, for the
// energies, gains and noise levels of the SBR HF adjustment (ISO/IEC 14496-3
// 4.6.18.7), whose range (about 2^-80 .. 2^270) no fixed format covers.
//
// SoftFloat {m, e} is the value m * 2^e. Only non-negative values exist:
// zero is {0, 0}; every other value has its mantissa normalised to
// 2^30 <= m < 2^31, so one mantissa step is at most 2^-30 of the value.
// Every operation is integer only and gives the same bits on every machine.
// Exponents stay far inside int32 for the values of the adjuster (|e| < 2^12);
// sf_div by zero gives kSfHuge instead of overflowing.
#ifndef FXAAC_SBR_SOFT_FLOAT_H
#define FXAAC_SBR_SOFT_FLOAT_H

#include <cstdint>

namespace fxaac::sbr {

struct SoftFloat {
    int32_t m;  // 0, or 2^30 .. 2^31 - 1
    int32_t e;
};

constexpr int32_t kSfMantMin = 1 << 30;
constexpr SoftFloat kSfZero = {0, 0};
constexpr SoftFloat kSfOne = {kSfMantMin, -30};
constexpr SoftFloat kSfHuge = {0x7fffffff, 1 << 16};  // stands for a quotient by zero

inline int sf_clz64(uint64_t v) { return v != 0 ? __builtin_clzll(v) : 64; }

// v * 2^e for any v >= 0, rounded to nearest (ties up) to 31 mantissa bits:
// relative error <= 2^-31.
inline SoftFloat sf_from_u64(uint64_t v, int32_t e)
{
    if (v == 0) {
        return kSfZero;
    }
    const int sh = 33 - sf_clz64(v);  // v >> sh has its top bit at 2^30
    if (sh <= 0) {
        return {static_cast<int32_t>(v << -sh), e + sh};
    }
    uint64_t r = ((v >> (sh - 1)) + 1) >> 1;
    if (r >> 31) {  // rounding carried into 2^31
        r >>= 1;
        e += 1;
    }
    return {static_cast<int32_t>(r), e + sh};
}

// x * 2^e for an integer x; negative x gives zero.
inline SoftFloat sf_from_int(int64_t x, int32_t e)
{
    return x > 0 ? sf_from_u64(static_cast<uint64_t>(x), e) : kSfZero;
}

// a * b, rounded: relative error <= 2^-31.
inline SoftFloat sf_mul(SoftFloat a, SoftFloat b)
{
    if (a.m == 0 || b.m == 0) {
        return kSfZero;
    }
    return sf_from_u64(static_cast<uint64_t>(a.m) * static_cast<uint64_t>(b.m), a.e + b.e);
}

// Seeds of the Newton iterations: 2^31 / x and 2^31 / sqrt(x) at the middle
// of x's intervals of width 1/64 in [1, 2) and 1/16 in [1, 4).
inline constexpr uint32_t kSfRecipSeed[64] = {
    2130836488, 2098304633, 2066751180, 2036132644, 2006408080, 1977538899, 1949488702, 1922223125,
    1895709703, 1869917734, 1844818167, 1820383490, 1796587627, 1773405851, 1750814694, 1728791868,
    1707316192, 1686367527, 1665926709, 1645975491, 1626496491, 1607473140, 1588889636, 1570730897,
    1552982525, 1535630765, 1518662469, 1502065065, 1485826524, 1469935331, 1454380460, 1439151345,
    1424237860, 1409630292, 1395319325, 1381296015, 1367551776, 1354078359, 1340867839, 1327912594,
    1315205296, 1302738895, 1290506605, 1278501893, 1266718465, 1255150260, 1243791434, 1232636354,
    1221679586, 1210915890, 1200340205, 1189947649, 1179733506, 1169693221, 1159822392, 1150116765,
    1140572228, 1131184802, 1121950641, 1112866020, 1103927337, 1095131103, 1086473940, 1077952576};
inline constexpr uint32_t kSfRsqrtSeed[48] = {
    2114695713, 2053387115, 1997119227, 1945237133, 1897199172, 1852552937, 1810917218, 1771968208,
    1735428857, 1701060526, 1668656406, 1638036256, 1609042172, 1581535151, 1555392273, 1530504391,
    1506774204, 1484114654, 1462447584, 1441702596, 1421816090, 1402730445, 1384393311, 1366757007,
    1349778000, 1333416450, 1317635818, 1302402522, 1287685637, 1273456629, 1259689126, 1246358707,
    1233442724, 1220920139, 1208771378, 1196978204, 1185523604, 1174391680, 1163567563, 1153037323,
    1142787899, 1132807028, 1123083182, 1113605518, 1104363818, 1095348453, 1086550331, 1077960865};

// 2^61 / x for 2^30 <= x < 2^31 (1/x in Q31): a seed (relative error below
// 2^-7) and three Newton steps y += y (1 - x y), each squaring the error, so
// only the rounding is left: below 2^-29. Multiplications only, no division.
inline uint32_t sf_recip_q31(uint32_t x)
{
    int64_t y = kSfRecipSeed[(x >> 24) & 63];
    for (int i = 0; i < 3; i++) {
        const int64_t err = ((int64_t{1} << 61) - static_cast<int64_t>(x) * y) >> 30;  // Q31
        y += (y * err) >> 31;
    }
    return static_cast<uint32_t>(y);
}

// a / b as a * (1/b): relative error < 2^-28. b == 0 gives kSfHuge (0 for a == 0).
inline SoftFloat sf_div(SoftFloat a, SoftFloat b)
{
    if (a.m == 0) {
        return kSfZero;
    }
    if (b.m == 0) {
        return kSfHuge;
    }
    const uint64_t q = static_cast<uint64_t>(a.m) * sf_recip_q31(static_cast<uint32_t>(b.m));
    return sf_from_u64(q, a.e - b.e - 61);
}

// a + b: the smaller operand is aligned to 2^-62 of the larger, then the sum
// is rounded: relative error <= 2^-30.
inline SoftFloat sf_add(SoftFloat a, SoftFloat b)
{
    if (b.m == 0) {
        return a;
    }
    if (a.m == 0) {
        return b;
    }
    if (a.e < b.e) {
        const SoftFloat t = a;
        a = b;
        b = t;
    }
    const int32_t d = a.e - b.e;
    if (d > 62) {
        return a;
    }
    const uint64_t sum = (static_cast<uint64_t>(a.m) << 31) +
                         ((static_cast<uint64_t>(b.m) << 31) >> d);
    return sf_from_u64(sum, a.e - 31);
}

// a * 2^n (exact).
inline SoftFloat sf_ldexp(SoftFloat a, int32_t n) { return a.m != 0 ? SoftFloat{a.m, a.e + n} : a; }

// -1, 0 or 1 as a <, ==, > b.
inline int sf_cmp(SoftFloat a, SoftFloat b)
{
    if (a.m == 0 || b.m == 0) {
        return (a.m != 0) - (b.m != 0);
    }
    if (a.e != b.e) {
        return a.e < b.e ? -1 : 1;
    }
    return (a.m > b.m) - (a.m < b.m);
}

inline SoftFloat sf_min(SoftFloat a, SoftFloat b) { return sf_cmp(a, b) <= 0 ? a : b; }

// sqrt(a): 1/sqrt(x) for x = X 2^-30 in [1, 4) from a seed and three Newton
// steps y += y (1 - x y^2) / 2, then sqrt(x) = x y. Relative error < 2^-28.
inline SoftFloat sf_sqrt(SoftFloat a)
{
    if (a.m == 0) {
        return kSfZero;
    }
    const bool odd = (a.e & 1) != 0;
    const uint32_t x = static_cast<uint32_t>(a.m) << (odd ? 1 : 0);  // Q30, 1 <= x < 4
    int64_t y = kSfRsqrtSeed[(x >> 26) - 16];                        // Q31
    for (int i = 0; i < 3; i++) {
        const int64_t y2 = (y * y) >> 31;                                               // Q31
        const int64_t err = ((int64_t{1} << 61) - static_cast<int64_t>(x) * y2) >> 30;  // Q31
        y += (y * err) >> 32;
    }
    const uint64_t r = (static_cast<uint64_t>(x) * static_cast<uint64_t>(y)) >> 31;  // Q30
    return sf_from_u64(r, (a.e - (odd ? 1 : 0)) / 2 - 15);
}

// 2^(x/2) exactly for even x, to 2^-31 for odd x. |x| < 2^16.
inline SoftFloat sf_pow2_half(int32_t x)
{
    constexpr int32_t kSqrt2 = 1518500250;  // sqrt(2) * 2^30
    const int32_t q = x >> 1;               // floor(x / 2)
    return (x & 1) != 0 ? SoftFloat{kSqrt2, q - 30} : SoftFloat{kSfMantMin, q - 30};
}

// round(x * a * 2^s) for an int32 x, clamped to +-2^62: the 32x32 product is
// shifted with rounding (ties up).
inline int64_t sf_apply(int32_t x, SoftFloat a, int32_t s)
{
    const int64_t p = static_cast<int64_t>(x) * a.m;  // |p| < 2^62
    const int32_t sh = -(a.e + s);
    if (p == 0 || sh >= 63) {
        return 0;
    }
    if (sh > 0) {
        return (p + (int64_t{1} << (sh - 1))) >> sh;
    }
    const int32_t n = -sh;
    const int64_t mag = p < 0 ? -p : p;
    if (n >= 62 || mag >= (int64_t{1} << (62 - n))) {
        return p > 0 ? int64_t{1} << 62 : -(int64_t{1} << 62);
    }
    return p * (int64_t{1} << n);
}

// round(a * 2^s) clamped to 0 .. 2^31 - 1.
inline int32_t sf_to_fixed(SoftFloat a, int32_t s)
{
    const int64_t v = sf_apply(1, a, s);
    return v > INT32_MAX ? INT32_MAX : static_cast<int32_t>(v);
}

// Packed form for stored history: the mantissa rounded to 24 bits in the top
// bits, the exponent + kSfPackBias in the low 8 (1..255; 0 is zero). Values
// below 2^-127 pack to zero, values at or above 2^128 to the largest packed
// value. Relative error <= 2^-24.
constexpr int32_t kSfPackBias = 128 + 30 - 7;  // packed exponent of 1.0 is 128

inline uint32_t sf_pack(SoftFloat a)
{
    if (a.m == 0) {
        return 0;
    }
    uint32_t m = (static_cast<uint32_t>(a.m) + 64) >> 7;  // 2^23 .. 2^24
    int32_t e = a.e + 7;
    if (m >> 24) {
        m >>= 1;
        e += 1;
    }
    const int32_t pe = e + kSfPackBias;
    if (pe < 1) {
        return 0;
    }
    if (pe > 255) {
        return 0xffffffffu;
    }
    return (m << 8) | static_cast<uint32_t>(pe);
}

inline SoftFloat sf_unpack(uint32_t p)
{
    if (p == 0) {
        return kSfZero;
    }
    return {static_cast<int32_t>((p >> 8) << 7), static_cast<int32_t>(p & 255u) - kSfPackBias - 7};
}

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SOFT_FLOAT_H
