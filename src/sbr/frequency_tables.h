// The frequency band tables of an SBR header (ISO/IEC 14496-3 4.6.18.3.2):
// the master table, f_TableHigh and f_TableLow, the noise floor bands, the
// HF generator's patches (4.6.18.6.3) and the limiter bands (4.6.18.3.2.3).
//
// Integer arithmetic only. The standard states these tables with real
// logarithms and powers rounded to the nearest integer; here every such
// rounding is decided by an exact comparison of integers (x^p against y^q
// products of up to about 1200 bits), so the tables are those of exact
// arithmetic, which are the ones double precision gives for every header
// (tests/sbr/frequency_tables_test.cpp compares all of them).
//
// What valid tables guarantee: master, high, low and limiter bands are at
// least one subband wide; every table starts at kx; high, low and noise end
// at kx + M; patches are contiguous from kx and copy from subbands 1..k0-1.
// Two things they do not: a noise band can be empty (N_Q > N_low: 684 of the
// 1.55 million valid headers), and when the last patch was dropped the
// limiter table can end below kx + M, even below the last patched subband
// (36 thousand valid headers); the subbands above limiter[nLimiter] lie in
// no limiter band.
#ifndef FXAAC_SBR_FREQUENCY_TABLES_H
#define FXAAC_SBR_FREQUENCY_TABLES_H

#include <cstdint>

#include "sbr/sbr_types.h"

namespace fxaac::sbr {

// SBR output rates accepted, in Hz (twice the core rates 8000 to 48000).
constexpr int32_t kMinSbrRate = 16000;
constexpr int32_t kMaxSbrRate = 96000;

// Errors, in the order the tables are derived.
constexpr int32_t kErrSbrRate = -1;      // sbrRate outside kMinSbrRate..kMaxSbrRate
constexpr int32_t kErrHeaderField = -2;  // a header field outside its bit range
constexpr int32_t kErrBandLimits = -3;   // k2 <= k0, k2 > 64 or k2 - k0 above the rate's limit
constexpr int32_t kErrMasterTable = -4;  // no master band, a band of width 0 or too many bands
constexpr int32_t kErrCrossover = -5;    // bs_xover_band >= N_master, or M or N_high too large
constexpr int32_t kErrNoiseBands = -6;   // more than 5 noise floor bands
constexpr int32_t kErrPatches = -7;      // no patch or more than 5 patches

// k0, k2, nMaster and master[] from bs_start_freq, bs_stop_freq,
// bs_freq_scale and bs_alter_scale. 0 or one of the errors above.
int32_t build_master_table(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t);

// Everything else from t's master table (as build_master_table left it),
// bs_xover_band, bs_noise_bands and bs_limiter_bands. 0 or an error.
int32_t build_derived_tables(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t);

// All tables of header h at the SBR output rate sbrRate in Hz (twice the core
// rate; the downsampled output mode passes the doubled rate as well). 0, or
// a negative error, after which t holds no usable table.
int32_t build_frequency_tables(const SbrHeader &h, int32_t sbrRate, FrequencyTables *t);

// Whether the limiter band [lo, hi), 1 <= lo <= hi <= 64, spans fewer than
// 0.49 / L octaves, L = 1.2, 2, 3 for bs_limiter_bands 1..3.
bool limiter_band_too_narrow(int lo, int hi, int limiterBands);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_FREQUENCY_TABLES_H
