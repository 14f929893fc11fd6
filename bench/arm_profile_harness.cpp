// The program scripts/arm-profile runs under qemu-arm: decodes the first
// FRAMES frames of an ADTS stream (AAC-LC through AACPlusDecodeBuffer,
// HE-AAC through AACPlusHeAacDecode) in one arithmetic, nothing else.
//   arm_profile_harness STREAM FRAMES PRECISE(0|1)
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <fxaac/fxaac.h>
#include <fxaac/fxaac_heaac.h>

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    std::FILE *f = std::fopen(argv[1], "rb");
    if (f == nullptr)
        return 1;
    std::vector<uint8_t> bytes;
    uint8_t chunk[65536];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;)
        bytes.insert(bytes.end(), chunk, chunk + n);
    std::fclose(f);
    const int frames = std::atoi(argv[2]);
    const bool precise = std::atoi(argv[3]) != 0;
    auto he = std::make_unique<HeAacDecoder>();
    AACPlusHeAacInit(he.get(), 0, precise ? FXAAC_HEAAC_PRECISE : 0);
    DecoderConfig cfg{};
    cfg.hdrPrsnt = 1;
    const int32_t size = static_cast<int32_t>(bytes.size());
    if (AACPlusHeAacHeaderDecode(he.get(), cfg, bytes.data(), size) != 0)
        return 1;
    static int16_t pcm[2 * FXAAC_HEAAC_FRAME_LENGTH * 2];
    int32_t at = 0;
    for (int i = 0; i < frames && at < size; ++i) {
        FrameStatus st;
        AACPlusHeAacDecode(he.get(), bytes.data() + at, size - at, pcm, &st);
        if (st.bytesConsumed <= 0)
            break;
        at += st.bytesConsumed;
    }
    return 0;
}
