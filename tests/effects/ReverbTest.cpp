// The reverb through the pack's factory and the reference host: impulse
// responses against an independent float32 model, arrival times per room and
// rate, decay time, width and mix, sleep and hostile input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>

#include "EffectsTestUtil.h"

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace {

using fxtest::feed;
using fxtest::impulse;
using fxtest::noise;

constexpr int kOutLeft = 10;
constexpr int kOutRight = 11;

struct ReverbSettings {
    int room = 1;
    float roomSize = 0.5f, width = 1.0f, damping = 0.25f, preDelay = 0.0f, mix = 1.0f;
    float level = 0.5f;  // unity
};

std::unique_ptr<tamhost::DspModule> makeReverb(float rate, int block, const ReverbSettings& s) {
    auto m = fxtest::module(
        "TamFxReverb", rate, block,
        {{4, s.roomSize}, {5, s.width}, {6, s.damping}, {7, s.preDelay}, {8, s.mix}, {9, s.level}});
    m->setBool(2, true);
    m->setInt(3, s.room);
    return m;
}

// The left input streams `x`, the right one is silent.
std::unique_ptr<tamhost::DspModule> leftOnly(float rate, int block, const ReverbSettings& s,
                                             std::vector<float> x) {
    auto m = makeReverb(rate, block, s);
    feed(*m, 0, std::move(x));
    m->setAudioInputConstant(1, 0.0f);
    return m;
}

bool silent(const std::vector<float>& v) {
    return std::all_of(v.begin(), v.end(), [](float x) { return x == 0.0f; });
}

TEST(Reverb, ImpulseResponsesMatchIndependentModel) {
    for (const auto& row : fxtest::readTsv("reverb_cases.tsv")) {
        SCOPED_TRACE(row[0]);
        const float rate = std::stof(row[1]);
        ReverbSettings s;
        s.room = std::stoi(row[2]);
        s.roomSize = std::stof(row[3]);
        s.damping = std::stof(row[4]);
        s.preDelay = std::stof(row[5]);
        const int frames = std::stoi(row[6]);
        auto m = leftOnly(rate, 64, s, impulse(frames));
        m->run(frames);

        const auto expected = fxtest::readF32(row[0] + ".f32");
        const auto& left = m->output(kOutLeft);
        ASSERT_GE(left.size(), expected.size());
        // Mix 1 and width 1 give the left network times wet1 = 3, and keep it
        // out of the right output.
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(left[i], 3.0f * expected[i], 5e-6) << "sample " << i;
        EXPECT_TRUE(silent(m->output(kOutRight)));

        // Decay: the Schroeder fit agrees with the model's, and an undamped
        // room follows the feedback law within the spread of comb lengths.
        const double t60 = fxtest::schroederT60(left, rate);
        EXPECT_NEAR(t60, std::stod(row[8]), 0.02 * std::stod(row[8]));
        if (s.damping == 0.0f) {
            EXPECT_NEAR(t60, std::stod(row[9]), 0.15 * std::stod(row[9]));
        }
        // Nothing arrives before the shortest comb plus the pre-delay.
        const auto firstNonZero = std::find_if(left.begin(), left.end(), [](float v) { return v != 0.0f; });
        EXPECT_GE(firstNonZero - left.begin(), std::stoi(row[7]));
    }
}

TEST(Reverb, ArrivalsFollowRoomAndRate) {
    for (const auto& row : fxtest::readTsv("reverb_lengths.tsv")) {
        const bool left = row[2] == "L";
        SCOPED_TRACE(row[0] + " room " + row[1] + " " + row[2]);
        const int firstComb = std::stoi(row[3]), lastComb = std::stoi(row[10]),
                  firstAllpass = std::stoi(row[11]);
        ReverbSettings s;
        s.room = std::stoi(row[1]);
        s.damping = 0.0f;
        auto m = makeReverb(std::stof(row[0]), 128, s);
        const int frames = lastComb + firstAllpass + 8;
        feed(*m, left ? 0 : 1, impulse(frames));
        m->setAudioInputConstant(left ? 1 : 0, 0.0f);
        m->run(frames);
        const auto& out = m->output(left ? kOutLeft : kOutRight);

        // The model's first sixteen arrivals, at the comb lengths and at
        // comb-plus-allpass sums, scaled by wet1 = 3 at full mix and width.
        ASSERT_EQ(row.size(), 15u + 16u);
        int previous = -1;
        for (size_t k = 15; k < row.size(); ++k) {
            const auto colon = row[k].find(':');
            const int at = std::stoi(row[k].substr(0, colon));
            for (int i = previous + 1; i < at; ++i) ASSERT_EQ(out[i], 0.0f) << "unexpected sound at " << i;
            EXPECT_NEAR(out[at], 3.0f * std::stof(row[k].substr(colon + 1)), 1e-6f) << "arrival at " << at;
            previous = at;
        }
        EXPECT_EQ(std::stoi(row[15].substr(0, row[15].find(':'))), firstComb);
        EXPECT_TRUE(silent(m->output(left ? kOutRight : kOutLeft)));
    }
}

TEST(Reverb, SelectorOutsideRangeActsAsNearestEnd) {
    auto render = [](int room) {
        ReverbSettings s;
        s.room = room;
        auto m = leftOnly(44100.0f, 64, s, impulse(4000));
        m->run(4000);
        return m->output(kOutLeft);
    };
    EXPECT_EQ(render(-7), render(0));
    EXPECT_EQ(render(99), render(4));
    EXPECT_NE(render(0), render(4));
}

TEST(Reverb, ChangingTheRoomClearsTheTailButNotTheDampingState) {
    for (float damping : {0.0f, 0.5f}) {
        SCOPED_TRACE(damping);
        ReverbSettings s;
        s.damping = damping;
        auto m = leftOnly(44100.0f, 64, s, impulse(20000));
        m->setInt(3, 2, 4000);
        m->run(12000);
        const auto& l = m->output(kOutLeft);
        float before = 0.0f, after = 0.0f;
        for (int i = 2000; i < 4000; ++i) before = std::max(before, std::fabs(l[i]));
        for (int i = 4000; i < 12000; ++i) after = std::max(after, std::fabs(l[i]));
        ASSERT_GT(before, 0.01f);
        if (damping == 0.0f) {
            EXPECT_EQ(after, 0.0f);
        } else {
            // The combs' one-pole states survive the clearing and leave a
            // faint new tail.
            EXPECT_GT(after, 0.0f);
            EXPECT_LT(after, 0.5f * before);
        }
    }
}

TEST(Reverb, WidthMixAndLevel) {
    const auto x = noise(3000), xr = noise(3000, 0.5f, 777u);
    {
        // Width 0.5 sends a third of the left network to the right output.
        ReverbSettings s;
        s.width = 0.5f;
        auto m = leftOnly(48000.0f, 64, s, x);
        m->run(3000);
        const auto& l = m->output(kOutLeft);
        const auto& r = m->output(kOutRight);
        for (int i = 0; i < 3000; ++i) ASSERT_NEAR(r[i], l[i] / 3.0f, 1e-6f + 1e-5f * std::fabs(l[i]));
    }
    // Mix 0 is the dry input times the level curve: 0.1 at the bottom,
    // unity at 0.5, 10^(2*511/512-1) at the top.
    for (auto [pin, gain] : {std::pair{0.0f, 0.1f}, {0.5f, 1.0f}, {1.0f, 9.91046f}}) {
        ReverbSettings s;
        s.mix = 0.0f;
        s.level = pin;
        auto m = makeReverb(44100.0f, 64, s);
        m->setAudioInput(0, x);
        m->setAudioInput(1, xr);
        m->run(3000);
        for (int i = 0; i < 3000; ++i) {
            ASSERT_NEAR(m->output(kOutLeft)[i], x[i] * gain, 1e-4f * gain);
            ASSERT_NEAR(m->output(kOutRight)[i], xr[i] * gain, 1e-4f * gain);
        }
    }
}

TEST(Reverb, SameResultAtEveryBlockSizeAndRoutine) {
    const auto x = noise(9000);
    auto render = [&](int block, bool streamingParameters) {
        auto m = makeReverb(48000.0f, block, {});
        feed(*m, 0, x);
        feed(*m, 1, x);
        // Streaming parameter pins holding the same values give the same sound.
        if (streamingParameters)
            for (int pin : {4, 6, 9}) m->setStreaming(pin, true);
        m->run(9000);
        return fxtest::slice(m->output(kOutLeft), 0, 9000);
    };
    const auto reference = render(1, false);
    EXPECT_EQ(render(64, false), reference);
    EXPECT_EQ(render(4096, false), reference);
    EXPECT_EQ(render(64, true), reference);
}

TEST(Reverb, StreamingLevelMovesWithinTheBlock) {
    ReverbSettings s;
    s.mix = 0.0f;
    auto m = makeReverb(44100.0f, 256, s);
    std::vector<float> ramp(2048);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i) / 2047.0f;
    feed(*m, 9, ramp);
    m->setAudioInputConstant(0, 0.2f);
    m->setAudioInputConstant(1, 0.2f);
    m->run(2048);
    for (size_t i = 0; i < ramp.size(); i += 97) {
        const int index = static_cast<int>(std::nearbyint(ramp[i] * 511.0f));
        const float gain = std::pow(10.0f, 2.0f * index / 512.0f - 1.0f);
        ASSERT_NEAR(m->output(kOutLeft)[i], 0.2f * gain, 1e-5f) << i;
    }
}

