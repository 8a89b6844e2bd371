#!/usr/bin/python3
# Reference data for the pitch shifters: the detune ratio for several control
# values (three semitones at the top, reached through the cube of the
# control), and the voice rates of the unison for its voice counts and spread.
# Rerun: /usr/bin/python3 tests/data/effects/make_pitch.py   (from the repo root)
import os
import numpy as np

f32 = np.float32
here = os.path.dirname(os.path.abspath(__file__))
SEMITONE = 1.0594631

with open(os.path.join(here, "detune_ratios.tsv"), "w") as f:
    f.write("# control table_index ratio semitones\n")
    for d in (0.0, 0.3, 0.5, 0.8, 1.0):
        index = int(np.rint(np.float64(f32(511) * f32(d) * f32(d) * f32(d))))
        ratio = SEMITONE ** (index * 3 / 512)
        f.write("%g\t%d\t%.9f\t%.6f\n" % (d, index, ratio, 12 * np.log2(ratio)))

with open(os.path.join(here, "unison_rates.tsv"), "w") as f:
    f.write("# selector spread voices rate0 rate1 ...\n")
    for selector, spread in ((0, 1.0), (1, 0.5), (9, 1.0)):
        voices = {0: 4, 1: 8, 2: 16, 3: 32}.get(selector, 4)
        s = 0.05 if spread < 0 else min(spread, 1.0) + 0.05
        rates = [1.0 - i * s * (0.05 / voices) for i in range(voices)]
        f.write("\t".join([str(selector), str(spread), str(voices)] + ["%.9f" % r for r in rates]) + "\n")
