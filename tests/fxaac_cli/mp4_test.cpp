// The MP4 reader of the fxaac command on hand-made files: the forms that the
// end-to-end tests' ffmpeg files do not use (64-bit and to-the-end box sizes,
// compact sample sizes, 64-bit chunk offsets) and damaged structures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mp4.h"
#include "trim_sink.h"

namespace {

using fxaac_cli::MemorySource;
using fxaac_cli::Mp4Sample;
using fxaac_cli::Mp4SampleCursor;
using fxaac_cli::Mp4Track;
using fxaac_cli::Mp4Trim;

std::string u8(unsigned v) { return std::string(1, static_cast<char>(v & 0xff)); }
std::string u16(unsigned v) { return u8(v >> 8) + u8(v); }
std::string u32(uint32_t v) { return u16(v >> 16) + u16(v & 0xffff); }
std::string u64(uint64_t v)
{
    return u32(static_cast<uint32_t>(v >> 32)) + u32(static_cast<uint32_t>(v));
}

std::string box(const std::string &type, const std::string &payload)
{
    return u32(static_cast<uint32_t>(8 + payload.size())) + type + payload;
}

std::string box64(const std::string &type, const std::string &payload)
{
    return u32(1) + type + u64(16 + payload.size()) + payload;
}

std::string full(const std::string &type, const std::string &payload)
{
    return box(type, std::string(4, '\0') + payload);
}

// esds: ES_Descriptor > DecoderConfigDescriptor > DecoderSpecificInfo.
std::string esds(unsigned oti, const std::string &asc)
{
    const std::string info = u8(0x05) + u8(static_cast<unsigned>(asc.size())) + asc;
    const std::string config = u8(0x04) + u8(static_cast<unsigned>(13 + info.size())) + u8(oti) +
                               u8(0x15) + std::string(11, '\0') + info;
    // The ES descriptor's length in the four-byte form some writers use.
    const std::string es = u8(0x03) + "\x80\x80\x80" +
                           u8(static_cast<unsigned>(3 + config.size())) + u16(1) + u8(0) + config;
    return full("esds", es);
}

const std::string kAsc = "\x12\x10";  // AAC LC, 44100 Hz, 2 channels

std::string mp4a(const std::string &children)
{
    return box("mp4a", std::string(6, '\0') + u16(1) + std::string(8, '\0') + u16(2) + u16(16) +
                           u32(0) + u32(44100u << 16) + children);
}

std::string stsd(const std::string &entry) { return full("stsd", u32(1) + entry); }

std::string stsc(const std::vector<std::pair<uint32_t, uint32_t>> &runs)
{
    std::string p = u32(static_cast<uint32_t>(runs.size()));
    for (auto [first, perChunk] : runs)
        p += u32(first) + u32(perChunk) + u32(1);
    return full("stsc", p);
}

std::string counted(const std::vector<uint32_t> &values)
{
    std::string p = u32(static_cast<uint32_t>(values.size()));
    for (uint32_t v : values)
        p += u32(v);
    return p;
}

std::string stsz(const std::vector<uint32_t> &sizes)
{
    return full("stsz", u32(0) + counted(sizes));
}
std::string stco(const std::vector<uint32_t> &offsets) { return full("stco", counted(offsets)); }

std::string trak(uint32_t id, const std::string &handler, const std::string &stbl,
                 const std::string &edts = "", uint32_t timescale = 44100)
{
    const std::string tkhd = full("tkhd", u32(0) + u32(0) + u32(id) + std::string(72, '\0'));
    const std::string mdhd = full("mdhd", u32(0) + u32(0) + u32(timescale) + u32(0) + u32(0));
    const std::string hdlr = full("hdlr", u32(0) + handler + std::string(13, '\0'));
    return box("trak", tkhd + edts + box("mdia", mdhd + hdlr + box("minf", box("stbl", stbl))));
}

// Movie header of the given timescale (version 0).
std::string mvhd(uint32_t timescale)
{
    return full("mvhd", u32(0) + u32(0) + u32(timescale) + u32(0) + std::string(80, '\0'));
}

struct Edit {
    uint64_t duration;
    int64_t mediaTime;
};

// An 'edts' box holding an 'elst' of version 0 (32-bit fields) or 1.
std::string edts(const std::vector<Edit> &edits, int version)
{
    std::string p = u8(static_cast<unsigned>(version)) + std::string(3, '\0') +
                    u32(static_cast<uint32_t>(edits.size()));
    for (const Edit &e : edits)
        p += (version == 1 ? u64(e.duration) + u64(static_cast<uint64_t>(e.mediaTime))
                           : u32(static_cast<uint32_t>(e.duration)) +
                                 u32(static_cast<uint32_t>(e.mediaTime))) +
             u32(0x00010000);
    return box("edts", box("elst", p));
}

// 'udta' > 'meta' > 'ilst' > '----' holding an iTunes tag.
std::string itunes_tag(const std::string &name, const std::string &value)
{
    const std::string item = box("----", full("mean", "com.apple.iTunes") + full("name", name) +
                                             box("data", u32(1) + u32(0) + value));
    const std::string hdlr = full("hdlr", u32(0) + "mdirappl" + std::string(9, '\0'));
    return box("udta", full("meta", hdlr + box("ilst", item)));
}

std::string file(const std::string &moovPayload)
{
    return box("ftyp", "M4A " + u32(0) + "isom") + box("moov", moovPayload) + box("mdat", "");
}

struct Found {
    bool ok;
    Mp4Track track;
    std::vector<std::string> skipped;
    std::string error;
};

Found find(const std::string &bytes)
{
    MemorySource source(std::vector<uint8_t>(bytes.begin(), bytes.end()));
    Found f;
    f.ok = fxaac_cli::mp4_find_aac_track(source, &f.track, &f.skipped, &f.error);
    return f;
}

std::vector<Mp4Sample> walk(const Mp4Track &t, std::string *error = nullptr)
{
    Mp4SampleCursor cursor(t);
    std::vector<Mp4Sample> out(1);
    while (cursor.next(&out.back()))
        out.emplace_back();
    out.pop_back();
    if (error)
        *error = cursor.error();
    return out;
}

TEST(Mp4Reader, ReadsCompactSizesWideOffsetsAndLongBoxSizes)
{
    // stz2 with 4-bit sizes, co64 offsets past 4 GiB, a moov with a 64-bit
    // size field and an mdat that runs to the end of the file (size 0).
    const std::string stz2 = full("stz2", std::string(3, '\0') + u8(4) + u32(5) + "\x12\x3f\x70");
    const std::string co64 = full("co64", u32(2) + u64(0x100000000ull) + u64(0x200000010ull));
    const std::string tables = stsd(mp4a(esds(0x40, kAsc))) + stz2 + stsc({{1, 3}, {2, 2}}) + co64;
    const std::string bytes = box("ftyp", "M4A " + u32(0)) +
                              box64("moov", trak(1, "soun", tables)) + u32(0) + "mdat" +
                              std::string(64, '\0');
    const Found f = find(bytes);
    ASSERT_TRUE(f.ok) << f.error;
    const std::vector<Mp4Sample> s = walk(f.track);
    ASSERT_EQ(s.size(), 5u);
    const uint32_t sizes[] = {1, 2, 3, 15, 7};
    const uint64_t offsets[] = {0x100000000, 0x100000001, 0x100000003, 0x200000010, 0x20000001f};
    for (size_t i = 0; i < 5; i++)
        EXPECT_TRUE(s[i].size == sizes[i] && s[i].offset == offsets[i]) << "sample " << i;
}

TEST(Mp4Reader, RefusesDamagedStructures)
{
    struct Case {
        const char *name;
        std::string bytes;
        const char *error;
    };
    const std::string entry = stsd(mp4a(esds(0x40, kAsc)));
    const std::string tail = stsz({10, 11}) + stco({100});
    const Case cases[] = {
        {"no movie box", box("ftyp", "M4A ") + box("mdat", "xx"), "no 'moov' box"},
        {"movie box cut off before its tracks",
         box("ftyp", "M4A ") + u32(4096) + "moov" + mvhd(600),
         "MP4 file without an AAC audio track (the file has no tracks)"},
        {"box size below its header", box("ftyp", "M4A ") + u32(4) + "free",
         "has an impossible size of 4 bytes"},
        {"child larger than its parent", file(box("trak", u32(999) + "mdia")),
         "box 'mdia' claims 999 bytes where 8 remain"},
        {"chunk runs that do not rise",
         file(trak(1, "soun", entry + tail + stsc({{1, 1}, {1, 2}}))),
         "first-chunk numbers do not rise"},
        {"sample sizes beyond the box",
         file(trak(1, "soun", entry + full("stsz", u32(0) + u32(3) + u32(1)))),
         "'stsz' box lists 3 sample sizes but holds 1"},
        {"chunk offsets beyond the box",
         file(trak(1, "soun", entry + full("co64", u32(2) + u64(1)))),
         "'co64' box lists 2 entries but holds room for 1"},
        {"descriptor length of five bytes",
         file(trak(1, "soun", stsd(mp4a(full("esds", "\x03\x80\x80\x80\x80\x01"))))),
         "longer than four bytes"},
        {"descriptor beyond its box",
         file(trak(1, "soun", stsd(mp4a(full("esds", "\x03\x7f\x00"))))), "overruns its box"},
        {"no decoder specific info", file(trak(1, "soun", stsd(mp4a(esds(0x40, ""))) + tail)),
         "has no AudioSpecificConfig"},
        {"chunk tables shorter than the size table",
         file(trak(1, "soun", entry + stsz({1, 2, 3, 4, 5}) + stsc({{1, 2}}) + stco({50}))),
         "the chunk tables hold 2 of the 5 samples that the sample size table lists"},
        {"fragmented file",
         file(trak(1, "soun", entry + stsz({}) + stsc({}) + stco({})) + box("mvex", "")),
         "fragmented MP4 (movie fragments) is not supported"},
    };
    for (const Case &c : cases) {
        const Found f = find(c.bytes);
        std::string error = f.error;
        if (f.ok)  // refused by the sample cursor instead
            walk(f.track, &error);
        EXPECT_NE(error.find(c.error), std::string::npos) << c.name << ": " << error;
    }
}

// Gapless playback: the span kept from an edit list (version 0 or 1, movie
// timescale 600 against media timescale 44100 or 48000) and from an iTunSMPB
// tag, alone and together, as ffmpeg keeps it.
TEST(Mp4Reader, GaplessSpanFromEditListAndItunSmpb)
{
    const std::string tables = stsd(mp4a(esds(0x40, kAsc))) + stsz({9, 9}) + stsc({{1, 2}}) +
                               stco({0});
    const std::string smpb2112 = " 00000000 00000840 000002A4 0000000000035D54 00000000 00000000";
    constexpr uint64_t kAll = UINT64_MAX;
    struct Case {
        const char *name;
        std::string edts;
        std::string tag;
        uint32_t timescale;
        uint64_t skip, end;
        const char *editText;
    };
    const Case cases[] = {
        // 5 s of a 44.1 kHz track behind 1024 samples of priming: the end of
        // the edit (221524) lies in access unit 216, kept whole.
        {"elst v0", edts({{3000, 1024}}, 0), "", 44100, 1024, 217 * 1024,
         "1 edit: from sample 1024, 220500 samples long"},
        {"elst v1", edts({{3000, 1024}}, 1), "", 44100, 1024, 217 * 1024, "from sample 1024"},
        // Media timescale 90000 against a 48 kHz stream: 1920 ticks are 1024 samples.
        {"elst in another media timescale", edts({{1200, 1920}}, 0), "", 90000, 1024, 95 * 1024,
         "from sample 1024, 96000 samples long"},
        {"empty edit first, not applied", edts({{600, -1}, {3000, 2112}}, 0), "", 44100, 2112,
         218 * 1024, "2 edits (1 empty, not applied): from sample 2112"},
        {"contiguous edits add up", edts({{300, 1024}, {300, 1024 + 22050}}, 1), "", 44100, 1024,
         45 * 1024, "from sample 1024, 44100 samples long"},
        {"zero duration: to the end", edts({{0, 1024}}, 0), "", 44100, 1024, kAll, "to the end"},
        {"media time below -1: not applied", edts({{3000, -2}}, 0), "", 44100, 0, kAll,
         "a media time of -2: not applied"},
        {"iTunSMPB alone", "", smpb2112, 44100, 2112, kAll, ""},
        // The tag's priming replaces the edit's, counted from the track's start
        // but not below the first access unit kept (4096 for media time 5000).
        {"iTunSMPB over elst", edts({{3000, 1024}}, 0), smpb2112, 44100, 2112, 217 * 1024,
         "1 edit"},
        {"iTunSMPB under a later edit", edts({{3000, 5000}}, 0), smpb2112, 44100, 4096, 221 * 1024,
         "1 edit"},
        {"iTunSMPB priming 16384: not applied", "", " 00000000 00004000 00000000 0000000000000400",
         44100, 0, kAll, ""},
        {"iTunSMPB that is not hexadecimal", "", " 00000000 0000084G 00000000 0000000000000400",
         44100, 0, kAll, ""},
    };
    for (const Case &c : cases) {
        const std::string bytes = file(
            mvhd(600) + trak(1, "soun", tables, c.edts, c.timescale) +
            (c.tag.empty() ? "" : itunes_tag("iTunSMPB", c.tag) + itunes_tag("iTunNORM", "x")));
        const Found f = find(bytes);
        ASSERT_TRUE(f.ok) << c.name << ": " << f.error;
        const int32_t rate = c.timescale == 90000 ? 48000 : 44100;
        const Mp4Trim t = fxaac_cli::mp4_trim(f.track, rate, 1024);
        EXPECT_EQ(t.skip, c.skip) << c.name;
        EXPECT_EQ(t.end, c.end) << c.name;
        const std::string text = fxaac_cli::mp4_edit_list_text(f.track, rate);
        EXPECT_NE(text.find(c.editText), std::string::npos) << c.name << ": " << text;
    }
    const Found f = find(
        file(mvhd(600) + trak(1, "soun", tables) + itunes_tag("iTunSMPB", smpb2112)));
    EXPECT_EQ(fxaac_cli::mp4_itun_smpb_text(f.track),
              "priming 2112, padding 676, length 220500 samples");
}

// A 'moov' box that runs past the end of the file: an overstated size reads as
// the whole box; a cut-off box gives the tables that the cut leaves.
TEST(Mp4Reader, MovieBoxPastTheEndOfTheFile)
{
    const std::string entry = stsd(mp4a(esds(0x40, kAsc)));
    const std::string moov = trak(1, "soun",
                                  entry + stsc({{1, 2}}) + stsz({5, 6, 7, 8}) + stco({100, 200}));
    const std::string head = box("ftyp", "M4A " + u32(0));
    const std::string whole = head + u32(static_cast<uint32_t>(8 + moov.size())) + "moov" + moov;

    std::string overstated = whole;
    overstated[head.size() + 2] = 0x7f;  // some 8 MiB more than there is
    Found f = find(overstated);
    ASSERT_TRUE(f.ok) << f.error;
    EXPECT_TRUE(f.track.movieCut);
    EXPECT_EQ(walk(f.track).size(), 4u);

    // Cut inside the chunk offsets: the first chunk (two samples) is left.
    f = find(whole.substr(0, whole.size() - 3));
    ASSERT_TRUE(f.ok) << f.error;
    std::string error;
    EXPECT_EQ(walk(f.track, &error).size(), 2u);
    EXPECT_NE(error.find("the chunk tables hold 2 of the 4 samples"), std::string::npos) << error;

    // Cut inside the sample sizes: no chunk offsets at all.
    f = find(whole.substr(0, whole.size() - 22));
    EXPECT_FALSE(f.ok);
    EXPECT_NE(f.error.find("the sample tables are cut off by the end of the file"),
              std::string::npos)
        << f.error;
}

// The trimming sink keeps [skip, end) of what passes through it, across write
// calls, for 16-bit and 24-bit (32-bit word) stereo samples.
TEST(TrimSink, KeepsTheSpanAcrossWrites)
{
    class Collect final : public fxaac_cli::PcmSink {
    public:
        bool begin(int32_t, int32_t) override { return true; }
        bool write(const void *p, int32_t count) override
        {
            const auto *b = static_cast<const uint8_t *>(p);
            bytes.insert(bytes.end(), b, b + count * bytesPerSample);
            return true;
        }
        std::string error() const override { return {}; }
        int bytesPerSample = 2;
        std::vector<uint8_t> bytes;
    };
    for (int bytesPerSample : {2, 4}) {
        Collect out;
        out.bytesPerSample = bytesPerSample;
        fxaac_cli::TrimSink trim(out, bytesPerSample);
        trim.keep(5, 13);
        ASSERT_TRUE(trim.begin(44100, 2));
        // Frame i holds bytes of value i; three writes of 6 frames each.
        std::vector<uint8_t> block(6 * 2 * static_cast<size_t>(bytesPerSample));
        for (int w = 0; w < 3; w++) {
            for (size_t k = 0; k < block.size(); k++)
                block[k] = static_cast<uint8_t>(6 * w + static_cast<int>(k) / (2 * bytesPerSample));
            ASSERT_TRUE(trim.write(block.data(), 12));
        }
        std::vector<uint8_t> want;
        for (int frame = 5; frame < 13; frame++)
            want.insert(want.end(), 2 * static_cast<size_t>(bytesPerSample),
                        static_cast<uint8_t>(frame));
        EXPECT_EQ(out.bytes, want) << bytesPerSample << " bytes per sample";
        EXPECT_EQ(trim.dropped_start(), 5u);
        EXPECT_EQ(trim.dropped_end(), 5u);
    }
}

}  // namespace
