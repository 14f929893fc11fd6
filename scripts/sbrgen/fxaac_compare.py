"""fxaac's decode of the HE-AAC test streams against both references (ffmpeg's floating-point
decoder and faad), with the accuracy bounds the decoder is held to.

Alignment is fixed, not searched: fxaac and ffmpeg output every frame from the first, so
fxaac's sample i is ffmpeg's sample i; faad leaves out the first frame's output, so faad's
sample i is the others' sample i + one frame (2048 at the doubled rate, 1024 at the core rate).
Mono: ffmpeg and faad write two channels (ffmpeg allows for parametric stereo); channel 0 is
compared and channel 1 must equal it.

Bounds (16-bit LSB): where the references agree (ffmpeg against faad within AGREE_RMS), fxaac
against ffmpeg must keep RMS <= max(RMS_FLOOR, FACTOR x faad's RMS against ffmpeg) and its
largest difference <= max(MAX_FLOOR, FACTOR x faad's largest), at the same rate and length as
ffmpeg. Where they disagree the stream gets no verdict on accuracy.

The project's own forms (asc, heaac, raw) have no reader in either reference: they must decode
bit-identically to fxaac's decode of the ADTS stream whose blocks they carry. The other derived
forms (ADIF, MP4, LATM) are compared with the references that read them (ffmpeg reads no ADIF,
faad no LATM) and, the blocks being the same, must also equal the ADTS decode."""

import math
import pathlib
import shlex
import subprocess
import tempfile
from typing import NamedTuple, Optional

from fxaac_harness.wav import Wav
from sbrgen.reference_check import Decode, faad_decode, ffmpeg_decode

AGREE_RMS = 2.0
RMS_FLOOR = 2.5
MAX_FLOOR = 64
FACTOR = 1.5
OWN_FORMS = ('asc', 'heaac', 'raw')


def fxaac_decode(path, fxaac, extra=(), emulator=''):
    """fxaac decode to a 16-bit WAV on standard output (extra: more options)."""
    cmd = shlex.split(emulator) + [str(fxaac), 'decode', '-q', str(path), '-o', '-'] + list(extra)
    r = subprocess.run(cmd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                       stderr=subprocess.PIPE, timeout=600)
    msg = r.stderr.decode(errors='replace').strip()
    try:
        w = Wav(r.stdout)
    except ValueError as e:
        return Decode(False, error=f'fxaac: exit {r.returncode}: {msg[:120] or e}')
    s = w.samples16()
    chans = [s[c::w.channels] for c in range(w.channels)]
    return Decode(r.returncode == 0, w.rate, w.channels, chans,
                  f'fxaac: exit {r.returncode}: {msg[:120]}' if r.returncode else '')


FRAME = 1024                         # core samples per frame

class Stats(NamedTuple):
    count: int        # samples per channel compared
    rms: float
    largest: int


def difference(a, b, lag, chans, skip=0):
    """a against b over their first chans channels: a[c][i + lag] with b[c][i], from a's
    sample skip on."""
    sq, mx, n = 0, 0, 0
    for c in range(chans):
        x, y = a[c], b[c]
        lo, hi = max(0, -lag, skip - lag), min(len(y), len(x) - lag)
        for p, q in zip(x[lo + lag:hi + lag], y[lo:hi]):
            d = p - q if p > q else q - p
            sq += d * d
            if d > mx:
                mx = d
        n = max(n, hi - lo)
    total = n * chans
    return Stats(n, math.sqrt(sq / total) if total else math.nan, mx)


def dual_mono_fault(dec, chn, who, ps=False):
    """A complaint when a mono stream written as two channels has two different ones (unless
    parametric stereo makes it stereo)."""
    if chn == 1 and not ps and dec.channels == 2 and list(dec.samples[0]) != list(dec.samples[1]):
        return f'{who}: channel 1 differs from channel 0'
    return ''


