// The block loop: slices cut at event time stamps, grouping, pin updates and
// hostile event lists.
#include <gtest/gtest.h>

#include <cstring>

#include "ProbeModule.h"

using namespace probe;

namespace {

std::vector<float> outRange(const Rig& rig, int from, int to) {
    return std::vector<float>(rig.outBuffer.begin() + from, rig.outBuffer.begin() + to);
}

}  // namespace

TEST(BlockLoop, CutsAtEventTimesHandlesGroupsOnceAndDropsEventsAtCount) {
    Rig rig;
    rig.module->setSleep(false);
    EventList events;
    events.floatValue(5, kGain, 0.5f)
        .midi(5, kMidi, {0x90, 60, 100})
        .floatValue(20, kGain, 0.25f)
        .floatValue(32, kGain, 9.0f);  // stamped with count: never handled
    rig.process(32, events);

    const std::vector<Slice> expected = {{0, 5, false}, {5, 15, false}, {20, 12, false}};
    EXPECT_EQ(rig.module->slices, expected);
    // MIDI is handled in the process phase, before the group's onSetPins,
    // and freshValue is still set during it.
    // The audio input was never told anything, so it reads as changed.
    const std::vector<std::string> log = {"midi pin 4 size 3", "set@5 gain in", "set@20 gain in"};
    EXPECT_EQ(rig.module->log, log);
    EXPECT_EQ(rig.module->gain.value, 0.25f);
    EXPECT_FALSE(rig.module->gain.isUpdated());
    EXPECT_EQ(outRange(rig, 0, 5), std::vector<float>(5, 0.0f));
    EXPECT_EQ(outRange(rig, 5, 20), std::vector<float>(15, 0.5f));
    EXPECT_EQ(outRange(rig, 20, 32), std::vector<float>(12, 0.25f));
    EXPECT_EQ(rig.module->midiBytes, (std::vector<unsigned char>{0x90, 60, 100}));
}

TEST(BlockLoop, EmptyListsAndTrailingGroups) {
    Rig rig;
    rig.module->setSleep(false);
    rig.process(17);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 17, true}}));

    // A group at 0 then the rest of the block with noEventsPending set.
    rig.module->slices.clear();
    EventList atStart;
    atStart.floatValue(0, kGain, 1.0f);
    rig.process(16, atStart);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 16, true}}));

    // A group in the middle: the last slice runs with no events behind it.
    rig.module->slices.clear();
    EventList middle;
    middle.floatValue(9, kGain, 2.0f);
    rig.process(16, middle);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 9, false}, {9, 7, true}}));
}

TEST(BlockLoop, GraphStartAndMidiAloneDoNotCallOnSetPins) {
    Rig rig;
    rig.module->setSleep(false);
    EventList events;
    events.graphStart(7).midi(7, kMidi, {0xB0, 1, 2});
    rig.process(16, events);
    EXPECT_EQ(rig.module->log, (std::vector<std::string>{"midi pin 4 size 3"}));

    // Graph start makes every output send its first update, in pin order.
    const auto& calls = rig.host->calls;
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].kind, tamhost::RecordedCall::SetPinStreaming);
    EXPECT_EQ(calls[0].pinId, kOut);
    EXPECT_TRUE(calls[0].streaming);
    EXPECT_EQ(calls[0].timeStamp, 7);
    EXPECT_EQ(calls[1].kind, tamhost::RecordedCall::SetPin);
    EXPECT_EQ(calls[1].pinId, kGainOut);
    EXPECT_EQ(calls[1].data.size(), 4u);
    EXPECT_EQ(calls[1].timeStamp, 7);
}

TEST(BlockLoop, MidiShortAndLongForms) {
    Rig rig;
    rig.module->setSleep(false);
    const std::vector<unsigned char> sysex = {0xF0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xF7};
    EventList events;
    events.midi(0, kMidi, {0x80, 60, 0}).midi(1, kMidi, sysex);
    rig.process(8, events);
    // The long form passes the size where the pin would be.
    EXPECT_EQ(rig.module->log, (std::vector<std::string>{"midi pin 4 size 3", "midi pin 12 size 12"}));
    EXPECT_EQ(rig.module->midiBytes, sysex);
}

TEST(BlockLoop, ControlPinsTakeShortAndLongData) {
    Rig rig;
    rig.module->setSleep(false);
    const std::wstring longText = L"a longer text";
    const int32_t count = -12345;
    const char blobBytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    EventList events;
    events.value(0, kCount, &count, 4)
        .value(0, kText, longText.data(), static_cast<int>(longText.size() * 4))
        .value(0, kBlob, blobBytes, 10)
        .value(1, kText, L"hi", 8);
    rig.process(8, events);
    EXPECT_EQ(rig.module->count.value, count);
    EXPECT_EQ(rig.module->text.value, L"hi");
    EXPECT_EQ(rig.module->blob.value.getSize(), 10);
    EXPECT_TRUE(rig.module->blob.value.compare(blobBytes, 10));
}

