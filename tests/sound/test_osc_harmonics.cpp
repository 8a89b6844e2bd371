// The oscillator through the pack and the reference host: band-limiting,
// harmonic recipes, pulse widths, pitch modes, sync, phase offset and
// custom waveforms.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tamhost/DspHost.h"
#include "test_osc_support.h"

using namespace osctest;
using tamhost::DspModule;
using tamhost::DspOptions;

namespace {

constexpr float kRate = 48000.0f;

DspOptions at48k() { return {.sampleRate = kRate, .blockSize = 64}; }

// Counts rising zero crossings to measure a frequency to a fraction of a hertz.
double measureFrequency(const std::vector<float>& x, size_t start, double rate) {
    double first = -1.0, last = -1.0;
    int crossings = 0;
    for (size_t i = start + 1; i < x.size(); ++i) {
        if (x[i - 1] < 0.0f && x[i] >= 0.0f) {
            const double t = static_cast<double>(i - 1) + x[i - 1] / (x[i - 1] - x[i]);
            if (first < 0.0)
                first = t;
            last = t;
            ++crossings;
        }
    }
    return crossings > 1 ? rate * (crossings - 1) / (last - first) : 0.0;
}

}  // namespace

TEST(OscillatorSpectrum, RisingRampIsBandLimited) {
    DspModule m("TamOscillator", at48k());
    setupLinear(m, 2, 1000.0);
    m.run(6400);
    const auto& out = m.output(kOut);
    ASSERT_TRUE(allFinite(out));
    const size_t start = 1600, n = 4800;  // a tenth of a second: bins of 10 Hz
    const auto& expected = refs()["harm_rising"]["amplitudes"];
    const double fundamental = amplitudeAt(out, start, n, 1000.0, kRate);
    EXPECT_NEAR(fundamental, expected[0].get<double>(), 1e-3 * expected[0].get<double>());
    for (int k = 2; k <= 10; ++k)
        EXPECT_NEAR(amplitudeAt(out, start, n, 1000.0 * k, kRate), expected[k - 1].get<double>(), 2e-3) << k;
    double worst = 0.0;
    for (int bin = 1; bin * 10 < 16000; ++bin)
        if (bin % 100 != 0)
            worst = std::max(worst, amplitudeAt(out, start, n, bin * 10.0, kRate));
    EXPECT_LE(20.0 * std::log10(worst / fundamental + 1e-30), -60.0);
}

TEST(OscillatorSpectrum, RecipesGiveTheirHarmonics) {
    struct Case {
        int waveform;
        const char* name;
        int harmonics;
    };
    for (const Case& c : {Case{0, "sine", 6}, Case{1, "falling", 6}, Case{3, "triangle", 7}}) {
        DspModule m("TamOscillator", at48k());
        setupLinear(m, c.waveform, 1000.0);
        m.run(6400);
        const auto& expected = refs()[std::string("harm_") + c.name]["amplitudes"];
        for (int k = 1; k <= c.harmonics; ++k)
            EXPECT_NEAR(amplitudeAt(m.output(kOut), 1600, 4800, 1000.0 * k, kRate), expected[k - 1].get<double>(), 1.5e-3)
                << c.name << " harmonic " << k;
    }
}

TEST(OscillatorSpectrum, PulseWidths) {
    // 50%: the difference of two squares half a cycle apart is 1.2 times the square.
    {
        DspModule m("TamOscillator", at48k());
        setupLinear(m, 4, 1000.0);
        m.setAudioInputConstant(kWidth, 0.5f);
        m.run(960);
        const double quarter = refs()["square_quarter_1k"].get<double>();
        for (int cycle = 1; cycle < 19; ++cycle)
            EXPECT_NEAR(m.outputAt(kOut, 12 + 48 * cycle), 1.2 * quarter, 5e-3) << cycle;
    }
    // Narrower pulses: a positive and a negative pulse, each `width` of the cycle.
    for (float width : {0.1f, 0.25f, 0.4f}) {
        DspModule m("TamOscillator", at48k());
        setupLinear(m, 4, 100.0);
        m.setAudioInputConstant(kWidth, width);
        m.run(48000);
        const auto& out = m.output(kOut);
        float peak = 0.0f;
        for (float v : out) peak = std::max(peak, std::fabs(v));
        int high = 0, low = 0;
        for (float v : out) {
            high += v > 0.5f * peak;
            low += v < -0.5f * peak;
        }
        EXPECT_NEAR(high / 48000.0, width, 0.01) << width;
        EXPECT_NEAR(low / 48000.0, width, 0.01) << width;
    }
}

TEST(OscillatorSpectrum, PitchModes) {
    for (const auto& row : refs()["mode0"]) {
        const double hz = row["hz"].get<double>();
        if (hz < 50.0)
            continue;
        DspModule m("TamOscillator", at48k());
        m.setInt(kWaveform, 0);
        m.setAudioInputConstant(kPitch, row["pitch"].get<float>());
        m.setAudioInputConstant(kLevel, 1.0f);
        m.run(48000);
        EXPECT_NEAR(measureFrequency(m.output(kOut), 0, kRate), hz, hz * 2e-5) << row["pitch"];
    }
    // Mode 1 in tens of kilohertz, other modes in tens of hertz.
    for (int mode : {1, 2, 7}) {
        DspModule m("TamOscillator", at48k());
        m.setInt(kWaveform, 0);
        m.setInt(kPitchMode, mode);
        m.setAudioInputConstant(kPitch, mode == 1 ? 0.0441f : 44.1f);
        m.setAudioInputConstant(kLevel, 1.0f);
        m.run(48000);
        EXPECT_NEAR(measureFrequency(m.output(kOut), 0, kRate), 441.0, 0.05) << mode;
    }
    // Out-of-range and NaN pitch clamps; nothing leaves the table.
    for (float pitch : {-50.0f, 50.0f, std::nanf(""), INFINITY}) {
        for (int mode : {0, 1, 2}) {
            DspModule m("TamOscillator", at48k());
            m.setInt(kWaveform, 2);
            m.setInt(kPitchMode, mode);
            m.setAudioInput(kPitch, std::vector<float>(256, pitch));
            m.setStreaming(kPitch, true);
            m.setAudioInputConstant(kOffset, std::nanf(""));
            m.setAudioInputConstant(kLevel, 1.0f);
            m.run(1024);
            EXPECT_TRUE(allFinite(m.output(kOut))) << pitch << " " << mode;
        }
    }
}

