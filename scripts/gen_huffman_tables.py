#!/usr/bin/env python3
"""Generate fxaac's Huffman codebook tables and scale factor band tables.

Reads data/aac_tables.txt (the codebooks of ISO/IEC 14496-3 Tables 4.A.1 to
4.A.12 and its swb_offset tables) and writes

    src/syntax/huffman_tables.cpp   spectral and scalefactor codebooks
    src/syntax/band_tables.cpp      scale factor band offsets

in the packed layouts declared by src/syntax/huffman_tables.h and
src/syntax/band_tables.h.

Usage: gen_huffman_tables.py [--check]
    --check  regenerate into memory and exit with status 1 if the files in
             the tree differ from what this script would write.
"""
import collections
import sys

import tablegen

DATA = tablegen.ROOT / 'data' / 'aac_tables.txt'
HUFFMAN_CPP = 'src/syntax/huffman_tables.cpp'
BANDS_CPP = 'src/syntax/band_tables.cpp'

NUM_BOOKS = 12          # codebook 0 (empty row) and the spectral codebooks 1 to 11
ROW = 17                # per-codebook row: lengths 0..16, or leading-one counts 0..16
SPECTRAL_WINDOW = 16    # bits of look-ahead for a spectral codeword
SCALE_WINDOW = 20       # bits of look-ahead for a scalefactor codeword
DIRECT_BITS = 7         # bits of look-ahead indexing spectral_direct (kDirectBits)
WIDE_BITS = 10          # spectral_direct_wide (kDirectBitsWide), for x86-64
DIRECT_LENGTH_SHIFT = 9 # spectral_direct entry: length << 9 | payload
MAX_SWB_LONG = 51       # array bounds declared in band_tables.h
MAX_SWB_SHORT = 15

Codeword = collections.namedtuple('Codeword', 'length code values')


def parse(path):
    """Return ({book name: [Codeword in file order]}, {'swb_long'|'swb_short': {sfi: (rate, offsets)}})."""
    books = collections.defaultdict(list)
    bands = {'swb_long': {}, 'swb_short': {}}
    with open(path) as f:
        for line in f:
            t = line.split()
            if not t or t[0].startswith('#') or t[0] == 'book':
                continue
            if t[0] in bands:
                sfi, rate, num_swb = int(t[1]), int(t[2]), int(t[3])
                offsets = [int(x) for x in t[4:]]
                assert len(offsets) == num_swb + 1
                bands[t[0]][sfi] = (rate, offsets)
            else:
                assert int(t[1]) == len(books[t[0]]), 'entries must be in index order'
                books[t[0]].append(Codeword(int(t[2]), int(t[3], 16), [int(x) for x in t[4:]]))
    return books, bands


def leading_ones(w):
    bits = format(w.code, '0%db' % w.length)
    return len(bits) - len(bits.lstrip('1'))


def sort_codewords(words):
    """Length ascending, and within one length codeword value descending.

    The codewords of one length then sit in consecutive entries with values
    falling by exactly 1, so the entry of value v and length L is
    first_entry[L] + (largest[L] - v): one subtraction, no search."""
    ordered = sorted(words, key=lambda w: (w.length, -w.code))
    for a, b in zip(ordered, ordered[1:]):
        assert a.length != b.length or a.code == b.code + 1, 'values of one length not consecutive'
    longest = ordered[-1].length
    assert any(w.code == (1 << longest) - 1 for w in ordered if w.length == longest), \
        'the longest length must hold the all-ones codeword, so every lookup ends there'
    return ordered


def shortest_length_per_leading_ones(ordered, count):
    """For n = 0 .. count-1 leading ones of the look-ahead window: the shortest
    codeword length such a window can start. A window with exactly n ones then
    a zero starts a codeword whose first n bits are ones followed by a zero;
    from n ones on (n >= longest length) only the all-ones codeword fits."""
    longest = ordered[-1].length
    result = []
    for n in range(count):
        if n >= longest:
            result.append(longest)
        else:
            result.append(min(w.length for w in ordered if w.length > n and leading_ones(w) == n))
    return result


