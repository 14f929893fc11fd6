#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "filterbank/fft.h"
#include "filterbank/imdct.h"
#include "filterbank/transform_tables.h"
#include "fixedpoint/basic_ops.h"
#include "support/imdct_reference.h"

namespace {

using namespace fxaac;
using Words = std::vector<int32_t>;

const double kPi = std::acos(-1.0);

// Uniform words in [-limit, limit), reproducible on every target.
Words random_words(size_t n, int64_t limit, uint32_t seed)
{
    std::mt19937 gen(seed);
    Words v(n);
    for (auto &x : v)
        x = static_cast<int32_t>(static_cast<int64_t>(gen() % (2 * limit)) - limit);
    return v;
}

double snr_db(const std::vector<double> &ref, const Words &got)
{
    double signal = 0, noise = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
        signal += ref[i] * ref[i];
        noise += (ref[i] - got[i]) * (ref[i] - got[i]);
    }
    return 10 * std::log10(signal / noise);
}

// Forward DFT of interleaved complex words, as interleaved doubles.
std::vector<double> dft(const Words &x)
{
    const size_t n = x.size() / 2;
    std::vector<double> out(2 * n, 0.0);
    for (size_t k = 0; k < n; ++k) {
        for (size_t m = 0; m < n; ++m) {
            const double a = -2 * kPi * static_cast<double>(m * k % n) / n;
            out[2 * k] += x[2 * m] * std::cos(a) - x[2 * m + 1] * std::sin(a);
            out[2 * k + 1] += x[2 * m] * std::sin(a) + x[2 * m + 1] * std::cos(a);
        }
    }
    return out;
}

// An instance whose scratch areas are two separate buffers of N/2 = 1024
// words (512 complex values), as the work area provides them.
struct Transformer {
    AacDecoder dec{};
    Words scratch = Words(2048);
    Transformer()
    {
        dec.scratchA = scratch.data();
        dec.scratchB = scratch.data() + 1024;
    }
    Words run(Words in, int N)
    {
        Words out(N, 0x5a5a5a5a);
        IMDCT(&dec, in.data(), out.data(), N);
        return out;
    }
};

// Random input with the log2(N) bits of headroom the FFT needs, against a
// double-precision DFT.
TEST(Fft, MatchesDoubleDft)
{
    for (auto [n, limit] : {std::pair{512, 1 << 22}, std::pair{64, 1 << 25}}) {
        const Words x = random_words(2 * n, limit, 1234 + n);
        Words in = x, out(2 * n);
        my_FFT(in.data(), out.data(), n);
        const double snr = snr_db(dft(x), out);
        std::printf("FFT %d points: SNR %.1f dB\n", n, snr);
        EXPECT_GT(snr, 85.0);
    }
}

// Random blocks whose largest coefficient is exactly 2^20 (s = 10: no shift
// before the FFT, a saturating left shift by 2 after it) against the double
// inverse MDCT; the output's two halves are exactly odd- and even-symmetric.
TEST(Imdct, MatchesDoubleReferenceWithExactSymmetry)
{
    Transformer t;
    for (int N : {2048, 256}) {
        Words in = random_words(N / 2, 1 << 20, 99 + N);
        in[N / 7] = 1 << 20;
        const Words out = t.run(in, N);
        const double snr = snr_db(fxaac_test::imdct_reference(in.data(), N), out);
        std::printf("IMDCT %d: SNR %.1f dB\n", N, snr);
        EXPECT_GT(snr, 85.0);
        const int M = N / 4;
        for (int j = 0; j < M; ++j) {
            ASSERT_EQ(out[M - 1 - j], sub_sat(0, out[M + j])) << N << " " << j;
            ASSERT_EQ(out[3 * M - 1 - j], out[3 * M + j]) << N << " " << j;
        }
        EXPECT_EQ(t.run(Words(N / 2, 0), N), Words(N, 0));
    }
}

