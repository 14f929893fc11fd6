// SBR HF generation in integers (ISO/IEC 14496-3 4.6.18.6).
//
// Precision: the covariance sums are exact in int64 (|X| < 2^27, 38 rows:
// every sum < 2^61). The predictor is a ratio of differences of their
// products, and those differences cancel deeply for tonal bands (for a pure
// tone the determinant is about 1e-6 of its terms), so the products are
// formed exactly in 128 bits before anything is rounded. Only the final
// divisions round: each denominator keeps 32 significant bits and is inverted
// once (one integer division per denominator, two per subband, none per
// sample), so alpha is within about 2^-30 relative (plus half a Q29 step) of
// the exact ratio.
#include "sbr/hf_generation.h"

#include <algorithm>

#include "dsp/kernels.h"

namespace fxaac::sbr {
namespace {

// ---------------------------------------------------------------------------
// 128-bit two's-complement integers, built from 64-bit halves (32-bit ARM has
// no native type). Value = hi * 2^64 + lo.
struct Wide {
    uint64_t hi, lo;
};

constexpr Wide wide(int64_t v)
{
    return {static_cast<uint64_t>(v >> 63), static_cast<uint64_t>(v)};
}
constexpr bool negative(Wide a) { return (a.hi >> 63) != 0; }
constexpr bool is_zero(Wide a) { return (a.hi | a.lo) == 0; }

constexpr Wide add(Wide a, Wide b)
{
    const uint64_t lo = a.lo + b.lo;
    return {a.hi + b.hi + (lo < a.lo ? 1u : 0u), lo};
}
constexpr Wide negate(Wide a) { return {~a.hi + (a.lo == 0 ? 1u : 0u), 0 - a.lo}; }
constexpr Wide sub(Wide a, Wide b) { return add(a, negate(b)); }

// Unsigned comparison a < b (both read as non-negative).
constexpr bool below(Wide a, Wide b) { return a.hi < b.hi || (a.hi == b.hi && a.lo < b.lo); }

// a << n, n in 0..127.
constexpr Wide shl(Wide a, int n)
{
    if (n == 0)
        return a;
    if (n >= 64)
        return {a.lo << (n - 64), 0};
    return {(a.hi << n) | (a.lo >> (64 - n)), a.lo << n};
}

// a >> n of a non-negative a, n in 0..127.
constexpr Wide shr(Wide a, int n)
{
    if (n == 0)
        return a;
    if (n >= 64)
        return {0, a.hi >> (n - 64)};
    return {a.hi >> n, (a.lo >> n) | (a.hi << (64 - n))};
}

// Bits of a non-negative a (0 for 0).
constexpr int bit_length(Wide a)
{
    if (a.hi != 0)
        return 128 - __builtin_clzll(a.hi);
    return a.lo != 0 ? 64 - __builtin_clzll(a.lo) : 0;
}

// Full product of two unsigned 64-bit numbers from four 32x32 products.
constexpr Wide mul_u64(uint64_t a, uint64_t b)
{
    const uint64_t a0 = a & 0xffffffffu, a1 = a >> 32;
    const uint64_t b0 = b & 0xffffffffu, b1 = b >> 32;
    const uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
    const uint64_t mid = (p00 >> 32) + (p01 & 0xffffffffu) + (p10 & 0xffffffffu);
    return {p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32), (mid << 32) | (p00 & 0xffffffffu)};
}

// Full signed product; |a|, |b| < 2^63.
constexpr Wide mul(int64_t a, int64_t b)
{
    const Wide m = mul_u64(static_cast<uint64_t>(a < 0 ? -a : a),
                           static_cast<uint64_t>(b < 0 ? -b : b));
    return (a < 0) != (b < 0) ? negate(m) : m;
}

// Division by one denominator den > 0 (den < 2^126) of several numerators,
// through one reciprocal: the divisor keeps its 32 leading bits (relative
// error below 2^-31) and its reciprocal 32 bits more.
class Divisor {
public:
    explicit Divisor(Wide den) : limit_(shl(den, 2))
    {
        shift_ = bit_length(den) - 32;  // den >> shift_ in [2^31, 2^32)
        const uint64_t d = shift_ >= 0 ? shr(den, shift_).lo : den.lo << -shift_;
        recip_ = ((uint64_t{1} << 63) - 1) / d;  // in [2^31, 2^32)
    }

