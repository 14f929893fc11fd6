// fxaac through its public API: AACPlusHeAacDecode for a stream that turns
// out to carry SBR (HE-AAC), else AACPlusDecodeBuffer (AAC-LC). 16-bit
// interleaved output; "fxaac_precise" runs the precise arithmetic.
#include <cstring>
#include <memory>

#include <fxaac/fxaac.h>
#include <fxaac/fxaac_heaac.h>

#include "peer_decoder.h"

namespace fxaac_peers {
namespace {

class FxaacDecoder final : public PeerDecoder {
public:
    explicit FxaacDecoder(bool precise) : precise_(precise) {}
    std::string name() const override { return precise_ ? "fxaac_precise" : "fxaac"; }
    std::string entry() const override
    {
        return heaac_ ? "AACPlusHeAacDecode, s16" : "AACPlusDecodeBuffer, s16";
    }

    bool open(const Stream &s, std::string *error) override
    {
        heaac_ = carries_sbr(s);
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = 1;
        int32_t header;
        if (heaac_) {
            AACPlusHeAacInit(he_.get(), 0, precise_ ? FXAAC_HEAAC_PRECISE : 0);
            header = AACPlusHeAacHeaderDecode(he_.get(), cfg, s.bytes.data(), s.frame_bytes(0));
        } else {
            AACPlusDecoderInit(&lc_->core, &lc_->work);
            if (precise_)
                AACPlusDecoderSetArithmetic(&lc_->core, FXAAC_ARITHMETIC_PRECISE);
            header = AACPlusHeaderDecode(cfg, &lc_->core, s.bytes.data());
        }
        if (header != 0) {  // an ADTS stream has no header of its own
            *error = "header decoding returned " + std::to_string(header);
            return false;
        }
        return true;
    }

    FrameOutput decode(const Stream &s, size_t i) override
    {
        FrameStatus st;
        FrameOutput out;
        if (heaac_) {
            AACPlusHeAacDecode(he_.get(), s.frame(i), s.frame_bytes(i), pcm_, &st);
            out.rate = he_->outputRate;
            // Parametric stereo turns a mono core into two channels.
            out.channels = he_->psActive == 1 ? 2 : he_->core.channels;
        } else {
            const int32_t sbr = 0;
            AACPlusDecodeBuffer(&lc_->core, s.frame(i), s.frame_bytes(i), pcm_, &st, &sbr);
            out.rate = lc_->core.sampleRate;
            out.channels = lc_->core.channels;
        }
        out.samples = out.channels > 0 ? st.outputSamples / out.channels : 0;
        out.error = st.errorCode != 0 || st.bytesConsumed != s.frame_bytes(i);
        return out;
    }

    void close() override {}

private:
    struct LcMemory {
        AacDecoder core;
        DecoderWorkArea work;
    };

    // Whether the first frame carries SBR data (implicit signalling): the
    // HE-AAC entry decides its output rate from it.
    bool carries_sbr(const Stream &s)
    {
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = 1;
        AACPlusHeAacInit(he_.get(), 0, 0);
        if (AACPlusHeAacHeaderDecode(he_.get(), cfg, s.bytes.data(), s.frame_bytes(0)) != 0)
            return false;
        FrameStatus st;
        AACPlusHeAacDecode(he_.get(), s.frame(0), s.frame_bytes(0), pcm_, &st);
        return he_->sbrActive == 1;
    }

    bool precise_;
    bool heaac_ = false;
    std::unique_ptr<HeAacDecoder> he_ = std::make_unique<HeAacDecoder>();
    std::unique_ptr<LcMemory> lc_ = std::make_unique<LcMemory>();
    // 2048 samples per channel of two channels, with room for the 24-bit
    // layout the call may use as scratch.
    alignas(16) int32_t pcm_[2 * FXAAC_HEAAC_FRAME_LENGTH * 2];
};

}  // namespace

std::unique_ptr<PeerDecoder> make_fxaac_decoder(bool precise)
{
    return std::make_unique<FxaacDecoder>(precise);
}

}  // namespace fxaac_peers
