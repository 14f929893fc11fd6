"""The SBR Huffman codebooks of data/sbr_ps_tables.txt (ISO/IEC 14496-3 4.A.6.1): coding a
delta into its codeword and decoding a codeword back (for the payload reader of the tests)."""

import pathlib

TABLES = pathlib.Path(__file__).resolve().parents[2] / 'data' / 'sbr_ps_tables.txt'

# Books by (kind, amplitude resolution, balance). kind: 't_env', 'f_env', 't_noise', 'f_noise';
# the f_ noise books are the 3.0 dB envelope books, and noise is always coded at 3.0 dB.
_NAMES = {
    ('t_env', 0, 0): 'sbr_t_env_1_5dB', ('f_env', 0, 0): 'sbr_f_env_1_5dB',
    ('t_env', 0, 1): 'sbr_t_env_bal_1_5dB', ('f_env', 0, 1): 'sbr_f_env_bal_1_5dB',
    ('t_env', 1, 0): 'sbr_t_env_3_0dB', ('f_env', 1, 0): 'sbr_f_env_3_0dB',
    ('t_env', 1, 1): 'sbr_t_env_bal_3_0dB', ('f_env', 1, 1): 'sbr_f_env_bal_3_0dB',
    ('t_noise', 1, 0): 'sbr_t_noise_3_0dB', ('f_noise', 1, 0): 'sbr_f_env_3_0dB',
    ('t_noise', 1, 1): 'sbr_t_noise_bal_3_0dB', ('f_noise', 1, 1): 'sbr_f_env_bal_3_0dB',
}


class Book:
    def __init__(self, name, lav):
        self.name, self.lav = name, lav
        self.codes = []                         # by index: (codeword value, length)
        self.lookup = {}                        # (length, value) -> index

    def encode(self, delta):
        """(codeword, length) of delta; delta must lie within -lav..lav."""
        if not -self.lav <= delta <= self.lav:
            raise ValueError(f'{self.name}: delta {delta} beyond lav {self.lav}')
        return self.codes[delta + self.lav]

    def decode(self, br):
        code = length = 0
        while True:
            code = code << 1 | br.read(1)
            length += 1
            if (length, code) in self.lookup:
                return self.lookup[(length, code)] - self.lav
            if length > 20:
                raise ValueError(f'{self.name}: no codeword')


def _load(path=TABLES):
    books = {}
    for line in open(path):
        f = line.split()
        if not f or f[0] == '#':
            continue
        if f[0] == 'huff' and f[1].startswith('sbr_'):
            books[f[1]] = Book(f[1], int(f[3]))
        elif f[0] == 'hc' and f[1] in books:
            b = books[f[1]]
            if int(f[2]) != len(b.codes):
                raise ValueError(f'{f[1]}: entries out of order')
            code = (int(f[4], 2), int(f[3]))
            b.codes.append(code)
            b.lookup[(code[1], code[0])] = len(b.codes) - 1
    return books


_BOOKS = _load()


def book(kind, amp_res, balance):
    """The codebook of a kind ('t_env', 'f_env', 't_noise', 'f_noise'), amplitude resolution
    (0: 1.5 dB, 1: 3.0 dB; noise always 1) and balance (second channel of a coupled pair)."""
    if kind.endswith('noise'):
        amp_res = 1
    return _BOOKS[_NAMES[(kind, amp_res, 1 if balance else 0)]]
