#include "bench_data.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "bitstream/adts.h"
#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "decoder/fill_element.h"
#include "syntax/channel_element.h"
#include "syntax/ics_info.h"
#include "syntax/section_data.h"
#include "syntax/side_data.h"
#include "syntax/spectral_data.h"
#include "tools/inverse_quantization.h"
#include "tools/pulse.h"

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
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    bytes.resize(bytes.size() + 8, 0);
    return bytes;
}

namespace {

using namespace fxaac;

enum ElementId : uint32_t { kSce = 0, kCpe = 1, kCce = 2, kLfe = 3, kDse = 4, kPce = 5, kFil = 6, kEnd = 7 };

void bind_sections(ChannelStream *s, uint8_t (*lists)[FXAAC_MAX_SECTIONS])
{
    s->sect_cb = lists[0];
    s->sect_start = lists[1];
    s->sect_end = lists[2];
}

// The decoder's reconstruction of one channel: dequantisation, scale
// factors and, for eight short windows, the return to window order.
void reconstruct(const ChannelStream *s, const int16_t *quantised, int32_t *spectrum)
{
    if (s->window_sequence == kEightShort) {
        int32_t grouped[FXAAC_FRAME_LENGTH];
        inverse_quantization(grouped, quantised);
        apply_scalefactors(s, grouped);
        dec_quant_to_spec(s, spectrum, grouped);
    } else {
        inverse_quantization(spectrum, quantised);
        apply_scalefactors(s, spectrum);
    }
}

class Walker {
public:
    Walker(StreamCapture *out, std::string *error) : out_(out), error_(error) {}

    // One raw data block from the reader. Returns false on anything the
    // capture does not handle.
    bool block(BitCursor *r)
    {
        for (;;) {
            const BitCursor elementStart = *r;
            const uint32_t id = read_bits(r, 3);
            switch (id) {
            case kSce:
            case kLfe:
            case kCpe:
                if (!element(r, id))
                    return false;
                if (!check(elementStart, r, id))
                    return false;
                break;
            case kDse:
                data_stream_element(r);
                break;
            case kPce: {
                ProgramConfig pce = {};
                program_config_element(&pce, r);
                break;
            }
            case kFil:
                VorNexAACPlus_GetSbrBitStream(r);
                break;
            case kEnd:
                return true;
            default:
                return fail("coupling channel element");
            }
        }
    }

private:
    bool fail(const std::string &why)
    {
        *error_ = why;
        return false;
    }

    // The channel element, walked with the exported parsers so that the
    // reader can be kept at the section and spectral data of each channel.
    bool element(BitCursor *r, uint32_t id)
    {
        std::memset(&element_, 0, sizeof element_);
        bind_sections(&element_.stream[0], lists_[0]);
        bind_sections(&element_.stream[1], lists_[1]);
        element_.element_instance_tag = static_cast<uint16_t>(read_bits(r, 4));
        if (id != kCpe) {
            element_.common_window = 0;
            return channel(r, &element_.stream[0]);
        }
        element_.common_window = read_bits(r, 1);
        ChannelStream *first = &element_.stream[0];
        if (element_.common_window) {
            if (ics_info(first, r, 1, out_->sfIndex, out_->objectType) > 0)
                return fail("ics_info");
            first->ms_mask_present = static_cast<int16_t>(read_bits(r, 2));
            if (first->ms_mask_present == 1)
                for (int x = 0; x < first->num_window_groups * first->max_sfb; x++)
                    first->ms_used[x] = static_cast<uint8_t>(read_bits(r, 1));
            std::memcpy(&element_.stream[1], first, sizeof *first);  // shares the section lists
        }
        return channel(r, first) && channel(r, &element_.stream[1]);
    }

    bool channel(BitCursor *r, ChannelStream *s)
    {
        auto c = std::make_unique<ChannelCapture>();
        s->global_gain = static_cast<uint16_t>(read_bits(r, 8));
        if (!element_.common_window && ics_info(s, r, 0, out_->sfIndex, out_->objectType) > 0)
            return fail("ics_info");
        c->atSections = *s;
        c->sectionReader = *r;
        if (section_data(s, r) > 0 || scale_factor_data(s, r) > 0)
            return fail("section or scale factor data");
        if ((s->pulse_data_present = static_cast<uint8_t>(read_bits(r, 1))))
            pulse_data(&s->pulse, r);
        if ((s->tns_data_present = static_cast<uint8_t>(read_bits(r, 1))) &&
            tns_data(s, &s->tns, r) > 0)
            return fail("tns_data");
        if ((s->gain_control_data_present = static_cast<uint8_t>(read_bits(r, 1))))
            return fail("gain control data");
        c->atSpectrum = *s;
        c->spectrumReader = *r;
        std::memcpy(c->sections[0], s->sect_cb, FXAAC_MAX_SECTIONS);
        std::memcpy(c->sections[1], s->sect_start, FXAAC_MAX_SECTIONS);
        std::memcpy(c->sections[2], s->sect_end, FXAAC_MAX_SECTIONS);
        bind_sections(&c->atSpectrum, c->sections);
        bind_sections(&c->atSections, c->sectionScratch);
        if (spectral_data(s, r, c->quantised, static_cast<int16_t>(out_->objectType)) > 0)
            return fail("spectral_data");
        if (s->pulse_data_present)
            pulse_decode(s, c->quantised);
        reconstruct(&c->atSpectrum, c->quantised, c->spectrum);
        pending_.push_back(std::move(c));
        return true;
    }

    // The library's own parse of the element must end where the walk ended
    // and give the same quantised values.
    bool check(const BitCursor &elementStart, const BitCursor *walked, uint32_t id)
    {
        BitCursor r = elementStart;
        read_bits(&r, 3);
        ChannelElement e;
        std::memset(&e, 0, sizeof e);
        uint8_t lists[2][3][FXAAC_MAX_SECTIONS];
        bind_sections(&e.stream[0], lists[0]);
        bind_sections(&e.stream[1], lists[1]);
        int16_t q[2][FXAAC_FRAME_LENGTH];
        int32_t status;
        if (id == kCpe) {
            status = channel_pair_element(&e, &r, q[0], q[1], out_->sfIndex, out_->objectType);
        } else {
            e.element_instance_tag = static_cast<uint16_t>(read_bits(&r, 4));
            status = individual_channel_stream(&e, &r, &e.stream[0], 0, q[0], out_->sfIndex,
                                               out_->objectType);
        }
        if (status != 0)
            return fail("the library refuses the element: status " + std::to_string(status));
        if (aac_get_processed_bits(&r) != aac_get_processed_bits(walked))
            return fail("the walk and the library end at different bits");
        for (size_t k = 0; k < pending_.size(); k++)
            if (std::memcmp(q[k], pending_[k]->quantised, sizeof q[k]) != 0)
                return fail("the walk and the library decode different values");
        for (auto &c : pending_)
            out_->channels.push_back(std::move(c));
        pending_.clear();
        return true;
    }

    StreamCapture *out_;
    std::string *error_;
    ChannelElement element_;
    uint8_t lists_[2][3][FXAAC_MAX_SECTIONS];
    std::vector<std::unique_ptr<ChannelCapture>> pending_;
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
    Walker walker(out.get(), error);
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
        out->sfIndex = h.sampling_frequency_index;
        out->objectType = h.object_type - 1;  // profile numbering
        if (!walker.block(&r))
            return nullptr;
        out->frames++;
        offset += h.frame_length;
    }
    return out;
}

}  // namespace fxaac_bench