    // num / den in Q29, rounded; false when |num| >= 4 den (the quotient
    // would not fit, and is discarded anyway).
    bool divide(Wide num, int32_t *q) const
    {
        const bool neg = negative(num);
        const Wide mag = neg ? negate(num) : num;
        if (!below(mag, limit_))
            return false;
        // n = mag 2^(29 - shift) < 4 (d + 1) 2^29 <= 2^63; q = n recip / 2^63.
        const int t = kHfAlphaQ - shift_;
        const uint64_t n = t >= 0 ? shl(mag, t).lo : shr(mag, -t).lo;
        const uint64_t hi = (n >> 32) * recip_;
        const uint64_t lo = ((n & 0xffffffffu) * recip_) >> 32;
        uint64_t r = (hi + lo + (uint64_t{1} << 30)) >> 31;
        if (r > 0x7fffffffu)
            r = 0x7fffffffu;
        *q = neg ? -static_cast<int32_t>(r) : static_cast<int32_t>(r);
        return true;
    }

private:
    Wide limit_;
    int shift_;
    uint64_t recip_;
};

// |a|^2 >= 16 for a complex Q29 value.
constexpr bool at_least_four(const int32_t a[2])
{
    const uint64_t m = static_cast<uint64_t>(int64_t{a[0]} * a[0]) +
                       static_cast<uint64_t>(int64_t{a[1]} * a[1]);
    return m >= (uint64_t{1} << (2 * kHfAlphaQ + 4));
}

// ---------------------------------------------------------------------------
// Covariance of one low subband (ISO/IEC 14496-3 4.6.18.6.2):
//   phi(i, j) = sum_{n=0}^{37} X(n - i + 2) conj(X(n - j + 2)), rows 0..39.
// phi(1,1) and phi(2,2), phi(0,1) and phi(1,2) share 37 terms each.
struct Covariance {
    int64_t r11, r22;  // phi(1,1), phi(2,2): real, >= 0
    int64_t r01[2], r12[2], r02[2];
};

// The covariances of low subbands lo .. hi - 1: the sums over rows 2..39
// (the covariance_sums kernel), then the ends that phi(2,2) and phi(1,2)
// differ by.
void covariances(const QmfRow *rows, int lo, int hi, Covariance *out)
{
    int64_t sums[5][kLowBands];
    sbr_covariance_sums(rows[0][0], lo, hi, sums[0]);
    const int64_t *e = sums[0], *c1r = sums[1], *c1i = sums[2], *c2r = sums[3], *c2i = sums[4];
    for (int p = lo; p < hi; ++p) {
        const int64_t ar = rows[0][p][0], ai = rows[0][p][1];    // X(0)
        const int64_t br = rows[1][p][0], bi = rows[1][p][1];    // X(1)
        const int64_t yr = rows[38][p][0], yi = rows[38][p][1];  // X(38)
        const int64_t zr = rows[39][p][0], zi = rows[39][p][1];  // X(39)
        Covariance &c = out[p];
        c.r11 = e[p];
        c.r22 = e[p] - (yr * yr + yi * yi) + (ar * ar + ai * ai);
        c.r01[0] = c1r[p];
        c.r01[1] = c1i[p];
        c.r12[0] = c1r[p] - (zr * yr + zi * yi) + (br * ar + bi * ai);
        c.r12[1] = c1i[p] - (zi * yr - zr * yi) + (bi * ar - br * ai);
        c.r02[0] = c2r[p];
        c.r02[1] = c2i[p];
    }
}

constexpr int64_t magnitude(int64_t v) { return v < 0 ? -v : v; }

// Scale every term by one power of two so that the largest is in
// [2^60, 2^61): the predictor is a ratio of terms of equal degree, so it does
// not change, and the rounding of the regularisation below stays negligible.
void normalise(Covariance *c)
{
    int64_t m = c->r11 | c->r22;
    for (int i = 0; i < 2; ++i)
        m |= magnitude(c->r01[i]) | magnitude(c->r12[i]) | magnitude(c->r02[i]);
    if (m == 0)
        return;
    const int sh = __builtin_clzll(static_cast<uint64_t>(m)) - 3;
    c->r11 <<= sh;
    c->r22 <<= sh;
    for (int i = 0; i < 2; ++i) {
        c->r01[i] = static_cast<int64_t>(static_cast<uint64_t>(c->r01[i]) << sh);
        c->r12[i] = static_cast<int64_t>(static_cast<uint64_t>(c->r12[i]) << sh);
        c->r02[i] = static_cast<int64_t>(static_cast<uint64_t>(c->r02[i]) << sh);
    }
}

// 1 - 1 / (1 + 1e-6) in Q64: d = phi22 phi11 - |phi12|^2 + |phi12|^2 * this.
constexpr uint64_t kRegularisation = 18446725626984u;

// The determinant d = phi(2,2) phi(1,1) - |phi(1,2)|^2 / (1 + 1e-6), >= 0
// (Cauchy-Schwarz: |phi(1,2)|^2 <= phi(1,1) phi(2,2) exactly).
Wide determinant(const Covariance &c)
{
    const Wide p = mul(c.r22, c.r11);
    const Wide q = add(mul(c.r12[0], c.r12[0]), mul(c.r12[1], c.r12[1]));  // < 2^123
    const Wide qe = add(mul_u64(q.hi, kRegularisation), {0, mul_u64(q.lo, kRegularisation).hi});
    return add(sub(p, q), qe);
}

// ---------------------------------------------------------------------------
// Chirp factors (ISO/IEC 14496-3 4.6.18.6.2), Q31.
constexpr int32_t kBw060 = 1288490189;  // 0.6
constexpr int32_t kBw075 = 1610612736;  // 0.75
constexpr int32_t kBw090 = 1932735283;  // 0.9
constexpr int32_t kBw098 = 2104533975;  // 0.98
constexpr int32_t kBwFloor = 1 << 25;   // 0.015625: below it, 0
constexpr int32_t kBwCap = 2139095040;  // 0.99609375

// newBw by bs_invf_mode (row) and the previous frame's bs_invf_mode (column).
constexpr int32_t kNewBw[4][4] = {{0, kBw060, 0, 0},
                                  {kBw060, kBw075, kBw075, kBw075},
                                  {kBw090, kBw090, kBw090, kBw090},
                                  {kBw098, kBw098, kBw098, kBw098}};

int32_t chirp_factor(int mode, int prevMode, int32_t prevBw)
{
    const int64_t nb = kNewBw[mode & 3][prevMode & 3];
    // 0.75 newBw + 0.25 bw' when falling, 0.90625 newBw + 0.09375 bw' otherwise.
    const int64_t temp = nb < prevBw ? (3 * nb + prevBw + 2) >> 2
                                     : (29 * nb + 3 * int64_t{prevBw} + 16) >> 5;
    if (temp < kBwFloor)
        return 0;
    return temp >= kBwCap ? kBwCap : static_cast<int32_t>(temp);
}

int noise_band_count(const FrequencyTables &t)
{
    return t.nNoise < kMaxNoiseBands ? t.nNoise : kMaxNoiseBands;
}

void update_chirp_factors(HfGenState *s, const FrequencyTables &t, const uint8_t invfMode[])
{
    const int n = noise_band_count(t);
    for (int i = 0; i < n; ++i) {
        s->bw[i] = chirp_factor(invfMode[i], s->invfMode[i], s->bw[i]);
        s->invfMode[i] = static_cast<uint8_t>(invfMode[i] & 3);
    }
}

// g(k): the noise band that holds subband k (the last one past the table).
int noise_band_of(const FrequencyTables &t, int k)
{
    const int n = noise_band_count(t);
    int g = 0;
    while (g + 1 < n && k >= t.noise[g + 1])
        ++g;
    return g;
}

// ---------------------------------------------------------------------------
// (a * b) >> 31, rounded: Q31 times Qn gives Qn.
constexpr int32_t mul_q31(int32_t a, int32_t b)
{
    return static_cast<int32_t>((int64_t{a} * b + (int64_t{1} << 30)) >> 31);
}

// alpha0 and alpha1 of one subband from its covariances.
HfPredictor predictor(Covariance c)
{
    HfPredictor a{};
    if (c.r11 == 0)  // then phi(1,2) = 0 and d = 0 too: alpha0 = alpha1 = 0
        return a;
    normalise(&c);
    // alpha1 = (phi01 phi12 - phi02 phi11) / d, 0 when d = 0.
    int32_t a1[2] = {0, 0};
    const Wide d = determinant(c);
    if (!is_zero(d)) {
        const Wide nr = sub(sub(mul(c.r01[0], c.r12[0]), mul(c.r01[1], c.r12[1])),
                            mul(c.r02[0], c.r11));
        const Wide ni = sub(add(mul(c.r01[0], c.r12[1]), mul(c.r01[1], c.r12[0])),
                            mul(c.r02[1], c.r11));
        const Divisor div(d);
        if (!div.divide(nr, &a1[0]) || !div.divide(ni, &a1[1]) || at_least_four(a1))
            return a;
    }
    // alpha0 = -(phi01 + alpha1 conj(phi12)) / phi11, all scaled by 2^29.
    const Wide nr = add(shl(wide(c.r01[0]), kHfAlphaQ),
                        add(mul(a1[0], c.r12[0]), mul(a1[1], c.r12[1])));
    const Wide ni = add(shl(wide(c.r01[1]), kHfAlphaQ),
                        sub(mul(a1[1], c.r12[0]), mul(a1[0], c.r12[1])));
    int32_t a0[2];
    const Divisor div(shl(wide(c.r11), kHfAlphaQ));
    if (!div.divide(negate(nr), &a0[0]) || !div.divide(negate(ni), &a0[1]) || at_least_four(a0))
        return a;
    a.a0[0] = a0[0];
    a.a0[1] = a0[1];
    a.a1[0] = a1[0];
    a.a1[1] = a1[1];
    return a;
}

}  // namespace

