"""The reference decoders, run as black boxes: ffmpeg's AAC decoder and faad, both to raw
little-endian PCM, 16-bit ('s16') or 32-bit float ('f32'). ffmpeg also makes the test streams.

Alignment: ffmpeg outputs every raw data block, the encoder's priming block included, so its
sample i is ours; faad leaves out the first block's output (FAAD_SKIP samples per channel) and
writes mono as two equal channels (the left one is kept here)."""

import subprocess

from .wav import f32, keep_first_of_pairs, s16

FAAD_SKIP = 1024
FFMPEG_QUIET = ['-nostdin', '-hide_banner', '-loglevel', 'error']
FAAD_BITS = {'s16': '1', 'f32': '4'}
SAMPLES = {'s16': s16, 'f32': f32}


def _tail(r):
    return (r.stderr or r.stdout or b'').decode(errors='replace').strip()[-300:]


def run_ffmpeg(*args, ffmpeg='ffmpeg', timeout=600, check=True):
    """ffmpeg quietly, overwriting its outputs; returns its standard output. A failure raises
    RuntimeError with the end of its message unless check is false."""
    r = subprocess.run([ffmpeg or 'ffmpeg'] + FFMPEG_QUIET + ['-y'] + [str(a) for a in args],
                       stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                       timeout=timeout)
    if check and r.returncode:
        raise RuntimeError('ffmpeg: ' + _tail(r))
    return r.stdout


def ffmpeg_pcm(path, fmt='s16', decoder=None, ffmpeg='ffmpeg', check=True):
    """ffmpeg's decode of path as raw PCM bytes; decoder names ffmpeg's decoder (e.g. 'aac',
    its floating-point AAC decoder), None lets ffmpeg choose."""
    forced = ['-c:a', decoder] if decoder else []
    return run_ffmpeg(*forced, '-i', path, '-f', f'{fmt}le', '-c:a', f'pcm_{fmt}le', '-',
                      ffmpeg=ffmpeg, check=check)


def ffmpeg_samples(path, fmt='s16', decoder=None, ffmpeg='ffmpeg'):
    """ffmpeg_pcm as an array of samples."""
    return SAMPLES[fmt](ffmpeg_pcm(path, fmt, decoder, ffmpeg))


def faad_pcm(path, out, fmt='s16', channels=None, faad='faad', check=True):
    """faad's decode of path as raw PCM bytes (written through the file out); with channels 1
    the left of faad's two equal channels. A failure raises RuntimeError, or gives None
    unless check."""
    r = subprocess.run([faad or 'faad', '-q', '-f', '2', '-b', FAAD_BITS[fmt], '-o', str(out),
                        str(path)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                       stderr=subprocess.PIPE, timeout=600)
    if r.returncode or not out.exists():
        if check:
            raise RuntimeError('faad: ' + _tail(r))
        return None
    raw = out.read_bytes()
    if channels == 1:
        raw = keep_first_of_pairs(SAMPLES[fmt](raw)).tobytes()
    return raw


def faad_samples(path, out, fmt='s16', channels=None, faad='faad'):
    """faad_pcm as an array of samples."""
    return SAMPLES[fmt](faad_pcm(path, out, fmt, channels, faad))
