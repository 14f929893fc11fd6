// The band layout of parametric stereo (ISO/IEC 14496-3 8.6.4): the hybrid
// filterbank splits the lowest QMF bands into sub-bands, and every sub-band or
// unsplit QMF band (a "band" here, numbered from the hybrid sub-bands up)
// belongs to one parameter band of the configuration.
//
// 20-band configuration: QMF band 0 into 8 sub-bands of which the pairs
// (2, 5) and (3, 4) are summed, kept in the order q6, q7, q0, q1, q2+q5,
// q3+q4; bands 1 and 2 into 2 each (band 1 as q1, q0: its spectrum lies
// mirrored). 10 hybrid bands, then QMF bands 3..63: 71 bands.
// 34-band configuration: QMF bands 0, 1, 2, 3, 4 into 12, 8, 4, 4, 4
// sub-bands in filter order. 32 hybrid bands, then QMF bands 5..63: 91 bands.
#ifndef FXAAC_PS_PS_LAYOUT_H
#define FXAAC_PS_PS_LAYOUT_H

#include <cstdint>

namespace fxaac::ps {

constexpr int kQmfBands = 64;
constexpr int kMaxSplit = 5;    // QMF bands split (34-band configuration)
constexpr int kMaxHybrid = 32;  // hybrid sub-bands (34-band configuration)
constexpr int kMaxBands = kMaxHybrid + kQmfBands - kMaxSplit;  // 91

struct Layout {
    uint8_t split;        // QMF bands split: 3 or 5
    uint8_t hybrid;       // hybrid sub-bands: 10 or 32
    uint8_t bands;        // hybrid + unsplit QMF bands: 71 or 91
    uint8_t parBands;     // 20 or 34
    uint8_t phaseBands;   // parameter bands with ipd/opd: 11 or 17
    uint8_t allpass;      // bands through the all-pass links: those of QMF bands < 23
    uint8_t longDelay;    // first band of the 14-slot delay (QMF band 23)
    uint8_t shortDelay;   // first band of the 1-slot delay (QMF band 35)
    uint8_t negative[3];  // hybrid sub-bands of negative frequency (conjugate phases)
    uint8_t negativeCount;
    const uint8_t *hybridPar;   // parameter band of each hybrid sub-band
    const uint8_t *qmfBorders;  // parameter bands of the unsplit QMF bands: borders
    uint8_t firstQmfPar;        // parameter band of qmfBorders[0]
};

inline constexpr uint8_t kHybridPar20[10] = {1, 0, 0, 1, 2, 3, 4, 5, 6, 7};
inline constexpr uint8_t kQmfBorders20[13] = {3, 4, 5, 6, 7, 8, 9, 11, 14, 18, 23, 35, 64};
inline constexpr uint8_t kHybridPar34[32] = {0,  1,  2,  3,  4,  5,  6,  6,  7,  2,  1,
                                             0,  10, 10, 4,  5,  6,  7,  8,  9,  10, 11,
                                             12, 9,  14, 11, 12, 13, 14, 15, 16, 13};
inline constexpr uint8_t kQmfBorders34[19] = {5,  6,  7,  8,  9,  10, 11, 13, 15, 17,
                                              19, 21, 24, 27, 30, 33, 37, 41, 64};

inline constexpr Layout kLayout20 = {
    3, 10, 71, 20, 11, 30, 30, 42, {0, 1, 0}, 2, kHybridPar20, kQmfBorders20, 8};
inline constexpr Layout kLayout34 = {
    5, 32, 91, 34, 17, 50, 50, 62, {9, 10, 11}, 3, kHybridPar34, kQmfBorders34, 16};

// The 20 parameter bands onto the 34 (bands 1 and 4 of the 34 lie across two
// of the 20 in the hybrid range and take their mean).
inline constexpr uint8_t kPar20To34[34] = {0,  0,  1,  2,  2,  3,  4,  4,  5,  5,  6,  7,
                                           8,  8,  9,  9,  10, 11, 12, 13, 14, 14, 15, 15,
                                           16, 16, 17, 17, 18, 18, 18, 18, 19, 19};

}  // namespace fxaac::ps

#endif  // FXAAC_PS_PS_LAYOUT_H
