// TamPan and TamMix through the factory and the reference host: the two
// gains for every curve and scale, per-sample curves, custom curves and the
// silence that a bad curve gives.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tamhost/DspHost.h"
#include "tests/sound/test_level_support.h"

using tamhost::DspModule;

namespace {

enum PanPin { PanSignal = 0, PanPosition = 1, PanScale = 2, PanCurve = 3, PanOut1 = 4, PanOut2 = 5, PanCustomOn = 6, PanCustom = 7 };
enum MixPin { MixA = 0, MixB = 1, MixPosition = 2, MixScale = 3, MixCurve = 4, MixOut = 5, MixCustomOn = 6, MixCustom = 7 };

constexpr int kFrames = 192;

// Runs a pan with a streaming signal; position steady or per sample.
struct PanRun {
    std::vector<float> signal = leveltest::testSignal(kFrames);
    std::vector<float> out1, out2;

    void run(int curve, int scale, const std::vector<float>& position, bool streamingPosition,
             const std::vector<uint8_t>* custom = nullptr) {
        DspModule m("TamPan");
        m.setAudioInput(PanSignal, signal);
        m.setStreaming(PanSignal, true);
        m.setAudioInput(PanPosition, position);
        m.setStreaming(PanPosition, streamingPosition);
        m.setInt(PanScale, scale);
        m.setInt(PanCurve, curve);
        if (custom != nullptr) {
            m.setBool(PanCustomOn, true);
            m.setBlob(PanCustom, *custom);
        }
        m.run(kFrames, 64);
        out1 = m.output(PanOut1);
        out2 = m.output(PanOut2);
    }
};

// Mix of two different signals: out = A * gain1 + B * gain2.
struct MixRun {
    std::vector<float> a = leveltest::testSignal(kFrames);
    std::vector<float> b = leveltest::testSignal(kFrames, -0.7f);
    std::vector<float> out;

