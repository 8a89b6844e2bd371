// TamLevelAdj, TamSampleHold and TamInterrupter through the factory and the
// reference host.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tamhost/DspHost.h"
#include "tests/sound/test_level_support.h"

using leveltest::feed;
using tamhost::DspModule;
using tamhost::DspOptions;

namespace {

TEST(LevelGates, LevelAdjMultipliesAndSleepsWhenBothInputsSettle) {
    const auto signal = leveltest::testSignal(256);
    const auto level = leveltest::repeated({-1.0f, 0.5f, 2.0f, 0.0f, 0.25f}, 256);
    DspModule m("TamLevelAdj");
    feed(m, 0, signal);
    feed(m, 1, level);
    m.setStreaming(0, false, 90);
    m.run(128, 64);
    EXPECT_FALSE(m.sleeping());  // the level still streams
    for (int i = 0; i < 128; ++i)
        ASSERT_FLOAT_EQ(m.output(2)[i], signal[i] * level[i]) << i;

    m.setStreaming(1, false, 140);
    m.run(128, 64);
    EXPECT_TRUE(m.sleeping());
    EXPECT_EQ(m.sleepCalls(), 1);
    EXPECT_EQ(m.streamingCalls(2).back().time, 140);
    EXPECT_FALSE(m.streamingCalls(2).back().streaming);
}

TEST(LevelGates, SampleHoldRefreshesOnAlternateSamples) {
    const auto& ref = leveltest::refs()["sample_hold"];
    const auto signal = leveltest::floats(ref["signal"]);
    const auto gate = leveltest::floats(ref["gate"]);
    const auto expected = leveltest::floats(ref["out"]);
    // The same sequence cut into blocks of several sizes: the phase flag and
    // held value carry across blocks.
    for (int block : {1, 5, 7, 64}) {
        DspModule m("TamSampleHold");
        feed(m, 0, signal);
        feed(m, 1, gate);
        m.run(static_cast<int64_t>(signal.size()), block);
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_EQ(m.output(2)[i], expected[i]) << "block " << block << " sample " << i;
    }
    // A streaming gate alone does not keep it awake.
    DspModule m("TamSampleHold");
    m.setAudioInputConstant(0, 0.3f);
    feed(m, 1, gate);
    m.run(128, 64);
    EXPECT_TRUE(m.sleeping());
    EXPECT_FALSE(m.streamingCalls(2).back().streaming);
}

TEST(LevelGates, InterrupterStateLengthsAtSeveralRates) {
    for (const auto& c : leveltest::refs()["interrupter_fixed"]) {
        const float rate = c["rate"];
        const DspOptions options{.sampleRate = rate};
        DspModule m("TamInterrupter", options);
        std::vector<float> signal(200);
        for (int k = 0; k < 200; ++k)
            signal[k] = static_cast<float>(k % 7 + 1);
        feed(m, 0, signal);
        m.setAudioInputConstant(1, c["on"].get<float>());
        m.setAudioInputConstant(2, c["off"].get<float>());
        m.run(200, 64);
        const auto expected = leveltest::floats(c["out"]);
        for (int i = 0; i < 200; ++i)
            ASSERT_EQ(m.output(4)[i], expected[i]) << c["rate"] << " " << c["on"] << " " << c["off"] << " sample " << i;
    }
}

TEST(LevelGates, InterrupterFollowsStreamingTimes) {
    const auto& c = leveltest::refs()["interrupter_streaming"];
    const DspOptions options{.sampleRate = c["rate"].get<float>()};
    DspModule m("TamInterrupter", options);
    feed(m, 0, leveltest::floats(c["signal"]));
    feed(m, 1, leveltest::floats(c["on"]));
    feed(m, 2, leveltest::floats(c["off"]));
    const auto expected = leveltest::floats(c["out"]);
    m.run(static_cast<int64_t>(expected.size()), 32);
    for (size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(m.output(4)[i], expected[i]) << i;
}

TEST(LevelGates, InterrupterKeepStreamingAndHostileTimes) {
    for (bool keep : {false, true}) {
        DspModule m("TamInterrupter");
        m.setAudioInputConstant(0, 1.0f);
        m.setAudioInputConstant(1, 0.0f);
        m.setAudioInputConstant(2, 0.0f);
        m.setBool(3, keep);
        m.run(256, 64);
        EXPECT_EQ(m.sleeping(), !keep);
        EXPECT_EQ(m.streamingCalls(4).back().streaming, keep);
        if (keep) {
            // Two on, two off, all the way: the pattern keeps running.
            for (int i = 0; i < 256; ++i)
                ASSERT_EQ(m.output(4)[i], (i % 4) < 2 ? 1.0f : 0.0f) << i;
        }
    }
    // Times far out of range, NaN and infinities: defined lengths, no crash.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (float t : {nan, inf, -inf, 1e30f, -1e30f, 5e4f}) {
        for (bool streaming : {false, true}) {
            DspModule m("TamInterrupter");
            m.setAudioInputConstant(0, 1.0f);
            m.setStreaming(0, true);
            m.setAudioInput(1, {t});
            m.setStreaming(1, streaming);
            m.setAudioInput(2, {t});
            m.setStreaming(2, streaming);
            m.run(128, 64);
            for (int i = 0; i < 128; ++i)
                ASSERT_TRUE(m.output(4)[i] == 0.0f || m.output(4)[i] == 1.0f);
            // A huge on time holds the signal on.
            if (t == inf || t == 1e30f || t == 5e4f) {
                EXPECT_EQ(m.output(4)[127], 1.0f) << t;
            }
        }
    }
}

}  // namespace
