#include "mp4.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace fxaac_cli {

namespace {

// Largest 'moov' box read into memory. Its tables grow by 4 to 12 bytes per
// access unit, so this covers days of audio.
constexpr uint64_t kMaxMovieBytes = 256u << 20;

constexpr uint32_t fourcc(const char (&s)[5])
{
    return static_cast<uint32_t>(static_cast<uint8_t>(s[0])) << 24 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[2])) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(s[3]));
}

uint16_t be16(const uint8_t *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

uint32_t be32(const uint8_t *p)
{
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | static_cast<uint32_t>(p[3]);
}

uint64_t be64(const uint8_t *p) { return static_cast<uint64_t>(be32(p)) << 32 | be32(p + 4); }

// Printable form of a box type: 'mp4a', or hexadecimal for other bytes.
std::string type_name(uint32_t type)
{
    std::string s = "'";
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>((type >> shift) & 0xff);
        if (c < 0x20 || c > 0x7e) {
            char hex[16];
            std::snprintf(hex, sizeof hex, "0x%08x", type);
            return hex;
        }
        s += c;
    }
    return s + "'";
}

// Bytes of a box. cut: the span ends at the end of the file, before the end
// that its box declares (a 'moov' box that runs past the end of the file).
struct Span {
    const uint8_t *p = nullptr;
    size_t n = 0;
    bool cut = false;
    Span tail(size_t from) const { return from <= n ? Span{p + from, n - from, cut} : Span{}; }
};

struct Box {
    uint32_t type = 0;
    Span payload;
};

// A box header (ISO/IEC 14496-12 4.2): a 32-bit size and the type, then a
// 64-bit size when the size is 1; size 0 gives the box the rest of its
// container.
struct BoxHeader {
    uint32_t type = 0;
    uint64_t size = 0;   // of the whole box, header included
    size_t bytes = 0;    // of the header: 8, or 16 with a 64-bit size
    bool toEnd = false;  // size 0: the box runs to the end of its container
};

// The header at p, of which n bytes are at hand, with room bytes left in its
// container. Returns nullptr, or what keeps the header from being read.
const char *parse_box_header(const uint8_t *p, size_t n, uint64_t room, BoxHeader *h)
{
    if (n < 8)
        return "a box header is cut off";
    h->size = be32(p);
    h->type = be32(p + 4);
    h->bytes = 8;
    h->toEnd = h->size == 0;
    if (h->size == 1) {
        if (n < 16)
            return "a 64-bit box header is cut off";
        h->size = be64(p + 8);
        h->bytes = 16;
    } else if (h->toEnd) {
        h->size = room;
    }
    return nullptr;
}

// The header of the box at offset in a source, its container ending at end.
bool read_box_header(ByteSource &source, uint64_t offset, uint64_t end, BoxHeader *h,
                     std::string *error)
{
    uint8_t head[16];
    const size_t n = static_cast<size_t>(std::min<uint64_t>(end - offset, sizeof head));
    if (n >= 8 && !source.read(offset, head, n)) {
        *error = "read error";
        return false;
    }
    if (const char *why = parse_box_header(head, n, end - offset, h)) {
        *error = std::string(why) + " at byte " + std::to_string(offset);
        return false;
    }
    return true;
}

// Iterates the boxes that fill a span (the payload of a container box). A box
// whose size does not fit the span stops the walk with an error.
class BoxWalk {
public:
    BoxWalk(Span span, std::string *error) : rest_(span), error_(error) {}
    bool next(Box *box)
    {
        if (rest_.n == 0 || !error_->empty())
            return false;
        if (rest_.n < 8 && rest_.cut) {
            rest_ = Span{};
            return false;
        }
        BoxHeader h;
        if (const char *why = parse_box_header(rest_.p, rest_.n, rest_.n, &h))
            return fail(why);
        box->type = h.type;
        if (h.size > rest_.n && rest_.cut && rest_.n >= h.bytes) {
            // Cut off by the end of the file: the box gets what there is.
            box->payload = Span{rest_.p + h.bytes, rest_.n - h.bytes, true};
            rest_ = Span{};
            return true;
        }
        if (h.size < h.bytes || h.size > rest_.n)
            return fail("box " + type_name(h.type) + " claims " + std::to_string(h.size) +
                        " bytes where " + std::to_string(rest_.n) + " remain");
        box->payload = Span{rest_.p + h.bytes, static_cast<size_t>(h.size) - h.bytes};
        rest_ = rest_.tail(static_cast<size_t>(h.size));
        return true;
    }

private:
    bool fail(const std::string &what)
    {
        *error_ = what;
        return false;
    }
    Span rest_;
    std::string *error_;
};

