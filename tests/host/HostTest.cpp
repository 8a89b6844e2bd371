// The reference host core: catalogue loading, the host context, the audio
// host's services, and DspModule's event lists, recording and sleep.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <set>

#include "frame/mp_sdk_audio.h"
#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"
#include "tamhost/Pack.h"

using tamhost::Catalogue;
using tamhost::DspModule;
using tamhost::ModuleInfo;
using tamhost::PinType;
using tamhost::RecordedCall;

namespace {

const char* kGoodCatalogue = R"({"family":"TAM_TEST","modules":[
  {"id":"TamEcho","kind":0,"class":"SemEcho","pins":[
    {"index":1,"name":"Gain","type":"float","direction":"in","default":0.5},
    {"index":0,"name":"Signal","type":"audio","direction":"in","default":5},
    {"index":2,"name":"Count","type":"int","direction":"in","default":3},
    {"index":3,"name":"On","type":"bool","direction":"in","default":true},
    {"index":4,"name":"Name","type":"string","direction":"in","default":"h\u00e9llo"},
    {"index":5,"name":"Data","type":"blob","direction":"in","default":[1,2]},
    {"index":6,"name":"Out","type":"audio","direction":"out"},
    {"index":7,"name":"Midi","type":"midi","direction":"in"},
    {"index":8,"name":"Mode","type":"enum","direction":"in","default":"2"}]},
  {"id":"TamEcho","kind":1,"pins":[]}]})";

std::string loadError(const std::string& text) {
    Catalogue c;
    try {
        c.loadText(text, "test.json");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return {};
}

}  // namespace

TEST(CatalogueTest, ReadsPinsInIndexOrderWithRawDefaults) {
    Catalogue c;
    c.loadText(kGoodCatalogue, "good.json");
    EXPECT_EQ(c.size(), 2u);
    const ModuleInfo& m = c.get("TamEcho", 0);
    EXPECT_EQ(m.family, "TAM_TEST");
    EXPECT_EQ(m.className, "SemEcho");
    ASSERT_EQ(m.pins.size(), 9u);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(m.pins[static_cast<size_t>(i)].index, i);
    EXPECT_EQ(tamhost::floatFromRaw(*m.pin(0)->defaultRaw), 0.5f);  // 5 V
    EXPECT_EQ(tamhost::floatFromRaw(*m.pin(1)->defaultRaw), 0.5f);
    EXPECT_EQ(tamhost::intFromRaw(*m.pin(2)->defaultRaw), 3);
    EXPECT_EQ(*m.pin(3)->defaultRaw, tamhost::RawValue{1});
    EXPECT_EQ(tamhost::stringFromRaw(*m.pin(4)->defaultRaw), std::wstring(L"h\u00e9llo"));
    EXPECT_EQ(*m.pin(5)->defaultRaw, (tamhost::RawValue{1, 2}));
    EXPECT_FALSE(m.pin(6)->defaultRaw.has_value());
    EXPECT_TRUE(m.pin(6)->output);
    EXPECT_EQ(tamhost::intFromRaw(*m.pin(8)->defaultRaw), 2);
    EXPECT_EQ(tamhost::datatypeCode(m.pin(8)->type), 0);
    EXPECT_EQ(tamhost::datatypeCode(PinType::Blob), 10);
    EXPECT_EQ(c.find("TamEcho", 2), nullptr);
    EXPECT_NE(c.find("TamEcho", 1), nullptr);
}

TEST(CatalogueTest, ErrorsNameTheFileAndTheEntry) {
    EXPECT_NE(loadError("{").find("test.json"), std::string::npos);
    EXPECT_NE(loadError(R"({"modules":[]})").find("\"family\""), std::string::npos);
    const std::string badType = loadError(
        R"({"family":"F","modules":[{"id":"TamX","kind":0,"pins":[{"index":0,"type":"volts","direction":"in"}]}]})");
    EXPECT_NE(badType.find("TamX"), std::string::npos);
    EXPECT_NE(badType.find("volts"), std::string::npos);
    EXPECT_NE(loadError(R"({"family":"F","modules":[{"id":"TamX","kind":0,"pins":[{"index":0,"type":"float","direction":"sideways"}]}]})")
                  .find("direction"),
              std::string::npos);
    EXPECT_NE(loadError(R"({"family":"F","modules":[{"id":"TamX","kind":0,"pins":[
        {"index":0,"type":"float","direction":"in"},{"index":0,"type":"int","direction":"in"}]}]})")
                  .find("twice"),
              std::string::npos);
    EXPECT_NE(loadError(R"({"family":"F","modules":[{"id":"TamX","kind":0},{"id":"TamX","kind":0}]})").find("twice"),
              std::string::npos);
    EXPECT_NE(loadError(R"({"family":"F","modules":[{"id":"TamX","kind":5}]})").find("kind"), std::string::npos);
    EXPECT_NE(loadError(R"({"family":"F","modules":[{"id":"TamX","kind":0,"pins":[{"index":0,"type":"float","direction":"in","default":"loud"}]}]})")
                  .find("loud"),
              std::string::npos);
    Catalogue empty;
    try {
        empty.get("TamMissing", 0);
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("TamMissing"), std::string::npos);
    }
}

