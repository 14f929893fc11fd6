// The MP4 reader of the fxaac command on hand-made files: the box and table
// forms that the end-to-end tests' ffmpeg files do not use (64-bit and
// to-the-end box sizes, compact sample sizes, 64-bit chunk offsets, runs of
// chunks in the sample-to-chunk table, QuickTime sample entries), the choice
// of track, and damaged structures.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mp4.h"

namespace {

using fxaac_cli::MemorySource;
using fxaac_cli::Mp4Sample;
using fxaac_cli::Mp4SampleCursor;
using fxaac_cli::Mp4Track;

std::string u8(unsigned v) { return std::string(1, static_cast<char>(v & 0xff)); }
std::string u16(unsigned v) { return u8(v >> 8) + u8(v); }
std::string u32(uint32_t v) { return u16(v >> 16) + u16(v & 0xffff); }
std::string u64(uint64_t v) { return u32(static_cast<uint32_t>(v >> 32)) + u32(static_cast<uint32_t>(v)); }

std::string box(const std::string &type, const std::string &payload)
{
    return u32(static_cast<uint32_t>(8 + payload.size())) + type + payload;
}

std::string box64(const std::string &type, const std::string &payload)
{
    return u32(1) + type + u64(16 + payload.size()) + payload;
}

std::string full(const std::string &type, const std::string &payload, unsigned version = 0)
{
    return box(type, u8(version) + std::string(3, '\0') + payload);
}

// esds: ES_Descriptor > DecoderConfigDescriptor > DecoderSpecificInfo.
std::string esds(unsigned oti, const std::string &asc)
{
    const std::string info = u8(0x05) + u8(static_cast<unsigned>(asc.size())) + asc;
    const std::string config = u8(0x04) + u8(static_cast<unsigned>(13 + info.size())) + u8(oti) +
                               u8(0x15) + std::string(11, '\0') + info;
    // The ES descriptor's length in the four-byte form some writers use.
    const std::string es = u8(0x03) + "\x80\x80\x80" + u8(static_cast<unsigned>(3 + config.size())) +
                           u16(1) + u8(0) + config;
    return full("esds", es);
}

const std::string kAsc = "\x12\x10";  // AAC LC, 44100 Hz, 2 channels

std::string mp4a(const std::string &children, unsigned version = 0)
{
    std::string fields = std::string(6, '\0') + u16(1) + u16(version) + std::string(6, '\0') +
                         u16(2) + u16(16) + u32(0) + u32(44100u << 16);
    if (version == 1)
        fields += std::string(16, '\0');
    return box("mp4a", fields + children);
}

std::string stsd(const std::string &entry) { return full("stsd", u32(1) + entry); }

std::string stsc(const std::vector<std::pair<uint32_t, uint32_t>> &runs)
{
    std::string p = u32(static_cast<uint32_t>(runs.size()));
    for (auto [first, perChunk] : runs)
        p += u32(first) + u32(perChunk) + u32(1);
    return full("stsc", p);
}

std::string stsz(const std::vector<uint32_t> &sizes)
{
    std::string p = u32(0) + u32(static_cast<uint32_t>(sizes.size()));
    for (uint32_t s : sizes)
        p += u32(s);
    return full("stsz", p);
}

std::string stco(const std::vector<uint32_t> &offsets)
{
    std::string p = u32(static_cast<uint32_t>(offsets.size()));
    for (uint32_t o : offsets)
        p += u32(o);
    return full("stco", p);
}

std::string trak(uint32_t id, const std::string &handler, const std::string &stbl)
{
    const std::string tkhd = full("tkhd", u32(0) + u32(0) + u32(id) + std::string(72, '\0'));
    const std::string mdhd = full("mdhd", u32(0) + u32(0) + u32(44100) + u32(0) + u32(0));
    const std::string hdlr = full("hdlr", u32(0) + handler + std::string(13, '\0'));
    return box("trak", tkhd + box("mdia", mdhd + hdlr + box("minf", box("stbl", stbl))));
}

std::string aac_tables()
{
    return stsd(mp4a(esds(0x40, kAsc))) + stsz({10, 11}) + stsc({{1, 2}}) + stco({100});
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
    std::vector<Mp4Sample> out;
    Mp4Sample s;
    while (cursor.next(&s))
        out.push_back(s);
    if (error)
        *error = cursor.error();
    return out;
}

TEST(Mp4Reader, FollowsChunkRunsIncludingEmptyChunks)
{
    // Chunks 1-2 hold two samples each, chunk 3 none, chunks 4-5 three each.
    const std::string tables = stsd(mp4a(esds(0x40, kAsc))) +
                               stsz({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) +
                               stsc({{1, 2}, {3, 0}, {4, 3}}) +
                               stco({1000, 2000, 3000, 4000, 5000});
    const Found f = find(file(trak(7, "soun", tables)));
    ASSERT_TRUE(f.ok) << f.error;
    EXPECT_EQ(f.track.trackId, 7u);
    EXPECT_EQ(f.track.timescale, 44100u);
    EXPECT_EQ(f.track.entryChannels, 2);
    EXPECT_EQ(f.track.entryRate, 44100u);
    EXPECT_EQ(f.track.audioSpecificConfig, std::vector<uint8_t>(kAsc.begin(), kAsc.end()));
    std::string error;
    const std::vector<Mp4Sample> s = walk(f.track, &error);
    EXPECT_EQ(error, "");
    const std::vector<uint64_t> offsets = {1000, 1001, 2000, 2003, 4000, 4005, 4011, 5000, 5008, 5017};
    ASSERT_EQ(s.size(), offsets.size());
    for (size_t i = 0; i < s.size(); i++) {
        EXPECT_EQ(s[i].offset, offsets[i]) << "sample " << i;
        EXPECT_EQ(s[i].size, i + 1) << "sample " << i;
    }
}

TEST(Mp4Reader, ReadsCompactSizesWideOffsetsAndLongBoxSizes)
{
    // stz2 with 4-bit sizes, co64 offsets past 4 GiB, a moov with a 64-bit
    // size field and an mdat that runs to the end of the file (size 0).
    const std::string stz2 = full("stz2", std::string(3, '\0') + u8(4) + u32(5) + "\x12\x3f\x70");
    const std::string co64 = full("co64", u32(2) + u64(0x100000000ull) + u64(0x200000010ull));
    const std::string tables = stsd(mp4a(esds(0x40, kAsc))) + stz2 + stsc({{1, 3}, {2, 2}}) + co64;
    const std::string bytes = box("ftyp", "M4A " + u32(0)) + box64("moov", trak(1, "soun", tables)) +
                              u32(0) + "mdat" + std::string(64, '\0');
    const Found f = find(bytes);
    ASSERT_TRUE(f.ok) << f.error;
    const std::vector<Mp4Sample> s = walk(f.track);
    ASSERT_EQ(s.size(), 5u);
    const uint32_t sizes[] = {1, 2, 3, 15, 7};
    const uint64_t offsets[] = {0x100000000ull, 0x100000001ull, 0x100000003ull, 0x200000010ull,
                                0x20000001full};
    for (size_t i = 0; i < 5; i++) {
        EXPECT_EQ(s[i].size, sizes[i]) << "sample " << i;
        EXPECT_EQ(s[i].offset, offsets[i]) << "sample " << i;
    }
}

TEST(Mp4Reader, ReadsQuickTimeSampleEntryWithWaveBox)
{
    const std::string entry = mp4a(box("wave", box("frma", "mp4a") + esds(0x40, kAsc)), 1);
    const Found f = find(file(trak(1, "soun", stsd(entry) + stsz({4}) + stsc({{1, 1}}) + stco({8}))));
    ASSERT_TRUE(f.ok) << f.error;
    EXPECT_EQ(f.track.audioSpecificConfig.size(), 2u);
}

TEST(Mp4Reader, SkipsTracksThatAreNotAac)
{
    const std::string moov =
        trak(1, "vide", stsd(box("avc1", std::string(78, '\0')))) +
        trak(2, "soun", stsd(box("alac", std::string(28, '\0')))) +
        trak(3, "soun", stsd(mp4a(esds(0x6b, "")))) +
        trak(4, "soun", aac_tables()) + trak(5, "soun", aac_tables());
    const Found f = find(file(moov));
    ASSERT_TRUE(f.ok) << f.error;
    EXPECT_EQ(f.track.number, 4u);
    EXPECT_EQ(f.track.trackCount, 5u);
    ASSERT_EQ(f.skipped.size(), 3u);
    EXPECT_EQ(f.skipped[0], "track 1: video");
    EXPECT_EQ(f.skipped[1], "track 2: 'alac' audio, not AAC");
    EXPECT_EQ(f.skipped[2], "track 3: 'mp4a' audio of object type indication 0x6b "
                            "(MPEG-1 Audio (layers 1 to 3)), not AAC");

    const Found none = find(file(trak(1, "vide", "")));
    EXPECT_FALSE(none.ok);
    EXPECT_EQ(none.error, "no AAC audio track (track 1: video)");
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
        {"movie box cut off", box("ftyp", "M4A ") + u32(4096) + "moov" + std::string(20, '\0'),
         "the 'moov' box runs past the end of the file"},
        {"box size below its header", box("ftyp", "M4A ") + u32(4) + "free",
         "has an impossible size of 4 bytes"},
        {"child larger than its parent", file(box("trak", u32(999) + "mdia")),
         "box 'mdia' claims 999 bytes where 8 remain"},
        {"chunk runs that do not rise", file(trak(1, "soun", entry + tail + stsc({{1, 1}, {1, 2}}))),
         "first-chunk numbers do not rise"},
        {"sample sizes beyond the box", file(trak(1, "soun", entry + full("stsz", u32(0) + u32(3) + u32(1)))),
         "'stsz' box lists 3 sample sizes but holds 1"},
        {"chunk offsets beyond the box", file(trak(1, "soun", entry + full("co64", u32(2) + u64(1)))),
         "'co64' box lists 2 entries but holds room for 1"},
        {"descriptor length of five bytes",
         file(trak(1, "soun", stsd(mp4a(full("esds", "\x03\x80\x80\x80\x80\x01"))))),
         "longer than four bytes"},
        {"descriptor beyond its box", file(trak(1, "soun", stsd(mp4a(full("esds", "\x03\x7f\x00"))))),
         "overruns its box"},
        {"no decoder specific info", file(trak(1, "soun", stsd(mp4a(esds(0x40, ""))) + tail)),
         "has no AudioSpecificConfig"},
        {"fragmented file", file(trak(1, "soun", entry + stsz({}) + stsc({}) + stco({})) +
                                 box("mvex", "")),
         "fragmented MP4 (movie fragments) is not supported"},
    };
    for (const Case &c : cases) {
        const Found f = find(c.bytes);
        EXPECT_FALSE(f.ok) << c.name;
        EXPECT_NE(f.error.find(c.error), std::string::npos) << c.name << ": " << f.error;
    }
}

TEST(Mp4Reader, CursorStopsWhereTheChunkTablesEnd)
{
    // Five samples listed, but one chunk of two.
    const Found f = find(file(trak(1, "soun", stsd(mp4a(esds(0x40, kAsc))) + stsz({1, 2, 3, 4, 5}) +
                                                  stsc({{1, 2}}) + stco({50}))));
    ASSERT_TRUE(f.ok) << f.error;
    std::string error;
    EXPECT_EQ(walk(f.track, &error).size(), 2u);
    EXPECT_EQ(error, "the chunk tables hold 2 of the 5 samples that the sample size table lists");
}

}  // namespace