bool find_child(Span container, uint32_t type, Box *out, std::string *error)
{
    BoxWalk walk(container, error);
    Box b;
    while (walk.next(&b)) {
        if (b.type == type) {
            *out = b;
            return true;
        }
    }
    return false;
}

// One descriptor of the MPEG-4 systems layer (ISO/IEC 14496-1): a tag byte
// and a length of one to four 7-bit groups.
bool read_descriptor(Span *rest, uint8_t *tag, Span *body, std::string *error)
{
    if (rest->n < 2) {
        *error = "a descriptor header is cut off";
        return false;
    }
    *tag = rest->p[0];
    size_t pos = 1;
    uint32_t size = 0;
    for (int i = 0;; i++) {
        if (pos >= rest->n || i == 4) {
            *error = "a descriptor length is cut off or longer than four bytes";
            return false;
        }
        const uint8_t b = rest->p[pos++];
        size = size << 7 | (b & 0x7f);
        if (!(b & 0x80))
            break;
    }
    if (size > rest->n - pos) {
        *error = "a descriptor of " + std::to_string(size) + " bytes overruns its box";
        return false;
    }
    *body = Span{rest->p + pos, size};
    *rest = rest->tail(pos + size);
    return true;
}

bool find_descriptor(Span rest, uint8_t wanted, Span *body, std::string *error)
{
    uint8_t tag;
    Span b;
    while (rest.n > 0 && read_descriptor(&rest, &tag, &b, error)) {
        if (tag == wanted) {
            *body = b;
            return true;
        }
    }
    return false;
}

constexpr uint8_t kEsDescriptorTag = 0x03;
constexpr uint8_t kDecoderConfigTag = 0x04;
constexpr uint8_t kDecoderSpecificInfoTag = 0x05;

// The 'esds' box: ES_Descriptor -> DecoderConfigDescriptor ->
// DecoderSpecificInfo.
bool parse_esds(Span esds, Mp4Track *t, std::string *error)
{
    if (esds.n < 4) {
        *error = "the 'esds' box is too short";
        return false;
    }
    Span rest = esds.tail(4);  // version and flags
    Span config;
    if (rest.n > 0 && rest.p[0] == kEsDescriptorTag) {
        Span es;
        if (!find_descriptor(rest, kEsDescriptorTag, &es, error))
            return false;
        if (es.n < 3) {
            *error = "the ES descriptor is too short";
            return false;
        }
        const uint8_t flags = es.p[2];
        size_t pos = 3;
        if (flags & 0x80)  // streamDependenceFlag: dependsOn_ES_ID
            pos += 2;
        if (flags & 0x40) {  // URL_Flag: URLlength, URLstring
            if (pos >= es.n) {
                *error = "the ES descriptor's URL is cut off";
                return false;
            }
            pos += 1 + es.p[pos];
        }
        if (flags & 0x20)  // OCRstreamFlag: OCR_ES_Id
            pos += 2;
        if (pos > es.n) {
            *error = "the ES descriptor is too short for its flags";
            return false;
        }
        rest = es.tail(pos);
    }
    if (!find_descriptor(rest, kDecoderConfigTag, &config, error)) {
        if (error->empty())
            *error = "the 'esds' box has no decoder configuration descriptor";
        return false;
    }
    // objectTypeIndication, streamType, bufferSizeDB, maxBitrate, avgBitrate.
    constexpr size_t kFixed = 13;
    if (config.n < kFixed) {
        *error = "the decoder configuration descriptor is too short";
        return false;
    }
    t->objectTypeIndication = config.p[0];
    Span info;
    if (find_descriptor(config.tail(kFixed), kDecoderSpecificInfoTag, &info, error))
        t->audioSpecificConfig.assign(info.p, info.p + info.n);
    return error->empty();
}

// Codec of an 'mp4a' entry by its objectTypeIndication (ISO/IEC 14496-1
// registry), as people call it.
const char *object_type_indication_name(uint8_t oti)
{
    switch (oti) {
    case 0x40: return "MPEG-4 Audio";
    case 0x66: return "MPEG-2 AAC Main";
    case 0x67: return "MPEG-2 AAC LC";
    case 0x68: return "MPEG-2 AAC SSR";
    case 0x69: return "MP3";  // MPEG-2 Audio, layers 1 to 3
    case 0x6b: return "MP3";  // MPEG-1 Audio, layers 1 to 3
    case 0xa5: return "AC-3";
    case 0xa6: return "E-AC-3";
    case 0xa9: return "DTS";
    case 0xad: return "Opus";
    case 0xdd: return "Vorbis";
    default: return nullptr;
    }
}

