#!/usr/bin/env python3
"""Generate the SBR and PS tables of fxaac (src/sbr/sbr_tables.{h,cpp}).

Reads data/sbr_ps_tables.txt (the numbers of ISO/IEC 14496-3 that no formula
gives: the SBR and PS Huffman codebooks, the 640-tap QMF prototype window, the
HF adjuster's noise table and the start-frequency offsets) and writes

    src/sbr/sbr_tables.h     the declarations
    src/sbr/sbr_tables.cpp   the tables

Every codebook becomes a binary decoding tree of int8 node pairs (see the
header for the layout); the generator refuses a codebook that is not a
complete prefix code. The QMF window is stored in Q31 and the noise table in
Q15, both rounded to nearest (halves away from zero) and clamped to the
type's range.

Usage: gen_sbr_tables.py [--check]
    --check  regenerate into memory and exit with status 1 if the files in
             the tree differ from what this script would write.
"""
import collections
import fractions
import math
import sys

import tablegen

DATA = tablegen.ROOT / 'data' / 'sbr_ps_tables.txt'
HEADER = 'src/sbr/sbr_tables.h'
SOURCE = 'src/sbr/sbr_tables.cpp'

QMF_TAPS = 640
NOISE_ENTRIES = 512
START_ROWS = 6
START_COLUMNS = 16

# Codebook of the data file -> name of its decoding tree.
BOOKS = [
    ('sbr_t_env_1_5dB', 'kSbrTEnv15'),
    ('sbr_f_env_1_5dB', 'kSbrFEnv15'),
    ('sbr_t_env_bal_1_5dB', 'kSbrTEnvBal15'),
    ('sbr_f_env_bal_1_5dB', 'kSbrFEnvBal15'),
    ('sbr_t_env_3_0dB', 'kSbrTEnv30'),
    ('sbr_f_env_3_0dB', 'kSbrFEnv30'),
    ('sbr_t_env_bal_3_0dB', 'kSbrTEnvBal30'),
    ('sbr_f_env_bal_3_0dB', 'kSbrFEnvBal30'),
    ('sbr_t_noise_3_0dB', 'kSbrTNoise30'),
    ('sbr_t_noise_bal_3_0dB', 'kSbrTNoiseBal30'),
    ('ps_iid_def_f', 'kPsIidDefF'),
    ('ps_iid_def_t', 'kPsIidDefT'),
    ('ps_iid_fine_f', 'kPsIidFineF'),
    ('ps_iid_fine_t', 'kPsIidFineT'),
    ('ps_icc_f', 'kPsIccF'),
    ('ps_icc_t', 'kPsIccT'),
    ('ps_ipd_f', 'kPsIpdF'),
    ('ps_ipd_t', 'kPsIpdT'),
    ('ps_opd_f', 'kPsOpdF'),
    ('ps_opd_t', 'kPsOpdT'),
]

Book = collections.namedtuple('Book', 'lav codes')


def parse(path):
    """Return ({book: Book}, qmf[640], noise[512] of (re, im), start_offset[6][16])."""
    books, qmf, noise, start = {}, {}, {}, {}
    with open(path) as f:
        for line in f:
            t = line.split()
            if not t or t[0].startswith('#'):
                continue
            if t[0] == 'huff':
                books[t[1]] = Book(int(t[3]), [None] * int(t[2]))
            elif t[0] == 'hc':
                index, length, code = int(t[2]), int(t[3]), t[4]
                assert len(code) == length and set(code) <= {'0', '1'}, line
                assert books[t[1]].codes[index] is None, 'index given twice: ' + line
                books[t[1]].codes[index] = code
            elif t[0] == 'qmf':
                qmf[int(t[1])] = float(t[2])
            elif t[0] == 'noise':
                noise[int(t[1])] = (float(t[2]), float(t[3]))
            elif t[0] == 'start_offset':
                start[int(t[1])] = [int(x) for x in t[2:]]
    for name, book in books.items():
        assert None not in book.codes, '%s: missing entries' % name
    assert sorted(qmf) == list(range(QMF_TAPS))
    assert sorted(noise) == list(range(NOISE_ENTRIES))
    assert sorted(start) == list(range(START_ROWS))
    assert all(len(row) == START_COLUMNS for row in start.values())
    return (books, [qmf[i] for i in range(QMF_TAPS)], [noise[i] for i in range(NOISE_ENTRIES)],
            [start[r] for r in range(START_ROWS)])


def decoding_tree(name, codes):
    """Nodes [bit0, bit1] in breadth-first order, root 0; a child >= 0 is a
    node, a leaf holds -(index + 1). Fails unless the codes form a complete
    prefix code (every node has two children, Kraft sum exactly 1)."""
    assert sum(fractions.Fraction(1, 1 << len(c)) for c in codes) == 1, \
        '%s: Kraft sum is not 1' % name
    trie = {}      # prefix -> index for a codeword, None for an inner node
    for index, code in enumerate(codes):
        for n in range(len(code)):
            assert trie.setdefault(code[:n], None) is None, \
                '%s: a codeword is a prefix of %s' % (name, code)
        assert code not in trie, '%s: %s is a prefix of another codeword or twice' % (name, code)
        trie[code] = index
    inner = [p for p in sorted(trie, key=lambda p: (len(p), p)) if trie[p] is None]
    number = {p: i for i, p in enumerate(inner)}
    nodes = []
    for prefix in inner:
        pair = []
        for bit in '01':
            child = prefix + bit
            assert child in trie, '%s: code incomplete below %r' % (name, prefix)
            pair.append(number[child] if trie[child] is None else -(trie[child] + 1))
        nodes.append(tuple(pair))
    assert len(nodes) == len(codes) - 1 and len(nodes) <= 128 and len(codes) <= 128
    return nodes


