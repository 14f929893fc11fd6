#include "ps/ps_decoder.h"

#include <cstddef>
#include <cstring>

#include "dsp/kernels.h"
#include "ps/ps_tables.h"

namespace fxaac::ps {

namespace {

constexpr int32_t kInputLimit = 1 << 27;
constexpr int32_t kOutputLimit = 1 << 30;
// Transient detection (ISO/IEC 14496-3 8.6.4.5.3): peak decay factor in Q16,
// smoothing weight 1/4 (a shift of 2), transient impact 1.5.
constexpr int64_t kPeakDecayQ16 = 50196;  // 0.76592833836465
constexpr int kPowerShift = 4;  // energies of samples >> 4 (|s| < 2^30): below 2^55 summed

// x limited to [-limit, limit]: one 64-bit sum and comparison where it fits.
int32_t clamp(int64_t x, int32_t limit)
{
    const uint64_t span = 2 * static_cast<uint64_t>(limit);
    if (static_cast<uint64_t>(x) + static_cast<uint64_t>(limit) <= span) [[likely]]
        return static_cast<int32_t>(x);
    return x < 0 ? -limit : limit;
}

// a * b >> shift, rounded: one 32x32 product.
int64_t mul_round(int32_t a, int32_t b, int shift)
{
    return (int64_t{a} * b + (int64_t{1} << (shift - 1))) >> shift;
}

// The same for wider factors; |a * b| < 2^62.
int64_t mul_round_wide(int64_t a, int64_t b, int shift)
{
    return (a * b + (int64_t{1} << (shift - 1))) >> shift;
}

// out = c * x, complex, c in Q31 (|c| <= 1), |x| < 2^31.
void cmul31(const int32_t c[2], const int32_t x[2], int32_t out[2])
{
    const int64_t re = int64_t{c[0]} * x[0] - int64_t{c[1]} * x[1];
    const int64_t im = int64_t{c[0]} * x[1] + int64_t{c[1]} * x[0];
    out[0] = clamp((re + (int64_t{1} << 30)) >> 31, kOutputLimit);
    out[1] = clamp((im + (int64_t{1} << 30)) >> 31, kOutputLimit);
}

// c * d, both complex Q30: Q30.
void cmul30(const int32_t c[2], const int32_t d[2], int32_t out[2])
{
    out[0] = static_cast<int32_t>(mul_round(c[0], d[0], 30) - mul_round(c[1], d[1], 30));
    out[1] = static_cast<int32_t>(mul_round(c[0], d[1], 30) + mul_round(c[1], d[0], 30));
}

const Layout &layout(const PsDecoder &p) { return p.bands34 ? kLayout34 : kLayout20; }

// The parameter band of band k of the layout.
constexpr int par_of(const Layout &l, int k)
{
    if (k < l.hybrid)
        return l.hybridPar[k];
    const int qmf = k - l.hybrid + l.split;
    int i = 0;
    while (l.qmfBorders[i + 1] <= qmf)
        i++;
    return l.firstQmfPar + i;
}

template <int N>
struct ParOf {
    uint8_t band[N];
};

constexpr ParOf<kMaxBands> par_table(const Layout &l)
{
    ParOf<kMaxBands> t{};
    for (int k = 0; k < l.bands; k++)
        t.band[k] = static_cast<uint8_t>(par_of(l, k));
    return t;
}

constexpr ParOf<kMaxBands> kParOf20 = par_table(kLayout20);
constexpr ParOf<kMaxBands> kParOf34 = par_table(kLayout34);

const uint8_t *par_map(bool bands34) { return bands34 ? kParOf34.band : kParOf20.band; }

// ---- Hybrid analysis and synthesis ----

// The ring's last 13 slots of QMF band b, newest first.
void band_history(const PsDecoder &p, int b, int32_t (*x)[2])
{
    const int newest = static_cast<int>(p.slots % kHybridTaps);
    for (int n = 0; n < kHybridTaps; n++) {
        const int at = newest - n;
        const int32_t *v = p.lowRing[at < 0 ? at + kHybridTaps : at][b];
        x[n][0] = v[0];
        x[n][1] = v[1];
    }
}

// The complex filters g[0 .. count - 1] (13 Q31 taps each) of QMF band b.
void complex_filters(const PsDecoder &p, int b, const int32_t (*g)[kHybridTaps][2], int count,
                     int32_t (*out)[2])
{
    int32_t x[kHybridTaps][2];
    band_history(p, b, x);
    ps_hybrid_filters(x[0], g[0][0], out[0], count);
}

// The real filters g0 and g1 (13 Q31 taps each) of QMF band b into out[0]
// and out[1], over the band's history read once.
void real_filters(const PsDecoder &p, int b, const int32_t *g0, const int32_t *g1,
                  int32_t (*out)[2])
{
    int32_t x[kHybridTaps][2];
    band_history(p, b, x);
    const int32_t *g[2] = {g0, g1};
    for (int f = 0; f < 2; f++) {
        int64_t re = 0, im = 0;
        for (int n = 0; n < kHybridTaps; n++) {
            re += int64_t{g[f][n]} * x[n][0];
            im += int64_t{g[f][n]} * x[n][1];
        }
        out[f][0] = static_cast<int32_t>((re + (int64_t{1} << 30)) >> 31);
        out[f][1] = static_cast<int32_t>((im + (int64_t{1} << 30)) >> 31);
    }
}

void hybrid_analysis_20(const PsDecoder &p, int32_t (*s)[2])
{
    int32_t q[8][2];
    complex_filters(p, 0, kHybrid20Band0, 8, q);
    const int order[4] = {6, 7, 0, 1};
    for (int i = 0; i < 4; i++)
        std::memcpy(s[i], q[order[i]], sizeof q[0]);
    for (int c = 0; c < 2; c++) {
        s[4][c] = q[2][c] + q[5][c];
        s[5][c] = q[3][c] + q[4][c];
    }
    real_filters(p, 1, kHybrid20Band1[1], kHybrid20Band1[0], s + 6);
    real_filters(p, 2, kHybrid20Band1[0], kHybrid20Band1[1], s + 8);
}

void hybrid_analysis_34(const PsDecoder &p, int32_t (*s)[2])
{
    complex_filters(p, 0, kHybrid34Band0, 12, s);
    complex_filters(p, 1, kHybrid34Band1, 8, s + 12);
    for (int b = 2; b < 5; b++)
        complex_filters(p, b, kHybrid34Band2, 4, s + 20 + 4 * (b - 2));
}

// The slot's bands s: hybrid sub-bands of the split QMF bands (from the
// rows 6 slots ahead), then the others.
void hybrid_analysis(PsDecoder *p, const int32_t ahead[kMaxSplit][2],
                     const int32_t in[kQmfBands][2], int qmfEnd, int32_t (*s)[2])
{
    const Layout &l = layout(*p);
    int32_t(*ring)[2] = p->lowRing[p->slots % kHybridTaps];
    for (int b = 0; b < kMaxSplit; b++) {
        ring[b][0] = clamp(ahead[b][0], kInputLimit);
        ring[b][1] = clamp(ahead[b][1], kInputLimit);
    }
    if (p->bands34)
        hybrid_analysis_34(*p, s);
    else
        hybrid_analysis_20(*p, s);
    for (int b = l.split; b < qmfEnd; b++) {
        const int k = l.hybrid + b - l.split;
        s[k][0] = clamp(in[b][0], kInputLimit);
        s[k][1] = clamp(in[b][1], kInputLimit);
    }
}

// The QMF band of each hybrid sub-band.
constexpr uint8_t kHybridQmf20[10] = {0, 0, 0, 0, 0, 0, 1, 1, 2, 2};
constexpr uint8_t kHybridQmf34[32] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1,
                                      1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4};

void hybrid_synthesis(const Layout &l, bool bands34, const int32_t (*x)[2], int qmfEnd,
                      int32_t out[kQmfBands][2])
{
    const uint8_t *qmf = bands34 ? kHybridQmf34 : kHybridQmf20;
    int64_t sum[kMaxSplit][2] = {};
    for (int k = 0; k < l.hybrid; k++) {
        sum[qmf[k]][0] += x[k][0];
        sum[qmf[k]][1] += x[k][1];
    }
    for (int b = 0; b < l.split; b++) {
        out[b][0] = clamp(sum[b][0], kOutputLimit);
        out[b][1] = clamp(sum[b][1], kOutputLimit);
    }
    if (qmfEnd > l.split)
        std::memcpy(out[l.split], x[l.hybrid],
                    sizeof(int32_t) * 2 * static_cast<size_t>(qmfEnd - l.split));
    std::memset(out[qmfEnd], 0, sizeof(int32_t) * 2 * static_cast<size_t>(kQmfBands - qmfEnd));
}

// ---- Decorrelator (ISO/IEC 14496-3 8.6.4.5) ----

// Transient ducking gains per parameter band, Q31, from the slot's energies.
void transient_gains(PsDecoder *p, const Layout &l, const int32_t (*s)[2], int bands, int32_t *gain)
{
    int64_t power[kMaxParBands] = {};
    const uint8_t *par = par_map(p->bands34 != 0);
    for (int k = 0; k < bands; k++) {
        const int64_t re = s[k][0] >> kPowerShift, im = s[k][1] >> kPowerShift;
        power[par[k]] += re * re + im * im;
    }
    for (int i = 0; i < l.parBands; i++) {
        const int64_t peak = p->peakDecay[i];  // < 2^55: split to keep the product in range
        const int64_t decayed = (peak >> 16) * kPeakDecayQ16 +
                                (((peak & 0xffff) * kPeakDecayQ16) >> 16);
        p->peakDecay[i] = power[i] > decayed ? power[i] : decayed;
        p->smoothPower[i] += (power[i] - p->smoothPower[i]) >> 2;
        p->smoothPeakDiff[i] += (p->peakDecay[i] - power[i] - p->smoothPeakDiff[i]) >> 2;
        // G = smooth / (1.5 peakDiff) when that is below 1.
        uint64_t num = 2 * static_cast<uint64_t>(p->smoothPower[i]);
        uint64_t den = 3 * static_cast<uint64_t>(p->smoothPeakDiff[i]);
        if (den <= num) {
            gain[i] = INT32_MAX;
            continue;
        }
        while (den >= (uint64_t{1} << 32)) {
            den >>= 1;
            num >>= 1;
        }
        gain[i] = den == 0 ? INT32_MAX : static_cast<int32_t>((num << 31) / den);
    }
}

void decorrelate(PsDecoder *p, const Layout &l, const int32_t (*s)[2], int bands, int32_t (*d)[2])
{
    int32_t gain[kMaxParBands];
    transient_gains(p, l, s, bands, gain);
    const int chained = bands < l.allpass ? bands : l.allpass;
    const bool b34 = p->bands34 != 0;
    ps_allpass(b34 ? kDecorr34[0][0] : kDecorr20[0][0], b34 ? kAllpassGain34[0] : kAllpassGain20[0],
               p->preDelay[p->slots % kPreDelay][0], p->link0[p->slots % 3][0],
               p->link1[p->slots % 4][0], p->link2[p->slots % 5][0], s[0], d[0], chained);
    for (int k = 0; k < bands; k++) {
        int32_t y[2];
        if (k < l.allpass) {
            y[0] = d[k][0];
            y[1] = d[k][1];
        } else if (k < l.shortDelay) {
            int32_t *at = p->longDelay[p->slots % kLongDelay][k - l.longDelay];
            y[0] = at[0];
            y[1] = at[1];
            at[0] = s[k][0];
            at[1] = s[k][1];
        } else {
            int32_t *at = p->shortDelay[k - l.shortDelay];
            y[0] = at[0];
            y[1] = at[1];
            at[0] = s[k][0];
            at[1] = s[k][1];
        }
        const int32_t g = gain[par_map(p->bands34 != 0)[k]];
        d[k][0] = static_cast<int32_t>(mul_round(g, y[0], 31));
        d[k][1] = static_cast<int32_t>(mul_round(g, y[1], 31));
    }
}

// ---- Mixing (ISO/IEC 14496-3 8.6.4.6) ----

// A parameter of envelope e on the layout's parameter band b.
int value_on(const int8_t *v, int sent, int b, bool bands34, bool average)
{
    if (!bands34)
        return sent == 20 ? v[b] : v[b / 2];
    if (sent == 34)
        return v[b];
    const int b20 = kPar20To34[b];
    const auto at20 = [&](int i) { return sent == 20 ? v[i] : v[i / 2]; };
    if (average && (b == 1 || b == 4))
        return (at20(b20) + at20(b20 + 1)) / 2;
    return at20(b20);
}

// A phase parameter on the layout's phase band b, or -1 where none is sent.
int phase_on(const int8_t *v, int sent, int b, bool bands34)
{
    const int b20 = bands34 ? kPar20To34[b] : b;
    if (bands34 && sent == 17)
        return v[b];
    if (sent == 11)
        return b20 < 11 ? v[b20] : -1;
    return b20 < 10 ? v[b20 / 2] : -1;
}

// The smoothed phasor (Q30) of value v after the history h[0], h[1].
void smoothed(int v, const int8_t h[2][kMaxPhaseBands], int b, int32_t out[2])
{
    const int rel = 8 * ((h[0][b] - v) & 7) + ((h[1][b] - v) & 7);
    cmul30(kPhase[v & 7], kPhaseSmooth[rel], out);
}

void push_history(int8_t h[2][kMaxPhaseBands], int b, int v)
{
    h[1][b] = h[0][b];
    h[0][b] = static_cast<int8_t>(v);
}

// The matrices that envelope e of the frame asks for.
void envelope_targets(PsDecoder *p, int e)
{
    const PsFrame &f = p->frame;
    const Layout &l = layout(*p);
    const bool b34 = p->bands34 != 0;
    const int iidMax = f.fineIid ? kIidFineMax : kIidNormalMax;
    const int32_t(*table)[8][4] = f.mixingB ? (f.fineIid ? kMixBFine : kMixBNormal)
                                            : (f.fineIid ? kMixAFine : kMixANormal);
    for (int b = 0; b < l.parBands; b++) {
        const int iid = value_on(f.iid[e], f.iidBands, b, b34, true);
        const int icc = value_on(f.icc[e], f.iccBands, b, b34, true);
        const int32_t *h = table[iid + iidMax][icc];
        Matrix &m = p->to[b];
        for (int j = 0; j < 4; j++) {
            m.h[j][0] = h[j];
            m.h[j][1] = 0;
        }
        if (b >= l.phaseBands)
            continue;
        const int ipd = f.phaseBands ? phase_on(f.ipd[e], f.phaseBands, b, b34) : -1;
        const int opd = f.phaseBands ? phase_on(f.opd[e], f.phaseBands, b, b34) : -1;
        const int ipdv = ipd < 0 ? 0 : ipd, opdv = opd < 0 ? 0 : opd;
        int32_t ipdS[2], opdS[2], right[2];
        smoothed(ipdv, p->ipdHistory, b, ipdS);
        smoothed(opdv, p->opdHistory, b, opdS);
        push_history(p->ipdHistory, b, ipdv);
        push_history(p->opdHistory, b, opdv);
        if (f.phaseBands == 0 || ipd < 0)
            continue;
        const int32_t conjIpd[2] = {ipdS[0], -ipdS[1]};
        cmul30(opdS, conjIpd, right);
        for (int j = 0; j < 4; j++) {
            const int32_t *phasor = (j == 0 || j == 2) ? opdS : right;
            m.h[j][0] = static_cast<int32_t>(mul_round(h[j], phasor[0], 30));
            m.h[j][1] = static_cast<int32_t>(mul_round(h[j], phasor[1], 30));
        }
    }
}

// The matrices of slot n: from the last envelope's to this one's.
void slot_matrices(const PsDecoder &p, int n, Matrix *out)
{
    const PsFrame &f = p.frame;
    const int e = p.envelope;
    const int start = e == 0 ? -1 : f.border[e - 1];
    const int len = f.border[e] - start;
    const int64_t frac = (int64_t{n - start} << 30) / len;  // Q30, 0 < frac <= 1
    static_assert(sizeof(Matrix) == 8 * sizeof(int32_t), "matrices as words");
    ps_interpolate(p.from[0].h[0], p.to[0].h[0], out[0].h[0], static_cast<int32_t>(frac),
                   8 * layout(p).parBands);
}

bool negative(const Layout &l, int k)
{
    for (int i = 0; i < l.negativeCount; i++)
        if (l.negative[i] == k)
            return true;
    return false;
}

// x = h1 s + h2 d, complex Q30 h (conjugated for a negative-frequency band).
void mix_one(const int32_t h1[2], const int32_t h2[2], bool conj, const int32_t s[2],
             const int32_t d[2], int32_t out[2])
{
    const int64_t i1 = conj ? -h1[1] : h1[1], i2 = conj ? -h2[1] : h2[1];
    const int64_t re = int64_t{h1[0]} * s[0] - i1 * s[1] + int64_t{h2[0]} * d[0] - i2 * d[1];
    const int64_t im = int64_t{h1[0]} * s[1] + i1 * s[0] + int64_t{h2[0]} * d[1] + i2 * d[0];
    out[0] = clamp((re + (int64_t{1} << 29)) >> 30, kOutputLimit);
    out[1] = clamp((im + (int64_t{1} << 29)) >> 30, kOutputLimit);
}

bool is_real(const Matrix &m) { return (m.h[0][1] | m.h[1][1] | m.h[2][1] | m.h[3][1]) == 0; }

void mix(const Layout &l, bool bands34, const Matrix *h, const int32_t (*s)[2],
         const int32_t (*d)[2], int bands, int32_t (*left)[2], int32_t (*right)[2])
{
    const uint8_t *par = par_map(bands34);
    for (int k = 0; k < bands; k++) {
        const Matrix &m = h[par[k]];
        if (is_real(m)) {
            // The run of bands of this parameter band, at once.
            int end = k + 1;
            while (end < bands && par[end] == par[k])
                end++;
            const int32_t coefficients[4] = {m.h[0][0], m.h[2][0], m.h[1][0], m.h[3][0]};
            ps_mix_real(s[k], d[k], left[k], right[k], coefficients, end - k);
            k = end - 1;
            continue;
        }
        const bool conj = k < l.hybrid && negative(l, k);
        mix_one(m.h[0], m.h[2], conj, s[k], d[k], left[k]);
        mix_one(m.h[1], m.h[3], conj, s[k], d[k], right[k]);
    }
}

void reset_signal_state(PsDecoder *p)
{
    std::memset(p, 0, offsetof(PsDecoder, from));
    p->slots = 0;
}

// The QMF bands that need processing this slot: those with input within the
// last kLongDelay + 1 slots (a band quiet for longer has only zeros in its
// delay line, and gives zeros), and always those of the all-pass links,
// whose state rings on.
int active_end(PsDecoder *p, const int32_t in[kQmfBands][2])
{
    int end = kQmfBands;
    while (end > 0 && (in[end - 1][0] | in[end - 1][1]) == 0)
        end--;
    p->recentEnd[p->slots % kRecentSlots] = static_cast<uint8_t>(end);
    for (uint8_t e : p->recentEnd)
        end = e > end ? e : end;
    return end > kAllpassQmfEnd ? end : kAllpassQmfEnd;
}

}  // namespace

