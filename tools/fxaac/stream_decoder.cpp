#include "stream_decoder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fxaac/fxaac.h>

#include "byte_source.h"
#include "mp4.h"
#include "progress.h"
#include "status_text.h"
#include "trim_sink.h"

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
constexpr size_t kTailBytes = 1 << 20;       // end of a file searched for metadata tags
constexpr int kMaxListedWarnings = 20;  // warning lines; the rest are counted
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

// One decoding run: the decoder memory, the output buffer, the sink, the
// counts of the report and the messages about the input.
//
// Every damaged frame (damaged()) is replaced by one frame of concealment,
// and a stretch of ADTS bytes without frames by as many frames as its length
// makes at the average frame size so far, so that what follows keeps its
// place in time. The first frame of concealment is taken from the decoder
// as soon as a frame is known to be lost (before the next frame changes its
// state); the frames are written when the next good frame comes, so damage
// at the end of the input (a cut-off file) adds nothing.
class Session {
public:
    Session(const DecodeOptions &options, PcmSink &sink, DecodeReport *report)
        : options_(options), trim_(sink, options.pcm24 ? 4 : 2), sink_(trim_), report_(report),
          memory_(new DecoderMemory()), progress(options.progress)
    {
        AACPlusDecoderInit(&memory_->instance, &memory_->work);
        if (options.pcm24)
            memory_->instance.pcmFormat = 2;
    }

    AacDecoder *decoder() { return &memory_->instance; }
    TrimSink &trim() { return trim_; }
    bool trims() const { return options_.trim; }

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
        const char *what = report_->kind == InputKind::Adts   ? "frame at byte "
                           : report_->kind == InputKind::Latm ? "LATM element at byte "
                                                              : "raw data block at byte ";
        return what + std::to_string(byte_);
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
            return sink_ok(error);
        }
        write_concealment();
        if (!sink_ok(error) || !write(output_, status.outputSamples, error))
            return false;
        report_->frames++;
        note_sbr();
        return true;
    }

    // A frame that failed: counted, reported and concealed.
    void damaged(const std::string &what)
    {
        regain_sync();
        report_->damagedFrames++;
        warn(where(), what);
        conceal(1);
        take_fade();
    }

    // Frames lost before the next good one: that many frames of concealment
    // (a fade-out of what was playing, then silence) go before it. Nothing
    // before the first decoded frame, or when concealment is off.
    void conceal(uint64_t frames)
    {
        if (options_.conceal && started_)
            pending_ += frames;
    }

    // ADTS: the first bytes of the stream's first frame header, whose fixed
    // fields every later header repeats.
    uint8_t adtsHeader[4] = {0, 0, 0, 0};

    // The ADTS bytes of a frame that decoded, for the average frame size.
    void frame_bytes(uint64_t bytes) { goodBytes_ += bytes; }

    // ADTS or LOAS bytes without a frame: one message per stretch of them.
    // brokenHeader: a sync word with an impossible header was among them.
    void lose_sync(uint64_t bytes, bool brokenHeader)
    {
        if (!unsynced_) {
            unsynced_ = true;
            unsyncedFrom_ = byte_;
            unsyncedBytes_ = 0;
            brokenHeader_ = false;
        }
        unsyncedBytes_ += bytes;
        brokenHeader_ = brokenHeader_ || brokenHeader;
        report_->unsyncedBytes += bytes;
        if (started_ && missing_frames() > 0)
            take_fade();
    }

    // Ends a stretch of bytes without frames: the frames it stands for are
    // concealed (only a stretch after the first frame stands for any).
    void regain_sync()
    {
        if (!unsynced_)
            return;
        unsynced_ = false;
        const uint64_t missing = started_ ? missing_frames() : 0;
        std::string what = std::string(report_->kind == InputKind::Latm ? "no LATM element ("
                                                                        : "no ADTS frame (") +
                           std::to_string(unsyncedBytes_) +
                           (unsyncedBytes_ == 1 ? " byte" : " bytes") + " skipped";
        if (missing > 0)
            what += ", about " + std::to_string(missing) + (missing == 1 ? " frame" : " frames");
        warn("bytes " + std::to_string(unsyncedFrom_) + " to " +
                 std::to_string(unsyncedFrom_ + unsyncedBytes_ - 1),
             what + ")");
        conceal(missing);
    }

    // A line on standard error that is neither a warning nor an error.
    void note(const std::string &message)
    {
        if (!options_.warnings)
            return;
        flush_repeats();
        progress.clear();
        std::fprintf(stderr, "fxaac: note: %s\n", message.c_str());
    }

    // Ends the run. No frame decoded: the sink is never begun, so that no
    // empty output file is left behind.
    bool close(std::string *error)
    {
        regain_sync();
        flush_repeats();
        progress.clear();
        if (listed_ > kMaxListedWarnings && options_.warnings)
            std::fprintf(stderr, "fxaac: warning: %d more problems not listed\n",
                         listed_ - kMaxListedWarnings);
        return sink_ok(error);
    }

    double seconds() const
    {
        return report_->sampleRate > 0
                   ? static_cast<double>(report_->samplesPerChannel) / report_->sampleRate
                   : 0.0;
    }

    DecodeReport &report() { return *report_; }

