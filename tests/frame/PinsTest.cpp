// Blobs, text pins, the smoothing output and the ramp generator.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ProbeModule.h"

TEST(MpBlobTest, SizesAllocationsAndComparison) {
    MpBlob blob;
    EXPECT_EQ(blob.getSize(), 0);
    EXPECT_EQ(blob.getData(), nullptr);

    const char abc[3] = {'a', 'b', 'c'};
    blob.setValueRaw(3, abc);
    char* first = blob.getData();
    EXPECT_TRUE(blob.compare(abc, 3));
    const char xyz[3] = {'x', 'y', 'z'};
    blob.setValueRaw(3, xyz);  // same size: the allocation stays
    EXPECT_EQ(blob.getData(), first);
    EXPECT_TRUE(blob.compare(xyz, 3));
    EXPECT_FALSE(blob.compare(xyz, 2));

    // A changed size of 0 leaves a zero-length allocation.
    blob.setValueRaw(0, nullptr);
    EXPECT_EQ(blob.getSize(), 0);
    EXPECT_NE(blob.getData(), nullptr);

    MpBlob other(3, abc);
    MpBlob copy(other);
    EXPECT_NE(copy.getData(), other.getData());
    EXPECT_TRUE(copy == other);
    copy.getData()[0] = 'A';
    EXPECT_TRUE(copy != other);
    copy = other;
    EXPECT_TRUE(copy == other);
    copy = copy;
    EXPECT_TRUE(copy == other);
    EXPECT_FALSE(MpBlob() == other);

    // Shrinking lowers the size only; growing gives a new allocation.
    char* before = copy.getData();
    copy.resize(2);
    EXPECT_EQ(copy.getSize(), 2);
    EXPECT_EQ(copy.getData(), before);
    EXPECT_TRUE(copy.compare("ab", 2));
    copy.resize(40);
    EXPECT_EQ(copy.getSize(), 40);
    copy.resize(-3);
    EXPECT_EQ(copy.getSize(), 0);
}

TEST(StringPins, Utf8ConversionAndRawSizes) {
    StringInPin pin;
    const std::wstring text = {L'a', static_cast<wchar_t>(0xE9), static_cast<wchar_t>(0x20AC),
                               static_cast<wchar_t>(0x1F600), static_cast<wchar_t>(0x110000)};
    pin.setValueRaw(static_cast<int>(text.size() * 4), text.data());
    EXPECT_EQ(pin.value, text);
    EXPECT_EQ(pin.rawSize(), 20);
    const std::string expected = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xEF\xBF\xBD";
    EXPECT_EQ(static_cast<std::string>(pin), expected);
    // A size that is no whole number of characters drops the odd bytes.
    pin.setValueRaw(7, text.data());
    EXPECT_EQ(pin.value, std::wstring(1, L'a'));

    BoolOutPin flag;
    EXPECT_EQ(flag.rawSize(), 1);
    BlobOutPin blob;
    EXPECT_EQ(blob.rawSize(), 0);
    EXPECT_EQ(blob.getDatatype(), gmpi::MP_BLOB);
    EnumInPin choice;
    EXPECT_EQ(choice.getDatatype(), gmpi::MP_ENUM);
    EXPECT_EQ(choice.getDirection(), gmpi::MP_IN);
}

namespace {

class SmartProbe : public MpBase {
public:
    SmartProbe() { initializePin(0, out); }
    SmartAudioPin out;
};

struct SmartRig {
    SmartRig() : context(1000.0f, 16) {
        host = new tamhost::AudioHost(context);
        module = new SmartProbe;
        module->setHost(host);
        module->setBuffer(0, buffer.data());
    }
    ~SmartRig() {
        module->release();
        host->release();
    }
    std::vector<float> render(int frames, bool* canSleepOut = nullptr) {
        bool canSleep = true;
        module->out.subProcess(0, frames, canSleep);
        if (canSleepOut) *canSleepOut = canSleep;
        return std::vector<float>(buffer.begin(), buffer.begin() + frames);
    }
    std::vector<bool> streamingSent() const {
        std::vector<bool> sent;
        for (const auto& c : host->calls)
            if (c.kind == tamhost::RecordedCall::SetPinStreaming) sent.push_back(c.streaming);
        return sent;
    }
    tamhost::HostContext context;
    tamhost::AudioHost* host;
    SmartProbe* module;
    std::vector<float> buffer = std::vector<float>(64, -9.0f);
};

}  // namespace

TEST(SmartAudioPinTest, FirstValueJumpsWhateverTheCurve) {
    SmartRig rig;
    rig.module->out.setCurveType(1);
    rig.module->out.setTransitionTime(10);
    rig.module->out.setValue(5.0f);
    EXPECT_EQ(rig.render(4), std::vector<float>(4, 5.0f));
}

TEST(SmartAudioPinTest, LinearRampReachesTheTargetAndStopsStreaming) {
    SmartRig rig;
    SmartAudioPin& pin = rig.module->out;
    rig.render(2);  // first sample: jumps to the start value (0)
    pin.setTransitionTime(4);
    pin.setValue(1.0f);
    bool canSleep = true;
    // Steps of 1/4; the fourth step reaches the target and ends the ramp.
    EXPECT_EQ(rig.render(6, &canSleep), (std::vector<float>{0.25f, 0.5f, 0.75f, 1.0f, 1.0f, 1.0f}));
    EXPECT_FALSE(canSleep);
    EXPECT_EQ(pin.curProcess, &SmartAudioPin::subProcessStatic);
    const auto& last = rig.host->calls.back();
    EXPECT_FALSE(last.streaming);
    EXPECT_EQ(last.timeStamp, 3);

    // Downwards too.
    pin.setValue(0.0f);
    EXPECT_EQ(rig.render(5), (std::vector<float>{0.75f, 0.5f, 0.25f, 0.0f, 0.0f}));
}

