// Windowing, overlap-add and output conversion.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "filterbank/filter_bank.h"
#include "filterbank/pcm_output.h"
#include "support/imdct_reference.h"
#include "syntax/ics_info.h"

namespace {

using namespace fxaac;
using Words = std::vector<int32_t>;

uint32_t next_random(uint32_t &seed) { return seed = seed * 1664525u + 1013904223u; }

// The rounding, clipping and offset-wrap edges on every output path
// (checkdsp compares the kernels, the conformance MD5s the slots and swap):
// interleaved 16/24-bit with the other channel's slots kept, the one-channel
// path, the top half of the SBR sample, and the unshifted 16-bit clip.
TEST(PcmOutput, RoundingAndClippingEdgesOnAllPaths)
{
    const Words in = {255,      256, -256, -257, 3, -3, (1 << 24) - 257, 1 << 24, -(1 << 24) - 256,
                      INT32_MAX};
    const std::vector<int16_t> pcm16 = {0, 1, 0, -1, 0, 0, 32767, 32767, -32768, -32768};
    const Words pcm24 = {128, 128, -128, -128, 2, -1, 8388480, 8388607, -8388608, -8388608};
    const int32_t n = static_cast<int32_t>(in.size());
    Words w24(2 * n, 7), m24(n), sbr(n);
    std::vector<int16_t> w16(2 * n, 7), m16(n);
    out16bit(in.data(), w16.data(), n);
    out24bit(in.data(), w24.data(), n);
    myOutputToPCM(in.data(), m16.data(), 1, 1, 0, n, 0);
    myOutputToPCM(in.data(), m24.data(), 1, 2, 0, n, 0);
    myPCMtoSBR(sbr.data(), in.data(), 1, n);
    for (int32_t i = 0; i < n; ++i) {
        SCOPED_TRACE(in[i]);
        EXPECT_TRUE(w16[2 * i] == pcm16[i] && m16[i] == pcm16[i] && (sbr[i] >> 16) == pcm16[i]);
        EXPECT_TRUE(w24[2 * i] == pcm24[i] && m24[i] == pcm24[i]);
        EXPECT_TRUE(w16[2 * i + 1] == 7 && w24[2 * i + 1] == 7);  // the other channel's slots
    }
    EXPECT_EQ(sbr[7], INT32_MAX);
    const int32_t big[2] = {32768, -32769};
    int16_t raw[4] = {};
    out16bit_noshift(big, raw, 2);
    EXPECT_TRUE(raw[0] == 32767 && raw[2] == -32768);
}

// A decoder bound to a work area, channel 0 laid out as the frame driver
// lays it out: time buffer at the work area's start, spectrum in its second
// half (time[1024..]), scratchB at the element record.
struct Synthesis : ::testing::Test {
    AacDecoder dec{};
    DecoderWorkArea work{};
    Words pcm = Words(2048, -1), sbr = Words(1024);
    uint32_t seed = 12345;

    void SetUp() override { AACPlusDecoderInit(&dec, &work); }
    int32_t *spectrum() { return work.spectra[1]; }
    int32_t *overlap() { return dec.overlap[0]; }
    int32_t *saved() { return reinterpret_cast<int32_t *>(&work.element); }
    Words overlap_copy() { return Words(overlap(), overlap() + 1024); }
    void fill(int32_t *p, int bits)
    {  // 1024 random words of the given width
        for (int i = 0; i < 1024; ++i)
            p[i] = static_cast<int32_t>(next_random(seed)) >> (32 - bits);
    }
    // One frame of channel 0; by default the samples go to sbr.
    void run(int32_t seq, int32_t shape, int32_t prev, int32_t channels = 1, int32_t sbr_mode = 1)
    {
        dec.scratchB = saved();
        ifilter_bank(&dec, seq, shape, prev, spectrum(), overlap(), sbr.data(), dec.workBase,
                     pcm.data(), 0, channels, 1, 0, sbr_mode);
        dec.scratchA = dec.workBase;
    }
    // The finished samples, exact while |S| < 2^24 - 256.
    Words samples() const
    {
        Words s;
        for (int32_t v : sbr)
            s.push_back((v >> 7) - 256);
        return s;
    }
};

// Window of a long-block sequence at n < 2048, from the instance's tables.
double long_window(const AacDecoder &d, int32_t seq, int shape, int prev, int n)
{
    auto q = [](int16_t w) { return w / 32768.0; };
    if (n < 1024 && seq == kLongStop)
        return n < 448 ? 0 : n < 576 ? q(d.shortWindow[prev][n - 448]) : 1;
    if (n < 1024)
        return q(d.longWindow[prev][n]);
    if (seq == kLongStart)
        return n < 1472 ? 1 : n < 1600 ? q(d.shortWindow[shape][1599 - n]) : 0;
    return q(d.longWindow[shape][2047 - n]);
}

// Window sequences and shape changes against a double-precision model
// (transform, window x * w / 2 at the fixed-point scale, overlap-add); only
// the first short window's rising half takes the previous shape. The start
// window leaves exact zeros from 576; the short and stop sequences add
// nothing before 448, where the output is exactly the kept overlap.
TEST_F(Synthesis, SequenceMatchesDoublePrecisionModel)
{
    const int32_t frames[][3] = {{kOnlyLong, 0, 0},   {kLongStart, 1, 0}, {kEightShort, 0, 1},
                                 {kEightShort, 1, 0}, {kLongStop, 0, 1},  {kOnlyLong, 1, 0}};
    std::vector<double> model(1024);
    double signal = 0, noise = 0;
    for (const auto &[seq, shape, prev] : frames) {
        fill(spectrum(), 17);
        std::vector<double> windowed(2048);
        if (seq == kEightShort) {
            for (int k = 0; k < 8; ++k) {
                const std::vector<double> u = fxaac_test::imdct_reference(spectrum() + 128 * k,
                                                                          256);
                const int16_t *rise = dec.shortWindow[k == 0 ? prev : shape],
                              *fall = dec.shortWindow[shape];
                for (int n = 0; n < 256; ++n)
                    windowed[448 + 128 * k + n] += u[n] * (n < 128 ? rise[n] : fall[255 - n]) /
                                                   65536.0;
            }
        } else {
            const std::vector<double> t = fxaac_test::imdct_reference(spectrum(), 2048);
            for (int n = 0; n < 2048; ++n)
                windowed[n] = t[n] * long_window(dec, seq, shape, prev, n) / 2;
        }
        const Words kept = overlap_copy();
        run(seq, shape, prev);
        const Words s = samples();
        if (seq == kLongStart) {
            EXPECT_EQ(Words(overlap() + 576, overlap() + 1024), Words(448, 0));
        } else if (seq != kOnlyLong) {
            EXPECT_TRUE(std::equal(kept.begin(), kept.begin() + 448, s.begin())) << seq;
        }
        for (int n = 0; n < 1024; ++n) {
            ASSERT_LT(std::abs(s[n]), (1 << 24) - 257);  // inside the exact range of samples()
            const double expected = model[n] + windowed[n];
            signal += expected * expected;
            noise += (s[n] - expected) * (s[n] - expected);
            model[n] = windowed[1024 + n];
        }
    }
    const double snr = 10 * std::log10(signal / noise);
    RecordProperty("snr_db", std::to_string(snr));
    // The pre-twiddle halves and truncates the coefficients, so the error is
    // about one input unit: 85.4 dB at this 17-bit input level.
    EXPECT_GT(snr, 82.0);
}

}  // namespace
