// LATM/LOAS transport (ISO/IEC 14496-3 1.7.3): the AudioSyncStream framing,
// AudioMuxElement with its StreamMuxConfig (muxConfigPresent = 1) and
// PayloadLengthInfo, for one program of one layer.
//
// Offsets and lengths are counted from the first bit of the element's LOAS
// header (its 11-bit sync word), which starts on a byte boundary; field
// alignment (byte_alignment) is relative to it.
#ifndef FXAAC_BITSTREAM_LATM_H
#define FXAAC_BITSTREAM_LATM_H

#include <cstdint>

#include <fxaac/fxaac.h>

namespace fxaac {

// AudioSyncStream: 11-bit syncword 0x2B7, 13-bit audioMuxLengthBytes.
constexpr int32_t kLoasHeaderBytes = 3;
constexpr uint32_t kLoasSyncWord = 0x2B7;

// Where the first LOAS sync word may start in data[0, n): the offset of the
// first sync word, or of a last byte that may begin one, or n when neither.
int32_t find_loas_sync(const uint8_t *data, int32_t n);

// Bytes of the element whose LOAS header is at data (3 readable bytes): the
// header and audioMuxLengthBytes.
int32_t loas_element_bytes(const uint8_t *data);

// One parsed AudioMuxElement.
struct LatmElement {
    bool newConfig = false;     // useSameStreamMux 0: config is the element's own
    LatmMuxConfig config = {};  // valid when newConfig
    int64_t payloadBit = 0;     // first bit of the payload
    int32_t payloadBytes = 0;   // MuxSlotLengthBytes
};

// Parses the element at data, which holds exactly its elementBytes bytes.
// current: the StreamMuxConfig in force, nullptr when there is none. Returns
// 0; FXAAC_ERR_LATM_LENGTH when the fields do not end with the element or the
// payload is longer than FXAAC_LATM_PAYLOAD_BYTES; FXAAC_ERR_LATM_NO_CONFIG
// for useSameStreamMux without a config; or the code that refuses the
// element's StreamMuxConfig or AudioSpecificConfig (then out->newConfig is
// set and the rest of the element is not parsed). sbr: configs that signal
// SBR (object type 5 or 29, the sync extension) are taken.
int32_t parse_audio_mux_element(const uint8_t *data, int32_t elementBytes,
                                const LatmMuxConfig *current, LatmElement *out, bool sbr = false);

// Copies bytes * 8 bits of data[0, dataBytes), starting at bit firstBit, to
// dst; bits past the data read as zero.
void copy_bits(uint8_t *dst, int32_t bytes, const uint8_t *data, int32_t dataBytes,
               int64_t firstBit);

}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_LATM_H
