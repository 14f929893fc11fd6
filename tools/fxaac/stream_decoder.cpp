#include "stream_decoder.h"

#include "input_buffer.h"
#include "session.h"
#include "sources.h"

namespace fxaac_cli {

namespace {

constexpr size_t kLookahead = 64 * 1024;  // bytes looked at to recognise the input

// The input with the ID3v2 tag in front of it (which MP3 files begin with)
// skipped, and its first bytes in the buffer. *id3: there was one.
bool look_ahead(InputBuffer &in, bool *id3, std::string *error)
{
    if (!in.fill(kLookahead)) {
        *error = in.error();
        return false;
    }
    const uint64_t tag = id3_tag_bytes(in.data(), in.avail());
    *id3 = tag > 0;
    if (tag > 0 && (!in.skip(tag) || !in.fill(kLookahead))) {
        *error = in.error().empty() ? "the input ends inside its ID3 tag" : in.error();
        return false;
    }
    if (in.avail() == 0) {
        *error = "the input is empty";
        return false;
    }
    return true;
}

// The kind of a stream that is not an MP4 file. Containers that carry AAC
// inside their packets (MPEG-TS) are named for what they are before frames
// or LOAS elements are looked for in them. False with *error for a format
// that fxaac does not decode.
bool stream_kind(const InputBuffer &in, bool id3, InputKind *kind, std::string *error)
{
    const char *what = *kind == InputKind::Unknown ? foreign_format(in.data(), in.avail(), id3)
                                                   : nullptr;
    if (what == nullptr &&
        (*kind == InputKind::Latm ||
         (*kind == InputKind::Unknown && loas_start(in.data(), in.avail()) < in.avail()))) {
        *kind = InputKind::Latm;
        return true;
    }
    if (*kind != InputKind::Adts && *kind != InputKind::Unknown)
        return true;
    if (what == nullptr && find_adts_start(in.data(), in.avail(), in.at_eof()) < in.avail()) {
        *kind = InputKind::Adts;
    } else if (what != nullptr || (what = foreign_format(in.data(), in.avail(), id3)) != nullptr) {
        *error = std::string("the input looks like ") + what +
                 "; fxaac decodes AAC (ADTS, "
                 "ADIF, LATM/LOAS, MP4/M4A)";
        return false;
    }
    return true;
}

// Recognises the input and hands it to its source.
bool run(Session &s, FILE *input, const DecodeOptions &options, std::string *error)
{
    InputBuffer in(input);
    const uint64_t total = regular_file_size(input);
    if (options.raw)
        return decode_raw(s, in, options, total, error);
    bool id3 = false;
    if (!look_ahead(in, &id3, error))
        return false;
    InputKind kind = detect_input_kind(in.data(), in.avail());
    if (kind == InputKind::Mp4)
        return decode_mp4(s, in, input, error);
    if (!stream_kind(in, id3, &kind, error))
        return false;
    if (kind == InputKind::Latm)
        return decode_latm(s, in, total, error);
    return decode_with_header(s, in, input, kind, total, error);
}

}  // namespace

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
