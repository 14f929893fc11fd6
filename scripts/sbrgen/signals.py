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


# Vowel formants (Hz) of an adult voice; bandwidths grow with the formant's order.
VOWELS = {'a': (730, 1090, 2440, 3400, 4500), 'i': (270, 2290, 3010, 3700, 4700),
          'u': (300, 870, 2240, 3400, 4400), 'e': (530, 1840, 2480, 3500, 4600),
          'o': (570, 840, 2410, 3400, 4500)}
FORMANT_BANDWIDTHS = (70, 90, 130, 180, 250)
# Fricatives: (centre Hz, bandwidth Hz, level) of the shaped noise; /s/ high and narrow, /f/ broad
# and weak, /sh/ lower.
FRICATIVES = {'s': (7000, 3500, 0.35), 'f': (5500, 9000, 0.12), 'sh': (3800, 2500, 0.3)}
SYLLABLES = [('s', 'a'), ('f', 'i'), ('sh', 'u'), ('s', 'e'), ('', 'o'), ('f', 'a'), ('s', 'i'),
             ('sh', 'o')]


def _resonate(x, fs, fc, bw, gain_at_peak=True):
    """A two-pole resonator at fc (bandwidth bw), unity gain at its peak."""
    r = math.exp(-math.pi * bw / fs)
    a1, a2 = 2 * r * math.cos(2 * math.pi * fc / fs), -r * r
    g = (1 - r) * math.sqrt(1 - 2 * r * math.cos(4 * math.pi * fc / fs) + r * r) if gain_at_peak else 1
    y1 = y2 = 0.0
    out = []
    for v in x:
        y = g * v + a1 * y1 + a2 * y2
        out.append(y)
        y1, y2 = y, y1
    return out


def _speaker(fs, n, rng, pitch, formant_scale, order):
    """One voice: syllables of a fricative (noise burst) then a voiced vowel with a gliding pitch
    (a glottal flow pulse per period, differentiated for the lips' radiation, through five
    formant resonators whose frequencies glide from the previous vowel), then a short pause."""
    out = [0.0] * n
    t, k, prev = int(0.05 * fs), 0, 'a'
    while t < n:
        fric, vowel = SYLLABLES[(order + k) % len(SYLLABLES)]
        k += 1
        if fric:
            fc, bw, lev = FRICATIVES[fric]
            m = min(int(rng.uniform(0.09, 0.16) * fs), n - t)
            noise = [2 * rng.random() - 1 for _ in range(m)]
            shaped = _resonate(_resonate(noise, fs, fc, bw), fs, fc * 1.15, bw)
            ramp = int(0.012 * fs)
            for i in range(m):
                env = min(1.0, i / ramp, (m - i) / ramp)
                out[t + i] += lev * 3 * env * shaped[i]
            t += m
        m = min(int(rng.uniform(0.18, 0.3) * fs), n - t)
        if m <= 0:
            break
        f_start, f_end = pitch * rng.uniform(0.9, 1.2), pitch * rng.uniform(0.75, 1.05)
        exc, ph, i = [0.0] * m, 0.0, 0
        glide = int(0.06 * fs)
        while i < m:                              # one glottal period at a time
            f0 = f_start + (f_end - f_start) * i / m
            period = int(fs / f0)
            opening, closing = int(0.4 * period), int(0.16 * period)
            for j in range(min(period, m - i)):
                if j < opening:
                    g = 0.5 * (1 - math.cos(math.pi * j / opening))
                elif j < opening + closing:
                    g = math.cos(math.pi / 2 * (j - opening) / closing)
                else:
                    g = 0.0
                exc[i + j] = g
            i += period
        exc = [b - a + 0.02 * (2 * rng.random() - 1) for a, b in zip([0.0] + exc, exc)]
        voiced = [0.0] * m
        for f_idx in range(5):
            fa = VOWELS[prev][f_idx] * formant_scale
            fb = VOWELS[vowel][f_idx] * formant_scale
            if fb >= 0.45 * fs:
                continue
            bw = FORMANT_BANDWIDTHS[f_idx]
            seg = 256                               # coefficients follow the glide per block
            y1 = y2 = 0.0
            for s0 in range(0, m, seg):
                fc = fb if s0 >= glide else fa + (fb - fa) * s0 / glide
                r = math.exp(-math.pi * bw / fs)
                a1, a2 = 2 * r * math.cos(2 * math.pi * fc / fs), -r * r
                gain = (1 - r) * 4 / (1 + f_idx)
                for i in range(s0, min(m, s0 + seg)):
                    y = gain * exc[i] + a1 * y1 + a2 * y2
                    voiced[i] += y
                    y1, y2 = y, y1
        ramp = int(0.02 * fs)
        for i in range(m):
            out[t + i] += 6 * min(1.0, i / ramp, (m - i) / ramp) * voiced[i]
        prev = vowel
        t += m + int(rng.uniform(0.05, 0.12) * fs)
    return out


def sig_speech(fs, n, ch, rng):
    """Speech-like syllables (fricatives /s/ /f/ /sh/ before voiced vowels with gliding pitch and
    formants), one voice per channel: the second is higher (pitch and formants) and starts the
    syllables elsewhere. Peak 0.7."""
    voices = [(110.0, 1.0, 0), (190.0, 1.15, 3)]
    out = [_speaker(fs, n, rng, *voices[c % 2]) for c in range(ch)]
    return _normalised(out, 0.7)


def sig_music_mix(fs, n, ch, rng):
    """Music for the signal-driven SBR encoder: the melody, bass and hi-hats of sig_music with
    vectorgen's chord, sweep (a tone through the whole high band) and castanets. Peak 0.8."""
    from vectorgen.signals import sig_mix
    a, b = sig_music(fs, n, ch, rng), sig_mix(fs, n, ch, rng)
    return _normalised([[x + y for x, y in zip(p, q)] for p, q in zip(a, b)], 0.8)


def _normalised(chans, peak):
    top = max(max(map(abs, c)) for c in chans) or 1.0
    return [[v * peak / top for v in c] for c in chans]


def sig_music_bells(fs, n, ch, rng):
    """sig_music_mix with steady high tones in the high band (7.3, 11.4 and 15.3 kHz, each held
    for half a second, on and off in turn, 14 dB below the music's peak): the tones that the
    SBR encoder codes as additional sinusoids."""
    out = sig_music_mix(fs, n, ch, rng)
    tones = [f for f in (7300.0, 11400.0, 15300.0) if f < 0.45 * fs]
    for c, buf in enumerate(out):
        for j, f in enumerate(tones):
            w = 2 * math.pi * f / fs
            for i in range(n):
                k = (i * 2 // fs + j + c) % 3         # on in one half second of three
                if k == 0:
                    buf[i] += 0.16 * math.sin(w * i)
    return _normalised(out, 0.8)