def fixed(value, bits, lo, hi):
    """round(value * 2^bits), halves away from zero, clamped to [lo, hi]."""
    scaled = value * (1 << bits)
    rounded = int(math.floor(abs(scaled) + 0.5)) * (1 if scaled >= 0 else -1)
    return max(lo, min(hi, rounded))


HEADER_TEXT = '''\
// The SBR and PS tables of ISO/IEC 14496-3 that no formula gives.
#ifndef FXAAC_SBR_SBR_TABLES_H
#define FXAAC_SBR_SBR_TABLES_H

#include <cstdint>

namespace fxaac::sbr {

// A Huffman codebook as a binary decoding tree. The root is node 0; reading
// bit b at node i goes to nodes[i][b]: a value >= 0 is the next node, a value
// < 0 is a leaf holding the codebook index -(value + 1). The decoded delta is
// index - lav (lav 0 for the PS phase books: the index itself). Every code is
// complete, so every node has two children and a codeword of at most
// 20 bits ends at a leaf.
struct HuffmanTree {
    const int8_t (*nodes)[2];
    int16_t lav;
};

// SBR envelope and noise floor deltas (ISO/IEC 14496-3 4.A.6.1): in time (T)
// and frequency (F), 1.5 dB (15) and 3.0 dB (30) steps, balance (Bal) books
// for the second channel of a coupled pair. The frequency noise books are
// kSbrFEnv30 and kSbrFEnvBal30.
extern const HuffmanTree kSbrTEnv15, kSbrFEnv15, kSbrTEnvBal15, kSbrFEnvBal15;
extern const HuffmanTree kSbrTEnv30, kSbrFEnv30, kSbrTEnvBal30, kSbrFEnvBal30;
extern const HuffmanTree kSbrTNoise30, kSbrTNoiseBal30;

// Parametric stereo deltas (ISO/IEC 14496-3 8.B): IID (default and fine
// grid), ICC, IPD and OPD, in frequency (F) and time (T).
extern const HuffmanTree kPsIidDefF, kPsIidDefT, kPsIidFineF, kPsIidFineT;
extern const HuffmanTree kPsIccF, kPsIccT, kPsIpdF, kPsIpdT, kPsOpdF, kPsOpdT;

// The QMF prototype window c[i] of the analysis and synthesis banks in Q31
// (every |c| < 1).
extern const int32_t kQmfWindow[%(qmf)d];

// The HF adjuster's noise table V(i): re, im in Q15.
extern const int16_t kSbrNoise[%(noise)d][2];

// Start-frequency offsets: k0 = startMin + kStartOffset[row][bs_start_freq],
// rows by the SBR rate fs_sbr: 16000, 22050, 24000, 32000, 44100 to 64000,
// above 64000 Hz.
extern const int8_t kStartOffset[%(rows)d][%(columns)d];

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_TABLES_H
''' % {'qmf': QMF_TAPS, 'noise': NOISE_ENTRIES, 'rows': START_ROWS, 'columns': START_COLUMNS}


def render_source(books, qmf, noise, start):
    out = ['']
    for file_name, name in BOOKS:
        book = books[file_name]
        nodes = decoding_tree(file_name, book.codes)
        longest = max(len(c) for c in book.codes)
        out.append('// %s: %d entries, lav %d, codewords of %d to %d bits' %
                   (file_name, len(book.codes), book.lav, min(len(c) for c in book.codes), longest))
        out.append('static const int8_t %sNodes[%d][2] = {' % (name, len(nodes)))
        out += tablegen.wrap(['{%d, %d}' % pair for pair in nodes])
        out.append('};')
        out.append('const HuffmanTree %s = {%sNodes, %d};' % (name, name, book.lav))
        out.append('')
    window = [fixed(c, 31, -(1 << 31), (1 << 31) - 1) for c in qmf]
    out += tablegen.c_array('const int32_t', 'kQmfWindow', window)
    out.append('')
    pairs = [(fixed(re, 15, -32768, 32767), fixed(im, 15, -32768, 32767)) for re, im in noise]
    out.append('const int16_t kSbrNoise[%d][2] = {' % NOISE_ENTRIES)
    out += tablegen.wrap(['{%d, %d}' % p for p in pairs])
    out.extend(['};', ''])
    out.append('const int8_t kStartOffset[%d][%d] = {' % (START_ROWS, START_COLUMNS))
    for row in start:
        out.append('    {%s},' % ', '.join(str(x) for x in row))
    out.append('};')
    return tablegen.cpp_file(__file__, 'sbr/sbr_tables.h', out, source='data/sbr_ps_tables.txt',
                             namespace='fxaac::sbr')


def generate():
    books, qmf, noise, start = parse(DATA)
    assert sorted(books) == sorted(b for b, _ in BOOKS)
    return {HEADER: HEADER_TEXT, SOURCE: render_source(books, qmf, noise, start)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
