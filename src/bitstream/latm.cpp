#include "bitstream/latm.h"

#include <cstring>

#include "bitstream/audio_config.h"
#include "bitstream/bit_reader.h"

namespace fxaac {

namespace {

constexpr uint8_t kSyncFirstByte = kLoasSyncWord >> 3;         // 0x56
constexpr uint8_t kSyncSecondBits = (kLoasSyncWord & 7) << 5;  // 0xE0
constexpr int kLengthBits = 13;
constexpr int kPayloadLengthEscape = 255;  // MuxSlotLengthBytes goes on after 255
constexpr int kMaxOtherDataEscapes = 4;    // otherDataLenBits of version 0: 8 bits a step

// LatmGetValue(): bytesForValue + 1 bytes, most significant first.
uint32_t latm_value(BitCursor *r)
{
    uint32_t bytes = read_bits(r, 2) + 1;
    uint32_t value = 0;
    for (uint32_t i = 0; i < bytes; i++)
        value = (value << 8) | read_bits(r, 8);
    return value;
}

// otherDataLenBits of audioMuxVersion 0: 8-bit steps behind an escape bit.
// false when it does not fit 32 bits (damage).
bool other_data_bits_v0(BitCursor *r, uint32_t *bits)
{
    uint64_t value = 0;
    for (int i = 0; i < kMaxOtherDataEscapes; i++) {
        uint32_t escape = read_bits(r, 1);
        value = (value << 8) | read_bits(r, 8);
        if (!escape) {
            *bits = static_cast<uint32_t>(value);
            return true;
        }
    }
    return false;
}

// The AudioSpecificConfig at the reader: copies it to cfg->asc from its first
// bit, parses it there (alignment inside it, as in a program config element,
// is relative to its start), and advances the reader past it.
int32_t mux_audio_specific_config(BitCursor *r, const uint8_t *data, int32_t elementBytes,
                                  LatmMuxConfig *cfg, const ConfigOptions &options)
{
    copy_bits(cfg->asc, FXAAC_LATM_CONFIG_BYTES, data, elementBytes, r->bitsConsumed);
    BitCursor a;
    init_bounded(&a, cfg->asc, FXAAC_LATM_CONFIG_BYTES);
    AudioConfig parsed = {};
    int32_t result = read_audio_specific_config(&a, &parsed, options);
    if (result < 0)
        return result;
    if (bits_available(&a, cfg->asc) < 0)
        return FXAAC_ERR_LATM_CONFIG;  // longer than the copy kept
    cfg->ascBits = static_cast<uint32_t>(a.bitsConsumed);
    // Bits past the config are cleared, so that equal configs compare equal.
    uint32_t whole = cfg->ascBits / 8, partial = cfg->ascBits % 8;
    if (partial)
        cfg->asc[whole++] &= static_cast<uint8_t>(0xFF00 >> partial);
    std::memset(cfg->asc + whole, 0, FXAAC_LATM_CONFIG_BYTES - whole);
    skip_bits(r, cfg->ascBits);
    return 0;
}

// The program 0, layer 0 part of StreamMuxConfig: its AudioSpecificConfig
// (for audioMuxVersion 1 behind ascLen, with fill bits after it) and its
// frame length fields.
int32_t mux_stream(BitCursor *r, const uint8_t *data, int32_t elementBytes, LatmMuxConfig *cfg,
                   bool sbr)
{
    uint32_t ascLen = cfg->audioMuxVersion == 1 ? latm_value(r) : 0;
    if (bits_available(r, data) < 0)
        return FXAAC_ERR_LATM_LENGTH;
    ConfigOptions options;
    options.sbr = sbr;
    if (cfg->audioMuxVersion == 1 && ascLen <= 8 * FXAAC_LATM_CONFIG_BYTES)
        options.totalBits = static_cast<int32_t>(ascLen);  // room for the sync extension
    int32_t result = mux_audio_specific_config(r, data, elementBytes, cfg, options);
    if (result < 0)
        return result;
    if (cfg->audioMuxVersion == 1) {
        if (ascLen < cfg->ascBits || ascLen - cfg->ascBits > bits_available(r, data))
            return FXAAC_ERR_LATM_LENGTH;
        skip_bits(r, ascLen - cfg->ascBits);  // fillBits
    }
    cfg->frameLengthType = static_cast<uint8_t>(read_bits(r, 3));
    if (cfg->frameLengthType != 0)
        return FXAAC_ERR_LATM_FRAME_LENGTH;
    cfg->latmBufferFullness = static_cast<uint8_t>(read_bits(r, 8));
    return 0;
}

// StreamMuxConfig(), reader just past useSameStreamMux.
int32_t stream_mux_config(BitCursor *r, const uint8_t *data, int32_t elementBytes,
                          LatmMuxConfig *cfg, bool sbr)
{
    cfg->audioMuxVersion = static_cast<uint8_t>(read_bits(r, 1));
    if (cfg->audioMuxVersion == 1) {
        if (read_bits(r, 1))  // audioMuxVersionA: its syntax is not defined
            return FXAAC_ERR_LATM_CONFIG;
        cfg->taraBufferFullness = latm_value(r);
    }
    cfg->allStreamsSameTimeFraming = static_cast<uint8_t>(read_bits(r, 1));
    cfg->numSubFrames = static_cast<uint8_t>(read_bits(r, 6));
    uint32_t numProgram = read_bits(r, 4);
    uint32_t numLayer = read_bits(r, 3);
    if (bits_available(r, data) < 0)
        return FXAAC_ERR_LATM_LENGTH;
    if (numProgram != 0 || numLayer != 0 || !cfg->allStreamsSameTimeFraming)
        return FXAAC_ERR_LATM_CONFIG;
    if (cfg->numSubFrames != 0)
        return FXAAC_ERR_LATM_SUBFRAMES;
    int32_t result = mux_stream(r, data, elementBytes, cfg, sbr);
    if (result < 0)
        return result;
    cfg->otherDataPresent = static_cast<uint8_t>(read_bits(r, 1));
    if (cfg->otherDataPresent) {
        if (cfg->audioMuxVersion == 1)
            cfg->otherDataLenBits = latm_value(r);
        else if (!other_data_bits_v0(r, &cfg->otherDataLenBits))
            return FXAAC_ERR_LATM_LENGTH;
    }
    cfg->crcCheckPresent = static_cast<uint8_t>(read_bits(r, 1));
    if (cfg->crcCheckPresent)
        cfg->crcCheckSum = static_cast<uint8_t>(read_bits(r, 8));
    return bits_available(r, data) < 0 ? FXAAC_ERR_LATM_LENGTH : 0;
}

// PayloadLengthInfo() of one stream with frameLengthType 0.
int32_t payload_length(BitCursor *r)
{
    int32_t bytes = 0;
    uint32_t step;
    do {
        step = read_bits(r, 8);
        bytes += static_cast<int32_t>(step);
    } while (step == kPayloadLengthEscape && bytes <= FXAAC_LATM_PAYLOAD_BYTES);
    return bytes;
}

// Skips n bits when the element holds them.
bool skip_within(BitCursor *r, const uint8_t *data, uint64_t n)
{
    if (static_cast<int64_t>(n) > bits_available(r, data))
        return false;
    skip_bits(r, static_cast<uint32_t>(n));
    return true;
}

}  // namespace

int32_t find_loas_sync(const uint8_t *data, int32_t n)
{
    for (int32_t i = 0; i + 1 < n; i++)
        if (data[i] == kSyncFirstByte && (data[i + 1] & kSyncSecondBits) == kSyncSecondBits)
            return i;
    return n > 0 && data[n - 1] == kSyncFirstByte ? n - 1 : n;
}

int32_t loas_element_bytes(const uint8_t *data)
{
    return kLoasHeaderBytes + (((data[1] & 0x1F) << 8) | data[2]);
}

int32_t parse_audio_mux_element(const uint8_t *data, int32_t elementBytes,
                                const LatmMuxConfig *current, LatmElement *out, bool sbr)
{
    BitCursor r;
    init_bounded(&r, data, elementBytes);
    skip_bits(&r, 11 + kLengthBits);
    out->newConfig = read_bits(&r, 1) == 0;  // useSameStreamMux
    if (out->newConfig) {
        int32_t result = stream_mux_config(&r, data, elementBytes, &out->config, sbr);
        if (result < 0)
            return result;
    } else if (current == nullptr) {
        return FXAAC_ERR_LATM_NO_CONFIG;
    }
    const LatmMuxConfig &cfg = out->newConfig ? out->config : *current;
    out->payloadBytes = payload_length(&r);
    out->payloadBit = r.bitsConsumed;
    if (out->payloadBytes > FXAAC_LATM_PAYLOAD_BYTES ||
        !skip_within(&r, data, 8 * static_cast<uint64_t>(out->payloadBytes)))
        return FXAAC_ERR_LATM_LENGTH;
    if (cfg.otherDataPresent && !skip_within(&r, data, cfg.otherDataLenBits))
        return FXAAC_ERR_LATM_LENGTH;
    skip_bits(&r, static_cast<uint32_t>(-r.bitsConsumed & 7));  // byte_alignment()
    // audioMuxLengthBytes is the element's exact length: a longer one would
    // hide the next sync word.
    return bits_available(&r, data) != 0 ? FXAAC_ERR_LATM_LENGTH : 0;
}

void copy_bits(uint8_t *dst, int32_t bytes, const uint8_t *data, int32_t dataBytes,
               int64_t firstBit)
{
    BitCursor r;
    init_bounded(&r, data, dataBytes);
    const int64_t whole = firstBit / 8;
    if (whole >= dataBytes) {
        std::memset(dst, 0, static_cast<size_t>(bytes));
        return;
    }
    skip_bytes(&r, static_cast<uint32_t>(whole));
    skip_bits(&r, static_cast<uint32_t>(firstBit % 8));
    for (int32_t i = 0; i < bytes; i++)
        dst[i] = static_cast<uint8_t>(read_bits(&r, 8));
}

}  // namespace fxaac
