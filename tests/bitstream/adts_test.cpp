#include <gtest/gtest.h>

#include <vector>

#include "bitstream/adts.h"
#include "support/headers.h"

using namespace fxaac;
using fxaac_test::AdtsFields;
using fxaac_test::BitWriter;

namespace {

struct Parsed {
    int32_t sync = 0, frame = 0;
    AdtsHeader h = {};
    BitCursor r = {};
};

// A header behind `garbage` bytes that never form a sync word, searched for
// and parsed.
Parsed search_and_parse(size_t garbage, const AdtsFields &f, uint16_t previousLength = 0)
{
    BitWriter w;
    for (size_t i = 0; i < garbage; i++)
        w.put(0x5A, 8);
    write_adts(w, f);
    const std::vector<uint8_t> buf = w.data();
    Parsed p;
    p.h.frame_length = previousLength;
    aac_initbits(&p.r, buf.data());
    p.sync = find_sync_word(&p.h, &p.r);
    p.frame = p.sync == 0 ? adts_frame(&p.h, &p.r) : 0;
    return p;
}

}  // namespace

// The reported frame length counts the bytes skipped before the header, so
// that a failing caller advances past both; it is never 0. The search looks
// at exactly 8192 positions, and a bounded reader ends it at its data.
TEST(Adts, SyncSearchAndFrameLength)
{
    AdtsFields f;
    f.frameLength = 371;
    Parsed p = search_and_parse(5, f);
    ASSERT_EQ(p.sync, 0);
    EXPECT_EQ(p.h.frame_length, 5 + 371);
    EXPECT_EQ(aac_get_processed_bits(&p.r), 8 * (5 + 7));
    EXPECT_EQ(search_and_parse(8191, f).h.frame_length, 8191 + 371);
    f.frameLength = 0;
    EXPECT_EQ(search_and_parse(0, f).h.frame_length, 1);

    Parsed lost = search_and_parse(8192, f, 77);
    EXPECT_EQ(lost.sync, FXAAC_ERR_NO_SYNC);
    EXPECT_EQ(aac_get_processed_bits(&lost.r), 8192 * 8);
    EXPECT_EQ(lost.h.frame_length, 77);  // keeps the previous header's value

    const uint8_t cut[3] = {0x5A, 0xFF, 0xF1};  // the sync word lies past the data
    BitCursor r;
    init_bounded(&r, cut, 2);
    EXPECT_EQ(find_sync_word(&p.h, &r), FXAAC_ERR_NO_SYNC);
}

TEST(Adts, OnlyTheLcProfileIsDecodable)
{
    for (int profile = 0; profile < 4; profile++) {
        AdtsFields f;
        f.profile = profile;
        f.sfIndex = 13;  // not validated here: stored as it stands
        Parsed p = search_and_parse(0, f);
        EXPECT_EQ(p.frame, profile == 1 ? 0 : FXAAC_ERR_OBJECT_TYPE) << profile;
        EXPECT_EQ(p.h.object_type, profile + 1);  // header complete after the refusal too
        EXPECT_EQ(p.h.sampling_frequency_index, 13);
    }
    for (int aot = -1; aot <= 32; aot++)
        EXPECT_EQ(can_decode_objType(aot), (aot == 2 || aot == 17) ? 0 : FXAAC_ERR_OBJECT_TYPE)
            << aot;
}
