#include "probe.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "mp4.h"

namespace fxaac_cli {

namespace {

constexpr size_t kTailBytes = 1 << 20;  // end of a file searched for metadata tags

uint32_t be32(const uint8_t *p)
{
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | p[3];
}

uint32_t le32(const uint8_t *p)
{
    return static_cast<uint32_t>(p[3]) << 24 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[1]) << 8 | p[0];
}

// An MPEG-1/2/2.5 audio frame header (ISO/IEC 11172-3, 13818-3) of layer
// I to III: its layer (1 to 3), or 0.
int mpeg_audio_layer(const uint8_t *p, size_t n)
{
    if (n < 4 || p[0] != 0xff || (p[1] & 0xe0) != 0xe0)
        return 0;
    const int version = (p[1] >> 3) & 3, layer = (p[1] >> 1) & 3;
    const int bitrate = p[2] >> 4, rate = (p[2] >> 2) & 3;
    if (version == 1 || layer == 0 || bitrate == 15 || rate == 3)
        return 0;
    return 4 - layer;
}

bool starts(const uint8_t *p, size_t n, const char *tag)
{
    const size_t k = std::strlen(tag);
    return n >= k && std::memcmp(p, tag, k) == 0;
}

// Lyrics3 v1: "LYRICSBEGIN" ... "LYRICSEND", at most 5100 bytes of lyrics.
size_t lyrics3_v1_start(const uint8_t *p, size_t n)
{
    constexpr size_t kMaxLyrics3v1 = 5100 + 11 + 9;
    const size_t from = n > kMaxLyrics3v1 ? n - kMaxLyrics3v1 : 0;
    for (size_t i = n - 9; i-- > from;)
        if (starts(p + i, n - i, "LYRICSBEGIN"))
            return i;
    return n;
}

// Bytes of the one tag that ends at p + n, or 0.
size_t last_tag_bytes(const uint8_t *p, size_t n)
{
    constexpr size_t kId3v1 = 128, kApeFooter = 32, kLyricsTrailer = 15, kId3v2Footer = 10;
    // APEv2 first: the "TAG" inside its "APETAGEX" header can stand 128 bytes
    // before the end.
    if (n >= kApeFooter && starts(p + n - kApeFooter, kApeFooter, "APETAGEX")) {
        const uint8_t *footer = p + n - kApeFooter;
        const uint64_t size = le32(footer + 12) + ((le32(footer + 20) >> 31) ? kApeFooter : 0);
        return size >= kApeFooter && size <= n ? static_cast<size_t>(size) : 0;
    }
    if (n >= kId3v1 && starts(p + n - kId3v1, kId3v1, "TAG"))
        return kId3v1;
    if (n >= kLyricsTrailer && starts(p + n - 9, 9, "LYRICS200")) {
        size_t size = 0;
        for (size_t i = n - kLyricsTrailer; i < n - 9; i++) {
            if (p[i] < '0' || p[i] > '9')
                return 0;
            size = 10 * size + (p[i] - '0');
        }
        size += kLyricsTrailer;
        return size <= n && starts(p + n - size, size, "LYRICSBEGIN") ? size : 0;
    }
    if (n >= 9 + 11 && starts(p + n - 9, 9, "LYRICSEND")) {
        const size_t at = lyrics3_v1_start(p, n);
        return at < n ? n - at : 0;
    }
    if (n >= kId3v2Footer && starts(p + n - kId3v2Footer, kId3v2Footer, "3DI")) {
        const uint8_t *f = p + n - kId3v2Footer;
        if ((f[6] | f[7] | f[8] | f[9]) & 0x80)
            return 0;
        const size_t size = 2 * kId3v2Footer + (static_cast<size_t>(f[6]) << 21 |
                                                static_cast<size_t>(f[7]) << 14 |
                                                static_cast<size_t>(f[8]) << 7 | f[9]);
        return size <= n && starts(p + n - size, size, "ID3") ? size : 0;
    }
    return 0;
}

}  // namespace

