// Dequantisation of the SBR envelope scalefactors and noise floors
// (ISO/IEC 14496-3 4.6.18.3.5), as SoftFloat energies in the scale of the
// standard (16-bit PCM units, see hf_adjustment.h).
#ifndef FXAAC_SBR_ENVELOPE_DEQUANT_H
#define FXAAC_SBR_ENVELOPE_DEQUANT_H

#include "sbr/sbr_types.h"
#include "sbr/soft_float.h"

namespace fxaac::sbr {

// E_orig of scalefactor band i (< kMaxHighBands) of envelope l (< kMaxEnvelopes)
// of channel ch (0 or 1) of f:
//   independent:          64 * 2^(E/a)
//   coupled, level ch 0:  64 * 2^(E_0/a + 1) / (1 + 2^((P - E_1)/a))
//   coupled, ch 1:        64 * 2^(E_0/a + 1) / (1 + 2^((E_1 - P)/a))
// a = 2 for 1.5 dB steps, 1 for 3.0 dB steps (ampRes of ch, or of ch 0 for
// a coupled pair, whose channels share the grid and so the resolution), and
// the panning offset P = 24 for 1.5 dB steps, 12 for 3.0 dB steps. Values
// are clamped to -128 .. 255 first (far outside what a valid stream codes).
SoftFloat envelope_energy(const SbrFrameData &f, int ch, int l, int i);

// Q_orig of noise band i (< kMaxNoiseBands) of noise floor q (< kMaxNoiseEnvelopes):
//   independent:  2^(6 - Q)
//   coupled:      2^(7 - Q_0) / (1 + 2^(12 - Q_1)) for ch 0, / (1 + 2^(Q_1 - 12)) for ch 1
SoftFloat noise_floor_level(const SbrFrameData &f, int ch, int q, int i);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_ENVELOPE_DEQUANT_H
