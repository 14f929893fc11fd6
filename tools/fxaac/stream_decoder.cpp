#include "stream_decoder.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fxaac/fxaac.h>

#include "byte_source.h"
#include "mp4.h"
#include "progress.h"
#include "status_text.h"

namespace fxaac_cli {

namespace {

constexpr size_t kChunk = 64 * 1024;          // bytes read from the input at a time
constexpr size_t kLookahead = 64 * 1024;      // bytes looked at to recognise the input
// Header decoding has no length bound; its copy of the input is followed by
// zeros, more than the longest ADIF header or AudioSpecificConfig can read.
constexpr size_t kHeaderPadding = 64 * 1024;
constexpr size_t kKeepAhead = 32 * 1024;      // data held ahead of each frame call
constexpr size_t kMaxPending = 1 << 20;       // a frame that needs more than this is damaged
constexpr uint32_t kMaxAccessUnit = 1 << 20;
constexpr int kMaxListedWarnings = 10;
constexpr uint8_t kHeaderlessDummy[4] = {0, 0, 0, 0};

// The caller-owned decoder memory: the instance and its work area.
struct DecoderMemory {
    AacDecoder instance;
    DecoderWorkArea work;
};

uint64_t regular_file_size(FILE *file)
{
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0)
        return 0;
    return static_cast<uint64_t>(st.st_size);
}

bool is_regular(FILE *file)
{
    struct stat st;
    return fstat(fileno(file), &st) == 0 && S_ISREG(st.st_mode);
}

// The input, read in chunks into a buffer that holds the unconsumed bytes
// and grows when a frame needs more.
class InputBuffer {
public:
    explicit InputBuffer(FILE *file) : file_(file) {}
    const uint8_t *data() const { return buf_.data() + pos_; }
    size_t avail() const { return end_ - pos_; }
    bool at_eof() const { return eof_; }
    uint64_t offset() const { return offset_; }  // input position of data()
    const std::string &error() const { return error_; }

    // Reads until want bytes are held or the input ends; false on a read error.
    bool fill(size_t want)
    {
        if (avail() >= want || eof_)
            return true;
        if (pos_ > 0) {
            std::memmove(buf_.data(), buf_.data() + pos_, avail());
            end_ -= pos_;
            pos_ = 0;
        }
        while (avail() < want && !eof_) {
            if (buf_.size() < end_ + kChunk)
                buf_.resize(end_ + kChunk);
            const size_t got = std::fread(buf_.data() + end_, 1, kChunk, file_);
            end_ += got;
            if (got < kChunk) {
                if (std::ferror(file_)) {
                    error_ = std::string("cannot read the input: ") + std::strerror(errno);
                    return false;
                }
                eof_ = true;
            }
        }
        return true;
    }

    void consume(size_t n)
    {
        n = std::min(n, avail());
        pos_ += n;
        offset_ += n;
    }

    // Drops n bytes; false when the input ends first.
    bool skip(uint64_t n)
    {
        while (n > 0) {
            if (!fill(1) || avail() == 0)
                return false;
            const size_t k = static_cast<size_t>(std::min<uint64_t>(n, avail()));
            consume(k);
            n -= k;
        }
        return true;
    }

    // Everything not yet consumed, to the end of the input.
    bool take_rest(std::vector<uint8_t> *out)
    {
        while (!eof_)
            if (!fill(avail() + kChunk))
                return false;
        out->assign(data(), data() + avail());
        return true;
    }

private:
    FILE *file_;
    std::vector<uint8_t> buf_;
    size_t pos_ = 0;
    size_t end_ = 0;
    uint64_t offset_ = 0;
    bool eof_ = false;
    std::string error_;
};

// One decoding run: the decoder memory, the output buffer, the sink and the
// counts of the report.
class Session {
public:
    Session(const DecodeOptions &options, PcmSink &sink, DecodeReport *report)
        : options_(options), sink_(sink), report_(report), memory_(new DecoderMemory()),
          progress(options.progress)
    {
        AACPlusDecoderInit(&memory_->instance, &memory_->work);
        if (options.pcm24)
            memory_->instance.pcmFormat = 2;
    }

    AacDecoder *decoder() { return &memory_->instance; }

    void call(const uint8_t *input, size_t bytes, FrameStatus *status)
    {
        const int32_t sbrFlag = 0;
        AACPlusDecodeBuffer(&memory_->instance, input, static_cast<int32_t>(bytes), output_, status,
                            &sbrFlag);
    }

