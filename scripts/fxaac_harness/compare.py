"""Sample comparison: RMS and largest difference over the common length, and the PSNR that
the RMS gives against full scale."""

import math
from typing import NamedTuple

from .wav import s16


class Difference(NamedTuple):
    count: int          # samples compared (the shorter length)
    rms: float
    largest: float

    def psnr(self, full_scale=32768.0):
        """Peak signal to noise ratio in dB; infinite for identical samples."""
        return math.inf if self.rms == 0 else 20 * math.log10(full_scale / self.rms)


def compare(a, b):
    """Difference of two sample sequences (ints or floats) over the shorter one."""
    n = min(len(a), len(b))
    sq, mx = 0, 0
    for x, y in zip(a[:n], b[:n]):
        d = abs(x - y)
        sq += d * d
        if d > mx:
            mx = d
    return Difference(n, math.sqrt(sq / n) if n else 0.0, mx)


def largest_difference(a, b):
    """Largest difference of two 16-bit little-endian sample strings, over the shorter one."""
    return compare(s16(a), s16(b)).largest
