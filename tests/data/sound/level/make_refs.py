#!/usr/bin/python3
"""Expected values for the level, pan and mix module tests.

Rerun from the repository root with:
    /usr/bin/python3 tests/data/sound/level/make_refs.py
It rewrites refs.json and the two curve blobs beside this script.

Everything here is worked out with numpy in float32 where the modules work
in float32, and from the documented behaviour alone: the response tables, the
gain of each curve, the index step (whose upper 32-bit word is what the VCA
clamps, and whose lower word is the rounded index the pan and mix use), the
alternating sample-and-hold and the interrupter's state lengths.
"""
import json
import os
import struct

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
f32 = np.float32
BIAS = 6755399441055744.0  # 1.5 * 2^52


def words(x):
    """Lower and upper 32-bit words (signed) of float64(x) + 1.5 * 2^52."""
    bits = struct.unpack("<Q", struct.pack("<d", float(x) + BIAS))[0]
    lo, hi = bits & 0xFFFFFFFF, bits >> 32
    to_signed = lambda w: w - (1 << 32) if w >= (1 << 31) else w
    return to_signed(lo), to_signed(hi)


def upper_clamped(x, last):
    return min(max(words(x)[1], 0), last)


def rounded(x):
    return words(x)[0]


# ---- the five response tables, 514 float32 entries each -------------------
i = np.arange(514, dtype=f32)
pos = i * f32(1.0 / 512.0)
exp_table = f32(1) + (f32(1) - np.exp((f32(1) - pos) * f32(-3.0))) * f32(-1.0523957)
x = (pos - f32(1)) * f32(3.8888888)
x = np.where(x < f32(-3.5), (x + f32(3.5)) * f32(2) - f32(3.5), x).astype(f32)
db_table = np.power(f32(10), x * f32(0.5)).astype(f32)
db_table[0] = 0
db_adj_table = np.zeros(514, dtype=f32)
db_adj_table[:512] = np.power(f32(10), f32(2) * pos[:512] - f32(1))
sqr_table = np.sqrt(pos).astype(f32)
sin_table = np.sin(i * f32(1.5707964) / f32(512)).astype(f32)
tables = {"exp": exp_table, "db": db_table, "dbadj": db_adj_table, "sqr": sqr_table, "sin": sin_table}

CUSTOM_VCA = [0.1, 0.2, 0.3, 0.4, 0.5]
CUSTOM_PAN = [0.0, 0.05, 0.15, 0.3, 0.5, 0.65, 0.8, 0.9, 1.0]


def vca_gain(curve, scale, v, custom=None):
    """The fixed gain for a steady volume (float64 is close enough here)."""
    curve = min(max(curve, 0), 3)
    scale = min(max(scale, 0), 1)
    v = float(f32(v) + f32(0.5)) if scale == 0 else float(f32(v))
    if v <= 0:
        return 0.0
    if custom is not None:
        last = len(custom) - 1
        gain = custom[upper_clamped(f32(last) * f32(v), last)]
    elif curve == 0:
        gain = v
    elif curve == 1:
        xx = (v - 1.0) * 3.8888888
        if xx < -3.5:
            xx = (xx + 3.5) * 2 - 3.5
        gain = 10 ** (xx * 0.5)
    elif curve == 2:
        gain = 1.0 - 1.0523957 * (1.0 - np.exp(-3.0 * (1.0 - v)))
    else:
        gain = float(db_adj_table[upper_clamped(f32(511) * f32(v), 511)])
    if v < 0.001:
        return v * gain * 1000.0
    return float(gain)


def vca_streaming(curve, scale, volumes, custom=None):
    """Per-sample gains of the curve routine for a streaming volume."""
    table = np.array(custom, dtype=f32) if custom is not None else {1: db_table, 2: exp_table, 3: db_adj_table}[curve]
    n = len(custom) if custom is not None else 512
    b = f32(0.5) if scale == 0 else f32(0)
    out = []
    for v in volumes:
        v = f32(v)
        if v > 1.0:
            out.append(vca_gain(curve, scale, v, custom))
        else:
            out.append(float(table[upper_clamped((v + b) * f32(n - 1), n - 1)]))
    return out


def pan_gains(curve, scale, p, custom=None):
    base = f32(1.0) if scale != 0 else f32(0.5)
    t = base - f32(p)
    t = min(max(t, f32(0)), f32(1))
    u = f32(1) - t
    if custom is None and curve == 0:
        return float(t), float(u)
    table = np.array(custom, dtype=f32) if custom is not None else (sin_table if curve == 1 else sqr_table)
    m = f32(len(custom) - 1) if custom is not None else f32(511)
    return float(table[rounded(t * m)]), float(table[rounded(u * m)])


def sample_hold(signal, gate):
    held, phase, out = 0.0, True, []
    for s, g in zip(signal, gate):
        if (g > 0) == phase:
            held = s
        phase = not phase
        out.append(held)
    return out


def interrupter(signal, on_lengths, off_lengths):
    """on_lengths/off_lengths: per-sample lengths in samples."""
    on, counter, out = True, 0, []
    for k, s in enumerate(signal):
        if on:
            out.append(s)
            if counter > on_lengths[k]:
                on, counter = False, 0
            else:
                counter += 1
        else:
            out.append(0.0)
            if counter > off_lengths[k]:
                on, counter = True, 0
            else:
                counter += 1
    return out


def length(value, rate):
    return int(np.trunc(f32(value) * f32(10.0) * f32(rate)))


