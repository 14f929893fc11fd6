// Runs the decoder over a whole input: recognises the input kind, decodes the
// header, feeds the frames through the bounded frame call and hands every
// frame's samples to a sink. Damaged frames of ADTS streams and MP4 files are
// skipped, counted and (unless turned off) concealed, so that the output
// keeps the stream's duration; other raw data block streams have no way to
// find the next block and stop at the first damaged one.
#ifndef FXAAC_CLI_STREAM_DECODER_H
#define FXAAC_CLI_STREAM_DECODER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace fxaac_cli {

enum class InputKind { Unknown, Adts, Adif, Asc, MarkedAsc, Mp4, Raw, Latm };

const char *input_kind_name(InputKind kind);

// The kind of input that the first bytes announce (Unknown: none of the
// recognisable ones; such input is tried as an AudioSpecificConfig).
InputKind detect_input_kind(const uint8_t *data, size_t n);

// Offset of the first ADTS header that the next one confirms (same fixed
// header, its frame length leading to the next sync word), or of a lone
// header whose frame ends exactly at the end of the data when atEnd; n when
// there is none.
size_t find_adts_start(const uint8_t *data, size_t n, bool atEnd);

// What a file that fxaac does not decode looks like ("an MP3 file", "a WAV
// file", ...), from its first bytes; nullptr when it looks like none of them.
// afterId3: the bytes follow an ID3v2 tag (which MP3 files begin with).
const char *foreign_format(const uint8_t *data, size_t n, bool afterId3);

// Bytes of metadata tags at the end of data (ID3v1, APEv2, Lyrics3 v1 and
// v2, appended ID3v2), in any order and number; 0 when it ends otherwise.
size_t trailing_tag_bytes(const uint8_t *data, size_t n);

// A LOAS sync word and length at the start that lead to the next sync word
// (or to the end of the data).
bool looks_like_loas(const uint8_t *data, size_t n);

// Where a LOAS stream that does not start on a sync word (one cut anywhere)
// begins in data[0, n): the first of three elements that lead from one to
// the next; n when there is none.
size_t loas_start(const uint8_t *data, size_t n);

// Audio object type of an AudioSpecificConfig (0 when it is cut off).
int32_t asc_object_type(const uint8_t *data, size_t n);

struct DecodeOptions {
    bool raw = false;      // headerless raw data blocks
    int32_t rate = 0;      // for raw input, Hz
    int32_t channels = 0;  // for raw input
    bool pcm24 = false;    // 24-bit samples (int32_t words) instead of 16-bit
    bool warnings = true;  // warnings and notes on standard error
    bool progress = false; // progress bar on standard error
    bool conceal = true;   // a frame of concealment for each damaged or missing frame
    bool trim = true;      // MP4: drop the priming and padding that the file marks
};

class PcmSink {
public:
    virtual ~PcmSink() = default;
    // Called once, before the first samples (or at the end when there are none).
    virtual bool begin(int32_t rate, int32_t channels) = 0;
    virtual bool write(const void *samples, int32_t count) = 0;
    virtual std::string error() const = 0;
};

struct DecodeReport {
    InputKind kind = InputKind::Unknown;
    int32_t audioObjectType = 0;
    int32_t sampleRate = 0;
    int32_t channels = 0;            // of the output (the header's until a frame is decoded)
    uint64_t frames = 0;             // frames decoded into samples
    uint64_t damagedFrames = 0;      // frames that failed and were skipped
    uint64_t unsyncedBytes = 0;      // ADTS: bytes skipped while looking for a sync word
    uint64_t concealedFrames = 0;    // frames of concealment written for damaged or missing ones
    uint64_t leadingBytes = 0;       // ADTS: bytes before the first whole frame (a cut start)
    uint64_t tagBytes = 0;           // metadata tags at the end of the input
    bool sbrData = false;            // frames carry SBR data that is not decoded
    uint64_t samplesPerChannel = 0;  // concealment included
    uint64_t payloadBytes = 0;       // compressed bytes of the frames, headers of ADTS frames included
    std::string track;               // MP4: which track was decoded
    std::vector<std::string> skippedTracks;
    std::string editList;            // MP4: the track's edit list in words ("" when none)
    std::string itunSmpb;            // MP4: the iTunSMPB tag in words ("" when none)
    uint64_t trimmedStart = 0;       // MP4: samples per channel dropped as priming
    uint64_t trimmedEnd = 0;         // MP4: samples per channel dropped past the edit's end
    std::string stopReason;          // set when decoding stopped before the end of the input
};

// Decodes the input. Returns false with *error when decoding cannot start
// (unreadable or refused input) or had to stop early (error and
// report->stopReason then tell why; the samples so far went to the sink).
bool decode_stream(FILE *input, const DecodeOptions &options, PcmSink &sink, DecodeReport *report,
                   std::string *error);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_STREAM_DECODER_H
