#!/usr/bin/env python3
"""Accuracy of fxaac's 24-bit output against a floating-point decoder.

Every ADTS vector without noise substitution (whose noise each decoder draws from its own
generator) is decoded with `fxaac decode --format s24` and by a floating-point reference:
ffmpeg's AAC decoder (-f f32le); faad's (-b 4) for vectors flagged is_ms2, where ffmpeg treats
intensity stereo under ms_mask_present 2 differently (faad leaves out the first 1024 samples per
channel). For the vector of two single channel elements (flag slots_swapped) the reference is
its two mono sources decoded apart and interleaved in the order the decoder writes them.

Differences are in units of full scale, the reference clipped to the 24-bit range first (a
PCM output cannot go past full scale). Reported per vector against the limits of ISO/IEC
14496-26 for 24-bit conformance: RMS below 2^-15/sqrt(12), largest difference at most 2^-14.

Exit status 1 when an output's length differs from the reference's, or when a vector is not
within the accuracy expected of this fixed-point decoder: RMS at most 1.2 16-bit steps (1.7 for
the full-scale square waves), largest difference at most 24 steps (the bounds that the 16-bit
conformance comparison applies); meeting the ISO/IEC 14496-26 limits is reported, not required.

The 16-bit output is compared too, with the reference rounded to 16 bits (half up). With
--precise the decoder runs its precise arithmetic (`fxaac decode --precise`), and every vector
must meet the ISO/IEC 14496-26 limits at 24 bits and differ at 16 bits by at most 0.30 steps
RMS and 1 step at most.

Usage: s24_accuracy.py --fxaac PATH --vectors DIR [--emulator CMD] [--precise] [NAME ...]
"""

import argparse
import math
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from fxaac_test_common import Runner, Wav, compare, read_manifest, reference  # noqa: E402
from fxaac_harness.wav import interleave  # noqa: E402

ISO_RMS = 2.0 ** -15 / math.sqrt(12)
ISO_MAX = 2.0 ** -14
STEP16 = 2.0 ** -15
BOUND_RMS, BOUND_RMS_FULLSCALE, BOUND_MAX = 1.2 * STEP16, 1.7 * STEP16, 24 * STEP16
TOP = 1.0 - 2.0 ** -23
PRECISE16_RMS, PRECISE16_MAX = 0.30, 1


def float_reference(v, base, work):
    """(reference samples, samples per channel to skip at the start of ours, source name)."""
    if 'is_ms2' in v.flags:
        out = pathlib.Path(work) / (v.path.name + '.faad.f32')
        return reference.faad_samples(v.path, out, 'f32', v.chn), reference.FAAD_SKIP, 'faad'
    if 'slots_swapped' in v.flags:
        parts = [reference.ffmpeg_samples(base / n, 'f32', 'aac') for n in reversed(v.refs)]
        return interleave(parts), 0, 'ffmpeg (parts)'
    return reference.ffmpeg_samples(v.path, 'f32', 'aac'), 0, 'ffmpeg'


def check16(runner, fxaac, mode, v, ref, skip):
    """(problem or None, figures) of the 16-bit output against the reference rounded half up."""
    rc, out, err = runner.run([fxaac, 'decode', '-q', *mode, v.path, '-o', '-'])
    if rc != 0:
        return f'16-bit: exit {rc}: {err.strip()}', ''
    ours = Wav(out).samples16()[skip * v.chn:]
    rounded = [min(32767, max(-32768, math.floor(b * 32768 + 0.5))) for b in ref]
    d = compare(ours, rounded)
    figures = f'  {d.rms:10.3f} {d.largest:4d}'
    if len(ours) != len(rounded):
        return f'16-bit: {len(ours)} samples, reference {len(rounded)}', figures
    if d.rms > PRECISE16_RMS or d.largest > PRECISE16_MAX:
        return f'16-bit: RMS {d.rms:.3f}, max {d.largest} steps', figures
    return None, figures


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--vectors', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--precise', action='store_true')
    ap.add_argument('names', nargs='*')
    args = ap.parse_args()
    runner = Runner(args.emulator)
    base = pathlib.Path(args.vectors)
    vectors = [v for v in read_manifest(base)
               if v.kind == 'adts' and 'pns' not in v.flags and (not args.names or v.name in args.names)]
    failures, within_iso = [], 0
    print(f'ISO/IEC 14496-26 limits: RMS < {ISO_RMS:.3e}, max <= {ISO_MAX:.3e} of full scale')
    mode = ['--precise'] if args.precise else []
    print(f'{"vector":30s} {"reference":14s} {"RMS":>10s} {"/limit":>7s} {"max":>10s} {"/limit":>7s}  ISO'
          + '  16-bit RMS  max')
    with tempfile.TemporaryDirectory(prefix='fxaac_s24_') as work:
        for v in vectors:
            rc, out, err = runner.run([args.fxaac, 'decode', '-q', '--format', 's24', *mode, v.path,
                                       '-o', '-'])
            if rc != 0:
                failures.append(f'{v.name}: exit {rc}: {err.strip()}')
                continue
            w = Wav(out)
            ours = w.samples24()
            ref, skip, source = float_reference(v, base, work)
            ours = ours[skip * v.chn:]
            if len(ours) != len(ref):
                failures.append(f'{v.name}: {len(ours)} samples, reference {len(ref)}')
            scale = 1.0 / (1 << 23)
            d = compare([a * scale for a in ours], [min(TOP, max(-1.0, b)) for b in ref])
            rms, mx = d.rms, d.largest
            iso = rms < ISO_RMS and mx <= ISO_MAX
            within_iso += iso
            line = (f'{v.name:30s} {source:14s} {rms:10.3e} {rms / ISO_RMS:7.2f} {mx:10.3e} '
                    f'{mx / ISO_MAX:7.2f}  {"yes" if iso else "no "}')
            problem, figures = check16(runner, args.fxaac, mode, v, ref, skip)
            line += figures
            if args.precise and problem:
                failures.append(f'{v.name}: {problem}')
            if args.precise and not iso:
                failures.append(f'{v.name}: outside the ISO/IEC 14496-26 limits')
            print(line)
            bound = BOUND_RMS_FULLSCALE if 'fullscale' in v.flags else BOUND_RMS
            if rms > bound or mx > BOUND_MAX:
                failures.append(f'{v.name}: RMS {rms / STEP16:.2f} and max {mx / STEP16:.1f} '
                                f'16-bit steps exceed {bound / STEP16:.1f} and {BOUND_MAX / STEP16:.0f}')
    print(f'{within_iso} of {len(vectors)} vectors within the ISO/IEC 14496-26 limits')
    for f in failures:
        print('FAIL ' + f)
    print(f'{len(vectors) - len(failures)} passed, {len(failures)} failed')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
