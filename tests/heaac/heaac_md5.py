#!/usr/bin/env python3
"""The MD5 table of fxaac's HE-AAC output: pins the SBR decoder's bits across builds, kernel
levels and machines (x86-64 at every level and armhf under qemu must give the same table).

Every stream of tests/heaac/streams (HE-AAC made by scripts/sbr-streams: random valid SBR
payloads in ffmpeg's AAC-LC streams) is decoded by the fxaac command three ways: 16-bit at the
doubled rate, 24-bit (--format s24), downsampled (--downsampled, the core's rate), and 24-bit
with the core in the precise arithmetic (--precise). The MD5 of the samples (the WAV file's
data chunk) of each must equal the table's line.

Usage: tests/heaac/heaac_md5.py --fxaac PATH [--emulator "qemu-arm -L ..."] [--update]
"""

import argparse
import hashlib
import pathlib
import shlex
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
MODES = {'s16': [], 's24': ['--format', 's24'], 'down': ['--downsampled'],
         'precise': ['--precise', '--format', 's24']}


def wav_data(path):
    """The bytes of a WAV file's data chunk."""
    raw = path.read_bytes()
    pos = 12
    while pos + 8 <= len(raw):
        size = int.from_bytes(raw[pos + 4:pos + 8], 'little')
        if raw[pos:pos + 4] == b'data':
            return raw[pos + 8:pos + 8 + size]
        pos += 8 + size + (size & 1)
    raise ValueError(f'{path}: no data chunk')


def decode_md5(command, stream, mode, work):
    out = work / f'{stream.name}.{mode}.wav'
    run = command + ['decode', str(stream), '-o', str(out), '--quiet'] + MODES[mode]
    result = subprocess.run(run, capture_output=True, text=True)
    if result.returncode != 0:
        return f'exit {result.returncode}: {result.stderr.strip()[:200]}'
    return hashlib.md5(wav_data(out)).hexdigest()


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--update', action='store_true')
    args = ap.parse_args()
    command = shlex.split(args.emulator) + [args.fxaac]
    table_path = HERE / 'md5sums.txt'
    streams = sorted(p for p in (HERE / 'streams').iterdir() if p.is_file())
    with tempfile.TemporaryDirectory() as tmp:
        got = {f'{s.name} {m}': decode_md5(command, s, m, pathlib.Path(tmp))
               for s in streams for m in MODES}
    if args.update:
        table_path.write_text('# Written by tests/heaac/heaac_md5.py --update: name mode md5\n' +
                              ''.join(f'{k} {v}\n' for k, v in got.items()))
        print(f'{len(got)} lines written to {table_path}')
        return 0
    want = {}
    for line in table_path.read_text().splitlines():
        if line and not line.startswith('#'):
            name, mode, md5 = line.split()
            want[f'{name} {mode}'] = md5
    bad = [k for k in sorted(set(got) | set(want)) if got.get(k) != want.get(k)]
    for k in bad:
        print(f'{k}: got {got.get(k)}, table {want.get(k)}')
    print(f'{len(got) - len(bad)}/{len(got)} MD5s as in the table')
    return 1 if bad else 0


if __name__ == '__main__':
    sys.exit(main())