// Full-scale coefficients (s = 0 or 1): the block is shifted right before
// the FFT and back left with saturation, so the output follows the clamped
// reference instead of wrapping around (a wrap would be off by 2^32). The
// bits given up before the FFT cost accuracy: errors reach about 2^19.5.
TEST(Imdct, FullScaleBlockSaturatesInsteadOfWrapping)
{
    Transformer t;
    for (auto [N, at, value] : {std::tuple{2048, 0, INT32_MIN}, std::tuple{256, 3, 1 << 29}}) {
        Words in = random_words(N / 2, 1 << 12, 7);
        in[at] = in[at + 1] = value;  // two in phase near n = 3N/4: beyond full scale
        const Words out = t.run(in, N);
        const std::vector<double> ref = fxaac_test::imdct_reference(in.data(), N);
        int saturated = 0;
        for (int n = 0; n < N; ++n) {
            const double clamped = std::clamp(ref[n], -2147483648.0, 2147483647.0);
            ASSERT_NEAR(out[n], clamped, 1 << 21) << N << " " << n;
            saturated += out[n] == INT32_MAX || out[n] == INT32_MIN;
        }
        EXPECT_GT(saturated, 0) << N;
    }
}

TEST(Imdct, MeasureAndShiftHelpers)
{
    // Only the first n/2 words count; OR versus largest magnitude.
    Words x(32, 0);
    x[3] = 3;
    x[9] = -4;
    x[16] = INT32_MIN;
    EXPECT_EQ(maxArray(x.data(), 32), 7);
    EXPECT_EQ(max_Array_c(x.data(), 32), 4);
    x[15] = INT32_MIN;  // saturated magnitude 2^31 - 1: no headroom at all
    EXPECT_EQ(maxArray(x.data(), 32), INT32_MAX);
    EXPECT_EQ(max_Array_c(x.data(), 32), INT32_MAX);
    EXPECT_EQ(norm_s32(maxArray(x.data(), 32)), 0);

    for (auto shift_fn : {normalize30, Normalize30_c}) {
        Words r = {-9, 3, 1 << 30, -1};
        shift_fn(r.data(), 3, 4);
        EXPECT_EQ(r, (Words{-2, 0, 1 << 27, -1}));
        Words l = {3, -3, 1 << 30, 1 << 29};
        shift_fn(l.data(), -2, 4);
        EXPECT_EQ(l, (Words{12, -12, 0, INT32_MIN}));  // wraps
    }
}

// The alternative exported forms agree with the kernels the decoder runs.
TEST(Imdct, TwiddleKernelsAndAlternativeForms)
{
    const int N = 2048;
    const Words in = random_words(N / 2, int64_t{1} << 31, 5);  // full 32-bit range
    Words pre(N / 2), alt(N / 2);
    preTwiddleCompute_c_neon(in.data(), &in[N / 2 - 1], pre.data(), cosine_array_2048,
                             sine_array_2048, N / 8);
    for (auto form : {preTwiddleCompute_c, preTwiddleCompute}) {
        form(in.data(), &in[N / 2 - 1], alt.data(), cosine_array_2048, sine_array_2048, N / 8);
        EXPECT_EQ(alt, pre);
    }
    Words out(N), other(N);
    for (int shift : {3, 0, -3, -12}) {
        postTwiddleCompute12_c_neon(out.data(), in.data(), cosine_array_2048, sine_array_2048, N,
                                    shift);
        auto form = shift >= 0 ? postTwiddleCompute1 : postTwiddleCompute2;
        auto form_c = shift >= 0 ? postTwiddleCompute1_c : postTwiddleCompute2_c;
        form(other.data(), in.data(), cosine_array_2048, sine_array_2048, N, shift);
        EXPECT_EQ(other, out) << shift;
        form_c(other.data(), in.data(), cosine_array_2048, sine_array_2048, N, shift);
        EXPECT_EQ(other, out) << shift;
    }
    Words fft_out(1024), alt_out(1024);
    postRadixCompute2(fft_out.data(), in.data(), digRevTable2, 512);
    postradix2(alt_out.data(), in.data(), digRevTable2, 512);
    EXPECT_EQ(alt_out, fft_out);
    postRadixCompute4(fft_out.data(), in.data(), digRevTable4, 64);
    postradix4(alt_out.data(), in.data(), digRevTable4, 64);
    EXPECT_EQ(Words(alt_out.begin(), alt_out.begin() + 128),
              Words(fft_out.begin(), fft_out.begin() + 128));
}

}  // namespace
