// Dequantisation of the SBR envelope and noise floor data (ISO/IEC 14496-3
// 4.6.18.3.5): every value is a power of 2^(1/2), so sf_pow2_half gives it
// exactly and a coupled pair costs one addition and one division.
#include "sbr/envelope_dequant.h"

namespace fxaac::sbr {

namespace {

constexpr int kPanOffset[2] = {24, 12};  // PAN_OFFSET of envelopes by ampRes (1.5, 3.0 dB)
constexpr int kNoisePanOffset = 12;      // PAN_OFFSET of noise floors
constexpr int kNoiseFloorOffset = 6;     // NOISE_FLOOR_OFFSET
constexpr int kQuantMin = -128;          // clamp of the quantised values
constexpr int kQuantMax = 255;

int clamp_quant(int v) { return v < kQuantMin ? kQuantMin : (v > kQuantMax ? kQuantMax : v); }

// Doubled exponent x of 2^(v/a): 2^(x/2) == 2^(v/a).
int half_steps(int v, int ampRes) { return ampRes != 0 ? 2 * v : v; }

bool coupled(const SbrFrameData &f) { return f.channels == 2 && f.coupling != 0; }

// level / (1 + 2^(+-x/2)): ch 0 takes 2^(-x/2), ch 1 2^(x/2), x = (E_1 - 12) doubled steps.
SoftFloat pan(SoftFloat level, int x, int ch)
{
    return sf_div(level, sf_add(kSfOne, sf_pow2_half(ch == 0 ? -x : x)));
}

}  // namespace

SoftFloat envelope_energy(const SbrFrameData &f, int ch, int l, int i)
{
    if (!coupled(f)) {
        const SbrChannelData &c = f.ch[ch];
        return sf_pow2_half(12 + half_steps(clamp_quant(c.envelope[l][i]), c.ampRes));
    }
    const SbrChannelData &lev = f.ch[0];
    const SbrChannelData &bal = f.ch[1];
    const SoftFloat level = sf_pow2_half(14 +
                                         half_steps(clamp_quant(lev.envelope[l][i]), lev.ampRes));
    const int offset = kPanOffset[lev.ampRes != 0 ? 1 : 0];
    return pan(level, half_steps(clamp_quant(bal.envelope[l][i]) - offset, lev.ampRes), ch);
}

SoftFloat noise_floor_level(const SbrFrameData &f, int ch, int q, int i)
{
    if (!coupled(f)) {
        return sf_pow2_half(2 * (kNoiseFloorOffset - clamp_quant(f.ch[ch].noiseFloor[q][i])));
    }
    const SoftFloat level = sf_pow2_half(
        2 * (kNoiseFloorOffset + 1 - clamp_quant(f.ch[0].noiseFloor[q][i])));
    return pan(level, 2 * (clamp_quant(f.ch[1].noiseFloor[q][i]) - kNoisePanOffset), ch);
}

}  // namespace fxaac::sbr
