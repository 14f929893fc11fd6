// The records shared by the stages of the SBR decoder (spectral band
// replication, ISO/IEC 14496-3 4.6.18) for 1024-sample core frames: the
// header, the frequency band tables, the time grid and the decoded data of
// one channel, and the QMF work matrix. All sizes are named here.
//
// Time axis of one frame (ISO/IEC 14496-3 4.6.18.2): 16 SBR time slots of
// RATE = 2 QMF slots each. The work matrix holds 40 QMF rows of 64 complex
// subband samples:
//   rows 0..7    the previous frame's last 8 analysis slots (t_HFGen = 8)
//   rows 8..39   this frame's 32 analysis slots
// The envelope time grid counts from row t_HFAdj = 2: time slot t covers
// rows 2 + 2t and 3 + 2t. Output slot l (0..31) is row l + 2, so the decoder
// delays by t_HFGen - t_HFAdj = 6 QMF slots.
//
// QMF sample format: X = X_iso * 2^kQmfExponent, X_iso being the subband
// sample of ISO/IEC 14496-3 for PCM input in 16-bit units (full scale
// 32768). Analysis of any int32 input gives |X| < 2^27 (the window's
// absolute sum bounds the bank's gain below 2^7), so a sum of 64 complex
// products of two samples fits in int64.
#ifndef FXAAC_SBR_SBR_TYPES_H
#define FXAAC_SBR_SBR_TYPES_H

#include <cstdint>

