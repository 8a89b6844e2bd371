// Each effect's process call through the factory and the reference host, on
// a streaming noise signal, in blocks of 512 frames at 48 kHz. The counter
// "xRealTime" tells how many times faster than real time the module runs.
//   bench_effects --benchmark_filter=Reverb
#include <benchmark/benchmark.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "tamhost/DspHost.h"

namespace {

constexpr int kFrames = 512;
constexpr float kRate = 48000.0f;

std::vector<float> noise(int n, uint32_t state) {
    std::vector<float> x(n);
    for (auto& v : x) {
        state = state * 1664525u + 1013904223u;
        v = static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
    }
    return x;
}

struct Setup {
    std::vector<int> signals;
    std::vector<std::pair<int, float>> audio;
    std::vector<std::pair<int, int>> ints;
    std::vector<std::pair<int, bool>> bools;
    std::vector<std::pair<int, float>> floats;
    std::vector<int> streamingParameters;
};

// Sets the module up, then calls process directly so that the host's
// recording costs nothing.
void runModule(benchmark::State& state, const char* id, const Setup& s) {
    tamhost::DspOptions options;
    options.sampleRate = kRate;
    options.blockSize = kFrames;
    options.recordOutputs = false;
    tamhost::DspModule m(id, options);
    uint32_t startValue = 1;
    for (int pin : s.signals) {
        m.setAudioInput(pin, noise(kFrames, startValue++));
        m.setStreaming(pin, true);
    }
    for (auto [pin, value] : s.audio) m.setAudioInputConstant(pin, value);
    for (auto [pin, value] : s.ints) m.setInt(pin, value);
    for (auto [pin, value] : s.bools) m.setBool(pin, value);
    for (auto [pin, value] : s.floats) m.setFloat(pin, value);
    for (int pin : s.streamingParameters) m.setStreaming(pin, true);
    m.run(kFrames, kFrames);
    for (auto _ : state) {
        m.plugin()->process(kFrames, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    state.counters["xRealTime"] =
        benchmark::Counter(static_cast<double>(kFrames) / kRate * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

const Setup kReverb{{0, 1},   {{4, 0.7f}, {5, 1.0f}, {6, 0.3f}, {7, 0.1f}, {8, 0.3f}, {9, 0.5f}},
                    {{3, 3}}, {{2, true}},
                    {},       {}};

void ReverbFixed(benchmark::State& state) { runModule(state, "TamFxReverb", kReverb); }
void ReverbStreamingParameters(benchmark::State& state) {
    Setup s = kReverb;
    s.streamingParameters = {4, 6, 9};
    runModule(state, "TamFxReverb", s);
}
void Echo(benchmark::State& state) {
    runModule(state, "TamFxEcho",
              {{0},
               {{2, 0.5f}, {3, 0.5f}, {5, 0.5f}, {6, 0.5f}, {7, 0.5f}, {8, 0.5f}},
               {{10, 1}},
               {{1, true}, {4, true}},
               {{9, 1.0f}},
               {}});
}
void Flanger(benchmark::State& state) {
    runModule(state, "TamFxFlanger",
              {{0, 2}, {{3, 0.5f}, {4, 0.3f}, {5, 0.2f}, {6, 0.5f}, {7, 0.5f}}, {}, {{1, true}}, {}, {}});
}
void Phaser(benchmark::State& state) {
    runModule(
        state, "TamFxPhaser",
        {{0, 2}, {{3, 0.5f}, {4, 0.2f}, {5, 0.3f}, {7, 0.5f}, {8, 0.5f}}, {{6, 8}}, {{1, true}}, {}, {}});
}
void Detune(benchmark::State& state) {
    runModule(state, "TamFxDetune",
              {{0, 1}, {{3, 0.5f}, {4, 0.5f}, {5, 0.5f}, {6, 0.5f}}, {}, {{2, true}}, {}, {}});
}
void Unison8(benchmark::State& state) {
    runModule(state, "TamFxUnison",
              {{0}, {{3, 0.5f}, {4, 0.5f}, {5, 0.5f}, {6, 0.5f}}, {{2, 1}}, {{1, true}}, {}, {}});
}
void Leslie(benchmark::State& state) {
    runModule(state, "TamFxLeslie",
              {{0},
               {{3, 0.5f}, {4, 0.5f}, {5, 0.5f}, {6, 0.5f}, {7, 0.5f}, {8, 0.5f}, {9, 0.5f}, {10, 0.5f}},
               {{2, 2}},
               {{1, true}},
               {},
               {}});
}

}  // namespace

BENCHMARK(ReverbFixed);
BENCHMARK(ReverbStreamingParameters);
BENCHMARK(Echo);
BENCHMARK(Flanger);
BENCHMARK(Phaser);
BENCHMARK(Detune);
BENCHMARK(Unison8);
BENCHMARK(Leslie);
