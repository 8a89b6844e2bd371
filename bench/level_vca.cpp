// TamVCA's fixed-gain and linear routines, driven through the factory with
// process() on the host's own buffers, against a bare multiply loop over the
// same buffers. items_per_second is frames per second.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "tamhost/DspHost.h"

namespace {

enum { Signal = 0, Volume = 1, Enable = 2, Curve = 3, Output = 4, Scale = 5 };

struct Buffers {
    explicit Buffers(int n) : signal(n), volume(n), out(n) {
        for (int i = 0; i < n; ++i) {
            signal[i] = 0.001f * static_cast<float>(i % 997) - 0.4f;
            volume[i] = 0.3f + 0.0001f * static_cast<float>(i % 513);
        }
    }
    std::vector<float> signal, volume, out;
};

// A VCA opened and given its first group, then pointed at our buffers.
std::unique_ptr<tamhost::DspModule> makeVca(int frames, bool streamingVolume, Buffers& buffers) {
    tamhost::DspOptions options;
    options.blockSize = frames;
    auto m = std::make_unique<tamhost::DspModule>("TamVCA", options);
    m->setAudioInput(Signal, buffers.signal);
    m->setStreaming(Signal, true);
    m->setAudioInput(Volume, buffers.volume);
    m->setStreaming(Volume, streamingVolume);
    m->setInt(Curve, 0);
    m->setInt(Scale, 1);
    m->setBool(Enable, true);
    m->runBlock(frames);
    m->plugin()->setBuffer(Signal, buffers.signal.data());
    m->plugin()->setBuffer(Volume, buffers.volume.data());
    m->plugin()->setBuffer(Output, buffers.out.data());
    return m;
}

void runModule(benchmark::State& state, bool streamingVolume) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    auto m = makeVca(frames, streamingVolume, buffers);
    gmpi::IMpPlugin2* plugin = m->plugin();
    for (auto _ : state) {
        plugin->process(frames, nullptr);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

__attribute__((noinline)) void bareFixed(const float* __restrict signal, float* __restrict out, float gain, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = signal[i] * gain;
}

__attribute__((noinline)) void bareProduct(const float* __restrict signal, const float* __restrict volume,
                                           float* __restrict out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = signal[i] * volume[i];
}

// The linear routine's own arithmetic, bare: shows what the module adds.
__attribute__((noinline)) void bareLinear(const float* __restrict signal, const float* __restrict volume,
                                          float* __restrict out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = std::max(volume[i], 0.0f) * signal[i];
}

void BM_VcaFixed(benchmark::State& state) { runModule(state, false); }
void BM_VcaLinear(benchmark::State& state) { runModule(state, true); }

void BM_BareFixed(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    float gain = 0.3f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(gain);
        bareFixed(buffers.signal.data(), buffers.out.data(), gain, frames);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_BareProduct(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    for (auto _ : state) {
        bareProduct(buffers.signal.data(), buffers.volume.data(), buffers.out.data(), frames);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_BareLinear(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    for (auto _ : state) {
        bareLinear(buffers.signal.data(), buffers.volume.data(), buffers.out.data(), frames);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

}  // namespace

BENCHMARK(BM_VcaFixed)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_BareFixed)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_VcaLinear)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_BareProduct)->Arg(64)->Arg(256)->Arg(1024);
BENCHMARK(BM_BareLinear)->Arg(64)->Arg(256)->Arg(1024);