    void call_latm(LatmState *latm, const uint8_t *input, size_t bytes, FrameStatus *status)
    {
        AACPlusDecodeLatm(&memory_->instance, latm, input, static_cast<int32_t>(bytes), output_,
                          status);
    }

    // Where the frame being decoded starts, for messages.
    void at(uint64_t byte, uint64_t unit = 0)
    {
        byte_ = byte;
        unit_ = unit;
    }

    std::string where() const
    {
        if (report_->kind == InputKind::Mp4)
            return "access unit " + std::to_string(unit_) + " (byte " + std::to_string(byte_) + ")";
        return (report_->kind == InputKind::Adts ? "frame at byte " : "raw data block at byte ") +
               std::to_string(byte_);
    }

    // Hands a decoded frame to the sink. False when the sink fails.
    bool deliver(const FrameStatus &status, std::string *error)
    {
        regain_sync();
        const int32_t channels = status.outputSamples / FXAAC_FRAME_LENGTH;
        if (!started_) {
            if (!sink_.begin(report_->sampleRate, channels)) {
                *error = sink_.error();
                return false;
            }
            started_ = true;
            report_->channels = channels;
        } else if (channels != report_->channels) {
            damaged("the channel count changes from " + std::to_string(report_->channels) +
                    " to " + std::to_string(channels));
            return true;
        }
        if (!sink_.write(output_, status.outputSamples)) {
            *error = sink_.error();
            return false;
        }
        report_->frames++;
        report_->samplesPerChannel += static_cast<uint64_t>(status.outputSamples / channels);
        return true;
    }

    void damaged(const std::string &what)
    {
        regain_sync();
        report_->damagedFrames++;
        warn(where() + ": " + what + "; skipped");
    }

    // ADTS bytes without a frame: one message per stretch of them.
    void lose_sync(uint64_t bytes)
    {
        if (!unsynced_) {
            unsynced_ = true;
            unsyncedFrom_ = byte_;
            unsyncedBytes_ = 0;
        }
        unsyncedBytes_ += bytes;
        report_->unsyncedBytes += bytes;
    }

    void regain_sync()
    {
        if (!unsynced_)
            return;
        unsynced_ = false;
        warn("bytes " + std::to_string(unsyncedFrom_) + " to " +
             std::to_string(unsyncedFrom_ + unsyncedBytes_ - 1) +
             " hold no ADTS frame (" + std::to_string(unsyncedBytes_) +
             (unsyncedBytes_ == 1 ? " byte" : " bytes") + " skipped)");
    }

    // Ends the run: the sink is begun even when no frame was decoded, so that
    // the output is a valid (empty) file.
    bool close(std::string *error)
    {
        regain_sync();
        progress.clear();
        if (warnings_ > kMaxListedWarnings && options_.warnings)
            std::fprintf(stderr, "fxaac: warning: %d more problems not listed\n",
                         warnings_ - kMaxListedWarnings);
        if (started_)
            return true;
        const int32_t channels = report_->channels > 0 ? report_->channels : 1;
        started_ = true;
        if (!sink_.begin(report_->sampleRate, channels)) {
            *error = sink_.error();
            return false;
        }
        return true;
    }

    double seconds() const
    {
        return report_->sampleRate > 0
                   ? static_cast<double>(report_->samplesPerChannel) / report_->sampleRate
                   : 0.0;
    }

    DecodeReport &report() { return *report_; }

private:
    void warn(const std::string &message)
    {
        if (!options_.warnings)
            return;
        if (++warnings_ > kMaxListedWarnings)
            return;
        progress.clear();
        std::fprintf(stderr, "fxaac: warning: %s\n", message.c_str());
    }

