// HF generation against a double model of ISO/IEC 14496-3 4.6.18.6 (chirp
// factors, covariance-method predictor, patched copy-up), on hand-built
// frequency tables and QMF-domain signals from full scale to -90 dB.
#include "sbr/hf_generation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>

namespace fxaac::sbr {
namespace {

using cd = std::complex<double>;
constexpr double kPi = 3.14159265358979323846;
constexpr double kFull = 134217727.0;  // 2^27 - 1: the largest |X| component

// ---------------------------------------------------------------------------
// The model, in double, straight from the formulas.
struct ModelState {
    double bw[kMaxNoiseBands] = {};
    int mode[kMaxNoiseBands] = {};
};

double model_new_bw(int mode, int prev)
{
    if (mode == 0)
        return prev == 1 ? 0.6 : 0.0;
    if (mode == 1)
        return prev == 0 ? 0.6 : 0.75;
    return mode == 2 ? 0.9 : 0.98;
}

void model_chirp(ModelState *m, int nNoise, const uint8_t invf[])
{
    for (int i = 0; i < nNoise; ++i) {
        const double nb = model_new_bw(invf[i], m->mode[i]);
        double temp = nb < m->bw[i] ? 0.75 * nb + 0.25 * m->bw[i]
                                    : 0.90625 * nb + 0.09375 * m->bw[i];
        if (temp < 0.015625)
            temp = 0;
        if (temp >= 0.99609375)
            temp = 0.99609375;
        m->bw[i] = temp;
        m->mode[i] = invf[i];
    }
}

cd x_low(const QmfRow *rows, int k, int r)
{
    return {double(rows[r][k][0]), double(rows[r][k][1])};
}

struct ModelAlpha {
    cd a0, a1;
};

ModelAlpha model_alpha(const QmfRow *rows, int k)
{
    cd phi[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 1; j < 3; ++j) {
            cd s = 0;
            for (int n = 0; n < 38; ++n)
                s += x_low(rows, k, n - i + 2) * std::conj(x_low(rows, k, n - j + 2));
            phi[i][j] = s;
        }
    const double d = phi[2][2].real() * phi[1][1].real() - std::norm(phi[1][2]) / (1.0 + 1e-6);
    ModelAlpha a{0.0, 0.0};
    if (d != 0)
        a.a1 = (phi[0][1] * phi[1][2] - phi[0][2] * phi[1][1]) / d;
    if (phi[1][1].real() != 0)
        a.a0 = -(phi[0][1] + a.a1 * std::conj(phi[1][2])) / phi[1][1].real();
    if (std::abs(a.a0) >= 4 || std::abs(a.a1) >= 4)
        a = {0.0, 0.0};
    return a;
}

int model_noise_band(const FrequencyTables &t, int k)
{
    for (int g = 0; g < t.nNoise; ++g)
        if (t.noise[g] <= k && k < t.noise[g + 1])
            return g;
    ADD_FAILURE() << "subband " << k << " outside the noise bands";
    return 0;
}

// X_High of every patched cell; NaN where the model writes nothing.
struct ModelOut {
    cd v[kRows][kBands];
};

void model_generate(ModelState *m, const FrequencyTables &t, const uint8_t invf[], int r0, int r1,
                    const QmfRow *rows, ModelOut *out)
{
    model_chirp(m, t.nNoise, invf);
    for (auto &row : out->v)
        for (auto &c : row)
            c = cd(NAN, NAN);
    int k = t.kx;
    for (int i = 0; i < t.numPatches; ++i)
        for (int x = 0; x < t.patchBands[i]; ++x, ++k) {
            const int p = t.patchStart[i] + x;
            const ModelAlpha a = model_alpha(rows, p);
            const double bw = m->bw[model_noise_band(t, k)];
            for (int r = r0; r < r1; ++r)
                out->v[r][k] = x_low(rows, p, r) + bw * a.a0 * x_low(rows, p, r - 1) +
                               bw * bw * a.a1 * x_low(rows, p, r - 2);
        }
}

// ---------------------------------------------------------------------------
// Frequency tables by hand: QMF bands at 44.1 kHz output (fs_sbr 44100, core
// 22050), sources below k0 ending at k0 - odd as the patch rule builds them.
FrequencyTables tables(int k0, int kx, int m, std::vector<int> bands, std::vector<int> starts,
                       std::vector<int> noise)
{
    FrequencyTables t{};
    t.k0 = uint8_t(k0);
    t.kx = uint8_t(kx);
    t.m = uint8_t(m);
    t.k2 = uint8_t(kx + m);
    t.numPatches = uint8_t(bands.size());
    int sum = 0;
    for (size_t i = 0; i < bands.size(); ++i) {
        t.patchBands[i] = uint8_t(bands[i]);
        t.patchStart[i] = uint8_t(starts[i]);
        sum += bands[i];
    }
    EXPECT_EQ(sum, m);
    t.nNoise = uint8_t(noise.size() - 1);
    for (size_t i = 0; i < noise.size(); ++i)
        t.noise[i] = uint8_t(noise[i]);
    EXPECT_EQ(t.noise[0], kx);
    EXPECT_EQ(t.noise[t.nNoise], kx + m);
    return t;
}

// Crossover at 11025 Hz: two patches.
FrequencyTables two_patches() { return tables(20, 32, 30, {18, 12}, {2, 8}, {32, 42, 52, 62}); }
// Crossover near 8.3 kHz: three patches.
FrequencyTables three_patches()
{
    return tables(16, 24, 34, {14, 14, 6}, {2, 2, 10}, {24, 34, 46, 58});
}
// Crossover near 5.5 kHz: four patches, five noise bands.
FrequencyTables four_patches()
{
    return tables(12, 16, 40, {10, 10, 10, 10}, {2, 2, 2, 2}, {16, 24, 32, 40, 48, 56});
}

// ---------------------------------------------------------------------------
// Signals in the QMF domain (rows 0..39, bands below 32).
struct Matrix {
    QmfRow rows[kRows];
};

int32_t quantise(double v) { return int32_t(std::lround(std::clamp(v, -kFull, kFull))); }

void set(Matrix *x, int r, int k, cd v)
{
    x->rows[r][k][0] = quantise(v.real());
    x->rows[r][k][1] = quantise(v.imag());
}

enum class Signal { Noise, Tone, ToneInNoise, RealTone, Burst, TwoRowBurst, Silence, Decaying };

// level: peak component relative to full scale, in dB.
void fill(Matrix *x, Signal s, double levelDb, std::mt19937 &rng)
{
    std::memset(x->rows, 0, sizeof x->rows);
    const double a = kFull * std::pow(10.0, levelDb / 20.0);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::uniform_real_distribution<double> phase(0.0, 2 * kPi);
    const double w = phase(rng);  // rotation per row of the tone
    const int burstRow = int(rng() % kRows);
    for (int k = 0; k < kLowBands; ++k) {
        const double ph = phase(rng);
        // A sine at the centre of one band leaks into its neighbours.
        const double leak = k % 7 == 3 ? 1.0 : (k % 7 == 2 || k % 7 == 4 ? 0.05 : 0.0);
        for (int r = 0; r < kRows; ++r) {
            const cd tone = std::polar(1.0, w * r + ph);
            const cd noise(u(rng), u(rng));
            cd v = 0;
            switch (s) {
            case Signal::Noise: v = a * noise; break;
            case Signal::Tone: v = a / std::sqrt(2.0) * leak * tone; break;
            case Signal::ToneInNoise: v = a * (0.69 * leak * tone + 1e-3 * noise); break;
            case Signal::RealTone: v = a * std::cos(w * r + ph); break;
            case Signal::Burst: v = r == burstRow ? a * noise : 0.0; break;
            case Signal::TwoRowBurst:
                v = r == burstRow || r == burstRow - 1 ? a * noise : 0.0;
                break;
            case Signal::Silence: break;
            case Signal::Decaying: v = a * std::pow(0.8, r) * (tone + 0.1 * noise) / 1.2; break;
            }
            set(x, r, k, v);
        }
    }
}

// ---------------------------------------------------------------------------
// Largest |fixed - model| over the patched cells, in units of X, and a check
// that every other cell kept its value.
double compare(const Matrix &before, const Matrix &after, const ModelOut &model)
{
    double worst = 0;
    for (int r = 0; r < kRows; ++r)
        for (int k = 0; k < kBands; ++k)
            for (int c = 0; c < 2; ++c) {
                const double m = c == 0 ? model.v[r][k].real() : model.v[r][k].imag();
                if (std::isnan(m)) {
                    if (after.rows[r][k][c] != before.rows[r][k][c]) {
                        ADD_FAILURE() << "cell row " << r << " band " << k << " written";
                        return 1e9;
                    }
                } else {
                    worst = std::max(worst, std::abs(after.rows[r][k][c] - m));
                }
            }
    return worst;
}

// Sentinel values in the high band, so that writes outside the patch show.
void mark_high_band(Matrix *x, std::mt19937 &rng)
{
    for (auto &row : x->rows)
        for (int k = kLowBands; k < kBands; ++k)
            row[k][0] = row[k][1] = int32_t(rng() & 0xffff) - 0x8000;
}

// Several frames of one table: the chirp state carried over with changing
// inverse filtering modes, rows spanning different envelope borders.
double run_frames(const FrequencyTables &t, Signal s, double levelDb, std::mt19937 &rng)
{
    HfGenState st;
    hf_generation_reset(&st);
    ModelState ms;
    double worst = 0;
    static const int kBorders[][2] = {{0, 16}, {1, 17}, {0, 19}, {3, 16}, {2, 18}};
    for (int f = 0; f < 5; ++f) {
        uint8_t invf[kMaxNoiseBands];
        for (auto &v : invf)
            v = uint8_t(rng() % 4);
        Matrix x;
        fill(&x, s, levelDb, rng);
        // Bands from kx up hold junk that must survive outside the patch rows.
        for (auto &row : x.rows)
            for (int k = t.kx; k < kBands; ++k)
                row[k][0] = row[k][1] = int32_t(rng() & 0xffff) - 0x8000;
        const int r0 = kHfAdj + 2 * kBorders[f][0], r1 = kHfAdj + 2 * kBorders[f][1];
        Matrix before = x;
        ModelOut model;
        model_generate(&ms, t, invf, r0, r1, x.rows, &model);
        hf_generate(&st, t, invf, r0, r1, x.rows);
        worst = std::max(worst, compare(before, x, model));
        for (int i = 0; i < t.nNoise; ++i)
            EXPECT_NEAR(st.bw[i] / 2147483648.0, ms.bw[i], 1e-9) << "noise band " << i;
    }
    return worst;
}

// ---------------------------------------------------------------------------
TEST(SbrHfGeneration, MatchesTheModelFromFullScaleToMinus90dB)
{
    std::mt19937 rng(14);
    for (Signal s : {Signal::Noise, Signal::Tone, Signal::ToneInNoise, Signal::RealTone,
                     Signal::Burst, Signal::TwoRowBurst, Signal::Silence, Signal::Decaying})
        for (double level : {0.0, -20.0, -40.0, -60.0, -90.0})
            for (const auto &tab : {two_patches(), three_patches(), four_patches()})
                EXPECT_LE(run_frames(tab, s, level, rng), 1.0)
                    << "signal " << int(s) << " at " << level << " dB, kx " << int(tab.kx);
}

// alpha itself, in Q29 steps: where the determinant cancels deepest (a
// clean complex tone, d about 1e-6 of its terms), white noise, and bursts
// that grow by g per row at the frame's end, whose predictor is dropped
// (alpha0 = alpha1 = 0) once |alpha0| or |alpha1| reaches 4.
TEST(SbrHfGeneration, PredictorMatchesTheModel)
{
    std::mt19937 rng(7);
    const double q = double(1 << kHfAlphaQ);
    const auto error = [&](const Matrix &x, int k) {
        const HfPredictor p = hf_predictor(x.rows, k);
        const ModelAlpha m = model_alpha(x.rows, k);
        return q *
               std::max({std::abs(p.a0[0] / q - m.a0.real()), std::abs(p.a0[1] / q - m.a0.imag()),
                         std::abs(p.a1[0] / q - m.a1.real()), std::abs(p.a1[1] / q - m.a1.imag())});
    };
    Matrix x;
    for (Signal s : {Signal::Tone, Signal::Noise, Signal::ToneInNoise, Signal::Decaying})
        for (double level : {0.0, -30.0, -60.0, -90.0})
            for (int rep = 0; rep < 4; ++rep) {
                fill(&x, s, level, rng);
                for (int k = 0; k < kLowBands; ++k)
                    EXPECT_LE(error(x, k), 4.0) << "signal " << int(s) << " at " << level;
            }
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    int dropped = 0;
    for (int rep = 0; rep < 400; ++rep) {
        const double g = 1.5 + 5.0 * (u(rng) + 1) / 2, turn = u(rng) * kPi;
        x = Matrix{};
        for (int r = 33; r < kRows; ++r)
            set(&x, r, 7, kFull * std::polar(std::pow(g, r - 39), turn * r) + cd(u(rng), u(rng)));
        const ModelAlpha m = model_alpha(x.rows, 7);
        dropped += m.a0 == 0.0 && m.a1 == 0.0;
        EXPECT_LE(error(x, 7), 4.0) << "growth " << g;
    }
    EXPECT_TRUE(dropped > 20 && dropped < 380) << dropped;
}

TEST(SbrHfGeneration, ChirpFactorsFollowEveryModeChange)
{
    // Every (previous, current) pair of bs_invf_mode in each noise band, in
    // a walk of 40 frames, against the model; then a reset.
    const FrequencyTables t = four_patches();
    HfGenState st;
    hf_generation_reset(&st);
    ModelState ms;
    Matrix x{};
    std::mt19937 rng(3);
    for (int f = 0; f < 200; ++f) {
        uint8_t invf[kMaxNoiseBands];
        for (int i = 0; i < kMaxNoiseBands; ++i) {
            // Runs of one mode now and then, so that factors settle and decay.
            invf[i] = (f / 6) % 2 ? uint8_t(st.invfMode[i]) : uint8_t((rng() >> 3) % 4);
            if (f % 13 == 0)
                invf[i] = 0;
        }
        model_chirp(&ms, t.nNoise, invf);
        hf_generate(&st, t, invf, kHfAdj, kHfAdj, x.rows);
        for (int i = 0; i < t.nNoise; ++i) {
            EXPECT_NEAR(st.bw[i] / 2147483648.0, ms.bw[i], 1e-9) << "frame " << f;
            EXPECT_EQ(st.bw[i] == 0, ms.bw[i] == 0) << "frame " << f;
            EXPECT_EQ(st.invfMode[i], invf[i]);
        }
    }
    hf_generation_reset(&st);
    for (int i = 0; i < kMaxNoiseBands; ++i)
        EXPECT_TRUE(st.bw[i] == 0 && st.invfMode[i] == 0);
}

TEST(SbrHfGeneration, BrokenTablesWriteOnlyInsideTheHighBand)
{
    // Patches longer than M, sources at or above kx, more patches than the
    // record holds, kx + M past 64: nothing outside kx .. min(kx + M, 64) - 1.
    std::mt19937 rng(11);
    FrequencyTables t = three_patches();
    t.patchBands[0] = 40;
    t.patchStart[1] = 20;
    t.numPatches = 200;
    for (int variant = 0; variant < 2; ++variant) {
        if (variant == 1) {
            t.kx = 40;
            t.m = 60;
            t.nNoise = 9;
        }
        Matrix x;
        fill(&x, Signal::Noise, 0, rng);
        mark_high_band(&x, rng);
        const Matrix before = x;
        HfGenState st;
        hf_generation_reset(&st);
        uint8_t invf[kMaxNoiseBands] = {3, 3, 3, 3, 3};
        hf_generate(&st, t, invf, -7, 99, x.rows);
        const int hi = std::min(t.kx + t.m, kBands);
        for (int r = 0; r < kRows; ++r)
            for (int k = 0; k < kBands; ++k) {
                const bool mayWrite = r >= kHfAdj && k >= t.kx && k < hi;
                const bool kept = x.rows[r][k][0] == before.rows[r][k][0] &&
                                  x.rows[r][k][1] == before.rows[r][k][1];
                ASSERT_TRUE(mayWrite || kept) << "row " << r << " band " << k;
            }
    }
}

}  // namespace
}  // namespace fxaac::sbr