TEST(OscillatorSpectrum, StreamingRoutinesMatchFixedOnes) {
    for (int waveform : {0, 2, 4}) {
        for (int mode : {0, 1, 2}) {
            const float pitch = mode == 0 ? 0.45f : (mode == 1 ? 0.05f : 37.0f);
            DspModule fixed("TamOscillator", at48k());
            DspModule streaming("TamOscillator", at48k());
            for (DspModule* m : {&fixed, &streaming}) {
                m->setInt(kWaveform, waveform);
                m->setInt(kPitchMode, mode);
                m->setAudioInputConstant(kPitch, pitch);
                m->setAudioInputConstant(kOffset, 0.3f);
                m->setAudioInputConstant(kWidth, 0.2f);
                m->setAudioInputConstant(kLevel, 0.5f);
            }
            for (int pin : {kPitch, kOffset, kWidth})
                streaming.setStreaming(pin, true);
            fixed.run(2000);
            streaming.run(2000);
            ASSERT_EQ(fixed.output(kOut), streaming.output(kOut)) << waveform << " " << mode;
            float peak = 0.0f;
            for (float v : fixed.output(kOut))
                peak = std::max(peak, std::fabs(v));
            EXPECT_GT(peak, 0.1f);
        }
    }
}

TEST(OscillatorSpectrum, SyncOffsetAndEnable) {
    // A sync that rises at 1000 and stays high restarts the cycle once.
    DspModule m("TamOscillator", at48k());
    setupLinear(m, 2, 437.0);
    std::vector<float> sync(4000, 0.0f);
    std::fill(sync.begin() + 1000, sync.end(), 1.0f);
    m.setAudioInput(kSync, sync);
    m.setStreaming(kSync, true);
    m.run(4000);
    const auto& out = m.output(kOut);
    for (int k = 0; k < 1000; ++k)
        ASSERT_NEAR(out[1000 + k], out[k], 1e-6) << k;
    // Held high, it does not restart the cycle again.
    EXPECT_GT(std::fabs(out[2000] - out[1000]), 0.1f);

    // A quarter-cycle offset reads a quarter cycle ahead.
    DspModule plain("TamOscillator", at48k()), shifted("TamOscillator", at48k());
    setupLinear(plain, 0, 1000.0);
    setupLinear(shifted, 0, 1000.0);
    shifted.setAudioInputConstant(kOffset, 0.25f);
    plain.run(960);
    shifted.run(960);
    for (int i = 0; i < 900; ++i)
        ASSERT_NEAR(shifted.outputAt(kOut, i), plain.outputAt(kOut, i + 12), 2e-3) << i;

    // Disabled: silence, and the output says it does not stream.
    DspModule off("TamOscillator", at48k());
    setupLinear(off, 2, 1000.0);
    off.setBool(kEnable, false);
    off.run(256);
    for (float v : off.output(kOut))
        ASSERT_EQ(v, 0.0f);
    ASSERT_FALSE(off.streamingCalls(kOut).empty());
    EXPECT_FALSE(off.streamingCalls(kOut).back().streaming);
}

TEST(OscillatorSpectrum, CustomWaveforms) {
    std::vector<float> sine(256);
    for (int i = 0; i < 256; ++i)
        sine[i] = 0.3f * static_cast<float>(std::sin(2.0 * M_PI * i / 256.0));
    DspModule m("TamOscillator", at48k());
    setupLinear(m, 0, 100.0);
    m.setBool(kCustomOn, true);
    m.setBlob(kCustomWave, waveBlob(sine));
    m.run(48000 + 960);
    // Normalised to just below full scale, whatever the source level.
    EXPECT_NEAR(amplitudeAt(m.output(kOut), 960, 48000, 100.0, kRate), 0.999, 2e-3);
    EXPECT_LT(amplitudeAt(m.output(kOut), 960, 48000, 200.0, kRate), 1e-3);

    // Silent, tiny, odd-length and lying blobs: silence, never NaN.
    const std::vector<std::vector<uint8_t>> bad = {
        waveBlob(std::vector<float>(64, 0.0f)), waveBlob({1.0f, -1.0f}), waveBlob({1.0f, 0.0f, -1.0f}),
        waveBlob(std::vector<float>(100, 0.5f)), waveBlob({1.0f}, "WAVE", 8, 1 << 28), waveBlob({}, "WAVE", 8, 0),
        std::vector<uint8_t>{'W', 'A'}};
    for (size_t b = 0; b < bad.size(); ++b) {
        DspModule d("TamOscillator", at48k());
        setupLinear(d, 1, 440.0);
        d.setBool(kCustomOn, true);
        d.setBlob(kCustomWave, bad[b]);
        d.run(1024);
        EXPECT_TRUE(allFinite(d.output(kOut))) << b;
        for (float v : d.output(kOut))
            ASSERT_EQ(v, 0.0f) << b;
    }
}
