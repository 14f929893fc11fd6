"""SBR payloads in the raw data blocks of AAC-LC streams: each single channel or channel pair
element is followed by one fill element (ID_FIL) that carries its extension_payload() (type 13,
or 14 with the CRC), before the block's END (ISO/IEC 14496-3 4.4.2.1 and 4.5.2.8: the SBR data of
an element sits in the fill element right after it). The count uses the escape when the payload
has 15 bytes or more."""

from fxaac_harness.bits import BitWriter
from vectorgen.block_syntax import CPE, END, FIL, SCE


def put_fill_element(w, payload_bits):
    """A fill element whose count is the payload's bytes (payload_bits is a whole number of
    bytes, at most 269)."""
    cnt = len(payload_bits) // 8
    if cnt * 8 != len(payload_bits) or cnt > 269:
        raise ValueError(f'fill payload of {len(payload_bits)} bits')
    w.put(FIL, 3)
    w.put(min(cnt, 15), 4)
    if cnt >= 15:
        w.put(cnt - 14, 8)           # esc_count: cnt = 15 + esc_count - 1
    w.bits += payload_bits


def insert_sbr(blk, payloads):
    """The raw data block blk (walked by vectorgen.block_syntax.walk_block) with a fill element
    after its k-th SCE or CPE carrying payloads[k]; other elements stay as they are."""
    src = blk.reader
    w = BitWriter()
    k = 0
    for eid, start, end, _ in blk.elements:
        w.bits += src.bits(start - 3, end)
        if eid in (SCE, CPE):
            put_fill_element(w, payloads[k])
            k += 1
    if k != len(payloads):
        raise ValueError('more payloads than channel elements')
    w.put(END, 3)
    return w.data()


def channel_elements(blk):
    """The ids of the SCE and CPE elements of a block, in order."""
    return [eid for eid, *_ in blk.elements if eid in (SCE, CPE)]
