"""The input kinds that carry the HE-AAC test streams, and their three ways of signalling SBR
(ISO/IEC 14496-3 1.6.5): implicit (an AAC-LC configuration; the decoder finds the SBR data in
the fill elements), explicit (an AudioSpecificConfig of object type 5 with the
extensionSamplingFrequencyIndex, then object type 2) and backward-compatible (an AAC-LC
configuration followed by the sync extension 0x2b7, object type 5 and sbrPresentFlag 1).

ADTS, ADIF and the project's ASC/raw forms come from vectorgen.rewrap; MP4 is ffmpeg's remux
with the esds AudioSpecificConfig replaced for explicit signalling; LATM/LOAS is ffmpeg's
remux (implicit) or written here (explicit: the config in each StreamMuxConfig)."""

import struct

from fxaac_harness.bits import BitWriter
from fxaac_harness.reference import run_ffmpeg
from vectorgen.rewrap import SAMPLE_RATES

SIGNALLING = ('implicit', 'explicit', 'backward', 'explicit_ps', 'backward_ps')


def asc_bits(core_sfi, chn, signalling, out_sfi=None):
    """The bits of the AudioSpecificConfig of an AAC-LC core at rate index core_sfi with SBR
    at rate index out_sfi, as signalling says (the _ps forms: parametric stereo, object type 29
    or psPresentFlag after the sync extension 0x548)."""
    w = BitWriter()
    if signalling in ('explicit', 'explicit_ps'):
        w.put(29 if signalling == 'explicit_ps' else 5, 5)   # audioObjectType: PS or SBR
        w.put(core_sfi, 4)
        w.put(chn, 4)
        w.put(out_sfi, 4)            # extensionSamplingFrequencyIndex
        w.put(2, 5)                  # the core's audioObjectType: AAC LC
    else:
        w.put(2, 5)
        w.put(core_sfi, 4)
        w.put(chn, 4)
    w.put(0, 3)                      # frameLengthFlag, dependsOnCoreCoder, extensionFlag
    if signalling in ('backward', 'backward_ps'):
        w.put(0x2B7, 11)             # syncExtensionType
        w.put(5, 5)                  # extensionAudioObjectType
        w.put(1, 1)                  # sbrPresentFlag
        w.put(out_sfi, 4)
    if signalling == 'backward_ps':
        w.put(0x548, 11)             # syncExtensionType
        w.put(1, 1)                  # psPresentFlag
    return w.bits


def asc_bytes(*args):
    w = BitWriter(asc_bits(*args))
    return w.data()


def heaac_file(asc, blocks):
    """The project's length-delimited form: "HEAAC", a length byte counting itself and the
    configuration, the AudioSpecificConfig, the raw data blocks."""
    return b'HEAAC' + bytes([1 + len(asc)]) + asc + b''.join(blocks)


# -- MP4 ------------------------------------------------------------------------------------
def _boxes(data, start, end):
    pos = start
    while pos + 8 <= end:
        size, kind = struct.unpack('>I4s', data[pos:pos + 8])
        if size < 8 or pos + size > end:
            raise ValueError('broken MP4 box')
        yield pos, size, kind.decode('latin-1')
        pos += size


def _descriptor(tag, body):
    n = len(body)
    return bytes([tag, 0x80 | (n >> 21) & 0x7F, 0x80 | (n >> 14) & 0x7F,
                  0x80 | (n >> 7) & 0x7F, n & 0x7F]) + body


def _read_descriptor(data, pos):
    tag, n = data[pos], 0
    pos += 1
    while True:
        b = data[pos]
        pos += 1
        n = n << 7 | (b & 0x7F)
        if not b & 0x80:
            break
    return tag, data[pos:pos + n], pos + n


def _new_esds(esds_body, asc):
    """The esds full box body with its DecoderSpecificInfo replaced by asc."""
    tag, es, _ = _read_descriptor(esds_body, 4)
    if tag != 3:
        raise ValueError('no ES_Descriptor in esds')
    flags = es[2]
    head = 3 + (2 if flags & 0x80 else 0) + (1 + es[3] if flags & 0x40 else 0) + (2 if flags & 0x20 else 0)
    rest, pos, out = es[head:], 0, b''
    while pos < len(rest):
        t, body, pos = _read_descriptor(rest, pos)
        if t == 4:
            _, _, _ = _read_descriptor(body, 13)
            body = body[:13] + _descriptor(5, asc)
        out += _descriptor(t, body)
    return esds_body[:4] + _descriptor(3, es[:head] + out)


