// The parametric stereo decoder (ISO/IEC 14496-3 8.6.4): from the mono QMF
// signal of the SBR decoder and one frame's parameters to the left and right
// QMF signals, one QMF slot at a time.
//
// Per slot: hybrid analysis (the lowest QMF bands split into sub-bands by
// filters of 6 slots' delay, fed from the rows 6 slots ahead so that the
// output keeps the mono input's timing), the decorrelated signal d (all-pass
// links and delays, ducked at transients), the mixing of s and d into l and r
// by the interpolated matrices of the parameters, and the hybrid synthesis
// (sub-bands summed back).
//
// Sample format: QMF samples as the SBR decoder's (X_iso * 2^5); inputs are
// clamped to +-2^27 and outputs saturate at +-2^30.
#ifndef FXAAC_PS_PS_DECODER_H
#define FXAAC_PS_PS_DECODER_H

#include <cstdint>

#include "ps/ps_layout.h"
#include "ps/ps_types.h"

namespace fxaac::ps {

constexpr int kHybridTaps = 13;
constexpr int kHybridDelay = 6;  // slots: the filters' group delay
constexpr int kMaxAllpass = 50;  // bands through the all-pass links
constexpr int kLinks = 3;
constexpr int kLinkDelay[kLinks] = {3, 4, 5};
constexpr int kPreDelay = 2;    // slots before the links
constexpr int kLongDelay = 14;  // slots, QMF bands 23..34
constexpr int kLongDelayBands = 35 - 23;
constexpr int kShortDelayBands = kQmfBands - 35;  // QMF bands 35..63, one slot
constexpr int kAllpassQmfEnd = 23;                // QMF bands below: all-pass links
constexpr int kRecentSlots = kLongDelay + 2;      // slots whose input ends are kept

// Complex Q30 mixing matrix: h11, h12, h21, h22.
struct Matrix {
    int32_t h[4][2];
};

struct PsDecoder {
    // Hybrid analysis: the last 13 slots of the split bands.
    int32_t lowRing[kHybridTaps][kMaxSplit][2];
    // Decorrelator.
    int32_t preDelay[kPreDelay][kMaxAllpass][2];
    int32_t link0[3][kMaxAllpass][2];
    int32_t link1[4][kMaxAllpass][2];
    int32_t link2[5][kMaxAllpass][2];
    int32_t longDelay[kLongDelay][kLongDelayBands][2];
    int32_t shortDelay[kShortDelayBands][2];
    int64_t peakDecay[kMaxParBands];
    int64_t smoothPower[kMaxParBands];
    int64_t smoothPeakDiff[kMaxParBands];
    // Mixing: the matrices at the end of the last envelope and of the one in
    // progress, per parameter band.
    Matrix from[kMaxParBands];
    Matrix to[kMaxParBands];
    int8_t ipdHistory[2][kMaxPhaseBands];  // the two envelopes before, newest first
    int8_t opdHistory[2][kMaxPhaseBands];
    PsFrame frame;                    // this frame's parameters
    uint8_t recentEnd[kRecentSlots];  // QMF bands with input, per recent slot
    uint32_t slots;                   // slots decoded since the reset (ring positions)
    uint8_t bands34;                  // the configuration in use
    uint8_t envelope;                 // the envelope in progress
    uint8_t reserved[2];
};

void reset_ps(PsDecoder *p);

// Takes one frame's parameters (nullptr or numEnv 0: the last envelope's
// hold, all zero before any).
void start_ps_frame(PsDecoder *p, const PsFrame *frame);

// One slot (0..31 of the frame): the mono QMF row of the slot and the
// first kMaxSplit bands of the row 6 slots later in, left and right out
// (left may be in).
void ps_slot(PsDecoder *p, int slot, const int32_t ahead[kMaxSplit][2],
             const int32_t in[kQmfBands][2], int32_t left[kQmfBands][2],
             int32_t right[kQmfBands][2]);

}  // namespace fxaac::ps

#endif  // FXAAC_PS_PS_DECODER_H
