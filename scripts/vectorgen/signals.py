"""Test signals for the vectors: each function takes (rate, samples per channel, channels,
random.Random) and returns per-channel lists of samples in [-1, 1] (values beyond are clipped
when written). Seeded by the caller, so every run gives the same samples."""

import math


def sig_tone(fs, n, ch, rng):
    """A 440 Hz tone with two harmonics and a slow vibrato."""
    out = []
    for c in range(ch):
        f0 = 440.0 * (1.0 + 0.5 * c)
        ph, buf = 0.0, []
        for i in range(n):
            f = f0 * (1.0 + 0.003 * math.sin(2 * math.pi * 5.0 * i / fs))
            ph += 2 * math.pi * f / fs
            buf.append(0.5 * math.sin(ph) + 0.15 * math.sin(2 * ph) + 0.08 * math.sin(3 * ph))
        out.append(buf)
    return out


def sig_chord(fs, n, ch, rng):
    """A sustained chord of eight partials; the channels share most partials at different
    levels (correlated stereo, where mid/side pays off)."""
    freqs = [130.8, 164.8, 196.0, 261.6, 329.6, 392.0, 523.3, 1046.5]
    amps = [0.20, 0.15, 0.15, 0.12, 0.10, 0.08, 0.06, 0.04]
    out = []
    for c in range(ch):
        buf = [0.0] * n
        for k, (f, a) in enumerate(zip(freqs, amps)):
            if f >= fs / 2:
                continue
            g = a * (1.0 - 0.4 * c * (k % 2))
            w = 2 * math.pi * f * (1.0 + 0.001 * c) / fs
            p0 = rng.random() * 2 * math.pi
            for i in range(n):
                buf[i] += g * math.sin(w * i + p0)
        for i in range(n):
            buf[i] *= 0.8 + 0.2 * math.sin(2 * math.pi * 0.7 * i / fs)
        out.append(buf)
    return out


