#!/usr/bin/env python3
"""The test driver on ADTS streams whose headers mislead it: the trusting frame call decodes a frame
whatever its aac_frame_length says, and a stream announcing channel_configuration 0 gets the channel
count of its first frame in the final WAV header. Each case must give exactly the samples of the
intact stream."""

import argparse
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'scripts'))
from fxaac_harness import adts  # noqa: E402
from fxaac_harness.wav import Wav  # noqa: E402


def adts_frames(data):
    return [bytearray(f) for f in adts.frames(data)]


def decode(args, tmp, name, data):
    src, out = tmp / (name + '.aac'), tmp / (name + '.wav')
    src.write_bytes(data)
    cmd = (args.emulator.split() if args.emulator else []) + [args.driver, src, out, '0', '0', '1']
    subprocess.run([str(c) for c in cmd], stdout=subprocess.DEVNULL, check=True, timeout=300)
    wav = Wav(out.read_bytes())
    return wav.channels, wav.rate, wav.pcm


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--driver', required=True)
    ap.add_argument('--vectors', required=True)
    ap.add_argument('--emulator', default='')
    args = ap.parse_args()
    vectors = pathlib.Path(args.vectors)
    failures = []
    with tempfile.TemporaryDirectory() as t:
        tmp = pathlib.Path(t)
        # Frame 4 of a six-frame mono stream with a wrong length field.
        six = adts_frames((vectors / 'voice_8k_m.aac').read_bytes())[:6]
        expect = decode(args, tmp, 'six', b''.join(six))
        if len(expect[2]) != 6 * 1024 * 2:
            failures.append(f'intact six-frame stream: {len(expect[2])} bytes of samples')
        for n in (5, 8, 3000):
            frames = [bytearray(f) for f in six]
            adts.set_frame_length(frames[3], n)
            if decode(args, tmp, f'length{n}', b''.join(frames)) != expect:
                failures.append(f'frame 4 with aac_frame_length {n}: output differs from the intact stream')
        # A stereo stream announcing channel_configuration 0 in every header.
        stereo = (vectors / 'chord_48k_s.aac').read_bytes()
        frames = adts_frames(stereo)
        for f in frames:
            f[2] &= ~1
            f[3] &= 0x3f
        got = decode(args, tmp, 'config0', b''.join(frames))
        want = decode(args, tmp, 'config2', stereo)
        if got != want or got[0] != 2:
            failures.append(f'channel_configuration 0: {got[0]} channels, {len(got[2])} bytes of samples; '
                            f'expected {want[0]} channels, {len(want[2])} bytes')
    for f in failures:
        print('FAIL:', f)
    print('driver streams:', 'failed' if failures else 'ok')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
