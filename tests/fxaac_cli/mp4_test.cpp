// The MP4 reader of the fxaac command on hand-made files: the forms that the
// end-to-end tests' ffmpeg files do not use (64-bit and to-the-end box sizes,
// compact sample sizes, 64-bit chunk offsets) and damaged structures.
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
    const std::string es = u8(0x03) + "\x80\x80\x80" + u8(static_cast<unsigned>(3 + config.size())) +
                           u16(1) + u8(0) + config;
    return full("esds", es);
}

const std::string kAsc = "\x12\x10";  // AAC LC, 44100 Hz, 2 channels

std::string mp4a(const std::string &children)
{
    return box("mp4a", std::string(6, '\0') + u16(1) + std::string(8, '\0') + u16(2) + u16(16) + u32(0) +
                           u32(44100u << 16) + children);
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

std::string stsz(const std::vector<uint32_t> &sizes) { return full("stsz", u32(0) + counted(sizes)); }
std::string stco(const std::vector<uint32_t> &offsets) { return full("stco", counted(offsets)); }

std::string trak(uint32_t id, const std::string &handler, const std::string &stbl)
{
    const std::string tkhd = full("tkhd", u32(0) + u32(0) + u32(id) + std::string(72, '\0'));
    const std::string mdhd = full("mdhd", u32(0) + u32(0) + u32(44100) + u32(0) + u32(0));
    const std::string hdlr = full("hdlr", u32(0) + handler + std::string(13, '\0'));
    return box("trak", tkhd + box("mdia", mdhd + hdlr + box("minf", box("stbl", stbl))));
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
    const std::string bytes = box("ftyp", "M4A " + u32(0)) + box64("moov", trak(1, "soun", tables)) +
                              u32(0) + "mdat" + std::string(64, '\0');
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
        {"chunk tables shorter than the size table",
         file(trak(1, "soun", entry + stsz({1, 2, 3, 4, 5}) + stsc({{1, 2}}) + stco({50}))),
         "the chunk tables hold 2 of the 5 samples that the sample size table lists"},
        {"fragmented file", file(trak(1, "soun", entry + stsz({}) + stsc({}) + stco({})) +
                                 box("mvex", "")),
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

}  // namespace
