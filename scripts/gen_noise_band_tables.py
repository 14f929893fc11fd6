#!/usr/bin/env python3
"""Generates src/tools/noise_band_tables.cpp: the per-band normalisation of
perceptual noise substitution, for every sampling frequency index and both
window lengths, from the scale factor band tables in data/aac_tables.txt.

Rule: norm[b] = floor(2^65 / (10^10 * sqrt(width_b))), width_b the band's
width in lines, so that norm * sqrt(width) is 1.7179869184 * 2^31 for every
band: a band of noise then has an energy that depends only on its noise
energy value, not on its width. Computed exactly with integers:
floor(sqrt(x)) == isqrt(floor(x)).

Usage: gen_noise_band_tables.py [--check]   (--check: exit 1 if the committed
file differs from what would be written)
"""
import math
import sys

import tablegen

DATA = tablegen.ROOT / 'data' / 'aac_tables.txt'
OUT = 'src/tools/noise_band_tables.cpp'

# Stored values that the deployed tables hold instead of the rule's: each is
# the rule's value for a narrower band (width 32 for a 36-line band, width 55
# for 52-line bands). Decoded output is bit-exact against these values.
# (window, sampling frequency index, band) -> width whose value is stored.
STORED_EXCEPTIONS = {
    ('short', 2, 11): 32,
    ('long', 6, 40): 55, ('long', 6, 41): 55,
    ('long', 7, 40): 55, ('long', 7, 41): 55,
    ('long', 8, 37): 55, ('long', 9, 37): 55, ('long', 10, 37): 55,
    ('long', 11, 35): 55,
}


def norm(width):
    return math.isqrt(2 ** 130 // (10 ** 20 * width))


def band_tables():
    tables = {'long': {}, 'short': {}}
    with open(DATA) as f:
        for line in f:
            fields = line.split()
            if fields and fields[0] in ('swb_long', 'swb_short'):
                window = fields[0][4:]
                index, num_swb = int(fields[1]), int(fields[3])
                offsets = [int(x) for x in fields[4:]]
                assert len(offsets) == num_swb + 1
                tables[window][index] = offsets
    return tables


def noise_table(window, index, offsets):
    values = []
    for b in range(len(offsets) - 1):
        width = offsets[b + 1] - offsets[b]
        values.append(norm(STORED_EXCEPTIONS.get((window, index, b), width)))
    return values


def emit_window(window, tables, out):
    # Indexes whose values are equal share one stored table.
    names, shared = {}, []
    for index in range(12):
        values = tuple(noise_table(window, index, tables[window][index]))
        if values not in names:
            names[values] = 'pns_%s_%d' % (window, index)
            out += tablegen.c_array('const uint32_t', names[values], values, 6, '%du') + ['']
        shared.append(names[values])
    return shared


NOTES = (
    'Noise substitution normalisation per scale factor band:',
    'floor(2^65 / (10^10 * sqrt(width))), with the stored exceptions listed',
    'in the script.',
)


def generate():
    tables = band_tables()
    body = ['namespace {', '']
    longs = emit_window('long', tables, body)
    shorts = emit_window('short', tables, body)
    body += ['}  // namespace', '']
    for window, refs in (('long', longs), ('short', shorts)):
        body.append('const uint32_t *const pns_swb_offset_%s_window[12] = {' % window)
        body += tablegen.rows(refs, len(refs), '%s')
        body.append('};')
    body.append('')
    return {OUT: tablegen.cpp_file(__file__, 'tools/noise_band_tables.h', body, NOTES)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
