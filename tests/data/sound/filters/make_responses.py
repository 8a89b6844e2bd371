#!/usr/bin/python3
# Makes responses.txt: expected magnitude and phase of every filter case at a
# set of frequencies, from independent references:
#   - sox's impulse responses where sox has the same design (one-pole low
#     pass, the biquads, the peaking equaliser, the bass shelf), checked
#     against scipy's bilinear transforms of the analog prototypes;
#   - scipy.signal.freqz of the transfer functions worked out by hand for the
#     state-variable filter, the one-pole high pass and the high shelf.
# Where the module departs from the textbook design (state-variable frequency
# law, biquad Q, high shelf, the equaliser's gain of 9 to the gain instead of
# a gain in decibels) a last column holds the textbook response, which the
# test requires to miss the measurement.
#
# Rerun:  cd tests/data/sound/filters && /usr/bin/python3 make_responses.py
import math
import os
import subprocess
import tempfile

import numpy as np
from scipy import signal

TWO_PI = 6.2831855          # the pack's single-precision 2 pi
LENGTH = 32768              # impulse response length used by the test
IMPULSE = 0.25              # sox works in fixed point: keep peaks below 1
f32 = np.float32


def freq_grid(rate, extra):
    grid = list(np.geomspace(30.0, rate * 0.45, 28)) + list(extra)
    return sorted(set(round(f, 3) for f in grid if 10.0 < f < rate * 0.49))


def freqz_at(b, a, freqs, rate):
    _, h = signal.freqz(b, a, worN=np.asarray(freqs, dtype=float), fs=rate)
    return h


def cascade(b, a, n):
    bb, aa = np.array([1.0]), np.array([1.0])
    for _ in range(n):
        bb, aa = np.convolve(bb, b), np.convolve(aa, a)  # keeps leading zeros (delays)
    return bb, aa


def sox_response(rate, effects, freqs):
    """Impulse through sox; returns H at freqs and the raw response."""
    with tempfile.TemporaryDirectory() as tmp:
        src, dst = os.path.join(tmp, "in.f32"), os.path.join(tmp, "out.f32")
        x = np.zeros(LENGTH, dtype=np.float32)
        x[0] = IMPULSE
        x.tofile(src)
        cmd = ["sox", "-D", "-V1", "-t", "f32", "-r", str(int(rate)), "-c", "1", src,
               "-t", "f32", dst] + effects
        subprocess.run(cmd, check=True)
        y = np.fromfile(dst, dtype=np.float32).astype(float) / IMPULSE
    n = np.arange(len(y))
    h = np.array([np.sum(y * np.exp(-2j * np.pi * f * n / rate)) for f in freqs])
    return h, " ".join(cmd[:3] + ["..."] + effects)


def agree(h1, h2, what, tol_db=0.02):
    m1, m2 = np.abs(h1), np.abs(h2)
    mask = 20 * np.log10(np.maximum(m1, 1e-30)) > -60
    err = np.max(np.abs(20 * np.log10(m1[mask]) - 20 * np.log10(m2[mask])))
    assert err < tol_db, f"{what}: sox and scipy differ by {err} dB"


def textbook_must_miss(h, h_text, what, min_db=0.3):
    m1, m2 = np.abs(h), np.abs(h_text)
    mask = 20 * np.log10(np.maximum(m1, 1e-30)) > -40
    err = np.max(np.abs(20 * np.log10(m1[mask]) - 20 * np.log10(m2[mask])))
    assert err > min_db, f"{what}: textbook design is too close ({err} dB)"


# ---- pitch laws ------------------------------------------------------------
def round_half_even(x):
    return int(np.rint(x))


def table_hz(pitch):            # volts law of the table-driven filters
    i = round_half_even(min(max(pitch, 0.0), 1.0) * 511.0)
    return 440.0 * 2.0 ** (i * 0.001953125 * 10.0 + 1.0 - 5.0)


def linear_hz(pitch, law):
    hz = min(pitch, 1.0) * 10000.0 if law == 1 else min(pitch * 10.0, 20000.0)
    return max(hz, 0.0)


def biquad_hz(pitch, law):
    if law == 0:
        e = -3.999 if pitch < 0.0001 else min(0.933, pitch) * 10.0 + 1.0 - 5.0
        return 440.0 * 2.0 ** e
    return linear_hz(pitch, law)


cases = []


