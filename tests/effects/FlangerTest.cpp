// The flanger through the factory and the reference host: its fixed line
// (2000 samples at any rate), the fractional delay with feedback against
// scipy, the zero-range case, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOut = 8;

struct FlangerSettings {
    float modulation = 0.0f;
    float depth = 0.0f;
    float delay = 1.0f;
    float feedback = 0.0f;  // the middle of -0.5..0.5: no feedback
    float mix = 1.0f;
    float level = 0.5f;
    bool on = true;
};

std::unique_ptr<DspModule> makeFlanger(float rate, int block, const FlangerSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxFlanger", options);
    m->setBool(1, s.on);
    m->setAudioInputConstant(2, s.modulation);
    m->setAudioInputConstant(3, s.depth);
    m->setAudioInputConstant(4, s.delay);
    m->setAudioInputConstant(5, s.feedback);
    m->setAudioInputConstant(6, s.mix);
    m->setAudioInputConstant(7, s.level);
    return m;
}

const float kWet = std::sin(511.0f * 1.5707964f / 512.0f);

TEST(Flanger, LongestDelayIs2000SamplesAtEveryRate) {
    for (float rate : {22050.0f, 44100.0f, 96000.0f, 192000.0f}) {
        SCOPED_TRACE(rate);
        auto m = makeFlanger(rate, 64, {});
        m->setAudioInput(0, fxtest::impulse(2100));
        m->setStreaming(0, true);
        m->run(2100);
        const auto& out = m->output(kOut);
        for (int i = 0; i < 2100; ++i) {
            if (i == 2000)
                ASSERT_NEAR(out[i], kWet, 1e-6f);
            else
                ASSERT_EQ(out[i], 0.0f) << i;
        }
    }
}

TEST(Flanger, ZeroRangeHearsTheSampleJustWritten) {
    FlangerSettings s;
    s.delay = 0.0f;
    s.mix = 0.5f;
    auto m = makeFlanger(44100.0f, 64, s);
    const auto x = fxtest::noise(1000);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->run(1000);
    const float half = std::sin(256.0f * 1.5707964f / 512.0f);
    const auto& out = m->output(kOut);
    for (int i = 0; i < 1000; ++i) ASSERT_NEAR(out[i], x[i] * 2.0f * half, 1e-6f) << i;
}

TEST(Flanger, FractionalDelayWithFeedbackMatchesScipy) {
    const auto x = fxtest::readF32("modulated_input.f32");
    const auto expected = fxtest::readF32("flanger_output.f32");
    FlangerSettings s;
    s.depth = 1.0f;
    s.delay = 0.5f;
    s.modulation = 0.2505f;
    s.feedback = 0.2f;
    s.mix = 0.5f;
    for (bool streamingParameters : {false, true}) {
        SCOPED_TRACE(streamingParameters ? "streaming parameters" : "fixed parameters");
        auto m = makeFlanger(48000.0f, 100, s);
        m->setAudioInput(0, x);
        m->setStreaming(0, true);
        m->setStreaming(2, true);
        if (streamingParameters)
            for (int pin : {3, 4, 5, 6, 7}) m->setStreaming(pin, true);
        m->run(static_cast<int64_t>(x.size()));
        const auto& out = m->output(kOut);
        for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(out[i], expected[i], 1e-4f) << i;
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
        auto m = makeFlanger(48000.0f, 64, s);
        m->setAudioInput(0, fxtest::impulse(2100));
        m->setStreaming(0, true);
        m->run(2100);
        const auto& out = m->output(kOut);
        const auto peak = std::max_element(out.begin(), out.end()) - out.begin();
        EXPECT_EQ(peak, at) << "modulation " << modulation;
    }
}

TEST(Flanger, SleepsAfterTheLineEmptiesAndSurvivesNan) {
    FlangerSettings s;
    s.delay = 0.3f;
    s.feedback = 0.4f;
    auto m = makeFlanger(44100.0f, 64, s);
    auto x = fxtest::noise(4000);
    x[50] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 4);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 44100 * 2; i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f) << i;
}

TEST(Flanger, OffCopiesTheInput) {
    FlangerSettings s;
    s.on = false;
    auto m = makeFlanger(44100.0f, 64, s);
    const auto x = fxtest::noise(3000);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->run(3000);
    EXPECT_TRUE(std::equal(x.begin(), x.end(), m->output(kOut).begin()));
}

}  // namespace
