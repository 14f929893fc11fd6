"""A simple signal-driven SBR encoder: HE-AAC streams whose high band is estimated from a real
full-rate signal (ISO/IEC 14496-3 4.6.18 read from the encoder's side).

The core is ffmpeg's AAC-LC encoder at half the rate (ffmpeg resamples, and low-passes at the
crossover). For every core frame the SBR data is estimated from a 64-band QMF analysis of the
full-rate signal (qmf_analysis) over the QMF slots that the decoders' SBR output of that frame
shows (see OFFSET):
- a fixed header: start and stop frequencies from the rate (crossover near crossover_hz, the
  widest valid stop), bs_freq_scale 2, bs_alter_scale 1, 2 noise bands per octave, bs_amp_res 1;
- the time grid from a transient detector on the high band's energy per SBR time slot: FIXFIX
  of 1 envelope when the frame is steady, 2 when it is not, 4 when several onsets fall in it, and
  for one onset VARFIX (onset in the first half) or FIXVAR (second half) borders that start an
  envelope at the onset (rounded down to an even slot) and another 4 slots later, with
  bs_pointer on the onset's envelope;
- envelope energies: mean |X|^2 per band and envelope, E = round(log2(mean / 64) * (1 or 2)) on
  the 3.0 dB (1.5 dB for one-envelope FIXFIX frames) grid, since decoders take
  E_orig = 64 * 2^(E/a);
- noise floors per noise band from a tonality measure (the energy-weighted normalised lag-one
  correlation of the subband samples, rescaled so that white noise reads 0): Q = 6 - log2 of
  the noise-to-tone ratio, clamped to 0..30 (decoders take Q_orig = 2^(6 - Q));
- inverse filtering per noise band from how much more tonal the low band that is patched up is
  than the original's band (off, low, intermediate, strong);
- optionally additional sinusoids in the bands whose energy is one strong tone that the low
  band lacks;
- each envelope and noise floor delta coded in frequency or in time, whichever takes fewer bits,
  against what the decoder holds (random_frames' history rules: no time coding across a change
  of amplitude resolution; the previous envelope mapped between frequency resolutions).
Stereo signals are coded as independent channels of a channel pair (both channels or neither use
the one-envelope FIXFIX grid, which forces 1.5 dB steps)."""

import math
import pathlib
import tempfile
from dataclasses import dataclass
from typing import List

from fxaac_harness.wav import write_wav16
from vectorgen.block_syntax import Tables, walk_block
from vectorgen.encode import encode_adts
from vectorgen.rewrap import split_adts, wrap_adts

from . import freq_tables, qmf_analysis
from .codebooks import book
from .insert import channel_elements, insert_sbr
from .payload import FIXFIX, FIXVAR, VARFIX, TIME_SLOTS, Channel, Element, Grid, Header, \
    extension_payload
from .random_frames import MAX_FILL_BYTES, map_reference

REPO = pathlib.Path(__file__).resolve().parents[2]

# QMF slot (of qmf_analysis on the original) where the SBR frame of core frame n starts: 32 n +
# OFFSET. Measured with ffmpeg (scripts/sbrgen/highband.py timing): the decoded signal lags the
# original by 3010 samples at the output rate (1024 core samples of the encoder's priming, 962
# of the decoder's QMF banks and HF adjustment offset); SBR time slot t of frame n is shown in
# the decoder's output slot 2t of that frame, and the analysis and synthesis banks delay by
# QMF_DELAY = 577, so the slot lies (3010 - 577) / 64 = 38 slots before: OFFSET = -38. The sweep
# of `highband.py timing` agrees: on noise bursts the high band's error per SBR time slot is
# least at -38 (3.21 dB; 3.26 at -37 and -39, 3.6 at -42 and -34); the same 3010 at 48000 Hz.
OFFSET = -38
TONALITY_OF_NOISE = 0.32             # the raw lag-one measure on white noise (measured)
NOISE_FLOOR_OFFSET = 6


