// Reconstruction: each channel's quantised values to its spectrum in window
// order, then the spectral tools of the block (ISO/IEC 14496-3 4.6).
#ifndef FXAAC_DECODER_RECONSTRUCTION_H
#define FXAAC_DECODER_RECONSTRUCTION_H

#include <fxaac/fxaac.h>

#include "decoder/block_parse.h"
#include "decoder/frame_buffers.h"

namespace fxaac {

// One channel's quantised values to its scaled spectrum in window order;
// eight short windows are dequantised into grouped (1024 words) first.
void dequantize_channel(const ChannelStream *s, const int16_t *quantised, int32_t *spectrum,
                        int32_t *grouped, bool precise = false);

// Dequantisation and scale factors per channel, then per channel M/S (on the
// first channel's turn), noise substitution, intensity stereo and TNS.
// Leaves each channel's window sequence and shape in the block.
void reconstruct_block(AacDecoder *dec, FrameBuffers *buf, Block *b);

}  // namespace fxaac

#endif  // FXAAC_DECODER_RECONSTRUCTION_H
