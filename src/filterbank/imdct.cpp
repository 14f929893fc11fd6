// Inverse MDCT through an N/4-point complex FFT with a block exponent.
//
// With M = N/4 and s the redundant sign bits of the largest coefficient:
//   1. pre-twiddle: z[k] = -(in[2k] + j in[N/2-1-2k]) (cos - j sin) / 2,
//      angle 2 pi (k + 1/8) / N;
//   2. shift z left by g = s - 10 (long) or s - 7 (short): the largest
//      coefficient sits below 2^(31-s), so |z| < 2^21 (long) or 2^24 (short)
//      and the FFT's growth of 2^9 or 2^6 stays below 2^30;
//   3. FFT of M points;
//   4. post-twiddle with the same angles, shifted by s - 12 for both sizes.
// Gain: 2^g / 2 / 2 / 2^(s-12) is 1 for long and 8 for short windows.
#include "filterbank/imdct.h"

#include "dsp/kernels.h"
#include "filterbank/fft.h"
#include "filterbank/transform_tables.h"
#include "fixedpoint/basic_ops.h"

namespace fxaac {
namespace {

constexpr int32_t kLongLength = 2048;
// Headroom (in bits below 2^31) each size's pre-twiddled block is shifted
// to, and the post-twiddle's fixed part of the exponent.
constexpr int32_t kLongPreShift = 10;
constexpr int32_t kShortPreShift = 7;
constexpr int32_t kPostShift = 12;

struct Twiddles {
    const int16_t *cosine;
    const int16_t *sine;
};

Twiddles twiddles_for(int32_t N)
{
    if (N == kLongLength)
        return {cosine_array_2048, sine_array_2048};
    return {cosine_array_256, sine_array_256};
}

int32_t neg_sat(int32_t x) { return sub_sat(0, x); }

// -(a + jb)(cs - j sn) / 2 into out[0] (real), out[1] (imaginary). The
// products are below 2^30 in magnitude and cs + sn < 1.5 in Q15, so neither
// the sums nor the negation ever reach the 32-bit bounds: the saturating
// and the wrapping forms agree.
template <bool Saturate>
void pre_rotate(int32_t a, int32_t b, int16_t cs, int16_t sn, int32_t *out)
{
    const int32_t acs = mul_32x16(cs, a), bsn = mul_32x16(sn, b);
    const int32_t asn = mul_32x16(sn, a), bcs = mul_32x16(cs, b);
    if constexpr (Saturate) {
        out[0] = neg_sat(add_sat(acs, bsn));
        out[1] = sub_sat(asn, bcs);
    } else {
        out[0] = static_cast<int32_t>(0u - static_cast<uint32_t>(add_wrap(acs, bsn)));
        out[1] = add_wrap(asn, static_cast<int32_t>(0u - static_cast<uint32_t>(bcs)));
    }
}

// k runs up from the front while its mirror last - k runs down from the
// back: k reads in[2k] and in[N/2-1-2k]; the mirror reads in[N/2-2-2k] and
// in[2k+1].
template <bool Saturate>
void pre_twiddle_loop(const int32_t *front, const int32_t *back, int32_t *out, Twiddles w,
                      int32_t count)
{
    const int32_t last = 2 * count - 1;
    for (int32_t k = 0; k < count; ++k) {
        const int32_t mirror = last - k;
        pre_rotate<Saturate>(front[2 * k], back[-2 * k], w.cosine[k], w.sine[k], out + 2 * k);
        pre_rotate<Saturate>(back[-2 * k - 1], front[2 * k + 1], w.cosine[mirror], w.sine[mirror],
                             out + 2 * mirror);
    }
}

// Undoing the block exponent: an arithmetic right shift, or a left shift
// that saturates instead of wrapping.
struct ShiftRight {
    int32_t count;
    int32_t operator()(int32_t v) const { return shr(v, count); }
};
struct ShiftLeftSat {
    int32_t count;
    int32_t operator()(int32_t v) const { return shl_sat(v, count); }
};

struct PostPair {
    int32_t a;
    int32_t b;
};

// A[k] - j B[k] = (zr + j zi)(cs - j sn) / 2, each part then rescaled by sh.
template <typename Shift>
PostPair post_rotate(const int32_t *z, int16_t cs, int16_t sn, Shift sh)
{
    const int32_t zr = z[0], zi = z[1];
    return {sh(add_sat(mul_32x16(cs, zr), mul_32x16(sn, zi))),
            sh(sub_sat(mul_32x16(sn, zr), mul_32x16(cs, zi)))};
}

// Step i handles A, B at i (front) and at M - 1 - i (back) and writes the
// four output quarters outward from their shared boundaries M and 3M: the
// first half odd-symmetric about M, the second half even-symmetric about 3M.
template <typename Shift>
void post_twiddle_loop(int32_t *out, const int32_t *z, Twiddles w, int32_t N, Shift sh)
{
    const int32_t M = N / 4;
    for (int32_t i = 0; i < M / 2; ++i) {
        const int32_t j = M - 1 - i;
        const PostPair f = post_rotate(z + 2 * i, w.cosine[i], w.sine[i], sh);
        const PostPair b = post_rotate(z + 2 * j, w.cosine[j], w.sine[j], sh);
        out[M + 2 * i] = f.b;
        out[M + 2 * i + 1] = b.a;
        out[M - 1 - 2 * i] = neg_sat(f.b);
        out[M - 2 - 2 * i] = neg_sat(b.a);
        out[3 * M + 2 * i] = f.a;
        out[3 * M + 2 * i + 1] = b.b;
        out[3 * M - 1 - 2 * i] = f.a;
        out[3 * M - 2 - 2 * i] = b.b;
    }
}

// The OR (or the largest) of the saturated magnitudes of x[0] .. x[n/2 - 1].
template <bool UseOr>
int32_t fold_magnitudes(const int32_t *x, int32_t n)
{
    int32_t acc = 0;
    for (int32_t i = 0; i < n / 2; ++i) {
        const int32_t m = abs_sat(x[i]);
        acc = UseOr ? (acc | m) : (m > acc ? m : acc);
    }
    return acc;
}

void shift_block(int32_t *x, int32_t shift, int32_t n)
{
    for (int32_t i = 0; i < n; ++i)
        x[i] = shift_dir(x[i], shift);
}

}  // namespace

// The portable kernels (src/dsp/kernels.h).

int32_t block_magnitude_c(const int32_t *x, int32_t n) { return fold_magnitudes<true>(x, n); }

void block_shift_c(int32_t *x, int32_t shift, int32_t n) { shift_block(x, shift, n); }

void pre_twiddle_c(const int32_t *front, const int32_t *back, int32_t *out, const int16_t *cosine,
                   const int16_t *sine, int32_t count)
{
    pre_twiddle_loop<true>(front, back, out, {cosine, sine}, count);
}

void post_twiddle_c(int32_t *out, const int32_t *in, const int16_t *cosine, const int16_t *sine,
                    int32_t N, int32_t shift)
{
    if (shift >= 0) {
        post_twiddle_loop(out, in, {cosine, sine}, N, ShiftRight{shift});
    } else {
        post_twiddle_loop(out, in, {cosine, sine}, N, ShiftLeftSat{-shift});
    }
}

}  // namespace fxaac

