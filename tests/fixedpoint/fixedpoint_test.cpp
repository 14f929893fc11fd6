// Fixed-point basic operations and vector routines. References are written
// with exact 64-bit arithmetic and division (no shifts of signed values), so
// they check the bit tricks of the implementation rather than restate them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "fixedpoint/basic_ops.h"
#include "fixedpoint/vector_ops.h"

using namespace fxaac;

namespace {

constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;
constexpr int64_t kTwo31 = int64_t{1} << 31;

int64_t mod(int64_t v, int64_t m) { return (v % m + m) % m; }
int64_t floor_div_pow2(int64_t v, int s)
{
    return (v - mod(v, int64_t{1} << s)) / (int64_t{1} << s);
}
int32_t wrap32(int64_t v) { return static_cast<int32_t>(mod(v + kTwo31, 2 * kTwo31) - kTwo31); }
int32_t reduce31(int64_t v)
{
    return static_cast<int32_t>(mod(v + kTwo31 / 2, kTwo31) - kTwo31 / 2);
}
int32_t clamp32(int64_t v) { return static_cast<int32_t>(v > kMax ? kMax : (v < kMin ? kMin : v)); }
// floor(x * k / 2^16), k's low 16 bits signed.
int32_t ref_mul(int32_t x, int64_t k)
{
    return static_cast<int32_t>(floor_div_pow2(x * (mod(k + 32768, 65536) - 32768), 16));
}
int32_t ref_shl(int32_t x, int64_t n)
{
    return mod(n, 256) >= 32 ? 0 : wrap32(x * (int64_t{1} << mod(n, 256)));
}
// Counts modulo 256; 32 and over shift everything out (0, or the sign fill).
int32_t ref_shr(int32_t x, int64_t n)
{
    return static_cast<int32_t>(
        floor_div_pow2(x, static_cast<int>(std::min<int64_t>(mod(n, 256), 40))));
}

// Seeded words: one in eight an edge value, one in eight of small magnitude.
struct Words {
    std::mt19937 rng{12345u};
    int32_t next()
    {
        static const int32_t edges[] = {0,        1,        -1,      2,          -2,    kMax,  kMin,
                                        kMax - 1, kMin + 1, 1 << 30, -(1 << 30), 32767, -32768};
        const uint32_t kind = rng() % 8;
        return kind == 0 ? edges[rng() % std::size(edges)]
                         : static_cast<int32_t>(rng()) >> (kind == 1 ? rng() % 32 : 0);
    }
};

// The documented values of the saturating, truncating and counting operations.
TEST(ScalarOps, TellingValues)
{
    using Op = int32_t (*)(int32_t, int32_t);
    const Op abs = [](int32_t a, int32_t) { return L_abs_AAC_DEC(a); };
    const Op norm = [](int32_t a, int32_t) -> int32_t { return normalize_AAC_DEC(a); };
    const Op mul = mpy_32_16_r_AAC_DEC, mul_ns = mpy_32_16_r_ns, sat = L_shl_AAC_DEC_sat,
             dir = shift_dir_AAC_DEC;
    const struct {
        Op op;
        int32_t a, b, want;
    } cases[] = {{mul, 65536, kMax, 0},
                 {mul, 65536, kMin, 0},
                 {mul, 32767, -1, -2},
                 {mul_ns, 32767, -1, -1},
                 {mul, -32768, kMin, kMin},
                 {mul_ns, -32768, kMin, 1 << 30},
                 {mul_ns, -32768, kMax, -(1 << 30)},
                 {mul_ns, 0x7fff8000, 2, -1},
                 {mul_ns, 0x12344000, kMax, kMax / 4},
                 {dir, -5, 1, -3},
                 {dir, 3, -2, 12},
                 {dir, 12345, 40, 0},
                 {dir, -12345, 40, -1},
                 {dir, 7, kMin, 7},
                 {L_shl_AAC_DEC, 1, 31, kMin},
                 {sat, 1 << 24, 7, kMax},
                 {sat, (1 << 24) - 1, 7, kMax - 127},
                 {sat, -(1 << 24), 7, kMin},
                 {sat, -(1 << 24) - 1, 7, kMin},
                 {sat, kMin, 0, kMin},
                 {sat, 1, 31, kMax},
                 {sat, -1, 31, kMin},
                 {L_add_AAC_DEC, kMax, 1, kMax},
                 {L_add_AAC_DEC, kMin, -1, kMin},
                 {L_add_AAC_DEC, kMax, kMin, -1},
                 {L_sub_AAC_DEC, kMin, 1, kMin},
                 {L_sub_AAC_DEC, 0, kMin, kMax},
                 {L_sub_AAC_DEC, -1, kMin, kMax},
                 {abs, kMin, 0, kMax},
                 {norm, 0, 0, 31},
                 {norm, -1, 0, 31},
                 {norm, 1, 0, 30},
                 {norm, kMin, 0, 0}};
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].op(cases[i].a, cases[i].b), cases[i].want) << i;
    EXPECT_TRUE(negate(-32768) == 32767 && negate(32768) == -32768 && normalize_pos(0) == 32);
    EXPECT_TRUE(extract_h(kMin) == -32768 && extract_l(0x12348000) == -32768);
}