// Codec of a sample entry by its type, for the entries seen in MP4, M4A and
// QuickTime files.
const char *sample_entry_codec(uint32_t type)
{
    switch (type) {
    case fourcc("alac"): return "ALAC";
    case fourcc("ac-3"): return "AC-3";
    case fourcc("ec-3"): return "E-AC-3";
    case fourcc("ac-4"): return "AC-4";
    case fourcc("Opus"): return "Opus";
    case fourcc("fLaC"): return "FLAC";
    case fourcc(".mp3"): return "MP3";
    case fourcc("samr"): return "AMR";
    case fourcc("sawb"): return "AMR-WB";
    case fourcc("dtsc"):
    case fourcc("dtsh"):
    case fourcc("dtsl"):
    case fourcc("dtse"): return "DTS";
    case fourcc("mha1"):
    case fourcc("mhm1"): return "MPEG-H 3D Audio";
    case fourcc("lpcm"):
    case fourcc("sowt"):
    case fourcc("twos"):
    case fourcc("ipcm"):
    case fourcc("fpcm"):
    case fourcc("in24"):
    case fourcc("in32"):
    case fourcc("fl32"):
    case fourcc("fl64"):
    case fourcc("raw "): return "PCM";
    case fourcc("ulaw"):
    case fourcc("alaw"): return "G.711";
    case fourcc("avc1"):
    case fourcc("avc3"): return "H.264";
    case fourcc("hvc1"):
    case fourcc("hev1"): return "H.265";
    case fourcc("av01"): return "AV1";
    case fourcc("vp08"): return "VP8";
    case fourcc("vp09"): return "VP9";
    case fourcc("mp4v"): return "MPEG-4 Visual";
    case fourcc("jpeg"):
    case fourcc("mjpa"): return "Motion JPEG";
    default: return nullptr;
    }
}

bool is_aac_indication(uint8_t oti) { return oti == 0x40 || (oti >= 0x66 && oti <= 0x68); }

// An 'mp4a' sample entry: the audio sample entry fields, then its boxes,
// among them 'esds' (QuickTime files may wrap it in a 'wave' box).
bool parse_mp4a(Span entry, Mp4Track *t, std::string *error)
{
    // SampleEntry: 6 reserved bytes, data_reference_index; AudioSampleEntry:
    // version (QuickTime sound description version), 6 more bytes,
    // channelcount, samplesize, 4 bytes, samplerate (16.16).
    constexpr size_t kAudioEntryBytes = 28;
    if (entry.n < kAudioEntryBytes) {
        *error = "the 'mp4a' sample entry is too short";
        return false;
    }
    const uint16_t version = be16(entry.p + 8);
    t->entryChannels = be16(entry.p + 16);
    t->entryRate = be32(entry.p + 24) >> 16;
    // QuickTime sound description versions 1 and 2 append 16 and 36 bytes.
    const size_t fields = version == 1   ? kAudioEntryBytes + 16
                          : version == 2 ? kAudioEntryBytes + 36
                                         : kAudioEntryBytes;
    if (entry.n < fields) {
        *error = "the 'mp4a' sample entry is too short for its version";
        return false;
    }
    const Span children = entry.tail(fields);
    Box esds, wave;
    if (!find_child(children, fourcc("esds"), &esds, error)) {
        if (!error->empty() || !find_child(children, fourcc("wave"), &wave, error) ||
            !find_child(wave.payload, fourcc("esds"), &esds, error)) {
            if (error->empty())
                *error = "the 'mp4a' sample entry has no 'esds' box";
            return false;
        }
    }
    return parse_esds(esds.payload, t, error);
}

bool parse_full_box_count(Span box, size_t entryBytes, size_t extra, uint32_t *count,
                          const char *name, std::string *error)
{
    // version and flags, extra fixed bytes, then entry_count.
    if (box.n < 8 + extra) {
        *error = std::string("the '") + name + "' box is too short";
        return false;
    }
    *count = be32(box.p + 4 + extra);
    if (box.cut)  // the entries that the end of the file left
        *count = std::min(*count, static_cast<uint32_t>((box.n - 8 - extra) / entryBytes));
    if (*count > (box.n - 8 - extra) / entryBytes) {
        *error = std::string("the '") + name + "' box lists " + std::to_string(*count) +
                 " entries but holds room for " + std::to_string((box.n - 8 - extra) / entryBytes);
        return false;
    }
    return true;
}

