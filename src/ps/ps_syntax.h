// The parametric stereo payload (ISO/IEC 14496-3 8.4, semantics 8.5, delta
// decoding 8.6.3): ps_data() as it lies in the SBR extended data
// (bs_extension_id EXTENSION_ID_PS), read into a PsFrame with its deltas
// resolved against what the last frames left.
#ifndef FXAAC_PS_PS_SYNTAX_H
#define FXAAC_PS_PS_SYNTAX_H

#include <cstdint>

#include "bitstream/bit_reader.h"
#include "ps/ps_types.h"

namespace fxaac::ps {

// Why a ps_data() is refused.
constexpr int32_t kPsNoHeader = -40;      // frames before the first header
constexpr int32_t kPsReservedMode = -41;  // iid_mode or icc_mode 6 or 7
constexpr int32_t kPsBorderOrder = -42;   // border positions not rising
constexpr int32_t kPsRange = -43;         // a resolved value outside its grid
constexpr int32_t kPsOverrun = -44;       // the data runs past the extended data

// What persists from frame to frame: the header's fields and the last
// envelope's values (with their band counts, 0 before any) for time deltas.
struct PsSyntaxState {
    uint8_t headerSeen;
    uint8_t enableIid, iidMode;
    uint8_t enableIcc, iccMode;
    uint8_t enableExt;
    uint8_t iidBands, iccBands, phaseBands;  // of the values below
    uint8_t reserved;
    int8_t iid[kMaxParBands];
    int8_t icc[kMaxParBands];
    int8_t ipd[kMaxPhaseBands];
    int8_t opd[kMaxPhaseBands];
};

void reset_ps_syntax(PsSyntaxState *s);

// Reads one ps_data() from r, never past endBit (the cursor's bit position
// at the end of the extended data). Returns 0 with f filled, or a negative
// code; then f is not to be used and s is as it was.
int32_t read_ps_data(BitCursor *r, int32_t endBit, PsSyntaxState *s, PsFrame *f);

}  // namespace fxaac::ps

#endif  // FXAAC_PS_PS_SYNTAX_H
