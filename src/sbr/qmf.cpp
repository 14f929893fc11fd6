// The SBR QMF banks (ISO/IEC 14496-3 4.6.18.4) in integer arithmetic.
//
// Both the analysis and the synthesis modulations are a DCT-IV and a DST-IV
// of N = 32 or 64 points, each computed through a complex FFT of N/2 points.
// The windows, the transforms and the synthesis input's scaling are kernels
// (qmf_* in src/dsp/kernels.h; their portable versions at the end of this
// file), the slot functions their sequence.
//
// Analysis. With x(n) newest first, u(n) = sum_j x(n + 64j) c(2(n + 64j))
// and X(k) = 2 sum_{n<64} u(n) exp(i pi/64 (k + 1/2)(2n - 1/2)). Writing
// the angle as pi/32 (k + 1/2)(n + 1/2) - phi_k, phi_k = 3 pi (k + 1/2)/128,
// and folding n with 63 - n (the angle of 63 - n is 2 pi (k + 1/2) minus that
// of n):
//   X(k) = 2 exp(-i phi_k) (DCT-IV(u(n) - u(63-n))(k) + i DST-IV(u(n) + u(63-n))(k)).
//
// Synthesis. v(n) = 1/64 sum_k Re(X(k) exp(i pi/128 (k + 1/2)(2n - 255))),
// n < 128; the angle is pi/64 (k + 1/2)(n + 1/2) - pi (2k + 1), so with
// C = DCT-IV(Re X) and S = DST-IV(Im X) of 64 points, for n < 64:
//   v(n) = (S(n) - C(n)) / 64,   v(127 - n) = (C(n) + S(n)) / 64.
// The downsampled bank is the same with 32 points and (2n - 127).
//
// Bounds. The window's absolute sums (kQmfWindow, Q31): over the 320 even taps
// A = 54.19; over the five taps of one u(n) at most 0.9997; over the ten of
// u(n) and u(63-n) at most 1.9982; over the ten taps of one synthesis output
// at most 1.749 (both banks). For int32 input (|x| <= 2^31):
//   |u(n) +- u(63-n)| <= 1.9982 * 2^62 in the int64 accumulator (< 2^63);
//   sum_n |u(n)| <= A * 2^31, so every value inside the transforms, a sum of
//   inputs times unit twiddles, is at most sum_n |u(n)| / 2^6 < 0.85 * 2^31;
//   |X_iso| <= 2 A 2^15 for input in 16-bit units (|x| <= 2^15), hence
//   |X| = |X_iso| 2^5 <= A 2^21 < 2^27.
// Synthesis clamps each input component to 2^27 and scales the slot by 2^g so
// that every component is at most 2^30 / (2N): each transform's inputs sum to
// at most 2^29, so |C|, |S| <= 2^29 and |C +- S| <= 2^30. The output is at
// most 16 * 64 * sqrt(2) 2^27 / 64 * 1.749 < 2^32.3 (2^9 units), so the
// pending sums, kept in quarters of it, stay below 2^30.3.
#include "sbr/qmf.h"

#include "dsp/kernels.h"
#include "sbr/qmf_tables.h"
#include "sbr/sbr_tables.h"

#include <cstring>

namespace fxaac::sbr {

namespace {

constexpr int kSynthLimit = 1 << 27;  // synthesis input clamp (the analysis bound)
constexpr int kSynthMaxGain = 8;      // largest block scaling 2^g of synthesis input
constexpr int kAnalysisFold = 37;     // u(n) +- u(63-n): Q31 products / 2^6
constexpr int kAnalysisOut = 35;      // Q31 rotation, then / 2^4 to X units

inline int32_t round_shift(int64_t v, int shift)
{
    return static_cast<int32_t>((v + (int64_t{1} << (shift - 1))) >> shift);
}

// a * c + b * s over Q31 twiddles, rounded: the real part of
// (a + ib)(c - is); callers keep |a + ib| below 2^31.
inline int32_t dot31(int32_t a, int32_t c, int32_t b, int32_t s)
{
    return round_shift(int64_t{a} * c + int64_t{b} * s, 31);
}

// h c / 2^shift over a Q31 window tap, rounded.
inline int32_t mul_shift(int32_t h, int32_t c, int shift)
{
    return round_shift(int64_t{h} * c, shift);
}

inline int32_t clamp(int32_t v, int32_t limit)
{
    return v > limit ? limit : (v < -limit ? -limit : v);
}

inline int32_t saturate(int64_t v)
{
    return v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v));
}