HfPredictor hf_predictor(const QmfRow *rows, int band)
{
    Covariance c[kLowBands];
    covariances(rows, band, band + 1, c);
    return predictor(c[band]);
}

void hf_generation_reset(HfGenState *s) { *s = HfGenState{}; }

void hf_generate(HfGenState *s, const FrequencyTables &t, const uint8_t invfMode[kMaxNoiseBands],
                 int rowBegin, int rowEnd, QmfRow *rows)
{
    update_chirp_factors(s, t, invfMode);
    const int r0 = rowBegin > kHfAdj ? rowBegin : kHfAdj;
    const int r1 = rowEnd < kRows ? rowEnd : kRows;
    if (r0 >= r1 || noise_band_count(t) == 0)
        return;
    const int lowEnd = t.kx < kLowBands ? t.kx : kLowBands;
    const int highEnd = t.kx + t.m < kBands ? t.kx + t.m : kBands;
    const int patches = t.numPatches < kMaxPatches ? t.numPatches : kMaxPatches;

    // The patches cut to the bands they may read and write.
    int first[kMaxPatches], count[kMaxPatches], target[kMaxPatches];
    uint32_t needed = 0;  // bit p: low subband p is a source
    for (int i = 0, k = t.kx; i < patches; k += t.patchBands[i], ++i) {
        first[i] = t.patchStart[i];
        target[i] = k;
        const int n = t.patchBands[i];
        const int room = std::min(lowEnd - first[i], highEnd - k);
        count[i] = n < room ? n : (room > 0 ? room : 0);
        for (int x = 0; x < count[i]; ++x)
            needed |= 1u << (first[i] + x);
    }
    if (needed == 0)
        return;
    const int lo = __builtin_ctz(needed), hi = 32 - __builtin_clz(needed);
    Covariance cov[kLowBands];
    covariances(rows, lo, hi, cov);
    HfPredictor pred[kLowBands];
    for (int p = lo; p < hi; ++p)
        if ((needed >> p & 1u) != 0)
            pred[p] = predictor(cov[p]);

    for (int i = 0; i < patches; ++i) {
        int32_t c0[kMaxHighBands][2], c1[kMaxHighBands][2];
        for (int x = 0; x < count[i]; ++x) {
            const HfPredictor &a = pred[first[i] + x];
            const int32_t bw = s->bw[noise_band_of(t, target[i] + x)];
            const int32_t bw2 = mul_q31(bw, bw);
            c0[x][0] = mul_q31(bw, a.a0[0]);
            c0[x][1] = mul_q31(bw, a.a0[1]);
            c1[x][0] = mul_q31(bw2, a.a1[0]);
            c1[x][1] = mul_q31(bw2, a.a1[1]);
        }
        sbr_predict_patch(rows[0][0], target[i], first[i], count[i], c0[0], c1[0], r0, r1);
    }
}

}  // namespace fxaac::sbr

