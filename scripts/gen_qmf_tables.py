#!/usr/bin/env python3
"""Generate the twiddle tables of the SBR QMF banks (src/sbr/qmf_tables.cpp).

The banks of ISO/IEC 14496-3 4.6.18.4 modulate with exp(i pi/N (k + 1/2) t):
src/sbr/qmf.cpp computes them as DCT-IV / DST-IV pairs of N = 32 or 64 points,
each through a complex FFT of N/2 points. Tables, as (cos, sin) pairs in Q31:

* kQmfDct32Twiddle[n], n = 0..15 and kQmfDct64Twiddle[n], n = 0..31:
  angle pi (n + 1/8) / N, the pre- and post-twiddle of the DCT-IV of N points.
* kQmfFftTwiddle[m], m = 0..15: angle 2 pi m / 32, the radix-2 FFT twiddles
  of the 32-point FFT (the 16-point FFT reads every other one).
* kQmfAnalysisRotation[k], k = 0..31: angle 3 pi (k + 1/2) / 128, the phase
  that turns the analysis bank's (2n - 1/2) time offset into the DCT-IV's
  (n + 1/2).

Q31(v) = round(v * 2^31), halves away from zero, clamped to 2^31 - 1.

Usage: gen_qmf_tables.py [--check]   (--check: exit 1 if the committed file
differs from what would be written)
"""
import math
import sys

import tablegen

OUT = 'src/sbr/qmf_tables.cpp'


def q31(value):
    scaled = value * (1 << 31)
    # A value this close to a rounding boundary would make the table depend
    # on the last bit of the libm in use; none of these angles comes close.
    if abs(abs(scaled) - math.floor(abs(scaled)) - 0.5) < 1e-6:
        sys.exit('Q31 value %r lies on a rounding boundary' % scaled)
    rounded = int(math.floor(abs(scaled) + 0.5)) * (1 if scaled >= 0 else -1)
    return max(-(1 << 31), min((1 << 31) - 1, rounded))


def pairs(angles):
    return [(q31(math.cos(a)), q31(math.sin(a))) for a in angles]


def table(name, values):
    lines = ['const int32_t %s[%d][2] = {' % (name, len(values))]
    lines += tablegen.wrap(['{%d, %d}' % p for p in values])
    return lines + ['};', '']


def generate():
    body = ['']
    body += table('kQmfDct32Twiddle', pairs([math.pi * (n + 0.125) / 32 for n in range(16)]))
    body += table('kQmfDct64Twiddle', pairs([math.pi * (n + 0.125) / 64 for n in range(32)]))
    body += table('kQmfFftTwiddle', pairs([2 * math.pi * m / 32 for m in range(16)]))
    body += table('kQmfAnalysisRotation',
                  pairs([3 * math.pi * (k + 0.5) / 128 for k in range(32)]))
    notes = ('(cos, sin) pairs in Q31, rounded to nearest, 1.0 clamped to 2^31 - 1.',)
    return {OUT: tablegen.cpp_file(__file__, 'sbr/qmf_tables.h', body, notes,
                                   namespace='fxaac::sbr')}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
