// The decoders of fxaac_peer_bench: fxaac, libavcodec's two and libfaad.
#include "peer_decoder.h"

namespace fxaac_peers {

std::vector<std::unique_ptr<PeerDecoder>> make_decoders()
{
    std::vector<std::unique_ptr<PeerDecoder>> d;
    d.push_back(make_fxaac_decoder(false));
    d.push_back(make_fxaac_decoder(true));
    d.push_back(make_avcodec_decoder("aac"));
    d.push_back(make_avcodec_decoder("aac_fixed"));
    d.push_back(make_faad_decoder());
    return d;
}

}  // namespace fxaac_peers
