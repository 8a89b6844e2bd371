// The echo through the factory and the reference host: delay in samples for
// line length, time and range; the feedback loop's period; the loop with its
// band-pass against scipy; sleep and hostile values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"

namespace {

using fxtest::feed;

constexpr int kOut = 11;

struct EchoSettings {
    float seconds = 1.0f, time = 0.5f;
    int range = 1;
    float feedback = 0.0f;
    bool filter = false;
    float blend = 1.0f, frequency = 0.5f;
};

std::unique_ptr<tamhost::DspModule> makeEcho(float rate, int block, const EchoSettings& s) {
    auto m =
        fxtest::module("TamFxEcho", rate, block,
                       {{2, s.time}, {3, s.feedback}, {5, s.blend}, {6, s.frequency}, {7, 1.0f}, {8, 0.5f}});
    m->setBool(1, true);
    m->setBool(4, s.filter);
    m->setFloat(9, s.seconds);
    m->setInt(10, s.range);
    return m;
}

// Full mix: the wet gain is the last entry of the quarter-sine curve.
const float kWet = std::sin(511.0f * 1.5707964f / 512.0f);

// An impulse through the echo: the echoes expected at `at`, silence elsewhere.
void expectEchoes(const std::vector<float>& out, int frames, int first, int period, float decay) {
    float gain = kWet;
    for (int i = 0, at = first; i < frames; ++i) {
        if (i == at) {
            ASSERT_NEAR(out[i], gain, 1e-6f) << "echo missing at " << i;
            gain *= decay;
            at += period;
        } else {
            ASSERT_EQ(out[i], 0.0f) << "sound at " << i;
        }
    }
}

TEST(Echo, DelayFollowsLengthTimeAndRange) {
    for (const auto& row : fxtest::readTsv("echo_delays.tsv")) {
        SCOPED_TRACE(row[0] + " " + row[1] + "s t=" + row[2] + " range " + row[3]);
        EchoSettings s;
        s.seconds = std::stof(row[1]);
        s.time = std::stof(row[2]);
        s.range = std::stoi(row[3]);
        const int delay = std::stoi(row[5]);
        auto m = makeEcho(std::stof(row[0]), 512, s);
        const int frames = delay + 600;
        feed(*m, 0, fxtest::impulse(frames));
        m->run(frames);
        expectEchoes(m->output(kOut), frames, delay, frames, 0.0f);
    }
}

TEST(Echo, FeedbackRepeatsOnceALoopWithoutFilter) {
    // The loop is one sample longer than the delay: the value read feeds the
    // line at the next sample.
    EchoSettings s;
    s.seconds = 0.01f;
    s.time = 0.8f;
    s.feedback = 0.5f;
    auto m = makeEcho(48000.0f, 64, s);
    const int delay = 384;  // from echo_delays.tsv: 480-sample line, time 0.8
    feed(*m, 0, fxtest::impulse(4000));
    m->run(4000);
    expectEchoes(m->output(kOut), 4000, delay, delay + 1, 0.5f);
}

TEST(Echo, FilteredLoopMatchesScipy) {
    const auto row = fxtest::readTsv("echo_loop.tsv").at(0);
    EchoSettings s;
    s.seconds = std::stof(row[1]);
    s.time = std::stof(row[2]);
    s.range = std::stoi(row[3]);
    s.feedback = std::stof(row[4]);
    s.blend = std::stof(row[5]);
    s.frequency = std::stof(row[6]);
    s.filter = true;
    const auto x = fxtest::readF32("echo_loop_input.f32");
    const auto expected = fxtest::readF32("echo_loop_output.f32");
    for (bool streamingParameters : {false, true}) {
        SCOPED_TRACE(streamingParameters ? "streaming parameters" : "fixed parameters");
        auto m = makeEcho(std::stof(row[0]), 64, s);
        feed(*m, 0, x);
        if (streamingParameters)
            for (int pin : {2, 3, 5, 6, 7, 8}) m->setStreaming(pin, true);
        m->run(static_cast<int64_t>(x.size()));
        const auto& out = m->output(kOut);
        for (size_t i = 0; i < expected.size(); ++i) ASSERT_NEAR(out[i], expected[i], 2e-4f) << i;
    }
}

TEST(Echo, ExtremeFilterSettingsStayBounded) {
    // The top of the frequency pin lies above Nyquist at 22.05 kHz.
    for (float frequency : {0.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()}) {
        EchoSettings s;
        s.seconds = 0.05f;
        s.feedback = 0.9f;
        s.filter = true;
        s.frequency = frequency;
        auto m = makeEcho(22050.0f, 64, s);
        feed(*m, 0, fxtest::noise(22050));
        m->run(22050);
        for (float v : m->output(kOut)) ASSERT_TRUE(std::isfinite(v) && std::fabs(v) < 100.0f) << v;
    }
}

TEST(Echo, SleepsWhenTheLineHasEmptied) {
    EchoSettings s;
    s.seconds = 0.2f;
    s.feedback = 0.5f;
    for (bool inputStreams : {false, true}) {
        SCOPED_TRACE(inputStreams ? "streaming input" : "still input");
        auto m = makeEcho(44100.0f, 128, s);
        feed(*m, 0, fxtest::impulse(44100));
        if (!inputStreams) m->setStreaming(0, false, 1280);
        m->run(44100 * 4);
        // While the input streams the module stays awake.
        if (inputStreams) {
            EXPECT_EQ(m->sleepCalls(), 0);
            continue;
        }
        EXPECT_GT(m->sleepCalls(), 0);
        const auto calls = m->streamingCalls(kOut);
        ASSERT_FALSE(calls.empty());
        EXPECT_FALSE(calls.back().streaming);
        // 0.5^k falls below the threshold after 18 round trips of 0.1 s.
        EXPECT_GT(calls.back().time, 44100);
    }
}

TEST(Echo, RecoversFromNanAndRunawayFeedback) {
    EchoSettings s;
    s.seconds = 0.05f;
    s.feedback = 0.9f;
    s.filter = true;
    auto m = makeEcho(44100.0f, 64, s);
    auto x = fxtest::noise(44100 * 3, 0.2f);
    x[300] = std::numeric_limits<float>::infinity();
    x[301] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 2000, x.end(), 0.0f);
    feed(*m, 0, x);
    m->run(44100 * 3);
    const auto& out = m->output(kOut);
    for (size_t i = 44100 * 2 + 2000; i < out.size(); ++i) ASSERT_TRUE(std::isfinite(out[i])) << i;
}

}  // namespace
