#!/usr/bin/env python3
"""End-to-end checks of the fxaac command, in groups (each one ctest):

  vectors  every test vector decoded by fxaac gives the same samples as fxaac_testdriver, to
           a file (sizes patched) and through a pipe (sizes left at the placeholder); 24-bit
           output agrees with the 16-bit output; fxaac info tells the vector's kind, rate,
           channels and frame count
  errors   messages and exit status for bad arguments and refused inputs; --help, --version;
           the default output name
  damaged  an ADTS stream with damaged frames, false sync words, garbage and a cut-off end is
           decoded through, the damage counted; a raw data block stream stops at a damaged block
  m4a      (needs ffmpeg) the ADTS vectors remuxed to MP4/M4A decode bit-identically to their
           ADTS form, also with the movie box first, with 64-bit offsets and box sizes, behind
           other tracks, from a pipe and in QuickTime form; unsupported tracks, truncated files
           and damaged boxes give clear messages and never crash; files without AAC are named
  gapless  (needs ffmpeg; faad optional) gapless M4A files at 44.1 and 48 kHz, mono and stereo,
           short and long, with edit lists of both versions and iTunSMPB tags: exactly ffmpeg's
           samples; --no-trim and 24-bit output; a movie box that runs past the end of the file

Usage: cli_checks.py --fxaac PATH --driver PATH --vectors DIR --version V [--emulator CMD]
                     [--ffmpeg PATH] GROUP
Exit status 0 when every check passes, 77 when the group cannot run here (no ffmpeg), else 1.
"""

import argparse
import pathlib
import random
import shutil
import struct
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from fxaac_test_common import (Box, Checks, Runner, Wav, largest_difference,  # noqa: E402
                               parse_boxes, parse_info, read_manifest, reference, write_boxes)
from fxaac_harness.adts import frame_spans, header_size, set_frame_length  # noqa: E402
from fxaac_harness.bits import prepend_bits  # noqa: E402

SKIP = 77
FRAME = 1024
KIND_NAMES = {'adts': 'ADTS', 'adts_multi': 'ADTS', 'adif': 'ADIF', 'asc': 'AudioSpecificConfig',
              'heaac': 'AudioSpecificConfig behind a HEAAC marker', 'raw': 'raw data blocks'}



def raw_args(v):
    return ['--raw', '--rate', str(v.fs), '--channels', str(v.chn)] if v.kind == 'raw' else []


class Context:
    def __init__(self, args, work):
        self.runner = Runner(args.emulator)
        self.fxaac, self.driver = args.fxaac, args.driver
        self.vectors = read_manifest(args.vectors)
        self.version = args.version
        self.ffmpeg = (args.ffmpeg if args.ffmpeg and not args.ffmpeg.endswith('-NOTFOUND')
                       else shutil.which('ffmpeg'))
        self.work = pathlib.Path(work)
        self.checks = Checks()

    def fx(self, *cmd, stdin=None):
        return self.runner.run([self.fxaac] + list(cmd), stdin=stdin)

    def decode_pcm(self, path, *extra, stdin=None):
        """fxaac decode to standard output: (exit status, Wav or None, stderr)."""
        rc, out, err = self.fx('decode', '-q', *extra, '-' if stdin is not None else path,
                               '-o', '-', stdin=stdin)
        try:
            return rc, Wav(out), err
        except ValueError:
            return rc, None, err

    def driver_pcm(self, v):
        out = self.work / (v.name + '.driver.wav')
        self.runner.run([self.driver, v.path, out, v.fs, v.chn, v.hdr])
        return Wav(out.read_bytes()).pcm


# ---- vectors ---------------------------------------------------------------------------------

def check_header(w, v, bits, patched):
    p = []
    if (w.format, w.channels, w.rate, w.bits) != (1, v.chn, v.fs, bits):
        p.append(f'header format {w.format}, {w.channels} ch, {w.rate} Hz, {w.bits} bits')
    if w.block_align != v.chn * bits // 8 or w.byte_rate != w.block_align * v.fs:
        p.append(f'block align {w.block_align}, byte rate {w.byte_rate}')
    if patched and (w.data_size != len(w.pcm) or w.riff_size != w.file_size - 8):
        p.append(f'sizes {w.riff_size}/{w.data_size} for a {w.file_size}-byte file')
    if not patched and (w.data_size, w.riff_size) != (0xffffffff, 0xffffffff):
        p.append(f'pipe output has sizes {w.riff_size}/{w.data_size}, not the placeholder')
    return p


def group_vectors(ctx):
    for v in ctx.vectors:
        p = []
        ref = ctx.driver_pcm(v)
        out = ctx.work / (v.name + '.wav')
        rc, _, err = ctx.fx('decode', '-q', *raw_args(v), v.path, '-o', out)
        if rc != 0:
            p.append(f'decode exit {rc}: {err.strip()}')
        else:
            w = Wav(out.read_bytes())
            p += check_header(w, v, 16, True)
            if w.pcm != ref:
                p.append(f'file output differs from the test driver ({len(w.pcm)} vs {len(ref)} bytes)')
        rc, w, err = ctx.decode_pcm(None, *raw_args(v), stdin=v.path.read_bytes())
        if rc != 0 or w is None:
            p.append(f'pipe decode exit {rc}: {err.strip()}')
        else:
            p += check_header(w, v, 16, False)
            if w.pcm != ref:
                p.append('pipe output differs from the test driver')
        rc, so, err = ctx.fx('info', '-q', *raw_args(v), v.path)
        info = parse_info(so.decode())
        frames = len(ref) // (2 * v.chn * FRAME)
        want = {'input': KIND_NAMES[v.kind], 'sampling rate': f'{v.fs} Hz', 'channels': str(v.chn),
                'frames': str(frames)}
        got = {k: info.get(k) for k in want}
        if rc != 0 or got != want:
            p.append(f'info exit {rc}: {got}, expected {want}')
        if not info.get('object type', '').startswith('AAC LC (audio object type 2)'):
            p.append(f"info object type {info.get('object type')}")
        # 24-bit output: same length, and within one 16-bit step of the 16-bit output.
        out24 = ctx.work / (v.name + '.s24.wav')
        rc, _, err = ctx.fx('decode', '-q', '--format', 's24', *raw_args(v), v.path, '-o', out24)
        if rc != 0:
            p.append(f'--format s24 exit {rc}: {err.strip()}')
        else:
            w = Wav(out24.read_bytes())
            p += check_header(w, v, 24, True)
            s16 = struct.unpack(f'<{len(ref) // 2}h', ref)
            s24 = w.samples24()
            if len(s24) != len(s16):
                p.append(f'24-bit output has {len(s24)} samples, 16-bit {len(s16)}')
            else:
                worst = max((abs(a - 256 * b) for a, b in zip(s24, s16)), default=0)
                if worst > 256:
                    p.append(f'24-bit and 16-bit samples differ by {worst / 256:.2f} 16-bit steps')
        ctx.checks.case(v.name, p)


