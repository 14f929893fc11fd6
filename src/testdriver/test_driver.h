// The command-line test driver's functions, exported by the library under
// their names; fxaac_testdriver is a thin main over them. The driver keeps
// its memory in static storage of the library (the decoder's memory block,
// the input window, the output buffer, the frame times); nothing else in the
// library touches it.
#ifndef FXAAC_TESTDRIVER_TEST_DRIVER_H
#define FXAAC_TESTDRIVER_TEST_DRIVER_H

#include <cstdint>
#include <cstdio>

#include <fxaac/fxaac.h>

#include "testdriver/wav_writer.h"

// The driver's view of one decoder: where its memory lies, and the status
// record handed to every frame call.
struct DriverObject {
    AacDecoder *pInst;
    uint8_t *pMem;
    DecoderWorkArea *pWork;
    FrameStatus status;
};

FXAAC_EXTERN_C_BEGIN
// Decodes inFile into outFile as a WAV file: 0, or 1 when a file is missing.
FXAAC_API int32_t AACPlus_decoder(DecoderConfig config, FILE *inFile, FILE *outFile);
// Clears size bytes of memory and places the instance and work area in it:
// 0, or -1 when size is below the 20860 bytes the driver needs.
FXAAC_API int32_t AACPlus_memory_INIT(DriverObject *object, uint8_t *memory, int32_t size);
// Initialises the decoder and decodes the stream header at input.
FXAAC_API void AACPlus_decoder_INIT(DriverObject *object, DecoderConfig *config, uint8_t *input,
                                    uint8_t *output);
// Decodes one frame from input with AACPlusDecode: the frame's output bytes.
FXAAC_API int32_t AACPlusDecodeMain(DriverObject *object, DecoderConfig *config, uint8_t *input,
                                    uint8_t *output);
FXAAC_API void AACPlus_decoder_DEINIT(DriverObject *object);
// Refills the 2048-byte input window by the bytes consumed: 0, or -1 at the
// end of the data.
FXAAC_API int32_t ReadInputData(int32_t *valid, int32_t *consumed, uint8_t *buffer, FILE *inFile);
// Appends the last frame's 16-bit samples: the new total of sample frames.
FXAAC_API int32_t WriteOutputData(DecoderConfig config, int32_t total, const uint8_t *buffer,
                                  FILE *outFile);
// Microseconds, wrapping modulo 2^32.
FXAAC_API uint32_t now_usec(void);
// Prints the count, minimum, maximum, mean and variance of the frame times.
FXAAC_API void show_statistics(void);
FXAAC_EXTERN_C_END

#endif  // FXAAC_TESTDRIVER_TEST_DRIVER_H
