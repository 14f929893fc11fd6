"""Helpers shared by the end-to-end checks of the fxaac command: running programs (through an
emulator in cross builds), reading the test vector manifest and WAV files, and a minimal
ISO base media file walker for making variants of MP4 files."""

import pathlib
import shlex
import struct
import subprocess


class Runner:
    def __init__(self, emulator):
        self.prefix = shlex.split(emulator) if emulator else []

    def run(self, cmd, stdin=None, timeout=600):
        """Runs a target program; returns (exit status, stdout bytes, stderr text)."""
        r = subprocess.run(self.prefix + [str(c) for c in cmd], input=stdin,
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout)
        return r.returncode, r.stdout, r.stderr.decode(errors='replace')


class Vector:
    def __init__(self, line, base):
        f = line.split()
        self.name, self.kind = f[0], f[1]
        self.fs, self.chn, self.hdr = int(f[2]), int(f[3]), int(f[4])
        self.reference, self.flags = f[5], f[6].split(',')
        self.path = pathlib.Path(base) / self.name


def read_manifest(base):
    base = pathlib.Path(base)
    return [Vector(l, base) for l in (base / 'manifest.txt').read_text().splitlines()
            if l.strip() and not l.startswith('#')]


class Checks:
    """Tally of named cases: each passes, or fails with its problems printed."""

    def __init__(self):
        self.passed, self.failed = 0, 0

    def case(self, name, problems):
        if problems:
            self.failed += 1
            print(f'FAIL {name}: ' + '; '.join(problems))
        else:
            self.passed += 1
            print(f'ok   {name}')

    def summary(self):
        print(f'{self.passed} passed, {self.failed} failed')
        return 0 if self.failed == 0 else 1


def largest_difference(a, b):
    """Largest difference of two 16-bit little-endian sample strings, over the shorter one."""
    n = min(len(a), len(b)) // 2
    x, y = struct.unpack(f'<{n}h', a[:2 * n]), struct.unpack(f'<{n}h', b[:2 * n])
    return max((abs(p - q) for p, q in zip(x, y)), default=0)


class Wav:
    """A parsed RIFF/WAVE file: format fields, the size fields as written and the samples."""

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
                self.pcm = data[body:] if size == 0xffffffff else data[body:body + size]
                self.data_offset = body
                break
            pos = body + size + (size & 1)
        else:
            raise ValueError('no data chunk')
        if not self.fmt:
            raise ValueError('no fmt chunk')

    def samples24(self):
        p = self.pcm
        return [int.from_bytes(p[i:i + 3], 'little', signed=True) for i in range(0, len(p) - 2, 3)]


def parse_info(text):
    """The 'name  value' lines of fxaac info, as a dict."""
    out = {}
    for line in text.splitlines():
        key, _, value = line.partition('  ')
        out.setdefault(key.strip(), value.strip())
    return out


# ---- ISO base media file boxes ---------------------------------------------------------------

CONTAINERS = {b'moov', b'trak', b'mdia', b'minf', b'stbl', b'edts', b'dinf', b'udta'}


class Box:
    def __init__(self, kind, payload=b'', children=None):
        self.kind, self.payload, self.children = kind, payload, children

    def find(self, kind):
        for c in self.children or []:
            if c.kind == kind:
                return c
            found = c.find(kind)
            if found:
                return found
        return None


def parse_boxes(data):
    boxes, pos = [], 0
    while pos + 8 <= len(data):
        size, kind = struct.unpack('>I4s', data[pos:pos + 8])
        header = 8
        if size == 1:
            size, header = struct.unpack('>Q', data[pos + 8:pos + 16])[0], 16
        elif size == 0:
            size = len(data) - pos
        payload = data[pos + header:pos + size]
        boxes.append(Box(kind, payload, parse_boxes(payload) if kind in CONTAINERS else None))
        pos += size
    return boxes


def write_boxes(boxes, large=()):
    """Serialises boxes; types in large get 64-bit size fields."""
    out = b''
    for b in boxes:
        payload = write_boxes(b.children, large) if b.children is not None else b.payload
        if b.kind in large:
            out += struct.pack('>I4sQ', 1, b.kind, 16 + len(payload)) + payload
        else:
            out += struct.pack('>I4s', 8 + len(payload), b.kind) + payload
    return out
