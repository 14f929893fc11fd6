// SBR HF adjustment (ISO/IEC 14496-3 4.6.18.7), one envelope at a time:
//   1. map the sinusoids of bs_add_harmonic to the middle subband of their
//      f_TableHigh band (new ones start at envelope l_A, or at the frame start
//      when l_A is -1; running ones continue from the previous frame),
//   2. estimate E_curr from X_High, per subband (bs_interpol_freq) or per
//      scalefactor band,
//   3. per limiter band: G, Q_M, S_M from E_orig and Q_orig, the limiter
//      G_max (bs_limiter_gains, capped at 10^10 in energy), the boost (capped
//      at 1.584893192 in amplitude), all in energy terms, square roots last,
//   4. per QMF slot: smooth G and Q_M over h_SL = 4 slots with the five-tap
//      filter (not with bs_smoothing_mode 1 nor in a transient's envelope),
//      Y = G X + Q V(f_IndexNoise) (no noise in a transient's envelope nor in a
//      band with a sinusoid) + S phi(f_IndexSine).
// An envelope is a transient's (delta(l) = 0) when l = l_A, or l = 0 when the
// previous frame's l_A was its L_E.
#include "sbr/hf_adjustment.h"

#include "dsp/kernels.h"
#include "sbr/envelope_dequant.h"
#include "sbr/sbr_tables.h"

