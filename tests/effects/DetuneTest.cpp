// The detune through the factory and the reference host: the pitch of each
// side by spectrum against the ratio table, a ratio of one at the bottom of
// the control, the mix law, sleep with one silent input, and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOutLeft = 7;
constexpr int kOutRight = 8;

struct DetuneSettings {
    float detune = 1.0f;
    float window = 1.0f;
    float mix = 1.0f;
    float level = 0.5f;
    bool on = true;
};

std::unique_ptr<DspModule> makeDetune(float rate, int block, const DetuneSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxDetune", options);
    m->setBool(2, s.on);
    m->setAudioInputConstant(3, s.detune);
    m->setAudioInputConstant(4, s.window);
    m->setAudioInputConstant(5, s.mix);
    m->setAudioInputConstant(6, s.level);
    return m;
}

TEST(Detune, SidesShiftDownAndUpByTheTableRatio) {
    const double rate = 48000.0, tone = 440.0;
    for (const auto& row : fxtest::readTsv("detune_ratios.tsv")) {
        SCOPED_TRACE("control " + row[0]);
        const double ratio = std::stod(row[2]);
        for (bool streamingParameters : {false, true}) {
            DetuneSettings s;
            s.detune = std::stof(row[0]);
            auto m = makeDetune(static_cast<float>(rate), 64, s);
            m->setAudioInput(0, fxtest::sine(40000, tone, rate));
            m->setAudioInputConstant(1, 0.0f);
            m->setStreaming(0, true);
            if (streamingParameters)
                for (int pin : {3, 4, 5, 6}) m->setStreaming(pin, true);
            m->run(40000);
            // The grain crossfade adds sidebands a few hertz away, hence the
            // tolerance of 0.4 % (a semitone is 6 %).
            const double down = fxtest::peakFrequency(m->output(kOutLeft), 8000, 32000, rate,
                                                      tone / ratio - 6, tone / ratio + 6, 0.5);
            const double up = fxtest::peakFrequency(m->output(kOutRight), 8000, 32000, rate, tone * ratio - 6,
                                                    tone * ratio + 6, 0.5);
            EXPECT_NEAR(down, tone / ratio, 0.004 * tone);
            EXPECT_NEAR(up, tone * ratio, 0.004 * tone);
        }
    }
}

TEST(Detune, MixLaw) {
    // Mix 0 is the dry input times the level; mix 1 leaves no dry signal.
    const auto x = fxtest::noise(4000);
    DetuneSettings s;
    s.mix = 0.0f;
    s.level = 1.0f;
    auto m = makeDetune(44100.0f, 64, s);
    m->setAudioInput(0, x);
    m->setAudioInput(1, x);
    m->setStreaming(0, true);
    m->setStreaming(1, true);
    m->run(4000);
    const float top = std::pow(10.0f, 2.0f * 511.0f / 512.0f - 1.0f);
    for (int i = 0; i < 4000; ++i) {
        ASSERT_NEAR(m->output(kOutLeft)[i], x[i] * top, 1e-5f);
        ASSERT_NEAR(m->output(kOutRight)[i], x[i] * top, 1e-5f);
    }
}

TEST(Detune, SleepsWithOneSilentInputAndSurvivesNan) {
    DetuneSettings s;
    s.window = 0.0f;
    auto m = makeDetune(44100.0f, 64, s);
    auto x = fxtest::noise(44100);
    x[5] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    m->setAudioInput(0, x);
    m->setAudioInputConstant(1, 0.0f);
    m->setStreaming(0, true);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 3);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& l = m->output(kOutLeft);
    const auto& r = m->output(kOutRight);
    for (size_t i = 44100 * 2; i < l.size(); ++i) ASSERT_TRUE(l[i] == 0.0f && r[i] == 0.0f) << i;

    // Both inputs streaming keep it awake.
    auto busy = makeDetune(44100.0f, 64, s);
    busy->setAudioInputConstant(0, 0.0f);
    busy->setAudioInputConstant(1, 0.0f);
    busy->setStreaming(0, true);
    busy->setStreaming(1, true);
    busy->run(44100 * 3);
    EXPECT_EQ(busy->sleepCalls(), 0);
}

TEST(Detune, OffCopiesEachSide) {
    DetuneSettings s;
    s.on = false;
    auto m = makeDetune(44100.0f, 64, s);
    const auto l = fxtest::noise(3000, 0.5f, 3u), r = fxtest::noise(3000, 0.5f, 4u);
    m->setAudioInput(0, l);
    m->setAudioInput(1, r);
    m->setStreaming(0, true);
    m->setStreaming(1, true);
    m->run(3000);
    EXPECT_TRUE(std::equal(l.begin(), l.end(), m->output(kOutLeft).begin()));
    EXPECT_TRUE(std::equal(r.begin(), r.end(), m->output(kOutRight).begin()));
}

}  // namespace
