// Inverse quantisation, scale factors, de-interleaving, stereo tools and
// noise substitution.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "syntax/ics_info.h"
#include "tools/dequant_tables.h"
#include "tools/inverse_quantization.h"
#include "tools/pns.h"
#include "tools/stereo.h"

namespace {

constexpr int kN = FXAAC_FRAME_LENGTH;

// A stream with the band layout of 44.1 kHz for the given sequence.
ChannelStream make_stream(int windowSequence, int grouping = 0, int maxSfb = -1)
{
    ChannelStream s = {};
    s.window_sequence = static_cast<int8_t>(windowSequence);
    s.scale_factor_grouping = static_cast<int8_t>(grouping);
    window_grouping_info(&s, 4);
    s.max_sfb = static_cast<int8_t>(maxSfb < 0 ? s.num_swb : maxSfb);
    return s;
}

int32_t dequantized(int16_t q)
{
    std::vector<int16_t> src(kN, 0);
    std::vector<int32_t> dst(kN);
    src[0] = q;
    inverse_quantization(dst.data(), src.data());
    return dst[0];
}

}  // namespace

TEST(InverseQuantization, TableInterpolationAndInPlace)
{
    const struct { int16_t q; int32_t r; } cases[] = {
        {1, 8192},      {2, 20643},      {3, 35445},          {-8, -131072},      {511, 33467079},
        {513, 33642992}, {8191, 1352639526}, {-8191, -1352639526}, {8206, 1352639526}, {0, 0},
    };
    for (auto c : cases)
        EXPECT_EQ(dequantized(c.q), c.r) << c.q;
    // Above 511 the interpolated value stays within 0.01% of |q|^(4/3).
    for (int q = 512; q <= 8191; q += 37)
        EXPECT_NEAR(dequantized(static_cast<int16_t>(q)) / (8192.0 * std::pow(q, 4.0 / 3.0)), 1.0, 1e-4);

    std::mt19937 rng(4);
    std::vector<int16_t> src(kN);
    for (auto &q : src)
        q = static_cast<int16_t>(static_cast<int>(rng() % 16383) - 8191);
    std::vector<int32_t> separate(kN), other(kN), inPlace(kN);
    inverse_quantization(separate.data(), src.data());
    invquantize(other.data(), src.data());
    EXPECT_EQ(separate, other);
    // In place: the 16-bit values in the upper half of the 32-bit buffer.
    std::memcpy(reinterpret_cast<int16_t *>(inPlace.data()) + kN, src.data(), 2 * kN);
    inverse_quantization(inPlace.data(), reinterpret_cast<int16_t *>(inPlace.data()) + kN);
    EXPECT_EQ(separate, inPlace);
}

TEST(ScaleFactors, GainStepsSilenceAndBands)
{
    const struct { int sf; int32_t in, out; } cases[] = {
        {100, 8192, 1}, {104, 8192, 2}, {148, 8192, 4096}, {200, 8192, 33554432},
        {120, 35445, 138}, {120, -35445, -139},  // q = +-3: truncation towards minus infinity
        {23, 1 << 30, 0}, {24, 1 << 30, 0}, {24, INT32_MIN, -1},
    };
    for (auto c : cases) {
        int32_t v = c.in;
        get_scale_factor_gain(c.sf, &v, 1, fxaac::dec_scale_table);
        EXPECT_EQ(v, c.out) << c.sf << " " << c.in;
    }

    // Bands of a long window each take their own gain; lines above max_sfb
    // are left alone.
    ChannelStream s = make_stream(0, 0, 3);
    s.scale_factors[0] = 100;
    s.scale_factors[1] = 104;
    s.scale_factors[2] = 10;
    std::vector<int32_t> lines(kN, 8192);
    apply_scalefactors(&s, lines.data());
    EXPECT_EQ(lines[3], 1);
    EXPECT_EQ(lines[4], 2);
    EXPECT_EQ(lines[11], 0);
    EXPECT_EQ(lines[12], 8192);
}

TEST(ScaleFactors, ShortWindowsDeinterleave)
{
    for (int grouping : {127, 91, 0}) {
        ChannelStream s = make_stream(2, grouping);
        std::vector<int32_t> src(kN), dst(kN, -1);
        for (int i = 0; i < kN; i++)
            src[i] = i;
        dec_quant_to_spec(&s, dst.data(), src.data());
        // Independent address rule: in a group of L windows starting at
        // window W, line i of band b of window w was sent at
        // 128 W + L swb[b] + w width(b) + i.
        int first = 0;
        for (int g = 0; g < s.num_window_groups; g++) {
            const int L = s.window_group_length[g];
            for (int w = 0; w < L; w++)
                for (int b = 0; b < s.num_swb; b++) {
                    const int width = s.swb_offset[b + 1] - s.swb_offset[b];
                    for (int i = 0; i < width; i++)
                        ASSERT_EQ(dst[(first + w) * 128 + s.swb_offset[b] + i],
                                  128 * first + L * s.swb_offset[b] + w * width + i)
                            << grouping << " " << g << " " << w << " " << b;
                }
            first += L;
        }
    }
}

