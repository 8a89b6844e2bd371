// TamVCA through the factory and the reference host: gains of every curve,
// the table quirk, streaming and sleep, event timing and hostile curves.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "frame/mp_sdk_audio.h"
#include "tamhost/DspHost.h"
#include "tests/sound/test_level_support.h"

using leveltest::feed;
using tamhost::DspModule;

namespace {

enum VcaPin { Signal = 0, Volume = 1, Enable = 2, Curve = 3, Output = 4, Scale = 5, CustomOn = 6, CustomCurve = 7 };

constexpr int kFrames = 256;

// A VCA with a streaming signal and the given steady volume, curve and scale.
void setUp(DspModule& m, int curve, int scale, float volume) {
    feed(m, Signal, leveltest::testSignal(kFrames));
    m.setAudioInputConstant(Volume, volume);
    m.setInt(Curve, curve);
    m.setInt(Scale, scale);
    m.setBool(Enable, true);
}

void expectGain(const DspModule& m, float gain, const std::string& what) {
    const auto signal = leveltest::testSignal(kFrames);
    const auto& out = m.output(Output);
    ASSERT_EQ(out.size(), static_cast<size_t>(kFrames)) << what;
    for (int i = 0; i < kFrames; ++i)
        ASSERT_NEAR(out[i], signal[i] * gain, leveltest::tolerance(signal[i] * gain, 4e-6)) << what << " sample " << i;
}

// Steady volumes through every curve and scale, and through the custom
// curve (which takes its last entry).
TEST(LevelVca, SteadyVolumeGains) {
    const auto blob = leveltest::readBytes("custom_vca.crve");
    for (const bool custom : {false, true}) {
        for (const auto& c : leveltest::refs()[custom ? "vca_custom_fixed" : "vca_fixed"]) {
            DspModule m("TamVCA");
            setUp(m, custom ? 0 : c["curve"].get<int>(), c["scale"], c["volume"]);
            if (custom) {
                m.setBool(CustomOn, true);
                m.setBlob(CustomCurve, blob);
            }
            m.run(kFrames);
            expectGain(m, c["gain"].get<float>(), c.dump());
        }
    }
}

TEST(LevelVca, StreamingVolumeThroughCurves) {
    const auto& refs = leveltest::refs();
    const auto pattern = leveltest::floats(refs["vca_streaming_volumes"]);
    const auto signal = leveltest::testSignal(kFrames);
    const auto volume = leveltest::repeated(pattern, kFrames);
    auto check = [&](DspModule& m, const std::vector<float>& gains, const std::string& what) {
        feed(m, Signal, signal);
        feed(m, Volume, volume);
        m.setBool(Enable, true);
        m.run(kFrames, 64);
        const auto& out = m.output(Output);
        for (int i = 0; i < kFrames; ++i) {
            const float expected = signal[i] * gains[i % gains.size()];
            ASSERT_NEAR(out[i], expected, leveltest::tolerance(expected, 4e-6)) << what << " sample " << i;
        }
    };
    for (const auto& c : refs["vca_streaming"]) {
        DspModule m("TamVCA");
        m.setInt(Curve, c["curve"]);
        m.setInt(Scale, c["scale"]);
        check(m, leveltest::floats(c["gains"]), c.dump());
    }
    const auto blob = leveltest::readBytes("custom_vca.crve");
    for (const auto& c : refs["vca_streaming_custom"]) {
        DspModule m("TamVCA");
        m.setInt(Scale, c["scale"]);
        m.setBool(CustomOn, true);
        m.setBlob(CustomCurve, blob);
        check(m, leveltest::floats(c["gains"]), "custom " + c.dump());
    }
    // The linear curve has no upper clamp and no fade: max(0, v + b) * signal.
    for (int scale : {0, 1}) {
        DspModule m("TamVCA");
        m.setInt(Curve, 0);
        m.setInt(Scale, scale);
        std::vector<float> gains;
        for (float v : pattern)
            gains.push_back(std::max(0.0f, v + (scale == 0 ? 0.5f : 0.0f)));
        check(m, gains, "linear scale " + std::to_string(scale));
    }
}

TEST(LevelVca, SwitchingFromDecibelToLinearUsesLinearRoutine) {
    DspModule m("TamVCA");
    const auto signal = leveltest::testSignal(kFrames);
    const std::vector<float> volume = leveltest::repeated({0.1f, 0.3f, 0.7f, 1.4f}, kFrames);
    feed(m, Signal, signal);
    feed(m, Volume, volume);
    m.setInt(Curve, 1);
    m.setInt(Scale, 1);
    m.setBool(Enable, true);
    m.setInt(Curve, 0, 128);
    m.run(kFrames, 64);
    const auto& out = m.output(Output);
    EXPECT_NE(out[1], signal[1] * 0.3f);  // decibel table before
    for (int i = 128; i < kFrames; ++i)
        ASSERT_FLOAT_EQ(out[i], signal[i] * volume[i]) << i;
}

TEST(LevelVca, SilenceTestsAndSleep) {
    struct Case {
        int scale;
        float volume;
        bool sleeps;
    };
    // -5.0 is the bipolar silence level; -0.5 (gain 0) keeps streaming.
    for (const Case c : {Case{1, 0.0f, true}, Case{0, -5.0f, true}, Case{0, -0.5f, false}, Case{0, -0.7f, false},
                         Case{1, -5.0f, false}, Case{3, 0.0f, true}}) {
        DspModule m("TamVCA");
        setUp(m, 0, c.scale, c.volume);
        m.run(kFrames, 64);
        const std::string what = "scale " + std::to_string(c.scale) + " volume " + std::to_string(c.volume);
        EXPECT_EQ(m.sleeping(), c.sleeps) << what;
        EXPECT_EQ(m.sleepCalls(), c.sleeps ? 1 : 0) << what;
        const auto streaming = m.streamingCalls(Output);
        ASSERT_FALSE(streaming.empty());
        EXPECT_EQ(streaming.back().streaming, !c.sleeps) << what;
        if (c.sleeps) {
            EXPECT_EQ(m.processCalls(), 1) << what;  // one block rendered, then asleep
        }
        for (int i = 0; i < 64; ++i)
            ASSERT_EQ(m.output(Output)[i], 0.0f) << what;
    }
}

TEST(LevelVca, DisabledSleepsAtZeroAndEnableActsAtOnce) {
    DspModule m("TamVCA");
    const auto signal = leveltest::testSignal(kFrames);
    feed(m, Signal, signal);
    feed(m, Volume, leveltest::repeated({0.2f, 0.4f}, kFrames));
    m.setInt(Scale, 1);
    m.setBool(Enable, false);
    m.run(128, 64);
    EXPECT_TRUE(m.sleeping());
    EXPECT_EQ(m.sleepCalls(), 1);
    for (int i = 0; i < 64; ++i)
        ASSERT_EQ(m.output(Output)[i], 0.0f) << i;

    m.setBool(Enable, true, 150);
    m.run(128, 64);
    EXPECT_FALSE(m.sleeping());
    const auto& out = m.output(Output);
    for (int i = 150; i < kFrames; ++i)
        ASSERT_FLOAT_EQ(out[i], signal[i] * (i % 2 ? 0.4f : 0.2f)) << i;
    EXPECT_EQ(m.streamingCalls(Output).back().time, 150);
}

TEST(LevelVca, SettledSignalRendersOneBlockThenSleepsAndEventWakes) {
    DspModule m("TamVCA");
    std::vector<float> signal = leveltest::testSignal(100);
    signal.resize(512, 0.8f);  // the level the signal settles at
    feed(m, Signal, signal);
    m.setStreaming(Signal, false, 100);
    m.setAudioInputConstant(Volume, 0.5f);
    m.setInt(Scale, 1);
    m.setBool(Enable, true);
    m.run(256, 64);

    const auto& out = m.output(Output);
    for (int i = 0; i < 100; ++i)
        ASSERT_FLOAT_EQ(out[i], signal[i] * 0.5f) << i;
    for (int i = 100; i < 164; ++i)
        ASSERT_FLOAT_EQ(out[i], 0.4f) << i;  // one block of the settled level
    EXPECT_EQ(m.sleepCalls(), 1);
    EXPECT_TRUE(m.sleeping());
    EXPECT_EQ(m.processCalls(), 3);  // blocks 0-63, 64-127, 128-191
    const auto streaming = m.streamingCalls(Output);
    EXPECT_FALSE(streaming.back().streaming);
    EXPECT_EQ(streaming.back().time, 100);

    // A value event wakes it; it renders the new level for a block and sleeps.
    m.setInt(Curve, 0, 300);
    m.run(256, 64);
    EXPECT_EQ(m.processCalls(), 5);  // the block with the event and the next
    EXPECT_EQ(m.sleepCalls(), 2);
    for (int i = 300; i < 364; ++i)
        ASSERT_FLOAT_EQ(m.output(Output)[i], 0.4f) << i;
}

TEST(LevelVca, EventsCutBlocksAndCountStampIsDropped) {
    // A volume step at sample 100, inside a 64-frame block.
    DspModule m("TamVCA");
    const auto signal = leveltest::testSignal(kFrames);
    std::vector<float> volume(kFrames, 0.5f);
    std::fill(volume.begin() + 100, volume.end(), 0.25f);
    feed(m, Signal, signal);
    m.setAudioInput(Volume, volume);
    m.setStreaming(Volume, false, 100);
    m.setInt(Scale, 1);
    m.setBool(Enable, true);
    m.run(kFrames, 64);
    for (int i = 0; i < kFrames; ++i)
        ASSERT_FLOAT_EQ(m.output(Output)[i], signal[i] * (i < 100 ? 0.5f : 0.25f)) << i;

    // An event stamped with the block's count is never handled; one stamped
    // a sample earlier is.
    for (int stamp : {64, 63}) {
        DspModule d("TamVCA");
        setUp(d, 0, 1, 0.5f);
        d.run(64);
        gmpi::MpEvent disable{};
        disable.timeDelta = stamp;
        disable.eventType = gmpi::EVENT_PIN_SET;
        disable.parm1 = Enable;
        disable.parm2 = 1;
        disable.parm3 = 0;
        d.plugin()->process(64, &disable);
        d.run(64);
        const float last = d.output(Output).back();
        if (stamp == 64) {
            EXPECT_FLOAT_EQ(last, leveltest::testSignal(kFrames)[127] * 0.5f);
        } else {
            EXPECT_EQ(last, 0.0f);
        }
    }
}

TEST(LevelVca, HostileCurvesAndValuesStaySafe) {
    // Bad custom curves give silence with a streaming volume and gain 0 with
    // a steady one; a good curve afterwards brings the sound back.
    const auto good = leveltest::readBytes("custom_vca.crve");
    for (const auto& bytes : leveltest::badCurveBlobs()) {
        for (bool streamingVolume : {true, false}) {
            DspModule m("TamVCA");
            setUp(m, 0, 1, 0.6f);
            if (streamingVolume) feed(m, Volume, leveltest::repeated({0.3f, 0.6f, 1.2f}, kFrames));
            m.setBool(CustomOn, true);
            m.setBlob(CustomCurve, bytes);
            m.setBlob(CustomCurve, good, 128);
            m.run(kFrames, 64);
            const auto& out = m.output(Output);
            for (int i = 0; i < 128; ++i)
                ASSERT_EQ(out[i], 0.0f) << bytes.size() << " bytes, sample " << i;
            EXPECT_NE(out[200], 0.0f) << bytes.size() << " bytes";
        }
    }
    // Custom flag on with no blob at all: silent.
    {
        DspModule m("TamVCA");
        setUp(m, 2, 1, 0.6f);
        m.setBool(CustomOn, true);
        m.run(64);
        EXPECT_EQ(m.output(Output)[10], 0.0f);
    }
    // Odd pin values: extreme curve and scale numbers, NaN and infinite
    // volumes, short and oversized raw values. Nothing may crash; finite
    // volumes give finite output.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (int curve : {std::numeric_limits<int>::min(), -1, 2, 3, 4, std::numeric_limits<int>::max()}) {
        DspModule m("TamVCA");
        setUp(m, curve, std::numeric_limits<int>::min(), 0.3f);
        feed(m, Volume, leveltest::repeated({nan, inf, -inf, 1e30f, -1e30f, 0.3f}, kFrames));
        m.queueRawEvent(70, gmpi::EVENT_PIN_SET, Curve, {1});
        m.queueRawEvent(80, gmpi::EVENT_PIN_SET, Enable, {7, 0, 0, 0, 9, 9});
        m.queueRawEvent(90, gmpi::EVENT_PIN_SET, 99, {1, 2, 3, 4});
        m.run(kFrames, 64);
        EXPECT_TRUE(std::isfinite(m.output(Output)[5])) << curve;
    }
}

}  // namespace
