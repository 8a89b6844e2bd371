// The unison through the factory and the reference host: every voice's pitch
// by spectrum against the rate law, the voice-count selector and sleep.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

constexpr int kOut = 7;

// Pins: 2 voices, 3 spread, 4 window, 5 mix, 6 level.
std::unique_ptr<tamhost::DspModule> makeUnison(float rate, int voices, float spread, float window,
                                               std::vector<float> x) {
    auto m = fxtest::module("TamFxUnison", rate, 64, {{3, spread}, {4, window}, {5, 1.0f}, {6, 0.5f}});
    m->setBool(1, true);
    m->setInt(2, voices);
    fxtest::feed(*m, 0, std::move(x));
    return m;
}

TEST(Unison, EveryVoiceSoundsAtItsRate) {
    const double rate = 48000.0;
    for (const auto& row : fxtest::readTsv("unison_rates.tsv")) {
        SCOPED_TRACE("selector " + row[0]);
        const int voices = std::stoi(row[2]);
        // Voices stand 0.0125 * (spread + 0.05) * 4 / voices apart: choose a
        // tone that keeps neighbours over 13 Hz apart.
        const double tone = voices == 4 ? 1000.0 : 4000.0;
        auto m = makeUnison(48000.0f, std::stoi(row[0]), std::stof(row[1]), 1.0f,
                            fxtest::sine(72000, tone, rate, 0.2f));
        m->run(72000);
        for (int v = 0; v < voices; ++v) {
            const double expected = tone * std::stod(row[3 + v]);
            EXPECT_NEAR(
                fxtest::peakFrequency(m->output(kOut), 12000, 48000, rate, expected - 4, expected + 4, 0.5),
                expected, 1.0)
                << "voice " << v;
        }
    }
}

TEST(Unison, SelectorOutsideTheTableMeansFourVoices) {
    auto render = [](int selector) {
        auto m = makeUnison(44100.0f, selector, 1.0f, 1.0f, fxtest::noise(6000));
        m->run(6000);
        return fxtest::slice(m->output(kOut), 0, 6000);
    };
    EXPECT_EQ(render(9), render(0));
    EXPECT_EQ(render(-1), render(0));
    EXPECT_NE(render(3), render(0));
}

TEST(Unison, SleepsAfterSilenceAndSurvivesInfinity) {
    auto x = fxtest::noise(44100);
    x[7] = std::numeric_limits<float>::infinity();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    auto m = makeUnison(44100.0f, 3, 1.0f, 0.0f, x);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 3);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 44100 * 2; i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f) << i;
}

}  // namespace
