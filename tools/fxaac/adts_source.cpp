// The source of raw data blocks: ADTS streams (resynchronised after damage,
// trailing tags left out), ADIF streams, AudioSpecificConfig streams and
// headerless blocks, one bounded frame call per block.
#include <algorithm>
#include <cstring>

#include "probe.h"
#include "sources.h"
#include "status_text.h"

namespace fxaac_cli {

namespace {

constexpr size_t kMaxPending = 1 << 20;  // a frame that needs more than this is damaged

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

// The audio object type that a refused header asks for, 0 when not known.
int32_t header_object_type(InputKind kind, const uint8_t *data, size_t n)
{
    if (kind == InputKind::Adts && n >= 3)
        return (data[2] >> 6) + 1;  // profile + 1
    if (kind == InputKind::Asc || kind == InputKind::Unknown)
        return asc_object_type(data, n);
    if (kind == InputKind::MarkedAsc && n > 6)
        return asc_object_type(data + 6, n - 6);
    return 0;
}

// Why header decoding refused the input, in words.
std::string header_refusal(InputKind kind, int32_t status, const uint8_t *data, size_t n)
{
    const int32_t aot = header_object_type(kind, data, n);
    std::string why = status == FXAAC_ERR_OBJECT_TYPE && aot != 0 && aot != 2 && aot != 17
                          ? fxaac_unsupported_type_text(aot)
                          : fxaac_status_text(status);
    const size_t at = kind == InputKind::MarkedAsc ? 6 : 0;
    if (status == FXAAC_ERR_CHANNELS && kind != InputKind::Adts && n > at) {
        const int config = asc_channel_config(data + at, n - at);
        if (config > 2)
            why = fxaac_too_many_channels_text(config);
    }
    if (kind == InputKind::Unknown)
        return "not a recognised AAC stream (no ADTS sync word, no ADIF or HEAAC marker, not an "
               "MP4 file), and read as an AudioSpecificConfig it is refused: " +
               why;
    return std::string(input_kind_name(kind)) + " header refused: " + why;
}

// The raw data blocks of one stream from the buffer, one bounded frame call
// each. Only ADTS streams can be resynchronised: other blocks carry no sync
// word, so decoding stops at the first damaged one.
class BlockLoop {
public:
    // tagsFrom: input offset where metadata tags at the end begin
    // (UINT64_MAX: not known yet; they are looked for once the rest of the
    // input is held). guessed: the input was read as an AudioSpecificConfig
    // stream for want of anything it looks like.
    BlockLoop(Session &s, InputBuffer &in, uint64_t total, uint64_t tagsFrom, bool guessed)
        : s_(s), in_(in), adts_(s.report().kind == InputKind::Adts), total_(total),
          tagsFrom_(tagsFrom), guessed_(guessed)
    {}

    // ADTS: the first bytes of the stream's first frame header, whose fixed
    // fields every later header repeats.
    uint8_t adtsHeader[4] = {0, 0, 0, 0};

    bool run(std::string *error);

private:
    enum class Step { Next, Done, Stop };

    Step step(std::string *error);
    size_t usable_bytes();
    bool skip_foreign_sync(size_t usable, bool atEnd);
    Step frame_cut_short(size_t usable, bool atEnd, std::string *error);
    Step take(const FrameStatus &status, size_t garbage, size_t frameLength, size_t usable,
              std::string *error);
    std::string refusal(int32_t code) const;

