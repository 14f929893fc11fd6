// Inverse quantisation, scale factor gains and M/S at their limits. The
// ordinary paths of the stereo tools and noise substitution are checked end
// to end by the conformance vectors.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "syntax/ics_info.h"
#include "tools/dequant_tables.h"
#include "tools/inverse_quantization.h"
#include "tools/stereo.h"

using namespace fxaac;

namespace {

constexpr int kN = FXAAC_FRAME_LENGTH;

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
    const struct {
        int16_t q;
        int32_t r;
    } cases[] = {
        {1, 8192},          {2, 20643},      {3, 35445},         {-8, -131072},
        {511, 33467079},    {513, 33642992}, {8191, 1352639526}, {-8191, -1352639526},
        {8206, 1352639526}, {0, 0},
    };
    for (auto c : cases)
        EXPECT_EQ(dequantized(c.q), c.r) << c.q;
    // Above 511 the interpolated value stays within 0.01% of |q|^(4/3).
    for (int q = 512; q <= 8191; q += 37)
        EXPECT_NEAR(dequantized(static_cast<int16_t>(q)) / (8192.0 * std::pow(q, 4.0 / 3.0)), 1.0,
                    1e-4);

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

TEST(Reconstruction, GainAndMidSideLimits)
{
    const struct {
        int sf;
        int32_t in, out;
    } cases[] = {
        {100, 8192, 1},    {148, 8192, 4096},   {200, 8192, 33554432},
        {120, 35445, 138}, {120, -35445, -139},  // truncation towards minus infinity
        {23, 1 << 30, 0},  {24, 1 << 30, 0},    {24, INT32_MIN, -1},
    };
    for (auto c : cases) {
        int32_t v = c.in;
        get_scale_factor_gain(c.sf, &v, 1, fxaac::dec_scale_table);
        EXPECT_EQ(v, c.out) << c.sf << " " << c.in;
    }

    // M/S on every band saturates the sum; intensity and noise bands and
    // lines above max_sfb are left alone.
    ChannelStream a = {};
    window_grouping_info(&a, 4);
    a.max_sfb = 4;
    a.ms_mask_present = 2;
    ChannelStream b = a;
    b.sfb_cb[1] = 15;
    a.sfb_cb[2] = 13;
    std::vector<int32_t> l(kN, 1 << 30), r(kN, 1 << 30);
    l[12] = 100;
    r[12] = -40;
    ms_decode(&a, &b, l.data(), r.data());
    EXPECT_EQ(l[0], INT32_MAX);
    EXPECT_EQ(r[0], 0);
    EXPECT_EQ(l[4], 1 << 30);
    EXPECT_EQ(l[8], 1 << 30);
    EXPECT_EQ(l[12], 60);
    EXPECT_EQ(r[12], 140);
    EXPECT_EQ(l[16], 1 << 30);
}
