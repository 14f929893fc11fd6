/* fxaac: fixed-point MPEG-2/4 AAC Low Complexity decoder.
 *
 * The caller owns all memory: an AacDecoder instance and a DecoderWorkArea,
 * bound together by AACPlusDecoderInit and kept in place for the instance's
 * lifetime. The library allocates nothing and keeps no global state while
 * decoding. One instance serves one thread at a time.
 *
 *   AacDecoder dec;  DecoderWorkArea work;
 *   AACPlusDecoderInit(&dec, &work);
 *   int32_t skip = AACPlusHeaderDecode(config, &dec, stream);  // < 0: refused
 *
 * All records below are plain C structs whose sizes are fixed on 32-bit and
 * 64-bit targets alike (see the static assertions at the end).
 */
#ifndef FXAAC_FXAAC_H
#define FXAAC_FXAAC_H

#include <stddef.h>
#include <stdint.h>

#include <fxaac/fxaac_export.h>

FXAAC_EXTERN_C_BEGIN

/* Spectral lines per channel and frame, and the largest channel count. */
#define FXAAC_FRAME_LENGTH 1024
#define FXAAC_MAX_CHANNELS 2
/* Bytes of caller memory: the work area, and the room an instance must fit. */
#define FXAAC_WORK_AREA_BYTES 12288
#define FXAAC_INSTANCE_MAX_BYTES 8444
/* Byte offset and size of the per-frame channel element record in the work area. */
#define FXAAC_ELEMENT_OFFSET 8192
#define FXAAC_ELEMENT_BYTES 4096

/* Status codes. Transport and configuration problems are negative, problems
 * inside a raw data block are positive; 0 is success. */
enum FxaacStatus {
    FXAAC_OK = 0,
    FXAAC_ERR_NO_SYNC = -5,            /* ADTS: no sync word where one was expected */
    FXAAC_ERR_CONFIG_COUPLING = -6,    /* configuration's program lists coupling channels */
    FXAAC_ERR_RESILIENCE_TOOL = -9,    /* an error-resilience tool is requested */
    FXAAC_ERR_FRAME_960 = -10,         /* 960-line frames are requested */
    FXAAC_ERR_OBJECT_TYPE = -12,       /* object type or profile not decodable (only AAC LC) */
    FXAAC_ERR_SAMPLE_RATE_INDEX = -13, /* sampling frequency index 12 to 15 */
    FXAAC_ERR_CHANNELS = -14,          /* unsupported channel configuration or misplaced element */
    FXAAC_ERR_EP_CONFIG = -15,         /* error protection configuration other than 0 */
    FXAAC_ERR_PULSE_SHORT = 1,         /* pulse data in a channel with eight short windows */
    FXAAC_ERR_BOOK_12 = 2,             /* reserved section codebook 12 */
    FXAAC_ERR_SCALE_FACTOR = 3,        /* a scale factor below 0 */
    FXAAC_ERR_LD_WINDOW = 7,           /* low-delay object with a window other than one long */
    FXAAC_ERR_GAIN_CONTROL = 8,        /* gain control data present */
    FXAAC_ERR_GROUPING_RATE = 10,      /* sampling frequency index above 11 at window grouping */
    FXAAC_ERR_COUPLING_ELEMENT = 16,   /* coupling channel element in the block */
    FXAAC_ERR_MAX_SFB = 20,            /* max_sfb above the bands of the window length */
    FXAAC_ERR_SECTION = 21,            /* a section ends past max_sfb, or too many sections */
    FXAAC_ERR_ESCAPE = 22,             /* codebook 11 escape above 8191 */
    FXAAC_ERR_PULSE_POSITION = 23,     /* pulse outside the band table or the frame */
    FXAAC_ERR_DRC_EXCLUDE = 24,        /* DRC exclude list longer than its storage */
    FXAAC_ERR_TNS_ORDER = 25,          /* TNS filter order above 12 coefficient slots */
    FXAAC_ERR_FRAME_OVERRUN = 26, /* a raw data block runs past its ADTS frame or LATM payload */
    FXAAC_ERR_ADTS_LENGTH = 27,   /* ADTS frame length impossible: false sync or damaged header */
    FXAAC_ERR_NEED_MORE_INPUT =
        -20,                        /* bounded call: the frame needs more bytes; nothing consumed */
    FXAAC_ERR_LATM_CONFIG = -21,    /* LATM multiplex not supported: programs, layers, version */
    FXAAC_ERR_LATM_SUBFRAMES = -22, /* LATM element with more than one subframe */
    FXAAC_ERR_LATM_NO_CONFIG = -23, /* LATM payload before any StreamMuxConfig */
    FXAAC_ERR_LATM_LENGTH = -24,    /* LATM element does not fit its length: damage or false sync */
    FXAAC_ERR_LATM_FRAME_LENGTH = -25 /* LATM frameLengthType other than 0 (fixed or CELP/HVXC) */
};

