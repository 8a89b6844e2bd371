// The reverb through the pack's factory and the reference host: impulse
// responses against an independent float32 model, arrival times per room and
// rate, decay time, width and mix, pass-through, sleep and hostile input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/DspHost.h"

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;

constexpr int kOutLeft = 10;
constexpr int kOutRight = 11;

struct ReverbSettings {
    int room = 1;
    float roomSize = 0.5f;
    float width = 1.0f;
    float damping = 0.25f;
    float preDelay = 0.0f;
    float mix = 1.0f;
    float level = 0.5f;  // unity
    bool on = true;
};

std::unique_ptr<DspModule> makeReverb(float rate, int block, const ReverbSettings& s) {
    DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<DspModule>("TamFxReverb", options);
    m->setBool(2, s.on);
    m->setInt(3, s.room);
    m->setAudioInputConstant(4, s.roomSize);
    m->setAudioInputConstant(5, s.width);
    m->setAudioInputConstant(6, s.damping);
    m->setAudioInputConstant(7, s.preDelay);
    m->setAudioInputConstant(8, s.mix);
    m->setAudioInputConstant(9, s.level);
    return m;
}

std::vector<float> head(const std::vector<float>& v, size_t n) {
    return {v.begin(), v.begin() + std::min(n, v.size())};
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
        auto m = makeReverb(rate, 64, s);
        m->setAudioInput(0, fxtest::impulse(frames));
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, true);
        m->run(frames);

        const auto expected = fxtest::readF32(row[0] + ".f32");
        const auto& left = m->output(kOutLeft);
        const auto& right = m->output(kOutRight);
        ASSERT_GE(left.size(), expected.size());
        const int predelay = std::stoi(row[7]);
        // Mix 1 and width 1 give the left network times wet1 = 3.
        for (size_t i = 0; i < expected.size(); ++i)
            ASSERT_NEAR(left[i], 3.0f * expected[i], 5e-6) << "sample " << i;
        // Width 1 keeps the left network out of the right output.
        EXPECT_TRUE(std::all_of(right.begin(), right.end(), [](float v) { return v == 0.0f; }));

        // Decay: the Schroeder fit agrees with the model's, and an undamped
        // room follows the feedback law within the spread of comb lengths.
        const double t60 = fxtest::schroederT60(left, rate);
        EXPECT_NEAR(t60, std::stod(row[8]), 0.02 * std::stod(row[8]));
        if (s.damping == 0.0f) {
            EXPECT_NEAR(t60, std::stod(row[9]), 0.15 * std::stod(row[9]));
        }
        // Nothing arrives before the shortest comb plus the pre-delay.
        const auto firstNonZero = std::find_if(left.begin(), left.end(), [](float v) { return v != 0.0f; });
        EXPECT_GE(firstNonZero - left.begin(), predelay);
    }
}

TEST(Reverb, ArrivalsFollowRoomAndRate) {
    for (const auto& row : fxtest::readTsv("reverb_lengths.tsv")) {
        const float rate = std::stof(row[0]);
        const int room = std::stoi(row[1]);
        const bool left = row[2] == "L";
        SCOPED_TRACE(row[0] + " room " + row[1] + " " + row[2]);
        std::vector<int> combs, allpasses;
        for (int i = 0; i < 8; ++i) combs.push_back(std::stoi(row[3 + i]));
        for (int i = 0; i < 4; ++i) allpasses.push_back(std::stoi(row[11 + i]));

        ReverbSettings s;
        s.room = room;
        s.damping = 0.0f;
        auto m = makeReverb(rate, 128, s);
        const int frames = combs.back() + allpasses.front() + 8;
        m->setAudioInput(left ? 0 : 1, fxtest::impulse(frames));
        m->setAudioInputConstant(left ? 1 : 0, 0.0f);
        m->setStreaming(left ? 0 : 1, true);
        m->run(frames);
        const auto& out = m->output(left ? kOutLeft : kOutRight);
        const auto& other = m->output(left ? kOutRight : kOutLeft);

        for (int i = 0; i < combs.front(); ++i) ASSERT_EQ(out[i], 0.0f) << "early sound at " << i;
        // The model's first sixteen arrivals, at the comb lengths and at
        // comb-plus-allpass sums, scaled by wet1 = 3 at full mix and width.
        ASSERT_EQ(row.size(), 15u + 16u);
        int previous = -1;
        for (size_t k = 15; k < row.size(); ++k) {
            const auto colon = row[k].find(':');
            const int at = std::stoi(row[k].substr(0, colon));
            const float value = std::stof(row[k].substr(colon + 1));
            for (int i = previous + 1; i < at; ++i) ASSERT_EQ(out[i], 0.0f) << "unexpected sound at " << i;
            EXPECT_NEAR(out[at], 3.0f * value, 1e-6f) << "arrival at " << at;
            previous = at;
        }
        EXPECT_EQ(std::stoi(row[15].substr(0, row[15].find(':'))), combs.front());
        EXPECT_TRUE(std::all_of(other.begin(), other.end(), [](float v) { return v == 0.0f; }));
    }
}

