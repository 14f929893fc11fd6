// Tables of the parametric stereo decoder, derived by scripts/gen_ps_tables.py
// (which states every formula) from data/sbr_ps_tables.txt.
#ifndef FXAAC_PS_PS_TABLES_H
#define FXAAC_PS_PS_TABLES_H

#include <cstdint>

namespace fxaac::ps {

// Hybrid analysis filters, 13 taps, Q31: complex [sub-band][tap][re, im]
// (band 0 of the 20-band configuration; bands 0, 1 and 2..4 of the 34-band
// one) and real [sub-band][tap] (bands 1 and 2 of the 20-band one).
extern const int32_t kHybrid20Band0[8][13][2];
extern const int32_t kHybrid20Band1[2][13];
extern const int32_t kHybrid34Band0[12][13][2];
extern const int32_t kHybrid34Band1[8][13][2];
extern const int32_t kHybrid34Band2[4][13][2];

// Mixing matrices [iid index + 7 or + 15][icc index][h11, h12, h21, h22], Q30.
extern const int32_t kMixANormal[15][8][4];
extern const int32_t kMixAFine[31][8][4];
extern const int32_t kMixBNormal[15][8][4];
extern const int32_t kMixBFine[31][8][4];

// (cos, sin) of k pi / 4, Q30; the smoothed phase relative to the newest
// value, [8 * ((older - newest) & 7) + ((oldest - newest) & 7)], Q30.
extern const int32_t kPhase[8][2];
extern const int32_t kPhaseSmooth[64][2];

// Decorrelator per all-pass band: [phi_fract, Q_fract(0..2)][cos, sin], Q31,
// and the links' a(m) g(k), Q31.
extern const int32_t kDecorr20[30][4][2];
extern const int32_t kAllpassGain20[30][3];
extern const int32_t kDecorr34[50][4][2];
extern const int32_t kAllpassGain34[50][3];

}  // namespace fxaac::ps

#endif  // FXAAC_PS_PS_TABLES_H
