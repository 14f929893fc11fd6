// The SBR extension payload's syntax (ISO/IEC 14496-3 4.4.2.8, semantics in
// 4.5.2.8, time grid in 4.6.18.3.3): sbr_header() and sbr_data() of one
// single channel or channel pair element, into the records of sbr_types.h.
//
// The caller runs sbr_extension_data() of a fill element itself:
//   extension_payload(cnt):  extension_type (4 bits, EXT_SBR_DATA 13 or
//                            EXT_SBR_DATA_CRC 14), then 8*cnt - 4 bits:
//     bs_sbr_crc_bits        10 bits, only for EXT_SBR_DATA_CRC
//     bs_header_flag         1 bit
//     sbr_header()           read_sbr_header, when the flag is 1; rebuild
//                            the FrequencyTables (and reset the delta
//                            history, sbr_deltas.h) when sbr_header_resets
//     sbr_data()             read_sbr_data, then resolve_deltas
//     bs_fill_bits           the rest, up to the payload's end
// so the bits add up as 8*cnt - 4 = [10] + 1 + header + data + fill, fill >= 0.
// Both readers take endBit, the cursor's bitsConsumed at the payload's end
// (after the extension type: its position + 8*cnt - 4), and fail with
// kSbrOverrun when their fields would pass it; the caller then skips to
// endBit. A payload whose fill would be negative never parses.
//
// On failure the output records are partly written and must not be used;
// the cursor stands somewhere inside the payload. Nothing is ever read
// outside the cursor's bytes (it reads zeros past its end and flags it).
#ifndef FXAAC_SBR_SBR_SYNTAX_H
#define FXAAC_SBR_SBR_SYNTAX_H

#include <cstdint>

#include "bitstream/bit_reader.h"
#include "sbr/sbr_types.h"

namespace fxaac::sbr {

// Results of the readers and of resolve_deltas (sbr_deltas.h).
constexpr int32_t kSbrOk = 0;
constexpr int32_t kSbrOverrun = -1;        // a field or Huffman code runs past the payload
constexpr int32_t kSbrBadTables = -2;      // band counts outside the records' limits
constexpr int32_t kSbrEnvelopeCount = -3;  // more than 5 envelopes (8 FIXFIX, 6 or 7 VARVAR)
constexpr int32_t kSbrBorderOrder = -4;    // envelope borders not strictly increasing
constexpr int32_t kSbrPointer = -5;        // bs_pointer beyond L_E + 1
constexpr int32_t kSbrRange = -6;          // a resolved scalefactor outside its range
constexpr int32_t kSbrNoHistory = -7;      // time deltas with no previous frame to refer to

constexpr int kEnvStartBits = 7;  // bs_env_start_value_level at 1.5 dB; one less at 3 dB
constexpr int kNoiseStartBits = 5;
constexpr int kExtensionIdPs = 2;  // EXTENSION_ID_PS of bs_extension_id

struct HuffmanTree;

// One Huffman-coded value of the SBR and PS codebooks (sbr_tables.h): the
// codebook index less its lav.
int read_huffman_delta(BitCursor *r, const HuffmanTree &tree);

// Where the parametric stereo data of sbr_data()'s extended data lies: the
// cursor at ps_data() (after its 2-bit bs_extension_id) and the bits from
// there to the end of the extended data, which ps_data() and whatever
// extensions follow it share (their lengths are known only by parsing them).
struct SbrExtension {
    bool hasPs;
    int32_t psBits;
    BitCursor psCursor;
};

// sbr_header() after bs_header_flag = 1: the fields, with the defaults of
// the optional parts applied (bs_freq_scale 2, bs_alter_scale 1,
// bs_noise_bands 2, bs_limiter_bands 2, bs_limiter_gains 2,
// bs_interpol_freq 1, bs_smoothing_mode 1). 16 to 24 bits.
int32_t read_sbr_header(BitCursor *r, int32_t endBit, SbrHeader *h);

// True when the change from prev to next rebuilds the frequency tables and
// resets the decoder (ISO/IEC 14496-3 4.6.18.3: a change of bs_start_freq,
// bs_stop_freq, bs_freq_scale, bs_alter_scale, bs_xover_band or
// bs_noise_bands).
bool sbr_header_resets(const SbrHeader &prev, const SbrHeader &next);

// True when t's band counts fit the records (1..48 high, 1..24 low, 1..5
// noise bands); both read_sbr_data and resolve_deltas refuse other tables.
bool sbr_tables_fit(const FrequencyTables &t);

// sbr_data() of a single channel element (pair false) or a channel pair
// element, with the band counts of t and the header's bs_amp_res. Leaves in
// f the grids (borders t_E, t_Q, l_A), the flags and the raw codes of the
// envelopes and noise floors: per envelope, with dfEnv 0 a start value then
// frequency deltas, with dfEnv 1 time deltas, one per band; noise likewise.
// resolve_deltas turns them into absolute values. The second channel of a
// coupled pair copies the first one's grid, ampRes and invfMode. The extended
// data is skipped; ext (may be null) tells where parametric stereo data is.
int32_t read_sbr_data(BitCursor *r, int32_t endBit, const SbrHeader &h, const FrequencyTables &t,
                      bool pair, SbrFrameData *f, SbrExtension *ext);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_SYNTAX_H