/* One parsed ADTS frame header (ISO/IEC 13818-7 / 14496-3 adts_frame). */
typedef struct AdtsHeader {
    uint16_t syncword; /* last 12-bit value examined by the sync search */
    uint8_t id;
    uint8_t layer;
    int8_t protection_absent; /* 0: CRC words follow */
    int8_t object_type;       /* profile field + 1: 2 is AAC LC */
    uint8_t sampling_frequency_index;
    uint8_t private_bit;
    uint8_t channel_configuration;
    uint8_t original_copy;
    uint8_t home;
    uint8_t copyright_identification_bit;
    uint8_t copyright_identification_start;
    uint16_t frame_length; /* bytes skipped before the sync word + aac_frame_length; never 0 */
    uint16_t adts_buffer_fullness;
    int8_t number_of_raw_data_blocks_in_frame; /* as transmitted: 0 means one block */
    uint32_t crc_check;                        /* last CRC word read (never verified) */
} AdtsHeader;

/* Per-frame parse result of the channel elements of one raw data block. It
 * lives in the work area, is cleared at every frame call and doubles as
 * synthesis scratch once the block is parsed. Arrays indexed by window group
 * g and band (or section) b use the index g * max_sfb + b. */
#define FXAAC_MAX_GROUP_BANDS 128
#define FXAAC_MAX_SECTIONS 120
#define FXAAC_TNS_MAX_FILTERS 4
#define FXAAC_TNS_COEF_SLOTS 12 /* coefficients per filter: the largest LC order */

/* pulse_data of one channel (ISO/IEC 14496-3 4.4.2.7). */
typedef struct PulseInfo {
    int8_t number_pulse; /* pulses minus one */
    uint8_t pulse_start_sfb;
    uint8_t pulse_offset[4];
    uint8_t pulse_amp[4];
} PulseInfo;

/* tns_data of one channel, raw field values, by window w and filter f. */
typedef struct TnsInfo {
    uint8_t n_filt[8];
    uint8_t coef_res[8];
    uint8_t length[8][FXAAC_TNS_MAX_FILTERS];
    uint8_t order[8][FXAAC_TNS_MAX_FILTERS];
    uint8_t direction[8][FXAAC_TNS_MAX_FILTERS];
    uint8_t coef_compress[8][FXAAC_TNS_MAX_FILTERS];
    uint8_t coef[8][FXAAC_TNS_MAX_FILTERS * FXAAC_TNS_COEF_SLOTS]; /* [w][12 * f + i] */
} TnsInfo;

/* One channel's parsed individual_channel_stream. The fields from max_sfb to
 * predictor_data_present that ics_info writes form its ICS info. */
typedef struct ChannelStream {
    int8_t max_sfb;
    int8_t num_swb;
    int8_t num_window_groups;
    int8_t num_windows;
    int8_t window_sequence; /* 0 long, 1 long start, 2 eight short, 3 long stop */
    int8_t window_group_length[8];
    uint8_t window_shape; /* 0 sine, 1 KBD */
    int8_t scale_factor_grouping;
    uint8_t *sect_cb; /* FXAAC_MAX_SECTIONS entries in the work area */
    uint8_t *sect_start;
    uint8_t *sect_end;
    int8_t sfb_cb[FXAAC_MAX_GROUP_BANDS];           /* codebook per group and band */
    int16_t sect_sfb_offset[FXAAC_MAX_GROUP_BANDS]; /* band offsets within each group */
    int16_t scale_factors[FXAAC_MAX_GROUP_BANDS];   /* scale factor, noise energy or IS position */
    uint8_t ms_used[FXAAC_MAX_GROUP_BANDS];
    int16_t swb_offset[52]; /* band offsets of one window */
    uint16_t num_sec[8];
    uint16_t global_gain;
    int16_t ms_mask_present;
    uint8_t pulse_data_present;
    uint8_t tns_data_present;
    uint8_t gain_control_data_present;
    uint8_t predictor_data_present;
    const uint32_t *noise_band_table; /* noise normalisation per band */
    PulseInfo pulse;
    TnsInfo tns;
} ChannelStream;

