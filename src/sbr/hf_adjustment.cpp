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

// Bits lo .. hi - 1 of mask (0 <= lo < hi <= 64 - lo... any lo < 64, hi - lo <= 64).
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
SoftFloat mean_energy(const QmfRow *rows, int r0, int r1, int k0, int k1)
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
    return sf_div(sum, sf_from_int((r1 - r0) * (k1 - k0), 2 * kQmfExponent));
}

// E_curr per subband m - kx of the envelope in rows r0 .. r1 - 1.
void estimate_energies(const FrequencyTables &t, const uint8_t *band, int nBands, bool interpol,
                       const QmfRow *rows, int r0, int r1, SoftFloat *eCurr)
{
    if (interpol) {
        for (int m = 0; m < t.m; m++) {
            eCurr[m] = mean_energy(rows, r0, r1, t.kx + m, t.kx + m + 1);
        }
        return;
    }
    for (int p = 0; p < nBands; p++) {
        const SoftFloat e = mean_energy(rows, r0, r1, band[p], band[p + 1]);
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

// sum_j h_smooth(j) v[j]: taps aligned to the largest exponent, one rounding.
SoftFloat smooth(const SoftFloat *v)
{
    int32_t e = INT32_MIN;
    for (int j = 0; j <= kSmoothLength; j++) {
        if (v[j].m != 0 && v[j].e > e) {
            e = v[j].e;
        }
    }
    if (e == INT32_MIN) {
        return kSfZero;
    }
    uint64_t acc = 0;
    for (int j = 0; j <= kSmoothLength; j++) {
        const int32_t d = e - v[j].e;
        if (v[j].m != 0 && d < 31) {
            acc += static_cast<uint64_t>(v[j].m >> d) * static_cast<uint64_t>(kSmooth[j]);
        }
    }
    return sf_from_u64(acc, e - 30);
}

// G_Filt or Q_Filt of subband m at slot p (0-based) of an envelope: taps
// before the envelope come from the history.
SoftFloat smoothed(SoftFloat cur, const uint32_t (*hist)[kMaxHighBands], int histSlots, int m,
                   int p)
{
    SoftFloat v[kSmoothLength + 1];
    for (int j = 0; j <= kSmoothLength; j++) {
        const int back = j - p;  // slots before the envelope's first
        v[j] = back <= 0 ? cur : sf_unpack(hist[back <= histSlots ? 1 : 0][m]);
    }
    return smooth(v);
}

struct SlotContext {
    int kx;
    int bands;
    bool filter;  // smoothing in this envelope
    bool noise;   // delta(l)
};

// Y of one row: G X + Q V + S phi.
void assemble_row(HfAdjustState *s, const SlotContext &c, const HfAdjustWork *w, int p,
                  int32_t (*row)[2])
{
    const int sineIndex = s->indexSine;
    int index = s->indexNoise;
    for (int m = 0; m < c.bands; m++) {
        index = (index + 1) & (kNoiseTableSize - 1);
        SoftFloat g = w->gain[m];
        SoftFloat q = w->noise[m];
        if (c.filter && p < kSmoothLength) {
            g = smoothed(g, s->gainHist, s->smoothSlots, m, p);
            q = smoothed(q, s->noiseHist, s->smoothSlots, m, p);
        }
        int32_t *x = row[c.kx + m];
        int64_t re = sf_apply(x[0], g, 0);
        int64_t im = sf_apply(x[1], g, 0);
        if (w->sine[m].m != 0) {
            // phi(f_IndexSine) = 1, j, -1, -j; the imaginary part alternates with the subband.
            const int64_t a = sf_apply(1, w->sine[m], kQmfExponent);
            const int64_t sa = (sineIndex & 2) != 0 ? -a : a;
            if ((sineIndex & 1) == 0) {
                re += sa;
            } else {
                im += ((c.kx + m) & 1) != 0 ? -sa : sa;
            }
        } else if (c.noise) {
            re += sf_apply(kSbrNoise[index][0], q, kNoiseShift);
            im += sf_apply(kSbrNoise[index][1], q, kNoiseShift);
        }
        x[0] = re > INT32_MAX ? INT32_MAX : (re < INT32_MIN ? INT32_MIN : static_cast<int32_t>(re));
        x[1] = im > INT32_MAX ? INT32_MAX : (im < INT32_MIN ? INT32_MIN : static_cast<int32_t>(im));
    }
    s->indexNoise = static_cast<uint16_t>(index);
    s->indexSine = static_cast<uint8_t>((sineIndex + 1) & 3);
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
                  const SbrFrameData &f, int ch, QmfRow *rows, HfAdjustWork *w)
{
    if (ch < 0 || ch >= f.channels || f.channels > 2) {
        return kHfAdjustBadChannel;
    }
    if (!tables_ok(t)) {
        return kHfAdjustBadTables;
    }
    const SbrChannelData &c = f.ch[ch];
    const SbrGrid &g = c.grid;
    if (!grid_ok(g)) {
        return kHfAdjustBadGrid;
    }
    const uint64_t harmonics = harmonic_mask(t, c);
    EnvelopeInput in = {&f, ch, 0, 0, t.high, 0, true, kLimiterGain2[h.limiterGains & 3]};
    SlotContext sc = {t.kx, t.m, false, true};
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
                          w->eCurr);
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
        sc.filter = h.smoothingMode == 0 && in.delta;
        sc.noise = in.delta;
        for (int r = r0; r < r1; r++) {
            assemble_row(s, sc, w, r - r0, rows[r]);
        }
        push_history(s, w, t.m, r1 - r0);
    }
    s->sinePrev = sines;
    s->transientNext = g.pointer == g.numEnv ? 1 : 0;
    return kHfAdjustOk;
}

}  // namespace fxaac::sbr