namespace fxaac::sbr {

constexpr int kTimeSlots = 16;              // numTimeSlots of a 1024-sample frame
constexpr int kRate = 2;                    // QMF slots per SBR time slot
constexpr int kSlots = kTimeSlots * kRate;  // 32 QMF slots per frame
constexpr int kHfGen = 8;                   // t_HFGen: rows kept from the previous frame
constexpr int kHfAdj = 2;                   // t_HFAdj: row of time slot 0
constexpr int kRows = kSlots + kHfGen;      // 40 rows of the work matrix
constexpr int kBands = 64;                  // QMF subbands at the output rate
constexpr int kLowBands = 32;               // QMF subbands of the analysis bank
constexpr int kQmfExponent = 5;             // X = X_iso * 2^5
// A frame's analysis may run on its input shifted left by a block exponent
// of 0..kMaxBlockScale (the rows then hold X * 2^scale): quiet signals keep
// their precision through the HF adjuster's large gains.
constexpr int kMaxBlockScale = 24;

constexpr int kMaxEnvelopes = 5;       // L_E
constexpr int kMaxNoiseEnvelopes = 2;  // L_Q
constexpr int kMaxMasterBands = 64;    // N_master
constexpr int kMaxHighBands = 48;      // N_high (M <= 48 subbands)
constexpr int kMaxLowBands = (kMaxHighBands + 1) / 2;
constexpr int kMaxNoiseBands = 5;           // N_Q
constexpr int kMaxLimiterBands = 32;        // N_L
constexpr int kMaxPatches = 6;              // numPatches (5 allowed, one spare for the check)
constexpr int kMaxBorder = kTimeSlots + 3;  // last envelope border: 16 + bs_var_bord_1 (0..3)

// One row of the work matrix: 64 complex samples, [band][0 re, 1 im].
using QmfRow = int32_t[kBands][2];

// sbr_header() (ISO/IEC 14496-3 4.5.2.8.1), with the defaults of the optional
// parts applied when bs_header_extra_1 or _2 is 0.
struct SbrHeader {
    uint8_t ampRes;         // bs_amp_res: 0 1.5 dB, 1 3.0 dB steps
    uint8_t startFreq;      // bs_start_freq, 0..15
    uint8_t stopFreq;       // bs_stop_freq, 0..15
    uint8_t xoverBand;      // bs_xover_band, 0..7
    uint8_t freqScale;      // bs_freq_scale, 0..3 (default 2)
    uint8_t alterScale;     // bs_alter_scale (default 1)
    uint8_t noiseBands;     // bs_noise_bands, 0..3 (default 2)
    uint8_t limiterBands;   // bs_limiter_bands, 0..3 (default 2)
    uint8_t limiterGains;   // bs_limiter_gains, 0..3 (default 2)
    uint8_t interpolFreq;   // bs_interpol_freq (default 1)
    uint8_t smoothingMode;  // bs_smoothing_mode (default 1)
    uint8_t reserved;
};
static_assert(sizeof(SbrHeader) == 12, "SbrHeader layout");

// The frequency band tables of one header (ISO/IEC 14496-3 4.6.18.3): QMF
// subband indices, each table with its count of bands (entries = count + 1).
struct FrequencyTables {
    uint8_t k0, k2;  // first and last-plus-one subband of the master table
    uint8_t kx, m;   // first SBR subband and the number of SBR subbands
    uint8_t nMaster, nHigh, nLow, nNoise, nLimiter;
    uint8_t numPatches;
    uint8_t master[kMaxMasterBands + 1];
    uint8_t high[kMaxHighBands + 1];  // f_TableHigh, high[0] = kx
    uint8_t low[kMaxLowBands + 1];    // f_TableLow
    uint8_t noise[kMaxNoiseBands + 1];
    uint8_t limiter[kMaxLimiterBands + 1];
    uint8_t patchBands[kMaxPatches];  // patchNumSubbands
    uint8_t patchStart[kMaxPatches];  // patchStartSubband
};

// Frame classes of sbr_grid().
enum FrameClass : uint8_t { kFixFix = 0, kFixVar = 1, kVarFix = 2, kVarVar = 3 };

// The time grid of one channel and frame (ISO/IEC 14496-3 4.6.18.3.3), in SBR
// time slots: envelope l spans [env[l], env[l+1]), noise floor q spans
// [noise[q], noise[q+1]). env[0] >= 0, env[numEnv] <= kMaxBorder.
struct SbrGrid {
    uint8_t frameClass;
    uint8_t numEnv;                         // L_E, 1..5
    uint8_t numNoise;                       // L_Q, 1..2
    int8_t pointer;                         // l_A: the envelope where a transient starts, -1 none
    uint8_t env[kMaxEnvelopes + 1];         // t_E
    uint8_t noise[kMaxNoiseEnvelopes + 1];  // t_Q
    uint8_t freqRes[kMaxEnvelopes];         // r(l): 0 low (f_TableLow), 1 high
};

// One channel's decoded data of a frame, its deltas resolved: absolute
// quantised envelope scalefactors E(k,l) and noise floors Q(k,l) in steps of
// the frame's amplitude resolution (for the second channel of a coupled pair:
// the balance values, already doubled as ISO/IEC 14496-3 4.6.18.3.5 says).
struct SbrChannelData {
    SbrGrid grid;
    uint8_t ampRes;  // the resolution in force: 0 when FIXFIX with one envelope
    uint8_t addHarmonicFlag;
    uint8_t invfMode[kMaxNoiseBands];  // bs_invf_mode per noise band
    uint8_t dfEnv[kMaxEnvelopes];      // 1: delta coded in time
    uint8_t dfNoise[kMaxNoiseEnvelopes];
    int16_t envelope[kMaxEnvelopes][kMaxHighBands];          // E, bands of freqRes[l]
    int16_t noiseFloor[kMaxNoiseEnvelopes][kMaxNoiseBands];  // Q
    uint8_t addHarmonic[kMaxHighBands];                      // bs_add_harmonic per f_TableHigh band
};

// sbr_data() of one element: one channel (SCE) or two (CPE).
struct SbrFrameData {
    uint8_t channels;  // 1 or 2
    uint8_t coupling;  // bs_coupling of a channel pair
    SbrChannelData ch[2];
};

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_TYPES_H