TEST(BlockLoop, BoolPinReadsWordsAndBytes) {
    Rig rig;
    rig.module->setSleep(false);
    auto feed = [&](const void* data, int size) {
        EventList events;
        events.value(0, kFlag, data, size);
        rig.process(4, events);
        return rig.module->flag.value;
    };
    const int32_t highByteOnly = 0x100;  // first byte 0, word not 0
    const int32_t zeroWord = 0;
    const unsigned char zeroByte = 0;
    const unsigned char seven = 7;
    EXPECT_TRUE(feed(&highByteOnly, 4));
    EXPECT_FALSE(feed(&zeroWord, 4));
    EXPECT_TRUE(feed(&seven, 1));
    EXPECT_FALSE(feed(&zeroByte, 1));
    // Two bytes are neither form: the first byte decides.
    const unsigned char pair[2] = {0, 1};
    EXPECT_FALSE(feed(pair, 2));
}

TEST(BlockLoop, HostileEventsStayInsideTheBlockAndThePins) {
    Rig rig;
    rig.module->setSleep(false);
    gmpi::MpEvent oversized{};
    oversized.timeDelta = 2;
    oversized.eventType = gmpi::EVENT_PIN_SET;
    oversized.parm1 = kText;
    oversized.parm2 = 1000;  // short data claims more than parm3/parm4 hold
    const wchar_t two[2] = {L'x', L'y'};
    std::memcpy(&oversized.parm3, two, 8);
    gmpi::MpEvent negative = oversized;
    negative.parm1 = kBlob;
    negative.parm2 = -5;
    gmpi::MpEvent unknownPin = oversized;
    unknownPin.parm1 = 99;
    gmpi::MpEvent late = oversized;
    late.timeDelta = 100000;
    late.parm1 = kGain;
    gmpi::MpEvent oversizedMidi{};
    oversizedMidi.timeDelta = 3;
    oversizedMidi.eventType = gmpi::EVENT_MIDI;
    oversizedMidi.parm1 = kMidi;
    oversizedMidi.parm2 = 4000;

    EventList events;
    events.raw(oversized).raw(negative).raw(unknownPin).raw(oversizedMidi).raw(late);
    rig.process(16, events);
    EXPECT_EQ(rig.module->text.value, L"xy");
    EXPECT_EQ(rig.module->blob.value.getSize(), 0);
    EXPECT_EQ(rig.module->midiBytes.size(), 8u);
    int frames = 0;
    for (const auto& s : rig.module->slices) frames += s.frames;
    EXPECT_EQ(frames, 16);

    // A negative time stamp is handled at the block's start.
    rig.module->slices.clear();
    gmpi::MpEvent early = oversized;
    early.timeDelta = -40;
    EventList second;
    second.raw(early);
    rig.process(8, second);
    EXPECT_EQ(rig.module->slices, (std::vector<Slice>{{0, 8, true}}));
}

TEST(BlockLoop, AudioInputReportsChangeUntilAStreamingEvent) {
    Rig rig;
    rig.module->setSleep(false);
    EXPECT_TRUE(rig.module->in.isUpdated());
    EventList first;
    first.floatValue(0, kGain, 1.0f);
    rig.process(4, first);
    EventList second;
    second.floatValue(0, kGain, 2.0f);
    rig.process(4, second);
    EventList third;
    third.streaming(0, kIn, false);
    rig.process(4, third);
    EventList fourth;
    fourth.floatValue(0, kGain, 3.0f);
    rig.process(4, fourth);
    EXPECT_EQ(rig.module->log,
              (std::vector<std::string>{"set@0 gain in", "set@0 gain in", "set@0 in", "set@0 gain"}));
    EXPECT_FALSE(rig.module->in.isStreaming());
}

TEST(BlockLoop, PinMapAndBuffers) {
    Rig rig;
    AudioOutPin intruder;
    rig.module->initializePin(kGain, intruder);  // the first pin of an id stays
    EXPECT_EQ(rig.module->pins_.at(kGain), &rig.module->gain);
    EXPECT_EQ(intruder.id, kGain);
    EXPECT_EQ(rig.module->setBuffer(42, rig.outBuffer.data()), MP_FAIL);
    EXPECT_EQ(rig.module->setBuffer(kOut, rig.outBuffer.data()), MP_OK);
    // Input pins get their default handler, outputs none.
    EXPECT_EQ(rig.module->midi.eventHandler, &MpPluginBase::midiHelper);
    EXPECT_EQ(rig.module->gainOut.eventHandler, nullptr);
}

TEST(BlockLoop, OutputPinsSendOnChangeOnly) {
    Rig rig;
    rig.module->gainOut = 1.5f;
    rig.module->gainOut = 1.5f;
    rig.module->gainOut.setValue(2.5f, 9);
    const auto& calls = rig.host->calls;
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].asFloat(), 1.5f);
    EXPECT_EQ(calls[0].timeStamp, 0);
    EXPECT_EQ(calls[1].asFloat(), 2.5f);
    EXPECT_EQ(calls[1].timeStamp, 9);
}
