"""Walks raw data blocks through their syntax (ISO/IEC 14496-3 4.4.2, AAC LC), down to the
Huffman-coded spectrum with the codebooks of data/aac_tables.txt: to check that a block parses
to its last byte, to find the element boundaries that the CRC words protect, and to learn
which coding tools a stream uses."""

from fxaac_harness.bits import BitReader

SCE, CPE, CCE, LFE, DSE, PCE, FIL, END = range(8)
EIGHT_SHORT = 2
ZERO_HCB, ESC_HCB, NOISE_HCB, INTENSITY_HCB2, INTENSITY_HCB = 0, 11, 13, 14, 15


class Tables:
    def __init__(self, path):
        self.books = {}          # name -> (dict (length, code) -> index, dim, signed, mod, off)
        self.swb_long, self.swb_short = {}, {}
        for line in open(path):
            f = line.split()
            if not f or f[0].startswith('#'):
                continue
            if f[0] == 'book':
                self.books[f[1]] = ({}, int(f[3]), int(f[4]), int(f[6]), int(f[7]))
            elif f[0] == 'sf' or f[0].startswith('cb'):
                self.books[f[0]][0][(int(f[2]), int(f[3], 16))] = int(f[1])
            elif f[0] in ('swb_long', 'swb_short'):
                tab = self.swb_long if f[0] == 'swb_long' else self.swb_short
                tab[int(f[1])] = [int(x) for x in f[4:]]

    def decode(self, br, name):
        codes = self.books[name][0]
        code = length = 0
        while True:
            code = (code << 1) | br.read(1)
            length += 1
            if (length, code) in codes:
                return codes[(length, code)]
            if length > 19:
                raise ValueError(f'no codeword in book {name}')


class BlockInfo:
    def __init__(self):
        self.elements = []       # (id, start bit after the id, end bit, second ICS start or None)
        self.pns = self.intensity = self.is_ms2 = False
        self.ms = set()
        self.short = self.tns = self.pulse = self.escape = False
        self.first_tag = None


def ics_info(br, sfi, tab):
    br.read(1)                                             # ics_reserved_bit
    ws = br.read(2)
    br.read(1)                                             # window_shape
    if ws == EIGHT_SHORT:
        max_sfb = br.read(4)
        grouping = br.read(7)
        groups = [1]
        for k in range(7):
            if grouping & (0x40 >> k):
                groups[-1] += 1
            else:
                groups.append(1)
        swb = tab.swb_short[sfi]
    else:
        max_sfb = br.read(6)
        if br.read(1):
            raise ValueError('predictor data in an AAC LC stream')
        groups = [1]
        swb = tab.swb_long[sfi]
    if max_sfb > len(swb) - 1:
        raise ValueError('max_sfb above the band count')
    return {'ws': ws, 'max_sfb': max_sfb, 'groups': groups, 'swb': swb}


