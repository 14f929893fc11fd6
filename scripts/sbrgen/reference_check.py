"""Both reference decoders on one HE-AAC stream, as black boxes: ffmpeg (-f wav, its native
decoder) and faad (-o out.wav). Each result tells whether the decode succeeded, its rate,
channels and length; the two outputs are then aligned (faad leaves out the first frame's
output, and the two may start the SBR output at different delays) and compared in 16-bit LSB."""

import math
import subprocess
from typing import NamedTuple, Optional

from fxaac_harness.reference import FFMPEG_QUIET
from fxaac_harness.wav import Wav


class Decode(NamedTuple):
    ok: bool
    rate: int = 0
    channels: int = 0
    samples: Optional[list] = None   # per channel
    error: str = ''

    @property
    def length(self):
        return len(self.samples[0]) if self.samples else 0


def _wav_decode(cmd, wav_bytes_of, what):
    try:
        r = subprocess.run(cmd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                           stderr=subprocess.PIPE, timeout=300)
    except subprocess.TimeoutExpired:
        return Decode(False, error=f'{what}: timeout')
    msg = (r.stderr or b'').decode(errors='replace').strip()
    data = wav_bytes_of(r)
    if r.returncode or not data:
        return Decode(False, error=f'{what}: ' + (msg.splitlines() or ['failed'])[-1][:120])
    try:
        w = Wav(data)
    except ValueError as e:
        return Decode(False, error=f'{what}: {e}')
    s = w.samples16()
    chans = [s[c::w.channels] for c in range(w.channels)]
    # a decoder's complaints on standard error count as an error even when it goes on
    bad = [l for l in msg.splitlines() if l.strip()]
    return Decode(not bad, w.rate, w.channels, chans, bad[0][:120] if bad else '')


def ffmpeg_decode(path, ffmpeg='ffmpeg'):
    cmd = [ffmpeg] + FFMPEG_QUIET + ['-i', str(path), '-f', 'wav', '-c:a', 'pcm_s16le', '-']
    return _wav_decode(cmd, lambda r: r.stdout, 'ffmpeg')


def faad_decode(path, tmp, faad='faad'):
    out = tmp / 'faad_out.wav'
    if out.exists():
        out.unlink()
    cmd = [faad, '-q', '-b', '1', '-o', str(out), str(path)]
    return _wav_decode(cmd, lambda r: out.read_bytes() if out.exists() else b'', 'faad')


def _sq(a, b, lag, start, n):
    """Sum of squared differences of a[i + lag] and b[i] for i in start..start+n-1."""
    return sum((x - y) ** 2 for x, y in zip(a[start + lag:start + lag + n], b[start:start + n]))


def best_lag(a, b, span=4608, window=4096):
    """The lag L (in samples) that best matches a[i + L] with b[i]: a coarse search in steps of
    32 over -span..span on a window of the middle, refined sample by sample."""
    start = max(span, len(b) // 2 - window // 2)
    n = min(window, len(b) - start, len(a) - start - span)
    if n <= 256:
        return 0
    coarse = sorted(range(-span, span + 1, 32), key=lambda L: _sq(a, b, L, start, n // 4))[:3]
    cands = {L + d for L in coarse for d in range(-32, 33) if -span <= L + d <= span}
    return min(sorted(cands), key=lambda L: _sq(a, b, L, start, n))


class Comparison(NamedTuple):
    lag: int                         # ffmpeg's sample i + lag is faad's sample i
    count: int                       # samples per channel compared
    rms: float
    largest: int


def compare(ff, fa):
    """ffmpeg against faad over all channels (faad's mono written as two equal channels is
    compared on its first)."""
    chans = min(ff.channels, fa.channels)
    lag = best_lag(ff.samples[0], fa.samples[0])
    sq, mx, cnt = 0, 0, 0
    for c in range(chans):
        a, b = ff.samples[c], fa.samples[c]
        lo = max(0, -lag)
        hi = min(len(b), len(a) - lag)
        for x, y in zip(a[lo + lag:hi + lag], b[lo:hi]):
            d = abs(x - y)
            sq += d * d
            mx = max(mx, d)
        cnt = max(cnt, hi - lo)
    total = cnt * chans
    return Comparison(lag, cnt, math.sqrt(sq / total) if total else math.nan, mx)
