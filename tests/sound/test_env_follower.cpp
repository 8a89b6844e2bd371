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

// The follower's output for a streaming input `x` and steady (or streaming) times.
std::vector<float> follow(const std::vector<float>& x, float attack, float decay, bool peak, float rate,
                          int64_t frames = -1, int block = 64, bool streamingTimes = false) {
    DspModule m("TamEnvelopeFollower", {.sampleRate = rate, .blockSize = block});
    m.setAudioInput(Signal, x);
    m.setStreaming(Signal, true);
    m.setAudioInputConstant(Attack, attack);
    m.setAudioInputConstant(Decay, decay);
    if (streamingTimes) {
        m.setStreaming(Attack, true);
        m.setStreaming(Decay, true);
    }
    m.setInt(Detection, peak ? 1 : 0);
    m.run(frames < 0 ? static_cast<int64_t>(x.size()) : frames);
    return m.output(Output);
}

void expectNearRef(const std::vector<float>& out, const nlohmann::json& expected, const std::string& what, size_t every = 1) {
    ASSERT_EQ(out.size(), expected.size()) << what;
    for (size_t i = 0; i < out.size(); i += every) {
        const double e = expected[i];
        ASSERT_NEAR(out[i], e, 2e-5 + 2e-4 * std::fabs(e)) << what << " sample " << i;
    }
}

TEST(EnvFollower, RmsAndPeakOnSteadyAndStoppingInput) {
    const auto& f = envtest::refs()["follower"];
    const auto x = testSignal(f);
    const double amplitude = f["amplitude"];
    const size_t lead = f["lead"], on = f["on"];
    for (const auto& c : f["cases"]) {
        const bool peak = c["peak"];
        const std::string what = std::string(peak ? "peak" : "rms") + " attack " + c["attack"].dump();
        const auto out = follow(x, c["attack"], c["decay"], peak, f["rate"]);
        expectNearRef(out, c["output"], what);
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
        expectNearRef(follow(x, 0.002f, 0.001f, c["peak"], f["rate"]), c["output"], "peak " + c["peak"].dump());
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
    for (bool peak : {false, true})
        EXPECT_NEAR(follow(x, 0.001f, 0.001f, peak, rate).back(), peak ? 0.25f : 0.35355339f, 1e-4) << peak;
}

TEST(EnvFollower, LoudPassageThenSilenceNeverGivesNan) {
    std::vector<float> x(20000, 0.0f);
    for (size_t k = 0; k < 5000; ++k) x[k] = (k % 7 == 0 ? 1000.0f : 0.013f) * (k % 2 ? -1.0f : 1.0f);
    for (size_t k = 5000; k < 5300; ++k) x[k] = 1e-7f;
    for (float v : follow(x, 0.0f, 0.0f, false, 44100.0f, -1, 37)) ASSERT_TRUE(std::isfinite(v));
}

TEST(EnvFollower, StreamingFactorsAndOddValues) {
    // Streaming attack and decay of steady values give the steady results.
    const auto& f = envtest::refs()["follower"];
    const auto& c = f["cases"][0];
    const auto x = testSignal(f);
    expectNearRef(follow(x, c["attack"], c["decay"], c["peak"], f["rate"], -1, 64, true), c["output"], "streaming", 97);
    // NaN and negative times behave as 0: finite output.
    for (float odd :
         {std::numeric_limits<float>::quiet_NaN(), -5.0f, std::numeric_limits<float>::infinity()}) {
        for (float v : follow(x, odd, odd, false, 48000.0f, 4096)) ASSERT_FALSE(std::isnan(v)) << odd;
    }
}

}  // namespace
