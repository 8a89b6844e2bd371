// Cost of the block loop per event, and what a sleeping module costs.
#include <benchmark/benchmark.h>

#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "frame/mp_sdk_audio.h"
#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"
#include "tamhost/Pack.h"

namespace {

// A gain stage: audio in, gain in, audio out; settles when its input stops.
class Gain : public MpBase {
public:
    Gain() {
        initializePin(0, in);
        initializePin(1, gain);
        initializePin(2, out);
        setSubProcess(&Gain::subProcess);
    }
    void onSetPins() override {
        if (in.isUpdated()) out.setStreaming(in.isStreaming());
    }
    void subProcess(int offset, int frames) {
        const float* __restrict source = in.buffer + offset;
        float* __restrict dest = out.buffer + offset;
        const float g = gain.value;
        for (int i = 0; i < frames; ++i) dest[i] = source[i] * g;
    }
    AudioInPin in;
    FloatInPin gain;
    AudioOutPin out;
};

tamhost::ModuleInfo gainInfo() {
    tamhost::Catalogue c;
    c.loadText(R"({"family":"TAM_BENCH","modules":[{"id":"TamBenchGain","kind":0,"pins":[
        {"index":0,"type":"audio","direction":"in"},{"index":1,"type":"float","direction":"in","default":1},
        {"index":2,"type":"audio","direction":"out"}]}]})",
               "bench");
    return c.get("TamBenchGain", 0);
}

constexpr int kBlock = 64;

void BM_BlockLoopPerEvent(benchmark::State& state) {
    const int eventCount = static_cast<int>(state.range(0));
    tamhost::HostContext context(48000.0f, kBlock);
    auto* host = new tamhost::AudioHost(context);
    auto* module = new Gain;
    module->setHost(host);
    std::vector<float> in(kBlock, 0.5f), out(kBlock);
    module->setBuffer(0, in.data());
    module->setBuffer(2, out.data());
    module->setSleep(false);
    gmpi::MpEvent start{};
    start.eventType = gmpi::EVENT_PIN_STREAMING_START;
    module->process(kBlock, &start);

    std::vector<gmpi::MpEvent> events(static_cast<size_t>(eventCount));
    for (int i = 0; i < eventCount; ++i) {
        gmpi::MpEvent& e = events[static_cast<size_t>(i)];
        e.timeDelta = i * kBlock / (eventCount + 1);
        e.eventType = gmpi::EVENT_PIN_SET;
        e.parm1 = 1;
        e.parm2 = 4;
        const float value = 0.5f + 0.001f * static_cast<float>(i);
        std::memcpy(&e.parm3, &value, 4);
        e.next = i + 1 < eventCount ? &events[static_cast<size_t>(i + 1)] : nullptr;
    }
    for (auto _ : state) {
        module->process(kBlock, eventCount > 0 ? events.data() : nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * eventCount);
    module->release();
    host->release();
}
BENCHMARK(BM_BlockLoopPerEvent)->Arg(0)->Arg(1)->Arg(4)->Arg(16)->Arg(63);

// A module that has settled is not called: the counter stays at 0.
void BM_SleepingModule(benchmark::State& state) {
    tamhost::DspModule m(asUnknown(new Gain), gainInfo(), {.blockSize = kBlock, .recordOutputs = false});
    m.setAudioInputConstant(0, 0.0f);
    m.run(kBlock * 4);
    const int64_t before = m.processCalls();
    for (auto _ : state) m.run(kBlock * 16, kBlock);
    state.counters["process_calls"] = static_cast<double>(m.processCalls() - before);
    state.counters["asleep"] = m.sleeping() ? 1 : 0;
}
BENCHMARK(BM_SleepingModule);

// The same through the pack, when the level modules are built.
void BM_PackModuleBlock(benchmark::State& state) {
    const tamhost::ModuleInfo* info = tamhost::Catalogue::shared().find("TamVCA", 0);
    if (info == nullptr) {
        state.SkipWithError("TamVCA is not in the catalogue");
        return;
    }
    std::unique_ptr<tamhost::DspModule> made;
    try {
        made = std::make_unique<tamhost::DspModule>("TamVCA", tamhost::DspOptions{.blockSize = kBlock, .recordOutputs = false});
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    tamhost::DspModule& m = *made;
    std::vector<float> signal(kBlock * 1024, 0.25f);
    m.setAudioInput(0, signal);
    m.setStreaming(0, true);
    m.run(kBlock);
    int64_t t = kBlock;
    for (auto _ : state) {
        m.setFloat(1, static_cast<float>(t % 10), t + 17);
        m.run(kBlock);
        t += kBlock;
        if (m.calls().size() > 100000) {
            state.PauseTiming();
            m.clearCalls();
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PackModuleBlock);

}  // namespace
