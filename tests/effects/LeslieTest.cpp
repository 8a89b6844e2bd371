// The rotating speaker through the factory and the reference host: rotor
// rates by spectrum at host block sizes 1, 64 and 4096 (identical sound at
// each), amplitude and pan depth, the Doppler tap at rates up to 192 kHz,
// stopping, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOutLeft = 11;
constexpr int kOutRight = 12;

struct LeslieSettings {
    int speed = 2;
    float scale = 0.5f;
    float lowPan = 0.0f;
    float lowAmplitude = 0.0f;
    float highPan = 0.0f;
    float doppler = 0.0f;
    float highAmplitude = 0.0f;
    float crossover = 0.5f;
    float level = 0.5f;
    bool on = true;
};

std::unique_ptr<DspModule> makeLeslie(float rate, int block, const LeslieSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxLeslie", options);
    m->setBool(1, s.on);
    m->setInt(2, s.speed);
    m->setAudioInputConstant(3, s.scale);
    m->setAudioInputConstant(4, s.lowPan);
    m->setAudioInputConstant(5, s.lowAmplitude);
    m->setAudioInputConstant(6, s.highPan);
    m->setAudioInputConstant(7, s.doppler);
    m->setAudioInputConstant(8, s.highAmplitude);
    m->setAudioInputConstant(9, s.crossover);
    m->setAudioInputConstant(10, s.level);
    return m;
}

std::vector<float> slice(const std::vector<float>& x, size_t start, size_t length) {
    return {x.begin() + start, x.begin() + start + length};
}

std::vector<float> withoutMean(std::vector<float> x) {
    double mean = 0;
    for (float v : x) mean += v;
    mean /= x.size();
    for (float& v : x) v -= static_cast<float>(mean);
    return x;
}

TEST(Leslie, RotorRatesDoNotDependOnBlockSize) {
    const auto row = fxtest::readTsv("leslie_rates.tsv").at(0);
    const float rate = std::stof(row[0]);
    const size_t start = std::stoul(row[3]), length = std::stoul(row[4]);
    const double highHz = std::stod(row[5]), lowHz = std::stod(row[6]);
    std::vector<float> lowReference, highReference;
    for (int block : {64, 1, 4096}) {
        SCOPED_TRACE(block);
        // A still input reaches the low band only: its loudness follows the
        // low rotor.
        LeslieSettings s;
        s.lowAmplitude = 1.0f;
        auto low = makeLeslie(rate, block, s);
        low->setAudioInputConstant(0, 0.5f);
        low->setStreaming(0, true);
        low->run(static_cast<int64_t>(start + length));
        const auto lowOut = slice(low->output(kOutLeft), start, length);
        EXPECT_NEAR(
            fxtest::peakFrequency(withoutMean(lowOut), 0, length, rate, lowHz - 0.5, lowHz + 0.5, 0.02),
            lowHz, 0.003 * lowHz);

        // A high tone reaches the high band: its power follows the high rotor.
        s.lowAmplitude = 0.0f;
        s.highAmplitude = 1.0f;
        auto high = makeLeslie(rate, block, s);
        high->setAudioInput(0, fxtest::sine(start + length, 8000.0, rate, 0.3f));
        high->setStreaming(0, true);
        high->run(static_cast<int64_t>(start + length));
        auto power = slice(high->output(kOutLeft), start, length);
        for (float& v : power) v *= v;
        EXPECT_NEAR(
            fxtest::peakFrequency(withoutMean(power), 0, length, rate, highHz - 0.5, highHz + 0.5, 0.02),
            highHz, 0.003 * highHz);

        if (lowReference.empty()) {
            lowReference = lowOut;
            highReference = slice(high->output(kOutLeft), start, length);
        } else {
            EXPECT_EQ(lowOut, lowReference);
            EXPECT_EQ(slice(high->output(kOutLeft), start, length), highReference);
        }
    }
}

TEST(Leslie, SpeedScaleSetsTheRate) {
    const auto row = fxtest::readTsv("leslie_rates.tsv").at(1);
    const float rate = std::stof(row[0]);
    const size_t start = std::stoul(row[3]), length = std::stoul(row[4]);
    const double lowHz = std::stod(row[6]);
    LeslieSettings s;
    s.scale = std::stof(row[2]);
    s.lowAmplitude = 1.0f;
    auto m = makeLeslie(rate, 256, s);
    m->setAudioInputConstant(0, 0.5f);
    m->setStreaming(0, true);
    m->run(static_cast<int64_t>(start + length));
    const auto out = withoutMean(slice(m->output(kOutLeft), start, length));
    EXPECT_NEAR(fxtest::peakFrequency(out, 0, length, rate, lowHz - 0.5, lowHz + 0.5, 0.02), lowHz,
                0.003 * lowHz);
}

