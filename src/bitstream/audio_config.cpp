#include "bitstream/audio_config.h"

#include <fxaac/fxaac.h>

#include "bitstream/adts.h"

namespace fxaac {

const uint32_t sample_rates[17] = {
    96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000,
    12000, 11025, 8000,  0,     0,     0,     0,     0,
};

namespace {
constexpr uint32_t kObjectTypeSbr = 5;
constexpr uint32_t kObjectTypePs = 29;
constexpr uint32_t kSyncExtensionSbr = 0x2b7;
constexpr uint32_t kSyncExtensionPs = 0x548;
constexpr uint32_t kObjectTypeErLc = 17;
// Object types above this one use the error-resilient syntax.
constexpr uint32_t kLastNonResilientType = 16;
}  // namespace

namespace {

// The backward-compatible HE-AAC signalling after the core config
// (ISO/IEC 14496-3 1.6.5.2): syncExtensionType 0x2b7, object type 5,
// sbrPresentFlag, extensionSamplingFrequencyIndex, then optionally 0x548 and
// psPresentFlag. Read only while the config's known length leaves room.
void read_sync_extension(BitCursor *reader, int32_t totalBits, AudioConfig *out)
{
    auto left = [&] { return totalBits - aac_get_processed_bits(reader); };
    if (totalBits < 0 || left() < 16 || peek_bits(reader, 11) != kSyncExtensionSbr)
        return;
    skip_bits(reader, 11);
    if (read_bits(reader, 5) != kObjectTypeSbr)
        return;
    if (read_bits(reader, 1) == 0) {
        out->noSbrSignalled = 1;
        return;
    }
    out->sbrSignalled = 1;
    out->extensionSfIndex = read_bits(reader, 4);
    if (left() >= 12 && peek_bits(reader, 11) == kSyncExtensionPs) {
        skip_bits(reader, 11);
        out->psSignalled = static_cast<uint8_t>(read_bits(reader, 1));
    }
}

}  // namespace

int32_t read_audio_specific_config(BitCursor *reader, AudioConfig *out,
                                   const ConfigOptions &options)
{
    // No escapes: an object type of 31 or an index of 15 is taken as it stands
    // and refused below, so no explicit frequency is ever read.
    uint32_t objectType = read_bits(reader, 5);
    uint32_t sfIndex = read_bits(reader, 4);
    uint32_t channelConfig = read_bits(reader, 4);
    out->sbrSignalled = out->psSignalled = out->noSbrSignalled = 0;
    out->extensionSfIndex = 0;
    if (options.sbr && (objectType == kObjectTypeSbr || objectType == kObjectTypePs)) {
        // Explicit HE-AAC: the output rate's index, then the core's type.
        out->sbrSignalled = 1;
        out->psSignalled = objectType == kObjectTypePs;
        out->extensionSfIndex = read_bits(reader, 4);
        objectType = read_bits(reader, 5);
        if (out->extensionSfIndex == 15)  // an explicit frequency: not taken
            return FXAAC_ERR_SAMPLE_RATE_INDEX;
    }
    out->sampleRate = sample_rates[sfIndex];
    out->channelConfig = channelConfig;
    out->sfIndex = sfIndex;
    out->objectType = objectType;

    if (can_decode_objType(static_cast<int32_t>(objectType)) != 0)
        return FXAAC_ERR_OBJECT_TYPE;
    if (out->sampleRate == 0)
        return FXAAC_ERR_SAMPLE_RATE_INDEX;
    if (channelConfig > 2)
        return FXAAC_ERR_CHANNELS;

    int8_t ga = GASpecificConfig(reader, &out->channelConfig, objectType, &out->sectionResilience,
                                 &out->scalefactorResilience, &out->spectralResilience,
                                 &out->frameLengthFlag);
    if (objectType == kObjectTypeErLc) {
        uint32_t epConfig = read_bits(reader, 2);  // read whatever GASpecificConfig said
        if (ga < 0)
            return ga;
        if (epConfig != 0)
            return FXAAC_ERR_EP_CONFIG;
    } else if (ga < 0) {
        return ga;
    }
    if (options.sbr && !out->sbrSignalled)
        read_sync_extension(reader, options.totalBits, out);
    return 0;
}

int32_t parse_audio_specific_config(BitCursor *reader, AudioConfig *out,
                                    const ConfigOptions &options)
{
    aac_byte_align(reader);
    int32_t result = read_audio_specific_config(reader, out, options);
    if (result < 0)
        return result;
    aac_byte_align(reader);
    return aac_get_processed_bits(reader) >> 3;
}

}  // namespace fxaac