private:
    // Writes the pending concealment. A sink failure is kept for sink_ok().
    void write_concealment()
    {
        const int32_t samples = heldSamples_;
        if (samples == report_->channels * FXAAC_FRAME_LENGTH) {
            for (uint64_t i = 0; i < pending_ && sinkError_.empty(); i++) {
                if (i == 1)
                    std::memset(held_, 0, sizeof held_);  // silence after the fade-out
                if (!write(held_, samples, &sinkError_))
                    break;
                report_->concealedFrames++;
            }
        }
        pending_ = 0;
        heldSamples_ = 0;
    }

    // The fade-out of the last good frame, taken once per stretch of lost
    // frames (the decoder's overlap is cleared by it).
    void take_fade()
    {
        if (!options_.conceal || !started_ || heldSamples_ > 0)
            return;
        FrameStatus status;
        heldSamples_ = AACPlusConcealFrame(decoder(), held_, &status);
    }

    bool write(const int32_t *pcm, int32_t samples, std::string *error)
    {
        if (!sink_.write(pcm, samples)) {
            *error = sink_.error();
            return false;
        }
        report_->samplesPerChannel += static_cast<uint64_t>(samples / report_->channels);
        return true;
    }

    bool sink_ok(std::string *error)
    {
        if (sinkError_.empty())
            return true;
        *error = sinkError_;
        return false;
    }

    // Frames that a stretch of unsynchronised bytes stands for: its length in
    // average frames, rounded, and at least one when a header was broken.
    uint64_t missing_frames() const
    {
        const uint64_t frames = report_->frames;
        uint64_t n = frames > 0 && goodBytes_ > 0
                         ? (2 * unsyncedBytes_ * frames + goodBytes_) / (2 * goodBytes_)
                         : 0;
        return brokenHeader_ && n == 0 ? 1 : n;
    }

    // Implicit HE-AAC: an AAC LC configuration whose frames carry SBR
    // extension payloads (extension_type 13 or 14) in fill elements.
    void note_sbr()
    {
        constexpr uint32_t kSbrTypes = 1u << 13 | 1u << 14;
        if (report_->sbrData || (decoder()->fillExtensions & kSbrTypes) == 0)
            return;
        report_->sbrData = true;
        const int32_t rate = report_->sampleRate;
        note("the frames carry SBR data (HE-AAC signalled implicitly); fxaac does not decode "
             "it: the output is the AAC LC core at " +
             std::to_string(rate) + " Hz, without the high band (HE-AAC plays at " +
             std::to_string(2 * rate) + " Hz)");
    }

    // Consecutive warnings with the same text after the location are
    // counted and reported once, with the count, when the text changes or
    // at the end.
    void warn(const std::string &location, const std::string &what)
    {
        if (!options_.warnings)
            return;
        if (what == lastWhat_) {
            repeats_++;
            lastLocation_ = location;
            return;
        }
        flush_repeats();
        lastWhat_ = what;
        print_warning(location + ": " + what);
    }

    void flush_repeats()
    {
        if (repeats_ > 0)
            print_warning("the same " + std::to_string(repeats_) +
                          (repeats_ == 1 ? " more time" : " more times") + ", the last at " +
                          lastLocation_ + ": " + lastWhat_);
        repeats_ = 0;
        lastWhat_.clear();
    }

    void print_warning(const std::string &line)
    {
        if (++listed_ > kMaxListedWarnings)
            return;
        progress.clear();
        std::fprintf(stderr, "fxaac: warning: %s\n", line.c_str());
    }

    const DecodeOptions &options_;
    TrimSink trim_;  // passes everything on unless an MP4 file's gapless span is set
    PcmSink &sink_;
    DecodeReport *report_;
    std::unique_ptr<DecoderMemory> memory_;
    alignas(8) int32_t output_[FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH] = {};
    alignas(8) int32_t held_[FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH] = {};  // concealment
    int32_t heldSamples_ = 0;
    bool started_ = false;
    std::string sinkError_;
    uint64_t byte_ = 0;
    uint64_t unit_ = 0;
    uint64_t goodBytes_ = 0;
    uint64_t pending_ = 0;  // frames to conceal before the next good one
    bool unsynced_ = false;
    bool brokenHeader_ = false;
    uint64_t unsyncedFrom_ = 0;
    uint64_t unsyncedBytes_ = 0;
    int listed_ = 0;
    int repeats_ = 0;
    std::string lastWhat_;
    std::string lastLocation_;

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