def largest_value_per_length(ordered):
    """book_length row: the largest codeword value of each length. A length
    without codewords repeats the value of the next shorter one (lengths below
    the shortest take the shortest's value): every prefix reaching such a length
    extends a prefix that was already above that value, so it stays above and
    the search moves on. Lengths past the longest are never reached: 0."""
    largest = {}
    for w in ordered:
        largest.setdefault(w.length, w.code)   # first of its length = largest value
    row = [0] * ROW
    value = largest[min(largest)]
    for length in range(ordered[-1].length + 1):
        value = largest.get(length, value)
        row[length] = value
    return row


def first_entry_per_length(ordered):
    """book_length_start row: the number of codewords shorter than L, which is
    the entry of the largest codeword of length L."""
    return [sum(1 for w in ordered if w.length < length) for length in range(ROW)]


def pack_spectral(book, values):
    """One value-table entry (formats in huffman_tables.h)."""
    if book <= 4:     # quadruples: 2-bit fields holding 2 - value, first value in bits 7..6
        fields = [2 - v for v in values]
        return fields[0] << 6 | fields[1] << 4 | fields[2] << 2 | fields[3]
    if book <= 6:     # signed pairs: two 4-bit two's-complement nibbles, first one high
        return (values[0] & 15) << 4 | (values[1] & 15)
    if book <= 10:    # unsigned pairs: two magnitude nibbles, first one high
        return values[0] << 4 | values[1]
    return tuple(values)   # codebook 11: two signed bytes, 16 marks an escape


def direct_row(book, ordered, values, bits=DIRECT_BITS):
    """spectral_direct row: for every bits-long window start, the codeword it
    begins with when that codeword is at most bits long, as length << 9 |
    payload (payload: the value-table byte for codebooks 1 to 10, the book11
    entry for codebook 11); 0 when the codeword is longer."""
    row = [0] * (1 << bits)
    for entry, w in enumerate(ordered):
        if w.length > bits:
            continue
        payload = entry if book == 11 else values[entry]
        assert payload < 1 << DIRECT_LENGTH_SHIFT
        first = w.code << (bits - w.length)
        for t in range(first, first + (1 << (bits - w.length))):
            assert row[t] == 0, 'codewords must be prefix-free'
            row[t] = w.length << DIRECT_LENGTH_SHIFT | payload
    return row


def spectral_tables(books):
    starts, limits, first_entries, values = [], [], [], [[]]
    direct = [[0] * (1 << DIRECT_BITS)]    # codebook 0 carries no codewords
    wide = [[0] * (1 << WIDE_BITS)]
    starts.append([(0, 0)] * ROW)
    limits.append([0] * ROW)
    first_entries.append([0] * ROW)
    for book in range(1, NUM_BOOKS):
        ordered = sort_codewords(books['cb%d' % book])
        assert ordered[-1].length <= SPECTRAL_WINDOW
        row = largest_value_per_length(ordered)
        lengths = shortest_length_per_leading_ones(ordered, ROW)
        starts.append([(length, row[length]) for length in lengths])
        limits.append(row)
        first_entries.append(first_entry_per_length(ordered))
        values.append([pack_spectral(book, w.values) for w in ordered])
        direct.append(direct_row(book, ordered, values[-1]))
        wide.append(direct_row(book, ordered, values[-1], WIDE_BITS))
    return starts, limits, first_entries, values, direct, wide


def scalefactor_tables(words):
    """bookscl entries (codeword, index) and the 21 scale_book_int words
    len << 11 | base << 4 | skip, one per count of leading ones 0..20."""
    index_of = {(w.length, w.code): i for i, w in enumerate(words)}
    ordered = sort_codewords(words)
    bookscl = [(w.code, index_of[(w.length, w.code)]) for w in ordered]
    longest = ordered[-1].length
    first = {}
    for entry, w in enumerate(ordered):
        first.setdefault(w.length, entry)
    count = collections.Counter(w.length for w in ordered)
    packed = []
    for length in shortest_length_per_leading_ones(ordered, SCALE_WINDOW + 1):
        # skip steps from one length to the next; windows that start at the
        # longest length never step (their count, 46, would not fit in 4 bits).
        skip = count[length] if length < longest else 0
        assert first[length] < 128 and skip < 16
        packed.append(length << 11 | first[length] << 4 | skip)
    return bookscl, packed


def cpp_file(header, body):
    return tablegen.cpp_file(__file__, header, body, source='data/aac_tables.txt')


