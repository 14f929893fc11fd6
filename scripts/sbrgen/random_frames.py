"""Random but valid SBR frames, one sbr_extension_data() per element and frame, chosen by a
named preset and made deterministic by a seed.

Valid means what a decoder that follows ISO/IEC 14496-3 4.6.18 accepts and decodes the same way
as any other such decoder:
- headers whose frequency band tables obey every rule (freq_tables.tables);
- time grids whose borders rise strictly, whose first border is where the previous frame's last
  one ended (t_E(0) = t_E,prev(L_E) - 16: after FIXVAR and VARVAR frames with bs_var_bord_1 > 0
  only VARFIX or VARVAR can follow), and whose pointer puts the noise floor's middle border
  strictly inside the frame;
- envelopes and noise floors whose decoded values stay within their ranges. Time deltas start
  from exactly what the decoder holds: the previous envelope (or the previous frame's last one,
  mapped between the two frequency resolutions as 4.6.18.3.5 says) and the previous noise floor.
  The first envelope and noise floor of a channel are frequency coded in the first frame, after
  a header change, after a change of the amplitude resolution and, for the second channel of a
  pair, after coupling is switched on or off, so that no decoder depends on history it has
  reset or kept in another scale;
- in an uncoupled pair with bs_amp_res 1 both channels or neither use the one-envelope FIXFIX
  grid that forces 1.5 dB steps (whether that forcing holds per channel or for the whole
  element reads differently in different decoders), unless the preset asks for the mix."""

import copy
import random
from dataclasses import dataclass, replace

from . import freq_tables
from .payload import (EXTRA_1, EXTRA_2, FIXFIX, FIXVAR, HEADER_DEFAULTS, TIME_SLOTS, VARFIX,
                      VARVAR, Channel, Element, Grid, Header, extension_payload, pointer_bits)

MAX_FILL_BYTES = 15 + 255 - 1        # the largest count of a fill element

# Value ranges of the decoded data, in steps of the frame's amplitude resolution (envelope
# levels: 1.5 dB, half of it at 3.0 dB). Balance values are the undoubled ones as sent, centred
# on the pan offset (12 at 1.5 dB, 6 at 3.0 dB).
NOISE_RANGE = (0, 30)
NOISE_BAL_RANGE = (0, 12)


@dataclass(frozen=True)
class Preset:
    classes: tuple = (FIXFIX,)       # frame classes to draw from
    coupling: float = 0.0            # chance that a pair's frame is coupled
    sinusoids: float = 0.0           # chance of bs_add_harmonic_flag per channel and frame
    header_every: int = 8            # the header repeated every this many frames
    header_change: float = 0.0       # chance of a changed header per frame
    table_change: float = 0.5        # share of those changes that change the band tables
    crc: float = 0.0                 # chance of extension type 14 (with the CRC)
    extended: float = 0.0            # chance of bs_extended_data (a dummy extension)
    data_extra: float = 0.0          # chance of bs_data_extra (reserved bits)
    extra_fill: float = 0.0          # chance of fill bytes beyond the byte alignment
    dt: float = 0.5                  # chance of time coding where it is allowed
    amp_res: tuple = (0, 1)          # bs_amp_res of the first header
    level: tuple = (34, 60)          # envelope level range at 1.5 dB steps
    ampres_mix: bool = False         # allow the ambiguous FIXFIX-1 mix in uncoupled pairs
    fixfix_envs: tuple = (1, 2, 4)   # envelope counts of FIXFIX frames
    raw_extension: bool = False      # extension payload of any bits (else no '10' bit pair)
    about: str = ''


ALL = (FIXFIX, FIXVAR, VARFIX, VARVAR)
PRESETS = {
    'fixfix': Preset(about='FIXFIX frames of 1, 2 and 4 envelopes, no coupling'),
    'fixfix_coupled': Preset(coupling=1.0, about='FIXFIX frames, channel pairs always coupled'),
    'variable': Preset(classes=ALL, about='all four frame classes, no coupling'),
    'variable_coupled': Preset(classes=ALL, coupling=0.5,
                               about='all frame classes, coupling switched on and off'),
    'sinusoids': Preset(sinusoids=0.6, about='FIXFIX frames with additional sinusoids'),
    'sinusoids_variable': Preset(classes=ALL, sinusoids=0.6, coupling=0.3,
                                 about='variable borders with additional sinusoids'),
    'header_changes': Preset(header_change=0.12, header_every=5,
                             about='FIXFIX frames, headers changing mid-stream (tables too)'),
    'crc': Preset(crc=1.0, coupling=0.5, about='extension type 14 with the 10-bit CRC'),
    'extended': Preset(extended=0.6, data_extra=0.5, extra_fill=0.4, crc=0.3,
                       about='extended data, reserved bits and extra fill bytes'),
    'everything': Preset(classes=ALL, coupling=0.5, sinusoids=0.3, header_change=0.06,
                         crc=0.3, extended=0.3, data_extra=0.2, extra_fill=0.2,
                         about='every path at once'),
    'ampres_mix': Preset(classes=ALL, ampres_mix=True, amp_res=(1,),
                         about='uncoupled pairs mixing 1-envelope FIXFIX with other grids'),
}


