// The frequency band tables of ISO/IEC 14496-3 4.6.18.3.2 and the patches of
// 4.6.18.6.3, in integer arithmetic.
#include "sbr/frequency_tables.h"

#include "sbr/sbr_tables.h"

namespace fxaac::sbr {
namespace {

// ---- Exact roundings --------------------------------------------------------
// A rounding NINT(x) = m of the standard means m - 1/2 <= x < m + 1/2. Every x
// rounded here is a power or a logarithm of a ratio of small integers, so
// x >= m + 1/2 becomes a comparison of two products of integer powers,
// evaluated exactly in a BigUint. No such x is ever exactly m + 1/2 (either
// side of each comparison below would have to be both odd and even), so the
// exact roundings are those of any precise enough arithmetic.
//
// Rounding edges: over every k0 4..32, k2 up to 64 and kx < k2 the closest
// any of these x comes to a half (computed to 40 digits) is 1.1e-5, for
// numBands1 = 2 NINT(8 log2(22/10) / 2.6) (x = 3.5000108); then 4.3e-5 for
// N_Q = NINT(2 log2(37/22)) (1.5000435), 5.3e-5 for the master border
// NINT(22 (60/22)^(7/12)) (39.5000531), 1.3e-4 for numBands0 =
// 2 NINT(6 log2(37/22)) (4.5001305) and 2.2e-4 for the limiter band [9, 16)
// at 3 bands per octave (0.49 + 2.2e-4). Double precision, good to about
// 1e-14 here, rounds all of them the same way.

constexpr int kBigWords = 26;  // 832 bits; the largest product stays below 2^750

struct BigUint {
    uint32_t w[kBigWords];  // least significant word first
    int n;                  // words in use; the top one is nonzero
    bool overflow;          // a product did not fit (never for the bounds below)
};

void big_set(BigUint *x, uint32_t v)
{
    x->w[0] = v;
    x->n = 1;
    x->overflow = false;
}

// x *= f, f >= 1.
void big_mul(BigUint *x, uint32_t f)
{
    uint64_t carry = 0;
    for (int i = 0; i < x->n; ++i) {
        const uint64_t p = uint64_t{x->w[i]} * f + carry;
        x->w[i] = static_cast<uint32_t>(p);
        carry = p >> 32;
    }
    if (carry == 0)
        return;
    if (x->n == kBigWords) {
        x->overflow = true;
        return;
    }
    x->w[x->n++] = static_cast<uint32_t>(carry);
}

// x *= base^exp, 1 <= base <= 255 (so that base^4 fits in 32 bits).
void big_mul_pow(BigUint *x, uint32_t base, int exp)
{
    const uint32_t base4 = base * base * base * base;
    for (; exp >= 4; exp -= 4)
        big_mul(x, base4);
    for (; exp > 0; --exp)
        big_mul(x, base);
}

// x *= 2^bits.
void big_shift(BigUint *x, int bits)
{
    for (; bits > 0; bits -= 31)
        big_mul(x, 1u << (bits < 31 ? bits : 31));
}

bool big_less(const BigUint &a, const BigUint &b)
{
    if (a.n != b.n)
        return a.n < b.n;
    for (int i = a.n - 1; i >= 0; --i) {
        if (a.w[i] != b.w[i])
            return a.w[i] < b.w[i];
    }
    return false;
}

// NINT(a * (b / a)^(p / n)) for 1 <= a <= b <= 64 and 0 <= p <= n <= 64,
// searched upwards from a lower bound `from` >= a (a, or the value for
// p - 1): the least m with 2^n a^(n-p) b^p < (2m + 1)^n. The products stay
// below 129^64 < 2^449.
int nint_power(int a, int b, int p, int n, int from, bool *overflow)
{
    BigUint value;  // (2 * a * (b / a)^(p / n))^n
    big_set(&value, 1);
    big_mul_pow(&value, static_cast<uint32_t>(a), n - p);
    big_mul_pow(&value, static_cast<uint32_t>(b), p);
    big_shift(&value, n);
    int m = from;
    for (; m < b; ++m) {
        BigUint half;  // (2m + 1)^n
        big_set(&half, 1);
        big_mul_pow(&half, static_cast<uint32_t>(2 * m + 1), n);
        *overflow |= half.overflow;
        if (big_less(value, half))
            break;
    }
    *overflow |= value.overflow;
    return m;
}

// NINT((num / den) * log2(b / a)) for 1 <= a <= b <= 64, 2 * num <= 120 and
// den <= 13: the count of m >= 0 with b^(2 num) >= 2^(den (2m + 1)) a^(2 num).
// b^120 < 2^721, and the right side stops at most 2^(2 den) above it.
int nint_log2(int a, int b, int num, int den, bool *overflow)
{
    BigUint left, right;
    big_set(&left, 1);
    big_mul_pow(&left, static_cast<uint32_t>(b), 2 * num);
    big_set(&right, 1);
    big_mul_pow(&right, static_cast<uint32_t>(a), 2 * num);
    big_shift(&right, den);
    int m = 0;
    for (; m < kMaxMasterBands && !big_less(left, right); ++m)
        big_shift(&right, 2 * den);
    *overflow |= left.overflow || right.overflow;
    return m;
}

// NINT(num / den) for num >= 0, den > 0 (halves round up).
int32_t nint_ratio(int32_t num, int32_t den) { return (2 * num + den) / (2 * den); }

void sort_ascending(int *v, int count)
{
    for (int i = 1; i < count; ++i) {
        const int x = v[i];
        int j = i;
        for (; j > 0 && v[j - 1] > x; --j)
            v[j] = v[j - 1];
        v[j] = x;
    }
}

// ---- Rate classes -----------------------------------------------------------

// Row of kStartOffset: 16000, 22050, 24000, 32000, 44100 to 64000, above.
int start_offset_row(int32_t fs)
{
    if (fs < 22050)
        return 0;
    if (fs < 24000)
        return 1;
    if (fs < 32000)
        return 2;
    if (fs < 44100)
        return 3;
    return fs <= 64000 ? 4 : 5;
}

// startMin and stopMin: NINT(f * 128 / fs) for the rate class's frequency f
// in Hz (3000 and 6000 below 32 kHz, 4000 and 8000 below 64 kHz, else 5000
// and 10000).
int32_t start_min(int32_t fs)
{
    return nint_ratio(fs < 32000 ? 3000 * 128 : fs < 64000 ? 4000 * 128 : 5000 * 128, fs);
}

int32_t stop_min(int32_t fs)
{
    return nint_ratio(fs < 32000 ? 6000 * 128 : fs < 64000 ? 8000 * 128 : 10000 * 128, fs);
}

// The largest k2 - k0: 48 up to 32 kHz, 35 at 44.1 kHz, 32 from 48 kHz.
int max_sbr_range(int32_t fs)
{
    if (fs <= 32000)
        return 48;
    return fs < 48000 ? 35 : 32;
}

// ---- Master table -----------------------------------------------------------

// k2 for bs_stop_freq 0..13: stopMin plus the bs_stop_freq smallest of the
// steps stopDk(p) = NINT(stopMin (64/stopMin)^((p+1)/13)) -
// NINT(stopMin (64/stopMin)^(p/13)), p = 0..12.
int stop_subband(int stopFreq, int32_t fs, bool *overflow)
{
    constexpr int kSteps = 13;
    const int lo = stop_min(fs);
    int edge[kSteps + 1];
    int step[kSteps];
    edge[0] = lo;
    for (int p = 1; p <= kSteps; ++p)
        edge[p] = nint_power(lo, 64, p, kSteps, edge[p - 1], overflow);
    for (int p = 0; p < kSteps; ++p)
        step[p] = edge[p + 1] - edge[p];
    sort_ascending(step, kSteps);
    int k2 = lo;
    for (int p = 0; p < stopFreq; ++p)
        k2 += step[p];
    return k2 < 64 ? k2 : 64;
}

// bs_freq_scale 0: bands of 1 (bs_alter_scale 0) or 2 subbands, an even
// count, the difference to k2 taken from the first bands or given to the last.
int32_t linear_master(int k0, int k2, int alterScale, FrequencyTables *t)
{
    const int dk = alterScale ? 2 : 1;
    const int numBands = alterScale ? 2 * nint_ratio(k2 - k0, 4) : 2 * ((k2 - k0) / 2);
    int diff = k2 - (k0 + numBands * dk);
    if (numBands < 1 || numBands > kMaxMasterBands || diff > numBands || -diff > numBands)
        return kErrMasterTable;
    int width[kMaxMasterBands];
    for (int k = 0; k < numBands; ++k)
        width[k] = dk;
    for (int k = 0; diff < 0; ++k, ++diff)
        --width[k];
    for (int k = numBands - 1; diff > 0; --k, --diff)
        ++width[k];
    t->nMaster = static_cast<uint8_t>(numBands);
    t->master[0] = static_cast<uint8_t>(k0);
    for (int k = 0; k < numBands; ++k) {
        if (width[k] <= 0)
            return kErrMasterTable;
        t->master[k + 1] = static_cast<uint8_t>(t->master[k] + width[k]);
    }
    return 0;
}

// The numBands band widths from `from` to `to` on a logarithmic scale,
// NINT(from (to/from)^(k/numBands)) apart, sorted ascending.
void log_widths(int from, int to, int numBands, int *width, bool *overflow)
{
    int previous = from;
    for (int k = 1; k <= numBands; ++k) {
        const int edge = nint_power(from, to, k, numBands, previous, overflow);
        width[k - 1] = edge - previous;
        previous = edge;
    }
    sort_ascending(width, numBands);
}

// bs_freq_scale 1..3: 12, 10 or 8 bands per octave; above 2 k0 (when
// k2 / k0 > 2.2449) a second region whose band count bs_alter_scale divides
// by the warp 1.3, its bands made no narrower than the widest of the first.
int32_t log_master(int k0, int k2, int freqScale, int alterScale, FrequencyTables *t)
{
    constexpr int kMaxRegionBands = 40;  // 12 bands per octave over at most 3.3 octaves
    const int bands = 14 - 2 * freqScale;
    const bool twoRegions = k2 * 10000 > 22449 * k0;
    const int k1 = twoRegions ? 2 * k0 : k2;
    bool overflow = false;
    // numBands0 = 2 NINT(bands log2(k1/k0) / 2)
    const int numBands0 = 2 * nint_log2(k0, k1, bands / 2, 1, &overflow);
    if (numBands0 < 1 || numBands0 > kMaxRegionBands)
        return kErrMasterTable;
    int width0[kMaxRegionBands];
    log_widths(k0, k1, numBands0, width0, &overflow);
    int width1[kMaxRegionBands];
    int numBands1 = 0;
    if (twoRegions) {
        // numBands1 = 2 NINT(bands log2(k2/k1) / (2 warp)), warp 1.3 = 13/10
        numBands1 = 2 * (alterScale ? nint_log2(k1, k2, 5 * bands, 13, &overflow)
                                    : nint_log2(k1, k2, bands / 2, 1, &overflow));
        if (numBands1 < 1 || numBands1 > kMaxRegionBands)
            return kErrMasterTable;
        log_widths(k1, k2, numBands1, width1, &overflow);
        const int widest0 = width0[numBands0 - 1];
        if (width1[0] < widest0) {
            const int change = widest0 - width1[0];
            width1[0] += change;
            width1[numBands1 - 1] -= change;
            sort_ascending(width1, numBands1);
        }
    }
    if (overflow || numBands0 + numBands1 > kMaxMasterBands)
        return kErrMasterTable;
    t->nMaster = static_cast<uint8_t>(numBands0 + numBands1);
    t->master[0] = static_cast<uint8_t>(k0);
    for (int k = 0; k < numBands0 + numBands1; ++k) {
        const int width = k < numBands0 ? width0[k] : width1[k - numBands0];
        if (width <= 0)
            return kErrMasterTable;
        t->master[k + 1] = static_cast<uint8_t>(t->master[k] + width);
    }
    return 0;
}

// ---- Derived tables ---------------------------------------------------------

// f_TableHigh from bs_xover_band, f_TableLow, kx and M.
int32_t high_and_low(int xoverBand, FrequencyTables *t)
{
    if (xoverBand >= t->nMaster)
        return kErrCrossover;
    const int nHigh = t->nMaster - xoverBand;
    const int kx = t->master[xoverBand];
    const int m = t->k2 - kx;
    if (nHigh > kMaxHighBands || m > kMaxHighBands || kx + m > kBands)
        return kErrCrossover;
    t->nHigh = static_cast<uint8_t>(nHigh);
    t->kx = static_cast<uint8_t>(kx);
    t->m = static_cast<uint8_t>(m);
    for (int k = 0; k <= nHigh; ++k)
        t->high[k] = t->master[k + xoverBand];
    // f_TableLow(k) = f_TableHigh(2k - (N_high odd)), k >= 1
    const int nLow = (nHigh + 1) / 2;
    t->nLow = static_cast<uint8_t>(nLow);
    t->low[0] = t->high[0];
    for (int k = 1; k <= nLow; ++k)
        t->low[k] = t->high[2 * k - (nHigh & 1)];
    return 0;
}

// N_Q = max(1, NINT(bs_noise_bands log2(k2 / kx))) bands, their borders
// f_TableLow(i_k), i_k = i_(k-1) + INT((N_low - i_(k-1)) / (N_Q + 1 - k)).
int32_t noise_bands(int noiseBands, FrequencyTables *t)
{
    bool overflow = false;
    int nNoise = noiseBands ? nint_log2(t->kx, t->k2, noiseBands, 1, &overflow) : 1;
    if (nNoise < 1)
        nNoise = 1;
    if (overflow || nNoise > kMaxNoiseBands)
        return kErrNoiseBands;
    t->nNoise = static_cast<uint8_t>(nNoise);
    int i = 0;
    t->noise[0] = t->low[0];
    for (int k = 1; k <= nNoise; ++k) {
        i += (t->nLow - i) / (nNoise + 1 - k);
        t->noise[k] = t->low[i];
    }
    return 0;
}

// The HF generator's patches (ISO/IEC 14496-3 4.6.18.6.3): copies of the
// subbands below k0 that fill kx .. kx + M, the first ones reaching up to
// goalSb = NINT(2.048e6 / fs), each starting on a subband of the master
// table and keeping the parity of its source. A last patch narrower than 3
// subbands is dropped when there are others.
int32_t patches(int32_t fs, FrequencyTables *t)
{
    constexpr int kMaxRounds = 4 * kMaxPatches;  // rounds without a patch only reset msb
    const int k0 = t->k0, kx = t->kx, top = t->kx + t->m;
    const int goalSb = nint_ratio(2048000, fs);
    int k = t->nMaster;
    if (goalSb < top) {
        k = 0;
        while (t->master[k] < goalSb)
            ++k;
    }
    int msb = k0, usb = kx, count = 0, sb = 0;
    for (int round = 0; sb != top; ++round) {
        if (round == kMaxRounds)
            return kErrPatches;
        int j = k + 1, odd = 0;
        do {
            if (--j < 0)
                return kErrPatches;
            sb = t->master[j];
            odd = (sb - 2 + k0) & 1;
        } while (sb > k0 - 1 + msb - odd);
        const int width = sb > usb ? sb - usb : 0;
        if (width > 0) {
            if (count == kMaxPatches)
                return kErrPatches;
            t->patchBands[count] = static_cast<uint8_t>(width);
            t->patchStart[count] = static_cast<uint8_t>(k0 - odd - width);
            usb = msb = sb;
            ++count;
        } else {
            msb = kx;
        }
        if (t->master[k] - sb < 3)
            k = t->nMaster;
    }
    if (count > 1 && t->patchBands[count - 1] < 3)
        --count;
    if (count < 1 || count > kMaxPatches - 1)
        return kErrPatches;
    t->numPatches = static_cast<uint8_t>(count);
    return 0;
}

bool is_patch_border(int v, const int *border, int count)
{
    for (int i = 0; i <= count; ++i) {
        if (border[i] == v)
            return true;
    }
    return false;
}

// Removes entry i of the count + 1 borders v[0..count].
void remove_border(uint8_t *v, int i, int count)
{
    for (; i < count; ++i)
        v[i] = v[i + 1];
}

// The limiter bands (ISO/IEC 14496-3 4.6.18.3.2.3): f_TableLow and the inner
// patch borders, sorted; then every band narrower than 0.49 / L octaves is
// merged with a neighbour, keeping patch borders where one of the two is.
void limiter_bands(int limiterBands, FrequencyTables *t)
{
    uint8_t *lim = t->limiter;
    if (limiterBands == 0) {
        lim[0] = t->low[0];
        lim[1] = t->low[t->nLow];
        t->nLimiter = 1;
        return;
    }
    int border[kMaxPatches + 1];
    border[0] = t->kx;
    for (int i = 0; i < t->numPatches; ++i)
        border[i + 1] = border[i] + t->patchBands[i];
    int entries = 0;
    for (int k = 0; k <= t->nLow; ++k)
        lim[entries++] = t->low[k];
    for (int i = 1; i < t->numPatches; ++i) {
        int j = entries++;  // insertion keeps lim sorted
        for (; j > 0 && lim[j - 1] > border[i]; --j)
            lim[j] = lim[j - 1];
        lim[j] = static_cast<uint8_t>(border[i]);
    }
    int count = entries - 1;
    for (int k = 1; k <= count;) {
        if (!limiter_band_too_narrow(lim[k - 1], lim[k], limiterBands)) {
            ++k;
        } else if (lim[k] == lim[k - 1] || !is_patch_border(lim[k], border, t->numPatches)) {
            remove_border(lim, k, count--);
        } else if (!is_patch_border(lim[k - 1], border, t->numPatches)) {
            remove_border(lim, k - 1, count--);
        } else {
            ++k;
        }
    }
    t->nLimiter = static_cast<uint8_t>(count);
}

}  // namespace

// floor(2^32 * 2^(0.49 / L)) for L = 1.2, 2 and 3 limiter bands per octave
// (bs_limiter_bands 1..3). Since 2^(0.49 / L) is irrational, [lo, hi) spans
// fewer than 0.49 / L octaves exactly when hi * 2^32 <= T * lo, unless
// hi * 2^32 lies strictly between T * lo and (T + 1) * lo, which no lo, hi
// up to 64 does (the test checks every pair against the double formula).
constexpr int64_t kLimiterRatioQ32[3] = {5700073330, 5089934693, 4809811915};

bool limiter_band_too_narrow(int lo, int hi, int limiterBands)
{
    return (int64_t{hi} << 32) <= kLimiterRatioQ32[limiterBands - 1] * lo;
}

int32_t build_master_table(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t)
{
    if (sbrRate < kMinSbrRate || sbrRate > kMaxSbrRate)
        return kErrSbrRate;
    if (h.startFreq > 15 || h.stopFreq > 15 || h.freqScale > 3 || h.alterScale > 1)
        return kErrHeaderField;
    const int k0 = start_min(sbrRate) + kStartOffset[start_offset_row(sbrRate)][h.startFreq];
    bool overflow = false;
    int k2 = h.stopFreq < 14 ? stop_subband(h.stopFreq, sbrRate, &overflow)
                             : (h.stopFreq - 12) * k0;
    if (k2 > 64)
        k2 = 64;
    if (overflow || k0 < 1 || k2 <= k0 || k2 - k0 > max_sbr_range(sbrRate))
        return kErrBandLimits;
    t->k0 = static_cast<uint8_t>(k0);
    t->k2 = static_cast<uint8_t>(k2);
    if (h.freqScale == 0)
        return linear_master(k0, k2, h.alterScale, t);
    return log_master(k0, k2, h.freqScale, h.alterScale, t);
}

int32_t build_derived_tables(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t)
{
    if (h.xoverBand > 7 || h.noiseBands > 3 || h.limiterBands > 3)
        return kErrHeaderField;
    int32_t error = high_and_low(h.xoverBand, t);
    if (error == 0)
        error = noise_bands(h.noiseBands, t);
    if (error == 0)
        error = patches(sbrRate, t);
    if (error == 0)
        limiter_bands(h.limiterBands, t);
    return error;
}

int32_t build_frequency_tables(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t)
{
    const int32_t error = build_master_table(h, sbrRate, t);
    return error != 0 ? error : build_derived_tables(h, sbrRate, t);
}

}  // namespace fxaac::sbr
