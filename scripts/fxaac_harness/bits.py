"""Bit fields most significant bit first, as every AAC syntax element is written."""


class BitReader:
    def __init__(self, data):
        self.nbits = len(data) * 8
        self.val = int.from_bytes(data, 'big')
        self.pos = 0

    def read(self, n):
        if n == 0:
            return 0
        if self.pos + n > self.nbits:
            raise ValueError('read past the end of the block')
        self.pos += n
        return (self.val >> (self.nbits - self.pos)) & ((1 << n) - 1)

    def bits(self, start, end):
        """The bits start..end-1 as a list of 0/1."""
        return [(self.val >> (self.nbits - 1 - i)) & 1 for i in range(start, end)]

    def align(self):
        self.pos = (self.pos + 7) & ~7


class BitWriter:
    """The bits written so far are the list `bits` (0/1), open to splicing."""

    def __init__(self, bits=()):
        self.bits = list(bits)

    def put(self, value, n):
        self.bits.extend((value >> (n - 1 - i)) & 1 for i in range(n))
        return self

    def put_bytes(self, data):
        for b in data:
            self.put(b, 8)
        return self

    def align(self):
        while len(self.bits) % 8:
            self.bits.append(0)

    def data(self):
        """The bits as bytes, zero bits added up to the next byte boundary."""
        self.align()
        return bytes(int(''.join(map(str, self.bits[i:i + 8])), 2)
                     for i in range(0, len(self.bits), 8))


def drop_bits(data, n):
    """data without its first n bits, zero bits added up to whole bytes."""
    bits = 8 * len(data) - n
    value = int.from_bytes(data, 'big') & ((1 << bits) - 1)
    size = (bits + 7) // 8
    return (value << (8 * size - bits)).to_bytes(size, 'big')


def prepend_bits(data, value, n):
    """n bits of value in front of data, zero bits added up to whole bytes."""
    bits = 8 * len(data) + n
    size = (bits + 7) // 8
    joined = (value << (8 * len(data))) | int.from_bytes(data, 'big')
    return (joined << (8 * size - bits)).to_bytes(size, 'big')