// The matrices start at zero: the first envelope fades the output in, as
// the reference decoders do.
void reset_ps(PsDecoder *p) { std::memset(p, 0, sizeof *p); }

// A frame without new parameters repeats the last envelope's (before any:
// all indices 0, IID 0 dB and ICC 1) over one envelope.
void hold_parameters(PsFrame *f)
{
    if (f->numEnv > 1) {
        const int last = f->numEnv - 1;
        std::memcpy(f->iid[0], f->iid[last], sizeof f->iid[0]);
        std::memcpy(f->icc[0], f->icc[last], sizeof f->icc[0]);
        std::memcpy(f->ipd[0], f->ipd[last], sizeof f->ipd[0]);
        std::memcpy(f->opd[0], f->opd[last], sizeof f->opd[0]);
    }
    f->numEnv = 1;
    f->border[0] = kSlots - 1;
}

void start_ps_frame(PsDecoder *p, const PsFrame *frame)
{
    for (int b = 0; b < kMaxParBands; b++)
        p->from[b] = p->to[b];
    p->envelope = 0;
    if (frame == nullptr || frame->numEnv == 0) {
        hold_parameters(&p->frame);
    } else {
        if (frame->bands34 != p->bands34) {
            reset_signal_state(p);
            p->bands34 = frame->bands34;
        }
        p->frame = *frame;
    }
    envelope_targets(p, 0);
}