# ---- errors ----------------------------------------------------------------------------------

def expect_error(ctx, name, cmd, needle, rc_wanted=1, stdin=None):
    rc, out, err = ctx.fx(*cmd, stdin=stdin)
    p = []
    if rc != rc_wanted:
        p.append(f'exit status {rc}, expected {rc_wanted}')
    if needle not in err:
        p.append(f'message {err.strip()!r} lacks {needle!r}')
    if rc_wanted == 1 and not err.startswith('fxaac: error: '):
        p.append(f'message does not start with "fxaac: error:": {err.strip()!r}')
    ctx.checks.case(name, p)


def group_errors(ctx):
    w = ctx.work
    adts = (pathlib.Path(ctx.vectors[0].path).parent / 'castanets_44k_s.aac').read_bytes()
    expect_error(ctx, 'no command', [], 'no command given')
    expect_error(ctx, 'unknown command', ['play', 'x.aac'], "unknown command 'play'")
    expect_error(ctx, 'no input', ['decode'], 'no input file given')
    expect_error(ctx, 'two inputs', ['decode', 'a', 'b'], 'more than one input')
    expect_error(ctx, 'unknown option', ['decode', '--loud', 'a'], "unknown option '--loud'")
    expect_error(ctx, 'bad format', ['decode', '--format', 's32', 'a'], "unknown sample format 's32'")
    expect_error(ctx, 'raw without rate', ['decode', '--raw', '--channels', '2', 'a'],
                 '--raw needs --rate and --channels')
    expect_error(ctx, 'three channels', ['decode', '--raw', '--rate', '8000', '--channels', '3', 'a'],
                 'channel count of 1 or 2')
    expect_error(ctx, 'rate without raw', ['decode', '--rate', '8000', 'a'], 'apply to --raw input only')
    expect_error(ctx, 'info with -o', ['info', 'a', '-o', 'b'], 'belongs to the decode command')
    expect_error(ctx, 'missing input', ['decode', w / 'missing.aac', '-o', w / 'm.wav'],
                 "cannot open '")
    (w / 'empty.aac').write_bytes(b'')
    expect_error(ctx, 'empty input', ['decode', w / 'empty.aac', '-o', w / 'e.wav'], 'the input is empty')
    (w / 'garbage.bin').write_bytes(bytes(range(256)) * 64)
    expect_error(ctx, 'unrecognised input', ['decode', w / 'garbage.bin', '-o', w / 'g.wav'],
                 'not a recognised AAC stream')
    ctx.checks.case('refused input leaves no output', ['g.wav was created'] if (w / 'g.wav').exists() else [])
    # Every ADTS header made to say profile Main.
    main = bytearray(adts)
    for pos, _ in frame_spans(main, strict=True):
        main[pos + 2] &= 0x3f
    (w / 'main.aac').write_bytes(bytes(main))
    expect_error(ctx, 'AAC Main refused', ['info', w / 'main.aac'],
                 'audio object type 1 (AAC Main) is not supported')
    expect_error(ctx, 'raw block stream that is not one',
                 ['decode', '--raw', '--rate', '44100', '--channels', '2', w / 'garbage.bin', '-o', w / 'r.wav'],
                 'cannot be resynchronised')

    rc, out, _ = ctx.fx('--version')
    ctx.checks.case('--version', [] if rc == 0 and out == f'fxaac {ctx.version}\n'.encode()
                    else [f'exit {rc}, output {out!r}'])
    rc, out, _ = ctx.fx('--help')
    text = out.decode()
    missing = [s for s in ('SYNOPSIS', 'fxaac decode IN', '--format s16|s24', '--raw', 'EXIT STATUS')
               if s not in text]
    ctx.checks.case('--help', [f'exit {rc}, lacks {missing}'] if rc or missing else [])

    # Without -o the WAV file goes beside the input; an input named .wav is not overwritten.
    (w / 'default.aac').write_bytes(adts)
    rc, _, err = ctx.fx('decode', '-q', w / 'default.aac')
    ctx.checks.case('default output name', [] if rc == 0 and (w / 'default.wav').exists()
                    else [f'exit {rc}: {err.strip()}'])
    (w / 'stream.wav').write_bytes(adts)
    expect_error(ctx, 'input not overwritten', ['decode', w / 'stream.wav'], 'would overwrite the input')
    ctx.checks.case('input kept', [] if (w / 'stream.wav').read_bytes() == adts else ['input changed'])


# ---- damaged ---------------------------------------------------------------------------------

def pcm_frames(pcm, chn):
    step = 2 * chn * FRAME
    return [pcm[i:i + step] for i in range(0, len(pcm), step)]