const char *input_kind_name(InputKind kind)
{
    switch (kind) {
    case InputKind::Adts: return "ADTS";
    case InputKind::Adif: return "ADIF";
    case InputKind::Asc: return "AudioSpecificConfig";
    case InputKind::MarkedAsc: return "AudioSpecificConfig behind a HEAAC marker";
    case InputKind::Mp4: return "MP4/M4A";
    case InputKind::Raw: return "raw data blocks";
    case InputKind::Latm: return "LATM/LOAS";
    case InputKind::Unknown: break;
    }
    return "unknown";
}

InputKind detect_input_kind(const uint8_t *p, size_t n)
{
    if (n >= 4 && std::memcmp(p, "ADIF", 4) == 0)
        return InputKind::Adif;
    if (n >= 2 && p[0] == 0xff && (p[1] & 0xf0) == 0xf0)
        return InputKind::Adts;
    if (n >= 5 && std::memcmp(p, "HEAAC", 5) == 0)
        return InputKind::MarkedAsc;
    if (looks_like_mp4(p, n))
        return InputKind::Mp4;
    if (looks_like_loas(p, n))
        return InputKind::Latm;
    return InputKind::Unknown;
}

const char *foreign_format(const uint8_t *p, size_t n, bool afterId3)
{
    constexpr size_t kTsPacket = 188;
    if (n >= 12 && starts(p, n, "RIFF") && std::memcmp(p + 8, "WAVE", 4) == 0)
        return "a WAV file";
    if (n >= 12 && starts(p, n, "FORM") &&
        (std::memcmp(p + 8, "AIFF", 4) == 0 || std::memcmp(p + 8, "AIFC", 4) == 0))
        return "an AIFF file";
    if (starts(p, n, "fLaC"))
        return "a FLAC file";
    if (starts(p, n, "OggS"))
        return "an Ogg file (Vorbis, Opus or FLAC)";
    if (starts(p, n, "caff"))
        return "a Core Audio (CAF) file";
    if (n >= 4 && be32(p) == 0x1a45dfa3)
        return "a Matroska or WebM file";
    if (starts(p, n, "#!AMR"))
        return "an AMR file";
    if (n > 3 * kTsPacket && p[0] == 0x47 && p[kTsPacket] == 0x47 && p[2 * kTsPacket] == 0x47 &&
        p[3 * kTsPacket] == 0x47)
        return "an MPEG transport stream (demultiplex its AAC first, e.g. with "
               "'ffmpeg -i IN -map 0:a -c copy OUT.aac')";
    switch (mpeg_audio_layer(p, n)) {
    case 3: return "an MP3 file";
    case 2: return "an MPEG audio Layer II (MP2) file";
    case 1: return afterId3 ? "an MPEG audio Layer I (MP1) file" : nullptr;
    default: break;
    }
    return afterId3 ? "a file with an ID3 tag but no AAC stream (MP3?)" : nullptr;
}

size_t adts_frame_length(const uint8_t *p, size_t n)
{
    if (n < 7 || p[0] != 0xff || (p[1] & 0xf6) != 0xf0 || ((p[2] >> 2) & 15) >= 12)
        return 0;
    const size_t length = (p[3] & 3u) << 11 | p[4] << 3 | p[5] >> 5;
    const size_t header = (p[1] & 1) ? 7 : 9;
    return length >= header ? length : 0;
}

// Two ADTS headers with the same fixed fields (ISO/IEC 13818-7
// adts_fixed_header; the private bit aside), 4 bytes each.
bool same_fixed_header(const uint8_t *a, const uint8_t *b)
{
    return a[0] == 0xff && b[0] == 0xff && a[1] == b[1] && (a[2] & 0xfd) == (b[2] & 0xfd) &&
           (a[3] & 0xf0) == (b[3] & 0xf0);
}

