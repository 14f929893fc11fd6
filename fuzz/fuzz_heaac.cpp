// Fuzz target: a whole HE-AAC stream through the HE-AAC calls, as a player
// would decode a file, with the checks of their documented contract.
//
// Input: a 2-byte set-up, then the stream.
//   byte 0  bits 0-1: input kind
//             0 and 3: a stream with a header (ADTS, ADIF, AudioSpecificConfig
//               alone or behind the "HEAAC" marker): AACPlusHeAacHeaderDecode
//               on an exact heap block of the stream, then AACPlusHeAacDecode
//               on the data after the header,
//             1 LOAS: AACPlusHeAacDecodeLatm element after element,
//             2 headerless raw data blocks (rate and channels from byte 1);
//           bit 2: 24-bit output; bit 3: downsampled (FXAAC_HEAAC_DOWNSAMPLED);
//           bit 4: AACPlusHeAacConceal after every call that failed;
//           bit 5: the precise arithmetic (FXAAC_HEAAC_PRECISE)
//   byte 1  headerless: bits 0-3 the core rate (kRates), bit 4: two channels
// The stream goes into one exactly sized heap block, the record and the
// LatmState are exact heap blocks, and the output block holds exactly the
// largest frame of the mode: two channels of 2048 samples (1024 downsampled).
//
// Beyond the sanitizers, every call returns 1 or -1, clears the reserved
// words and consumes no more than it was given (a LATM call at least one
// byte); a call that asks for more input consumes nothing, writes nothing
// and leaves the record's state (all but its scratch memory) and the
// LatmState as they were; samples come in
// whole frames of one or two channels at the rate decided (2048 per channel
// with SBR, 1024 downsampled or without SBR), only with error 0 or
// FXAAC_ERR_SBR_DATA (the frame call also with the negative status of a
// program config element in the block), and FXAAC_ERR_SBR_DATA always comes
// with samples.
#include "fuzz_common.h"

#include <cstddef>

#include <fxaac/fxaac_heaac.h>

#include "sbr/sbr_decoder.h"

using namespace fxaac;
using namespace fxaac_fuzz;

namespace {

constexpr size_t kSetupBytes = 2;
constexpr int kMaxCalls = 256;  // raw data blocks or LOAS elements of one input
constexpr int32_t kRates[16] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,  22050,
                                16000, 12000, 11025, 8000,  7350,  1,     200000, 0};

enum Kind { kHeader = 0, kLatm = 1, kHeaderless = 2 };

struct Run {
    std::unique_ptr<HeAacDecoder> d{new HeAacDecoder};
    std::unique_ptr<HeAacDecoder> before{new HeAacDecoder};
    std::unique_ptr<LatmState> latm{new LatmState};
    std::unique_ptr<LatmState> latmBefore{new LatmState};
    std::unique_ptr<uint8_t[]> output;
    bool down = false;
    bool conceal = false;
};

// Samples per channel of a decoded frame once the rate is decided (the
// record's downsampled mode: the flag, or single-rate SBR).
int32_t frame_length(const Run &run)
{
    FUZZ_CHECK(!run.down || run.d->downsampled == 1 || run.d->sbrActive != 1,
               "downsampled flag without the downsampled mode");
    return run.d->sbrActive == 1 && !run.d->downsampled ? FXAAC_HEAAC_FRAME_LENGTH
                                                        : FXAAC_FRAME_LENGTH;
}

void check_samples(const Run &run, const FrameStatus &st)
{
    if (st.outputSamples == 0)
        return;
    const int32_t n = frame_length(run);
    FUZZ_CHECK(st.outputSamples == n || st.outputSamples == 2 * n,
               "%d samples with %d per channel (sbrActive %d)", st.outputSamples, n,
               run.d->sbrActive);
}

constexpr size_t kUnchanged = ~size_t{0};

// The offset of the first byte of the record's state that differs between a
// and b, or kUnchanged. The state is the whole record but its scratch memory,
// which no call carries to the next: the core's work area (the caller's work
// memory of AACPlusDecoderInit), the hand-off samples, and the SBR frame
// work, which follows the SBR decoder's state in the opaque words.
size_t state_change(const HeAacDecoder &a, const HeAacDecoder &b)
{
    const size_t spans[2][2] = {
        {0, offsetof(HeAacDecoder, work)},
        {offsetof(HeAacDecoder, flags), offsetof(HeAacDecoder, sbr) + sizeof(sbr::SbrDecoder)}};
    const auto *p = reinterpret_cast<const uint8_t *>(&a);
    const auto *q = reinterpret_cast<const uint8_t *>(&b);
    for (const auto &span : spans)
        for (size_t i = span[0]; i < span[1]; i++)
            if (p[i] != q[i])
                return i;
    return kUnchanged;
}

