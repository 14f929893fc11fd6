// The SBR and PS tables of ISO/IEC 14496-3 that no formula gives.
#ifndef FXAAC_SBR_SBR_TABLES_H
#define FXAAC_SBR_SBR_TABLES_H

#include <cstdint>

namespace fxaac::sbr {

// A Huffman codebook as a binary decoding tree. The root is node 0; reading
// bit b at node i goes to nodes[i][b]: a value >= 0 is the next node, a value
// < 0 is a leaf holding the codebook index -(value + 1). The decoded delta is
// index - lav (lav 0 for the PS phase books: the index itself). Every code is
// complete, so every node has two children and a codeword of at most
// 20 bits ends at a leaf.
struct HuffmanTree {
    const int8_t (*nodes)[2];
    int16_t lav;
};

// SBR envelope and noise floor deltas (ISO/IEC 14496-3 4.A.6.1): in time (T)
// and frequency (F), 1.5 dB (15) and 3.0 dB (30) steps, balance (Bal) books
// for the second channel of a coupled pair. The frequency noise books are
// kSbrFEnv30 and kSbrFEnvBal30.
extern const HuffmanTree kSbrTEnv15, kSbrFEnv15, kSbrTEnvBal15, kSbrFEnvBal15;
extern const HuffmanTree kSbrTEnv30, kSbrFEnv30, kSbrTEnvBal30, kSbrFEnvBal30;
extern const HuffmanTree kSbrTNoise30, kSbrTNoiseBal30;

// Parametric stereo deltas (ISO/IEC 14496-3 8.B): IID (default and fine
// grid), ICC, IPD and OPD, in frequency (F) and time (T).
extern const HuffmanTree kPsIidDefF, kPsIidDefT, kPsIidFineF, kPsIidFineT;
extern const HuffmanTree kPsIccF, kPsIccT, kPsIpdF, kPsIpdT, kPsOpdF, kPsOpdT;

// The QMF prototype window c[i] of the analysis and synthesis banks in Q31
// (every |c| < 1).
extern const int32_t kQmfWindow[640];

// The HF adjuster's noise table V(i): re, im in Q15.
extern const int16_t kSbrNoise[512][2];

// Start-frequency offsets: k0 = startMin + kStartOffset[row][bs_start_freq],
// rows by the SBR rate fs_sbr: 16000, 22050, 24000, 32000, 44100 to 64000,
// above 64000 Hz.
extern const int8_t kStartOffset[6][16];

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_TABLES_H