namespace fxaac {

// sums[j * 32 + p] for low subbands p in [lo, hi), over rows n = 2..39 of
// the work matrix (rows of 64 complex samples): j = 0 |X(n-1)|^2,
// 1 and 2 X(n) conj X(n-1), 3 and 4 X(n) conj X(n-2), real and imaginary
// parts. Exact: |X| < 2^27 keeps every sum below 2^61.
void sbr_covariance_sums_c(const int32_t *rows, int32_t lo, int32_t hi, int64_t *sums)
{
    constexpr int kRow = 2 * sbr::kBands;
    for (int32_t p = lo; p < hi; ++p) {
        int64_t e = 0, c1r = 0, c1i = 0, c2r = 0, c2i = 0;
        for (int n = 2; n < sbr::kRows; ++n) {
            const int32_t *x0 = rows + n * kRow + 2 * p, *x1 = x0 - kRow, *x2 = x1 - kRow;
            const int64_t x0r = x0[0], x0i = x0[1], x1r = x1[0], x1i = x1[1];
            const int64_t x2r = x2[0], x2i = x2[1];
            e += x1r * x1r + x1i * x1i;
            c1r += x0r * x1r + x0i * x1i;
            c1i += x0i * x1r - x0r * x1i;
            c2r += x0r * x2r + x0i * x2i;
            c2i += x0i * x2r - x0r * x2i;
        }
        sums[p] = e;
        sums[sbr::kLowBands + p] = c1r;
        sums[2 * sbr::kLowBands + p] = c1i;
        sums[3 * sbr::kLowBands + p] = c2r;
        sums[4 * sbr::kLowBands + p] = c2i;
    }
}

// X_High of one patch: target subbands k .. k + n - 1 from sources
// p .. p + n - 1, rows r0 .. r1 - 1 (r0 >= 2), with c0 = bw alpha0,
// c1 = bw^2 alpha1 (Q29, [x][re, im]) per target subband:
// X(r) + round((c0 X(r-1) + c1 X(r-2)) / 2^29). |c| < 4 and |X| < 2^27 keep
// every sum below 2^61 and the result in int32.
void sbr_predict_patch_c(int32_t *rows, int32_t k, int32_t p, int32_t n, const int32_t *c0,
                         const int32_t *c1, int32_t r0, int32_t r1)
{
    constexpr int kRow = 2 * sbr::kBands;
    constexpr int64_t kHalf = int64_t{1} << (sbr::kHfAlphaQ - 1);
    for (int32_t r = r0; r < r1; ++r) {
        const int32_t *x0 = rows + r * kRow + 2 * p, *x1 = x0 - kRow, *x2 = x1 - kRow;
        int32_t *y = rows + r * kRow + 2 * k;
        for (int32_t x = 0; x < n; ++x) {
            const int64_t x1r = x1[2 * x], x1i = x1[2 * x + 1];
            const int64_t x2r = x2[2 * x], x2i = x2[2 * x + 1];
            const int64_t c0r = c0[2 * x], c0i = c0[2 * x + 1];
            const int64_t c1r = c1[2 * x], c1i = c1[2 * x + 1];
            const int64_t re = c0r * x1r - c0i * x1i + c1r * x2r - c1i * x2i;
            const int64_t im = c0r * x1i + c0i * x1r + c1r * x2i + c1i * x2r;
            y[2 * x] = x0[2 * x] + static_cast<int32_t>((re + kHalf) >> sbr::kHfAlphaQ);
            y[2 * x + 1] = x0[2 * x + 1] + static_cast<int32_t>((im + kHalf) >> sbr::kHfAlphaQ);
        }
    }
}

}  // namespace fxaac
