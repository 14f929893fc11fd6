#include <gtest/gtest.h>

#include <vector>

#include "bitstream/audio_config.h"
#include "bitstream/program_config.h"
#include "support/headers.h"

using namespace fxaac;
using namespace fxaac_test;

namespace {

struct PceResult {
    int32_t code;
    ProgramConfig pce;
    int32_t bits;
};

PceResult parse_pce(const PceFields &f, int leadingBits = 0)
{
    BitWriter w;
    w.put(0, leadingBits);
    write_pce(w, f);
    auto buf = w.data();
    PceResult res = {};
    BitReader r;
    aac_initbits(&r, buf.data());
    skip_bits(&r, static_cast<uint32_t>(leadingBits));
    res.code = program_config_element(&res.pce, &r);
    res.bits = aac_get_processed_bits(&r);
    EXPECT_EQ(static_cast<size_t>(res.bits), w.bit_count()) << "reader must end after the comment";
    return res;
}

struct AscResult {
    int32_t code;
    AudioConfig cfg;
};

AscResult parse_asc(const std::vector<uint8_t> &buf)
{
    AscResult res = {};
    res.code = AudioSpecificConfig_AAC(buf.data(), &res.cfg.sampleRate, &res.cfg.channelConfig,
                                       &res.cfg.sfIndex, &res.cfg.objectType,
                                       &res.cfg.sectionResilience, &res.cfg.scalefactorResilience,
                                       &res.cfg.spectralResilience, &res.cfg.frameLengthFlag);
    return res;
}

AscResult parse_asc(const AscFields &f)
{
    BitWriter w;
    write_asc(w, f);
    return parse_asc(w.data());
}

}  // namespace

TEST(ProgramConfig, ChannelCountsAndLength)
{
    PceFields f;
    f.front = {1, 0};
    f.lfe = 1;
    EXPECT_EQ(parse_pce(f).pce.channel_count, 4u);

    PceFields cc;
    cc.front = {0};
    cc.cc = 2;  // coupling entries count two channels each
    auto withCc = parse_pce(cc);
    EXPECT_EQ(withCc.pce.channel_count, 5u);
    EXPECT_EQ(withCc.pce.num_valid_cc_elements, 2);

    PceFields empty;
    auto e = parse_pce(empty);
    EXPECT_EQ(e.pce.channel_count, 0u);
    EXPECT_EQ(e.bits, 40 + 8);  // 34 bits, aligned to 40, then the comment count

    PceFields busy;
    busy.front = {1, 1, 0};
    busy.side = {1};
    busy.back = {1, 0};
    busy.lfe = 3;
    busy.assocData = 7;
    busy.mixdowns = true;
    busy.commentBytes = 200;
    auto b = parse_pce(busy);
    EXPECT_EQ(b.pce.channel_count, 2u + 2 + 1 + 2 + 2 + 1 + 3);
    EXPECT_EQ(b.pce.comment_field_bytes, 200);
    EXPECT_EQ(b.pce.mono_mixdown_element_number, 3);
    EXPECT_EQ(b.pce.stereo_mixdown_element_number, 5);
    EXPECT_EQ(b.pce.matrix_mixdown_idx, 2);
    EXPECT_EQ(b.pce.pseudo_surround_enable, 1);
    EXPECT_EQ(b.pce.back_element_is_cpe[0], 1);
    EXPECT_EQ(b.pce.back_element_tag_select[1], 7);
}

TEST(ProgramConfig, AlignmentIsRelativeToTheParseStartAndProfileIsChecked)
{
    PceFields f;
    f.front = {1};  // 34 + 5 = 39 bits: 1 bit of alignment from the start
    for (int lead : {0, 1, 3})
        parse_pce(f, lead);  // the helper checks the reader's end position

    PceFields main;
    main.objectType = 0;
    main.commentBytes = 3;
    auto m = parse_pce(main);
    EXPECT_EQ(m.code, -12);  // refused, yet parsed to its end
}

TEST(AudioSpecificConfig, PlainLcStereo)
{
    auto r = parse_asc(std::vector<uint8_t>{0x12, 0x10, 0, 0, 0});
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.cfg.sampleRate, 44100u);
    EXPECT_EQ(r.cfg.channelConfig, 2u);
    EXPECT_EQ(r.cfg.sfIndex, 4u);
    EXPECT_EQ(r.cfg.objectType, 2u);
}

