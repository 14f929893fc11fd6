// The parametric stereo decoder against the properties that define its
// parameters (ISO/IEC 14496-3 8.6.4.6): fed with noise, its left and right
// outputs have, per parameter band, the power ratio that IID asks for, the
// coherence that ICC asks for and the phase difference that IPD asks for;
// with IID 0 and ICC 1 both are the input.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ps/ps_decoder.h"

namespace fxaac::ps {
namespace {

constexpr double kIidNormalDb[8] = {0, 2, 4, 7, 10, 14, 18, 25};
constexpr double kIcc[8] = {1, 0.937, 0.84118, 0.60092, 0.36764, 0, -0.589, -1};

struct Sums {
    double left = 0, right = 0;
    std::complex<double> cross = 0;
};

PsFrame uniform_frame(bool bands34, bool mixingB, int iid, int icc, int ipd)
{
    PsFrame f{};
    f.numEnv = 1;
    f.iidBands = f.iccBands = bands34 ? 34 : 20;
    f.phaseBands = ipd != 0 ? (bands34 ? 17 : 11) : 0;
    f.mixingB = mixingB;
    f.bands34 = bands34;
    f.border[0] = kSlots - 1;
    std::memset(f.iid[0], iid, sizeof f.iid[0]);
    std::memset(f.icc[0], icc, sizeof f.icc[0]);
    std::memset(f.ipd[0], ipd, sizeof f.ipd[0]);
    return f;
}

// Sums per QMF band over frames of complex Gaussian noise, all frames with
// the same parameters, after 3 frames that settle the interpolation and the
// phase smoothing.
std::vector<Sums> run(const PsFrame &f, int frames)
{
    static PsDecoder p;
    reset_ps(&p);
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0, 1 << 20);
    std::vector<Sums> sums(kQmfBands);
    int32_t in[kQmfBands][2], ahead[kMaxSplit][2], l[kQmfBands][2], r[kQmfBands][2];
    for (int frame = 0; frame < frames + 3; frame++) {
        start_ps_frame(&p, &f);
        for (int n = 0; n < kSlots; n++) {
            for (auto &x : in) {
                x[0] = static_cast<int32_t>(noise(rng));
                x[1] = static_cast<int32_t>(noise(rng));
            }
            for (auto &x : ahead) {
                x[0] = static_cast<int32_t>(noise(rng));
                x[1] = static_cast<int32_t>(noise(rng));
            }
            ps_slot(&p, n, ahead, in, l, r);
            if (frame < 3)
                continue;
            for (int b = 0; b < kQmfBands; b++) {
                const std::complex<double> lc(l[b][0], l[b][1]), rc(r[b][0], r[b][1]);
                sums[b].left += std::norm(lc);
                sums[b].right += std::norm(rc);
                sums[b].cross += lc * std::conj(rc);
            }
        }
    }
    return sums;
}

// QMF bands 8..60: above the hybrid range, in parameter bands of several
// QMF bands each.
Sums high_bands(const std::vector<Sums> &sums)
{
    Sums t;
    for (int b = 8; b < 60; b++) {
        t.left += sums[b].left;
        t.right += sums[b].right;
        t.cross += sums[b].cross;
    }
    return t;
}

TEST(PsMixing, PowerRatioAndCoherenceFollowIidAndIcc)
{
    for (bool bands34 : {false, true})
        for (bool mixingB : {false, true})
            for (int iid : {-5, 0, 3, 7})
                for (int icc : {0, 2, 4, 5, 6}) {
                    SCOPED_TRACE(testing::Message() << "34 " << bands34 << " B " << mixingB
                                                    << " iid " << iid << " icc " << icc);
                    const Sums t = high_bands(run(uniform_frame(bands34, mixingB, iid, icc, 0), 8));
                    const double ratioDb = 10 * std::log10(t.left / t.right);
                    const double want = iid < 0 ? -kIidNormalDb[-iid] : kIidNormalDb[iid];
                    EXPECT_NEAR(ratioDb, want, 0.3);
                    // R_B carries no coherence below 0.05.
                    const double rho = mixingB ? std::max(kIcc[icc], 0.05) : kIcc[icc];
                    EXPECT_NEAR(t.cross.real() / std::sqrt(t.left * t.right), rho, 0.03);
                }
}

TEST(PsMixing, PhaseDifferenceFollowsIpd)
{
    for (bool bands34 : {false, true})
        for (int ipd : {1, 3, 6}) {
            // QMF band 5: the last phase band of both configurations.
            const std::vector<Sums> sums = run(uniform_frame(bands34, false, 0, 0, ipd), 4);
            const double phase = std::arg(sums[5].cross);
            double want = ipd * M_PI / 4;
            if (want > M_PI)
                want -= 2 * M_PI;
            EXPECT_NEAR(phase, want, 0.02) << "34 " << bands34 << " ipd " << ipd;
        }
}

TEST(PsMixing, NeutralParametersGiveTheInputOnBothSides)
{
    for (bool bands34 : {false, true}) {
        static PsDecoder p;
        reset_ps(&p);
        const PsFrame f = uniform_frame(bands34, false, 0, 0, 0);
        std::mt19937 rng(3);
        std::uniform_int_distribution<int32_t> v(-(1 << 24), 1 << 24);
        static int32_t in[2 * kSlots + kHybridDelay][kQmfBands][2];
        int32_t l[kQmfBands][2], r[kQmfBands][2];
        for (auto &row : in)
            for (auto &x : row) {
                x[0] = v(rng);
                x[1] = v(rng);
            }
        double err = 0, power = 0;
        for (int n = 0; n < 2 * kSlots; n++) {
            if (n % kSlots == 0)
                start_ps_frame(&p, &f);
            ps_slot(&p, n % kSlots, in[n + kHybridDelay], in[n], l, r);
            if (n < kSlots)  // the first envelope fades in from zero
                continue;
            for (int b = 0; b < kQmfBands; b++)
                for (int c = 0; c < 2; c++) {
                    EXPECT_EQ(l[b][c], r[b][c]);
                    const double e = l[b][c] - in[n][b][c];
                    err += e * e;
                    power += double(in[n][b][c]) * in[n][b][c];
                }
        }
        // The hybrid filters of the rows 6 slots ahead sum back to this slot
        // (to their coefficients' precision).
        EXPECT_LT(10 * std::log10(err / power), -60) << "34 " << bands34;
    }
}

}  // namespace
}  // namespace fxaac::ps
