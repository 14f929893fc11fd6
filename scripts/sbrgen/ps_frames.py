"""Random but valid parametric stereo data (ps_data() of ISO/IEC 14496-3 8.4), one per frame,
for the SBR extended data of a mono element (bs_extension_id 2), chosen by a named preset and
made deterministic by a seed.

Valid means what a decoder that follows the standard decodes the same way as any other:
- the first frame carries a header; later headers (enable_ps_header 1) may change the modes;
- iid values stay within +-7 (normal grid) or +-15 (fine), icc within 0..7, ipd/opd 0..7;
- time deltas only from exactly what the decoder holds: the previous envelope, or the last
  envelope of the last frame that had values, with the same band count and the same iid grid;
  otherwise frequency deltas;
- variable borders rise strictly within the frame's 32 slots."""

import random
from dataclasses import dataclass

from . import codebooks

BANDS = (10, 20, 34, 10, 20, 34)        # by iid_mode / icc_mode
PHASE_BANDS = (5, 11, 17, 5, 11, 17)    # by iid_mode
FIX_ENVELOPES = (0, 1, 2, 4)            # by num_env_idx, frame_class 0
SLOTS = 32


@dataclass(frozen=True)
class PsPreset:
    iid_modes: tuple = (1,)        # iid_mode choices (0..5); None in the tuple: iid off
    icc_modes: tuple = (1,)        # icc_mode choices (0..5); None: icc off
    ipd: float = 0.0               # chance of ipd/opd data in a frame (enable_ext set)
    header_change: float = 0.0     # chance of a header with newly drawn modes per frame
    header_every: int = 8          # the header repeated (same modes) every this many frames
    variable: float = 0.0          # chance of frame_class 1 (variable borders)
    env_idx: tuple = (1,)          # num_env_idx choices of frame_class 0
    dt: float = 0.5                # chance of time deltas where allowed
    steady: float = 0.7            # chance that an envelope's values step from the last ones
    about: str = ''


PS_PRESETS = {
    'ps_10_a': PsPreset(iid_modes=(0,), icc_modes=(0,), dt=0.0,
                        about='10 bands, R_A, normal IID, frequency deltas only'),
    'ps_20_a': PsPreset(dt=0.0, about='20 bands, mixing R_A, normal IID, frequency deltas only'),
    'ps_20_a_dt': PsPreset(about='20 bands, mixing R_A, time deltas across frames too'),
    'ps_20_a_once': PsPreset(dt=0.0, header_every=1 << 30,
                             about='20 bands, R_A, frequency deltas, the header once'),
    'ps_20_a_fine': PsPreset(iid_modes=(4,), icc_modes=(1,), dt=0.0,
                             about='20 bands, fine IID, frequency deltas only'),
    'ps_20_a_ipd': PsPreset(ipd=1.0, about='20 bands with IPD/OPD in every frame'),
    'ps_34_a': PsPreset(iid_modes=(2, 5), icc_modes=(2,), ipd=0.5,
                        about='34 bands, R_A, IPD/OPD in half the frames'),
    'ps_20_b': PsPreset(icc_modes=(4,), about='20 bands, mixing R_B'),
    'ps_34_b': PsPreset(iid_modes=(5,), icc_modes=(5,), about='34 bands, fine IID, R_B'),
    'ps_envelopes': PsPreset(variable=0.5, env_idx=(0, 1, 2, 3), ipd=0.3,
                             about='0 to 4 envelopes, fixed and variable borders'),
    'ps_header_changes': PsPreset(iid_modes=(0, 1, 3, 4, None), icc_modes=(0, 1, None),
                                  header_change=0.15, header_every=4, ipd=0.3,
                                  about='headers changing modes (20 and 10 bands, R_A)'),
    'ps_everything': PsPreset(iid_modes=(0, 1, 2, 3, 4, 5, None), icc_modes=(0, 1, 2, 3, 4, 5),
                              header_change=0.1, header_every=5, ipd=0.5, variable=0.5,
                              env_idx=(0, 1, 2, 3), about='every path at once'),
}

_BOOKS = None


def book(name):
    """(codes by index, lav) of a PS codebook of data/sbr_ps_tables.txt."""
    global _BOOKS
    if _BOOKS is None:
        _BOOKS = {}
        for line in open(codebooks.TABLES):
            f = line.split()
            if f and f[0] == 'huff' and f[1].startswith('ps_'):
                _BOOKS[f[1]] = ([], int(f[3]))
            elif f and f[0] == 'hc' and f[1] in _BOOKS:
                _BOOKS[f[1]][0].append(f[4])
    return _BOOKS[name]


def put(bits, value, n):
    bits += [(value >> i) & 1 for i in range(n - 1, -1, -1)]


def put_code(bits, name, delta):
    codes, lav = book(name)
    bits += [int(c) for c in codes[delta + lav]]


