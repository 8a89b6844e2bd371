#!/usr/bin/python3
"""Fills corpus/wav with the fuzz target's starting inputs: a few of the tool
made files of tests/data/audiofile, and two hand-made headers (an unfinished
file and an odd unknown block before a 24-bit label over float samples).

Rerun from this folder:  /usr/bin/python3 make_corpus.py
"""
import os
import shutil
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, '..', 'data', 'audiofile')
OUT = os.path.join(HERE, 'corpus', 'wav')
os.makedirs(OUT, exist_ok=True)

for name in ('sox_s16_cue', 'sox_s24', 'ffmpeg_u8', 'ffmpeg_stream_s16', 'ffmpeg_alaw', 'sndfile_f32',
             'sndfilex_f64', 'sndfilex_ulaw', 'sndfile_s32'):
    shutil.copy(os.path.join(DATA, name + '.wav'), os.path.join(OUT, name + '.wav'))

fmt = struct.pack('<4sIHHIIHH', b'fmt ', 16, 1, 1, 8000, 16000, 2, 16)
with open(os.path.join(OUT, 'unfinished_s16.wav'), 'wb') as fh:
    fh.write(b'RIFF' + struct.pack('<I', 8) + b'WAVE' + fmt + b'data' + struct.pack('<I', 0) + bytes(range(20)))

fmt = struct.pack('<4sIHHIIHH', b'fmt ', 16, 1, 1, 8000, 32000, 4, 24)
body = b'WAVE' + fmt + b'junk' + struct.pack('<I', 3) + b'abc' + b'\0' + b'data' + struct.pack('<I', 8)
body += struct.pack('<2f', 0.5, -1)
with open(os.path.join(OUT, 'odd_block_float.wav'), 'wb') as fh:
    fh.write(b'RIFF' + struct.pack('<I', len(body)) + body)
