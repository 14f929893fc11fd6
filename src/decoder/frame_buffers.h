// The buffers of one frame call, stated once. N = 1024 lines; W = the
// caller's work area (DecoderWorkArea); E = the element record in its last
// 4096 bytes; O = the caller's output buffer. Offsets in bytes.
//
//   quantised[0]   W + 6N  channel 0's quantised values (16-bit) until they
//                          are expanded in place into spectrum[0]
//   spectrum[0]    W + 4N  channel 0's spectrum (32-bit)
//   sections       W + 4N  the six section lists of the parse, 720 bytes,
//                          dead once the spectra are parsed
//   quantised[1]   W       channel 1's quantised values while parsing, then
//                          moved to O + 2N for reconstruction
//   spectrum[1]    O       channel 1's spectrum until channel 0's samples
//                          are written over it; the filterbank first saves
//                          it to E (scratchB), where it stays
//   grouped, time  W       short-window dequantisation before de-interleaving;
//                          in synthesis the 2048-word time buffer (scratchA)
//   scratchB       E       synthesis scratch: the element record is dead
//                          once the block is reconstructed
#ifndef FXAAC_DECODER_FRAME_BUFFERS_H
#define FXAAC_DECODER_FRAME_BUFFERS_H

#include <cstdint>

#include <fxaac/fxaac.h>

namespace fxaac {

struct FrameBuffers {
    int16_t *quantised[2];    // per output channel, as parsed
    int16_t *movedQuantised;  // O + 2N: channel 1's quantised values in reconstruction
    int32_t *spectrum[2];     // per output channel, in window order after dequantisation
    int32_t *savedSpectrum;   // E: channel 1's spectrum once channel 0's samples are out
    int32_t *work;            // W: grouped short windows, then the synthesis time buffer
    uint8_t *sections;        // W + 4N: the section lists of both streams
};

// The plan for one call: the instance's work area and the caller's output.
FrameBuffers plan_frame_buffers(AacDecoder *dec, void *output);

}  // namespace fxaac

#endif  // FXAAC_DECODER_FRAME_BUFFERS_H