constexpr int bit_reverse(int v, int bits)
{
    int r = 0;
    for (int i = 0; i < bits; ++i)
        r |= ((v >> i) & 1) << (bits - 1 - i);
    return r;
}

template <int M>
struct BitReversal {
    int8_t index[M];
    constexpr BitReversal() : index()
    {
        for (int i = 0; i < M; ++i)
            index[i] = static_cast<int8_t>(bit_reverse(i, M == 16 ? 4 : 5));
    }
};
template <int M>
constexpr BitReversal<M> kBitReversal{};

// In-place forward FFT of M = 16 or 32 points, exp(-2 pi i n k / M), radix 2
// by decimation in time, of input stored in bit-reversed order. No scaling:
// every value is a sum of inputs times unit twiddles.
template <int M>
void fft(int32_t re[M], int32_t im[M])
{
    static_assert(M == 16 || M == 32, "FFT size");
    for (int i = 0; i < M; i += 2) {
        const int32_t ar = re[i], ai = im[i];
        re[i] = ar + re[i + 1];
        im[i] = ai + im[i + 1];
        re[i + 1] = ar - re[i + 1];
        im[i + 1] = ai - im[i + 1];
    }
    for (int len = 4; len <= M; len *= 2) {
        const int half = len / 2, step = 32 / len;
        for (int block = 0; block < M; block += len) {
            for (int m = 0; m < half; ++m) {
                const int a = block + m, b = a + half;
                const int32_t c = kQmfFftTwiddle[m * step][0], s = kQmfFftTwiddle[m * step][1];
                const int32_t tr = dot31(re[b], c, im[b], s);
                const int32_t ti = dot31(im[b], c, re[b], -s);
                const int32_t ar = re[a], ai = im[a];
                re[a] = ar + tr;
                im[a] = ai + ti;
                re[b] = ar - tr;
                im[b] = ai - ti;
            }
        }
    }
}

// out(k) = sum_{n<N} in(n) cos(pi/N (n + 1/2)(k + 1/2)), N = 32 or 64: the
// pairs in(2n) + i in(N-1-2n) turned by exp(-i pi (n + 1/8)/N), a complex FFT
// of N/2 points, the same turn on the output, whose real parts are out(2k)
// and negated imaginary parts out(N-1-2k).
template <int N>
void dct4(const int32_t in[N], int32_t out[N])
{
    constexpr int M = N / 2;
    const int32_t(*tw)[2] = N == 32 ? kQmfDct32Twiddle : kQmfDct64Twiddle;
    int32_t re[M], im[M];
    for (int n = 0; n < M; ++n) {
        const int32_t a = in[2 * n], b = in[N - 1 - 2 * n];
        const int r = kBitReversal<M>.index[n];
        re[r] = dot31(a, tw[n][0], b, tw[n][1]);
        im[r] = dot31(b, tw[n][0], a, -tw[n][1]);
    }
    fft<M>(re, im);
    for (int k = 0; k < M; ++k) {
        out[2 * k] = dot31(re[k], tw[k][0], im[k], tw[k][1]);
        out[N - 1 - 2 * k] = dot31(re[k], tw[k][1], im[k], -tw[k][0]);
    }
}

