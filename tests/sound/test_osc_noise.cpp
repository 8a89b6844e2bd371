// Noise waveforms through the pack: level, spectrum shape and the
// one-second table period.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "foundation/tamRandom.h"
#include "tamhost/DspHost.h"
#include "test_osc_support.h"

using namespace osctest;
using tamhost::DspModule;

namespace {

constexpr float kRate = 44100.0f;

// A second of noise from a fixed generator state, so the statistical checks
// below do not depend on what ran before.
std::vector<float> noise(int waveform, float rate = kRate, int frames = 44100) {
    tam::Random::GetInstance().SetState(0x12345678u);
    const tamhost::DspOptions o{.sampleRate = rate};
    DspModule m("TamOscillator", o);
    m.setInt(kWaveform, waveform);
    m.setAudioInputConstant(kLevel, 1.0f);
    m.run(frames);
    return m.output(kOut);
}

double mean(const std::vector<float>& x) {
    double s = 0.0;
    for (float v : x)
        s += v;
    return s / static_cast<double>(x.size());
}

}  // namespace

TEST(OscillatorNoise, WhiteLevelAndSpectrum) {
    const auto x = noise(5);
    ASSERT_TRUE(allFinite(x));
    EXPECT_NEAR(rms(x), refs()["white_std"].get<double>(), 0.03 * refs()["white_std"].get<double>());
    EXPECT_NEAR(mean(x), 0.0, 0.003);
    for (float v : x)
        ASSERT_LE(std::fabs(v), 0.375f);  // three draws of at most 1, times 1/8
    // The held rows tilt it: more energy low than high.
    const auto psd = welch(x, 1024);
    const double ratio = meanDensity(psd, 1024, kRate, 100, 2000) / meanDensity(psd, 1024, kRate, 18000, 21000);
    EXPECT_NEAR(ratio, refs()["white_band_ratio"].get<double>(), 0.15 * refs()["white_band_ratio"].get<double>());
}

TEST(OscillatorNoise, PinkRedAndBlue) {
    const auto pink = noise(6);
    const auto red = noise(7);
    const auto blue = noise(8);
    for (const auto* x : {&pink, &red, &blue})
        ASSERT_TRUE(allFinite(*x));
    const double pinkRms = refs()["pink_rms"].get<double>();
    EXPECT_NEAR(rms(pink), pinkRms, 0.06 * pinkRms);
    EXPECT_NEAR(rms(red), 1.5 * pinkRms, 0.06 * 1.5 * pinkRms);
    // Falling about 3 dB per octave: an octave low holds about as much as one high.
    const auto psd = welch(pink, 4096);
    auto octave = [&](double lo) { return meanDensity(psd, 4096, kRate, lo, 2 * lo) * lo; };
    EXPECT_NEAR(octave(200) / octave(3200), refs()["pink_octave_ratio"].get<double>(), 0.25);
    EXPECT_GT(meanDensity(psd, 4096, kRate, 100, 200), 8.0 * meanDensity(psd, 4096, kRate, 3200, 6400));
    // Blue is the white noise squared: never negative.
    for (float v : blue)
        ASSERT_GE(v, 0.0f);
    EXPECT_NEAR(mean(blue), refs()["blue_mean"].get<double>(), 0.06 * refs()["blue_mean"].get<double>());
}

TEST(OscillatorNoise, TableRepeatsEverySecondAndIgnoresPitch) {
    const auto x = noise(5, 8000.0f, 20000);
    for (int i = 0; i < 12000; ++i)
        ASSERT_EQ(x[i + 8000], x[i]) << i;
    bool varied = false;
    for (int i = 1; i < 8000 && !varied; ++i)
        varied = x[i] != x[0];
    EXPECT_TRUE(varied);

    // Pitch and sync have no effect on the noise walk.
    const tamhost::DspOptions o{.sampleRate = 8000.0f};
    DspModule a("TamOscillator", o);
    a.setInt(kWaveform, 5);
    a.setAudioInputConstant(kLevel, 1.0f);
    a.setAudioInput(kPitch, std::vector<float>{0.1f, 0.9f, -0.3f, 0.5f});
    a.setStreaming(kPitch, true);
    a.setAudioInput(kSync, std::vector<float>{0.0f, 1.0f, 0.0f, 1.0f});
    a.setStreaming(kSync, true);
    a.run(9000);
    const auto& y = a.output(kOut);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(y[i + 8000], y[i]);
}
