#!/usr/bin/env python3
"""Generates src/precise/precise_tables.cpp: the coefficients of the precise
arithmetic (src/precise/), every one rounded half up from its formula.

* pow43_scaled[i] = round(i^(4/3) * 2^(27 - 4k)), i = 0..511, k = 0 below 8, 1 below 64,
  2 above (Q27, Q23, Q19: each below 2^31, each 27 bits of precision), exact integer
  rounding: i^(4/3) * 2^q = cbrt(i^4 * 2^(3q)).
* gain_q30[k] = round(2^(k/4) * 2^30), k = 0..3: quarter-step gain mantissas.
* tns_q31_*: TNS reflection coefficients round(2^31 * sin(v / ((2^(r-1) -+ 0.5)
  / (pi/2)))) by raw field u (v = u as a two's-complement number).
* imdct_cos_N / imdct_sin_N: round(2^31 * cos / sin(2 pi (k + 1/8) / N)),
  k < N/4, N = 2048 and 256 (the pre- and post-twiddle angles).
* fft512_q29 / fft64_q29: radix-4 twiddles round(2^29 * cos / sin(2 pi q m / n)) (a quarter
  in Q31: the stage's division by 4 rides on the twiddle products)
  of leg q = 1..3 and butterfly m of each stage of block length n, in groups
  of four butterflies: c1[4] s1[4] c2[4] s2[4] c3[4] s3[4]. The 512-point
  transform has stages n = 512, 128, 32 and a packed n = 8 stage (lanes m = 0,
  1, 0, 1: two blocks per group); the 64-point one n = 64 and 16.
* window_*_q31: rising window halves round(2^31 * w[n]) clipped to 2^31 - 1,
  sine and Kaiser-Bessel derived (alpha 4 long, 6 short), 2048 and 256 long.

Usage: gen_precise_tables.py [--check]
"""
import math
import sys

import tablegen
from gen_tns_tables import TABLES as TNS_TABLES
from gen_window_tables import kbd_rising_half, sine_rising_half

OUT = 'src/precise/precise_tables.cpp'
MAX31 = 2 ** 31 - 1


def round_fixed(value, bits):
    """floor(value * 2^bits + 1/2), refusing values whose rounding would depend
    on the last bit of the double (none of these is near a boundary)."""
    scaled = value * 2.0 ** bits
    if abs(scaled - math.floor(scaled) - 0.5) < 1e-4:
        sys.exit(f'{scaled} lies on a rounding boundary')
    return min(MAX31, math.floor(scaled + 0.5))


def icbrt(x):
    """Largest t with t^3 <= x."""
    t = int(round(x ** (1.0 / 3.0))) + 2
    while t ** 3 > x:
        t -= 1
    return t


def pow43_scaled(i):
    q = 27 - 4 * ((i >= 8) + (i >= 64))
    x = i ** 4 * 2 ** (3 * q)
    t = icbrt(x)
    return t + 1 if (2 * t + 1) ** 3 <= 8 * x else t


def gain_q30(k):
    # round(2^(k/4) * 2^30): the largest m with (2m - 1)^4 <= 2^k * 2^124.
    target = 2 ** k * 2 ** 124
    m = int(2 ** (k / 4) * 2 ** 30) + 2
    while (2 * m - 1) ** 4 > target:
        m -= 1
    return m


def tns_q31(r, b):
    values = []
    for u in range(1 << b):
        v = u - (1 << b) if u >= 1 << (b - 1) else u
        half = 2 ** (r - 1)
        step = (half - 0.5 if v >= 0 else half + 0.5) / (math.pi / 2)
        values.append(round_fixed(math.sin(v / step), 31))
    return values


def imdct_twiddles(length):
    angles = [2.0 * math.pi * (k + 0.125) / length for k in range(length // 4)]
    return ([round_fixed(math.cos(a), 31) for a in angles],
            [round_fixed(math.sin(a), 31) for a in angles])


def group(block, butterflies):
    words = []
    for leg in (1, 2, 3):
        angles = [2.0 * math.pi * leg * m / block for m in butterflies]
        words += [round_fixed(math.cos(a), 29) for a in angles]
        words += [round_fixed(math.sin(a), 29) for a in angles]
    return words


def stage(block):
    words = []
    for first in range(0, block // 4, 4):
        words += group(block, range(first, first + 4))
    return words


def generate():
    powers = [pow43_scaled(i) for i in range(512)]
    assert powers[1] == 2 ** 27 and powers[8] == 16 * 2 ** 23 and powers[64] == 256 * 2 ** 19
    assert max(powers) < 2 ** 31
    gains = [gain_q30(k) for k in range(4)]
    assert gains[0] == 2 ** 30 and gains[2] == 1518500250
    body = ['', '// round(i^(4/3) * 2^(27 - 4k)), i = 0..511, k = (i >= 8) + (i >= 64).']
    body += tablegen.c_array('const int32_t', 'pow43_scaled', powers, 6, '%10d')
    body += ['', '// round(2^(k/4) * 2^30), k = 0..3.',
             'const int32_t gain_q30[4] = {' + ', '.join(map(str, gains)) + '};', '']
    for name, r, b in TNS_TABLES:
        body += tablegen.c_array('const int32_t', name.replace('tns_coef', 'tns_q31'),
                                 tns_q31(r, b), 6, '%11d') + ['']
    for n in (2048, 256):
        cos, sin = imdct_twiddles(n)
        body += tablegen.c_array('alignas(16) const int32_t', f'imdct_cos_{n}', cos, 6, '%11d')
        body += [''] + tablegen.c_array('alignas(16) const int32_t', f'imdct_sin_{n}', sin, 6,
                                        '%11d') + ['']
    fft512 = stage(512) + stage(128) + stage(32) + group(8, [0, 1, 0, 1])
    fft64 = stage(64) + stage(16)
    body += tablegen.c_array('alignas(16) const int32_t', 'fft512_q29', fft512, 6, '%11d') + ['']
    body += tablegen.c_array('alignas(16) const int32_t', 'fft64_q29', fft64, 6, '%11d') + ['']
    windows = [('window_sine_long_q31', sine_rising_half(2048)),
               ('window_kbd_long_q31', kbd_rising_half(2048, alpha=4)),
               ('window_sine_short_q31', sine_rising_half(256)),
               ('window_kbd_short_q31', kbd_rising_half(256, alpha=6))]
    for name, w in windows:
        body += tablegen.c_array('alignas(16) const int32_t', name,
                                 [round_fixed(v, 31) for v in w], 6, '%11d') + ['']
    return {OUT: tablegen.cpp_file(__file__, 'precise/precise_tables.h', body)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