namespace fxaac::sbr {

namespace {

// h_smooth(j), j = 0..4, in Q30; they sum to exactly 2^30, so equal taps give
// back their value bit for bit.
constexpr int32_t kSmooth[kSmoothLength + 1] = {357913942, 323736201, 234257716, 123656225,
                                                34177740};

// limGain^2 for bs_limiter_gains 0..3: (0.70795, 1.0, 1.41254, 10^10)^2.
constexpr SoftFloat kLimiterGain2[4] = {
    {1076304207, -31}, {kSfMantMin, -30}, {2142404046, -30}, {1455191523, 36}};
constexpr SoftFloat kGainMax2 = {1250000000, 3};     // 10^10: G_max <= 10^5
constexpr SoftFloat kBoostMax2 = {1348558759, -29};  // 1.584893192^2
constexpr SoftFloat kEps0 = {1180591621, -70};       // 10^-12
constexpr int kNoiseShift = kQmfExponent - 15;       // V in Q15, Q_M in X_iso units

bool table_ok(const uint8_t *b, int n, int maxBands, int first, int end)
{
    if (n < 1 || n > maxBands || b[0] != first || b[n] != end) {
        return false;
    }
    for (int i = 0; i < n; i++) {
        if (b[i] >= b[i + 1]) {
            return false;
        }
    }
    return true;
}

bool tables_ok(const FrequencyTables &t)
{
    const int kx = t.kx;
    const int end = t.kx + t.m;
    return t.m >= 1 && t.m <= kMaxHighBands && end <= kBands &&
           table_ok(t.high, t.nHigh, kMaxHighBands, kx, end) &&
           table_ok(t.low, t.nLow, kMaxLowBands, kx, end) &&
           table_ok(t.noise, t.nNoise, kMaxNoiseBands, kx, end) &&
           table_ok(t.limiter, t.nLimiter, kMaxLimiterBands, kx, end);
}

bool grid_ok(const SbrGrid &g)
{
    if (g.numEnv < 1 || g.numEnv > kMaxEnvelopes || g.numNoise < 1 ||
        g.numNoise > kMaxNoiseEnvelopes || g.env[g.numEnv] > kMaxBorder) {
        return false;
    }
    for (int l = 0; l < g.numEnv; l++) {
        if (g.env[l] >= g.env[l + 1]) {
            return false;
        }
    }
    return true;
}

// Bits lo .. hi - 1 of mask, shifted down to bit 0 (0 <= lo < hi <= 64).
uint64_t mask_bits(uint64_t mask, int lo, int hi)
{
    const int n = hi - lo;
    return (mask >> lo) & (n >= 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1);
}

// Bit m - kx for the middle subband of every f_TableHigh band with bs_add_harmonic.
uint64_t harmonic_mask(const FrequencyTables &t, const SbrChannelData &c)
{
    uint64_t mask = 0;
    if (c.addHarmonicFlag == 0) {
        return 0;
    }
    for (int j = 0; j < t.nHigh; j++) {
        if (c.addHarmonic[j] != 0) {
            mask |= uint64_t{1} << ((t.high[j] + t.high[j + 1]) / 2 - t.kx);
        }
    }
    return mask;
}

// Sum of |X|^2 over subbands k0 .. k1 - 1 and rows r0 .. r1 - 1, divided by
// the cell count and 2^(2 kQmfExponent). Exact 64-bit sums of the high and low
// words of every square: no overflow for any int32 samples.
SoftFloat mean_energy(const QmfRow *rows, int r0, int r1, int k0, int k1, int xScale)
{
    uint64_t hi = 0;
    uint64_t lo = 0;
    for (int r = r0; r < r1; r++) {
        for (int k = k0; k < k1; k++) {
            const int64_t re = rows[r][k][0];
            const int64_t im = rows[r][k][1];
            const uint64_t sq = static_cast<uint64_t>(re * re) + static_cast<uint64_t>(im * im);
            hi += sq >> 32;
            lo += sq & 0xffffffffu;
        }
    }
    const SoftFloat sum = sf_add(sf_from_u64(hi, 32), sf_from_u64(lo, 0));
    return sf_div(sum, sf_from_int((r1 - r0) * (k1 - k0), 2 * (kQmfExponent + xScale)));
}

// E_curr per subband m - kx of the envelope in rows r0 .. r1 - 1.
void estimate_energies(const FrequencyTables &t, const uint8_t *band, int nBands, bool interpol,
                       const QmfRow *rows, int r0, int r1, int xScale, SoftFloat *eCurr)
{
    if (interpol) {
        for (int m = 0; m < t.m; m++) {
            eCurr[m] = mean_energy(rows, r0, r1, t.kx + m, t.kx + m + 1, xScale);
        }
        return;
    }
    for (int p = 0; p < nBands; p++) {
        const SoftFloat e = mean_energy(rows, r0, r1, band[p], band[p + 1], xScale);
        for (int k = band[p]; k < band[p + 1]; k++) {
            eCurr[k - t.kx] = e;
        }
    }
}

// What one envelope's gains need besides the work arrays.
struct EnvelopeInput {
    const SbrFrameData *f;
    int ch;
    int l;
    int q;                // noise floor of the envelope
    const uint8_t *band;  // f_TableHigh or f_TableLow
    uint64_t sines;       // S_IndexMapped, bit m - kx
    bool delta;           // delta(l): 0 in a transient's envelope
    SoftFloat limGain2;
};

// G^2, Q_M^2, S_M^2 per subband and sum E_orig, sum E_curr of limiter band
// [k0, k1) (QMF subbands); the scalefactor and noise bands are walked along.
struct BandCursor {
    int p = 0;  // scalefactor band
    int n = 0;  // noise band
    SoftFloat eOrig = kSfZero;
    SoftFloat qOrig = kSfZero;
    bool sineBand = false;  // S_Mapped
};

void raw_gains(const FrequencyTables &t, const EnvelopeInput &in, int k0, int k1, BandCursor *c,
               HfAdjustWork *w, SoftFloat *sumOrig, SoftFloat *sumCurr)
{
    *sumOrig = kEps0;
    *sumCurr = kEps0;
    for (int k = k0; k < k1; k++) {
        if (k == t.kx || k >= in.band[c->p + 1]) {
            c->p += (k == t.kx) ? 0 : 1;
            c->eOrig = envelope_energy(*in.f, in.ch, in.l, c->p);
            c->sineBand = mask_bits(in.sines, in.band[c->p] - t.kx, in.band[c->p + 1] - t.kx) != 0;
        }
        if (k == t.kx || k >= t.noise[c->n + 1]) {
            c->n += (k == t.kx) ? 0 : 1;
            c->qOrig = noise_floor_level(*in.f, in.ch, in.q, c->n);
        }
        const int m = k - t.kx;
        const SoftFloat onePlusQ = sf_add(kSfOne, c->qOrig);
        const SoftFloat onePlusE = sf_add(kSfOne, w->eCurr[m]);
        const SoftFloat eByQ = sf_div(c->eOrig, onePlusQ);  // E_orig / (1 + Q_orig)
        w->noise[m] = sf_mul(eByQ, c->qOrig);
        w->sine[m] = ((in.sines >> m) & 1) != 0 ? eByQ : kSfZero;
        if (c->sineBand) {
            w->gain[m] = sf_div(w->noise[m], onePlusE);
        } else {
            w->gain[m] = sf_div(in.delta ? eByQ : c->eOrig, onePlusE);
        }
        *sumOrig = sf_add(*sumOrig, c->eOrig);
        *sumCurr = sf_add(*sumCurr, w->eCurr[m]);
    }
}

// The limiter and the boost of limiter band [k0, k1), leaving amplitudes
// G_LimBoost, Q_MLimBoost and S_MBoost in the work arrays.
void limit_band(const FrequencyTables &t, const EnvelopeInput &in, int k0, int k1,
                SoftFloat sumOrig, SoftFloat sumCurr, HfAdjustWork *w)
{
    const SoftFloat gMax = sf_min(sf_mul(in.limGain2, sf_div(sumOrig, sumCurr)), kGainMax2);
    SoftFloat sumOut = kEps0;
    for (int m = k0 - t.kx; m < k1 - t.kx; m++) {
        if (sf_cmp(w->gain[m], gMax) > 0) {
            w->noise[m] = sf_mul(w->noise[m], sf_div(gMax, w->gain[m]));
            w->gain[m] = gMax;
        }
        SoftFloat out = sf_add(sf_mul(w->eCurr[m], w->gain[m]), w->sine[m]);
        if (in.delta && w->sine[m].m == 0) {
            out = sf_add(out, w->noise[m]);
        }
        sumOut = sf_add(sumOut, out);
    }
    const SoftFloat boost = sf_min(sf_div(sumOrig, sumOut), kBoostMax2);
    for (int m = k0 - t.kx; m < k1 - t.kx; m++) {
        w->gain[m] = sf_sqrt(sf_mul(w->gain[m], boost));
        w->noise[m] = sf_sqrt(sf_mul(w->noise[m], boost));
        w->sine[m] = sf_sqrt(sf_mul(w->sine[m], boost));
    }
}

// Weights (Q30) of the current value and of the newest and older history
// values in G_Filt at slot p = 0 .. h_SL - 1 of an envelope, the newest
// history value holding the last histSlots slots.
void smoothing_weights(int histSlots, int32_t (*wt)[3])
{
    for (int p = 0; p < kSmoothLength; p++) {
        wt[p][0] = wt[p][1] = wt[p][2] = 0;
        for (int j = 0; j <= kSmoothLength; j++) {
            const int back = j - p;  // slots before the envelope's first
            wt[p][back <= 0 ? 0 : (back <= histSlots ? 1 : 2)] += kSmooth[j];
        }
    }
}

// wt[0] v[0] + wt[1] v[1] + wt[2] v[2] (weights summing to 2^30): aligned to
// the largest exponent, one rounding; equal values come back bit for bit.
SoftFloat mix(const SoftFloat *v, const int32_t *wt)
{
    int32_t e = INT32_MIN;  // the largest exponent of a tap that counts
    for (int j = 0; j < 3; j++) {
        if (v[j].m != 0 && wt[j] != 0 && v[j].e > e) {
            e = v[j].e;
        }
    }
    if (e == INT32_MIN) {
        return kSfZero;
    }
    uint64_t acc = 0;
    for (int j = 0; j < 3; j++) {
        const int32_t d = e - v[j].e;
        if (v[j].m != 0 && wt[j] != 0 && d < 31) {
            acc += static_cast<uint64_t>(v[j].m >> d) * static_cast<uint64_t>(wt[j]);
        }
    }
    return sf_from_u64(acc, e - 30);
}

// A factor a * 2^s as a 32-bit multiplier and a shift: x * a * 2^s ~
// (x * mul + round) >> shift. A negative shift (a factor of 2^31 or more, a
// noise level far beyond any output) shifts left, clamped to +-2^62.
struct FixedGain {
    int64_t round;
    int32_t mul;
    int32_t shift;  // -62 .. 62
};

FixedGain fixed_gain(SoftFloat a, int32_t s)
{
    const int32_t sh = -(a.e + s);
    if (a.m == 0 || sh >= 63) {
        return {0, 0, 0};
    }
    if (sh <= 0) {
        return {0, a.m, sh < -62 ? -62 : sh};
    }
    return {int64_t{1} << (sh - 1), a.m, sh};
}

// x * g for g.shift >= 0 (every gain G).
inline int64_t scale_down(int32_t x, const FixedGain &g)
{
    return (static_cast<int64_t>(x) * g.mul + g.round) >> g.shift;
}

// A noise level as the multiplier of V * 2^16 in a rounded high-word product
// (one instruction on ARM): q * 2^16 rounded, for q.shift >= 16 (levels below
// 2^15 times V's unit). Error of the product: at most 1/4 + 1/2 unit of X.
int32_t noise_multiplier(const FixedGain &q)
{
    const int d = q.shift - 16;
    if (d <= 0) {
        return q.mul;  // d == 0 only: callers check q.shift >= 16
    }
    return d >= 32
               ? 0
               : static_cast<int32_t>((static_cast<int64_t>(q.mul) + (int64_t{1} << (d - 1))) >> d);
}

// round(v * 2^16 * hi * 2^-32), |result| < 2^30.
inline int32_t scale_noise(int16_t v, int32_t hi)
{
    return static_cast<int32_t>((static_cast<int64_t>(v * 65536) * hi + (int64_t{1} << 31)) >> 32);
}

// x * g, |result| <= 2^62.
int64_t scale(int32_t x, const FixedGain &g)
{
    const int64_t p = static_cast<int64_t>(x) * g.mul;  // |p| < 2^62
    if (g.shift >= 0) {
        return (p + g.round) >> g.shift;
    }
    const int n = -g.shift;
    const int64_t mag = p < 0 ? -p : p;
    if (mag >= (int64_t{1} << (62 - n))) {
        return p < 0 ? -(int64_t{1} << 62) : int64_t{1} << 62;
    }
    return p * (int64_t{1} << n);
}

int32_t sat32(int64_t v)
{
    return v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v));
}

