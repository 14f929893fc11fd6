"""How close a decoder's high band is to the original full-rate signal: the decode is aligned
with the original on the whole signal, both go through the 64-band QMF analysis, and their
energies are compared above the crossover
- per 1/3 octave (long-term band energies, dB difference: the encoder's scale), and
- per output frame of 2048 samples (the whole high band's energy, dB difference: its timing).

  python3 scripts/sbrgen/highband.py timing [--rate 44100]
      encodes a signal of noise bursts with sharp edges at several frame offsets and prints the
      high band's time error of ffmpeg's decode for each, to find encoder.OFFSET."""

import math
import pathlib
import random
import sys
from typing import List, NamedTuple

if __name__ == '__main__':
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

from sbrgen import qmf_analysis  # noqa: E402
from sbrgen.reference_check import best_lag, ffmpeg_decode  # noqa: E402

FRAME_SLOTS = 32                     # QMF slots per 2048-sample output frame


class Match(NamedTuple):
    lag: int                         # decoded sample i + lag is original sample i
    thirds: List[tuple]              # (centre Hz, original dB, decoded dB) per 1/3 octave
    frames_db: List[float]           # decoded - original high band dB per frame (loud frames)

    @property
    def mean_abs_db(self):
        d = [b - a for _, a, b in self.thirds]
        return sum(map(abs, d)) / len(d) if d else math.nan

    @property
    def mean_db(self):
        d = [b - a for _, a, b in self.thirds]
        return sum(d) / len(d) if d else math.nan

    @property
    def frame_abs_db(self):
        return sum(map(abs, self.frames_db)) / len(self.frames_db) if self.frames_db else math.nan


def db(e):
    return 10 * math.log10(max(e, 1e-12))


def third_octaves(fs, k_lo, k_hi):
    """(centre, first subband, end subband) of the 1/3 octave bands (centres 1000 * 2^(i/3))
    whose subbands (by their centre frequency) lie within k_lo..k_hi-1, two subbands at least."""
    out = []
    for i in range(-3, 30):
        fc = 1000 * 2 ** (i / 3)
        lo, hi = fc * 2 ** (-1 / 6), fc * 2 ** (1 / 6)
        ks = [k for k in range(k_lo, k_hi) if lo <= (k + 0.5) * fs / 128 < hi]
        if len(ks) >= 2 and lo >= k_lo * fs / 128:
            out.append((fc, ks[0], ks[-1] + 1))
    return out


def align(decoded, original):
    """The lag that best matches decoded[i + lag] with original[i] (16-bit integer lists), on a
    long stretch of the middle (speech has pauses)."""
    return best_lag(decoded, original, window=min(32768, len(original) // 2))


def high_band_match(decoded, original, fs, k_lo, k_hi, lag=None, skip_frames=2, segment=FRAME_SLOTS):
    """decoded, original: one channel each in 16-bit units (lists of numbers). The first
    skip_frames output frames of the original (the decoders' start) are left out; frames_db
    holds the high band's difference per segment of that many QMF slots (an output frame)."""
    if lag is None:
        lag = align(decoded, original)
    n = min(len(original), len(decoded) - lag)
    start = skip_frames * 2048
    y = [v / 32768 for v in decoded[start + lag:n + lag]]
    x = [v / 32768 for v in original[start:n]]
    ey = qmf_analysis.energies(*qmf_analysis.analysis(y))
    ex = qmf_analysis.energies(*qmf_analysis.analysis(x))
    thirds = []
    for fc, k0, k1 in third_octaves(fs, k_lo, k_hi):
        thirds.append((fc, db(sum(sum(s[k0:k1]) for s in ex)),
                       db(sum(sum(s[k0:k1]) for s in ey))))
    per_frame = []
    for f in range(0, len(ex) - segment + 1, segment):
        a = sum(sum(s[k_lo:k_hi]) for s in ex[f:f + segment])
        b = sum(sum(s[k_lo:k_hi]) for s in ey[f:f + segment])
        per_frame.append((a, b))
    loud = max((a for a, _ in per_frame), default=0)
    frames_db = [db(b) - db(a) for a, b in per_frame if a > loud * 1e-3]
    return Match(lag, thirds, frames_db)


def slot_error(decoded, original, k_lo, k_hi, lag):
    """Mean absolute dB difference of the high band's energy per pair of QMF slots (an SBR
    time slot), over the slots where the original's is within 30 dB of its loudest."""
    n = min(len(original), len(decoded) - lag)
    y = [v / 32768 for v in decoded[lag:n + lag]]
    x = [v / 32768 for v in original[:n]]
    ey = qmf_analysis.energies(*qmf_analysis.analysis(y))
    ex = qmf_analysis.energies(*qmf_analysis.analysis(x))
    pairs = [(sum(sum(s[k_lo:k_hi]) for s in ex[i:i + 2]), sum(sum(s[k_lo:k_hi]) for s in ey[i:i + 2]))
             for i in range(0, len(ex) - 1, 2)]
    top = max(a for a, _ in pairs)
    d = [abs(db(b) - db(a)) for a, b in pairs if a > top * 1e-3]
    return sum(d) / len(d)


def bursts(fs, n, rng):
    """Noise bursts of 60 to 200 ms with sharp edges over a steady low tone (the low band that
    the decoders patch up)."""
    x = [0.25 * math.sin(2 * math.pi * 440 * i / fs) + 0.1 * math.sin(2 * math.pi * 1330 * i / fs)
         for i in range(n)]
    t = int(0.1 * fs)
    while t < n:
        m = min(int(rng.uniform(0.06, 0.2) * fs), n - t)
        for i in range(t, t + m):
            x[i] += 0.3 * (2 * rng.random() - 1)
        t += m + int(rng.uniform(0.08, 0.25) * fs)
    return x


def timing(fs=44100, offsets=range(-42, -33)):
    from sbrgen import encoder
    import tempfile
    sig = bursts(fs, 2 * fs, random.Random(5))
    orig = [int(round(v * 32767)) for v in sig]
    with tempfile.TemporaryDirectory() as t:
        p = pathlib.Path(t) / 'bursts.aac'
        for off in offsets:
            enc = encoder.encode([sig], fs, encoder.Settings(offset=off))
            p.write_bytes(enc.adts())
            dec = ffmpeg_decode(p)
            lag = align(dec.samples[0], orig)
            err = slot_error(dec.samples[0], orig, enc.tables.kx, enc.tables.kx + enc.tables.m, lag)
            print(f'offset {off:>4}: lag {lag}, high band error per SBR slot {err:.2f} dB', flush=True)


if __name__ == '__main__':
    import argparse
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('mode', choices=('timing',))
    ap.add_argument('--rate', type=int, default=44100)
    a = ap.parse_args()
    timing(a.rate)
