// The unison through the factory and the reference host: every voice's pitch
// by spectrum against the rate law, the voice-count selector, sleep and
// pass-through.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOut = 7;

struct UnisonSettings {
    int voices = 0;
    float spread = 1.0f;
    float window = 1.0f;
    float mix = 1.0f;
    float level = 0.5f;
    bool on = true;
};

std::unique_ptr<DspModule> makeUnison(float rate, int block, const UnisonSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxUnison", options);
    m->setBool(1, s.on);
    m->setInt(2, s.voices);
    m->setAudioInputConstant(3, s.spread);
    m->setAudioInputConstant(4, s.window);
    m->setAudioInputConstant(5, s.mix);
    m->setAudioInputConstant(6, s.level);
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
        UnisonSettings s;
        s.voices = std::stoi(row[0]);
        s.spread = std::stof(row[1]);
        auto m = makeUnison(static_cast<float>(rate), 64, s);
        m->setAudioInput(0, fxtest::sine(72000, tone, rate, 0.2f));
        m->setStreaming(0, true);
        m->run(72000);
        const auto& out = m->output(kOut);
        for (int v = 0; v < voices; ++v) {
            const double expected = tone * std::stod(row[3 + v]);
            const double found =
                fxtest::peakFrequency(out, 12000, 48000, rate, expected - 4, expected + 4, 0.5);
            EXPECT_NEAR(found, expected, 1.0) << "voice " << v;
        }
    }
}

TEST(Unison, SelectorOutsideTheTableMeansFourVoices) {
    auto render = [](int selector) {
        UnisonSettings s;
        s.voices = selector;
        auto m = makeUnison(44100.0f, 64, s);
        m->setAudioInput(0, fxtest::noise(6000));
        m->setStreaming(0, true);
        m->run(6000);
        return std::vector<float>(m->output(kOut).begin(), m->output(kOut).begin() + 6000);
    };
    EXPECT_EQ(render(9), render(0));
    EXPECT_EQ(render(-1), render(0));
    EXPECT_NE(render(3), render(0));
}

TEST(Unison, SleepsAfterSilenceAndSurvivesNan) {
    UnisonSettings s;
    s.window = 0.0f;
    s.voices = 3;
    auto m = makeUnison(44100.0f, 64, s);
    auto x = fxtest::noise(44100);
    x[7] = std::numeric_limits<float>::infinity();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 3);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& out = m->output(kOut);
    for (size_t i = 44100 * 2; i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f) << i;
}

TEST(Unison, OffCopiesTheInput) {
    UnisonSettings s;
    s.on = false;
    auto m = makeUnison(44100.0f, 64, s);
    const auto x = fxtest::noise(3000);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->run(3000);
    EXPECT_TRUE(std::equal(x.begin(), x.end(), m->output(kOut).begin()));
}

}  // namespace