void ps_slot(PsDecoder *p, int slot, const int32_t ahead[kMaxSplit][2],
             const int32_t in[kQmfBands][2], int32_t left[kQmfBands][2],
             int32_t right[kQmfBands][2])
{
    const Layout &l = layout(*p);
    const int qmfEnd = active_end(p, in);
    const int bands = l.hybrid + qmfEnd - l.split;
    int32_t s[kMaxBands][2], d[kMaxBands][2];
    hybrid_analysis(p, ahead, in, qmfEnd, s);
    decorrelate(p, l, s, bands, d);
    if (slot > p->frame.border[p->envelope] && p->envelope + 1 < p->frame.numEnv) {
        p->envelope++;
        for (int b = 0; b < kMaxParBands; b++)
            p->from[b] = p->to[b];
        envelope_targets(p, p->envelope);
    }
    Matrix h[kMaxParBands];
    slot_matrices(*p, slot, h);
    int32_t lh[kMaxBands][2], rh[kMaxBands][2];
    mix(l, p->bands34 != 0, h, s, d, bands, lh, rh);
    hybrid_synthesis(l, p->bands34 != 0, lh, qmfEnd, left);
    hybrid_synthesis(l, p->bands34 != 0, rh, qmfEnd, right);
    p->slots++;
}

}  // namespace fxaac::ps

