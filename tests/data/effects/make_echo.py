#!/usr/bin/python3
# Reference data for the echo tests: delays in samples for line lengths,
# times and ranges, and the response of the whole feedback loop with its
# band-pass, computed by scipy.signal.lfilter from the loop's transfer
# function F = z^-D X (1 + a1 z^-1 + a2 z^-2) /
#              ((1 + a1 z^-1 + a2 z^-2) - fb z^-(D+1) ((1-blend)(1 + a1 z^-1 + a2 z^-2) + blend (b0 + b2 z^-2))).
# Rerun: /usr/bin/python3 tests/data/effects/make_echo.py   (from the repo root)
import os
import numpy as np
from scipy import signal

f32 = np.float32
here = os.path.dirname(os.path.abspath(__file__))


def line_length(seconds, rate):
    wanted = f32(seconds) * f32(rate)
    if wanted > f32(rate) * f32(10):
        return int(rate) * 10
    return max(int(wanted), 1)


def delay_samples(length, t, rng):
    c = f32(-1) if rng != 0 else f32(-0.5)
    u = -(f32(t) + c)
    offset = int(np.rint(np.float64(f32(length) * u)))  # round half to even
    offset = min(max(offset, 1), length)
    return length - offset


with open(os.path.join(here, "echo_delays.tsv"), "w") as f:
    f.write("# rate seconds time range line_length delay\n")
    for rate, seconds, t, rng in [
        (48000, 1.0, 0.25, 1), (48000, 1.0, 0.0, 1), (48000, 1.0, 1.0, 1), (44100, 0.5, 0.1, 0),
        (44100, 0.5, -0.5, 0), (44100, 0.5, 0.5, 0), (96000, 0.3, 0.7, 1), (44100, 20.0, 1.0, 1),
        (44100, 0.0, 0.3, 1), (48000, 0.01, 0.8, 1), (22050, 2.5, -3.0, 1), (22050, 2.5, 7.0, 1)]:
        n = line_length(seconds, rate)
        f.write("\t".join(str(v) for v in (rate, seconds, t, rng, n, delay_samples(n, t, rng))) + "\n")

# The loop with its filter: 48 kHz, line 0.01 s, time 0.8 in range 1,
# feedback 0.8, blend 0.7, frequency pin 0.5 (880 Hz), mix 1, level unity.
rate, seconds, t, rng, fb, blend, fpin = 48000, 0.01, 0.8, 1, 0.8, 0.7, 0.5
n = line_length(seconds, rate)
D = delay_samples(n, t, rng)
exponent = min(fpin, 0.933) * 10 + 1 - 5
freq = 440.0 * 2.0 ** exponent
w = 2 * np.pi * freq / rate
alpha = np.sin(w) / 0.6
b0, b2 = alpha / (1 + alpha), -alpha / (1 + alpha)
a1, a2 = -2 * np.cos(w) / (1 + alpha), (1 - alpha) / (1 + alpha)
wet = float(f32(np.sin(f32(511) * f32(1.5707964) / f32(512))))
A = np.zeros(D + 4)
A[0], A[1], A[2] = 1.0, a1, a2
num = np.zeros(D + 3)
num[D], num[D + 1], num[D + 2] = 1.0, a1, a2
den = A.copy()
# fb z^-(D+1) times ((1-blend) A + blend B), B = b0 + b2 z^-2
mixed = np.array([(1 - blend) * 1.0 + blend * b0, (1 - blend) * a1, (1 - blend) * a2 + blend * b2])
den = np.zeros(D + 4)
den[:3] = [1.0, a1, a2]
den[D + 1:D + 4] -= fb * mixed
rng_state = np.random.default_rng(5)
x = (rng_state.uniform(-0.5, 0.5, 4000)).astype(np.float32)
x.astype("<f4").tofile(os.path.join(here, "echo_loop_input.f32"))
y = signal.lfilter(num, den, x.astype(np.float64)) * wet
y.astype("<f4").tofile(os.path.join(here, "echo_loop_output.f32"))
w_grid, h = signal.freqz([b0, 0, b2], [1, a1, a2], worN=[freq, freq / 4, freq * 4], fs=rate)
with open(os.path.join(here, "echo_loop.tsv"), "w") as f:
    f.write("# rate seconds time range feedback blend frequency_pin delay wet centre_hz gain_at_centre gain_quarter gain_4x\n")
    f.write("\t".join(str(v) for v in (rate, seconds, t, rng, fb, blend, fpin, D, "%.9g" % wet, "%.6f" % freq,
                                          "%.6f" % abs(h[0]), "%.6f" % abs(h[1]), "%.6f" % abs(h[2]))) + "\n")
print("delay", D, "centre", freq, "gains", abs(h))
