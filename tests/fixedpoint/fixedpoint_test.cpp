// Fixed-point basic operations and vector routines. References are written
// with exact 64-bit arithmetic and division (no shifts of signed values), so
// they check the bit tricks of the implementation rather than restate them.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "fixedpoint/basic_ops.h"
#include "fixedpoint/vector_ops.h"

namespace {

constexpr int32_t kMin = INT32_MIN;
constexpr int32_t kMax = INT32_MAX;
constexpr int64_t kTwo31 = int64_t{1} << 31;

// floor(v / 2^s), by division.
int64_t floor_div_pow2(int64_t v, int s) {
  const int64_t d = int64_t{1} << s;
  const int64_t q = v / d;
  return (v % d != 0 && v < 0) ? q - 1 : q;
}
int32_t wrap32(int64_t v) {
  int64_t r = v % (2 * kTwo31);
  if (r < 0) r += 2 * kTwo31;
  return static_cast<int32_t>(r >= kTwo31 ? r - 2 * kTwo31 : r);
}
int32_t clamp32(int64_t v) { return static_cast<int32_t>(v > kMax ? kMax : (v < kMin ? kMin : v)); }
int64_t low16_signed(int64_t k) {
  int64_t lo = k % 65536;
  if (lo < 0) lo += 65536;
  return lo >= 32768 ? lo - 65536 : lo;
}
int32_t ref_mul(int32_t x, int64_t k) { return static_cast<int32_t>(floor_div_pow2(int64_t{x} * low16_signed(k), 16)); }
int ref_count(int32_t n) { return static_cast<int>(((n % 256) + 256) % 256); }
int32_t ref_shl(int32_t x, int32_t n) { return ref_count(n) >= 32 ? 0 : wrap32(int64_t{x} << ref_count(n)); }
int32_t ref_shr(int32_t x, int32_t n) {
  return ref_count(n) >= 32 ? (x < 0 ? -1 : 0) : static_cast<int32_t>(floor_div_pow2(x, ref_count(n)));
}
int32_t ref_shift_dir(int32_t x, int32_t n) { return n > 0 ? ref_shr(x, n) : ref_shl(x, -n); }

// Seeded words with edge values mixed in.
struct Words {
  std::mt19937 rng{12345u};
  int32_t next() {
    static const int32_t edges[] = {0, 1, -1, 2, -2, kMax, kMin, kMax - 1, kMin + 1, 1 << 30, -(1 << 30), 32767, -32768};
    const uint32_t r = rng();
    switch (r % 8) {
      case 0: return edges[rng() % (sizeof edges / sizeof edges[0])];
      case 1: return static_cast<int32_t>(rng()) >> (rng() % 32);  // small magnitudes
      default: return static_cast<int32_t>(rng());
    }
  }
  int16_t coef() { return static_cast<int16_t>(next()); }
};

// Compile-time use of the inline forms.
static_assert(fxaac::norm_s32(0) == 31 && fxaac::norm_s32(-1) == 31 && fxaac::norm_s32(kMin) == 0);
static_assert(fxaac::mul_32x16_x2(32767, -1) == -2 && fxaac::shl_sat(1 << 24, 7) == kMax);

TEST(Mul32x16, TruncatesAndIgnoresTheHighHalfOfTheCoefficient) {
  for (int32_t x : {1, -1, 12345, kMax, kMin}) {
    EXPECT_EQ(mpy_32_16_r_AAC_DEC(65536, x), 0) << x;
    EXPECT_EQ(mpy_32_16_r_ns(0x12340000 | 0x4000, x), mpy_32_16_r_ns(0x4000, x)) << x;
  }
  EXPECT_EQ(mpy_32_16_r_AAC_DEC(32767, -1), -2);  // floor(-32767/65536) = -1, doubled
  EXPECT_EQ(mpy_32_16_r_ns(32767, -1), -1);
  EXPECT_EQ(mpy_32_16_r_ns(-32768, kMin), 1 << 30);
  EXPECT_EQ(mpy_32_16_r_AAC_DEC(-32768, kMin), kMin);  // the one wrapping doubling
  EXPECT_EQ(mpy_32_16_r_ns(-32768, kMax), -(1 << 30));
  EXPECT_EQ(mpy_32_16_r_ns(0x7fff8000, 2), -1);  // low half -32768
}

TEST(Mul32x16, MatchesExactProductOnRandomData) {
  Words g;
  for (int i = 0; i < 100000; ++i) {
    const int32_t x = g.next(), k = g.next();
    const int32_t ref = ref_mul(x, k);
    ASSERT_EQ(mpy_32_16_r_ns(k, x), ref) << x << " " << k;
    ASSERT_EQ(mpy_32_16_r_AAC_DEC(k, x), wrap32(2 * int64_t{ref})) << x << " " << k;
  }
}

TEST(Shifts, CountEdgeCasesAndModulo256) {
  EXPECT_EQ(shift_dir_AAC_DEC(-5, 1), -3);
  EXPECT_EQ(shift_dir_AAC_DEC(3, -2), 12);
  EXPECT_EQ(shift_dir_AAC_DEC(12345, 40), 0);
  EXPECT_EQ(shift_dir_AAC_DEC(-12345, 40), -1);
  EXPECT_EQ(shift_dir_AAC_DEC(-12345, -40), 0);
  EXPECT_EQ(shift_dir_AAC_DEC(7, 0), 7);
  EXPECT_EQ(shift_dir_AAC_DEC(7, kMin), 7);  // left by 2^31 mod 256 = 0
  EXPECT_EQ(L_shl_AAC_DEC(1, 31), kMin);
  EXPECT_EQ(L_shl_AAC_DEC(3, 31), kMin);
  EXPECT_EQ(L_shl_AAC_DEC(kMax, 1), -2);
  EXPECT_EQ(L_shr_AAC_DEC(kMin, 31), -1);
  const int32_t xs[] = {0, 1, -1, 5, -5, 0x12345678, -0x12345678, kMax, kMin};
  const int32_t ns[] = {0, 1, 16, 31, 32, 40, 255, 256, 257, 287, 288, -1, -255};
  for (int32_t x : xs) {
    for (int32_t n : ns) {
      EXPECT_EQ(L_shl_AAC_DEC(x, n), ref_shl(x, n)) << x << " << " << n;
      EXPECT_EQ(L_shr_AAC_DEC(x, n), ref_shr(x, n)) << x << " >> " << n;
      EXPECT_EQ(shift_dir_AAC_DEC(x, n), ref_shift_dir(x, n)) << x << " dir " << n;
      EXPECT_EQ(shift_dir_AAC_DEC(x, -n), ref_shift_dir(x, -n)) << x << " dir " << -n;
    }
  }
}

TEST(Shifts, MatchReferenceOnRandomData) {
  Words g;
  for (int i = 0; i < 100000; ++i) {
    const int32_t x = g.next();
    const auto n = static_cast<int32_t>(g.rng() % 601) - 300;
    ASSERT_EQ(L_shl_AAC_DEC(x, n), ref_shl(x, n)) << x << " " << n;
    ASSERT_EQ(L_shr_AAC_DEC(x, n), ref_shr(x, n)) << x << " " << n;
    ASSERT_EQ(shift_dir_AAC_DEC(x, n), ref_shift_dir(x, n)) << x << " " << n;
  }
}

TEST(ShlSat, SaturatesOnlyWhenTheDroppedBitsDiffer) {
  EXPECT_EQ(L_shl_AAC_DEC_sat(1 << 24, 7), kMax);
  EXPECT_EQ(L_shl_AAC_DEC_sat((1 << 24) - 1, 7), kMax - 127);
  EXPECT_EQ(L_shl_AAC_DEC_sat(-(1 << 24), 7), kMin);  // exact
  EXPECT_EQ(L_shl_AAC_DEC_sat(-(1 << 24) - 1, 7), kMin);  // saturated
  EXPECT_EQ(L_shl_AAC_DEC_sat(kMin, 0), kMin);
  EXPECT_EQ(L_shl_AAC_DEC_sat(kMax, 0), kMax);
  EXPECT_EQ(L_shl_AAC_DEC_sat(1, 31), kMax);
  EXPECT_EQ(L_shl_AAC_DEC_sat(-1, 31), kMin);
  EXPECT_EQ(L_shl_AAC_DEC_sat(0, 31), 0);
  Words g;
  for (int i = 0; i < 100000; ++i) {
    const int32_t x = g.next();
    const auto n = static_cast<int32_t>(g.rng() % 32);
    ASSERT_EQ(L_shl_AAC_DEC_sat(x, n), clamp32(int64_t{x} * (int64_t{1} << n))) << x << " " << n;
  }
}

TEST(Normalize, CountsRedundantSignBitsAndLeadingZeros) {
  const struct { int32_t x; int16_t norm, lz; } cases[] = {
      {0, 31, 32}, {-1, 31, 0}, {1, 30, 31}, {2, 29, 30}, {1 << 30, 0, 1},
      {kMin, 0, 0}, {kMax, 0, 1}, {-(1 << 30), 1, 0}, {-(1 << 30) - 1, 0, 0}, {0x8000, 15, 16}};
  for (const auto& c : cases) {
    EXPECT_EQ(normalize_AAC_DEC(c.x), c.norm) << c.x;
    EXPECT_EQ(normalize_pos(c.x), c.lz) << c.x;
  }
  Words g;
  for (int i = 0; i < 20000; ++i) {
    const int32_t x = g.next();
    int16_t norm = 0;  // largest n <= 31 with x * 2^n still a word
    while (norm < 31 && clamp32(int64_t{x} * (int64_t{2} << norm)) == int64_t{x} * (int64_t{2} << norm)) ++norm;
    int16_t lz = 0;
    while (lz < 32 && (static_cast<uint32_t>(x) & (0x80000000u >> lz)) == 0) ++lz;
    ASSERT_EQ(normalize_AAC_DEC(x), norm) << x;
    ASSERT_EQ(normalize_pos(x), lz) << x;
  }
}

TEST(SaturatingArithmetic, AddSubAbs) {
  EXPECT_EQ(L_add_AAC_DEC(kMax, 1), kMax);
  EXPECT_EQ(L_add_AAC_DEC(kMin, -1), kMin);
  EXPECT_EQ(L_add_AAC_DEC(kMax, kMin), -1);
  EXPECT_EQ(L_sub_AAC_DEC(kMin, 1), kMin);
  EXPECT_EQ(L_sub_AAC_DEC(0, kMin), kMax);
  EXPECT_EQ(L_sub_AAC_DEC(-1, kMin), kMax);
  EXPECT_EQ(L_abs_AAC_DEC(kMin), kMax);
  EXPECT_EQ(L_abs_AAC_DEC(-5), 5);
  EXPECT_EQ(L_abs_AAC_DEC(kMin + 1), kMax);
  Words g;
  for (int i = 0; i < 100000; ++i) {
    const int32_t a = g.next(), b = g.next();
    ASSERT_EQ(L_add_AAC_DEC(a, b), clamp32(int64_t{a} + b)) << a << " " << b;
    ASSERT_EQ(L_sub_AAC_DEC(a, b), clamp32(int64_t{a} - b)) << a << " " << b;
    ASSERT_EQ(L_abs_AAC_DEC(a), clamp32(a < 0 ? -int64_t{a} : a)) << a;
  }
}

TEST(SixteenBit, NegateAndExtract) {
  EXPECT_EQ(negate(-32768), 32767);
  EXPECT_EQ(negate(32767), -32767);
  EXPECT_EQ(negate(0), 0);
  EXPECT_EQ(negate(1), -1);
  EXPECT_EQ(negate(32768), -32768);  // not a 16-bit input: low 16 bits of -x
  EXPECT_EQ(extract_h(0x12348000), 0x1234);
  EXPECT_EQ(extract_h(-1), -1);
  EXPECT_EQ(extract_h(kMin), -32768);
  EXPECT_EQ(extract_l(0x12348000), -32768);
  EXPECT_EQ(extract_l(0x0001ffff), -1);
  EXPECT_EQ(extract_l(0x7fff7fff), 32767);
}

TEST(FftHelpers, ExtractSplitsIntoADoublePrecisionPair) {
  Words g;
  for (int i = 0; i < 50000; ++i) {
    const int32_t x = g.next();
    int16_t hi = 0, lo = 0;
    const int32_t r = L_ExtractFFT(x, &hi, &lo);
    const int64_t half = floor_div_pow2(x, 1);
    ASSERT_EQ(hi, floor_div_pow2(x, 16)) << x;
    ASSERT_GE(lo, 0) << x;
    ASSERT_EQ(int64_t{hi} * 32768 + lo, half) << x;
    ASSERT_EQ(r, wrap32(half - (int64_t{hi} + (hi < 0 ? 65536 : 0)) * 32768)) << x;
  }
  int16_t hi = 0, lo = 0;
  EXPECT_EQ(L_ExtractFFT(-1, &hi, &lo), kMin + 0x7fff);
  EXPECT_EQ(hi, -1);
  EXPECT_EQ(lo, 0x7fff);
}

TEST(FftHelpers, ModifiedMpyReducesTo31Bits) {
  const auto reduce31 = [](int64_t v) {
    int64_t r = v % kTwo31;
    if (r < 0) r += kTwo31;
    return static_cast<int32_t>(r >= kTwo31 / 2 ? r - kTwo31 : r);
  };
  Words g;
  for (int i = 0; i < 50000; ++i) {
    const int32_t hi = g.next(), lo = g.next(), n = g.next();
    const int64_t lo_term = floor_div_pow2(wrap32(int64_t{lo} * n), 15);
    ASSERT_EQ(modified_Mpy_32_16_FFT(hi, lo, n), reduce31(int64_t{wrap32(int64_t{hi} * n)} + lo_term))
        << hi << " " << lo << " " << n;
    // The intended use: a split word times a 16-bit factor is (x >> 1) * n >> 15, in 31 bits.
    const int32_t x = g.next();
    const int16_t k = g.coef();
    int16_t h = 0, l = 0;
    L_ExtractFFT(x, &h, &l);
    ASSERT_EQ(modified_Mpy_32_16_FFT(h, l, k), reduce31(floor_div_pow2(floor_div_pow2(x, 1) * k, 15))) << x << " " << k;
  }
}

class CarryOps : public ::testing::Test {
 protected:
  void SetUp() override { Carry = 0, Overflow = 0; }
  void TearDown() override { Carry = 0, Overflow = 0; }
  void expect(int32_t out, int32_t want_out, int32_t want_carry, int32_t want_overflow, int line) {
    EXPECT_EQ(out, want_out) << "line " << line;
    EXPECT_EQ(Carry, want_carry) << "line " << line;
    EXPECT_EQ(Overflow, want_overflow) << "line " << line;
  }
};

TEST_F(CarryOps, AddChainsGiveThe64BitSum) {
  Words g;
  for (int i = 0; i < 50000; ++i) {
    const uint64_t a = (uint64_t{static_cast<uint32_t>(g.next())} << 32) | static_cast<uint32_t>(g.next());
    const uint64_t b = (uint64_t{static_cast<uint32_t>(g.next())} << 32) | static_cast<uint32_t>(g.next());
    Carry = 0;
    const auto lo = static_cast<uint32_t>(L_add_c(static_cast<int32_t>(a), static_cast<int32_t>(b)));
    const int32_t cin = Carry;
    const auto ah = static_cast<int32_t>(a >> 32), bh = static_cast<int32_t>(b >> 32);
    const auto hi = static_cast<uint32_t>(L_add_c(ah, bh));
    ASSERT_EQ((uint64_t{hi} << 32) | lo, a + b);
    ASSERT_EQ(Carry, (a >> 32) + (b >> 32) + static_cast<uint64_t>(cin) > 0xffffffffu ? 1 : 0);
    // Signed overflow of the high words with carry, except G.191's case a + b == -2^31 - 1.
    const int64_t exact = int64_t{ah} + bh + cin;
    const bool special = cin != 0 && int64_t{ah} + bh == -kTwo31 - 1;
    ASSERT_EQ(Overflow, (exact > kMax || exact < kMin || special) ? 1 : 0) << ah << " " << bh << " " << cin;
  }
}

TEST_F(CarryOps, AddCases) {
  Overflow = 1;
  expect(L_add_c(1, 2), 3, 0, 0, __LINE__);  // overflow cleared
  expect(L_add_c(kMax, 1), kMin, 0, 1, __LINE__);
  Carry = 0;
  expect(L_add_c(kMin, kMin), 0, 1, 1, __LINE__);
  Carry = 0;
  expect(L_add_c(-1, 1), 0, 1, 0, __LINE__);
  Carry = 1;
  expect(L_add_c(kMax, 0), kMin, 0, 1, __LINE__);  // a + b = 2^31 - 1 with carry in
  Carry = 1;
  expect(L_add_c(-1, 0), 0, 1, 0, __LINE__);  // a + b = -1 with carry in
  Carry = 1;
  expect(L_add_c(-1, kMin), kMin, 1, 1, __LINE__);
}

TEST_F(CarryOps, SubCases) {
  // Incoming carry (no borrow): a - b, flags of L_add_c(a, -b) from a clear carry.
  Carry = 1;
  expect(L_sub_c(5, 3), 2, 1, 0, __LINE__);
  Carry = 1;
  expect(L_sub_c(3, 5), -2, 0, 0, __LINE__);
  Carry = 1;
  expect(L_sub_c(1, kMin), kMin + 1, 0, 1, __LINE__);
  Carry = 1, Overflow = 0;
  expect(L_sub_c(-1, kMin), kMax, 0, 0, __LINE__);  // a <= 0: overflow left as it was
  Carry = 1, Overflow = 1;
  expect(L_sub_c(0, kMin), kMin, 0, 1, __LINE__);
  // No incoming carry: a - b - 1.
  Carry = 0, Overflow = 1;
  expect(L_sub_c(5, 3), 1, 1, 0, __LINE__);
  Carry = 0, Overflow = 1;
  expect(L_sub_c(3, 5), -3, 0, 1, __LINE__);  // no branch applies: overflow kept
  Carry = 0, Overflow = 0;
  expect(L_sub_c(0, 0), -1, 0, 0, __LINE__);
  Carry = 0;
  expect(L_sub_c(kMin, 1), kMax - 1, 1, 1, __LINE__);
  Carry = 0;
  expect(L_sub_c(kMax, -1), kMax, 0, 1, __LINE__);
  Carry = 0, Overflow = 0;
  expect(L_sub_c(0, kMin), kMax, 0, 1, __LINE__);  // a - b wraps to -2^31
  Carry = 0, Overflow = 0;
  expect(L_sub_c(-1, 1), -3, 0, 0, __LINE__);  // G.191 leaves carry 0 here
  Words g;
  for (int i = 0; i < 20000; ++i) {
    const int32_t a = g.next(), b = g.next();
    if (b == kMin) continue;
    Carry = 0;
    const int32_t via_add = L_add_c(a, -b);
    const int32_t c = Carry, o = Overflow;
    Carry = 1, Overflow = 1 - o;
    ASSERT_EQ(L_sub_c(a, b), via_add);
    ASSERT_EQ(via_add, wrap32(int64_t{a} - b));
    ASSERT_EQ(Carry, c);
    ASSERT_EQ(Overflow, o);
  }
}

// Window routines: plain and unrolled forms with their coefficient direction.
using WindowFn = void (*)(const int32_t*, const int16_t*, int32_t*, int);
struct WindowOp {
  const char* name;
  WindowFn plain, unrolled;
  int dir;
  bool accumulate;
};
const WindowOp kWindowOps[] = {{"vmult1", vmult1, my_vmult1, 1, false},
                               {"vmult2", vmult2, my_vmult2, -1, false},
                               {"vmadd", vmadd, my_vmadd, 1, true},
                               {"vmult2_short", vmult2_short, my_vmult2_short, -1, true}};

struct VectorData {
  static constexpr int kLen = 1024;
  std::vector<int32_t> x, y;
  std::vector<int16_t> w;
  explicit VectorData(Words& g) : x(kLen), y(kLen), w(kLen) {
    for (int i = 0; i < kLen; ++i) x[i] = g.next(), y[i] = g.next(), w[i] = g.coef();
  }
  // Coefficient pointer as the routine expects it: the first, or the last for backward reads.
  const int16_t* wp(int dir) const { return dir > 0 ? w.data() : w.data() + kLen - 1; }
  int32_t expected(const WindowOp& op, int i, int32_t y0) const {
    const int32_t p = ref_mul(x[i], *(wp(op.dir) + op.dir * i));
    return op.accumulate ? wrap32(int64_t{y0} + p) : p;
  }
};

TEST(VectorPairs, EvenCountProcessedOddLastElementUntouched) {
  Words g;
  const VectorData d(g);
  const int32_t sentinel = 0x5a5a5a5a;
  for (const WindowOp& op : kWindowOps) {
    for (int n : {-2, 0, 1, 2, 3, 7, 10}) {
      std::vector<int32_t> y(12, sentinel);
      op.plain(d.x.data(), d.wp(op.dir), y.data(), n);
      for (int i = 0; i < 12; ++i) {
        const int32_t want = i < n - n % 2 ? d.expected(op, i, sentinel) : sentinel;
        ASSERT_EQ(y[i], want) << op.name << " n=" << n << " i=" << i;
      }
    }
  }
  for (int n : {0, 1, 3}) {
    std::vector<int32_t> z(4, sentinel);
    my_vqadd(d.x.data(), d.y.data(), z.data(), n);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(z[i], i < n - n % 2 ? clamp32(int64_t{d.x[i]} + d.y[i]) : sentinel);
  }
}

TEST(VectorPairs, InPlaceCoefficientDirectionAndSaturation) {
  Words g;
  const VectorData d(g);
  for (const WindowOp& op : kWindowOps) {  // y == x
    std::vector<int32_t> xy(d.x);
    op.plain(xy.data(), d.wp(op.dir), xy.data(), 64);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(xy[i], d.expected(op, i, d.x[i])) << op.name << " i=" << i;
  }
  // vmult2 with n = 4 reads w[0], w[-1], w[-2], w[-3]: x = 2^16 makes the product the coefficient.
  const int16_t w[] = {10, 20, 30, -40};
  const int32_t x[] = {65536, 65536, 65536, 65536};
  int32_t y[4] = {};
  vmult2(x, w + 3, y, 4);
  EXPECT_EQ(std::vector<int32_t>(y, y + 4), (std::vector<int32_t>{-40, 30, 20, 10}));
  vmult2_short(x, w + 3, y, 4);
  EXPECT_EQ(std::vector<int32_t>(y, y + 4), (std::vector<int32_t>{-80, 60, 40, 20}));
  // Saturating adds, z aliasing y.
  int32_t a[8] = {kMax, kMin, 5, -5, kMax, kMin, 0, 0};
  int32_t b[8] = {1, -1, 7, -7, kMin, kMax, kMax, kMin};
  const std::vector<int32_t> want = {kMax, kMin, 12, -12, -1, -1, kMax, kMin};
  int32_t c[8];
  vadd(a, b, c, 8);
  EXPECT_EQ(std::vector<int32_t>(c, c + 8), want);
  my_vqadd(a, b, b, 8);
  EXPECT_EQ(std::vector<int32_t>(b, b + 8), want);
}

TEST(VectorCopyClear, RangesAndDirections) {
  std::vector<int32_t> buf(450, 7);
  int32_t* p = buf.data() + 448;  // last word of the cleared range
  my_vzero(p, 448);
  EXPECT_EQ(buf[0], 7);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[448], 0);
  EXPECT_EQ(buf[449], 7);
  std::vector<int32_t> v(4, 7);
  my_vzero(v.data() + 2, 0);
  my_vzero(v.data() + 2, -3);
  setzero32(v.data(), 0);
  EXPECT_EQ(v, (std::vector<int32_t>{7, 7, 7, 7}));
  my_vzero(v.data() + 2, 1);
  setzero32(v.data(), 2);
  EXPECT_EQ(v, (std::vector<int32_t>{0, 0, 0, 7}));

