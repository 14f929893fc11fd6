// The SBR QMF banks against a double model of the formulas of ISO/IEC 14496-3
// 4.6.18.4 (the chain's delay and gain are measured end to end against
// ffmpeg and faad).
#include "sbr/qmf.h"
#include "sbr/sbr_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using namespace fxaac::sbr;

const double kPi = std::acos(-1.0);

double window(int i) { return kQmfWindow[i] / 2147483648.0; }

// The analysis bank as written in the standard; input in 16-bit units.
struct AnalysisModel {
    double x[320] = {};
    void slot(const double in[32], double out[32][2])
    {
        std::copy_backward(x, x + 288, x + 320);
        for (int i = 0; i < 32; ++i)
            x[31 - i] = in[i];
        double u[64] = {};
        for (int n = 0; n < 64; ++n)
            for (int j = 0; j < 5; ++j)
                u[n] += x[n + 64 * j] * window(2 * (n + 64 * j));
        for (int k = 0; k < 32; ++k) {
            out[k][0] = out[k][1] = 0;
            for (int n = 0; n < 64; ++n) {
                const double a = kPi / 64 * (k + 0.5) * (2 * n - 0.5);
                out[k][0] += 2 * u[n] * std::cos(a);
                out[k][1] += 2 * u[n] * std::sin(a);
            }
        }
    }
};

// The 64-band (bands = 64) or downsampled (bands = 32) synthesis bank as
// written in the standard; output in 16-bit units.
struct SynthesisModel {
    int bands;
    std::vector<double> v = std::vector<double>(20 * bands, 0.0);
    explicit SynthesisModel(int b) : bands(b) {}
    void slot(const double in[][2], double *out)
    {
        const int len = 2 * bands, offset = 4 * bands - 1, step = 64 / bands;
        std::copy_backward(v.begin(), v.end() - len, v.end());
        for (int n = 0; n < len; ++n) {
            double sum = 0;
            for (int k = 0; k < bands; ++k) {
                const double a = kPi / (2 * bands) * (k + 0.5) * (2 * n - offset);
                sum += in[k][0] * std::cos(a) - in[k][1] * std::sin(a);
            }
            v[n] = sum / 64;
        }
        for (int j = 0; j < bands; ++j) {
            double sum = 0;
            for (int n = 0; n < 5; ++n) {
                sum += v[2 * len * n + j] * window(step * (2 * bands * n + j));
                sum += v[2 * len * n + 3 * bands + j] * window(step * (2 * bands * n + bands + j));
            }
            out[j] = sum;
        }
    }
};

double clamp27(int32_t v) { return std::clamp<int32_t>(v, -(1 << 27), 1 << 27); }

int32_t saturate(double v)
{
    return static_cast<int32_t>(std::clamp(std::round(v), -2147483648.0, 2147483647.0));
}

// Signals of 32 * slots int32 samples (16-bit unit 2^16).
using Signal = std::vector<int32_t>;

Signal random_signal(int slots, double peak, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(-peak, peak);
    Signal s(32 * slots);
    for (auto &v : s)
        v = saturate(d(rng));
    return s;
}

Signal square_wave(int slots, int period)
{
    Signal s(32 * slots);
    for (size_t i = 0; i < s.size(); ++i)
        s[i] = (i / (period / 2)) % 2 ? INT32_MIN : INT32_MAX;
    return s;
}

Signal impulses(int slots)
{
    Signal s(32 * slots, 0);
    s[5] = INT32_MAX;
    s[32 * 12 + 17] = INT32_MIN;
    s[32 * 20 + 31] = 123456789;
    return s;
}

// Largest |X - 2^5 X_model| over all slots, in units of X.
double analysis_error(const Signal &in, int32_t *peak = nullptr)
{
    QmfAnalysisState st;
    qmf_analysis_reset(&st);
    AnalysisModel model;
    double worst = 0;
    for (size_t l = 0; l < in.size() / 32; ++l) {
        int32_t x[32][2];
        double ref[32][2], din[32];
        for (int i = 0; i < 32; ++i)
            din[i] = in[32 * l + i] / 65536.0;
        qmf_analysis_slot(&st, &in[32 * l], x);
        model.slot(din, ref);
        for (int k = 0; k < 32; ++k)
            for (int c = 0; c < 2; ++c) {
                worst = std::max(worst, std::fabs(x[k][c] - ref[k][c] * 32));
                if (peak)
                    *peak = std::max(*peak, std::abs(x[k][c]));
            }
    }
    return worst;
}

TEST(SbrQmf, AnalysisFollowsTheModelWithinOneUnitOfX)
{
    struct Case {
        const char *name;
        Signal in;
    };
    const Case cases[] = {
        {"random full scale", random_signal(40, 2147483648.0, 1)},
        {"random -20 dB", random_signal(40, 214748364.8, 2)},
        {"random -60 dB", random_signal(40, 2147483.6, 3)},
        {"random 16-bit LSBs", random_signal(40, 65536.0 * 3, 4)},
        {"square wave full scale, period 64", square_wave(40, 64)},
        {"square wave full scale, period 6", square_wave(40, 6)},
        {"impulses", impulses(40)},
    };
    int32_t peak = 0;
    for (const auto &c : cases) {
        EXPECT_LE(analysis_error(c.in, &peak), 1.0) << c.name;
    }
    EXPECT_LT(peak, 1 << 27);
    // Silence stays exactly silent.
    QmfAnalysisState st;
    qmf_analysis_reset(&st);
    int32_t zero[32] = {}, x[32][2];
    for (int l = 0; l < 12; ++l) {
        qmf_analysis_slot(&st, zero, x);
        for (auto &b : x)
            ASSERT_TRUE(b[0] == 0 && b[1] == 0);
    }
}

