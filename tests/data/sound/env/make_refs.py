#!/usr/bin/python3
# Reference values for the envelope and curve tests, worked out in float64
# from the behaviour's own definitions (tables, time law, stage recurrences,
# follower rings). Rerun with:
#   /usr/bin/python3 tests/data/sound/env/make_refs.py
# It rewrites refs.json beside itself.
import json
import math
import os

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))

I = np.arange(514, dtype=np.float64)
TABLE_EXP = 1.0 + (1.0 - np.exp((1.0 - I / 512.0) * -3.0)) * -1.0523957


def table_db():
    out = np.zeros(514)
    for i in range(1, 514):
        x = (i / 512.0 - 1.0) * 3.8888888
        if x < -3.5:
            x = (x + 3.5) * 2.0 - 3.5
        out[i] = 10.0 ** (x * 0.5)
    return out


TABLE_DB = table_db()
TABLE_DB_ADJ = 10.0 ** (2.0 * I / 512.0 - 1.0)
TABLE_SIN = np.sin(I * 1.5707964 / 512.0)
TABLE_SQR = np.sqrt(I / 512.0)


def time_law(v, rate):
    v = min(max(v, 0.0), 1.0)
    index = int(np.rint(v * 511.0))  # nearest, ties to even
    return (TABLE_EXP[index] * 9.998 + 0.002) * rate


def multiplier(length, ratio):
    return 0.0 if length <= 0 else math.exp(-math.log((ratio + 1.0) / ratio) / length)


def steps_until(e, m, b, done):
    n = 0
    while True:
        e = e * m + b
        n += 1
        if done(e):
            return n
        if n > 10_000_000:
            raise RuntimeError("stage never ends")


def adsr_case(rate, mode, a, d, s, r):
    """Step counts of a note from rest, with every pin sent in the first
    group: the attack and decay-release multipliers still carry the start
    ratios (0.2 and 0.01), the bases the curve mode's ratio g."""
    g = 0.01 if mode == 1 else 2.0
    ta, td, tr = time_law(a, rate), time_law(d, rate), time_law(r, rate)
    ma0 = multiplier(ta, 0.2)
    md0 = multiplier(td, 0.01)
    mr0 = multiplier(tr, 0.01)
    attack = steps_until(0.0, ma0, (1 - ma0) * (1 + g), lambda e: e >= 1.0)
    decay = steps_until(1.0, md0, (s - g) * (1 - md0), lambda e: s >= e)
    release = steps_until(s, mr0, (1 - mr0) * -g, lambda e: e <= 0.0)
    # After the attack rate is sent again its multiplier carries g too.
    ma1 = multiplier(ta, g)
    attack_again = steps_until(0.0, ma1, (1 - ma1) * (1 + g), lambda e: e >= 1.0)
    return {"rate": rate, "mode": mode, "attack": a, "decay": d, "sustain": s, "release": r,
            "attack_length": ta, "attack_steps": attack, "decay_steps": decay,
            "release_steps": release, "attack_steps_again": attack_again}


def follower(x, rate, attack, decay, peak):
    """The follower over one signal, in float64, blocks of 64."""
    floor = 0.001
    af = math.exp(-math.log(floor) / (max(attack, 0.0) * rate + 0.5))
    df = math.exp(math.log(floor) / (max(decay * 10.0, 0.0) * rate + 0.5))
    squares = np.zeros(100)
    total = 0.0
    pos = 0
    last = 0.0
    out = np.zeros(len(x))

    def push(v):
        nonlocal total, pos
        total -= squares[pos]
        squares[pos] = v * v
        total += v * v
        r = math.sqrt(max(total / 100.0, 0.0))
        pos = (pos + 1) % 100
        return r

    block = 64
    for start in range(0, len(x), block):
        count = min(block, len(x) - start)
        if last == 0.0:
            for v in x[start:start + min(count, 100)]:
                push(v)
        for j in range(count):
            i = j  # index inside this block
            o = out[start:start + count]
            level = push(x[start + j])
            if peak:
                level = max(float(squares.max()), 0.0)
            fall = max(floor, last * df)
            if fall > level:
                o[i] = fall
            elif last * af > level:
                o[i] = level
            else:
                n = min(i, 50)
                v = level / af
                k = 1
                ended = False
                while k <= n - 2:
                    if not v > o[i - k]:
                        o[i] = level
                        ended = True
                        break
                    o[i - k] = v
                    v /= af
                    k += 1
                if not ended:
                    if n <= 1:
                        o[i] = level
                    else:
                        b = o[i - k]
                        if not v > b:
                            o[i] = level
                        else:
                            for m in range(1, n):
                                o[i - k + m] = b * af ** m
            last = o[i]
    return out


def main():
    refs = {}
    refs["table_exp"] = TABLE_EXP[:512].tolist()
    refs["curves"] = [
        (I[:512] * 0.001953125).tolist(),
        TABLE_EXP[:512].tolist(),
        TABLE_DB[:512].tolist(),
        TABLE_DB_ADJ[:512].tolist(),
        TABLE_SIN[:512].tolist(),
        TABLE_SQR[:512].tolist(),
    ]
    refs["adsr"] = [
        adsr_case(48000.0, 1, 0.3, 0.3, 0.5, 0.3),
        adsr_case(48000.0, 0, 0.3, 0.3, 0.5, 0.3),
        adsr_case(44100.0, 1, 0.1, 0.2, 0.25, 0.15),
        adsr_case(96000.0, 0, 0.05, 0.1, 0.8, 0.1),
        adsr_case(48000.0, 1, 0.0, 0.0, 0.7, 0.0),
    ]
    # 960 Hz at 48 kHz: 100 samples hold two whole periods, so the steady
    # RMS is A / sqrt(2) and the greatest square A^2.
    rate = 48000.0
    amplitude = 0.5
    # Silence first, so that the rise lands mid-block and the ramp is laid
    # back over samples already written.
    lead, n_on, n_off = 1000, 4096, 6144
    k = np.arange(lead + n_on + n_off)
    x = np.where((k >= lead) & (k < lead + n_on), amplitude * np.cos(2 * np.pi * (k - lead) / 50.0), 0.0)
    cases = []
    for peak in (False, True):
        for attack, decay in ((0.002, 0.001), (0.0005, 0.0003)):
            cases.append({"peak": peak, "attack": attack, "decay": decay,
                          "output": follower(x, rate, attack, decay, peak).tolist()})
    refs["follower"] = {"rate": rate, "amplitude": amplitude, "lead": lead, "on": n_on, "off": n_off,
                        "period": 50, "cases": cases}
    # A sound that starts at the first sample: its first 100 samples pass
    # the rings twice, so the RMS starts high.
    onset = amplitude * np.cos(2 * np.pi * np.arange(256) / 50.0)
    refs["follower_onset"] = [{"peak": peak, "output": follower(onset, rate, 0.002, 0.001, peak).tolist()}
                              for peak in (False, True)]
    with open(os.path.join(HERE, "refs.json"), "w") as f:
        json.dump(refs, f)


if __name__ == "__main__":
    main()
