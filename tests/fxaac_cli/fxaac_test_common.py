"""Helpers shared by the end-to-end checks of the fxaac command: running programs (through an
emulator in cross builds), a tally of cases, and a minimal ISO base media file walker for
making variants of MP4 files. The test vector manifest, WAV files, ADTS frames, reference
decoders and sample comparison come from scripts/fxaac_harness (re-exported here)."""

import pathlib
import shlex
import struct
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / 'scripts'))
from fxaac_harness import adts, reference  # noqa: E402,F401
from fxaac_harness.compare import compare, largest_difference  # noqa: E402,F401
from fxaac_harness.manifest import Vector, read_manifest  # noqa: E402,F401
from fxaac_harness.wav import Wav  # noqa: E402,F401


class Runner:
    def __init__(self, emulator):
        self.prefix = shlex.split(emulator) if emulator else []

    def run(self, cmd, stdin=None, timeout=600):
        """Runs a target program; returns (exit status, stdout bytes, stderr text)."""
        r = subprocess.run(self.prefix + [str(c) for c in cmd], input=stdin,
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout)
        return r.returncode, r.stdout, r.stderr.decode(errors='replace')


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
