// Fuzz target: a LOAS stream through AACPlusDecodeLatm. The first input byte
// chooses the output width (bit 0: 24-bit); the rest is the stream, held in
// one exactly sized heap block and decoded element after element with the
// checks of the call's contract: a call consumes at least one byte and no
// more than it was given, and one that asks for more input leaves the
// instance and the LatmState as they were.
#include "fuzz_common.h"

using namespace fxaac_fuzz;

namespace {

constexpr int kMaxCalls = 512;

struct LatmRun {
    Decoder d;
    std::unique_ptr<LatmState> latm{new LatmState};
    std::unique_ptr<AacDecoder> instanceBefore{new AacDecoder};
    std::unique_ptr<LatmState> latmBefore{new LatmState};
};

// One call on data[0, left); returns the bytes it consumed, 0 when it asked
// for more input.
int32_t call(LatmRun &run, const uint8_t *data, int32_t left, uint8_t *output)
{
    std::memcpy(run.instanceBefore.get(), run.d.dec.get(), sizeof(AacDecoder));
    std::memcpy(run.latmBefore.get(), run.latm.get(), sizeof(LatmState));
    FrameStatus st;
    std::memset(&st, 0x55, sizeof st);
    const int32_t ret = AACPlusDecodeLatm(run.d.dec.get(), run.latm.get(), data, left, output, &st);
    FUZZ_CHECK(ret == (st.errorCode == 0 ? 1 : -1), "return value %d with error %d", ret,
               st.errorCode);
    FUZZ_CHECK(st.reserved[0] == 0 && st.reserved[1] == 0, "reserved words not cleared");
    if (st.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
        FUZZ_CHECK(st.bytesConsumed == 0 && st.outputSamples == 0, "%d bytes, %d samples",
                   st.bytesConsumed, st.outputSamples);
        FUZZ_CHECK(std::memcmp(run.instanceBefore.get(), run.d.dec.get(), sizeof(AacDecoder)) == 0,
                   "instance changed by a call that asked for more input");
        FUZZ_CHECK(std::memcmp(run.latmBefore.get(), run.latm.get(), sizeof(LatmState)) == 0,
                   "LatmState changed by a call that asked for more input");
        return 0;
    }
    FUZZ_CHECK(st.bytesConsumed >= 1 && st.bytesConsumed <= left,
               "%d bytes consumed of %d given (error %d)", st.bytesConsumed, left, st.errorCode);
    FUZZ_CHECK(st.outputSamples >= 0 && st.outputSamples <= FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH,
               "%d samples", st.outputSamples);
    FUZZ_CHECK(st.outputSamples == 0 || st.errorCode == 0, "error %d with %d samples", st.errorCode,
               st.outputSamples);
    return st.bytesConsumed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    LatmRun run;
    AACPlusLatmInit(run.latm.get());
    if (data[0] & 1)
        run.d.dec->pcmFormat = 2;
    const size_t outBytes = run.d.dec->pcmFormat == 2 ? 8192 : 4096;
    std::unique_ptr<uint8_t[]> output(new uint8_t[outBytes]);
    const size_t n = size - 1;
    auto stream = exact_copy(data + 1, n);
    size_t pos = 0;
    for (int calls = 0; calls < kMaxCalls; calls++) {
        const int32_t used = call(run, stream.get() + pos, static_cast<int32_t>(n - pos),
                                  output.get());
        if (used == 0)
            break;
        pos += static_cast<size_t>(used);
    }
    return 0;
}