bool parse_stsz(Span b, Mp4Track *t, std::string *error)
{
    if (b.n < 12) {
        *error = "the 'stsz' box is too short";
        return false;
    }
    t->constantSampleSize = be32(b.p + 4);
    t->sampleCount = be32(b.p + 8);
    if (t->constantSampleSize != 0)
        return true;
    if (b.cut)
        t->sampleCount = std::min<uint32_t>(t->sampleCount, static_cast<uint32_t>((b.n - 12) / 4));
    if (t->sampleCount > (b.n - 12) / 4) {
        *error = "the 'stsz' box lists " + std::to_string(t->sampleCount) +
                 " sample sizes but holds " + std::to_string((b.n - 12) / 4);
        return false;
    }
    t->sampleSizes.resize(t->sampleCount);
    for (uint32_t i = 0; i < t->sampleCount; i++)
        t->sampleSizes[i] = be32(b.p + 12 + 4 * static_cast<size_t>(i));
    return true;
}

// Compact sample sizes: 4, 8 or 16 bits per sample.
bool parse_stz2(Span b, Mp4Track *t, std::string *error)
{
    if (b.n < 12) {
        *error = "the 'stz2' box is too short";
        return false;
    }
    const unsigned bits = b.p[7];
    t->constantSampleSize = 0;
    t->sampleCount = be32(b.p + 8);
    if (bits != 4 && bits != 8 && bits != 16) {
        *error = "the 'stz2' box has a field size of " + std::to_string(bits) + " bits";
        return false;
    }
    if (b.cut)
        t->sampleCount = std::min<uint64_t>(t->sampleCount, (b.n - 12) * 8 / bits);
    const uint64_t need = (static_cast<uint64_t>(t->sampleCount) * bits + 7) / 8;
    if (need > b.n - 12) {
        *error = "the 'stz2' box is too short for its " + std::to_string(t->sampleCount) +
                 " samples";
        return false;
    }
    t->sampleSizes.resize(t->sampleCount);
    const uint8_t *p = b.p + 12;
    for (uint32_t i = 0; i < t->sampleCount; i++) {
        if (bits == 16)
            t->sampleSizes[i] = be16(p + 2 * static_cast<size_t>(i));
        else if (bits == 8)
            t->sampleSizes[i] = p[i];
        else
            t->sampleSizes[i] = (i & 1) ? p[i / 2] & 0x0f : p[i / 2] >> 4;
    }
    return true;
}

bool parse_stsc(Span b, Mp4Track *t, std::string *error)
{
    uint32_t count;
    if (!parse_full_box_count(b, 12, 0, &count, "stsc", error))
        return false;
    t->chunkRuns.resize(count);
    for (uint32_t i = 0; i < count; i++) {
        const uint8_t *e = b.p + 8 + 12 * static_cast<size_t>(i);
        Mp4ChunkRun &run = t->chunkRuns[i];
        run.firstChunk = be32(e);
        run.samplesPerChunk = be32(e + 4);
        if (run.firstChunk == 0 || (i > 0 && run.firstChunk <= t->chunkRuns[i - 1].firstChunk)) {
            *error = "the 'stsc' box's first-chunk numbers do not rise from 1";
            return false;
        }
    }
    return true;
}

bool parse_chunk_offsets(Span b, bool wide, Mp4Track *t, std::string *error)
{
    uint32_t count;
    if (!parse_full_box_count(b, wide ? 8 : 4, 0, &count, wide ? "co64" : "stco", error))
        return false;
    t->chunkOffsets.resize(count);
    for (uint32_t i = 0; i < count; i++)
        t->chunkOffsets[i] = wide ? be64(b.p + 8 + 8 * static_cast<size_t>(i))
                                  : be32(b.p + 8 + 4 * static_cast<size_t>(i));
    return true;
}

// What one track is, as far as the choice of track goes.
struct TrackScan {
    uint32_t handler = 0;
    uint32_t entryType = 0;  // first sample entry
    bool hasEntry = false;
};

// The sample description ('stsd'): the type of its first sample entry, and
// of an audio track's 'mp4a' entry its fields and decoder configuration.
bool parse_stsd(Span b, bool audio, Mp4Track *t, TrackScan *scan, std::string *error)
{
    // version and flags, entry_count, then the sample entries.
    if (b.n < 8) {
        *error = "the 'stsd' box is too short";
        return false;
    }
    BoxWalk entries(b.tail(8), error);
    Box entry;
    if (be32(b.p + 4) == 0 || !entries.next(&entry))
        return true;
    scan->hasEntry = true;
    scan->entryType = entry.type;
    return !audio || entry.type != fourcc("mp4a") || parse_mp4a(entry.payload, t, error);
}

