#!/usr/bin/env python3
"""Writes tests/decoder/data/fixfix_music_22k_s*: the first frames of an HE-AAC test stream
made by scripts/sbr-streams (fixfix_music_22k_s, seed 1: stereo AAC-LC at 22050 Hz with a
random FIXFIX SBR payload in a fill element after the channel pair), as
  - .aac: ADTS frames (SBR signalled implicitly);
  - _core.aac: the same frames without their fill elements (the AAC-LC core alone);
  - .latm: LOAS elements of the same blocks, a StreamMuxConfig of audioMuxVersion 1 in
    the first, its AudioSpecificConfig of object type 5 (explicit signalling).

  tests/decoder/gen_heaac_streams.py    (needs ffmpeg; rerun only to change the streams)"""

import pathlib
import subprocess
import sys
import tempfile

REPO = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / 'scripts'))
from fxaac_harness.bits import BitWriter  # noqa: E402
from sbrgen import containers  # noqa: E402
from vectorgen.block_syntax import END, FIL, Tables, walk_block  # noqa: E402
from vectorgen.rewrap import split_adts, wrap_adts  # noqa: E402

STREAM = 'fixfix_music_22k_s'
FRAMES = 6


def without_fill(blk):
    w = BitWriter()
    for eid, start, end, _ in blk.elements:
        if eid != FIL:
            w.put(eid, 3)
            w.bits += blk.reader.bits(start, end)
    w.put(END, 3)
    return w.data()


def main():
    tab = Tables(REPO / 'data' / 'aac_tables.txt')
    with tempfile.TemporaryDirectory() as t:
        subprocess.run([sys.executable, str(REPO / 'scripts' / 'sbr-streams'), 'make', t,
                        '--seed', '1', '--only', STREAM], check=True, stdout=subprocess.DEVNULL)
        frames = split_adts((pathlib.Path(t) / f'{STREAM}.aac').read_bytes())[:FRAMES]
    blocks = [data for _, data in frames]
    sfi = frames[0][0]['sfi']
    plain = [without_fill(walk_block(b, sfi, tab)) for b in blocks]
    asc = containers.asc_bits(sfi, 2, 'explicit', containers.out_rate_index(sfi))
    out = REPO / 'tests' / 'decoder' / 'data'
    out.mkdir(exist_ok=True)
    (out / f'{STREAM}.aac').write_bytes(wrap_adts(frames, blocks))
    (out / f'{STREAM}_core.aac').write_bytes(wrap_adts(frames, plain))
    (out / f'{STREAM}.latm').write_bytes(containers.loas(blocks, asc, version=1))
    print(f'{out}: {FRAMES} frames of {STREAM}')


if __name__ == '__main__':
    main()
