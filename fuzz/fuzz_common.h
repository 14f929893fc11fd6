// Shared pieces of the fuzz targets: exactly sized heap copies, a decoder
// whose instance and work area are separate heap blocks of their exact size
// (so that AddressSanitizer sees a write past either), and the frame loop
// over the bounded entry point with the checks of its documented contract.
#ifndef FXAAC_FUZZ_COMMON_H
#define FXAAC_FUZZ_COMMON_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fxaac/fxaac.h>

// A broken promise of the library: print it and abort, which the fuzzer
// records as a crash like any sanitizer report.
#define FUZZ_CHECK(cond, ...)                                                                      \
    do {                                                                                           \
        if (!(cond)) {                                                                             \
            std::fprintf(stderr, "fxaac fuzz check failed: %s: ", #cond);                          \
            std::fprintf(stderr, __VA_ARGS__);                                                     \
            std::fputc('\n', stderr);                                                              \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)

namespace fxaac_fuzz {

// Header decoding takes no length. It reads the header plus 3 bytes, and the
// longest header (ADIF with sixteen program config elements, each with a
// full 255-byte comment) is under 5 KB, so 8192 zero bytes after the data
// cover any header the data can start. A read past them is a fault whatever
// the data say.
constexpr size_t kHeaderPadding = 8192;

// A heap block of exactly n bytes holding data, then pad zero bytes.
inline std::unique_ptr<uint8_t[]> exact_copy(const uint8_t *data, size_t n, size_t pad = 0)
{
    std::unique_ptr<uint8_t[]> p(new uint8_t[n + pad]);
    if (n > 0)
        std::memcpy(p.get(), data, n);
    if (pad > 0)
        std::memset(p.get() + n, 0, pad);
    return p;
}

struct Decoder {
    std::unique_ptr<AacDecoder> dec{new AacDecoder};
    std::unique_ptr<DecoderWorkArea> work{new DecoderWorkArea};

    Decoder() { AACPlusDecoderInit(dec.get(), work.get()); }
};

struct LoopResult {
    int calls = 0;
    int decoded = 0;  // calls that wrote samples
};

// Calls AACPlusDecodeBuffer on data[0, size) until it asks for more input or
// maxCalls calls were made, advancing by the bytes each call consumed (one
// byte when a failing call consumed none, as a caller skipping damage would).
// data must be a heap block of exactly size bytes. The output buffer is an
// exactly sized heap block too: 4096 bytes, 8192 for 24-bit output.
inline LoopResult decode_frames(AacDecoder *dec, const uint8_t *data, size_t size, int32_t sbrFlag,
                                int maxCalls)
{
    const bool wide = dec->pcmFormat == 2;
    const size_t outBytes = wide ? 8192 : 4096;
    std::unique_ptr<uint8_t[]> output(new uint8_t[outBytes]);
    std::unique_ptr<AacDecoder> before(new AacDecoder);
    LoopResult result;
    size_t pos = 0;
    while (result.calls < maxCalls) {
        const int32_t left = static_cast<int32_t>(size - pos);
        std::memcpy(before.get(), dec, sizeof *dec);
        FrameStatus st;
        std::memset(&st, 0x55, sizeof st);
        const int32_t ret = AACPlusDecodeBuffer(dec, data + pos, left, output.get(), &st, &sbrFlag);
        result.calls++;
        FUZZ_CHECK(ret == 1 || ret == -1, "return value %d", ret);
        FUZZ_CHECK(st.reserved[0] == 0 && st.reserved[1] == 0, "reserved words not cleared");
        if (st.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            FUZZ_CHECK(st.bytesConsumed == 0, "%d bytes consumed", st.bytesConsumed);
            FUZZ_CHECK(st.outputSamples == 0, "%d samples", st.outputSamples);
            FUZZ_CHECK(std::memcmp(before.get(), dec, sizeof *dec) == 0,
                       "instance changed by a call that asked for more input");
            break;
        }
        FUZZ_CHECK(st.bytesConsumed >= 0 && st.bytesConsumed <= left,
                   "%d bytes consumed of %d given (error %d, call %d, at byte %zu)",
                   st.bytesConsumed, left, st.errorCode, result.calls, pos);
        FUZZ_CHECK(st.outputSamples >= 0 &&
                       st.outputSamples <= FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH,
                   "%d samples", st.outputSamples);
        if (st.outputSamples > 0)
            result.decoded++;
        pos += st.bytesConsumed > 0 ? static_cast<size_t>(st.bytesConsumed) : 1;
        if (pos > size)
            break;  // a failing call with nothing left: the one-byte skip ends the data
    }
    static const bool verbose = std::getenv("FXAAC_FUZZ_VERBOSE") != nullptr;
    if (verbose)
        std::fprintf(stderr, "%d calls, %d decoded, %zu of %zu bytes consumed\n", result.calls,
                     result.decoded, pos > size ? size : pos, size);
    return result;
}

}  // namespace fxaac_fuzz

#endif  // FXAAC_FUZZ_COMMON_H
