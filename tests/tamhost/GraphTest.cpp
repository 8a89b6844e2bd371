// The patch graph runner: buffers, event forwarding and timing, feedback,
// streaming, sleep and MIDI, with small modules compiled into the test and
// with the pack's own modules.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_gui.h"
#include "tamhost/GuiHost.h"
#include "tamhost/DspHost.h"
#include "tamhost/PatchGraph.h"

using namespace tamhost;

namespace {

// Adds 1 to its audio input, doubles its value input onto its value output at
// the same sample, passes MIDI on at the same sample, and logs its events.
class Stage : public MpBase {
public:
    Stage() {
        initializePin(0, in);
        initializePin(1, out);
        initializePin(2, value);
        initializePin(3, doubled);
        initializePin(4, midiIn);
        initializePin(5, midiOut);
        setSubProcess(&Stage::subProcess);
    }
    void process(int32_t count, const gmpi::MpEvent* events) override {
        for (const gmpi::MpEvent* e = events; e != nullptr; e = e->next) {
            seen.push_back({e->timeDelta, e->eventType, e->parm1});
            if (e->eventType == gmpi::EVENT_MIDI && e->parm1 == 4 && e->extraData == nullptr) {
                const int size = std::min(e->parm2, 8);
                midiOut.send(reinterpret_cast<const unsigned char*>(&e->parm3), size, e->timeDelta);
            }
        }
        MpBase::process(count, events);
    }
    void onSetPins() override {
        if (value.isUpdated()) doubled = value.getValue() * 2.0f;
        out.setStreaming(in.isStreaming());
    }
    void subProcess(int offset, int frames) {
        const float* source = in.buffer + offset;
        float* target = out.buffer + offset;
        for (int i = 0; i < frames; ++i) target[i] = source[i] + 1.0f;
    }
    struct Seen {
        int time, type, pin;
    };
    AudioInPin in;
    AudioOutPin out;
    FloatInPin value;
    FloatOutPin doubled;
    MidiInPin midiIn;
    MidiOutPin midiOut;
    std::vector<Seen> seen;
};

ModuleInfo stageInfo() {
    ModuleInfo info;
    info.id = "Stage";
    auto pin = [](int index, const char* name, PinType type, bool output) {
        PinInfo p;
        p.index = index;
        p.name = name;
        p.type = type;
        p.output = output;
        return p;
    };
    info.pins = {pin(0, "In", PinType::Audio, false),   pin(1, "Out", PinType::Audio, true),
                 pin(2, "Value", PinType::Float, false), pin(3, "Doubled", PinType::Float, true),
                 pin(4, "MIDI In", PinType::Midi, false), pin(5, "MIDI Out", PinType::Midi, true)};
    return info;
}

int addStage(Graph& graph, const std::string& name, Stage** stage) {
    *stage = new Stage;
    return graph.addInstance(name, asUnknown(*stage), stageInfo());
}

std::vector<float> collect(Graph& graph, int node, int pin, int64_t frames) {
    std::vector<float> out;
    graph.run(frames, [&](int64_t, int count) {
        const float* b = graph.buffer(node, pin);
        out.insert(out.end(), b, b + count);
    });
    return out;
}

}  // namespace

TEST(GraphTest, AudioChainsRunInOrderWhateverTheDeclarationOrder) {
    Graph graph({.sampleRate = 48000, .blockSize = 8});
    Stage *c, *b, *a;
    // Declared downstream first: the order must come from the connections.
    const int nc = addStage(graph, "c", &c);
    const int nb = addStage(graph, "b", &b);
    const int na = addStage(graph, "a", &a);
    graph.connect(na, 1, nb, 0);
    graph.connect(nb, 1, nc, 0);
    graph.setAudioSignal(na, 0, {10, 20, 30});
    const auto out = collect(graph, nc, 1, 16);
    EXPECT_EQ(graph.order(), (std::vector<int>{na, nb, nc}));
    EXPECT_EQ(out[0], 13.0f);
    EXPECT_EQ(out[2], 33.0f);
    EXPECT_EQ(out[3], 3.0f);  // the signal is zero after its end
    EXPECT_EQ(out[15], 3.0f);
    for (const auto& connection : graph.connections()) EXPECT_FALSE(connection.feedback);
}

TEST(GraphTest, SeveralConnectionsIntoOneAudioInputAreSummed) {
    Graph graph({.blockSize = 4});
    Stage *a, *b, *sum;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    const int ns = addStage(graph, "sum", &sum);
    graph.connect(na, 1, ns, 0);
    graph.connect(nb, 1, ns, 0);
    graph.setAudioLevel(na, 0, 0.5f);
    graph.setAudioLevel(nb, 0, 0.25f);
    const auto out = collect(graph, ns, 1, 8);
    EXPECT_FLOAT_EQ(out[7], 1.5f + 1.25f + 1.0f);
}

