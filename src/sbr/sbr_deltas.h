// Delta decoding of the SBR envelope scalefactors and noise floors
// (ISO/IEC 14496-3 4.6.18.3.5): the raw codes that read_sbr_data leaves in
// SbrChannelData become absolute quantised values E(k,l) and Q(k,l).
//
// Frequency direction (bs_df_env / bs_df_noise 0): the start value, then
// each band adds its delta to the band below. Time direction (1): each band
// adds its delta to the same frequency in the previous envelope (noise
// floor), which for the first one of a frame is the previous frame's last.
// Envelopes of different resolutions are matched through the band edges: a
// low-resolution band takes the high band starting at its lower edge
// (f_TableLow(k) = f_TableHigh(i)), a high-resolution band takes the low
// band that holds its lower edge (f_TableLow(i) <= f_TableHigh(k) <
// f_TableLow(i + 1)). The second channel of a coupled pair carries balance
// values; all its codes, start values included, count twice.
//
// Valid ranges, checked at every band: level scalefactors 0..127 at 1.5 dB
// and 0..63 at 3 dB, balance 0..48 and 0..24 (twice panOffset 24 / 12);
// noise floors 0..30, noise balance 0..24.
#ifndef FXAAC_SBR_SBR_DELTAS_H
#define FXAAC_SBR_SBR_DELTAS_H

#include <cstdint>

#include "sbr/sbr_types.h"

namespace fxaac::sbr {

// What time deltas of one channel refer to: the last envelope and noise
// floor of the channel's previous frame. valid 0 (the zero record, after a
// reset or a damaged frame) means there is none: a frame whose first
// envelope or noise floor is time coded is then refused.
struct SbrDeltaHistory {
    int16_t envelope[kMaxHighBands];     // E(k, L_E - 1), bands of freqRes
    int16_t noiseFloor[kMaxNoiseBands];  // Q(k, L_Q - 1)
    uint8_t freqRes;                     // resolution of envelope: 0 low, 1 high
    uint8_t valid;
};

// No history: at the start, after a header that resets (sbr_header_resets)
// and after any error of read_sbr_data for the element.
inline void reset_delta_history(SbrDeltaHistory *h) { *h = SbrDeltaHistory{}; }

// Resolves f's channels in place with the tables f was read with, and on
// success leaves each channel's last envelope and noise floor in
// hist[channel]. On failure (kSbrRange, kSbrNoHistory, kSbrBadTables) every
// channel's history of the element is reset, so that the next frame must
// start with frequency deltas.
int32_t resolve_deltas(const FrequencyTables &t, SbrFrameData *f, SbrDeltaHistory hist[2]);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_DELTAS_H