TEST(StereoTools, MidSide)
{
    ChannelStream a = make_stream(0, 0, 4), b = a;
    a.ms_mask_present = 2;
    b.sfb_cb[1] = 15;  // intensity band of the second channel: untouched
    a.sfb_cb[2] = 13;  // noise band of the first channel: untouched
    std::vector<int32_t> l(kN, 1 << 30), r(kN, 1 << 30);
    l[12] = 100;
    r[12] = -40;
    ms_decode(&a, &b, l.data(), r.data());
    EXPECT_EQ(l[0], INT32_MAX);  // saturated
    EXPECT_EQ(r[0], 0);
    EXPECT_EQ(l[4], 1 << 30);
    EXPECT_EQ(l[8], 1 << 30);
    EXPECT_EQ(l[12], 60);
    EXPECT_EQ(r[12], 140);
    EXPECT_EQ(l[16], 1 << 30);  // above max_sfb

    a.ms_mask_present = 1;  // per band flags
    a.ms_used[3] = 1;
    std::vector<int32_t> l2(kN, 5), r2(kN, 3);
    ms_decode(&a, &b, l2.data(), r2.data());
    EXPECT_EQ(l2[0], 5);
    EXPECT_EQ(l2[12], 8);
    EXPECT_EQ(r2[12], 2);
}

TEST(StereoTools, IntensityScalesTheFirstChannel)
{
    ChannelStream a = make_stream(2, 0x7F, 14), b = a;  // one group of eight windows
    std::mt19937 rng(8);
    std::vector<int32_t> l(kN);
    for (auto &v : l)
        v = static_cast<int32_t>(rng() % (1u << 24)) - (1 << 23);
    l[0] = 1000;
    l[128 + 4] = 1 << 20;
    const struct { int band, cb, position; } bands[] = {
        {0, 15, 0}, {1, 15, 4}, {2, 14, 7}, {3, 15, 61}, {4, 14, -9}, {5, 15, 30},
    };
    for (auto band : bands) {
        b.sfb_cb[band.band] = static_cast<int8_t>(band.cb);
        b.scale_factors[band.band] = static_cast<int16_t>(band.position);
    }
    std::vector<int32_t> r(kN, 77);
    is_decode(&a, &b, l.data(), r.data());
    EXPECT_EQ(r[0], 1000);           // position 0 copies the line
    EXPECT_EQ(r[128 + 4], 1 << 19);  // position 4 halves
    for (int w = 0; w < 8; w++)
        for (auto band : bands)
            for (int i = a.swb_offset[band.band]; i < a.swb_offset[band.band + 1]; i++) {
                const int k = 128 * w + i;
                double want = band.position > 60 ? 0.0
                                                 : (band.cb == 15 ? 1 : -1) * l[k] *
                                                       std::pow(2.0, -band.position / 4.0);
                EXPECT_NEAR(r[k], want, std::fabs(want) * 1e-4 + 2) << w << " " << band.band;
            }
    EXPECT_EQ(r[a.swb_offset[6]], 77);  // not an intensity band

    // With per-band M/S flags, a flagged codebook-14 band keeps its sign.
    a.ms_mask_present = 1;
    a.ms_used[2] = 1;
    std::vector<int32_t> flipped(kN, 0);
    is_decode(&a, &b, l.data(), flipped.data());
    const int k = a.swb_offset[2];
    EXPECT_NEAR(flipped[k], -r[k], 1);  // the other sign truncates the other way
}

TEST(NoiseSubstitution, GeneratorEnergyAndOrder)
{
    ChannelStream s = make_stream(0, 0, 40);
    std::vector<int32_t> lines(kN, 0);
    int32_t seed = 1;
    pns_decode(&s, lines.data(), &seed);  // no noise band: nothing changes
    EXPECT_EQ(seed, 1);
    EXPECT_EQ(lines, std::vector<int32_t>(kN, 0));

    // A band of noise has an energy of about 2^(energy / 2) whatever its width.
    for (int band : {10, 30, 39}) {
        ChannelStream t = make_stream(0, 0, 41);
        t.sfb_cb[band] = 13;
        t.scale_factors[band] = 90;
        double sum = 0;
        for (int trial = 0; trial < 200; trial++) {
            std::vector<int32_t> x(kN, 0);
            pns_decode(&t, x.data(), &seed);
            for (int i = t.swb_offset[band]; i < t.swb_offset[band + 1]; i++)
                sum += double(x[i]) * x[i];
        }
        EXPECT_NEAR(sum / 200 / std::pow(2.0, 45), 0.984, 0.1) << band;
    }

    // Short windows: a group of three windows is filled window by window.
    ChannelStream g = make_stream(2, 0b1100000, 14);  // groups of 3, 1, 1, 1, 1, 1
    g.sfb_cb[5] = 13;
    g.scale_factors[5] = 100;
    std::vector<int32_t> x(kN, 0);
    pns_decode(&g, x.data(), &seed);
    for (int w = 0; w < 8; w++)
        EXPECT_EQ(x[128 * w + g.swb_offset[5]] != 0, w < 3) << w;
    EXPECT_NE(x[g.swb_offset[5]], x[128 + g.swb_offset[5]]);
}