// Every operation against the references: first the edge words with the
// edge shift counts (taken modulo 256, negative, 32 and over), then random data.
TEST(ScalarOps, MatchExactArithmetic)
{
    auto check = [](int32_t a, int32_t b, int32_t n) {
        const int32_t ref = ref_mul(a, b), s = n & 31;
        ASSERT_EQ(mpy_32_16_r_ns(b, a), ref);
        ASSERT_EQ(mpy_32_16_r_AAC_DEC(b, a), wrap32(2 * int64_t{ref}));
        ASSERT_EQ(L_shl_AAC_DEC(a, n), ref_shl(a, n));
        ASSERT_EQ(L_shr_AAC_DEC(a, n), ref_shr(a, n));
        ASSERT_EQ(shift_dir_AAC_DEC(a, n), n > 0 ? ref_shr(a, n) : ref_shl(a, -int64_t{n}));
        ASSERT_EQ(L_shl_AAC_DEC_sat(a, s), clamp32(a * (int64_t{1} << s)));
        ASSERT_EQ(L_add_AAC_DEC(a, b), clamp32(int64_t{a} + b));
        ASSERT_EQ(L_sub_AAC_DEC(a, b), clamp32(int64_t{a} - b));
        ASSERT_EQ(L_abs_AAC_DEC(a), clamp32(a < 0 ? -int64_t{a} : a));
        int16_t norm = 0, lz = 0;  // largest n <= 31 with a * 2^n still a word; leading zeros
        while (norm < 31 && clamp32(a * (int64_t{2} << norm)) == a * (int64_t{2} << norm))
            ++norm;
        while (lz < 32 && mod(a, 2 * kTwo31) < (kTwo31 >> lz))
            ++lz;
        ASSERT_EQ(normalize_AAC_DEC(a), norm);
        ASSERT_EQ(normalize_pos(a), lz);
        // Double-precision split; a split word times a 16-bit factor is (a >> 1) * k >> 15 in 31
        // bits.
        int16_t hi = 0, lo = 0;
        const int64_t half = floor_div_pow2(a, 1), k = static_cast<int16_t>(b);
        ASSERT_EQ(L_ExtractFFT(a, &hi, &lo),
                  wrap32(half - mod(floor_div_pow2(a, 16), 65536) * 32768));
        ASSERT_TRUE(hi == floor_div_pow2(a, 16) && lo >= 0 && hi * 32768 + lo == half);
        ASSERT_EQ(modified_Mpy_32_16_FFT(hi, lo, static_cast<int32_t>(k)),
                  reduce31(floor_div_pow2(half * k, 15)));
        ASSERT_EQ(modified_Mpy_32_16_FFT(a, b, n),
                  reduce31(wrap32(int64_t{a} * n) + floor_div_pow2(wrap32(int64_t{b} * n), 15)));
    };
    std::vector<std::vector<int32_t>> inputs;
    for (int32_t x : {0, 1, -1, 5, -5, 0x12345678, -0x12345678, kMax, kMin})
        for (int32_t n : {0,   1,  16,  31,  32,  40,   255,  256,  257,  287,
                          288, -1, -31, -32, -40, -255, -256, -257, kMin, kMax})
            inputs.push_back({x, x ^ n, n});
    Words g;
    for (int i = 0; i < 100000; ++i)
        inputs.push_back(
            {g.next(), g.next(), i % 2 ? static_cast<int32_t>(g.rng() % 601) - 300 : g.next()});
    for (const auto &in : inputs) {
        check(in[0], in[1], in[2]);
        if (HasFatalFailure())
            FAIL() << "inputs " << in[0] << " " << in[1] << " " << in[2];
    }
}

