#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include <fxaac/fxaac.h>

#include "support/headers.h"

using namespace fxaac_test;

namespace {

struct Decoder {
    std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
    std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();
    Decoder() { AACPlusDecoderInit(dec.get(), work.get()); }
    int32_t header(const std::vector<uint8_t> &input, int32_t hdrPrsnt = 1, int32_t fs = 0,
                   int32_t chn = 0)
    {
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = hdrPrsnt;
        cfg.fs = fs;
        cfg.chn = chn;
        return AACPlusHeaderDecode(cfg, dec.get(), input.data());
    }
    AacDecoder *operator->() { return dec.get(); }
};

std::vector<uint8_t> asc_bytes(const AscFields &f, const char *marker = nullptr, int length = 0)
{
    BitWriter w;
    if (marker)
        w.bytes(marker).put(length, 8);
    write_asc(w, f);
    return w.data();
}

}  // namespace

TEST(SampleRateIndex, NominalRateClasses)
{
    const int32_t rates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                             24000, 22050, 16000, 12000, 11025, 8000};
    for (int i = 0; i < 12; i++)
        EXPECT_EQ(sample_rate_index(rates[i]), i) << rates[i];
    const struct { int32_t rate, index; } edges[] = {
        {9390, 11},  {9391, 10},     {11501, 10},   {11502, 9},       {92016, 1},
        {92017, 0},  {16428319, 0},  {16428320, 11}, {0, 11},        {-44100, 11},
        {INT32_MAX, 11}, {46009, 3}, {46008, 4},
    };
    for (auto e : edges)
        EXPECT_EQ(sample_rate_index(e.rate), e.index) << e.rate;
}

TEST(HeaderDecode, HeaderlessInputIsNotRead)
{
    Decoder d;
    std::vector<uint8_t> none;  // no bytes at all: the input must not be touched
    none.reserve(1);
    EXPECT_EQ(d.header(none, 0, 44100, 2), 0);
    EXPECT_EQ(d->sfIndex, 4);
    EXPECT_EQ(d->objectType, 2);
    EXPECT_EQ(d->channels, 2);
    EXPECT_EQ(d->sampleRate, 44100);
    EXPECT_EQ(d->isAdts, 0);
    EXPECT_EQ(d->hasConfig, 0);
}

TEST(HeaderDecode, AdtsStreams)
{
    for (int channelConfig : {0, 1, 2, 6, 7}) {
        Decoder d;
        AdtsFields f;
        f.sfIndex = 8;
        f.channelConfig = channelConfig;
        BitWriter w;
        write_adts(w, f);
        EXPECT_EQ(d.header(w.data()), 0);  // nothing to skip: frames repeat the header
        EXPECT_EQ(d->isAdts, 1);
        EXPECT_EQ(d->hasConfig, 0);
        EXPECT_EQ(d->objectType, 1);  // ADTS profile numbering: LC is 1
        EXPECT_EQ(d->sfIndex, 8);
        EXPECT_EQ(d->sampleRate, 16000);
        EXPECT_EQ(d->channels, channelConfig == 7 ? 2 : channelConfig);
    }

    Decoder mainProfile;
    AdtsFields f;
    f.profile = 0;
    BitWriter w;
    write_adts(w, f);
    EXPECT_EQ(mainProfile.header(w.data()), -12);
    EXPECT_EQ(mainProfile->isAdts, 1);
}

