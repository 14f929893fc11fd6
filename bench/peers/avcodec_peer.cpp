// libavcodec's AAC decoders ("aac", floating point, and "aac_fixed") through
// its public API: one ADTS frame per packet, avcodec_send_packet and
// avcodec_receive_frame; output in the decoder's own planar format.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

#include "peer_decoder.h"

namespace fxaac_peers {
namespace {

class AvcodecDecoder final : public PeerDecoder {
public:
    explicit AvcodecDecoder(const char *codec) : codec_(codec) {}
    ~AvcodecDecoder() override
    {
        close();
        av_packet_free(&packet_);
        av_frame_free(&frame_);
    }

    std::string name() const override { return codec_; }
    std::string entry() const override
    {
        return std::string("send_packet + receive_frame, ") + (codec_ == "aac" ? "fltp" : "s32p");
    }

    bool open(const Stream &, std::string *error) override
    {
        av_log_set_level(AV_LOG_QUIET);
        const AVCodec *codec = avcodec_find_decoder_by_name(codec_.c_str());
        if (!codec) {
            *error = "libavcodec has no decoder named " + codec_;
            return false;
        }
        ctx_ = avcodec_alloc_context3(codec);
        if (!ctx_) {
            *error = "avcodec_alloc_context3 failed";
            return false;
        }
        ctx_->thread_count = 1;
        if (avcodec_open2(ctx_, codec, nullptr) < 0) {
            *error = "avcodec_open2 failed";
            return false;
        }
        return true;
    }

    FrameOutput decode(const Stream &s, size_t i) override
    {
        FrameOutput out;
        packet_->data = const_cast<uint8_t *>(s.frame(i));
        packet_->size = s.frame_bytes(i);
        if (avcodec_send_packet(ctx_, packet_) < 0) {
            out.error = true;
            return out;
        }
        while (avcodec_receive_frame(ctx_, frame_) == 0) {
            out.samples += frame_->nb_samples;
            out.rate = frame_->sample_rate;
            out.channels = frame_->ch_layout.nb_channels;
        }
        return out;
    }

    void close() override { avcodec_free_context(&ctx_); }

private:
    std::string codec_;
    AVCodecContext *ctx_ = nullptr;
    AVPacket *packet_ = av_packet_alloc();
    AVFrame *frame_ = av_frame_alloc();
};

}  // namespace

std::unique_ptr<PeerDecoder> make_avcodec_decoder(const char *codec)
{
    return std::make_unique<AvcodecDecoder>(codec);
}

}  // namespace fxaac_peers
