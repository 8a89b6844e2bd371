#!/usr/bin/python3
# Reference data for the rotating speaker: the mean rotor frequency over a
# measurement window after the rotors have glided up from rest (new speed
# once every 33 samples, rate <- rate * k + (1 - k) * target, in float32),
# and the Doppler tap delay of a stopped high rotor (phase 1.6 rad) at
# several sample rates.
# Rerun: /usr/bin/python3 tests/data/effects/make_leslie.py   (from the repo root)
import os
import numpy as np

f32 = np.float32
here = os.path.dirname(os.path.abspath(__file__))
TWO_PI = f32(6.2831855)
HIGH = {0: (0.0, 0.1), 1: (0.66, 0.18), 2: (6.4, 0.09)}
LOW = {0: (0.0, 0.12), 1: (0.49, 0.27), 2: (5.31, 0.14)}


def mean_frequency(rate, selector, scale_pin, table, start, length):
    hz, time = table[selector]
    scale = f32(scale_pin) * f32(2) * TWO_PI / f32(rate)
    target = f32(hz) * scale
    coef = f32(10.0) ** (-(f32(1) / f32(rate)) / f32(time))
    r = f32(0)
    total = 0.0
    for s in range(start + length):
        if s % 33 == 0:
            r = r * coef + (f32(1) - coef) * target
        if s >= start:
            total += float(r)
    return total / length * rate / (2 * np.pi)


with open(os.path.join(here, "leslie_rates.tsv"), "w") as f:
    f.write("# rate selector scale start length high_hz low_hz\n")
    for rate, selector, scale, start, length in ((44100, 2, 0.5, 44100 * 12, 44100 * 4),
                                                 (48000, 2, 0.25, 48000 * 12, 48000 * 4)):
        hi = mean_frequency(rate, selector, scale, HIGH, start, length)
        lo = mean_frequency(rate, selector, scale, LOW, start, length)
        f.write("%d\t%d\t%g\t%d\t%d\t%.6f\t%.6f\n" % (rate, selector, scale, start, length, hi, lo))
        print(rate, "high", hi, "low", lo)

with open(os.path.join(here, "leslie_doppler.tsv"), "w") as f:
    f.write("# rate doppler_delay_samples (stopped high rotor at 1.6 rad, full depth)\n")
    c = np.cos(f32(1.6), dtype=np.float32)
    h3 = f32(c * c * c)
    for rate in (44100, 96000, 192000):
        depth = f32(1) * f32(rate) / f32(760)
        delay = float((h3 + f32(1)) * depth)
        f.write("%d\t%.6f\n" % (rate, delay))
        print(rate, "doppler", delay)
