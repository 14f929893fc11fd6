#!/usr/bin/env python3
"""Writes tests/decoder/heaac_streams.h: the first frames of an HE-AAC test stream made by
scripts/sbr-streams (fixfix_music_22k_s, seed 1: stereo AAC-LC at 22050 Hz with a random
FIXFIX SBR payload in a fill element after the channel pair), as
  - kHeAacAdts: ADTS frames (SBR signalled implicitly);
  - kLcAdts: the same frames without their fill elements (the AAC-LC core alone);
  - kHeAacLatm: LOAS elements of the same blocks, a StreamMuxConfig of audioMuxVersion 1 in
    the first, its AudioSpecificConfig of object type 5 (explicit signalling);
and kBlockSizes: the raw data blocks' sizes (the ADTS frames have 7-byte headers).

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


def array(name, data):
    rows = [', '.join(f'0x{b:02x}' for b in data[i:i + 16]) for i in range(0, len(data), 16)]
    return (f'inline constexpr uint8_t {name}[{len(data)}] = {{\n    ' + ',\n    '.join(rows)
            + '};\n')


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
    out = REPO / 'tests' / 'decoder' / 'heaac_streams.h'
    out.write_text(
        '// Written by tests/decoder/gen_heaac_streams.py: the first frames of an HE-AAC\n'
        '// test stream (stereo, AAC-LC at 22050 Hz, FIXFIX SBR payloads in fill elements).\n'
        '#ifndef FXAAC_TESTS_HEAAC_STREAMS_H\n#define FXAAC_TESTS_HEAAC_STREAMS_H\n\n'
        '#include <cstdint>\n\nnamespace heaac_streams {\n\n'
        f'inline constexpr int kFrames = {FRAMES};\n'
        f'inline constexpr int kCoreRate = 22050;\n'
        f'inline constexpr int kChannels = 2;\n'
        f'inline constexpr int kBlockSizes[kFrames] = {{{", ".join(str(len(b)) for b in blocks)}}};\n'
        + array('kHeAacAdts', wrap_adts(frames, blocks))
        + array('kLcAdts', wrap_adts(frames, plain))
        + array('kHeAacLatm', containers.loas(blocks, asc, version=1))
        + '\n}  // namespace heaac_streams\n\n#endif\n')
    print(f'{out}: {FRAMES} frames')


if __name__ == '__main__':
    main()