  const int32_t src[5] = {1, -2, 3, -4, 5};
  int32_t d1[6] = {9, 9, 9, 9, 9, 9}, d2[6] = {9, 9, 9, 9, 9, 9};
  my_vcopy(src, d1, 5);  // plain copies are not limited to pairs
  memcopy32_32(src, d2, 5);
  EXPECT_EQ(std::vector<int32_t>(d1, d1 + 6), (std::vector<int32_t>{1, -2, 3, -4, 5, 9}));
  EXPECT_EQ(std::vector<int32_t>(d2, d2 + 6), (std::vector<int32_t>{1, -2, 3, -4, 5, 9}));
  my_vcopy(src, d1, 0);
  EXPECT_EQ(d1[0], 1);
  const int16_t s16[3] = {-1, 2, -3};
  for (auto fn : {memcopy16_16, memcopy16_16_y_m, memcopy16_16_m_y}) {
    int16_t d16[4] = {9, 9, 9, 9};
    fn(s16, d16, 3);
    EXPECT_EQ(std::vector<int16_t>(d16, d16 + 4), (std::vector<int16_t>{-1, 2, -3, 9}));
  }

  const int16_t vals[] = {3, -7, 5, -32768};
  EXPECT_EQ(findMin(vals, 3), -7);
  EXPECT_EQ(findMin(vals, 4), -32768);
  EXPECT_EQ(findMin(vals, 1), 3);
  EXPECT_EQ(findMin(vals, 0), 3);
  EXPECT_EQ(findMin(vals, -5), 3);
}