def individual_channel_stream(br, sfi, tab, info, blk, common_window):
    br.read(8)                                             # global_gain
    if not common_window:
        info = ics_info(br, sfi, tab)
    short = info['ws'] == EIGHT_SHORT
    blk.short |= short
    max_sfb, groups, swb = info['max_sfb'], info['groups'], info['swb']
    sect_bits, esc = (3, 7) if short else (5, 31)
    cbs = []                                               # per group, per band
    for _ in groups:
        row, k = [], 0
        while k < max_sfb:
            cb = br.read(4)
            if cb == 12:
                raise ValueError('section codebook 12')
            n = 0
            while True:
                inc = br.read(sect_bits)
                n += inc
                if inc != esc:
                    break
            row += [cb] * n
            k += n
        if k > max_sfb:
            raise ValueError('sections beyond max_sfb')
        cbs.append(row)
    first_noise = True
    for row in cbs:
        for cb in row:
            if cb == ZERO_HCB:
                continue
            if cb == NOISE_HCB and first_noise:
                br.read(9)
                first_noise = False
            else:
                tab.decode(br, 'sf')
            blk.pns |= cb == NOISE_HCB
            blk.intensity |= cb in (INTENSITY_HCB, INTENSITY_HCB2)
    if br.read(1):                                         # pulse_data_present
        if short:
            raise ValueError('pulse data with short windows')
        blk.pulse = True
        npulse = br.read(2)
        br.read(6)
        for _ in range(npulse + 1):
            br.read(5)
            br.read(4)
    if br.read(1):                                         # tns_data_present
        blk.tns = True
        for _ in range(8 if short else 1):
            n_filt = br.read(1 if short else 2)
            if n_filt:
                coef_res = br.read(1)
                for _ in range(n_filt):
                    br.read(4 if short else 6)
                    order = br.read(3 if short else 5)
                    if order:
                        br.read(1)
                        compress = br.read(1)
                        for _ in range(order):
                            br.read(3 + coef_res - compress)
    if br.read(1):
        raise ValueError('gain control data in an AAC LC stream')
    for g, row in enumerate(cbs):
        for sfb, cb in enumerate(row):
            if cb in (ZERO_HCB, NOISE_HCB, INTENSITY_HCB, INTENSITY_HCB2):
                continue
            _, dim, signed, mod, off = tab.books[f'cb{cb}']
            lines = (swb[sfb + 1] - swb[sfb]) * groups[g]
            for _ in range(lines // dim):
                idx = tab.decode(br, f'cb{cb}')
                vals = []
                for k in range(dim):
                    vals.append(idx // mod ** (dim - 1 - k) % mod - off)
                if not signed:
                    for v in vals:
                        if v:
                            br.read(1)
                if cb == ESC_HCB:
                    for v in vals:
                        if v == 16:
                            blk.escape = True
                            n = 0
                            while br.read(1):
                                n += 1
                            if n > 8:
                                raise ValueError('escape sequence too long')
                            br.read(n + 4)
    return cbs


def program_config_element(br):
    """Walks a program_config_element (after its id); returns its channel count."""
    br.read(4 + 2 + 4)
    nf, ns, nb = br.read(4), br.read(4), br.read(4)
    nl, na, nc = br.read(2), br.read(3), br.read(4)
    for _ in range(3):
        if br.read(1):
            br.read(4 if _ < 2 else 3)
    chans = 0
    for _ in range(nf + ns + nb):
        chans += 2 if br.read(1) else 1
        br.read(4)
    br.read(4 * nl + 4 * na + 5 * nc)
    br.align()
    br.read(8 * br.read(8))
    return chans + nl


def walk_block(data, sfi, tab):
    """Walks one raw data block; the block must end, after END and the byte alignment, exactly
    at the end of data."""
    br = BitReader(data)
    blk = BlockInfo()
    while True:
        eid = br.read(3)
        start, second = br.pos, None
        if eid in (SCE, LFE):
            tag = br.read(4)
            if blk.first_tag is None:
                blk.first_tag = tag
            individual_channel_stream(br, sfi, tab, None, blk, False)
        elif eid == CPE:
            tag = br.read(4)
            if blk.first_tag is None:
                blk.first_tag = tag
            common = br.read(1)
            info = None
            ms = 0
            if common:
                info = ics_info(br, sfi, tab)
                ms = br.read(2)
                if ms == 3:
                    raise ValueError('ms_mask_present 3')
                if ms == 1:
                    br.read(len(info['groups']) * info['max_sfb'])
            blk.ms.add(ms)
            individual_channel_stream(br, sfi, tab, info, blk, common)
            second = br.pos
            cbs = individual_channel_stream(br, sfi, tab, info, blk, common)
            if ms == 2 and any(cb in (INTENSITY_HCB, INTENSITY_HCB2) for row in cbs for cb in row):
                blk.is_ms2 = True
        elif eid == CCE:
            raise ValueError('coupling channel element')
        elif eid == DSE:
            br.read(4)
            align = br.read(1)
            cnt = br.read(8)
            if cnt == 255:
                cnt += br.read(8)
            if align:
                br.align()
            br.read(8 * cnt)
        elif eid == PCE:
            program_config_element(br)
        elif eid == FIL:
            cnt = br.read(4)
            if cnt == 15:
                cnt += br.read(8) - 1
            br.read(8 * cnt)
        else:
            break
        blk.elements.append((eid, start, br.pos, second))
    br.align()
    if br.pos != len(data) * 8:
        raise ValueError(f'block ends at bit {br.pos} of {len(data) * 8}')
    blk.reader = br
    return blk


def block_crc_bits(blk):
    """The bits of a raw data block that its CRC word protects (ISO/IEC 13818-7, error
    detection): the first 192 bits of every single channel, channel pair, coupling or LFE
    element, the first 128 bits of the second individual_channel_stream of a channel pair,
    and all bits of program config and data stream elements, in the order they appear. An
    element shorter than its protected length is fed in full and completed with zero bits.
    The 3-bit element ids belong to the raw data block, not to the elements, and are not fed."""
    br, bits = blk.reader, []

    def region(start, end, length):
        got = br.bits(start, min(end, start + length))
        bits.extend(got + [0] * (length - len(got)))

    for eid, start, end, second in blk.elements:
        if eid in (SCE, LFE, CCE):
            region(start, end, 192)
        elif eid == CPE:
            region(start, end, 192)
            region(second, end, 128)
        elif eid in (PCE, DSE):
            bits.extend(br.bits(start, end))
    return bits


def tools_used(blocks):
    """The coding tools that the blocks use, for the log."""
    tools = []
    if any(b.short for b in blocks):
        tools.append('short')
    if any(b.tns for b in blocks):
        tools.append('tns')
    ms = set().union(*(b.ms for b in blocks))
    tools += [f'ms{m}' for m in sorted(ms) if m]
    if any(b.intensity for b in blocks):
        tools.append('is')
    if any(b.pns for b in blocks):
        tools.append('pns')
    if any(b.pulse for b in blocks):
        tools.append('pulse')
    if any(b.escape for b in blocks):
        tools.append('esc')
    if any(e[0] == PCE for b in blocks for e in b.elements):
        tools.append('pce')
    return tools


def comparison_flags(blocks):
    """The manifest flags that the blocks call for: 'pns' (noise substitution) and 'is_ms2'
    (intensity stereo in a channel pair with ms_mask_present 2)."""
    f = []
    if any(b.pns for b in blocks):
        f.append('pns')
    if any(b.is_ms2 for b in blocks):
        f.append('is_ms2')
    return f
