#!/usr/bin/python3
# Makes tables.txt: entries of the one-pole and state-variable shared tables
# at three sample rates, worked out in double precision and rounded to float.
#   one-pole:  exp(-2 pi min(0.495 sr, 440 * 2^(10 i / 512 - 4)) / sr)
#   frequency: min(0.5 sr, 440 * 2^(10 i / 512 - 4)) * 2 pi / sr
#   limit:     (0.009 i + 2.5e-5 i^2 + 7.8) / 10
# Rerun:  cd tests/data/sound/filters && /usr/bin/python3 make_tables.py
import numpy as np

TWO_PI = 6.2831855
with open("tables.txt", "w") as out:
    out.write("# Made by make_tables.py. rate index one_pole frequency limit\n")
    for rate in (44100.0, 48000.0, 96000.0):
        for i in (0, 1, 77, 255, 256, 400, 459, 460, 500, 511, 512, 513):
            hz = 440.0 * np.exp2(i / 51.2 - 4.0)
            one_pole = np.float32(np.exp(-TWO_PI * min(0.495 * rate, hz) / rate))
            frequency = np.float32(min(0.5 * rate, hz) * TWO_PI / rate)
            limit = np.float32((0.009 * i + 2.5e-5 * i * i + 7.8) / 10.0)
            out.write(f"{rate:g} {i} {one_pole!r} {frequency!r} {limit!r}\n")