typedef struct ChannelElement {
    ChannelStream stream[2]; /* first and second channel of the element(s) */
    uint16_t element_id;     /* 0 SCE, 1 CPE, 3 LFE */
    uint16_t first_channel;  /* output channel of stream[0] */
    uint16_t second_channel; /* output channel of stream[1]: first_channel + 1 */
    uint16_t element_instance_tag;
    uint32_t common_window;
} ChannelElement;

/* The decoder instance: all state kept from one call to the next. */
typedef struct AacDecoder {
    int32_t overlap[FXAAC_MAX_CHANNELS][FXAAC_FRAME_LENGTH]; /* filterbank overlap per channel */
    AdtsHeader adts;               /* header of the ADTS frame being decoded */
    int32_t isAdts;                /* 1: an ADTS header precedes each ADTS frame */
    int16_t rawBlocksLeft;         /* raw data blocks left in the current ADTS frame */
    int32_t hasConfig;             /* 1: ADIF or AudioSpecificConfig stream */
    int32_t sfIndex;               /* sampling_frequency_index, 0 to 11 */
    int32_t objectType;            /* profile (ADTS, ADIF, LC = 1) or audio object type */
    int32_t frameCount;            /* frame calls that ended without error */
    int32_t sceTagSeen;            /* 1 once the first single channel element was met */
    int32_t firstSceTag;           /* element_instance_tag of that element */
    uint8_t sectionResilience;     /* aacSectionDataResilienceFlag */
    uint8_t scalefactorResilience; /* aacScalefactorDataResilienceFlag */
    uint8_t spectralResilience;    /* aacSpectralDataResilienceFlag */
    uint16_t frameLength;          /* spectral lines per channel and frame: 1024 */
    int32_t prevWindowShape[FXAAC_MAX_CHANNELS]; /* window_shape of each channel's previous frame */
    int16_t defaultObjectType;                   /* copied into objectType by header decoding */
    int32_t sampleRate;                          /* Hz */
    int32_t pcmFormat;            /* 2: 24-bit samples in 32-bit words; else 16-bit */
    int32_t channels;             /* channel count announced by the header */
    const int16_t *longWindow[2]; /* rising window halves, by window_shape (0 sine, 1 KBD) */
    const int16_t *shortWindow[2];
    ChannelElement *elementRecord; /* per-frame element record in the work area */
    int32_t *workBase;             /* start of the work area */
    int32_t *scratchA;             /* synthesis scratch; workBase between frames */
    int32_t *scratchB;             /* second synthesis scratch */
    int32_t pnsSeed;               /* noise substitution generator state */
    int32_t lastChannels;          /* channels of the last decoded frame; 0 before the first */
    uint32_t fillExtensions;       /* bit t set: a fill element with extension_type t was met
                                    * since init (13 and 14: SBR data, ISO/IEC 14496-3 4.5.2.7) */
    int32_t arithmetic;            /* FXAAC_ARITHMETIC_*: set by AACPlusDecoderSetArithmetic */
} AacDecoder;

/* Caller work memory bound to an instance (12288 bytes). */
typedef struct DecoderWorkArea {
    /* [0]: channel 1's quantised spectrum, then short-window scratch;
     * [1]: channel 0's spectrum (its quantised values in the upper half until
     * dequantisation; the section arrays of the parse in its first 720 bytes). */
    int32_t spectra[2][FXAAC_FRAME_LENGTH];
    /* The per-frame channel element record, cleared at every frame call. */
    union {
        ChannelElement record;
        uint8_t bytes[FXAAC_ELEMENT_BYTES];
    } element;
} DecoderWorkArea;

