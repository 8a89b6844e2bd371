// TamOscillator through the factory, process() on the host's own buffers:
// a fixed pitch (the per-block band choice) and a modulated pitch (per-sample
// increment and band choice), against a bare truncating table-lookup loop
// over a table of the same size. items_per_second is frames per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "tamhost/DspHost.h"

namespace {

enum { Enable = 0, Waveform, CustomOn, CustomWave, Level, Pitch, Offset, Width, Sync, Output, PitchMode };

struct Buffers {
    explicit Buffers(int n) : level(n, 1.0f), pitch(n), offset(n, 0.0f), width(n, 0.5f), sync(n, 0.0f), out(n) {
        // A slow vibrato around 5 volts (about 440 Hz).
        for (int i = 0; i < n; ++i)
            pitch[i] = 0.5f + 0.01f * std::sin(0.001f * static_cast<float>(i));
    }
    std::vector<float> level, pitch, offset, width, sync, out;
};

std::unique_ptr<tamhost::DspModule> makeOscillator(int frames, int waveform, bool modulated, Buffers& b) {
    tamhost::DspOptions options;
    options.blockSize = frames;
    options.sampleRate = 48000.0f;
    auto m = std::make_unique<tamhost::DspModule>("TamOscillator", options);
    m->setInt(Waveform, waveform);
    m->setAudioInput(Pitch, b.pitch);
    m->setStreaming(Pitch, modulated);
    m->setAudioInputConstant(Level, 1.0f);
    m->runBlock(frames);
    m->plugin()->setBuffer(Level, b.level.data());
    m->plugin()->setBuffer(Pitch, b.pitch.data());
    m->plugin()->setBuffer(Offset, b.offset.data());
    m->plugin()->setBuffer(Width, b.width.data());
    m->plugin()->setBuffer(Sync, b.sync.data());
    m->plugin()->setBuffer(Output, b.out.data());
    return m;
}

void runModule(benchmark::State& state, int waveform, bool modulated) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    auto m = makeOscillator(frames, waveform, modulated, buffers);
    gmpi::IMpPlugin2* plugin = m->plugin();
    for (auto _ : state) {
        plugin->process(frames, nullptr);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

// The floor: one truncating read per sample, double phase, float table.
__attribute__((noinline)) double bareLookup(const float* __restrict table, double size, const float* __restrict level,
                                            float* __restrict out, double phase, double inc, int n) {
    for (int i = 0; i < n; ++i) {
        out[i] = table[static_cast<int>(size * phase)] * level[i];
        phase += inc;
        if (phase >= 1.0)
            phase -= 1.0;
    }
    return phase;
}

void BM_BareLookup(benchmark::State& state) {
    const int frames = static_cast<int>(state.range(0));
    Buffers buffers(frames);
    std::vector<float> table(4096);
    for (int i = 0; i < 4096; ++i)
        table[i] = std::sin(2.0f * 3.14159265f * static_cast<float>(i) / 4096.0f);
    double phase = 0.0;
    for (auto _ : state) {
        phase = bareLookup(table.data(), 4096.0, buffers.level.data(), buffers.out.data(), phase, 440.0 / 48000.0, frames);
        benchmark::DoNotOptimize(buffers.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_OscillatorFixedRamp(benchmark::State& state) { runModule(state, 2, false); }
void BM_OscillatorModulatedRamp(benchmark::State& state) { runModule(state, 2, true); }
void BM_OscillatorFixedPulse(benchmark::State& state) { runModule(state, 4, false); }
void BM_OscillatorModulatedPulse(benchmark::State& state) { runModule(state, 4, true); }
void BM_OscillatorNoise(benchmark::State& state) { runModule(state, 5, false); }

}  // namespace

BENCHMARK(BM_BareLookup)->Arg(64)->Arg(512);
BENCHMARK(BM_OscillatorFixedRamp)->Arg(64)->Arg(512);
BENCHMARK(BM_OscillatorModulatedRamp)->Arg(64)->Arg(512);
BENCHMARK(BM_OscillatorFixedPulse)->Arg(64)->Arg(512);
BENCHMARK(BM_OscillatorModulatedPulse)->Arg(64)->Arg(512);
BENCHMARK(BM_OscillatorNoise)->Arg(64)->Arg(512);