def add(name, module, rate, pins, freqs, h, textbook=None, source=""):
    cases.append((name, module, rate, pins, freqs, h, textbook, source))


# ---- one pole ----------------------------------------------------------------
def one_pole(name, rate, mode, law, pitch):
    if law == 0:
        hz = min(rate * 0.495, table_hz(pitch))
        a = float(f32(math.exp(hz * (-TWO_PI / rate))))
    else:
        hz = min(rate * 0.495, linear_hz(pitch, law))
        a = float(f32(math.exp(-TWO_PI / rate * hz)))
    freqs = freq_grid(rate, [hz])
    pins = f"1:enum:{mode} 2:audio:{pitch!r} 4:enum:{law}"
    if mode == 0:
        # Low pass y = (1 - a) x + a y, the impulse-invariant one-pole.
        h = freqz_at([1.0 - a], [1.0, -a], freqs, rate)
        hs, cmd = sox_response(rate, ["lowpass", "-1", repr(hz)], freqs)
        agree(h, hs, name)
        add(name, "TamFilter1Pole", rate, pins, freqs, hs, source=cmd)
    else:
        # High pass x - y = a (1 - z^-1) / (1 - a z^-1).
        h = freqz_at([a, -a], [1.0, -a], freqs, rate)
        add(name, "TamFilter1Pole", rate, pins, freqs, h, source="scipy")


one_pole("onepole_lp_volts_44k", 44100.0, 0, 0, 0.5)
one_pole("onepole_hp_volts_48k", 48000.0, 1, 0, 0.3)
one_pole("onepole_lp_10k_96k", 96000.0, 0, 1, 0.25)
one_pole("onepole_hp_10hz_44k", 44100.0, 1, 2, 50.0)
one_pole("onepole_lp_limit_44k", 44100.0, 0, 2, 2000.0)


# ---- state-variable ----------------------------------------------------------
def svf_tf(f, q, response):
    # Worked out from L = L' + f B', h = x - q B' - L, B = B' + f h:
    den = [1.0, f * q + f * f - 2.0, 1.0 - f * q]
    num = {0: [0.0, f * f, 0.0], 1: [1.0, -2.0, 1.0], 2: [f, -f, 0.0],
           3: [1.0, -2.0 + f * f, 1.0]}[response]
    return num, den


def svf(name, rate, response, stages, law, pitch, res):
    table_limit = lambda i: float(f32((i * 0.009 + i * 2.5e-5 * i + 7.8) * 0.1))
    if law == 0:
        hz = min(rate * 0.5, table_hz(pitch))
        f = float(f32(hz * TWO_PI / rate))
    else:
        hz = min(rate * 0.5, linear_hz(pitch, law))
        f = float(f32(max(1e-5, hz * TWO_PI / rate)))
    q = 2.0 if res < 0 else float(f32(2.0 - 2.0 * min(0.9992, res)))
    fmax = table_limit(round_half_even(min(max(res, 0.0), 0.9992) * 511.0))
    f = min(f, fmax)
    fc = f * rate / TWO_PI      # the cut-off the coefficient stands for
    freqs = freq_grid(rate, [fc, fc * 0.9, fc * 1.1])
    b, a = cascade(*svf_tf(f, q, response), stages + 1)
    h = freqz_at(b, a, freqs, rate)
    # Textbook Chamberlin: f = 2 sin(pi fc / fs).
    ft = 2.0 * math.sin(math.pi * fc / rate)
    bt, at = cascade(*svf_tf(ft, q, response), stages + 1)
    ht = freqz_at(bt, at, freqs, rate)
    textbook_must_miss(h, ht, name)
    pins = f"1:enum:{response} 2:enum:{stages} 3:audio:{pitch!r} 4:audio:{res!r} 6:enum:{law}"
    add(name, "TamFilter2Pole", rate, pins, freqs, h, ht, "scipy")


svf("svf_lp_volts_44k", 44100.0, 0, 0, 0, 0.85, 0.5)
svf("svf_hp_10k_48k", 48000.0, 1, 0, 1, 0.5, 0.8)
svf("svf_bp_volts_96k", 96000.0, 2, 0, 0, 0.95, 0.9)
svf("svf_notch_10hz_44k", 44100.0, 3, 0, 2, 600.0, 0.2)
svf("svf_lp_stages_48k", 48000.0, 0, 2, 0, 0.9, 0.3)
svf("svf_lp_fmax_44k", 44100.0, 0, 0, 1, 1.0, 0.0)


