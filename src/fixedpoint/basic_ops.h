/* Fixed-point basic operations on 32-bit two's-complement words.
 *
 * Inner loops call the inline forms in namespace fxaac; the exported C
 * functions at the end of this header are one-line wrappers around them.
 *
 * Conventions:
 * - "word" is int32_t; a coefficient is a Q15 value in 16 bits (full scale
 *   stored as 32767).
 * - x >> n is an arithmetic right shift (rounds toward minus infinity).
 * - Shift counts are taken modulo 256; a count of 32..255 gives 0 for a left
 *   shift and the sign fill (0 or -1) for a right shift.
 * - Nothing rounds and nothing saturates unless its comment says so; other
 *   additions and left shifts wrap modulo 2^32.
 * - No undefined behaviour for any argument: wrapping arithmetic is done in
 *   uint32_t, products in int64_t, and shift counts are clamped before use.
 */
#ifndef FXAAC_FIXEDPOINT_BASIC_OPS_H
#define FXAAC_FIXEDPOINT_BASIC_OPS_H

#include <cstdint>

#include "fxaac/fxaac_export.h"

namespace fxaac {

inline constexpr int32_t kMin32 = INT32_MIN;
inline constexpr int32_t kMax32 = INT32_MAX;

/* Leading zero bits of v, 0..32 (0 gives 32). */
constexpr int clz32(uint32_t v) { return v != 0 ? __builtin_clz(v) : 32; }

/* Redundant sign bits of x, 0..31: clz of x (x >= 0) or ~x (x < 0), minus 1;
 * 0 and -1 give 31, -2^31 gives 0. x << norm_s32(x) keeps x's value. */
constexpr int norm_s32(int32_t x) { return clz32(static_cast<uint32_t>(x ^ (x >> 31))) - 1; }

/* Clamp a 64-bit value to [-2^31, 2^31-1]. */
constexpr int32_t sat32(int64_t v)
{
    return v > kMax32 ? kMax32 : (v < kMin32 ? kMin32 : static_cast<int32_t>(v));
}

/* a + b modulo 2^32. */
constexpr int32_t add_wrap(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

/* a + b saturated to [-2^31, 2^31-1] (same as sat32 of the 64-bit sum; on
 * overflow the result takes a's sign). Branch-free on ARM. */
constexpr int32_t add_sat(int32_t a, int32_t b)
{
    int32_t r = 0;
    return __builtin_add_overflow(a, b, &r) ? (a >> 31) ^ kMax32 : r;
}

/* a - b saturated to [-2^31, 2^31-1]. */
constexpr int32_t sub_sat(int32_t a, int32_t b)
{
    int32_t r = 0;
    return __builtin_sub_overflow(a, b, &r) ? (a >> 31) ^ kMax32 : r;
}

/* |a|, saturated: -2^31 gives 2^31-1 (a ^ s is ~a for a < 0; minus s = -1). */
constexpr int32_t abs_sat(int32_t a) { return sub_sat(a ^ (a >> 31), a >> 31); }

/* (x * k) >> 16 with k = the low 16 bits of k (signed, high half ignored);
 * exact 48-bit product, bits 16..47 kept, truncated toward minus infinity.
 * Result in [-2^30, 2^30]. Coefficient first, as the exported form. */
constexpr int32_t mul_32x16(int32_t k, int32_t x)
{
    return static_cast<int32_t>((int64_t{x} * static_cast<int16_t>(k)) >> 16);
}

/* ((x * k) >> 16) * 2, truncated as mul_32x16, then doubled with wrap:
 * only x = -2^31, k = -32768 overflows, giving -2^31. */
constexpr int32_t mul_32x16_x2(int32_t k, int32_t x)
{
    return static_cast<int32_t>(static_cast<uint32_t>(mul_32x16(k, x)) << 1);
}

/* x << (n mod 256), wrapping; counts 32..255 give 0. */
constexpr int32_t shl_wrap(int32_t x, int32_t n)
{
    const uint32_t c = static_cast<uint32_t>(n) & 255u;
    return c < 32 ? static_cast<int32_t>(static_cast<uint32_t>(x) << c) : 0;
}

/* x >> (n mod 256), arithmetic; counts 32..255 give the sign fill 0 or -1. */
constexpr int32_t shr(int32_t x, int32_t n)
{
    const uint32_t c = static_cast<uint32_t>(n) & 255u;
    return x >> (c < 32 ? c : 31u);
}

/* n > 0: x >> n (arithmetic); n <= 0: x << -n, wrapping (counts mod 256). */
constexpr int32_t shift_dir(int32_t x, int32_t n)
{
    return n > 0 ? shr(x, n) : shl_wrap(x, static_cast<int32_t>(0u - static_cast<uint32_t>(n)));
}

/* x << n saturated to [-2^31, 2^31-1], n in 0..31. Decided on the bits the
 * shift drops, not by shifting back: t = x >> (31 - n) is 0 or -1 (equal to
 * x's sign fill) exactly when x << n keeps the value; otherwise t > 0 gives
 * 2^31-1 and t < -1 gives -2^31, i.e. the bound of x's sign. */
constexpr int32_t shl_sat(int32_t x, int32_t n)
{
    const int32_t sign = x >> 31;
    return shr(x, 31 - n) == sign ? shl_wrap(x, n) : sign ^ kMax32;
}

/* 16-bit saturating negation of a 16-bit value held in a word: -32768 gives
 * 32767, any other x the low 16 bits of -x. */
constexpr int16_t negate16(int32_t x)
{
    return x == -32768 ? int16_t{32767} : static_cast<int16_t>(0u - static_cast<uint32_t>(x));
}

/* x >> 16: bits 16..31, in [-32768, 32767]. */
constexpr int16_t extract_hi16(int32_t x) { return static_cast<int16_t>(x >> 16); }

/* Low 16 bits of x, sign-extended. */
constexpr int16_t extract_lo16(int32_t x) { return static_cast<int16_t>(x); }

/* Double-precision split: *hi = x >> 16, *lo = low 16 bits of
 * (x >> 1) - hi * 2^15 (that is (x >> 1) & 0x7fff). Returns, wrapping,
 * (x >> 1) - (x's top 16 bits as unsigned) * 2^15. */
constexpr int32_t extract_fft(int32_t x, int16_t *hi, int16_t *lo)
{
    const int32_t h = x >> 16;
    const uint32_t half = static_cast<uint32_t>(x >> 1);
    *hi = static_cast<int16_t>(h);
    *lo = static_cast<int16_t>(half - (static_cast<uint32_t>(h) << 15));
    return static_cast<int32_t>(half - ((static_cast<uint32_t>(h) & 0xffffu) << 15));
}

/* hi * n + ((lo * n) >> 15), all in 32-bit wrapping arithmetic (lo * n
 * wraps before the arithmetic shift), then reduced to the low 31 bits and
 * sign-extended from bit 30: result in [-2^30, 2^30 - 1]. */
constexpr int32_t mul_32x16_fft(int32_t hi, int32_t lo, int32_t n)
{
    const auto un = static_cast<uint32_t>(n);
    const int32_t lo_prod = static_cast<int32_t>(static_cast<uint32_t>(lo) * un);
    const uint32_t sum = static_cast<uint32_t>(hi) * un + static_cast<uint32_t>(lo_prod >> 15);
    return static_cast<int32_t>(sum << 1) >> 1;
}

/* a + b + carry, wrapping, with carry and overflow updated as the ITU-T
 * G.191 basic operator L_add_c: carry = carry out of the unsigned a + b,
 * overflow = signed overflow of a + b; with an incoming carry, a + b equal
 * to 2^31-1 sets overflow and a + b equal to -1 sets carry. */
constexpr int32_t add_c(int32_t a, int32_t b, int32_t &carry, int32_t &overflow)
{
    const int32_t out = static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b) +
                                             static_cast<uint32_t>(carry));
    const int32_t test = add_wrap(a, b);
    int32_t carry_int = 0;
    if (a > 0 && b > 0 && test < 0) {
        overflow = 1;
    } else if (a < 0 && b < 0) {
        overflow = test >= 0 ? 1 : 0;
        carry_int = 1;
    } else {
        overflow = 0;
        carry_int = ((a ^ b) < 0 && test >= 0) ? 1 : 0;
    }
    if (carry != 0 && test == kMax32) {
        overflow = 1;
        carry = carry_int;
    } else if (carry != 0 && test == -1) {
        carry = 1;
    } else {
        carry = carry_int;
    }
    return out;
}