    const DecodeOptions &options_;
    PcmSink &sink_;
    DecodeReport *report_;
    std::unique_ptr<DecoderMemory> memory_;
    alignas(8) int32_t output_[FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH] = {};
    bool started_ = false;
    uint64_t byte_ = 0;
    uint64_t unit_ = 0;
    bool unsynced_ = false;
    uint64_t unsyncedFrom_ = 0;
    uint64_t unsyncedBytes_ = 0;
    int warnings_ = 0;

public:
    Progress progress;
};

int32_t audio_object_type(const AacDecoder &d, InputKind kind)
{
    if (kind == InputKind::Raw)
        return 2;
    // Header decoding leaves types 1 to 4 one lower (ADTS and ADIF profiles).
    return d.objectType <= 3 ? d.objectType + 1 : d.objectType;
}

void take_stream_parameters(Session &s)
{
    DecodeReport &r = s.report();
    const AacDecoder &d = *s.decoder();
    r.sampleRate = d.sampleRate;
    r.channels = d.channels;
    r.audioObjectType = audio_object_type(d, r.kind);
}

std::string object_type_words(int32_t aot)
{
    const char *name = fxaac_object_type_name(aot);
    return "audio object type " + std::to_string(aot) + (name ? std::string(" (") + name + ")" : "");
}

std::string unsupported_type(int32_t aot)
{
    return object_type_words(aot) +
           " is not supported: fxaac decodes AAC LC (audio object types 2 and 17) only";
}

// Why header decoding refused the input, in words.
std::string header_refusal(InputKind kind, int32_t status, const uint8_t *data, size_t n)
{
    int32_t aot = 0;
    if (kind == InputKind::Adts && n >= 3)
        aot = (data[2] >> 6) + 1;  // profile + 1
    else if (kind == InputKind::Asc || kind == InputKind::Unknown)
        aot = asc_object_type(data, n);
    else if (kind == InputKind::MarkedAsc && n > 6)
        aot = asc_object_type(data + 6, n - 6);
    const std::string why = status == FXAAC_ERR_OBJECT_TYPE && aot != 0 && aot != 2 && aot != 17
                                ? unsupported_type(aot)
                                : fxaac_status_text(status);
    if (kind == InputKind::Unknown)
        return "not a recognised AAC stream (no ADTS sync word, no ADIF or HEAAC marker, not an "
               "MP4 file), and read as an AudioSpecificConfig it is refused: " + why;
    return std::string(input_kind_name(kind)) + " header refused: " + why;
}

// Bytes before the first ADTS sync word (all of them when there is none).
size_t bytes_before_sync(const uint8_t *p, size_t n)
{
    for (size_t i = 0; i + 1 < n; i++)
        if (p[i] == 0xff && (p[i + 1] & 0xf0) == 0xf0)
            return i;
    return n;
}

// Raw data blocks from the buffer, one bounded frame call each.
bool decode_blocks(Session &s, InputBuffer &in, uint64_t total, bool guessed, std::string *error)
{
    DecodeReport &r = s.report();
    const bool adts = r.kind == InputKind::Adts;
    FrameStatus status;
    for (;;) {
        if (!in.fill(kKeepAhead)) {
            *error = in.error();
            return false;
        }
        if (in.avail() == 0)
            return true;
        s.at(in.offset());
        // Bytes in front of the next ADTS sync word: the frame call passes
        // over them on its own, they are only counted here.
        const size_t garbage =
            adts && s.decoder()->rawBlocksLeft == 0 ? bytes_before_sync(in.data(), in.avail()) : 0;
        s.call(in.data(), in.avail(), &status);
        if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT && status.outputSamples == 0) {
            if (!in.at_eof() && in.avail() < kMaxPending) {
                if (!in.fill(in.avail() + kChunk)) {
                    *error = in.error();
                    return false;
                }
                continue;
            }
            if (in.at_eof()) {
                s.damaged("the input ends inside the frame (" + std::to_string(in.avail()) +
                          " bytes left)");
                return true;
            }
            if (!adts) {
                *error = s.where() + ": a raw data block longer than 1 MiB; the stream is damaged";
                return false;
            }
            s.damaged("a frame longer than 1 MiB");
            in.consume(1);
            continue;
        }
        size_t used = status.bytesConsumed > 0 ? static_cast<size_t>(status.bytesConsumed) : 0;
        const bool lostSync =
            status.errorCode == FXAAC_ERR_NO_SYNC || status.errorCode == FXAAC_ERR_ADTS_LENGTH;
        if (garbage > 0 && !lostSync)
            s.lose_sync(garbage);
        if (status.outputSamples > 0) {
            if (!s.deliver(status, error))
                return false;
        } else if (status.errorCode != 0) {
            if (!adts) {
                // Raw data blocks carry no sync word: after a damaged one
                // there is no telling where the next begins.
                *error = s.where() + ": " + fxaac_status_text(status.errorCode) +
                         "; decoding stops here, as blocks without ADTS framing cannot be "
                         "resynchronised";
                if (guessed)
                    *error += " (the input was read as an AudioSpecificConfig stream; it may not "
                              "be AAC at all)";
                return false;
            }
            used = std::max<size_t>(used, 1);
            if (lostSync)
                s.lose_sync(used);
            else
                s.damaged(fxaac_status_text(status.errorCode));
        } else if (used == 0) {
            *error = s.where() + ": the decoder consumed nothing; decoding stops";
            return false;
        }
        r.payloadBytes += used;
        in.consume(used);
        s.progress.update(in.offset(), total, s.seconds());
    }
}

