#!/bin/sh
# Whole-process comparison with sox: the same filter applied to the same
# file, start to finish (read, filter, write), by sox and by the pack through
# the reference host. Uses hyperfine when present, else a plain timed loop.
# Also prints how far the two outputs lie apart.
#
#   bench/filters_vs_sox.sh [build-dir]     (default: build)
#
# The small driver that runs a module over a file is compiled here from the
# text below against the build's host library.
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac
export TAM_PACK=$BUILD/tam.so
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

cat > "$WORK/driver.cpp" <<'DRIVER'
// driver in.wav out.wav ModuleId inputPins outputPins [pin=value | pin=valuei]...
#include <sndfile.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>
#include "tamhost/DspHost.h"

static std::vector<int> pins(const char* text) {
    std::vector<int> out;
    std::stringstream s(text);
    std::string item;
    while (std::getline(s, item, ',')) out.push_back(std::stoi(item));
    return out;
}

int main(int argc, char** argv) {
    if (argc < 6) return 2;
    SF_INFO info{};
    SNDFILE* in = sf_open(argv[1], SFM_READ, &info);
    if (!in) return 1;
    SF_INFO outInfo = info;
    outInfo.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* out = sf_open(argv[2], SFM_WRITE, &outInfo);
    if (!out) return 1;
    const auto inputs = pins(argv[4]), outputs = pins(argv[5]);
    const int block = 512;
    const int channels = info.channels;
    std::vector<float> interleaved(static_cast<size_t>(block) * channels);
    std::vector<std::vector<float>> ins(inputs.size(), std::vector<float>(block));
    std::vector<std::vector<float>> outs(outputs.size(), std::vector<float>(block));
    auto readBlock = [&]() {
        const int n = static_cast<int>(sf_readf_float(in, interleaved.data(), block));
        for (size_t c = 0; c < ins.size(); ++c)
            for (int i = 0; i < n; ++i) ins[c][i] = interleaved[i * channels + c % channels];
        return n;
    };
    auto writeBlock = [&](int n) {
        for (size_t c = 0; c < outs.size(); ++c)
            for (int i = 0; i < n; ++i) interleaved[i * channels + c] = outs[c][i];
        sf_writef_float(out, interleaved.data(), n);
    };

    tamhost::DspOptions options;
    options.sampleRate = static_cast<float>(info.samplerate);
    options.blockSize = block;
    tamhost::DspModule m(argv[3], options);
    int n = readBlock();
    for (size_t c = 0; c < inputs.size(); ++c) {
        m.setAudioInput(inputs[c], std::vector<float>(ins[c].begin(), ins[c].begin() + n));
        m.setStreaming(inputs[c], true);
    }
    for (int a = 6; a < argc; ++a) {
        std::string arg = argv[a];
        const auto eq = arg.find('=');
        const int pin = std::stoi(arg.substr(0, eq));
        std::string value = arg.substr(eq + 1);
        if (value.back() == 'i') m.setInt(pin, std::stoi(value));
        else m.setAudioInputConstant(pin, std::stof(value));
    }
    // The first block goes through the host (it carries graph start and the
    // pin values); the rest stream through the module's own buffers, as a
    // host would run them.
    m.run(n, block);
    for (size_t c = 0; c < outputs.size(); ++c) {
        const auto& y = m.output(outputs[c]);
        std::copy(y.begin(), y.begin() + n, outs[c].begin());
    }
    writeBlock(n);
    for (size_t c = 0; c < inputs.size(); ++c) m.plugin()->setBuffer(inputs[c], ins[c].data());
    for (size_t c = 0; c < outputs.size(); ++c) m.plugin()->setBuffer(outputs[c], outs[c].data());
    while ((n = readBlock()) > 0) {
        m.plugin()->process(n, nullptr);
        writeBlock(n);
    }
    sf_close(in);
    sf_close(out);
    return 0;
}
DRIVER
c++ -O2 -std=c++20 -I"$ROOT" -I"$ROOT/host" "$WORK/driver.cpp" "$BUILD/host/libtamhost_lib.a" \
    -ldl -lsndfile -lpthread -o "$WORK/driver"

# Two minutes of noise at 44.1 kHz, mono and stereo, as 32-bit float.
sox -D -V1 -n -r 44100 -c 1 -e floating-point -b 32 "$WORK/mono.wav" synth 120 whitenoise vol 0.25
sox -D -V1 -n -r 44100 -c 2 -e floating-point -b 32 "$WORK/stereo.wav" synth 120 whitenoise vol 0.25

# name | sox effect | input file | driver arguments
run_case() {
    name=$1 effect=$2 file=$3
    shift 3
    sox_cmd="sox -D -V1 $WORK/$file -e floating-point -b 32 $WORK/sox-$name.wav $effect"
    tam_cmd="$WORK/driver $WORK/$file $WORK/tam-$name.wav $*"
    echo "== $name: sox '$effect' vs $1"
    if command -v hyperfine >/dev/null 2>&1; then
        hyperfine -N --warmup 1 --runs 5 -n "sox $name" "$sox_cmd" -n "tam $name" "$tam_cmd" 2>/dev/null |
            grep -E "Time|±|faster|sox|tam" || true
    else
        for cmd in "$sox_cmd" "$tam_cmd"; do
            start=$(date +%s.%N); sh -c "$cmd"; end=$(date +%s.%N)
            echo "  $(echo "$end - $start" | bc) s: $cmd"
        done
    fi
    /usr/bin/python3 - "$WORK/sox-$name.wav" "$WORK/tam-$name.wav" <<'PY'
import sys
import numpy as np
from scipy.io import wavfile
import warnings
warnings.simplefilter("ignore")
a = wavfile.read(sys.argv[1])[1].astype(float)
b = wavfile.read(sys.argv[2])[1].astype(float)
print(f"  largest difference between the outputs: {np.max(np.abs(a - b)):.2e} (peak {np.max(np.abs(a)):.2f})")
PY
}

# The one-pole low pass at 880 Hz (pitch 0.5 V/oct); the biquad low pass at
# 880 Hz with resonance 0.1 (a cookbook Q of 1.25); the equaliser peaking
# 0.3 (= 40 log10(9^0.3) dB) at 880 Hz over half an octave, in stereo.
run_case onepole "lowpass -1 880" mono.wav TamFilter1Pole 0 3 1=0i 2=0.5 4=0i
run_case biquad "lowpass 880 1.25q" mono.wav TamFilter4Pole 0 5 1=0i 2=0i 3=0.5 4=0.1 6=0i
run_case biquad4 "lowpass 880 1.25q lowpass 880 1.25q lowpass 880 1.25q lowpass 880 1.25q" mono.wav \
    TamFilter4Pole 0 5 1=0i 2=3i 3=0.5 4=0.1 6=0i
run_case equaliser "equalizer 880 0.5o 11.451225" stereo.wav TamParametricEQ 0,1 7,8 2=1i 3=0i 4=0.3 5=0.5 6=0.5 9=0i
