// The detune through the factory and the reference host: the pitch of each
// side by spectrum against the ratio table, the mix law, sleep with one
// silent input, and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

using fxtest::feed;

constexpr int kOutLeft = 7;
constexpr int kOutRight = 8;

// Pins: 3 detune, 4 window, 5 mix, 6 level.
std::unique_ptr<tamhost::DspModule> makeDetune(float rate, float detune, float window, float mix,
                                               float level) {
    auto m = fxtest::module("TamFxDetune", rate, 64, {{3, detune}, {4, window}, {5, mix}, {6, level}});
    m->setBool(2, true);
    return m;
}

TEST(Detune, SidesShiftDownAndUpByTheTableRatio) {
    const double rate = 48000.0, tone = 440.0;
    for (const auto& row : fxtest::readTsv("detune_ratios.tsv")) {
        SCOPED_TRACE("control " + row[0]);
        const double ratio = std::stod(row[2]);
        for (bool streamingParameters : {false, true}) {
            auto m = makeDetune(static_cast<float>(rate), std::stof(row[0]), 1.0f, 1.0f, 0.5f);
            feed(*m, 0, fxtest::sine(40000, tone, rate));
            m->setAudioInputConstant(1, 0.0f);
            if (streamingParameters)
                for (int pin : {3, 4, 5, 6}) m->setStreaming(pin, true);
            m->run(40000);
            // The grain crossfade adds sidebands a few hertz away, hence the
            // tolerance of 0.4 % (a semitone is 6 %).
            for (auto [out, hz] : {std::pair{kOutLeft, tone / ratio}, {kOutRight, tone * ratio}})
                EXPECT_NEAR(fxtest::peakFrequency(m->output(out), 8000, 32000, rate, hz - 6, hz + 6, 0.5), hz,
                            0.004 * tone);
        }
    }
}

TEST(Detune, MixZeroIsTheDryInputAtTheTopLevel) {
    const auto x = fxtest::noise(4000);
    auto m = makeDetune(44100.0f, 1.0f, 1.0f, 0.0f, 1.0f);
    feed(*m, 0, x);
    feed(*m, 1, x);
    m->run(4000);
    const float top = std::pow(10.0f, 2.0f * 511.0f / 512.0f - 1.0f);
    for (int i = 0; i < 4000; ++i) {
        ASSERT_NEAR(m->output(kOutLeft)[i], x[i] * top, 1e-5f);
        ASSERT_NEAR(m->output(kOutRight)[i], x[i] * top, 1e-5f);
    }
}

TEST(Detune, SleepsWithOneSilentInputAndSurvivesNan) {
    for (bool bothStream : {false, true}) {
        SCOPED_TRACE(bothStream ? "both inputs streaming" : "one silent input");
        auto m = makeDetune(44100.0f, 1.0f, 0.0f, 1.0f, 0.5f);
        if (bothStream) {
            // Both inputs streaming keep it awake.
            feed(*m, 0, {0.0f});
            feed(*m, 1, {0.0f});
            m->run(44100 * 3);
            EXPECT_EQ(m->sleepCalls(), 0);
            continue;
        }
        auto x = fxtest::noise(44100);
        x[5] = std::numeric_limits<float>::quiet_NaN();
        std::fill(x.begin() + 3000, x.end(), 0.0f);
        feed(*m, 0, x);
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, false, 4000);
        m->run(44100 * 3);
        EXPECT_GT(m->sleepCalls(), 0);
        const auto& l = m->output(kOutLeft);
        const auto& r = m->output(kOutRight);
        for (size_t i = 44100 * 2; i < l.size(); ++i) ASSERT_TRUE(l[i] == 0.0f && r[i] == 0.0f) << i;
    }
}

}  // namespace