bool decode_mp4(Session &s, InputBuffer &in, FILE *file, std::string *error)
{
    DecodeReport &r = s.report();
    r.kind = InputKind::Mp4;
    std::unique_ptr<ByteSource> source;
    if (is_regular(file) && in.offset() == 0) {
        source.reset(new FileSource(file, regular_file_size(file)));
    } else {
        // From a pipe: the sample tables may come after the media data, so
        // the whole file is held in memory.
        std::vector<uint8_t> all;
        if (!in.take_rest(&all)) {
            *error = in.error();
            return false;
        }
        source.reset(new MemorySource(std::move(all)));
    }
    Mp4Track track;
    if (!mp4_find_aac_track(*source, &track, &r.skippedTracks, error)) {
        *error = "MP4: " + *error;
        return false;
    }
    r.track = std::to_string(track.number) + " of " + std::to_string(track.trackCount) +
              " (track ID " + std::to_string(track.trackId) + ")";
    const std::vector<uint8_t> &asc = track.audioSpecificConfig;
    r.audioObjectType = asc_object_type(asc.data(), asc.size());
    const std::string name = "MP4 track " + std::to_string(track.number) + ": ";
    if (r.audioObjectType != 2 && r.audioObjectType != 17) {
        *error = name + unsupported_type(r.audioObjectType);
        return false;
    }
    std::vector<uint8_t> head(asc.size() + kHeaderPadding, 0);
    std::copy(asc.begin(), asc.end(), head.begin());
    DecoderConfig config = {};
    config.hdrPrsnt = 1;
    const int32_t result = AACPlusHeaderDecode(config, s.decoder(), head.data());
    if (result < 0) {
        *error = name + "AudioSpecificConfig refused: " + fxaac_status_text(result);
        return false;
    }
    take_stream_parameters(s);
    r.audioObjectType = asc_object_type(asc.data(), asc.size());

    Mp4SampleCursor cursor(track);
    Mp4Sample sample;
    std::vector<uint8_t> unit;
    FrameStatus status;
    while (cursor.next(&sample)) {
        s.at(sample.offset, cursor.index());
        r.payloadBytes += sample.size;
        if (sample.size > kMaxAccessUnit) {
            s.damaged("an access unit of " + std::to_string(sample.size) + " bytes");
            continue;
        }
        unit.resize(std::max<size_t>(sample.size, 1));
        if (!source->read(sample.offset, unit.data(), sample.size)) {
            if (sample.offset > source->size() || sample.size > source->size() - sample.offset) {
                s.damaged("it lies past the end of the file (truncated file?)");
                continue;
            }
            *error = std::string("cannot read the input: ") + std::strerror(errno);
            return false;
        }
        s.call(unit.data(), sample.size, &status);
        if (status.outputSamples > 0) {
            if (!s.deliver(status, error))
                return false;
        } else if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            s.damaged("the raw data block runs past the end of the access unit");
        } else if (status.errorCode != 0) {
            s.damaged(fxaac_status_text(status.errorCode));
        }
        s.progress.update(cursor.index(), track.sampleCount, s.seconds());
    }
    if (!cursor.error().empty()) {
        *error = name + cursor.error();
        return false;
    }
    return true;
}

// Codes of AACPlusDecodeLatm that refuse a configuration rather than one
// element.
bool latm_refusal(int32_t code)
{
    return code < 0 && code != FXAAC_ERR_NO_SYNC && code != FXAAC_ERR_LATM_LENGTH &&
           code != FXAAC_ERR_LATM_NO_CONFIG && code != FXAAC_ERR_NEED_MORE_INPUT;
}

std::string latm_refusal_text(int32_t code, const LatmState &latm)
{
    const int32_t aot = asc_object_type(latm.config.asc, sizeof latm.config.asc);
    const std::string why = code == FXAAC_ERR_OBJECT_TYPE && aot != 2 && aot != 17
                                ? unsupported_type(aot)
                                : fxaac_status_text(code);
    return "LATM/LOAS configuration refused: " + why;
}

