// Gapless playback of MP4 files: the span of the decoded samples that a
// track's edit list and iTunSMPB tag mark, and both in words (mp4.h).
#include <algorithm>

#include "mp4.h"

namespace fxaac_cli {

namespace {

// Largest iTunSMPB priming applied; ffmpeg passes over larger ones too.
constexpr uint32_t kMaxItunPriming = 16383;

// value * rate / timescale rounded to the nearest; UINT64_MAX when it does
// not fit.
uint64_t rescale(uint64_t value, uint32_t rate, uint32_t timescale)
{
    if (rate == timescale)
        return value;
    const uint64_t whole = value / timescale, rest = value % timescale;
    if (whole > UINT64_MAX / rate)
        return UINT64_MAX;
    // rest * rate < 2^64 as both are below 2^32.
    const uint64_t part = (rest * rate + timescale / 2) / timescale;
    return whole * rate > UINT64_MAX - part ? UINT64_MAX : whole * rate + part;
}

// The span of the track that its edit list presents, in samples. The first
// non-empty edit gives the start; the durations of the non-empty edits add
// up (exact when they are contiguous, the only form written for audio).
// Empty edits (media time -1, a pause before the track) are left out.
struct EditSpan {
    bool usable = false;
    uint64_t start = 0;
    uint64_t length = 0;  // 0: to the end of the track
    uint32_t empty = 0;   // empty edits passed over
    int64_t badTime = 0;  // a media time below -1, which makes the list unusable
};

EditSpan edit_span(const Mp4Track &t, uint32_t rate)
{
    EditSpan span;
    if (!t.hasEditList || t.timescale == 0 || t.movieTimescale == 0 || rate == 0)
        return span;
    bool first = true;
    uint64_t duration = 0;
    for (const Mp4Edit &e : t.edits) {
        if (e.mediaTime == -1) {
            span.empty++;
            continue;
        }
        if (e.mediaTime < 0) {
            span.badTime = e.mediaTime;
            return span;
        }
        if (first)
            span.start = rescale(static_cast<uint64_t>(e.mediaTime), rate, t.timescale);
        first = false;
        duration = duration > UINT64_MAX - e.segmentDuration ? UINT64_MAX
                                                             : duration + e.segmentDuration;
    }
    span.usable = !first;
    span.length = rescale(duration, rate, t.movieTimescale);
    return span;
}

}  // namespace

Mp4Trim mp4_trim(const Mp4Track &t, int32_t sampleRate, uint32_t frameLength)
{
    Mp4Trim trim;
    const uint32_t rate = sampleRate > 0 ? static_cast<uint32_t>(sampleRate) : 0;
    if (frameLength == 0)
        return trim;
    uint64_t firstKept = 0;  // start of the first access unit kept
    const EditSpan span = edit_span(t, rate);
    if (span.usable) {
        trim.fromEditList = true;
        trim.skip = span.start;
        firstKept = span.start / frameLength * frameLength;
        // The access units that [start, start + length) overlaps.
        if (span.length != 0 && span.start < UINT64_MAX - frameLength - span.length)
            trim.end = (span.start + span.length + frameLength - 1) / frameLength * frameLength;
    }
    const Mp4ItunSmpb &tag = t.itunSmpb;
    if (tag.present && tag.priming > 0 && tag.priming <= kMaxItunPriming) {
        trim.fromItunSmpb = true;
        trim.skip = std::max<uint64_t>(tag.priming, firstKept);
    }
    return trim;
}

std::string mp4_edit_list_text(const Mp4Track &t, int32_t sampleRate)
{
    if (!t.hasEditList)
        return "";
    const EditSpan span = edit_span(t, sampleRate > 0 ? static_cast<uint32_t>(sampleRate) : 0);
    const size_t n = t.edits.size();
    std::string s = std::to_string(n) + (n == 1 ? " edit" : " edits");
    if (span.empty > 0)
        s += " (" + std::to_string(span.empty) + " empty, not applied)";
    if (span.badTime != 0)
        return s + ", a media time of " + std::to_string(span.badTime) + ": not applied";
    if (!span.usable)
        return s + (n == span.empty ? ", nothing to apply" : ", no timescale: not applied");
    return s + ": from sample " + std::to_string(span.start) + ", " +
           (span.length == 0 ? std::string("to the end")
                             : std::to_string(span.length) + " samples long");
}

std::string mp4_itun_smpb_text(const Mp4Track &t)
{
    const Mp4ItunSmpb &tag = t.itunSmpb;
    if (!tag.present)
        return "";
    return "priming " + std::to_string(tag.priming) + ", padding " + std::to_string(tag.padding) +
           ", length " + std::to_string(tag.length) + " samples" +
           (tag.priming > kMaxItunPriming ? " (priming out of range: not applied)" : "");
}

}  // namespace fxaac_cli