// ADTS channel_configuration (ISO/IEC 14496-3 1.6.3.4) in words.
std::string channel_words(int config)
{
    static const char *const names[8] = {"channels given by a program configuration",
                                         "1 channel", "2 channels", "3 channels", "4 channels",
                                         "5 channels", "5.1 channels", "7.1 channels"};
    return names[config & 7];
}

std::string too_many_channels(int config)
{
    return channel_words(config) + " (channel configuration " + std::to_string(config) +
           "): fxaac decodes mono and stereo only";
}

// channelConfiguration of an AudioSpecificConfig (ISO/IEC 14496-3
// 1.6.2.1), or -1 when it is cut off.
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
    std::string why = status == FXAAC_ERR_OBJECT_TYPE && aot != 0 && aot != 2 && aot != 17
                          ? unsupported_type(aot)
                          : fxaac_status_text(status);
    const size_t at = kind == InputKind::MarkedAsc ? 6 : 0;
    if (status == FXAAC_ERR_CHANNELS && kind != InputKind::Adts && n > at) {
        const int config = asc_channel_config(data + at, n - at);
        if (config > 2)
            why = too_many_channels(config);
    }
    if (kind == InputKind::Unknown)
        return "not a recognised AAC stream (no ADTS sync word, no ADIF or HEAAC marker, not an "
               "MP4 file), and read as an AudioSpecificConfig it is refused: " + why;
    return std::string(input_kind_name(kind)) + " header refused: " + why;
}

// An ADTS fixed header at p (ISO/IEC 13818-7 adts_fixed_header): sync word,
// layer 0, a sampling frequency index below 12, a frame length of at least
// the header. Returns the frame length, or 0.
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

// Bytes before the first ADTS sync word (all of them when there is none).
size_t bytes_before_sync(const uint8_t *p, size_t n)
{
    for (size_t i = 0; i + 1 < n; i++)
        if (p[i] == 0xff && (p[i + 1] & 0xf0) == 0xf0)
            return i;
    return n;
}

// Offset of the first sync word in p whose fixed header matches the
// stream's (header); with none, the bytes that cannot begin one.
size_t next_adts_header(const uint8_t *p, size_t n, const uint8_t *header, bool atEnd)
{
    for (size_t i = 0; i + 4 <= n; i++)
        if (p[i] == 0xff && same_fixed_header(p + i, header))
            return i;
    return atEnd || n < 3 ? n : n - 3;
}