class ChannelHistory:
    """What a decoder holds of one channel between frames."""

    def __init__(self):
        self.env = None              # the last envelope's decoded values
        self.env_res = None          # its frequency resolution
        self.amp_res = None
        self.noise = None            # the last noise floor's decoded values
        self.balance = False         # the values are balance values (coupled second channel)
        self.end = TIME_SLOTS        # t_E(L_E) of the last frame

    def forget(self):
        self.env = self.noise = None


def small_delta(rng, lav):
    r = rng.random()
    if r < 0.6:
        return rng.randint(-1, 1)
    if r < 0.95:
        return rng.randint(-4, 4)
    return rng.randint(-lav, lav)


def map_reference(prev, prev_res, res, tab):
    """The previous envelope's values on the bands of resolution res (4.6.18.3.5)."""
    if prev_res == res:
        return list(prev)
    if res == 0:                     # low from high: the high band that starts where it starts
        return [prev[tab.high.index(f)] for f in tab.low[:-1]]
    out = []                         # high from low: the low band that holds the high band
    for f in tab.high[:-1]:
        i = max(i for i in range(len(tab.low) - 1) if tab.low[i] <= f)
        out.append(prev[i])
    return out


class Generator:
    """Frames for one element (SCE: 1 channel, CPE: 2) at SBR output rate fs."""

    def __init__(self, fs, channels, preset, seed, ps=None):
        self.fs, self.nch, self.p = fs, channels, preset
        self.ps = ps                 # a ps_frames.PsGenerator: its data as the extended data
        self.ps_bits = None
        self.rng = random.Random(seed)
        self.hist = [ChannelHistory() for _ in range(channels)]
        self.header = None
        self.frame = 0
        self.since_header = 0
        self.header = self.random_header(amp_res=self.rng.choice(preset.amp_res))
        self.tables = self.table_of(self.header)

    # -- headers --------------------------------------------------------------------------
    def table_of(self, h):
        return freq_tables.tables(self.fs, *h.table_key())

    def random_header(self, amp_res, keep=None):
        """A header with valid tables (those of keep when given)."""
        rng = self.rng
        while True:
            h = Header(amp_res=amp_res, start_freq=rng.randint(0, 15), stop_freq=rng.randint(0, 15),
                       xover_band=rng.choice((0, 0, 0, 1, 2, 3)), freq_scale=rng.randint(0, 3),
                       alter_scale=rng.randint(0, 1), noise_bands=rng.randint(0, 3))
            if keep is not None:
                for k in ('start_freq', 'stop_freq', 'xover_band') + EXTRA_1:
                    setattr(h, k, getattr(keep, k))
            for k in EXTRA_2:
                setattr(h, k, rng.choice((HEADER_DEFAULTS[k], rng.randint(0, (1 << (2 if k.startswith('limiter') else 1)) - 1))))
            try:
                tab = self.table_of(h)
            except freq_tables.Invalid:
                continue
            if tab.n_high < 2 or (keep is None and tab.m < 8):
                continue
            return self.flag_extras(h)

    def flag_extras(self, h):
        for flag, names in (('extra_1', EXTRA_1), ('extra_2', EXTRA_2)):
            needed = any(getattr(h, k) != HEADER_DEFAULTS[k] for k in names)
            setattr(h, flag, 1 if needed else self.rng.randint(0, 1))
        h.reserved = self.rng.randint(0, 3) if self.rng.random() < 0.2 else 0
        return h

    def next_header(self):
        """The header to send with this frame (None for none) and whether it changed."""
        p, rng = self.p, self.rng
        at_rest = all(h.end == TIME_SLOTS for h in self.hist)
        if self.frame > 0 and at_rest and rng.random() < p.header_change:
            old = self.header
            while True:
                if rng.random() < p.table_change:
                    h = self.random_header(old.amp_res)
                else:
                    h = self.random_header(rng.randint(0, 1), keep=old)
                if h.values() != old.values():
                    break
            self.header, self.tables = h, self.table_of(h)
            self.since_header = 0
            return h, True
        if self.frame == 0 or self.since_header >= p.header_every:
            self.since_header = 0
            return self.flag_extras(replace(self.header)), False
        self.since_header += 1
        return None, False

    # -- grids ----------------------------------------------------------------------------
    def random_grid(self, lead):
        rng, classes = self.rng, self.p.classes
        if lead:
            classes = [c for c in classes if c in (VARFIX, VARVAR)]
        while True:
            c = rng.choice(classes)
            if c == FIXFIX:
                n = rng.choice(self.p.fixfix_envs)
                return Grid(FIXFIX, n, [rng.randint(0, 1)] * n)
            g = Grid(c, 0, [], var_bord_0=lead if c in (VARFIX, VARVAR) else 0,
                     var_bord_1=rng.randint(0, 3) if c in (FIXVAR, VARVAR) else 0)
            n0 = rng.randint(0, 3) if c in (VARFIX, VARVAR) else 0
            n1 = rng.randint(0, 3) if c in (FIXVAR, VARVAR) else 0
            if n0 + n1 > 4:
                continue
            g.rel_bord_0 = [rng.choice((2, 4, 6, 8)) for _ in range(n0)]
            g.rel_bord_1 = [rng.choice((2, 4, 6, 8)) for _ in range(n1)]
            g.num_env = n0 + n1 + 1
            t = g.borders()
            if any(b <= a for a, b in zip(t, t[1:])):
                continue
            g.freq_res = [rng.randint(0, 1) for _ in range(g.num_env)]
            g.pointer = rng.choice(self.pointers(g))
            return g

    @staticmethod
    def pointers(g):
        """The bs_pointer values whose transient envelope lies in the frame and whose noise
        middle border lies strictly inside it."""
        out = []
        for p in range(1 << pointer_bits(g.num_env)):
            g.pointer = p
            if -1 <= g.transient() < g.num_env and (g.num_env == 1 or 0 < g.middle() < g.num_env):
                out.append(p)
        return out

    # -- envelopes and noise floors ---------------------------------------------------------
    def code_values(self, ref, n, lo, hi, lav_f, lav_t, start_bits, use_dt):
        """(values as sent, decoded values) of one envelope or noise floor of n bands."""
        rng = self.rng
        if use_dt:
            vals = [min(hi, max(lo, r + small_delta(rng, lav_t))) for r in ref]
            return [v - r for v, r in zip(vals, ref)], vals
        v = rng.randint(lo, hi) if ref is None else min(hi, max(lo, ref[0] + small_delta(rng, 4)))
        v = min(v, (1 << start_bits) - 1)
        vals = [v]
        for _ in range(n - 1):
            vals.append(min(hi, max(lo, vals[-1] + small_delta(rng, lav_f))))
        return [vals[0]] + [b - a for a, b in zip(vals, vals[1:])], vals

    def channel_data(self, ch, grid, amp_res, balance, invf):
        """Channel record and the decoded values; updates the channel's history."""
        h, tab, p, rng = self.hist[ch], self.tables, self.p, self.rng
        if balance:
            lo, hi = (0, 24) if amp_res == 0 else (0, 12)
        else:
            lo, hi = p.level if amp_res == 0 else (p.level[0] // 2, p.level[1] // 2)
        lav_f = lav_t = 24 if (balance and amp_res == 0) else 12 if balance else 60 if amp_res == 0 else 31
        start_bits = 7 - amp_res - (1 if balance else 0)
        can_dt = h.env is not None and h.amp_res == amp_res and h.balance == balance
        env, df_env, dec_env = [], [], []
        prev, prev_res = h.env, h.env_res
        for r in grid.freq_res:
            dt = can_dt and rng.random() < p.dt
            ref = map_reference(prev, prev_res, r, tab) if prev is not None else None
            sent, vals = self.code_values(ref, tab.n_env(r), lo, hi, lav_f, lav_t, start_bits, dt)
            env.append(sent)
            df_env.append(1 if dt else 0)
            dec_env.append(vals)
            prev, prev_res, can_dt = vals, r, True
        nlo, nhi = NOISE_BAL_RANGE if balance else NOISE_RANGE
        can_dt = h.noise is not None and h.balance == balance and len(h.noise) == tab.n_noise
        noise, df_noise, dec_noise = [], [], []
        prev = h.noise
        for _ in range(grid.num_noise):
            dt = can_dt and rng.random() < p.dt
            sent, vals = self.code_values(prev, tab.n_noise, nlo, nhi, 12 if balance else 31,
                                          12 if balance else 31, 5, dt)
            noise.append(sent)
            df_noise.append(1 if dt else 0)
            dec_noise.append(vals)
            prev, can_dt = vals, True
        harm = None
        if rng.random() < p.sinusoids:
            harm = [1 if rng.random() < 0.2 else 0 for _ in range(tab.n_high)]
        h.env, h.env_res, h.amp_res, h.noise, h.balance = dec_env[-1], grid.freq_res[-1], amp_res, \
            dec_noise[-1], balance
        h.end = grid.borders()[-1]
        c = Channel(grid, df_env, df_noise, invf, env, noise, harm)
        return c, (dec_env, dec_noise)

    # -- frames -----------------------------------------------------------------------------
    def grids(self, coupled):
        leads = [h.end - TIME_SLOTS for h in self.hist]
        if coupled:
            g = self.random_grid(leads[0])
            return [g, g]
        gs = [self.random_grid(lead) for lead in leads]
        if self.nch == 2 and not self.p.ampres_mix and self.header.amp_res == 1:
            def one(g):
                return g.frame_class == FIXFIX and g.num_env == 1
            k = 0
            while one(gs[0]) != one(gs[1]):
                gs[k] = self.random_grid(leads[k])      # either side: one of them may need VAR
                k ^= 1
        return gs

    def amp_res_of(self, g):
        return 0 if g.frame_class == FIXFIX and g.num_env == 1 else self.header.amp_res

    def make_frame(self, header, changed):
        p, rng = self.p, self.rng
        if changed:
            for h in self.hist:
                h.forget()
        same_lead = self.nch == 2 and self.hist[0].end == self.hist[1].end
        coupled = same_lead and rng.random() < p.coupling
        gs = self.grids(coupled)
        if coupled:
            ares = [self.amp_res_of(gs[0])] * 2
        elif self.nch == 2 and p.ampres_mix:
            # the reading of the syntax that holds the forcing for the whole element
            a = 0 if any(self.amp_res_of(g) == 0 for g in gs) else self.header.amp_res
            ares = [a, a]
        else:
            ares = [self.amp_res_of(g) for g in gs]
        chans, decoded = [], []
        for ch in range(self.nch):
            invf = None if (coupled and ch == 1) else [rng.randint(0, 3) for _ in range(self.tables.n_noise)]
            c, dec = self.channel_data(ch, gs[ch], ares[ch], coupled and ch == 1, invf)
            if coupled and ch == 1:
                c.grid = None
            chans.append(c)
            decoded.append(dec)
        e = Element(chans, coupling=1 if coupled else 0, amp_res=ares, header=header,
                    crc=rng.random() < p.crc)
        if rng.random() < p.data_extra:
            e.data_extra = rng.randint(0, (1 << (4 * self.nch)) - 1)
        if rng.random() < p.extended:
            e.extension_id = rng.choice((0, 1, 3))
            e.extension = self.extension_bits(rng.randint(0, 20))
        if self.ps_bits is not None:
            e.extension_id = 2
            e.extension = self.ps_bits
        if rng.random() < p.extra_fill:
            e.extra_fill_bytes = rng.randint(1, 20)
        e.decoded = decoded
        return e

    def extension_bits(self, pairs):
        """The dummy extension's payload: bits the decoder skips. Unless the preset asks for
        raw bits, the payload is made of the bit pairs 00, 01 and 11, so that a decoder that
        reads the skipped bits as further 2-bit extension ids never meets id 2 (parametric
        stereo), as faad does."""
        if self.p.raw_extension:
            return [self.rng.randint(0, 1) for _ in range(2 * pairs)]
        out = []
        for _ in range(pairs):
            out += self.rng.choice(([0, 0], [0, 1], [1, 1]))
        return out

    def next(self):
        """The element data of the next frame, as extension_payload() bits and the record."""
        header, changed = self.next_header()
        self.ps_bits = self.ps.next() if self.ps is not None else None
        for attempt in range(50):
            saved = copy.deepcopy((self.hist, self.rng.getstate()))
            e = self.make_frame(header, changed)
            bits = extension_payload(e)
            if len(bits) <= 8 * MAX_FILL_BYTES:
                break
            self.hist, state = saved
            self.rng.setstate(state)
            self.rng.random()        # another draw on the retry
        else:
            raise RuntimeError('no SBR frame fits in one fill element')
        self.frame += 1
        return bits, e
