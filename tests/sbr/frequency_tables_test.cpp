// The integer frequency band tables against a double precision model of the
// formulas of ISO/IEC 14496-3 4.6.18.3.2 and 4.6.18.6.3, for every header at
// every SBR rate of the standard's rate classes.
#include "sbr/frequency_tables.h"
#include "sbr/sbr_tables_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using namespace fxaac::sbr;

// ---- Reference model: the standard's formulas in double precision ----------

int nint(double x) { return static_cast<int>(std::floor(x + 0.5)); }

struct Reference {
    int k0 = 0, k2 = 0, kx = 0, m = 0;
    std::vector<int> master, high, low, noise, limiter, patchBands, patchStart;
};

int ref_start_row(int fs)
{
    switch (fs) {
    case 16000: return 0;
    case 22050: return 1;
    case 24000: return 2;
    case 32000: return 3;
    case 44100:
    case 48000:
    case 64000: return 4;
    default: return 5;  // 88200, 96000
    }
}

std::vector<int> ref_log_widths(int from, int to, int numBands)
{
    std::vector<int> widths;
    const double ratio = static_cast<double>(to) / from;
    for (int k = 0; k < numBands; ++k)
        widths.push_back(nint(from * std::pow(ratio, (k + 1.0) / numBands)) -
                         nint(from * std::pow(ratio, static_cast<double>(k) / numBands)));
    std::sort(widths.begin(), widths.end());
    return widths;
}

int32_t ref_master(int fs, int start, int stop, int scale, int alter, Reference *r)
{
    const auto &offsets = fxaac_test::sbr_ps_tables().startOffset;
    const int startMin = nint((fs < 32000 ? 3000 : fs < 64000 ? 4000 : 5000) * 128.0 / fs);
    const int stopMin = nint((fs < 32000 ? 6000 : fs < 64000 ? 8000 : 10000) * 128.0 / fs);
    const int k0 = startMin + offsets[ref_start_row(fs)][start];
    int k2;
    if (stop < 14) {
        std::vector<int> stopDk = ref_log_widths(stopMin, 64, 13);
        k2 = stopMin;
        for (int i = 0; i < stop; ++i)
            k2 += stopDk[i];
        k2 = std::min(64, k2);
    } else {
        k2 = std::min(64, (stop == 14 ? 2 : 3) * k0);
    }
    const int maxRange = fs <= 32000 ? 48 : fs == 44100 ? 35 : 32;
    if (k2 <= k0 || k2 - k0 > maxRange)
        return kErrBandLimits;
    r->k0 = k0;
    r->k2 = k2;
    std::vector<int> widths;
    if (scale == 0) {
        const int dk = alter ? 2 : 1;
        const int numBands = alter ? 2 * nint((k2 - k0) / 4.0) : 2 * ((k2 - k0) / 2);
        if (numBands <= 0)
            return kErrMasterTable;
        widths.assign(numBands, dk);
        int k2Diff = k2 - (k0 + numBands * dk);
        const int incr = k2Diff < 0 ? 1 : -1;
        for (int k = k2Diff < 0 ? 0 : numBands - 1; k2Diff != 0; k += incr, k2Diff += incr)
            widths[k] -= incr;
    } else {
        const int bands = scale == 1 ? 12 : scale == 2 ? 10 : 8;
        const double warp = alter ? 1.3 : 1.0;
        const bool twoRegions = static_cast<double>(k2) / k0 > 2.2449;
        const int k1 = twoRegions ? 2 * k0 : k2;
        const int numBands0 = 2 * nint(bands * std::log(static_cast<double>(k1) / k0) /
                                       (2 * std::log(2.0)));
        if (numBands0 <= 0)
            return kErrMasterTable;
        widths = ref_log_widths(k0, k1, numBands0);
        if (twoRegions) {
            const int numBands1 = 2 * nint(bands * std::log(static_cast<double>(k2) / k1) /
                                           (2 * std::log(2.0) * warp));
            if (numBands1 <= 0)
                return kErrMasterTable;
            std::vector<int> widths1 = ref_log_widths(k1, k2, numBands1);
            if (widths1.front() < widths.back()) {
                const int change = widths.back() - widths1.front();
                widths1.front() += change;
                widths1.back() -= change;
            }
            std::sort(widths1.begin(), widths1.end());
            widths.insert(widths.end(), widths1.begin(), widths1.end());
        }
    }
    if (widths.size() > 64)
        return kErrMasterTable;
    r->master = {k0};
    for (int w : widths) {
        if (w <= 0)
            return kErrMasterTable;
        r->master.push_back(r->master.back() + w);
    }
    return 0;
}

