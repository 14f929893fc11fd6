// fxaac_testdriver: decodes a compressed file into a WAV file through the
// test driver built into the library, and prints per-frame progress and
// timing statistics.
//
//   fxaac_testdriver <input> <output.wav> <fs> <chn> <HdrPrsnt>
//
// Exit status 1 on a wrong argument count or a file that cannot be opened,
// else 0 (decoding problems are reported on standard output).
#include <cstdio>
#include <cstdlib>

#include "testdriver/test_driver.h"

// The stream configuration from the command line, and a copy of it that the
// driver keeps without reading it back.
static DecoderConfig SbrConfigHandle;
static DecoderConfig SbrConfigHandle1;

int main(int argc, char *argv[])
{
    if (argc != 6) {
        std::printf("usage: < %s > < input.aac> <output.pcm>  <fs>  <chn>  <HdrPrsnt> \n ",
                    argc > 0 ? argv[0] : "fxaac_testdriver");
        return 1;
    }
    const int32_t fs = static_cast<int32_t>(std::strtol(argv[3], nullptr, 10));
    const int32_t chn = static_cast<int32_t>(std::strtol(argv[4], nullptr, 10));
    const int32_t hdrPrsnt = static_cast<int32_t>(std::strtol(argv[5], nullptr, 10));
    // The echo names the program in its text field.
    std::printf("%s, %d, %d ,%d, %d\n", argv[0], fs, chn, 0, hdrPrsnt);

    DecoderConfig config = {};
    config.hdrPrsnt = hdrPrsnt;
    config.fs = fs;
    config.chn = chn;
    config.pcmWidth = 1;  // 16-bit samples
    config.wavOut = 1;
    config.sbrDownsampled = 0;
    SbrConfigHandle = config;
    SbrConfigHandle1 = config;

    FILE *inFile = std::fopen(argv[1], "rb");
    FILE *outFile = std::fopen(argv[2], "wb");
    if (inFile == nullptr || outFile == nullptr) {
        std::puts("file open error!");
        return 1;
    }
    if (AACPlus_decoder(SbrConfigHandle, inFile, outFile) == 0)
        std::printf("\nFinished Deocding\n ");
    else
        std::puts("Decoding  failed...");
    return 0;
}