// The all-pass chains of bands 0 .. n - 1 (ISO/IEC 14496-3 8.6.4.5.2): per
// band a 2-slot delay, the fractional delay phi and three links
// (Q z^-d - a g) / (1 - a g Q z^-d). decorr[k] holds phi and the links' Q
// (complex Q31), gain[k] a(m) g(k) (Q31); pre and the links' rows are the
// delay lines' entries of this slot ([k][2], read, then written).
void fxaac::ps_allpass_c(const int32_t *decorr, const int32_t *gain, int32_t *pre, int32_t *link0,
                         int32_t *link1, int32_t *link2, const int32_t *x, int32_t *y, int32_t n)
{
    using namespace fxaac::ps;
    for (int32_t k = 0; k < n; k++) {
        const int32_t(*c)[2] = reinterpret_cast<const int32_t(*)[2]>(decorr + 8 * k);
        const int32_t *ag = gain + kLinks * k;
        int32_t w[2];
        cmul31(c[0], pre + 2 * k, w);
        pre[2 * k] = x[2 * k];
        pre[2 * k + 1] = x[2 * k + 1];
        int32_t *rings[kLinks] = {link0 + 2 * k, link1 + 2 * k, link2 + 2 * k};
        for (int m = 0; m < kLinks; m++) {
            int32_t qv[2];
            cmul31(c[1 + m], rings[m], qv);  // Q v(n - d)
            int32_t v[2];
            for (int j = 0; j < 2; j++)
                v[j] = clamp(w[j] + mul_round(ag[m], qv[j], 31), kOutputLimit);
            for (int j = 0; j < 2; j++) {
                w[j] = clamp(qv[j] - mul_round(ag[m], v[j], 31), kOutputLimit);
                rings[m][j] = v[j];
            }
        }
        y[2 * k] = w[0];
        y[2 * k + 1] = w[1];
    }
}

