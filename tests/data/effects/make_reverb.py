#!/usr/bin/python3
# Reference data for the reverb tests: an independent float32 model of the
# comb/allpass network, the arrival times for every room and rate, and the
# decay time fitted from the Schroeder curve and predicted by the feedback law.
# Rerun: /usr/bin/python3 tests/data/effects/make_reverb.py   (from the repo root)
import os
import numpy as np

f32 = np.float32
here = os.path.dirname(os.path.abspath(__file__))
COMBS = [1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617]
ALLPASSES = [556, 441, 341, 225]
SPREAD = 23
SCALE = [0.004, 0.008, 0.016, 0.024, 0.048]


def lengths(selector, rate, spread):
    factor = f32(f32(SCALE[selector]) * f32(rate)) / f32(1000)
    combs = [int(f32(c + spread) * factor) for c in COMBS]
    allpasses = [int(f32(a + spread) * factor) for a in ALLPASSES]
    return combs, allpasses


def predelay_samples(value, rate):
    return int(f32(f32(f32(value) * f32(250)) * f32(rate)) / f32(1000))


def network(x, combs, allpasses, feedback, damp, predelay):
    """One channel, sample by sample, in float32: combs summed in order,
    allpasses in series, then the pre-delay."""
    feedback, d1, d2 = f32(feedback), f32(damp), f32(1) - f32(damp)
    cbuf = [np.zeros(n, np.float32) for n in combs]
    cpos = [0] * len(combs)
    store = [f32(0)] * len(combs)
    abuf = [np.zeros(n, np.float32) for n in allpasses]
    apos = [0] * len(allpasses)
    pbuf = np.zeros(max(predelay, 1), np.float32)
    ppos = 0
    out = np.zeros(len(x), np.float32)
    half = f32(0.5)
    for n, sample in enumerate(x):
        xi = f32(sample) * f32(0.015)
        total = f32(0)
        for i in range(len(combs)):
            o = cbuf[i][cpos[i]]
            store[i] = store[i] * d1 + o * d2
            cbuf[i][cpos[i]] = store[i] * feedback + xi
            cpos[i] = (cpos[i] + 1) % combs[i]
            total = total + o
        for i in range(len(allpasses)):
            b = abuf[i][apos[i]]
            abuf[i][apos[i]] = half * b + total
            apos[i] = (apos[i] + 1) % allpasses[i]
            total = b - total
        if predelay > 0:
            o = pbuf[ppos]
            pbuf[ppos] = total
            ppos = (ppos + 1) % predelay
            total = o
        out[n] = total
    return out


def schroeder_t60(ir, rate, top=-5.0, bottom=-35.0):
    energy = np.cumsum((ir.astype(np.float64) ** 2)[::-1])[::-1]
    db = 10 * np.log10(energy / energy[0] + 1e-300)
    idx = np.where((db <= top) & (db >= bottom))[0]
    slope, _ = np.polyfit(idx / rate, db[idx], 1)
    return -60.0 / slope


# Arrivals for every rate and room: the left and right comb and allpass
# lengths, then the first 16 arrivals of the model (room size 0.5, no
# damping) as index:value pairs; some echoes cancel exactly, so the model
# says which positions sound.
with open(os.path.join(here, "reverb_lengths.tsv"), "w") as f:
    f.write("# rate selector side comb0..comb7 allpass0..allpass3 arrivals(index:value)x16\n")
    for rate in (44100, 48000, 96000):
        for selector in range(5):
            for side, spread in (("L", 0), ("R", SPREAD)):
                combs, allpasses = lengths(selector, rate, spread)
                x = np.zeros(combs[-1] + allpasses[0] + 8, np.float32)
                x[0] = 1.0
                ir = network(x, combs, allpasses, f32(0.5) * f32(0.28) + f32(0.7), 0.0, 0)
                arrivals = ["%d:%.9g" % (i, ir[i]) for i in np.nonzero(ir)[0][:16]]
                f.write("\t".join([str(rate), str(selector), side] + [str(v) for v in combs + allpasses] + arrivals) + "\n")

# Impulse responses (first 8192 samples kept): left-only impulse, mix 1 (all wet), width 1, level 0.5
# (unity). Settings per case: rate, selector, room size, damping, pre-delay.
cases = [
    ("ir_44k_room1", 44100, 1, 0.5, 0.25, 0.1, 24000),
    ("ir_48k_room2", 48000, 2, 0.8, 0.0, 0.0, 48000),
]
with open(os.path.join(here, "reverb_cases.tsv"), "w") as f:
    f.write("# name rate selector roomsize damping predelay frames predelay_samples t60_schroeder t60_law\n")
    for name, rate, selector, roomsize, damping, predelay, frames in cases:
        combs, allpasses = lengths(selector, rate, 0)
        feedback = f32(min(roomsize, 1.0)) * f32(0.28) + f32(0.7)
        pd = predelay_samples(predelay, rate)
        x = np.zeros(frames, np.float32)
        x[0] = 1.0
        ir = network(x, combs, allpasses, feedback, damping, pd)
        ir[:8192].astype("<f4").tofile(os.path.join(here, name + ".f32"))
        t60 = schroeder_t60(ir, rate)
        # With no damping each comb decays by its feedback once a round trip:
        # T60 = -3 * length / (rate * log10(feedback)), averaged over the combs.
        law = float(np.mean([-3.0 * L / (rate * np.log10(float(feedback))) for L in combs]))
        f.write("\t".join(str(v) for v in (name, rate, selector, roomsize, damping, predelay, frames, pd,
                                             "%.6f" % t60, "%.6f" % law)) + "\n")
        print(name, "predelay", pd, "t60", t60, "law", law)
