// WAV output of the test driver: a 44-byte RIFF/WAVE header in front of raw
// 16-bit little-endian PCM. A placeholder header goes out before the first
// samples; the real sizes are written over it once the last frame is known.
#ifndef FXAAC_TESTDRIVER_WAV_WRITER_H
#define FXAAC_TESTDRIVER_WAV_WRITER_H

#include <cstdint>
#include <cstdio>

#include <fxaac/fxaac.h>

extern "C" {

// Little-endian field writers: least significant byte first, whatever the
// machine's byte order. Each returns the last character written (EOF on error).
FXAAC_API int Write16BitsLowHigh(FILE *fp, int32_t value);
FXAAC_API int Write24BitsLowHigh(FILE *fp, int32_t value);
FXAAC_API int Write32BitsLowHigh(FILE *fp, int32_t value);

// Writes the 44-byte header at the current file position. Returns 0, or -1
// when the stream's error indicator is set afterwards.
FXAAC_API int32_t WriteWaveHeader_AAC_DEC(FILE *fp, int32_t dataBytes, int32_t rate, int32_t chn,
                                          int32_t bits);

// Placeholder header with the largest data size; only when config.wavOut is 1
// and first is 1.
FXAAC_API void WriteWaveHeader(DecoderConfig config, FILE *fp, int32_t first);

// Seeks to the start of the file and writes the header for totalFrames sample
// frames of 16-bit samples; only when config.wavOut is 1.
FXAAC_API void WriteWaveHeaderEnd(DecoderConfig config, FILE *fp, int32_t totalFrames);

}  // extern "C"

namespace fxaac_driver {

// Channel count used for frame counting and WAV headers. A stream may announce
// 0 channels (ADTS channel_configuration 0) and the command line may give 0 or
// less; the driver then treats the samples as one channel, so that frame counts
// never divide by zero and the header's data size matches the bytes written.
inline int32_t output_channels(int32_t chn) { return chn > 0 ? chn : 1; }

}  // namespace fxaac_driver

#endif  // FXAAC_TESTDRIVER_WAV_WRITER_H
