// Test helper: an initialised decoder instance with its work area.
#ifndef FXAAC_TESTS_INSTANCE_H
#define FXAAC_TESTS_INSTANCE_H

#include <cstdint>
#include <memory>

#include <fxaac/fxaac.h>

namespace fxaac_test {

struct Instance {
    std::unique_ptr<AacDecoder> dec = std::make_unique<AacDecoder>();
    std::unique_ptr<DecoderWorkArea> work = std::make_unique<DecoderWorkArea>();
    Instance() { AACPlusDecoderInit(dec.get(), work.get()); }
    AacDecoder *operator->() const { return dec.get(); }
    // Header decoding; fs and chn are read only when hdrPrsnt is 0.
    int32_t header(const uint8_t *input, int32_t hdrPrsnt = 1, int32_t fs = 0, int32_t chn = 0)
    {
        DecoderConfig cfg = {};
        cfg.hdrPrsnt = hdrPrsnt;
        cfg.fs = fs;
        cfg.chn = chn;
        return AACPlusHeaderDecode(cfg, dec.get(), input);
    }
};

}  // namespace fxaac_test

#endif
