#!/usr/bin/env python3
"""End-to-end check of fxaac_testdriver against independent reference decoders.

For every vector of tests/vectors/manifest.txt (written by scripts/make-vectors) the test driver
decodes the stream to a WAV file, which is compared with a reference:

  ADTS vectors       ffmpeg's floating-point AAC decoder (ffmpeg -c:a aac -i X -f s16le).
                     Both decoders output every raw data block, the encoder's priming block
                     included, so sample i matches sample i and the lengths are equal.
  flag is_ms2        faad (faad -f 2 -b 1), because ffmpeg treats intensity stereo under
                     ms_mask_present 2 differently. faad leaves out the first block's output:
                     our sample 1024 + i matches its sample i, and it has 1024 samples per
                     channel fewer.
  re-wrapped kinds   our own output for the ADTS original: the samples must be identical.

Sample comparison: RMS and largest difference in 16-bit LSB over the aligned common length;
pass when the lengths agree, RMS <= 1.2 (1.7 for vectors flagged fullscale, full-scale square
waves, where the fixed-point transform's ~88 dB accuracy leaves more) and max <= 24. A vector
flagged slots_swapped carries two single channel elements, which the decoder writes to swapped
output slots, so its reference interleaves the parts in reverse. Vectors flagged pns carry noise that
each decoder draws from its own generator, so their samples cannot match: per 1024-sample frame
and channel the energies of the signal and of its first difference (which weights the upper
bands, where noise substitution mostly lives) are compared, and the median over frames with
energy of |10 log10(E_ours / E_ref)| must be within 1 dB for both.

Usage:
  tests/conformance/conformance.py --driver build/dev/fxaac_testdriver
      [--emulator "qemu-arm -L /usr/arm-linux-gnueabihf"] [--md5 tests/vectors/md5sums.txt]
      [--update-md5] [--vectors DIR] [--keep DIR] [NAME ...]

--md5 compares the MD5 of our output's samples (the bytes after the 44-byte WAV header) with
the table, which pins the bit-exact output across builds and machines (host and ARM must give
the same table); --update-md5 rewrites the table from this run. Exit status 1 on any failure.
"""

import argparse
import hashlib
import math
import os
import pathlib
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'scripts'))
from fxaac_harness.compare import compare  # noqa: E402
from fxaac_harness.manifest import VECTORS, read_manifest  # noqa: E402
from fxaac_harness.reference import FAAD_SKIP, faad_samples, ffmpeg_samples  # noqa: E402
from fxaac_harness.wav import Wav, interleave, s16  # noqa: E402

FRAME = 1024
MAX_RMS, MAX_DIFF, MAX_DB = 1.2, 24, 1.0
# Full-scale square waves: the fixed-point inverse transform keeps about
# 88 dB of signal-to-noise ratio, and with a signal at full scale that leaves
# an error of 1.3 to 1.6 LSB RMS (the error of a 0.5 scale square is 1.0).
MAX_RMS_FULLSCALE = 1.7


def run(cmd, timeout=600):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          stdin=subprocess.DEVNULL, timeout=timeout)


def read_wav(path, fs, chn):
    """Our driver's output: a 44-byte header, then 16-bit little-endian samples. Returns
    (Wav, header problems or '')."""
    try:
        w = Wav(path.read_bytes())
    except ValueError:
        return None, 'no WAV header'
    problems = []
    if w.data_offset != 44:
        problems.append(f'header of {w.data_offset} bytes')
    if w.channels != chn and w.channels != 0:
        problems.append(f'header says {w.channels} channels')
    if w.rate != fs:
        problems.append(f'header says {w.rate} Hz')
    if w.bits != 16:
        problems.append(f'header says {w.bits} bits')
    if w.channels and w.data_size != len(w.payload):
        problems.append(f'data size {w.data_size} for {len(w.payload)} bytes')
    return w, '; '.join(problems)


def frame_energies(s, chn, diff):
    """Mean square per 1024-sample frame and channel, of the signal or its first difference."""
    out = []
    for c in range(chn):
        x = s[c::chn]
        if diff:
            x = [x[i] - x[i - 1] for i in range(1, len(x))]
        out.append([sum(v * v for v in x[i:i + FRAME]) / FRAME
                    for i in range(0, len(x) - FRAME + 1, FRAME)])
    return out