TEST(GraphTest, FeedbackConnectionDeliversOneBlockLate) {
    Graph graph({.blockSize = 4});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    graph.connect(na, 1, nb, 0);
    graph.connect(nb, 1, na, 0);  // closes the loop
    const auto out = collect(graph, na, 1, 16);
    ASSERT_EQ(graph.order(), (std::vector<int>{na, nb}));
    EXPECT_TRUE(graph.connections()[1].feedback);
    EXPECT_FALSE(graph.connections()[0].feedback);
    // Block k: a reads b's previous block (2k), adds 1; b adds 1 more.
    for (int k = 0; k < 4; ++k)
        for (int i = 0; i < 4; ++i) EXPECT_EQ(out[k * 4 + i], 2.0f * k + 1.0f) << "block " << k;
}

TEST(GraphTest, ValuesTravelDownstreamAtTheirSampleAndFeedbackValuesNextBlock) {
    Graph graph({.blockSize = 16, .recordCalls = true});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    graph.connect(na, 3, nb, 2);  // doubled -> value
    graph.connect(nb, 3, na, 2);  // and back: feedback
    graph.setValue(na, 2, rawFloat(1.5f), 37);
    graph.run(64);

    // a's output at 37 reaches b at 37 in the same block ...
    std::vector<RecordedCall> bValues;
    for (const auto& call : graph.calls(nb))
        if (call.kind == RecordedCall::SetPin && call.pinId == 3) bValues.push_back(call);
    ASSERT_FALSE(bValues.empty());
    bool found = false;
    for (const auto& call : bValues) {
        if (call.asFloat() == 6.0f) {
            EXPECT_EQ(call.time, 37);
            found = true;
        }
    }
    EXPECT_TRUE(found);
    bool seenAt37 = false;
    for (const auto& s : b->seen)
        if (s.type == gmpi::EVENT_PIN_SET && s.pin == 2 && s.time == 5) seenAt37 = true;  // 37 - 32
    EXPECT_TRUE(seenAt37);
    // ... and b's answer (6) comes back to a at the start of the next block.
    bool backAt48 = false;
    for (const auto& call : graph.calls(na))
        if (call.kind == RecordedCall::SetPin && call.pinId == 3 && call.asFloat() == 12.0f) backAt48 = call.time == 48;
    EXPECT_TRUE(backAt48);
}

TEST(GraphTest, StreamingStateFollowsTheSignalDownstream) {
    Graph graph({.blockSize = 8, .recordCalls = true});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    graph.connect(na, 1, nb, 0);
    graph.setAudioSignal(na, 0, std::vector<float>(21, 1.0f));
    graph.run(40);
    // b heard start in the first group and stop at sample 21 (block 2, offset 5).
    bool start = false, stop = false;
    for (const auto& s : b->seen) {
        if (s.pin != 0) continue;
        if (s.type == gmpi::EVENT_PIN_STREAMING_START && s.time == 0) start = true;
        if (s.type == gmpi::EVENT_PIN_STREAMING_STOP && s.time == 5) stop = true;
    }
    EXPECT_TRUE(start);
    EXPECT_TRUE(stop);
    bool bStopped = false;
    for (const auto& call : graph.calls(nb))
        if (call.kind == RecordedCall::SetPinStreaming && !call.streaming && call.time == 21) bStopped = true;
    EXPECT_TRUE(bStopped);
}

TEST(GraphTest, SettledModulesSleepAndWakeOnEvents) {
    Graph graph({.blockSize = 8});
    Stage* a;
    const int na = addStage(graph, "a", &a);
    graph.setAudioLevel(na, 0, 0.0f);
    graph.run(80);
    EXPECT_TRUE(graph.sleeping(na));
    const int64_t before = graph.processCalls(na);
    EXPECT_LT(before, 10);
    graph.setValue(na, 2, rawFloat(3.0f), 90);  // wakes it in block 11
    graph.run(16);
    EXPECT_GE(graph.processCalls(na), before + 1);
    EXPECT_LE(graph.processCalls(na), before + 2);
    EXPECT_EQ(graph.buffer(na, 1)[0], 1.0f);  // the settled output holds
}

