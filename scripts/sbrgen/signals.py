"""A music-like test signal with content up to the core's Nyquist rate, so that the HF
generator has a low band to patch from (the signal makers of vectorgen.signals are mostly
band-limited tones). Same calling convention: (rate, samples per channel, channels,
random.Random) -> per-channel lists in [-1, 1]."""

import math


def sig_music(fs, n, ch, rng):
    """Sawtooth-like notes of a short melody (every partial below 0.45 fs, decaying within each
    note), a bass line and hi-hat-like noise bursts on the off-beats; the second channel plays
    the melody a third higher and the bursts at another level."""
    step = fs // 6                                   # notes of 1/6 s
    melody = [0, 4, 7, 12, 7, 4, 2, 5, 9, 14, 9, 5]
    out = []
    for c in range(ch):
        buf = [0.0] * n
        for k, t0 in enumerate(range(0, n, step)):
            f0 = 220.0 * 2 ** ((melody[k % len(melody)] + 4 * c) / 12)
            fb = 55.0 * 2 ** (melody[(k // 4 * 4) % len(melody)] / 12)
            parts = [(f0 * h, 0.18 / h) for h in range(1, 80) if f0 * h < 0.45 * fs]
            parts += [(fb * h, 0.15 / h ** 1.5) for h in range(1, 12)]
            ph = [rng.random() * 2 * math.pi for _ in parts]
            for i in range(t0, min(n, t0 + step)):
                x = (i - t0) / fs
                env = math.exp(-x * 4)
                buf[i] += env * sum(a * math.sin(2 * math.pi * f * x + p)
                                    for (f, a), p in zip(parts, ph))
            level = (0.25, 0.12)[c % 2]
            for i in range(t0 + step // 2, min(n, t0 + step // 2 + fs // 40)):
                buf[i] += level * math.exp(-(i - t0 - step // 2) / (fs / 400)) * (2 * rng.random() - 1)
        out.append(buf)
    return out
