// The memory of an HE-AAC decoder (HeAacDecoder) and of its parts, in bytes,
// as this build lays them out: the record the caller gives, the core's part
// and the SBR decoder's state (kept from frame to frame) and work (per frame
// call) inside the record's opaque SBR area, beside parametric stereo's.
#include <cstdio>

#include <fxaac/fxaac_heaac.h>

#include "ps/ps_decoder.h"
#include "ps/ps_syntax.h"
#include "sbr/sbr_decoder.h"

namespace {

using namespace fxaac::sbr;

void row(const char *what, size_t bytes, int depth)
{
    std::printf("%*s%-*s %7zu\n", 2 * depth, "", 48 - 2 * depth, what, bytes);
}

}  // namespace

int main()
{
    std::printf("%-48s %7s\n", "HeAacDecoder and its parts", "bytes");
    row("HeAacDecoder", sizeof(HeAacDecoder), 0);
    row("core: AacDecoder", sizeof(AacDecoder), 1);
    row("core: DecoderWorkArea", sizeof(DecoderWorkArea), 1);
    row("handOff (one channel's core samples)", sizeof(HeAacDecoder::handOff), 1);
    row("sbr area (FXAAC_HEAAC_SBR_BYTES)", sizeof(HeAacDecoder::sbr), 1);
    row("SbrDecoder (state)", sizeof(SbrDecoder), 2);
    row("SbrElement x2 (header, tables, deltas)", sizeof(SbrDecoder::element), 3);
    row("SbrChannel x2", sizeof(SbrDecoder::channel), 3);
    row("QmfAnalysisState", sizeof(QmfAnalysisState), 4);
    row("QmfSynthesisState", sizeof(QmfSynthesisState), 4);
    row("lowHistory", sizeof(SbrChannel::lowHistory), 4);
    row("highHistory", sizeof(SbrChannel::highHistory), 4);
    row("HfGenState", sizeof(HfGenState), 4);
    row("HfAdjustState", sizeof(HfAdjustState), 4);
    row("SbrWork (per frame call)", sizeof(SbrWork), 2);
    row("rows (QMF work matrix)", sizeof(SbrWork::rows), 3);
    row("frame (SbrFrameData)", sizeof(SbrWork::frame), 3);
    row("adjust (HfAdjustWork)", sizeof(SbrWork::adjust), 3);
    row("slot", sizeof(SbrWork::slot), 3);
    row("SBR state + work in use", sizeof(SbrDecoder) + sizeof(SbrWork), 2);
    const size_t ps = sizeof(fxaac::ps::PsDecoder) + sizeof(fxaac::ps::PsSyntaxState) +
                      sizeof(QmfSynthesisState) + sizeof(fxaac::ps::PsFrame);
    row("parametric stereo (state)", ps, 2);
    row("PsDecoder (filters, decorrelator, mixing)", sizeof(fxaac::ps::PsDecoder), 3);
    row("QmfSynthesisState (right channel)", sizeof(QmfSynthesisState), 3);
    row("PsSyntaxState + PsFrame", sizeof(fxaac::ps::PsSyntaxState) + sizeof(fxaac::ps::PsFrame),
        3);
    // A mono stream's parametric stereo takes the place of the second channel.
    row("SBR and PS in use (mono stream)",
        sizeof(SbrDecoder) + sizeof(SbrWork) + ps - sizeof(SbrChannel), 2);
    return 0;
}
