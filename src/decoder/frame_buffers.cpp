#include "decoder/frame_buffers.h"

namespace {
constexpr int N = FXAAC_FRAME_LENGTH;
}

fxaac::FrameBuffers fxaac::plan_frame_buffers(AacDecoder *dec, void *output)
{
    int32_t *work = dec->workBase;
    FrameBuffers buf;
    buf.quantised[0] = reinterpret_cast<int16_t *>(work) + 3 * N;
    buf.quantised[1] = reinterpret_cast<int16_t *>(work);
    buf.movedQuantised = static_cast<int16_t *>(output) + N;
    buf.spectrum[0] = work + N;
    buf.spectrum[1] = static_cast<int32_t *>(output);
    buf.savedSpectrum = reinterpret_cast<int32_t *>(dec->elementRecord);
    buf.work = work;
    buf.sections = reinterpret_cast<uint8_t *>(work + N);
    return buf;
}