TEST(CatalogueTest, TreeCatalogueMatchesTheIdentifierTable) {
    const Catalogue& c = Catalogue::shared();
    std::set<std::pair<int, std::string>> table;
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/frame/registrations.tsv");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        const auto first = line.find('\t');
        const auto second = line.find('\t', first + 1);
        table.emplace(std::stoi(line.substr(first + 1, second - first - 1)), line.substr(second + 1));
    }
    ASSERT_EQ(table.size(), 430u);
    for (const ModuleInfo* m : c.modules()) {
        EXPECT_TRUE(table.count({m->kind, m->id})) << m->family << ": " << m->id << " kind " << m->kind;
        for (size_t i = 0; i < m->pins.size(); ++i)
            EXPECT_EQ(m->pins[i].index, static_cast<int>(i)) << m->id << ": pin indices must run 0, 1, 2, ...";
    }
}

TEST(HostContextTest, SharedBlocksAndHandles) {
    tamhost::HostContext context;
    void* first = nullptr;
    int32_t needsInit = -1;
    ASSERT_EQ(context.requestSharedBlock(L"table", &first, 100, &needsInit), MP_OK);
    EXPECT_EQ(needsInit, 1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(first)[99], 0);
    void* second = nullptr;
    ASSERT_EQ(context.requestSharedBlock(L"table", &second, 60, &needsInit), MP_OK);
    EXPECT_EQ(needsInit, 0);
    EXPECT_EQ(second, first);
    EXPECT_EQ(context.requestSharedBlock(L"table", &second, 101, &needsInit), MP_FAIL);
    EXPECT_EQ(second, nullptr);
    void* other = nullptr;
    EXPECT_EQ(context.requestSharedBlock(L"other", &other, 4, nullptr), MP_OK);
    EXPECT_NE(other, first);
    EXPECT_EQ(context.requestSharedBlock(L"empty", &other, 0, &needsInit), MP_FAIL);
    EXPECT_EQ(context.sharedBlockCount(), 2u);

    tamhost::AudioHost a(context), b(context);
    int32_t ha = 0, hb = 0;
    a.getHandle(ha);
    b.getHandle(hb);
    EXPECT_NE(ha, hb);
    // Through the host, with a null name.
    EXPECT_EQ(a.requestSharedBlock(nullptr, &other, 4, &needsInit, -1.0f), MP_FAIL);
}

TEST(AudioHostTest, FileNamesFlagsAndPinCounts) {
    tamhost::HostContext context(96000.0f, 128);
    context.baseFolder = "/samples/kits";
    context.hostFlag = 3;
    tamhost::AudioHost host(context);
    wchar_t buffer[260];
    EXPECT_EQ(host.resolveFileName(L"kick.wav", 260, buffer), MP_OK);
    EXPECT_EQ(std::wstring(buffer), L"/samples/kits/kick.wav");
    EXPECT_EQ(host.resolveFileName(L"/abs/snare.wav", 260, buffer), MP_OK);
    EXPECT_EQ(std::wstring(buffer), L"/abs/snare.wav");
    // At most bufferLength characters, the terminator included.
    wchar_t small[8];
    std::fill(std::begin(small), std::end(small), L'#');
    EXPECT_EQ(host.resolveFileName(L"kick.wav", 5, small), MP_FAIL);
    EXPECT_EQ(std::wstring(small), L"/sam");
    EXPECT_EQ(small[5], L'#');
    EXPECT_EQ(host.resolveFileName(L"kick.wav", 0, small), MP_FAIL);

    int32_t flag = 0;
    host.getHostFlag(flag);
    EXPECT_EQ(flag, 3);
    host.hostFlag = 1;
    host.getHostFlag(flag);
    EXPECT_EQ(flag, 1);
    float rate = 0;
    int32_t block = 0;
    host.getSampleRate(rate);
    host.getBlockSize(block);
    EXPECT_EQ(rate, 96000.0f);
    EXPECT_EQ(block, 128);

    host.pinCount = 7;
    gmpi::IMpUnknown* iterator = nullptr;
    ASSERT_EQ(host.createPinIterator(&iterator), MP_OK);
    int32_t count = 0;
    static_cast<gmpi::IMpPinIterator*>(iterator)->getCount(count);
    EXPECT_EQ(count, 7);
    iterator->release();

    void* face = nullptr;
    EXPECT_EQ(host.queryInterface(MP_IID_HOST, &face), MP_OK);
    EXPECT_EQ(face, static_cast<gmpi::IMpHost*>(&host));
    host.release();
    EXPECT_EQ(host.queryInterface(MP_IID_PLUGIN, &face), MP_NOSUPPORT);
}