// The worst-case analysis input: every sample at the sign of the window tap
// it meets for band 0 at the last slot; |X| stays below 2^27.
TEST(SbrQmf, AnalysisOfTheWorstCaseInputStaysBelowTwoToThe27)
{
    Signal in(320);
    for (int n = 0; n < 320; ++n) {
        // x(n) = in[319 - n] at the last slot; u(n mod 64) feeds X(0) with
        // cos(pi/64 * 0.5 * (2 (n mod 64) - 0.5)) > 0 for n mod 64 < 32.
        const int m = n % 64;
        const double sign = window(2 * n) * std::cos(kPi / 128 * (2 * m - 0.5));
        in[319 - n] = sign >= 0 ? INT32_MAX : INT32_MIN;
    }
    int32_t peak = 0;
    EXPECT_LE(analysis_error(in, &peak), 1.0);
    EXPECT_LT(peak, 1 << 27);
    EXPECT_GT(peak, 1 << 26);  // the bound is nearly reached
}

using Bands = std::vector<std::array<int32_t, 2>>;

// Largest |out - 2^9 out_model| over slots of `bands`-band input.
double synthesis_error(int bands, const std::vector<Bands> &slots, bool *saturated = nullptr)
{
    QmfSynthesisState st;
    qmf_synthesis_reset(&st);
    SynthesisModel model(bands);
    double worst = 0;
    for (const auto &in : slots) {
        int32_t x[64][2], out[64];
        double din[64][2], ref[64];
        for (int k = 0; k < bands; ++k)
            for (int c = 0; c < 2; ++c) {
                x[k][c] = in[k][c];
                din[k][c] = clamp27(in[k][c]) / 32.0;  // X_iso, input clamped as documented
            }
        if (bands == 64)
            qmf_synthesis_slot(&st, x, out);
        else
            qmf_synthesis_slot_down(&st, x, out);
        model.slot(din, ref);
        for (int j = 0; j < bands; ++j) {
            const double want = ref[j] * 512;
            if (std::fabs(want) >= 2147483647.0 && saturated) {
                *saturated = true;
                EXPECT_EQ(out[j], want > 0 ? INT32_MAX : INT32_MIN);
                continue;
            }
            worst = std::max(worst, std::fabs(out[j] - want));
        }
    }
    return worst;
}

std::vector<Bands> random_bands(int bands, int slots, double peak, unsigned seed, int sparse = 1)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(-peak, peak);
    std::vector<Bands> s(slots, Bands(bands));
    for (auto &slot : s)
        for (int k = 0; k < bands; ++k)
            for (int c = 0; c < 2; ++c)
                slot[k][c] = (rng() % sparse) ? 0 : saturate(d(rng));
    return s;
}

std::vector<Bands> band_impulses(int bands, int slots)
{
    std::vector<Bands> s(slots, Bands(bands, {0, 0}));
    s[1][0] = {1 << 27, 0};
    s[3][bands - 1] = {0, -(1 << 27)};
    s[9][bands / 2] = {-(1 << 26), 1 << 26};
    return s;
}

TEST(SbrQmf, SynthesisBanksFollowTheModel)
{
    for (int bands : {64, 32}) {
        struct Case {
            const char *name;
            std::vector<Bands> in;
        };
        const Case cases[] = {
            {"random 2^26", random_bands(bands, 30, 1 << 26, 5)},
            {"random 2^20", random_bands(bands, 30, 1 << 20, 6)},
            {"random 2^10", random_bands(bands, 30, 1 << 10, 7)},
            {"sparse 2^27", random_bands(bands, 30, 1 << 27, 8, 7)},
            {"impulses", band_impulses(bands, 30)},
        };
        for (const auto &c : cases) {
            EXPECT_LE(synthesis_error(bands, c.in), 40.0) << bands << " " << c.name;
        }
        const std::vector<Bands> silence(12, Bands(bands, {0, 0}));
        EXPECT_EQ(synthesis_error(bands, silence), 0.0);
    }
}

// Any int32 input: the clamp and the output saturation, never an overflow.
TEST(SbrQmf, SynthesisOfExtremeInputSaturates)
{
    for (int bands : {64, 32}) {
        std::mt19937 rng(9);
        std::vector<Bands> slots(30, Bands(bands));
        for (auto &slot : slots)
            for (auto &b : slot)
                for (auto &v : b)
                    v = (rng() & 1) ? INT32_MAX : INT32_MIN;
        // Outputs near 2^30 here: 128 units are a few parts in 10^7.
        bool saturated = false;
        EXPECT_LE(synthesis_error(bands, slots, &saturated), 128.0) << bands;
        slots.assign(30, Bands(bands, {0, 0}));
        // The subband sample of largest effect on output 0 of slot 9, at the
        // clamp, in every band: coherent enough to pass int32.
        for (int k = 0; k < bands; ++k) {
            const double a = kPi / (2 * bands) * (k + 0.5) * (0.5);
            slots[9][k] = {std::cos(a) < 0 ? INT32_MIN : INT32_MAX,
                           std::sin(a) < 0 ? INT32_MAX : INT32_MIN};
        }
        EXPECT_LE(synthesis_error(bands, slots, &saturated), 128.0) << bands;
    }
}

}  // namespace