/* Stream configuration given to header decoding (ten 32-bit words). Header
 * decoding reads only the first three; the test driver keeps its per-call
 * results in the others. */
typedef struct DecoderConfig {
    int32_t hdrPrsnt;       /* 0: raw data blocks only, with no header */
    int32_t fs;             /* sampling rate in Hz when hdrPrsnt is 0 */
    int32_t chn;            /* channel count when hdrPrsnt is 0 */
    int32_t pcmWidth;       /* bytes per output sample minus one */
    int32_t sbrMode;        /* SBR output flag as last reported */
    int32_t wavOut;         /* 1: output file gets a WAV header */
    int32_t sbrDownsampled; /* rate rule of the WAV header in SBR mode */
    int32_t usedBytes;      /* bytes consumed by the last call */
    int32_t errCode;        /* error code of the last call */
    int32_t outSamples;     /* samples of the last frame, all channels */
} DecoderConfig;

/* Result of one frame call. */
typedef struct FrameStatus {
    int32_t bytesConsumed; /* input bytes used by the call */
    int32_t errorCode;     /* 0 or an FxaacStatus code */
    int32_t outputSamples; /* samples written, all channels together; 0 on failure */
    int32_t reserved[2];   /* cleared at every call */
} FrameStatus;

/* Clears the instance, sets its defaults (1024-line frames, 22050 Hz, two
 * channels, 16-bit output), binds the work area and the window tables. */
FXAAC_API void AACPlusDecoderInit(AacDecoder *instance, DecoderWorkArea *work);

/* Recognises the input kind (ADIF, ADTS, AudioSpecificConfig optionally behind
 * the "HEAAC" marker, or no header when config.hdrPrsnt is 0), fills the
 * stream parameters of the instance, and returns the number of header bytes
 * to skip (0 or more) or a negative FxaacStatus code. At least 3 readable
 * bytes must follow the header's last byte. */
FXAAC_API int32_t AACPlusHeaderDecode(DecoderConfig config, AacDecoder *instance,
                                      const uint8_t *input);

/* Decodes one raw data block (and, for ADTS, the header of a new ADTS frame).
 * It trusts its input: reads are not bounded, so a damaged stream can lead it
 * past the caller's data; use AACPlusDecodeBuffer for untrusted input.
 * Output: 1024 samples per channel, interleaved, 16-bit, or
 * 24-bit in 32-bit words when pcmFormat is 2 (output: at least 4096 bytes,
 * 8192 for 24-bit; it also serves as scratch during the call). A 24-bit
 * sample sits in the low 24 bits of its native-endian int32_t word,
 * sign-extended through the top 8: values from -8388608 to 8388607, full
 * scale 2^23 (shift left by 8 for a left-justified 32-bit sample). status
 * tells the bytes consumed, the error code and the samples written. A
 * non-zero *sbrFlag sends 32-bit samples to an internal hand-off buffer
 * instead of output; a null sbrFlag means 0. On a failed block this call
 * prints "Error in SCE" or "Error in CPE" on standard output when the block
 * holds a misplaced element; no other call of the library prints anything.
 * Returns 1 when the block was decoded; on failure -1 for ADIF and
 * AudioSpecificConfig streams, 1 for the others (errorCode != 0 with
 * outputSamples 0 tells failure). At least 3 readable bytes must follow the
 * block's data. */
FXAAC_API int32_t AACPlusDecode(AacDecoder *instance, const uint8_t *input, void *output,
                                FrameStatus *status, const int32_t *sbrFlag);

/* AACPlusDecode for data of known length: never reads at or beyond
 * input + inputBytes, so no padding is needed. When the frame is incomplete
 * it fails with FXAAC_ERR_NEED_MORE_INPUT, bytesConsumed 0 and the instance
 * unchanged: append data and call again. An ADTS frame of one raw data
 * block is decoded only once it is wholly present; when no sync word is found the
 * bytes searched are consumed (FXAAC_ERR_NO_SYNC), a frame whose length
 * field is impossible is skipped past its sync word (FXAAC_ERR_ADTS_LENGTH),
 * and a block that runs past its frame fails (FXAAC_ERR_FRAME_OVERRUN) with
 * the frame consumed. On valid streams the results equal AACPlusDecode's. */