// The synthesis of one slot for N = 64 (the 64-band bank) or N = 32 (the
// downsampled bank). The slot's v(n), n < 2N, times 64 and in units of
// X / 16, is h; output sample j of slot T is
//   16 sum_{s<10} v_{T-s}(j + N (s mod 2)) c(64 s + j 64/N),
// of which the rows of s->partial hold the terms of the slots already seen.
template <int N>
void synthesis(QmfSynthesisState *s, const int32_t in[][2], int32_t out[])
{
    int32_t xr[N], xi[N], cr[N], si[N];
    const int g = qmf_synthesis_prepare(in[0], xr, xi, N);
    qmf_dct4x2(xr, xi, cr, si, N);
    // h = 64 v 2^g in X units and the output's unit is 2^4 X units, so
    // 16 v c = h c 2^(-g-2) output units; the partial sums count quarters of
    // them: output = 4 * partial, partial = sum h c_Q31 / 2^(35 + g).
    const int head = static_cast<int>(static_cast<unsigned>(s->head) % kQmfPending);
    qmf_synthesis_window(s->partial[0], head, cr, si, kQmfWindow, N, 35 + g, out);
    s->head = static_cast<int32_t>((head + 1) % kQmfPending);
}

}  // namespace

void qmf_analysis_reset(QmfAnalysisState *s) { std::memset(s, 0, sizeof(*s)); }

void qmf_synthesis_reset(QmfSynthesisState *s) { std::memset(s, 0, sizeof(*s)); }

void qmf_analysis_slot(QmfAnalysisState *s, const int32_t in[kLowBands], int32_t out[kLowBands][2])
{
    int32_t *x = s->x;
    std::memmove(x + kLowBands, x, sizeof(int32_t) * (kQmfHistory - kLowBands));
    for (int i = 0; i < kLowBands; ++i)
        x[kLowBands - 1 - i] = in[i];

    int32_t p[32], q[32], cr[32], sr[32];
    qmf_analysis_fold(x, kQmfWindow, p, q);
    qmf_dct4x2(p, q, cr, sr, 32);
    qmf_analysis_rotate(cr, sr, kQmfAnalysisRotation[0], out[0]);
}

void qmf_synthesis_slot(QmfSynthesisState *s, const int32_t in[kBands][2], int32_t out[kBands])
{
    synthesis<kBands>(s, in, out);
}

void qmf_synthesis_slot_down(QmfSynthesisState *s, const int32_t in[kLowBands][2],
                             int32_t out[kLowBands])
{
    synthesis<kLowBands>(s, in, out);
}

}  // namespace fxaac::sbr

