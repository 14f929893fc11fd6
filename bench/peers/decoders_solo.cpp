// The decoders of fxaac_solo_bench: fxaac alone, in a program that loads no
// other decoder library (its start-up costs the same from run to run).
#include "peer_decoder.h"

namespace fxaac_peers {

std::vector<std::unique_ptr<PeerDecoder>> make_decoders()
{
    std::vector<std::unique_ptr<PeerDecoder>> d;
    d.push_back(make_fxaac_decoder(false));
    d.push_back(make_fxaac_decoder(true));
    return d;
}

}  // namespace fxaac_peers
