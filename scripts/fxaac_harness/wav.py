"""RIFF/WAVE files and 16-bit, 24-bit and float sample strings (little-endian)."""

import array
import struct
import sys
import wave


def _array(code, raw):
    a = array.array(code)
    a.frombytes(raw[:len(raw) - len(raw) % a.itemsize])
    if sys.byteorder == 'big':
        a.byteswap()
    return a


def s16(raw):
    """16-bit little-endian samples as an array('h')."""
    return _array('h', raw)


def f32(raw):
    """32-bit little-endian floats as an array('f')."""
    return _array('f', raw)


def keep_first_of_pairs(samples):
    """The left channel of a stereo array, for decoders that write mono as two equal channels."""
    return samples[0::2]


def interleave(parts):
    """Joins single-channel arrays into one interleaved array, as long as the shortest."""
    n = min(len(p) for p in parts)
    out = array.array(parts[0].typecode, bytes(parts[0].itemsize * n * len(parts)))
    for c, p in enumerate(parts):
        out[c::len(parts)] = p[:n]
    return out


class Wav:
    """A parsed RIFF/WAVE file: the format fields, the size fields as written and the samples.
    pcm is the data chunk as its size says (to the end when the size is the 0xffffffff
    placeholder), payload everything after the data chunk's header."""

    def __init__(self, data):
        if len(data) < 12 or data[:4] != b'RIFF' or data[8:12] != b'WAVE':
            raise ValueError('not a RIFF/WAVE file')
        self.riff_size = struct.unpack('<I', data[4:8])[0]
        self.file_size = len(data)
        self.fmt = None
        pos = 12
        while pos + 8 <= len(data):
            tag, size = data[pos:pos + 4], struct.unpack('<I', data[pos + 4:pos + 8])[0]
            body = pos + 8
            if tag == b'fmt ':
                (self.format, self.channels, self.rate, self.byte_rate, self.block_align,
                 self.bits) = struct.unpack('<HHIIHH', data[body:body + 16])
                self.fmt = True
            elif tag == b'data':
                self.data_size = size
                self.payload = data[body:]
                self.pcm = self.payload if size == 0xffffffff else data[body:body + size]
                self.data_offset = body
                break
            pos = body + size + (size & 1)
        else:
            raise ValueError('no data chunk')
        if not self.fmt:
            raise ValueError('no fmt chunk')

    @classmethod
    def load(cls, path):
        """The WAV file at path, or None when it is missing or not one."""
        try:
            return cls(open(path, 'rb').read())
        except (OSError, ValueError):
            return None

    def samples16(self):
        return s16(self.pcm)

    def samples24(self):
        p = self.pcm
        return [int.from_bytes(p[i:i + 3], 'little', signed=True) for i in range(0, len(p) - 2, 3)]


def write_wav16(path, rate, chans):
    """A 16-bit WAV file of per-channel sample lists in [-1, 1] (values beyond are clipped)."""
    frames = bytearray()
    for samples in zip(*chans):
        for x in samples:
            frames += struct.pack('<h', max(-32768, min(32767, int(round(x * 32768.0)))))
    with wave.open(str(path), 'wb') as w:
        w.setnchannels(len(chans))
        w.setsampwidth(2)
        w.setframerate(rate)
        w.writeframes(bytes(frames))