// G.191 flags row by row; then two-word chains give the 64-bit sum.
TEST(CarryOps, FlagsAndChains)
{
    const struct {
        int sub, carry, overflow, a, b, out, carry_out, overflow_out;
    } rows[] = {{0, 0, 1, 1, 2, 3, 0, 0},        {0, 0, 0, kMax, 1, kMin, 0, 1},
                {0, 0, 0, kMin, kMin, 0, 1, 1},  {0, 0, 0, -1, 1, 0, 1, 0},
                {0, 1, 0, kMax, 0, kMin, 0, 1},  {0, 1, 0, -1, 0, 0, 1, 0},
                {0, 1, 0, -1, kMin, kMin, 1, 1}, {1, 1, 0, 5, 3, 2, 1, 0},
                {1, 1, 0, 3, 5, -2, 0, 0},       {1, 1, 0, 1, kMin, kMin + 1, 0, 1},
                {1, 1, 0, -1, kMin, kMax, 0, 0}, {1, 1, 0, 0, kMin, kMin, 0, 0},
                {1, 0, 1, 5, 3, 1, 1, 0},        {1, 0, 1, 3, 5, -3, 0, 1},
                {1, 0, 0, 0, 0, -1, 0, 0},       {1, 0, 0, kMin, 1, kMax - 1, 1, 1},
                {1, 0, 0, kMax, -1, kMax, 0, 1}, {1, 0, 0, 0, kMin, kMax, 0, 1},
                {1, 0, 0, -1, 1, -3, 0, 0}};
    for (size_t i = 0; i < std::size(rows); ++i) {
        const auto &r = rows[i];
        Carry = r.carry, Overflow = r.overflow;
        EXPECT_EQ(r.sub ? L_sub_c(r.a, r.b) : L_add_c(r.a, r.b), r.out) << i;
        EXPECT_TRUE(Carry == r.carry_out && Overflow == r.overflow_out) << i;
    }
    Words g;
    for (int i = 0; i < 50000; ++i) {
        const int32_t al = g.next(), bl = g.next(), ah = g.next(), bh = g.next();
        Carry = 0;
        const int32_t lo = L_add_c(al, bl), cin = Carry, hi = L_add_c(ah, bh);
        const int64_t exact = int64_t{ah} + bh + cin;
        ASSERT_TRUE(lo == wrap32(int64_t{al} + bl) && hi == wrap32(exact))
            << al << " " << bl << " " << ah << " " << bh;
        ASSERT_EQ(cin, mod(al, 2 * kTwo31) + mod(bl, 2 * kTwo31) >= 2 * kTwo31);
        ASSERT_EQ(Carry, mod(ah, 2 * kTwo31) + mod(bh, 2 * kTwo31) + cin >= 2 * kTwo31);
        // Signed overflow of the high words with carry, except G.191's case ah + bh == -2^31 - 1.
        ASSERT_EQ(Overflow,
                  exact > kMax || exact < kMin || (cin != 0 && int64_t{ah} + bh == -kTwo31 - 1));
    }
    Carry = 0, Overflow = 0;
}

// Window routines: plain (pairs) and unrolled (steps of 8) forms, coefficient direction.
using WindowFn = void (*)(const int32_t *, const int16_t *, int32_t *, int);
const struct WindowOp {
    const char *name;
    WindowFn plain, unrolled;
    int dir;
    bool accumulate;
} kWindowOps[] = {{"vmult1", vmult1, my_vmult1, 1, false},
                  {"vmult2", vmult2, my_vmult2, -1, false},
                  {"vmadd", vmadd, my_vmadd, 1, true},
                  {"vmult2_short", vmult2_short, my_vmult2_short, -1, true}};