// One of the tables that place an audio track's samples: sizes, chunks,
// chunk offsets; other boxes are passed over.
bool parse_sample_table(const Box &b, Mp4Track *t, std::string *error)
{
    switch (b.type) {
    case fourcc("stsz"): return parse_stsz(b.payload, t, error);
    case fourcc("stz2"): return parse_stz2(b.payload, t, error);
    case fourcc("stsc"): return parse_stsc(b.payload, t, error);
    case fourcc("stco"): return parse_chunk_offsets(b.payload, false, t, error);
    case fourcc("co64"): return parse_chunk_offsets(b.payload, true, t, error);
    default: return true;
    }
}

// The sample tables of an audio track; of other tracks only the type of the
// first sample entry, which names their codec.
bool parse_stbl(Span stbl, Mp4Track *t, TrackScan *scan, std::string *error)
{
    const bool audio = scan->handler == fourcc("soun");
    BoxWalk walk(stbl, error);
    Box b;
    while (walk.next(&b)) {
        const bool ok = b.type == fourcc("stsd") ? parse_stsd(b.payload, audio, t, scan, error)
                        : audio                  ? parse_sample_table(b, t, error)
                                                 : true;
        if (!ok)
            return false;
    }
    return error->empty();
}

// Timescale of a movie or media header: after version and flags and the
// creation and modification times (32 or, in version 1, 64 bits each).
uint32_t header_timescale(Span b)
{
    const size_t at = b.n > 0 && b.p[0] == 1 ? 20 : 12;
    return b.n >= at + 4 ? be32(b.p + at) : 0;
}

// Hexadecimal field of an iTunSMPB text; false unless it is 1 to 16 digits.
bool hex_field(const std::string &text, size_t *pos, uint64_t *value)
{
    while (*pos < text.size() && text[*pos] == ' ')
        ++*pos;
    size_t digits = 0;
    *value = 0;
    for (; *pos < text.size() && text[*pos] != ' '; ++*pos, ++digits) {
        const char c = text[*pos];
        const int v = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
        if (v < 0 || digits == 16)
            return false;
        *value = *value << 4 | static_cast<uint64_t>(v);
    }
    return digits > 0;
}

// The text of an iTunSMPB tag: " 00000000 PPPPPPPP EEEEEEEE LLLLLLLLLLLLLLLL"
// and more fields: a reserved field, then priming, padding and the length of
// the original audio, in hexadecimal.
bool parse_itun_smpb_text(std::string text, Mp4ItunSmpb *out)
{
    text = text.substr(0, text.find('\0'));
    size_t pos = 0;
    uint64_t reserved, priming, padding, length;
    if (!hex_field(text, &pos, &reserved) || !hex_field(text, &pos, &priming) ||
        !hex_field(text, &pos, &padding) || !hex_field(text, &pos, &length) ||
        priming > UINT32_MAX || padding > UINT32_MAX)
        return false;
    *out = Mp4ItunSmpb{true, static_cast<uint32_t>(priming), static_cast<uint32_t>(padding),
                       length};
    return true;
}

// An iTunes metadata item ('----' in 'ilst'): 'mean', 'name' and 'data'
// boxes; the first two are full boxes holding a string, 'data' holds a type
// and a locale before its value.
void read_itun_smpb_item(Span item, Mp4ItunSmpb *out)
{
    std::string ignored;
    Box mean, name, data;
    if (!find_child(item, fourcc("mean"), &mean, &ignored) ||
        !find_child(item, fourcc("name"), &name, &ignored) ||
        !find_child(item, fourcc("data"), &data, &ignored) || mean.payload.n < 4 ||
        name.payload.n < 4 || data.payload.n < 8)
        return;
    const auto text = [](Span s, size_t from) {
        return std::string(reinterpret_cast<const char *>(s.p) + from, s.n - from);
    };
    if (text(mean.payload, 4) == "com.apple.iTunes" && text(name.payload, 4) == "iTunSMPB")
        parse_itun_smpb_text(text(data.payload, 8), out);
}

// The iTunSMPB tag of 'moov' > 'udta' > 'meta' > 'ilst' (or 'moov' > 'meta').
// Damaged metadata is passed over: it never stands in the way of the audio.
void find_itun_smpb(const Box &box, Mp4ItunSmpb *out)
{
    std::string ignored;
    Box meta = box, ilst, item;
    if (box.type == fourcc("udta") && !find_child(box.payload, fourcc("meta"), &meta, &ignored))
        return;
    // 'meta' is a full box in MP4 files, a plain one in QuickTime files.
    const bool plain = meta.payload.n >= 8 && be32(meta.payload.p + 4) == fourcc("hdlr");
    if (!find_child(meta.payload.tail(plain ? 0 : 4), fourcc("ilst"), &ilst, &ignored))
        return;
    BoxWalk walk(ilst.payload, &ignored);
    while (walk.next(&item))
        if (item.type == fourcc("----"))
            read_itun_smpb_item(item.payload, out);
}

