#!/usr/bin/env python3
"""Generates src/tools/dequant_tables.cpp: the tables of inverse quantisation
and of the scale factor, intensity and noise gains.

pow_table[i] = round(i^(4/3) * 2^13) for i = 0..512 (Q13), computed exactly
with integers: i^(4/3) * 2^13 = cbrt(i^4 * 2^39), and round(y) = floor(y + 1/2)
is the largest t with (2t - 1)^3 <= 8 * i^4 * 2^39.

dec_scale_table[k] = ceil(2^(k/4) * 2^14) for k = 0..3 (Q14): the quarter-step
gain mantissas, rounded up (19483.2 -> 19484, 23170.5 -> 23171, 27554.5 -> 27555).

Usage: gen_dequant_tables.py [--check]
"""
import sys

import tablegen

OUT = 'src/tools/dequant_tables.cpp'


def icbrt(x):
    """Largest t with t^3 <= x."""
    t = int(round(x ** (1.0 / 3.0))) + 2
    while t ** 3 > x:
        t -= 1
    return t


def pow43_q13(i):
    x = i ** 4 * 2 ** 39
    t = icbrt(x)                     # floor(cbrt(x))
    return t + 1 if (2 * t + 1) ** 3 <= 8 * x else t


def quarter_step_q14(k):
    # ceil(2^(k/4) * 2^14) = smallest m with m^4 >= 2^k * 2^56
    target = 2 ** k * 2 ** 56
    m = int(2 ** (k / 4) * 2 ** 14)
    while m ** 4 < target:
        m += 1
    while (m - 1) ** 4 >= target:
        m -= 1
    return m


def generate():
    pow_table = [pow43_q13(i) for i in range(513)]
    scale = [quarter_step_q14(k) for k in range(4)]
    assert pow_table[1] == 8192 and pow_table[2] == 20643 and pow_table[8] == 131072
    assert pow_table[512] == 33554432 and scale == [16384, 19484, 23171, 27555]
    body = ['', '// round(i^(4/3) * 2^13), i = 0..512.']
    body += tablegen.c_array('const int32_t', 'pow_table', pow_table, 8)
    body += ['',
             '// ceil(2^(k/4) * 2^14), k = 0..3.',
             'const int16_t dec_scale_table[4] = {' + ', '.join(map(str, scale)) + '};',
             '']
    return {OUT: tablegen.cpp_file(__file__, 'tools/dequant_tables.h', body)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