def sig_clicks(fs, n, ch, rng):
    """Single-sample clicks four times a second over a quiet tone: forces short windows."""
    out = []
    period = fs // 4
    for c in range(ch):
        buf = [0.01 * math.sin(2 * math.pi * 300 * i / fs) for i in range(n)]
        for t in range(period // 3 + c * period // 8, n, period):
            buf[t] += 0.9 if (t // period) % 2 else -0.9
            if t + 1 < n:
                buf[t + 1] -= 0.4
        out.append(buf)
    return out


def sig_castanets(fs, n, ch, rng):
    """Castanet-like bursts: decaying noise times a resonance, at random onsets on silence."""
    out = []
    onsets = sorted(rng.randrange(0, n) for _ in range(max(4, 7 * n // fs)))
    for c in range(ch):
        buf = [0.0] * n
        for k, t0 in enumerate(onsets):
            if c and k % 3 == 0:
                continue                           # some bursts only in the left channel
            t0 += c * rng.randrange(0, fs // 200 + 1)
            f = min(0.4 * fs, 2000.0 + 2500.0 * rng.random())
            amp = 0.3 + 0.6 * rng.random()
            tau = 0.002 + 0.004 * rng.random()
            for i in range(t0, min(n, t0 + int(8 * tau * fs))):
                x = (i - t0) / fs
                buf[i] += amp * math.exp(-x / tau) * (0.6 * math.sin(2 * math.pi * f * x) +
                                                     0.4 * (2 * rng.random() - 1))
        out.append(buf)
    return out


def sig_noise(fs, n, ch, rng):
    """White noise plus a low-passed noise layer, slowly swelling: invites noise substitution."""
    out = []
    for c in range(ch):
        buf, lp = [], 0.0
        for i in range(n):
            w = 2 * rng.random() - 1
            lp = 0.95 * lp + 0.05 * (2 * rng.random() - 1)
            env = 0.5 + 0.5 * math.sin(2 * math.pi * 0.5 * i / fs + c)
            buf.append(env * (0.25 * w + 1.5 * lp))
        out.append(buf)
    return out


def sig_silence(fs, n, ch, rng):
    return [[0.0] * n for _ in range(ch)]


def sig_square(fs, n, ch, rng):
    """Full-scale 1 kHz square wave (+32767 / -32768): the largest quantised values."""
    half = fs / 2000.0
    out = []
    for c in range(ch):
        out.append([1.0 if int((i + c * half / 2) / half) % 2 == 0 else -1.0 for i in range(n)])
    return out


def sig_sweep(fs, n, ch, rng):
    """Exponential sine sweep from 40 Hz to 0.45 fs, touching every band once."""
    f1, f2 = 40.0, 0.45 * fs
    k = math.log(f2 / f1)
    out = []
    for c in range(ch):
        buf = []
        for i in range(n):
            t = i / n
            ph = 2 * math.pi * f1 * (n / fs) / k * (math.exp(k * t) - 1)
            buf.append(0.5 * math.sin(ph + c))
        out.append(buf)
    return out


def sig_pan(fs, n, ch, rng):
    """A bright sawtooth-like tone panned hard right-of-centre plus low tones that differ per
    channel: the upper bands are one signal at two levels, which intensity stereo codes."""
    partials = [(220.0 * k, 0.3 / k) for k in range(1, 60) if 220.0 * k < 0.45 * fs]
    src = [0.0] * n
    for f, a in partials:
        w = 2 * math.pi * f / fs
        for i in range(n):
            src[i] += a * math.sin(w * i)
    out = []
    for c in range(ch):
        g = (0.9, 0.35)[c % 2]
        wl = 2 * math.pi * (110.0 if c == 0 else 147.0) / fs
        out.append([g * src[i] + 0.2 * math.sin(wl * i) for i in range(n)])
    return out


def sig_voice(fs, n, ch, rng):
    """A voiced-speech-like signal: a glottal pulse train with a gliding pitch through three
    formant resonators, in syllables separated by pauses."""
    formants = [(700.0, 0.06), (1200.0, 0.05), (2600.0, 0.03)]
    out = []
    for c in range(ch):
        exc, ph = [], 0.0
        for i in range(n):
            f0 = 120.0 + 60.0 * math.sin(2 * math.pi * 0.8 * i / fs) + 15.0 * c
            ph += f0 / fs
            pulse = 1.0 if ph >= 1.0 else 0.0
            ph -= math.floor(ph)
            syl = max(0.0, math.sin(2 * math.pi * 2.5 * i / fs))
            exc.append(pulse * syl + 0.01 * syl * (2 * rng.random() - 1))
        buf = [0.0] * n
        for fc, bw in formants:
            if fc >= 0.45 * fs:
                continue
            r = math.exp(-math.pi * bw * fc / fs * 10)
            a1, a2 = 2 * r * math.cos(2 * math.pi * fc / fs), -r * r
            y1 = y2 = 0.0
            for i in range(n):
                y = exc[i] + a1 * y1 + a2 * y2
                buf[i] += 0.08 * y
                y1, y2 = y, y1
        out.append(buf)
    return out


def sig_mix(fs, n, ch, rng):
    """Chord, sweep and bursts together: a busy broadband mixture."""
    parts = [sig_chord(fs, n, ch, rng), sig_sweep(fs, n, ch, rng), sig_castanets(fs, n, ch, rng)]
    return [[0.6 * a + 0.3 * b + 0.5 * d for a, b, d in zip(*(p[c] for p in parts))]
            for c in range(ch)]


SIGNALS = {'tone': sig_tone, 'chord': sig_chord, 'clicks': sig_clicks, 'castanets': sig_castanets,
           'noise': sig_noise, 'silence': sig_silence, 'square': sig_square, 'sweep': sig_sweep,
           'pan': sig_pan, 'voice': sig_voice, 'mix': sig_mix}