TEST(Reverb, SleepsAfterTheTailButNotWhileInputStreams) {
    const int rate = 44100;
    for (bool inputStreams : {false, true}) {
        SCOPED_TRACE(inputStreams ? "streaming input" : "still input");
        ReverbSettings s;
        s.room = 2;
        s.roomSize = 0.6f;  // feedback 0.868: a tail of over a second
        s.damping = 0.5f;
        auto m = leftOnly(rate, 256, s, impulse(rate));
        // A still input: the impulse's stream ends after a tenth of a second.
        if (!inputStreams) m->setStreaming(0, false, rate / 10);
        m->run(rate * 6);
        if (inputStreams) {
            EXPECT_EQ(m->sleepCalls(), 0);
            continue;
        }
        EXPECT_GT(m->sleepCalls(), 0);
        const auto& l = m->output(kOutLeft);
        const auto calls = m->streamingCalls(kOutLeft);
        ASSERT_FALSE(calls.empty());
        EXPECT_FALSE(calls.back().streaming);
        const int64_t stop = calls.back().time;
        // The tail still sounded at the checks of the first seconds ...
        int64_t lastLoud = 0;
        for (int64_t i = 0; i < static_cast<int64_t>(l.size()); ++i)
            if (l[i] > 0.000005f) lastLoud = i;
        EXPECT_GT(lastLoud, rate);
        EXPECT_GT(stop, lastLoud);
        // ... it stopped within about a second of dying away, and left silence.
        EXPECT_LT(stop, lastLoud + rate + 2 * 256);
        for (int64_t i = stop + 1; i < static_cast<int64_t>(l.size()); ++i) ASSERT_EQ(l[i], 0.0f) << i;
    }
}