# ---- biquad --------------------------------------------------------------------
SOX_NAMES = {0: "lowpass", 1: "highpass", 2: "bandpass", 3: "bandreject", 4: "allpass"}


def analog_prototype(response, q):
    return {0: ([1.0], [1.0, 1.0 / q, 1.0]), 1: ([1.0, 0.0, 0.0], [1.0, 1.0 / q, 1.0]),
            2: ([1.0 / q, 0.0], [1.0, 1.0 / q, 1.0]), 3: ([1.0, 0.0, 1.0], [1.0, 1.0 / q, 1.0]),
            4: ([1.0, -1.0 / q, 1.0], [1.0, 1.0 / q, 1.0])}[response]


def bilinear_biquad(response, hz, q, rate):
    # Prototype at 1 rad/s, scaled to the cut-off prewarped for the bilinear map.
    wc = 2.0 * rate * math.tan(math.pi * hz / rate)
    b, a = analog_prototype(response, q)
    n = len(a) - 1
    b = np.concatenate([np.zeros(len(a) - len(b)), b])
    bs = [b[k] / wc ** (n - k) for k in range(n + 1)]
    as_ = [a[k] / wc ** (n - k) for k in range(n + 1)]
    return signal.bilinear(bs, as_, fs=rate)


def biquad(name, rate, response, stages, law, pitch, res, float_coefficients=False):
    hz = biquad_hz(pitch, law)
    q = (0.099999994 if res < 0.005 else 2.0 * min(1.0, res) * 10.0) + 0.5
    cookbook_q = q / 2.0          # this filter's Q divides sin(w) directly
    freqs = freq_grid(rate, [hz])
    b, a = bilinear_biquad(response, hz, cookbook_q, rate)
    if float_coefficients:
        b = np.asarray(b, dtype=np.float32).astype(float)
        a = np.asarray(a, dtype=np.float32).astype(float)
    h = freqz_at(*cascade(b, a, stages + 1), freqs, rate)
    effects = [SOX_NAMES[response], repr(hz), f"{cookbook_q!r}q"] * (stages + 1)
    hs, cmd = sox_response(rate, effects, freqs)
    if not float_coefficients:
        agree(h, hs, name)
        h = hs
    bt, at = bilinear_biquad(response, hz, q, rate)   # the figure read as a cookbook Q
    ht = freqz_at(*cascade(bt, at, stages + 1), freqs, rate)
    if response != 4:
        textbook_must_miss(h, ht, name)
    else:
        ht = None                 # an all pass has unit magnitude either way
    pins = f"1:enum:{response} 2:enum:{stages} 3:audio:{pitch!r} 4:audio:{res!r} 6:enum:{law}"
    add(name, "TamFilter4Pole", rate, pins, freqs, h, ht, cmd if not float_coefficients else "scipy")


biquad("biquad_lp_volts_44k", 44100.0, 0, 0, 0, 0.5, 0.1)
biquad("biquad_hp_10k_48k", 48000.0, 1, 0, 1, 0.2, 0.0)
biquad("biquad_bp_volts_96k", 96000.0, 2, 0, 0, 0.7, 0.05)
biquad("biquad_notch_10hz_44k", 44100.0, 3, 0, 2, 100.0, 0.02)
biquad("biquad_ap_volts_48k", 48000.0, 4, 0, 0, 0.4, 0.2)
biquad("biquad_lp_stages_44k", 44100.0, 0, 3, 0, 0.55, 0.03)
biquad("biquad_lp_top_48k", 48000.0, 0, 0, 0, 1.0, 0.0)
biquad("biquad_lp_bottom_44k", 44100.0, 0, 0, 0, 0.0, 0.0, float_coefficients=True)


