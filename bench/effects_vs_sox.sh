#!/bin/sh
# Whole-process comparison with sox: a comparable effect applied to the same
# file, start to finish (read, process, write), by sox and by the pack through
# the reference host, in one run. Uses hyperfine when present, else a plain
# timed loop. The effects are alike in kind, not in sound, so only the times
# are compared:
#   reverb   sox reverb          / TamFxReverb (stereo)
#   echo     sox echo            / TamFxEcho
#   flanger  sox flanger         / TamFxFlanger (swept by the second channel)
#   phaser   sox phaser          / TamFxPhaser (8 stages)
#   chorus   sox chorus          / TamFxUnison (4 voices)
#   tremolo  sox tremolo         / TamFxLeslie (stereo out)
#
#   bench/effects_vs_sox.sh [build-dir]     (default: build)
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-$ROOT/build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac
export TAM_PACK=$BUILD/tam.so
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

cat > "$WORK/driver.cpp" <<'DRIVER'
// driver in.wav out.wav ModuleId inputPins outputPins [pin=value]...
// value suffixes: i integer, b boolean, f float control; none: still audio.
#include <sndfile.h>
#include <algorithm>
#include <cstdio>
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

// Reads the file in chunks straight into the input signals and writes each
// block as it is rendered, so that memory stays near the size of the input.
int main(int argc, char** argv) {
    if (argc < 6) return 2;
    SF_INFO info{};
    SNDFILE* in = sf_open(argv[1], SFM_READ, &info);
    if (!in) return 1;
    const auto inputs = pins(argv[4]), outputs = pins(argv[5]);
    if (static_cast<int>(outputs.size()) > info.channels) return 2;
    const int channels = info.channels;
    std::vector<std::vector<float>> signals(static_cast<size_t>(channels));
    for (auto& s : signals) s.reserve(static_cast<size_t>(info.frames));
    std::vector<float> chunk(4096 * static_cast<size_t>(channels));
    for (sf_count_t got; (got = sf_readf_float(in, chunk.data(), 4096)) > 0;)
        for (sf_count_t i = 0; i < got; ++i)
            for (int c = 0; c < channels; ++c) signals[c].push_back(chunk[i * channels + c]);
    sf_close(in);

    tamhost::DspOptions options;
    options.sampleRate = static_cast<float>(info.samplerate);
    options.blockSize = 512;
    options.recordOutputs = false;
    tamhost::DspModule m(argv[3], options);
    for (size_t c = 0; c < inputs.size(); ++c) {
        // The last pin that reads a channel takes it over; others copy it.
        const size_t channel = c % channels;
        bool lastUse = true;
        for (size_t later = c + 1; later < inputs.size(); ++later) lastUse &= later % channels != channel;
        m.setAudioInput(inputs[c], lastUse ? std::move(signals[channel]) : signals[channel]);
        m.setStreaming(inputs[c], true);
    }
    for (int a = 6; a < argc; ++a) {
        const std::string arg = argv[a];
        const auto eq = arg.find('=');
        const int pin = std::stoi(arg.substr(0, eq));
        const std::string value = arg.substr(eq + 1);
        switch (value.back()) {
            case 'i': m.setInt(pin, std::stoi(value)); break;
            case 'b': m.setBool(pin, value[0] == '1'); break;
            case 'f': m.setFloat(pin, std::stof(value)); break;
            default: m.setAudioInputConstant(pin, std::stof(value)); break;
        }
    }
    SF_INFO outInfo = info;
    outInfo.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* out = sf_open(argv[2], SFM_WRITE, &outInfo);
    if (!out) return 1;
    std::vector<float> block(512 * static_cast<size_t>(channels), 0.0f);
    for (sf_count_t done = 0; done < info.frames;) {
        const int n = static_cast<int>(std::min<sf_count_t>(512, info.frames - done));
        m.runBlock(n);
        for (size_t c = 0; c < outputs.size(); ++c) {
            const float* y = m.buffer(outputs[c]).data();
            for (int i = 0; i < n; ++i) block[i * channels + c] = y[i];
        }
        sf_writef_float(out, block.data(), n);
        done += n;
    }
    sf_close(out);
    return 0;
}
DRIVER
c++ -O2 -std=c++20 -I"$ROOT" -I"$ROOT/host" "$WORK/driver.cpp" "$BUILD/host/libtamhost_lib.a" \
    -ldl -lsndfile -lpthread -o "$WORK/driver"

