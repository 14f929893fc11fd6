#include "status_text.h"

#include <fxaac/fxaac.h>

const char *fxaac_status_text(int32_t status)
{
    switch (status) {
    case FXAAC_OK: return "no error";
    case FXAAC_ERR_NO_SYNC: return "no ADTS sync word where a frame should start";
    case FXAAC_ERR_CONFIG_COUPLING:
        return "the program configuration lists coupling channels, which are not supported";
    case FXAAC_ERR_RESILIENCE_TOOL:
        return "an error-resilience tool (section, scale factor or spectral data resilience) is "
               "requested, which is not supported";
    case FXAAC_ERR_FRAME_960:
        return "960-sample frames are requested; only 1024-sample frames are supported";
    case FXAAC_ERR_OBJECT_TYPE:
        return "the object type or profile is not AAC LC, the only one that can be decoded";
    case FXAAC_ERR_SAMPLE_RATE_INDEX: return "reserved sampling frequency index (12 to 15)";
    case FXAAC_ERR_CHANNELS:
        return "unsupported channel configuration (more than two channels), or a channel "
               "element out of place";
    case FXAAC_ERR_EP_CONFIG: return "an error protection configuration other than 0 is requested";
    case FXAAC_ERR_PULSE_SHORT: return "pulse data in a frame of eight short windows";
    case FXAAC_ERR_BOOK_12: return "the reserved Huffman codebook 12 in the section data";
    case FXAAC_ERR_SCALE_FACTOR: return "a scale factor below zero";
    case FXAAC_ERR_LD_WINDOW: return "a low-delay frame with a window other than one long window";
    case FXAAC_ERR_GAIN_CONTROL: return "gain control data (AAC SSR), which is not supported";
    case FXAAC_ERR_GROUPING_RATE: return "window grouping at a sampling frequency index above 11";
    case FXAAC_ERR_COUPLING_ELEMENT: return "a coupling channel element, which is not supported";
    case FXAAC_ERR_MAX_SFB: return "max_sfb above the number of scale factor bands";
    case FXAAC_ERR_SECTION: return "a section ends past max_sfb, or there are too many sections";
    case FXAAC_ERR_ESCAPE: return "a Huffman escape value above 8191";
    case FXAAC_ERR_PULSE_POSITION: return "a pulse outside the band table or the frame";
    case FXAAC_ERR_DRC_EXCLUDE: return "a dynamic range control exclusion list that is too long";
    case FXAAC_ERR_TNS_ORDER: return "a TNS filter order above 12";
    case FXAAC_ERR_FRAME_OVERRUN:
        return "a raw data block runs past the end of its ADTS frame or LATM payload";
    case FXAAC_ERR_ADTS_LENGTH:
        return "an impossible ADTS frame length (false sync word or damaged header)";
    case FXAAC_ERR_NEED_MORE_INPUT: return "the frame is incomplete: the data end inside it";
    case FXAAC_ERR_LATM_CONFIG:
        return "an LATM multiplex that is not supported (more than one program or layer, "
               "audioMuxVersionA 1, or streams without the same time framing)";
    case FXAAC_ERR_LATM_SUBFRAMES:
        return "LATM elements of more than one subframe, which are not supported";
    case FXAAC_ERR_LATM_NO_CONFIG: return "an LATM payload before any StreamMuxConfig";
    case FXAAC_ERR_LATM_LENGTH:
        return "an LATM element that does not fit its length (damage or a false sync word)";
    case FXAAC_ERR_LATM_FRAME_LENGTH:
        return "an LATM frame length type other than 0 (fixed, CELP or HVXC frame lengths), "
               "which is not supported";
    default: return "unknown status";
    }
}

const char *fxaac_object_type_name(int32_t aot)
{
    switch (aot) {
    case 1: return "AAC Main";
    case 2: return "AAC LC";
    case 3: return "AAC SSR";
    case 4: return "AAC LTP";
    case 5: return "SBR, HE-AAC";
    case 6: return "AAC Scalable";
    case 7: return "TwinVQ";
    case 8: return "CELP";
    case 9: return "HVXC";
    case 17: return "ER AAC LC";
    case 19: return "ER AAC LTP";
    case 20: return "ER AAC Scalable";
    case 22: return "ER BSAC";
    case 23: return "ER AAC LD";
    case 29: return "PS, HE-AAC v2";
    case 32: return "MPEG-1/2 Layer 1";
    case 33: return "MPEG-1/2 Layer 2";
    case 34: return "MPEG-1/2 Layer 3";
    case 39: return "ER AAC ELD";
    case 42: return "USAC";
    default: return nullptr;
    }
}

namespace {

std::string object_type_words(int32_t aot)
{
    const char *name = fxaac_object_type_name(aot);
    return "audio object type " + std::to_string(aot) +
           (name ? std::string(" (") + name + ")" : "");
}

// ADTS channel_configuration (ISO/IEC 14496-3 1.6.3.4) in words.
std::string channel_words(int config)
{
    static const char *const names[8] = {"channels given by a program configuration",
                                         "1 channel",
                                         "2 channels",
                                         "3 channels",
                                         "4 channels",
                                         "5 channels",
                                         "5.1 channels",
                                         "7.1 channels"};
    return names[config & 7];
}

}  // namespace

std::string fxaac_unsupported_type_text(int32_t aot)
{
    return object_type_words(aot) +
           " is not supported: fxaac decodes AAC LC (audio object types 2 and 17) only";
}

std::string fxaac_too_many_channels_text(int config)
{
    return channel_words(config) + " (channel configuration " + std::to_string(config) +
           "): fxaac decodes mono and stereo only";
}