class PsGenerator:
    """ps_data() bits frame after frame; the values decoded are kept in self.decoded."""

    def __init__(self, preset, seed):
        self.p = preset
        self.rng = random.Random(seed)
        self.frame = 0
        self.since_header = 0
        self.modes = self.draw_modes()
        self.last = {}            # kind: (band count, grid, values of the last envelope)

    def draw_modes(self):
        return (self.rng.choice(self.p.iid_modes), self.rng.choice(self.p.icc_modes))

    def header(self, bits):
        iid, icc = self.modes
        put(bits, 1 if iid is not None else 0, 1)
        if iid is not None:
            put(bits, iid, 3)
        put(bits, 1 if icc is not None else 0, 1)
        if icc is not None:
            put(bits, icc, 3)
        put(bits, 1 if self.p.ipd > 0 else 0, 1)     # enable_ext

    def grid(self, bits):
        rng = self.rng
        if rng.random() < self.p.variable:
            n = rng.randint(1, 4)
            borders = sorted(rng.sample(range(SLOTS), n))
            put(bits, 1, 1)
            put(bits, n - 1, 2)
            for b in borders:
                put(bits, b, 5)
            return n + (1 if borders[-1] < SLOTS - 1 else 0), n
        idx = rng.choice(self.p.env_idx)
        put(bits, 0, 1)
        put(bits, idx, 2)
        return FIX_ENVELOPES[idx], FIX_ENVELOPES[idx]

    def walk(self, count, lo, hi):
        """Values that start anywhere in lo..hi and move by small steps from band to band, as
        an encoder's do (a payload of uniformly random values would not fit a fill element)."""
        v = [self.rng.randint(lo, hi)]
        for _ in range(count - 1):
            v.append(min(hi, max(lo, v[-1] + self.rng.randint(-3, 3))))
        return v

    def values(self, bits, kind, books, count, lo, hi, sent, grid=0, phase=False):
        """sent envelopes of one parameter; returns the values of the last one."""
        prev = self.last.get(kind)
        for e in range(sent):
            if phase:
                v = [self.rng.randint(lo, hi) for _ in range(count)]
            elif prev is not None and prev[0] == count and self.rng.random() < self.p.steady:
                v = [min(hi, max(lo, x + self.rng.randint(-2, 2))) for x in prev[2]]
            else:
                v = self.walk(count, lo, hi)
            dt = prev is not None and prev[0] == count and prev[1] == grid and \
                self.rng.random() < self.p.dt
            put(bits, 1 if dt else 0, 1)
            for b in range(count):
                d = v[b] - (prev[2][b] if dt else (v[b - 1] if b > 0 else 0))
                put_code(bits, books[1 if dt else 0], d % 8 if phase else d)
            prev = (count, grid, v)
        if sent:
            self.last[kind] = prev

    def extension(self, bits, sent):
        ext = []
        iid = self.modes[0] if self.modes[0] is not None else 1
        put(ext, 0, 2)                                # ps_extension_id 0
        put(ext, 1, 1)                                # enable_ipdopd
        n = PHASE_BANDS[iid]
        saved = bits
        for e in range(sent):
            for kind, books in (('ipd', ('ps_ipd_f', 'ps_ipd_t')), ('opd', ('ps_opd_f', 'ps_opd_t'))):
                self.values(ext, kind, books, n, 0, 7, 1, phase=True)
        put(ext, 0, 1)                                # reserved_ps
        size = (len(ext) + 7) // 8
        put(saved, min(size, 15), 4)
        if size >= 15:
            put(saved, size - 15, 8)
        saved += ext + [0] * (8 * size - len(ext))

    def next(self):
        """The bits of the next frame's ps_data()."""
        rng, p = self.rng, self.p
        bits = []
        new_modes = self.frame > 0 and rng.random() < p.header_change
        if new_modes:
            self.modes = self.draw_modes()
        with_header = self.frame == 0 or new_modes or self.since_header >= p.header_every
        put(bits, 1 if with_header else 0, 1)
        if with_header:
            self.header(bits)
            self.since_header = 0
        self.since_header += 1
        total, sent = self.grid(bits)
        iid, icc = self.modes
        if iid is not None:
            lim = 15 if iid >= 3 else 7
            books = ('ps_iid_fine_f', 'ps_iid_fine_t') if iid >= 3 else ('ps_iid_def_f', 'ps_iid_def_t')
            self.values(bits, 'iid', books, BANDS[iid], -lim, lim, sent, grid=int(iid >= 3))
        if icc is not None:
            self.values(bits, 'icc', ('ps_icc_f', 'ps_icc_t'), BANDS[icc], 0, 7, sent)
        if iid is None:                               # no ipd/opd without iid_mode
            self.last.pop('iid', None)
        if icc is None:
            self.last.pop('icc', None)
        if p.ipd > 0:                                 # enable_ext is set in every header
            if iid is not None and rng.random() < p.ipd:
                self.extension(bits, sent)
            else:
                self.last.pop('ipd', None)            # decoders differ in what they keep
                self.last.pop('opd', None)
                put(bits, 1, 4)                       # one byte: id 0, enable_ipdopd 0, fill
                bits += [0, 0, 0] + [0] * 5
        self.frame += 1
        return bits
