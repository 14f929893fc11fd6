// Fuzz target: a whole stream as a caller would decode a file. The input is
// the stream itself (the test vectors are its seeds): header decoding on a
// copy followed by kHeaderPadding zero bytes, then the data after the header
// in one exact heap block, decoded frame after frame through the bounded
// entry point with 16-bit output.
#include "fuzz_common.h"

using namespace fxaac_fuzz;

namespace {
constexpr int kMaxCalls = 256;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    DecoderConfig config = {};
    config.hdrPrsnt = 1;
    Decoder d;
    auto padded = exact_copy(data, size, kHeaderPadding);
    const int32_t skip = AACPlusHeaderDecode(config, d.dec.get(), padded.get());
    if (skip < 0 || static_cast<size_t>(skip) > size)
        return 0;  // refused, or a header that claims more than the data hold
    padded.reset();
    const size_t n = size - static_cast<size_t>(skip);
    auto frames = exact_copy(data + skip, n);
    decode_frames(d.dec.get(), frames.get(), n, 0, kMaxCalls);
    return 0;
}
