#include "report_text.h"

#include <cinttypes>

#include "status_text.h"

namespace fxaac_cli {

std::string format_duration(double seconds)
{
    const uint64_t ms = static_cast<uint64_t>(seconds * 1000.0 + 0.5);
    char text[64];
    const uint64_t h = ms / 3600000, m = ms / 60000 % 60, s = ms / 1000 % 60, f = ms % 1000;
    if (h > 0)
        std::snprintf(text, sizeof text, "%" PRIu64 ":%02" PRIu64 ":%02" PRIu64 ".%03" PRIu64, h, m,
                      s, f);
    else
        std::snprintf(text, sizeof text, "%" PRIu64 ":%02" PRIu64 ".%03" PRIu64, m, s, f);
    return text;
}

// What the stream carries beside its AAC-LC core, unless its object type
// (SBR 5, PS 29) names it already.
const char *extension_text(const DecodeReport &r)
{
    if (r.ps)
        return r.audioObjectType == 29 ? "" : ", with SBR and PS: HE-AAC v2";
    return r.sbr && r.audioObjectType != 5 ? ", with SBR: HE-AAC" : "";
}

void print_info(FILE *out, const DecodeReport &r, bool trim)
{
    const double seconds = r.sampleRate > 0
                               ? static_cast<double>(r.samplesPerChannel) / r.sampleRate
                               : 0.0;
    const char *typeName = fxaac_object_type_name(r.audioObjectType);
    std::fprintf(out, "%-15s%s\n", "input", input_kind_name(r.kind));
    if (!r.track.empty())
        std::fprintf(out, "%-15s%s\n", "track", r.track.c_str());
    std::fprintf(out, "%-15s%s (audio object type %d)%s%s\n", "object type",
                 typeName ? typeName : "unknown", r.audioObjectType,
                 r.kind == InputKind::Raw ? ", assumed for raw input" : "", extension_text(r));
    std::fprintf(out, "%-15s%d Hz\n", "sampling rate", r.sampleRate);
    std::fprintf(out, "%-15s%d\n", "channels", r.channels);
    std::fprintf(out, "%-15s%" PRIu64 "\n", "frames", r.frames);
    if (!r.editList.empty())
        std::fprintf(out, "%-15s%s\n", "edit list", r.editList.c_str());
    if (!r.itunSmpb.empty())
        std::fprintf(out, "%-15s%s\n", "iTunSMPB", r.itunSmpb.c_str());
    if (r.kind == InputKind::Mp4)
        std::fprintf(out, "%-15s%" PRIu64 " samples at the start, %" PRIu64 " at the end%s\n",
                     "trimmed", r.trimmedStart, r.trimmedEnd, trim ? "" : " (--no-trim)");
    std::fprintf(out, "%-15s%s (%" PRIu64 " samples per channel)\n", "duration",
                 format_duration(seconds).c_str(), r.samplesPerChannel);
    if (seconds > 0)
        std::fprintf(out, "%-15s%.1f kbit/s average\n", "bit rate",
                     static_cast<double>(r.payloadBytes) * 8.0 / seconds / 1000.0);
    else
        std::fprintf(out, "%-15s-\n", "bit rate");
    if (r.damagedFrames > 0)
        std::fprintf(out, "%-15s%" PRIu64 "\n", "damaged frames", r.damagedFrames);
    if (r.concealedFrames > 0)
        std::fprintf(out, "%-15s%" PRIu64 " (included in the duration)\n", "concealed",
                     r.concealedFrames);
    if (r.leadingBytes > 0)
        std::fprintf(out, "%-15s%" PRIu64 " bytes before the first frame\n", "cut start",
                     r.leadingBytes);
    if (r.tagBytes > 0)
        std::fprintf(out, "%-15s%" PRIu64 " bytes of tags at the end\n", "metadata", r.tagBytes);
    if (r.sbrErrors > 0)
        std::fprintf(out, "%-15s%" PRIu64 " frames without a high band (SBR data refused)\n",
                     "SBR errors", r.sbrErrors);
    if (r.sbrData)
        std::fprintf(out, "%-15sSBR data present, not decoded (HE-AAC at %d Hz)\n", "note",
                     2 * r.sampleRate);
    for (const std::string &s : r.skippedTracks)
        std::fprintf(out, "%-15s%s\n", "skipped", s.c_str());
}

void print_damage_summary(const DecodeReport &r)
{
    if (r.damagedFrames > 0)
        std::fprintf(stderr,
                     "fxaac: warning: %" PRIu64 " damaged frame%s skipped, %" PRIu64 " decoded\n",
                     r.damagedFrames, r.damagedFrames == 1 ? "" : "s", r.frames);
    if (r.unsyncedBytes > 0)
        std::fprintf(stderr, "fxaac: warning: %" PRIu64 " byte%s without %s skipped\n",
                     r.unsyncedBytes, r.unsyncedBytes == 1 ? "" : "s",
                     r.kind == InputKind::Latm ? "LATM elements" : "ADTS frames");
    if (r.concealedFrames > 0)
        std::fprintf(stderr, "fxaac: warning: %" PRIu64 " frame%s concealed\n", r.concealedFrames,
                     r.concealedFrames == 1 ? "" : "s");
}

void print_decode_summary(const DecodeReport &r, int bits, const std::string &output)
{
    const char *where = output == "-" ? "standard output" : output.c_str();
    std::fprintf(stderr,
                 "fxaac: %" PRIu64 " frames, %s of %d Hz audio in %d channel%s, "
                 "%d-bit, written to %s\n",
                 r.frames,
                 format_duration(static_cast<double>(r.samplesPerChannel) / r.sampleRate).c_str(),
                 r.sampleRate, r.channels, r.channels == 1 ? "" : "s", bits, where);
}

}  // namespace fxaac_cli
