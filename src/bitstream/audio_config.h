// Stream configuration carried once ahead of the raw data blocks: the MPEG-4
// AudioSpecificConfig with its GASpecificConfig (ISO/IEC 14496-3 1.6.2.1,
// 4.4.1) and the ADIF header (ISO/IEC 13818-7 adif_header).
#ifndef FXAAC_BITSTREAM_AUDIO_CONFIG_H
#define FXAAC_BITSTREAM_AUDIO_CONFIG_H

#include <cstdint>

#include "bitstream/bit_reader.h"
#include "bitstream/program_config.h"

namespace fxaac {
// Sampling frequency in Hz by sampling_frequency_index (ISO/IEC 14496-3
// Table 1.16). Indices 12 to 16 hold 0: every user treats 0 as unsupported.
extern const uint32_t sample_rates[17];
}  // namespace fxaac

struct AdifHeader {
    uint8_t copyright_id_present;
    uint8_t copyright_id[10];  // 9 identifier bytes and a terminating 0
    uint8_t original_copy;
    uint8_t home;
    int8_t bitstream_type;  // 0 constant rate, 1 variable rate
    uint32_t bitrate;
    int8_t num_program_config_elements;  // number of PCEs minus 1
    uint32_t adif_buffer_fullness;       // of the last PCE; 0 for variable rate
    ProgramConfig pce;                   // the last PCE parsed
};

// What AudioSpecificConfig_AAC reports about a stream.
struct AudioConfig {
    uint32_t sampleRate;
    uint32_t channelConfig;
    uint32_t sfIndex;
    uint32_t objectType;
    uint8_t sectionResilience;
    uint8_t scalefactorResilience;
    uint8_t spectralResilience;
    uint8_t frameLengthFlag;
    // HE-AAC signalling (read only when ConfigOptions::sbr is set):
    uint8_t sbrSignalled;       // 1: explicit SBR (object type 5 or 29, or the sync extension)
    uint8_t psSignalled;        // 1: parametric stereo signalled (object type 29 or 0x548)
    uint8_t noSbrSignalled;     // 1: the sync extension says sbrPresentFlag 0
    uint32_t extensionSfIndex;  // extensionSamplingFrequencyIndex when sbrSignalled
};

// How an AudioSpecificConfig is read. sbr: object types 5 and 29 are taken
// (their core config follows) and the backward-compatible sync extensions
// 0x2b7 (SBR) and 0x548 (PS) after the core config are looked for when
// totalBits (the config's length in bits, when the container tells it) leaves
// room for them.
struct ConfigOptions {
    bool sbr = false;
    int32_t totalBits = -1;
};

namespace fxaac {
// Parses an AudioSpecificConfig at buffer (its own reader, so alignment is
// relative to its first byte). Returns its length in bytes or a negative code
// (-6, -12, -13, -14, -15); outputs written before a failure stay written.
int32_t AudioSpecificConfig_AAC(const uint8_t *buffer, uint32_t *sampleRate,
                                uint32_t *channelConfig, uint32_t *sfIndex, uint32_t *objectType,
                                uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                                uint8_t *spectralResilience, uint8_t *frameLengthFlag);
}  // namespace fxaac

namespace fxaac {
// GASpecificConfig: 0, or -6 when channel configuration 0 comes with a PCE
// that lists coupling channels. The resilience flags are written only for
// error-resilient object types with extensionFlag set.
int8_t GASpecificConfig(BitCursor *reader, uint32_t *channelConfig, uint32_t objectType,
                        uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                        uint8_t *spectralResilience, uint8_t *frameLengthFlag);
// ADIF header, the reader on its first byte ("ADIF"): 0, or -12 from a PCE.
int32_t get_adif_header(AdifHeader *adif, BitCursor *reader);
}  // namespace fxaac

namespace fxaac {
// AudioSpecificConfig read through a reader that starts on its first byte.
int32_t parse_audio_specific_config(BitCursor *reader, AudioConfig *out,
                                    const ConfigOptions &options = {});
// Its fields alone: 0 or a negative code, the reader left just past the last
// field with no alignment (LATM carries the config without byte padding).
int32_t read_audio_specific_config(BitCursor *reader, AudioConfig *out,
                                   const ConfigOptions &options = {});
}  // namespace fxaac

#endif  // FXAAC_BITSTREAM_AUDIO_CONFIG_H
