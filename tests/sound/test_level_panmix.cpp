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

// A pan of one signal and a mix of two (out = A * gain1 + B * gain2), run
// with the same curve and position, steady or per sample.
struct PanMix {
    std::vector<float> a = leveltest::testSignal(kFrames), b = leveltest::testSignal(kFrames, -0.7f);
    std::vector<float> out1, out2, mix;

    PanMix(int curve, int scale, const std::vector<float>& position, bool streamingPosition,
           const std::vector<uint8_t>* custom = nullptr, int mixScale = -1) {
        DspModule pan("TamPan"), m("TamMix");
        const struct {
            DspModule& module;
            int position, scale, curve, customOn, custom;
        } both[] = {{pan, PanPosition, PanScale, PanCurve, PanCustomOn, PanCustom},
                    {m, MixPosition, MixScale, MixCurve, MixCustomOn, MixCustom}};
        for (const auto& x : both) {
            x.module.setAudioInput(x.position, position);
            x.module.setStreaming(x.position, streamingPosition);
            x.module.setInt(x.scale, &x.module == &m && mixScale >= 0 ? mixScale : scale);
            x.module.setInt(x.curve, curve);
            if (custom != nullptr) {
                x.module.setBool(x.customOn, true);
                x.module.setBlob(x.custom, *custom);
            }
        }
        leveltest::feed(pan, PanSignal, a);
        leveltest::feed(m, MixA, a);
        leveltest::feed(m, MixB, b);
        pan.run(kFrames, 64);
        m.run(kFrames, 64);
        out1 = pan.output(PanOut1);
        out2 = pan.output(PanOut2);
        mix = m.output(MixOut);
    }

    void expect(int i, float g1, float g2, const std::string& what, bool withMix = true) const {
        const float e1 = a[i] * g1, e2 = a[i] * g2;
        ASSERT_NEAR(out1[i], e1, leveltest::tolerance(e1, 4e-6)) << "pan " << what << " sample " << i;
        ASSERT_NEAR(out2[i], e2, leveltest::tolerance(e2, 4e-6)) << "pan " << what << " sample " << i;
        if (!withMix) return;
        const float e = a[i] * g1 + b[i] * g2;
        ASSERT_NEAR(mix[i], e, 4e-6 * (std::fabs(a[i] * g1) + std::fabs(b[i] * g2)) + 1e-9)
            << "mix " << what << " sample " << i;
    }
};

TEST(LevelPanMix, SteadyPositionGains) {
    const auto& refs = leveltest::refs();
    const auto blob = leveltest::readBytes("custom_pan.crve");
    for (const auto& c : refs["pan_fixed"]) {
        const PanMix r(c["curve"], c["scale"], {c["position"].get<float>()}, false);
        for (int i = 0; i < kFrames; ++i) r.expect(i, c["gain1"], c["gain2"], c.dump());
    }
    for (const auto& c : refs["pan_custom_fixed"]) {
        const PanMix r(0, c["scale"], {c["position"].get<float>()}, false, &blob);
        for (int i = 0; i < kFrames; ++i) r.expect(i, c["gains"][0], c["gains"][1], "custom " + c.dump());
    }
}

TEST(LevelPanMix, StreamingPositionGainsPerSample) {
    const auto& refs = leveltest::refs();
    const auto pattern = leveltest::floats(refs["pan_positions"]);
    const auto position = leveltest::repeated(pattern, kFrames);
    for (const auto& c : refs["pan_streaming"]) {
        const PanMix r(c["curve"], c["scale"], position, true);
        for (int i = 0; i < kFrames; ++i) {
            const auto& g = c["gains"][i % pattern.size()];
            r.expect(i, g[0], g[1], "curve " + c["curve"].dump() + " scale " + c["scale"].dump());
        }
    }
    const auto blob = leveltest::readBytes("custom_pan.crve");
    const PanMix r(1, 0, position, true, &blob);
    for (int i = 0; i < kFrames; ++i) {
        const auto& g = refs["pan_streaming_custom"][i % pattern.size()];
        r.expect(i, g[0], g[1], "custom streaming", false);
    }
}

TEST(LevelPanMix, BadCurvesAreSilentAndNothingStrays) {
    const auto position = leveltest::repeated(leveltest::floats(leveltest::refs()["pan_positions"]), kFrames);
    for (const auto& bytes : leveltest::badCurveBlobs()) {
        for (bool streamingPosition : {false, true}) {
            const PanMix r(2, 0, position, streamingPosition, &bytes);
            for (int i = 0; i < kFrames; ++i) {
                ASSERT_EQ(r.out1[i], 0.0f) << bytes.size() << " bytes";
                ASSERT_EQ(r.out2[i], 0.0f) << bytes.size() << " bytes";
                ASSERT_EQ(r.mix[i], 0.0f) << bytes.size() << " bytes";
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
        const PanMix r(curve, 0, hostile, true, nullptr, 1);
        for (int i = 0; i < kFrames; ++i)
            ASSERT_TRUE(std::isfinite(r.out1[i]) && std::isfinite(r.out2[i]) && std::isfinite(r.mix[i])) << curve << " " << i;
    }
}

TEST(LevelPanMix, StreamingFollowsTheSignalInputs) {
    // Pan: the signal alone decides; a streaming position does not keep it awake.
    {
        DspModule m("TamPan");
        m.setAudioInputConstant(PanSignal, 0.5f);
        leveltest::feed(m, PanPosition, leveltest::testSignal(kFrames));
        m.run(kFrames, 64);
        EXPECT_TRUE(m.sleeping());
        EXPECT_EQ(m.sleepCalls(), 1);
        EXPECT_FALSE(m.streamingCalls(PanOut1).back().streaming);
        EXPECT_FALSE(m.streamingCalls(PanOut2).back().streaming);
    }
    // Mix: either input keeps it streaming; when both stop it sleeps.
    {
        DspModule m("TamMix");
        leveltest::feed(m, MixA, leveltest::testSignal(kFrames));
        m.setStreaming(MixA, false, 100);
        leveltest::feed(m, MixB, leveltest::testSignal(kFrames));
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
