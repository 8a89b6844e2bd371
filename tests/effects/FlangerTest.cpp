// The flanger through the factory and the reference host: its fixed line
// (2000 samples at any rate), the fractional delay with feedback against
// scipy, the modulation sweep, the zero-range case, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

using fxtest::feed;

constexpr int kOut = 8;

struct FlangerSettings {
    float modulation = 0.0f, depth = 0.0f, delay = 1.0f;
    float feedback = 0.0f;  // the middle of -0.5..0.5: no feedback
    float mix = 1.0f;
};

std::unique_ptr<tamhost::DspModule> makeFlanger(float rate, int block, const FlangerSettings& s,
                                                std::vector<float> x) {
    auto m = fxtest::module(
        "TamFxFlanger", rate, block,
        {{2, s.modulation}, {3, s.depth}, {4, s.delay}, {5, s.feedback}, {6, s.mix}, {7, 0.5f}});
    m->setBool(1, true);
    feed(*m, 0, std::move(x));
    return m;
}

// The sample where an impulse comes out.
long echoAt(float rate, const FlangerSettings& s) {
    auto m = makeFlanger(rate, 64, s, fxtest::impulse(2100));
    m->run(2100);
    const auto& out = m->output(kOut);
    return std::max_element(out.begin(), out.end()) - out.begin();
}

TEST(Flanger, LongestDelayIs2000SamplesAtEveryRate) {
    const float wet = std::sin(511.0f * 1.5707964f / 512.0f);
    for (float rate : {22050.0f, 44100.0f, 96000.0f, 192000.0f}) {
        SCOPED_TRACE(rate);
        auto m = makeFlanger(rate, 64, {}, fxtest::impulse(2100));
        m->run(2100);
        const auto& out = m->output(kOut);
        for (int i = 0; i < 2100; ++i)
            ASSERT_NEAR(out[i], i == 2000 ? wet : 0.0f, i == 2000 ? 1e-6f : 0.0f) << i;
    }
}

TEST(Flanger, ModulationSweepsBetweenBaseAndRange) {
    // Depth 0.5 and delay 1: base 1000, range 2000. A modulation signal that
    // steps from 0 to 1 moves an impulse's echo from 1000 to 2000 samples.
    FlangerSettings s;
    s.depth = 0.5f;
    for (auto [modulation, at] :
         {std::pair{0.0f, 1000}, {1.0f, 2000}, {0.5f, 1500}, {-3.0f, 1000}, {7.0f, 2000}}) {
        s.modulation = modulation;
        EXPECT_EQ(echoAt(48000.0f, s), at) << "modulation " << modulation;
    }
}

TEST(Flanger, ZeroRangeHearsTheSampleJustWritten) {
    FlangerSettings s;
    s.delay = 0.0f;
    s.mix = 0.5f;
    const auto x = fxtest::noise(1000);
    auto m = makeFlanger(44100.0f, 64, s, x);
    m->run(1000);
    const float half = std::sin(256.0f * 1.5707964f / 512.0f);
    for (int i = 0; i < 1000; ++i) ASSERT_NEAR(m->output(kOut)[i], x[i] * 2.0f * half, 1e-6f) << i;
}

TEST(Flanger, FractionalDelayWithFeedbackMatchesScipy) {
    const auto x = fxtest::readF32("modulated_input.f32");
    const auto expected = fxtest::readF32("flanger_output.f32");
    const FlangerSettings s{0.2505f, 1.0f, 0.5f, 0.2f, 0.5f};
    for (bool streamingParameters : {false, true}) {
        SCOPED_TRACE(streamingParameters ? "streaming parameters" : "fixed parameters");
        auto m = makeFlanger(48000.0f, 100, s, x);
        m->setStreaming(2, true);
        if (streamingParameters)
            for (int pin : {3, 4, 5, 6, 7}) m->setStreaming(pin, true);
        m->run(static_cast<int64_t>(x.size()));
        const auto& out = m->output(kOut);
        for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(out[i], expected[i], 1e-4f) << i;
    }
}

TEST(Flanger, SleepsAfterTheLineEmptiesAndSurvivesNan) {
    FlangerSettings s;
    s.delay = 0.3f;
    s.feedback = 0.4f;
    auto x = fxtest::noise(4000);
    x[50] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    auto m = makeFlanger(44100.0f, 64, s, x);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 4);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 44100 * 2; i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f) << i;
}

}  // namespace
