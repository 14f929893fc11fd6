// libfaad through its public API: NeAACDecInit on the first ADTS header, then
// NeAACDecDecode per frame; 16-bit interleaved output.
#include <neaacdec.h>

#include "peer_decoder.h"

namespace fxaac_peers {
namespace {

class FaadDecoder final : public PeerDecoder {
public:
    ~FaadDecoder() override { close(); }
    std::string name() const override { return "faad"; }
    std::string entry() const override { return "NeAACDecDecode, s16"; }

    bool open(const Stream &s, std::string *error) override
    {
        handle_ = NeAACDecOpen();
        NeAACDecConfigurationPtr cfg = NeAACDecGetCurrentConfiguration(handle_);
        cfg->outputFormat = FAAD_FMT_16BIT;
        NeAACDecSetConfiguration(handle_, cfg);
        unsigned long rate = 0;
        unsigned char channels = 0;
        if (NeAACDecInit(handle_, const_cast<unsigned char *>(s.frame(0)),
                         static_cast<unsigned long>(s.frame_bytes(0)), &rate, &channels) != 0) {
            *error = "NeAACDecInit failed";
            return false;
        }
        return true;
    }

    FrameOutput decode(const Stream &s, size_t i) override
    {
        NeAACDecFrameInfo info;
        NeAACDecDecode(handle_, &info, const_cast<unsigned char *>(s.frame(i)),
                       static_cast<unsigned long>(s.frame_bytes(i)));
        FrameOutput out;
        out.channels = info.channels;
        out.rate = static_cast<int32_t>(info.samplerate);
        out.samples = info.channels ? static_cast<int32_t>(info.samples / info.channels) : 0;
        out.error = info.error != 0;
        return out;
    }

    void close() override
    {
        if (handle_)
            NeAACDecClose(handle_);
        handle_ = nullptr;
    }

private:
    NeAACDecHandle handle_ = nullptr;
};

}  // namespace

std::unique_ptr<PeerDecoder> make_faad_decoder() { return std::make_unique<FaadDecoder>(); }

}  // namespace fxaac_peers