def render_huffman(books):
    starts, limits, first_entries, values, direct, wide = spectral_tables(books)
    bookscl, scale_book_int = scalefactor_tables(books['sf'])
    out = ['']

    def rows(decl, table, fmt):
        out.append('%s = {' % decl)
        for book, row in enumerate(table):
            out.append('    // codebook %d' % book)
            out.append('    {')
            out.extend(tablegen.wrap([fmt(x) for x in row], 8))
            out.append('    },')
        out.extend(['};', ''])

    rows('const CodeBookStart code_book_start[kNumCodebooks][kCodebookRow]', starts,
         lambda p: '{%d, %d}' % p)
    rows('const uint16_t book_length[kNumCodebooks][kCodebookRow]', limits, str)
    rows('const int16_t book_length_start[kNumCodebooks][kCodebookRow]', first_entries, str)
    out.append('static_assert(kDirectBits == %d && kDirectBitsWide == %d && '
               'kDirectLengthShift == %d,' % (DIRECT_BITS, WIDE_BITS, DIRECT_LENGTH_SHIFT))
    out.extend(['              "spectral_direct is generated for another layout");', ''])
    rows('const uint16_t spectral_direct[kNumCodebooks][1 << kDirectBits]', direct,
         lambda e: '0x%04X' % e)
    rows('const uint16_t spectral_direct_wide[kNumCodebooks][1 << kDirectBitsWide]', wide,
         lambda e: '0x%04X' % e)

    for book in range(1, NUM_BOOKS):
        if book == 11:
            out += tablegen.c_array('const Book11Entry', 'book11', values[book], fmt='{%d, %d}')
        else:
            out += tablegen.c_array('const uint8_t', 'book%d' % book, values[book], fmt='0x%02X')
        out.append('')

    out.append('const uint8_t* const book_table_optimized[kNumCodebooks - 1] = {')
    out.extend(tablegen.wrap(['nullptr'] + ['book%d' % b for b in range(1, NUM_BOOKS - 1)]))
    out.extend(['};', ''])

    out += tablegen.c_array('const ScaleCodeword', 'bookscl', bookscl, fmt='{0x%05X, %d}')
    out.append('')
    out += tablegen.c_array('const uint32_t', 'scale_book_int', scale_book_int, fmt='0x%04X')
    out.append('')
    return cpp_file('syntax/huffman_tables.h', out)


# Short-window index 2 (64 kHz) keeps a copy of its own, although its offsets
# equal those of 96 and 88.2 kHz: the tables stay paired with the noise band
# tables of the same indexes, where 64 kHz differs.
OWN_COPY = {('short', 2)}


def render_bands(bands):
    out = ['']
    for kind, bound, lines in (('long', MAX_SWB_LONG, 1024), ('short', MAX_SWB_SHORT, 128)):
        table = bands['swb_' + kind]
        assert sorted(table) == list(range(12))
        counts = [len(table[sfi][1]) - 1 for sfi in range(12)]
        assert max(counts) <= bound and all(table[s][1][-1] == lines for s in range(12))
        out.append('const uint8_t num_swb_%s_window[kNumSampleRates] = {' % kind)
        out.extend(tablegen.wrap([str(c) for c in counts]))
        out.extend(['};', ''])

        # Indexes with equal offsets refer to one stored table, named after
        # the first sampling rate that uses it.
        names = []
        for sfi in range(12):
            rate, offsets = table[sfi]
            shared = [names[i] for i in range(sfi)
                      if table[i][1] == offsets and (kind, sfi) not in OWN_COPY]
            if shared:
                names.append(shared[0])
                continue
            name = 'swb_offset_%s_%dk' % (kind, rate // 1000)
            names.append(name)
            out += tablegen.c_array('static const int16_t', name, offsets) + ['']

        out.append('const int16_t* const swb_offset_%s_window[kNumSampleRates] = {' % kind)
        for sfi in range(12):
            out.append('    %s,  // %d: %d Hz' % (names[sfi], sfi, table[sfi][0]))
        out.extend(['};', ''])
    return cpp_file('syntax/band_tables.h', out)


def generate():
    books, bands = parse(DATA)
    return {HUFFMAN_CPP: render_huffman(books), BANDS_CPP: render_bands(bands)}


if __name__ == '__main__':
    sys.exit(tablegen.main(generate, __doc__))
