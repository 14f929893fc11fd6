// A double-precision model of the SBR HF adjustment (ISO/IEC 14496-3
// 4.6.18.7) and the dequantisation (4.6.18.3.5), written the way the standard
// writes it: amplitudes with square roots, per-slot arrays G_Temp and Q_Temp
// with h_SL history slots in front, indices counted from the frame start.
#ifndef FXAAC_TESTS_SBR_HF_ADJUSTMENT_MODEL_H
#define FXAAC_TESTS_SBR_HF_ADJUSTMENT_MODEL_H

#include "sbr/sbr_tables.h"
#include "sbr/sbr_types.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace hfadj_model {

using namespace fxaac::sbr;
using cplx = std::complex<double>;

constexpr int kSL = 4;  // h_SL
constexpr double kH[kSL + 1] = {0.33333333333333, 0.30150283239582, 0.21816949906249,
                                0.11516383427084, 0.03183050093751};
constexpr double kLimGain[4] = {0.70795, 1.0, 1.41254, 1e10};
constexpr double kEps = 1.0;
constexpr double kEps0 = 1e-12;

struct State {
    double gTemp[kMaxHighBands][kSL] = {};  // [kSL - 1]: the newest slot
    double qTemp[kMaxHighBands][kSL] = {};
    bool primed = false;
    bool sPrev[kMaxHighBands] = {};
    int indexNoise = 0;  // the last one used
    int indexSine = 0;   // the next one to use
    bool transientNext = false;
};

inline double env_orig(const SbrFrameData &f, int ch, int l, int i)
{
    const double a0 = f.ch[0].ampRes ? 1.0 : 2.0;
    if (!(f.channels == 2 && f.coupling)) {
        const double a = f.ch[ch].ampRes ? 1.0 : 2.0;
        return 64.0 * std::pow(2.0, f.ch[ch].envelope[l][i] / a);
    }
    const double a1 = f.ch[1].ampRes ? 1.0 : 2.0;
    const double e0 = f.ch[0].envelope[l][i];
    const double e1 = f.ch[1].envelope[l][i];
    const double num = 64.0 * std::pow(2.0, e0 / a0 + 1.0);
    const double panOffset = f.ch[0].ampRes ? 12.0 : 24.0;
    return ch == 0 ? num / (1.0 + std::pow(2.0, (panOffset - e1) / a1))
                   : num / (1.0 + std::pow(2.0, (e1 - panOffset) / a1));
}

inline double noise_orig(const SbrFrameData &f, int ch, int q, int i)
{
    if (!(f.channels == 2 && f.coupling)) {
        return std::pow(2.0, 6.0 - f.ch[ch].noiseFloor[q][i]);
    }
    const double q0 = f.ch[0].noiseFloor[q][i];
    const double q1 = f.ch[1].noiseFloor[q][i];
    const double num = std::pow(2.0, 7.0 - q0);
    return ch == 0 ? num / (1.0 + std::pow(2.0, 12.0 - q1))
                   : num / (1.0 + std::pow(2.0, q1 - 12.0));
}

