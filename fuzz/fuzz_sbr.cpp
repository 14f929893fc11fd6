// Fuzz target: SBR payloads through the SBR decoder, frame after frame, so
// that headers, table changes, delta histories and the channels' carried
// state meet every kind of damage.
//
// Input: byte 0 picks the layout (bit 0: a channel pair, else one channel;
// bit 1: CRC payloads; bit 2: downsampled output; bits 3-5: the SBR rate);
// then frames, each a length byte n and n payload bytes, each payload held
// in an exactly sized heap block. Every frame is decoded whether its payload
// was taken or not (as the frame call does: the core audio goes on), from a
// fixed test signal, into an exactly sized output block.
#include "fuzz_common.h"

#include "sbr/sbr_decoder.h"

using namespace fxaac;
using namespace fxaac_fuzz;

namespace {

constexpr int32_t kRates[8] = {32000, 44100, 48000, 64000, 88200, 96000, 16000, 22050};
constexpr int kMaxFrames = 64;

// A loud two-tone signal in the hand-off format (16-bit full scale 2^31).
void test_signal(int32_t *time, int frame)
{
    for (int i = 0; i < FXAAC_FRAME_LENGTH; i++) {
        const int n = frame * FXAAC_FRAME_LENGTH + i;
        const int32_t a = ((n * 37) & 1023) - 512;  // a sawtooth
        const int32_t b = (n & 64) ? 300 : -300;    // a square wave
        time[i] = (a + b) * (1 << 21);
    }
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
    std::unique_ptr<sbr::SbrDecoder> d(new sbr::SbrDecoder);
    std::unique_ptr<sbr::SbrWork> w(new sbr::SbrWork);
    sbr::init_decoder(d.get(), rate, down);
    const int channels = pair ? 2 : 1;
    const size_t outBytes = sizeof(int16_t) * channels * 2 * FXAAC_FRAME_LENGTH;
    std::unique_ptr<uint8_t[]> out(new uint8_t[outBytes]);
    std::unique_ptr<int32_t[]> time(new int32_t[FXAAC_FRAME_LENGTH]);

    size_t pos = 1;
    for (int frame = 0; frame < kMaxFrames && pos < size; frame++) {
        const size_t n = std::min<size_t>(data[pos], size - pos - 1);
        auto payload = exact_copy(data + pos + 1, n);
        pos += 1 + n;
        const int32_t rc = sbr::read_element(d.get(), w.get(), 0, payload.get(), 0,
                                             static_cast<int32_t>(8 * n), crc, pair);
        FUZZ_CHECK(rc <= 0, "read_element returned %d", rc);
        test_signal(time.get(), frame);
        for (int k = 0; k < channels; k++) {
            const sbr::PcmTarget target{out.get(), channels, k, 0};
            sbr::process_channel(d.get(), w.get(), k, 0, k, rc == 0, time.get(), target);
        }
    }
    return 0;
}
