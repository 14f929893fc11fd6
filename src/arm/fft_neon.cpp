// Radix-4 FFT stages and the two reordering last stages on ARM Advanced
// SIMD. Same results as the portable kernels: sums and differences wrap
// (VADD, VSUB), and a twiddle product is
//   q(p, t) = sat(floor(2 p t / 2^32)),
// the saturating doubling multiply keeping the high word, which is VQDMULH
// itself; t is a table word holding a Q15 coefficient in its high half.
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "arm/fft_parts_neon.h"
#include "dsp/kernels.h"

namespace fxaac {
namespace {

// The twiddle of one leg for four butterflies: wc - j ws.
struct Twiddle4 {
    int32x4_t ws;
    int32x4_t wc;
};

// u (wc - j ws): real q(ui, ws) + q(ur, wc), imaginary q(ui, wc) - q(ur, ws),
// the two products of each part summed with wrapping.
FXAAC_NEON_INLINE Complex4 rotate(Complex4 u, Twiddle4 w)
{
    return {vaddq_s32(vqdmulhq_s32(u.im, w.ws), vqdmulhq_s32(u.re, w.wc)),
            vsubq_s32(vqdmulhq_s32(u.im, w.wc), vqdmulhq_s32(u.re, w.ws))};
}

// The radix-4 butterfly of legs p0..p3 with the twiddles of legs 1..3:
//   p0 + p1 + p2 + p3,  ((p0 - p2) - j (p1 - p3)) W1,
//   ((p0 + p2) - (p1 + p3)) W2,  ((p0 - p2) + j (p1 - p3)) W3.
FXAAC_NEON_INLINE void butterfly(Complex4 &p0, Complex4 &p1, Complex4 &p2, Complex4 &p3,
                                 Twiddle4 w1, Twiddle4 w2, Twiddle4 w3)
{
    const Complex4 s02 = add(p0, p2), d02 = sub(p0, p2);
    const Complex4 s13 = add(p1, p3), d13 = sub(p1, p3);
    p0 = add(s02, s13);
    p1 = rotate(sub_j(d02, d13), w1);
    p2 = rotate(sub(s02, s13), w2);
    p3 = rotate(add_j(d02, d13), w3);
}

// Leg `leg` (1..3) of a 24-word twiddle group: ws[4], wc[4] of leg 1, then
// of legs 2 and 3.
FXAAC_NEON_INLINE Twiddle4 load_twiddle(const int32_t *group, int leg)
{
    return {vld1q_s32(group + 8 * (leg - 1)), vld1q_s32(group + 8 * (leg - 1) + 4)};
}

// One butterfly on lane 0, for the positions that do not fill a vector:
// x is its leg 0, the legs lie quarter complex values apart, and the
// twiddles are lane `lane` of the group.
void butterfly_one(int32_t *x, int32_t quarter, const int32_t *group, int lane)
{
    int32_t *v[4];
    Complex4 p[4];
    for (int q = 0; q < 4; ++q) {
        v[q] = x + 2 * q * quarter;
        p[q] = {vdupq_n_s32(v[q][0]), vdupq_n_s32(v[q][1])};
    }
    Twiddle4 w[3];
    for (int leg = 0; leg < 3; ++leg) {
        w[leg] = {vdupq_n_s32(group[8 * leg + lane]), vdupq_n_s32(group[8 * leg + 4 + lane])};
    }
    butterfly(p[0], p[1], p[2], p[3], w[0], w[1], w[2]);
    for (int q = 0; q < 4; ++q) {
        v[q][0] = vgetq_lane_s32(p[q].re, 0);
        v[q][1] = vgetq_lane_s32(p[q].im, 0);
    }
}

}  // namespace

// Four butterflies m .. m+3 per step, one VLD2 per leg, their twiddles the
// next 24-word group.
void radix4_stage_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    const int32_t stride = 2 * quarter;  // words between legs
    for (int32_t block = 0; block < N; block += n) {
        int32_t m = 0;
        const int32_t *group = w;
        for (; m + 4 <= quarter; m += 4, group += 24) {
            // Each leg is finished and stored before the next twiddle is
            // loaded, which keeps the live vectors within the register file.
            int32_t *p = x + 2 * (block + m);
            const Complex4 p0 = load4(p), p1 = load4(p + stride), p2 = load4(p + 2 * stride),
                           p3 = load4(p + 3 * stride);
            const Complex4 s02 = add(p0, p2), d02 = sub(p0, p2);
            const Complex4 s13 = add(p1, p3), d13 = sub(p1, p3);
            store4(p, add(s02, s13));
            store4(p + stride, rotate(sub_j(d02, d13), load_twiddle(group, 1)));
            store4(p + 2 * stride, rotate(sub(s02, s13), load_twiddle(group, 2)));
            store4(p + 3 * stride, rotate(add_j(d02, d13), load_twiddle(group, 3)));
        }
        for (; m < quarter; ++m)
            butterfly_one(x + 2 * (block + m), quarter, w + 24 * (m / 4), m % 4);
    }
}

