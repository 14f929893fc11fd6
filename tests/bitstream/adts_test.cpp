#include <gtest/gtest.h>

#include <vector>

#include "bitstream/adts.h"
#include "support/headers.h"

using namespace fxaac;
using fxaac_test::AdtsFields;
using fxaac_test::BitWriter;
using fxaac_test::write_adts;

namespace {

std::vector<uint8_t> garbage_then_header(size_t garbage, const AdtsFields &f)
{
    BitWriter w;
    for (size_t i = 0; i < garbage; i++)
        w.put(0x5A, 8);  // never forms 0xFFF with its neighbours
    write_adts(w, f);
    return w.data();
}

struct Parsed {
    int32_t sync;
    int32_t frame;
    AdtsHeader h;
    BitReader r;
};

Parsed search_and_parse(const std::vector<uint8_t> &buf, uint16_t previousLength = 0)
{
    Parsed p = {};
    p.h.frame_length = previousLength;
    aac_initbits(&p.r, buf.data());
    p.sync = find_sync_word(&p.h, &p.r);
    p.frame = p.sync == 0 ? adts_frame(&p.h, &p.r) : 0;
    return p;
}

}  // namespace

TEST(Adts, HeaderFieldsAndFrameLengthIncludeSkippedBytes)
{
    AdtsFields f;
    f.sfIndex = 3;
    f.channelConfig = 1;
    f.frameLength = 371;
    f.fullness = 0x123;
    auto p = search_and_parse(garbage_then_header(0, f));
    ASSERT_EQ(p.sync, 0);
    EXPECT_EQ(p.frame, 0);
    EXPECT_EQ(p.h.syncword, 0xFFF);
    EXPECT_EQ(p.h.object_type, 2);
    EXPECT_EQ(p.h.sampling_frequency_index, 3);
    EXPECT_EQ(p.h.channel_configuration, 1);
    EXPECT_EQ(p.h.adts_buffer_fullness, 0x123);
    EXPECT_EQ(p.h.frame_length, 371);
    EXPECT_EQ(aac_get_processed_bits(&p.r), 56);

    auto q = search_and_parse(garbage_then_header(5, f));
    ASSERT_EQ(q.sync, 0);
    EXPECT_EQ(q.h.frame_length, 5 + 371);
    EXPECT_EQ(aac_get_processed_bits(&q.r), 8 * (5 + 7));

    // aac_frame_length 0 right at the start would tell a caller to advance by
    // nothing; the field holds 1 instead.
    f.frameLength = 0;
    EXPECT_EQ(search_and_parse(garbage_then_header(0, f)).h.frame_length, 1);
}

TEST(Adts, SyncSearchCoversExactly8192Positions)
{
    AdtsFields f;
    auto found = search_and_parse(garbage_then_header(8191, f));
    ASSERT_EQ(found.sync, 0);
    EXPECT_EQ(found.h.frame_length, static_cast<uint16_t>(8191 + f.frameLength));

    auto lost = search_and_parse(garbage_then_header(8192, f), 77);
    EXPECT_EQ(lost.sync, FXAAC_ERR_NO_SYNC);
    EXPECT_EQ(aac_get_processed_bits(&lost.r), 8192 * 8);
    EXPECT_EQ(lost.h.frame_length, 77);  // keeps the previous header's value

    // A bounded reader ends the search at its data instead of reading on.
    auto buf = garbage_then_header(10, f);
    BitReader r;
    init_bounded(&r, buf.data(), 10);
    AdtsHeader h = {};
    EXPECT_EQ(find_sync_word(&h, &r), FXAAC_ERR_NO_SYNC);
}

TEST(Adts, ErrorCheckWordsFollowProtectionAndBlockCount)
{
    AdtsFields f;
    f.protectionAbsent = 0;
    auto one = search_and_parse(garbage_then_header(0, f));
    EXPECT_EQ(one.h.crc_check, 0xC3C3u);
    EXPECT_EQ(aac_get_processed_bits(&one.r), 9 * 8);

    f.rawBlocks = 2;
    auto three = search_and_parse(garbage_then_header(0, f));
    EXPECT_EQ(three.h.number_of_raw_data_blocks_in_frame, 2);
    EXPECT_EQ(three.h.crc_check, 0xC3C3u);
    EXPECT_EQ(aac_get_processed_bits(&three.r), 13 * 8);

    f.protectionAbsent = 1;
    auto none = search_and_parse(garbage_then_header(0, f));
    EXPECT_EQ(aac_get_processed_bits(&none.r), 7 * 8);
}

TEST(Adts, OnlyTheLcProfileIsDecodable)
{
    for (int profile = 0; profile < 4; profile++) {
        AdtsFields f;
        f.profile = profile;
        f.sfIndex = 13;  // not validated: stored as it stands
        auto p = search_and_parse(garbage_then_header(0, f));
        EXPECT_EQ(p.frame, profile == 1 ? 0 : FXAAC_ERR_OBJECT_TYPE) << profile;
        EXPECT_EQ(p.h.object_type, profile + 1);  // header complete after -12 too
        EXPECT_EQ(p.h.sampling_frequency_index, 13);
    }
    for (int aot = -1; aot <= 32; aot++)
        EXPECT_EQ(can_decode_objType(aot), (aot == 2 || aot == 17) ? 0 : -12) << aot;
}

TEST(Adts, SyncOnceConsumesTwelveBitsEitherWay)
{
    const uint8_t good[6] = {0xFF, 0xF1, 0, 0, 0, 0};
    const uint8_t bad[6] = {0xFF, 0xE1, 0, 0, 0, 0};
    AdtsHeader h = {};
    h.frame_length = 9;
    BitReader r;
    aac_initbits(&r, good);
    EXPECT_EQ(find_sync_word_once(&h, &r), 0);
    EXPECT_EQ(aac_get_processed_bits(&r), 12);
    aac_initbits(&r, bad);
    EXPECT_EQ(find_sync_word_once(&h, &r), FXAAC_ERR_NO_SYNC);
    EXPECT_EQ(aac_get_processed_bits(&r), 12);
    EXPECT_EQ(h.syncword, 0xFFE);
    EXPECT_EQ(h.frame_length, 9);
}
