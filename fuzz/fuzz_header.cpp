// Fuzz target: header decoding (AACPlusHeaderDecode) of every input kind.
//
// Input: byte 0 is hdrPrsnt (a signed byte), bytes 1 to 4 the rate fs
// (big-endian, any value), byte 5 the channel count chn (a signed byte); the
// rest is the start of the stream.
//
// Header decoding takes no length, so the stream bytes are given in an exact
// heap block followed by kHeaderPadding zero bytes. Tighter checks follow:
//   - without a header (hdrPrsnt 0) nothing may be read: the block has no
//     padding at all;
//   - an accepted header of known length (ADIF, ADTS, an AudioSpecificConfig
//     without the "HEAAC" marker) is decoded again from an exact copy of its
//     own bytes plus the 3 bytes of look-ahead a field read may touch, and
//     must leave the instance exactly as the first decode did.
#include "fuzz_common.h"

using namespace fxaac_fuzz;

namespace {

constexpr size_t kConfigBytes = 6;
constexpr size_t kLookAhead = 3;

// Bytes the header of the stream at p occupies, or 0 when it is not known
// without decoding it (a marked configuration: its length byte is the
// caller's word, not the configuration's).
size_t header_bytes(const uint8_t *p, int32_t result)
{
    if (std::memcmp(p, "ADIF", 4) == 0)
        return static_cast<size_t>(result);
    if (p[0] == 0xFF && (p[1] & 0xF0) == 0xF0) {
        // Fixed and variable header, then (with CRC protection) one 16-bit
        // position per extra raw data block and the CRC word.
        const bool protectionAbsent = p[1] & 1;
        const size_t extraBlocks = p[6] & 3;
        return 7 + (protectionAbsent ? 0 : 2 * extraBlocks + 2);
    }
    if (std::memcmp(p, "HEAAC", 5) == 0)
        return 0;
    return static_cast<size_t>(result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < kConfigBytes)
        return 0;
    DecoderConfig config = {};
    config.hdrPrsnt = static_cast<int8_t>(data[0]);
    config.fs = static_cast<int32_t>(static_cast<uint32_t>(data[1]) << 24 | data[2] << 16 |
                                     data[3] << 8 | data[4]);
    config.chn = static_cast<int8_t>(data[5]);
    const uint8_t *stream = data + kConfigBytes;
    const size_t n = size - kConfigBytes;

    Decoder d;
    if (config.hdrPrsnt == 0) {
        auto exact = exact_copy(stream, n);
        const int32_t skip = AACPlusHeaderDecode(config, d.dec.get(), exact.get());
        FUZZ_CHECK(skip == 0, "headerless input gave %d", skip);
        return 0;
    }

    auto padded = exact_copy(stream, n, kHeaderPadding);
    const int32_t result = AACPlusHeaderDecode(config, d.dec.get(), padded.get());
    if (result < 0)
        return 0;
    const size_t bytes = header_bytes(padded.get(), result);
    if (bytes == 0)
        return 0;

    // The same decode from the header's own bytes and its look-ahead only.
    std::unique_ptr<AacDecoder> first(new AacDecoder);
    std::memcpy(first.get(), d.dec.get(), sizeof(AacDecoder));
    AACPlusDecoderInit(d.dec.get(), d.work.get());
    auto tight = exact_copy(padded.get(), bytes + kLookAhead);
    const int32_t again = AACPlusHeaderDecode(config, d.dec.get(), tight.get());
    FUZZ_CHECK(again == result, "%d from the header's own bytes, %d with padding", again, result);
    FUZZ_CHECK(std::memcmp(first.get(), d.dec.get(), sizeof(AacDecoder)) == 0,
               "the padding changed the decoded header");
    return 0;
}
