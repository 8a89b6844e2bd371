#!/usr/bin/python3
# Makes the input file and reference levels for the tamhost command tests.
# Rerun from the repository root with:
#   /usr/bin/python3 tests/data/tamhost/make_references.py
import json
import os

import numpy as np
import scipy.io.wavfile as wavfile

HERE = os.path.dirname(os.path.abspath(__file__))
RATE = 48000
FRAMES = 12000  # 0.25 s

t = np.arange(FRAMES) / RATE
low = 0.25 * np.sin(2 * np.pi * 200.0 * t)
high = 0.25 * np.sin(2 * np.pi * 6000.0 * t)
tones = (low + high).astype(np.float32)
wavfile.write(os.path.join(HERE, "two_tones.wav"), RATE, tones)


def tone_rms(signal, frequency):
    # Level of one tone by projection on sine and cosine over whole periods.
    n = len(signal)
    s = np.sin(2 * np.pi * frequency * np.arange(n) / RATE)
    c = np.cos(2 * np.pi * frequency * np.arange(n) / RATE)
    a = 2 * np.dot(signal, s) / n
    b = 2 * np.dot(signal, c) / n
    return float(np.hypot(a, b) / np.sqrt(2))


# An ideal 2-pole (12 dB/octave) low-pass response at 880 Hz with Q 0.707,
# for the attenuation the filter should come near at 6 kHz.
from scipy import signal as sps
w, h = sps.freqs([1.0], [1.0 / (2 * np.pi * 880.0) ** 2, np.sqrt(2) / (2 * np.pi * 880.0), 1.0], worN=[2 * np.pi * 200.0, 2 * np.pi * 6000.0])
references = {
    "rate": RATE,
    "frames": FRAMES,
    "input_rms_200": tone_rms(tones.astype(np.float64), 200.0),
    "input_rms_6000": tone_rms(tones.astype(np.float64), 6000.0),
    "ideal_lowpass_880_db_at_200": float(20 * np.log10(abs(h[0]))),
    "ideal_lowpass_880_db_at_6000": float(20 * np.log10(abs(h[1]))),
    # A sine of amplitude A has RMS A / sqrt(2).
    "sine_rms_per_amplitude": float(1 / np.sqrt(2)),
}
with open(os.path.join(HERE, "references.json"), "w") as f:
    json.dump(references, f, indent=1)
    f.write("\n")
