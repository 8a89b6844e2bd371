// Each filter's fixed routine, reached through the factory and the reference
// host, against the bare loop of the same filter written out by hand. The
// module should run at 0.7 of the bare loop's speed or better.
//   bench_filters --benchmark_filter=Filter
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "tamhost/DspHost.h"

namespace {

constexpr int kFrames = 512;

std::vector<float> noise(int n) {
    std::vector<float> x(n);
    uint32_t state = 12345;
    for (auto& v : x) {
        state = state * 1664525u + 1013904223u;
        v = static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
    }
    return x;
}

// Sets a module up with a streaming signal and still controls, then calls
// process directly so that the host's recording costs nothing.
void runModule(benchmark::State& state, const char* id, const std::vector<std::pair<int, float>>& audio,
               const std::vector<std::pair<int, int>>& ints, std::vector<int> signals) {
    tamhost::DspOptions options;
    options.blockSize = kFrames;
    tamhost::DspModule m(id, options);
    for (int pin : signals) {
        m.setAudioInput(pin, noise(kFrames));
        m.setStreaming(pin, true);
    }
    for (auto [pin, value] : audio) m.setAudioInputConstant(pin, value);
    for (auto [pin, value] : ints) m.setInt(pin, value);
    m.run(kFrames, kFrames);
    for (auto _ : state) {
        m.plugin()->process(kFrames, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void FilterOnePoleModule(benchmark::State& state) { runModule(state, "TamFilter1Pole", {{2, 0.5f}}, {{1, 0}}, {0}); }

void FilterOnePoleBare(benchmark::State& state) {
    const auto in = noise(kFrames);
    std::vector<float> out(kFrames);
    const float a = std::exp(-6.2831855f * 880.0f / 44100.0f);
    float y = 0.0f;
    for (auto _ : state) {
        const float* __restrict x = in.data();
        float* __restrict o = out.data();
        for (int i = 0; i < kFrames; ++i) {
            y = (y - x[i]) * a + x[i];
            o[i] = y;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void FilterSvfModule(benchmark::State& state) {
    runModule(state, "TamFilter2Pole", {{3, 0.5f}, {4, 0.5f}}, {{1, 0}, {2, 0}}, {0});
}

void FilterSvfBare(benchmark::State& state) {
    const auto in = noise(kFrames);
    std::vector<float> out(kFrames);
    const float f = 0.125f, q = 1.0f;
    float low = 0.0f, band = 0.0f;
    for (auto _ : state) {
        const float* __restrict x = in.data();
        float* __restrict o = out.data();
        for (int i = 0; i < kFrames; ++i) {
            low = band * f + low;
            const float high = x[i] - band * q - low;
            band = high * f + band;
            o[i] = low;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void FilterBiquadModule(benchmark::State& state) {
    runModule(state, "TamFilter4Pole", {{3, 0.5f}, {4, 0.1f}}, {{1, 0}, {2, 0}}, {0});
}

void bareBiquads(benchmark::State& state, int channels) {
    const auto in = noise(kFrames);
    std::vector<float> out(kFrames * channels);
    const float c0 = 0.0039f, c1 = 0.0078f, c2 = 0.0039f, c3 = -1.81f, c4 = 0.83f;
    float x1[2] = {}, x2[2] = {}, y1[2] = {}, y2[2] = {};
    for (auto _ : state) {
        for (int c = 0; c < channels; ++c) {
            const float* __restrict x = in.data();
            float* __restrict o = out.data() + c * kFrames;
            float a1 = x1[c], a2 = x2[c], b1 = y1[c], b2 = y2[c];
            for (int i = 0; i < kFrames; ++i) {
                const float y = a2 * c2 + (c1 * a1 + c0 * x[i]) - c3 * b1 - b2 * c4;
                a2 = a1;
                a1 = x[i];
                b2 = b1;
                b1 = y;
                o[i] = y;
            }
            x1[c] = a1, x2[c] = a2, y1[c] = b1, y2[c] = b2;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void FilterBiquadBare(benchmark::State& state) { bareBiquads(state, 1); }

void FilterEqModule(benchmark::State& state) {
    runModule(state, "TamParametricEQ", {{4, 0.3f}, {5, 0.5f}, {6, 0.5f}}, {{2, 1}, {3, 0}}, {0, 1});
}

void FilterEqBare(benchmark::State& state) { bareBiquads(state, 2); }

BENCHMARK(FilterOnePoleModule);
BENCHMARK(FilterOnePoleBare);
BENCHMARK(FilterSvfModule);
BENCHMARK(FilterSvfBare);
BENCHMARK(FilterBiquadModule);
BENCHMARK(FilterBiquadBare);
BENCHMARK(FilterEqModule);
BENCHMARK(FilterEqBare);

}  // namespace
