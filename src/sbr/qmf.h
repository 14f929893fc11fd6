// The complex QMF banks of SBR (ISO/IEC 14496-3 4.6.18.4), in fixed point:
// the 32-band analysis bank at the core rate, the 64-band synthesis bank at
// the doubled rate and the downsampled 32-band synthesis bank at the core
// rate. One call handles one QMF slot (32 core samples).
//
// Formats:
//   analysis input    int32 PCM, 16-bit unit 2^16 (the core's SBR hand-off)
//   subband samples   X = X_iso * 2^kQmfExponent, X_iso the subband sample
//                     of ISO/IEC 14496-3 for input in 16-bit units;
//                     analysis gives |X| < 2^27 (see qmf.cpp)
//   synthesis output  int32 PCM, 16-bit unit 2^9 (full scale 2^24), saturated
// The analysis then synthesis chain has unity gain. With only the low 32
// bands filled, the 64-band bank's output sample 2t + kQmfDelay equals core
// input sample t; the downsampled bank's output at t + kQmfDownDelay does,
// less a quarter sample (its phase term, (2n - 127), sits half a step from
// the 64-band bank's (2n - 255)).
#ifndef FXAAC_SBR_QMF_H
#define FXAAC_SBR_QMF_H

#include "sbr/sbr_types.h"

#include <cstdint>

namespace fxaac::sbr {

constexpr int kQmfHistory = 320;           // analysis input history x(n)
constexpr int kQmfTaps = 10;               // polyphase taps of a synthesis output sample
constexpr int kQmfPending = kQmfTaps - 1;  // outputs with partial sums pending
constexpr int kQmfDelay = 578;             // chain delay, output samples at the doubled rate
constexpr int kQmfDownDelay = 289;         // downsampled chain delay (+ 1/4), core samples

// Input history, newest sample first (x(0) of the standard).
struct QmfAnalysisState {
    int32_t x[kQmfHistory];
};
static_assert(sizeof(QmfAnalysisState) == kQmfHistory * 4, "QmfAnalysisState layout");

// The synthesis bank in transposed form: instead of the 1280 values of v(n)
// it keeps, for each of the next 9 output slots, the sum of the window
// products that the slots already seen contribute to it (in units of a
// quarter of the output's), rows used as a ring from `head`. The downsampled
// bank uses the first 32 words of each row.
struct QmfSynthesisState {
    int32_t partial[kQmfPending][kBands];
    int32_t head;  // row of the next output slot, 0..kQmfPending-1
};
static_assert(sizeof(QmfSynthesisState) == (kQmfPending * kBands + 1) * 4,
              "QmfSynthesisState layout");
static_assert(sizeof(QmfSynthesisState) <= 640 * 4, "synthesis state within 640 words");

void qmf_analysis_reset(QmfAnalysisState *s);
void qmf_synthesis_reset(QmfSynthesisState *s);

// 32 input samples (oldest first) -> 32 complex subband samples [k][re, im].
void qmf_analysis_slot(QmfAnalysisState *s, const int32_t in[kLowBands], int32_t out[kLowBands][2]);

// 64 complex subband samples -> 64 output samples at the doubled rate. Any
// int32 input is accepted: components are clamped to +-2^27 (the analysis
// bound; one such sample alone already drives the output past full scale).
void qmf_synthesis_slot(QmfSynthesisState *s, const int32_t in[kBands][2], int32_t out[kBands]);

// 32 complex subband samples -> 32 output samples at the core rate.
void qmf_synthesis_slot_down(QmfSynthesisState *s, const int32_t in[kLowBands][2],
                             int32_t out[kLowBands]);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_QMF_H
