#!/bin/sh
# Compares TamOscillator's rising ramp with csound's band-limited oscillator
# (vco2, sawtooth) in one run: time to synthesise the same seconds of a 997 Hz
# ramp at 48 kHz (no file output for the timing), then the worst
# non-harmonic component below a third of the rate in each output (dBc).
#
#   bench/oscillator_vs_csound.sh [build-dir] [seconds]   (defaults: build, 60)
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
SECONDS_OUT=${2:-60}
[ "$SECONDS_OUT" -ge 2 ] || SECONDS_OUT=2
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac
export TAM_PACK=$BUILD/tam.so
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

cat > "$WORK/driver.cpp" <<'DRIVER'
// driver seconds [out.f32]: the ramp at 997 Hz / 48 kHz in blocks of 64.
#include <cstdio>
#include <cstdlib>
#include "tamhost/DspHost.h"
int main(int argc, char** argv) {
    const long frames = std::atol(argv[1]) * 48000L;
    tamhost::DspOptions o;
    o.sampleRate = 48000.0f;
    o.blockSize = 64;
    o.recordOutputs = false;
    tamhost::DspModule m("TamOscillator", o);
    m.setInt(1, 2);
    m.setInt(10, 1);
    m.setAudioInputConstant(5, 0.0997f);
    m.setAudioInputConstant(4, 1.0f);
    FILE* f = argc > 2 ? std::fopen(argv[2], "wb") : nullptr;
    for (long done = 0; done < frames; done += 64) {
        m.runBlock(64);
        if (f)
            std::fwrite(m.buffer(9).data(), 4, 64, f);
    }
    if (f)
        std::fclose(f);
    return 0;
}
DRIVER
c++ -O2 -std=c++20 -I"$ROOT" -I"$ROOT/host" "$WORK/driver.cpp" "$BUILD/host/libtamhost_lib.a" \
    -ldl -lsndfile -lpthread $(pkg-config --libs pangocairo cairo) -o "$WORK/driver"

cat > "$WORK/ramp.csd" <<CSD
<CsoundSynthesizer>
<CsOptions>
-d -m0
</CsOptions>
<CsInstruments>
sr = 48000
ksmps = 64
nchnls = 1
0dbfs = 1
instr 1
  a1 vco2 1, 997, 0
  out a1
endin
</CsInstruments>
<CsScore>
i 1 0 $SECONDS_OUT
</CsScore>
</CsoundSynthesizer>
CSD

echo "Synthesis of $SECONDS_OUT s of a 997 Hz ramp at 48 kHz:"
tam_cmd="$WORK/driver $SECONDS_OUT"
cs_cmd="csound -n $WORK/ramp.csd"
if command -v hyperfine >/dev/null 2>&1; then
    hyperfine -N --warmup 1 --runs 5 -n "tam TamOscillator" "$tam_cmd" -n "csound vco2" "$cs_cmd" 2>/dev/null |
        grep -E 'Time|±|faster|^ ' || true
else
    for cmd in "$tam_cmd" "$cs_cmd"; do
        start=$(date +%s.%N); $cmd >/dev/null 2>&1; end=$(date +%s.%N)
        echo "$cmd: $(echo "$end - $start" | bc) s"
    done
fi

# A second of each (after the first tenth) for the spectrum.
"$WORK/driver" 2 "$WORK/tam.f32"
csound -d -m0 -f -o "$WORK/cs.wav" "$WORK/ramp.csd" >/dev/null 2>&1 || csound -f -o "$WORK/cs.wav" "$WORK/ramp.csd" >/dev/null 2>&1
/usr/bin/python3 - "$WORK/tam.f32" "$WORK/cs.wav" <<'PY'
import sys
import numpy as np
import scipy.io.wavfile as wf
def worst(x, rate=48000):
    x = x[4800:4800 + 48000]
    X = np.abs(np.fft.rfft(x)) * 2 / len(x)       # bins of 1 Hz
    f = np.arange(len(X))
    fund = X[997]
    mask = (f > 0) & (f < rate / 3) & (f % 997 != 0)
    return 20 * np.log10(X[mask].max() / fund), fund
tam = np.fromfile(sys.argv[1], dtype=np.float32).astype(float)
import warnings
warnings.simplefilter("ignore")
_, cs = wf.read(sys.argv[2])
cs = cs.astype(float)
for name, x in (("tam TamOscillator", tam), ("csound vco2", cs)):
    w, fund = worst(x)
    print(f"{name}: fundamental {fund:.4f}, worst non-harmonic below 16 kHz {w:.1f} dBc")
PY