refs = {"tables": {k: [float(v) for v in t] for k, t in tables.items()}}

# VCA: (curve, scale, volume) -> fixed gain.
vca_fixed = []
for curve, scale, v in [
        (0, 1, 0.3), (0, 1, 0.0005), (0, 1, 1.5), (0, 0, 0.2), (0, 0, -0.5), (0, 0, -0.2),
        (1, 1, 0.5), (1, 1, 0.05), (1, 1, 1.0), (1, 1, 0.0008), (1, 0, 0.0),
        (2, 1, 0.25), (2, 1, 0.9), (2, 0, 0.0),
        (3, 1, 0.1), (3, 1, 0.9), (3, 1, 0.0005), (3, 0, -0.3),
        (5, 1, 0.4), (-1, 1, 0.4), (7, 3, 0.6), (1, -4, 0.2)]:
    vca_fixed.append({"curve": curve, "scale": scale, "volume": v, "gain": vca_gain(curve, scale, v)})
refs["vca_fixed"] = vca_fixed
refs["vca_custom_fixed"] = [{"scale": s, "volume": v, "gain": vca_gain(0, s, v, CUSTOM_VCA)}
                            for s, v in [(1, 0.05), (1, 0.6), (1, 1.0), (1, 0.0001), (0, 0.0), (1, 0.0)]]

volumes = [0.2, 0.9, 1.0, 0.0, 1.5, -1e20, 0.5, -0.25]
refs["vca_streaming_volumes"] = volumes
refs["vca_streaming"] = [{"curve": c, "scale": s, "gains": vca_streaming(c, s, volumes)}
                         for c in (1, 2, 3) for s in (0, 1)]
refs["vca_streaming_custom"] = [{"scale": s, "gains": vca_streaming(0, s, volumes, CUSTOM_VCA)} for s in (0, 1)]

# Pan and mix: (curve, scale, position) -> two gains.
pan_cases = []
for curve, scale, p in [(0, 0, 0.0), (0, 0, 0.2), (0, 1, 0.3), (0, 0, 2.0), (0, 0, -3.0),
                        (1, 0, 0.0), (1, 0, 0.25), (1, 1, 0.8), (1, 7, 0.1),
                        (2, 0, -0.1), (2, 1, 0.3), (2, 1, 0.0),
                        (9, 0, 0.1), (-2, 0, 0.1)]:
    g1, g2 = pan_gains(min(max(curve, 0), 2), scale, p)
    pan_cases.append({"curve": curve, "scale": scale, "position": p, "gain1": g1, "gain2": g2})
refs["pan_fixed"] = pan_cases
refs["pan_custom_fixed"] = [{"scale": s, "position": p, "gains": list(pan_gains(0, s, p, CUSTOM_PAN))}
                            for s, p in [(0, 0.0), (0, 0.3), (1, 0.1), (1, 0.75)]]

positions = [float(v) for v in np.linspace(-0.6, 1.2, 37, dtype=f32)]
refs["pan_positions"] = positions
refs["pan_streaming"] = [{"curve": c, "scale": s, "gains": [list(pan_gains(c, s, p)) for p in positions]}
                         for c in (0, 1, 2) for s in (0, 1)]
refs["pan_streaming_custom"] = [list(pan_gains(0, 0, p, CUSTOM_PAN)) for p in positions]

# Sample and hold over a signal 1, 2, 3, ... with a gate pattern.
gate = [0, 0, 0, 1, 1, 1, 1, 0, 1, 0, 0, 1, 1, 1, 0, 0, 0, 0, 1, 0.5, -1, 1, 1, 1]
signal = [float(k + 1) for k in range(len(gate))]
refs["sample_hold"] = {"signal": signal, "gate": gate, "out": sample_hold(signal, gate)}

# Interrupter at two rates, steady times and times that change per sample.
inter = []
for rate, on_v, off_v in [(44100, 0.0, 0.0), (44100, 0.0001, 0.00005), (48000, 0.00002, 0.0001), (96000, 0.00001, 0.0)]:
    n = 200
    sig = [float(k % 7 + 1) for k in range(n)]
    on_l, off_l = [length(on_v, rate)] * n, [length(off_v, rate)] * n
    inter.append({"rate": rate, "on": on_v, "off": off_v, "on_length": on_l[0], "off_length": off_l[0],
                  "out": interrupter(sig, on_l, off_l)})
refs["interrupter_fixed"] = inter
n = 160
on_times = [0.0001 if k < 80 else 0.00002 for k in range(n)]
off_times = [0.00003 if k < 50 else 0.00001 for k in range(n)]
sig = [float(k % 5 + 1) for k in range(n)]
refs["interrupter_streaming"] = {
    "rate": 48000, "on": on_times, "off": off_times, "signal": sig,
    "out": interrupter(sig, [length(v, 48000) for v in on_times], [length(v, 48000) for v in off_times])}

refs["custom_vca"] = CUSTOM_VCA
refs["custom_pan"] = CUSTOM_PAN

with open(os.path.join(HERE, "refs.json"), "w") as f:
    json.dump(refs, f, indent=0)


def blob(values, version=8, count=None):
    count = len(values) if count is None else count
    return b"CRVE" + struct.pack("<ii", version, count) + struct.pack("<%df" % len(values), *values)


with open(os.path.join(HERE, "custom_vca.crve"), "wb") as f:
    f.write(blob(CUSTOM_VCA))
with open(os.path.join(HERE, "custom_pan.crve"), "wb") as f:
    f.write(blob(CUSTOM_PAN))