# ---- equaliser ------------------------------------------------------------------
def eq(name, rate, eq_type, law, freq, bandwidth, gain):
    hz = biquad_hz(freq, law)
    w = hz * TWO_PI / rate
    A = 9.0 ** gain
    S = 0.002 if bandwidth < 0.002 else min(1.0, bandwidth)
    db = 40.0 * math.log10(A)
    freqs = freq_grid(rate, [hz, hz * 0.7, hz * 1.4])
    wc = 2.0 * rate * math.tan(w / 2.0)
    ht = None
    if eq_type == 0:
        # Peaking prototype (s^2 + s A/Q + 1) / (s^2 + s/(A Q) + 1), with the
        # bandwidth in octaves turned into Q as the bilinear map needs.
        inv_q = 2.0 * math.sinh(math.log(2.0) / 2.0 * S * w / math.sin(w))
        b, a = signal.bilinear([1 / wc**2, A * inv_q / wc, 1.0], [1 / wc**2, inv_q / (A * wc), 1.0], fs=rate)
        h = freqz_at(b, a, freqs, rate)
        hs, cmd = sox_response(rate, ["equalizer", repr(hz), f"{S!r}o", repr(db)], freqs)
        agree(h, hs, name)
        h = hs
        # The gain read as decibels per volt (10 dB per unit) would miss.
        ht, _ = sox_response(rate, ["equalizer", repr(hz), f"{S!r}o", repr(gain * 10.0)], freqs)
        textbook_must_miss(h, ht, name)
    elif eq_type == 1:
        # Low shelf prototype A (s^2 + (sqrt A / Q) s + A) / (A s^2 + (sqrt A / Q) s + 1).
        inv_q = math.sqrt((A + 1 / A) * (1 / S - 1) + 2)
        r = math.sqrt(A)
        b, a = signal.bilinear([A / wc**2, A * r * inv_q / wc, A * A], [A / wc**2, r * inv_q / wc, 1.0], fs=rate)
        h = freqz_at(b, a, freqs, rate)
        hs, cmd = sox_response(rate, ["bass", repr(db), repr(hz), f"{S!r}s"], freqs)
        agree(h, hs, name)
        h = hs
        ht, _ = sox_response(rate, ["bass", repr(gain * 10.0), repr(hz), f"{S!r}s"], freqs)
        textbook_must_miss(h, ht, name)
    else:
        # This module's high shelf: the slope term is sinh(A) / S.
        sn, cs = math.sin(w), math.cos(w)
        m = A - 1.0
        t = m * cs
        v = sn * math.sinh(A) / S
        u, n = 1.0 + A + t, 1.0 + A - t
        b = [(u + v) * A, (m + cs * (1 + A)) * (-2 * A), (u - v) * A]
        a = [n + v, 2 * (m - cs * (1 + A)), n - v]
        assert np.all(np.abs(np.roots(a)) < 1.0), name
        h = freqz_at(b, a, freqs, rate)
        ht, _ = sox_response(rate, ["treble", repr(db), repr(hz), f"{S!r}s"], freqs)
        textbook_must_miss(h, ht, name)
        cmd = "scipy"
    pins = f"2:enum:1 3:enum:{eq_type} 4:audio:{gain!r} 5:audio:{freq!r} 6:audio:{bandwidth!r} 9:enum:{law}"
    add(name, "TamParametricEQ", rate, pins, freqs, h, ht, cmd)


eq("eq_peak_volts_44k", 44100.0, 0, 0, 0.5, 0.5, 0.3)
eq("eq_cut_10k_96k", 96000.0, 0, 1, 0.3, 1.0, -0.4)
eq("eq_lowshelf_10hz_48k", 48000.0, 1, 2, 200.0, 0.8, 0.25)
eq("eq_highshelf_volts_44k", 44100.0, 2, 0, 0.6, 0.7, 0.2)
eq("eq_highshelf_cut_48k", 48000.0, 2, 0, 0.55, 0.9, -0.2)

with open("responses.txt", "w") as out:
    out.write("# Made by make_responses.py; rerun it there with /usr/bin/python3.\n")
    out.write("# case <name> <module> <rate> <length> <pins: index:type:value ...>\n")
    out.write("# then per frequency: hz magnitude_db phase_rad textbook_magnitude_db (nan: none)\n")
    for name, module, rate, pins, freqs, h, ht, source in cases:
        out.write(f"# {name}: {source}\n")
        out.write(f"case {name} {module} {rate:g} {LENGTH} {pins}\n")
        for k, f in enumerate(freqs):
            mag = 20 * math.log10(max(abs(h[k]), 1e-30))
            ph = float(np.angle(h[k]))
            tb = "nan" if ht is None else f"{20 * math.log10(max(abs(ht[k]), 1e-30)):.6f}"
            out.write(f"{f:.3f} {mag:.6f} {ph:.7f} {tb}\n")
        out.write("end\n")
print(f"{len(cases)} cases")
