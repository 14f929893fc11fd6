// Fuzz target: SBR payloads through the SBR decoder, frame after frame, so
// that headers, table changes, delta histories and the channels' carried
// state meet every kind of damage.
//
// Input: byte 0 picks the layout
//   bit 0     one channel pair element (else single channel elements)
//   bit 1     CRC payloads (bs_sbr_crc_bits first)
//   bit 2     downsampled output (32-band synthesis)
//   bits 3-5  the SBR rate
//   bit 6     24-bit output
//   bit 7     without bit 0: two single channel elements, one per channel;
//             neither bit: one single channel element with parametric
//             stereo (its data in the payloads' extended data), stereo out
// then frames: per element a length byte n and n payload bytes (the
// element's sbr_extension_data from its first bit), each payload held in an
// exactly sized heap block. Every frame is decoded whether its payloads were
// taken or not (as the frame call does: the core audio goes on), from a test
// signal whose level changes every four frames, into an exactly sized output
// block.
#include <algorithm>

#include "fuzz_common.h"

#include "ps/ps_syntax.h"
#include "sbr/sbr_decoder.h"

using namespace fxaac;
using namespace fxaac_fuzz;

namespace {

constexpr int32_t kRates[8] = {32000, 44100, 48000, 64000, 88200, 96000, 16000, 22050};
constexpr int kMaxFrames = 24;  // six changes of signal level; more would slow the fuzzer
constexpr int kFramesPerLevel = 4;

// The core's samples of a frame in the hand-off format (16-bit full scale
// 2^31, saturated): a loud sawtooth and square wave, a square wave at both
// ends of int32, the first signal 2^13 times quieter, and silence, in turn,
// so that the block exponent of the analysis moves both ways and the gains
// meet the largest and the smallest inputs.
void test_signal(int32_t *time, int frame)
{
    const int level = (frame / kFramesPerLevel) % 4;
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i++) {
        const int n = frame * FXAAC_FRAME_LENGTH + i;
        const int32_t a = ((n * 37) & 1023) - 512;  // a sawtooth
        const int32_t b = (n & 64) ? 300 : -300;    // a square wave
        switch (level) {
        case 0: time[i] = (a + b) * (1 << 21); break;
        case 1: time[i] = (n & 32) ? INT32_MAX : INT32_MIN; break;
        case 2: time[i] = (a + b) * (1 << 8); break;
        default: time[i] = 0; break;
        }
    }
}

// Parametric stereo of a single channel element, as the HE-AAC call runs it.
struct PsRun {
    ps::PsDecoder decoder;
    ps::PsSyntaxState syntax;
    sbr::QmfSynthesisState synthesis;
    ps::PsFrame frame;
};

void take_ps(PsRun *p, sbr::SbrExtension *ext, bool taken)
{
    bool ok = false;
    if (taken && ext->hasPs) {
        const int32_t end = aac_get_processed_bits(&ext->psCursor) + ext->psBits;
        const int32_t rc = ps::read_ps_data(&ext->psCursor, end, &p->syntax, &p->frame);
        FUZZ_CHECK(rc <= 0, "read_ps_data returned %d", rc);
        ok = rc == 0;
    }
    ps::start_ps_frame(&p->decoder, ok ? &p->frame : nullptr);
}

// The next length-prefixed payload of the input, copied into an exact heap
// block; n is its length (the data may end before the length byte says).
std::unique_ptr<uint8_t[]> next_payload(const uint8_t *data, size_t size, size_t *pos, size_t *n)
{
    *n = 0;
    if (*pos >= size)
        return exact_copy(data, 0);
    *n = std::min<size_t>(data[*pos], size - *pos - 1);
    auto payload = exact_copy(data + *pos + 1, *n);
    *pos += 1 + *n;
    return payload;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const bool pair = (data[0] & 1) != 0;
    const bool crc = (data[0] & 2) != 0;
    const bool down = (data[0] & 4) != 0;
    const int32_t rate = kRates[(data[0] >> 3) & 7];
    const int32_t format = (data[0] & 0x40) != 0 ? 2 : 1;
    const bool twoSingles = !pair && (data[0] & 0x80) != 0;
    std::unique_ptr<sbr::SbrDecoder> d(new sbr::SbrDecoder);
    std::unique_ptr<sbr::SbrWork> w(new sbr::SbrWork);
    sbr::init_decoder(d.get(), rate, down);
    const bool withPs = !pair && !twoSingles;
    std::unique_ptr<PsRun> ps(new PsRun);
    ps::reset_ps(&ps->decoder);
    ps::reset_ps_syntax(&ps->syntax);
    sbr::qmf_synthesis_reset(&ps->synthesis);
    const int channels = 2;
    const int elements = twoSingles ? 2 : 1;
    const size_t sampleBytes = format == 2 ? sizeof(int32_t) : sizeof(int16_t);
    const size_t outBytes = sampleBytes * channels * (down ? 1 : 2) * FXAAC_FRAME_LENGTH;
    std::unique_ptr<uint8_t[]> out(new uint8_t[outBytes]);
    std::unique_ptr<int32_t[]> time(new int32_t[FXAAC_FRAME_LENGTH]);

    static const bool verbose = std::getenv("FXAAC_FUZZ_VERBOSE") != nullptr;
    size_t pos = 1;
    int frames = 0, taken = 0;
    for (int frame = 0; frame < kMaxFrames && pos < size; frame++) {
        test_signal(time.get(), frame);
        for (int e = 0; e < elements; e++) {
            size_t n;
            auto payload = next_payload(data, size, &pos, &n);
            sbr::SbrExtension ext{};
            const int32_t rc = sbr::read_element(d.get(), w.get(), e, payload.get(), 0,
                                                 static_cast<int32_t>(8 * n), crc, pair, &ext);
            FUZZ_CHECK(rc <= 0, "read_element returned %d", rc);
            if (withPs)
                take_ps(ps.get(), &ext, rc == 0);
            taken += rc == 0;
            if (verbose && rc != 0)
                std::fprintf(stderr, "frame %d, element %d: refused (%d)\n", frame, e, rc);
            // A pair's channels share the element; single elements have one each.
            for (int k = e; k < (pair ? 2 : e + 1); k++) {
                const sbr::PcmTarget target{out.get(), channels, k, format};
                sbr::PsStage stage{&ps->decoder, &ps->synthesis, {out.get(), 2, 1, format}};
                sbr::process_channel(d.get(), w.get(), k, e, pair ? k : 0, rc == 0, time.get(),
                                     target, withPs ? &stage : nullptr);
            }
        }
        frames++;
    }
    if (verbose)
        std::fprintf(stderr, "%d frames, %d payloads taken\n", frames, taken);
    return 0;
}
