#include "filterbank/window_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

using namespace fxaac;

const std::span<const int16_t> kTables[] = {dec_sin_long_fixed, kbd_long_fixed, dec_sin_short_fixed,
                                            kbd_short_fixed};

// Every sine entry is round-half-up of 32768 * sin(pi (n + 1/2) / N), except
// long entry 828: 31305.4997 rounds to 31305, the deployed table holds 31306.
TEST(WindowTables, SineTablesFollowRoundingRuleWithOneException)
{
    auto mismatches = [](std::span<const int16_t> t) {
        const double pi = std::acos(-1.0);
        std::vector<size_t> at;
        for (size_t n = 0; n < t.size(); ++n) {
            double q = std::floor(32768.0 * std::sin(pi * (n + 0.5) / (2 * t.size())) + 0.5);
            if (t[n] != std::min(32767.0, q))
                at.push_back(n);
        }
        return at;
    };
    EXPECT_EQ(mismatches(dec_sin_long_fixed), std::vector<size_t>{828});
    EXPECT_EQ(mismatches(dec_sin_short_fixed), std::vector<size_t>{});
    EXPECT_EQ(dec_sin_long_fixed[828], 31306);
}

// Perfect reconstruction needs w[n]^2 + w[n + N/2]^2 = 1. With the falling
// half read backwards from the H-entry table h: h[n]^2 + h[H-1-n]^2 = 2^30.
// An entry is off by at most 1/2 LSB, or 1 LSB where full scale is clipped,
// so a pair may miss by 2 * 32768 * (1/2 + 1).
TEST(WindowTables, PowerComplementary)
{
    for (auto t : kTables) {
        const size_t h = t.size();
        for (size_t n = 0; n < h / 2; ++n) {
            int64_t a = t[n], b = t[h - 1 - n];
            ASSERT_LE(std::abs(a * a + b * b - (int64_t{1} << 30)), 3 * 32768)
                << "table of " << h << " entries, at " << n;
        }
    }
}

}  // namespace