@dataclass
class Settings:
    crossover_hz: float = 6000.0
    sinusoids: bool = False
    header_every: int = 8            # the header sent with every this many frames
    onset_ratio: float = 6.0         # high band energy rise that counts as an onset
    steady_ratio: float = 2.0        # energy change between frame halves that needs 2 envelopes
    offset: int = OFFSET


def choose_header(fs, crossover_hz):
    """The header whose start frequency is nearest crossover_hz and whose stop is the widest the
    rate allows, with the encoder's fixed choices; and its tables."""
    best = None
    for start in range(16):
        for stop in range(16):
            h = Header(amp_res=1, start_freq=start, stop_freq=stop)
            try:
                tab = freq_tables.tables(fs, *h.table_key())
            except freq_tables.Invalid:
                continue
            key = (abs(tab.kx * fs / 128 - crossover_hz), -(tab.kx + tab.m), stop)
            if best is None or key < best[0]:
                best = (key, h, tab)
    return best[1], best[2]


class Analysis:
    """One channel of the full-rate signal in QMF subbands, with the sums the estimates need."""

    def __init__(self, signal):
        self.re, self.im = qmf_analysis.analysis(signal)
        self.energy = qmf_analysis.energies(self.re, self.im)
        self.slots = len(self.re)
        self.zero = [0.0] * qmf_analysis.BANDS

    def e(self, slot):
        return self.energy[slot] if 0 <= slot < self.slots else self.zero

    def mean(self, s0, s1, k0, k1):
        """Mean |X|^2 over QMF slots s0..s1-1 and subbands k0..k1-1."""
        tot = sum(sum(self.e(s)[k0:k1]) for s in range(s0, s1))
        return tot / ((s1 - s0) * (k1 - k0))

    def subband_stats(self, s0, s1, k0, k1):
        """Per subband k0..k1-1: (energy sum, raw lag-one tonality |r01|^2 / (r00 r11))."""
        out = []
        lo, hi = max(s0, 1), min(s1, self.slots)
        for k in range(k0, k1):
            r00 = r11 = r_re = r_im = 0.0
            for s in range(lo, hi):
                a, b = self.re[s][k], self.im[s][k]
                c, d = self.re[s - 1][k], self.im[s - 1][k]
                r11 += a * a + b * b
                r00 += c * c + d * d
                r_re += a * c + b * d
                r_im += b * c - a * d
            rho = (r_re * r_re + r_im * r_im) / (r00 * r11) if r00 > 0 and r11 > 0 else 0.0
            out.append((r11, rho))
        return out

    def tonality(self, s0, s1, k0, k1):
        """0 (noise) .. 1 (a tone per subband), energy weighted."""
        st = self.subband_stats(s0, s1, k0, k1)
        tot = sum(e for e, _ in st)
        if tot <= 0:
            return 0.0
        rho = sum(e * r for e, r in st) / tot
        return min(1.0, max(0.0, (rho - TONALITY_OF_NOISE) / (1 - TONALITY_OF_NOISE)))


def clamp(v, lo, hi):
    return lo if v < lo else hi if v > hi else v