using namespace fxaac;

// The exported kernels run the selected versions; the other forms are
// portable.
int32_t fxaac::maxArray(const int32_t *x, int32_t n) { return block_magnitude(x, n); }
int32_t fxaac::max_Array_c(const int32_t *x, int32_t n) { return fold_magnitudes<false>(x, n); }
void fxaac::normalize30(int32_t *x, int32_t shift, int32_t n) { block_shift(x, shift, n); }
void fxaac::Normalize30_c(int32_t *x, int32_t shift, int32_t n) { block_shift_c(x, shift, n); }

void fxaac::preTwiddleCompute_c_neon(const int32_t *front, const int32_t *back, int32_t *out,
                                     const int16_t *cosine, const int16_t *sine, int32_t count)
{
    pre_twiddle(front, back, out, cosine, sine, count);
}

void fxaac::preTwiddleCompute_c(const int32_t *front, const int32_t *back, int32_t *out,
                                const int16_t *cosine, const int16_t *sine, int32_t count)
{
    pre_twiddle_loop<false>(front, back, out, {cosine, sine}, count);
}

void fxaac::preTwiddleCompute(const int32_t *front, const int32_t *back, int32_t *out,
                              const int16_t *cosine, const int16_t *sine, int32_t count)
{
    pre_twiddle_loop<false>(front, back, out, {cosine, sine}, count);
}

void fxaac::postTwiddleCompute1_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                                  const int16_t *sine, int32_t N, int32_t shift)
{
    post_twiddle_loop(out, in, {cosine, sine}, N, ShiftRight{shift});
}

void fxaac::postTwiddleCompute2_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                                  const int16_t *sine, int32_t N, int32_t shift)
{
    post_twiddle_loop(out, in, {cosine, sine}, N, ShiftLeftSat{-shift});
}

void fxaac::postTwiddleCompute1(int32_t *out, const int32_t *in, const int16_t *cosine,
                                const int16_t *sine, int32_t N, int32_t shift)
{
    postTwiddleCompute1_c(out, in, cosine, sine, N, shift);
}

void fxaac::postTwiddleCompute2(int32_t *out, const int32_t *in, const int16_t *cosine,
                                const int16_t *sine, int32_t N, int32_t shift)
{
    postTwiddleCompute2_c(out, in, cosine, sine, N, shift);
}

void fxaac::postTwiddleCompute12_c_neon(int32_t *out, const int32_t *in, const int16_t *cosine,
                                        const int16_t *sine, int32_t N, int32_t shift)
{
    post_twiddle(out, in, cosine, sine, N, shift);
}

void fxaac::ipreTwiddle(AacDecoder *instance, const int32_t *in, int32_t N)
{
    const Twiddles w = twiddles_for(N);
    pre_twiddle(in, &in[N / 2 - 1], instance->scratchA, w.cosine, w.sine, N / 8);
}

void fxaac::ipostTwiddle(AacDecoder *instance, int32_t *out, int32_t N, int32_t shift)
{
    const Twiddles w = twiddles_for(N);
    post_twiddle(out, instance->scratchB, w.cosine, w.sine, N, shift);
}

void fxaac::IMDCT(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N)
{
    const Twiddles w = twiddles_for(N);
    // s: 0..31, 31 for an all-zero block (every shift then acts on zeros).
    const int16_t s = static_cast<int16_t>(norm_s32(block_magnitude(in, N)));
    const int16_t g = static_cast<int16_t>(s - (N == kLongLength ? kLongPreShift : kShortPreShift));
    pre_twiddle(in, &in[N / 2 - 1], instance->scratchA, w.cosine, w.sine, N / 8);
    block_shift(instance->scratchA, -g, N / 2);
    my_FFT(instance->scratchA, instance->scratchB, N / 4);
    post_twiddle(out, instance->scratchB, w.cosine, w.sine, N, s - kPostShift);
}
