#!/usr/bin/env python3
"""End-to-end checks of the fxaac command on LATM/LOAS streams that ffmpeg makes from the ADTS
vectors (`ffmpeg -i x.aac -c copy -f latm x.latm`, a StreamMuxConfig every 20 elements, and
every element with -smc-interval 1):

  - fxaac info names the kind and counts the frames of the ADTS form;
  - the samples equal fxaac's decode of the ADTS form, from a file and through a pipe;
  - against ffmpeg's decode of the LATM file: the same sample count, and the same largest
    difference as between the two decoders on the ADTS form;
  - a stream cut anywhere is decoded from its first element after a StreamMuxConfig
    (exit 2, the skipped bytes and elements counted); flipped bits never crash it; a config
    of another object type is refused in words.

Usage: latm_checks.py --fxaac PATH --vectors DIR [--emulator CMD] [--ffmpeg PATH]
Exit status 0 when every check passes, 77 without ffmpeg, else 1.
"""

import argparse
import pathlib
import random
import shutil
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from fxaac_test_common import (Checks, Runner, Wav, largest_difference,  # noqa: E402
                               parse_info, read_manifest, reference)

SKIP = 77
VECTORS = ['tone_8k_m.aac', 'voice_16k_m.aac', 'castanets_22k_m.aac', 'chord_32k_s_lo.aac',
           'castanets_44k_s.aac', 'pan_44k_s_is.aac', 'chord_48k_s.aac', 'castanets_96k_m.aac']


class LatmChecks(Checks):
    def __init__(self, args, work):
        super().__init__()
        self.runner = Runner(args.emulator)
        self.fxaac = args.fxaac
        self.ffmpeg = args.ffmpeg
        self.work = work

    def fx_pcm(self, path, stdin=None):
        rc, out, err = self.runner.run([self.fxaac, 'decode', '-q', path if stdin is None else '-',
                                        '-o', '-'], stdin=stdin)
        try:
            return rc, Wav(out).pcm, err
        except ValueError:
            return rc, None, err

    def ffmpeg_run(self, *args):
        reference.run_ffmpeg(*args, ffmpeg=self.ffmpeg)

    def ffmpeg_pcm(self, path):
        return reference.ffmpeg_pcm(path, ffmpeg=self.ffmpeg)

    def stream(self, v, latm, adts_pcm, ffmpeg_adts):
        p = []
        rc, out, err = self.runner.run([self.fxaac, 'info', latm])
        info = parse_info(out.decode())
        if rc != 0 or info.get('input') != 'LATM/LOAS':
            p.append(f'info exit {rc}, input {info.get("input")!r}: {err.strip()[:200]}')
        rc, pcm, err = self.fx_pcm(latm)
        if rc != 0 or pcm != adts_pcm:
            p.append(f'decode exit {rc}, {len(pcm or b"")} bytes against {len(adts_pcm)} of ADTS'
                     f': {err.strip()[:200]}')
            return p
        rc, piped, _ = self.fx_pcm(None, stdin=latm.read_bytes())
        if rc != 0 or piped != adts_pcm:
            p.append(f'through a pipe: exit {rc}, other samples')
        reference = self.ffmpeg_pcm(latm)
        if len(reference) != len(pcm):
            p.append(f'{len(pcm) // 2} samples, ffmpeg {len(reference) // 2}')
        ours, adts = largest_difference(pcm, reference), largest_difference(adts_pcm, ffmpeg_adts)
        if ours != adts:
            p.append(f'largest difference from ffmpeg {ours}, on the ADTS form {adts}')
        print(f'     {latm.name}: {len(pcm) // 2} samples like ffmpeg, largest difference {ours}')
        return p

    def cut_and_damaged(self, latm, adts_pcm):
        p = []
        data = latm.read_bytes()
        cut = self.work / 'cut.latm'
        cut.write_bytes(data[101:])
        rc, pcm, err = self.fx_pcm(cut)
        if rc != 2 or not pcm or len(pcm) >= len(adts_pcm):
            p.append(f'cut stream: exit {rc}, {len(pcm or b"")} bytes: {err.strip()[:300]}')
        # Explicit SBR signalling (object type 5) in every config: ffmpeg's
        # StreamMuxConfig puts the AudioSpecificConfig at byte 5 of the element.
        sbr, pos = bytearray(data), 0
        while pos + 5 < len(sbr):
            if not sbr[pos + 3] & 0x80:  # useSameStreamMux 0
                sbr[pos + 5] = (sbr[pos + 5] & 7) | 5 << 3
            pos += 3 + ((sbr[pos + 1] & 0x1F) << 8 | sbr[pos + 2])
        rc, pcm, err = self.fx_pcm(None, stdin=bytes(sbr))
        if rc != 1 or 'LATM/LOAS configuration refused: audio object type 5' not in err:
            p.append(f'SBR config: exit {rc}: {err.strip()[:200]}')
        rng = random.Random(12)
        for trial in range(6):
            bad = bytearray(data)
            for _ in range(1 + 4 * trial):
                bad[rng.randrange(len(bad))] ^= 1 << rng.randrange(8)
            rc, pcm, err = self.fx_pcm(None, stdin=bytes(bad))
            if rc not in (0, 2) or pcm is None:
                p.append(f'damaged trial {trial}: exit {rc}: {err.strip()[:200]}')
        return p


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--vectors', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--ffmpeg', default='')
    args = ap.parse_args()
    if not args.ffmpeg or args.ffmpeg.endswith('-NOTFOUND'):
        args.ffmpeg = shutil.which('ffmpeg')
    if not args.ffmpeg:
        print('ffmpeg not found: LATM checks skipped')
        return SKIP
    vectors = {v.name: v for v in read_manifest(args.vectors)}
    with tempfile.TemporaryDirectory() as tmp:
        checks = LatmChecks(args, pathlib.Path(tmp))
        for name in VECTORS:
            v = vectors[name]
            rc, adts_pcm, err = checks.fx_pcm(v.path)
            ffmpeg_adts = checks.ffmpeg_pcm(v.path)
            for interval in (20, 1):
                latm = checks.work / f'{v.path.stem}.{interval}.latm'
                checks.ffmpeg_run('-i', v.path, '-c', 'copy', '-f', 'latm', '-smc-interval',
                                  interval, latm)
                checks.case(f'{name} as LATM, StreamMuxConfig every {interval}',
                            checks.stream(v, latm, adts_pcm, ffmpeg_adts))
            if len(adts_pcm) // (2 * 1024 * v.chn) <= 20:
                continue  # no second StreamMuxConfig to start a cut stream from
            checks.case(f'{name} as LATM, cut and damaged',
                        checks.cut_and_damaged(checks.work / f'{v.path.stem}.20.latm', adts_pcm))
        return checks.summary()


if __name__ == '__main__':
    sys.exit(main())
