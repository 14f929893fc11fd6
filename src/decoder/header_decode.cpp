#include <cstring>

#include <fxaac/fxaac.h>

#include "bitstream/adts.h"
#include "bitstream/audio_config.h"
#include "bitstream/bit_reader.h"
#include "decoder/frame_stage.h"

namespace {

using namespace fxaac;

// Upper bounds of the nominal-rate ranges of ISO/IEC 14496-3 (Table 4.82),
// highest class first: a rate above kRateClassFloor[i] has index i.
constexpr int32_t kRateClassFloor[11] = {92016, 75131, 55425, 46008, 37565, 27712,
                                         23003, 18782, 13855, 11501, 9390};
// Rates above this are taken as garbage and sent to the lowest class.
constexpr int32_t kLargestRate = 16428319;
constexpr int32_t kLowestClass = 11;

constexpr int32_t kAdtsLcProfileLimit = 4;  // ADTS object types 1..4 are profiles + 1
constexpr int kMarkerBytes = 5;             // "HEAAC"

bool starts_with(const uint8_t *input, const char *tag, size_t n)
{
    return std::memcmp(input, tag, n) == 0;
}

// Object types 1 to 4 are stored in profile numbering (LC becomes 1).
int32_t to_profile(int32_t objectType)
{
    return objectType <= kAdtsLcProfileLimit ? objectType - 1 : objectType;
}

int32_t decode_adif(AacDecoder *dec, BitCursor *reader)
{
    AdifHeader adif = {};
    dec->hasConfig = 1;
    int32_t result = get_adif_header(&adif, reader);
    if (result != 0)
        return result;
    dec->sfIndex = adif.pce.sampling_frequency_index;
    dec->sampleRate = static_cast<int32_t>(sample_rates[dec->sfIndex]);
    dec->objectType = static_cast<int32_t>(adif.pce.object_type);  // already a profile
    dec->channels = static_cast<int32_t>(adif.pce.channel_count);
    return aac_get_processed_bits(reader) >> 3;
}

int32_t decode_adts(AacDecoder *dec, BitCursor *reader)
{
    AdtsHeader header = {};
    dec->isAdts = 1;
    int32_t result = find_sync_word_once(&header, reader);
    if (result == 0)
        result = adts_frame(&header, reader);
    if (result != 0)
        return result;
    dec->sfIndex = header.sampling_frequency_index;
    dec->sampleRate = static_cast<int32_t>(sample_rates[dec->sfIndex]);
    dec->channels = header.channel_configuration <= 6 ? header.channel_configuration : 2;
    dec->objectType = header.object_type;
    result = can_decode_objType(dec->objectType);
    dec->objectType = to_profile(dec->objectType);
    return result;
}

int32_t decode_audio_specific_config(AacDecoder *dec, const uint8_t *input, ConfigOptions options,
                                     AudioConfig *parsed)
{
    bool marked = starts_with(input, "HEAAC", kMarkerBytes);
    int32_t markedLength = marked ? input[kMarkerBytes] : 0;
    const uint8_t *config = marked ? input + kMarkerBytes + 1 : input;
    if (marked)  // the length byte counts itself and the config
        options.totalBits = markedLength > 1 ? 8 * (markedLength - 1) : 0;
    BitCursor reader;
    aac_initbits(&reader, config);
    int32_t result = configure_audio_specific_config(dec, &reader, options, parsed);
    if (result < 0)
        return result;
    return marked ? markedLength + kMarkerBytes : result;
}

}  // namespace

int32_t fxaac::configure_audio_specific_config(AacDecoder *dec, BitCursor *reader,
                                               const ConfigOptions &options, AudioConfig *parsed)
{
    // The resilience flags are written only when the configuration carries
    // them, so they start from the instance's current values.
    AudioConfig cfg = {};
    cfg.sectionResilience = dec->sectionResilience;
    cfg.scalefactorResilience = dec->scalefactorResilience;
    cfg.spectralResilience = dec->spectralResilience;
    int32_t result = static_cast<int16_t>(parse_audio_specific_config(reader, &cfg, options));
    if (parsed != nullptr)
        *parsed = cfg;
    dec->sampleRate = static_cast<int32_t>(cfg.sampleRate);
    dec->channels = static_cast<int32_t>(cfg.channelConfig);
    dec->sfIndex = static_cast<int32_t>(cfg.sfIndex);
    dec->objectType = static_cast<int32_t>(cfg.objectType);
    dec->sectionResilience = cfg.sectionResilience;
    dec->scalefactorResilience = cfg.scalefactorResilience;
    dec->spectralResilience = cfg.spectralResilience;
    if (result < 0)
        return result;
    if (cfg.sectionResilience || cfg.scalefactorResilience || cfg.spectralResilience)
        return FXAAC_ERR_RESILIENCE_TOOL;
    if (cfg.frameLengthFlag)
        return FXAAC_ERR_FRAME_960;
    dec->objectType = to_profile(dec->objectType);
    dec->hasConfig = 1;
    return result;
}

int32_t sample_rate_index(int32_t rate)
{
    if (rate > kLargestRate)
        return kLowestClass;
    for (int32_t i = 0; i < kLowestClass; i++)
        if (rate > kRateClassFloor[i])
            return i;
    return kLowestClass;
}

int32_t AACPlusHeaderDecode(DecoderConfig config, AacDecoder *instance, const uint8_t *input)
{
    return fxaac::decode_header(config, instance, input, ConfigOptions{}, nullptr);
}

int32_t fxaac::decode_header(DecoderConfig config, AacDecoder *instance, const uint8_t *input,
                             const ConfigOptions &options, AudioConfig *parsed)
{
    instance->sfIndex = sample_rate_index(instance->sampleRate);
    instance->objectType = instance->defaultObjectType;

    if (config.hdrPrsnt == 0) {
        instance->objectType = 2;  // raw blocks are taken as AAC LC
        instance->sampleRate = config.fs;
        instance->channels = config.chn;
        instance->sfIndex = sample_rate_index(config.fs);
        return 0;
    }

    BitCursor reader;
    aac_initbits(&reader, input);
    int32_t result;
    if (starts_with(input, "ADIF", 4))
        result = decode_adif(instance, &reader);
    else if (input[0] == 0xFF && (input[1] & 0xF0) == 0xF0)
        result = decode_adts(instance, &reader);
    else
        result = decode_audio_specific_config(instance, input, options, parsed);
    return static_cast<int16_t>(result);
}
