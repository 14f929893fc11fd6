#!/usr/bin/env python3
"""Generate the tables of the parametric stereo decoder (src/ps/ps_tables.cpp).

Reads the numbers of ISO/IEC 14496-3 subpart 8 that no formula gives from
data/sbr_ps_tables.txt (hybrid prototype filters, IID and ICC quantisation
grids, the decorrelator's all-pass links) and derives by the standard's
formulas:

* kHybrid*: the hybrid analysis filters, 13 taps, Q31.
  complex Q-band filters: G_q(n) = p(n) exp(i 2 pi / Q (q + 1/2) (n - 6));
  the real 2-band filter of the 20-band configuration: g_q(n) = p(n) cos(pi q (n - 6)).
* kMixA* / kMixB*: the mixing matrices [iid index + max][icc index][h11 h12 h21 h22], Q30,
  with c = 10^(IID / 20) and rho the ICC value:
  R_A: c1 = sqrt(2 / (1 + c^2)), c2 = c c1, alpha = acos(rho) / 2,
       beta = alpha (c1 - c2) / sqrt(2),
       h11 = c2 cos(beta + alpha), h12 = c1 cos(beta - alpha),
       h21 = c2 sin(beta + alpha), h22 = c1 sin(beta - alpha);
  R_B: rho = max(rho, 0.05) (R_B does not carry negative coherence),
       alpha = atan2(2 c rho, c^2 - 1) / 2, mu = 1 + (4 rho^2 - 4) / (c + 1/c)^2,
       gamma = atan(sqrt((1 - sqrt(mu)) / (1 + sqrt(mu)))),
       h11 = sqrt(2) cos(alpha) cos(gamma), h12 = sqrt(2) sin(alpha) cos(gamma),
       h21 = -sqrt(2) sin(alpha) sin(gamma), h22 = sqrt(2) cos(alpha) sin(gamma).
  Either way the outputs l = h11 s + h21 d, r = h12 s + h22 d of uncorrelated s
  and d of equal power have the power ratio c^2 and the coherence rho (R_B: its
  rho).
* kPhase[k]: (cos, sin) of k pi / 4, Q30, the IPD/OPD steps.
* kPhaseSmooth[8 a + b]: the unit phasor of 1 + e^(i pi a / 4) / 2 + e^(i pi b / 4) / 4,
  Q30: the smoothed phase of a value and its two predecessors, relative to the
  newest (a, b: the differences of the older ones to it, modulo 8).
* kDecorr20 / kDecorr34 [band][phi, Q0, Q1, Q2]: (cos, sin) Q31 of the
  decorrelator's fractional delays per all-pass band, phi = exp(-i pi 0.39 f),
  Q_m = exp(-i pi q_m f), f the band's centre frequency in QMF bands
  (f_center; k + 1/2 for an unsplit QMF band k).
* kAllpassGain20 / kAllpassGain34 [band][m]: a(m) g(k), Q31: the links'
  decay times the band's decay slope g(k) = 1 - 0.05 (k - first unsplit QMF
  band) above it (hybrid bands 1), not below 0.

Q values are rounded to nearest, halves away from zero, 1.0 in Q31 clamped to
2^31 - 1.

Usage: gen_ps_tables.py [--check]
"""
import math
import sys

import tablegen

DATA = tablegen.ROOT / 'data' / 'sbr_ps_tables.txt'
OUT = 'src/ps/ps_tables.cpp'

# Centre frequencies of the hybrid bands, in QMF bands (the standard's f_center),
# in the order of src/ps/ps_layout.h: 20 bands in units of 1/8, 34 bands in 1/24.
F_CENTER_20 = [x / 8 for x in (-3, -1, 1, 3, 5, 7, 10, 14, 18, 22)]
F_CENTER_34 = [x / 24 for x in (2, 6, 10, 14, 18, 22, 26, 30, 34, -10, -6, -2, 51, 57, 15, 21,
                                27, 33, 39, 45, 54, 66, 78, 42, 102, 66, 78, 90, 102, 114, 126,
                                90)]
ALLPASS_QMF_END = 23   # QMF bands below 23 (and every hybrid band) go through the all-pass links
PHI_FRACT = 0.39
DECAY_SLOPE = 0.05
RHO_MIN_B = 0.05


def parse(path):
    hybrid, iid, icc, allpass = {}, {}, None, None
    with open(path) as f:
        for line in f:
            t = line.split()
            if not t or t[0].startswith('#'):
                continue
            if t[0] == 'ps_hybrid':
                half = [float(v) for v in t[2:]]
                hybrid[t[1]] = half + half[-2::-1]
            elif t[0] == 'ps_iid_quant':
                iid[t[1]] = [float(v) for v in t[2:]]
            elif t[0] == 'ps_icc_quant':
                icc = [float(v) for v in t[1:]]
            elif t[0] == 'ps_allpass':
                v = [float(x) for x in t[1:]]
                allpass = {'delay': [int(x) for x in v[0:3]], 'a': v[3:6], 'q': v[6:9]}
    return hybrid, iid, icc, allpass


def fixed(value, bits):
    scaled = value * (1 << bits)
    if abs(abs(scaled) - math.floor(abs(scaled)) - 0.5) < 1e-6:
        sys.exit('value %r lies on a rounding boundary' % scaled)
    rounded = int(math.floor(abs(scaled) + 0.5)) * (1 if scaled >= 0 else -1)
    return max(-(1 << 31), min((1 << 31) - 1, rounded))


def complex_filter(p, bands):
    return [[(fixed(p[n] * math.cos(2 * math.pi / bands * (q + 0.5) * (n - 6)), 31),
              fixed(p[n] * math.sin(2 * math.pi / bands * (q + 0.5) * (n - 6)), 31))
             for n in range(13)] for q in range(bands)]