using namespace fxaac;

int32_t fxaac::AudioSpecificConfig_AAC(const uint8_t *buffer, uint32_t *sampleRate,
                                       uint32_t *channelConfig, uint32_t *sfIndex,
                                       uint32_t *objectType, uint8_t *sectionResilience,
                                       uint8_t *scalefactorResilience, uint8_t *spectralResilience,
                                       uint8_t *frameLengthFlag)
{
    BitCursor reader;
    aac_initbits(&reader, buffer);
    AudioConfig cfg = {};
    cfg.sectionResilience = *sectionResilience;
    cfg.scalefactorResilience = *scalefactorResilience;
    cfg.spectralResilience = *spectralResilience;
    cfg.frameLengthFlag = *frameLengthFlag;
    int32_t result = parse_audio_specific_config(&reader, &cfg);
    *sampleRate = cfg.sampleRate;
    *channelConfig = cfg.channelConfig;
    *sfIndex = cfg.sfIndex;
    *objectType = cfg.objectType;
    *sectionResilience = cfg.sectionResilience;
    *scalefactorResilience = cfg.scalefactorResilience;
    *spectralResilience = cfg.spectralResilience;
    *frameLengthFlag = cfg.frameLengthFlag;
    return result;
}

int8_t fxaac::GASpecificConfig(BitCursor *reader, uint32_t *channelConfig, uint32_t objectType,
                               uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                               uint8_t *spectralResilience, uint8_t *frameLengthFlag)
{
    *frameLengthFlag = static_cast<uint8_t>(read_bits(reader, 1));
    if (read_bits(reader, 1))   // dependsOnCoreCoder
        skip_bits(reader, 14);  // coreCoderDelay
    uint32_t extensionFlag = read_bits(reader, 1);

    if (*channelConfig == 0) {
        ProgramConfig pce = {};
        program_config_element(&pce, reader);  // its profile check is not ours to make
        *channelConfig = pce.channel_count;
        if (pce.num_valid_cc_elements != 0)
            return FXAAC_ERR_CONFIG_COUPLING;
    }
    // layerNr, numOfSubFrame and layer_length belong to object types that
    // are refused before this point, so they are never present here.
    if (extensionFlag && objectType > kLastNonResilientType) {
        *sectionResilience = static_cast<uint8_t>(read_bits(reader, 1));
        *scalefactorResilience = static_cast<uint8_t>(read_bits(reader, 1));
        *spectralResilience = static_cast<uint8_t>(read_bits(reader, 1));
        skip_bits(reader, 1);  // extensionFlag3
    }
    return 0;
}

int32_t fxaac::get_adif_header(AdifHeader *adif, BitCursor *reader)
{
    skip_bits(reader, 32);  // adif_id "ADIF", matched by the caller
    adif->copyright_id_present = static_cast<uint8_t>(read_bits(reader, 1));
    if (adif->copyright_id_present) {
        for (int i = 0; i < 9; i++)
            adif->copyright_id[i] = static_cast<uint8_t>(read_bits(reader, 8));
        adif->copyright_id[9] = 0;
    }
    adif->original_copy = static_cast<uint8_t>(read_bits(reader, 1));
    adif->home = static_cast<uint8_t>(read_bits(reader, 1));
    adif->bitstream_type = static_cast<int8_t>(read_bits(reader, 1));
    adif->bitrate = read_bits(reader, 23);
    adif->num_program_config_elements = static_cast<int8_t>(read_bits(reader, 4));

    int32_t result = 0;
    for (int i = 0; i <= adif->num_program_config_elements; i++) {
        adif->adif_buffer_fullness = adif->bitstream_type == 0 ? read_bits(reader, 20) : 0;
        result = program_config_element(&adif->pce, reader);
        if (result != 0)
            break;
    }
    return result;
}