// x[row][band] in the standard's scale; returns Y in the same scale for the
// adjusted cells (others unchanged).
inline void adjust(State &s, const SbrHeader &h, const FrequencyTables &t, const SbrFrameData &f,
                   int ch, std::vector<std::vector<cplx>> &x)
{
    const SbrChannelData &c = f.ch[ch];
    const SbrGrid &g = c.grid;
    const int LE = g.numEnv;
    const int kx = t.kx;
    const int M = t.m;
    const int lA = g.pointer;
    std::vector<std::vector<double>> eom(LE, std::vector<double>(M)),
        qom = eom, ecurr = eom, glb = eom, qlb = eom, sb = eom;
    std::vector<std::vector<int>> sidx(LE, std::vector<int>(M)), smap = sidx;
    std::vector<bool> delta(LE);
    for (int l = 0; l < LE; l++) {
        const uint8_t *F = g.freqRes[l] ? t.high : t.low;
        const int n = g.freqRes[l] ? t.nHigh : t.nLow;
        for (int i = 0; i < n; i++) {
            for (int k = F[i]; k < F[i + 1]; k++) {
                eom[l][k - kx] = env_orig(f, ch, l, i);
            }
        }
        int qn = 0;
        for (int k = 0; k < g.numNoise; k++) {
            if (g.noise[k] <= g.env[l]) {
                qn = k;
            }
        }
        for (int i = 0; i < t.nNoise; i++) {
            for (int k = t.noise[i]; k < t.noise[i + 1]; k++) {
                qom[l][k - kx] = noise_orig(f, ch, qn, i);
            }
        }
        for (int j = 0; j < t.nHigh; j++) {
            const int m = (t.high[j] + t.high[j + 1]) / 2 - kx;
            sidx[l][m] = c.addHarmonicFlag && c.addHarmonic[j] && (l >= lA || s.sPrev[m]);
        }
        for (int i = 0; i < n; i++) {
            int any = 0;
            for (int k = F[i]; k < F[i + 1]; k++) {
                any |= sidx[l][k - kx];
            }
            for (int k = F[i]; k < F[i + 1]; k++) {
                smap[l][k - kx] = any;
            }
        }
        // Estimated energies.
        const int i0 = kRate * g.env[l] + kHfAdj;
        const int i1 = kRate * g.env[l + 1] + kHfAdj;
        for (int m = 0; m < M; m++) {
            int kl = m + kx;
            int kh = m + kx;
            if (!h.interpolFreq) {
                for (int i = 0; i < n; i++) {
                    if (F[i] <= m + kx && m + kx < F[i + 1]) {
                        kl = F[i];
                        kh = F[i + 1] - 1;
                    }
                }
            }
            double sum = 0;
            for (int i = i0; i < i1; i++) {
                for (int j = kl; j <= kh; j++) {
                    sum += std::norm(x[i][j]);
                }
            }
            ecurr[l][m] = sum / ((i1 - i0) * (kh - kl + 1));
        }
        delta[l] = !(l == lA || (l == 0 && s.transientNext));
        const double d = delta[l] ? 1.0 : 0.0;
        std::vector<double> G(M), Qm(M), Sm(M);
        for (int m = 0; m < M; m++) {
            const double q = qom[l][m];
            Qm[m] = std::sqrt(eom[l][m] * q / (1 + q));
            Sm[m] = std::sqrt(eom[l][m] * sidx[l][m] / (1 + q));
            G[m] = smap[l][m] ? std::sqrt(eom[l][m] / (kEps + ecurr[l][m]) * q / (1 + q))
                              : std::sqrt(eom[l][m] / ((kEps + ecurr[l][m]) * (1 + d * q)));
        }
        for (int k = 0; k < t.nLimiter; k++) {
            const int m0 = t.limiter[k] - kx;
            const int m1 = t.limiter[k + 1] - kx;
            double so = 0;
            double sc = 0;
            for (int m = m0; m < m1; m++) {
                so += eom[l][m];
                sc += ecurr[l][m];
            }
            const double gmax = std::min(
                kLimGain[h.limiterGains] * std::sqrt((kEps0 + so) / (kEps0 + sc)), 1e5);
            double sout = 0;
            std::vector<double> glim(M), qlim(M);
            for (int m = m0; m < m1; m++) {
                qlim[m] = std::min(Qm[m], Qm[m] * gmax / G[m]);
                glim[m] = std::min(G[m], gmax);
                sout += ecurr[l][m] * glim[m] * glim[m] + Sm[m] * Sm[m] +
                        ((delta[l] && Sm[m] == 0) ? qlim[m] * qlim[m] : 0.0);
            }
            const double boost = std::min(std::sqrt((kEps0 + so) / (kEps0 + sout)), 1.584893192);
            for (int m = m0; m < m1; m++) {
                glb[l][m] = glim[m] * boost;
                qlb[l][m] = qlim[m] * boost;
                sb[l][m] = Sm[m] * boost;
            }
        }
    }
    // Assembly over the frame's slots, i counted from RATE * t_E(0).
    const int first = kRate * g.env[0];
    const int slots = kRate * g.env[LE] - first;
    const bool smoothing = h.smoothingMode == 0;
    for (int m = 0; m < M; m++) {
        std::vector<double> gt(kSL + slots), qt(kSL + slots);
        for (int j = 0; j < kSL; j++) {
            gt[j] = s.primed ? s.gTemp[m][j] : glb[0][m];
            qt[j] = s.primed ? s.qTemp[m][j] : qlb[0][m];
        }
        for (int l = 0; l < LE; l++) {
            for (int i = kRate * g.env[l] - first; i < kRate * g.env[l + 1] - first; i++) {
                gt[i + kSL] = glb[l][m];
                qt[i + kSL] = qlb[l][m];
            }
        }
        for (int l = 0; l < LE; l++) {
            for (int i = kRate * g.env[l] - first; i < kRate * g.env[l + 1] - first; i++) {
                double gf = gt[i + kSL];
                double qf = qt[i + kSL];
                if (smoothing && delta[l]) {
                    gf = qf = 0;
                    for (int j = 0; j <= kSL; j++) {
                        gf += gt[i - j + kSL] * kH[j];
                        qf += qt[i - j + kSL] * kH[j];
                    }
                }
                if (sb[l][m] != 0 || !delta[l]) {
                    qf = 0;
                }
                const int idx = (s.indexNoise + i * M + m + 1) % 512;
                const cplx v(kSbrNoise[idx][0] / 32768.0, kSbrNoise[idx][1] / 32768.0);
                cplx &cell = x[i + first + kHfAdj][m + kx];
                cell = gf * cell + qf * v;
                const int sine = (s.indexSine + i) & 3;
                const double phiRe[4] = {1, 0, -1, 0};
                const double phiIm[4] = {0, 1, 0, -1};
                const double sign = ((m + kx) & 1) ? -1.0 : 1.0;
                cell += cplx(sb[l][m] * phiRe[sine], sb[l][m] * sign * phiIm[sine]);
            }
        }
        for (int j = 0; j < kSL; j++) {
            s.gTemp[m][j] = gt[slots + j];
            s.qTemp[m][j] = qt[slots + j];
        }
        s.sPrev[m] = sidx[LE - 1][m];
    }
    s.primed = true;
    s.indexNoise = (s.indexNoise + slots * M) % 512;
    s.indexSine = (s.indexSine + slots) & 3;
    s.transientNext = lA == LE;
}

}  // namespace hfadj_model

#endif  // FXAAC_TESTS_SBR_HF_ADJUSTMENT_MODEL_H