# One minute of noise at 48 kHz, mono and stereo, as 32-bit float.
sox -D -V1 -n -r 48000 -c 1 -e floating-point -b 32 "$WORK/mono.wav" synth 60 whitenoise vol 0.25
sox -D -V1 -n -r 48000 -c 2 -e floating-point -b 32 "$WORK/stereo.wav" synth 60 whitenoise vol 0.25
FRAMES=$((48000 * 60))

# Each case runs four commands: sox copying the file, sox with the effect,
# the module switched off (pass-through) and the module on. The differences
# (effect minus copy, on minus off) are the per-sample cost of the effect
# itself; the plain figures are the whole process.
# name | sox effect | input file | on pin | driver arguments (module first)
run_case() {
    name=$1 effect=$2 file=$3 onpin=$4
    shift 4
    copy_cmd="sox -D -V1 $WORK/$file -e floating-point -b 32 $WORK/copy-$name.wav"
    sox_cmd="$copy_cmd $effect"
    off_cmd="$WORK/driver $WORK/$file $WORK/off-$name.wav $* $onpin=0b"
    tam_cmd="$WORK/driver $WORK/$file $WORK/tam-$name.wav $* $onpin=1b"
    echo "== $name: sox '$effect' vs $1"
    if command -v hyperfine >/dev/null 2>&1; then
        hyperfine -N --warmup 1 --runs 5 --export-json "$WORK/$name.json" \
            -n "sox copy" "$copy_cmd" -n "sox $name" "$sox_cmd" -n "tam off" "$off_cmd" -n "tam $name" "$tam_cmd" \
            >/dev/null 2>&1
        /usr/bin/python3 - "$WORK/$name.json" "$FRAMES" <<'PY'
import json, sys
results = json.load(open(sys.argv[1]))["results"]
frames = int(sys.argv[2])
# Wall time suffers when the machine is shared; processor time (user +
# system) is the fairer figure, and both are shown.
cpu = [r["user"] + r["system"] for r in results]
for r, c in zip(results, cpu):
    print("  %-14s wall %7.3f s +- %.3f   cpu %6.3f s   %6.1f ns/frame" %
          (r["command"], r["mean"], r["stddev"], c, c / frames * 1e9))
sox_net = (cpu[1] - cpu[0]) / frames * 1e9
tam_net = (cpu[3] - cpu[2]) / frames * 1e9
print("  whole process sox / tam (cpu): %.2f" % (cpu[1] / cpu[3]))
print("  effect alone: sox %.1f ns/frame, tam %.1f ns/frame, sox / tam %.2f" %
      (sox_net, tam_net, sox_net / tam_net if tam_net > 0 else float("inf")))
PY
    else
        for cmd in "$copy_cmd" "$sox_cmd" "$off_cmd" "$tam_cmd"; do
            start=$(date +%s.%N); sh -c "$cmd"; end=$(date +%s.%N)
            echo "  $(echo "$end - $start" | bc) s: $cmd"
        done
    fi
}

run_case reverb "reverb 50 50 100 100 0 0" stereo.wav 2 TamFxReverb 0,1 10,11 3=3i 4=0.5 5=1 6=0.5 7=0 8=0.5 9=0.5
run_case echo "echo 0.8 0.9 500 0.5" mono.wav 1 TamFxEcho 0 11 2=0.5 3=0.5 4=0b 5=0.5 6=0.5 7=0.5 8=0.5 9=1f 10=1i
run_case flanger "flanger" stereo.wav 1 TamFxFlanger 0,2 8 3=0.5 4=0.3 5=0 6=0.5 7=0.5
run_case phaser "phaser 0.8 0.74 3 0.4 0.5 -t" mono.wav 1 TamFxPhaser 0 9 2=0.5 3=0.5 4=0.2 5=0.3 6=8i 7=0.5 8=0.5
run_case chorus "chorus 0.7 0.9 55 0.4 0.25 2 -t" mono.wav 1 TamFxUnison 0 7 2=0i 3=0.3 4=0.5 5=0.5 6=0.5
run_case tremolo "tremolo 6 50" stereo.wav 1 TamFxLeslie 0 11,12 2=2i 3=0.5 4=0.5 5=0.5 6=0.5 7=0.5 8=0.5 9=0.5 10=0.5