struct EnvelopeSlots {
    int xScale;  // X_High holds X * 2^xScale; Y is written at the format's own scale
    int kx;
    int bands;
    int r0, r1;   // rows of the envelope
    bool filter;  // smoothing in this envelope
    bool noise;   // delta(l): noise floor added
    int32_t weights[kSmoothLength][3];
};

// G_Filt (or Q_Filt) at the first slots of the envelope, for subband m.
void smoothed_gains(SoftFloat cur, const uint32_t (*hist)[kMaxHighBands], int m, int count,
                    const EnvelopeSlots &e, int32_t s, FixedGain *out)
{
    const SoftFloat v[3] = {cur, sf_unpack(hist[1][m]), sf_unpack(hist[0][m])};
    for (int p = 0; p < count; p++) {
        out[p] = fixed_gain(mix(v, e.weights[p]), s);
    }
}

// Y = G X (+ Q V(f_IndexNoise) with kNoise) + S phi(f_IndexSine) over rows
// r0 .. r1 - 1 of subband k; f_IndexNoise steps by the subband count per row
// and f_IndexSine by one. phi = 1, j, -1, -j, the sign of its imaginary part
// alternating with the subband.
// kDown: G shifted right only (always) and the noise level below 2^15 times
// V's unit, applied by scale_noise (every stream whose Q_M stays below 2^20).
template <bool kNoise, bool kDown>
void apply_rows(QmfRow *rows, int k, int r0, int r1, FixedGain g, FixedGain q, int64_t sine,
                int noiseIndex, int noiseStep, int sineIndex)
{
    const int64_t sineIm = (k & 1) != 0 ? -sine : sine;
    const int32_t qHi = kDown && kNoise ? noise_multiplier(q) : 0;
    for (int r = r0; r < r1; r++) {
        int32_t *x = rows[r][k];
        int64_t re = kDown ? scale_down(x[0], g) : scale(x[0], g);
        int64_t im = kDown ? scale_down(x[1], g) : scale(x[1], g);
        if (kNoise) {
            const int16_t *v = kSbrNoise[noiseIndex & (kNoiseTableSize - 1)];
            re += kDown ? scale_noise(v[0], qHi) : scale(v[0], q);
            im += kDown ? scale_noise(v[1], qHi) : scale(v[1], q);
        }
        if (sine != 0) {
            switch (sineIndex & 3) {
            case 0: re += sine; break;
            case 1: im += sineIm; break;
            case 2: re -= sine; break;
            default: im -= sineIm; break;
            }
        }
        x[0] = sat32(re);
        x[1] = sat32(im);
        noiseIndex += noiseStep;
        sineIndex += 1;
    }
}