// Blocks of eight have two butterflies (m = 0, 1) whose legs are the pairs
// at positions 0-1, 2-3, 4-5, 6-7; two blocks fill the four lanes (m = 0, 1
// of the first block, then of the second), as the packed table expects.
void radix4_stage8_neon(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    if (n != 8) {
        for (int32_t block = 0; block < N; block += 2 * n) {
            for (int lane = 0; lane < 4; ++lane) {
                const int32_t position = block + n * (lane / quarter) + lane % quarter;
                butterfly_one(x + 2 * position, quarter, w8, lane);
            }
        }
        return;
    }
    const Twiddle4 w1 = load_twiddle(w8, 1), w2 = load_twiddle(w8, 2), w3 = load_twiddle(w8, 3);
    for (int32_t block = 0; block < N; block += 16) {
        int32_t *a = x + 2 * block;
        int32_t *b = a + 16;
        Complex4 p0 = load_pairs(a, b), p1 = load_pairs(a + 4, b + 4);
        Complex4 p2 = load_pairs(a + 8, b + 8), p3 = load_pairs(a + 12, b + 12);
        butterfly(p0, p1, p2, p3, w1, w2, w3);
        store_pairs(a, b, p0);
        store_pairs(a + 4, b + 4, p1);
        store_pairs(a + 8, b + 8, p2);
        store_pairs(a + 12, b + 12, p3);
    }
}

// Radix 2: (x0 + x1, x2 + x3, x0 - x1, x2 - x3) to bins r, r + N/8, r + N/2,
// r + N/2 + N/8.
void post_radix2_neon(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    const int32_t o1 = 2 * (N / 8), o2 = 2 * (N / 2), o3 = 2 * (N / 2 + N / 8);
    last_stage(out, x, digRev, N, [=](const int32_t *a, const int32_t *b, int32_t *bin) {
        const int32x4_t x0 = join(a, b), x1 = join(a + 2, b + 2);
        const int32x4_t x2 = join(a + 4, b + 4), x3 = join(a + 6, b + 6);
        vst1q_s32(bin, vaddq_s32(x0, x1));
        vst1q_s32(bin + o1, vaddq_s32(x2, x3));
        vst1q_s32(bin + o2, vsubq_s32(x0, x1));
        vst1q_s32(bin + o3, vsubq_s32(x2, x3));
    });
}

// Radix 4 without twiddles, legs to bins N/4 apart. With (re, im) pairs in
// the lanes, -j d is (d.im, -d.re): VREV64 swaps the parts and a multiply by
// (1, -1), whose low word is the wrapping negation, flips the sign of the
// second.
void post_radix4_neon(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    const int32x4_t conj = {1, -1, 1, -1};
    const int32_t step = 2 * (N / 4);
    last_stage(out, x, digRev, N, [=](const int32_t *a, const int32_t *b, int32_t *bin) {
        const int32x4_t p0 = join(a, b), p1 = join(a + 2, b + 2);
        const int32x4_t p2 = join(a + 4, b + 4), p3 = join(a + 6, b + 6);
        const int32x4_t s02 = vaddq_s32(p0, p2), d02 = vsubq_s32(p0, p2);
        const int32x4_t s13 = vaddq_s32(p1, p3), d13 = vsubq_s32(p1, p3);
        const int32x4_t minus_j_d13 = vmulq_s32(vrev64q_s32(d13), conj);
        vst1q_s32(bin, vaddq_s32(s02, s13));
        vst1q_s32(bin + step, vaddq_s32(d02, minus_j_d13));
        vst1q_s32(bin + 2 * step, vsubq_s32(s02, s13));
        vst1q_s32(bin + 3 * step, vsubq_s32(d02, minus_j_d13));
    });
}

}  // namespace fxaac

#endif  // __ARM_NEON