TEST(AudioSpecificConfig, RefusalsKeepTheParsedFields)
{
    for (int aot : {1, 5, 31}) {
        AscFields f;
        f.objectType = aot;
        auto r = parse_asc(f);
        EXPECT_EQ(r.code, -12) << aot;
        EXPECT_EQ(r.cfg.objectType, static_cast<uint32_t>(aot));
        EXPECT_EQ(r.cfg.sampleRate, 44100u);
        EXPECT_EQ(r.cfg.channelConfig, 2u);
    }
    AscFields idx;
    idx.sfIndex = 15;
    auto r = parse_asc(idx);
    EXPECT_EQ(r.code, -13);
    EXPECT_EQ(r.cfg.sfIndex, 15u);
    EXPECT_EQ(r.cfg.sampleRate, 0u);

    AscFields ch;
    ch.channelConfig = 3;
    EXPECT_EQ(parse_asc(ch).code, -14);
}

TEST(AudioSpecificConfig, ErrorResilientSyntax)
{
    AscFields er;
    er.objectType = 17;
    er.extensionFlag = 1;
    er.resilience = 0b101;
    auto r = parse_asc(er);
    // 13 + 3 + 4 (flags and extensionFlag3) + 2 (epConfig) = 22 bits -> 3 bytes
    EXPECT_EQ(r.code, 3);
    EXPECT_EQ(r.cfg.sectionResilience, 1);
    EXPECT_EQ(r.cfg.scalefactorResilience, 0);
    EXPECT_EQ(r.cfg.spectralResilience, 1);

    er.epConfig = 1;
    EXPECT_EQ(parse_asc(er).code, -15);

    // extensionFlag without an ER object type reads nothing further.
    AscFields lc;
    lc.extensionFlag = 1;
    auto l = parse_asc(lc);
    EXPECT_EQ(l.code, 2);
    EXPECT_EQ(l.cfg.sectionResilience, 0);
}

TEST(AudioSpecificConfig, CoreCoderDelayAndProgramConfig)
{
    AscFields core;
    core.dependsOnCoreCoder = 1;
    auto c = parse_asc(core);
    EXPECT_EQ(c.code, 4);  // 16 + 14 bits
    EXPECT_EQ(c.cfg.channelConfig, 2u);

    PceFields pce;
    pce.front = {1};
    pce.commentBytes = 4;
    AscFields withPce;
    withPce.channelConfig = 0;
    withPce.pce = &pce;
    auto p = parse_asc(withPce);
    // 16 + 39 bits, aligned to 56, + 8 + 32 bits of comment = 96 bits
    EXPECT_EQ(p.code, 12);
    EXPECT_EQ(p.cfg.channelConfig, 2u);

    pce.cc = 1;
    auto cc = parse_asc(withPce);
    EXPECT_EQ(cc.code, -6);
    EXPECT_EQ(cc.cfg.channelConfig, 4u);  // replaced before the refusal
}

TEST(Adif, HeaderWithSeveralProgramConfigs)
{
    auto build = [](int bitstreamType, int secondProfile, bool copyright) {
        BitWriter w;
        w.bytes("ADIF").put(copyright, 1);
        if (copyright)
            w.bytes("ABCDEFGHI");
        w.put(0, 1).put(1, 1).put(bitstreamType, 1).put(128000, 23).put(2, 4);
        for (int i = 0; i < 3; i++) {
            if (bitstreamType == 0)
                w.put(0x54321 + i, 20);
            PceFields f;
            f.objectType = i == 1 ? secondProfile : 1;
            f.sfIndex = 3 + i;
            f.front = std::vector<int>(static_cast<size_t>(i + 1), 0);
            write_pce(w, f);
        }
        return std::make_pair(w.data(), w.bit_count());
    };

    auto [buf, bits] = build(0, 1, true);
    AdifHeader adif = {};
    BitReader r;
    aac_initbits(&r, buf.data());
    EXPECT_EQ(get_adif_header(&adif, &r), 0);
    EXPECT_EQ(static_cast<size_t>(aac_get_processed_bits(&r)), bits);
    EXPECT_STREQ(reinterpret_cast<const char *>(adif.copyright_id), "ABCDEFGHI");
    EXPECT_EQ(adif.bitrate, 128000u);
    EXPECT_EQ(adif.adif_buffer_fullness, 0x54323u);
    EXPECT_EQ(adif.pce.sampling_frequency_index, 5);  // the third PCE
    EXPECT_EQ(adif.pce.channel_count, 3u);

    auto [vbr, vbrBits] = build(1, 0, false);
    AdifHeader v = {};
    aac_initbits(&r, vbr.data());
    EXPECT_EQ(get_adif_header(&v, &r), -12);  // the second PCE stops the parse
    EXPECT_EQ(v.adif_buffer_fullness, 0u);
    EXPECT_EQ(v.pce.sampling_frequency_index, 4);
    EXPECT_LT(static_cast<size_t>(aac_get_processed_bits(&r)), vbrBits);
}
