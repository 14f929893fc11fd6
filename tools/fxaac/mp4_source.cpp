// The source of MP4/M4A files: the first AAC track that the MP4 reader finds,
// its access units one bounded frame call each (damaged ones counted and
// concealed), and the gapless span that its edit list and iTunSMPB tag mark.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "byte_source.h"
#include "mp4.h"
#include "probe.h"
#include "sources.h"
#include "status_text.h"

namespace fxaac_cli {

namespace {

constexpr uint32_t kMaxAccessUnit = 1 << 20;

// Random access to the file: the file itself when it is a regular file read
// from its start; from a pipe, the whole input held in memory, as the sample
// tables may come after the media data.
std::unique_ptr<ByteSource> open_source(InputBuffer &in, FILE *file, std::string *error)
{
    if (is_regular(file) && in.offset() == 0)
        return std::unique_ptr<ByteSource>(new FileSource(file, regular_file_size(file)));
    std::vector<uint8_t> all;
    if (!in.take_rest(&all)) {
        *error = in.error();
        return nullptr;
    }
    return std::unique_ptr<ByteSource>(new MemorySource(std::move(all)));
}

std::string track_prefix(const Mp4Track &track)
{
    return "MP4 track " + std::to_string(track.number) + ": ";
}

// Gapless playback: the span of the decoded samples that the edit list and
// the iTunSMPB tag mark, applied by the session's trimming sink.
void set_gapless_span(Session &s, const Mp4Track &track)
{
    DecodeReport &r = s.report();
    r.editList = mp4_edit_list_text(track, r.sampleRate);
    r.itunSmpb = mp4_itun_smpb_text(track);
    const Mp4Trim trim = mp4_trim(track, r.sampleRate, s.frame_length());
    if (s.trims() && (trim.fromEditList || trim.fromItunSmpb))
        s.trim().keep(trim.skip, trim.end);
}

// The track's AudioSpecificConfig into the decoder, and the track into the
// report. False with *error when it is refused.
bool start_track(Session &s, const Mp4Track &track, std::string *error)
{
    DecodeReport &r = s.report();
    r.track = std::to_string(track.number) + " of " + std::to_string(track.trackCount) +
              " (track ID " + std::to_string(track.trackId) + ")";
    const std::vector<uint8_t> &asc = track.audioSpecificConfig;
    r.audioObjectType = asc_object_type(asc.data(), asc.size());
    if (r.audioObjectType != 2 && r.audioObjectType != 5 && r.audioObjectType != 29 &&
        r.audioObjectType != 17) {
        *error = track_prefix(track) + fxaac_unsupported_type_text(r.audioObjectType);
        return false;
    }
    DecoderConfig config = {};
    config.hdrPrsnt = 1;
    const int32_t result = s.decode_header(config, asc.data(), asc.size());
    if (result < 0) {
        *error = track_prefix(track) + "AudioSpecificConfig refused: " + fxaac_status_text(result);
        return false;
    }
    s.take_stream_parameters();
    r.audioObjectType = asc_object_type(asc.data(), asc.size());
    if (track.movieCut)
        s.note("the 'moov' box runs past the end of the file: decoding what its tables describe");
    set_gapless_span(s, track);
    return true;
}

// One access unit through the frame call. False when decoding must stop.
bool decode_unit(Session &s, ByteSource &source, const Mp4Track &track, const Mp4Sample &sample,
                 std::vector<uint8_t> *unit, std::string *error)
{
    s.report().payloadBytes += sample.size;
    if (sample.size > kMaxAccessUnit) {
        s.damaged("an access unit of " + std::to_string(sample.size) + " bytes");
        return true;
    }
    unit->resize(std::max<size_t>(sample.size, 1));
    if (!source.read(sample.offset, unit->data(), sample.size)) {
        if (sample.offset > source.size() || sample.size > source.size() - sample.offset) {
            s.damaged("it lies past the end of the file (truncated file?)");
            return true;
        }
        *error = std::string("cannot read the input: ") + std::strerror(errno);
        return false;
    }
    FrameStatus status;
    s.call(unit->data(), sample.size, &status);
    // The output rate is known from the first frame on (HE-AAC doubles it):
    // the gapless span counts in its samples.
    if (status.outputSamples > 0 && s.first_frame())
        set_gapless_span(s, track);
    if (status.outputSamples > 0)
        return s.deliver(status, error);
    if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT)
        s.damaged("the raw data block runs past the end of the access unit");
    else if (status.errorCode != 0)
        s.damaged(fxaac_status_text(status.errorCode));
    return true;
}

// The track's access units in decoding order; then the samples trimmed off
// into the report, and tables that stop short told of.
bool decode_units(Session &s, ByteSource &source, const Mp4Track &track, std::string *error)
{
    DecodeReport &r = s.report();
    Mp4SampleCursor cursor(track);
    Mp4Sample sample;
    std::vector<uint8_t> unit;
    while (cursor.next(&sample)) {
        s.at(sample.offset, cursor.index());
        if (!decode_unit(s, source, track, sample, &unit, error))
            return false;
        s.progress.update(cursor.index(), track.sampleCount, s.seconds());
    }
    r.trimmedStart = s.trim().dropped_start();
    r.trimmedEnd = s.trim().dropped_end();
    r.samplesPerChannel -= std::min(r.samplesPerChannel, r.trimmedStart + r.trimmedEnd);
    if (!cursor.error().empty() && track.movieCut) {
        s.note(track_prefix(track) + "the cut-off 'moov' box describes " +
               std::to_string(cursor.index()) + " access units");
    } else if (!cursor.error().empty()) {
        *error = track_prefix(track) + cursor.error();
        return false;
    }
    return true;
}

}  // namespace

bool decode_mp4(Session &s, InputBuffer &in, FILE *file, std::string *error)
{
    DecodeReport &r = s.report();
    r.kind = InputKind::Mp4;
    const std::unique_ptr<ByteSource> source = open_source(in, file, error);
    if (!source)
        return false;
    Mp4Track track;
    if (!mp4_find_aac_track(*source, &track, &r.skippedTracks, error)) {
        if (error->rfind("MP4 file", 0) != 0)
            *error = "MP4: " + *error;
        return false;
    }
    return start_track(s, track, error) && decode_units(s, *source, track, error);
}

}  // namespace fxaac_cli
