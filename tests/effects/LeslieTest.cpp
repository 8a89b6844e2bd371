// The rotating speaker through the factory and the reference host: rotor
// rates by spectrum at host block sizes 1, 64 and 4096 (identical sound at
// each), amplitude and pan depth, the Doppler tap at rates up to 192 kHz,
// stopping, sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

using fxtest::feed;
using fxtest::slice;

constexpr int kOutLeft = 11;
constexpr int kOutRight = 12;

struct LeslieSettings {
    int speed = 2;
    float scale = 0.5f, lowPan = 0.0f, lowAmplitude = 0.0f, highPan = 0.0f, doppler = 0.0f;
    float highAmplitude = 0.0f, crossover = 0.5f;
};

std::unique_ptr<tamhost::DspModule> makeLeslie(float rate, int block, const LeslieSettings& s) {
    auto m = fxtest::module("TamFxLeslie", rate, block,
                            {{3, s.scale},
                             {4, s.lowPan},
                             {5, s.lowAmplitude},
                             {6, s.highPan},
                             {7, s.doppler},
                             {8, s.highAmplitude},
                             {9, s.crossover},
                             {10, 0.5f}});
    m->setBool(1, true);
    m->setInt(2, s.speed);
    return m;
}

// A still input at 0.5 reaches the low band only.
std::vector<float> stillInput(float rate, int block, const LeslieSettings& s, int64_t frames) {
    auto m = makeLeslie(rate, block, s);
    m->setAudioInputConstant(0, 0.5f);
    m->setStreaming(0, true);
    m->run(frames);
    return m->output(kOutLeft);
}

// The frequency of the slow swing of x, near `hz`.
double swingRate(std::vector<float> x, float rate, double hz) {
    double mean = 0;
    for (float v : x) mean += v;
    mean /= x.size();
    for (float& v : x) v -= static_cast<float>(mean);
    return fxtest::peakFrequency(x, 0, x.size(), rate, hz - 0.5, hz + 0.5, 0.02);
}

TEST(Leslie, RotorRatesFollowTheScaleAtEveryBlockSize) {
    const auto rows = fxtest::readTsv("leslie_rates.tsv");
    std::vector<float> lowReference, highReference;
    for (int block : {64, 1, 4096}) {
        SCOPED_TRACE(block);
        const auto& row = rows.at(0);
        const float rate = std::stof(row[0]);
        const size_t start = std::stoul(row[3]), length = std::stoul(row[4]);
        const double highHz = std::stod(row[5]), lowHz = std::stod(row[6]);
        // The loudness of a still input follows the low rotor.
        LeslieSettings s;
        s.lowAmplitude = 1.0f;
        const auto lowOut = slice(stillInput(rate, block, s, start + length), start, length);
        EXPECT_NEAR(swingRate(lowOut, rate, lowHz), lowHz, 0.003 * lowHz);

        // A high tone reaches the high band: its power follows the high rotor.
        s.lowAmplitude = 0.0f;
        s.highAmplitude = 1.0f;
        auto high = makeLeslie(rate, block, s);
        feed(*high, 0, fxtest::sine(start + length, 8000.0, rate, 0.3f));
        high->run(static_cast<int64_t>(start + length));
        const auto highOut = slice(high->output(kOutLeft), start, length);
        auto power = highOut;
        for (float& v : power) v *= v;
        EXPECT_NEAR(swingRate(power, rate, highHz), highHz, 0.003 * highHz);

        if (lowReference.empty()) {
            lowReference = lowOut;
            highReference = highOut;
        } else {
            EXPECT_EQ(lowOut, lowReference);
            EXPECT_EQ(highOut, highReference);
        }
    }
    // The speed scale sets the rate.
    const auto& row = rows.at(1);
    const float rate = std::stof(row[0]);
    const size_t start = std::stoul(row[3]), length = std::stoul(row[4]);
    const double lowHz = std::stod(row[6]);
    LeslieSettings s;
    s.scale = std::stof(row[2]);
    s.lowAmplitude = 1.0f;
    const auto out = slice(stillInput(rate, 256, s, start + length), start, length);
    EXPECT_NEAR(swingRate(out, rate, lowHz), lowHz, 0.003 * lowHz);
}

TEST(Leslie, AmplitudeAndPanDepth) {
    // Amplitude: the low band swings by 0.9 x^2 of the level around it.
    for (float x : {1.0f, 0.5f}) {
        LeslieSettings s;
        s.lowAmplitude = x;
        const auto out = slice(stillInput(44100.0f, 64, s, 44100 * 5), 44100 * 3, 44100 * 2);
        const auto [lo, hi] = std::minmax_element(out.begin(), out.end());
        EXPECT_NEAR((*hi - *lo) / (*hi + *lo), 0.9f * x * x, 0.01f) << x;
    }
    // Pan: left and right differ by x^2 of their sum at the extremes.
    LeslieSettings s;
    s.lowPan = 0.7f;
    auto m = makeLeslie(44100.0f, 64, s);
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
        const double delay = std::stod(row[1]);
        // A stopped rotor holds the high rotor at its start phase, so the
        // Doppler tap sits at a fixed delay.
        LeslieSettings s;
        s.speed = 0;
        s.doppler = 1.0f;
        s.crossover = 0.0f;
        auto m = makeLeslie(std::stof(row[0]), 64, s);
        feed(*m, 0, fxtest::impulse(1024));
        m->run(1024);
        const auto& out = m->output(kOutLeft);
        const auto peak = std::max_element(out.begin() + 8, out.begin() + 1024,
                                           [](float a, float b) { return std::fabs(a) < std::fabs(b); }) -
                          out.begin();
        const int whole = static_cast<int>(delay);
        EXPECT_TRUE(peak == whole || peak == whole + 1) << peak;
        // The two taps share the delayed impulse by the fraction.
        EXPECT_NEAR(out[whole + 1] / (out[whole] + out[whole + 1]), delay - whole, 0.03);
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
    feed(*m, 0, x);
    m->setStreaming(0, false, 4000);
    m->run(44100 * 4);
    EXPECT_GT(m->sleepCalls(), 0);
    const auto& l = m->output(kOutLeft);
    for (size_t i = 44100 * 3; i < l.size(); ++i) ASSERT_EQ(l[i], 0.0f) << i;
}

}  // namespace