// One LATM element's result: samples to the sink, lost sync and damage
// counted as for ADTS. False when decoding must stop.
bool take_latm_result(Session &s, const FrameStatus &status, const LatmState &latm,
                      std::string *error)
{
    DecodeReport &r = s.report();
    const size_t used = static_cast<size_t>(std::max(status.bytesConsumed, 1));
    if (status.outputSamples > 0) {
        if (r.sampleRate == 0)
            take_stream_parameters(s);
        return s.deliver(status, error);
    }
    if (status.errorCode == 0)
        return true;  // a block without channel elements
    if (status.errorCode == FXAAC_ERR_NO_SYNC || status.errorCode == FXAAC_ERR_LATM_LENGTH) {
        s.lose_sync(used);
    } else if (latm_refusal(status.errorCode) && r.frames == 0) {
        *error = latm_refusal_text(status.errorCode, latm);
        return false;
    } else {
        s.damaged(fxaac_status_text(status.errorCode));
    }
    return true;
}

// LOAS elements from the buffer, one bounded LATM call each. A refused
// configuration before the first decoded frame stops decoding.
bool decode_latm(Session &s, InputBuffer &in, uint64_t total, std::string *error)
{
    s.report().kind = InputKind::Latm;
    std::unique_ptr<LatmState> latm(new LatmState);
    LatmStateInit(latm.get());
    FrameStatus status;
    for (;;) {
        if (!in.fill(kKeepAhead)) {
            *error = in.error();
            return false;
        }
        if (in.avail() == 0)
            return true;
        s.at(in.offset());
        s.call_latm(latm.get(), in.data(), in.avail(), &status);
        if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            // kKeepAhead holds the longest element (8194 bytes): the input ends.
            s.damaged("the input ends inside the LATM element (" + std::to_string(in.avail()) +
                      " bytes left)");
            return true;
        }
        if (!take_latm_result(s, status, *latm, error))
            return false;
        const size_t used = static_cast<size_t>(std::max(status.bytesConsumed, 1));
        s.report().payloadBytes += used;
        in.consume(used);
        s.progress.update(in.offset(), total, s.seconds());
    }
}

// ID3v2 tag in front of the stream: "ID3", version, flags, 28-bit size.
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

bool run(Session &s, FILE *input, const DecodeOptions &options, std::string *error)
{
    DecodeReport &r = s.report();
    InputBuffer in(input);
    const uint64_t total = regular_file_size(input);
    DecoderConfig config = {};
    if (options.raw) {
        r.kind = InputKind::Raw;
        config.fs = options.rate;
        config.chn = options.channels;
        AACPlusHeaderDecode(config, s.decoder(), kHeaderlessDummy);
        take_stream_parameters(s);
        return decode_blocks(s, in, total, false, error);
    }
    if (!in.fill(kLookahead)) {
        *error = in.error();
        return false;
    }
    if (const uint64_t tag = id3_tag_bytes(in.data(), in.avail())) {
        if (!in.skip(tag) || !in.fill(kLookahead)) {
            *error = in.error().empty() ? "the input ends inside its ID3 tag" : in.error();
            return false;
        }
    }
    if (in.avail() == 0) {
        *error = "the input is empty";
        return false;
    }
    const InputKind kind = detect_input_kind(in.data(), in.avail());
    if (kind == InputKind::Mp4)
        return decode_mp4(s, in, input, error);
    if (kind == InputKind::Latm ||
        (kind == InputKind::Unknown && loas_start(in.data(), in.avail()) < in.avail()))
        return decode_latm(s, in, total, error);
    r.kind = kind == InputKind::Unknown ? InputKind::Asc : kind;

    std::vector<uint8_t> head(in.avail() + kHeaderPadding, 0);
    std::memcpy(head.data(), in.data(), in.avail());
    config.hdrPrsnt = 1;
    const int32_t skip = AACPlusHeaderDecode(config, s.decoder(), head.data());
    if (skip < 0) {
        *error = header_refusal(kind, skip, in.data(), in.avail());
        return false;
    }
    if (static_cast<size_t>(skip) > in.avail()) {
        *error = std::string(input_kind_name(r.kind)) + " header runs past the end of the input";
        return false;
    }
    in.consume(static_cast<size_t>(skip));
    take_stream_parameters(s);
    return decode_blocks(s, in, total, kind == InputKind::Unknown, error);
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

bool decode_stream(FILE *input, const DecodeOptions &options, PcmSink &sink, DecodeReport *report,
                   std::string *error)
{
    *report = DecodeReport{};
    error->clear();
    Session session(options, sink, report);
    const bool ok = run(session, input, options, error);
    const bool started = report->kind != InputKind::Unknown && report->sampleRate > 0;
    if (!ok && started)
        report->stopReason = *error;
    if (!ok && !started)
        return false;
    std::string closeError;
    if (!session.close(&closeError)) {
        if (ok)
            *error = closeError;
        return false;
    }
    return ok;
}

}  // namespace fxaac_cli
