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

namespace {

using namespace fxaac;
using Words = std::vector<int32_t>;

const double kPi = std::acos(-1.0);

int32_t q15(double v) { return static_cast<int32_t>(std::min(32767.0, std::floor(32768.0 * v + 0.5))); }

// Uniform words in [-limit, limit), reproducible on every target.
Words random_words(size_t n, int64_t limit, uint32_t seed) {
  std::mt19937 gen(seed);
  Words v(n);
  for (auto &x : v) x = static_cast<int32_t>(static_cast<int64_t>(gen() % (2 * limit)) - limit);
  return v;
}

double snr_db(const std::vector<double> &ref, const Words &got) {
  double signal = 0, noise = 0;
  for (size_t i = 0; i < ref.size(); ++i) {
    signal += ref[i] * ref[i];
    noise += (ref[i] - got[i]) * (ref[i] - got[i]);
  }
  return 10 * std::log10(signal / noise);
}

// Forward DFT of interleaved complex words, as interleaved doubles.
std::vector<double> dft(const Words &x) {
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

// G sum_k in[k] cos(2 pi (n + n0)(k + 1/2) / N), n0 = (N/2 + 1)/2: the angle
// is 2 pi (2n + N/2 + 1)(2k + 1) / 4N, an exact index into a 4N-entry table.
std::vector<double> imdct_reference(const Words &in, int N) {
  std::vector<double> cosines(4 * N);
  for (int i = 0; i < 4 * N; ++i) cosines[i] = std::cos(2 * kPi * i / (4 * N));
  const double gain = N == 2048 ? 1 : 8;
  std::vector<double> out(N);
  for (int n = 0; n < N; ++n) {
    double sum = 0;
    for (int k = 0; k < N / 2; ++k) sum += in[k] * cosines[(2 * n + N / 2 + 1) * (2 * k + 1) % (4 * N)];
    out[n] = gain * sum;
  }
  return out;
}

// An instance whose scratch areas are two separate buffers of N/2 = 1024
// words (512 complex values), as the work area provides them.
struct Transformer {
  AacDecoder dec{};
  Words scratch = Words(2048);
  Transformer() {
    dec.scratchA = scratch.data();
    dec.scratchB = scratch.data() + 1024;
  }
  Words run(Words in, int N) {
    Words out(N, 0x5a5a5a5a);
    IMDCT(&dec, in.data(), out.data(), N);
    return out;
  }
};

TEST(TransformTables, TellingValuesAndLayout) {
  EXPECT_EQ(Words(cosine_array_2048, cosine_array_2048 + 4), (Words{32767, 32767, 32767, 32766}));
  EXPECT_EQ(cosine_array_2048[511], 88);
  EXPECT_EQ(Words(sine_array_2048, sine_array_2048 + 3), (Words{13, 113, 214}));
  EXPECT_EQ(Words(cosine_array_256, cosine_array_256 + 3), (Words{32767, 32756, 32723}));
  EXPECT_EQ(Words(sine_array_256, sine_array_256 + 3), (Words{101, 905, 1708}));

  // Every FFT twiddle by the group layout: leg k of butterfly m of a stage
  // of block length n sits at group m/4, vector 2(k-1) (ws) or 2k-1 (wc),
  // lane m%4 (and, in the packed n = 8 stage, again in lane m + 2).
  auto expect_stage = [](const int32_t *w, int n, int copies) {
    for (int m = 0; m < n / 4; ++m) {
      for (int leg = 1; leg <= 3; ++leg) {
        for (int copy = 0; copy < copies; ++copy) {
          const int lane = m % 4 + copy * n / 4;
          const int32_t *v = w + 24 * (m / 4) + 8 * (leg - 1) + lane;
          const double a = 2 * kPi * leg * m / n;
          ASSERT_EQ(v[0], q15(std::sin(a)) * 65536) << n << " " << m << " " << leg;
          ASSERT_EQ(v[4], q15(std::cos(a)) * 65536) << n << " " << m << " " << leg;
        }
      }
    }
  };
  expect_stage(enc_neon_w_512_word32, 512, 1);
  expect_stage(enc_neon_w_512_word32 + 768, 128, 1);
  expect_stage(enc_neon_w_512_word32 + 960, 32, 1);
  expect_stage(enc_neon_w_512_8_word32, 8, 2);  // lanes m = 0, 1, 0, 1
  expect_stage(enc_neon_w_64_word32, 64, 1);
  expect_stage(enc_neon_w_64_word32 + 96, 16, 1);
  EXPECT_EQ(enc_neon_w_512_8_word32[20] >> 16, 32767);  // leg 3 wc: 1, -1/sqrt2, ...
  EXPECT_EQ(enc_neon_w_512_8_word32[21] >> 16, -23170);

  EXPECT_EQ(Words(digRevTable2, digRevTable2 + 10),
            (Words{0, 1024, 128, 1152, 256, 1280, 384, 1408, 32, 1056}));
  EXPECT_EQ(digRevTable2[32], 16);
  EXPECT_EQ(digRevTable2[63], 1520);
  EXPECT_EQ(Words(digRevTable4, digRevTable4 + 8), (Words{0, 32, 64, 96, 16, 48, 80, 112}));
}

// Random input with the log2(N) bits of headroom the FFT needs, against a
// double-precision DFT.
TEST(Fft, MatchesDoubleDft) {
  for (auto [n, limit] : {std::pair{512, 1 << 22}, std::pair{64, 1 << 25}}) {
    const Words x = random_words(2 * n, limit, 1234 + n);
    Words in = x, out(2 * n);
    my_FFT(in.data(), out.data(), n);
    const double snr = snr_db(dft(x), out);
    std::printf("FFT %d points: SNR %.1f dB\n", n, snr);
    EXPECT_GT(snr, 85.0);
  }
}

TEST(Fft, ConstantImpulseAndOtherSizes) {
  for (int n : {512, 64}) {
    // Constant: every twiddled leg gets a zero difference; bin 0 wraps.
    for (int32_t v : {-3, (1 << 22) + 1}) {
      Words in(2 * n, v), out(2 * n, 7);
      my_FFT(in.data(), out.data(), n);
      const int32_t dc = static_cast<int32_t>(static_cast<uint32_t>(v) * static_cast<uint32_t>(n));
      EXPECT_EQ(out[0], dc);
      EXPECT_EQ(out[1], dc);
      EXPECT_EQ(std::count(out.begin(), out.end(), 0), 2 * n - 2) << n;
    }
    // Impulse of 1: a twiddle of 1.0 is 32767/32768, so 1 dies on every
    // twiddled leg; it survives only where the last (untwiddled) stage
    // sends it: bins 0 and 256, or 0, 16, 32, 48.
    Words in(2 * n, 0), out(2 * n, 7), expected(2 * n, 0);
    in[0] = 1;
    for (int bin = 0; bin < n; bin += (n == 512 ? 256 : 16)) expected[2 * bin] = 1;
    my_FFT(in.data(), out.data(), n);
    EXPECT_EQ(out, expected) << n;
  }
  Words in(512, 1), out(512, 7);
  my_FFT(in.data(), out.data(), 256);
  EXPECT_EQ(out, Words(512, 7));
}

// One radix-4 stage, bit for bit: a lone value at m = 5 reaches all four legs
// (u1 = u2 = u3 = p0); leg k is rotated by (wc, ws) of angle 2 pi k 5 / 64
// with products floor(p c / 2^15), truncated toward minus infinity.
TEST(Fft, RadixStageTruncatesTwiddleProducts) {
  const int64_t re = -1000001, im = 777777;
  Words x(128, 0);
  x[10] = static_cast<int32_t>(re);
  x[11] = static_cast<int32_t>(im);
  radix4Bfly_neon(enc_neon_w_64_word32, x.data(), 64, 64);
  Words expected(128, 0);
  expected[10] = static_cast<int32_t>(re);
  expected[11] = static_cast<int32_t>(im);
  for (int leg = 1; leg <= 3; ++leg) {
    const int64_t ws = q15(std::sin(2 * kPi * leg * 5 / 64)), wc = q15(std::cos(2 * kPi * leg * 5 / 64));
    expected[10 + 32 * leg] = static_cast<int32_t>(((im * ws) >> 15) + ((re * wc) >> 15));
    expected[11 + 32 * leg] = static_cast<int32_t>(((im * wc) >> 15) - ((re * ws) >> 15));
  }
  EXPECT_EQ(x, expected);
}

// Random blocks whose largest coefficient is exactly 2^20 (s = 10: no shift
// before the FFT, a saturating left shift by 2 after it) against the double
// inverse MDCT; the output's two halves are exactly odd- and even-symmetric.
TEST(Imdct, MatchesDoubleReferenceWithExactSymmetry) {
  Transformer t;
  for (int N : {2048, 256}) {
    Words in = random_words(N / 2, 1 << 20, 99 + N);
    in[N / 7] = 1 << 20;
    const Words out = t.run(in, N);
    const double snr = snr_db(imdct_reference(in, N), out);
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
TEST(Imdct, FullScaleBlockSaturatesInsteadOfWrapping) {
  Transformer t;
  for (auto [N, at, value] : {std::tuple{2048, 0, INT32_MIN}, std::tuple{256, 3, 1 << 29}}) {
    Words in = random_words(N / 2, 1 << 12, 7);
    in[at] = in[at + 1] = value;  // two in phase near n = 3N/4: beyond full scale
    const Words out = t.run(in, N);
    const std::vector<double> ref = imdct_reference(in, N);
    int saturated = 0;
    for (int n = 0; n < N; ++n) {
      const double clamped = std::clamp(ref[n], -2147483648.0, 2147483647.0);
      ASSERT_NEAR(out[n], clamped, 1 << 21) << N << " " << n;
      saturated += out[n] == INT32_MAX || out[n] == INT32_MIN;
    }
    EXPECT_GT(saturated, 0) << N;
  }
}

TEST(Imdct, MeasureAndShiftHelpers) {
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

// The alternative forms agree with the kernels the decoder runs; the kernels'
// first outputs checked against their formulas bit for bit.
TEST(Imdct, TwiddleKernelsAndAlternativeForms) {
  const int N = 2048, M = N / 4;
  const Words in = random_words(N / 2, int64_t{1} << 31, 5);  // full 32-bit range
  Words pre(N / 2), alt(N / 2);
  preTwiddleCompute_c_neon(in.data(), &in[N / 2 - 1], pre.data(), cosine_array_2048,
                           sine_array_2048, N / 8);
  for (auto form : {preTwiddleCompute_c, preTwiddleCompute}) {
    form(in.data(), &in[N / 2 - 1], alt.data(), cosine_array_2048, sine_array_2048, N / 8);
    EXPECT_EQ(alt, pre);
  }
  auto q = [](int64_t p, int64_t t) { return (p * t) >> 16; };
  for (int k : {0, M - 1}) {
    const int64_t a = in[2 * k], b = in[N / 2 - 1 - 2 * k];
    const int64_t cs = cosine_array_2048[k], sn = sine_array_2048[k];
    EXPECT_EQ(pre[2 * k], -(q(a, cs) + q(b, sn))) << k;
    EXPECT_EQ(pre[2 * k + 1], q(a, sn) - q(b, cs)) << k;
  }

  Words out(N), other(N);
  for (int shift : {3, 0, -3, -12}) {
    postTwiddleCompute12_c_neon(out.data(), in.data(), cosine_array_2048, sine_array_2048, N, shift);
    auto form = shift >= 0 ? postTwiddleCompute1 : postTwiddleCompute2;
    auto form_c = shift >= 0 ? postTwiddleCompute1_c : postTwiddleCompute2_c;
    form(other.data(), in.data(), cosine_array_2048, sine_array_2048, N, shift);
    EXPECT_EQ(other, out) << shift;
    form_c(other.data(), in.data(), cosine_array_2048, sine_array_2048, N, shift);
    EXPECT_EQ(other, out) << shift;
  }
  // shift -12 on full-range input: B[0] = shl_sat(sat(q(zr, sn) - q(zi, cs)), 12)
  // lands at out[M], its saturating negation at out[M - 1].
  const int32_t b0 = shl_sat(sub_sat(mul_32x16(sine_array_2048[0], in[0]),
                                     mul_32x16(cosine_array_2048[0], in[1])), 12);
  EXPECT_TRUE(b0 == INT32_MIN || b0 == INT32_MAX);
  EXPECT_EQ(out[M], b0);
  EXPECT_EQ(out[M - 1], b0 == INT32_MIN ? INT32_MAX : -b0);

  Words fft_out(1024), alt_out(1024);
  postRadixCompute2(fft_out.data(), in.data(), digRevTable2, 512);
  postradix2(alt_out.data(), in.data(), digRevTable2, 512);
  EXPECT_EQ(alt_out, fft_out);
  postRadixCompute4(fft_out.data(), in.data(), digRevTable4, 64);
  postradix4(alt_out.data(), in.data(), digRevTable4, 64);
  EXPECT_EQ(Words(alt_out.begin(), alt_out.begin() + 128), Words(fft_out.begin(), fft_out.begin() + 128));
}

}  // namespace
