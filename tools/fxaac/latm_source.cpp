// The source of LATM/LOAS streams: LOAS elements from the buffer, one bounded
// LATM call each, with lost sync and damage counted and concealed as for
// ADTS. A refused configuration before the first decoded frame stops
// decoding.
#include <algorithm>
#include <memory>

#include "probe.h"
#include "sources.h"
#include "status_text.h"

namespace fxaac_cli {

namespace {

// Codes of AACPlusDecodeLatm that refuse a configuration rather than one
// element.
bool latm_refusal(int32_t code)
{
    return code < 0 && code != FXAAC_ERR_NO_SYNC && code != FXAAC_ERR_LATM_LENGTH &&
           code != FXAAC_ERR_LATM_NO_CONFIG && code != FXAAC_ERR_NEED_MORE_INPUT;
}

std::string latm_refusal_text(int32_t code, const LatmState &latm)
{
    const int32_t aot = asc_object_type(latm.config.asc, sizeof latm.config.asc);
    const std::string why = code == FXAAC_ERR_OBJECT_TYPE && aot != 2 && aot != 17
                                ? fxaac_unsupported_type_text(aot)
                                : fxaac_status_text(code);
    return "LATM/LOAS configuration refused: " + why;
}

// One LATM element's result: samples to the sink, lost sync and damage
// counted as for ADTS. False when decoding must stop.
bool take_latm_result(Session &s, const FrameStatus &status, const LatmState &latm,
                      std::string *error)
{
    DecodeReport &r = s.report();
    const size_t used = static_cast<size_t>(std::max(status.bytesConsumed, 1));
    if (status.outputSamples > 0) {
        if (r.sampleRate == 0)
            s.take_stream_parameters();
        s.frame_bytes(used);
        return s.deliver(status, error);
    }
    if (status.errorCode == 0)
        return true;  // a block without channel elements
    if (status.errorCode == FXAAC_ERR_NO_SYNC || status.errorCode == FXAAC_ERR_LATM_LENGTH) {
        s.lose_sync(used, status.errorCode == FXAAC_ERR_LATM_LENGTH);
    } else if (latm_refusal(status.errorCode) && r.frames == 0) {
        *error = latm_refusal_text(status.errorCode, latm);
        return false;
    } else {
        s.damaged(fxaac_status_text(status.errorCode));
    }
    return true;
}

}  // namespace

bool decode_latm(Session &s, InputBuffer &in, uint64_t total, std::string *error)
{
    s.report().kind = InputKind::Latm;
    std::unique_ptr<LatmState> latm(new LatmState);
    AACPlusLatmInit(latm.get());
    FrameStatus status;
    for (;;) {
        if (!in.fill(kKeepAhead)) {
            *error = in.error();
            return false;
        }
        if (in.avail() == 0)
            return true;
        s.at(in.offset());
        s.call_latm(latm.get(), in.data(), in.avail(), &status);
        if (status.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            // kKeepAhead holds the longest element: the input ends.
            s.damaged("the input ends inside the LATM element (" + std::to_string(in.avail()) +
                      " bytes left)");
            return true;
        }
        if (!take_latm_result(s, status, *latm, error))
            return false;
        const size_t used = static_cast<size_t>(std::max(status.bytesConsumed, 1));
        s.report().payloadBytes += used;
        in.consume(used);
        s.progress.update(in.offset(), total, s.seconds());
    }
}

}  // namespace fxaac_cli