def bounds(yard):
    """The (RMS, largest) fxaac may reach against ffmpeg, given faad's against ffmpeg."""
    return max(RMS_FLOOR, FACTOR * yard.rms), max(MAX_FLOOR, FACTOR * yard.largest)


class Result(NamedTuple):
    name: str
    kind: str
    signalling: str
    core_rate: int
    fx: Decode
    ff: Optional[Decode]
    fa: Optional[Decode]
    fx_ff: Optional[Stats]
    fx_fa: Optional[Stats]
    ff_fa: Optional[Stats]
    verdict: str
    notes: list


def accuracy_verdict(fx, ff, fa, fx_ff, ff_fa, core_rate, notes):
    """'pass', 'FAIL ...' or 'refs disagree ...' for a stream both references could read."""
    if ff is None or not ff.samples:
        return 'no ffmpeg decode'
    fails = []
    if fx.rate != ff.rate or fx.rate != 2 * core_rate:
        fails.append(f'rate {fx.rate}')
    if fx.length != ff.length:
        fails.append(f'length {fx.length} vs {ff.length}')
    if fa is None or not fa.samples:
        return 'FAIL ' + ', '.join(fails) if fails else 'no faad decode'
    if fa.rate != ff.rate:
        why = f'refs disagree (faad at {fa.rate} Hz)'
    elif ff_fa is None or ff_fa.rms > AGREE_RMS:
        why = 'refs disagree'
    else:
        rms_bound, max_bound = bounds(ff_fa)
        if fx_ff.rms > rms_bound:
            fails.append(f'rms {fx_ff.rms:.2f} > {rms_bound:.2f}')
        if fx_ff.largest > max_bound:
            fails.append(f'max {fx_ff.largest} > {max_bound:g}')
        why = 'pass'
    return 'FAIL ' + ', '.join(fails) if fails else why


def compare_stream(d, row, fxaac, emulator='', adts_results=None, tmp=None):
    """The Result of one manifest row (name kind signalling core_rate channels preset seed
    reference). adts_results maps the ADTS streams compared so far to their Results: a derived
    form must decode like its ADTS stream, and where one reference cannot read the form, the
    ADTS stream's yardstick (the same blocks) stands in."""
    name, kind, sgn, rate, chn, preset, _, ref = row
    rate, chn = int(rate), int(chn)
    ps = preset.startswith('ps_')
    out_chn = 2 if ps else chn       # parametric stereo: a mono core decodes to stereo
    # Parametric stereo fades in over the first envelope, and faad's first frames of it differ
    # from ffmpeg's and fxaac's: its streams are compared from the third frame on.
    skip = 2 * 2 * FRAME if ps else 0
    path = d / name
    adts_results = {} if adts_results is None else adts_results
    extra = ['--raw', '--rate', str(rate), '--channels', str(chn)] if kind == 'raw' else []
    fx = fxaac_decode(path, fxaac, extra, emulator)
    notes = [fx.error] if fx.error else []
    same, base = None, adts_results.get(ref)
    if ref != '-':
        base_fx = base.fx if base else fxaac_decode(d / ref, fxaac, (), emulator)
        same = bool(fx.samples) and bool(base_fx.samples) and fx.rate == base_fx.rate and \
            [list(c) for c in fx.samples] == [list(c) for c in base_fx.samples]
        if not same:
            notes.append(f'fxaac decodes it unlike {ref}')
    if kind in OWN_FORMS:
        verdict = '= adts' if same else 'FAIL: differs from adts'
        return Result(name, kind, sgn, rate, fx, None, None, None, None, None, verdict, notes)
    ff = ffmpeg_decode(path)
    fa = faad_decode(path, tmp)
    for who, dec in (('ffmpeg', ff), ('faad', fa)):
        if dec.error:
            notes.append(dec.error)
        fault = dual_mono_fault(dec, chn, who, ps) if dec.samples else ''
        if fault:
            notes.append(fault)
        if ps and dec.samples and dec.channels != 2:
            notes.append(f'{who}: {dec.channels} channel(s) for parametric stereo')
    fx_ff = fx_fa = ff_fa = None
    if fx.samples and ff.samples:
        fx_ff = difference(fx.samples, ff.samples, 0, min(out_chn, fx.channels, ff.channels), skip)
    if fa.samples and fa.rate:
        lag = 2048 if fa.rate == 2 * rate else 1024      # faad's missing first frame
        if fx.samples and fx.rate == fa.rate:
            fx_fa = difference(fx.samples, fa.samples, lag, min(out_chn, fx.channels, fa.channels),
                               skip)
        if ff.samples and ff.rate == fa.rate:
            ff_fa = difference(ff.samples, fa.samples, lag, min(out_chn, ff.channels, fa.channels),
                               skip)
    if ff.samples and fa.samples:
        verdict = accuracy_verdict(fx, ff, fa, fx_ff, ff_fa, rate, notes)
    elif ff.samples and base is not None and base.fa is not None:
        verdict = accuracy_verdict(fx, ff, base.fa, fx_ff, base.ff_fa, rate, notes)
        verdict += ' (yardstick of the ADTS form)'
    elif ref != '-':
        verdict = '= adts' + (' (ffmpeg reads no ADIF)' if kind == 'adif' else '')
    else:
        verdict = accuracy_verdict(fx, ff, fa, fx_ff, ff_fa, rate, notes)
    if same is False:
        verdict = 'FAIL: differs from adts; ' + verdict
    r = Result(name, kind, sgn, rate, fx, ff, fa, fx_ff, fx_fa, ff_fa, verdict, notes)
    if ref == '-':
        adts_results[name] = r
    return r