TEST(Leslie, AmplitudeAndPanDepth) {
    const float rate = 44100.0f;
    // Amplitude: the low band swings by 0.9 x^2 of the level around it.
    for (float x : {1.0f, 0.5f}) {
        LeslieSettings s;
        s.lowAmplitude = x;
        auto m = makeLeslie(rate, 64, s);
        m->setAudioInputConstant(0, 0.5f);
        m->setStreaming(0, true);
        m->run(44100 * 5);
        const auto out = slice(m->output(kOutLeft), 44100 * 3, 44100 * 2);
        const auto [lo, hi] = std::minmax_element(out.begin(), out.end());
        EXPECT_NEAR((*hi - *lo) / (*hi + *lo), 0.9f * x * x, 0.01f) << x;
    }
    // Pan: left and right differ by x^2 of their sum at the extremes.
    LeslieSettings s;
    s.lowPan = 0.7f;
    auto m = makeLeslie(rate, 64, s);
    m->setAudioInputConstant(0, 0.5f);
    m->setStreaming(0, true);
    m->run(44100 * 5);
    float widest = 0.0f;
    for (size_t i = 44100 * 3; i < 44100 * 5; ++i) {
        const float l = m->output(kOutLeft)[i], r = m->output(kOutRight)[i];
        widest = std::max(widest, (l - r) / (l + r));
    }
    EXPECT_NEAR(widest, 0.49f, 0.01f);
}

TEST(Leslie, DopplerTapStaysInItsRingAtEveryRate) {
    for (const auto& row : fxtest::readTsv("leslie_doppler.tsv")) {
        SCOPED_TRACE("rate " + row[0]);
        const float rate = std::stof(row[0]);
        const double delay = std::stod(row[1]);
        // A stopped rotor holds the high rotor at its start phase, so the
        // Doppler tap sits at a fixed delay.
        LeslieSettings s;
        s.speed = 0;
        s.doppler = 1.0f;
        s.crossover = 0.0f;
        auto m = makeLeslie(rate, 64, s);
        m->setAudioInput(0, fxtest::impulse(1024));
        m->setStreaming(0, true);
        m->run(1024);
        const auto& out = m->output(kOutLeft);
        const auto peak = std::max_element(out.begin() + 8, out.begin() + 1024,
                                           [](float a, float b) { return std::fabs(a) < std::fabs(b); }) -
                          out.begin();
        const int whole = static_cast<int>(delay);
        EXPECT_TRUE(peak == whole || peak == whole + 1) << peak;
        const double frac = delay - whole;
        // The two taps share the delayed impulse by the fraction.
        EXPECT_NEAR(out[whole + 1] / (out[whole] + out[whole + 1]), frac, 0.03);
        for (float v : out) ASSERT_TRUE(std::isfinite(v));
    }
}

TEST(Leslie, SelectorZeroStopsTheRotors) {
    LeslieSettings s;
    s.lowAmplitude = 1.0f;
    auto m = makeLeslie(44100.0f, 64, s);
    m->setAudioInputConstant(0, 0.5f);
    m->setStreaming(0, true);
    m->setInt(2, 0, 44100 * 4);
    // The glide runs once an update (every 33 samples): after 16 seconds the
    // rate is down to a ten-thousandth.
    m->run(44100 * 20);
    const auto out = slice(m->output(kOutLeft), 44100 * 19, 44100 / 4);
    const auto [lo, hi] = std::minmax_element(out.begin(), out.end());
    EXPECT_LT(*hi - *lo, 1e-3f);
}

TEST(Leslie, SleepsOnSilenceAndSurvivesNan) {
    LeslieSettings s;
    s.doppler = 1.0f;
    s.highAmplitude = 1.0f;
    auto m = makeLeslie(44100.0f, 64, s);
    auto x = fxtest::noise(44100);
    x[20] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 3000, x.end(), 0.0f);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 4);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& l = m->output(kOutLeft);
    for (size_t i = 44100 * 3; i < l.size(); ++i) ASSERT_EQ(l[i], 0.0f) << i;
}

TEST(Leslie, OffCopiesTheInputToBothSides) {
    LeslieSettings s;
    s.on = false;
    auto m = makeLeslie(44100.0f, 64, s);
    const auto x = fxtest::noise(3000);
    m->setAudioInput(0, x);
    m->setStreaming(0, true);
    m->run(3000);
    EXPECT_TRUE(std::equal(x.begin(), x.end(), m->output(kOutLeft).begin()));
    EXPECT_TRUE(std::equal(x.begin(), x.end(), m->output(kOutRight).begin()));
}

}  // namespace
