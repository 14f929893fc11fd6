"""ADTS frames (ISO/IEC 13818-7 6.2, ISO/IEC 14496-3 1.A.2): finding them, reading and patching
their fixed and variable headers, and the CRC of their error checks."""

from .bits import BitReader

HEADER = 7                         # header bytes without adts_error_check
HEADER_CRC = 9                     # with it (protection_absent 0)
FIELDS = (('id', 1), ('layer', 2), ('protection_absent', 1), ('profile', 2), ('sfi', 4),
          ('private', 1), ('chcfg', 3), ('orig', 1), ('home', 1), ('cib', 1), ('cis', 1),
          ('length', 13), ('fullness', 11), ('nrdb', 2))


def is_frame_start(data, pos=0):
    """The 12-bit syncword and layer 0 at pos, with a whole header behind them."""
    return pos + HEADER <= len(data) and data[pos] == 0xFF and data[pos + 1] & 0xF6 == 0xF0


def header_size(data, pos=0):
    return HEADER if data[pos + 1] & 1 else HEADER_CRC


def frame_length(data, pos=0):
    """aac_frame_length: the frame's bytes, header included."""
    return (data[pos + 3] & 3) << 11 | data[pos + 4] << 3 | data[pos + 5] >> 5


def set_frame_length(buf, n, pos=0):
    buf[pos + 3] = (buf[pos + 3] & 0xFC) | ((n >> 11) & 3)
    buf[pos + 4] = (n >> 3) & 0xFF
    buf[pos + 5] = (buf[pos + 5] & 0x1F) | ((n & 7) << 5)


def rate_and_channels(data, pos=0):
    """(sampling_frequency_index, channel_configuration) of the header at pos."""
    return (data[pos + 2] >> 2) & 15, ((data[pos + 2] & 1) << 2) | (data[pos + 3] >> 6)


def frame_spans(data, strict=False):
    """(offset, length) of each ADTS frame from the start of data. At anything that is not a
    frame header (or one shorter than its header) the list ends, or with strict a ValueError
    names the byte. The last frame may be cut off by the end of data."""
    spans, pos = [], 0
    while pos + HEADER <= len(data):
        length = frame_length(data, pos) if is_frame_start(data, pos) else 0
        if length < header_size(data, pos):
            if strict:
                raise ValueError(f'no ADTS frame at byte {pos}')
            break
        spans.append((pos, length))
        pos += length
    return spans


def frames(data, strict=False):
    """The bytes of each frame, header included."""
    return [data[pos:pos + n] for pos, n in frame_spans(data, strict)]


def payloads(data, strict=False):
    """(header bytes, the bytes after the header) of each frame."""
    out = []
    for pos, n in frame_spans(data, strict):
        h = header_size(data, pos)
        out.append((data[pos:pos + h], data[pos + h:pos + n]))
    return out


def header_fields(data, pos=0):
    """The fields of the fixed and variable header at pos, by the names of FIELDS."""
    br = BitReader(data[pos:pos + HEADER])
    if br.read(12) != 0xFFF:
        raise ValueError(f'no ADTS sync word at byte {pos}')
    return {name: br.read(width) for name, width in FIELDS}


def crc16(bits):
    """CRC-16 of ISO/IEC 13818-7 (ISO/IEC 11172-3 2.4.3.1): x^16 + x^15 + x^2 + 1, register
    preset to all ones, bits fed most significant first."""
    crc = 0xFFFF
    for b in bits:
        top = (crc >> 15) & 1
        crc = (crc << 1) & 0xFFFF
        if top ^ b:
            crc ^= 0x8005
    return crc
