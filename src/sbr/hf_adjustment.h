// SBR HF adjustment (ISO/IEC 14496-3 4.6.18.7) with the dequantisation of the
// envelope and noise floor data (4.6.18.3.5): turns the generated high band
// X_High of one channel into the output high band Y, in place.
//
// Scales: the QMF cells hold X = X_iso * 2^kQmfExponent (sbr_types.h), so an
// energy in the scale of the standard is |X|^2 * 2^-10. The dequantised
// envelope E_orig = 64 * 2^(E/a) and the noise floor Q_orig = 2^(6 - Q) are in
// that scale. Energies, gains and noise levels are SoftFloat (soft_float.h);
// gains are applied to the int32 cells with 64-bit products and rounding, and
// Y is saturated to int32.
#ifndef FXAAC_SBR_HF_ADJUSTMENT_H
#define FXAAC_SBR_HF_ADJUSTMENT_H

#include <cstdint>

#include "sbr/sbr_types.h"
#include "sbr/soft_float.h"

namespace fxaac::sbr {

constexpr int kSmoothLength = 4;  // h_SL of the gain and noise smoothing filter
constexpr int kNoiseTableSize = 512;

// What one channel carries from frame to frame.
struct HfAdjustState {
    // G_Temp and Q_Temp of the last kSmoothLength QMF slots per band m - kx, as
    // at most two envelope values (every envelope spans two slots or more):
    // the last smoothSlots slots hold [1], the slots before them [0]. Packed
    // SoftFloat (sf_pack).
    uint32_t gainHist[2][kMaxHighBands];
    uint32_t noiseHist[2][kMaxHighBands];
    uint64_t sinePrev;      // S_IndexMapped of the previous frame's last envelope, bit m - kx
    uint16_t indexNoise;    // f_IndexNoise of the last noise sample, 0..511
    uint8_t indexSine;      // f_IndexSine of the next QMF slot, 0..3
    uint8_t smoothSlots;    // 2..4; 0: no history (after a reset)
    uint8_t transientNext;  // the previous frame's l_A was its L_E: envelope 0 is a transient's
    uint8_t reserved[3];
};
constexpr int kHfAdjustStateBytes = 4 * 4 * kMaxHighBands + 16;
static_assert(sizeof(HfAdjustState) == kHfAdjustStateBytes, "HfAdjustState layout");

// Scratch memory of one call (any contents on entry; may be shared between
// channels and with other stages between calls): per band m - kx of the
// envelope being adjusted.
struct HfAdjustWork {
    SoftFloat eCurr[kMaxHighBands];  // E_curr
    SoftFloat gain[kMaxHighBands];   // G^2, then G_LimBoost
    SoftFloat noise[kMaxHighBands];  // Q_M^2, then Q_MLimBoost
    SoftFloat sine[kMaxHighBands];   // S_M^2, then S_MBoost
};
constexpr int kHfAdjustWorkBytes = 4 * 8 * kMaxHighBands;
static_assert(sizeof(HfAdjustWork) == kHfAdjustWorkBytes, "HfAdjustWork layout");

// Results of hf_adjust.
constexpr int32_t kHfAdjustOk = 0;
constexpr int32_t kHfAdjustBadTables = -1;   // inconsistent FrequencyTables
constexpr int32_t kHfAdjustBadGrid = -2;     // time grid out of order or out of range
constexpr int32_t kHfAdjustBadChannel = -3;  // ch not in f

// Start of a stream: no smoothing history, no sinusoids, indices 0.
void hf_adjust_reset(HfAdjustState *s);

// SBR reset (new frequency tables, ISO/IEC 14496-3 4.6.18.3): the smoothing
// restarts from the next envelope and running sinusoids end; the noise and
// sine indices run on.
void hf_adjust_restart(HfAdjustState *s);

// Dequantises channel ch of f (E_orig, Q_orig; a coupled pair's level and
// balance with the panning formulas, on ch 0's grid) and adjusts, in place, bands
// kx .. kx + M - 1 of rows kHfAdj + 2 * t_E(0) .. kHfAdj + 2 * t_E(L_E) - 1 of
// rows[kRows] (X_High in, Y out). Returns kHfAdjustOk or a negative error, in
// which case neither rows nor s changed (the caller silences the high band).
// xScale: the rows hold X_High * 2^xScale (a block exponent of the frame,
// 0..kMaxBlockScale, that keeps quiet signals precise); Y is written at the
// QMF format's own scale.
int32_t hf_adjust(HfAdjustState *s, const SbrHeader &h, const FrequencyTables &t,
                  const SbrFrameData &f, int ch, QmfRow *rows, HfAdjustWork *w, int xScale = 0);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_HF_ADJUSTMENT_H
