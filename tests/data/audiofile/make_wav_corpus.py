#!/usr/bin/python3
"""Makes the WAV interop corpus: the same known samples written by sox, ffmpeg
and libsndfile, plus the values a correct reader must return.

Rerun from this folder:  /usr/bin/python3 make_wav_corpus.py
Needs sox, ffmpeg and libsndfile.so.1. Every output file is rewritten.

Files:
  source_<fmt>.raw        the samples as handed to the tools (stereo, interleaved)
  expect_<fmt>.f32        little-endian float32 samples a reader must return
  <tool>_<fmt>.wav        the tools' files; tool is sox, ffmpeg, sndfile (plain
                          header) or sndfilex (extensible header)
  ffmpeg_stream_s16.wav   written to a pipe, so its size fields are not filled in
  sox_s16_cue.wav         sox_s16.wav with a cue block and a sampler block behind
                          the data
  ulaw_decode.s16, alaw_decode.s16
                          sox's decoding of codes 0..255, signed 16-bit
  ulaw_encode.u8, alaw_encode.u8
                          sox's encoding of those decoded values back to codes
"""
import ctypes
import os
import struct
import subprocess

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
RATE = 44100
FRAMES = 100
rng = np.random.default_rng(20240611)


def path(name):
    return os.path.join(HERE, name)


def run(*args, **kw):
    subprocess.run(args, check=True, **kw)


def ints(bits):
    lo, hi = -(1 << (bits - 1)), (1 << (bits - 1)) - 1
    v = rng.integers(lo, hi + 1, size=FRAMES * 2, dtype=np.int64)
    v[:8] = [lo, hi, 0, -1, 1, lo + 1, hi - 1, 0]
    return v


# ---- sources and expected values ------------------------------------------
src = {}
expect = {}

u8 = ints(8) + 128
src['u8'] = u8.astype(np.uint8)
expect['u8'] = ((u8 - 128) / 128.0).astype(np.float32)
ivals = {'u8': (u8 - 128) << 24}

for bits, name, dt in ((16, 's16', '<i2'), (32, 's32', '<i4')):
    v = ints(bits)
    src[name] = v.astype(dt)
    ivals[name] = v << (32 - bits)
    expect[name] = (v / float(1 << (bits - 1))).astype(np.float32)

v24 = ints(24)
ivals['s24'] = v24 << 8
b = v24.astype('<i4').view(np.uint8).reshape(-1, 4)[:, :3]
src['s24'] = np.ascontiguousarray(b)
expect['s24'] = (v24 / float(1 << 23)).astype(np.float32)

f = rng.uniform(-1.0, 1.0, FRAMES * 2).astype(np.float32)
f[:6] = [1.0, -1.0, 0.0, 1e-30, -0.5, 0.25]
src['f32'] = f.astype('<f4')
expect['f32'] = f

d = rng.uniform(-1.0, 1.0, FRAMES * 2)
d[:4] = [1.0, -1.0, 0.0, 1.0 / 3.0]
src['f64'] = d.astype('<f8')
expect['f64'] = d.astype(np.float32)

# Law files carry every code, in a shuffled order, twice (stereo frames).
codes = np.concatenate([np.arange(256), rng.permutation(256)]).astype(np.uint8)
laws = {}
for law, enc in (('ulaw', 'mu-law'), ('alaw', 'a-law')):
    codes.tofile(path('codes.tmp'))
    out = subprocess.run(['sox', '-t', 'raw', '-e', enc, '-b', '8', '-c', '1', '-r', '8000', path('codes.tmp'),
                          '-t', 'raw', '-e', 'signed', '-b', '16', '-L', '-'], check=True, capture_output=True).stdout
    decoded = np.frombuffer(out, dtype='<i2')
    laws[law] = decoded
    decoded[:256].astype('<i2').tofile(path(law + '_decode.s16'))
    back = subprocess.run(['sox', '-t', 'raw', '-e', 'signed', '-b', '16', '-L', '-c', '1', '-r', '8000', '-',
                           '-t', 'raw', '-e', enc, '-b', '8', '-D', '-'], input=decoded[:256].tobytes(), check=True,
                          capture_output=True).stdout
    with open(path(law + '_encode.u8'), 'wb') as fh:
        fh.write(back)
    src[law] = codes.copy()
    expect[law] = (decoded / 32768.0).astype(np.float32)