// Y = G X + Q V(f_IndexNoise) + S phi(f_IndexSine) for subband m of every
// row of the envelope; f_IndexNoise and f_IndexSine count from s's values.
void assemble_band(const HfAdjustState *s, const EnvelopeSlots &e, const HfAdjustWork *w, int m,
                   QmfRow *rows)
{
    const int filtered = e.filter ? (e.r1 - e.r0 < kSmoothLength ? e.r1 - e.r0 : kSmoothLength) : 0;
    const bool noise = e.noise && w->sine[m].m == 0;  // no noise where a sinusoid is
    FixedGain g[kSmoothLength + 1];
    FixedGain q[kSmoothLength + 1] = {};  // no noise: all zero
    g[kSmoothLength] = fixed_gain(w->gain[m], -e.xScale);
    q[kSmoothLength] = noise ? fixed_gain(w->noise[m], kNoiseShift) : FixedGain{0, 0, 0};
    smoothed_gains(w->gain[m], s->gainHist, m, filtered, e, -e.xScale, g);
    if (noise) {
        smoothed_gains(w->noise[m], s->noiseHist, m, filtered, e, kNoiseShift, q);
    }
    // S phi: clamped far beyond the int32 range. With |G X| < 2^49
    // (G <= 10^5 * 1.585) and |Q V| <= 2^62 the sum fits int64.
    int64_t sine = sf_apply(1, w->sine[m], kQmfExponent);
    sine = sine > (int64_t{1} << 40) ? int64_t{1} << 40 : sine;
    const int k = e.kx + m;
    const int noiseIndex = s->indexNoise + m + 1;  // f_IndexNoise of the first row
    for (int p = 0; p <= filtered; p++) {          // the smoothed rows one by one, then the rest
        const int i = p < filtered ? p : kSmoothLength;
        const int r1 = p < filtered ? e.r0 + p + 1 : e.r1;
        const bool down = g[i].shift >= 0 && (!noise || q[i].shift >= 16);
        if (down && sine == 0) {  // the common case as a kernel; no noise is a level of 0
            sbr_adjust_rows(rows[e.r0 + p][k], r1 - e.r0 - p, g[i].mul, g[i].shift,
                            noise ? noise_multiplier(q[i]) : 0, noiseIndex + p * e.bands, e.bands);
            continue;
        }
        auto apply = noise ? (down ? apply_rows<true, true> : apply_rows<true, false>)
                           : (down ? apply_rows<false, true> : apply_rows<false, false>);
        apply(rows, k, e.r0 + p, r1, g[i], q[i], sine, noiseIndex + p * e.bands, e.bands,
              s->indexSine + p);
    }
}