// The portable kernels (src/dsp/kernels.h).
namespace fxaac {

void qmf_dct4x2_c(const int32_t *in0, const int32_t *in1, int32_t *out0, int32_t *out1, int32_t n)
{
    if (n == 32) {
        sbr::dct4<32>(in0, out0);
        sbr::dct4<32>(in1, out1);
    } else if (n == 64) {
        sbr::dct4<64>(in0, out0);
        sbr::dct4<64>(in1, out1);
    }
}

void qmf_analysis_fold_c(const int32_t *x, const int32_t *w, int32_t *p, int32_t *q)
{
    int64_t u[64];
    for (int n = 0; n < 64; ++n) {
        int64_t sum = 0;
        for (int j = 0; j < 5; ++j)
            sum += int64_t{x[n + 64 * j]} * w[2 * (n + 64 * j)];
        u[n] = sum;
    }
    for (int n = 0; n < 32; ++n) {
        p[n] = sbr::round_shift(u[n] - u[63 - n], sbr::kAnalysisFold);
        const int32_t v = sbr::round_shift(u[n] + u[63 - n], sbr::kAnalysisFold);
        q[n] = (n & 1) ? -v : v;  // DST-IV through DCT-IV, as in synthesis()
    }
}

void qmf_analysis_rotate_c(const int32_t *cr, const int32_t *sr, const int32_t *rotation,
                           int32_t *out)
{
    for (int k = 0; k < 32; ++k) {
        const int64_t c = rotation[2 * k], sn = rotation[2 * k + 1];
        const int64_t a = cr[k], b = sr[31 - k];
        // 2 exp(-i phi) (a + ib) / 2^4 (the factor 2 and 2^5 against the
        // 2^6 and 2^16 units of a and b)
        out[2 * k] = static_cast<int32_t>((a * c + b * sn + (int64_t{1} << 34)) >>
                                          sbr::kAnalysisOut);
        out[2 * k + 1] = static_cast<int32_t>((b * c - a * sn + (int64_t{1} << 34)) >>
                                              sbr::kAnalysisOut);
    }
}

int32_t qmf_synthesis_prepare_c(const int32_t *in, int32_t *xr, int32_t *xi, int32_t n)
{
    using sbr::clamp, sbr::kSynthLimit;
    int32_t peak = 0;
    for (int k = 0; k < n; ++k) {
        xr[k] = clamp(in[2 * k], kSynthLimit);
        xi[k] = clamp(in[2 * k + 1], kSynthLimit);
        peak |= (xr[k] < 0 ? -xr[k] : xr[k]) | (xi[k] < 0 ? -xi[k] : xi[k]);
    }
    // Block scaling: the transforms take X 2^g with |X 2^g| <= 2^30 / (2n),
    // so that |C +- S| <= 2^30 (see the bounds above); quiet slots keep up
    // to kSynthMaxGain more bits.
    const int limitBits = n == 64 ? 23 : 24;
    const int bits = peak ? 32 - __builtin_clz(static_cast<uint32_t>(peak)) : 0;
    const int g = limitBits - bits < sbr::kSynthMaxGain ? limitBits - bits : sbr::kSynthMaxGain;
    for (int k = 0; k < n; ++k) {
        const int32_t re = g < 0 ? sbr::round_shift(xr[k], -g) : xr[k] * (1 << g);
        const int32_t im = g < 0 ? sbr::round_shift(xi[k], -g) : xi[k] * (1 << g);
        xr[k] = re;
        xi[k] = (k & 1) ? -im : im;  // DST-IV(y)(n) = DCT-IV((-1)^k y(k))(N-1-n)
    }
    return g;
}

void qmf_synthesis_window_c(int32_t *partial, int32_t head, const int32_t *cr, const int32_t *si,
                            const int32_t *w, int32_t n, int32_t shift, int32_t *out)
{
    constexpr int kRow = sbr::kBands, kRows = sbr::kQmfPending;
    const int stride = sbr::kBands / n;  // window step: c(j) or c(2j)
    // The sums wrap (they cannot overflow in the decoder's use).
    auto add = [](int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
    };
    auto sub = [](int32_t a, int32_t b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    };
    // v(j) = S(j) - C(j), v(2n-1-j) = C(j) + S(j) with S(j) = si(n-1-j):
    // h = 64 v 2^g
    int32_t h[2 * sbr::kBands];
    for (int j = 0; j < n; ++j) {
        const int32_t sn = si[n - 1 - j];
        h[j] = sub(sn, cr[j]);
        h[2 * n - 1 - j] = add(cr[j], sn);
    }
    int32_t *now = partial + kRow * head;
    for (int j = 0; j < n; ++j)
        out[j] = sbr::saturate(4 * (int64_t{now[j]} + sbr::mul_shift(h[j], w[stride * j], shift)));
    for (int j = 0; j < n; ++j)  // s = 9: this row now serves output T + 9
        now[j] = sbr::mul_shift(h[n + j], w[64 * kRows + stride * j], shift);
    for (int age = 1; age < kRows; ++age) {
        int32_t *row = partial + kRow * ((head + age) % kRows);
        const int32_t *v = h + (age & 1) * n;
        const int32_t *c = w + 64 * age;
        for (int j = 0; j < n; ++j)
            row[j] = add(row[j], sbr::mul_shift(v[j], c[stride * j], shift));
    }
}

}  // namespace fxaac
