// The phaser through the factory and the reference host: the allpass cascade
// with feedback against scipy for several stage counts (clamped to 1..16), the
// spectral null of the dry/wet mix, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

constexpr int kOut = 9;

// Pins: 2 modulation, 3 depth, 4 position, 5 feedback, 6 stages, 7 mix,
// 8 level. Settings from a row of phaser_cases.tsv, or the defaults below.
std::unique_ptr<tamhost::DspModule> makePhaser(float rate, std::vector<float> x,
                                               const std::vector<std::string>& row = {}) {
    auto at = [&](size_t i, float otherwise) { return row.empty() ? otherwise : std::stof(row[i]); };
    auto m = fxtest::module("TamFxPhaser", rate, 64,
                            {{2, at(3, 0.4f)},
                             {3, at(2, 0.5f)},
                             {4, at(4, 0.1f)},
                             {5, at(5, 1.0f)},
                             {7, at(6, 0.5f)},
                             {8, 0.5f}});
    m->setBool(1, true);
    m->setInt(6, row.empty() ? 4 : std::stoi(row[1]));
    fxtest::feed(*m, 0, std::move(x));
    return m;
}

TEST(Phaser, CascadeWithFeedbackMatchesScipy) {
    const auto x = fxtest::readF32("modulated_input.f32");
    for (const auto& row : fxtest::readTsv("phaser_cases.tsv")) {
        SCOPED_TRACE(row[0]);
        const auto expected = fxtest::readF32(row[0]);
        for (bool streamingParameters : {false, true}) {
            SCOPED_TRACE(streamingParameters ? "streaming parameters" : "fixed parameters");
            auto m = makePhaser(48000.0f, x, row);
            if (streamingParameters)
                for (int pin : {2, 3, 4, 5, 7, 8}) m->setStreaming(pin, true);
            m->run(static_cast<int64_t>(x.size()));
            const auto& out = m->output(kOut);
            for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(out[i], expected[i], 1e-4f) << i;
        }
    }
}

TEST(Phaser, EqualMixCancelsAtTheNull) {
    const auto row = fxtest::readTsv("phaser_cases.tsv").at(0);
    const double nullHz = std::stod(row[8]);
    ASSERT_GT(nullHz, 0.0);
    auto level = [&](double hz) {
        auto m = makePhaser(48000.0f, fxtest::sine(24000, hz, 48000.0), row);
        m->run(24000);
        return fxtest::rms(m->output(kOut), 12000, 12000);
    };
    const double input = 0.5 / std::sqrt(2.0);
    EXPECT_LT(level(nullHz), 0.01 * input);
    EXPECT_GT(level(nullHz / 8.0), 0.5 * input);
}

TEST(Phaser, SleepsOnSilenceAndClearsNan) {
    auto x = fxtest::noise(2000);
    x[10] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 1000, x.end(), 0.0f);
    auto m = makePhaser(44100.0f, x);
    m->setStreaming(0, false, 2000);
    m->run(44100 * 3);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 64; i < out.size(); ++i) ASSERT_TRUE(std::isfinite(out[i])) << i;
}

}  // namespace
