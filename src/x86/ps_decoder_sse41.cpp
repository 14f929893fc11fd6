// Parametric stereo's all-pass chains and real mixing with SSE4.1 (src/ps/ps_decoder.cpp),
// four bands per step, real and imaginary parts in separate vectors. Same
// results as the portable kernel: products of 32-bit factors in 64 bits
// (PMULDQ on the even lanes, the odd ones moved down), exact sums, rounded
// by adding 2^30 and keeping bits 31..62, which hold the whole value (every
// rounded product or complex product here is below 2^31 in magnitude); the
// links' sums saturate (|terms| <= 2^30: only 2^31 overflows, and the clamp
// to +-2^30 that follows treats it alike).
#include "dsp/kernels.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

constexpr int32_t kLimit = 1 << 30;

struct Complex4 {
    __m128i re, im;
};

FXAAC_SIMD_INLINE __m128i limit(__m128i v)
{
    return V128::max(V128::min(v, V128::set1(kLimit)), V128::set1(-kLimit));
}

// round(v / 2^31) of the 64-bit values of the even lanes of e (results in
// lanes 0, 2) and of o (lanes 1, 3).
FXAAC_SIMD_INLINE __m128i round31(__m128i e, __m128i o)
{
    const __m128i r = V128::set1_64(int64_t{1} << 30);
    return V128::blend_odd(V128::srli64<31>(V128::add64(e, r)), V128::slli64<1>(V128::add64(o, r)));
}

// round(g v / 2^31) per lane.
FXAAC_SIMD_INLINE __m128i mul_round31(__m128i g, __m128i v)
{
    return round31(V128::mul(g, v), V128::mul(V128::odd(g), V128::odd(v)));
}

// c x, clamped to +-2^30.
FXAAC_SIMD_INLINE Complex4 cmul31(const Complex4 &c, const Complex4 &x)
{
    const __m128i cr_o = V128::odd(c.re), ci_o = V128::odd(c.im);
    const __m128i xr_o = V128::odd(x.re), xi_o = V128::odd(x.im);
    const __m128i re = round31(V128::sub64(V128::mul(c.re, x.re), V128::mul(c.im, x.im)),
                               V128::sub64(V128::mul(cr_o, xr_o), V128::mul(ci_o, xi_o)));
    const __m128i im = round31(V128::add64(V128::mul(c.re, x.im), V128::mul(c.im, x.re)),
                               V128::add64(V128::mul(cr_o, xi_o), V128::mul(ci_o, xr_o)));
    return {limit(re), limit(im)};
}

FXAAC_SIMD_INLINE Complex4 load(const int32_t *p)
{
    Complex4 v;
    V128::deinterleave(V128::load(p), V128::load(p + 4), v.re, v.im);
    return v;
}

FXAAC_SIMD_INLINE void store(int32_t *p, const Complex4 &v)
{
    __m128i a, b;
    V128::interleave(v.re, v.im, a, b);
    V128::store(p, a);
    V128::store(p + 4, b);
}

// The coefficients of four bands, decorr[k][0..3][2], transposed to one
// vector per part.
struct Coefficients {
    Complex4 c[4];
};

FXAAC_SIMD_INLINE Coefficients coefficients(const int32_t *decorr)
{
    Coefficients out;
    for (int half = 0; half < 2; half++) {
        const __m128i a = V128::load(decorr + 4 * half), b = V128::load(decorr + 8 + 4 * half);
        const __m128i c = V128::load(decorr + 16 + 4 * half);
        const __m128i d = V128::load(decorr + 24 + 4 * half);
        const __m128i ab_lo = _mm_unpacklo_epi32(a, b), cd_lo = _mm_unpacklo_epi32(c, d);
        const __m128i ab_hi = _mm_unpackhi_epi32(a, b), cd_hi = _mm_unpackhi_epi32(c, d);
        out.c[2 * half] = {_mm_unpacklo_epi64(ab_lo, cd_lo), _mm_unpackhi_epi64(ab_lo, cd_lo)};
        out.c[2 * half + 1] = {_mm_unpacklo_epi64(ab_hi, cd_hi), _mm_unpackhi_epi64(ab_hi, cd_hi)};
    }
    return out;
}

}  // namespace

void ps_allpass_sse41(const int32_t *decorr, const int32_t *gain, int32_t *pre, int32_t *link0,
                      int32_t *link1, int32_t *link2, const int32_t *x, int32_t *y, int32_t n)
{
    int32_t k = 0;
    for (; k + 4 <= n; k += 4) {
        const Coefficients c = coefficients(decorr + 8 * k);
        const int32_t *ag = gain + 3 * k;
        Complex4 w = cmul31(c.c[0], load(pre + 2 * k));
        store(pre + 2 * k, load(x + 2 * k));
        int32_t *rings[3] = {link0 + 2 * k, link1 + 2 * k, link2 + 2 * k};
        for (int m = 0; m < 3; m++) {
            const Complex4 qv = cmul31(c.c[1 + m], load(rings[m]));
            const __m128i g = _mm_setr_epi32(ag[m], ag[3 + m], ag[6 + m], ag[9 + m]);
            const Complex4 v = {limit(add_sat<V128>(w.re, mul_round31(g, qv.re))),
                                limit(add_sat<V128>(w.im, mul_round31(g, qv.im)))};
            w = {limit(sub_sat<V128>(qv.re, mul_round31(g, v.re))),
                 limit(sub_sat<V128>(qv.im, mul_round31(g, v.im)))};
            store(rings[m], v);
        }
        store(y + 2 * k, w);
    }
    ps_allpass_c(decorr + 8 * k, gain + 3 * k, pre + 2 * k, link0 + 2 * k, link1 + 2 * k,
                 link2 + 2 * k, x + 2 * k, y + 2 * k, n - k);
}

