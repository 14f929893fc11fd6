#include "session.h"

#include <cstring>
#include <vector>

namespace fxaac_cli {

namespace {

int32_t audio_object_type(const AacDecoder &d, InputKind kind)
{
    if (kind == InputKind::Raw)
        return 2;
    // Header decoding leaves types 1 to 4 one lower (ADTS and ADIF profiles).
    return d.objectType <= 3 ? d.objectType + 1 : d.objectType;
}

}  // namespace

// The caller-owned decoder memory: the HE-AAC decoder record, which holds
// the AAC core, its work area and the SBR decoder.
struct Session::DecoderMemory {
    HeAacDecoder he;
};

Session::Session(const DecodeOptions &options, PcmSink &sink, DecodeReport *report)
    : progress(options.progress), options_(options), messages_(options.warnings, progress),
      trim_(sink, options.pcm24 ? 4 : 2), sink_(trim_), report_(report),
      memory_(new DecoderMemory())
{
    AACPlusHeAacInit(&memory_->he, options.pcm24 ? 2 : 0,
                     (options.downsampled ? FXAAC_HEAAC_DOWNSAMPLED : 0) |
                         (options.precise ? FXAAC_HEAAC_PRECISE : 0));
}

Session::~Session() = default;

AacDecoder *Session::decoder() { return &memory_->he.core; }

bool Session::first_frame()
{
    if (started_)
        return false;
    if (memory_->he.outputRate > 0)
        report_->sampleRate = memory_->he.outputRate;
    return true;
}

uint32_t Session::frame_length() const
{
    const HeAacDecoder &he = memory_->he;
    const bool doubled = he.sbrActive == 1 && he.downsampled == 0;
    return doubled ? FXAAC_HEAAC_FRAME_LENGTH : FXAAC_FRAME_LENGTH;
}

double Session::seconds() const
{
    return report_->sampleRate > 0
               ? static_cast<double>(report_->samplesPerChannel) / report_->sampleRate
               : 0.0;
}

int32_t Session::decode_header(DecoderConfig config, const uint8_t *header, size_t n)
{
    return AACPlusHeAacHeaderDecode(&memory_->he, config, header, static_cast<int32_t>(n));
}

void Session::take_stream_parameters()
{
    const AacDecoder &d = *decoder();
    report_->sampleRate = d.sampleRate;
    report_->channels = d.channels;
    report_->audioObjectType = audio_object_type(d, report_->kind);
}

void Session::call(const uint8_t *input, size_t bytes, FrameStatus *status)
{
    AACPlusHeAacDecode(&memory_->he, input, static_cast<int32_t>(bytes), output_, status);
}

void Session::call_latm(LatmState *latm, const uint8_t *input, size_t bytes, FrameStatus *status)
{
    AACPlusHeAacDecodeLatm(&memory_->he, latm, input, static_cast<int32_t>(bytes), output_, status);
}

void Session::at(uint64_t byte, uint64_t unit)
{
    byte_ = byte;
    unit_ = unit;
}

std::string Session::where() const
{
    if (report_->kind == InputKind::Mp4)
        return "access unit " + std::to_string(unit_) + " (byte " + std::to_string(byte_) + ")";
    const char *what = report_->kind == InputKind::Adts   ? "frame at byte "
                       : report_->kind == InputKind::Latm ? "LATM element at byte "
                                                          : "raw data block at byte ";
    return what + std::to_string(byte_);
}

bool Session::deliver(const FrameStatus &status, std::string *error)
{
    regain_sync();
    const int32_t channels = status.outputSamples / static_cast<int32_t>(frame_length());
    if (!started_) {
        first_frame();
        if (!sink_.begin(report_->sampleRate, channels)) {
            *error = sink_.error();
            return false;
        }
        started_ = true;
        report_->channels = channels;
    } else if (channels != report_->channels) {
        damaged("the channel count changes from " + std::to_string(report_->channels) + " to " +
                std::to_string(channels));
        return sink_ok(error);
    }
    write_concealment();
    if (!sink_ok(error) || !write(output_, status.outputSamples, error))
        return false;
    report_->frames++;
    note_sbr();
    return true;
}

void Session::damaged(const std::string &what)
{
    regain_sync();
    report_->damagedFrames++;
    messages_.warn(where(), what);
    conceal(1);
    take_fade();
}

void Session::conceal(uint64_t frames)
{
    if (options_.conceal && started_)
        pending_ += frames;
}

void Session::lose_sync(uint64_t bytes, bool brokenHeader)
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

void Session::regain_sync()
{
    if (!unsynced_)
        return;
    unsynced_ = false;
    const uint64_t missing = started_ ? missing_frames() : 0;
    std::string what =
        std::string(report_->kind == InputKind::Latm ? "no LATM element (" : "no ADTS frame (") +
        std::to_string(unsyncedBytes_) + (unsyncedBytes_ == 1 ? " byte" : " bytes") + " skipped";
    if (missing > 0)
        what += ", about " + std::to_string(missing) + (missing == 1 ? " frame" : " frames");
    messages_.warn("bytes " + std::to_string(unsyncedFrom_) + " to " +
                       std::to_string(unsyncedFrom_ + unsyncedBytes_ - 1),
                   what + ")");
    conceal(missing);
}

bool Session::close(std::string *error)
{
    regain_sync();
    messages_.finish();
    return sink_ok(error);
}

// Writes the pending concealment. A sink failure is kept for sink_ok().
void Session::write_concealment()
{
    const int32_t samples = heldSamples_;
    if (samples == report_->channels * static_cast<int32_t>(frame_length())) {
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
void Session::take_fade()
{
    if (!options_.conceal || !started_ || heldSamples_ > 0)
        return;
    FrameStatus status;
    heldSamples_ = AACPlusHeAacConceal(&memory_->he, held_, &status);
}

bool Session::write(const int32_t *pcm, int32_t samples, std::string *error)
{
    if (!sink_.write(pcm, samples)) {
        *error = sink_.error();
        return false;
    }
    report_->samplesPerChannel += static_cast<uint64_t>(samples / report_->channels);
    return true;
}

bool Session::sink_ok(std::string *error)
{
    if (sinkError_.empty())
        return true;
    *error = sinkError_;
    return false;
}

// Frames that a stretch of unsynchronised bytes stands for: its length in
// average frames, rounded, and at least one when a header was broken.
uint64_t Session::missing_frames() const
{
    const uint64_t frames = report_->frames;
    uint64_t n = frames > 0 && goodBytes_ > 0
                     ? (2 * unsyncedBytes_ * frames + goodBytes_) / (2 * goodBytes_)
                     : 0;
    return brokenHeader_ && n == 0 ? 1 : n;
}

// Implicit HE-AAC: an AAC LC configuration whose frames carry SBR
// extension payloads (extension_type 13 or 14) in fill elements.
void Session::note_sbr()
{
    constexpr uint32_t kSbrTypes = 1u << 13 | 1u << 14;
    if (memory_->he.sbrActive == 1) {
        report_->sbr = true;
        report_->ps = memory_->he.psActive == 1;
        report_->sbrErrors = static_cast<uint64_t>(memory_->he.sbrErrors);
        return;
    }
    if (report_->sbrData || (decoder()->fillExtensions & kSbrTypes) == 0)
        return;
    report_->sbrData = true;
    const int32_t rate = report_->sampleRate;
    note("the frames carry SBR data in fill elements that precede their channel elements; "
         "it belongs to no element and is ignored: the output is the AAC LC core at " +
         std::to_string(rate) + " Hz, without the high band");
}

}  // namespace fxaac_cli
