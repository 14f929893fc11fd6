"""The test vector manifest, tests/vectors/manifest.txt, written by scripts/make-vectors. One
line per vector:

  name kind fs chn hdrPrsnt reference flags

kind is the input form (adts, adts_multi, adif, asc, heaac, raw); reference names the vector(s)
a re-wrapped one decodes bit-identically to ('a+b': two mono streams interleaved), '-' for
none; flags are the comparison rules of the conformance check, comma-separated, '-' for none."""

import pathlib

REPO_ROOT = pathlib.Path(__file__).resolve().parents[2]
VECTORS = REPO_ROOT / 'tests' / 'vectors'
NAME = 'manifest.txt'
COLUMNS = 'name kind fs chn hdrPrsnt reference flags'


class Vector:
    def __init__(self, line, base):
        f = line.split()
        self.name, self.kind = f[0], f[1]
        self.fs, self.chn, self.hdr = int(f[2]), int(f[3]), int(f[4])
        self.reference = f[5]
        self.refs = [] if f[5] == '-' else f[5].split('+')
        self.flags = frozenset() if f[6] == '-' else frozenset(f[6].split(','))
        self.path = pathlib.Path(base) / self.name


def read_manifest(base=VECTORS):
    base = pathlib.Path(base)
    return [Vector(l, base) for l in (base / NAME).read_text().splitlines()
            if l.strip() and not l.startswith('#')]


def write_manifest(base, rows, writer):
    """rows: (name, kind, fs, chn, hdrPrsnt, reference, flags) tuples."""
    with open(pathlib.Path(base) / NAME, 'w') as f:
        f.write(f'# Written by {writer}.\n# {COLUMNS}\n')
        for row in rows:
            f.write(' '.join(map(str, row)) + '\n')