// The high and low tables, kx and M.
int32_t ref_high_low(int xover, Reference *r)
{
    const int nMaster = static_cast<int>(r->master.size()) - 1;
    if (xover >= nMaster)
        return kErrCrossover;
    r->high.assign(r->master.begin() + xover, r->master.end());
    const int nHigh = nMaster - xover;
    r->kx = r->high[0];
    r->m = r->k2 - r->kx;
    if (r->m > 48 || r->kx + r->m > 64 || nHigh > 48)
        return kErrCrossover;
    const int nLow = nHigh / 2 + (nHigh - 2 * (nHigh / 2));
    const int i = nHigh % 2;
    r->low = {r->high[0]};
    for (int k = 1; k <= nLow; ++k)
        r->low.push_back(r->high[2 * k - i]);
    return 0;
}

int32_t ref_noise(int noiseBands, Reference *r)
{
    const int nQ = noiseBands == 0 ? 1
                                   : std::max(1, nint(noiseBands *
                                                      std::log(static_cast<double>(r->k2) / r->kx) /
                                                      std::log(2.0)));
    if (nQ > 5)
        return kErrNoiseBands;
    const int nLow = static_cast<int>(r->low.size()) - 1;
    r->noise = {r->low[0]};
    int i = 0;
    for (int k = 1; k <= nQ; ++k) {
        i += (nLow - i) / (nQ + 1 - k);
        r->noise.push_back(r->low[i]);
    }
    return 0;
}

int32_t ref_patches(int fs, Reference *r)
{
    const std::vector<int> &f = r->master;
    const int nMaster = static_cast<int>(f.size()) - 1;
    const int k0 = r->k0;
    int msb = k0, usb = r->kx;
    const int goalSb = nint(2.048e6 / fs);
    int k = nMaster;
    if (goalSb < r->kx + r->m) {
        k = 0;
        for (int i = 0; f[i] < goalSb; ++i)
            k = i + 1;
    }
    std::vector<int> bands, starts;
    int sb;
    int rounds = 0;
    do {
        if (++rounds > 1000)
            return kErrPatches;
        int j = k + 1;
        int odd;
        do {
            --j;
            sb = f[j];
            odd = (sb - 2 + k0) % 2;
        } while (sb > k0 - 1 + msb - odd);
        const int n = std::max(sb - usb, 0);
        if (n > 0) {
            bands.push_back(n);
            starts.push_back(k0 - odd - n);
            usb = sb;
            msb = sb;
        } else {
            msb = r->kx;
        }
        if (f[k] - sb < 3)
            k = nMaster;
    } while (sb != r->kx + r->m);
    if (bands.size() > 1 && bands.back() < 3) {
        bands.pop_back();
        starts.pop_back();
    }
    if (bands.empty() || bands.size() > 5)
        return kErrPatches;
    r->patchBands = bands;
    r->patchStart = starts;
    return 0;
}

bool ref_too_narrow(int lo, int hi, int limiterBands)
{
    const double perOctave = limiterBands == 1 ? 1.2 : limiterBands == 2 ? 2.0 : 3.0;
    const double nOctaves = std::log(static_cast<double>(hi) / lo) / std::log(2.0);
    return nOctaves * perOctave < 0.49;
}

