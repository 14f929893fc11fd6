// Command-line test driver, built into the library: decodes a compressed
// file frame by frame into a WAV file and times every frame call. The
// program fxaac_testdriver is a thin main over these functions:
//
//   fxaac_testdriver <input> <output.wav> <fs> <chn> <HdrPrsnt>
//
// The input is read through a 2048-byte window that always starts with the
// first unconsumed byte; each frame is decoded from the start of the window
// and the window is then refilled by the bytes the frame consumed. All memory
// is static: the decoder instance and its work area live in one block that the
// driver hands to the library.
#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fxaac/fxaac.h>

#include "testdriver/test_driver.h"

namespace {

constexpr int32_t kMemorySize = 20860;      // bytes of the block declared to the decoder
constexpr int32_t kWindowBytes = 2048;      // input window actually used
constexpr int32_t kMaxTimedFrames = 10000;  // frames decoded before the driver stops
constexpr uint32_t kMinStart = 100000000;   // start value of the minimum frame time

// The instance sits at the start of the memory block and the work area 8444
// bytes in. That offset is a multiple of 4 only: enough on 32-bit targets,
// where the work area holds nothing wider than 32 bits, but not for the
// pointers of the instance and element record on 64-bit hosts. The offset is
// therefore rounded up to the work area's alignment: 8444 on 32-bit ARM, 8448
// on 64-bit hosts. The work area still ends well inside the declared size.
constexpr size_t kInstanceBytes = FXAAC_INSTANCE_MAX_BYTES;
constexpr size_t kWorkAlign = alignof(DecoderWorkArea);
constexpr size_t kWorkOffset = (kInstanceBytes + kWorkAlign - 1) / kWorkAlign * kWorkAlign;
static_assert(sizeof(AacDecoder) <= kWorkOffset, "the instance fits before the work area");
static_assert(kWorkOffset + sizeof(DecoderWorkArea) <= kMemorySize,
              "the work area fits the declared memory size");

}  // namespace

// Decode duration of each frame, in microseconds.
struct FrameTimes {
    uint32_t usec[kMaxTimedFrames];
    int32_t count;
};

// The memory block is larger than the size declared to the decoder; aligned
// for the instance, whose first fields are 32-bit and whose last are pointers.
alignas(16) static uint8_t sram_phy_addr[41720];
alignas(16) static uint8_t pubInpBuffer[8192];
alignas(16) static uint8_t pvOutBuffer[16384];
static DriverObject pObjAacDec;
static int32_t get_info[2];  // [1]: memory size given to the decoder
static int32_t VorNexFrameNumber;
static FrameTimes frameTimes;