TEST(HeaderDecode, AudioSpecificConfigWithAndWithoutMarker)
{
    AscFields lc;
    Decoder plain;
    EXPECT_EQ(plain.header(asc_bytes(lc)), 2);
    EXPECT_EQ(plain->objectType, 1);
    EXPECT_EQ(plain->sfIndex, 4);
    EXPECT_EQ(plain->sampleRate, 44100);
    EXPECT_EQ(plain->channels, 2);
    EXPECT_EQ(plain->hasConfig, 1);
    EXPECT_EQ(plain->isAdts, 0);

    Decoder marked;  // the result counts the marker, whatever the config's length
    EXPECT_EQ(marked.header(asc_bytes(lc, "HEAAC", 3)), 8);
    EXPECT_EQ(marked->sfIndex, 4);
    EXPECT_EQ(marked->hasConfig, 1);

    Decoder almost;  // "HEAAX" is no marker: parsed as a config ("H" is type 9)
    auto h = asc_bytes(lc, "HEAAX", 3);
    EXPECT_EQ(almost.header(h), -12);
    EXPECT_EQ(almost->objectType, 9);
    EXPECT_EQ(almost->hasConfig, 0);

    AscFields er;
    er.objectType = 17;
    er.channelConfig = 1;
    Decoder erd;
    EXPECT_EQ(erd.header(asc_bytes(er)), 3);
    EXPECT_EQ(erd->objectType, 17);  // only types up to 4 move to profile numbering
    EXPECT_EQ(erd->channels, 1);
}

TEST(HeaderDecode, AudioSpecificConfigRefusals)
{
    AscFields f960;
    f960.frameLengthFlag = 1;
    Decoder a;
    EXPECT_EQ(a.header(asc_bytes(f960)), -10);
    EXPECT_EQ(a->hasConfig, 0);

    AscFields res;
    res.objectType = 17;
    res.extensionFlag = 1;
    res.resilience = 0b010;
    Decoder b;
    EXPECT_EQ(b.header(asc_bytes(res)), -9);
    EXPECT_EQ(b->scalefactorResilience, 1);

    AscFields rate;
    rate.sfIndex = 13;
    Decoder c;
    EXPECT_EQ(c.header(asc_bytes(rate)), -13);

    AscFields ch;
    ch.channelConfig = 5;
    Decoder d;
    EXPECT_EQ(d.header(asc_bytes(ch)), -14);
    EXPECT_EQ(d->channels, 5);  // the parsed value stays for the caller to see

    PceFields pce;
    pce.front = {1};
    pce.cc = 1;
    AscFields cc;
    cc.channelConfig = 0;
    cc.pce = &pce;
    Decoder e;
    EXPECT_EQ(e.header(asc_bytes(cc)), -6);
}

TEST(HeaderDecode, AdifStreams)
{
    BitWriter w;
    w.bytes("ADIF").put(0, 1).put(0, 2).put(1, 1).put(96000, 23).put(0, 4);
    PceFields f;
    f.sfIndex = 3;
    f.front = {1};
    f.commentBytes = 2;
    write_pce(w, f);
    size_t bytes = w.bit_count() / 8;

    Decoder d;
    EXPECT_EQ(d.header(w.data()), static_cast<int32_t>(bytes));
    EXPECT_EQ(d->hasConfig, 1);
    EXPECT_EQ(d->isAdts, 0);
    EXPECT_EQ(d->sfIndex, 3);
    EXPECT_EQ(d->sampleRate, 48000);
    EXPECT_EQ(d->objectType, 1);  // the PCE's profile, not adjusted
    EXPECT_EQ(d->channels, 2);

    BitWriter m;
    m.bytes("ADIF").put(0, 1).put(0, 2).put(1, 1).put(96000, 23).put(0, 4);
    f.objectType = 3;
    write_pce(m, f);
    Decoder refused;
    EXPECT_EQ(refused.header(m.data()), -12);
    EXPECT_EQ(refused->hasConfig, 1);
}

TEST(HeaderDecode, KindTestsLookAtWholeMarkers)
{
    // "ADIX" is no ADIF header, and 'A' (0x41) starts no sync word, so the
    // bytes are read as an AudioSpecificConfig of object type 8.
    Decoder d;
    EXPECT_EQ(d.header({'A', 'D', 'I', 'X', 0, 0, 0, 0}), -12);
    EXPECT_EQ(d->objectType, 8);
    EXPECT_EQ(d->hasConfig, 0);
    EXPECT_EQ(d->isAdts, 0);
}
