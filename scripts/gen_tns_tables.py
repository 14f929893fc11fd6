#!/usr/bin/env python3
"""Generates src/tools/tns_tables.cpp: the reflection coefficients of
temporal noise shaping (ISO/IEC 14496-3 4.6.9) as signed Q18 words
(2^18 = 1.0), indexed by the raw coefficient field of the bitstream.

Rule, for a field u of b bits read as the b-bit two's-complement value v and
a coefficient resolution of r bits (coef_res 0: r = 3, coef_res 1: r = 4):
  v >= 0: round(2^18 * sin(v / ((2^(r-1) - 0.5) / (pi/2))))
  v <  0: round(2^18 * sin(v / ((2^(r-1) + 0.5) / (pi/2))))
The compressed tables (coef_compress 1) use one bit less per field; they
hold the full tables' entries for the values that fit in b = r - 1 bits.
Every entry is below 2^18 in magnitude, so k >> 3 fits a Q15 coefficient.

Usage: gen_tns_tables.py [--check]   (--check: exit 1 if the committed file
differs from what would be written)
"""
import math
import sys

import tablegen

OUT = 'src/tools/tns_tables.cpp'

Q18 = 1 << 18

# (name, resolution r, field width b)
TABLES = (
    ('tns_coef_res3', 3, 3),
    ('tns_coef_res3_compressed', 3, 2),
    ('tns_coef_res4', 4, 4),
    ('tns_coef_res4_compressed', 4, 3),
)


def reflection(v, r):
    # Positive and negative values are spread over different step sizes so
    # that both ends of the range come close to +-1 without reaching it.
    half = 2 ** (r - 1)
    step = (half - 0.5 if v >= 0 else half + 0.5) / (math.pi / 2)
    # Round half up. The entry nearest a rounding boundary, tns_coef_res3[3]
    # = 255571.503 before rounding, is 0.003 above it: double precision is
    # ample.
    return math.floor(Q18 * math.sin(v / step) + 0.5)


def table(r, b):
    values = []
    for u in range(1 << b):
        v = u - (1 << b) if u >= 1 << (b - 1) else u
        values.append(reflection(v, r))
    return values


def check_compressed():
    # A compressed field names the same coefficient as the full field with
    # the same two's-complement value.
    for name, r, b in TABLES:
        full = table(r, r)
        for u, k in enumerate(table(r, b)):
            v = u - (1 << b) if u >= 1 << (b - 1) else u
            assert k == full[v % (1 << r)], name


NOTES = (
    'TNS reflection coefficients in Q18, indexed by the raw coefficient',
    'field u: round(2^18 * sin(v / ((2^(r-1) -+ 0.5) / (pi/2)))), v = u as a',
    'two\'s-complement number, - for v >= 0 and + for v < 0.',
)


def generate():
    check_compressed()
    body = ['']
    for name, r, b in TABLES:
        body += tablegen.c_array('const int32_t', name, table(r, b), 8) + ['']
    return {OUT: tablegen.cpp_file(__file__, 'tools/tns_tables.h', body, NOTES)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
