// The precise arithmetic's stages against double-precision models of the
// same mathematics: the IMDCT (both sizes, magnitudes from a few units to
// full scale), dequantisation (every magnitude an escape can code, every
// scale factor), TNS, noise substitution's band energy; then whole streams in
// both arithmetics.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

#include <fxaac/fxaac.h>

#include "precise/imdct_precise.h"
#include "precise/precise_ops.h"
#include "support/imdct_reference.h"
#include "syntax/ics_info.h"
#include "syntax/section_data.h"
#include "tools/inverse_quantization.h"
#include "tools/pns.h"
#include "tools/tns.h"

namespace {

using namespace fxaac;
using Words = std::vector<int32_t>;
constexpr double kUnit = 1 << precise::kSpectrumBits;  // precise spectrum per spectral unit

Words random_words(size_t n, int64_t limit, uint32_t seed)
{
    std::mt19937 gen(seed);
    Words v(n);
    for (auto &x : v)
        x = static_cast<int32_t>(static_cast<int64_t>(gen() % (2 * limit)) - limit);
    return v;
}

// The IMDCT's output is the reference (gain G, spectral units) / 2 at the
// precise synthesis scale: each sample within a few units of it, at any
// level. Random blocks of peak magnitude from 7 to 2^31 - 1, and one line
// alone (a tone): its errors are those of the FFT's scaling.
TEST(PreciseImdct, MatchesDoubleModelAtEveryLevel)
{
    AacDecoder dec{};
    Words scratch(2048);
    dec.scratchA = scratch.data();
    dec.scratchB = scratch.data() + 1024;
    for (int N : {2048, 256}) {
        for (int64_t peak : {int64_t{7}, int64_t{1} << 12, int64_t{1} << 24, int64_t{1} << 28,
                             int64_t{INT32_MAX}}) {
            for (bool tone : {false, true}) {
                Words in = tone ? Words(N / 2, 0) : random_words(N / 2, peak, 7 + N);
                in[N / 5] = static_cast<int32_t>(peak);
                const std::vector<double> ref = fxaac_test::imdct_reference(in.data(), N);
                Words out(N, 0x5a5a5a5a);
                imdct_precise(&dec, in.data(), out.data(), N);
                double worst = 0;
                for (int n = 0; n < N; ++n) {
                    const double want = std::clamp(ref[n] / 2 / kUnit *
                                                       (1 << precise::kSynthesisBits),
                                                   -2147483648.0, 2147483647.0);
                    worst = std::max(worst, std::abs(out[n] - want));
                }
                // The FFT keeps about 21 bits below the block's peak.
                const double bound = 3.0 + static_cast<double>(peak) * 0x1p-21 *
                                               (1 << precise::kSynthesisBits);
                EXPECT_LE(worst, bound) << "N " << N << " peak " << peak << " tone " << tone;
            }
        }
        Words zeros(N / 2, 0), out(N, 1);
        imdct_precise(&dec, zeros.data(), out.data(), N);
        EXPECT_EQ(out, Words(N, 0));
    }
}

// A long-window stream of one group with `bands` bands of `width` lines.
ChannelStream long_stream(int bands, int width)
{
    ChannelStream s{};
    s.window_sequence = kOnlyLong;
    s.num_window_groups = 1;
    s.window_group_length[0] = 1;
    s.num_windows = 1;
    s.max_sfb = static_cast<int8_t>(bands);
    s.num_swb = static_cast<int8_t>(bands);
    for (int b = 0; b <= bands; ++b) {
        s.sect_sfb_offset[b] = static_cast<int16_t>(b * width);
        s.swb_offset[b] = static_cast<int16_t>(b * width);
    }
    return s;
}

// Every magnitude up to 8191 + 15 and both signs at scale factors 0 to 255:
// round(sign(q) |q|^(4/3) 2^((sf - 100)/4) 2^3), saturated; within one unit
// or 2^-24 of the value, whichever is larger.
TEST(PreciseDequantisation, EveryMagnitudeAndScaleFactor)
{
    constexpr int kBandLines = 64;
    constexpr int kMagnitudes = 8206;
    ChannelStream s = long_stream(1, kBandLines);
    std::vector<int16_t> q(FXAAC_FRAME_LENGTH);
    Words out(FXAAC_FRAME_LENGTH);
    for (int sf = 0; sf < 256; sf += 3) {
        s.scale_factors[0] = static_cast<int16_t>(sf);
        for (int first = 0; first <= kMagnitudes; first += kBandLines / 2) {
            for (int i = 0; i < kBandLines / 2; ++i) {
                const int m = std::min(first + i, kMagnitudes);
                q[2 * i] = static_cast<int16_t>(m);
                q[2 * i + 1] = static_cast<int16_t>(-m);
            }
            dequantize_and_scale_precise(&s, out.data(), q.data());
            for (int i = 0; i < kBandLines; ++i) {
                const double v = std::copysign(std::pow(std::abs(q[i]), 4.0 / 3.0), q[i]) *
                                 std::exp2((sf - 100) / 4.0) * kUnit;
                const double want = std::clamp(v, -2147483648.0, 2147483647.0);
                const double slack = std::max(1.0, std::abs(v) * 0x1p-24);
                ASSERT_LE(std::abs(out[i] - want), slack) << "q " << q[i] << " sf " << sf;
            }
        }
    }
}

// A band of noise has exactly its energy, 2^(energy / 2) spectral units
// squared, whatever the generator drew, for every noise energy value whose
// lines fit 32 bits.
TEST(PreciseNoise, BandEnergyIsExact)
{
    ChannelStream s = long_stream(3, 32);
    static const uint32_t norms[3] = {0, 0, 0};
    s.noise_band_table = norms;
    for (int b = 0; b < 3; ++b)
        s.sfb_cb[b] = kNoiseHcb;
    int32_t seed = 1;
    for (int energy = 21; energy < 110; energy += 7) {
        for (int b = 0; b < 3; ++b)
            s.scale_factors[b] = static_cast<int16_t>(energy + b);
        Words spectrum(FXAAC_FRAME_LENGTH, 0);
        pns_decode_precise(&s, spectrum.data(), &seed);
        for (int b = 0; b < 3; ++b) {
            double sum = 0;
            for (int i = 32 * b; i < 32 * (b + 1); ++i)
                sum += static_cast<double>(spectrum[i]) * spectrum[i];
            const double want = std::exp2((energy + b) / 2.0) * kUnit * kUnit;
            // The lines' rounding counts where they are a few hundred units.
            EXPECT_NEAR(10 * std::log10(sum / want), 0.0, energy < 40 ? 0.05 : 0.001) << energy + b;
        }
    }
}

// TNS filters of every order and both directions, against the same all-pole
// filters in double precision from the reflection coefficients the fields
// name (random, up to +-0.87: closer to 1 the filters amplify the lines'
// rounding a thousandfold).
TEST(PreciseTns, MatchesDoubleFilter)
{
    std::mt19937 gen(11);
    for (int order = 1; order <= 12; ++order) {
        for (int direction = 0; direction < 2; ++direction) {
            ChannelStream s = long_stream(49, 16);
            s.tns_data_present = 1;
            TnsInfo &t = s.tns;
            t.n_filt[0] = 1;
            t.coef_res[0] = 1;
            t.length[0][0] = 30;
            t.order[0][0] = static_cast<uint8_t>(order);
            t.direction[0][0] = static_cast<uint8_t>(direction);
            std::vector<double> k(order);
            for (int i = 0; i < order; ++i) {
                const int v = static_cast<int>(gen() % 11) - 5;  // 4-bit field
                t.coef[0][i] = static_cast<uint8_t>(v & 15);
                const double step = (v >= 0 ? 7.5 : 8.5) / (std::acos(-1.0) / 2);
                k[i] = std::sin(v / step);
            }
            // Direct-form coefficients by the order recursion.
            std::vector<double> a(order + 1, 0.0);
            for (int m = 1; m <= order; ++m) {
                std::vector<double> b = a;
                for (int i = 1; i < m; ++i)
                    b[i] = a[i] + k[m - 1] * a[m - i];
                b[m] = k[m - 1];
                a = b;
            }
            Words spectrum = random_words(FXAAC_FRAME_LENGTH, 1 << 18, 100 + order);
            std::vector<double> y(spectrum.begin(), spectrum.end());
            Words scratch(FXAAC_FRAME_LENGTH);
            tns_decode_frame_precise(&s, &t, 4, 1, spectrum.data(), scratch.data());
            // Bands 19 .. 48: 16 lines each from line 304 (sfIndex 4 reaches 42 bands).
            const int start = 19 * 16, end = 42 * 16, size = end - start;
            std::vector<double> h;
            double worst = 0, level = 0;
            for (int n = 0; n < size; ++n) {
                const int line = direction ? end - 1 - n : start + n;
                double v = y[line];
                for (int j = 1; j <= std::min(n, order); ++j)
                    v -= a[j] * h[n - j];
                h.push_back(v);
                worst = std::max(worst, std::abs(spectrum[line] - v));
                level = std::max(level, std::abs(v));
            }
            EXPECT_LE(worst, 3.0 + level * 0x1p-19) << "order " << order;
        }
    }
}

TEST(PreciseApi, ArithmeticIsChosenPerInstance)
{
    auto dec = std::make_unique<AacDecoder>();
    auto work = std::make_unique<DecoderWorkArea>();
    AACPlusDecoderInit(dec.get(), work.get());
    EXPECT_EQ(dec->arithmetic, FXAAC_ARITHMETIC_DEFAULT);
    EXPECT_EQ(AACPlusDecoderSetArithmetic(dec.get(), FXAAC_ARITHMETIC_PRECISE), 0);
    EXPECT_EQ(dec->arithmetic, FXAAC_ARITHMETIC_PRECISE);
    EXPECT_EQ(AACPlusDecoderSetArithmetic(dec.get(), 2), -1);
    EXPECT_EQ(AACPlusDecoderSetArithmetic(dec.get(), -1), -1);
    EXPECT_EQ(dec->arithmetic, FXAAC_ARITHMETIC_PRECISE);
}

// A whole ADTS stream in both arithmetics, one instance each, through the
// bounded call, then a concealed frame; and a third instance that changes
// from the default to the precise arithmetic halfway (the overlap is
// rescaled). The same frames and sample counts; the outputs differ, by at
// most the default arithmetic's error (a few 16-bit steps), the switching
// one equal to the default's before the change.
TEST(PreciseApi, BothArithmeticsDecodeTheSameStream)
{
    std::ifstream f(FXAAC_VECTOR_DIR "/castanets_44k_s.aac", std::ios::binary);
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(f)), {});
    ASSERT_FALSE(bytes.empty());
    constexpr int kSwitchFrame = 20;
    struct Run {
        std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
        std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();
        std::vector<int16_t> pcm;
    } runs[3];
    for (int mode = 0; mode < 3; ++mode) {
        Run &r = runs[mode];
        AACPlusDecoderInit(r.dec.get(), r.work.get());
        ASSERT_EQ(AACPlusDecoderSetArithmetic(r.dec.get(), mode & 1), 0);
        DecoderConfig cfg{};
        cfg.hdrPrsnt = 1;
        ASSERT_EQ(AACPlusHeaderDecode(cfg, r.dec.get(), bytes.data()), 0);
        size_t at = 0;
        int16_t out[2 * FXAAC_FRAME_LENGTH * 2];
        for (int frame = 0; at < bytes.size(); ++frame) {
            if (mode == 2 && frame == kSwitchFrame)
                AACPlusDecoderSetArithmetic(r.dec.get(), FXAAC_ARITHMETIC_PRECISE);
            FrameStatus st;
            AACPlusDecodeBuffer(r.dec.get(), bytes.data() + at,
                                static_cast<int32_t>(bytes.size() - at), out, &st, nullptr);
            ASSERT_EQ(st.errorCode, 0);
            ASSERT_GT(st.bytesConsumed, 0);
            at += static_cast<size_t>(st.bytesConsumed);
            r.pcm.insert(r.pcm.end(), out, out + st.outputSamples);
        }
        FrameStatus st;
        ASSERT_EQ(AACPlusConcealFrame(r.dec.get(), out, &st), 2 * FXAAC_FRAME_LENGTH);
        r.pcm.insert(r.pcm.end(), out, out + st.outputSamples);
    }
    const auto largest = [&](const Run &a, const Run &b, size_t from) {
        int m = 0;
        for (size_t i = from; i < a.pcm.size(); ++i)
            m = std::max(m, std::abs(a.pcm[i] - b.pcm[i]));
        return m;
    };
    ASSERT_EQ(runs[0].pcm.size(), runs[1].pcm.size());
    ASSERT_EQ(runs[0].pcm.size(), runs[2].pcm.size());
    EXPECT_GT(largest(runs[0], runs[1], 0), 0);
    EXPECT_LE(largest(runs[0], runs[1], 0), 8);
    const size_t switched = size_t{2} * FXAAC_FRAME_LENGTH * kSwitchFrame;
    EXPECT_TRUE(
        std::equal(runs[0].pcm.begin(), runs[0].pcm.begin() + switched, runs[2].pcm.begin()));
    EXPECT_LE(largest(runs[2], runs[1], switched), 8);
}

}  // namespace
