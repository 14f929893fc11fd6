// SoftFloat against double over the whole range the HF adjuster uses.
#include "sbr/soft_float.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

namespace {

using namespace fxaac::sbr;

double value(SoftFloat a) { return std::ldexp(static_cast<double>(a.m), a.e); }

bool normalised(SoftFloat a) { return a.m == 0 ? a.e == 0 : (a.m >= kSfMantMin && a.m > 0); }

// A random normalised value with exponent in [-e, e].
SoftFloat random_sf(std::mt19937_64 &rng, int e)
{
    std::uniform_int_distribution<int32_t> mant(kSfMantMin, INT32_MAX);
    std::uniform_int_distribution<int32_t> ex(-e - 30, e - 30);
    return {mant(rng), ex(rng)};
}

double rel(double got, double want) { return std::fabs(got - want) / want; }

TEST(SoftFloat, ArithmeticMatchesDoubleToItsStatedRounding)
{
    std::mt19937_64 rng(1);
    for (int i = 0; i < 200000; i++) {
        const SoftFloat a = random_sf(rng, 300);
        const SoftFloat b = random_sf(rng, i % 2 ? 300 : 40);
        const double va = value(a);
        const double vb = value(b);
        const SoftFloat p = sf_mul(a, b);
        const SoftFloat q = sf_div(a, b);
        const SoftFloat s = sf_add(a, b);
        const SoftFloat r = sf_sqrt(a);
        ASSERT_TRUE(normalised(p) && normalised(q) && normalised(s) && normalised(r));
        ASSERT_LE(rel(value(p), va * vb), 0x1p-31) << i;
        ASSERT_LE(rel(value(q), va / vb), 0x1p-28) << i;
        ASSERT_LE(rel(value(s), va + vb), 0x1p-30) << i;
        ASSERT_LE(rel(value(r), std::sqrt(va)), 0x1p-28) << i;
        ASSERT_EQ(sf_cmp(a, b), va < vb ? -1 : (va > vb ? 1 : 0));
        ASSERT_EQ(sf_cmp(a, a), 0);
        const SoftFloat c = random_sf(rng, 120);  // inside the packed range
        ASSERT_LE(rel(value(sf_unpack(sf_pack(c))), value(c)), 0x1p-24);
    }
}

TEST(SoftFloat, ZeroAndEdges)
{
    const SoftFloat two = sf_from_int(2, 0);
    EXPECT_EQ(value(sf_mul(kSfZero, two)), 0.0);
    EXPECT_EQ(value(sf_add(kSfZero, two)), 2.0);
    EXPECT_EQ(value(sf_add(two, kSfZero)), 2.0);
    EXPECT_EQ(value(sf_div(kSfZero, two)), 0.0);
    EXPECT_EQ(sf_cmp(sf_div(two, kSfZero), sf_from_int(1, 200)), 1);
    EXPECT_EQ(value(sf_sqrt(kSfZero)), 0.0);
    EXPECT_EQ(sf_cmp(kSfZero, two), -1);
    EXPECT_EQ(sf_cmp(two, kSfZero), 1);
    EXPECT_EQ(sf_cmp(kSfZero, kSfZero), 0);
    EXPECT_EQ(value(sf_from_int(-5, 0)), 0.0);
    // Rounding that carries into the next power of two.
    EXPECT_EQ(value(sf_from_u64(UINT64_MAX, 0)), 0x1p64);
    EXPECT_EQ(value(sf_from_u64((uint64_t{1} << 31) - 1, 0)), 2147483647.0);
    // Sums far apart keep the larger operand.
    EXPECT_EQ(value(sf_add(two, sf_from_int(1, -100))), 2.0);
    EXPECT_EQ(sf_pack(sf_from_int(1, -200)), 0u);
    EXPECT_EQ(sf_pack(sf_from_int(1, 200)), 0xffffffffu);
    EXPECT_EQ(value(sf_unpack(sf_pack(kSfOne))), 1.0);
}

TEST(SoftFloat, ConversionsAndPowersOfTheRootOfTwo)
{
    std::mt19937_64 rng(2);
    for (int x = -600; x <= 600; x++) {
        ASSERT_LE(rel(value(sf_pow2_half(x)), std::pow(2.0, x / 2.0)), 0x1p-31) << x;
    }
    for (int i = 0; i < 100000; i++) {
        const uint64_t v = rng() >> (rng() % 64);
        const int e = static_cast<int>(rng() % 200) - 100;
        const SoftFloat a = sf_from_u64(v, e);
        ASSERT_TRUE(normalised(a));
        if (v != 0) {
            ASSERT_LE(rel(value(a), std::ldexp(static_cast<double>(v), e)), 0x1p-31);
        }
        // sf_apply: round(x * a * 2^s), clamped to +-2^62.
        const int32_t x = static_cast<int32_t>(rng());
        const SoftFloat g = random_sf(rng, 40);
        const int s = static_cast<int>(rng() % 40) - 20;
        const double want = std::ldexp(static_cast<double>(x) * value(g), s);
        const int64_t got = sf_apply(x, g, s);
        if (std::fabs(want) < 0x1p62) {
            ASSERT_LE(std::fabs(static_cast<double>(got) - want), 0.5 + std::fabs(want) * 0x1p-52)
                << x << " " << value(g) << " " << s;
        } else {
            ASSERT_EQ(got, want > 0 ? INT64_C(1) << 62 : -(INT64_C(1) << 62));
        }
        const double f = std::ldexp(value(g), s);
        const int32_t fx = sf_to_fixed(g, s);
        ASSERT_EQ(fx, f >= 0x1p31 - 0.5 ? INT32_MAX : static_cast<int32_t>(std::floor(f + 0.5)));
    }
}

}  // namespace