def _patch(data, start, end, path, asc):
    """data[start:end] (a run of boxes) with the esds at path rebuilt; sizes of the boxes on
    the path follow the change."""
    out = b''
    for pos, size, kind in _boxes(data, start, end):
        if kind != path[0]:
            out += data[pos:pos + size]
            continue
        if kind == 'esds':
            body = _new_esds(data[pos + 8:pos + size], asc)
        else:
            skip = {'stsd': 8, 'mp4a': 28}.get(kind, 0)
            body = data[pos + 8:pos + 8 + skip] + _patch(data, pos + 8 + skip, pos + size,
                                                         path[1:], asc)
        out += struct.pack('>I4s', 8 + len(body), kind.encode()) + body
    return out


def mp4_with_asc(data, asc):
    """An MP4 file written by ffmpeg (moov after mdat, so no chunk offset moves) with the
    AudioSpecificConfig of its audio track replaced."""
    kinds = [k for _, _, k in _boxes(data, 0, len(data))]
    if kinds.index('moov') < kinds.index('mdat'):
        raise ValueError('moov before mdat: chunk offsets would move')
    return _patch(data, 0, len(data), ['moov', 'trak', 'mdia', 'minf', 'stbl', 'stsd', 'mp4a',
                                       'esds'], asc)


def remux(adts_path, out_path, fmt, ffmpeg='ffmpeg'):
    """ffmpeg's copy of an ADTS stream into MP4 ('mp4') or LOAS ('latm')."""
    run_ffmpeg('-i', adts_path, '-c:a', 'copy', '-fflags', '+bitexact', '-flags', '+bitexact',
               '-map_metadata', '-1', '-f', fmt, out_path, ffmpeg=ffmpeg)


# -- LATM/LOAS ----------------------------------------------------------------------------
def _latm_value(w, v):
    n = (v.bit_length() + 7) // 8 or 1
    w.put(n - 1, 2)                  # bytesForValue
    w.put(v, 8 * n)


def stream_mux_config(w, asc, version):
    """StreamMuxConfig of one program, one layer, frameLengthType 0 (ISO/IEC 14496-3 1.7.3).
    Version 1 gives the configuration's length (ascLen), which a backward-compatible config
    needs: its sync extension is found by the bits that remain."""
    w.put(version, 1)                # audioMuxVersion
    if version:
        w.put(0, 1)                  # audioMuxVersionA
        _latm_value(w, 0xFF)         # taraBufferFullness
    w.put(1, 1)                      # allStreamsSameTimeFraming
    w.put(0, 6)                      # numSubFrames
    w.put(0, 4)                      # numProgram
    w.put(0, 3)                      # numLayer
    if version:
        _latm_value(w, len(asc))     # ascLen in bits
    w.bits += asc
    w.put(0, 3)                      # frameLengthType
    w.put(0xFF, 8)                   # latmBufferFullness
    w.put(0, 1)                      # otherDataPresent
    w.put(0, 1)                      # crcCheckPresent


def loas(blocks, asc, version=0, config_every=8):
    """An AudioSyncStream: every frame an AudioMuxElement(1) with one raw data block, the
    StreamMuxConfig in the first frame and every config_every frames."""
    out = bytearray()
    for i, blk in enumerate(blocks):
        w = BitWriter()
        same = 0 if i % config_every == 0 else 1
        w.put(same, 1)               # useSameStreamMux
        if not same:
            stream_mux_config(w, asc, version)
        n = len(blk)
        for _ in range(n // 255):
            w.put(255, 8)            # PayloadLengthInfo
        w.put(n % 255, 8)
        w.put_bytes(blk)
        body = w.data()
        out += BitWriter().put(0x2B7, 11).put(len(body), 13).data() + body
    return bytes(out)


def out_rate_index(core_sfi):
    return SAMPLE_RATES.index(2 * SAMPLE_RATES[core_sfi])
