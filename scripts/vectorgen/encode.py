"""Encoding with ffmpeg's native AAC encoder: AAC LC in ADTS, bit-exact mode (no encoder
version or metadata in the stream)."""

from fxaac_harness.reference import run_ffmpeg


def encode_adts(wav, out, bitrate, opts=(), seconds=None, ffmpeg='ffmpeg'):
    """Encodes wav (the first `seconds` of it, or all) to the ADTS file out; opts are further
    encoder options (e.g. ['-aac_pns', '0'])."""
    cut = ['-t', str(seconds)] if seconds is not None else []
    run_ffmpeg('-i', wav, *cut, '-c:a', 'aac', '-profile:a', 'aac_low', '-b:a', bitrate, *opts,
               '-fflags', '+bitexact', '-flags', '+bitexact', '-map_metadata', '-1',
               '-f', 'adts', out, ffmpeg=ffmpeg)