TEST(GraphTest, LevelRampsAndStepsReachTheBufferAtTheirSample) {
    Graph graph({.blockSize = 8});
    Stage* a;
    const int na = addStage(graph, "a", &a);
    graph.setAudioLevel(na, 0, 0.0f);
    graph.setAudioLevel(na, 0, 1.0f, 10, 4);  // 0 -> 1 over samples 10..13
    graph.setAudioLevel(na, 0, -1.0f, 20);
    const auto out = collect(graph, na, 1, 24);
    EXPECT_FLOAT_EQ(out[9], 1.0f);
    EXPECT_FLOAT_EQ(out[10], 1.0f);
    EXPECT_FLOAT_EQ(out[12], 1.5f);
    EXPECT_FLOAT_EQ(out[14], 2.0f);
    EXPECT_FLOAT_EQ(out[19], 2.0f);
    EXPECT_FLOAT_EQ(out[20], 0.0f);
    // Streaming from 10 to 14, then a stop at 20 for the new constant.
    std::vector<std::pair<int, int>> streaming;
    for (const auto& s : a->seen)
        if (s.pin == 0 && (s.type == gmpi::EVENT_PIN_STREAMING_START || s.type == gmpi::EVENT_PIN_STREAMING_STOP))
            streaming.emplace_back(s.type, s.time);
    const std::vector<std::pair<int, int>> expected = {{gmpi::EVENT_PIN_STREAMING_STOP, 0},
                                                       {gmpi::EVENT_PIN_STREAMING_START, 2},   // 10 in block 1
                                                       {gmpi::EVENT_PIN_STREAMING_STOP, 6},    // 14
                                                       {gmpi::EVENT_PIN_STREAMING_STOP, 4}};   // 20 in block 2
    EXPECT_EQ(streaming, expected);
}

TEST(GraphTest, MidiPassesAlongAtItsSample) {
    Graph graph({.blockSize = 16});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    graph.connect(na, 5, nb, 4);
    graph.sendMidi(na, 4, {0x90, 60, 100}, 21);
    graph.run(32);
    int count = 0;
    for (const auto& s : b->seen)
        if (s.type == gmpi::EVENT_MIDI) {
            EXPECT_EQ(s.time, 5);
            EXPECT_EQ(s.pin, 4);
            ++count;
        }
    EXPECT_EQ(count, 1);
}

TEST(GraphTest, RejectsWrongConnectionsAndLateBuilding) {
    Graph graph({.blockSize = 16});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int nb = addStage(graph, "b", &b);
    EXPECT_THROW(graph.connect(na, 0, nb, 0), std::runtime_error);   // from an input
    EXPECT_THROW(graph.connect(na, 1, nb, 1), std::runtime_error);   // to an output
    EXPECT_THROW(graph.connect(na, 1, nb, 2), std::runtime_error);   // audio to float
    EXPECT_THROW(graph.connect(na, 5, nb, 0), std::runtime_error);   // MIDI to audio
    graph.connect(na, 3, nb, 2);
    EXPECT_THROW(graph.connect(nb, 3, nb, 2), std::runtime_error);   // second into a value input
    EXPECT_THROW(graph.addModule("a", "TamVCA"), std::runtime_error);  // name taken
    EXPECT_THROW(graph.addModule("x", "TamNoSuchThing"), std::runtime_error);
    EXPECT_EQ(graph.findPin(na, "Doubled"), 3);
    EXPECT_EQ(graph.findPin(na, "3"), 3);
    EXPECT_EQ(graph.findPin(na, "9"), -1);
    graph.run(16);
    EXPECT_THROW(graph.connect(nb, 1, na, 0), std::runtime_error);
}

// The pack's modules chained in a graph give what each gives alone when fed
// the other's output: buffers, streaming and first groups agree.
TEST(GraphTest, PackChainMatchesModulesRunOneByOne) {
    const int frames = 4800;
    std::vector<float> saw(frames);
    for (int i = 0; i < frames; ++i) saw[i] = 0.4f * (2.0f * static_cast<float>((i * 110) % 48000) / 48000.0f - 1.0f);

    Graph graph({.sampleRate = 48000, .blockSize = 64});
    const int filter = graph.addModule("filter", "TamFilter2Pole");
    const int vca = graph.addModule("vca", "TamVCA");
    graph.connect(filter, graph.findPin(filter, "Signal Out"), vca, graph.findPin(vca, "Signal In"));
    graph.setAudioSignal(filter, 0, saw);
    graph.setAudioLevel(filter, graph.findPin(filter, "Pitch"), 0.3f);
    graph.setAudioLevel(vca, graph.findPin(vca, "Volume"), 0.8f);
    graph.setValue(vca, graph.findPin(vca, "Volume Scale"), rawInt(1), 0);
    const auto chained = collect(graph, vca, graph.findPin(vca, "Signal Out"), frames);

    DspModule f("TamFilter2Pole", {.sampleRate = 48000, .blockSize = 64});
    f.setAudioInput(0, saw);
    f.setStreaming(0, true);
    f.setStreaming(0, false, frames);
    f.setAudioInputConstant(3, 0.3f);
    f.run(frames);
    DspModule v("TamVCA", {.sampleRate = 48000, .blockSize = 64});
    v.setAudioInput(0, f.output(5));
    for (const auto& call : f.streamingCalls(5)) v.setStreaming(0, call.streaming, call.time);
    v.setAudioInputConstant(1, 0.8f);
    v.setEnum(5, 1);
    v.run(frames);
    const auto& alone = v.output(4);
    ASSERT_EQ(chained.size(), alone.size());
    double energy = 0.0;
    for (int i = 0; i < frames; ++i) {
        ASSERT_FLOAT_EQ(chained[i], alone[i]) << "sample " << i;
        energy += chained[i] * chained[i];
    }
    EXPECT_GT(energy, 1.0);  // something came through
}