// The edit list ('edts' > 'elst'): version 0 entries are 32-bit duration and
// media time, version 1 entries 64-bit; each ends with a 16.16 media rate.
bool parse_edit_list(Span trak, Mp4Track *t, std::string *error)
{
    Box edts, elst;
    if (!find_child(trak, fourcc("edts"), &edts, error) ||
        !find_child(edts.payload, fourcc("elst"), &elst, error))
        return error->empty();
    const Span b = elst.payload;
    const bool wide = b.n > 0 && b.p[0] == 1;
    uint32_t count;
    if (!parse_full_box_count(b, wide ? 20 : 12, 0, &count, "elst", error))
        return false;
    t->hasEditList = true;
    t->edits.resize(count);
    for (uint32_t i = 0; i < count; i++) {
        const uint8_t *e = b.p + 8 + (wide ? 20 : 12) * static_cast<size_t>(i);
        t->edits[i].segmentDuration = wide ? be64(e) : be32(e);
        t->edits[i].mediaTime = wide ? static_cast<int64_t>(be64(e + 8))
                                     : static_cast<int32_t>(be32(e + 4));
    }
    return true;
}

// track_ID of a track header ('tkhd'): after version and flags and the
// creation and modification times (32 or, in version 1, 64 bits each); 0
// when the box is too short.
uint32_t track_id(Span tkhd)
{
    if (tkhd.n < 4)
        return 0;
    const size_t at = tkhd.p[0] == 1 ? 20 : 12;
    return tkhd.n >= at + 4 ? be32(tkhd.p + at) : 0;
}

// A track: its header, media header and handler, edit list (audio tracks)
// and sample tables.
bool parse_trak(Span trak, Mp4Track *t, TrackScan *scan, std::string *error)
{
    Box tkhd, mdia, mdhd, hdlr, minf, stbl;
    if (find_child(trak, fourcc("tkhd"), &tkhd, error))
        t->trackId = track_id(tkhd.payload);
    if (!error->empty())
        return false;
    if (!find_child(trak, fourcc("mdia"), &mdia, error))
        return error->empty();
    if (find_child(mdia.payload, fourcc("mdhd"), &mdhd, error))
        t->timescale = header_timescale(mdhd.payload);
    // version and flags, pre_defined, handler_type.
    if (find_child(mdia.payload, fourcc("hdlr"), &hdlr, error) && hdlr.payload.n >= 12)
        scan->handler = be32(hdlr.payload.p + 8);
    if (!error->empty())
        return false;
    if (scan->handler == fourcc("soun") && !parse_edit_list(trak, t, error))
        return false;
    if (!find_child(mdia.payload, fourcc("minf"), &minf, error) ||
        !find_child(minf.payload, fourcc("stbl"), &stbl, error))
        return error->empty();
    return parse_stbl(stbl.payload, t, scan, error);
}

// "track 2: ALAC audio ('alac')", "track 1: H.264 video ('avc1')".
std::string describe_skip(const Mp4Track &t, const TrackScan &scan)
{
    std::string s = "track " + std::to_string(t.number) + ": ";
    const char *kind = scan.handler == fourcc("soun")   ? "audio"
                       : scan.handler == fourcc("vide") ? "video"
                       : scan.handler == fourcc("text") || scan.handler == fourcc("sbtl") ||
                               scan.handler == fourcc("subt")
                           ? "text"
                           : nullptr;
    if (kind == nullptr)
        return s + "handler " + type_name(scan.handler);
    if (!scan.hasEntry)
        return s + kind + " without a sample entry";
    if (scan.entryType == fourcc("mp4a") && scan.handler == fourcc("soun")) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02x", t.objectTypeIndication);
        const char *name = object_type_indication_name(t.objectTypeIndication);
        return s + (name ? name : "unknown") + " audio ('mp4a', object type indication " + hex +
               ")";
    }
    const char *codec = sample_entry_codec(scan.entryType);
    return s + (codec ? std::string(codec) + " " : "") + kind + " (" + type_name(scan.entryType) +
           ")";
}