TEST(Reverb, NanInputDoesNotPoisonTheTail) {
    auto m = makeReverb(44100.0f, 64, {});
    auto x = noise(44100 * 3, 0.2f);
    x[100] = std::numeric_limits<float>::quiet_NaN();
    std::fill(x.begin() + 2000, x.end(), 0.0f);
    feed(*m, 0, x);
    feed(*m, 1, x);
    m->run(44100 * 3);
    const auto& l = m->output(kOutLeft);
    // Two seconds on, a check has run and cleared the network.
    for (size_t i = 44100 * 2 + 2000; i < l.size(); ++i) ASSERT_TRUE(std::isfinite(l[i])) << i;
}

double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}

TEST(Reverb, DecayingTailCostsNoMoreThanSound) {
    // A short bright room (feedback 0.7, no damping) sinks into the range of
    // denormal numbers within a couple of seconds of silence; the processor
    // time for that stretch must stay close to the time for live sound.
    auto cost = [](bool silenceAfterBurst) {
        ReverbSettings s;
        s.room = 0;
        s.roomSize = 0.0f;
        s.damping = 0.0f;
        auto m = makeReverb(44100.0f, 64, s);
        auto x = noise(44100 * 4, 0.5f);
        if (silenceAfterBurst) std::fill(x.begin() + 4410, x.end(), 0.0f);
        feed(*m, 0, x);
        feed(*m, 1, x);
        m->run(44100);
        const double start = threadSeconds();
        m->run(44100 * 3);
        return threadSeconds() - start;
    };
    double sound = 1e9, silence = 1e9;
    for (int repeat = 0; repeat < 2; ++repeat) {
        sound = std::min(sound, cost(false));
        silence = std::min(silence, cost(true));
    }
    EXPECT_LT(silence, 2.0 * sound) << "silence " << silence << " s, sound " << sound << " s";
}

#if defined(__x86_64__)
TEST(Reverb, RestoresTheCallersFloatingPointMode) {
    auto m = makeReverb(44100.0f, 64, {});
    m->setAudioInput(0, noise(512));
    m->setAudioInput(1, noise(512));
    const unsigned before = _mm_getcsr();
    m->run(512);
    EXPECT_EQ(_mm_getcsr(), before);
}
#endif

}  // namespace