void ref_limiter(int limiterBands, Reference *r)
{
    const std::vector<int> &low = r->low;
    if (limiterBands == 0) {
        r->limiter = {low.front(), low.back()};
        return;
    }
    std::vector<int> borders = {r->kx};
    for (int n : r->patchBands)
        borders.push_back(borders.back() + n);
    auto isBorder = [&](int v) {
        return std::find(borders.begin(), borders.end(), v) != borders.end();
    };
    std::vector<int> lim = low;
    lim.insert(lim.end(), borders.begin() + 1, borders.end() - 1);
    std::sort(lim.begin(), lim.end());
    for (size_t k = 1; k < lim.size();) {
        if (!ref_too_narrow(lim[k - 1], lim[k], limiterBands))
            ++k;
        else if (lim[k] == lim[k - 1] || !isBorder(lim[k]))
            lim.erase(lim.begin() + static_cast<long>(k));
        else if (!isBorder(lim[k - 1]))
            lim.erase(lim.begin() + static_cast<long>(k) - 1);
        else
            ++k;
    }
    r->limiter = lim;
}

// ---- Comparison --------------------------------------------------------------

std::vector<int> entries(const uint8_t *v, int count) { return std::vector<int>(v, v + count); }

bool rising(const uint8_t *v, int bands, int minWidth = 1)
{
    for (int i = 0; i < bands; ++i) {
        if (v[i + 1] - v[i] < minWidth)
            return false;
    }
    return true;
}

// What the later stages may rely on: the master, high, low and limiter bands
// at least one subband wide, the noise bands not negative (N_Q > N_low gives
// empty ones), every table starting at kx, all but the limiter table ending at
// kx + M (the limiter table can end lower after the last patch was dropped),
// the patches contiguous from kx, copying from subbands 1 .. k0 - 1.
bool usable(const FrequencyTables &t)
{
    int border = t.kx;
    for (int i = 0; i < t.numPatches; ++i) {
        if (t.patchStart[i] < 1 || t.patchStart[i] + t.patchBands[i] > t.k0)
            return false;
        border += t.patchBands[i];
    }
    const int top = t.kx + t.m;
    return rising(t.master, t.nMaster) && rising(t.high, t.nHigh) && rising(t.low, t.nLow) &&
           rising(t.noise, t.nNoise, 0) && rising(t.limiter, t.nLimiter) && t.high[0] == t.kx &&
           t.high[t.nHigh] == top && t.low[t.nLow] == top && t.noise[0] == t.kx &&
           t.noise[t.nNoise] == top && t.limiter[0] == t.kx && t.limiter[t.nLimiter] <= top &&
           border <= top && t.nLimiter <= kMaxLimiterBands;
}

bool same(const FrequencyTables &t, const Reference &r)
{
    return t.kx == r.kx && t.m == r.m && entries(t.high, t.nHigh + 1) == r.high &&
           entries(t.low, t.nLow + 1) == r.low && entries(t.noise, t.nNoise + 1) == r.noise &&
           entries(t.patchBands, t.numPatches) == r.patchBands &&
           entries(t.patchStart, t.numPatches) == r.patchStart &&
           entries(t.limiter, t.nLimiter + 1) == r.limiter;
}

struct Counts {
    long mismatches = 0, unusable = 0;
};

// Every bs_xover_band, bs_noise_bands and bs_limiter_bands on one master
// table; the model's stages run once per value they depend on.
void compare_derived(int fs, SbrHeader h, const FrequencyTables &master, const Reference &ref,
                     Counts *n)
{
    for (int xover = 0; xover < 8; ++xover) {
        Reference refX = ref;
        const int32_t xoverError = ref_high_low(xover, &refX);
        const int32_t patchError = xoverError == 0 ? ref_patches(fs, &refX) : 0;
        for (int noise = 0; noise < 4; ++noise) {
            Reference refN = refX;
            int32_t refError = xoverError;
            if (refError == 0)
                refError = ref_noise(noise, &refN);
            if (refError == 0)
                refError = patchError;
            for (int limiter = 0; limiter < 4; ++limiter) {
                Reference r = refN;
                if (refError == 0)
                    ref_limiter(limiter, &r);
                h.xoverBand = static_cast<uint8_t>(xover);
                h.noiseBands = static_cast<uint8_t>(noise);
                h.limiterBands = static_cast<uint8_t>(limiter);
                FrequencyTables t = master;
                const int32_t error = build_derived_tables(h, fs, &t);
                n->unusable += error == 0 && !usable(t);
                if ((error != refError || (error == 0 && !same(t, r))) && ++n->mismatches <= 10)
                    ADD_FAILURE() << "rate " << fs << " start " << int{h.startFreq} << " stop "
                                  << int{h.stopFreq} << " scale " << int{h.freqScale} << " alter "
                                  << int{h.alterScale} << " xover " << xover << " noise " << noise
                                  << " limiter " << limiter << ": error " << error << ", model "
                                  << refError;
            }
        }
    }
}

