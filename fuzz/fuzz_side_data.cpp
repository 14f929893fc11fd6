// Fuzz target: the parsers of side data that the frame call steps
// over (dynamic range control, excluded channels, data stream elements), on
// arbitrary bytes through a bounded reader over an exact heap copy.
//
// Input: byte 0 picks the parser (bits 0-1), the rest is its bit stream.
// Beyond the sanitizers, each parser's result must match the bits it read:
// dynamic_range_info counts whole bytes of its fill payload, the 4-bit
// extension type (read by the caller) included, so 8 * n = bits + 4 unless
// the exclude list overflowed its storage (status 24); excluded_channels
// reads 8 bits per group it counts; data_stream_element skips at most 510
// bytes and reads at least as many.
#include "fuzz_common.h"

#include "bitstream/bit_reader.h"
#include "bitstream/data_stream.h"

using namespace fxaac;
using namespace fxaac_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1 || size > 4096)
        return 0;
    const int which = data[0] & 3;
    const size_t n = size - 1;
    auto bytes = exact_copy(data + 1, n);
    BitCursor r;
    init_bounded(&r, bytes.get(), static_cast<int32_t>(n));
    DrcInfo drc;
    std::memset(&drc, 0, sizeof drc);

    if (which == 0) {
        const int32_t count = dynamic_range_info(&r, &drc);
        const int32_t bits = aac_get_processed_bits(&r);
        FUZZ_CHECK(drc.status != 0 || 8 * count == bits + 4, "%d bytes counted, %d bits read",
                   count, bits);
        FUZZ_CHECK(drc.drc_num_bands >= 1 && drc.drc_num_bands <= fxaac::kDrcMaxBands, "%d bands",
                   drc.drc_num_bands);
    } else if (which == 1) {
        const int32_t groups = excluded_channels(&r, &drc);
        const int32_t bits = aac_get_processed_bits(&r);
        FUZZ_CHECK(drc.status != 0 || 8 * groups == bits, "%d groups, %d bits read", groups, bits);
    } else {
        const int32_t skipped = data_stream_element(&r);
        const int32_t bits = aac_get_processed_bits(&r);
        FUZZ_CHECK(skipped >= 0 && skipped <= 510 && bits >= 8 * skipped + 13,
                   "%d bytes skipped, %d bits read", skipped, bits);
    }
    return 0;
}