namespace {

// Logs every event it is given and copies its input to its output times the
// gain; with the gain at 0 it settles and sleeps.
class Echo : public MpBase {
public:
    Echo() {
        initializePin(0, in);
        initializePin(1, gain);
        initializePin(2, count);
        initializePin(3, on);
        initializePin(4, name);
        initializePin(5, data);
        initializePin(6, out);
        initializePin(7, midi);
        initializePin(8, mode);
        setSubProcess(&Echo::subProcess);
    }
    void process(int32_t count, const gmpi::MpEvent* events) override {
        for (const gmpi::MpEvent* e = events; e != nullptr; e = e->next)
            seen.push_back({e->timeDelta, e->eventType, e->parm1, e->parm2, e->extraData != nullptr});
        MpBase::process(count, events);
    }
    void onSetPins() override {
        out.setStreaming(gain.value != 0.0f && in.isStreaming());
        setSleep(gain.value == 0.0f);
        if (gain.value != 0.0f) setSleep(false);
    }
    void subProcess(int offset, int frames) {
        const float g = gain.value;
        for (int i = offset; i < offset + frames; ++i) out.buffer[i] = in.buffer[i] * g;
    }
    struct Seen {
        int time, type, pin, size;
        bool extra;
    };
    AudioInPin in;
    FloatInPin gain;
    IntInPin count;
    BoolInPin on;
    StringInPin name;
    BlobInPin data;
    AudioOutPin out;
    MidiInPin midi;
    EnumInPin mode;
    std::vector<Seen> seen;
};

ModuleInfo echoInfo() {
    Catalogue c;
    c.loadText(kGoodCatalogue, "echo.json");
    return c.get("TamEcho", 0);
}

}  // namespace

TEST(DspModuleTest, FirstGroupCarriesEveryInputAndGraphStart) {
    auto* echo = new Echo;
    DspModule m(asUnknown(echo), echoInfo(), {.blockSize = 16});
    m.setFloat(1, 2.0f);
    m.setString(4, L"a longer name");
    m.run(16);
    ASSERT_EQ(echo->seen.size(), 8u);
    // Values in pin order, the audio input's streaming state, graph start last.
    const std::vector<int> pins = {1, 2, 3, 4, 5, 8};
    for (size_t i = 0; i < pins.size(); ++i) {
        EXPECT_EQ(echo->seen[i].type, gmpi::EVENT_PIN_SET);
        EXPECT_EQ(echo->seen[i].pin, pins[i]);
        EXPECT_EQ(echo->seen[i].time, 0);
    }
    EXPECT_EQ(echo->seen[6].type, gmpi::EVENT_PIN_STREAMING_STOP);
    EXPECT_EQ(echo->seen[7].type, gmpi::EVENT_GRAPH_START);
    // Short data in parm3/parm4, long in extraData.
    EXPECT_FALSE(echo->seen[0].extra);
    EXPECT_TRUE(echo->seen[3].extra);
    EXPECT_EQ(echo->seen[3].size, 13 * 4);
    EXPECT_EQ(echo->gain.value, 2.0f);
    EXPECT_EQ(echo->count.value, 3);
    EXPECT_TRUE(echo->on.value);
    EXPECT_EQ(echo->name.value, L"a longer name");
    EXPECT_EQ(echo->data.value.getSize(), 2);
    EXPECT_EQ(echo->mode.value, 2);
    EXPECT_TRUE(m.isOpen());
}