def group_damaged(ctx):
    base = pathlib.Path(ctx.vectors[0].path).parent
    clean = (base / 'castanets_44k_s.aac').read_bytes()
    frames = frame_spans(clean, strict=True)
    rc, ref, _ = ctx.decode_pcm(base / 'castanets_44k_s.aac')
    ref = pcm_frames(ref.pcm, 2)

    def header_bytes(pos):
        return header_size(clean, pos)

    # Frames 10 and 40 start with a coupling channel element (not decodable); frame 60 gets an
    # impossible length field; 777 zero bytes go before frame 70; the last frame is cut in half.
    bad = bytearray()
    for i, (pos, length) in enumerate(frames):
        f = bytearray(clean[pos:pos + length])
        if i in (10, 40):
            h = header_bytes(pos)
            f[h] = (f[h] & 0x1f) | (2 << 5)
        if i == 60:
            set_frame_length(f, 5)  # shorter than the header
        if i == 70:
            bad += bytes(777)
        if i == len(frames) - 1:
            f = f[:length // 2]
        bad += f
    (ctx.work / 'damaged.aac').write_bytes(bytes(bad))
    expected_frames = len(frames) - 4
    unsynced = 777 + frames[60][1]
    for mode in ('file', 'pipe'):
        p = []
        if mode == 'file':
            out = ctx.work / 'damaged.wav'
            rc, _, err = ctx.fx('decode', '--no-conceal', ctx.work / 'damaged.aac', '-o', out)
            w = Wav(out.read_bytes()) if out.exists() else None
        else:
            rc, out, err = ctx.fx('decode', '--no-conceal', '-', '-o', '-', stdin=bytes(bad))
            w = Wav(out)
        if rc != 2:
            p.append(f'exit status {rc}, expected 2')
        for needle in ('3 damaged frames skipped', f'{unsynced} bytes without ADTS frames skipped',
                       'coupling channel element', 'the input ends inside the frame'):
            if needle not in err:
                p.append(f'no {needle!r} in {err.strip()!r}')
        got = pcm_frames(w.pcm, 2) if w else []
        if len(got) != expected_frames:
            p.append(f'{len(got)} frames decoded, expected {expected_frames}')
        # Frames before the first damage are untouched; one frame after each skipped frame the
        # overlap state is the undamaged one again.
        elif got[:10] != ref[:10] or got[11:39] != ref[12:40] or got[40:58] != ref[42:60]:
            p.append('samples away from the damage differ from the undamaged decode')
        ctx.checks.case(f'damaged ADTS stream ({mode})', p)

    # Concealed (the default): each damaged frame and the broken header give a frame of
    # concealment, the 777 bytes their length in average frames; the cut-off last frame
    # adds nothing. One frame after each gap the frames are the undamaged ones, in place.
    rc, out, err = ctx.fx('decode', '-', '-o', '-', stdin=bytes(bad))
    got = pcm_frames(Wav(out).pcm, 2)
    concealed = int(err.split(' frames concealed')[0].rsplit('warning: ', 1)[1])
    k = concealed - 3
    p = [] if rc == 2 and 1 <= k <= 3 else [f'exit {rc}, {concealed} frames concealed']
    if len(got) != len(frames) - 1 + k:
        p.append(f'{len(got)} frames, expected {len(frames) - 1 + k}')
    elif got[:10] != ref[:10] or got[12:40] != ref[12:40] or got[42:60] != ref[42:60]:
        p.append('frames away from the damage are not the undamaged ones in their place')
    else:
        # Past frame 60 the noise substitution generator has run for fewer frames than in the
        # undamaged decode: the noise differs, the rest is in place.
        worst = max(largest_difference(b''.join(got[62:70]), b''.join(ref[62:70])),
                    largest_difference(b''.join(got[71 + k:]), b''.join(ref[71:-1])))
        if worst > 16:
            p.append(f'frames after the gaps differ from the undamaged ones by {worst}')
    ctx.checks.case('damaged ADTS stream concealed', p)

    # An AudioSpecificConfig stream (raw data blocks) with a damaged 20th block: decoding stops
    # there with a message, the blocks before it are written.
    asc = (base / 'castanets_44k_s.asc').read_bytes()
    payload = [clean[pos + header_bytes(pos):pos + length] for pos, length in frames]
    start = len(asc) - sum(len(b) for b in payload)
    at = start + sum(len(b) for b in payload[:19])
    broken = bytearray(asc)
    broken[at] = (broken[at] & 0x1f) | (2 << 5)
    (ctx.work / 'damaged.asc').write_bytes(bytes(broken))
    out = ctx.work / 'damaged_asc.wav'
    rc, _, err = ctx.fx('decode', '-q', ctx.work / 'damaged.asc', '-o', out)
    p = []
    if rc != 1 or f'raw data block at byte {at}' not in err or 'cannot be resynchronised' not in err:
        p.append(f'exit {rc}, message {err.strip()!r}')
    got = pcm_frames(Wav(out.read_bytes()).pcm, 2) if out.exists() else []
    if got != ref[:19]:
        p.append(f'{len(got)} frames written, expected the first 19')
    ctx.checks.case('damaged raw data block stream stops', p)


# ---- m4a -------------------------------------------------------------------------------------

def ffmpeg(ctx, *args):
    reference.run_ffmpeg(*args, ffmpeg=ctx.ffmpeg)


def to_co64_large(data):
    """The same file with 'co64' chunk offsets and 64-bit size fields for 'mdat' and 'moov'
    (the chunk offsets move with the longer 'mdat' header when 'mdat' comes first)."""
    boxes = parse_boxes(data)
    kinds = [b.kind for b in boxes]
    shift = 8 if kinds.index(b'mdat') < kinds.index(b'moov') else 0
    moov = boxes[kinds.index(b'moov')]
    stbl = moov.find(b'stbl')
    for i, c in enumerate(stbl.children):
        if c.kind == b'stco':
            n = struct.unpack('>I', c.payload[4:8])[0]
            offsets = struct.unpack(f'>{n}I', c.payload[8:8 + 4 * n])
            stbl.children[i] = Box(b'co64', c.payload[:8] + struct.pack(
                f'>{n}Q', *[o + shift for o in offsets]))
    if shift == 0:
        raise ValueError('expected mdat before moov')
    return write_boxes(boxes, large={b'mdat', b'moov'})


def esds_asc_offset(data):
    """Byte offset of the AudioSpecificConfig (DecoderSpecificInfo) in the file."""
    i = data.index(b'esds')
    j = data.index(b'\x05', i + 8 + 4 + 20)  # after the ES and decoder config descriptors
    k = j + 1
    while data[k] & 0x80:
        k += 1
    return k + 1


def group_m4a(ctx):
    if not ctx.ffmpeg:
        print('ffmpeg not found: MP4 checks skipped')
        return SKIP
    w = ctx.work
    adts_vectors = [v for v in ctx.vectors if v.kind == 'adts']
    for v in adts_vectors:
        m4a = w / (v.name + '.m4a')
        ffmpeg(ctx, '-i', v.path, '-c', 'copy', m4a)
        p = []
        rc_a, a, _ = ctx.decode_pcm(v.path)
        rc_m, m, err = ctx.decode_pcm(m4a)
        if rc_m != 0 or m is None:
            p.append(f'exit {rc_m}: {err.strip()}')
        elif (m.rate, m.channels, m.pcm) != (a.rate, a.channels, a.pcm):
            p.append(f'M4A decode differs from ADTS ({len(m.pcm)} vs {len(a.pcm)} bytes)')
        rc, so, _ = ctx.fx('info', '-q', m4a)
        info = parse_info(so.decode())
        frames = str(len(a.pcm) // (2 * v.chn * FRAME)) if a else '?'
        if (rc, info.get('input'), info.get('frames'), info.get('track')) != (
                0, 'MP4/M4A', frames, '1 of 1 (track ID 1)'):
            p.append(f'info exit {rc}: {info}')
        ctx.checks.case(f'{v.name} as M4A', p)

    v = next(x for x in adts_vectors if x.name == 'castanets_44k_s.aac')
    _, ref, _ = ctx.decode_pcm(v.path)
    m4a = w / (v.name + '.m4a')

    def same_as_adts(name, path=None, stdin=None, rc_wanted=0):
        rc, got, err = ctx.decode_pcm(path, stdin=stdin)
        ok = rc == rc_wanted and got is not None and got.pcm == ref.pcm
        ctx.checks.case(name, [] if ok else [f'exit {rc}: {err.strip()}'])

    same_as_adts('M4A from a pipe', stdin=m4a.read_bytes())
    fast = w / 'faststart.m4a'
    ffmpeg(ctx, '-i', v.path, '-c', 'copy', '-movflags', '+faststart', fast)
    same_as_adts('M4A with the movie box first', fast)
    wide = w / 'co64.m4a'
    wide.write_bytes(to_co64_large(m4a.read_bytes()))
    same_as_adts('M4A with co64 offsets and 64-bit box sizes', wide)
    mov = w / 'pcm_first.mov'
    ffmpeg(ctx, '-f', 'lavfi', '-i', 'sine=frequency=440:duration=1', '-i', v.path,
           '-map', '0:a', '-map', '1:a', '-c:a:0', 'pcm_s16le', '-c:a:1', 'copy', mov)
    same_as_adts('QuickTime file, AAC as second track', mov)
    rc, so, _ = ctx.fx('info', '-q', mov)
    info = parse_info(so.decode())
    ctx.checks.case('info names the skipped track',
                    [] if info.get('track', '').startswith('2 of 2') and
                    info.get('skipped', '').startswith("track 1: PCM audio ('sowt')")
                    else [f'{info}'])

    # Files without AAC are named by what they hold; info says so too and fails like decode.
    sine = ['-f', 'lavfi', '-i', 'sine=frequency=440:duration=1']
    video = ['-f', 'lavfi', '-i', 'testsrc=duration=1:size=64x48']
    for name, args, what in [
            ('alac.m4a', sine + ['-c:a', 'alac'], "track 1: ALAC audio ('alac')"),
            ('mp3.mp4', sine + ['-c:a', 'mp3'],
             "track 1: MP3 audio ('mp4a', object type indication 0x6b)"),
            ('ac3.mp4', sine + ['-c:a', 'ac3'], "track 1: AC-3 audio ('ac-3')"),
            ('video.mp4', video + ['-c:v', 'mpeg4'], "track 1: MPEG-4 Visual video ('mp4v')"),
            ('video_alac.mov', video + sine + ['-c:v', 'mpeg4', '-c:a', 'alac'],
             "track 1: MPEG-4 Visual video ('mp4v'); track 2: ALAC audio ('alac')")]:
        try:
            ffmpeg(ctx, *args, w / name)
        except RuntimeError as e:
            print(f'{name} not made ({e}): check skipped')
            continue
        needle = f'MP4 file without an AAC audio track ({what}); fxaac decodes AAC'
        expect_error(ctx, f'no AAC track: {name}', ['decode', w / name, '-o', w / 'x.wav'], needle)
        expect_error(ctx, f'no AAC track: {name} (info)', ['info', w / name], needle)
    data = bytearray(m4a.read_bytes())
    at = esds_asc_offset(bytes(data))
    data[at] = (data[at] & 0x07) | (1 << 3)  # audio object type 1, AAC Main
    (w / 'main.m4a').write_bytes(bytes(data))
    expect_error(ctx, 'AAC Main track refused', ['decode', w / 'main.m4a', '-o', w / 'main.wav'],
                 'audio object type 1 (AAC Main) is not supported')

    # Cut off: with the movie box first, the access units past the end are counted as damaged.
    whole = fast.read_bytes()
    (w / 'cut.m4a').write_bytes(whole[:len(whole) * 2 // 3])
    rc, out, err = ctx.fx('decode', w / 'cut.m4a', '-o', '-')
    got = Wav(out)
    n = len(got.pcm) // (4 * FRAME) if got else 0
    total = len(ref.pcm) // (4 * FRAME)
    p = [] if rc == 2 and 0 < n < total and got.pcm == ref.pcm[:len(got.pcm)] else [f'exit {rc}, {n} frames']
    if f'{total - n} damaged frames skipped' not in err or 'past the end of the file' not in err:
        p.append(f'message {err.strip()!r}')
    ctx.checks.case('truncated M4A', p)
    # The movie box at the end, cut inside its sample size table: nothing to decode.
    (w / 'cut_moov.m4a').write_bytes(m4a.read_bytes()[:-200])
    expect_error(ctx, 'movie box cut off in its tables',
                 ['decode', w / 'cut_moov.m4a', '-o', w / 'x.wav'],
                 'the sample tables are cut off by the end of the file')

    # Damaged tables and boxes: a clear message, never a crash or a hang.
    original = m4a.read_bytes()
    stsz = original.index(b'stsz')
    for name, offset, value, needle in [
            ('sample count beyond the table', stsz + 12, 0x7ffffff0, "the 'stsz' box lists"),
            ('chunk offset count beyond the table', original.index(b'stco') + 8, 0x40000000,
             "the 'stco' box lists"),
            ('box larger than its parent', original.index(b'stbl') - 4, 0x7fffffff, "box 'stbl' claims")]:
        data = bytearray(original)
        data[offset:offset + 4] = struct.pack('>I', value)
        (w / 'bad.m4a').write_bytes(bytes(data))
        expect_error(ctx, name, ['decode', w / 'bad.m4a', '-o', w / 'bad.wav'], needle)
    moov = original.index(b'moov') - 4
    rng = random.Random(14496)
    crashes = []
    for i in range(60):
        data = bytearray(original)
        for _ in range(rng.randint(1, 8)):
            data[rng.randrange(moov, len(data))] = rng.randrange(256)
        rc, _, err = ctx.fx('info', '-q', '-', stdin=bytes(data))
        if rc not in (0, 1, 2) or (rc == 1 and not err.startswith('fxaac: error: ')):
            crashes.append(f'mutation {i}: exit {rc} {err.strip()[-120:]!r}')
    ctx.checks.case('randomly damaged movie boxes', crashes)


# ---- realfiles -------------------------------------------------------------------------------

def with_leading_fil(data, extension_type):
    """Every frame of a clean one-block ADTS stream with a fill element in front of its first
    element: 4 bits count 2, then extension_type and 12 zero bits (ISO/IEC 14496-3 4.4.2.7)."""
    out = bytearray()
    for pos, length in frame_spans(data):
        head = header_size(data, pos)
        fil = (6 << 20) | (2 << 16) | (extension_type << 12)    # id, count, payload
        block = prepend_bits(data[pos + head:pos + length], fil, 23)
        h = bytearray(data[pos:pos + head])
        set_frame_length(h, head + len(block))
        out += h + block
    return bytes(out)


class Reference:
    """ffmpeg's (and faad's) decode of a file, for the table of cases."""

    def __init__(self, ctx):
        self.ctx = ctx
        self.faad = shutil.which('faad')
        self.rows = []

    def ffmpeg_pcm(self, path):
        return reference.ffmpeg_pcm(path, ffmpeg=self.ctx.ffmpeg, check=False)

    def faad_pcm(self, path):
        if not self.faad:
            return None
        out = self.ctx.work / 'faad.raw'
        out.unlink(missing_ok=True)
        return reference.faad_pcm(path, out, faad=self.faad, check=False)

    def row(self, case, rc, ff, fx, chn, diff, faad=''):
        self.rows.append((case, rc, len(ff) // (2 * chn) if ff is not None else '-',
                          len(fx) // (2 * chn) if fx is not None else '-', diff, faad))

    def table(self):
        print(f'{"case":44} {"exit":>4} {"ffmpeg":>8} {"fxaac":>8} {"max diff":>8}  faad')
        for r in self.rows:
            print(f'{r[0]:44} {r[1]:>4} {r[2]:>8} {r[3]:>8} {r[4]!s:>8}  {r[5]}')


def tail_difference(a, b, chn, skip=0):
    """Largest difference of the last samples the two have in common (aligned at the end),
    leaving out the first `skip` frames of the shorter one."""
    n = min(len(a), len(b))
    n -= n % (2 * chn)
    cut = min(n, skip * FRAME * 2 * chn)
    return largest_difference(a[len(a) - n + cut:], b[len(b) - n + cut:])


def group_realfiles(ctx):
    if not ctx.ffmpeg:
        print('ffmpeg not found: real-file checks skipped')
        return SKIP
    w, ref = ctx.work, Reference(ctx)
    src = w / 'sine.wav'
    ffmpeg(ctx, '-f', 'lavfi', '-i', 'sine=frequency=440:duration=5,aformat=channel_layouts=stereo',
           '-af', 'volume=0.5', src)
    ffmpeg(ctx, '-i', src, '-c:a', 'aac', '-b:a', '128k', w / 'x.aac')
    clean = (w / 'x.aac').read_bytes()
    frames = frame_spans(clean)
    clean_ff = ref.ffmpeg_pcm(w / 'x.aac')
    step = FRAME * 4

    def fx(path, *opts):
        rc, out, err = ctx.fx('decode', *opts, path, '-o', '-')
        try:
            return rc, Wav(out).pcm, err
        except ValueError:
            return rc, None, err

    rc, pcm, err = fx(w / 'x.aac')
    d = largest_difference(pcm or b'', clean_ff)
    fa = ref.faad_pcm(w / 'x.aac')
    fad = tail_difference(pcm, fa, 2) if fa else '-'
    ref.row('clean ADTS', rc, clean_ff, pcm, 2, d, f'{len(fa) // 4 if fa else "-"} samples, diff {fad}')
    ctx.checks.case('clean ADTS', [] if rc == 0 and len(pcm) == len(clean_ff) and d <= 2
                    else [f'exit {rc}, {len(pcm or b"")} vs {len(clean_ff)} bytes, diff {d}'])

    # Damage in frame 50: its sync word broken, or its block damaged (a coupling element). The
    # output keeps the undamaged stream's length; frames up to 49 and from 52 on are those of
    # ffmpeg's decode of the undamaged stream, in place.
    lost = 50
    pos, length = frames[lost]
    cases = []
    b = bytearray(clean); b[pos] = 0
    cases.append(('broken sync word', bytes(b)))
    b = bytearray(clean); b[pos + 7] = (b[pos + 7] & 0x1f) | (2 << 5)
    cases.append(('damaged block (coupling element)', bytes(b)))
    for name, data in cases:
        path = w / 'damaged.aac'
        path.write_bytes(data)
        rc, pcm, err = fx(path)
        ff = ref.ffmpeg_pcm(path)
        p = [] if rc == 2 and '1 frame concealed' in err else [f'exit {rc}: {err.strip()!r}']
        if pcm is None or len(pcm) != len(clean_ff):
            p.append(f'{len(pcm or b"")} bytes, expected {len(clean_ff)}')
            d = '-'
        else:
            d = max(largest_difference(pcm[:lost * step], clean_ff[:lost * step]),
                    largest_difference(pcm[(lost + 2) * step:], clean_ff[(lost + 2) * step:]))
            if d > 2:
                p.append(f'frames away from the damage differ from ffmpeg by {d}')
        ref.row(name + ' (ffmpeg: damaged file)', rc, ff, pcm, 2, d)
        ctx.checks.case(f'{name}: concealed, in time', p)
    rc, pcm, err = fx(w / 'damaged.aac', '--no-conceal')
    ok = rc == 2 and pcm is not None and len(pcm) == len(clean_ff) - step
    ref.row('damaged block, --no-conceal', rc, ref.ffmpeg_pcm(w / 'damaged.aac'), pcm, 2, '-')
    ctx.checks.case('--no-conceal drops the frame', [] if ok else [f'exit {rc}'])

    # Starts that are not a frame header: decoding starts at the first confirmed header, with a
    # note, exit 0; the samples are ffmpeg's (aligned at the end).
    rng = random.Random(12)
    head = bytearray(clean); head[2] ^= 0xc0  # profile of the first header changed
    starts = [('cut start (tail -c +101)', clean[100:], 1),
              ('1000 leading zero bytes', bytes(1000) + clean, 0),
              ('333 bytes of junk first', bytes(rng.randrange(256) for _ in range(333)) + clean, 0),
              ('damaged first header', bytes(head), 1)]
    for name, data, cut in starts:
        path = w / 'start.aac'
        path.write_bytes(data)
        rc, pcm, err = fx(path)
        ff = ref.ffmpeg_pcm(path)
        want = len(clean_ff) - cut * step
        d = tail_difference(pcm or b'', clean_ff, 2, skip=1)
        p = [] if rc == 0 and 'bytes before the first one skipped' in err and 'warning' not in err \
            else [f'exit {rc}: {err.strip()!r}']
        if pcm is None or len(pcm) != want or d > 2:
            p.append(f'{len(pcm or b"")} bytes (expected {want}), diff {d}')
        ref.row(name, rc, ff, pcm, 2, d)
        ctx.checks.case(name, p)

    # Tags at the end of an intact stream are metadata: exit 0, nothing said.
    ffmpeg(ctx, '-i', src, '-c:a', 'aac', '-b:a', '128k', '-write_apetag', '1',
           '-metadata', 'title=Sine', '-metadata', 'artist=fxaac', w / 'ape.aac')
    id3v1 = b'TAG' + b'Sine'.ljust(30, b'\0') + bytes(95)
    lyrics1 = b'LYRICSBEGIN' + b'la la la' + b'LYRICSEND'
    body2 = b'LYRICSBEGIN' + b'IND00003' + b'110' + b'LYR00008' + b'la la la'
    lyrics2 = body2 + b'%06d' % len(body2) + b'LYRICS200'
    tags = [('APEv2 tag (ffmpeg -write_apetag 1)', (w / 'ape.aac').read_bytes()),
            ('ID3v1 tag', clean + id3v1),
            ('Lyrics3 v1 and ID3v1 tags', clean + lyrics1 + id3v1),
            ('Lyrics3 v2 and ID3v1 tags', clean + lyrics2 + id3v1)]
    for name, data in tags:
        for mode in ('file', 'pipe'):
            path = w / 'tagged.aac'
            path.write_bytes(data)
            if mode == 'file':
                rc, pcm, err = fx(path)
            else:
                rc, out, err = ctx.fx('decode', '-', '-o', '-', stdin=data)
                pcm = Wav(out).pcm if rc == 0 else None
            ff = ref.ffmpeg_pcm(path)
            d = largest_difference(pcm or b'', clean_ff)
            p = [] if rc == 0 and 'warning' not in err and 'note' not in err \
                else [f'exit {rc}: {err.strip()!r}']
            if pcm is None or len(pcm) != len(clean_ff) or d > 2:
                p.append(f'{len(pcm or b"")} bytes, diff {d}')
            if mode == 'file':
                ref.row(name, rc, ff, pcm, 2, d)
            ctx.checks.case(f'{name} ({mode})', p)

    # Files that are not AAC are named for what they are; no output file is left behind.
    others = [('MP3 with ID3v2', 'mp3', ['-c:a', 'libmp3lame'], 'an MP3 file'),
              ('bare MP3', 'mp3', ['-c:a', 'libmp3lame', '-id3v2_version', '0', '-write_xing', '0'],
               'an MP3 file'),
              ('WAV', 'wav', [], 'a WAV file'), ('FLAC', 'flac', [], 'a FLAC file'),
              ('Ogg Vorbis', 'ogg', ['-c:a', 'libvorbis'], 'an Ogg file'),
              ('AIFF', 'aiff', [], 'an AIFF file'), ('Matroska', 'mka', ['-c:a', 'aac'], 'a Matroska'),
              ('MPEG-TS with AAC', 'ts', ['-c:a', 'aac'], 'an MPEG transport stream')]
    for name, ext, opts, needle in others:
        path = w / f'other.{ext}'
        ffmpeg(ctx, '-i', src, *opts, path)
        out = w / 'other.wav.out'
        rc, _, err = ctx.fx('decode', path, '-o', out)
        rci, _, erri = ctx.fx('info', path)
        p = [] if rc == 1 and rci == 1 and f'looks like {needle}' in err and needle in erri \
            else [f'exit {rc}/{rci}: {err.strip()!r}']
        if 'object type' in err:
            p.append('names an AAC object type')
        if out.exists():
            p.append('output file left behind')
        ref.row(f'{name} file', rc, ref.ffmpeg_pcm(path), None, 2, '-')
        ctx.checks.case(f'{name} named', p)

    # More than two channels: one clear message, from decode and info alike.
    ffmpeg(ctx, '-f', 'lavfi', '-i', 'sine=frequency=440:duration=2', '-ac', '6', '-c:a', 'aac',
           w / 'surround.aac')
    rc, _, err = ctx.fx('decode', w / 'surround.aac', '-o', w / 'surround.wav')
    rci, _, erri = ctx.fx('info', w / 'surround.aac')
    needle = '5.1 channels (channel configuration 6): fxaac decodes mono and stereo only'
    p = [] if rc == 1 and rci == 1 and needle in err and needle in erri and \
        err.count('\n') == 1 else [f'exit {rc}/{rci}: {err.strip()!r}']
    if (w / 'surround.wav').exists():
        p.append('output file left behind')
    ref.row('5.1 ADTS', rc, ref.ffmpeg_pcm(w / 'surround.aac'), None, 6, '-')
    ctx.checks.case('5.1 channels refused clearly', p)

    # HE-AAC signalled implicitly: fill elements with SBR data in an LC stream. Said once; the
    # output is the LC core, the samples of the stream without the fill elements.
    ffmpeg(ctx, '-f', 'lavfi', '-i', 'sine=frequency=440:duration=2', '-c:a', 'aac', w / 'mono.aac')
    mono = (w / 'mono.aac').read_bytes()
    (w / 'sbr.aac').write_bytes(with_leading_fil(mono, 13))
    (w / 'fill.aac').write_bytes(with_leading_fil(mono, 1))
    _, plain, _ = fx(w / 'mono.aac')
    rc, pcm, err = fx(w / 'sbr.aac')
    rcf, pcmf, errf = fx(w / 'fill.aac')
    p = [] if rc == 0 and err.count('SBR data') == 1 and 'output is the AAC LC core at 44100 Hz' in err \
        else [f'exit {rc}: {err.strip()!r}']
    if pcm != plain or pcmf != plain or 'SBR' in errf or rcf != 0:
        p.append('fill elements change the output, or plain fill data is taken for SBR')
    ref.row('implicit HE-AAC (hand-made SBR fill)', rc, ref.ffmpeg_pcm(w / 'sbr.aac'), pcm, 1,
            largest_difference(pcm or b'', ref.ffmpeg_pcm(w / 'mono.aac')))
    ctx.checks.case('implicit HE-AAC said once', p)

    # Clean output: --quiet says nothing; repeated messages are counted; PCM on standard output
    # is a clean WAV file even with damage; info exits like decode.
    many = bytearray(clean)
    for i in range(20, 50):
        q = frames[i][0] + 7
        many[q] = (many[q] & 0x1f) | (2 << 5)
    (w / 'many.aac').write_bytes(bytes(many))
    rc, pcm, err = fx(w / 'many.aac', '-q')
    ctx.checks.case('--quiet is quiet', [] if rc == 2 and err == '' and pcm and
                    len(pcm) == len(clean_ff) else [f'exit {rc}: {err!r}'])
    rc, pcm, err = fx(w / 'many.aac')
    p = [] if 'the same 29 more times' in err and err.count('coupling') == 2 else [repr(err)]
    if rc != 2 or 'Error in' in err:
        p.append(f'exit {rc}')
    ref.row('30 damaged frames (counted message)', rc, ref.ffmpeg_pcm(w / 'many.aac'), pcm, 2, '-')
    ctx.checks.case('repeated message counted', p)
    for path, want in ((w / 'x.aac', 0), (w / 'many.aac', 2), (w / 'other.mp3', 1)):
        rc, _, _ = ctx.fx('info', path)
        ctx.checks.case(f'info exit status {want}', [] if rc == want else [f'exit {rc}'])

    # Help from the subcommands; a leading dot is not an extension.
    for cmd in ('decode', 'info'):
        rc, out, _ = ctx.fx(cmd, '--help')
        ctx.checks.case(f'{cmd} --help', [] if rc == 0 and b'SYNOPSIS' in out else [f'exit {rc}'])
    (w / '.hidden').write_bytes(clean)
    rc, _, err = ctx.fx('decode', '-q', w / '.hidden')
    ctx.checks.case('.hidden gives .hidden.wav', [] if rc == 0 and (w / '.hidden.wav').exists()
                    else [f'exit {rc}: {err.strip()}'])

    # The progress bar on a 40-column terminal: every redraw fits in 39 columns and begins
    # with a carriage return.
    if not ctx.runner.prefix:
        ctx.checks.case('progress bar fits 40 columns', progress_on_terminal(ctx, w / 'x.aac', 40))
    ref.table()


def progress_on_terminal(ctx, path, columns):
    import fcntl
    import os
    import pty
    import re
    import termios
    pid, fd = pty.fork()
    if pid == 0:
        os.execv(ctx.fxaac, [ctx.fxaac, 'decode', str(path), '-o', str(ctx.work / 'tty.wav')])
    fcntl.ioctl(fd, termios.TIOCSWINSZ, struct.pack('HHHH', 24, columns, 0, 0))
    data = b''
    while True:
        try:
            chunk = os.read(fd, 4096)
        except OSError:
            break
        if not chunk:
            break
        data += chunk
    os.waitpid(pid, 0)
    text = re.sub(r'\x1b\[K', '', data.decode(errors='replace'))
    draws = [s for line in text.split('\n') for s in line.split('\r')[1:] if '%' in s]
    p = [] if draws else [f'no progress bar drawn: {text!r}']
    p += [f'{len(s)} columns: {s!r}' for s in draws if len(s) >= columns]
    return p


# ---- gapless ---------------------------------------------------------------------------------

def elst_box(edits, version):
    p = struct.pack('>B3xI', version, len(edits))
    for duration, media_time in edits:
        p += struct.pack('>QqHH' if version else '>IiHH', duration, media_time, 1, 0)
    return Box(b'elst', p)


def smpb_item(priming, padding, length):
    """An iTunSMPB item ('----' in 'ilst') as iTunes writes it."""
    def box(kind, payload):
        return struct.pack('>I4s', 8 + len(payload), kind) + payload
    text = ' 00000000 %08X %08X %016X' % (priming, padding, length) + ' 00000000' * 8
    return box(b'----', box(b'mean', bytes(4) + b'com.apple.iTunes') +
               box(b'name', bytes(4) + b'iTunSMPB') +
               box(b'data', struct.pack('>II', 1, 0) + text.encode()))


def edit_gapless(data, edits=None, version=0, drop_edits=False, smpb=None):
    """An ffmpeg M4A (media data first) with its edit list replaced or removed and an iTunSMPB
    item appended to its 'ilst'."""
    boxes = parse_boxes(data)
    kinds = [b.kind for b in boxes]
    if kinds.index(b'mdat') > kinds.index(b'moov'):
        raise ValueError('expected mdat before moov')
    moov = boxes[kinds.index(b'moov')]
    trak = moov.find(b'trak')
    if drop_edits:
        trak.children = [c for c in trak.children if c.kind != b'edts']
    if edits is not None:
        trak.find(b'edts').children = [elst_box(edits, version)]
    if smpb is not None:
        meta = moov.find(b'udta').children[0]
        at = meta.payload.index(b'ilst') - 4
        size = struct.unpack('>I', meta.payload[at:at + 4])[0]
        ilst = struct.pack('>I', size + len(smpb)) + meta.payload[at + 4:at + size] + smpb
        meta.payload = meta.payload[:at] + ilst + meta.payload[at + size:]
    return write_boxes(boxes)


def group_gapless(ctx):
    """Gapless M4A files made by ffmpeg, and variants with edited edit lists and iTunSMPB tags:
    fxaac gives exactly ffmpeg's sample count (its float decoder's samples within a few 16-bit
    steps); faad's count is shown beside it (faad leaves out the first frame whatever the file
    says). --no-trim keeps every frame, 24-bit output keeps the span."""
    if not ctx.ffmpeg:
        print('ffmpeg not found: gapless checks skipped')
        return SKIP
    faad = shutil.which('faad')
    w = ctx.work
    worst_allowed = 16
    made = {}
    for name, rate, chn, seconds in [('44k_mono_5s', 44100, 1, 5), ('48k_stereo_3s', 48000, 2, 3),
                                     ('44k_stereo_short', 44100, 2, 0.01),
                                     ('48k_mono_short', 48000, 1, 0.015),
                                     ('48k_stereo_1s', 48000, 2, 1)]:
        expr = '0.5*sin(2*PI*440*t)' + ('|0.4*sin(2*PI*660*t+1)' if chn == 2 else '')
        path = w / f'{name}.m4a'
        # Without noise substitution, whose noise every decoder draws differently.
        ffmpeg(ctx, '-f', 'lavfi', '-i', f"aevalsrc='{expr}':s={rate}:d={seconds}", '-c:a', 'aac',
               '-aac_pns', '0', path)
        made[name] = (path, chn)
    base, chn1 = made['44k_mono_5s']
    data = base.read_bytes()
    variants = {'44k_mono_5s elst v1': dict(edits=[(5000, 1024)], version=1),
                '44k_mono_5s iTunSMPB only': dict(drop_edits=True, smpb=smpb_item(2112, 0, 218000)),
                '44k_mono_5s elst and iTunSMPB': dict(smpb=smpb_item(2112, 684, 220500)),
                '44k_mono_5s 2 s edit from 5000': dict(edits=[(2000, 5000)]),
                '44k_mono_5s no edit list': dict(drop_edits=True)}
    for name, kw in variants.items():
        path = w / (name.replace(' ', '_') + '.m4a')
        path.write_bytes(edit_gapless(data, **kw))
        made[name] = (path, chn1)

    print(f"{'case':34} {'ffmpeg':>8} {'fxaac':>8} {'faad':>8} {'vs ffmpeg':>8} {'vs faad':>9}")
    for name, (path, chn) in made.items():
        p = []
        ref = reference.ffmpeg_pcm(path, ffmpeg=ctx.ffmpeg)
        rc, got, err = ctx.decode_pcm(path)
        if rc != 0 or got is None:
            ctx.checks.case(name, [f'exit {rc}: {err.strip()}'])
            continue
        n_ref, n_got = len(ref) // (2 * chn), len(got.pcm) // (2 * chn)
        worst = largest_difference(got.pcm, ref)
        if n_got != n_ref:
            p.append(f'{n_got} samples, ffmpeg {n_ref}')
        if worst > worst_allowed:
            p.append(f'differs from ffmpeg by {worst} 16-bit steps')
        n_faad, worst_faad = '-', '-'
        if faad:
            fw = reference.faad_pcm(path, w / 'faad.raw', channels=chn, faad=faad)
            n_faad = len(fw) // (2 * chn)
            if n_faad == n_got:  # faad's samples line up with ours only then
                worst_faad = largest_difference(got.pcm, fw)
        print(f'{name:34} {n_ref:8} {n_got:8} {n_faad:>8} {worst:8} {worst_faad:>9}')
        # 24-bit output keeps the same span; --no-trim keeps every frame, the span inside it.
        rc24, w24, _ = ctx.decode_pcm(path, '--format', 's24')
        s24 = w24.samples24() if w24 else []
        s16 = struct.unpack(f'<{len(got.pcm) // 2}h', got.pcm)
        if rc24 != 0 or len(s24) != len(s16) or max(
                (abs(a - 256 * b) for a, b in zip(s24, s16)), default=0) > 256:
            p.append(f'24-bit output: exit {rc24}, {len(s24)} samples for {len(s16)}')
        rc, whole, _ = ctx.decode_pcm(path, '--no-trim')
        rc, so, _ = ctx.fx('info', '-q', path)
        info = parse_info(so.decode())
        frames = int(info.get('frames', '0'))
        if whole is None or len(whole.pcm) != frames * FRAME * 2 * chn or got.pcm not in whole.pcm:
            p.append('--no-trim output is not every frame with the trimmed output inside it')
        start = int(info.get('trimmed', '0').split()[0])
        if whole is not None and whole.pcm[start * 2 * chn:][:len(got.pcm)] != got.pcm:
            p.append(f'info says {start} samples trimmed at the start; the output starts elsewhere')
        if info.get('duration', '').split('(')[-1] != f'{n_ref} samples per channel)':
            p.append(f"info duration {info.get('duration')}")
        ctx.checks.case(name, p)

    # A movie box whose size overstates the file, and one cut off after its sample tables:
    # decoded whole, with a warning and exit status 0.
    ref = reference.ffmpeg_pcm(base, ffmpeg=ctx.ffmpeg)
    moov = data.index(b'moov') - 4
    size = struct.unpack('>I', data[moov:moov + 4])[0]
    udta = data.index(b'udta') - 4
    for name, variant in [('moov size overstated', data[:moov] + struct.pack('>I', size + 99999) +
                           data[moov + 4:]),
                          ('moov cut in its metadata', data[:udta + 20])]:
        (w / 'past.m4a').write_bytes(variant)
        rc, out, err = ctx.fx('decode', w / 'past.m4a', '-o', '-')
        got = Wav(out) if out else None
        p = [] if rc == 0 and got is not None and len(got.pcm) == len(ref) else [
            f'exit {rc}, {len(got.pcm) // 2 if got else 0} samples for {len(ref) // 2}']
        if "the 'moov' box runs past the end of the file" not in err:
            p.append(f'message {err.strip()!r}')
        ctx.checks.case(name, p)


GROUPS = {'vectors': group_vectors, 'errors': group_errors, 'damaged': group_damaged,
          'm4a': group_m4a, 'gapless': group_gapless, 'realfiles': group_realfiles}


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('--fxaac', required=True)
    ap.add_argument('--driver', required=True)
    ap.add_argument('--vectors', required=True)
    ap.add_argument('--version', required=True)
    ap.add_argument('--emulator', default='')
    ap.add_argument('--ffmpeg', default='')
    ap.add_argument('group', choices=sorted(GROUPS))
    args = ap.parse_args()
    with tempfile.TemporaryDirectory(prefix='fxaac_cli_') as work:
        ctx = Context(args, work)
        if GROUPS[args.group](ctx) == SKIP:
            return SKIP
        return ctx.checks.summary()


if __name__ == '__main__':
    sys.exit(main())