os.remove(path('codes.tmp'))

for name in src:
    src[name].tofile(path('source_%s.raw' % name))

# ---- sox -------------------------------------------------------------------
sox_in = {'u8': ['-e', 'unsigned', '-b', '8'], 's16': ['-e', 'signed', '-b', '16'],
          's24': ['-e', 'signed', '-b', '24'], 's32': ['-e', 'signed', '-b', '32'],
          'f32': ['-e', 'floating-point', '-b', '32'], 'f64': ['-e', 'floating-point', '-b', '64'],
          'ulaw': ['-e', 'mu-law', '-b', '8'], 'alaw': ['-e', 'a-law', '-b', '8']}
for name, opts in sox_in.items():
    run('sox', '-t', 'raw', *opts, '-L', '-c', '2', '-r', str(RATE), path('source_%s.raw' % name),
        *opts, path('sox_%s.wav' % name))

# ---- ffmpeg ------------------------------------------------------------------
ff = {'u8': ('u8', 'pcm_u8'), 's16': ('s16le', 'pcm_s16le'), 's24': ('s24le', 'pcm_s24le'),
      's32': ('s32le', 'pcm_s32le'), 'f32': ('f32le', 'pcm_f32le'), 'f64': ('f64le', 'pcm_f64le'),
      'ulaw': ('mulaw', 'copy'), 'alaw': ('alaw', 'copy')}
for name, (fmt, codec) in ff.items():
    run('ffmpeg', '-y', '-v', 'error', '-f', fmt, '-ac', '2', '-ar', str(RATE), '-i', path('source_%s.raw' % name),
        '-c:a', codec, '-bitexact', path('ffmpeg_%s.wav' % name))
with open(path('ffmpeg_stream_s16.wav'), 'wb') as fh:
    run('ffmpeg', '-v', 'error', '-f', 's16le', '-ac', '2', '-ar', str(RATE), '-i', path('source_s16.raw'),
        '-c:a', 'pcm_s16le', '-bitexact', '-f', 'wav', 'pipe:1', stdout=fh)

# ---- libsndfile ----------------------------------------------------------------
sf = ctypes.CDLL('libsndfile.so.1')


class SfInfo(ctypes.Structure):
    _fields_ = [('frames', ctypes.c_int64), ('samplerate', ctypes.c_int), ('channels', ctypes.c_int),
                ('format', ctypes.c_int), ('sections', ctypes.c_int), ('seekable', ctypes.c_int)]


sf.sf_open.restype = ctypes.c_void_p
sf.sf_open.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.POINTER(SfInfo)]
for fn in ('sf_writef_int', 'sf_writef_float', 'sf_writef_double', 'sf_writef_short'):
    getattr(sf, fn).argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
    getattr(sf, fn).restype = ctypes.c_int64
sf.sf_close.argtypes = [ctypes.c_void_p]