size_t find_adts_start(const uint8_t *p, size_t n, bool atEnd)
{
    for (size_t i = 0; i + 7 <= n; i++) {
        const size_t length = adts_frame_length(p + i, n - i);
        if (length == 0)
            continue;
        const size_t next = i + length;
        if (next + 7 <= n && adts_frame_length(p + next, n - next) > 0 &&
            same_fixed_header(p + i, p + next))
            return i;
        if (atEnd && (next == n || next + trailing_tag_bytes(p + next, n - next) == n))
            return i;
    }
    return n;
}

bool looks_like_loas(const uint8_t *p, size_t n)
{
    constexpr uint8_t kSyncFirst = 0x56, kSyncSecondMask = 0xE0;  // 11-bit sync word 0x2B7
    if (n < 3 || p[0] != kSyncFirst || (p[1] & kSyncSecondMask) != kSyncSecondMask)
        return false;
    const size_t next = 3 + ((static_cast<size_t>(p[1] & 0x1F) << 8) | p[2]);
    if (n < next + 2)
        return n == next;
    return p[next] == kSyncFirst && (p[next + 1] & kSyncSecondMask) == kSyncSecondMask;
}

size_t loas_start(const uint8_t *p, size_t n)
{
    constexpr int kChained = 3;
    for (size_t i = 0; i < n; i++) {
        size_t at = i;
        int k = 0;
        for (; k < kChained && at + 3 <= n && looks_like_loas(p + at, n - at); k++)
            at += 3 + ((static_cast<size_t>(p[at + 1] & 0x1F) << 8) | p[at + 2]);
        if (k == kChained)
            return i;
    }
    return n;
}

int32_t asc_object_type(const uint8_t *p, size_t n)
{
    if (n < 1)
        return 0;
    const int32_t type = p[0] >> 3;
    if (type != 31)
        return type;
    if (n < 2)
        return 0;
    // audioObjectTypeExt: 6 more bits.
    return 32 + (((p[0] & 0x07) << 3) | (p[1] >> 5));
}

int asc_channel_config(const uint8_t *p, size_t n)
{
    uint64_t bits = 0;
    const size_t k = std::min<size_t>(n, 8);
    for (size_t i = 0; i < 8; i++)
        bits = bits << 8 | (i < k ? p[i] : 0);
    int pos = 5;  // audioObjectType
    if ((bits >> 59) == 31)
        pos += 6;
    const bool explicitRate = ((bits >> (60 - pos)) & 15) == 15;
    pos += 4 + (explicitRate ? 24 : 0);
    if (static_cast<size_t>(pos + 4) > 8 * k)
        return -1;
    return static_cast<int>((bits >> (60 - pos)) & 15);
}

uint64_t id3_tag_bytes(const uint8_t *p, size_t n)
{
    if (n < 10 || std::memcmp(p, "ID3", 3) != 0 || p[3] == 0xff || p[4] == 0xff ||
        ((p[6] | p[7] | p[8] | p[9]) & 0x80))
        return 0;
    const uint64_t size = static_cast<uint64_t>(p[6]) << 21 | static_cast<uint64_t>(p[7]) << 14 |
                          static_cast<uint64_t>(p[8]) << 7 | p[9];
    const bool footer = p[5] & 0x10;
    return 10 + size + (footer ? 10 : 0);
}

size_t trailing_tag_bytes(const uint8_t *p, size_t n)
{
    size_t end = n;
    while (size_t k = last_tag_bytes(p, end))
        end -= k;
    return n - end;
}

uint64_t tags_start(FILE *file, uint64_t size)
{
    if (size == 0)
        return UINT64_MAX;
    std::vector<uint8_t> tail(static_cast<size_t>(std::min<uint64_t>(size, kTailBytes)));
    const uint64_t from = size - tail.size();
    if (pread(fileno(file), tail.data(), tail.size(), static_cast<off_t>(from)) !=
        static_cast<ssize_t>(tail.size()))
        return UINT64_MAX;
    return size - trailing_tag_bytes(tail.data(), tail.size());
}

}  // namespace fxaac_cli
