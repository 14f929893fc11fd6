#!/usr/bin/env python3
"""Checks of the SBR test stream generator (scripts/sbrgen): every payload of every preset is
read back by a reader of its own (the syntax of ISO/IEC 14496-3 4.4.2.8 with the decoder's delta
decoding and history, written apart from the generator), which must find the values the
generator meant, within their ranges, with rising borders that join the previous frame's, and
a CRC that matches; and, where ffmpeg and faad are installed, a FIXFIX stream that both decode
at the doubled rate and within 2.5 LSB RMS of each other."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

REPO = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / 'scripts'))
from fxaac_harness.bits import BitReader  # noqa: E402
from sbrgen import freq_tables  # noqa: E402
from sbrgen.codebooks import book  # noqa: E402
from sbrgen.payload import TIME_SLOTS, Grid, sbr_crc  # noqa: E402
from sbrgen.random_frames import PRESETS, Generator  # noqa: E402


class Reader:
    """A decoder's view of one element's SBR payloads, frame after frame."""

    def __init__(self, fs, nch):
        self.fs, self.nch = fs, nch
        self.header = None
        self.env = [None] * nch          # (values, freq_res) of the last envelope
        self.noise = [None] * nch
        self.end = [TIME_SLOTS] * nch

    def read(self, bits):
        br = BitReader(bytes(int(''.join(map(str, bits[i:i + 8])), 2)
                             for i in range(0, len(bits), 8)))
        ext = br.read(4)
        assert ext in (13, 14)
        if ext == 14:
            crc = br.read(10)
            assert crc == sbr_crc(bits[14:]), 'CRC'
        if br.read(1):
            self.read_header(br)
        assert self.header is not None
        out = self.sbr_data(br)
        assert br.nbits - br.pos < 8 + 8 * 20 and not any(br.bits(br.pos, br.nbits)), 'fill bits'
        return out

    def read_header(self, br):
        h = dict(amp_res=br.read(1), start=br.read(4), stop=br.read(4), xover=br.read(3))
        br.read(2)
        x1, x2 = br.read(1), br.read(1)
        h.update(fscale=2, alter=1, nb=2)
        if x1:
            h.update(fscale=br.read(2), alter=br.read(1), nb=br.read(2))
        if x2:
            br.read(6)
        key = (h['start'], h['stop'], h['xover'], h['fscale'], h['alter'], h['nb'])
        if self.header is None or key != self.header[1] or h['amp_res'] != self.header[0]:
            self.env = [None] * self.nch         # history is not relied on across a change
            self.noise = [None] * self.nch
        self.header = (h['amp_res'], key)
        self.tab = freq_tables.tables(self.fs, *key)

    def grid(self, br, ch):
        c = br.read(2)
        g = Grid(c, 0, [])
        if c == 0:
            g.num_env = 1 << br.read(2)
            g.freq_res = [br.read(1)] * g.num_env
        else:
            if c in (2, 3):
                g.var_bord_0 = br.read(2)
            if c in (1, 3):
                g.var_bord_1 = br.read(2)
            n0 = br.read(2) if c in (2, 3) else 0
            n1 = br.read(2) if c in (1, 3) else 0
            g.rel_bord_0 = [2 * br.read(2) + 2 for _ in range(n0)]
            g.rel_bord_1 = [2 * br.read(2) + 2 for _ in range(n1)]
            g.num_env = n0 + n1 + 1
            g.pointer = br.read((g.num_env).bit_length())
            g.freq_res = [br.read(1) for _ in range(g.num_env)]
            if c == 1:
                g.freq_res.reverse()
        assert g.num_env <= 5
        t = g.borders()
        assert all(b > a for a, b in zip(t, t[1:])), f'borders {t}'
        assert t[0] == self.end[ch] - TIME_SLOTS, 'first border does not join the last frame'
        if g.num_env > 1:
            assert 0 < g.middle() < g.num_env
        self.end[ch] = t[-1]
        return g

    def values(self, br, kind, df, n, ref, amp_res, bal, start_bits):
        if df == 0:
            v = [br.read(start_bits)]
            for _ in range(n - 1):
                v.append(v[-1] + book('f_' + kind, amp_res, bal).decode(br))
            return v
        assert ref is not None and len(ref) == n, 'time delta without history'
        return [r + book('t_' + kind, amp_res, bal).decode(br) for r in ref]

    def envelope(self, br, ch, g, df, amp_res, bal):
        tab, out = self.tab, []
        lo, hi = ((0, 24) if amp_res == 0 else (0, 12)) if bal else (0, 127)
        for l, r in enumerate(g.freq_res):
            prev = self.env[ch]
            ref = None
            if prev is not None:
                vals, pr = prev
                if pr == r:
                    ref = vals
                elif r == 0:
                    ref = [vals[tab.high.index(f)] for f in tab.low[:-1]]
                else:
                    ref = [vals[max(i for i in range(tab.n_low) if tab.low[i] <= f)]
                           for f in tab.high[:-1]]
            v = self.values(br, 'env', df[l], tab.n_env(r), ref, amp_res, bal,
                            7 - amp_res - (1 if bal else 0))
            assert all(lo <= x <= hi for x in v), f'envelope value out of range: {v}'
            self.env[ch] = (v, r)
            out.append(v)
        return out

    def noise_floor(self, br, ch, g, df, bal):
        out = []
        for q in range(g.num_noise):
            v = self.values(br, 'noise', df[q], self.tab.n_noise, self.noise[ch], 1, bal, 5)
            assert all(0 <= x <= (12 if bal else 30) for x in v), f'noise out of range: {v}'
            self.noise[ch] = v
            out.append(v)
        return out

    def sbr_data(self, br):
        amp = self.header[0]
        if br.read(1):
            br.read(4 * self.nch)
        nq = self.tab.n_noise
        if self.nch == 1:
            g = self.grid(br, 0)
            a = 0 if g.frame_class == 0 and g.num_env == 1 else amp
            dfe, dfn = [br.read(1) for _ in range(g.num_env)], [br.read(1) for _ in range(g.num_noise)]
            br.read(2 * nq)
            dec = [(self.envelope(br, 0, g, dfe, a, False), self.noise_floor(br, 0, g, dfn, False))]
            coupled = False
        else:
            coupled = br.read(1)
            g0 = self.grid(br, 0)
            g1 = g0 if coupled else self.grid(br, 1)
            if coupled:
                self.end[1] = self.end[0]
            a = [0 if g.frame_class == 0 and g.num_env == 1 else amp for g in (g0, g1)]
            df = [([br.read(1) for _ in range(g.num_env)], [br.read(1) for _ in range(g.num_noise)])
                  for g in (g0, g1)]
            br.read(2 * nq * (1 if coupled else 2))
            if coupled:
                e0 = self.envelope(br, 0, g0, df[0][0], a[0], False)
                n0 = self.noise_floor(br, 0, g0, df[0][1], False)
                e1 = self.envelope(br, 1, g1, df[1][0], a[1], True)
                n1 = self.noise_floor(br, 1, g1, df[1][1], True)
            else:
                e0 = self.envelope(br, 0, g0, df[0][0], a[0], False)
                e1 = self.envelope(br, 1, g1, df[1][0], a[1], False)
                n0 = self.noise_floor(br, 0, g0, df[0][1], False)
                n1 = self.noise_floor(br, 1, g1, df[1][1], False)
            dec = [(e0, n0), (e1, n1)]
        for _ in range(self.nch):
            if br.read(1):
                br.read(self.tab.n_high)
        if br.read(1):
            size = br.read(4)
            if size == 15:
                size += br.read(8)
            ext = [br.read(1) for _ in range(8 * size)]
            assert ext[:2] != [1, 0], 'dummy extension with the parametric stereo id'
        return dec, coupled


class PayloadsReadBack(unittest.TestCase):
    def check(self, fs, nch, preset, seed, frames=60):
        gen, rd = Generator(fs, nch, PRESETS[preset], seed), Reader(fs, nch)
        last_balance = [False] * nch
        for f in range(frames):
            bits, e = gen.next()
            with self.subTest(preset=preset, fs=fs, nch=nch, seed=seed, frame=f):
                self.assertLessEqual(len(bits), 8 * 269)
                dec, coupled = rd.read(bits)
                self.assertEqual(dec, [tuple(d) for d in e.decoded])
                if nch == 2:
                    # time deltas on balance values only after a coupled frame
                    if coupled and not last_balance[1]:
                        self.assertEqual(e.channels[1].df_env[0], 0)
                    last_balance[1] = bool(coupled)

    def test_every_preset_mono_and_stereo(self):
        for name in PRESETS:
            if PRESETS[name].ampres_mix:
                continue                 # read here per channel, written per element
            for fs, nch, seed in ((44100, 1, 1), (48000, 2, 2), (32000, 2, 3), (64000, 1, 4)):
                self.check(fs, nch, name, seed)

    def test_presets_reach_their_paths(self):
        seen = set()
        for name in PRESETS:
            gen = Generator(44100, 2, PRESETS[name], 9)
            for _ in range(80):
                _, e = gen.next()
                seen |= {('class', c.grid.frame_class) for c in e.channels if c.grid}
                seen |= {('coupling', e.coupling), ('crc', e.crc)}
                seen |= {('dt', d) for c in e.channels for d in c.df_env + c.df_noise}
                seen |= {('sin', c.add_harmonic is not None) for c in e.channels}
                seen |= {('ext', e.extension is not None), ('hdr', e.header is not None)}
                seen |= {('ampres', a) for a in e.amp_res}
        for want in [('class', c) for c in range(4)] + [(k, v) for k in ('coupling', 'crc', 'dt', 'sin', 'ext', 'hdr') for v in (0, 1)] + [('ampres', 0), ('ampres', 1)]:
            self.assertIn(want, seen)


class Tables(unittest.TestCase):
    def test_band_tables_hold_their_rules(self):
        for fs in (32000, 44100, 48000, 64000):
            for key in [(s, p, x, fsc, a, nb) for s in range(16) for p in (0, 7, 13, 14, 15)
                        for x in (0, 2) for fsc in range(4) for a in (0, 1) for nb in range(4)]:
                try:
                    t = freq_tables.tables(fs, *key)
                except freq_tables.Invalid:
                    continue
                self.assertTrue(all(b > a for a, b in zip(t.master, t.master[1:])))
                self.assertEqual((t.high[0], t.high[-1]), (t.kx, t.k2))
                self.assertEqual(set(t.low) <= set(t.high), True)
                self.assertTrue(set(t.noise) <= set(t.low) and 1 <= t.n_noise <= 5)
                self.assertLessEqual(len(t.patches), 5)


@unittest.skipUnless(shutil.which('ffmpeg') and shutil.which('faad'), 'needs ffmpeg and faad')
class References(unittest.TestCase):
    def test_fixfix_stream_decodes_alike_in_both(self):
        from sbrgen import reference_check as rc
        with tempfile.TemporaryDirectory() as t:
            d = pathlib.Path(t)
            subprocess.run([sys.executable, str(REPO / 'scripts' / 'sbr-streams'), 'make', str(d),
                            '--only', 'fixfix_music_22k_s'], check=True, stdout=subprocess.DEVNULL)
            p = d / 'fixfix_music_22k_s.aac'
            ff, fa = rc.ffmpeg_decode(p), rc.faad_decode(p, d)
            self.assertTrue(ff.ok and fa.ok, ff.error + fa.error)
            self.assertEqual((ff.rate, fa.rate), (44100, 44100))
            self.assertEqual(ff.length % 2048, 0)
            c = rc.compare(ff, fa)
            self.assertEqual(c.lag, 2048)     # faad leaves out the first frame
            self.assertLess(c.rms, 2.5)


if __name__ == '__main__':
    unittest.main()
