// The phaser through the factory and the reference host: the allpass cascade
// with feedback against scipy for several stage counts (clamped to 1..16), the
// spectral null of the dry/wet mix, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOut = 9;

struct PhaserSettings {
    int stages = 4;
    float depth = 0.5f;
    float modulation = 0.4f;
    float position = 0.1f;
    float feedback = 0.0f;
    float mix = 0.5f;
    float level = 0.5f;
    bool on = true;
};

std::unique_ptr<DspModule> makePhaser(float rate, int block, const PhaserSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxPhaser", options);
    m->setBool(1, s.on);
    m->setAudioInputConstant(2, s.modulation);
    m->setAudioInputConstant(3, s.depth);
    m->setAudioInputConstant(4, s.position);
    m->setAudioInputConstant(5, s.feedback);
    m->setInt(6, s.stages);
    m->setAudioInputConstant(7, s.mix);
    m->setAudioInputConstant(8, s.level);
    return m;
}

PhaserSettings fromRow(const std::vector<std::string>& row) {
    PhaserSettings s;
    s.stages = std::stoi(row[1]);
    s.depth = std::stof(row[2]);
    s.modulation = std::stof(row[3]);
    s.position = std::stof(row[4]);
    s.feedback = std::stof(row[5]);
    s.mix = std::stof(row[6]);
    return s;
}

TEST(Phaser, CascadeWithFeedbackMatchesScipy) {
    const auto x = fxtest::readF32("modulated_input.f32");
    for (const auto& row : fxtest::readTsv("phaser_cases.tsv")) {
        SCOPED_TRACE(row[0]);
        const auto expected = fxtest::readF32(row[0]);
        for (bool streamingParameters : {false, true}) {
            SCOPED_TRACE(streamingParameters ? "streaming parameters" : "fixed parameters");
            auto m = makePhaser(48000.0f, 64, fromRow(row));
            m->setAudioInput(0, x);
            m->setStreaming(0, true);
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
        auto m = makePhaser(48000.0f, 64, fromRow(row));
        m->setAudioInput(0, fxtest::sine(24000, hz, 48000.0));
        m->setStreaming(0, true);
        m->run(24000);
        return fxtest::rms(m->output(kOut), 12000, 12000);
    };
    const double input = 0.5 / std::sqrt(2.0);
    EXPECT_LT(level(nullHz), 0.01 * input);
    EXPECT_GT(level(nullHz / 8.0), 0.5 * input);
}

TEST(Phaser, SleepsOnSilenceAndClearsNan) {
    PhaserSettings s;
    s.feedback = 1.0f;
    auto m = makePhaser(44100.0f, 64, s);
    auto x = fxtest::noise(2000);
    x[10] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 1000, x.end(), 0.0f);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->setStreaming(0, false, 2000);
    m->run(44100 * 3);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 64; i < out.size(); ++i) ASSERT_TRUE(std::isfinite(out[i])) << i;
}

TEST(Phaser, OffCopiesTheInput) {
    PhaserSettings s;
    s.on = false;
    auto m = makePhaser(44100.0f, 64, s);
    const auto x = fxtest::noise(3000);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->run(3000);
    EXPECT_TRUE(std::equal(x.begin(), x.end(), m->output(kOut).begin()));
}

}  // namespace