TEST(DspModuleTest, QueuedEventsLandAtTheirSampleAcrossBlocks) {
    auto* echo = new Echo;
    DspModule m(asUnknown(echo), echoInfo(), {.blockSize = 8});
    std::vector<float> ramp(40);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i);
    m.setAudioInput(0, ramp);
    m.setStreaming(0, true);
    m.setFloat(1, 1.0f);
    m.setFloat(1, 10.0f, 21);
    m.setFloat(1, 100.0f, 21);  // same time: both in one group, in order
    m.sendMidi(7, {0x90, 64, 1}, 30);
    m.run(48, 8);
    const std::vector<float>& out = m.output(6);
    ASSERT_EQ(out.size(), 48u);
    EXPECT_EQ(out[20], 20.0f);
    EXPECT_EQ(out[21], 2100.0f);
    EXPECT_EQ(out[45], 3900.0f);  // the signal's last sample holds
    EXPECT_EQ(m.processCalls(), 6);
    EXPECT_EQ(m.blocksRun(), 6);
    EXPECT_EQ(m.time(), 48);

    int valueEvents = 0;
    for (const auto& s : echo->seen) {
        if (s.type == gmpi::EVENT_PIN_SET && s.pin == 1 && s.time == 5) ++valueEvents;  // 21 = 16 + 5
        if (s.type == gmpi::EVENT_MIDI) {
            EXPECT_EQ(s.time, 6);  // 30 = 24 + 6
        }
    }
    EXPECT_EQ(valueEvents, 2);

    // Graph start made the output stream; every call carries its block.
    const auto streaming = m.streamingCalls(6);
    ASSERT_FALSE(streaming.empty());
    EXPECT_TRUE(streaming.front().streaming);
    EXPECT_EQ(streaming.front().block, 0);
}

TEST(DspModuleTest, SleepingModuleIsNotCalledAndItsOutputHolds) {
    auto* echo = new Echo;
    DspModule m(asUnknown(echo), echoInfo(), {.blockSize = 16});
    m.setAudioInputConstant(0, 0.25f);
    m.setStreaming(0, true);
    m.setFloat(1, 2.0f);
    m.run(32);
    EXPECT_EQ(m.processCalls(), 2);
    EXPECT_FALSE(m.sleeping());

    m.setFloat(1, 0.0f, 40);  // settles: renders its count, then sleeps
    m.run(64);
    EXPECT_TRUE(m.sleeping());
    EXPECT_EQ(m.sleepCalls(), 1);
    const int64_t callsWhenAsleep = m.processCalls();
    m.run(160);
    EXPECT_EQ(m.processCalls(), callsWhenAsleep);
    EXPECT_EQ(m.output(6).back(), 0.0f);

    m.setFloat(1, 4.0f, 260);  // wakes it
    m.run(32);
    EXPECT_FALSE(m.sleeping());
    EXPECT_EQ(m.processCalls(), callsWhenAsleep + 2);
    EXPECT_EQ(m.outputAt(6, 270), 1.0f);
}

TEST(DspModuleTest, VoicesShareBlocksThroughOneContext) {
    tamhost::HostContext context(48000.0f, 32);
    auto* a = new Echo;
    auto* b = new Echo;
    DspModule first(asUnknown(a), echoInfo(), {.context = &context, .pinCount = 12, .hostFlag = 1});
    DspModule second(asUnknown(b), echoInfo(), {.context = &context});
    first.open();
    second.open();
    EXPECT_EQ(a->getSampleRate(), 48000.0f);
    EXPECT_EQ(b->getBlockSize(), 32);
    void* p = nullptr;
    void* q = nullptr;
    int32_t initA = -1, initB = -1;
    a->getHost()->requestSharedBlock(L"TamOscillatorInstanceId", &p, 4, &initA, -1.0f);
    b->getHost()->requestSharedBlock(L"TamOscillatorInstanceId", &q, 4, &initB, -1.0f);
    EXPECT_EQ(p, q);
    EXPECT_EQ(initA, 1);
    EXPECT_EQ(initB, 0);
    int32_t ha = 0, hb = 0, flagA = 0, flagB = 0, countA = 0;
    a->getHost()->getHandle(ha);
    b->getHost()->getHandle(hb);
    EXPECT_NE(ha, hb);
    a->getHost()->getHostFlag(flagA);
    b->getHost()->getHostFlag(flagB);
    EXPECT_EQ(flagA, 1);
    EXPECT_EQ(flagB, 0);
    gmpi::IMpUnknown* iterator = nullptr;
    a->getHost()->createPinIterator(&iterator);
    static_cast<gmpi::IMpPinIterator*>(iterator)->getCount(countA);
    iterator->release();
    EXPECT_EQ(countA, 12);
}

TEST(DspModuleTest, HostileEventsThroughTheHost) {
    auto* echo = new Echo;
    DspModule m(asUnknown(echo), echoInfo(), {.blockSize = 16});
    m.run(16);
    m.queueRawEvent(20, gmpi::EVENT_PIN_SET, 99, {1, 2, 3, 4});  // unknown pin
    m.queueRawEvent(21, gmpi::EVENT_PIN_SET, 1, {1, 2});          // short float
    m.queueRawEvent(22, 77, 1, {});                               // unknown type
    m.queueRawEvent(23, gmpi::EVENT_PIN_SET, 4, {1, 2, 3});       // not a whole character
    m.run(16);
    EXPECT_EQ(m.processCalls(), 2);
    EXPECT_TRUE(echo->name.value.empty());
}
