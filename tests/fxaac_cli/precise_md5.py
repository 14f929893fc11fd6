#!/usr/bin/env python3
"""MD5 table of the precise arithmetic: every test vector that the fxaac command reads (ADTS,
ADIF, AudioSpecificConfig, HEAAC marker, raw blocks, LATM) decoded with `fxaac decode --precise`
to 16-bit and 24-bit WAV, each output's MD5 compared with tests/vectors/md5sums_precise.txt.
The table is the same on every machine: x86-64 at each kernel level (FXAAC_CPU_LEVEL) and armhf
under qemu-arm.

Usage: precise_md5.py --fxaac PATH --vectors DIR --md5 FILE [--emulator CMD] [--write]
(--write rewrites the table from this machine's output instead of comparing.)
"""

import argparse
import hashlib
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from fxaac_test_common import Runner, read_manifest  # noqa: E402


def inputs(base):
    """(name, extra arguments) of every vector the command decodes."""
    for v in read_manifest(base):
        if v.kind == 'raw':
            yield v.path, ['--raw', '--rate', str(v.fs), '--channels', str(v.chn)]
        elif v.kind in ('adts', 'adif', 'asc', 'heaac'):
            yield v.path, []
    for latm in sorted((base / 'latm').glob('*.latm')):
        yield latm, []


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--vectors', required=True)
    ap.add_argument('--md5', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--write', action='store_true')
    args = ap.parse_args()
    runner = Runner(args.emulator)
    base = pathlib.Path(args.vectors)
    lines, failures = [], []
    with tempfile.TemporaryDirectory(prefix='fxaac_precise_') as work:
        out = pathlib.Path(work) / 'out.wav'
        for path, extra in inputs(base):
            for fmt in ('s16', 's24'):
                cmd = [args.fxaac, 'decode', '-q', '--precise', '--format', fmt, *extra,
                       str(path), '-o', str(out)]
                rc, _, err = runner.run(cmd)
                if rc != 0:
                    failures.append(f'{path.name} {fmt}: exit {rc}: {err.strip()}')
                    continue
                name = str(path.relative_to(base))
                lines.append(f'{hashlib.md5(out.read_bytes()).hexdigest()}  {name} {fmt}')
    table = pathlib.Path(args.md5)
    if args.write:
        table.write_text(''.join(line + '\n' for line in lines))
        print(f'wrote {len(lines)} lines to {table}')
        return 1 if failures else 0
    expected = table.read_text().splitlines()
    for want, got in zip(expected, lines):
        if want != got:
            failures.append(f'expected {want}, got {got}')
    if len(expected) != len(lines):
        failures.append(f'{len(lines)} outputs, the table has {len(expected)}')
    for f in failures:
        print('FAIL ' + f)
    print(f'{len(lines)} outputs, {len(failures)} failures')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