/* a - b - (1 - carry), wrapping, with carry and overflow updated as the
 * ITU-T G.191 basic operator L_sub_c. With an incoming carry: carry is
 * cleared, then b != -2^31 behaves as add_c(a, -b); b = -2^31 returns a - b
 * and sets overflow when a > 0. Without: see the branches below (overflow is
 * left unchanged when none of them applies, as in G.191). */
constexpr int32_t sub_c(int32_t a, int32_t b, int32_t &carry, int32_t &overflow)
{
    if (carry != 0) {
        carry = 0;
        if (b != kMin32)
            return add_c(a, -b, carry, overflow);
        if (a > 0)
            overflow = 1;
        return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    }
    const int32_t test = static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    int32_t carry_int = 0;
    if (test < 0 && a > 0 && b < 0) {
        overflow = 1;
    } else if (test > 0 && a < 0 && b > 0) {
        overflow = 1;
        carry_int = 1;
    } else if (test > 0 && (a ^ b) > 0) {
        overflow = 0;
        carry_int = 1;
    }
    if (test == kMin32)
        overflow = 1;
    carry = carry_int;
    return static_cast<int32_t>(static_cast<uint32_t>(test) - 1u);
}

}  // namespace fxaac

FXAAC_EXTERN_C_BEGIN

/* Flags of L_add_c / L_sub_c (0 or 1), zero at load; nothing else uses them.
 * Not thread-safe: the only process-wide mutable state of the library. They
 * stay internal: callers see them only through the two operators. */
extern int32_t Carry;
extern int32_t Overflow;

FXAAC_EXTERN_C_END

namespace fxaac {
int32_t mpy_32_16_r_AAC_DEC(int32_t k, int32_t x);
int32_t mpy_32_16_r_ns(int32_t k, int32_t x);
int32_t shift_dir_AAC_DEC(int32_t x, int32_t n);
int16_t normalize_AAC_DEC(int32_t x);
int16_t normalize_pos(int32_t x);
int32_t L_add_AAC_DEC(int32_t a, int32_t b);
int32_t L_sub_AAC_DEC(int32_t a, int32_t b);
int32_t L_abs_AAC_DEC(int32_t a);
int32_t L_shl_AAC_DEC(int32_t x, int32_t n);
int32_t L_shr_AAC_DEC(int32_t x, int32_t n);
int32_t L_shl_AAC_DEC_sat(int32_t x, int32_t n);
int16_t negate(int32_t x);
int16_t extract_h(int32_t x);
int16_t extract_l(int32_t x);
int32_t L_add_c(int32_t a, int32_t b);
int32_t L_sub_c(int32_t a, int32_t b);
int32_t L_ExtractFFT(int32_t x, int16_t *hi, int16_t *lo);
int32_t modified_Mpy_32_16_FFT(int32_t hi, int32_t lo, int32_t n);
}  // namespace fxaac

#endif /* FXAAC_FIXEDPOINT_BASIC_OPS_H */
