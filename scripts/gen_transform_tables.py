#!/usr/bin/env python3
"""Generate the inverse-transform tables of fxaac (src/filterbank/transform_tables.cpp).

Two kinds of table:

* IMDCT twiddles, Q15 in 16 bits, k = 0 .. N/4 - 1 for N = 2048 and 256:
    cosine_array_N[k] = Q15(cos(2 pi (k + 1/8) / N))
    sine_array_N[k]   = Q15(sin(2 pi (k + 1/8) / N))

* Radix-4 FFT tables for the 512- and 64-point transforms:
    - twiddles ws = sin(2 pi k m / n), wc = cos(2 pi k m / n) of leg k = 1..3
      and butterfly m of a stage of block length n, each a Q15 coefficient
      in the high half of a 32-bit word (low half zero). The butterflies of a
      stage go in groups of four (m = 4g .. 4g + 3); a group holds 24 words:
      the four ws of leg 1, the four wc of leg 1, then ws, wc of leg 2 and of
      leg 3. The stages of one transform follow each other in running order.
    - digit-reversal offsets: byte offsets (8 bytes per complex value) of the
      output bins that the last stage writes.

Q15(v) = min(32767, floor(32768 v + 0.5)): round half up, full scale clipped.

Usage: gen_transform_tables.py [--check]   (--check: exit 1 if the committed
file differs from what would be written)
"""

import math
import sys

import tablegen

OUT = "src/filterbank/transform_tables.cpp"

Q15_ONE = 32768
Q15_MAX = 32767
BYTES_PER_COMPLEX = 8
LANES = 4  # butterflies per twiddle group: one 128-bit vector of words


def to_q15(value):
    """Round half up, clip +1.0 to 32767 (-1.0 stays -32768)."""
    scaled = Q15_ONE * value
    # A value this close to a rounding boundary would make the table depend
    # on the last bit of the libm in use; none of these angles comes close.
    if abs(scaled - math.floor(scaled) - 0.5) < 1e-6:
        sys.exit(f"Q15 value {scaled} lies on a rounding boundary")
    return min(Q15_MAX, math.floor(scaled + 0.5))


