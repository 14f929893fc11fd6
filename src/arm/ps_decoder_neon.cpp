// Parametric stereo's all-pass chains and real mixing on ARM Advanced SIMD
// (src/ps/ps_decoder.cpp), four bands per step, real and imaginary parts in
// separate vectors. Same results as the portable kernel: a complex product
// by a Q31 coefficient is VMULL/VMLAL/VMLSL (exact 64-bit sums), rounded by
// VQRSHRN #31 (the sum plus 2^30, shifted; a value beyond int32 saturates,
// and the clamp to +-2^30 that follows gives what it gives the exact one);
// the links' round(a g v / 2^31) is VQRDMULH (it saturates only for two
// factors of -2^31; |v| <= 2^30 here), their sums VQADD/VQSUB (|terms| <=
// 2^30: the only overflow, 2^31, saturates to a value the clamp treats alike).
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

namespace fxaac {
namespace {

constexpr int32_t kLimit = 1 << 30;

struct Complex4 {
    int32x4_t re, im;
};

inline int32x4_t limit(int32x4_t v)
{
    return vmaxq_s32(vminq_s32(v, vdupq_n_s32(kLimit)), vdupq_n_s32(-kLimit));
}

// round((a + b) / 2^31) of the 64-bit sums of four lanes, clamped.
inline int32x4_t narrow(int64x2_t lo, int64x2_t hi)
{
    return limit(vcombine_s32(vqrshrn_n_s64(lo, 31), vqrshrn_n_s64(hi, 31)));
}

// c x, clamped to +-2^30.
inline Complex4 cmul31(Complex4 c, Complex4 x)
{
    int64x2_t rl = vmull_s32(vget_low_s32(c.re), vget_low_s32(x.re));
    int64x2_t rh = vmull_s32(vget_high_s32(c.re), vget_high_s32(x.re));
    int64x2_t il = vmull_s32(vget_low_s32(c.re), vget_low_s32(x.im));
    int64x2_t ih = vmull_s32(vget_high_s32(c.re), vget_high_s32(x.im));
    rl = vmlsl_s32(rl, vget_low_s32(c.im), vget_low_s32(x.im));
    rh = vmlsl_s32(rh, vget_high_s32(c.im), vget_high_s32(x.im));
    il = vmlal_s32(il, vget_low_s32(c.im), vget_low_s32(x.re));
    ih = vmlal_s32(ih, vget_high_s32(c.im), vget_high_s32(x.re));
    return {narrow(rl, rh), narrow(il, ih)};
}

inline Complex4 load(const int32_t *p)
{
    const int32x4x2_t v = vld2q_s32(p);
    return {v.val[0], v.val[1]};
}

inline void store(int32_t *p, Complex4 v) { vst2q_s32(p, int32x4x2_t{{v.re, v.im}}); }

// The coefficients of four bands, decorr[k][0..3][2]: rows of band k as two
// vectors (coefficients 0, 1 and 2, 3), transposed to one vector per part.
struct Coefficients {
    Complex4 c[4];
};

inline Coefficients coefficients(const int32_t *decorr)
{
    Coefficients out;
    for (int half = 0; half < 2; half++) {
        const int32x4_t a = vld1q_s32(decorr + 4 * half), b = vld1q_s32(decorr + 8 + 4 * half);
        const int32x4_t c = vld1q_s32(decorr + 16 + 4 * half);
        const int32x4_t d = vld1q_s32(decorr + 24 + 4 * half);
        const int32x4x2_t ab = vtrnq_s32(a, b), cd = vtrnq_s32(c, d);
        // ab: (a0 b0 a2 b2), (a1 b1 a3 b3); the columns take the low halves
        // of ab and cd, then the high halves.
        out.c[2 * half] = {vcombine_s32(vget_low_s32(ab.val[0]), vget_low_s32(cd.val[0])),
                           vcombine_s32(vget_low_s32(ab.val[1]), vget_low_s32(cd.val[1]))};
        out.c[2 * half + 1] = {vcombine_s32(vget_high_s32(ab.val[0]), vget_high_s32(cd.val[0])),
                               vcombine_s32(vget_high_s32(ab.val[1]), vget_high_s32(cd.val[1]))};
    }
    return out;
}

}  // namespace

void ps_allpass_neon(const int32_t *decorr, const int32_t *gain, int32_t *pre, int32_t *link0,
                     int32_t *link1, int32_t *link2, const int32_t *x, int32_t *y, int32_t n)
{
    int32_t k = 0;
    for (; k + 4 <= n; k += 4) {
        const Coefficients c = coefficients(decorr + 8 * k);
        const int32x4x3_t ag = vld3q_s32(gain + 3 * k);
        Complex4 w = cmul31(c.c[0], load(pre + 2 * k));
        store(pre + 2 * k, load(x + 2 * k));
        int32_t *rings[3] = {link0 + 2 * k, link1 + 2 * k, link2 + 2 * k};
        for (int m = 0; m < 3; m++) {
            const Complex4 qv = cmul31(c.c[1 + m], load(rings[m]));
            const int32x4_t g = ag.val[m];
            const Complex4 v = {limit(vqaddq_s32(w.re, vqrdmulhq_s32(g, qv.re))),
                                limit(vqaddq_s32(w.im, vqrdmulhq_s32(g, qv.im)))};
            w = {limit(vqsubq_s32(qv.re, vqrdmulhq_s32(g, v.re))),
                 limit(vqsubq_s32(qv.im, vqrdmulhq_s32(g, v.im)))};
            store(rings[m], v);
        }
        store(y + 2 * k, w);
    }
    ps_allpass_c(decorr + 8 * k, gain + 3 * k, pre + 2 * k, link0 + 2 * k, link1 + 2 * k,
                 link2 + 2 * k, x + 2 * k, y + 2 * k, n - k);
}

// The mixing: h1 s + h2 d in 64 bits (VMULL, VMLAL by a scalar), rounded
// by VQRSHRN #30 and clamped as above.
void ps_mix_real_neon(const int32_t *s, const int32_t *d, int32_t *left, int32_t *right,
                      const int32_t *h, int32_t n)
{
    const auto mix = [](int32x4_t sv, int32x4_t dv, int32_t hs, int32_t hd) {
        const int64x2_t lo = vmlal_n_s32(vmull_n_s32(vget_low_s32(sv), hs), vget_low_s32(dv), hd);
        const int64x2_t hi = vmlal_n_s32(vmull_n_s32(vget_high_s32(sv), hs), vget_high_s32(dv), hd);
        return limit(vcombine_s32(vqrshrn_n_s64(lo, 30), vqrshrn_n_s64(hi, 30)));
    };
    int32_t i = 0;
    for (; i + 4 <= 2 * n; i += 4) {
        const int32x4_t sv = vld1q_s32(s + i), dv = vld1q_s32(d + i);
        vst1q_s32(left + i, mix(sv, dv, h[0], h[1]));
        vst1q_s32(right + i, mix(sv, dv, h[2], h[3]));
    }
    if (i < 2 * n) {  // one band left
        const int32x2_t sv = vld1_s32(s + i), dv = vld1_s32(d + i);
        const auto one = [&](int32_t hs, int32_t hd) {
            const int64x2_t v = vmlal_n_s32(vmull_n_s32(sv, hs), dv, hd);
            const int32x2_t r = vqrshrn_n_s64(v, 30);
            return vmax_s32(vmin_s32(r, vdup_n_s32(kLimit)), vdup_n_s32(-kLimit));
        };
        vst1_s32(left + i, one(h[0], h[1]));
        vst1_s32(right + i, one(h[2], h[3]));
    }
}

// The interpolation: a difference that overflows (VQSUB differs from VSUB)
// sends its four words to the portable kernel; otherwise VMULL by q,
// VRSHRN #30 (the rounded step fits: |step q / 2^30| <= |to - from|) and a
// sum that lies between from and to.
void ps_interpolate_neon(const int32_t *from, const int32_t *to, int32_t *out, int32_t q, int32_t n)
{
    const int32x2_t k = vdup_n_s32(q);
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const int32x4_t f = vld1q_s32(from + i), t = vld1q_s32(to + i);
        const int32x4_t diff = vsubq_s32(t, f);
        const uint32x4_t same = vceqq_s32(diff, vqsubq_s32(t, f));
        if ((vgetq_lane_u32(same, 0) & vgetq_lane_u32(same, 1) & vgetq_lane_u32(same, 2) &
             vgetq_lane_u32(same, 3)) == 0) {
            ps_interpolate_c(from + i, to + i, out + i, q, 4);
            continue;
        }
        const int32x4_t step = vcombine_s32(vrshrn_n_s64(vmull_s32(vget_low_s32(diff), k), 30),
                                            vrshrn_n_s64(vmull_s32(vget_high_s32(diff), k), 30));
        vst1q_s32(out + i, vaddq_s32(f, step));
    }
    ps_interpolate_c(from + i, to + i, out + i, q, n - i);
}