// Pairs: n rounded down to even (an odd last element untouched, n < 2 does
// nothing); the unrolled forms round down to their step of 8 (vzero: 16) the
// same way; copies and clears take n as it is, n <= 0 doing nothing. Nothing
// past element n changes; y may be x, z may be y; sums saturate, window sums wrap.
TEST(VectorOps, WholePairsAndStepsOnRandomData)
{
    Words g;
    for (int round = 0; round < 4; ++round) {
        std::vector<int32_t> xs, ys;
        std::vector<int16_t> w;
        for (int i = 0; i < 1028; ++i)
            xs.push_back(g.next()), ys.push_back(g.next()), w.push_back(int16_t(g.next()));
        const int32_t *x = xs.data();
        // Coefficient pointer as the routine expects it: the first, or the last for backward reads.
        auto wp = [&](int dir) { return dir > 0 ? w.data() : &w.back(); };
        auto want = [&](const WindowOp &op, int i, int32_t y0) {
            const int32_t p = ref_mul(x[i], wp(op.dir)[op.dir * i]);
            return op.accumulate ? wrap32(int64_t{y0} + p) : p;
        };
        for (int n : {-8, -2, 0, 1, 2, 3, 7, 10, 12, 17, 64, 1024}) {
            const int len = std::max(n, 0) + 4, last = std::max(n, 1) - 1;
            const std::vector<int32_t> y0(ys.begin(), ys.begin() + len),
                x0(xs.begin(), xs.begin() + len);
            auto expect = [&](const std::vector<int32_t> &got, auto want, const char *name) {
                for (int i = 0; i < len; ++i)
                    ASSERT_EQ(got[i], want(i)) << name << " n=" << n << " i=" << i;
            };
            for (const WindowOp &op : kWindowOps) {
                std::vector<int32_t> a = y0, b = y0, c = x0;
                op.plain(x, wp(op.dir), a.data(), n);
                op.unrolled(x, wp(op.dir), b.data(), n);
                op.plain(c.data(), wp(op.dir), c.data(), n);
                expect(
                    a, [&](int i) { return i < n - n % 2 ? want(op, i, y0[i]) : y0[i]; }, op.name);
                expect(
                    b, [&](int i) { return i < n - n % 8 ? want(op, i, y0[i]) : y0[i]; }, op.name);
                expect(
                    c, [&](int i) { return i < n - n % 2 ? want(op, i, x0[i]) : x0[i]; }, op.name);
                if (n % 8 == 0) {
                    ASSERT_EQ(a, b) << op.name << " n=" << n;
                }  // unrolled equals plain
            }
            std::vector<int32_t> q = y0, v = y0, c1 = y0, c2 = y0, c3 = y0, z1 = y0, z2 = y0,
                                 z3 = y0;
            my_vqadd(x, q.data(), q.data(), n), vadd(x, v.data(), v.data(), n);
            my_vcopy(x, c1.data(), n), memcopy32_32(x, c2.data(), n), vcopy(x, c3.data(), n);
            my_vzero(&z1[last], n), setzero32(z2.data(), n), vzero(&z3[last], n);
            const auto sum = [&](int i) { return clamp32(int64_t{x[i]} + y0[i]); };
            expect(
                q, [&](int i) { return i < n - n % 2 ? sum(i) : y0[i]; }, "my_vqadd");
            expect(
                v, [&](int i) { return i < n - n % 8 ? sum(i) : y0[i]; }, "vadd");
            for (const auto *c : {&c1, &c2})
                expect(
                    *c, [&](int i) { return i < n ? x[i] : y0[i]; }, "my_vcopy/memcopy");
            expect(
                c3, [&](int i) { return i < n - n % 8 ? x[i] : y0[i]; }, "vcopy");
            for (const auto *z : {&z1, &z2})
                expect(
                    *z, [&](int i) { return i < n ? 0 : y0[i]; }, "my_vzero, setzero32");
            expect(
                z3, [&](int i) { return n % 16 <= i && i < n ? 0 : y0[i]; },
                "vzero");  // the top whole steps
        }
    }
    const int16_t vals[] = {3, -7, 5, -32768};
    EXPECT_TRUE(findMin(vals, 3) == -7 && findMin(vals, 4) == -32768 && findMin(vals, 0) == 3);
}

}  // namespace
