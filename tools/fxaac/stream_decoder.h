// Runs the decoder over a whole input: recognises the input kind and hands
// the input to the source for it (ADTS and raw data blocks, LATM/LOAS, MP4),
// which decodes the header, feeds the frames through the bounded frame calls
// and hands every frame's samples to a sink. Damaged frames of ADTS, LATM and
// MP4 streams are skipped, counted and (unless turned off) concealed, so that
// the output keeps the stream's duration; other raw data block streams have
// no way to find the next block and stop at the first damaged one.
#ifndef FXAAC_CLI_STREAM_DECODER_H
#define FXAAC_CLI_STREAM_DECODER_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "pcm_sink.h"
#include "probe.h"

namespace fxaac_cli {

struct DecodeOptions {
    bool raw = false;          // headerless raw data blocks
    int32_t rate = 0;          // for raw input, Hz
    int32_t channels = 0;      // for raw input
    bool pcm24 = false;        // 24-bit samples (int32_t words) instead of 16-bit
    bool warnings = true;      // warnings and notes on standard error
    bool progress = false;     // progress bar on standard error
    bool conceal = true;       // a frame of concealment for each damaged or missing frame
    bool trim = true;          // MP4: drop the priming and padding that the file marks
    bool downsampled = false;  // HE-AAC: SBR output at the core rate
    bool precise = false;      // the precise arithmetic
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
    bool sbr = false;                // HE-AAC: the SBR high band is decoded
    bool ps = false;                 // HE-AAC v2: parametric stereo turns the mono core to stereo
    uint64_t sbrErrors = 0;          // SBR payloads refused (frames without a high band)
    uint64_t samplesPerChannel = 0;  // concealment included
    uint64_t payloadBytes = 0;  // compressed bytes of the frames, headers of ADTS frames included
    std::string track;          // MP4: which track was decoded
    std::vector<std::string> skippedTracks;
    std::string editList;       // MP4: the track's edit list in words ("" when none)
    std::string itunSmpb;       // MP4: the iTunSMPB tag in words ("" when none)
    uint64_t trimmedStart = 0;  // MP4: samples per channel dropped as priming
    uint64_t trimmedEnd = 0;    // MP4: samples per channel dropped past the edit's end
    std::string stopReason;     // set when decoding stopped before the end of the input
};

// Decodes the input. Returns false with *error when decoding cannot start
// (unreadable or refused input) or had to stop early (error and
// report->stopReason then tell why; the samples so far went to the sink).
bool decode_stream(FILE *input, const DecodeOptions &options, PcmSink &sink, DecodeReport *report,
                   std::string *error);

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_STREAM_DECODER_H
