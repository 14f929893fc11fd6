// The exported parser names: each takes the three-field BitReader that its
// caller allocated, runs the library's parser on an unbounded cursor at the
// same position, and stores the position back. Nothing inside the library
// calls these; the parsers call each other directly.
#include <type_traits>

#include <fxaac/fxaac.h>

#include "bitstream/adts.h"
#include "bitstream/audio_config.h"
#include "bitstream/bit_reader.h"
#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "decoder/fill_element.h"
#include "syntax/channel_element.h"
#include "syntax/ics_info.h"
#include "syntax/section_data.h"
#include "syntax/side_data.h"
#include "syntax/spectral_data.h"

namespace {

// Runs parse on a cursor at the reader's position and moves the reader on.
template <typename Parse>
auto through(BitReader *reader, Parse parse)
{
    BitCursor cursor = fxaac::cursor_of(reader);
    if constexpr (std::is_void_v<decltype(parse(&cursor))>) {
        parse(&cursor);
        fxaac::store_cursor(reader, cursor);
    } else {
        auto result = parse(&cursor);
        fxaac::store_cursor(reader, cursor);
        return result;
    }
}

}  // namespace

extern "C" {

FXAAC_API void pulse_data(PulseInfo *pulse, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::pulse_data(pulse, c); });
}

FXAAC_API int32_t tns_data(const ChannelStream *stream, TnsInfo *tns, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::tns_data(stream, tns, c); });
}

FXAAC_API void ltp_data(const ChannelStream *stream, LtpInfo *ltp, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::ltp_data(stream, ltp, c); });
}

FXAAC_API int32_t section_data(ChannelStream *stream, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::section_data(stream, c); });
}

FXAAC_API int32_t scale_factor_data(ChannelStream *stream, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::scale_factor_data(stream, c); });
}

FXAAC_API int32_t spectral_data(const ChannelStream *stream, BitReader *reader, int16_t *quantised,
                                int16_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::spectral_data(stream, c, quantised, objectType);
    });
}

FXAAC_API int32_t single_lfe_channel_element(AacDecoder *instance, ChannelElement *element,
                                             BitReader *reader, int16_t *const *quantised,
                                             int32_t sfIndex, int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::single_lfe_channel_element(instance, element, c, quantised, sfIndex,
                                                 objectType);
    });
}

FXAAC_API int32_t channel_pair_element(ChannelElement *element, BitReader *reader,
                                       int16_t *quantised0, int16_t *quantised1, int32_t sfIndex,
                                       int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::channel_pair_element(element, c, quantised0, quantised1, sfIndex, objectType);
    });
}

FXAAC_API int32_t individual_channel_stream(ChannelElement *element, BitReader *reader,
                                            ChannelStream *stream, int32_t scaleFlag,
                                            int16_t *quantised, int32_t sfIndex, int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::individual_channel_stream(element, c, stream, scaleFlag, quantised, sfIndex,
                                                objectType);
    });
}

FXAAC_API int32_t ics_info(ChannelStream *stream, BitReader *reader, int32_t commonWindow,
                           int32_t sfIndex, int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::ics_info(stream, c, commonWindow, sfIndex, objectType);
    });
}

FXAAC_API int32_t program_config_element(ProgramConfig *pce, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::program_config_element(pce, c); });
}

FXAAC_API int32_t find_sync_word(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::find_sync_word(header, c); });
}

FXAAC_API int32_t find_sync_word_once(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::find_sync_word_once(header, c); });
}

FXAAC_API int32_t adts_fixed_header(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::adts_fixed_header(header, c); });
}

FXAAC_API void adts_variable_header(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_variable_header(header, c); });
}

FXAAC_API void adts_error_check(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_error_check(header, c); });
}

FXAAC_API void adts_header_error_check(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_header_error_check(header, c); });
}

FXAAC_API int32_t adts_frame(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::adts_frame(header, c); });
}

FXAAC_API int8_t GASpecificConfig(BitReader *reader, uint32_t *channelConfig, uint32_t objectType,
                                  uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                                  uint8_t *spectralResilience, uint8_t *frameLengthFlag)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::GASpecificConfig(c, channelConfig, objectType, sectionResilience,
                                       scalefactorResilience, spectralResilience, frameLengthFlag);
    });
}

FXAAC_API int32_t get_adif_header(AdifHeader *adif, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::get_adif_header(adif, c); });
}

FXAAC_API int32_t data_stream_element(BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::data_stream_element(c); });
}

FXAAC_API int32_t dynamic_range_info(BitReader *reader, DrcInfo *drc)
{
    return through(reader, [&](BitCursor *c) { return fxaac::dynamic_range_info(c, drc); });
}

FXAAC_API int32_t excluded_channels(BitReader *reader, DrcInfo *drc)
{
    return through(reader, [&](BitCursor *c) { return fxaac::excluded_channels(c, drc); });
}

FXAAC_API void VorNexAACPlus_GetSbrBitStream(BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::VorNexAACPlus_GetSbrBitStream(c); });
}

}  // extern "C"
