// The shared response tables and the CRVE curve blob, white-boxed.
#include <gtest/gtest.h>

#include "sound/tamBlobCurve.h"
#include "sound/tamPerimeterCurve.h"
#include "tests/sound/test_level_support.h"

using tam::PerimeterCurve;

namespace {

void expectTable(const char* name, PerimeterCurve::LookupTable& table) {
    const auto expected = leveltest::floats(leveltest::refs()["tables"][name]);
    ASSERT_EQ(expected.size(), 514u);
    ASSERT_TRUE(table.IsInitialized()) << name;
    ASSERT_EQ(table.GetSize(), PerimeterCurve::TableSize) << name;
    // Entries come from sums near 1 (the exponential table cancels to near
    // 0), so allow two units in the last place of 1.0 besides a relative one.
    for (int i = 0; i < 514; ++i)
        EXPECT_NEAR(table[i], expected[i], leveltest::tolerance(expected[i], 1e-6) + 2.4e-7) << name << " entry " << i;
}

TEST(LevelCurves, TablesMatchReferenceAndBuildOnce) {
    PerimeterCurve::BuildTableExp();
    PerimeterCurve::BuildTableDb();
    PerimeterCurve::BuildTableDbAdj();
    PerimeterCurve::BuildTableSqr();
    PerimeterCurve::BuildTableSin();
    expectTable("exp", PerimeterCurve::LookupTableExp);
    expectTable("db", PerimeterCurve::LookupTableDb);
    expectTable("dbadj", PerimeterCurve::LookupTableDbAdj);
    expectTable("sqr", PerimeterCurve::LookupTableSqr);
    expectTable("sin", PerimeterCurve::LookupTableSin);

    // A second build neither moves nor rewrites a table.
    float* before = PerimeterCurve::LookupTableDb.GetData();
    PerimeterCurve::LookupTableDb[5] = 123.0f;
    PerimeterCurve::BuildTableDb();
    EXPECT_EQ(PerimeterCurve::LookupTableDb.GetData(), before);
    EXPECT_EQ(PerimeterCurve::LookupTableDb[5], 123.0f);
    PerimeterCurve::LookupTableDb[5] = leveltest::floats(leveltest::refs()["tables"]["db"])[5];
}

TEST(LevelCurves, BlobLayoutMatchesIndependentWriter) {
    const auto values = leveltest::floats(leveltest::refs()["custom_pan"]);
    const auto expected = leveltest::readBytes("custom_pan.crve");
    const MpBlob blob = BlobCurve::Create(values.data(), static_cast<int>(values.size()));
    ASSERT_EQ(blob.getSize(), static_cast<int>(expected.size()));
    EXPECT_EQ(0, std::memcmp(blob.getData(), expected.data(), expected.size()));

    tam::Buffer<float> source(3, 1);
    source[0] = 0.25f;
    source[1] = -1.0f;
    source[2] = 4.0f;
    tam::ByteBuffer written;
    BlobCurve::Write(written, &source);
    tam::Buffer<float> back;
    ASSERT_TRUE(BlobCurve::Read(written, &back));
    ASSERT_EQ(back.GetSize(), 3);
    EXPECT_EQ(back[0], 0.25f);
    EXPECT_EQ(back[1], -1.0f);
    EXPECT_EQ(back[2], 4.0f);

    // An empty curve is a valid blob of 12 bytes that reads back empty.
    const MpBlob empty = BlobCurve::Create(nullptr, 5);
    EXPECT_EQ(empty.getSize(), 12);
    tam::Buffer<float> none(4, 1);
    EXPECT_TRUE(BlobCurve::Read(empty, &none));
    EXPECT_EQ(none.GetSize(), 0);
}

TEST(LevelCurves, HostileBlobsReadSafely) {
    // Read fails and keeps the old curve, except for an empty count, which
    // reads as an empty curve.
    for (const auto& bytes : leveltest::badCurveBlobs()) {
        tam::Buffer<float> values(2, 1);
        values[0] = 7.0f;
        values[1] = 8.0f;
        const MpBlob blob(static_cast<int32_t>(bytes.size()), bytes.data());
        const bool ok = BlobCurve::Read(blob, &values);
        if (ok) {
            EXPECT_EQ(values.GetSize(), 0) << "blob of " << bytes.size() << " bytes";
        } else {
            ASSERT_EQ(values.GetSize(), 2);
            EXPECT_EQ(values[1], 8.0f);
        }
    }
    // A count that exactly fits is accepted; one more is not.
    auto fits = leveltest::curveBlob("CRVE", 8, 2, {0.5f, 0.75f});
    tam::Buffer<float> values;
    EXPECT_TRUE(BlobCurve::Read(MpBlob(static_cast<int32_t>(fits.size()), fits.data()), &values));
    EXPECT_EQ(values.GetSize(), 2);
    auto over = leveltest::curveBlob("CRVE", 8, 3, {0.5f, 0.75f});
    EXPECT_FALSE(BlobCurve::Read(MpBlob(static_cast<int32_t>(over.size()), over.data()), &values));
}

}  // namespace
