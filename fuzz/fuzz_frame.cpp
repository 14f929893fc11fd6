// Fuzz target: frame decoding through the bounded entry point
// (AACPlusDecodeBuffer), with the instance set up from a few fuzzed fields.
//
// Input: a 5-byte set-up, then the frame data.
//   byte 0  bits 0-1: input kind
//             0 ADTS (the frame data carry their own ADTS headers),
//             1 AudioSpecificConfig of AAC LC, then raw data blocks,
//             2 headerless raw data blocks,
//             3 AudioSpecificConfig of ER AAC LC, then error-resilient blocks;
//           bit 2: 24-bit output (pcmFormat 2); bit 3: sbrFlag 1;
//           bit 4: the precise arithmetic (AACPlusDecoderSetArithmetic)
//   byte 1  bits 0-3: sampling_frequency_index (12 to 15 are refused);
//           bits 4-6: ADTS channel_configuration, other kinds use bit 4
//           only: 1 or 2 channels
//   bytes 2-4  headerless kind: the rate in Hz (big-endian, any value)
// The header is built from these fields and decoded from an exact heap block
// of its bytes plus the 3 bytes of look-ahead header decoding may read. The
// frame data go into one exact heap block, decoded call after call.
#include "fuzz_common.h"

using namespace fxaac_fuzz;

namespace {

constexpr size_t kSetupBytes = 5;
constexpr int kMaxCalls = 16;

enum Kind { kAdts = 0, kConfig = 1, kHeaderless = 2, kResilient = 3 };

// Most significant bit first.
struct Bits {
    uint8_t bytes[16] = {};
    size_t count = 0;
    void put(uint32_t value, int n)
    {
        for (int i = n - 1; i >= 0; i--, count++)
            if ((value >> i) & 1)
                bytes[count / 8] |= static_cast<uint8_t>(0x80 >> (count % 8));
    }
    size_t size() const { return (count + 7) / 8; }
};

// An ADTS fixed and variable header without CRC: MPEG-4, AAC LC.
Bits adts_header(uint32_t sfIndex, uint32_t channelConfig)
{
    Bits b;
    b.put(0xFFF, 12);
    b.put(0, 1);  // ID
    b.put(0, 2);  // layer
    b.put(1, 1);  // protection_absent
    b.put(1, 2);  // profile: LC
    b.put(sfIndex, 4);
    b.put(0, 1);  // private_bit
    b.put(channelConfig, 3);
    b.put(0, 4);       // original_copy, home, copyright bits
    b.put(7, 13);      // aac_frame_length
    b.put(0x7FF, 11);  // buffer fullness: variable rate
    b.put(0, 2);       // one raw data block
    return b;
}

// AudioSpecificConfig with GASpecificConfig: 1024-line frames, no core
// coder, no extension; error-resilient object types add epConfig 0.
Bits audio_specific_config(uint32_t objectType, uint32_t sfIndex, uint32_t channelConfig)
{
    Bits b;
    b.put(objectType, 5);
    b.put(sfIndex, 4);
    b.put(channelConfig, 4);
    b.put(0, 3);  // frameLengthFlag, dependsOnCoreCoder, extensionFlag
    if (objectType == 17)
        b.put(0, 2);  // epConfig
    return b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < kSetupBytes)
        return 0;
    const Kind kind = static_cast<Kind>(data[0] & 3);
    const bool wide = data[0] & 4;
    const int32_t sbrFlag = (data[0] >> 3) & 1;
    const uint32_t sfIndex = data[1] & 15;
    const uint32_t channels = 1 + ((data[1] >> 4) & 1);

    DecoderConfig config = {};
    config.hdrPrsnt = kind != kHeaderless;
    Bits header;
    switch (kind) {
    case kAdts: header = adts_header(sfIndex, (data[1] >> 4) & 7); break;
    case kConfig: header = audio_specific_config(2, sfIndex, channels); break;
    case kResilient: header = audio_specific_config(17, sfIndex, channels); break;
    case kHeaderless:
        config.fs = data[2] << 16 | data[3] << 8 | data[4];
        config.chn = static_cast<int32_t>(channels);
        break;
    }

    Decoder d;
    auto headerCopy = exact_copy(header.bytes, header.size(), 3);
    const int32_t skip = AACPlusHeaderDecode(config, d.dec.get(), headerCopy.get());
    if (skip < 0)
        return 0;  // refused: a caller stops here
    FUZZ_CHECK(static_cast<size_t>(skip) == (kind == kAdts ? 0 : header.size()),
               "header of %zu bytes gave %d", header.size(), skip);
    if (wide)
        d.dec->pcmFormat = 2;
    if (data[0] & 16)
        AACPlusDecoderSetArithmetic(d.dec.get(), FXAAC_ARITHMETIC_PRECISE);

    const size_t n = size - kSetupBytes;
    auto frames = exact_copy(data + kSetupBytes, n);
    decode_frames(d.dec.get(), frames.get(), n, sbrFlag, kMaxCalls);
    return 0;
}
