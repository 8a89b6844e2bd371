// The sleep machinery: settling, waking, and the routine bookkeeping around
// subProcessPreSleep.
#include <gtest/gtest.h>

#include "ProbeModule.h"

using namespace probe;

namespace {

// Streams while the gain is above 1, settles otherwise.
void followGain(ProbeModule& m) { m.out.setStreaming(m.gain.value > 1.0f); }

}  // namespace

TEST(Sleep, SettledModuleRendersItsCountThenSleepsAndAValueWakesIt) {
    Rig rig(32);
    rig.module->onSetPinsAction = followGain;
    EventList start;
    start.streaming(0, kIn, false).graphStart(0);
    rig.process(32, start);
    // The settled output was rendered for the whole block, then the host was
    // asked to stop calling.
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 32, true}}));
    EXPECT_EQ(rig.sleeps(), 1);

    // Called anyway with nothing to do: sleeps again at once, writes nothing.
    rig.module->slices.clear();
    rig.process(32);
    EXPECT_TRUE(rig.module->slices.empty());
    EXPECT_EQ(rig.sleeps(), 2);

    // A value that makes it stream: the slice before it still renders (with
    // events pending, so no sleep in mid-block), then the routine takes over.
    EventList wake;
    wake.floatValue(10, kGain, 2.0f);
    rig.process(32, wake);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 10, false}, {10, 22, true}}));
    EXPECT_EQ(rig.sleeps(), 2);
    EXPECT_EQ(rig.module->curSubProcess, rig.module->savedSubProcess);

    // Settles again: one block size of frames, then sleep.
    rig.module->slices.clear();
    EventList settle;
    settle.floatValue(8, kGain, 0.5f);
    rig.process(32, settle);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 8, false}, {8, 24, true}}));
    EXPECT_EQ(rig.sleeps(), 2);
    rig.module->slices.clear();
    rig.process(32);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 8, true}}));
    EXPECT_EQ(rig.sleeps(), 3);
}

TEST(Sleep, EventThatGivesNoReasonToWakeLeavesTheRestUnwritten) {
    Rig rig(32);
    EventList start;
    start.streaming(0, kIn, false);
    rig.process(32, start);
    ASSERT_EQ(rig.sleeps(), 1);
    rig.module->slices.clear();
    EventList nudge;
    nudge.floatValue(10, kGain, 0.5f);
    rig.process(32, nudge);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 10, false}}));
    EXPECT_EQ(rig.sleeps(), 2);
}

TEST(Sleep, SetSubProcessWhilePreSleepingChangesOnlyTheSavedRoutine) {
    Rig rig;
    ProbeModule& m = *rig.module;
    ASSERT_EQ(m.curSubProcess, &MpBase::subProcessPreSleep);
    m.setSubProcess(&ProbeModule::subProcessOther);
    EXPECT_EQ(m.curSubProcess, &MpBase::subProcessPreSleep);
    EXPECT_EQ(m.savedSubProcess, static_cast<MpBase::SubProcess_ptr>(&ProbeModule::subProcessOther));

    // Awake, both change.
    m.setSleep(false);
    m.process(4, static_cast<const gmpi::MpEvent*>(nullptr));
    ASSERT_EQ(m.curSubProcess, m.savedSubProcess);
    m.setSubProcess(&ProbeModule::subProcess);
    EXPECT_EQ(m.curSubProcess, static_cast<MpBase::SubProcess_ptr>(&ProbeModule::subProcess));
}

TEST(Sleep, StreamingCountBackToZeroPassesThroughPreSleepEvenWhenNeverSleeping) {
    Rig rig;
    ProbeModule& m = *rig.module;
    m.setSleep(false);
    EventList on;
    on.streaming(0, kIn, true);
    rig.process(8, on);
    EXPECT_EQ(m.streamingPins, 1);
    EXPECT_EQ(m.curSubProcess, m.savedSubProcess);

    m.slices.clear();
    gmpi::MpEvent off{};
    off.eventType = gmpi::EVENT_PIN_STREAMING_STOP;
    off.parm1 = kIn;
    m.preProcessEvent(&off);
    EXPECT_EQ(m.streamingPins, 0);
    EXPECT_EQ(m.curSubProcess, &MpBase::subProcessPreSleep);
    EXPECT_GE(m.sleepCount, 1);
    // The loop leaves at once and restores the routine.
    m.postProcessEvent(&off);
    rig.process(8);
    EXPECT_EQ(m.slices, (std::vector<Slice>{{0, 8, true}}));
    EXPECT_EQ(m.curSubProcess, m.savedSubProcess);
    EXPECT_EQ(rig.sleeps(), 0);
}

