/* fxaac: LATM/LOAS input (ISO/IEC 14496-3 1.7.3), as DVB broadcasts and some
 * Bluetooth links carry AAC.
 *
 * An AudioSyncStream is a run of AudioMuxElements, each behind an 11-bit sync
 * word (0x2B7) and a 13-bit length in bytes. The elements carry their own
 * StreamMuxConfig (muxConfigPresent = 1) with the AudioSpecificConfig of the
 * stream. Decoded here: one program of one layer, audioMuxVersion 0 or 1
 * with audioMuxVersionA 0, one subframe per element, frameLengthType 0, other
 * data and CRC fields read and skipped. Other multiplexes are refused with
 * the FXAAC_ERR_LATM_* codes of fxaac.h.
 *
 *   LatmState latm;  AACPlusDecoderInit(&dec, &work);  AACPlusLatmInit(&latm);
 *   AACPlusDecodeLatm(&dec, &latm, data, bytes, pcm, &status);  // no header call
 *
 * The caller owns the LatmState (about 4 KB) beside the instance; the library
 * keeps no other state for it.
 */
#ifndef FXAAC_FXAAC_LATM_H
#define FXAAC_FXAAC_LATM_H

#include <fxaac/fxaac.h>

FXAAC_EXTERN_C_BEGIN

/* Longest AudioSpecificConfig kept, in bytes (real ones take 2 to 7; a
 * longer one is refused with FXAAC_ERR_LATM_CONFIG). */
#define FXAAC_LATM_CONFIG_BYTES 64
/* Longest payload, in bytes: more than the 3072 that two channels of
 * 6144-bit raw data blocks with over-stuffed fill data take (ISO/IEC
 * 13818-7); a longer payload is taken as damage (FXAAC_ERR_LATM_LENGTH). */
#define FXAAC_LATM_PAYLOAD_BYTES 4096
#define FXAAC_LATM_STATE_BYTES (28 + FXAAC_LATM_CONFIG_BYTES + FXAAC_LATM_PAYLOAD_BYTES)

/* The StreamMuxConfig in force (field names of ISO/IEC 14496-3 1.7.3). */
typedef struct LatmMuxConfig {
    uint8_t audioMuxVersion;           /* 0 or 1 */
    uint8_t allStreamsSameTimeFraming; /* 1 */
    uint8_t numSubFrames;              /* subframes per element minus 1: 0 */
    uint8_t frameLengthType;           /* 0: lengths in PayloadLengthInfo */
    uint8_t latmBufferFullness;
    uint8_t otherDataPresent;
    uint8_t crcCheckPresent;
    uint8_t crcCheckSum;                  /* read, not verified */
    uint32_t taraBufferFullness;          /* audioMuxVersion 1 only */
    uint32_t otherDataLenBits;            /* other data after the payload, in bits */
    uint32_t ascBits;                     /* length of the AudioSpecificConfig in bits */
    uint8_t asc[FXAAC_LATM_CONFIG_BYTES]; /* its bits from the first, zero-padded */
} LatmMuxConfig;

/* Caller-owned state of a LATM/LOAS stream, kept from one call to the next. */
typedef struct LatmState {
    LatmMuxConfig config; /* the last StreamMuxConfig met (a refused one as far as read) */
    int32_t configStatus; /* 0: config usable; FXAAC_ERR_LATM_NO_CONFIG before any;
                             else the code that refused it */
    int32_t payloadBytes; /* bytes of payload[] holding the last payload */
    uint8_t payload[FXAAC_LATM_PAYLOAD_BYTES]; /* the last payload, moved to a byte boundary */
} LatmState;

/* Empties the state: the next element must carry a StreamMuxConfig. */
FXAAC_API void AACPlusLatmInit(LatmState *latm);

/* Decodes one AudioMuxElement of a LOAS stream with the contract of
 * AACPlusDecodeBuffer: never reads at or past input + inputBytes, and on an
 * incomplete element fails with FXAAC_ERR_NEED_MORE_INPUT, bytesConsumed 0,
 * the instance and the state unchanged. Bytes in front of a sync word are
 * consumed with FXAAC_ERR_NO_SYNC. An element whose fields do not fit its
 * length (damage or a false sync word) fails with FXAAC_ERR_LATM_LENGTH,
 * consuming one byte. Any other element is consumed whole: a new or changed
 * StreamMuxConfig sets up the instance for its AudioSpecificConfig (an
 * unsupported one fails with its code, as do the elements that refer to it),
 * then the payload is decoded as one raw data block. Needs an initialised
 * instance (AACPlusDecoderInit; no header call); output as for AACPlusDecode.
 * Prints nothing. Returns 1 when the block was decoded (errorCode 0; no
 * samples for a block without channel elements), else -1. */
FXAAC_API int32_t AACPlusDecodeLatm(AacDecoder *instance, LatmState *latm, const uint8_t *input,
                                    int32_t inputBytes, void *output, FrameStatus *status);

FXAAC_EXTERN_C_END

FXAAC_STATIC_ASSERT(sizeof(LatmMuxConfig) == 20 + FXAAC_LATM_CONFIG_BYTES, "LatmMuxConfig layout");
FXAAC_STATIC_ASSERT(sizeof(LatmState) == FXAAC_LATM_STATE_BYTES, "LatmState layout");

#endif /* FXAAC_FXAAC_LATM_H */