SUB = {'u8': 0x05, 's16': 0x02, 's24': 0x03, 's32': 0x04, 'f32': 0x06, 'f64': 0x07, 'ulaw': 0x10, 'alaw': 0x11}
for major, tool in ((0x010000, 'sndfile'), (0x130000, 'sndfilex')):
    for name, sub in SUB.items():
        info = SfInfo(0, RATE, 2, major | sub, 0, 0)
        h = sf.sf_open(path('%s_%s.wav' % (tool, name)).encode(), 0x20, ctypes.byref(info))
        if not h:
            raise SystemExit('libsndfile cannot write %s %s' % (tool, name))
        if name in ('ulaw', 'alaw'):
            data = np.ascontiguousarray(laws[name].astype(np.int16))
            sf.sf_writef_short(h, data.ctypes.data, len(data) // 2)
        elif name == 'f32':
            data = np.ascontiguousarray(expect['f32'])
            sf.sf_writef_float(h, data.ctypes.data, FRAMES)
        elif name == 'f64':
            data = np.ascontiguousarray(src['f64'].astype(np.float64))
            sf.sf_writef_double(h, data.ctypes.data, FRAMES)
        else:
            # Integers at the top of a 32-bit word, as libsndfile takes them.
            data = np.ascontiguousarray(ivals[name].astype(np.int32))
            sf.sf_writef_int(h, data.ctypes.data, FRAMES)
        sf.sf_close(h)

# ---- a file with cue points and a sampler block behind the data -------------------
with open(path('sox_s16.wav'), 'rb') as fh:
    body = bytearray(fh.read())
cue = struct.pack('<4sII', b'cue ', 4 + 2 * 24, 2)
cue += struct.pack('<6I', 1, 10, 0x61746164, 0, 0, 10)
cue += struct.pack('<6I', 2, 75, 0x61746164, 0, 0, 75)
smpl = struct.pack('<4sI9I6I', b'smpl', 36 + 24, 0, 0, 22676, 60, 0, 0, 0, 1, 0, 0, 0, 10, 75, 0, 0)
body += cue + smpl
struct.pack_into('<I', body, 4, len(body) - 8)
with open(path('sox_s16_cue.wav'), 'wb') as fh:
    fh.write(body)


# ---- what each file holds, decoded here from its own data block --------------
def data_block(blob):
    pos, fmt, data = 12, None, None
    while pos + 8 <= len(blob):
        tag, size = blob[pos:pos + 4], struct.unpack_from('<I', blob, pos + 4)[0]
        if tag == b'fmt ':
            fmt = struct.unpack_from('<HHIIHH', blob, pos + 8)
            if fmt[0] == 0xFFFE:
                fmt = (struct.unpack_from('<I', blob, pos + 8 + 24)[0],) + fmt[1:]
        elif tag == b'data':
            if size in (0, 0xFFFFFFFF) or pos + 8 + size > len(blob):
                size = len(blob) - pos - 8
            data = blob[pos + 8:pos + 8 + size]
            break
        pos += 8 + size + (size & 1)
    return fmt, data


law_tables = {7: np.fromfile(path('ulaw_decode.s16'), dtype='<i2'), 6: np.fromfile(path('alaw_decode.s16'), dtype='<i2')}


def decode(fmt, data):
    tag, bits = fmt[0], fmt[5]
    if tag == 1 and bits == 8:
        return (np.frombuffer(data, np.uint8).astype(np.int64) - 128) / 128.0
    if tag == 1 and bits == 16:
        return np.frombuffer(data, '<i2') / 32768.0
    if tag == 1 and bits == 24:
        b = np.frombuffer(data, np.uint8).reshape(-1, 3).astype(np.int64)
        v = b[:, 0] | (b[:, 1] << 8) | (b[:, 2] << 16)
        return np.where(v >= 1 << 23, v - (1 << 24), v) / float(1 << 23)
    if tag == 1 and bits == 32:
        return np.frombuffer(data, '<i4') / 2147483648.0
    if tag == 3 and bits == 32:
        return np.frombuffer(data, '<f4')
    if tag == 3 and bits == 64:
        return np.frombuffer(data, '<f8')
    if tag in law_tables:
        return law_tables[tag][np.frombuffer(data, np.uint8)] / 32768.0
    raise SystemExit('unexpected format %r' % (fmt,))


for name in sorted(os.listdir(HERE)):
    if not name.endswith('.wav'):
        continue
    with open(path(name), 'rb') as fh:
        fmt, data = data_block(fh.read())
    values = decode(fmt, data).astype(np.float32)
    values.astype('<f4').tofile(path(name[:-4] + '.f32'))
    base = name[:-4].split('_')[1]
    if not name.startswith('sox') and not name.endswith('cue.wav') and base in expect:
        if not np.array_equal(values, expect[base]):
            raise SystemExit('%s does not hold the source samples' % name)