// Raw data blocks from the buffer, one bounded frame call each. tagsFrom:
// input offset where metadata tags at the end begin (UINT64_MAX: not known
// yet; they are looked for once the rest of the input is held).
bool decode_blocks(Session &s, InputBuffer &in, uint64_t total, uint64_t tagsFrom, bool guessed,
                   std::string *error)
{
    DecodeReport &r = s.report();
    const bool adts = r.kind == InputKind::Adts;
    FrameStatus status;
    for (;;) {
        if (!in.fill(kKeepAhead)) {
            *error = in.error();
            return false;
        }
        if (adts && in.at_eof() && tagsFrom == UINT64_MAX)  // from a pipe
            tagsFrom = in.offset() + in.avail() - trailing_tag_bytes(in.data(), in.avail());
        const size_t usable = static_cast<size_t>(
            std::min<uint64_t>(in.avail(), tagsFrom > in.offset() ? tagsFrom - in.offset() : 0));
        const bool atEnd = in.at_eof() || usable < in.avail();
        if (usable == 0) {
            r.tagBytes = in.avail();
            in.consume(in.avail());
            return true;
        }
        s.at(in.offset());
        // Bytes in front of the next ADTS sync word: the frame call passes
        // over them on its own, they are only counted here.
        const bool frameStart = adts && s.decoder()->rawBlocksLeft == 0;
        if (frameStart) {
            // Sync words whose fixed header differs from the stream's are
            // false ones (or damaged headers): passed over here, so that the
            // frame call never takes their frame length for real.
            const size_t next = next_adts_header(in.data(), usable, s.adtsHeader, atEnd);
            if (next > 0) {
                s.lose_sync(next, false);
                r.payloadBytes += next;
                in.consume(next);
                continue;
            }
        }
        const size_t garbage = frameStart ? bytes_before_sync(in.data(), usable) : 0;
        // A frame of one raw data block ends where its length says: zero
        // bytes after the block's END element belong to it.
        const size_t frameLength = frameStart && garbage == 0 && (in.data()[6] & 3) == 0
                                       ? adts_frame_length(in.data(), usable)
                                       : 0;
        s.call(in.data(), usable, &status);
        if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT && status.outputSamples == 0) {
            if (!atEnd && in.avail() < kMaxPending) {
                if (!in.fill(in.avail() + kChunk)) {
                    *error = in.error();
                    return false;
                }
                continue;
            }
            if (atEnd) {
                s.damaged("the input ends inside the frame (" + std::to_string(usable) +
                          " bytes left)");
                r.payloadBytes += usable;
                in.consume(usable);
                continue;
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
            s.lose_sync(garbage, false);
        if (status.outputSamples > 0) {
            if (!s.deliver(status, error))
                return false;
            if (used < frameLength && frameLength <= usable)
                used = frameLength;
            s.frame_bytes(used - std::min(used, garbage));
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
                s.lose_sync(used, status.errorCode == FXAAC_ERR_ADTS_LENGTH);
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

// Gapless playback: the span of the decoded samples that the edit list and
// the iTunSMPB tag mark, applied by the session's trimming sink.
void set_gapless_span(Session &s, const Mp4Track &track)
{
    DecodeReport &r = s.report();
    r.editList = mp4_edit_list_text(track, r.sampleRate);
    r.itunSmpb = mp4_itun_smpb_text(track);
    const Mp4Trim trim = mp4_trim(track, r.sampleRate, FXAAC_FRAME_LENGTH);
    if (s.trims() && (trim.fromEditList || trim.fromItunSmpb))
        s.trim().keep(trim.skip, trim.end);
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
        if (error->rfind("MP4 file", 0) != 0)
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
    if (track.movieCut)
        s.note("the 'moov' box runs past the end of the file: decoding what its tables describe");
    set_gapless_span(s, track);

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
    r.trimmedStart = s.trim().dropped_start();
    r.trimmedEnd = s.trim().dropped_end();
    r.samplesPerChannel -= std::min(r.samplesPerChannel, r.trimmedStart + r.trimmedEnd);
    if (!cursor.error().empty() && track.movieCut) {
        s.note(name + "the cut-off 'moov' box describes " + std::to_string(cursor.index()) +
               " access units");
    } else if (!cursor.error().empty()) {
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
        s.frame_bytes(used);
        return s.deliver(status, error);
    }
    if (status.errorCode == 0)
        return true;  // a block without channel elements
    if (status.errorCode == FXAAC_ERR_NO_SYNC || status.errorCode == FXAAC_ERR_LATM_LENGTH) {
        s.lose_sync(used, status.errorCode == FXAAC_ERR_LATM_LENGTH);
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
    AACPlusLatmInit(latm.get());
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

// Where the metadata tags at the end of a regular file begin (UINT64_MAX
// for other inputs: their tags are found once the end is in the buffer).
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

// ADTS: the input from its first confirmed frame header on. Leading bytes
// (a stream cut anywhere, junk, a damaged first header) are skipped with a
// note. False with *error when the configuration cannot be decoded.
bool adts_start(Session &s, InputBuffer &in, std::string *error)
{
    const size_t start = find_adts_start(in.data(), in.avail(), in.at_eof());
    if (start == in.avail()) {
        std::memcpy(s.adtsHeader, in.data(), std::min<size_t>(in.avail(), 4));
        return true;  // unconfirmed: header decoding tells what is wrong
    }
    if (start > 0) {
        s.report().leadingBytes = start;
        s.note("the input does not begin with an ADTS frame: " + std::to_string(start) +
               (start == 1 ? " byte" : " bytes") + " before the first one skipped");
        in.consume(start);
    }
    std::memcpy(s.adtsHeader, in.data(), 4);
    const int config = ((in.data()[2] & 1) << 2) | (in.data()[3] >> 6);
    if (config > 2) {
        *error = "ADTS: " + too_many_channels(config);
        return false;
    }
    return true;
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
        return decode_blocks(s, in, total, UINT64_MAX, false, error);
    }
    if (!in.fill(kLookahead)) {
        *error = in.error();
        return false;
    }
    const uint64_t id3 = id3_tag_bytes(in.data(), in.avail());
    if (id3 > 0) {
        if (!in.skip(id3) || !in.fill(kLookahead)) {
            *error = in.error().empty() ? "the input ends inside its ID3 tag" : in.error();
            return false;
        }
    }
    if (in.avail() == 0) {
        *error = "the input is empty";
        return false;
    }
    InputKind kind = detect_input_kind(in.data(), in.avail());
    if (kind == InputKind::Mp4)
        return decode_mp4(s, in, input, error);
    // Containers that carry AAC inside their packets (MPEG-TS) are named for
    // what they are before frames or LOAS elements are looked for in them.
    const char *what =
        kind == InputKind::Unknown ? foreign_format(in.data(), in.avail(), id3 > 0) : nullptr;
    if (what == nullptr && (kind == InputKind::Latm || (kind == InputKind::Unknown &&
                                                        loas_start(in.data(), in.avail()) <
                                                            in.avail())))
        return decode_latm(s, in, total, error);
    if (kind == InputKind::Adts || kind == InputKind::Unknown) {
        if (what == nullptr && find_adts_start(in.data(), in.avail(), in.at_eof()) < in.avail())
            kind = InputKind::Adts;
        else if (what != nullptr ||
                 (what = foreign_format(in.data(), in.avail(), id3 > 0)) != nullptr) {
            *error = std::string("the input looks like ") + what + "; fxaac decodes AAC (ADTS, "
                     "ADIF, LATM/LOAS, MP4/M4A)";
            return false;
        }
    }
    r.kind = kind == InputKind::Unknown ? InputKind::Asc : kind;
    if (kind == InputKind::Adts && !adts_start(s, in, error))
        return false;

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
    if (r.kind == InputKind::Adif && r.channels > 2) {
        *error = "ADIF: " + std::to_string(r.channels) +
                 " channels: fxaac decodes mono and stereo only";
        return false;
    }
    const uint64_t tags = kind == InputKind::Adts ? tags_start(input, total) : UINT64_MAX;
    return decode_blocks(s, in, total, tags, kind == InputKind::Unknown, error);
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

namespace {

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

size_t trailing_tag_bytes(const uint8_t *p, size_t n)
{
    size_t end = n;
    while (size_t k = last_tag_bytes(p, end))
        end -= k;
    return n - end;
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
