// SBR HF generation (ISO/IEC 14496-3 4.6.18.6): the high band X_High is made
// by copying the low band X_Low up along the patches of the frequency tables,
// each copied subband whitened by a second-order linear predictor (the
// covariance method over the frame's 38 rows) scaled by the chirp factor of
// the noise band it lands in.
//
// Formats:
// - X_Low and X_High: the QMF sample format of sbr_types.h (|X| < 2^27).
// - Chirp factors bwArray: Q31 in 0 .. 0.99609375 (kHfChirpQ).
// - Predictor coefficients alpha0, alpha1: complex, Q29 (kHfAlphaQ), each of
//   magnitude < 4 (larger ones are set to zero as the standard says).
#ifndef FXAAC_SBR_HF_GENERATION_H
#define FXAAC_SBR_HF_GENERATION_H

#include <cstdint>

#include "sbr/sbr_types.h"

namespace fxaac::sbr {

constexpr int kHfChirpQ = 31;
constexpr int kHfAlphaQ = 29;

// What HF generation carries from one frame to the next, per noise band: the
// chirp factor bwArray'(i) (Q31) and the inverse filtering mode bs_invf_mode'(i).
struct HfGenState {
    int32_t bw[kMaxNoiseBands];
    uint8_t invfMode[kMaxNoiseBands];
    uint8_t reserved[3];
};
constexpr int kHfGenStateBytes = 28;
static_assert(sizeof(HfGenState) == kHfGenStateBytes, "HfGenState layout");

// The predictor of one low subband: alpha0, alpha1 as [re, im] in Q29.
struct HfPredictor {
    int32_t a0[2];
    int32_t a1[2];
};

// Forget the previous frame (chirp factors 0, modes off): at the start and
// after a header change, when the noise bands may have changed.
void hf_generation_reset(HfGenState *s);

// One channel and frame. rows[0..kRows-1] hold X_Low in bands below t.kx
// (rows 0..7 the previous frame's). Updates the chirp factors of the t.nNoise
// noise bands from invfMode (bs_invf_mode, 0..3) and writes X_High into the
// bands t.kx .. t.kx + t.m - 1 that the patches cover, rows rowBegin ..
// rowEnd - 1 (kHfAdj + 2 t_E(0) .. kHfAdj + 2 t_E(L_E) - 1; clamped to
// kHfAdj .. kRows). No other cell is written. Patches that leave the low band
// (source >= min(kx, 32)) or the high band (target >= min(kx + m, 64)) are cut
// there.
void hf_generate(HfGenState *s, const FrequencyTables &t, const uint8_t invfMode[kMaxNoiseBands],
                 int rowBegin, int rowEnd, QmfRow *rows);

// The covariance-method predictor of low subband `band` (0..31) over rows
// 0..39 (ISO/IEC 14496-3 4.6.18.6.2). Exposed for the tests.
HfPredictor hf_predictor(const QmfRow *rows, int band);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_HF_GENERATION_H