// The mixing: round(v / 2^30) of v = h1 s + h2 d (|v| < 2^62) keeps bits
// 30..61 of v + 2^29 when it fits int32, that is when bits 61..63 agree
// (read in the high words); otherwise the clamp's bound of v's sign.
void ps_mix_real_sse41(const int32_t *s, const int32_t *d, int32_t *left, int32_t *right,
                       const int32_t *h, int32_t n)
{
    const __m128i r = V128::set1_64(int64_t{1} << 29);
    const auto mix = [&](__m128i sv, __m128i dv, int32_t hs, int32_t hd) {
        const __m128i ks = V128::set1(hs), kd = V128::set1(hd);
        const __m128i e = V128::add64(V128::add64(V128::mul(sv, ks), V128::mul(dv, kd)), r);
        const __m128i o = V128::add64(
            V128::add64(V128::mul(V128::odd(sv), ks), V128::mul(V128::odd(dv), kd)), r);
        const __m128i x = V128::blend_odd(V128::srli64<30>(e), V128::slli64<2>(o));
        const __m128i high = V128::blend_odd(V128::srli64<32>(e), o);
        const __m128i fits = V128::cmpeq(V128::srai<29>(high), V128::srai<31>(high));
        const __m128i bound = V128::blendv(V128::set1(kLimit), V128::set1(-kLimit), high);
        return V128::blendv(bound, limit(x), fits);
    };
    int32_t i = 0;
    for (; i + 4 <= 2 * n; i += 4) {
        const __m128i sv = V128::load(s + i), dv = V128::load(d + i);
        V128::store(left + i, mix(sv, dv, h[0], h[1]));
        V128::store(right + i, mix(sv, dv, h[2], h[3]));
    }
    ps_mix_real_c(s + i, d + i, left + i, right + i, h, n - i / 2);
}

// The interpolation: a difference that overflows (operands of different
// signs and a result of the subtrahend's) sends its four words to the
// portable kernel; otherwise 64-bit products by q, rounded at bit 30 (the
// step fits 32 bits) and added.
void ps_interpolate_sse41(const int32_t *from, const int32_t *to, int32_t *out, int32_t q,
                          int32_t n)
{
    const __m128i k = V128::set1(q), r = V128::set1_64(int64_t{1} << 29);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i f = V128::load(from + i), t = V128::load(to + i);
        const __m128i diff = V128::sub(t, f);
        const __m128i overflow = V128::bit_and(V128::bit_xor(t, f), V128::bit_xor(t, diff));
        if (_mm_movemask_ps(_mm_castsi128_ps(overflow)) != 0) {
            ps_interpolate_c(from + i, to + i, out + i, q, 4);
            continue;
        }
        const __m128i e = V128::add64(V128::mul(diff, k), r);
        const __m128i o = V128::add64(V128::mul(V128::odd(diff), k), r);
        V128::store(out + i,
                    V128::add(f, V128::blend_odd(V128::srli64<30>(e), V128::slli64<2>(o))));
    }
    ps_interpolate_c(from + i, to + i, out + i, q, n - i);
}

// The hybrid analysis filters: two taps per vector in their interleaved
// layout (PMULDQ of the real parts, and of the imaginary ones after a 32-bit
// shift), the thirteenth alone, the two lanes' sums added and rounded: the
// portable exact sums in another order; bits 31..62 of the rounded sum are
// the result.
void ps_hybrid_filters_sse41(const int32_t *x, const int32_t *g, int32_t *out, int32_t count)
{
    for (int32_t i = 0; i < count; i++, g += 26) {
        __m128i re = V128::zero(), im = re;
        const auto taps = [&](__m128i t, __m128i v) {
            const __m128i to = V128::odd(t), vo = V128::odd(v);
            re = V128::add64(re, V128::sub64(V128::mul(t, v), V128::mul(to, vo)));
            im = V128::add64(im, V128::add64(V128::mul(t, vo), V128::mul(to, v)));
        };
        for (int j = 0; j < 6; j++)
            taps(V128::load(g + 4 * j), V128::load(x + 4 * j));
        taps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(g + 24)),
             _mm_loadl_epi64(reinterpret_cast<const __m128i *>(x + 24)));
        const __m128i half = V128::set1_64(int64_t{1} << 30);
        const __m128i r = V128::add64(V128::add64(re, _mm_unpackhi_epi64(re, re)), half);
        const __m128i m = V128::add64(V128::add64(im, _mm_unpackhi_epi64(im, im)), half);
        out[2 * i] = _mm_cvtsi128_si32(V128::srli64<31>(r));
        out[2 * i + 1] = _mm_cvtsi128_si32(V128::srli64<31>(m));
    }
}

}  // namespace fxaac
