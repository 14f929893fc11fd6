#!/usr/bin/env python3
"""Noise substitution in the precise arithmetic: band energies against ffmpeg's decoder.

Each decoder draws its own noise, so samples cannot be compared; the energy of each band can.
A 10 s band-limited white noise is encoded by ffmpeg's AAC encoder at a low rate with noise
substitution on, decoded by `fxaac decode --precise --format s24` and by ffmpeg (float), and
the long-term energy of 16 equal bands (1024-point Hann-windowed spectra, half overlapping) is
compared: every band within 30 dB of the strongest must agree within 0.1 dB.

Usage: pns_energy.py --fxaac PATH [--emulator CMD] [--ffmpeg PATH]
Exit status 0 when every band agrees, 77 without ffmpeg, else 1.
"""

import argparse
import array
import cmath
import math
import pathlib
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from fxaac_test_common import Runner, Wav  # noqa: E402

SKIP = 77
SIZE, BANDS, RANGE_DB, LIMIT_DB = 1024, 16, 30.0, 0.1


def fft(x):
    """Iterative radix-2 FFT of a power-of-two list of floats."""
    n = len(x)
    a = [complex(v) for v in x]
    j = 0
    for i in range(1, n):
        bit = n >> 1
        while j & bit:
            j ^= bit
            bit >>= 1
        j |= bit
        if i < j:
            a[i], a[j] = a[j], a[i]
    length = 2
    while length <= n:
        w = cmath.exp(-2j * math.pi / length)
        for start in range(0, n, length):
            t = 1.0
            for k in range(start, start + length // 2):
                u, v = a[k], a[k + length // 2] * t
                a[k], a[k + length // 2] = u + v, u - v
                t *= w
        length <<= 1
    return a


def band_energies(signal):
    window = [0.5 - 0.5 * math.cos(2 * math.pi * i / SIZE) for i in range(SIZE)]
    per_band = SIZE // 2 // BANDS
    energy = [0.0] * BANDS
    for start in range(0, len(signal) - SIZE, SIZE // 2):
        spectrum = fft([signal[start + i] * window[i] for i in range(SIZE)])
        for b in range(BANDS):
            energy[b] += sum(abs(c) ** 2 for c in spectrum[b * per_band:(b + 1) * per_band])
    return energy


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--ffmpeg', default=shutil.which('ffmpeg'))
    ap.add_argument('--default', dest='mode', action='store_const', const=[], default=['--precise'],
                    help='the default arithmetic instead (for comparison)')
    args = ap.parse_args()
    if not args.ffmpeg:
        print('SKIP: needs ffmpeg')
        return SKIP
    runner = Runner(args.emulator)
    with tempfile.TemporaryDirectory(prefix='fxaac_pns_') as work:
        stream = pathlib.Path(work) / 'noise.aac'
        subprocess.run([args.ffmpeg, '-v', 'error', '-y', '-f', 'lavfi', '-i',
                        'anoisesrc=d=10:c=white:r=44100:a=0.3:s=7,highpass=f=3000,lowpass=f=7000',
                        '-ac', '1', '-c:a', 'aac', '-aac_pns', '1', '-b:a', '24k', str(stream)],
                       check=True)
        rc, out, err = runner.run([args.fxaac, 'decode', '-q', *args.mode, '--format', 's24',
                                   str(stream), '-o', '-'])
        if rc != 0:
            print(f'FAIL fxaac exit {rc}: {err.strip()}')
            return 1
        ours = [v / (1 << 23) for v in Wav(out).samples24()]
        ref = array.array('f')
        ref.frombytes(subprocess.run([args.ffmpeg, '-v', 'error', '-i', str(stream), '-f', 'f32le',
                                      '-'], check=True, capture_output=True).stdout)
    a, b = band_energies(ours), band_energies(list(ref))
    top = max(b)
    failures = 0
    print(f'{"band":>4s} {"reference dB":>12s} {"difference dB":>13s}')
    for k, (x, y) in enumerate(zip(a, b)):
        level = 10 * math.log10(y / top) if y > 0 else -math.inf
        diff = 10 * math.log10(x / y) if x > 0 and y > 0 else math.inf
        checked = level >= -RANGE_DB
        bad = checked and abs(diff) > LIMIT_DB
        failures += bad
        print(f'{k:4d} {level:12.1f} {diff:13.3f}{"  FAIL" if bad else ("" if checked else "  (not checked)")}')
    print(f'{failures} bands outside {LIMIT_DB} dB')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
