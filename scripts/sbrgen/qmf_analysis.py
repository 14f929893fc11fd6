"""A 64-band complex QMF analysis of a full-rate signal, in the form of ISO/IEC 14496-3 4.6.18.4
(the 640-tap window c of data/sbr_ps_tables.txt, 64 new samples per slot), for the SBR encoder's
estimates and for measuring a decoder's high band. Slot l takes in the samples s[64l .. 64l+63];
with x(n) the last 640 samples newest first:

    u(n) = sum_{j<5} x(n + 128j) c(n + 128j),                   n < 128
    X(k) = sum_{n<128} u(n) exp(i pi/128 (k + 1/2)(2n - 1)),    k < 64

This is the decoder's 32-band analysis (window c(2i), factor 2, angle pi/64 (k + 1/2)(2n - 1/2))
written on the doubled sample grid, so a sinusoid gives subband samples of the same size in both,
and the decoder's 64-band synthesis (v(n) = 1/64 sum_k Re(X(k) exp(i pi/128 (k + 1/2)(2n - 255))))
gives the signal back, delayed by QMF_DELAY samples, to about -59 dB (the phase term 2n - 1/2 of
the 32-band form would leave -16 dB of aliasing and another delay). Samples are in 16-bit units (full scale 32768), the scale of the envelope
energies E_orig = 64 * 2^(E/a)."""

import math
import operator

from .codebooks import TABLES

BANDS = 64
QMF_DELAY = 577                     # analysis then synthesis: s(i) comes out at i + QMF_DELAY


def _window(path=TABLES):
    c = [0.0] * 640
    for line in open(path):
        f = line.split()
        if f and f[0] == 'qmf':
            c[int(f[1])] = float(f[2])
    return c


WINDOW = _window()
_COS = [[math.cos(math.pi / 128 * (k + 0.5) * (2 * n - 1)) for n in range(128)]
        for k in range(BANDS)]
_SIN = [[math.sin(math.pi / 128 * (k + 0.5) * (2 * n - 1)) for n in range(128)]
        for k in range(BANDS)]


def analysis(signal, scale=32768.0):
    """The subband samples of signal (floats, full scale 1.0, times scale): (re, im), each a
    list of slots of 64 values; slot l covers signal[64l .. 64l+63] (zeros before and after)."""
    n_slots = (len(signal) + 63) // 64
    s = [0.0] * 576 + [v * scale for v in signal] + [0.0] * (64 * n_slots - len(signal))
    c = WINDOW
    mul, add = operator.mul, operator.add
    re_out, im_out = [], []
    for l in range(n_slots):
        x = s[64 * l + 639::-1] if l else s[639::-1]
        x = x[:640]
        z = list(map(mul, x, c))
        u = list(map(add, map(add, map(add, map(add, z[0:128], z[128:256]), z[256:384]),
                              z[384:512]), z[512:640]))
        re_out.append([sum(map(mul, row, u)) for row in _COS])
        im_out.append([sum(map(mul, row, u)) for row in _SIN])
    return re_out, im_out


def energies(re, im):
    """|X|^2 per slot and subband."""
    return [[a * a + b * b for a, b in zip(r, i)] for r, i in zip(re, im)]


def synthesis(re, im):
    """The decoder's 64-band synthesis (for checks): 64 output samples per slot."""
    cos_s = [[math.cos(math.pi / 128 * (k + 0.5) * (2 * n - 255)) / 64 for k in range(BANDS)]
             for n in range(128)]
    sin_s = [[math.sin(math.pi / 128 * (k + 0.5) * (2 * n - 255)) / 64 for k in range(BANDS)]
             for n in range(128)]
    v = [0.0] * 1280
    out = []
    mul = operator.mul
    for r, i in zip(re, im):
        v = [0.0] * 128 + v[:-128]
        for n in range(128):
            v[n] = sum(map(mul, cos_s[n], r)) - sum(map(mul, sin_s[n], i))
        w = [0.0] * 640
        for nn in range(5):
            for m in range(64):
                w[128 * nn + m] = v[256 * nn + m]
                w[128 * nn + 64 + m] = v[256 * nn + 192 + m]
        w = [a * b for a, b in zip(w, WINDOW)]
        out.extend(sum(w[m + 64 * j] for j in range(10)) for m in range(64))
    return out
