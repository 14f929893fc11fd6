#include "decoder/block_parse.h"

#include <cstring>

#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "decoder/fill_element.h"
#include "syntax/channel_element.h"
#include "syntax/ics_info.h"

namespace {

using namespace fxaac;

enum ElementId : uint32_t {
    kSce = 0,
    kCpe = 1,
    kCce = 2,
    kLfe = 3,
    kDse = 4,
    kPce = 5,
    kFil = 6,
    kEnd = 7,
};
constexpr uint32_t kElementIdBits = 3;

// The element record, cleared, with the section lists of both streams bound
// to their place in the work area.
void prepare_element_record(AacDecoder *dec, const FrameBuffers &buf)
{
    ChannelElement *e = dec->elementRecord;
    std::memset(e, 0, sizeof *e);
    for (int s = 0; s < 2; s++) {
        e->stream[s].sect_cb = buf.sections + FXAAC_MAX_SECTIONS * (3 * s);
        e->stream[s].sect_start = buf.sections + FXAAC_MAX_SECTIONS * (3 * s + 1);
        e->stream[s].sect_end = buf.sections + FXAAC_MAX_SECTIONS * (3 * s + 2);
    }
    dec->scratchB = reinterpret_cast<int32_t *>(e);
}

int32_t parse_single(AacDecoder *dec, BitCursor *r, uint32_t id, const FrameBuffers &buf, Block *b,
                     const ChannelTap *tap)
{
    ChannelElement *e = dec->elementRecord;
    e->element_id = static_cast<uint16_t>(id);
    e->first_channel = static_cast<uint16_t>(b->channels);
    e->second_channel = static_cast<uint16_t>(b->channels + 1);
    int32_t status = single_lfe_channel_element(dec, e, r, buf.quantised, dec->sfIndex,
                                                dec->objectType, tap);
    b->channels += 1;
    return status;
}

int32_t parse_pair(AacDecoder *dec, BitCursor *r, const FrameBuffers &buf, Block *b,
                   const ChannelTap *tap)
{
    ChannelElement *e = dec->elementRecord;
    e->element_id = kCpe;
    e->first_channel = 0;
    e->second_channel = 1;
    int32_t status = channel_pair_element(e, r, buf.quantised[0], buf.quantised[1], dec->sfIndex,
                                          dec->objectType, tap);
    b->channels = 2;
    return status;
}

// Error-resilient streams carry one element without an element id.
int32_t parse_resilient(AacDecoder *dec, BitCursor *r, const FrameBuffers &buf, Block *b,
                        const ChannelTap *tap)
{
    if (dec->channels == 1)
        b->code = parse_single(dec, r, kSce, buf, b, tap);
    else if (dec->channels == 2)
        b->code = parse_pair(dec, r, buf, b, tap);
    else
        return b->code = FXAAC_ERR_CHANNELS;
    return b->code > 0 ? b->code : 0;
}

// A channel element where the block has no room for it: two channels are
// already there, or a CPE follows another element. Returns the status that
// fails the block with the diagnostic of AACPlusDecode, or 0.
int32_t misplaced(uint32_t id, int elements, Block *b)
{
    if ((id == kSce || id == kLfe) && b->channels == 2) {
        b->message = "Error in SCE";
        return FXAAC_ERR_CHANNELS;
    }
    if (id == kCpe && elements > 0) {
        b->message = "Error in CPE";
        return FXAAC_ERR_CHANNELS;
    }
    return 0;
}

// A fill element at r (on its count field): when it carries SBR data after
// a channel element, the payload's place goes to the block for the SBR
// decoder. The cursor is a copy: the fill element's own reading skips it.
void note_sbr_payload(BitCursor r, int elements, Block *b)
{
    constexpr uint32_t kCountEscape = 15, kSbrData = 13, kSbrDataCrc = 14;
    uint32_t count = read_bits(&r, 4);
    if (count == kCountEscape)
        count += read_bits(&r, 8) - 1;
    if (count == 0 || elements == 0 || b->sbrPayloads == 2)
        return;
    const uint32_t type = read_bits(&r, 4);
    const uint8_t element = static_cast<uint8_t>(elements - 1);
    if ((type != kSbrData && type != kSbrDataCrc) || r.overrun ||
        (b->sbrPayloads == 1 && b->sbr[0].element == element))
        return;  // one payload per element: the first
    b->sbr[b->sbrPayloads++] = SbrPayloadRef{r.ptr, static_cast<int32_t>(r.bitPos),
                                             static_cast<int32_t>(8 * count - 4),
                                             static_cast<uint8_t>(type == kSbrDataCrc), element};
}

// One element after its id: the status it leaves (negative codes of a
// program config element are kept but do not fail the block).
int32_t parse_element(AacDecoder *dec, BitCursor *r, uint32_t id, const FrameBuffers &buf, Block *b,
                      int *elements, const ChannelTap *tap)
{
    switch (id) {
    case kSce:
    case kLfe:
        b->twoSingles = b->channels == 1;
        ++*elements;
        return parse_single(dec, r, id, buf, b, tap);
    case kCpe: *elements = 1; return parse_pair(dec, r, buf, b, tap);
    case kDse: data_stream_element(r); return b->code;
    case kPce: {
        ProgramConfig pce = {};
        return program_config_element(&pce, r);
    }
    default:  // kFil
        note_sbr_payload(*r, *elements, b);
        dec->fillExtensions |= VorNexAACPlus_GetSbrBitStream(r);
        return b->code;
    }
}

}  // namespace

int32_t fxaac::parse_block(AacDecoder *dec, BitCursor *r, const FrameBuffers &buf, Block *b,
                           const ChannelTap *tap)
{
    prepare_element_record(dec, buf);
    if (dec->objectType > kLastNonResilientType)
        return parse_resilient(dec, r, buf, b, tap);
    int elements = 0;
    for (;;) {
        uint32_t id = read_bits(r, kElementIdBits);
        if (id == kEnd || r->overrun)
            return 0;
        if (id == kCce)  // coupling channel elements are not decoded
            return b->code = FXAAC_ERR_COUPLING_ELEMENT;
        if (int32_t code = misplaced(id, elements, b))
            return b->code = code;
        b->code = parse_element(dec, r, id, buf, b, &elements, tap);
        if (b->code > 0)
            return b->code;
    }
}
