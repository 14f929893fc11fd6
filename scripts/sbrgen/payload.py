"""The writer of sbr_extension_data() (ISO/IEC 14496-3 4.4.2.8): the header with both optional
parts, sbr_data() of a single channel element or a channel pair (coupled or not), the time
grid of each frame class, the delta coding directions, inverse filtering, the Huffman-coded
envelopes and noise floors, the additional sinusoids, extended data and the fill bits, with or
without the 10-bit CRC (extension type 14).

A frame is described by plain records holding the values of the syntax elements as they are
sent (start values and deltas, not the decoded values): the random generator decides them,
this module only writes them, and the test's reader parses them back."""

import math
from dataclasses import dataclass, field
from typing import List, Optional

from fxaac_harness.bits import BitWriter

from .codebooks import book

EXT_SBR_DATA, EXT_SBR_DATA_CRC = 13, 14
FIXFIX, FIXVAR, VARFIX, VARVAR = range(4)
CLASS_NAMES = ('FIXFIX', 'FIXVAR', 'VARFIX', 'VARVAR')
TIME_SLOTS = 16                      # numTimeSlots of a 1024-sample core frame
HEADER_DEFAULTS = {'freq_scale': 2, 'alter_scale': 1, 'noise_bands': 2,
                   'limiter_bands': 2, 'limiter_gains': 2, 'interpol_freq': 1,
                   'smoothing_mode': 1}
EXTRA_1 = ('freq_scale', 'alter_scale', 'noise_bands')
EXTRA_2 = ('limiter_bands', 'limiter_gains', 'interpol_freq', 'smoothing_mode')


@dataclass
class Header:
    amp_res: int = 1
    start_freq: int = 5
    stop_freq: int = 9
    xover_band: int = 0
    freq_scale: int = 2
    alter_scale: int = 1
    noise_bands: int = 2
    limiter_bands: int = 2
    limiter_gains: int = 2
    interpol_freq: int = 1
    smoothing_mode: int = 1
    extra_1: int = 0                 # bs_header_extra_1 as sent (1 whenever a value is not the default)
    extra_2: int = 0
    reserved: int = 0                # bs_reserved (2 bits)

    def table_key(self):
        """The fields the frequency band tables depend on."""
        return (self.start_freq, self.stop_freq, self.xover_band, self.freq_scale,
                self.alter_scale, self.noise_bands)

    def values(self):
        """Every field a decoder keeps (not the flags of the optional parts)."""
        return (self.amp_res,) + self.table_key() + tuple(getattr(self, k) for k in EXTRA_2)