class ChannelEncoder:
    """The SBR data of one channel, frame by frame, with the history a decoder keeps."""

    def __init__(self, analysis, tab, settings):
        self.a, self.tab, self.s = analysis, tab, settings
        self.prev_env = self.prev_res = self.prev_amp = self.prev_noise = None
        self.harmonics = None
        e_all = [sum(self.a.e(s)[tab.kx:tab.kx + tab.m]) for s in range(self.a.slots)]
        self.floor = max(max(e_all, default=0.0) * 1e-5, 1e-3)   # 50 dB below the loudest

    # -- time grid ------------------------------------------------------------------------
    def base(self, n):
        return 32 * n + self.s.offset

    def slot_energy(self, n, t):
        """High band energy of SBR time slot t of frame n (t may be negative)."""
        b, k0, k1 = self.base(n) + 2 * t, self.tab.kx, self.tab.kx + self.tab.m
        return sum(self.a.e(b)[k0:k1]) + sum(self.a.e(b + 1)[k0:k1])

    def onsets(self, n):
        e = [self.slot_energy(n, t) for t in range(-4, TIME_SLOTS)]
        out = []
        for t in range(TIME_SLOTS):
            before = max(sum(e[t:t + 4]) / 4, self.floor)
            if e[t + 4] > self.s.onset_ratio * before and e[t + 4] > e[t + 3] * 2:
                out.append(t)
        # one onset per rise: keep the first of neighbouring slots
        return [t for i, t in enumerate(out) if i == 0 or t - out[i - 1] > 2]

    def grid(self, n):
        on = self.onsets(n)
        if len(on) > 1 or on == [0] or on == [1]:
            return Grid(FIXFIX, 4, [0] * 4)
        if on:
            t = on[0] & ~1
            if t <= 6:
                rel = [t, 4] if t + 4 < TIME_SLOTS - 2 else [t]
                g = Grid(VARFIX, len(rel) + 1, [1] * (len(rel) + 1), rel_bord_0=rel, pointer=2)
            else:
                rel = [12 - t, 4] if t <= 10 else [TIME_SLOTS - t]
                g = Grid(FIXVAR, len(rel) + 1, [1] * (len(rel) + 1), rel_bord_1=rel,
                         pointer=len(rel) + 1)
            assert g.transient() == 1 and 0 < g.middle() < g.num_env, g
            return g
        half = [self.a.mean(self.base(n) + 16 * h, self.base(n) + 16 * h + 16, self.tab.kx,
                            self.tab.kx + self.tab.m) for h in (0, 1)]
        lo, hi = min(half), max(half)
        if hi > self.floor / 32 and hi > self.s.steady_ratio * max(lo, 1e-9):
            return Grid(FIXFIX, 2, [1, 1])
        return Grid(FIXFIX, 1, [1])

    # -- values -----------------------------------------------------------------------------
    def envelopes(self, n, grid, amp_res, noise):
        """Envelope values; noise: the decoded noise floor values of the frame. The noise part
        of a band comes out of the decoders' synthesis at half its E_orig share (random complex
        subband samples, of which the synthesis keeps the real projection), so each band's
        energy is raised by (1 + Q) / (1 + Q / 2), Q the band's noise-to-tone ratio Q_orig."""
        t, tq, out = grid.borders(), grid.noise_borders(), []
        for l, r in enumerate(grid.freq_res):
            bands = self.tab.high if r else self.tab.low
            s0, s1 = self.base(n) + 2 * t[l], self.base(n) + 2 * t[l + 1]
            q_env = noise[max(i for i in range(len(tq) - 1) if tq[i] <= t[l])]
            vals = []
            for k0, k1 in zip(bands, bands[1:]):
                e = self.a.mean(s0, s1, k0, k1)
                qb = max(i for i in range(len(self.tab.noise) - 1) if self.tab.noise[i] <= k0)
                q = 2.0 ** (NOISE_FLOOR_OFFSET - q_env[qb])
                e *= (1 + q) / (1 + q / 2)
                v = math.log2(max(e, 64.0) / 64.0) * (2 if amp_res == 0 else 1)
                vals.append(int(math.floor(v + 0.5)))
            out.append(vals)
        return out

    def noise_floors(self, n, grid):
        t, out = grid.noise_borders(), []
        for q in range(len(t) - 1):
            s0, s1 = self.base(n) + 2 * t[q], self.base(n) + 2 * t[q + 1]
            vals = []
            for k0, k1 in zip(self.tab.noise, self.tab.noise[1:]):
                ton = self.a.tonality(s0, s1, k0, k1)
                ntr = (1 - ton) / max(ton, 1e-6)
                v = NOISE_FLOOR_OFFSET - math.log2(max(ntr, 1e-9))
                vals.append(clamp(int(math.floor(v + 0.5)), 0, 30))
            out.append(vals)
        return out

    def source_band(self):
        """The low band that the patches copy up: the subbands just below kx."""
        k1 = self.tab.kx
        return max(1, k1 - self.tab.m), k1

    def inverse_filtering(self, n):
        s0, s1 = self.base(n), self.base(n) + 32
        src = self.a.tonality(s0, s1, *self.source_band())
        out = []
        for k0, k1 in zip(self.tab.noise, self.tab.noise[1:]):
            d = src - self.a.tonality(s0, s1, k0, k1)
            out.append(0 if d < 0.15 else 1 if d < 0.35 else 2 if d < 0.6 else 3)
        return out

    def sinusoids(self, n):
        """bs_add_harmonic per high band: a band whose energy is mostly one steady tone in the
        subband where the decoders put the sinusoid (the band's middle one, (k0 + k1) / 2)."""
        if not self.s.sinusoids:
            return None
        s0, s1 = self.base(n), self.base(n) + 32
        flags = []
        for k0, k1 in zip(self.tab.high, self.tab.high[1:]):
            st = self.a.subband_stats(s0, s1, k0, k1)
            tot = sum(e for e, _ in st)
            e_pk, rho = st[(k1 - k0) // 2]
            flags.append(1 if tot > self.floor * 4 and e_pk > 0.7 * tot and rho > 0.95 else 0)
        return flags if any(flags) else None

    # -- coding -----------------------------------------------------------------------------
    def channel(self, n, grid, amp_res):
        """The Channel record of frame n (values as sent) and its decoded values."""
        noise, df_noise, prevq, dec_noise = [], [], self.prev_noise, []
        for vals in self.noise_floors(n, grid):
            sent, dt, dec = code_values(vals, prevq, book('f_noise', 1, False),
                                        book('t_noise', 1, False), 5, hi=30)
            noise.append(sent)
            df_noise.append(dt)
            dec_noise.append(dec)
            prevq = dec
        env_vals = self.envelopes(n, grid, amp_res, dec_noise)
        can_dt = self.prev_env is not None and self.prev_amp == amp_res
        env, df_env, prev, prev_res, dec_env = [], [], self.prev_env, self.prev_res, []
        start_bits = 7 - amp_res
        for vals, r in zip(env_vals, grid.freq_res):
            ref = map_reference(prev, prev_res, r, self.tab) if can_dt else None
            sent, dt, dec = code_values(vals, ref, book('f_env', amp_res, False),
                                        book('t_env', amp_res, False), start_bits)
            env.append(sent)
            df_env.append(dt)
            dec_env.append(dec)
            prev, prev_res, can_dt = dec, r, True
        self.prev_env, self.prev_res, self.prev_amp, self.prev_noise = prev, prev_res, amp_res, prevq
        self.decoded = (dec_env, dec_noise)
        return Channel(grid, df_env, df_noise, self.inverse_filtering(n), env, noise,
                       self.sinusoids(n))


def code_values(vals, ref, f_book, t_book, start_bits, hi=None):
    """(values as sent, delta direction bit, decoded values): frequency coding (a start value
    and deltas) or time coding against ref, whichever takes fewer bits; deltas beyond a book's
    range are clamped, and a coding that must clamp loses against one that need not."""
    top = (1 << start_bits) - 1 if hi is None else hi
    dec = [clamp(vals[0], 0, min(top, (1 << start_bits) - 1))]
    sent = [dec[0]]
    bits, err = start_bits, abs(vals[0] - dec[0])
    for v in vals[1:]:
        d = clamp(v - dec[-1], -f_book.lav, f_book.lav)
        if hi is not None:
            d = clamp(dec[-1] + d, 0, hi) - dec[-1]
        dec.append(dec[-1] + d)
        sent.append(d)
        bits += f_book.encode(d)[1]
        err += abs(v - dec[-1])
    best = (err, bits, sent, 0, dec)
    if ref is not None and len(ref) == len(vals):
        tsent, tdec, tbits, terr = [], [], 0, 0
        for v, r in zip(vals, ref):
            d = clamp(v - r, -t_book.lav, t_book.lav)
            d = clamp(r + d, 0, top if hi is not None else 10 ** 6) - r
            tsent.append(d)
            tdec.append(r + d)
            tbits += t_book.encode(d)[1]
            terr += abs(v - r - d)
        if (terr, tbits) < best[:2]:
            best = (terr, tbits, tsent, 1, tdec)
    return best[2], best[3], best[4]


class ElementEncoder:
    """sbr_extension_data() of one SCE (one channel) or an uncoupled CPE (two)."""

    def __init__(self, analyses, header, tab, settings):
        self.header, self.tab, self.s = header, tab, settings
        self.chans = [ChannelEncoder(a, tab, settings) for a in analyses]

    def frame(self, n):
        grids = [c.grid(n) for c in self.chans]

        def single(g):
            return g.frame_class == FIXFIX and g.num_env == 1
        if len(grids) == 2 and single(grids[0]) != single(grids[1]):
            grids = [Grid(FIXFIX, 2, [1, 1]) if single(g) else g for g in grids]
        ares = [0 if single(g) else self.header.amp_res for g in grids]
        chans = [c.channel(n, g, a) for c, g, a in zip(self.chans, grids, ares)]
        send_header = n % self.s.header_every == 0
        e = Element(chans, coupling=0, amp_res=ares, header=self.header if send_header else None)
        e.decoded = [c.decoded for c in self.chans]          # what a decoder holds after it
        bits = extension_payload(e)
        if len(bits) > 8 * MAX_FILL_BYTES:
            raise RuntimeError(f'frame {n}: SBR payload of {len(bits)} bits')
        return bits, e


@dataclass
class Encoded:
    frames: list                     # the core's ADTS frames (header, raw data block)
    blocks: List[bytes]              # raw data blocks with the SBR fill elements
    header: Header
    tables: freq_tables.Tables
    elements: list                   # per frame: the Element records

    def adts(self):
        return wrap_adts(self.frames, self.blocks)


def encode(signal, fs, settings=None, bitrate_per_channel=48000, tmp=None):
    """HE-AAC of signal (per-channel float lists, full scale 1.0, at the full rate fs): the core
    at fs / 2 by ffmpeg, the SBR data estimated here, inserted after the channel element."""
    s = settings or Settings()
    header, tab = choose_header(fs, s.crossover_hz)
    with tempfile.TemporaryDirectory() as t:
        d = pathlib.Path(tmp or t)
        wav, core = d / 'full.wav', d / 'core.aac'
        write_wav16(wav, fs, signal)
        cutoff = int(tab.kx * fs / 128)
        encode_adts(wav, core, str(bitrate_per_channel * len(signal)),
                    ['-ar', str(fs // 2), '-cutoff', str(cutoff), '-aac_pns', '0', '-aac_is', '0'])
        frames = split_adts(core.read_bytes())
    analyses = [Analysis(c) for c in signal]
    aac_tab = Tables(REPO / 'data' / 'aac_tables.txt')
    sfi = frames[0][0]['sfi']
    ids = channel_elements(walk_block(frames[0][1], sfi, aac_tab))
    if len(ids) != 1 or len(analyses) not in (1, 2):
        raise ValueError('mono or stereo signals only')
    enc = ElementEncoder(analyses, header, tab, s)
    blocks, elements = [], []
    for n, (hdr, data) in enumerate(frames):
        bits, e = enc.frame(n)
        blocks.append(insert_sbr(walk_block(data, sfi, aac_tab), [bits]))
        elements.append(e)
    return Encoded(frames, blocks, header, tab, elements)


# Presets of scripts/sbr-streams: settings and what they show.
PRESETS = {
    'encoded_music': (Settings(), 'signal-driven SBR of music (chord, melody, sweep, castanets, '
                                  'hi-hats): transient grids, noise floors, inverse filtering'),
    'encoded_speech': (Settings(), 'signal-driven SBR of speech-like syllables (fricatives, '
                                   'voiced vowels with gliding pitch)'),
    'encoded_sinusoids': (Settings(sinusoids=True), 'signal-driven SBR of music with steady high '
                                                    'tones coded as additional sinusoids'),
}