TEST(Sleep, SetSleepTrueSleepsWhileInputsStream) {
    Rig rig(16);
    ProbeModule& m = *rig.module;
    EventList on;
    on.streaming(0, kIn, true);
    rig.process(16, on);
    EXPECT_EQ(rig.sleeps(), 0);
    m.setSleep(true);
    m.slices.clear();
    rig.process(16);
    EXPECT_TRUE(m.slices.empty());
    EXPECT_EQ(rig.sleeps(), 1);
}

TEST(Sleep, InputStopRaisesTheCountToAtLeastOne) {
    Rig rig;
    ProbeModule& m = *rig.module;
    m.sleepCount = 5;
    gmpi::MpEvent off{};
    off.eventType = gmpi::EVENT_PIN_STREAMING_STOP;
    off.parm1 = kIn;
    m.preProcessEvent(&off);
    EXPECT_EQ(m.sleepCount, 5);
    m.sleepCount = 0;
    m.preProcessEvent(&off);
    EXPECT_EQ(m.sleepCount, 1);
}

TEST(Sleep, RepeatedStreamingStopIsSentEveryTime) {
    Rig rig(24);
    ProbeModule& m = *rig.module;
    m.out.setStreaming(false, 3);
    m.out.setStreaming(false, 5);
    EXPECT_EQ(m.sleepCount, 24);
    ASSERT_EQ(rig.host->calls.size(), 2u);
    EXPECT_EQ(rig.host->calls[1].timeStamp, 5);
    EXPECT_FALSE(rig.host->calls[1].streaming);
    EXPECT_EQ(m.streamingPins, 0);
}

// The second-generation loop reaches samples through blockPos.
namespace {

class Probe2 : public MpBase2 {
public:
    Probe2() {
        initializePin(0, gain);
        setSubProcess(&Probe2::subProcess);
        setSleep(false);
    }
    void onSetPins() override { groups.push_back(blockPos); }
    void subProcess(int sampleFrames) { slices.push_back({blockPos, sampleFrames, noEventsPending}); }
    FloatInPin gain;
    std::vector<int> groups;
    std::vector<Slice> slices;
};

}  // namespace

TEST(Sleep, SecondGenerationLoopAdvancesBlockPos) {
    tamhost::HostContext context(44100.0f, 16);
    auto* host = new tamhost::AudioHost(context);
    auto* m = new Probe2;
    m->setHost(host);
    EventList events;
    events.floatValue(5, 0, 1.0f).floatValue(5, 0, 2.0f).floatValue(12, 0, 3.0f).floatValue(16, 0, 4.0f);
    m->process(16, static_cast<const gmpi::MpEvent*>(events.head()));
    EXPECT_EQ(m->slices, (std::vector<Slice>{{0, 5, false}, {5, 7, false}, {12, 4, false}}));
    EXPECT_EQ(m->groups, (std::vector<int>{5, 12}));
    EXPECT_EQ(m->gain.value, 3.0f);

    // Pre-sleep renders through blockPos and puts it back.
    m->slices.clear();
    m->sleepMode = -1;
    m->curSubProcess = &MpBase2::subProcessPreSleep;
    m->sleepCount = 6;
    m->process(16, static_cast<const gmpi::MpEvent*>(nullptr));
    EXPECT_EQ(m->slices, (std::vector<Slice>{{0, 6, true}}));
    EXPECT_EQ(m->blockPos, 0);
    EXPECT_EQ(host->calls.size(), 1u);
    m->release();
    host->release();
}
