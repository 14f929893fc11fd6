"""Re-wraps ADTS streams of one raw data block per frame, bit for bit, into the other input
kinds the decoder accepts, and makes ADTS variants by bit surgery on the blocks:

  adif        "ADIF" header with one program_config_element, then the raw data blocks
  asc         AudioSpecificConfig (ISO/IEC 14496-3 1.6.2.1), then the raw data blocks
  heaac       "HEAAC", a length byte L (counting itself and the configuration), the
              AudioSpecificConfig, then the raw data blocks (the blocks start at byte 5 + L)
  raw         the raw data blocks alone (rate and channel count come from the caller)
  adts_multi  ADTS frames of 1 to 4 raw data blocks with protection_absent 0: the
              raw_data_block_position words, the header CRC, and a CRC word after each
              block (ISO/IEC 13818-7 adts_header_error_check and
              adts_raw_data_block_error_check)
  adts_extra  data stream and fill elements added before END to every block
  adts_2sce   the single channel elements of two mono streams joined in each block

Every raw data block that ffmpeg writes ends with ID_END and the byte alignment, so blocks can
be cut out of their ADTS frames and concatenated as they are."""

import struct

from fxaac_harness import adts
from fxaac_harness.bits import BitWriter

from .block_syntax import DSE, END, FIL, SCE, block_crc_bits

SAMPLE_RATES = (96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025,
                8000)


def split_adts(data):
    """(header fields, raw data block) of each frame of an ADTS stream of AAC LC frames of one
    raw data block without CRC."""
    out = []
    for pos, length in adts.frame_spans(data, strict=True):
        hdr = adts.header_fields(data, pos)
        if hdr['protection_absent'] != 1 or hdr['nrdb'] != 0 or hdr['profile'] != 1:
            raise ValueError('expected LC frames of one block without CRC')
        out.append((hdr, data[pos + adts.HEADER:pos + length]))
    return out


def adts_header_bits(hdr, length, nrdb, protection_absent):
    w = BitWriter()
    w.put(0xFFF, 12)
    w.put(hdr['id'], 1)
    w.put(0, 2)
    w.put(protection_absent, 1)
    w.put(hdr['profile'], 2)
    w.put(hdr['sfi'], 4)
    w.put(hdr['private'], 1)
    w.put(hdr['chcfg'], 3)
    w.put(hdr['orig'], 1)
    w.put(hdr['home'], 1)
    w.put(0, 1)
    w.put(0, 1)
    w.put(length, 13)
    w.put(hdr['fullness'], 11)
    w.put(nrdb, 2)
    return w


def wrap_adts_multi(frames, blocks):
    """ADTS frames of 1, 2, 3, 4, 1, 2, ... raw data blocks with protection_absent 0.

    One block (number_of_raw_data_blocks_in_frame 0): a 9-byte header whose CRC word
    (adts_error_check) covers the 56 header bits and the protected bits of the block.
    Several blocks: the header carries one raw_data_block_position word per block after the
    first (its offset in bytes from the first byte of the ADTS frame) and a CRC word over the
    header bits and those words (adts_header_error_check); every block is followed by the CRC
    word of its protected bits (adts_raw_data_block_error_check)."""
    out = bytearray()
    i, k = 0, 1
    while i < len(frames):
        group = list(range(i, min(len(frames), i + k)))
        nrdb = len(group) - 1
        hdr = frames[i][0]
        if nrdb == 0:
            length = 9 + len(frames[i][1])
            w = adts_header_bits(hdr, length, 0, 0)
            crc = adts.crc16(w.bits + block_crc_bits(blocks[i]))
            w.put(crc, 16)
            out += w.data() + frames[i][1]
        else:
            head_len = 7 + 2 * nrdb + 2
            positions, pos = [], head_len
            for j in group:
                positions.append(pos)
                pos += len(frames[j][1]) + 2
            w = adts_header_bits(hdr, pos, nrdb, 0)
            for p in positions[1:]:
                w.put(p, 16)
            w.put(adts.crc16(w.bits), 16)
            out += w.data()
            for j in group:
                out += frames[j][1] + struct.pack('>H', adts.crc16(block_crc_bits(blocks[j])))
        i += len(group)
        k = k % 4 + 1
    return bytes(out)


def pce_bits(w, sfi, chn, tag, comment=b''):
    """A program_config_element of one front SCE (mono) or CPE (stereo), AAC LC."""
    w.put(0, 4)                          # element_instance_tag
    w.put(1, 2)                          # object_type: AAC LC
    w.put(sfi, 4)
    w.put(1, 4)                          # num_front_channel_elements
    for n, width in ((0, 4), (0, 4), (0, 2), (0, 3), (0, 4)):
        w.put(n, width)                  # side, back, lfe, assoc data, valid cc
    w.put(0, 1)                          # mono_mixdown_present
    w.put(0, 1)                          # stereo_mixdown_present
    w.put(0, 1)                          # matrix_mixdown_idx_present
    w.put(1 if chn == 2 else 0, 1)       # front_element_is_cpe
    w.put(tag, 4)                        # front_element_tag_select
    w.align()                            # alignment relative to the header's first byte
    w.put(len(comment), 8)
    for b in comment:
        w.put(b, 8)


