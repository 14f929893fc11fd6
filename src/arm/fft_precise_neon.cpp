// The precise FFT's scaled radix-4 stages on ARM Advanced SIMD
// (src/precise/fft_precise.h). Same results as the portable stage: sums and
// differences wrap (VADD, VSUB), the untwiddled leg is (v + 2) >> 2, and a
// twiddled part is the sum of two rounded products VQRDMULH, round(a x /
// 2^31) (equal for the coefficients, which are never -2^31).
#if defined(__ARM_NEON)

#include <arm_neon.h>

#include "arm/fft_parts_neon.h"
#include "dsp/kernels.h"

namespace fxaac {
namespace {

// cos and sin of one leg for four butterflies (Q29).
struct Twiddle4 {
    int32x4_t c;
    int32x4_t s;
};

// u (c - j s) with quarter coefficients (Q29): real q(ur, c) + q(ui, s),
// imaginary q(ui, c) - q(ur, s), q = VQRDMULH.
FXAAC_NEON_INLINE Complex4 rotate_quarter(Complex4 u, Twiddle4 w)
{
    return {vaddq_s32(vqrdmulhq_s32(u.re, w.c), vqrdmulhq_s32(u.im, w.s)),
            vsubq_s32(vqrdmulhq_s32(u.im, w.c), vqrdmulhq_s32(u.re, w.s))};
}

FXAAC_NEON_INLINE int32x4_t quarter_round(int32x4_t v)
{
    return vshrq_n_s32(vaddq_s32(v, vdupq_n_s32(2)), 2);
}

FXAAC_NEON_INLINE void butterfly(Complex4 &p0, Complex4 &p1, Complex4 &p2, Complex4 &p3,
                                 const Twiddle4 w[3])
{
    const Complex4 s02 = add(p0, p2), d02 = sub(p0, p2);
    const Complex4 s13 = add(p1, p3), d13 = sub(p1, p3);
    const Complex4 y0 = add(s02, s13);
    p0 = {quarter_round(y0.re), quarter_round(y0.im)};
    p1 = rotate_quarter(sub_j(d02, d13), w[0]);
    p2 = rotate_quarter(sub(s02, s13), w[1]);
    p3 = rotate_quarter(add_j(d02, d13), w[2]);
}

// The three legs' twiddles of a 24-word group: c[4], s[4] of leg 1, then
// of legs 2 and 3.
FXAAC_NEON_INLINE Twiddle4 load_leg(const int32_t *group, int leg)
{
    return {vld1q_s32(group + 8 * leg), vld1q_s32(group + 8 * leg + 4)};
}

FXAAC_NEON_INLINE void load_group(const int32_t *group, Twiddle4 w[3])
{
    for (int leg = 0; leg < 3; ++leg)
        w[leg] = load_leg(group, leg);
}

}  // namespace

// Four butterflies m .. m + 3 per step; the n = 8 stage takes m = 0, 1 of
// two blocks per step, as its packed group is laid out. Anything else runs
// the portable stage.
void radix4_stage_q29_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    Twiddle4 tw[3];
    if (n == 8 && N % 16 == 0) {
        load_group(w, tw);
        for (int32_t block = 0; block < N; block += 16) {
            int32_t *a = x + 2 * block;
            int32_t *b = a + 16;
            Complex4 p0 = load_pairs(a, b), p1 = load_pairs(a + 4, b + 4);
            Complex4 p2 = load_pairs(a + 8, b + 8), p3 = load_pairs(a + 12, b + 12);
            butterfly(p0, p1, p2, p3, tw);
            store_pairs(a, b, p0);
            store_pairs(a + 4, b + 4, p1);
            store_pairs(a + 8, b + 8, p2);
            store_pairs(a + 12, b + 12, p3);
        }
        return;
    }
    if (quarter <= 0 || quarter % 4 != 0) {
        radix4_stage_q29_c(w, x, N, n);
        return;
    }
    const int32_t stride = 2 * quarter;
    for (int32_t block = 0; block < N; block += n) {
        const int32_t *group = w;
        for (int32_t m = 0; m < quarter; m += 4, group += 24) {
            // Each leg is finished and stored before the next twiddle is
            // loaded, which keeps the live vectors within the register file.
            int32_t *p = x + 2 * (block + m);
            const Complex4 p0 = load4(p), p1 = load4(p + stride), p2 = load4(p + 2 * stride),
                           p3 = load4(p + 3 * stride);
            const Complex4 s02 = add(p0, p2), d02 = sub(p0, p2);
            const Complex4 s13 = add(p1, p3), d13 = sub(p1, p3);
            const Complex4 y0 = add(s02, s13);
            store4(p, {quarter_round(y0.re), quarter_round(y0.im)});
            store4(p + stride, rotate_quarter(sub_j(d02, d13), load_leg(group, 0)));
            store4(p + 2 * stride, rotate_quarter(sub(s02, s13), load_leg(group, 1)));
            store4(p + 3 * stride, rotate_quarter(add_j(d02, d13), load_leg(group, 2)));
        }
    }
}

// The last stages as post_radix2_neon and post_radix4_neon (fft_neon.cpp),
// each result rounded: (v + 1) >> 1 and (v + 2) >> 2.
void post_radix2_q_neon(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    const int32_t o1 = 2 * (N / 8), o2 = 2 * (N / 2), o3 = 2 * (N / 2 + N / 8);
    const auto half = [](int32x4_t v) { return vshrq_n_s32(vaddq_s32(v, vdupq_n_s32(1)), 1); };
    last_stage(out, x, digRev, N, [=](const int32_t *a, const int32_t *b, int32_t *bin) {
        const int32x4_t x0 = join(a, b), x1 = join(a + 2, b + 2);
        const int32x4_t x2 = join(a + 4, b + 4), x3 = join(a + 6, b + 6);
        vst1q_s32(bin, half(vaddq_s32(x0, x1)));
        vst1q_s32(bin + o1, half(vaddq_s32(x2, x3)));
        vst1q_s32(bin + o2, half(vsubq_s32(x0, x1)));
        vst1q_s32(bin + o3, half(vsubq_s32(x2, x3)));
    });
}

void post_radix4_q_neon(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    const int32x4_t conj = {1, -1, 1, -1};
    const int32_t step = 2 * (N / 4);
    last_stage(out, x, digRev, N, [=](const int32_t *a, const int32_t *b, int32_t *bin) {
        const int32x4_t p0 = join(a, b), p1 = join(a + 2, b + 2);
        const int32x4_t p2 = join(a + 4, b + 4), p3 = join(a + 6, b + 6);
        const int32x4_t s02 = vaddq_s32(p0, p2), d02 = vsubq_s32(p0, p2);
        const int32x4_t s13 = vaddq_s32(p1, p3), d13 = vsubq_s32(p1, p3);
        const int32x4_t minus_j_d13 = vmulq_s32(vrev64q_s32(d13), conj);
        vst1q_s32(bin, quarter_round(vaddq_s32(s02, s13)));
        vst1q_s32(bin + step, quarter_round(vaddq_s32(d02, minus_j_d13)));
        vst1q_s32(bin + 2 * step, quarter_round(vsubq_s32(s02, s13)));
        vst1q_s32(bin + 3 * step, quarter_round(vsubq_s32(d02, minus_j_d13)));
    });
}

}  // namespace fxaac

#endif  // __ARM_NEON