// The hybrid analysis filters: two taps per 64-bit pair of lanes (VLD2
// de-interleaves real and imaginary parts), the thirteenth alone, the lanes'
// sums added and rounded by VRSHRN #31: the portable exact sums in another
// order.
void ps_hybrid_filters_neon(const int32_t *x, const int32_t *g, int32_t *out, int32_t count)
{
    int32x2x2_t xs[6];
    for (int j = 0; j < 6; j++)
        xs[j] = vld2_s32(x + 4 * j);
    const int32x2_t last = vld1_s32(x + 24), swapped = vrev64_s32(last);
    for (int32_t i = 0; i < count; i++, g += 26) {
        int64x2_t re = vdupq_n_s64(0), im = re;
        for (int j = 0; j < 6; j++) {
            const int32x2x2_t t = vld2_s32(g + 4 * j);
            re = vmlsl_s32(vmlal_s32(re, t.val[0], xs[j].val[0]), t.val[1], xs[j].val[1]);
            im = vmlal_s32(vmlal_s32(im, t.val[0], xs[j].val[1]), t.val[1], xs[j].val[0]);
        }
        const int32x2_t t = vld1_s32(g + 24);
        const int64x2_t straight = vmull_s32(t, last), crossed = vmull_s32(t, swapped);
        const int64x1_t r = vadd_s64(vadd_s64(vget_low_s64(re), vget_high_s64(re)),
                                     vsub_s64(vget_low_s64(straight), vget_high_s64(straight)));
        const int64x1_t m = vadd_s64(vadd_s64(vget_low_s64(im), vget_high_s64(im)),
                                     vadd_s64(vget_low_s64(crossed), vget_high_s64(crossed)));
        vst1_s32(out + 2 * i, vrshrn_n_s64(vcombine_s64(r, m), 31));
    }
}

}  // namespace fxaac

#endif  // __ARM_NEON
