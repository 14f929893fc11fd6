#include "precise/imdct_precise.h"

#include "dsp/kernels.h"
#include "fixedpoint/basic_ops.h"
#include "precise/fft_precise.h"
#include "precise/precise_ops.h"
#include "precise/precise_tables.h"

namespace fxaac {
namespace {

using precise::kSpectrumBits;

constexpr int32_t kLongLength = 2048;
// The block exponent puts the largest coefficient's top bit here.
constexpr int32_t kTopBit = 27;
// Post-twiddle shift after the Q31 product: -8 (2^9 / 2 of the long
// transform's scaled FFT, likewise 8 * 2^6 / 2 for the short one) less the
// synthesis scale's extra bits, plus the block exponent and the spectrum's
// fraction bits.
constexpr int32_t kPostShift = -8 - precise::kSynthesisBits + kSpectrumBits;

struct Twiddles {
    const int32_t *cosine;
    const int32_t *sine;
};

Twiddles twiddles_for(int32_t N)
{
    if (N == kLongLength)
        return {imdct_cos_2048, imdct_sin_2048};
    return {imdct_cos_256, imdct_sin_256};
}

int32_t minus_sat(int32_t v) { return v == kMin32 ? kMax32 : -v; }

// The low word of round(v / 2^31): v < 2^62 in magnitude.
int32_t round_q31(int64_t v)
{
    return static_cast<int32_t>(static_cast<uint32_t>(precise::round_shift(v, 31)));
}

// round(x / 2^n) for n > 0 (ties up), x * 2^-n saturated for n <= 0;
// -31 <= n <= 31.
int32_t shift_round_sat(int32_t x, int32_t n)
{
    if (n > 0)
        return precise::round_down(x, n);
    return shl_sat(x, -n);
}

// x * 2^g in place: exact for g >= 0 (the caller leaves room), rounded for g < 0.
void rescale(int32_t *x, int32_t n, int32_t g)
{
    if (g > 0) {
        block_shift(x, -g, n);
    } else if (g < 0) {
        for (int32_t i = 0; i < n; ++i)
            x[i] = static_cast<int32_t>(precise::round_shift(x[i], -g));
    }
}

}  // namespace

// The portable kernels (src/dsp/kernels.h).

// z[k] = -(front[2k] + j back[-2k]) (c - j s) for k < 2 count (count =
// N/8, back = front + N/2 - 1): the rotation rounded, then negated (wrapping).
void pre_twiddle_q31_c(const int32_t *front, const int32_t *back, int32_t *out,
                       const int32_t *cosine, const int32_t *sine, int32_t count)
{
    for (int32_t k = 0; k < 2 * count; ++k) {
        const int64_t a = front[2 * k], b = back[-2 * k];
        const int64_t c = cosine[k], s = sine[k];
        out[2 * k] = static_cast<int32_t>(0u - static_cast<uint32_t>(round_q31(a * c + b * s)));
        out[2 * k + 1] = round_q31(a * s - b * c);
    }
}

// A[k] - j B[k] = Z[k] (c - j s): each part rounded to a word, then scaled
// by 2^-shift (rounded right shift, or saturating left shift), and spread
// over the N outputs as filterbank/imdct.h's post-twiddle does.
void post_twiddle_q31_c(int32_t *out, const int32_t *in, const int32_t *cosine, const int32_t *sine,
                        int32_t N, int32_t shift)
{
    const int32_t M = N / 4;
    const auto part = [shift](int64_t v) { return shift_round_sat(round_q31(v), shift); };
    const auto a_of = [&](int32_t k) {
        return part(int64_t{in[2 * k]} * cosine[k] + int64_t{in[2 * k + 1]} * sine[k]);
    };
    const auto b_of = [&](int32_t k) {
        return part(int64_t{in[2 * k]} * sine[k] - int64_t{in[2 * k + 1]} * cosine[k]);
    };
    for (int32_t i = 0; i < M / 2; ++i) {
        const int32_t j = M - 1 - i;
        const int32_t fa = a_of(i), fb = b_of(i), ba = a_of(j), bb = b_of(j);
        out[M + 2 * i] = fb;
        out[M + 2 * i + 1] = ba;
        out[M - 1 - 2 * i] = minus_sat(fb);
        out[M - 2 - 2 * i] = minus_sat(ba);
        out[3 * M + 2 * i] = fa;
        out[3 * M + 2 * i + 1] = bb;
        out[3 * M - 1 - 2 * i] = fa;
        out[3 * M - 2 - 2 * i] = bb;
    }
}

void imdct_precise(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N)
{
    const int32_t magnitude = block_magnitude(in, N);  // OR of |in[0 .. N/2-1]|
    if (magnitude == 0) {
        for (int32_t i = 0; i < N; ++i)
            out[i] = 0;
        return;
    }
    const int32_t g = norm_s32(magnitude) - (30 - kTopBit);
    rescale(in, N / 2, g);
    const Twiddles w = twiddles_for(N);
    pre_twiddle_q31(in, in + N / 2 - 1, instance->scratchA, w.cosine, w.sine, N / 8);
    fft_precise(instance->scratchA, instance->scratchB, N / 4);
    post_twiddle_q31(out, instance->scratchB, w.cosine, w.sine, N, kPostShift + g);
}

}  // namespace fxaac