// The history after an envelope of n slots with values w.
void push_history(HfAdjustState *s, const HfAdjustWork *w, int bands, int n)
{
    const int keep = n >= kSmoothLength ? 1 : 0;  // the older value still counts
    for (int m = 0; m < bands; m++) {
        s->gainHist[0][m] = keep != 0 ? sf_pack(w->gain[m]) : s->gainHist[1][m];
        s->noiseHist[0][m] = keep != 0 ? sf_pack(w->noise[m]) : s->noiseHist[1][m];
        s->gainHist[1][m] = sf_pack(w->gain[m]);
        s->noiseHist[1][m] = sf_pack(w->noise[m]);
    }
    s->smoothSlots = static_cast<uint8_t>(n >= kSmoothLength ? kSmoothLength : n);
}

}  // namespace

void hf_adjust_reset(HfAdjustState *s) { *s = HfAdjustState{}; }

void hf_adjust_restart(HfAdjustState *s)
{
    s->smoothSlots = 0;
    s->sinePrev = 0;
}

int32_t hf_adjust(HfAdjustState *s, const SbrHeader &h, const FrequencyTables &t,
                  const SbrFrameData &f, int ch, QmfRow *rows, HfAdjustWork *w, int xScale)
{
    if (ch < 0 || ch >= f.channels || f.channels > 2) {
        return kHfAdjustBadChannel;
    }
    if (!tables_ok(t)) {
        return kHfAdjustBadTables;
    }
    const SbrChannelData &c = f.ch[ch];
    const bool coupled = f.channels == 2 && f.coupling != 0;
    const SbrGrid &g = coupled ? f.ch[0].grid : c.grid;  // a coupled pair shares ch 0's
    if (!grid_ok(g)) {
        return kHfAdjustBadGrid;
    }
    const uint64_t harmonics = harmonic_mask(t, c);
    EnvelopeInput in = {&f, ch, 0, 0, t.high, 0, true, kLimiterGain2[h.limiterGains & 3]};
    EnvelopeSlots es = {};
    es.xScale = xScale;
    es.kx = t.kx;
    es.bands = t.m;
    uint64_t sines = 0;
    for (int l = 0; l < g.numEnv; l++) {
        const int r0 = kHfAdj + kRate * g.env[l];
        const int r1 = kHfAdj + kRate * g.env[l + 1];
        const bool high = g.freqRes[l] != 0;
        in.l = l;
        in.q = (g.numNoise > 1 && g.env[l] >= g.noise[1]) ? 1 : 0;
        in.band = high ? t.high : t.low;
        sines = harmonics & (l >= g.pointer ? ~uint64_t{0} : s->sinePrev);
        in.sines = sines;
        in.delta = !(l == g.pointer || (l == 0 && s->transientNext != 0));
        estimate_energies(t, in.band, high ? t.nHigh : t.nLow, h.interpolFreq != 0, rows, r0, r1,
                          xScale, w->eCurr);
        BandCursor cursor;
        for (int k = 0; k < t.nLimiter; k++) {
            SoftFloat sumOrig;
            SoftFloat sumCurr;
            raw_gains(t, in, t.limiter[k], t.limiter[k + 1], &cursor, w, &sumOrig, &sumCurr);
            limit_band(t, in, t.limiter[k], t.limiter[k + 1], sumOrig, sumCurr, w);
        }
        if (s->smoothSlots == 0) {  // after a reset the history starts as this envelope
            push_history(s, w, t.m, kSmoothLength);
        }
        es.r0 = r0;
        es.r1 = r1;
        es.filter = h.smoothingMode == 0 && in.delta;
        es.noise = in.delta;
        smoothing_weights(s->smoothSlots, es.weights);
        for (int m = 0; m < t.m; m++) {
            assemble_band(s, es, w, m, rows);
        }
        s->indexNoise = static_cast<uint16_t>((s->indexNoise + (r1 - r0) * t.m) &
                                              (kNoiseTableSize - 1));
        s->indexSine = static_cast<uint8_t>((s->indexSine + r1 - r0) & 3);
        push_history(s, w, t.m, r1 - r0);
    }
    s->sinePrev = sines;
    s->transientNext = g.pointer == g.numEnv ? 1 : 0;
    return kHfAdjustOk;
}

}  // namespace fxaac::sbr

// The portable kernel: Y = G X + Q V(f_IndexNoise) for one subband over
// `rows` rows of the work matrix from x (rows 64 complex samples apart), G
// as a multiplier and a right shift (0 to 62), Q as the rounded high-word
// multiplier of V * 2^16 (0: no noise); saturated to int32.
void fxaac::sbr_adjust_rows_c(int32_t *x, int32_t rows, int32_t mul, int32_t shift, int32_t qHi,
                              int32_t noiseIndex, int32_t noiseStep)
{
    using namespace fxaac::sbr;
    const FixedGain g{shift > 0 ? int64_t{1} << (shift - 1) : 0, mul, shift};
    for (int32_t r = 0; r < rows; r++, x += 2 * kBands, noiseIndex += noiseStep) {
        const int16_t *v = kSbrNoise[noiseIndex & (kNoiseTableSize - 1)];
        x[0] = sat32(scale_down(x[0], g) + scale_noise(v[0], qHi));
        x[1] = sat32(scale_down(x[1], g) + scale_noise(v[1], qHi));
    }
}