TEST(UnrolledSet, MatchesThePlainSetOnRandomData) {
  Words g;
  for (int round = 0; round < 8; ++round) {
    const VectorData d(g);
    for (int n : {8, 16, 64, 1024}) {
      for (const WindowOp& op : kWindowOps) {
        std::vector<int32_t> a(d.y), b(d.y);
        op.plain(d.x.data(), d.wp(op.dir), a.data(), n);
        op.unrolled(d.x.data(), d.wp(op.dir), b.data(), n);
        ASSERT_EQ(a, b) << op.name << " n=" << n;
        for (int i = 0; i < n; ++i) ASSERT_EQ(a[i], d.expected(op, i, d.y[i])) << op.name << " i=" << i;
      }
      std::vector<int32_t> a(d.y), b(d.y);
      my_vqadd(d.x.data(), d.y.data(), a.data(), n);
      vadd(d.x.data(), d.y.data(), b.data(), n);
      ASSERT_EQ(a, b) << "vadd n=" << n;
      my_vcopy(d.x.data(), a.data(), n);
      vcopy(d.x.data(), b.data(), n);
      ASSERT_EQ(a, b) << "vcopy n=" << n;
      if (n % 16 == 0) {
        my_vzero(a.data() + n - 1, n);
        vzero(b.data() + n - 1, n);
        ASSERT_EQ(a, b) << "vzero n=" << n;
      }
    }
  }
}