// Bytes of a 'moov' box that runs past the end of the file worth reading:
// its children up to the end of the file, or up to the first top-level box
// that an overstated size has swallowed (its media data, say).
uint64_t cut_movie_bytes(ByteSource &source, uint64_t from, uint64_t end)
{
    uint64_t at = from;
    BoxHeader h;
    std::string ignored;
    while (end - at >= 8 && read_box_header(source, at, end, &h, &ignored)) {
        if (h.type == fourcc("mdat") || h.type == fourcc("moof") || h.toEnd || h.size < h.bytes)
            break;
        if (h.size > end - at)
            return end - from;
        at += h.size;
    }
    return at - from;
}

// The 'moov' box as read from the file.
struct Movie {
    std::vector<uint8_t> bytes;  // its payload
    bool found = false;
    bool cut = false;        // the box runs past the end of the file
    bool fragments = false;  // the file has movie fragments ('moof', 'mvex')
};

// The payload of the 'moov' box at offset (header h). A 'moov' box that runs
// past the end of the file (a cut-off download, an overstated size) gives
// what there is of it.
bool read_movie(ByteSource &source, uint64_t offset, const BoxHeader &h, Movie *movie,
                std::string *error)
{
    const uint64_t end = source.size();
    const bool complete = h.size <= end - offset;
    const uint64_t have = complete ? h.size
                                   : h.bytes + cut_movie_bytes(source, offset + h.bytes, end);
    if (have - h.bytes > kMaxMovieBytes) {
        *error = "the 'moov' box is larger than " + std::to_string(kMaxMovieBytes >> 20) + " MiB";
        return false;
    }
    movie->cut = !complete;
    movie->bytes.resize(static_cast<size_t>(have - h.bytes));
    if (!source.read(offset + h.bytes, movie->bytes.data(), movie->bytes.size())) {
        *error = "read error";
        return false;
    }
    movie->found = true;
    return true;
}

// The top-level boxes, read from the source one header at a time so that
// the media data is never loaded whole: the first 'moov' box, and whether
// there are movie fragments.
bool find_movie(ByteSource &source, Movie *movie, std::string *error)
{
    const uint64_t end = source.size();
    uint64_t offset = 0;
    while (end - offset >= 8) {
        BoxHeader h;
        if (!read_box_header(source, offset, end, &h, error))
            return false;
        if (h.size < h.bytes) {
            *error = "box " + type_name(h.type) + " at byte " + std::to_string(offset) +
                     " has an impossible size of " + std::to_string(h.size) + " bytes";
            return false;
        }
        if (h.type == fourcc("moov") && !movie->found &&
            !read_movie(source, offset, h, movie, error))
            return false;
        if (h.type == fourcc("moof"))
            movie->fragments = true;
        if (h.size > end - offset)
            break;  // e.g. a cut-off 'mdat': its samples are checked one by one
        offset += h.size;
    }
    if (!movie->found) {
        *error = "no 'moov' box: the file is not a complete MP4 file";
        return false;
    }
    return true;
}

// What the walk of the 'moov' box found besides the chosen track.
struct MovieScan {
    uint32_t tracks = 0;
    bool found = false;  // an AAC track was chosen
    uint32_t movieTimescale = 0;
    Mp4ItunSmpb smpb;
};

// One 'trak' box: chosen when it is the first AAC audio track, else passed
// over with a line in *skipped (tracks after the chosen one are counted only).
bool scan_track(Span trak, MovieScan *scan, Mp4Track *track, std::vector<std::string> *skipped,
                std::string *error)
{
    scan->tracks++;
    if (scan->found)
        return true;
    Mp4Track t;
    t.number = scan->tracks;
    TrackScan kind;
    if (!parse_trak(trak, &t, &kind, error)) {
        *error = "track " + std::to_string(t.number) + ": " + *error;
        return false;
    }
    if (kind.handler == fourcc("soun") && kind.entryType == fourcc("mp4a") &&
        is_aac_indication(t.objectTypeIndication)) {
        *track = std::move(t);
        scan->found = true;
    } else {
        skipped->push_back(describe_skip(t, kind));
    }
    return true;
}

// The boxes of 'moov': the movie header, metadata and tracks. False when a
// track is refused; a walk stopped by a damaged box leaves its message in
// *error and returns true.
bool scan_movie(Movie *movie, MovieScan *scan, Mp4Track *track, std::vector<std::string> *skipped,
                std::string *error)
{
    BoxWalk walk(Span{movie->bytes.data(), movie->bytes.size(), movie->cut}, error);
    Box b;
    while (walk.next(&b)) {
        if (b.type == fourcc("mvex"))
            movie->fragments = true;
        if (b.type == fourcc("mvhd"))
            scan->movieTimescale = header_timescale(b.payload);
        if (b.type == fourcc("udta") || b.type == fourcc("meta"))
            find_itun_smpb(b, &scan->smpb);
        if (b.type == fourcc("trak") && !scan_track(b.payload, scan, track, skipped, error))
            return false;
    }
    return true;
}

