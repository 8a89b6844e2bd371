// tam::Color and the named-colour table against independent references.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/tamColor.h"

namespace {

std::vector<std::vector<std::string>> ReadTable(const std::string& name) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/foundation/color/" + name);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream stream(line);
        std::string field;
        while (std::getline(stream, field, '\t')) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

uint32_t Hex(const std::string& text) { return static_cast<uint32_t>(std::stoul(text, nullptr, 16)); }

TEST(ColorTableTest, NamedColoursAreTheCssKeywords) {
    const auto rows = ReadTable("named_colors.tsv");
    ASSERT_EQ(rows.size(), 142u);
    tam::ColorTag::Database table;
    EXPECT_EQ(table.IndexOf(tam::String("Red")), -1) << "empty before Load";
    EXPECT_EQ(table.IndexOf(0xFFFF0000ul), -1);
    table.Load();
    table.Load();  // only fills an empty table
    ASSERT_EQ(table.GetCount(), 142);
    for (const auto& row : rows) {
        const int index = std::stoi(row[0]);
        const auto* entry = table.GetEntry(index);
        ASSERT_NE(entry, nullptr);
        EXPECT_STREQ(entry->name, row[1].c_str());
        EXPECT_EQ(entry->word, Hex(row[2])) << row[1];
        EXPECT_EQ(table.IndexOf(tam::String(row[1].c_str()).ToLowerCase()), index);
    }
    EXPECT_EQ(table.GetEntry(142), nullptr);
    EXPECT_EQ(table.GetEntry(-1), nullptr);
}

TEST(ColorTableTest, LookupsByNameAndWord) {
    tam::ColorTag::Database table;
    table.Load();
    EXPECT_EQ(table.IndexOf(tam::String("aliceblue")), 0);
    EXPECT_EQ(table.IndexOf(tam::String("YELLOWGREEN")), 141);
    EXPECT_EQ(table.IndexOf(tam::String("Chartreux")), -1);
    EXPECT_EQ(table.IndexOf(tam::String("")), -1);
    // Shared words find the earlier name.
    EXPECT_EQ(table.IndexOf(0xFF00FFFFul), table.IndexOf(tam::String("Aqua")));
    EXPECT_EQ(table.IndexOf(0xFFFF00FFul), table.IndexOf(tam::String("Fuchsia")));
    EXPECT_EQ(table.IndexOf(0x00FFFFFFul), table.IndexOf(tam::String("TransparentWhite")));
    EXPECT_EQ(table.IndexOf(0x12345678ul), -1);

    tam::Color color;
    color = tam::ColorTag::TransparentWhite;
    EXPECT_TRUE(color.IsTransparent());
    EXPECT_FALSE(color.IsOpaque());
    color = tam::ColorTag::White;
    EXPECT_TRUE(color.IsOpaque());
    EXPECT_EQ(color, tam::Color(0xFFFFFFFFul));
    EXPECT_EQ(tam::Color(tam::ColorTag::Crimson).GetARGB(), 0xFFDC143Cu);
}

TEST(ColorTest, ByteConstructorsPutAlphaLast) {
    const tam::Color argb(static_cast<unsigned char>(1), 2, 3, static_cast<unsigned char>(4));
    EXPECT_EQ(argb.GetARGB(), 0x04010203u);
    EXPECT_EQ(tam::Color::CreateFromARGB(4, 1, 2, 3), argb);
    EXPECT_EQ(tam::Color::CreateFromRGB(0x12, 0x34, 0x56).GetARGB(), 0xFF123456u);
    tam::Color set;
    set.SetARGB(0x80, 0x10, 0x20, 0x30);
    EXPECT_EQ(set.WithGreen(static_cast<unsigned char>(0xBB)).GetARGB(), 0x8010BB30u);
    EXPECT_EQ(set.GetARGB(), 0x80102030u) << "With... works on a copy";
}

TEST(ColorTest, FloatChannelsSaturateThroughTheRoundingStep) {
    // The step's upper word is far above 255 for every ordinary value, so the
    // limit makes each float channel 255; only a huge negative value gives 0.
    for (float v : {0.0f, 0.25f, 1.0f, -0.001f, 7.5f, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(tam::Color::FloatToByte(v), 255) << v;
    EXPECT_EQ(tam::Color::FloatToByte(-1e30f), 0);
    EXPECT_EQ(tam::Color::CreateGreyLevel(0.0f).GetARGB(), 0xFFFFFFFFu);
    EXPECT_EQ(tam::Color::CreateFromARGBFloat(0.0f, 0.1f, 0.2f, 0.3f).GetARGB(), 0xFFFFFFFFu);
    const tam::Color half(static_cast<unsigned char>(1), 2, 3, 0.5f);
    EXPECT_EQ(half.GetARGB(), 0xFF010203u);
    tam::Color channels(0x00000000ul);
    channels.SetRed(0.0f);
    EXPECT_EQ(channels.GetARGB(), 0x00FF0000u);
    channels.SetGreen(0.0f);
    channels.SetBlue(0.0f);
    channels.SetAlpha(0.0f);
    EXPECT_EQ(channels.GetARGB(), 0xFFFFFFFFu);
    EXPECT_EQ(tam::Color(0x00000000ul).WithAlpha(0.3f).GetARGB(), 0xFF000000u);
    EXPECT_EQ(tam::Color(0x10203040ul).WithMultipliedAlpha(0.0f).GetARGB(), 0xFF203040u);
    for (double nanometres : {300.0, 380.0, 440.0, 555.0, 700.0, 780.0, 900.0})
        EXPECT_EQ(tam::Color::CreateFromWaveLength(nanometres, 0.8).GetARGB(), 0xFFFFFFFFu) << nanometres;
}

TEST(ColorTest, HueSaturationBrightnessToBytesMatchesColorsys) {
    const auto rows = ReadTable("hsb_to_rgb.tsv");
    ASSERT_GT(rows.size(), 300u);
    for (const auto& row : rows) {
        const float h = std::stof(row[0]), s = std::stof(row[1]), b = std::stof(row[2]);
        unsigned char red, green, blue;
        TamHSBtoRGB(h, s, b, red, green, blue);
        SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
        EXPECT_NEAR(red, std::stoi(row[3]), 1);
        EXPECT_NEAR(green, std::stoi(row[4]), 1);
        EXPECT_NEAR(blue, std::stoi(row[5]), 1);
        const tam::Color color(h, s, b, static_cast<unsigned char>(0x40));
        EXPECT_EQ(color.GetAlpha(), 0x40);
        EXPECT_EQ(color.GetRed(), red);
        EXPECT_EQ(tam::Color::CreateFromHSB(0.5f, h, s, b).GetAlpha(), 255);
    }
}

TEST(ColorTest, HueSaturationBrightnessEdges) {
    unsigned char r = 1, g = 1, b = 1;
    TamHSBtoRGB(0.3f, 0.0f, 0.5f, r, g, b);  // grey: all three are V
    EXPECT_EQ(r, 128);
    EXPECT_EQ(g, 128);
    EXPECT_EQ(b, 128);
    TamHSBtoRGB(std::numeric_limits<float>::quiet_NaN(), 1.0f, 1.0f, r, g, b);
    EXPECT_EQ(r + g + b, 0) << "no sector holds for NaN";
    TamHSBtoRGB(0.5f, std::numeric_limits<float>::quiet_NaN(), 1.0f, r, g, b);  // not a grey: no crash
    TamHSBtoRGB(std::numeric_limits<float>::infinity(), 1.0f, 1.0f, r, g, b);
    // Brightness beyond 1 wraps in the low byte (no limit there): 2 * 255 = 510.
    TamHSBtoRGB(0.0f, 0.0f, 2.0f, r, g, b);
    EXPECT_EQ(r, 510 & 0xFF);
}

TEST(ColorTest, BytesToHueSaturationBrightnessMatchesColorsys) {
    const auto rows = ReadTable("rgb_to_hsb.tsv");
    ASSERT_GT(rows.size(), 200u);
    for (const auto& row : rows) {
        const tam::Color color(static_cast<unsigned char>(std::stoi(row[0])),
                               static_cast<unsigned char>(std::stoi(row[1])),
                               static_cast<unsigned char>(std::stoi(row[2])));
        float h, s, b;
        color.GetHSB(h, s, b);
        SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
        EXPECT_NEAR(h, std::stof(row[3]), 2e-6);
        EXPECT_NEAR(s, std::stof(row[4]), 2e-6);
        EXPECT_NEAR(b, std::stof(row[5]), 2e-6);
        EXPECT_FLOAT_EQ(color.GetHue(), h);
        EXPECT_FLOAT_EQ(color.GetSaturation(), s);
        EXPECT_FLOAT_EQ(color.GetBrightness(), b);
        // Round trip through the HSB constructor comes back within one step.
        const tam::Color back(h, s, b, static_cast<unsigned char>(255));
        EXPECT_NEAR(back.GetRed(), color.GetRed(), 1);
        EXPECT_NEAR(back.GetGreen(), color.GetGreen(), 1);
        EXPECT_NEAR(back.GetBlue(), color.GetBlue(), 1);
    }
}

TEST(ColorTest, HsbCopies) {
    const tam::Color red(static_cast<unsigned char>(255), 0, 0, static_cast<unsigned char>(0x80));
    EXPECT_EQ(red.WithHue(1.0f / 3.0f).GetARGB(), 0x8000FF00u);
    EXPECT_EQ(red.WithRotatedHue(2.0f / 3.0f).GetARGB(), 0x800000FFu);
    EXPECT_EQ(red.WithRotatedHue(-1.0f / 3.0f).GetARGB(), 0x800000FFu) << "hue wraps below 0";
    EXPECT_EQ(red.WithSaturation(0.0f).GetARGB(), 0x80FFFFFFu);
    EXPECT_EQ(red.WithBrightness(0.0f).GetARGB(), 0x80000000u);
    EXPECT_EQ(red.WithMultipliedBrightness(4.0f).GetARGB(), red.GetARGB()) << "limited to 1";
    EXPECT_EQ(red.WithMultipliedBrightness(0.5f).GetARGB(), 0x80800000u);
    const tam::Color pale(static_cast<unsigned char>(255), 128, 128);
    EXPECT_EQ(pale.WithMultipliedSaturation(10.0f).GetARGB(), 0xFFFF0000u);
    float h, s, b;
    tam::Color(static_cast<unsigned char>(77), 77, 77).GetHSB(h, s, b);
    EXPECT_EQ(h, 0.0f);
    EXPECT_EQ(s, 0.0f);
    EXPECT_FLOAT_EQ(b, 77 * 0.003921569f);
    tam::Color(0xFF000000ul).GetHSB(h, s, b);
    EXPECT_EQ(h + s + b, 0.0f);
}

TEST(ColorTest, BlendMatchesPremultipliedOver) {
    const auto rows = ReadTable("blend.tsv");
    ASSERT_GT(rows.size(), 700u);
    for (const auto& row : rows) {
        tam::Color destination(static_cast<unsigned long>(Hex(row[0])));
        const tam::Color source(static_cast<unsigned long>(Hex(row[1])));
        EXPECT_EQ(destination.WithBlend(source).GetARGB(), Hex(row[2])) << row[0] << " " << row[1];
        destination.Blend(source);
        EXPECT_EQ(destination.GetARGB(), Hex(row[2]));
    }
}

TEST(ColorTest, BrightenAndDarkenTruncate) {
    const auto rows = ReadTable("lighten.tsv");
    ASSERT_GT(rows.size(), 100u);
    for (const auto& row : rows) {
        const tam::Color color(static_cast<unsigned long>(Hex(row[0])));
        const float amount = std::stof(row[1]);
        EXPECT_EQ(color.WithBrighten(amount).GetARGB(), Hex(row[2])) << row[0] << " " << row[1];
        EXPECT_EQ(color.WithDarken(amount).GetARGB(), Hex(row[3])) << row[0] << " " << row[1];
        tam::Color inPlace = color;
        inPlace.Brighten(amount);
        EXPECT_EQ(inPlace.GetARGB(), Hex(row[2]));
        inPlace = color;
        inPlace.Darken(amount);
        EXPECT_EQ(inPlace.GetARGB(), Hex(row[3]));
    }
    // An amount of -1 divides by zero: the result is defined, not a crash.
    tam::Color odd(0xFF8040C0ul);
    odd.Brighten(-1.0f);
    odd.Darken(-1.0f);
    odd.Darken(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(odd.GetAlpha(), 0xFF);
}

}  // namespace
