// TamEnvelopeFollower through the factory and the reference host: RMS and
// peak detection on a steady cosine that stops, against a float64 model
// of the follower; steady levels against their closed forms; recovery from
// NaN; no NaN from rounding after a loud passage.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tamhost/DspHost.h"
#include "tests/sound/test_env_support.h"

using tamhost::DspModule;

namespace {

enum FollowerPin { Signal = 0, Attack = 1, Decay = 2, Detection = 3, Output = 4 };

std::vector<float> testSignal(const nlohmann::json& f) {
    const int lead = f["lead"], on = f["on"], off = f["off"], period = f["period"];
    const double amplitude = f["amplitude"];
    std::vector<float> x(static_cast<size_t>(lead + on + off), 0.0f);
    for (int k = lead; k < lead + on; ++k)
        x[static_cast<size_t>(k)] =
            static_cast<float>(amplitude * std::cos(2.0 * M_PI * (k - lead) / period));
    return x;
}

TEST(EnvFollower, RmsAndPeakOnSteadyAndStoppingInput) {
    const auto& f = envtest::refs()["follower"];
    const auto x = testSignal(f);
    const double amplitude = f["amplitude"];
    const size_t lead = f["lead"], on = f["on"];
    for (const auto& c : f["cases"]) {
        const bool peak = c["peak"];
        const std::string what = std::string(peak ? "peak" : "rms") + " attack " + c["attack"].dump();
        DspModule m("TamEnvelopeFollower", {.sampleRate = f["rate"].get<float>(), .blockSize = 64});
        m.setAudioInput(Signal, x);
        m.setStreaming(Signal, true);
        m.setAudioInputConstant(Attack, c["attack"].get<float>());
        m.setAudioInputConstant(Decay, c["decay"].get<float>());
        m.setInt(Detection, peak ? 1 : 0);
        m.run(static_cast<int64_t>(x.size()));
        const auto& out = m.output(Output);
        const auto& expected = c["output"];
        ASSERT_EQ(out.size(), expected.size());
        for (size_t i = 0; i < out.size(); ++i) {
            const double e = expected[i];
            ASSERT_NEAR(out[i], e, 2e-5 + 2e-4 * std::fabs(e)) << what << " sample " << i;
        }
        // Closed forms: two whole periods in the ring.
        const double steady = peak ? amplitude * amplitude : amplitude / std::sqrt(2.0);
        EXPECT_NEAR(out[lead + on - 1], steady, 1e-5) << what;
        // After the stop the output falls to the floor and stays there.
        EXPECT_FLOAT_EQ(out.back(), 0.001f) << what;
    }
}

TEST(EnvFollower, FirstBlockCountsItsSamplesTwice) {
    const auto& f = envtest::refs()["follower"];
    std::vector<float> x(256);
    for (size_t k = 0; k < x.size(); ++k)
        x[k] = static_cast<float>(f["amplitude"].get<double>() *
                                  std::cos(2.0 * M_PI * static_cast<double>(k) / 50.0));
    for (const auto& c : envtest::refs()["follower_onset"]) {
        DspModule m("TamEnvelopeFollower", {.sampleRate = f["rate"].get<float>(), .blockSize = 64});
        m.setAudioInput(Signal, x);
        m.setStreaming(Signal, true);
        m.setAudioInputConstant(Attack, 0.002f);
        m.setAudioInputConstant(Decay, 0.001f);
        m.setInt(Detection, c["peak"].get<bool>() ? 1 : 0);
        m.run(256);
        const auto& out = m.output(Output);
        for (size_t i = 0; i < out.size(); ++i) {
            const double e = c["output"][i];
            ASSERT_NEAR(out[i], e, 2e-5 + 2e-4 * std::fabs(e)) << c["peak"] << " sample " << i;
        }
    }
    // Counted once, the first sample's RMS would be 0.05; counted twice, the
    // ring already holds the first 64 squares.
    EXPECT_GT(envtest::refs()["follower_onset"][0]["output"][0].get<double>(), 0.25);
}

TEST(EnvFollower, NanInputIsClearedAtTheCheck) {
    const int rate = 48000;
    std::vector<float> x(static_cast<size_t>(3 * rate));
    for (size_t k = 0; k < x.size(); ++k)
        x[k] = static_cast<float>(0.5 * std::cos(2.0 * M_PI * static_cast<double>(k) / 50.0));
    for (size_t k = 1000; k < 1010; ++k) x[k] = std::numeric_limits<float>::quiet_NaN();
    for (int detection : {0, 1}) {
        DspModule m("TamEnvelopeFollower", {.sampleRate = static_cast<float>(rate), .blockSize = 64});
        m.setAudioInput(Signal, x);
        m.setStreaming(Signal, true);
        m.setAudioInputConstant(Attack, 0.001f);
        m.setAudioInputConstant(Decay, 0.001f);
        m.setInt(Detection, detection);
        m.run(static_cast<int64_t>(x.size()));
        const float last = m.output(Output).back();
        EXPECT_NEAR(last, detection == 1 ? 0.25f : 0.35355339f, 1e-4) << detection;
    }
}

TEST(EnvFollower, LoudPassageThenSilenceNeverGivesNan) {
    std::vector<float> x(20000, 0.0f);
    for (size_t k = 0; k < 5000; ++k) x[k] = (k % 7 == 0 ? 1000.0f : 0.013f) * (k % 2 ? -1.0f : 1.0f);
    for (size_t k = 5000; k < 5300; ++k) x[k] = 1e-7f;
    DspModule m("TamEnvelopeFollower", {.sampleRate = 44100.0f, .blockSize = 37});
    m.setAudioInput(Signal, x);
    m.setStreaming(Signal, true);
    m.setAudioInputConstant(Attack, 0.0f);
    m.setAudioInputConstant(Decay, 0.0f);
    m.run(20000);
    for (float v : m.output(Output)) ASSERT_TRUE(std::isfinite(v));
}

TEST(EnvFollower, StreamingFactorsAndOddValues) {
    // Streaming attack and decay of steady values give the steady results.
    const auto& f = envtest::refs()["follower"];
    const auto& c = f["cases"][0];
    const auto x = testSignal(f);
    DspModule m("TamEnvelopeFollower", {.sampleRate = f["rate"].get<float>(), .blockSize = 64});
    m.setAudioInput(Signal, x);
    m.setStreaming(Signal, true);
    m.setAudioInputConstant(Attack, c["attack"].get<float>());
    m.setAudioInputConstant(Decay, c["decay"].get<float>());
    m.setStreaming(Attack, true);
    m.setStreaming(Decay, true);
    m.run(static_cast<int64_t>(x.size()));
    const auto& out = m.output(Output);
    for (size_t i = 0; i < out.size(); i += 97) {
        const double e = c["output"][i];
        ASSERT_NEAR(out[i], e, 2e-5 + 2e-4 * std::fabs(e)) << i;
    }
    // NaN and negative times behave as 0: finite output.
    for (float odd :
         {std::numeric_limits<float>::quiet_NaN(), -5.0f, std::numeric_limits<float>::infinity()}) {
        DspModule h("TamEnvelopeFollower", {.sampleRate = 48000.0f, .blockSize = 64});
        h.setAudioInput(Signal, x);
        h.setStreaming(Signal, true);
        h.setAudioInputConstant(Attack, odd);
        h.setAudioInputConstant(Decay, odd);
        h.run(4096);
        for (float v : h.output(Output)) ASSERT_FALSE(std::isnan(v)) << odd;
    }
}

}  // namespace