// ---- GUI modules in a graph ------------------------------------------------

namespace {

// Transmits its input plus one.
class GuiPlusOne : public MpGuiBase2 {
public:
    GuiPlusOne() {
        initializePin(0, in, &GuiPlusOne::onIn);
        initializePin(1, out);
    }
    void onIn() { out = in.getValue() + 1.0f; }
    int32_t addRef() override { return ++references; }
    int32_t release() override {
        if (--references > 0) return references;
        delete this;
        return 0;
    }
    int32_t references = 1;
    MpGuiPin<float> in;
    MpGuiPin<float> out;
};

gmpi::IMpUnknown* createGuiPlusOne() { return static_cast<gmpi::IMpUserInterface2B*>(new GuiPlusOne); }

gmpi::IMpFactory2* testFactory() {
    static gmpi::IMpFactory2* factory = [] {
        RegisterPlugin(2, L"TestGuiPlusOne", &createGuiPlusOne);
        void* unknown = nullptr;
        MP_GetFactory(&unknown);
        void* face = nullptr;
        static_cast<gmpi::IMpUnknown*>(unknown)->queryInterface(MP_IID_FACTORY2, &face);
        return static_cast<gmpi::IMpFactory2*>(face);
    }();
    return factory;
}

ModuleInfo plusOneInfo() {
    ModuleInfo info;
    info.id = "TestGuiPlusOne";
    info.kind = 2;
    PinInfo in;
    in.index = 0;
    in.name = "In";
    in.type = PinType::Float;
    PinInfo out = in;
    out.index = 1;
    out.name = "Out";
    out.output = true;
    info.pins = {in, out};
    return info;
}

}  // namespace

TEST(GraphTest, GuiModulesPassValuesAtOnceAndToDspAtTheNextBlock) {
    ASSERT_NE(testFactory(), nullptr);
    Graph graph({.blockSize = 16, .recordCalls = true});
    Stage *a, *b;
    const int na = addStage(graph, "a", &a);
    const int g1 = graph.addGuiModule("g1", testFactory(), plusOneInfo());
    const int g2 = graph.addGuiModule("g2", testFactory(), plusOneInfo());
    const int nb = addStage(graph, "b", &b);
    graph.connect(na, 3, g1, 0);  // DSP -> GUI
    graph.connect(g1, 1, g2, 0);  // GUI -> GUI
    graph.connect(g2, 1, nb, 2);  // GUI -> DSP
    graph.setValue(na, 2, rawFloat(5.0f), 37);
    graph.run(64);
    // a doubles 5 at 37; the GUI pair adds 2 when the block is done; b hears
    // 12 at the next block start and doubles it.
    bool found = false;
    for (const auto& call : graph.calls(nb))
        if (call.kind == RecordedCall::SetPin && call.pinId == 3 && call.asFloat() == 24.0f) found = call.time == 48;
    EXPECT_TRUE(found);
    auto* second = graph.gui(g2);
    ASSERT_NE(second, nullptr);
    ASSERT_TRUE(second->lastTransmission(1).has_value());
    EXPECT_EQ(second->lastTransmission(1)->asFloat(), 12.0f);
    EXPECT_THROW(graph.connect(g1, 1, na, 0), std::runtime_error);  // too late, and audio
}

TEST(GraphTest, GuiCyclesStopInsteadOfRecursingForever) {
    Graph graph({.blockSize = 16});
    const int g1 = graph.addGuiModule("g1", testFactory(), plusOneInfo());
    const int g2 = graph.addGuiModule("g2", testFactory(), plusOneInfo());
    graph.connect(g1, 1, g2, 0);
    graph.connect(g2, 1, g1, 0);
    graph.setValue(g1, 0, rawFloat(0.0f));
    graph.setValue(g1, 0, rawFloat(1.0f));  // each change runs round the loop
    graph.run(16);
    EXPECT_GT(graph.gui(g1)->transmissions().size(), 2u);
    EXPECT_LT(graph.gui(g1)->transmissions().size(), 200u);
}
