#!/usr/bin/python3
# Reference values for the oscillator and wave table tests, worked out by
# direct summation of sines and by analytic noise spectra (no transform of
# the pack's own kind). Rerun: /usr/bin/python3 tests/data/sound/osc/make_refs.py
import json, os
import numpy as np

here = os.path.dirname(os.path.abspath(__file__))
out = {}

def coeffs(kind, h):
    k = np.arange(1, h + 1, dtype=float)
    if kind == 0:
        return 1.0 / ((k - 0.8) * k)
    if kind == 1:
        return np.where(k % 2 == 1, 1.0 / k, 0.0)
    if kind == 2:
        return 1.0 / k
    if kind == 3:
        odd = np.arange(1, h + 1) % 2 == 1
        sign = np.zeros(h)
        sign[odd] = np.where(np.arange(odd.sum()) % 2 == 0, -1.0, 1.0)
        return np.where(odd, sign / (k * k), 0.0)
    return -1.0 / k

def band_table(kind, size, h):
    # table[n] = sum 2 a(k) sin(2 pi k n / size), by direct summation
    h = min(size // 2, h)
    n = np.arange(size)[:, None]
    k = np.arange(1, h + 1)[None, :]
    return (2.0 * coeffs(kind, h)[None, :] * np.sin(2 * np.pi * k * n / size)).sum(axis=1)

def family(kind, rate, lowest=20.0):
    H = int(np.trunc(rate / (3.0 * lowest) + 0.5))
    p = 1
    while p < H:
        p *= 2
    size = 4 * p
    first = band_table(kind, size, H)
    gain = 0.999 / np.abs(first).max()
    bands = []
    limit = 2.0 * lowest / rate
    while True:
        bands.append({"harmonics": H, "size": size, "limit": limit})
        if size > 99999:
            size //= 2
        last = H < 2
        H //= 2
        limit *= 2
        if last:
            break
    return gain, bands

# Band layout at two rates.
for rate in (44100, 48000):
    gain, bands = family(4, rate)
    out["bands_%d" % rate] = bands

# Harmonic amplitudes at 1 kHz / 48 kHz for the sine-like and ramp recipes:
# amplitude of harmonic k at the output = 2 a(k) gain (level 1).
for kind, name in ((0, "sine"), (4, "rising"), (2, "falling"), (3, "triangle")):
    gain, _ = family(kind, 48000)
    a = coeffs(kind, 12)
    out["harm_" + name] = {"gain": gain, "amplitudes": list(np.abs(2.0 * a * gain))}

# Square band used at 1 kHz / 48 kHz (band 5: 25 harmonics, 4096 points),
# its value a quarter cycle in: a 50% pulse is 1.2 times it.
gain_sq, bands48 = family(1, 48000)
t = band_table(1, 4096, 25) * gain_sq
out["square_quarter_1k"] = t[1024]

# Pitch mode 0: the frequency for a few pitch values (volts / 10).
def mode0(p):
    q = min(max((p + 1.0) * 0.5, 0.0), 1.0)
    idx = int(np.round(q * 32767.0))  # numpy rounds half to even
    i = idx - 16384
    return float(np.float32(440.0 * 2.0 ** (i * 6.1035156e-5 * 10.0 + 1.0 - 5.0))) * 0.5
out["mode0"] = [{"pitch": p, "hz": mode0(p)} for p in (0.5, 0.3, 0.6, 0.0)]

# White noise of the generator: y = (a[n] + b[n//2] + c[n//4]) / 8 with
# uniform draws on the 15-bit grid. Averaged spectrum, per unit draw variance:
# S(w) = 1 + |D2|^2 / 2 + |D4|^2 / 4, D_L the sum of L unit delays.
c = 6.1035156e-5
vals = np.arange(32768) * c - 1.0
var = vals.var()
out["white_std"] = float(np.sqrt(3 * var) / 8.0)
out["white_mean"] = float(3 * vals.mean() / 8.0)

def white_psd(w):
    d2 = np.abs(1 + np.exp(-1j * w)) ** 2
    d4 = np.abs(sum(np.exp(-1j * w * m) for m in range(4))) ** 2
    return (1 + d2 / 2 + d4 / 4) * var / 64.0

def pink_h(w):
    z = np.exp(-1j * w)
    h = 0.5362 + 0.115926 * z
    for b, g in ((0.99886, 0.0555179), (0.99332, 0.0750759), (0.969, 0.153852), (0.8665, 0.3104856), (0.55, 0.5329522)):
        h = h + g / (1 - b * z)
    h = h - 0.016898 / (1 + 0.7616 * z)
    return 0.3 * h

def band_power(psd, rate, lo, hi):
    f = np.linspace(lo, hi, 4001)
    return np.trapz(psd(2 * np.pi * f / rate), f)

rate = 44100
# Mean density in a low band over that in a high band.
out["white_band_ratio"] = (band_power(white_psd, rate, 100, 2000) / 1900) / (band_power(white_psd, rate, 18000, 21000) / 3000)
pink = lambda w: white_psd(w) * np.abs(pink_h(w)) ** 2
out["pink_octave_ratio"] = band_power(pink, rate, 200, 400) / band_power(pink, rate, 3200, 6400)
f = np.linspace(0, rate / 2, 200001)
out["pink_rms"] = float(np.sqrt(np.trapz(pink(2 * np.pi * f / rate), f) / (rate / 2)))
# Blue is 1.5 w^2: its mean is 1.5 times the white mean square.
out["blue_mean"] = float(1.5 * (out["white_std"] ** 2 + out["white_mean"] ** 2))

# Cross-check the white and pink figures by simulation with numpy's own draws.
rng = np.random.default_rng(7)
n = 1 << 20
a = rng.integers(0, 32768, n) * c - 1
b = np.repeat(rng.integers(0, 32768, n // 2) * c - 1, 2)
cc = np.repeat(rng.integers(0, 32768, n // 4) * c - 1, 4)
y = (a + b + cc) / 8
assert abs(y.std() / out["white_std"] - 1) < 0.01
import scipy.signal as ss
num = np.array([1.0])
p = np.zeros(n)
for bb, g in ((0.99886, 0.0555179), (0.99332, 0.0750759), (0.969, 0.153852), (0.8665, 0.3104856), (0.55, 0.5329522)):
    p += ss.lfilter([g], [1, -bb], y)
p += ss.lfilter([-0.016898], [1, 0.7616], y) + 0.5362 * y + np.concatenate([[0], 0.115926 * y[:-1]])
p *= 0.3
assert abs(p.std() / out["pink_rms"] - 1) < 0.02, (p.std(), out["pink_rms"])

# The transform: a fixed vector and its forward transform.
rng = np.random.default_rng(3)
x = rng.standard_normal(64) + 1j * rng.standard_normal(64)
X = np.fft.fft(x)
out["fft_in"] = {"re": list(x.real), "im": list(x.imag)}
out["fft_out"] = {"re": list(X.real), "im": list(X.imag)}

# The GUI blob for waveforms 0-4 at 7.5 volts (amplitude 0.75), float32.
a = np.float32(0.75)
i = np.arange(256)
blobs = {}
blobs[0] = (np.sin(np.arange(256) * 1.41 * 0.017453292) * 0.75).astype(np.float32)
blobs[1] = ((np.float32(1.0) - i.astype(np.float32) * np.float32(0.007777)) * a).astype(np.float32)
blobs[2] = ((i.astype(np.float32) * np.float32(0.007777) - np.float32(1.0)) * a).astype(np.float32)
v = np.float32(-1.0); tri = []
for k in range(256):
    tri.append(v * a)
    v = np.float32(v + (np.float32(0.0159) if k < 128 else np.float32(-0.0159)))
blobs[3] = np.array(tri, dtype=np.float32)
blobs[4] = np.where(i < 127, a, -a).astype(np.float32)
out["blob_7v5"] = {str(k): [float(x) for x in v] for k, v in blobs.items()}

with open(os.path.join(here, "refs.json"), "w") as fh:
    json.dump(out, fh, indent=1)
