// LATM/LOAS input through AACPlusDecodeLatm: streams made by ffmpeg and by
// hand decode bit-identically to the same raw data blocks in ADTS, whole and
// in pieces; unsupported multiplexes give their codes; damage never breaks
// the bounded contract.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "support/bit_writer.h"
#include "support/vectors.h"

using namespace fxaac_test;

namespace {

// The raw data blocks of a single-block-per-frame ADTS stream, and its
// AudioSpecificConfig fields.
struct AdtsBlocks {
    std::vector<std::vector<uint8_t>> blocks;
    int objectType = 0, sfIndex = 0, channels = 0;
};

AdtsBlocks split_adts(const std::vector<uint8_t> &d)
{
    AdtsBlocks a;
    a.objectType = (d[2] >> 6) + 1;
    a.sfIndex = (d[2] >> 2) & 15;
    a.channels = ((d[2] & 1) << 2) | (d[3] >> 6);
    for (size_t pos = 0; pos + 7 <= d.size();) {
        const size_t length = ((d[pos + 3] & 3) << 11) | (d[pos + 4] << 3) | (d[pos + 5] >> 5);
        const size_t header = (d[pos + 1] & 1) ? 7 : 9;
        a.blocks.emplace_back(d.begin() + static_cast<long>(pos + header),
                              d.begin() + static_cast<long>(pos + length));
        pos += length;
    }
    return a;
}

// How a hand-made stream is multiplexed.
struct Mux {
    int version = 0;        // audioMuxVersion
    int configEvery = 1;    // a StreamMuxConfig in every n-th element, useSameStreamMux between
    int ascFillBits = 0;    // version 1: bits after the AudioSpecificConfig inside ascLen
    int otherDataBits = 0;  // 0: otherDataPresent 0
    bool crc = false;       // crcCheckPresent
    int objectType = 0;     // 0: the ADTS stream's
    int numProgram = 0, numLayer = 0, numSubFrames = 0, frameLengthType = 0, versionA = 0;
    std::vector<uint8_t> asc;  // version 1: this AudioSpecificConfig, byte-padded, in ascLen
};

void latm_value(BitWriter &w, uint32_t v)
{
    int bytes = v > 0xFFFFFF ? 4 : v > 0xFFFF ? 3 : v > 0xFF ? 2 : 1;
    w.put(bytes - 1, 2);
    for (int i = bytes - 1; i >= 0; i--)
        w.put((v >> (8 * i)) & 0xFF, 8);
}

void stream_mux_config(BitWriter &w, const Mux &m, const AdtsBlocks &a)
{
    w.put(m.version, 1);
    if (m.version == 1) {
        w.put(m.versionA, 1);
        latm_value(w, 0x1234);  // taraBufferFullness
    }
    w.put(1, 1).put(m.numSubFrames, 6).put(m.numProgram, 4).put(m.numLayer, 3);
    if (m.version == 1 && !m.asc.empty()) {
        latm_value(w, static_cast<uint32_t>(8 * m.asc.size()));
        for (uint8_t b : m.asc)
            w.put(b, 8);
        w.put(0, 3).put(0xFF, 8).put(0, 2);  // frameLengthType, fullness, no other data, CRC
        return;
    }
    if (m.version == 1)
        latm_value(w, 16 + m.ascFillBits);  // ascLen
    // AudioSpecificConfig: 16 bits, GASpecificConfig all zero.
    w.put(m.objectType ? m.objectType : a.objectType, 5).put(a.sfIndex, 4).put(a.channels, 4);
    w.put(0, 3);
    w.put(0x5, m.ascFillBits);
    w.put(m.frameLengthType, 3).put(0xFF, 8);
    w.put(m.otherDataBits > 0, 1);
    if (m.otherDataBits > 0) {
        if (m.version == 1) {
            latm_value(w, static_cast<uint32_t>(m.otherDataBits));
        } else {  // 8-bit steps, escape bit first
            w.put(1, 1).put(m.otherDataBits >> 8, 8).put(0, 1).put(m.otherDataBits & 0xFF, 8);
        }
    }
    w.put(m.crc, 1);
    if (m.crc)
        w.put(0xA5, 8);
}

std::vector<uint8_t> audio_mux_element(const Mux &m, const AdtsBlocks &a, size_t i)
{
    BitWriter w;
    const bool config = i % static_cast<size_t>(m.configEvery) == 0;
    w.put(!config, 1);
    if (config)
        stream_mux_config(w, m, a);
    const std::vector<uint8_t> &block = a.blocks[i];
    size_t n = block.size();
    for (; n >= 255; n -= 255)
        w.put(255, 8);
    w.put(static_cast<uint32_t>(n), 8);
    for (uint8_t b : block)
        w.put(b, 8);
    for (int k = 0; k < m.otherDataBits; k++)
        w.put(k & 1, 1);
    w.align();
    std::vector<uint8_t> body = w.data(0);
    std::vector<uint8_t> out = {0x56, static_cast<uint8_t>(0xE0 | (body.size() >> 8)),
                                static_cast<uint8_t>(body.size() & 0xFF)};
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

std::vector<uint8_t> make_loas(const Mux &m, const AdtsBlocks &a)
{
    std::vector<uint8_t> s;
    for (size_t i = 0; i < a.blocks.size(); i++) {
        std::vector<uint8_t> e = audio_mux_element(m, a, i);
        s.insert(s.end(), e.begin(), e.end());
    }
    return s;
}

struct LatmDecoder : Instance {
    std::unique_ptr<LatmState> latm = std::make_unique<LatmState>();
    LatmDecoder() { AACPlusLatmInit(latm.get()); }
};

struct Fed {
    std::vector<int16_t> samples;
    std::vector<int32_t> codes;  // error code of every call that consumed bytes
    size_t leftover = 0;
};

// Feeds the stream in pieces of 1 to maxChunk bytes (0: whole). Every call
// sees an exactly sized heap copy of its bytes; a call that asks for more
// input must leave the instance and the state as they were.
Fed feed(const std::vector<uint8_t> &stream, size_t maxChunk, unsigned seed = 1)
{
    LatmDecoder d;
    std::mt19937 rng(seed);
    std::vector<uint8_t> pending;
    size_t next = 0;
    std::vector<int16_t> pcm(4096);
    auto instanceBefore = std::make_unique<AacDecoder>();
    auto stateBefore = std::make_unique<LatmState>();
    Fed fed;
    for (int guard = 0; guard < 1000000; guard++) {
        std::unique_ptr<uint8_t[]> exact(new uint8_t[pending.size() + 1]);
        std::copy(pending.begin(), pending.end(), exact.get());
        *instanceBefore = *d.dec;
        *stateBefore = *d.latm;
        FrameStatus st;
        AACPlusDecodeLatm(d.dec.get(), d.latm.get(), exact.get(),
                          static_cast<int32_t>(pending.size()), pcm.data(), &st);
        if (st.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            EXPECT_EQ(st.bytesConsumed, 0);
            EXPECT_EQ(std::memcmp(instanceBefore.get(), d.dec.get(), sizeof(AacDecoder)), 0);
            EXPECT_EQ(std::memcmp(stateBefore.get(), d.latm.get(), sizeof(LatmState)), 0);
            if (next >= stream.size())
                break;
            size_t n = maxChunk == 0 ? stream.size() : 1 + rng() % maxChunk;
            n = std::min(stream.size() - next, n);
            pending.insert(pending.end(), stream.begin() + static_cast<long>(next),
                           stream.begin() + static_cast<long>(next + n));
            next += n;
            continue;
        }
        EXPECT_GT(st.bytesConsumed, 0);
        EXPECT_LE(static_cast<size_t>(st.bytesConsumed), pending.size());
        fed.samples.insert(fed.samples.end(), pcm.begin(), pcm.begin() + st.outputSamples);
        fed.codes.push_back(st.errorCode);
        pending.erase(pending.begin(), pending.begin() + std::max(st.bytesConsumed, 1));
    }
    fed.leftover = pending.size() + (stream.size() - next);
    return fed;
}

Vector vector_named(const std::string &name)
{
    for (Vector &v : load_vectors())
        if (v.name == name)
            return v;
    ADD_FAILURE() << name << " is not in the manifest";
    return {};
}

int count(const std::vector<int32_t> &codes, int32_t code)
{
    return static_cast<int>(std::count(codes.begin(), codes.end(), code));
}

// The first element of a hand-made stream, decoded on a fresh state.
int32_t first_element_code(const Mux &m)
{
    const AdtsBlocks a = split_adts(vector_named("tone_8k_m.aac").bytes);
    const std::vector<uint8_t> e = audio_mux_element(m, a, 0);
    LatmDecoder d;
    std::vector<int16_t> pcm(4096);
    FrameStatus st;
    AACPlusDecodeLatm(d.dec.get(), d.latm.get(), e.data(), static_cast<int32_t>(e.size()),
                      pcm.data(), &st);
    EXPECT_EQ(static_cast<size_t>(st.bytesConsumed), e.size());
    return st.errorCode;
}

}  // namespace

TEST(Latm, FfmpegStreamsDecodeLikeTheirAdtsSource)
{
    for (const char *name : {"tone_8k_m", "castanets_44k_s"}) {
        const std::vector<uint8_t> latm = read_file(std::string(FXAAC_VECTOR_DIR "/latm/") + name +
                                                    ".latm");
        ASSERT_FALSE(latm.empty()) << name;
        int failures = 0;
        const std::vector<int16_t> adts = decode_unbounded(vector_named(std::string(name) + ".aac"),
                                                           &failures);
        ASSERT_EQ(failures, 0);
        for (size_t chunk : {size_t{0}, size_t{1}, size_t{13}, size_t{700}}) {
            Fed fed = feed(latm, chunk, static_cast<unsigned>(chunk));
            EXPECT_EQ(fed.samples, adts) << name << " in pieces up to " << chunk;
            EXPECT_EQ(count(fed.codes, 0), static_cast<int>(fed.codes.size())) << name;
            EXPECT_EQ(fed.leftover, 0u);
        }
    }
}

TEST(Latm, HandMadeMultiplexesDecodeLikeAdts)
{
    std::vector<Mux> muxes(6);
    muxes[1].configEvery = 1000;  // one StreamMuxConfig, then useSameStreamMux
    muxes[2].version = 1;
    muxes[2].ascFillBits = 11;
    muxes[2].configEvery = 7;
    muxes[3].version = 1;
    muxes[3].otherDataBits = 300;
    muxes[3].crc = true;
    muxes[4].otherDataBits = 259;  // version 0 escape form
    muxes[4].crc = true;
    muxes[4].configEvery = 3;
    muxes[5].version = 1;
    muxes[5].configEvery = 2;
    for (const char *name : {"voice_16k_m.aac", "chord_48k_s.aac", "pan_44k_s_is.aac"}) {
        const Vector v = vector_named(name);
        const std::vector<int16_t> adts = decode_unbounded(v);
        const AdtsBlocks a = split_adts(v.bytes);
        for (size_t i = 0; i < muxes.size(); i++) {
            const std::vector<uint8_t> loas = make_loas(muxes[i], a);
            Fed fed = feed(loas, i % 2 ? 0 : 333, static_cast<unsigned>(i));
            EXPECT_EQ(fed.samples, adts) << name << " mux " << i;
            EXPECT_EQ(count(fed.codes, 0), static_cast<int>(a.blocks.size())) << name << " " << i;
        }
    }
}

// A config with a program config element: its comment's byte alignment
// counts from the config's first bit, wherever that lies in the element.
TEST(Latm, ConfigWithAProgramConfigElementDecodesLikeTheConfigStream)
{
    const Vector asc = vector_named("voice_44k_m_pce.asc");
    const StreamDecoder header(asc);
    ASSERT_GT(header.headerBytes, 2);
    Mux m;
    m.version = 1;
    m.configEvery = 5;
    m.asc.assign(asc.bytes.begin(), asc.bytes.begin() + header.headerBytes);
    const AdtsBlocks a = split_adts(vector_named("voice_44k_m_pce.aac").bytes);
    Fed fed = feed(make_loas(m, a), 0);
    EXPECT_EQ(fed.samples, decode_unbounded(asc));
    EXPECT_EQ(count(fed.codes, 0), static_cast<int>(a.blocks.size()));
}

TEST(Latm, UnsupportedMultiplexesAreRefusedWithTheirCodes)
{
    struct Case {
        const char *what;
        void (*change)(Mux *);
        int32_t code;
    };
    const Case cases[] = {
        {"supported", [](Mux *) {}, FXAAC_OK},
        {"two programs", [](Mux *m) { m->numProgram = 1; }, FXAAC_ERR_LATM_CONFIG},
        {"three layers", [](Mux *m) { m->numLayer = 2; }, FXAAC_ERR_LATM_CONFIG},
        {"audioMuxVersionA 1", [](Mux *m) { m->version = m->versionA = 1; }, FXAAC_ERR_LATM_CONFIG},
        {"two subframes", [](Mux *m) { m->numSubFrames = 1; }, FXAAC_ERR_LATM_SUBFRAMES},
        {"frameLengthType 1", [](Mux *m) { m->frameLengthType = 1; }, FXAAC_ERR_LATM_FRAME_LENGTH},
        {"explicit SBR signalling", [](Mux *m) { m->objectType = 5; }, FXAAC_ERR_OBJECT_TYPE},
    };
    for (const Case &c : cases) {
        Mux m;
        c.change(&m);
        EXPECT_EQ(first_element_code(m), c.code) << c.what;
    }
}

TEST(Latm, ElementsWithoutAUsableConfigFailUntilOneArrives)
{
    const Vector v = vector_named("voice_16k_m.aac");
    const AdtsBlocks a = split_adts(v.bytes);
    Mux every4;
    every4.configEvery = 4;
    // Starting at element 1: three elements refer to a config not yet seen.
    std::vector<uint8_t> loas = make_loas(every4, a);
    const size_t first = audio_mux_element(every4, a, 0).size();
    Fed fed = feed({loas.begin() + static_cast<long>(first), loas.end()}, 0);
    ASSERT_GE(fed.codes.size(), 4u);
    EXPECT_EQ(std::vector<int32_t>(fed.codes.begin(), fed.codes.begin() + 4),
              (std::vector<int32_t>{FXAAC_ERR_LATM_NO_CONFIG, FXAAC_ERR_LATM_NO_CONFIG,
                                    FXAAC_ERR_LATM_NO_CONFIG, FXAAC_OK}));
    EXPECT_EQ(count(fed.codes, 0), static_cast<int>(a.blocks.size()) - 4);

    // A refused config: the elements that refer to it repeat its code, and a
    // good config afterwards is decoded again.
    Mux sbr = every4;
    sbr.objectType = 5;
    std::vector<uint8_t> mixed;
    for (size_t i = 0; i < 8; i++) {
        std::vector<uint8_t> e = audio_mux_element(i < 4 ? sbr : every4, a, i);
        mixed.insert(mixed.end(), e.begin(), e.end());
    }
    fed = feed(mixed, 0);
    EXPECT_EQ(fed.codes, (std::vector<int32_t>{-12, -12, -12, -12, 0, 0, 0, 0}));
}

TEST(Latm, JunkAndFalseSyncWordsAreSkipped)
{
    const Vector v = vector_named("chord_48k_s.aac");
    const std::vector<int16_t> adts = decode_unbounded(v);
    const AdtsBlocks a = split_adts(v.bytes);
    std::vector<uint8_t> loas = make_loas(Mux{}, a);
    // Junk in front, and a false sync word whose length runs into the first element.
    std::vector<uint8_t> junk = {0x00, 0x12, 0x56, 0xE0, 0x05, 0x33, 0x56};
    loas.insert(loas.begin(), junk.begin(), junk.end());
    Fed fed = feed(loas, 50);
    EXPECT_EQ(fed.samples, adts);
    EXPECT_EQ(count(fed.codes, FXAAC_ERR_LATM_LENGTH), 1);
    EXPECT_GE(count(fed.codes, FXAAC_ERR_NO_SYNC), 1);
    EXPECT_EQ(fed.leftover, 0u);
}

TEST(Latm, DamagedStreamsKeepTheBoundedContract)
{
    std::mt19937 rng(7);
    const std::vector<uint8_t> source = read_file(FXAAC_VECTOR_DIR "/latm/castanets_44k_s.latm");
    Mux v1;
    v1.version = 1;
    v1.otherDataBits = 20;
    v1.configEvery = 5;
    const std::vector<uint8_t> handMade = make_loas(
        v1, split_adts(vector_named("voice_16k_m.aac").bytes));
    for (const std::vector<uint8_t> *clean : {&source, &handMade}) {
        const size_t good = feed(*clean, 0).samples.size();
        for (int trial = 0; trial < 12; trial++) {
            std::vector<uint8_t> bad = *clean;
            if (trial % 3 == 0) {
                bad.resize(rng() % bad.size());  // cut anywhere
            } else {
                for (int i = 0; i < 3 * (trial % 3); i++)
                    bad[rng() % bad.size()] ^= static_cast<uint8_t>(1u << (rng() % 8));
            }
            Fed fed = feed(bad, trial % 2 ? 0 : 500, static_cast<unsigned>(trial));
            EXPECT_LE(fed.samples.size(), good + 2048 * 8) << trial;
            if (trial % 3 != 0) {  // flipped bits cost a few elements, not the stream
                EXPECT_GT(fed.samples.size(), good / 2) << trial;
            }
        }
    }
}