// A walk stopped by damage, or a chosen track whose tables the end of the
// file cut off, in words.
void explain_scan_failure(const Movie &movie, const Mp4Track &track, std::string *error)
{
    if (movie.cut && error->empty())
        *error = "track " + std::to_string(track.number) +
                 ": the sample tables are cut off by the end of the file";
    else if (movie.cut)
        *error += " (the 'moov' box is cut off by the end of the file)";
}

// No AAC track among the tracks passed over, in words.
std::string no_aac_track(const MovieScan &scan, const std::vector<std::string> &skipped)
{
    std::string what = scan.tracks == 0 ? "the file has no tracks" : "";
    for (const std::string &s : skipped)
        what += (what.empty() ? "" : "; ") + s;
    return "MP4 file without an AAC audio track (" + what + "); fxaac decodes AAC";
}

// What the chosen track needs before its samples can be walked.
bool check_track(const Mp4Track &track, bool fragments, std::string *error)
{
    const std::string name = "track " + std::to_string(track.number) + ": ";
    if (track.audioSpecificConfig.empty()) {
        *error = name + "the AAC track has no AudioSpecificConfig (decoder specific info)";
        return false;
    }
    if (track.sampleCount == 0 && fragments) {
        *error = name + "fragmented MP4 (movie fragments) is not supported";
        return false;
    }
    if (track.sampleCount > 0 && (track.chunkRuns.empty() || track.chunkOffsets.empty())) {
        *error = name + "the sample-to-chunk or chunk offset table is missing";
        return false;
    }
    return true;
}

}  // namespace

bool looks_like_mp4(const uint8_t *data, size_t n)
{
    if (n < 8)
        return false;
    const uint32_t size = be32(data);
    const uint32_t type = be32(data + 4);
    if (type == fourcc("ftyp"))
        return true;
    const bool opener = type == fourcc("moov") || type == fourcc("mdat") ||
                        type == fourcc("free") || type == fourcc("skip") ||
                        type == fourcc("wide") || type == fourcc("pnot");
    return opener && (size == 0 || size == 1 || size >= 8);
}

bool mp4_find_aac_track(ByteSource &source, Mp4Track *track, std::vector<std::string> *skipped,
                        std::string *error)
{
    error->clear();
    Movie movie;
    if (!find_movie(source, &movie, error))
        return false;
    MovieScan scan;
    if (!scan_movie(&movie, &scan, track, skipped, error))
        return false;
    if (!error->empty() ||
        (scan.found && movie.cut && (track->chunkRuns.empty() || track->chunkOffsets.empty()))) {
        explain_scan_failure(movie, *track, error);
        return false;
    }
    if (!scan.found) {
        *error = no_aac_track(scan, *skipped);
        return false;
    }
    track->trackCount = scan.tracks;
    track->movieTimescale = scan.movieTimescale;
    track->itunSmpb = scan.smpb;
    track->movieCut = movie.cut;
    return check_track(*track, movie.fragments, error);
}

bool Mp4SampleCursor::next(Mp4Sample *sample)
{
    const Mp4Track &t = track_;
    if (sample_ >= t.sampleCount)
        return false;
    for (;;) {
        if (chunk_ >= t.chunkOffsets.size()) {
            error_ = "the chunk tables hold " + std::to_string(sample_) + " of the " +
                     std::to_string(t.sampleCount) + " samples that the sample size table lists";
            return false;
        }
        while (run_ + 1 < t.chunkRuns.size() && t.chunkRuns[run_ + 1].firstChunk - 1 <= chunk_)
            run_++;
        const uint32_t perChunk = t.chunkRuns[run_].firstChunk - 1 <= chunk_
                                      ? t.chunkRuns[run_].samplesPerChunk
                                      : 0;
        if (inChunk_ == 0)
            offset_ = t.chunkOffsets[chunk_];
        if (inChunk_ < perChunk)
            break;
        chunk_++;
        inChunk_ = 0;
    }
    sample->offset = offset_;
    sample->size = t.constantSampleSize != 0 ? t.constantSampleSize : t.sampleSizes[sample_];
    offset_ += sample->size;
    inChunk_++;
    sample_++;
    return true;
}

}  // namespace fxaac_cli
