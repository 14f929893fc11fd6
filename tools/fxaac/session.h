// One decoding run, shared by the sources of every input kind: the decoder
// memory and its calls, the report's counts, the messages about the input,
// the bookkeeping of lost sync and concealment, and the delivery of samples
// to the sink.
//
// Every damaged frame (damaged()) is replaced by one frame of concealment,
// and a stretch of ADTS or LOAS bytes without frames by as many frames as its
// length makes at the average frame size so far, so that what follows keeps
// its place in time. The first frame of concealment is taken from the decoder
// as soon as a frame is known to be lost (before the next frame changes its
// state); the frames are written when the next good frame comes, so damage
// at the end of the input (a cut-off file) adds nothing.
#ifndef FXAAC_CLI_SESSION_H
#define FXAAC_CLI_SESSION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <fxaac/fxaac.h>
#include <fxaac/fxaac_heaac.h>

#include "messages.h"
#include "progress.h"
#include "stream_decoder.h"
#include "trim_sink.h"

namespace fxaac_cli {

// Data held ahead of each frame call; also more than the longest LOAS
// element (8194 bytes).
constexpr size_t kKeepAhead = 32 * 1024;

class Session {
public:
    Session(const DecodeOptions &options, PcmSink &sink, DecodeReport *report);
    ~Session();

    AacDecoder *decoder();
    DecodeReport &report() { return *report_; }
    TrimSink &trim() { return trim_; }
    bool trims() const { return options_.trim; }
    double seconds() const;

    // Header decoding of the n bytes at header (a copy followed by zeros, as
    // header decoding has no length bound). Returns the header's length in
    // bytes, or a negative status.
    int32_t decode_header(DecoderConfig config, const uint8_t *header, size_t n);
    // The rate, channels and object type that the decoder holds, into the report.
    void take_stream_parameters();
    // Before the first frame is delivered: its rate (the output rate, decided
    // at the first frame) into the report. True when no frame was delivered yet.
    bool first_frame();
    // Samples per channel of a decoded frame: 2048 for HE-AAC at the doubled rate.
    uint32_t frame_length() const;

    // One bounded frame call (raw data blocks or ADTS), or one LATM call,
    // into the session's output buffer.
    void call(const uint8_t *input, size_t bytes, FrameStatus *status);
    void call_latm(LatmState *latm, const uint8_t *input, size_t bytes, FrameStatus *status);

    // Where the frame being decoded starts, for messages.
    void at(uint64_t byte, uint64_t unit = 0);
    std::string where() const;

    // Hands a decoded frame to the sink. False when the sink fails.
    bool deliver(const FrameStatus &status, std::string *error);
    // A frame that failed: counted, reported and concealed.
    void damaged(const std::string &what);
    // Frames lost before the next good one: that many frames of concealment
    // (a fade-out of what was playing, then silence) go before it. Nothing
    // before the first decoded frame, or when concealment is off.
    void conceal(uint64_t frames);

    // The bytes of a frame that decoded, for the average frame size.
    void frame_bytes(uint64_t bytes) { goodBytes_ += bytes; }
    // ADTS or LOAS bytes without a frame: one message per stretch of them.
    // brokenHeader: a sync word with an impossible header was among them.
    void lose_sync(uint64_t bytes, bool brokenHeader);
    // Ends a stretch of bytes without frames: the frames it stands for are
    // concealed (only a stretch after the first frame stands for any).
    void regain_sync();

    // A line on standard error that is neither a warning nor an error.
    void note(const std::string &message) { messages_.note(message); }

    // Ends the run. No frame decoded: the sink is never begun, so that no
    // empty output file is left behind.
    bool close(std::string *error);

    Progress progress;

private:
    struct DecoderMemory;

    void write_concealment();
    void take_fade();
    bool write(const int32_t *pcm, int32_t samples, std::string *error);
    bool sink_ok(std::string *error);
    uint64_t missing_frames() const;
    void note_sbr();

    const DecodeOptions &options_;
    Messages messages_;
    TrimSink trim_;  // passes everything on unless an MP4 file's gapless span is set
    PcmSink &sink_;
    DecodeReport *report_;
    std::unique_ptr<DecoderMemory> memory_;
    alignas(8) int32_t output_[FXAAC_MAX_CHANNELS * FXAAC_HEAAC_FRAME_LENGTH] = {};
    alignas(8) int32_t held_[FXAAC_MAX_CHANNELS * FXAAC_HEAAC_FRAME_LENGTH] = {};  // concealment
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
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_SESSION_H
