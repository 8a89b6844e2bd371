#!/usr/bin/python3
# Reference data for the flanger and the phaser, from their transfer functions
# run through scipy.signal.lfilter:
#   flanger  Y = X z^-i ((1-f) + f z^-1) / (1 - fb z^-(i+1) ((1-f) + f z^-1)),
#            out = dry x + wet y, for a delay d = i + f samples;
#   phaser   N first-order allpasses (z^-1 - a) / (1 - a z^-1) in a loop with
#            one sample of feedback: Y = B X / (A - fb z^-1 B),
#            out = dry x + wet y; and the frequencies of its spectral nulls.
# Rerun: /usr/bin/python3 tests/data/effects/make_modulated.py   (from the repo root)
import os
import numpy as np
from numpy.polynomial import polynomial as P
from scipy import signal

f32 = np.float32
here = os.path.dirname(os.path.abspath(__file__))


def sine_curve(x):
    x = min(max(float(x), 0.0), 1.0)
    i = int(np.rint(np.float64(f32(x) * f32(511))))
    return float(f32(np.sin(f32(i) * f32(1.5707964) / f32(512))))


def db_curve(x):
    x = min(max(float(x), 0.0), 1.0)
    i = int(np.rint(np.float64(f32(x) * f32(511))))
    return float(f32(10.0) ** (f32(2) * f32(i) / f32(512) - f32(1)))


rng = np.random.default_rng(11)
x = rng.uniform(-0.5, 0.5, 3000).astype(np.float32)
x.astype("<f4").tofile(os.path.join(here, "modulated_input.f32"))

# Flanger: depth 1, delay pin 0.5 (range 500 samples, base 0), modulation
# 0.2505 (d = 125.25), feedback pin 0.2, mix 0.5, level 0.5.
depth, delay_pin, mod, fb_pin, mix, level = 1.0, 0.5, 0.2505, 0.2, 0.5, 0.5
T = f32(delay_pin)
rng_samples = f32(2000) * T * T
base = rng_samples - f32(depth) * rng_samples
span = rng_samples - base
d = f32(mod) * span + base
i = int(d)
frac = float(d - f32(i))
fb = float(min(f32(fb_pin) + f32(0.5), f32(1)) * f32(1.9) - f32(0.95))
wet, dry = sine_curve(mix), sine_curve(1 - mix)
num_y = np.zeros(i + 2)
num_y[i], num_y[i + 1] = 1 - frac, frac
den = np.zeros(i + 3)
den[0] = 1.0
den[i + 1] -= fb * (1 - frac)
den[i + 2] -= fb * frac
num = wet * num_y
num_full = np.zeros(max(len(num), len(den)))
num_full[:len(num)] += num
num_full[:len(den)] += dry * den
y = signal.lfilter(num_full, den, x.astype(np.float64)) * db_curve(level)
y.astype("<f4").tofile(os.path.join(here, "flanger_output.f32"))

# Phaser cases: (stages pin, depth, modulation, position, feedback pin, mix).
cases = [(4, 0.5, 0.4, 0.1, 0.0, 0.5), (7, 0.8, 0.5, 0.05, 0.6, 0.5), (0, 0.0, 0.0, 0.5, 0.0, 0.5),
         (40, 0.2, 0.5, 0.3, 0.3, 0.7)]
with open(os.path.join(here, "phaser_cases.tsv"), "w") as f:
    f.write("# file stages depth modulation position feedback mix coefficient first_null_hz(0 if none)\n")
    for k, (stages_pin, depth, mod, pos, fb_pin, mix) in enumerate(cases):
        stages = min(max(stages_pin, 1), 16)
        v = min(max(f32(depth) * f32(mod) + f32(pos), f32(0.02)), f32(1))
        a = float((f32(1) - v) / (f32(1) + v))
        fb = float(min(max(f32(fb_pin) * f32(0.8), f32(0)), f32(0.8)))
        B = np.array([1.0])
        A = np.array([1.0])
        for _ in range(stages):
            B = P.polymul(B, [-a, 1.0])
            A = P.polymul(A, [1.0, -a])
        den = P.polysub(A, fb * P.polymul([0.0, 1.0], B))
        wet, dry = sine_curve(mix), sine_curve(1 - mix)
        num = P.polyadd(wet * B, dry * den)
        y = signal.lfilter(num, den, x.astype(np.float64)) * db_curve(0.5)
        name = "phaser_output_%d.f32" % k
        y.astype("<f4").tofile(os.path.join(here, name))
        # First null of the mix: where the cascade's phase reaches -pi.
        w, h = signal.freqz(num, den, worN=200000, fs=48000)
        mag = np.abs(h)
        null_hz = 0.0
        if fb == 0 and abs(wet - dry) < 1e-6 and stages > 1:
            j = int(np.argmin(mag[: len(mag) // 2 + 1]))
            null_hz = float(w[j])
        f.write("\t".join(str(v) for v in (name, stages_pin, depth, mod, pos, fb_pin, mix, "%.9g" % a, "%.3f" % null_hz)) + "\n")
        print(name, "a", a, "null", null_hz)
