/* HE-AAC decoding: the AAC-LC core with spectral band replication (SBR,
 * ISO/IEC 14496-3 4.6.18), which rebuilds the high band from the core's
 * half-rate signal and a few parameters per frame carried in fill elements.
 *
 * One record holds everything: the core decoder, its work area and the SBR
 * decoder's state and work memory of two channels. The caller owns it and
 * keeps it in place (it holds pointers into itself); the library allocates
 * nothing, prints nothing and reads nothing outside the bytes it is given.
 *
 * The output rate is decided at the first decoded frame, as common players
 * do: twice the core rate when the configuration signals SBR (object type 5,
 * or the sync extension after an AAC-LC configuration) or the first frame
 * carries SBR data (implicit signalling); else the core rate, and the stream
 * decodes as AAC-LC. A frame then has 2048 samples per channel at the doubled
 * rate (1024 in the downsampled mode, which keeps the core rate), or 1024 for
 * an AAC-LC stream. A signalled stream whose frames lack SBR data still
 * decodes at the signalled rate, without a high band.
 *
 * HE-AAC v2: a mono stream whose configuration signals parametric stereo
 * (object type 29, or psPresentFlag in the sync extension), or whose first
 * SBR payload carries parametric stereo data, decodes to two channels, so
 * the output buffer of a mono stream must hold two. */
#ifndef FXAAC_FXAAC_HEAAC_H
#define FXAAC_FXAAC_HEAAC_H

#include <fxaac/fxaac.h>
#include <fxaac/fxaac_latm.h>

FXAAC_EXTERN_C_BEGIN

#define FXAAC_HEAAC_FRAME_LENGTH 2048 /* samples per channel and frame at the doubled rate */
#define FXAAC_HEAAC_SBR_BYTES 48128   /* SBR state and work of two channels, parametric stereo */

/* Flags of AACPlusHeAacInit. */
#define FXAAC_HEAAC_DOWNSAMPLED 1 /* SBR output at the core rate (32-band synthesis) */
#define FXAAC_HEAAC_PRECISE 2     /* the core in FXAAC_ARITHMETIC_PRECISE (fxaac.h) */

/* Status codes of the HE-AAC calls, beside those of fxaac.h. */
enum {
    /* The frame's SBR payload was refused (damaged or inconsistent): the core
     * audio came out, the high band is silent for the frame. A warning:
     * outputSamples is not 0. */
    FXAAC_ERR_SBR_DATA = 30
};

typedef struct HeAacDecoder {
    AacDecoder core;                     /* the AAC-LC core decoder */
    DecoderWorkArea work;                /* its work area */
    int32_t handOff[FXAAC_FRAME_LENGTH]; /* one channel's core samples for the SBR analysis */
    int32_t flags;                       /* FXAAC_HEAAC_* of init */
    int32_t sbrSignalled; /* 1: the configuration signals SBR; -1: it says none; 0: silent */
    int32_t sbrActive;    /* -1 before the first frame; 1 SBR decoding; 0 AAC-LC only */
    int32_t outputRate;   /* Hz; 0 before the first frame of an unsignalled stream */
    int32_t sbrRate;      /* Hz: the signalled SBR rate (extensionSamplingFrequency), or 0 */
    int32_t sbrFrames;    /* frames whose SBR data was decoded */
    int32_t sbrErrors;    /* SBR payloads refused */
    int32_t downsampled;  /* 1: SBR output at the core rate (the flag, or single-rate SBR) */
    int32_t psSignalled;  /* 1: the configuration signals parametric stereo */
    int32_t psActive;     /* -1 before the first frame; 1: a mono core decoded to stereo */
    int32_t psFrames;     /* frames whose parametric stereo data was decoded */
    int32_t reserved;
    uint64_t sbr[FXAAC_HEAAC_SBR_BYTES / 8]; /* the SBR decoder: opaque */
} HeAacDecoder;

/* Clears the record and sets up the core (AACPlusDecoderInit) with the
 * given output format (2: 24-bit samples in 32-bit words; else 16-bit) and
 * flags. */
FXAAC_API void AACPlusHeAacInit(HeAacDecoder *decoder, int32_t pcmFormat, int32_t flags);

/* AACPlusHeaderDecode for HE-AAC, reading at most inputBytes: ADTS, ADIF,
 * an AudioSpecificConfig (alone, as in MP4 files, or behind the "HEAAC"
 * marker) that may signal SBR by object type 5 or the sync extension, or
 * raw data blocks (config.hdrPrsnt 0). Returns the header bytes to skip or
 * a negative status code. */
FXAAC_API int32_t AACPlusHeAacHeaderDecode(HeAacDecoder *decoder, DecoderConfig config,
                                           const uint8_t *input, int32_t inputBytes);

/* Decodes one frame, never reading at or beyond input + inputBytes (the
 * rules of AACPlusDecodeBuffer: ADTS sync search, FXAAC_ERR_NEED_MORE_INPUT,
 * ...). output: 2048 samples per channel at the doubled rate (1024 in the
 * downsampled mode or for AAC-LC), interleaved, 16-bit or 24-bit in 32-bit
 * words: 8192 bytes per channel for 16-bit, 16384 for 24-bit. status tells
 * the bytes consumed, the error code (FXAAC_ERR_SBR_DATA with samples: a
 * warning) and the samples written, all channels together. Returns what
 * AACPlusDecodeBuffer returns (1, or -1 on a failed ADIF or AudioSpecificConfig
 * stream): errorCode != 0 with outputSamples 0 tells a failed call. */
FXAAC_API int32_t AACPlusHeAacDecode(HeAacDecoder *decoder, const uint8_t *input,
                                     int32_t inputBytes, void *output, FrameStatus *status);

/* AACPlusDecodeLatm for HE-AAC: one LOAS/LATM element; configurations with
 * object type 5 are taken. */
FXAAC_API int32_t AACPlusHeAacDecodeLatm(HeAacDecoder *decoder, LatmState *latm,
                                         const uint8_t *input, int32_t inputBytes, void *output,
                                         FrameStatus *status);

/* AACPlusConcealFrame for HE-AAC: one frame of the current layout that fades
 * out what was playing. Returns the samples written, all channels. */
FXAAC_API int32_t AACPlusHeAacConceal(HeAacDecoder *decoder, void *output, FrameStatus *status);

FXAAC_EXTERN_C_END

#endif /* FXAAC_FXAAC_HEAAC_H */
