// The fixed-point HF adjuster against the double model of
// hf_adjustment_model.h over random streams: every grid shape, both amplitude
// resolutions, coupled and independent channels, interpolation on and off,
// each limiter setting, smoothing on and off, sinusoids that start and run on.
#include "sbr/hf_adjustment.h"
#include "sbr/hf_adjustment_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <iterator>
#include <vector>

namespace {

using namespace fxaac::sbr;
using hfadj_model::cplx;

constexpr double kScale = 1 << kQmfExponent;  // X = X_iso * 2^5

// Random valid tables: f_TableHigh of 1..3-subband bands, f_TableLow every
// other border, noise and limiter bands from subsets of their borders.
FrequencyTables random_tables(std::mt19937 &rng)
{
    FrequencyTables t{};
    t.kx = static_cast<uint8_t>(std::uniform_int_distribution<int>(8, 40)(rng));
    const int maxM = std::min(kMaxHighBands, kBands - t.kx);
    t.m = static_cast<uint8_t>(std::uniform_int_distribution<int>(std::min(8, maxM), maxM)(rng));
    const int end = t.kx + t.m;
    std::vector<int> high = {t.kx};
    while (high.back() < end) {
        high.push_back(std::min(end, high.back() + std::uniform_int_distribution<int>(1, 3)(rng)));
    }
    std::vector<int> low;
    for (size_t i = 0; i < high.size(); i += 2) {
        low.push_back(high[i]);
    }
    if (low.back() != end) {
        low.push_back(end);
    }
    auto subset = [&](const std::vector<int> &from, int maxBands) {
        std::vector<int> out = {from.front()};
        for (size_t i = 1; i + 1 < from.size(); i++) {
            if (static_cast<int>(out.size()) < maxBands && rng() % 3 == 0) {
                out.push_back(from[i]);
            }
        }
        out.push_back(from.back());
        return out;
    };
    const std::vector<int> noise = subset(low, kMaxNoiseBands);
    const std::vector<int> lim = subset(high, kMaxLimiterBands);
    auto put = [](const std::vector<int> &v, uint8_t *dst, uint8_t *n) {
        *n = static_cast<uint8_t>(v.size() - 1);
        for (size_t i = 0; i < v.size(); i++) {
            dst[i] = static_cast<uint8_t>(v[i]);
        }
    };
    put(high, t.high, &t.nHigh);
    put(low, t.low, &t.nLow);
    put(noise, t.noise, &t.nNoise);
    put(lim, t.limiter, &t.nLimiter);
    return t;
}

SbrGrid random_grid(std::mt19937 &rng)
{
    SbrGrid g{};
    g.numEnv = static_cast<uint8_t>(std::uniform_int_distribution<int>(1, 5)(rng));
    const int start = rng() % 3;
    const int stop = kTimeSlots + static_cast<int>(rng() % 4);
    std::vector<int> inner;
    for (int b = start + 1; b < stop; b++) {
        inner.push_back(b);
    }
    std::shuffle(inner.begin(), inner.end(), rng);
    inner.resize(g.numEnv - 1);
    std::sort(inner.begin(), inner.end());
    g.env[0] = static_cast<uint8_t>(start);
    for (int l = 1; l < g.numEnv; l++) {
        g.env[l] = static_cast<uint8_t>(inner[l - 1]);
    }
    g.env[g.numEnv] = static_cast<uint8_t>(stop);
    g.numNoise = g.numEnv > 1 && rng() % 2 ? 2 : 1;
    g.noise[0] = g.env[0];
    g.noise[g.numNoise] = g.env[g.numEnv];
    if (g.numNoise == 2) {
        g.noise[1] = g.env[1 + rng() % (g.numEnv - 1)];
    }
    g.pointer = static_cast<int8_t>(static_cast<int>(rng() % (g.numEnv + 2)) - 1);  // -1 .. L_E
    for (int l = 0; l < g.numEnv; l++) {
        g.freqRes[l] = rng() % 2;
    }
    return g;
}

struct Stats {
    double maxErr = 0;     // largest |Y - Y_model| in units of X where |Y| < 2^20
    double maxErrRel = 0;  // largest |Y - Y_model| / |Y| where |Y| >= 2^20
    double maxRelErr = 0;  // largest relative error of a band's energy over an envelope
};

struct Matrix {
    QmfRow row[kRows];
};

struct Stream {
    SbrHeader h{};
    FrequencyTables t{};
    bool coupled = false;
    bool matched = false;  // envelopes near the signal's energy (else anywhere)
    uint8_t harmonic[kMaxHighBands] = {};
};

// One frame's data for both channels, X_High for both, with the energies of
// X spread over 2^0 .. 2^26 (units of X) per band and envelope.
void random_frame(std::mt19937 &rng, Stream &st, SbrFrameData &f, std::vector<Matrix> &m)
{
    f = SbrFrameData{};
    f.channels = 2;
    f.coupling = st.coupled;
    const SbrGrid g = random_grid(rng);
    if (rng() % 4 == 0) {
        for (int j = 0; j < st.t.nHigh; j++) {
            st.harmonic[j] = rng() % 4 == 0;
        }
    }
    std::uniform_real_distribution<double> uni(0.0, 1.0);
    for (int ch = 0; ch < 2; ch++) {
        SbrChannelData &c = f.ch[ch];
        c.grid = ch == 1 && !st.coupled ? random_grid(rng) : g;
        c.ampRes = static_cast<uint8_t>(rng() % 2);
        if (ch == 1 && st.coupled) {
            c.ampRes = f.ch[0].ampRes;
        }
        c.addHarmonicFlag = rng() % 4 != 0;
        std::memcpy(c.addHarmonic, st.harmonic, sizeof(c.addHarmonic));
        QmfRow *rows = m[ch].row;
        std::memset(rows, 0, sizeof(m[ch].row));
        const double a = c.ampRes ? 1.0 : 2.0;
        for (int l = 0; l < c.grid.numEnv; l++) {
            const uint8_t *F = c.grid.freqRes[l] ? st.t.high : st.t.low;
            const int n = c.grid.freqRes[l] ? st.t.nHigh : st.t.nLow;
            for (int i = 0; i < n; i++) {
                const double u = uni(rng) < 0.03 ? -1
                                                 : uni(rng) * 26;  // log2 amplitude, -1: silent
                for (int r = kHfAdj + kRate * c.grid.env[l]; r < kHfAdj + kRate * c.grid.env[l + 1];
                     r++) {
                    for (int k = F[i]; k < F[i + 1]; k++) {
                        const double amp = u < 0 ? 0 : std::exp2(u) * (0.5 + uni(rng));
                        const double ph = uni(rng) * 6.283185307179586;
                        rows[r][k][0] = static_cast<int32_t>(std::lround(amp * std::cos(ph)));
                        rows[r][k][1] = static_cast<int32_t>(std::lround(amp * std::sin(ph)));
                    }
                }
                // log2 of the band's energy in the standard's scale, then E.
                const double e2 = (u < 0 ? 0 : 2 * u) - 2 * kQmfExponent;
                double level = st.matched ? e2 + (uni(rng) - 0.5) * 8 : uni(rng) * 50 - 6;
                level = std::max(level, 6.0);
                if (ch == 1 && st.coupled) {
                    // balance, doubled: 0 .. 2 * PAN_OFFSET
                    c.envelope[l][i] = static_cast<int16_t>(2 * (rng() % (c.ampRes ? 13 : 25)));
                } else {
                    c.envelope[l][i] = static_cast<int16_t>(std::lround((level - 6) * a));
                }
            }
        }
        for (int q = 0; q < c.grid.numNoise; q++) {
            for (int i = 0; i < st.t.nNoise; i++) {
                c.noiseFloor[q][i] = static_cast<int16_t>(ch == 1 && st.coupled ? 2 * (rng() % 13)
                                                                                : rng() % 31);
            }
        }
    }
}

// Runs frames of one stream through both and accumulates the differences.
void run_stream(std::mt19937 &rng, Stream &st, int frames, Stats *stats)
{
    HfAdjustState s[2];
    hfadj_model::State ms[2];
    HfAdjustWork w;
    hf_adjust_reset(&s[0]);
    hf_adjust_reset(&s[1]);
    for (int fr = 0; fr < frames; fr++) {
        if (fr == frames / 2 && rng() % 2 == 0) {  // an SBR reset: new tables
            st.t = random_tables(rng);
            std::memset(st.harmonic, 0, sizeof(st.harmonic));
            for (int ch = 0; ch < 2; ch++) {
                hf_adjust_restart(&s[ch]);
                ms[ch].primed = false;
                std::fill(std::begin(ms[ch].sPrev), std::end(ms[ch].sPrev), false);
            }
        }
        SbrFrameData f;
        std::vector<Matrix> mats(2);
        random_frame(rng, st, f, mats);
        for (int ch = 0; ch < 2; ch++) {
            QmfRow *rows = mats[ch].row;
            std::vector<std::vector<cplx>> x(kRows, std::vector<cplx>(kBands));
            for (int r = 0; r < kRows; r++) {
                for (int k = 0; k < kBands; k++) {
                    x[r][k] = cplx(rows[r][k][0], rows[r][k][1]) / kScale;
                }
            }
            std::memset(&w, 0x5a, sizeof(w));
            ASSERT_EQ(hf_adjust(&s[ch], st.h, st.t, f, ch, rows, &w), kHfAdjustOk);
            hfadj_model::adjust(ms[ch], st.h, st.t, f, ch, x);
            const SbrGrid &g = f.ch[ch].grid;
            for (int l = 0; l < g.numEnv; l++) {
                for (int k = st.t.kx; k < st.t.kx + st.t.m; k++) {
                    double eFix = 0;
                    double eRef = 0;
                    for (int r = kHfAdj + kRate * g.env[l]; r < kHfAdj + kRate * g.env[l + 1];
                         r++) {
                        const cplx ref = x[r][k] * kScale;
                        const double re = std::clamp(ref.real(), -0x1p31, 0x1p31 - 1);
                        const double im = std::clamp(ref.imag(), -0x1p31, 0x1p31 - 1);
                        const double err = std::max(std::fabs(rows[r][k][0] - re),
                                                    std::fabs(rows[r][k][1] - im));
                        const double mag = std::max(std::fabs(re), std::fabs(im));
                        if (mag < 0x1p20) {
                            stats->maxErr = std::max(stats->maxErr, err);
                        } else {
                            stats->maxErrRel = std::max(stats->maxErrRel, err / mag);
                        }
                        eFix += std::norm(cplx(rows[r][k][0], rows[r][k][1]));
                        eRef += re * re + im * im;
                    }
                    const int cells = kRate * (g.env[l + 1] - g.env[l]);
                    if (eRef > cells * 0x1p40) {  // rounding of the cells below 2^-19
                        stats->maxRelErr = std::max(stats->maxRelErr, std::fabs(eFix / eRef - 1));
                    }
                }
            }
        }
    }
}

TEST(HfAdjustment, MatchesTheDoubleModelOverRandomStreams)
{
    std::mt19937 rng(14);
    Stats stats;
    for (int n = 0; n < 96; n++) {
        Stream st;
        st.t = random_tables(rng);
        st.h.limiterGains = static_cast<uint8_t>(n % 4);
        st.h.interpolFreq = static_cast<uint8_t>((n / 4) % 2);
        st.h.smoothingMode = static_cast<uint8_t>((n / 8) % 2);
        st.coupled = (n / 16) % 2 != 0;
        st.matched = (n / 32) % 2 != 0;
        run_stream(rng, st, 8, &stats);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_LE(stats.maxErr, 2.0);
    EXPECT_LE(stats.maxErrRel, 2e-6);
    EXPECT_LE(stats.maxRelErr, 1e-5);
}

// Broken tables or grids are refused before anything is touched.
TEST(HfAdjustment, RefusesInconsistentInputAndChangesNothing)
{
    std::mt19937 rng(3);
    Stream st;
    st.t = random_tables(rng);
    SbrFrameData f;
    std::vector<Matrix> mats(2);
    random_frame(rng, st, f, mats);
    HfAdjustState s;
    hf_adjust_reset(&s);
    s.indexNoise = 77;
    HfAdjustWork w;
    const std::vector<Matrix> before = mats;
    const HfAdjustState sBefore = s;
    auto refused = [&](const FrequencyTables &t, const SbrFrameData &fd, int ch) {
        const int32_t rc = hf_adjust(&s, st.h, t, fd, ch, mats[0].row, &w);
        return rc < 0 && std::memcmp(mats[0].row, before[0].row, sizeof(mats[0].row)) == 0 &&
               std::memcmp(&s, &sBefore, sizeof(s)) == 0;
    };
    FrequencyTables t = st.t;
    t.m = static_cast<uint8_t>(kBands - t.kx + 1);  // past subband 63
    EXPECT_TRUE(refused(t, f, 0));
    t = st.t;
    t.high[1] = t.high[0];  // empty band
    EXPECT_TRUE(refused(t, f, 0));
    t = st.t;
    t.limiter[t.nLimiter] = static_cast<uint8_t>(t.kx + t.m - 1);  // does not end at kx + M
    EXPECT_TRUE(refused(t, f, 0));
    t = st.t;
    t.nNoise = kMaxNoiseBands + 1;
    EXPECT_TRUE(refused(t, f, 0));
    SbrFrameData g = f;
    g.ch[0].grid.env[1] = g.ch[0].grid.env[0];  // envelope of no slot
    EXPECT_TRUE(refused(st.t, g, 0));
    g = f;
    g.ch[0].grid.env[g.ch[0].grid.numEnv] = kMaxBorder + 1;  // past the work matrix
    EXPECT_TRUE(refused(st.t, g, 0));
    g = f;
    g.ch[0].grid.numEnv = kMaxEnvelopes + 1;
    EXPECT_TRUE(refused(st.t, g, 0));
    g = f;
    g.channels = 1;
    EXPECT_TRUE(refused(st.t, g, 1));
}

// Random bytes for every value of the frame (tables and grids kept or made
// valid at random), full-scale int32 cells: hf_adjust refuses or adjusts, and
// touches nothing outside its rows and subbands (run under the sanitizers too).
TEST(HfAdjustment, HostileValuesStayInsideTheirCells)
{
    std::mt19937 rng(5);
    HfAdjustState s;
    hf_adjust_reset(&s);
    HfAdjustWork w;
    SbrHeader h{};
    std::vector<Matrix> mats(2);
    int adjusted = 0;
    for (int n = 0; n < 3000; n++) {
        Stream st;
        st.t = random_tables(rng);
        SbrFrameData f;
        random_frame(rng, st, f, mats);
        auto *bytes = reinterpret_cast<uint8_t *>(&f);
        for (size_t i = 0; i < sizeof(f); i++) {
            if (rng() % 2) {
                bytes[i] = static_cast<uint8_t>(rng());
            }
        }
        if (n % 2 == 0) {  // keep the grid valid so that the data reach the arithmetic
            SbrGrid g = random_grid(rng);
            f.ch[0].grid = f.ch[1].grid = g;
            f.channels = 2;
        }
        h.limiterGains = static_cast<uint8_t>(rng());
        h.interpolFreq = static_cast<uint8_t>(rng());
        h.smoothingMode = static_cast<uint8_t>(rng());
        for (int r = 0; r < kRows; r++) {
            for (int k = 0; k < kBands; k++) {
                mats[0].row[r][k][0] = static_cast<int32_t>(rng());
                mats[0].row[r][k][1] = rng() % 2 ? INT32_MIN : INT32_MAX;
            }
        }
        const Matrix before = mats[0];
        const int ch = static_cast<int>(rng() % 2);
        if (hf_adjust(&s, h, st.t, f, ch, mats[0].row, &w) != kHfAdjustOk) {
            continue;
        }
        adjusted++;
        const SbrGrid &g = f.channels == 2 && f.coupling ? f.ch[0].grid : f.ch[ch].grid;
        for (int r = 0; r < kRows; r++) {
            for (int k = 0; k < kBands; k++) {
                const bool inside = r >= kHfAdj + kRate * g.env[0] &&
                                    r < kHfAdj + kRate * g.env[g.numEnv] && k >= st.t.kx &&
                                    k < st.t.kx + st.t.m;
                if (!inside) {
                    ASSERT_EQ(std::memcmp(mats[0].row[r][k], before.row[r][k], 8), 0)
                        << r << " " << k;
                }
            }
        }
        ASSERT_LT(s.indexNoise, kNoiseTableSize);
        ASSERT_LE(s.smoothSlots, kSmoothLength);
    }
    EXPECT_GT(adjusted, 1000);
}

}  // namespace
