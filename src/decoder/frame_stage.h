// The library's internal entry points into frame decoding and stream set-up,
// for transports other than the ones the exported calls read themselves.
// Hidden: they are not part of the exported interface.
#ifndef FXAAC_DECODER_FRAME_STAGE_H
#define FXAAC_DECODER_FRAME_STAGE_H

#include <cstdint>

#include <fxaac/fxaac.h>

#include "bitstream/bit_reader.h"

namespace fxaac {

// The frame call of AACPlusDecodeBuffer: one raw data block (or ADTS frame)
// in inputBytes bytes, never read past; it prints nothing.
int32_t decode_raw_data(AacDecoder *instance, const uint8_t *input, int32_t inputBytes,
                        void *output, FrameStatus *status, const int32_t *sbrFlag);

// Sets up the instance for the AudioSpecificConfig at the reader, as header
// decoding does for an AudioSpecificConfig stream (the reader starts on the
// config's first byte). Returns the config's length in bytes, or a negative
// FxaacStatus code.
int32_t configure_audio_specific_config(AacDecoder *instance, BitCursor *reader);

}  // namespace fxaac

#endif  // FXAAC_DECODER_FRAME_STAGE_H