TEST(Reverb, SelectorOutsideRangeActsAsNearestEnd) {
    auto render = [](int room) {
        ReverbSettings s;
        s.room = room;
        auto m = makeReverb(44100.0f, 64, s);
        m->setAudioInput(0, fxtest::impulse(4000));
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, true);
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
        auto m = makeReverb(44100.0f, 64, s);
        m->setAudioInput(0, fxtest::impulse(20000));
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, true);
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
    const auto x = fxtest::noise(3000);
    {
        // Width 0.5 sends a third of the left network to the right output.
        ReverbSettings s;
        s.width = 0.5f;
        auto m = makeReverb(48000.0f, 64, s);
        m->setAudioInput(0, x);
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, true);
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
        m->setAudioInput(1, fxtest::noise(3000, 0.5f, 777u));
        m->run(3000);
        const auto& l = m->output(kOutLeft);
        const auto xr = fxtest::noise(3000, 0.5f, 777u);
        const auto& r = m->output(kOutRight);
        for (int i = 0; i < 3000; ++i) {
            ASSERT_NEAR(l[i], x[i] * gain, 1e-4f * std::fabs(gain));
            ASSERT_NEAR(r[i], xr[i] * gain, 1e-4f * std::fabs(gain));
        }
    }
}

TEST(Reverb, OffPassesInputThroughAndNeverChecks) {
    ReverbSettings s;
    s.on = false;
    auto m = makeReverb(44100.0f, 64, s);
    const auto xl = fxtest::noise(44100 * 3, 0.3f, 1u);
    const auto xr = fxtest::noise(44100 * 3, 0.3f, 2u);
    m->setAudioInput(0, xl);
    m->setAudioInput(1, xr);
    m->setStreaming(0, true);
    m->setStreaming(1, true);
    m->run(44100 * 3);
    EXPECT_EQ(head(m->output(kOutLeft), xl.size()), xl);
    EXPECT_EQ(head(m->output(kOutRight), xr.size()), xr);
    EXPECT_EQ(m->sleepCalls(), 0);
}

TEST(Reverb, SameResultAtEveryBlockSizeAndRoutine) {
    const auto x = fxtest::noise(9000);
    std::vector<float> reference;
    for (int block : {1, 64, 4096}) {
        ReverbSettings s;
        auto m = makeReverb(48000.0f, block, s);
        m->setAudioInput(0, x);
        m->setAudioInput(1, x);
        m->setStreaming(0, true);
        m->setStreaming(1, true);
        m->run(9000);
        const auto out = head(m->output(kOutLeft), 9000);
        if (reference.empty())
            reference = out;
        else
            EXPECT_EQ(out, reference) << "block " << block;
    }
    // Streaming parameter pins holding the same values give the same sound.
    ReverbSettings s;
    auto m = makeReverb(48000.0f, 64, s);
    m->setAudioInput(0, x);
    m->setAudioInput(1, x);
    for (int pin : {4, 6, 9}) m->setStreaming(pin, true);
    m->setStreaming(0, true);
    m->setStreaming(1, true);
    m->run(9000);
    EXPECT_EQ(head(m->output(kOutLeft), 9000), reference);
}

TEST(Reverb, StreamingLevelMovesWithinTheBlock) {
    ReverbSettings s;
    s.mix = 0.0f;
    auto m = makeReverb(44100.0f, 256, s);
    std::vector<float> ramp(2048);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i) / 2047.0f;
    m->setAudioInput(9, ramp);
    m->setStreaming(9, true);
    m->setAudioInputConstant(0, 0.2f);
    m->setAudioInputConstant(1, 0.2f);
    m->run(2048);
    const auto& l = m->output(kOutLeft);
    for (size_t i = 0; i < ramp.size(); i += 97) {
        const int index = static_cast<int>(std::nearbyint(ramp[i] * 511.0f));
        const float gain = std::pow(10.0f, 2.0f * index / 512.0f - 1.0f);
        ASSERT_NEAR(l[i], 0.2f * gain, 1e-5f) << i;
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
        auto m = makeReverb(rate, 256, s);
        m->setAudioInput(0, fxtest::impulse(rate));
        m->setAudioInputConstant(1, 0.0f);
        m->setStreaming(0, true);
        // A still input: the impulse's stream ends after a tenth of a second.
        if (!inputStreams) m->setStreaming(0, false, rate / 10);
        m->run(rate * 6);
        const auto& l = m->output(kOutLeft);
        if (inputStreams) {
            EXPECT_EQ(m->sleepCalls(), 0);
            continue;
        }
        EXPECT_GT(m->sleepCalls(), 0);
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
    ReverbSettings s;
    auto m = makeReverb(44100.0f, 64, s);
    auto x = fxtest::noise(44100 * 3, 0.2f);
    x[100] = std::numeric_limits<float>::quiet_NaN();
    for (size_t i = 2000; i < x.size(); ++i) x[i] = 0.0f;
    m->setAudioInput(0, x);
    m->setAudioInput(1, x);
    m->setStreaming(0, true);
    m->setStreaming(1, true);
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
        auto x = fxtest::noise(44100 * 4, 0.5f);
        if (silenceAfterBurst) std::fill(x.begin() + 4410, x.end(), 0.0f);
        m->setAudioInput(0, x);
        m->setAudioInput(1, x);
        m->setStreaming(0, true);
        m->setStreaming(1, true);
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
    ReverbSettings s;
    auto m = makeReverb(44100.0f, 64, s);
    m->setAudioInput(0, fxtest::noise(512));
    m->setAudioInput(1, fxtest::noise(512));
    const unsigned before = _mm_getcsr();
    m->run(512);
    EXPECT_EQ(_mm_getcsr(), before);
}
#endif

}  // namespace