TEST(UnrolledSet, OnlyWholeStepsAreProcessed) {
  Words g;
  const VectorData d(g);
  const int32_t sentinel = 0x5a5a5a5a;
  for (int n : {-8, 0, 7, 12}) {
    const int done = n < 8 ? 0 : 8;
    for (const WindowOp& op : kWindowOps) {
      std::vector<int32_t> y(16, sentinel);
      op.unrolled(d.x.data(), d.wp(op.dir), y.data(), n);
      for (int i = 0; i < 16; ++i)
        ASSERT_EQ(y[i], i < done ? d.expected(op, i, sentinel) : sentinel) << op.name << " n=" << n;
    }
    std::vector<int32_t> z(16, sentinel), c(16, sentinel);
    vadd(d.x.data(), d.y.data(), z.data(), n);
    vcopy(d.x.data(), c.data(), n);
    for (int i = 0; i < 16; ++i) {
      EXPECT_EQ(z[i], i < done ? clamp32(int64_t{d.x[i]} + d.y[i]) : sentinel);
      EXPECT_EQ(c[i], i < done ? d.x[i] : sentinel);
    }
  }
  std::vector<int32_t> v(40, 7);
  vzero(v.data() + 31, 24);  // one step of 16: words 16..31
  for (int i = 0; i < 40; ++i) EXPECT_EQ(v[i], i >= 16 && i <= 31 ? 0 : 7) << i;
  vzero(v.data() + 15, 15);
  EXPECT_EQ(v[15], 7);
}

}  // namespace