// x = h1 s + h2 d for real h1, h2 (Q30) over bands 0 .. n - 1, h = the left
// output's h1, h2, then the right's: the complex mixing's sums without their
// zero terms, so the same bits.
void fxaac::ps_mix_real_c(const int32_t *s, const int32_t *d, int32_t *left, int32_t *right,
                          const int32_t *h, int32_t n)
{
    using namespace fxaac::ps;
    for (int32_t i = 0; i < 2 * n; i++) {
        const int64_t l = int64_t{h[0]} * s[i] + int64_t{h[1]} * d[i];
        const int64_t r = int64_t{h[2]} * s[i] + int64_t{h[3]} * d[i];
        left[i] = clamp((l + (int64_t{1} << 29)) >> 30, kOutputLimit);
        right[i] = clamp((r + (int64_t{1} << 29)) >> 30, kOutputLimit);
    }
}

// out = from + round((to - from) q / 2^30) per word, 0 <= q <= 2^30: one
// 32-bit product where the difference fits 32 bits.
void fxaac::ps_interpolate_c(const int32_t *from, const int32_t *to, int32_t *out, int32_t q,
                             int32_t n)
{
    using namespace fxaac::ps;
    for (int32_t i = 0; i < n; i++) {
        int32_t step;
        if (__builtin_sub_overflow(to[i], from[i], &step)) [[unlikely]]
            out[i] = static_cast<int32_t>(from[i] +
                                          mul_round_wide(int64_t{to[i]} - from[i], q, 30));
        else
            out[i] = static_cast<int32_t>(from[i] + mul_round(step, q, 30));
    }
}

// out[i] = round(sum_n g[i][n] x[n] / 2^31) for the 13 complex taps of each
// of `count` filters (Q31) over the 13 complex samples x, newest first; the
// sums exact in 64 bits (|x| <= 2^27).
void fxaac::ps_hybrid_filters_c(const int32_t *x, const int32_t *g, int32_t *out, int32_t count)
{
    using namespace fxaac::ps;
    for (int32_t i = 0; i < count; i++, g += 2 * kHybridTaps) {
        int64_t re = 0, im = 0;
        for (int n = 0; n < kHybridTaps; n++) {
            re += int64_t{g[2 * n]} * x[2 * n] - int64_t{g[2 * n + 1]} * x[2 * n + 1];
            im += int64_t{g[2 * n]} * x[2 * n + 1] + int64_t{g[2 * n + 1]} * x[2 * n];
        }
        out[2 * i] = static_cast<int32_t>((re + (int64_t{1} << 30)) >> 31);
        out[2 * i + 1] = static_cast<int32_t>((im + (int64_t{1} << 30)) >> 31);
    }
}