    Session &s_;
    InputBuffer &in_;
    const bool adts_;
    const uint64_t total_;
    uint64_t tagsFrom_;
    const bool guessed_;
};

bool BlockLoop::run(std::string *error)
{
    for (;;) {
        switch (step(error)) {
        case Step::Next: break;
        case Step::Done: return true;
        case Step::Stop: return false;
        }
    }
}

// The bytes of the buffer before the tags at the end; an ADTS stream read
// from a pipe finds its tags once the end of the input is in the buffer.
size_t BlockLoop::usable_bytes()
{
    if (adts_ && in_.at_eof() && tagsFrom_ == UINT64_MAX)
        tagsFrom_ = in_.offset() + in_.avail() - trailing_tag_bytes(in_.data(), in_.avail());
    const uint64_t before = tagsFrom_ > in_.offset() ? tagsFrom_ - in_.offset() : 0;
    return static_cast<size_t>(std::min<uint64_t>(in_.avail(), before));
}

// Sync words whose fixed header differs from the stream's are false ones (or
// damaged headers): passed over here, so that the frame call never takes
// their frame length for real. True when bytes were passed over.
bool BlockLoop::skip_foreign_sync(size_t usable, bool atEnd)
{
    const size_t next = next_adts_header(in_.data(), usable, adtsHeader, atEnd);
    if (next == 0)
        return false;
    s_.lose_sync(next, false);
    s_.report().payloadBytes += next;
    in_.consume(next);
    return true;
}

BlockLoop::Step BlockLoop::step(std::string *error)
{
    if (!in_.fill(kKeepAhead)) {
        *error = in_.error();
        return Step::Stop;
    }
    const size_t usable = usable_bytes();
    const bool atEnd = in_.at_eof() || usable < in_.avail();
    if (usable == 0) {
        s_.report().tagBytes = in_.avail();
        in_.consume(in_.avail());
        return Step::Done;
    }
    s_.at(in_.offset());
    const bool frameStart = adts_ && s_.decoder()->rawBlocksLeft == 0;
    if (frameStart && skip_foreign_sync(usable, atEnd))
        return Step::Next;
    // Bytes in front of the next ADTS sync word: the frame call passes over
    // them on its own, they are only counted here.
    const size_t garbage = frameStart ? bytes_before_sync(in_.data(), usable) : 0;
    // A frame of one raw data block ends where its length says: zero bytes
    // after the block's END element belong to it.
    const size_t frameLength = frameStart && garbage == 0 && (in_.data()[6] & 3) == 0
                                   ? adts_frame_length(in_.data(), usable)
                                   : 0;
    FrameStatus status;
    s_.call(in_.data(), usable, &status);
    if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT && status.outputSamples == 0)
        return frame_cut_short(usable, atEnd, error);
    return take(status, garbage, frameLength, usable, error);
}

// The frame call needs more bytes than the buffer holds: more are read, or
// the frame is damaged (cut off by the end of the input, or too long).
BlockLoop::Step BlockLoop::frame_cut_short(size_t usable, bool atEnd, std::string *error)
{
    if (!atEnd && in_.avail() < kMaxPending) {
        if (!in_.fill(in_.avail() + kInputChunk)) {
            *error = in_.error();
            return Step::Stop;
        }
        return Step::Next;
    }
    if (atEnd) {
        s_.damaged("the input ends inside the frame (" + std::to_string(usable) + " bytes left)");
        s_.report().payloadBytes += usable;
        in_.consume(usable);
        return Step::Next;
    }
    if (!adts_) {
        *error = s_.where() + ": a raw data block longer than 1 MiB; the stream is damaged";
        return Step::Stop;
    }
    s_.damaged("a frame longer than 1 MiB");
    in_.consume(1);
    return Step::Next;
}

// A frame call's result: samples delivered, lost sync and damage counted,
// and the bytes it used consumed.
BlockLoop::Step BlockLoop::take(const FrameStatus &status, size_t garbage, size_t frameLength,
                                size_t usable, std::string *error)
{
    size_t used = status.bytesConsumed > 0 ? static_cast<size_t>(status.bytesConsumed) : 0;
    const bool lostSync = status.errorCode == FXAAC_ERR_NO_SYNC ||
                          status.errorCode == FXAAC_ERR_ADTS_LENGTH;
    if (garbage > 0 && !lostSync)
        s_.lose_sync(garbage, false);
    if (status.outputSamples > 0) {
        if (!s_.deliver(status, error))
            return Step::Stop;
        if (used < frameLength && frameLength <= usable)
            used = frameLength;
        s_.frame_bytes(used - std::min(used, garbage));
    } else if (status.errorCode != 0) {
        if (!adts_) {
            *error = refusal(status.errorCode);
            return Step::Stop;
        }
        used = std::max<size_t>(used, 1);
        if (lostSync)
            s_.lose_sync(used, status.errorCode == FXAAC_ERR_ADTS_LENGTH);
        else
            s_.damaged(fxaac_status_text(status.errorCode));
    } else if (used == 0) {
        *error = s_.where() + ": the decoder consumed nothing; decoding stops";
        return Step::Stop;
    }
    s_.report().payloadBytes += used;
    in_.consume(used);
    s_.progress.update(in_.offset(), total_, s_.seconds());
    return Step::Next;
}

// Raw data blocks carry no sync word: after a damaged one there is no
// telling where the next begins.
std::string BlockLoop::refusal(int32_t code) const
{
    std::string why = s_.where() + ": " + fxaac_status_text(code) +
                      "; decoding stops here, as blocks without ADTS framing cannot be "
                      "resynchronised";
    if (guessed_)
        why += " (the input was read as an AudioSpecificConfig stream; it may not be AAC at all)";
    return why;
}

// ADTS: the input from its first confirmed frame header on. Leading bytes
// (a stream cut anywhere, junk, a damaged first header) are skipped with a
// note. False with *error when the configuration cannot be decoded.
bool adts_start(Session &s, InputBuffer &in, uint8_t *header, std::string *error)
{
    const size_t start = find_adts_start(in.data(), in.avail(), in.at_eof());
    if (start == in.avail()) {
        std::memcpy(header, in.data(), std::min<size_t>(in.avail(), 4));
        return true;  // unconfirmed: header decoding tells what is wrong
    }
    if (start > 0) {
        s.report().leadingBytes = start;
        s.note("the input does not begin with an ADTS frame: " + std::to_string(start) +
               (start == 1 ? " byte" : " bytes") + " before the first one skipped");
        in.consume(start);
    }
    std::memcpy(header, in.data(), 4);
    const int config = ((in.data()[2] & 1) << 2) | (in.data()[3] >> 6);
    if (config > 2) {
        *error = "ADTS: " + fxaac_too_many_channels_text(config);
        return false;
    }
    return true;
}

// The stream's header: decoded and consumed. False with *error when it is
// refused.
bool take_header(Session &s, InputBuffer &in, InputKind kind, std::string *error)
{
    const DecodeReport &r = s.report();
    DecoderConfig config = {};
    config.hdrPrsnt = 1;
    const int32_t skip = s.decode_header(config, in.data(), in.avail());
    if (skip < 0) {
        *error = header_refusal(kind, skip, in.data(), in.avail());
        return false;
    }
    if (static_cast<size_t>(skip) > in.avail()) {
        *error = std::string(input_kind_name(r.kind)) + " header runs past the end of the input";
        return false;
    }
    in.consume(static_cast<size_t>(skip));
    s.take_stream_parameters();
    if (r.kind == InputKind::Adif && r.channels > 2) {
        *error = "ADIF: " + std::to_string(r.channels) +
                 " channels: fxaac decodes mono and stereo only";
        return false;
    }
    return true;
}

}  // namespace

bool decode_raw(Session &s, InputBuffer &in, const DecodeOptions &options, uint64_t total,
                std::string *error)
{
    s.report().kind = InputKind::Raw;
    DecoderConfig config = {};
    config.fs = options.rate;
    config.chn = options.channels;
    s.decode_header(config, nullptr, 0);
    s.take_stream_parameters();
    BlockLoop loop(s, in, total, UINT64_MAX, false);
    return loop.run(error);
}

bool decode_with_header(Session &s, InputBuffer &in, FILE *file, InputKind kind, uint64_t total,
                        std::string *error)
{
    s.report().kind = kind == InputKind::Unknown ? InputKind::Asc : kind;
    const uint64_t tags = kind == InputKind::Adts ? tags_start(file, total) : UINT64_MAX;
    BlockLoop loop(s, in, total, tags, kind == InputKind::Unknown);
    if (kind == InputKind::Adts && !adts_start(s, in, loop.adtsHeader, error))
        return false;
    return take_header(s, in, kind, error) && loop.run(error);
}

}  // namespace fxaac_cli
