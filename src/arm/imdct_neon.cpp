// Inverse MDCT kernels on ARM Advanced SIMD: the pre-twiddle, the
// post-twiddle with the output placement, and the block exponent's measure
// and shift. Same results as the portable kernels for every argument.
//
// Twiddle products: q(p, t) = floor(p * t / 2^16) for a word p and a Q15
// table value t, made by VQDMULH (high word of 2 * p * c, rounded toward
// minus infinity) with c = t << 15 (VSHLL): floor(2 * p * t * 2^15 / 2^32).
// c lies in [-2^30, 2^30 - 2^15], so the doubling multiply never saturates.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "dsp/kernels.h"

namespace fxaac {
namespace {

struct Complex4 {
    int32x4_t re;
    int32x4_t im;
};

inline int32x4_t q15(int16x4_t t) { return vshll_n_s16(t, 15); }

// Lanes in reverse order.
inline int32x4_t reverse(int32x4_t v)
{
    const int32x4_t r = vrev64q_s32(v);
    return vcombine_s32(vget_high_s32(r), vget_low_s32(r));
}

// -(a + jb)(cs - j sn) / 2: real part -sat(q(a, cs) + q(b, sn)), imaginary
// part sat(q(a, sn) - q(b, cs)), with saturating add, negate and subtract
// (VQADD, VQNEG, VQSUB).
inline Complex4 pre_rotate(int32x4_t a, int32x4_t b, int16x4_t cs, int16x4_t sn)
{
    const int32x4_t c = q15(cs), s = q15(sn);
    return {vqnegq_s32(vqaddq_s32(vqdmulhq_s32(a, c), vqdmulhq_s32(b, s))),
            vqsubq_s32(vqdmulhq_s32(a, s), vqdmulhq_s32(b, c))};
}

// One value k of a count that is not a multiple of four, on lane 0.
inline void pre_rotate_one(int32_t a, int32_t b, int16_t cs, int16_t sn, int32_t *out)
{
    const Complex4 z = pre_rotate(vdupq_n_s32(a), vdupq_n_s32(b), vdup_n_s16(cs), vdup_n_s16(sn));
    out[0] = vgetq_lane_s32(z.re, 0);
    out[1] = vgetq_lane_s32(z.im, 0);
}

// Undoing the block exponent after the post-twiddle with VQSHL by a
// register count: a positive count is a saturating left shift (x * 2^c
// clamped to the 32-bit range, which saturates exactly when the bits the
// shift drops are not all equal to the sign), a negative count a truncating
// arithmetic right shift.
struct ExponentShift {
    int32x4_t count;
    int32x4_t operator()(int32x4_t v) const { return vqshlq_s32(v, count); }
};

// Left shifts by 32 to 255 (modulo 256) clear every value.
struct ClearAll {
    int32x4_t operator()(int32x4_t) const { return vdupq_n_s32(0); }
};

// A = sh(sat(q(zr, cs) + q(zi, sn))) in re, B = sh(sat(q(zr, sn) - q(zi, cs)))
// in im.
template <typename Shift>
inline Complex4 post_rotate(Complex4 z, int16x4_t cs, int16x4_t sn, Shift sh)
{
    const int32x4_t c = q15(cs), s = q15(sn);
    return {sh(vqaddq_s32(vqdmulhq_s32(z.re, c), vqdmulhq_s32(z.im, s))),
            sh(vqsubq_s32(vqdmulhq_s32(z.re, s), vqdmulhq_s32(z.im, c)))};
}

inline Complex4 load_complex(const int32_t *p)
{
    const int32x4x2_t v = vld2q_s32(p);
    return {v.val[0], v.val[1]};
}

inline void store_pairs(int32_t *p, int32x4_t even, int32x4_t odd)
{
    int32x4x2_t v;
    v.val[0] = even;
    v.val[1] = odd;
    vst2q_s32(p, v);
}

// A, B of one index k on lane 0.
template <typename Shift>
inline Complex4 post_rotate_one(const int32_t *in, int32_t k, const int16_t *cosine,
                                const int16_t *sine, Shift sh)
{
    const Complex4 z{vdupq_n_s32(in[2 * k]), vdupq_n_s32(in[2 * k + 1])};
    return post_rotate(z, vdup_n_s16(cosine[k]), vdup_n_s16(sine[k]), sh);
}

// Four values i .. i+3 from the front and j = M-1-i .. M-4-i from the back
// per step (the back loads hold them in reverse order, j = M-4-i first).
// Writing the four output quarters from their shared boundaries outward:
//   out[M + 2i], out[M + 2i + 1]          = B[i], A[j]
//   out[3M + 2i], out[3M + 2i + 1]        = A[i], B[j]
//   out[M - 1 - 2i], out[M - 2 - 2i]      = -sat B[i], -sat A[j]
//   out[3M - 1 - 2i], out[3M - 2 - 2i]    = A[i], B[j]
// The upward stores take the back values reversed, the downward ones the
// front values reversed, so each store is one interleaving VST2.
template <typename Shift>
void post_twiddle(int32_t *out, const int32_t *in, const int16_t *cosine, const int16_t *sine,
                  int32_t N, Shift sh)
{
    const int32_t M = N / 4;
    const int32_t half = M / 2;
    int32_t i = 0;
    for (; i + 4 <= half; i += 4) {
        const int32_t jb = M - 4 - i;
        const Complex4 f = post_rotate(load_complex(in + 2 * i), vld1_s16(cosine + i),
                                       vld1_s16(sine + i), sh);
        const Complex4 b = post_rotate(load_complex(in + 2 * jb), vld1_s16(cosine + jb),
                                       vld1_s16(sine + jb), sh);
        store_pairs(out + M + 2 * i, f.im, reverse(b.re));
        store_pairs(out + 3 * M + 2 * i, f.re, reverse(b.im));
        store_pairs(out + M - 8 - 2 * i, vqnegq_s32(b.re), vqnegq_s32(reverse(f.im)));
        store_pairs(out + 3 * M - 8 - 2 * i, b.im, reverse(f.re));
    }
    for (; i < half; ++i) {
        const int32_t j = M - 1 - i;
        const Complex4 f = post_rotate_one(in, i, cosine, sine, sh);
        const Complex4 b = post_rotate_one(in, j, cosine, sine, sh);
        const int32_t fa = vgetq_lane_s32(f.re, 0), fb = vgetq_lane_s32(f.im, 0);
        const int32_t ba = vgetq_lane_s32(b.re, 0), bb = vgetq_lane_s32(b.im, 0);
        out[M + 2 * i] = fb;
        out[M + 2 * i + 1] = ba;
        out[M - 1 - 2 * i] = vgetq_lane_s32(vqnegq_s32(f.im), 0);
        out[M - 2 - 2 * i] = vgetq_lane_s32(vqnegq_s32(b.re), 0);
        out[3 * M + 2 * i] = fa;
        out[3 * M + 2 * i + 1] = bb;
        out[3 * M - 1 - 2 * i] = fa;
        out[3 * M - 2 - 2 * i] = bb;
    }
}

}  // namespace

// Four values k .. k+3 from the front and their mirrors 2 count - 1 - k ..
// 2 count - 4 - k from the back per step. With the de-interleaving loads
// the front words front[2k + 2i] are the a of k + i and front[2k + 2i + 1]
// the b of the mirror of k + i; the back words back[-2k - 7 + 2i] are the a
// of the mirror of k + 3 - i and back[-2k - 6 + 2i] the b of k + 3 - i. The
// mirrors sit at increasing positions for decreasing k, so they come out in
// lane order from the back loads, and the two other vectors are reversed.
void pre_twiddle_neon(const int32_t *front, const int32_t *back, int32_t *out,
                      const int16_t *cosine, const int16_t *sine, int32_t count)
{
    const int32_t last = 2 * count - 1;
    int32_t k = 0;
    for (; k + 4 <= count; k += 4) {
        const int32x4x2_t f = vld2q_s32(front + 2 * k);
        const int32x4x2_t b = vld2q_s32(back - 2 * k - 7);
        const Complex4 z = pre_rotate(f.val[0], reverse(b.val[1]), vld1_s16(cosine + k),
                                      vld1_s16(sine + k));
        store_pairs(out + 2 * k, z.re, z.im);
        const int32_t m = last - k - 3;
        const Complex4 zm = pre_rotate(b.val[0], reverse(f.val[1]), vld1_s16(cosine + m),
                                       vld1_s16(sine + m));
        store_pairs(out + 2 * m, zm.re, zm.im);
    }
    for (; k < count; ++k) {
        const int32_t m = last - k;
        pre_rotate_one(front[2 * k], back[-2 * k], cosine[k], sine[k], out + 2 * k);
        pre_rotate_one(back[-2 * k - 1], front[2 * k + 1], cosine[m], sine[m], out + 2 * m);
    }
}

// The count: shift >= 0 shifts right by shift modulo 256, where 32 and
// above give the sign fill (a shift by 31); shift < 0 shifts left with
// saturation by -shift modulo 256, where 32 and above give 0 for every value.
void post_twiddle_neon(int32_t *out, const int32_t *in, const int16_t *cosine, const int16_t *sine,
                       int32_t N, int32_t shift)
{
    if (shift >= 0) {
        const int32_t c = shift & 255;
        post_twiddle(out, in, cosine, sine, N, ExponentShift{vdupq_n_s32(-(c < 32 ? c : 31))});
        return;
    }
    const auto c = static_cast<int32_t>((0u - static_cast<uint32_t>(shift)) & 255u);
    if (c < 32) {
        post_twiddle(out, in, cosine, sine, N, ExponentShift{vdupq_n_s32(c)});
    } else {
        post_twiddle(out, in, cosine, sine, N, ClearAll{});
    }
}

// OR of the saturated magnitudes (VQABS: -2^31 gives 2^31 - 1) of x[0] ..
// x[n/2 - 1], eight words per step in two accumulators.
int32_t block_magnitude_neon(const int32_t *x, int32_t n)
{
    const int32_t count = n / 2;
    int32x4_t acc0 = vdupq_n_s32(0), acc1 = vdupq_n_s32(0);
    const int32_t *const end8 = x + (count < 0 ? 0 : count & ~7);
    while (x != end8) {
        acc0 = vorrq_s32(acc0, vqabsq_s32(vld1q_s32(x)));
        acc1 = vorrq_s32(acc1, vqabsq_s32(vld1q_s32(x + 4)));
        x += 8;
    }
    for (int32_t left = count < 0 ? 0 : count & 7; left > 0; --left) {
        acc1 = vorrq_s32(acc1, vqabsq_s32(vld1q_dup_s32(x++)));
    }
    const int32x4_t acc = vorrq_s32(acc0, acc1);
    const int32x2_t folded = vorr_s32(vget_low_s32(acc), vget_high_s32(acc));
    return vget_lane_s32(folded, 0) | vget_lane_s32(folded, 1);
}

// x[i] shifted by shift for i < n: shift > 0 an arithmetic right shift,
// shift <= 0 a wrapping left shift by -shift, counts taken modulo 256. VSHL
// by a register count is a wrapping left shift for a positive count (32 and
// above give 0) and an arithmetic right shift for a negative one (31 and
// above give the sign fill).
void block_shift_neon(int32_t *x, int32_t shift, int32_t n)
{
    int32_t c = 0;
    if (shift > 0) {
        c = shift & 255;
        c = -(c < 32 ? c : 31);
    } else {
        c = static_cast<int32_t>((0u - static_cast<uint32_t>(shift)) & 255u);
        c = c < 32 ? c : 32;
    }
    const int32x4_t count = vdupq_n_s32(c);
    int32_t *const end8 = x + (n < 0 ? 0 : n & ~7);
    while (x != end8) {
        const int32x4_t v0 = vshlq_s32(vld1q_s32(x), count);
        const int32x4_t v1 = vshlq_s32(vld1q_s32(x + 4), count);
        vst1q_s32(x, v0);
        vst1q_s32(x + 4, v1);
        x += 8;
    }
    for (int32_t left = n < 0 ? 0 : n & 7; left > 0; --left, ++x) {
        vst1q_lane_s32(x, vshlq_s32(vld1q_dup_s32(x), count), 0);
    }
}

}  // namespace fxaac

#endif  // __ARM_NEON