def real_filter(p):
    return [[fixed(p[n] * math.cos(math.pi * q * (n - 6)), 31) for n in range(13)]
            for q in range(2)]


def mix_a(c, rho):
    c1 = math.sqrt(2 / (1 + c * c))
    c2 = c * c1
    alpha = math.acos(max(-1.0, min(1.0, rho))) / 2
    beta = alpha * (c1 - c2) / math.sqrt(2)
    return (c2 * math.cos(beta + alpha), c1 * math.cos(beta - alpha),
            c2 * math.sin(beta + alpha), c1 * math.sin(beta - alpha))


def mix_b(c, rho):
    rho = max(rho, RHO_MIN_B)
    alpha = math.atan2(2 * c * rho, c * c - 1) / 2
    mu = 1 + (4 * rho * rho - 4) / (c + 1 / c) ** 2
    root = math.sqrt(max(0.0, mu))
    gamma = math.atan(math.sqrt((1 - root) / (1 + root)))
    s2 = math.sqrt(2)
    return (s2 * math.cos(alpha) * math.cos(gamma), s2 * math.sin(alpha) * math.cos(gamma),
            -s2 * math.sin(alpha) * math.sin(gamma), s2 * math.cos(alpha) * math.sin(gamma))


def mix_table(rule, grid, icc):
    db = [-v for v in grid[:0:-1]] + grid      # index -max .. +max
    return [[tuple(fixed(h, 30) for h in rule(10 ** (d / 20), rho)) for rho in icc] for d in db]


def decorr(f_hybrid, first_qmf, allpass):
    bands = len(f_hybrid) + ALLPASS_QMF_END - first_qmf
    f = f_hybrid + [k + 0.5 for k in range(first_qmf, ALLPASS_QMF_END)]
    phases, gains = [], []
    for k in range(bands):
        row = [(fixed(math.cos(-math.pi * PHI_FRACT * f[k]), 31),
                fixed(math.sin(-math.pi * PHI_FRACT * f[k]), 31))]
        row += [(fixed(math.cos(-math.pi * q * f[k]), 31), fixed(math.sin(-math.pi * q * f[k]), 31))
                for q in allpass['q']]
        phases.append(row)
        qmf = first_qmf + k - len(f_hybrid)
        g = 1.0 if k < len(f_hybrid) else max(0.0, 1 - DECAY_SLOPE * (qmf - first_qmf))
        gains.append([fixed(a * g, 31) for a in allpass['a']])
    return phases, gains


def pair(p):
    return '{%d, %d}' % p


def array(decl, name, dims, items):
    lines = ['%s %s%s = {' % (decl, name, ''.join('[%d]' % d for d in dims))]
    return lines + tablegen.wrap(items) + ['};', '']


def generate():
    hybrid, iid, icc, allpass = parse(DATA)
    body = ['']
    for name, key, bands in (('kHybrid20Band0', 'p8_13_20', 8), ('kHybrid34Band0', 'p12_13_34', 12),
                             ('kHybrid34Band1', 'p8_13_34', 8), ('kHybrid34Band2', 'p4_13_34', 4)):
        rows = complex_filter(hybrid[key], bands)
        body += array('const int32_t', name, (bands, 13, 2), ['{' + ', '.join(pair(p) for p in r) + '}'
                                                              for r in rows])
    rows = real_filter(hybrid['p2_13_20'])
    body += array('const int32_t', 'kHybrid20Band1', (2, 13),
                  ['{' + ', '.join('%d' % v for v in r) + '}' for r in rows])
    for name, rule in (('kMixA', mix_a), ('kMixB', mix_b)):
        for grid_name, grid in (('Normal', iid['normal']), ('Fine', iid['fine'])):
            t = mix_table(rule, grid, icc)
            items = ['{' + ', '.join('{%d, %d, %d, %d}' % h for h in row) + '}' for row in t]
            body += array('const int32_t', name + grid_name, (len(t), 8, 4), items)
    body += array('const int32_t', 'kPhase', (8, 2),
                  [pair((fixed(math.cos(k * math.pi / 4), 30), fixed(math.sin(k * math.pi / 4), 30)))
                   for k in range(8)])
    smooth = []
    for a in range(8):
        for b in range(8):
            z = 1 + complex(math.cos(a * math.pi / 4), math.sin(a * math.pi / 4)) / 2 \
                + complex(math.cos(b * math.pi / 4), math.sin(b * math.pi / 4)) / 4
            z /= abs(z)
            smooth.append(pair((fixed(z.real, 30), fixed(z.imag, 30))))
    body += array('const int32_t', 'kPhaseSmooth', (64, 2), smooth)
    for suffix, f_hybrid, first in (('20', F_CENTER_20, 3), ('34', F_CENTER_34, 5)):
        phases, gains = decorr(f_hybrid, first, allpass)
        body += array('const int32_t', 'kDecorr' + suffix, (len(phases), 4, 2),
                      ['{' + ', '.join(pair(p) for p in r) + '}' for r in phases])
        body += array('const int32_t', 'kAllpassGain' + suffix, (len(gains), 3),
                      ['{' + ', '.join('%d' % g for g in r) + '}' for r in gains])
    notes = ('Q31 filters and decorrelator phases, Q30 mixing matrices and phasors;',
             'rounded to nearest, 1.0 in Q31 clamped to 2^31 - 1.')
    return {OUT: tablegen.cpp_file(__file__, 'ps/ps_tables.h', body, notes, namespace='fxaac::ps')}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