FXAAC_API int32_t AACPlusDecodeBuffer(AacDecoder *instance, const uint8_t *input,
                                      int32_t inputBytes, void *output, FrameStatus *status,
                                      const int32_t *sbrFlag);

/* Concealment of one lost or damaged frame: writes a frame of the same
 * layout as a decoded one (1024 samples per channel of the last decoded
 * frame, interleaved, 16-bit, or 24-bit in the low bits of 32-bit words
 * when pcmFormat is 2) that fades out what was playing: the filterbank's
 * overlap of the last frame under a falling linear fade. The overlap is
 * then cleared, so a second concealed frame in a row is silence and the
 * next good frame fades in through its own rising window. An ADTS stream
 * resynchronises at the next call (it looks for a new frame header).
 * Before the first decoded frame it writes nothing. status: bytesConsumed
 * 0, errorCode 0, outputSamples as returned. Returns the samples written,
 * all channels together (0 or 1024 per channel). */
FXAAC_API int32_t AACPlusConcealFrame(AacDecoder *instance, void *output, FrameStatus *status);

/* The arithmetic of the decoding stages after parsing.
 * DEFAULT: the fixed-point arithmetic that the decoder's bit-exact results
 *   are defined by (16-bit coefficients, truncating products).
 * PRECISE: 32-bit coefficients and products rounded once, for output within
 *   the full-accuracy limits of ISO/IEC 14496-26 at 24 bits; the same stream
 *   syntax, caller memory and output layout, at somewhat more arithmetic per
 *   frame. Its results are bit-identical on every machine as well, but
 *   differ from the default's. */
#define FXAAC_ARITHMETIC_DEFAULT 0
#define FXAAC_ARITHMETIC_PRECISE 1

/* Chooses the arithmetic of an initialised instance (AACPlusDecoderInit sets
 * DEFAULT); it applies from the next frame on and may change between frames.
 * Returns 0, or -1 for an unknown value (the instance is then unchanged). */
FXAAC_API int32_t AACPlusDecoderSetArithmetic(AacDecoder *instance, int32_t arithmetic);

/* Sampling frequency index for a rate in Hz, by the nominal-rate ranges of
 * ISO/IEC 14496-3 (rates outside every range map to 11, the 8000 Hz class). */
FXAAC_API int32_t sample_rate_index(int32_t rate);

FXAAC_EXTERN_C_END

#ifdef __cplusplus
#define FXAAC_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define FXAAC_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif
FXAAC_STATIC_ASSERT(sizeof(AdtsHeader) == 24, "AdtsHeader layout");
FXAAC_STATIC_ASSERT(sizeof(PulseInfo) == 10 && sizeof(TnsInfo) == 528, "side data records");
FXAAC_STATIC_ASSERT(sizeof(ChannelElement) <= FXAAC_ELEMENT_BYTES,
                    "the element record fits its 4096 bytes of the work area");
FXAAC_STATIC_ASSERT(sizeof(DecoderConfig) == 40, "DecoderConfig is ten 32-bit words");
FXAAC_STATIC_ASSERT(sizeof(FrameStatus) == 20, "FrameStatus is five 32-bit words");
FXAAC_STATIC_ASSERT(sizeof(DecoderWorkArea) == FXAAC_WORK_AREA_BYTES, "work area is 12288 bytes");
FXAAC_STATIC_ASSERT(offsetof(DecoderWorkArea, element) == FXAAC_ELEMENT_OFFSET &&
                        sizeof(((DecoderWorkArea *)0)->element) == FXAAC_ELEMENT_BYTES,
                    "the element record takes the last 4096 bytes of the work area");
FXAAC_STATIC_ASSERT(sizeof(AacDecoder) <= FXAAC_INSTANCE_MAX_BYTES,
                    "an instance must fit the 8444 bytes callers reserve");

#include <fxaac/fxaac_latm.h>

#endif /* FXAAC_FXAAC_H */
