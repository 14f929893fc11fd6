// The HE-AAC calls where the fxaac command cannot show them: SBR signalling
// read from hand-made AudioSpecificConfigs (object type 5, the sync
// extension, the "HEAAC" marker, LATM), the bounded contract of
// AACPlusHeAacDecode, and the core calls left as they were (AACPlusDecode
// skips the SBR data, AACPlusHeaderDecode refuses object type 5), and a mono
// stream with parametric stereo. The streams are the first frames of HE-AAC
// test streams (tests/decoder/data: fixfix_music_22k_s of scripts/sbr-streams;
// ps_20_music_22k_m, the first six frames of tests/heaac/streams/ps_20_ipd_22k_m).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <fxaac/fxaac_heaac.h>

#include "support/bit_writer.h"
#include "support/instance.h"

using namespace fxaac_test;

namespace {

constexpr int kAdtsHeader = 7;

std::vector<uint8_t> read_stream(const char *name)
{
    std::ifstream in(std::string(FXAAC_HEAAC_DATA_DIR "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The stream in its three forms (stereo, core at 22050 Hz, six frames).
struct Streams {
    static constexpr int kFrames = 6;
    static constexpr int kCoreRate = 22050;
    static constexpr int kChannels = 2;
    std::vector<uint8_t> heAacAdts = read_stream("fixfix_music_22k_s.aac");
    std::vector<uint8_t> lcAdts = read_stream("fixfix_music_22k_s_core.aac");  // no fill elements
    std::vector<uint8_t> heAacLatm = read_stream("fixfix_music_22k_s.latm");
    std::vector<size_t> frameSizes;  // of the ADTS frames, from their headers
    Streams()
    {
        for (size_t p = 0; p + kAdtsHeader <= heAacAdts.size(); p += frameSizes.back())
            frameSizes.push_back(static_cast<size_t>(
                (heAacAdts[p + 3] & 3) << 11 | heAacAdts[p + 4] << 3 | heAacAdts[p + 5] >> 5));
    }
};
const Streams hs;
constexpr uint32_t kCoreSf = 7;  // 22050 Hz, the streams' core rate
constexpr uint8_t kGuard = 0xA5;

struct HeAac {
    std::unique_ptr<HeAacDecoder> d = std::make_unique<HeAacDecoder>();
    explicit HeAac(int32_t format = 0, int32_t flags = 0)
    {
        AACPlusHeAacInit(d.get(), format, flags);
    }
    HeAacDecoder *operator->() const { return d.get(); }
    int32_t header(const std::vector<uint8_t> &bytes, int32_t hdrPrsnt = 1)
    {
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = hdrPrsnt;
        cfg.fs = Streams::kCoreRate;
        cfg.chn = Streams::kChannels;
        return AACPlusHeAacHeaderDecode(d.get(), cfg, bytes.data(),
                                        static_cast<int32_t>(bytes.size()));
    }
};

enum class Signal { ObjectType5, SyncSbr, SyncNoSbr };

// An AudioSpecificConfig of a stereo AAC-LC core at rate index coreSf
// signalling SBR at rate index extSf (ISO/IEC 14496-3 1.6.2.1, 1.6.5.2).
BitWriter asc(Signal s, uint32_t coreSf, uint32_t extSf)
{
    BitWriter w;
    if (s == Signal::ObjectType5)
        w.put(5, 5).put(coreSf, 4).put(Streams::kChannels, 4).put(extSf, 4).put(2, 5);
    else
        w.put(2, 5).put(coreSf, 4).put(Streams::kChannels, 4);
    w.put(0, 3);  // GASpecificConfig: frameLengthFlag, dependsOnCoreCoder, extensionFlag
    if (s == Signal::SyncSbr)
        w.put(0x2b7, 11).put(5, 5).put(1, 1).put(extSf, 4);  // sbrPresentFlag 1
    else if (s == Signal::SyncNoSbr)
        w.put(0x2b7, 11).put(5, 5).put(0, 1);  // sbrPresentFlag 0: no index follows
    return w;
}

// The raw data blocks of the ADTS stream, one after the other.
std::vector<uint8_t> raw_blocks()
{
    std::vector<uint8_t> out;
    auto frame = hs.heAacAdts.begin();
    for (size_t size : hs.frameSizes) {
        out.insert(out.end(), frame + kAdtsHeader, frame + static_cast<long>(size));
        frame += static_cast<long>(size);
    }
    return out;
}

struct Frames {
    std::vector<std::vector<int16_t>> pcm;  // per frame, interleaved
    std::vector<int32_t> errors;
};

// Every frame of data (from pos) through AACPlusHeAacDecode, each call
// given exactly the bytes that remain, in a heap copy.
Frames decode_all(HeAac &he, const std::vector<uint8_t> &data, size_t pos = 0)
{
    Frames f;
    std::vector<int16_t> out(2 * FXAAC_HEAAC_FRAME_LENGTH * FXAAC_MAX_CHANNELS);
    while (pos < data.size() && f.pcm.size() < 64) {
        std::vector<uint8_t> exact(data.begin() + static_cast<long>(pos), data.end());
        FrameStatus st;
        AACPlusHeAacDecode(he.d.get(), exact.data(), static_cast<int32_t>(exact.size()), out.data(),
                           &st);
        if (st.bytesConsumed <= 0)
            break;
        pos += static_cast<size_t>(st.bytesConsumed);
        f.pcm.emplace_back(out.begin(), out.begin() + st.outputSamples);
        f.errors.push_back(st.errorCode);
    }
    return f;
}

// An ADTS stream through header decoding, then every frame.
Frames decode_adts(HeAac &he, const std::vector<uint8_t> &data)
{
    EXPECT_EQ(he.header(data), 0);
    return decode_all(he, data);
}

// Samples per channel and frame must match the output rate: 1024 core samples
// of the frame's duration at outputRate.
void expect_consistent(const HeAac &he, const Frames &f, int32_t rate, int32_t perChannel)
{
    EXPECT_EQ(he->outputRate, rate);
    ASSERT_EQ(f.pcm.size(), static_cast<size_t>(Streams::kFrames));
    for (size_t i = 0; i < f.pcm.size(); i++) {
        EXPECT_EQ(f.pcm[i].size(), static_cast<size_t>(perChannel * Streams::kChannels)) << i;
        EXPECT_EQ(f.errors[i], 0) << i;
    }
    EXPECT_EQ(static_cast<int64_t>(perChannel) * Streams::kCoreRate,
              static_cast<int64_t>(FXAAC_FRAME_LENGTH) * rate)
        << "frame length and output rate disagree";
}

}  // namespace

// Object type 5 with extensionSamplingFrequencyIndex, and the sync extension
// after an AAC-LC config, with sbrPresentFlag 1 and 0; alone and behind the
// "HEAAC" marker. The signalled rate is taken, and the blocks that follow
// decode at it: 2048 samples per frame at the doubled rate; with
// sbrPresentFlag 0 the SBR data of the frames is ignored.
TEST(HeAacHeader, ConfigsSignalSbrAndItsRate)
{
    const std::vector<uint8_t> blocks = raw_blocks();
    const Frames adtsDecode = [] {
        HeAac he;
        return decode_adts(he, hs.heAacAdts);
    }();
    struct Case {
        Signal s;
        bool marker;
        int32_t signalled, rate;
    };
    for (const Case c :
         {Case{Signal::ObjectType5, false, 1, 44100}, Case{Signal::ObjectType5, true, 1, 44100},
          Case{Signal::SyncSbr, false, 1, 44100}, Case{Signal::SyncSbr, true, 1, 44100},
          Case{Signal::SyncNoSbr, false, -1, 0}}) {
        SCOPED_TRACE(testing::Message()
                     << "signal " << static_cast<int>(c.s) << " marker " << c.marker);
        const std::vector<uint8_t> config = asc(c.s, kCoreSf, 4).data(0);
        std::vector<uint8_t> stream;
        if (c.marker) {
            stream = {'H', 'E', 'A', 'A', 'C', static_cast<uint8_t>(1 + config.size())};
        }
        stream.insert(stream.end(), config.begin(), config.end());
        const size_t headerBytes = stream.size();
        stream.insert(stream.end(), blocks.begin(), blocks.end());
        HeAac he;
        ASSERT_EQ(he.header(stream), static_cast<int32_t>(headerBytes));
        EXPECT_EQ(he->sbrSignalled, c.signalled);
        EXPECT_EQ(he->sbrRate, c.rate);
        EXPECT_EQ(he->core.sampleRate, Streams::kCoreRate);
        const Frames f = decode_all(he, stream, headerBytes);
        if (c.signalled == 1) {
            expect_consistent(he, f, 2 * Streams::kCoreRate, FXAAC_HEAAC_FRAME_LENGTH);
            EXPECT_EQ(f.pcm, adtsDecode.pcm) << "the ADTS form of the same blocks";
        } else {
            expect_consistent(he, f, Streams::kCoreRate, FXAAC_FRAME_LENGTH);
            EXPECT_EQ(he->sbrActive, 0);
        }
    }
}

// An extension rate equal to the core's (an encoder's single-rate SBR):
// ffmpeg and faad decode it at the core rate, 1024 samples per channel and
// frame: the downsampled SBR output.
TEST(HeAacHeader, ExtensionRateEqualToTheCoreRate)
{
    std::vector<uint8_t> stream = asc(Signal::ObjectType5, kCoreSf, kCoreSf).data(0);
    const size_t headerBytes = stream.size();
    const std::vector<uint8_t> blocks = raw_blocks();
    stream.insert(stream.end(), blocks.begin(), blocks.end());
    HeAac he;
    ASSERT_EQ(he.header(stream), static_cast<int32_t>(headerBytes));
    EXPECT_EQ(he->sbrSignalled, 1);
    EXPECT_EQ(he->sbrRate, Streams::kCoreRate);
    expect_consistent(he, decode_all(he, stream, headerBytes), Streams::kCoreRate,
                      FXAAC_FRAME_LENGTH);
}

// LATM with audioMuxVersion 1 (ascLen given) and an AudioSpecificConfig of
// object type 5: no header call; the rate comes from the StreamMuxConfig and
// the samples equal the ADTS decode of the same blocks.
TEST(HeAacLatm, Version1ObjectType5)
{
    HeAac he;
    HeAac ref;
    const Frames adtsDecode = decode_adts(ref, hs.heAacAdts);
    auto latm = std::make_unique<LatmState>();
    AACPlusLatmInit(latm.get());
    std::vector<int16_t> out(2 * FXAAC_HEAAC_FRAME_LENGTH * FXAAC_MAX_CHANNELS);
    Frames f;
    size_t pos = 0;
    while (pos < hs.heAacLatm.size()) {
        std::vector<uint8_t> exact(hs.heAacLatm.begin() + static_cast<long>(pos),
                                   hs.heAacLatm.end());
        FrameStatus st;
        AACPlusHeAacDecodeLatm(he.d.get(), latm.get(), exact.data(),
                               static_cast<int32_t>(exact.size()), out.data(), &st);
        ASSERT_GT(st.bytesConsumed, 0) << "error " << st.errorCode;
        pos += static_cast<size_t>(st.bytesConsumed);
        f.pcm.emplace_back(out.begin(), out.begin() + st.outputSamples);
        f.errors.push_back(st.errorCode);
    }
    EXPECT_EQ(latm->config.audioMuxVersion, 1);
    EXPECT_EQ(he->sbrSignalled, 1);
    EXPECT_EQ(he->sbrRate, 2 * Streams::kCoreRate);
    expect_consistent(he, f, 2 * Streams::kCoreRate, FXAAC_HEAAC_FRAME_LENGTH);
    EXPECT_EQ(f.pcm, adtsDecode.pcm);
}

// A LOAS element whose block carries SBR data before any SBR header (as for
// a listener who joins a broadcast between two headers): the payload is
// refused, and the LATM call, like the frame call on the same block, gives
// the frame's core audio with the warning FXAAC_ERR_SBR_DATA and returns 1.
TEST(HeAacLatm, SbrDataBeforeAnyHeaderKeepsTheCoreAudio)
{
    // A short mono block at 24000 Hz with a fill element of SBR data (no
    // header), alone and in a LOAS element with an AAC-LC StreamMuxConfig.
    const std::vector<uint8_t> block = {0x01, 0x18, 0x40, 0x06, 0x5d, 0x00, 0xba, 0x20, 0x07, 0x8e};
    const std::vector<uint8_t> loas = {0x56, 0xe0, 0x11, 0x20, 0x00, 0x13, 0x08, 0x1f, 0xe0, 0x50,
                                       0x08, 0xc2, 0x00, 0x32, 0xe8, 0x05, 0xd1, 0x00, 0x3c, 0x70};
    HeAac raw;
    DecoderConfig cfg = {};
    cfg.fs = 24000;
    cfg.chn = 1;
    ASSERT_EQ(AACPlusHeAacHeaderDecode(raw.d.get(), cfg, block.data(),
                                       static_cast<int32_t>(block.size())),
              0);
    const Frames ref = decode_all(raw, block);
    ASSERT_EQ(ref.pcm.size(), 1u);
    EXPECT_EQ(ref.errors[0], FXAAC_ERR_SBR_DATA);
    EXPECT_EQ(ref.pcm[0].size(), static_cast<size_t>(FXAAC_HEAAC_FRAME_LENGTH));

    HeAac he;
    auto latm = std::make_unique<LatmState>();
    AACPlusLatmInit(latm.get());
    std::vector<int16_t> out(FXAAC_HEAAC_FRAME_LENGTH * FXAAC_MAX_CHANNELS);
    FrameStatus st;
    EXPECT_EQ(AACPlusHeAacDecodeLatm(he.d.get(), latm.get(), loas.data(),
                                     static_cast<int32_t>(loas.size()), out.data(), &st),
              1);
    EXPECT_EQ(st.errorCode, FXAAC_ERR_SBR_DATA);
    EXPECT_EQ(st.bytesConsumed, static_cast<int32_t>(loas.size()));
    EXPECT_EQ(he->sbrErrors, 1);
    ASSERT_EQ(st.outputSamples, FXAAC_HEAAC_FRAME_LENGTH);
    EXPECT_EQ(std::vector<int16_t>(out.begin(), out.begin() + st.outputSamples), ref.pcm[0]);
}

// The bounded contract on HE-AAC ADTS frames, 16- and 24-bit: every prefix of
// a frame asks for more input and changes neither the record nor the output;
// the whole frame writes its samples and not one byte after them.
TEST(HeAacBounded, PrefixesChangeNothingAndTheFrameWritesOnlyItsSamples)
{
    ASSERT_EQ(hs.frameSizes.size(), static_cast<size_t>(Streams::kFrames)) << "stream not read";
    for (int32_t format : {0, 2}) {
        SCOPED_TRACE(format == 2 ? "24-bit" : "16-bit");
        const size_t sampleBytes = format == 2 ? 4 : 2;
        // The documented room (8192 or 16384 bytes per channel) and a guard after it.
        const size_t room = FXAAC_MAX_CHANNELS * FXAAC_HEAAC_FRAME_LENGTH * 2 * sampleBytes;
        HeAac he(format);
        ASSERT_EQ(he.header(std::vector<uint8_t>(hs.heAacAdts.begin(), hs.heAacAdts.begin() + 16)),
                  0);
        auto before = std::make_unique<HeAacDecoder>();
        std::vector<uint8_t> out(room + 256);
        size_t pos = 0;
        for (size_t i = 0; i < hs.frameSizes.size(); i++) {
            const size_t len = hs.frameSizes[i];
            const uint8_t *frame = hs.heAacAdts.data() + pos;
            for (size_t n = 0; n < len; n++) {
                std::unique_ptr<uint8_t[]> exact(new uint8_t[n + 1]);
                std::memcpy(exact.get(), frame, n);
                std::memcpy(before.get(), he.d.get(), sizeof *before);
                std::memset(out.data(), kGuard, out.size());
                FrameStatus st;
                AACPlusHeAacDecode(he.d.get(), exact.get(), static_cast<int32_t>(n), out.data(),
                                   &st);
                ASSERT_EQ(st.errorCode, FXAAC_ERR_NEED_MORE_INPUT) << "frame " << i << ", " << n;
                ASSERT_EQ(st.bytesConsumed, 0);
                ASSERT_EQ(st.outputSamples, 0);
                ASSERT_EQ(std::memcmp(before.get(), he.d.get(), sizeof *before), 0)
                    << "frame " << i << ": a prefix of " << n << " bytes changed the record";
                ASSERT_TRUE(
                    std::all_of(out.begin(), out.end(), [](uint8_t b) { return b == kGuard; }))
                    << "frame " << i << ": a prefix of " << n << " bytes wrote output";
            }
            std::unique_ptr<uint8_t[]> exact(new uint8_t[len]);
            std::memcpy(exact.get(), frame, len);
            std::memset(out.data(), kGuard, out.size());
            FrameStatus st;
            EXPECT_EQ(AACPlusHeAacDecode(he.d.get(), exact.get(), static_cast<int32_t>(len),
                                         out.data(), &st),
                      1);
            EXPECT_EQ(st.errorCode, 0);
            EXPECT_EQ(st.bytesConsumed, static_cast<int32_t>(len));
            ASSERT_EQ(st.outputSamples, Streams::kChannels * FXAAC_HEAAC_FRAME_LENGTH);
            const size_t written = static_cast<size_t>(st.outputSamples) * sampleBytes;
            size_t touched = 0;
            for (size_t b = written; b < out.size(); b++)
                touched += out[b] != kGuard;
            EXPECT_EQ(touched, 0u) << "frame " << i << ": bytes after the samples written";
            pos += len;
        }
        EXPECT_EQ(he->sbrFrames, Streams::kFrames);
        EXPECT_EQ(he->sbrErrors, 0);
    }
}

// The core calls see an HE-AAC stream as AAC-LC: AACPlusDecode skips the fill
// elements, so its samples equal those of the same frames without them, and
// AACPlusHeAacDecode on those plain frames (no SBR anywhere) is AAC-LC too.
TEST(HeAacCore, CoreCallsDecodeTheAacLcCore)
{
    const auto core = [](const std::vector<uint8_t> &stream) {
        const size_t bytes = stream.size();
        Instance inst;
        std::vector<uint8_t> padded = stream;
        padded.resize(bytes + 8, 0);
        EXPECT_EQ(inst.header(padded.data()), 0);
        std::vector<std::vector<int16_t>> frames;
        std::vector<int16_t> out(FXAAC_FRAME_LENGTH * FXAAC_MAX_CHANNELS);
        size_t pos = 0;
        while (pos < bytes) {
            FrameStatus st;
            AACPlusDecode(inst.dec.get(), padded.data() + pos, out.data(), &st, nullptr);
            EXPECT_EQ(st.errorCode, 0);
            if (st.bytesConsumed <= 0)
                break;
            pos += static_cast<size_t>(st.bytesConsumed);
            frames.emplace_back(out.begin(), out.begin() + st.outputSamples);
        }
        return frames;
    };
    const auto withSbr = core(hs.heAacAdts);
    const auto plain = core(hs.lcAdts);
    ASSERT_EQ(withSbr.size(), static_cast<size_t>(Streams::kFrames));
    for (const auto &f : withSbr)
        EXPECT_EQ(f.size(), static_cast<size_t>(FXAAC_FRAME_LENGTH * Streams::kChannels));
    EXPECT_EQ(withSbr, plain);

    HeAac he;
    const Frames lc = decode_adts(he, hs.lcAdts);
    expect_consistent(he, lc, Streams::kCoreRate, FXAAC_FRAME_LENGTH);
    EXPECT_EQ(he->sbrActive, 0);
    EXPECT_EQ(lc.pcm, plain);
}

// AACPlusHeaderDecode decodes AAC-LC only: object type 5, alone or behind
// the marker, is refused with -12 as before.
TEST(HeAacCore, CoreHeaderRefusesObjectType5)
{
    const std::vector<uint8_t> config = asc(Signal::ObjectType5, kCoreSf, 4).data(0);
    std::vector<uint8_t> alone = config;
    alone.resize(alone.size() + 8, 0);
    Instance a;
    EXPECT_EQ(a.header(alone.data()), FXAAC_ERR_OBJECT_TYPE);
    std::vector<uint8_t> marked = {'H', 'E', 'A',
                                   'A', 'C', static_cast<uint8_t>(1 + config.size())};
    marked.insert(marked.end(), alone.begin(), alone.end());
    Instance b;
    EXPECT_EQ(b.header(marked.data()), FXAAC_ERR_OBJECT_TYPE);
}

// The downsampled mode: the core rate and 1024 samples per channel and frame.
TEST(HeAacOutput, DownsampledKeepsTheCoreRate)
{
    HeAac he(0, FXAAC_HEAAC_DOWNSAMPLED);
    const Frames f = decode_adts(he, hs.heAacAdts);
    expect_consistent(he, f, Streams::kCoreRate, FXAAC_FRAME_LENGTH);
    EXPECT_EQ(he->sbrActive, 1);
}

// HE-AAC v2: a mono stream whose SBR data carries parametric stereo decodes
// to two channels from its first frame (implicit), and an object type 29
// configuration says so before any frame. The core call stays mono.
TEST(HeAacV2, MonoCoreWithParametricStereoDecodesToStereo)
{
    const std::vector<uint8_t> stream = read_stream("ps_20_music_22k_m.aac");
    ASSERT_FALSE(stream.empty());
    HeAac he;
    const Frames f = decode_adts(he, stream);
    ASSERT_EQ(f.pcm.size(), static_cast<size_t>(Streams::kFrames));
    EXPECT_EQ(he->psActive, 1);
    EXPECT_EQ(he->psFrames, Streams::kFrames);
    EXPECT_EQ(he->outputRate, 2 * Streams::kCoreRate);
    size_t differ = 0;
    for (size_t i = 0; i < f.pcm.size(); i++) {
        ASSERT_EQ(f.pcm[i].size(), 2u * FXAAC_HEAAC_FRAME_LENGTH) << i;
        EXPECT_EQ(f.errors[i], 0) << i;
        for (size_t n = 0; n < f.pcm[i].size(); n += 2)
            differ += f.pcm[i][n] != f.pcm[i][n + 1];
    }
    EXPECT_GT(differ, 1000u) << "left and right are one signal";

    HeAac v2;
    BitWriter w;  // object type 29, mono core at 22050 Hz, SBR at 44100 Hz
    w.put(29, 5).put(kCoreSf, 4).put(1, 4).put(4, 4).put(2, 5).put(0, 3);
    EXPECT_GE(v2.header(w.data()), 0);
    EXPECT_EQ(v2->psSignalled, 1);
    EXPECT_EQ(v2->sbrSignalled, 1);

    Instance lc;  // the core call: one channel, 1024 samples
    EXPECT_EQ(lc.header(stream.data()), 0);
    std::vector<int16_t> out(2 * FXAAC_FRAME_LENGTH);
    FrameStatus st;
    const int32_t sbrFlag = 0;
    AACPlusDecodeBuffer(lc.dec.get(), stream.data(), static_cast<int32_t>(stream.size()),
                        out.data(), &st, &sbrFlag);
    EXPECT_EQ(st.outputSamples, FXAAC_FRAME_LENGTH);
}

// A stream that turns from mono with parametric stereo to stereo and back:
// the stereo frames take the second SBR channel back from parametric stereo
// and the mono ones give it again (its state begins afresh); every frame
// comes out whole, two channels at the doubled rate.
TEST(HeAacV2, TurningStereoAndBackKeepsEveryFrame)
{
    std::vector<uint8_t> stream = read_stream("ps_20_music_22k_m.aac");
    const size_t mono = stream.size();
    stream.insert(stream.end(), hs.heAacAdts.begin(), hs.heAacAdts.end());
    stream.insert(stream.end(), stream.begin(), stream.begin() + static_cast<long>(mono));
    HeAac he;
    ASSERT_EQ(he.header(stream), 0);
    const Frames f = decode_all(he, stream);
    ASSERT_EQ(f.pcm.size(), static_cast<size_t>(3 * Streams::kFrames));
    for (size_t i = 0; i < f.pcm.size(); i++) {
        EXPECT_EQ(f.pcm[i].size(), 2u * FXAAC_HEAAC_FRAME_LENGTH) << i;
        EXPECT_EQ(f.errors[i], 0) << i;
    }
    EXPECT_EQ(he->psFrames, 2 * Streams::kFrames);
    const std::vector<int16_t> &last = f.pcm.back();
    size_t differ = 0;
    for (size_t n = 0; n < last.size(); n += 2)
        differ += last[n] != last[n + 1];
    EXPECT_GT(differ, 100u) << "parametric stereo did not come back";
}
