#include "bench_data.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "bitstream/adts.h"
#include "decoder/block_parse.h"
#include "decoder/frame_buffers.h"
#include "decoder/reconstruction.h"

#ifndef FXAAC_VECTOR_DIR
#error "FXAAC_VECTOR_DIR must name tests/vectors"
#endif

namespace fxaac_bench {

std::string vector_dir()
{
    const char *dir = std::getenv("FXAAC_VECTORS");
    return dir && *dir ? dir : FXAAC_VECTOR_DIR;
}

std::vector<VectorInfo> manifest()
{
    std::vector<VectorInfo> all;
    std::ifstream in(vector_dir() + "/manifest.txt");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream f(line);
        VectorInfo v;
        f >> v.name >> v.kind >> v.fs >> v.chn >> v.hdrPrsnt;
        all.push_back(v);
    }
    return all;
}

std::vector<uint8_t> read_vector(const std::string &name)
{
    std::ifstream in(vector_dir() + "/" + name, std::ios::binary);
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>()};
    bytes.resize(bytes.size() + 8, 0);
    return bytes;
}

namespace {

using namespace fxaac;

void bind_sections(ChannelStream *s, uint8_t (*lists)[FXAAC_MAX_SECTIONS])
{
    s->sect_cb = lists[0];
    s->sect_start = lists[1];
    s->sect_end = lists[2];
}

// The channel states that the library's own block parser passes its tap.
class Capturer {
public:
    explicit Capturer(StreamCapture *out) : out_(out) {}

    ChannelTap tap() { return {this, &Capturer::at}; }

private:
    static void at(void *context, TapPoint point, const ChannelStream *s, const BitCursor *r,
                   const int16_t *quantised)
    {
        static_cast<Capturer *>(context)->take(point, s, r, quantised);
    }

    void take(TapPoint point, const ChannelStream *s, const BitCursor *r, const int16_t *quantised)
    {
        if (point == TapPoint::kSections) {
            c_ = std::make_unique<ChannelCapture>();
            c_->atSections = *s;
            c_->sectionReader = *r;
            bind_sections(&c_->atSections, c_->sectionScratch);
            return;
        }
        if (point == TapPoint::kSpectrum) {
            c_->atSpectrum = *s;
            c_->spectrumReader = *r;
            std::memcpy(c_->sections[0], s->sect_cb, FXAAC_MAX_SECTIONS);
            std::memcpy(c_->sections[1], s->sect_start, FXAAC_MAX_SECTIONS);
            std::memcpy(c_->sections[2], s->sect_end, FXAAC_MAX_SECTIONS);
            bind_sections(&c_->atSpectrum, c_->sections);
            return;
        }
        std::memcpy(c_->quantised, quantised, sizeof c_->quantised);
        int32_t grouped[FXAAC_FRAME_LENGTH];
        dequantize_channel(&c_->atSpectrum, c_->quantised, c_->spectrum, grouped);
        out_->channels.push_back(std::move(c_));
    }

    StreamCapture *out_;
    std::unique_ptr<ChannelCapture> c_;
};

// A decoder of the vector's stream, for its block parser.
struct Decoder {
    AacDecoder instance;
    DecoderWorkArea work;
    int32_t output[FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH];
};

}  // namespace

std::unique_ptr<StreamCapture> capture_stream(const std::string &name, std::string *error)
{
    auto out = std::make_unique<StreamCapture>();
    out->name = name;
    out->bytes = read_vector(name);
    const size_t size = out->bytes.size() - 8;
    if (size == 0) {
        *error = "cannot read " + vector_dir() + "/" + name;
        return nullptr;
    }
    auto dec = std::make_unique<Decoder>();
    AACPlusDecoderInit(&dec->instance, &dec->work);
    Capturer capturer(out.get());
    const ChannelTap tap = capturer.tap();
    size_t offset = 0;
    while (offset + 7 <= size) {
        BitCursor r;
        aac_initbits(&r, out->bytes.data() + offset);
        AdtsHeader h = {};
        if (find_sync_word(&h, &r) != 0 || adts_frame(&h, &r) != 0) {
            *error = "no ADTS frame at byte " + std::to_string(offset);
            return nullptr;
        }
        if (h.number_of_raw_data_blocks_in_frame != 0 || h.protection_absent == 0) {
            *error = "ADTS frames of one block without CRC only";
            return nullptr;
        }
        out->sfIndex = dec->instance.sfIndex = h.sampling_frequency_index;
        out->objectType = dec->instance.objectType = h.object_type - 1;  // profile numbering
        const FrameBuffers buf = plan_frame_buffers(&dec->instance, dec->output);
        Block block;
        if (const int32_t status = parse_block(&dec->instance, &r, buf, &block, &tap)) {
            *error = "the block parser refuses frame " + std::to_string(out->frames) + ": status " +
                     std::to_string(status);
            return nullptr;
        }
        out->frames++;
        offset += h.frame_length;
    }
    return out;
}

}  // namespace fxaac_bench