TEST(SmartAudioPinTest, CubicFollowsSmoothstep) {
    SmartRig rig;
    SmartAudioPin& pin = rig.module->out;
    rig.render(1);
    pin.setCurveType(1);
    pin.setTransitionTime(4);
    pin.setValue(1.0f);
    // 3(n/4)^2 - 2(n/4)^3 for n = 1..4, then the target.
    EXPECT_EQ(rig.render(6), (std::vector<float>{0.15625f, 0.5f, 0.84375f, 1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(pin.curProcess, &SmartAudioPin::subProcessStatic);

    // Over 8 samples from 1 down to -1: 1 - 2 * smoothstep(n/8).
    pin.setTransitionTime(8);
    pin.setValue(-1.0f);
    const std::vector<float> got = rig.render(9);
    const double expected[9] = {0.9140625, 0.6875, 0.3671875, 0.0, -0.3671875, -0.6875, -0.9140625, -1.0, -1.0};
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(got[i], expected[i], 1e-6) << i;
}

TEST(SmartAudioPinTest, SettingTheCurrentValueCancelsARamp) {
    SmartRig rig;
    SmartAudioPin& pin = rig.module->out;
    rig.render(1);
    pin.setTransitionTime(4);
    pin.setValue(1.0f);
    rig.render(2);
    ASSERT_EQ(pin.getInstantValue(), 0.5f);
    pin.setValue(0.5f);
    EXPECT_EQ(pin.curProcess, &SmartAudioPin::subProcessStatic);
    EXPECT_EQ(rig.render(3), std::vector<float>(3, 0.5f));
    EXPECT_EQ(rig.streamingSent(), (std::vector<bool>{false, true, false}));
}

TEST(SmartAudioPinTest, PulseHoldsForTheTransitionThenDrops) {
    SmartRig rig;
    SmartAudioPin& pin = rig.module->out;
    rig.render(1);
    pin.setTransitionTime(3);
    pin.pulse(2.0f);
    EXPECT_EQ(rig.render(6), (std::vector<float>{2, 2, 2, 0, 0, 0}));
    EXPECT_EQ(rig.host->calls.back().timeStamp, 3);
    EXPECT_EQ(rig.render(2), (std::vector<float>{0, 0}));
    EXPECT_EQ(pin.curProcess, &SmartAudioPin::subProcessStatic);

    // A pulse longer than the slice spans calls and keeps the module awake.
    pin.setTransitionTime(10);
    pin.pulse(1.0f);
    rig.module->sleepCount = 0;
    EXPECT_EQ(rig.render(4), std::vector<float>(4, 1.0f));
    EXPECT_EQ(rig.module->sleepCount, 16);
    EXPECT_EQ(rig.render(8), (std::vector<float>{1, 1, 1, 1, 1, 1, 0, 0}));
}

TEST(SmartAudioPinTest, AdaptiveCurveRatesComeFromTheSampleRate) {
    SmartRig rig;  // 1000 Hz
    SmartAudioPin& pin = rig.module->out;
    rig.render(1);
    pin.setCurveType(2);
    EXPECT_FLOAT_EQ(pin.inverseTransition, 1.0f / 15.0f);
    EXPECT_FLOAT_EQ(pin.slowestRate, 1.0f / 50.0f);
    EXPECT_FLOAT_EQ(pin.fastestRate, 1.0f);
    // No ramp under way: slower by 0.9.
    pin.setValue(1.0f);
    EXPECT_FLOAT_EQ(pin.inverseTransition, 0.06f);
    EXPECT_FLOAT_EQ(pin.dv, 0.06f);
    // Another value during the ramp: faster by 1.05.
    rig.render(2);
    pin.setValue(2.0f);
    EXPECT_FLOAT_EQ(pin.inverseTransition, 0.063f);
    EXPECT_FLOAT_EQ(pin.dv, (2.0f - 0.12f) * 0.063f);
}

TEST(SmartAudioPinTest, TransitionTimeIsAtLeastOneSample) {
    SmartAudioPin pin;
    pin.setTransitionTime(0.25f);
    EXPECT_EQ(pin.transitionSamples, 1.0f);
    pin.setTransitionTime(std::nanf(""));
    EXPECT_EQ(pin.transitionSamples, 1.0f);
    pin.setTransitionTime(80.0f);
    EXPECT_EQ(pin.inverseTransition, 1.0f / 80.0f);
}

TEST(RampGeneratorTest, StepsToTheTargetAndHolds) {
    RampGenerator ramp;
    EXPECT_EQ(ramp.getInstantValue(), 0.0f);
    ramp.setTransitionTime(4);
    ramp.setTarget(1.0f);
    std::vector<float> up;
    for (int i = 0; i < 6; ++i) up.push_back(ramp.getNext());
    EXPECT_EQ(up, (std::vector<float>{0.25f, 0.5f, 0.75f, 1, 1, 1}));
    ramp.setTarget(0.0f);
    std::vector<float> down;
    for (int i = 0; i < 5; ++i) down.push_back(ramp.getNext());
    EXPECT_EQ(down, (std::vector<float>{0.75f, 0.5f, 0.25f, 0, 0}));

    ramp.setValueInstant(3.0f);
    EXPECT_EQ(ramp.getNext(), 3.0f);
    ramp.setTransitionTime(0.1f);  // at least one sample
    ramp.setTarget(5.0f);
    EXPECT_EQ(ramp.getNext(), 5.0f);
    ramp.setTransitionTime(1.0f);  // the stored value: nothing happens
    EXPECT_EQ(ramp.inverseTransition, 1.0f);
}
