// TamADSR with fixed and with streaming rates, and TamEnvelopeFollower in
// RMS and peak detection, driven through the factory with process() on the
// host's own buffers. items_per_second is frames per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "tamhost/DspHost.h"

namespace {

enum {
    Gate = 0,
    Trigger = 1,
    Attack = 2,
    Decay = 3,
    Sustain = 4,
    Release = 5,
    Level = 6,
    AdsrOut = 7,
    Mode = 8
};
enum { Signal = 0, FollowAttack = 1, FollowDecay = 2, Detection = 3, FollowOut = 4 };

struct Adsr {
    std::unique_ptr<tamhost::DspModule> module;
    std::vector<float> gate, trigger, rate, sustain, level, out;
};

// A steady high gate with 10-second rates: after its first seconds the
// envelope holds at sustain (the output is level times a constant).
// With `retrigger`, gate and trigger stream and both rise at each block's
// start and fall halfway: every block runs the edge scan, an attack from
// where the envelope stands and a release.
Adsr makeAdsr(int frames, bool streamingRates, bool retrigger = false) {
    Adsr a;
    a.gate.assign(frames, 1.0f);
    a.trigger.assign(frames, retrigger ? 1.0f : 0.0f);
    if (retrigger) {
        for (int i = frames / 2; i < frames; ++i) a.gate[i] = a.trigger[i] = 0.0f;
    }
    a.rate.assign(frames, retrigger ? 0.02f : 1.0f);
    a.sustain.assign(frames, 0.5f);
    a.level.assign(frames, 0.8f);
    a.out.assign(frames, 0.0f);
    tamhost::DspOptions options;
    options.blockSize = frames;
    options.sampleRate = 48000.0f;
    options.recordOutputs = false;
    a.module = std::make_unique<tamhost::DspModule>("TamADSR", options);
    auto& m = *a.module;
    m.setAudioInputConstant(Gate, 1.0f);
    m.setStreaming(Gate, retrigger);
    m.setStreaming(Trigger, retrigger);
    for (int pin : {Attack, Decay, Release}) {
        m.setAudioInputConstant(pin, retrigger ? 0.02f : 1.0f);
        m.setStreaming(pin, streamingRates);
    }
    m.setAudioInputConstant(Sustain, 0.5f);
    m.setStreaming(Sustain, streamingRates);
    m.setAudioInputConstant(Level, 0.8f);
    m.setInt(Mode, 1);
    m.runBlock(frames);
    gmpi::IMpPlugin2* p = m.plugin();
    p->setBuffer(Gate, a.gate.data());
    p->setBuffer(Trigger, a.trigger.data());
    p->setBuffer(Attack, a.rate.data());
    p->setBuffer(Decay, a.rate.data());
    p->setBuffer(Sustain, a.sustain.data());
    p->setBuffer(Release, a.rate.data());
    p->setBuffer(Level, a.level.data());
    p->setBuffer(AdsrOut, a.out.data());
    return a;
}

void adsr(benchmark::State& state, bool streamingRates, bool retrigger = false) {
    const int frames = static_cast<int>(state.range(0));
    Adsr a = makeAdsr(frames, streamingRates, retrigger);
    gmpi::IMpPlugin2* plugin = a.module->plugin();
    for (auto _ : state) {
        plugin->process(frames, nullptr);
        benchmark::DoNotOptimize(a.out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void follower(benchmark::State& state, bool peak) {
    const int frames = static_cast<int>(state.range(0));
    std::vector<float> signal(frames), out(frames), attack(frames, 0.01f), decay(frames, 0.01f);
    for (int i = 0; i < frames; ++i)
        signal[i] = 0.5f * std::sin(0.05f * static_cast<float>(i)) * (1.0f + 0.3f * std::sin(0.001f * i));
    tamhost::DspOptions options;
    options.blockSize = frames;
    options.sampleRate = 48000.0f;
    options.recordOutputs = false;
    tamhost::DspModule m("TamEnvelopeFollower", options);
    m.setAudioInput(Signal, signal);
    m.setStreaming(Signal, true);
    m.setAudioInputConstant(FollowAttack, 0.01f);
    m.setAudioInputConstant(FollowDecay, 0.01f);
    m.setInt(Detection, peak ? 1 : 0);
    m.runBlock(frames);
    gmpi::IMpPlugin2* plugin = m.plugin();
    plugin->setBuffer(Signal, signal.data());
    plugin->setBuffer(FollowAttack, attack.data());
    plugin->setBuffer(FollowDecay, decay.data());
    plugin->setBuffer(FollowOut, out.data());
    for (auto _ : state) {
        plugin->process(frames, nullptr);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

void BM_AdsrFixed(benchmark::State& state) { adsr(state, false); }
void BM_AdsrGateEveryBlock(benchmark::State& state) { adsr(state, false, true); }
void BM_AdsrStreamingRates(benchmark::State& state) { adsr(state, true); }
void BM_FollowerRms(benchmark::State& state) { follower(state, false); }
void BM_FollowerPeak(benchmark::State& state) { follower(state, true); }

BENCHMARK(BM_AdsrFixed)->Arg(64)->Arg(512);
BENCHMARK(BM_AdsrGateEveryBlock)->Arg(64)->Arg(512);
BENCHMARK(BM_AdsrStreamingRates)->Arg(64)->Arg(512);
BENCHMARK(BM_FollowerRms)->Arg(64)->Arg(512);
BENCHMARK(BM_FollowerPeak)->Arg(64)->Arg(512);

}  // namespace