    void run(int curve, int scale, const std::vector<float>& position, bool streamingPosition,
             const std::vector<uint8_t>* custom = nullptr) {
        DspModule m("TamMix");
        m.setAudioInput(MixA, a);
        m.setStreaming(MixA, true);
        m.setAudioInput(MixB, b);
        m.setStreaming(MixB, true);
        m.setAudioInput(MixPosition, position);
        m.setStreaming(MixPosition, streamingPosition);
        m.setInt(MixScale, scale);
        m.setInt(MixCurve, curve);
        if (custom != nullptr) {
            m.setBool(MixCustomOn, true);
            m.setBlob(MixCustom, *custom);
        }
        m.run(kFrames, 64);
        out = m.output(MixOut);
    }
};

void expectPan(const PanRun& r, int i, float g1, float g2, const std::string& what) {
    const float e1 = r.signal[i] * g1, e2 = r.signal[i] * g2;
    ASSERT_NEAR(r.out1[i], e1, leveltest::tolerance(e1, 4e-6)) << what << " sample " << i;
    ASSERT_NEAR(r.out2[i], e2, leveltest::tolerance(e2, 4e-6)) << what << " sample " << i;
}

void expectMix(const MixRun& r, int i, float g1, float g2, const std::string& what) {
    const float e = r.a[i] * g1 + r.b[i] * g2;
    ASSERT_NEAR(r.out[i], e, 4e-6 * (std::fabs(r.a[i] * g1) + std::fabs(r.b[i] * g2)) + 1e-9) << what << " sample " << i;
}

TEST(LevelPanMix, SteadyPositionGains) {
    for (const auto& c : leveltest::refs()["pan_fixed"]) {
        const std::string what = c.dump();
        const std::vector<float> position{c["position"].get<float>()};
        const float g1 = c["gain1"], g2 = c["gain2"];
        PanRun pan;
        pan.run(c["curve"], c["scale"], position, false);
        MixRun mix;
        mix.run(c["curve"], c["scale"], position, false);
        for (int i = 0; i < kFrames; ++i) {
            expectPan(pan, i, g1, g2, "pan " + what);
            expectMix(mix, i, g1, g2, "mix " + what);
        }
    }
}

TEST(LevelPanMix, StreamingPositionGainsPerSample) {
    const auto& refs = leveltest::refs();
    const auto pattern = leveltest::floats(refs["pan_positions"]);
    const auto position = leveltest::repeated(pattern, kFrames);
    for (const auto& c : refs["pan_streaming"]) {
        const std::string what = "curve " + c["curve"].dump() + " scale " + c["scale"].dump();
        PanRun pan;
        pan.run(c["curve"], c["scale"], position, true);
        MixRun mix;
        mix.run(c["curve"], c["scale"], position, true);
        const auto& gains = c["gains"];
        for (int i = 0; i < kFrames; ++i) {
            const auto& g = gains[i % pattern.size()];
            expectPan(pan, i, g[0], g[1], "pan " + what);
            expectMix(mix, i, g[0], g[1], "mix " + what);
        }
    }
}

TEST(LevelPanMix, CustomCurves) {
    const auto& refs = leveltest::refs();
    const auto blob = leveltest::readBytes("custom_pan.crve");
    for (const auto& c : refs["pan_custom_fixed"]) {
        const std::vector<float> position{c["position"].get<float>()};
        PanRun pan;
        pan.run(0, c["scale"], position, false, &blob);
        MixRun mix;
        mix.run(0, c["scale"], position, false, &blob);
        for (int i = 0; i < kFrames; ++i) {
            expectPan(pan, i, c["gains"][0], c["gains"][1], "pan " + c.dump());
            expectMix(mix, i, c["gains"][0], c["gains"][1], "mix " + c.dump());
        }
    }
    const auto pattern = leveltest::floats(refs["pan_positions"]);
    PanRun pan;
    pan.run(1, 0, leveltest::repeated(pattern, kFrames), true, &blob);
    for (int i = 0; i < kFrames; ++i) {
        const auto& g = refs["pan_streaming_custom"][i % pattern.size()];
        expectPan(pan, i, g[0], g[1], "custom streaming");
    }
}

TEST(LevelPanMix, BadCurvesAreSilentAndNothingStrays) {
    const auto pattern = leveltest::floats(leveltest::refs()["pan_positions"]);
    for (const auto& bytes : leveltest::badCurveBlobs()) {
        for (bool streamingPosition : {false, true}) {
            const auto position = leveltest::repeated(pattern, kFrames);
            PanRun pan;
            pan.run(2, 0, position, streamingPosition, &bytes);
            MixRun mix;
            mix.run(2, 0, position, streamingPosition, &bytes);
            for (int i = 0; i < kFrames; ++i) {
                ASSERT_EQ(pan.out1[i], 0.0f) << bytes.size() << " bytes";
                ASSERT_EQ(pan.out2[i], 0.0f) << bytes.size() << " bytes";
                ASSERT_EQ(mix.out[i], 0.0f) << bytes.size() << " bytes";
            }
        }
    }
    // NaN and infinite positions stay inside the tables and give finite gains.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    uint32_t payloadBits = 0x7fc0beefu;  // a NaN with payload bits set
    float payloadNan;
    std::memcpy(&payloadNan, &payloadBits, 4);
    const auto hostile = leveltest::repeated({nan, payloadNan, inf, -inf, 1e30f, -1e30f}, kFrames);
    for (int curve : {0, 1, 2}) {
        PanRun pan;
        pan.run(curve, 0, hostile, true);
        MixRun mix;
        mix.run(curve, 1, hostile, true);
        for (int i = 0; i < kFrames; ++i) {
            ASSERT_TRUE(std::isfinite(pan.out1[i]) && std::isfinite(pan.out2[i])) << curve << " " << i;
            ASSERT_TRUE(std::isfinite(mix.out[i])) << curve << " " << i;
        }
    }
}

TEST(LevelPanMix, StreamingFollowsTheSignalInputs) {
    // Pan: the signal alone decides; a streaming position does not keep it awake.
    {
        DspModule m("TamPan");
        m.setAudioInputConstant(PanSignal, 0.5f);
        m.setAudioInput(PanPosition, leveltest::testSignal(kFrames));
        m.setStreaming(PanPosition, true);
        m.run(kFrames, 64);
        EXPECT_TRUE(m.sleeping());
        EXPECT_EQ(m.sleepCalls(), 1);
        EXPECT_FALSE(m.streamingCalls(PanOut1).back().streaming);
        EXPECT_FALSE(m.streamingCalls(PanOut2).back().streaming);
    }
    // Mix: either input keeps it streaming; when both stop it sleeps.
    {
        DspModule m("TamMix");
        m.setAudioInput(MixA, leveltest::testSignal(kFrames));
        m.setStreaming(MixA, true);
        m.setStreaming(MixA, false, 100);
        m.setAudioInput(MixB, leveltest::testSignal(kFrames));
        m.setStreaming(MixB, true);
        m.setStreaming(MixB, false, 130);
        m.setAudioInputConstant(MixPosition, 0.0f);
        m.run(kFrames * 2, 64);
        const auto calls = m.streamingCalls(MixOut);
        EXPECT_FALSE(calls.back().streaming);
        EXPECT_EQ(calls.back().time, 130);
        EXPECT_EQ(m.sleepCalls(), 1);
    }
}

}  // namespace
