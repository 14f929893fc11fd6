// The records shared by the stages of the parametric stereo decoder (PS,
// ISO/IEC 14496-3 subpart 8): one frame's ps_data() with its deltas
// resolved, and the sizes every stage names.
//
// Time axis: a frame has 32 QMF slots (0..31). Envelope e of a frame covers
// the slots (border[e-1], border[e]], border[-1] being -1: the mixing
// coefficients move linearly from the previous envelope's values (the last
// envelope of the previous frame for e = 0) and reach this envelope's values
// at slot border[e].
#ifndef FXAAC_PS_PS_TYPES_H
#define FXAAC_PS_PS_TYPES_H

#include <cstdint>

namespace fxaac::ps {

constexpr int kSlots = 32;          // QMF slots of a 1024-sample core frame
constexpr int kMaxEnvelopes = 5;    // 4 sent, and one appended by a variable grid
constexpr int kMaxParBands = 34;    // iid/icc parameter bands (10, 20 or 34)
constexpr int kMaxPhaseBands = 17;  // ipd/opd parameter bands (5, 11 or 17)
constexpr int kIidNormalMax = 7;    // |iid index| on the normal grid
constexpr int kIidFineMax = 15;     // |iid index| on the fine grid
constexpr int kIccMax = 7;          // icc index 0..7
constexpr int kPhaseSteps = 8;      // ipd/opd index 0..7: a phase of index * pi / 4

// One frame's parameters, every value an index of its quantisation grid,
// absolute (deltas resolved), in range, per parameter band of the count the
// stream sent. A disabled parameter (enable_iid / enable_icc 0) comes as
// zeros over the bands of the other one's configuration.
struct PsFrame {
    uint8_t numEnv;      // 0: no new parameters, the previous ones hold; else 1..5
    uint8_t iidBands;    // 10, 20 or 34 (iid_mode % 3)
    uint8_t iccBands;    // 10, 20 or 34 (icc_mode % 3)
    uint8_t phaseBands;  // 0: ipd/opd off (phases 0); else 5, 11 or 17
    uint8_t fineIid;     // iid_mode >= 3: the fine grid (+-15), else +-7
    uint8_t mixingB;     // icc_mode >= 3: mixing procedure R_B, else R_A
    uint8_t bands34;     // the hybrid configuration of 34 bands (else 20)
    uint8_t reserved;
    uint8_t border[kMaxEnvelopes];  // last slot of each envelope, rising; border[numEnv-1] = 31
    int8_t iid[kMaxEnvelopes][kMaxParBands];
    int8_t icc[kMaxEnvelopes][kMaxParBands];
    int8_t ipd[kMaxEnvelopes][kMaxPhaseBands];
    int8_t opd[kMaxEnvelopes][kMaxPhaseBands];
};

}  // namespace fxaac::ps

#endif  // FXAAC_PS_PS_TYPES_H