@dataclass
class Grid:
    frame_class: int
    num_env: int
    freq_res: List[int]              # r(l) for each envelope in time order
    var_bord_0: int = 0
    var_bord_1: int = 0
    rel_bord_0: List[int] = field(default_factory=list)   # in time slots: 2, 4, 6 or 8
    rel_bord_1: List[int] = field(default_factory=list)
    pointer: int = 0

    @property
    def num_noise(self):
        return 2 if self.num_env > 1 else 1

    def borders(self):
        """t_E(0..L_E) in SBR time slots (4.6.18.3.3)."""
        n = self.num_env
        if self.frame_class == FIXFIX:
            return [l * TIME_SLOTS // n for l in range(n + 1)]
        lead = self.var_bord_0 if self.frame_class in (VARFIX, VARVAR) else 0
        trail = TIME_SLOTS + (self.var_bord_1 if self.frame_class in (FIXVAR, VARVAR) else 0)
        t = [lead]
        for r in self.rel_bord_0:
            t.append(t[-1] + r)
        tail = [trail]
        for r in self.rel_bord_1:
            tail.append(tail[-1] - r)
        return t + tail[::-1]

    def transient(self):
        """l_A: the envelope that starts at the transient, -1 for none."""
        p, n = self.pointer, self.num_env
        if self.frame_class == FIXFIX:
            return -1
        if self.frame_class == VARFIX:
            return -1 if p <= 1 else p - 1
        return -1 if p == 0 else n + 1 - p

    def middle(self):
        """The envelope border index where the second noise floor starts (L_E > 1)."""
        p, n = self.pointer, self.num_env
        if self.frame_class == FIXFIX:
            return n // 2
        if self.frame_class == VARFIX:
            return 1 if p == 0 else n - 1 if p == 1 else p - 1
        return n + 1 - p if p > 1 else n - 1

    def noise_borders(self):
        """t_Q(0..L_Q) in SBR time slots."""
        t = self.borders()
        if self.num_env == 1:
            return [t[0], t[-1]]
        return [t[0], t[self.middle()], t[-1]]


@dataclass
class Channel:
    grid: Optional[Grid]             # None for the second channel of a coupled pair
    df_env: List[int]
    df_noise: List[int]
    invf: Optional[List[int]]        # None for the second channel of a coupled pair
    env: List[List[int]]             # per envelope: [start value, f deltas...] or [t deltas...]
    noise: List[List[int]]
    add_harmonic: Optional[List[int]] = None   # bs_add_harmonic per f_TableHigh band, or None


@dataclass
class Element:
    """sbr_extension_data() of one SCE or CPE."""
    channels: List[Channel]
    coupling: int = 0
    amp_res: List[int] = field(default_factory=list)   # the resolution each channel's envelopes use
    header: Optional[Header] = None
    crc: bool = False
    data_extra: Optional[int] = None       # bs_reserved bits when bs_data_extra is 1
    extension: Optional[List[int]] = None  # bits of the extended data: [id, payload bits...]
    extension_id: int = 0
    extra_fill_bytes: int = 0


def pointer_bits(num_env):
    return math.ceil(math.log2(num_env + 1))


def put_header(w, h):
    w.put(h.amp_res, 1)
    w.put(h.start_freq, 4)
    w.put(h.stop_freq, 4)
    w.put(h.xover_band, 3)
    w.put(h.reserved, 2)
    w.put(h.extra_1, 1)
    w.put(h.extra_2, 1)
    if h.extra_1:
        w.put(h.freq_scale, 2)
        w.put(h.alter_scale, 1)
        w.put(h.noise_bands, 2)
    if h.extra_2:
        w.put(h.limiter_bands, 2)
        w.put(h.limiter_gains, 2)
        w.put(h.interpol_freq, 1)
        w.put(h.smoothing_mode, 1)


def put_grid(w, g):
    w.put(g.frame_class, 2)
    if g.frame_class == FIXFIX:
        w.put(g.num_env.bit_length() - 1, 2)
        w.put(g.freq_res[0], 1)
        return
    if g.frame_class in (VARFIX, VARVAR):
        w.put(g.var_bord_0, 2)
    if g.frame_class in (FIXVAR, VARVAR):
        w.put(g.var_bord_1, 2)
    if g.frame_class in (VARFIX, VARVAR):
        w.put(len(g.rel_bord_0), 2)
    if g.frame_class in (FIXVAR, VARVAR):
        w.put(len(g.rel_bord_1), 2)
    for r in g.rel_bord_0 + g.rel_bord_1:
        w.put((r - 2) // 2, 2)
    w.put(g.pointer, pointer_bits(g.num_env))
    order = g.freq_res[::-1] if g.frame_class == FIXVAR else g.freq_res
    for r in order:
        w.put(r, 1)


def put_values(w, values, df, kind, amp_res, balance, start_bits):
    """One envelope or noise floor: a start value and frequency deltas (df 0) or time deltas."""
    if df == 0:
        w.put(values[0], start_bits)
        f_book = book('f_' + kind, amp_res, balance)
        for d in values[1:]:
            w.put(*f_book.encode(d))
    else:
        t_book = book('t_' + kind, amp_res, balance)
        for d in values:
            w.put(*t_book.encode(d))


def put_envelope(w, ch, amp_res, balance):
    bits = (7 - amp_res) - (1 if balance else 0)
    for values, df in zip(ch.env, ch.df_env):
        put_values(w, values, df, 'env', amp_res, balance, bits)


def put_noise(w, ch, balance):
    for values, df in zip(ch.noise, ch.df_noise):
        put_values(w, values, df, 'noise', 1, balance, 5)


def put_sinusoids(w, ch):
    w.put(1 if ch.add_harmonic is not None else 0, 1)
    for f in ch.add_harmonic or ():
        w.put(f, 1)


def put_sbr_data(w, e):
    w.put(1 if e.data_extra is not None else 0, 1)
    if e.data_extra is not None:
        w.put(e.data_extra, 4 * len(e.channels))
    if len(e.channels) == 1:
        c = e.channels[0]
        put_grid(w, c.grid)
        put_dtdf(w, c)
        put_invf(w, c)
        put_envelope(w, c, e.amp_res[0], False)
        put_noise(w, c, False)
    elif e.coupling:
        a, b = e.channels
        w.put(1, 1)
        put_grid(w, a.grid)
        put_dtdf(w, a)
        put_dtdf(w, b)
        put_invf(w, a)
        put_envelope(w, a, e.amp_res[0], False)
        put_noise(w, a, False)
        put_envelope(w, b, e.amp_res[1], True)
        put_noise(w, b, True)
    else:
        a, b = e.channels
        w.put(0, 1)
        put_grid(w, a.grid)
        put_grid(w, b.grid)
        put_dtdf(w, a)
        put_dtdf(w, b)
        put_invf(w, a)
        put_invf(w, b)
        put_envelope(w, a, e.amp_res[0], False)
        put_envelope(w, b, e.amp_res[1], False)
        put_noise(w, a, False)
        put_noise(w, b, False)
    for c in e.channels:
        put_sinusoids(w, c)
    put_extended(w, e)


def put_dtdf(w, c):
    for d in c.df_env + c.df_noise:
        w.put(d, 1)


def put_invf(w, c):
    for m in c.invf:
        w.put(m, 2)


def put_extended(w, e):
    """bs_extended_data: one extension (bs_extension_id e.extension_id: 2 with parametric stereo
    data of sbrgen/ps_frames.py, else a dummy whose payload bits the decoder skips), then the
    fill bits of the extension size."""
    w.put(1 if e.extension is not None else 0, 1)
    if e.extension is None:
        return
    size = (2 + len(e.extension) + 7) // 8
    w.put(min(size, 15), 4)
    if size >= 15:
        w.put(size - 15, 8)
    w.put(e.extension_id, 2)
    for b in e.extension:
        w.put(b, 1)
    w.put(0, 8 * size - 2 - len(e.extension))


def sbr_crc(bits):
    """The 10-bit CRC of an SBR payload: x^10 + x^9 + x^5 + x^4 + x + 1, register preset to 0,
    bits fed most significant first."""
    crc = 0
    for b in bits:
        top = (crc >> 9) & 1
        crc = (crc << 1) & 0x3FF
        if top ^ b:
            crc ^= 0x233
    return crc


def extension_payload(e):
    """The bits of extension_payload(): extension_type, sbr_extension_data() and its fill
    bits, a whole number of bytes (the fill element's count)."""
    w = BitWriter()
    w.put(1 if e.header is not None else 0, 1)
    if e.header is not None:
        put_header(w, e.header)
    put_sbr_data(w, e)
    body = w.bits
    total = 4 + (10 if e.crc else 0) + len(body)
    nbytes = (total + 7) // 8 + e.extra_fill_bytes
    body = body + [0] * (8 * nbytes - total)        # bs_fill_bits
    out = BitWriter()
    out.put(EXT_SBR_DATA_CRC if e.crc else EXT_SBR_DATA, 4)
    if e.crc:
        out.put(sbr_crc(body), 10)
    out.bits += body
    return out.bits