def _dec_col(dec):
    if dec is None:
        return f'{"":>6} {"":>6}'
    if not dec.samples:
        return f'{"ERR":>6} {"-":>6}'
    return f'{dec.rate:>6} {dec.length:>6}'


def _stats_col(s):
    return f'{"-":>6} {"-":>5}' if s is None else f'{s.rms:>6.2f} {s.largest:>5}'


HEADER = (f'{"stream":<40} {"kind":<5} {"sig":<8} | {"fxaac":>6} {"len":>6} | {"ffmpeg":>6} '
          f'{"len":>6} | {"faad":>6} {"len":>6} | {"fx-ff":>6} {"max":>5} | {"fx-fa":>6} '
          f'{"max":>5} | {"ff-fa":>6} {"max":>5} | verdict')


def row_text(r):
    return (f'{r.name:<40} {r.kind:<5} {r.signalling:<8} | {_dec_col(r.fx)} | {_dec_col(r.ff)} | '
            f'{_dec_col(r.fa)} | {_stats_col(r.fx_ff)} | {_stats_col(r.fx_fa)} | '
            f'{_stats_col(r.ff_fa)} | {r.verdict}')


def compare_all(d, rows, fxaac, emulator='', only=()):
    """Prints the table of every row (or those named in only) and returns the Results."""
    print('fxaac against ffmpeg (fx-ff, same timing) and faad (fx-fa), ffmpeg against faad '
          '(ff-fa): RMS and largest difference in 16-bit LSB; len: samples per channel '
          '(faad without the first frame: compared at a fixed lag of one frame)')
    print(HEADER)
    out, cache = [], {}
    with tempfile.TemporaryDirectory() as t:
        tmp = pathlib.Path(t)
        for row in rows:
            if only and row[0] not in only and row[7] not in only:
                continue
            r = compare_stream(d, row, fxaac, emulator, cache, tmp)
            out.append(r)
            print(row_text(r), flush=True)
    for r in out:
        for n in r.notes:
            print(f'  {r.name}: {n}')
    tally = {}
    for r in out:
        key = r.verdict.split(' ')[0].rstrip(':')
        tally[key] = tally.get(key, 0) + 1
    print('verdicts: ' + ', '.join(f'{k} {v}' for k, v in sorted(tally.items())))
    return out
