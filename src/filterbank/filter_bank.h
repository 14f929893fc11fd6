// Synthesis filterbank of ISO/IEC 14496-3 4.6.11: inverse transform of one
// channel's frame, windowing, overlap-add with the previous frame and output
// of the 1024 finished samples.
#ifndef FXAAC_FILTERBANK_FILTER_BANK_H
#define FXAAC_FILTERBANK_FILTER_BANK_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Synthesises one channel's frame.
//   window_sequence: 0 ONLY_LONG, 1 LONG_START, 2 EIGHT_SHORT, 3 LONG_STOP.
//   window_shape, previous_shape: this frame's and the previous frame's shape
//     (0 sine, 1 KBD); the previous one windows the rising (left) half.
//   spectrum: 1024 coefficients (eight short windows of 128, one after the
//     other); it may lie in time[1024..2047].
//   overlap: the channel's 1024-word overlap state, updated for the next frame.
//   time: 2048 words of transform output.
//   sbr_out: receives the 1024 samples when sbr_mode is nonzero; otherwise
//     they go to pcm_out through myOutputToPCM(swap, channels, format, channel).
// With two channels the first 4096 bytes of pcm_out are first saved to the
// area scratchB points at on entry (the second channel's spectrum lives
// there). Eight short windows leave scratchA and scratchB pointing inside
// that area; the caller resets them. Any other window_sequence does nothing.
void ifilter_bank(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                  int32_t previous_shape, int32_t *spectrum, int32_t *overlap, int32_t *sbr_out,
                  int32_t *time, void *pcm_out, int32_t swap, int32_t channels, int16_t format,
                  int32_t channel, int32_t sbr_mode);

// The same with the save of pcm_out's first 4096 bytes asked for
// explicitly (the decoder's own path: only while the second channel's
// spectrum is still to come).
void filter_bank_channel(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                         int32_t previous_shape, int32_t *spectrum, int32_t *overlap,
                         int32_t *sbr_out, int32_t *time, void *pcm_out, int32_t swap,
                         int32_t channels, int16_t format, int32_t channel, int32_t sbr_mode,
                         bool save);
}  // namespace fxaac

#endif  // FXAAC_FILTERBANK_FILTER_BANK_H