def energy_db(ours, ref, chn):
    """Median over frames with energy of |10 log10(E_ours / E_ref)|, the worse of the signal
    and its first difference."""
    worst = 0.0
    for diff in (False, True):
        dbs = []
        for eo, er in zip(frame_energies(ours, chn, diff), frame_energies(ref, chn, diff)):
            for a, b in zip(eo, er):
                if b >= 1.0 or a >= 1.0:           # frames with energy (1 LSB RMS or more)
                    dbs.append(abs(10 * math.log10(max(a, 1e-3) / max(b, 1e-3))))
        if dbs:
            worst = max(worst, statistics.median(dbs))
    return worst


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('--driver', required=True, help='path of fxaac_testdriver')
    ap.add_argument('--emulator', default='', help='command that runs the driver, e.g. qemu-arm')
    ap.add_argument('--vectors', default=str(VECTORS))
    ap.add_argument('--md5', help='table of MD5 sums of our output samples')
    ap.add_argument('--update-md5', action='store_true', help='rewrite the --md5 table')
    ap.add_argument('--keep', help='keep the decoded files in this folder')
    ap.add_argument('names', nargs='*', help='only these vectors (and their references)')
    args = ap.parse_args()
    if not os.path.isfile(args.driver):
        sys.exit(f'{args.driver}: no such driver')
    for tool in ('ffmpeg', 'faad'):
        if not shutil.which(tool):
            sys.exit(f'{tool} is needed as reference decoder (apt-get install ffmpeg faad)')
    base = pathlib.Path(args.vectors)
    vectors = read_manifest(base)
    by_name = {v.name: v for v in vectors}
    if args.names:
        want = set(args.names)
        missing = want - set(by_name)
        if missing:
            sys.exit(f'unknown vectors: {" ".join(sorted(missing))}')
        want |= {r for n in args.names for r in by_name[n].refs}
        vectors = [v for v in vectors if v.name in want]
    md5_path = pathlib.Path(args.md5) if args.md5 else base / 'md5sums.txt'
    md5_table = {}
    if args.md5 and not args.update_md5 and not md5_path.exists():
        sys.exit(f'{md5_path}: no such table (write one with --update-md5)')
    if md5_path.exists() and (args.md5 or args.update_md5):
        for l in open(md5_path):
            if l.strip():
                h, n = l.split()
                md5_table[n] = h
    emulator = shlex.split(args.emulator)
    work = pathlib.Path(args.keep) if args.keep else pathlib.Path(tempfile.mkdtemp(prefix='fxaac-conf-'))
    work.mkdir(parents=True, exist_ok=True)

    ours, md5s, failures = {}, {}, 0
    print(f'{"vector":30} {"samples":>13} {"rms":>7} {"max":>6}  verdict')
    for v in vectors:
        out = work / (v.name + '.wav')
        if out.exists():
            out.unlink()
        fs, chn, hdr = (v.fs, v.chn, 0) if v.hdr == 0 else (0, 0, 1)
        notes, verdict = [], 'pass'
        samples_col, rms_col, max_col = '-', '-', '-'
        try:
            r = run(emulator + [args.driver, str(v.path), str(out), str(fs), str(chn), str(hdr)])
            if not out.exists():
                raise RuntimeError(f'driver wrote no output (exit {r.returncode}): '
                                   + r.stdout.decode(errors='replace').strip()[-200:])
            w, problem = read_wav(out, v.fs, v.chn)
            if w is None:
                raise RuntimeError(problem)
            s = s16(w.payload)
            if problem:
                notes.append(problem)
                verdict = 'FAIL'
            ours[v.name] = s
            md5s[v.name] = hashlib.md5(w.payload).hexdigest()
            n_ours = len(s) // v.chn
            if v.refs:
                parts = v.refs
                if any(p not in ours for p in parts):
                    raise RuntimeError(f'reference {v.reference} was not decoded')
                if 'slots_swapped' in v.flags:
                    parts = parts[::-1]
                ref = ours[parts[0]] if len(parts) == 1 else interleave([ours[p] for p in parts])
                skip, label = 0, 'same as ' + v.reference
            elif 'is_ms2' in v.flags:
                ref = faad_samples(v.path, work / (v.name + '.faad.raw'), channels=v.chn)
                skip, label = FAAD_SKIP, 'faad'
            else:
                ref, skip, label = ffmpeg_samples(v.path, decoder='aac'), 0, 'ffmpeg'
            mine = s[skip * v.chn:]
            n_ref = len(ref) // v.chn
            samples_col = f'{len(mine) // v.chn}/{n_ref}'
            if len(mine) != len(ref):
                verdict = 'FAIL'
                notes.append(f'lengths differ ({n_ours} samples per channel decoded)')
            if v.refs:
                d = compare(mine, ref)
                rms_col, max_col = f'{d.rms:.3f}', str(d.largest)
                if mine != ref:
                    verdict = 'FAIL'
                    notes.append('not bit-identical to ' + v.reference)
            elif 'pns' in v.flags:
                db = energy_db(mine, ref, v.chn)
                rms_col, max_col = f'{db:.2f}dB', '-'
                if db > MAX_DB:
                    verdict = 'FAIL'
                    notes.append(f'frame energies differ by {db:.2f} dB (median)')
            else:
                d = compare(mine, ref)
                rms_col, max_col = f'{d.rms:.3f}', str(d.largest)
                limit = MAX_RMS_FULLSCALE if 'fullscale' in v.flags else MAX_RMS
                if d.rms > limit or d.largest > MAX_DIFF:
                    verdict = 'FAIL'
            notes.insert(0, label)
            if args.md5 and not args.update_md5:
                want = md5_table.get(v.name)
                if want is None:
                    verdict = 'FAIL'
                    notes.append('no MD5 in the table')
                elif want != md5s[v.name]:
                    verdict = 'FAIL'
                    notes.append('MD5 differs from the table')
        except (RuntimeError, OSError, subprocess.TimeoutExpired) as e:
            verdict = 'FAIL'
            notes.append(str(e))
        if verdict != 'pass':
            failures += 1
        print(f'{v.name:30} {samples_col:>13} {rms_col:>7} {max_col:>6}  {verdict}  '
              + '; '.join(notes))

    if args.update_md5:
        md5_table.update(md5s)          # a run over some vectors keeps the others' entries
        with open(md5_path, 'w') as f:
            for n in by_name:
                if n in md5_table:
                    f.write(f'{md5_table[n]}  {n}\n')
        print(f'wrote {len(md5s)} MD5 sums to {md5_path}')
    if not args.keep:
        shutil.rmtree(work, ignore_errors=True)
    print(f'{len(vectors)} vectors, {failures} failed (limits: RMS {MAX_RMS}, max {MAX_DIFF} LSB, '
          f'noise substitution {MAX_DB} dB)')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