extern "C" {

uint32_t now_usec(void)
{
    timeval tv;
    gettimeofday(&tv, nullptr);
    // Wraps modulo 2^32; frame durations are differences and survive the wrap.
    return static_cast<uint32_t>(tv.tv_usec) + 1000000u * static_cast<uint32_t>(tv.tv_sec);
}

int32_t AACPlus_memory_INIT(DriverObject *object, uint8_t *memory, int32_t size)
{
    if (size > 0)
        std::memset(memory, 0, static_cast<size_t>(size));
    object->pMem = memory;
    object->pInst = reinterpret_cast<AacDecoder *>(memory);
    object->pWork = reinterpret_cast<DecoderWorkArea *>(memory + kWorkOffset);
    if (size >= kMemorySize)
        return 0;
    std::printf("%d %d\n", kMemorySize, size);
    std::puts(" mem size over");
    return -1;
}

void AACPlus_decoder_INIT(DriverObject *object, DecoderConfig *config, uint8_t *input,
                          uint8_t * /*output: not needed before the first frame*/)
{
    VorNexFrameNumber = 0;
    AACPlusDecoderInit(object->pInst, object->pWork);
    object->status.bytesConsumed = 0;
    object->status.errorCode = 0;
    object->status.outputSamples = 0;

    const int32_t r = AACPlusHeaderDecode(*config, object->pInst, input);
    config->usedBytes = 0;
    config->chn = object->pInst->channels;
    config->fs = object->pInst->sampleRate;
    // A refused header does not stop the driver: decoding starts anyway and
    // the frame calls report what they make of the stream.
    if (r < 0) {
        object->status.errorCode = r;
        config->errCode = r;
    } else {
        object->status.bytesConsumed = r;
        config->usedBytes = r;
    }
}

int32_t AACPlusDecodeMain(DriverObject *object, DecoderConfig *config, uint8_t *input,
                          uint8_t *output)
{
    const int32_t sbrFlag = 0;  // the driver always asks for PCM
    // The trusting frame call: the window lies in an 8192-byte buffer, so its
    // reads stay inside the buffer even past the 2048 bytes in use.
    AACPlusDecode(object->pInst, input, output, &object->status, &sbrFlag);
    config->outSamples = object->status.outputSamples;
    // A header may announce no channels (ADTS channel_configuration 0, whose
    // program config element comes in the frames), and so may the command
    // line: the first frame with samples tells the channel count, which the
    // sample frame count and the final WAV header then use.
    if (config->chn <= 0 && config->outSamples > 0)
        config->chn = config->outSamples / FXAAC_FRAME_LENGTH;
    config->usedBytes = object->status.bytesConsumed;
    config->errCode = object->status.errorCode;
    config->sbrMode = sbrFlag;
    return object->status.outputSamples * 2;
}

void AACPlus_decoder_DEINIT(DriverObject *object)
{
    // Nothing to free: the memory is static.
    object->pMem = nullptr;
    object->pWork = nullptr;
}

int32_t ReadInputData(int32_t *valid, int32_t *consumed, uint8_t *buffer, FILE *inFile)
{
    const int32_t used = *consumed;
    if (used <= 0)
        return 0;
    // Keep the unconsumed bytes at the front and refill the freed tail. A
    // frame that claims more than the window (a corrupt ADTS length) has the
    // excess skipped in the file, so the window still starts where the
    // decoder's count says.
    const int32_t keep = used < kWindowBytes ? kWindowBytes - used : 0;
    if (keep > 0)
        std::memmove(buffer, buffer + used, static_cast<size_t>(keep));
    else if (used > kWindowBytes)
        std::fseek(inFile, used - kWindowBytes, SEEK_CUR);
    const int32_t want = kWindowBytes - keep;
    const int32_t got = static_cast<int32_t>(
        std::fread(buffer + keep, 1, static_cast<size_t>(want), inFile));
    if (got == want) {
        *consumed = 0;
        return 0;
    }
    // From the first short read on, valid counts the real data left in the
    // window; the tail behind it keeps stale bytes.
    *valid = *valid - used + got;
    if (*valid > 0) {
        *consumed = 0;
        return 0;
    }
    std::printf("\n Exit condition");
    return -1;
}

int32_t WriteOutputData(DecoderConfig config, int32_t total, const uint8_t *buffer, FILE *outFile)
{
    const int32_t samples = config.outSamples;
    if (samples > 0)
        std::fwrite(buffer, 2, static_cast<size_t>(samples), outFile);
    return total + samples / fxaac_driver::output_channels(config.chn);
}

void show_statistics(void)
{
    const int32_t n = frameTimes.count;
    uint32_t min = kMinStart;
    uint32_t max = 0;
    uint32_t sum = 0;  // a signed 32-bit total, accumulated without overflow traps
    double squares = 0.0;
    for (int32_t i = 0; i < n; i++) {
        const uint32_t t = frameTimes.usec[i];
        if (t < min)
            min = t;
        if (t > max)
            max = t;
        sum += t;
        squares += static_cast<double>(t * t) / n;  // the square is exact below 65536 us
    }
    // With no frames avg and var come out as 0/0, not a number.
    const double avg = static_cast<double>(static_cast<int32_t>(sum)) / n;
    const double var = squares - avg * avg;
    std::printf("Total number of encoded frames: %d\n", n);
    std::printf("min: %d, max: %d, avg: %.2f, var: %.2f (usec)\n", static_cast<int>(min),
                static_cast<int>(max), avg, var);
}

int32_t AACPlus_decoder(DecoderConfig config, FILE *inFile, FILE *outFile)
{
    if (inFile == nullptr || outFile == nullptr) {
        std::printf("Error opening input ot output file\n ");
        return 1;
    }
    get_info[1] = kMemorySize;
    int32_t valid = static_cast<int32_t>(std::fread(pubInpBuffer, 1, kWindowBytes, inFile));
    std::printf("get_info.buf_size:%d\n", get_info[1]);

    if (AACPlus_memory_INIT(&pObjAacDec, sram_phy_addr, kMemorySize) < 0) {
        std::puts("**************AACPlus_memory_INIT failed****************");
        std::exit(1);
    }
    AACPlus_decoder_INIT(&pObjAacDec, &config, pubInpBuffer, pvOutBuffer);

    int32_t frame = 1;
    int32_t consumed = config.usedBytes;  // the header's length
    int32_t total = 0;
    WriteWaveHeader(config, outFile, 1);

    for (;;) {
        if (ReadInputData(&valid, &consumed, pubInpBuffer, inFile) == -1)
            break;
        const uint32_t t0 = now_usec();
        const int32_t result = AACPlusDecodeMain(&pObjAacDec, &config, pubInpBuffer, pvOutBuffer);
        const uint32_t t1 = now_usec();
        // The timing table holds 10000 frames; the frame after them is
        // decoded but neither written nor timed.
        if (frame == kMaxTimedFrames + 1) {
            std::puts("Warning: maximum frame number reached");
            break;
        }
        frame++;
        frameTimes.usec[frameTimes.count++] = t1 - t0;
        std::printf("F%d*", frame);
        consumed += config.usedBytes;
        if (config.errCode > 0)
            std::printf("\nError: %d\n", config.errCode);
        total = WriteOutputData(config, total, pvOutBuffer, outFile);
        // A frame without samples (failed, or without channel elements) ends the run.
        if (result <= 0)
            break;
    }

    WriteWaveHeaderEnd(config, outFile, total);
    AACPlus_decoder_DEINIT(&pObjAacDec);
    std::fclose(inFile);
    std::fclose(outFile);
    show_statistics();
    return 0;
}

}  // extern "C"
