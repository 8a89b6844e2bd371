// Curve blobs from TamCurveMode and TamCurveGen through the GUI side of the
// reference host, entry by entry against the shared tables and against
// values worked out offline; tam::DeltaGen lines; tam::ADSR stepping.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "sound/tamADSR.h"
#include "sound/tamDeltaGen.h"
#include "sound/tamPerimeterCurve.h"
#include "tamhost/GuiHost.h"
#include "tests/sound/test_env_support.h"

using tam::PerimeterCurve;
using tamhost::GuiModule;

namespace {

std::vector<float> decodeCurve(const std::vector<uint8_t>& bytes) {
    EXPECT_GE(bytes.size(), 12u);
    if (bytes.size() < 12) return {};
    EXPECT_EQ(std::memcmp(bytes.data(), "CRVE", 4), 0);
    int32_t version = 0, count = 0;
    std::memcpy(&version, bytes.data() + 4, 4);
    std::memcpy(&count, bytes.data() + 8, 4);
    EXPECT_EQ(version, 8);
    EXPECT_EQ(bytes.size(), 12u + 4u * static_cast<size_t>(count));
    std::vector<float> values(static_cast<size_t>(count));
    std::memcpy(values.data(), bytes.data() + 12, values.size() * 4);
    return values;
}

// The shared table a curve number stands for; none (a straight line) for 0.
const float* sharedTable(int curve) {
    PerimeterCurve::BuildTableExp();
    PerimeterCurve::BuildTableDb();
    PerimeterCurve::BuildTableDbAdj();
    PerimeterCurve::BuildTableSin();
    PerimeterCurve::BuildTableSqr();
    const float* tables[] = {nullptr, PerimeterCurve::LookupTableExp.GetData(), PerimeterCurve::LookupTableDb.GetData(),
                             PerimeterCurve::LookupTableDbAdj.GetData(), PerimeterCurve::LookupTableSin.GetData(),
                             PerimeterCurve::LookupTableSqr.GetData()};
    return tables[curve];
}

void expectCurve(const std::vector<float>& values, int curve, const std::string& what) {
    ASSERT_EQ(values.size(), 512u) << what;
    const auto& offline = envtest::refs()["curves"][curve];
    const float* table = sharedTable(curve);
    for (size_t i = 0; i < 512; ++i) {
        if (table != nullptr)
            ASSERT_EQ(values[i], table[i]) << what << " entry " << i;
        else
            ASSERT_EQ(values[i], static_cast<float>(i) / 512.0f) << what << " entry " << i;
        const double e = offline[i];
        ASSERT_NEAR(values[i], e, 1e-6 + 2e-6 * std::fabs(e)) << what << " entry " << i;
    }
}

TEST(CurveBlobs, CurveModeMatchesTheTablesEntryByEntry) {
    GuiModule m("TamCurveMode");
    // The number limits to 0 .. 5; a change always rebuilds.
    const std::pair<int, int> cases[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {0, 0}, {9, 5}, {-1, 0}};
    for (const auto& [number, curve] : cases) {
        m.clearTransmissions();
        ASSERT_EQ(m.setInt(0, number), MP_OK);
        const auto sent = m.lastTransmission(1);
        ASSERT_TRUE(sent.has_value()) << number;
        expectCurve(decodeCurve(sent->data), curve, "curve " + std::to_string(number));
    }
    // Another number for the same curve builds an equal blob: nothing is sent.
    m.clearTransmissions();
    m.setInt(0, -7);
    EXPECT_TRUE(m.transmissionsForPin(1).empty());
}

TEST(CurveBlobs, CurveGenBuildsWhenAutomaticOrTriggered) {
    tamhost::GuiOptions options;
    options.sendDefaults = false;
    GuiModule m("TamCurveGen", 1, options);
    m.setInt(0, 2);
    EXPECT_TRUE(m.transmissionsForPin(1).empty());  // automatic is off
    m.setBool(3, true);                             // trigger
    auto sent = m.lastTransmission(1);
    ASSERT_TRUE(sent.has_value());
    expectCurve(decodeCurve(sent->data), 2, "triggered");
    m.setBool(3, false);
    m.clearTransmissions();
    m.setBool(2, true);  // automatic builds at once ...
    m.setInt(0, 4);      // ... and on each change
    sent = m.lastTransmission(1);
    ASSERT_TRUE(sent.has_value());
    expectCurve(decodeCurve(sent->data), 4, "automatic");
    // An unchanged curve is not sent again.
    m.clearTransmissions();
    m.setInt(0, 4);
    EXPECT_TRUE(m.transmissionsForPin(1).empty());
}

struct Collect : tam::DeltaGen::OnDeltaGenListener {
    std::vector<std::pair<int, int>> points;
    void OnDeltaGen(int x, int y) override { points.emplace_back(x, y); }
};

TEST(CurveDeltaGen, LinesVisitEveryStepBothEndsIncluded) {
    tam::DeltaGen gen;
    Collect none;
    EXPECT_FALSE(gen.PreformGen(3, 4, 3, 4, &none));
    EXPECT_TRUE(none.points.empty());
    Collect pair;
    EXPECT_TRUE(gen.PreformGen(3, 4, 4, 5, &pair));
    EXPECT_EQ(pair.points, (std::vector<std::pair<int, int>>{{3, 4}, {4, 5}}));

    const int ends[][4] = {{0, 0, 10, 3},  {0, 0, 3, 10},  {10, 3, 0, 0}, {5, -7, -20, 4},
                           {-3, 9, 12, 9}, {7, 30, 7, -2}, {0, 0, 9, 9},  {2, 1, -6, -60}};
    for (const auto& e : ends) {
        Collect c;
        ASSERT_TRUE(gen.PreformGen(e[0], e[1], e[2], e[3], &c));
        const std::string what = std::to_string(e[0]) + "," + std::to_string(e[1]) + " -> " +
                                 std::to_string(e[2]) + "," + std::to_string(e[3]);
        const int dx = std::abs(e[2] - e[0]), dy = std::abs(e[3] - e[1]);
        ASSERT_EQ(c.points.size(), static_cast<size_t>(std::max(dx, dy) + 1)) << what;
        EXPECT_EQ(c.points.front(), std::make_pair(e[0], e[1])) << what;
        EXPECT_EQ(c.points.back(), std::make_pair(e[2], e[3])) << what;
        for (size_t i = 1; i < c.points.size(); ++i) {
            ASSERT_LE(std::abs(c.points[i].first - c.points[i - 1].first), 1) << what;
            ASSERT_LE(std::abs(c.points[i].second - c.points[i - 1].second), 1) << what;
        }
        // No point strays more than half a step from the ideal line.
        const double len = std::hypot(e[2] - e[0], e[3] - e[1]);
        for (const auto& [x, y] : c.points) {
            const double distance = std::fabs((e[3] - e[1]) * (x - e[0]) - (e[2] - e[0]) * (y - e[1])) / len;
            ASSERT_LE(distance, 0.5 * std::max(dx, dy) / len * std::hypot(1.0, 1.0) + 1e-9) << what;
        }
    }
    // A line across the whole int range neither overflows nor stalls: its
    // first steps hug the diagonal.
    ASSERT_TRUE(gen.Start(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX));
    for (int i = 0; i < 1000; ++i) ASSERT_TRUE(gen.Gen());
    EXPECT_EQ(gen.GetX(), INT32_MIN + 1000);
    EXPECT_EQ(gen.GetY(), INT32_MIN + 1000);
    EXPECT_FALSE(gen.PreformGen(1, 1, 1, 1, nullptr));
    EXPECT_TRUE(gen.PreformGen(0, 0, 5, 2, nullptr));
}

// Steps `adsr` while it stays in `stage`; returns the count.
int stepsInStage(tam::ADSR& adsr, int stage, float& e) {
    int steps = 0;
    for (; adsr.stage == stage && steps < 100000; ++steps) e = adsr.Step(e);
    return steps;
}

TEST(CurveAdsr, StepsThroughEveryStageAndJumpsOnZeroLength) {
    tam::ADSR adsr;
    // A length of 0 or less is a jump.
    adsr.SetAttack(0.5f, 0.0f);
    adsr.SetDecay(0.5f, 0.0f);
    EXPECT_EQ(adsr.attackMultiplier, 0.0f);
    adsr.stage = 1;
    EXPECT_EQ(adsr.Step(0.0f), 1.0f);
    EXPECT_EQ(adsr.stage, 2);
    EXPECT_EQ(adsr.Step(1.0f), 1.0f);  // sustain 1.0: decay ends at once
    EXPECT_EQ(adsr.stage, 3);

    // At 128 points a second, the time law's lengths from the table.
    const auto& table = envtest::refs()["table_exp"];
    adsr = tam::ADSR();
    adsr.sustain = 0.4f;
    adsr.SetAttack(0.5f, 128.0f);
    adsr.SetDecay(0.25f, 128.0f);
    adsr.SetRelease(1.0f, 128.0f);
    EXPECT_NEAR(adsr.attackLength, (table[256].get<double>() * 9.998 + 0.002) * 128.0,
                1e-3);  // 255.5 rounds to even
    EXPECT_NEAR(adsr.decayLength, (table[128].get<double>() * 9.998 + 0.002) * 128.0, 1e-3);  // 127.75
    EXPECT_NEAR(adsr.releaseLength, (table[511].get<double>() * 9.998 + 0.002) * 128.0, 1e-3);
    adsr.stage = 1;
    float e = 0.0f;
    const int attack = stepsInStage(adsr, 1, e);
    EXPECT_NEAR(attack, std::ceil(adsr.attackLength), 1.0);
    const int decay = stepsInStage(adsr, 2, e);
    EXPECT_EQ(e, 0.4f);
    // Closed forms of the one-pole stages: the decay meets the sustain level
    // where m^n = r / (1 - s + r), the release meets 0 where m^n = r / (s + r).
    const double r = adsr.targetRatioDR;
    const double perStep = std::log((1.0 + r) / r);
    EXPECT_NEAR(decay, std::ceil(adsr.decayLength * std::log((1.0 - 0.4 + r) / r) / perStep), 1.0);
    adsr.stage = 4;
    const int release = stepsInStage(adsr, 4, e);
    EXPECT_EQ(e, 0.0f);
    EXPECT_EQ(adsr.stage, 0);
    EXPECT_NEAR(release, std::ceil(adsr.releaseLength * std::log((0.4 + r) / r) / perStep), 1.0);
    // A new ratio rebuilds the multipliers from the stored lengths; NaN is
    // taken as a tiny ratio.
    const float before = adsr.releaseMultiplier;
    adsr.SetTargetRatioDR(2.0f);
    EXPECT_NE(adsr.releaseMultiplier, before);
    adsr.SetTargetRatioDR(std::nanf(""));
    EXPECT_FLOAT_EQ(adsr.targetRatioDR, 1e-9f);
}

}  // namespace