def imdct_twiddles(length):
    """(cosine, sine) tables of N/4 entries for an IMDCT of `length` samples.

    The 1/8 offset of the angle merges the MDCT's phase terms n0 and 1/2 into
    the pre- and post-twiddle of the N/4-point complex FFT.
    """
    angles = [2.0 * math.pi * (k + 0.125) / length for k in range(length // 4)]
    return [to_q15(math.cos(a)) for a in angles], [to_q15(math.sin(a)) for a in angles]


def leg_twiddle(leg, m, block):
    """(ws, wc) of leg `leg` for butterfly m of a stage of block length `block`."""
    angle = 2.0 * math.pi * leg * m / block
    return to_q15(math.sin(angle)), to_q15(math.cos(angle))


def twiddle_vectors(block, butterflies):
    """Words for one group: per leg, the ws of `butterflies` then their wc."""
    words = []
    for leg in (1, 2, 3):
        pairs = [leg_twiddle(leg, m, block) for m in butterflies]
        words += [ws for ws, _ in pairs] + [wc for _, wc in pairs]
    return words


def stage_twiddles(block):
    """6 * block / 4 words of one radix-4 stage, in groups of four butterflies."""
    words = []
    for first in range(0, block // 4, LANES):
        words += twiddle_vectors(block, range(first, first + LANES))
    return words


def fft512_twiddles():
    """Stages n = 512, 128 and 32, then an n = 8 stage stored in pairs.

    The pairs (ws of m = 0, 1, then wc of m = 0, 1, per leg) pad the table to
    1020 words; the transform runs its n = 8 stage from the packed table of
    fft512_w8_twiddles() and never reads them.
    """
    words = []
    for block in (512, 128, 32):
        words += stage_twiddles(block)
    return words + twiddle_vectors(8, range(2))


def fft512_w8_twiddles():
    """The n = 8 stage: two butterflies per block, two blocks per vector.

    Lanes are m = 0, 1 of one block then m = 0, 1 of the next, so the same
    six vectors serve every pair of blocks.
    """
    return twiddle_vectors(8, [0, 1, 0, 1])


def fft64_twiddles():
    return stage_twiddles(64) + stage_twiddles(16)


def radix_digits_to_bin(position, radices):
    """Bin held at `position` after digit-reversing decimation in frequency.

    `radices` lists the stage radices in running order. The first stage's
    digit is the most significant digit of the position and the least
    significant digit of the bin.
    """
    weights = []
    weight = 1
    for r in reversed(radices):
        weights.insert(0, weight)
        weight *= r
    bin_, bin_weight = 0, 1
    for r, w in zip(radices, weights):
        bin_ += (position // w) % r * bin_weight
        bin_weight *= r
    return bin_


def dig_rev_table(points, radices, steps, size):
    """Byte offset of the first bin that group A of each last-stage step writes.

    Step t reads four consecutive positions starting at
    (points / 2) * (t div (points / 16)) + 4 * (t mod (points / 16)).
    Entries past `steps` are not read and are zero.
    """
    per_half = points // 16
    table = []
    for t in range(steps):
        position = points // 2 * (t // per_half) + 4 * (t % per_half)
        table.append(BYTES_PER_COMPLEX * radix_digits_to_bin(position, radices))
    return table + [0] * (size - steps)


def build_tables():
    """Returns [(kind, name, values)] in output order; kind is 'q15' or 'hi' or 'word'."""
    cos2048, sin2048 = imdct_twiddles(2048)
    cos256, sin256 = imdct_twiddles(256)
    return [
        ("q15", "cosine_array_2048", cos2048),
        ("q15", "sine_array_2048", sin2048),
        ("q15", "cosine_array_256", cos256),
        ("q15", "sine_array_256", sin256),
        ("hi", "enc_neon_w_512_word32", fft512_twiddles()),
        ("hi", "enc_neon_w_512_8_word32", fft512_w8_twiddles()),
        ("hi", "enc_neon_w_64_word32", fft64_twiddles()),
        # 512 = 4 * 4 * 4 * 4 * 2: 64 steps of the radix-2 last stage.
        ("word", "digRevTable2", dig_rev_table(512, [4, 4, 4, 4, 2], 64, 64)),
        # 64 = 4 * 4 * 4: 8 steps; the table keeps digRevTable2's size.
        ("word", "digRevTable4", dig_rev_table(64, [4, 4, 4], 8, 64)),
    ]


# Section comments inside the FFT twiddle tables: word offset -> text.
SECTIONS = {
    "enc_neon_w_512_word32": {0: "n = 512", 768: "n = 128", 960: "n = 32",
                              1008: "n = 8 in pairs (not read)"},
    "enc_neon_w_512_8_word32": {0: "n = 8, lanes m = 0, 1, 0, 1"},
    "enc_neon_w_64_word32": {0: "n = 64", 96: "n = 16"},
}


# Each kind: C type, values per line, format of one value.
LAYOUT = {
    "q15": ("int16_t", 12, "%5d"),
    "hi": ("int32_t", LANES, "hi(%6d)"),   # one vector of four words per line
    "word": ("int32_t", 8, "%4d"),
}

NOTES = (
    "IMDCT twiddles (Q15) and radix-4 FFT twiddles (Q15 in the high half of",
    "a word) with round-half-up and 32768 clipped to 32767; digit-reversal",
    "byte offsets of the FFTs' last stages.",
)


def generate():
    body = [
        "",
        "namespace {",
        "// A Q15 coefficient in the high half of a word; the low half is zero.",
        "constexpr int32_t hi(int16_t c) { return static_cast<int32_t>(static_cast<uint32_t>(c) << 16); }",
        "}  // namespace",
    ]
    for kind, name, values in build_tables():
        ctype, per_line, fmt = LAYOUT[kind]
        body.append("")
        body += tablegen.c_array("alignas(16) const " + ctype, name, values, per_line, fmt,
                                 sections=SECTIONS.get(name))
    body.append("")
    return {OUT: tablegen.cpp_file(__file__, "filterbank/transform_tables.h", body, NOTES)}


if __name__ == "__main__":
    sys.exit(tablegen.main(generate, __doc__))