def make_adif(sfi, chn, tag, bitrate, fullness, vbr=False, copyright=False):
    w = BitWriter()
    for b in b'ADIF':
        w.put(b, 8)
    w.put(1 if copyright else 0, 1)
    if copyright:
        for b in b'fxaac-tv1':           # 72-bit copyright_id
            w.put(b, 8)
    w.put(0, 1)                          # original_copy
    w.put(0, 1)                          # home
    w.put(1 if vbr else 0, 1)            # bitstream_type
    w.put(bitrate, 23)
    w.put(0, 4)                          # num_program_config_elements - 1
    if not vbr:
        w.put(fullness, 20)              # adif_buffer_fullness
    pce_bits(w, sfi, chn, tag, b'test vector' if copyright else b'')
    return w.data()


def make_asc(sfi, chn, tag, with_pce=False):
    """AudioSpecificConfig: audioObjectType 2, the rate index, channelConfiguration (0 with a
    program_config_element in the GASpecificConfig), frameLengthFlag 0, dependsOnCoreCoder 0,
    extensionFlag 0."""
    w = BitWriter()
    w.put(2, 5)
    w.put(sfi, 4)
    w.put(0 if with_pce else chn, 4)
    w.put(0, 3)
    if with_pce:
        pce_bits(w, sfi, chn, tag)
    return w.data()


def block_bits_before_end(blk):
    """The bits of a block up to (not including) its END element."""
    last = blk.elements[-1][2] if blk.elements else 0
    return blk.reader.bits(0, last)


def wrap_adts(frames, blocks_data, chcfg=None):
    """ADTS frames of one raw data block each, without CRC, with the headers of frames."""
    out = bytearray()
    for (hdr, _), data in zip(frames, blocks_data):
        h = dict(hdr)
        if chcfg is not None:
            h['chcfg'] = chcfg
        out += adts_header_bits(h, 7 + len(data), 0, 1).data() + data
    return bytes(out)


def put_extra_elements(w, i):
    """Elements that the decoder must step over, different in every block: a data stream
    element (with and without byte alignment, sometimes with the escape count) and two fill
    elements, the second with the escape count, carrying fill payloads (EXT_FILL or
    EXT_FILL_DATA). Payloads that reference decoders act on (dynamic range, SBR) are left out so
    that they too decode the stream exactly like its original.
    w holds the block so far: the data stream alignment is relative to the block's start."""
    w.put(DSE, 3)
    w.put(i % 16, 4)                     # element_instance_tag
    align = i % 2
    w.put(align, 1)                      # data_byte_align_flag
    cnt = 260 if i % 17 == 5 else (i * 7) % 40
    w.put(min(cnt, 255), 8)
    if cnt >= 255:
        w.put(cnt - 255, 8)              # esc_count
    if align:
        w.align()                        # aligned relative to the start of the block
    for k in range(cnt):
        w.put((i * 31 + k * 7) & 0xFF, 8)
    for n in (i % 15, 15 + (i * 13) % 40):
        w.put(FIL, 3)
        w.put(min(n, 15), 4)
        if n >= 15:
            w.put(n - 14, 8)             # esc_count: count = 15 + esc_count - 1
        if n:
            w.put(i % 2, 4)              # extension_type EXT_FILL or EXT_FILL_DATA
            w.put(0, 4)                  # fill_nibble
            for _ in range(n - 1):
                w.put(0xA5, 8)           # fill_byte


def add_extra_elements(frames, blocks):
    out = []
    for i, blk in enumerate(blocks):
        w = BitWriter()
        w.bits = block_bits_before_end(blk)
        put_extra_elements(w, i)
        w.put(END, 3)
        out.append(w.data())
    return wrap_adts(frames, out)


def merge_sce(frames_a, blocks_a, blocks_b):
    """Two mono streams as one stereo stream of two single channel elements per block: the
    second element gets element_instance_tag 1 (the first keeps its tag, 0)."""
    out = []
    for a, b in zip(blocks_a, blocks_b):
        if [e[0] for e in a.elements] != [SCE] or [e[0] for e in b.elements] != [SCE]:
            raise ValueError('expected blocks of one single channel element')
        bits_b = block_bits_before_end(b)
        bits_b[3:7] = [0, 0, 0, 1]
        w = BitWriter()
        w.bits = block_bits_before_end(a) + bits_b
        w.put(END, 3)
        out.append(w.data())
    return wrap_adts(frames_a[:len(out)], out, chcfg=2)


def rewrap(kind, frames, blocks, chn, opts):
    sfi, raw = frames[0][0]['sfi'], b''.join(f[1] for f in frames)
    tag = blocks[0].first_tag or 0
    if kind == 'adif':
        secs = len(frames) * 1024 / SAMPLE_RATES[sfi]
        bitrate = int(sum(len(f[1]) for f in frames) * 8 / secs)
        return make_adif(sfi, chn, tag, bitrate, 0x2000, opts.get('vbr', False),
                         opts.get('copyright', False)) + raw
    if kind == 'asc':
        return make_asc(sfi, chn, tag, opts.get('pce', False)) + raw
    if kind == 'heaac':
        asc = make_asc(sfi, chn, tag)
        return b'HEAAC' + bytes([1 + len(asc)]) + asc + raw
    if kind == 'raw':
        return raw
    if kind == 'adts_multi':
        return wrap_adts_multi(frames, blocks)
    if kind == 'adts_extra':
        return add_extra_elements(frames, blocks)
    raise ValueError(kind)