constexpr int kRates[] = {16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200, 96000};

// 9 rates x 16 x 16 x 4 x 2 master tables, and on each valid one 8 x 4 x 4
// derived sets: every table, count and error result is compared.
TEST(FrequencyTables, EveryHeaderAtEveryRateMatchesTheDoubleModel)
{
    ASSERT_EQ(fxaac_test::sbr_ps_tables().startOffset.size(), 6u)
        << "data/sbr_ps_tables.txt not read";
    Counts n;
    for (int fs : kRates)
        for (int start = 0; start < 16; ++start)
            for (int stop = 0; stop < 16; ++stop)
                for (int scale = 0; scale < 4; ++scale)
                    for (int alter = 0; alter < 2; ++alter) {
                        SbrHeader h{};
                        h.startFreq = static_cast<uint8_t>(start);
                        h.stopFreq = static_cast<uint8_t>(stop);
                        h.freqScale = static_cast<uint8_t>(scale);
                        h.alterScale = static_cast<uint8_t>(alter);
                        FrequencyTables master{};
                        Reference ref;
                        const int32_t error = build_master_table(h, fs, &master);
                        const int32_t refError = ref_master(fs, start, stop, scale, alter, &ref);
                        const bool match =
                            error == refError &&
                            (error != 0 ||
                             (master.k0 == ref.k0 && master.k2 == ref.k2 &&
                              entries(master.master, master.nMaster + 1) == ref.master));
                        if (!match && ++n.mismatches <= 10)
                            ADD_FAILURE() << "master table: rate " << fs << " start " << start
                                          << " stop " << stop << " scale " << scale << " alter "
                                          << alter << ": error " << error << ", model " << refError;
                        if (match && error == 0)
                            compare_derived(fs, h, master, ref, &n);
                    }
    EXPECT_EQ(n.mismatches, 0);
    EXPECT_EQ(n.unusable, 0) << "valid tables with an empty band or a patch out of place";
}

// The limiter's fixed-point ratio test against the formula for every band
// [lo, hi) the tables can hold.
TEST(FrequencyTables, LimiterBandWidthTestMatchesTheLogFormula)
{
    for (int limiterBands = 1; limiterBands <= 3; ++limiterBands)
        for (int lo = 1; lo <= 64; ++lo)
            for (int hi = lo; hi <= 64; ++hi)
                EXPECT_EQ(limiter_band_too_narrow(lo, hi, limiterBands),
                          ref_too_narrow(lo, hi, limiterBands))
                    << lo << " " << hi << " " << limiterBands;
}

TEST(FrequencyTables, RejectsRatesAndFieldsOutsideTheirRange)
{
    SbrHeader h{};
    h.startFreq = 5;
    h.stopFreq = 9;
    h.freqScale = 2;
    h.alterScale = 1;
    h.noiseBands = 2;
    h.limiterBands = 2;
    FrequencyTables t{};
    EXPECT_EQ(build_frequency_tables(h, 44100, &t), 0);
    EXPECT_EQ(build_frequency_tables(h, 15999, &t), kErrSbrRate);
    EXPECT_EQ(build_frequency_tables(h, 96001, &t), kErrSbrRate);
    h.freqScale = 4;
    EXPECT_EQ(build_frequency_tables(h, 44100, &t), kErrHeaderField);
    h.freqScale = 2;
    h.xoverBand = 8;
    EXPECT_EQ(build_frequency_tables(h, 44100, &t), kErrHeaderField);
}

}  // namespace