// One call of the frame call or the LATM call on data[0, left): its checks;
// returns the bytes consumed, or -1 when it asked for more input.
int32_t call(Run &run, bool latm, const uint8_t *data, int32_t left)
{
    std::memcpy(run.before.get(), run.d.get(), sizeof(HeAacDecoder));
    if (latm)
        std::memcpy(run.latmBefore.get(), run.latm.get(), sizeof(LatmState));
    FrameStatus st;
    std::memset(&st, 0x55, sizeof st);
    const int32_t ret = latm ? AACPlusHeAacDecodeLatm(run.d.get(), run.latm.get(), data, left,
                                                      run.output.get(), &st)
                             : AACPlusHeAacDecode(run.d.get(), data, left, run.output.get(), &st);
    FUZZ_CHECK(ret == 1 || ret == -1, "return value %d", ret);
    FUZZ_CHECK(st.reserved[0] == 0 && st.reserved[1] == 0, "reserved words not cleared");
    if (st.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
        FUZZ_CHECK(st.bytesConsumed == 0 && st.outputSamples == 0, "%d bytes, %d samples",
                   st.bytesConsumed, st.outputSamples);
        const size_t changed = state_change(*run.before, *run.d);
        FUZZ_CHECK(changed == kUnchanged,
                   "record changed by a call that asked for more input (byte %zu)", changed);
        FUZZ_CHECK(!latm ||
                       std::memcmp(run.latmBefore.get(), run.latm.get(), sizeof(LatmState)) == 0,
                   "LatmState changed by a call that asked for more input");
        return -1;
    }
    FUZZ_CHECK(st.bytesConsumed >= (latm ? 1 : 0) && st.bytesConsumed <= left,
               "%d bytes consumed of %d given (error %d)", st.bytesConsumed, left, st.errorCode);
    FUZZ_CHECK(st.outputSamples >= 0 &&
                   st.outputSamples <= FXAAC_MAX_CHANNELS * FXAAC_HEAAC_FRAME_LENGTH,
               "%d samples", st.outputSamples);
    // The frame call also reports the negative status of a program config
    // element inside the block with the block's samples (the core decodes
    // on); the LATM call drops the samples of any failure.
    FUZZ_CHECK(st.outputSamples == 0 || st.errorCode == 0 || st.errorCode == FXAAC_ERR_SBR_DATA ||
                   (!latm && st.errorCode < 0),
               "error %d with %d samples", st.errorCode, st.outputSamples);
    FUZZ_CHECK(st.errorCode != FXAAC_ERR_SBR_DATA || st.outputSamples > 0,
               "FXAAC_ERR_SBR_DATA without samples");
    FUZZ_CHECK(st.outputSamples == 0 || ret == 1, "samples with return value %d", ret);
    if (latm)
        FUZZ_CHECK(ret == (st.errorCode == 0 || st.errorCode == FXAAC_ERR_SBR_DATA ? 1 : -1),
                   "return value %d with error %d", ret, st.errorCode);
    check_samples(run, st);
    if (run.conceal && st.outputSamples == 0) {
        FrameStatus cs;
        std::memset(&cs, 0x55, sizeof cs);
        const int32_t n = AACPlusHeAacConceal(run.d.get(), run.output.get(), &cs);
        FUZZ_CHECK(n == cs.outputSamples && cs.bytesConsumed == 0 && cs.errorCode == 0,
                   "concealment: %d returned, %d samples, %d bytes, error %d", n, cs.outputSamples,
                   cs.bytesConsumed, cs.errorCode);
        check_samples(run, cs);
    }
    return st.bytesConsumed;
}

// Decodes data[0, n) call after call, advancing by the bytes consumed (one
// byte when a failing frame call consumed none, as a caller skipping damage
// would), until a call asks for more input.
void decode_stream(Run &run, bool latm, const uint8_t *data, size_t n)
{
    size_t pos = 0;
    int calls = 0;
    for (; calls < kMaxCalls && pos <= n; calls++) {
        const int32_t used = call(run, latm, data + pos, static_cast<int32_t>(n - pos));
        if (used < 0)
            break;
        if (used == 0 && pos == n)
            break;  // nothing left to skip
        pos += used > 0 ? static_cast<size_t>(used) : 1;
    }
    static const bool verbose = std::getenv("FXAAC_FUZZ_VERBOSE") != nullptr;
    if (verbose)
        std::fprintf(stderr, "%d calls, rate %d, SBR %d: %d frames with SBR data, %d refused\n",
                     calls, run.d->outputRate, run.d->sbrActive, run.d->sbrFrames,
                     run.d->sbrErrors);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < kSetupBytes)
        return 0;
    const int kind = (data[0] & 3) == 3 ? kHeader : data[0] & 3;
    Run run;
    run.down = (data[0] & 8) != 0;
    run.conceal = (data[0] & 16) != 0;
    const int32_t pcmFormat = (data[0] & 4) != 0 ? 2 : 1;
    AACPlusHeAacInit(run.d.get(), pcmFormat,
                     (run.down ? FXAAC_HEAAC_DOWNSAMPLED : 0) |
                         ((data[0] & 32) != 0 ? FXAAC_HEAAC_PRECISE : 0));
    AACPlusLatmInit(run.latm.get());
    const size_t sampleBytes = pcmFormat == 2 ? sizeof(int32_t) : sizeof(int16_t);
    const size_t perChannel = run.down ? FXAAC_FRAME_LENGTH : FXAAC_HEAAC_FRAME_LENGTH;
    run.output.reset(new uint8_t[FXAAC_MAX_CHANNELS * perChannel * sampleBytes]);

    const size_t n = size - kSetupBytes;
    auto stream = exact_copy(data + kSetupBytes, n);
    if (kind == kLatm) {
        decode_stream(run, true, stream.get(), n);
        return 0;
    }
    DecoderConfig config = {};
    config.hdrPrsnt = kind == kHeader ? 1 : 0;
    config.fs = kRates[data[1] & 15];
    config.chn = (data[1] & 16) != 0 ? 2 : 1;
    const int32_t skip = AACPlusHeAacHeaderDecode(run.d.get(), config, stream.get(),
                                                  static_cast<int32_t>(n));
    if (kind == kHeaderless)
        FUZZ_CHECK(skip <= 0, "headerless: %d header bytes", skip);
    if (skip < 0 || static_cast<size_t>(skip) > n)
        return 0;  // refused, or a header that claims more than the data hold
    auto frames = exact_copy(stream.get() + skip, n - static_cast<size_t>(skip));
    stream.reset();
    decode_stream(run, false, frames.get(), n - static_cast<size_t>(skip));
    return 0;
}
