"""The SBR frequency band tables of a header (ISO/IEC 14496-3 4.6.18.3.2): the master table,
f_TableHigh, f_TableLow, the noise floor bands and the patches, in QMF subbands at the SBR
output rate fs_sbr. The generator needs the band counts (N_high, N_low, N_Q) to write the
envelopes and noise floors, and the checks below to send only headers that a decoder accepts."""

import math
from typing import NamedTuple

from .codebooks import TABLES


class Invalid(ValueError):
    """A header whose tables break a rule of the standard."""


def _start_offsets(path=TABLES):
    rows = {}
    for line in open(path):
        f = line.split()
        if f and f[0] == 'start_offset':
            rows[int(f[1])] = [int(x) for x in f[2:]]
    return rows


START_OFFSET = _start_offsets()


def nint(x):
    """NINT of the standard: the nearest integer, halves rounded up."""
    return math.floor(x + 0.5)


def offset_row(fs):
    if fs <= 16000:
        return 0
    if fs <= 22050:
        return 1
    if fs <= 24000:
        return 2
    if fs <= 32000:
        return 3
    if fs <= 64000:
        return 4
    return 5


def k0_of(fs, start_freq):
    scale = 3000 if fs < 32000 else 4000 if fs < 64000 else 5000
    return nint(scale * 128 / fs) + START_OFFSET[offset_row(fs)][start_freq]


def k2_of(fs, k0, stop_freq):
    if stop_freq == 14:
        return min(64, 2 * k0)
    if stop_freq == 15:
        return min(64, 3 * k0)
    scale = 6000 if fs < 32000 else 8000 if fs < 64000 else 10000
    stop_min = nint(scale * 128 / fs)
    dk = sorted(nint(stop_min * (64 / stop_min) ** ((p + 1) / 13))
                - nint(stop_min * (64 / stop_min) ** (p / 13)) for p in range(13))
    return min(64, stop_min + sum(dk[:stop_freq]))


def _widths(k_lo, k_hi, n):
    return sorted(nint(k_lo * (k_hi / k_lo) ** ((k + 1) / n)) - nint(k_lo * (k_hi / k_lo) ** (k / n))
                  for k in range(n))


def master_table(k0, k2, freq_scale, alter_scale):
    if freq_scale == 0:
        dk = 2 if alter_scale else 1
        n = 2 * nint((k2 - k0) / 4) if alter_scale else 2 * ((k2 - k0) // 2)
        if n <= 0:
            raise Invalid('no master bands')
        widths = [dk] * n
        diff = k2 - (k0 + n * dk)
        k, incr = (0, 1) if diff < 0 else (n - 1, -1)
        while diff:
            widths[k] -= incr
            k += incr
            diff += incr
    else:
        bands = (12, 10, 8)[freq_scale - 1]
        warp = 1.3 if alter_scale else 1.0
        two = k2 / k0 > 2.2449
        k1 = 2 * k0 if two else k2
        n0 = 2 * nint(bands * math.log2(k1 / k0) / 2)
        if n0 <= 0:
            raise Invalid('no bands in the first region')
        widths = _widths(k0, k1, n0)
        if two:
            n1 = 2 * nint(bands * math.log2(k2 / k1) / (2 * warp))
            if n1 <= 0:
                raise Invalid('no bands in the second region')
            w1 = _widths(k1, k2, n1)
            if w1[0] < widths[-1]:
                change = min(widths[-1] - w1[0], (w1[-1] - w1[0]) // 2)
                w1[0] += change
                w1[-1] -= change
                w1.sort()
            widths = widths + w1
    if min(widths) <= 0:
        raise Invalid('master band of no width')
    table = [k0]
    for w in widths:
        table.append(table[-1] + w)
    return table


def patches(master, k0, kx, m, fs):
    """patchNumSubbands of the HF generator's patch construction (4.6.18.6.3)."""
    goal = nint(2.048e6 / fs)
    n_master = len(master) - 1
    if goal < kx + m:
        k = 0
        while master[k] < goal:
            k += 1
    else:
        k = n_master
    msb, usb, out = k0, kx, []
    for _ in range(64):
        j = k + 1
        while True:
            j -= 1
            sb = master[j]
            odd = (sb - 2 + k0) % 2
            if sb <= k0 - 1 + msb - odd:
                break
        n = max(sb - usb, 0)
        if n > 0:
            out.append(n)
            usb = msb = sb
        else:
            msb = kx
        if master[k] - sb < 3:
            k = n_master
        if sb == kx + m:
            break
    else:
        raise Invalid('patch construction does not end')
    if len(out) > 1 and out[-1] < 3:
        out.pop()
    return out


class Tables(NamedTuple):
    k0: int
    k2: int
    kx: int
    m: int
    master: list
    high: list
    low: list
    noise: list
    patches: list

    @property
    def n_high(self):
        return len(self.high) - 1

    @property
    def n_low(self):
        return len(self.low) - 1

    @property
    def n_noise(self):
        return len(self.noise) - 1

    def n_env(self, freq_res):
        return self.n_high if freq_res else self.n_low


def tables(fs, start_freq, stop_freq, xover_band, freq_scale, alter_scale, noise_bands):
    """The tables of a header at the SBR output rate fs; Invalid when a decoder must refuse it."""
    k0 = k0_of(fs, start_freq)
    k2 = k2_of(fs, k0, stop_freq)
    if k2 <= k0:
        raise Invalid('stop frequency at or below the start')
    limit = 48 if fs <= 32000 else 35 if fs <= 44100 else 32
    if k2 - k0 > limit:
        raise Invalid('band of more subbands than the rate allows')
    master = master_table(k0, k2, freq_scale, alter_scale)
    if xover_band >= len(master) - 1:
        raise Invalid('crossover band beyond the master table')
    high = master[xover_band:]
    kx, m = high[0], high[-1] - high[0]
    if kx > 32 or m > 48 or kx + m > 64:
        raise Invalid('SBR range beyond the QMF bank')
    n_high = len(high) - 1
    n_low = (n_high + 1) // 2
    low = [high[0]] + [high[2 * k - (n_high % 2)] for k in range(1, n_low + 1)]
    n_q = 1 if noise_bands == 0 else max(1, nint(noise_bands * math.log2(k2 / kx)))
    if n_q > 5:
        raise Invalid('more than 5 noise bands')
    idx, noise = 0, [low[0]]
    for k in range(1, n_q + 1):
        idx += (n_low - idx) // (n_q + 1 - k)
        noise.append(low[idx])
    if len(set(noise)) != len(noise):
        raise Invalid('noise band of no width')
    pt = patches(master, k0, kx, m, fs)
    if len(pt) > 5:
        raise Invalid('more than 5 patches')
    return Tables(k0, k2, kx, m, master, high, low, noise, pt)
