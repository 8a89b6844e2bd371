// The image background and vector shape controls, made through the pack's
// factory and driven by the reference host: layout, drawing (pixel probes
// with antialiasing off), the pointer, the context menu and the image cache.
#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "tamhost/GraphicsHost.h"

namespace {

using tamhost::GraphicModule;
using tamhost::GraphicOptions;

std::string dataDir() { return std::string(TAM_TEST_DATA_DIR) + "/graphics"; }

GraphicOptions crisp() {
    GraphicOptions options;
    options.draw.antialias = false;
    options.baseFolder = dataDir();
    return options;
}

std::vector<std::string> readMask(const std::string& name) {
    std::ifstream file(dataDir() + "/" + name);
    std::vector<std::string> rows;
    for (std::string row; std::getline(file, row);) rows.push_back(row);
    return rows;
}

// Pixels where the picture's coverage differs from the reference mask
// (pixels on the edge, marked "?", may go either way).
int maskMismatches(const tamhost::Image& picture, const std::vector<std::string>& mask) {
    int mismatches = 0;
    for (int y = 0; y < static_cast<int>(mask.size()); ++y) {
        for (int x = 0; x < static_cast<int>(mask[y].size()); ++x) {
            const bool covered = (picture.pixel(x, y) >> 24) != 0;
            if (mask[y][x] != '?' && covered != (mask[y][x] == '1')) ++mismatches;
        }
    }
    return mismatches;
}

TEST(GraphicBase, MeasureAndArrange) {
    GraphicModule shape("TamVectorRectangle1", crisp());
    EXPECT_EQ(shape.measure({0.0f, 0.0f}).width, 1.0f);
    EXPECT_EQ(shape.measure({0.0f, 0.0f}).height, 1.0f);
    EXPECT_EQ(shape.measure({-5.0f, 70.0f}).height, 70.0f);
    const int before = shape.host().invalidateRectCalls;
    shape.arrange({10, 10, 50, 30});
    EXPECT_EQ(shape.host().invalidateRectCalls, before + 1);
    shape.arrange({10, 10, 50, 30});
    EXPECT_EQ(shape.host().invalidateRectCalls, before + 1);
    shape.arrange({10, 10, 50, 31});
    EXPECT_EQ(shape.host().invalidateRectCalls, before + 2);

    void* face = nullptr;
    EXPECT_EQ(shape.ui()->queryInterface(SE_IID_GRAPHICS_MPGUI, &face), MP_OK);
    ASSERT_EQ(face, static_cast<void*>(shape.graphics()));
    shape.graphics()->release();
    gmpi_sdk::MpString tip;
    EXPECT_EQ(shape.graphics()->getToolTip({1, 1}, &tip), -1);
    EXPECT_EQ(shape.graphics()->hitTest({1, 1}), MP_OK);
}

TEST(ImageBackground, DrawsSkinAtItsSizeAndOpacity) {
    GraphicModule background("TamImageBackground1", crisp());
    EXPECT_EQ(background.measure({100, 100}).width, 30.0f);  // no image yet
    const int measures = background.host().invalidateMeasureCalls;
    background.setString(0, L"skin.png");
    EXPECT_EQ(background.host().invalidateMeasureCalls, measures + 1);
    const GmpiDrawing::Size size = background.measure({100, 100});
    EXPECT_EQ(size.width, 24.0f);
    EXPECT_EQ(size.height, 16.0f);

    // Opaque at the default opacity of 10, on a larger area: nothing beyond the image.
    tamhost::Image opaque = background.render(40, 30);
    std::ifstream expected(dataDir() + "/skin_pixels.txt");
    int x, y;
    std::string hex;
    while (expected >> x >> y >> hex) {
        const uint32_t want = static_cast<uint32_t>(std::stoul(hex, nullptr, 16));
        const uint32_t got = opaque.pixel(x, y);
        EXPECT_EQ(got >> 24, want >> 24) << x << "," << y;
        if ((want >> 24) != 0) {
            EXPECT_NEAR(static_cast<int>(got & 0xff), static_cast<int>(want & 0xff), 2);
        }
        if ((want >> 24) == 255) {
            EXPECT_EQ(got, want);
        }
    }
    EXPECT_EQ(opaque.pixel(30, 5), 0u);
    EXPECT_EQ(opaque.pixel(5, 20), 0u);

    background.setFloat(2, 5.0f);  // half
    tamhost::Image half = background.render(24, 16);
    EXPECT_NEAR(static_cast<int>(half.pixel(0, 0) >> 24), 128, 1);
    EXPECT_NEAR(static_cast<int>(half.pixel(0, 8) >> 24), 64, 1);
    background.setFloat(2, 25.0f);  // limited to opaque
    EXPECT_EQ(background.render(24, 16).pixel(0, 0), 0xFFFF0000u);

    background.setBool(1, false);
    std::vector<tamhost::DrawOp> log;
    background.render(24, 16, false, &log);
    EXPECT_TRUE(log.empty());
}

TEST(ImageBackground, CrossWithoutImageAndMetadataLookup) {
    GraphicModule missing("TamImageBackground1", crisp());
    missing.setString(0, L"no-such-image.png");
    EXPECT_EQ(missing.measure({100, 100}).width, 30.0f);
    std::vector<tamhost::DrawOp> log;
    tamhost::Image cross = missing.render(30, 20, false, &log);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].name, "DrawLine");
    EXPECT_EQ(log[0].values, (std::vector<float>{0, 0, 30, 20, 1}));
    EXPECT_EQ(log[1].values, (std::vector<float>{30, 0, 0, 20, 1}));
    EXPECT_EQ(cross.pixel(15, 10) >> 24, 255u);
    EXPECT_EQ(cross.pixel(15, 2), 0u);

    // A png is looked up without a mask; a bmp with its mask, and both with metadata.
    GraphicModule bmp("TamImageBackground1", crisp());
    bmp.setString(0, L"skin24.bmp");
    EXPECT_EQ(bmp.measure({1, 1}).width, 24.0f);
    const auto& lookups = bmp.host().lookups;
    auto asked = [&](const std::string& kind, const std::string& suffix) {
        for (const auto& [c, name] : lookups) {
            if (c == kind && name.size() >= suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                return true;
        }
        return false;
    };
    EXPECT_TRUE(asked("Image", "skin24_mask.bmp"));
    EXPECT_TRUE(asked("ImageMeta", "skin24.txt"));
    EXPECT_EQ(bmp.render(24, 16).pixel(0, 15), 0xFF0000FFu);
    EXPECT_FALSE(asked("Image", "no-such-image_mask.bmp"));
    for (const auto& [c, name] : missing.host().lookups) EXPECT_EQ(name.find("_mask"), std::string::npos);

    // Rendering into a zero-sized area draws nothing.
    log.clear();
    missing.arrange({0, 0, 0.5f, 20});
    tamhost::Image tiny(4, 4);
    missing.renderOnto(tiny, &log);
    EXPECT_TRUE(log.empty());
}

TEST(ImageBackground, MouseAndMenu) {
    GraphicModule background("TamImageBackground1", crisp());
    background.setString(0, L"skin.png");
    background.render(24, 16);
    background.pointerDown(5, 5, 0);  // no left button: ignored
    EXPECT_FALSE(background.host().captured);
    EXPECT_FALSE(background.lastTransmission(3).has_value());

    background.runPointerScript(tamhost::parsePointerScript("down 5 5\nmove 6 6\n"));
    EXPECT_TRUE(background.host().captured);
    ASSERT_TRUE(background.lastTransmission(3).has_value());
    EXPECT_TRUE(background.lastTransmission(3)->asBool());
    const size_t sent = background.transmissions().size();
    background.pointerDown(6, 6);  // already down: nothing new goes out
    EXPECT_EQ(background.transmissions().size(), sent);
    background.pointerUp(6, 6);
    EXPECT_FALSE(background.host().captured);
    EXPECT_EQ(background.host().releaseCaptureCalls, 1);
    EXPECT_FALSE(background.lastTransmission(3)->asBool());

    background.pointerDown(50, 50);  // outside: captured, but the pin stays
    EXPECT_TRUE(background.host().captured);
    EXPECT_FALSE(background.lastTransmission(3)->asBool());
    background.pointerUp(50, 50);

    background.setString(4, L"Load,Save=5,Reset");
    auto menu = background.contextMenu(3, 3);
    ASSERT_TRUE(menu.has_value());
    ASSERT_EQ(menu->size(), 3u);
    EXPECT_EQ((*menu)[0].text, "Load");
    EXPECT_EQ((*menu)[0].id, 0);
    EXPECT_EQ((*menu)[1].id, 5);
    EXPECT_EQ((*menu)[2].id, 6);
    background.host().transmissions.clear();
    EXPECT_EQ(background.chooseMenuItem(3), MP_OK);
    ASSERT_EQ(background.transmissions().size(), 2u);
    EXPECT_EQ(background.transmissions()[0].asInt(), 3);
    EXPECT_EQ(background.transmissions()[1].asInt(), -1);

    background.setBool(1, false);
    EXPECT_FALSE(background.contextMenu(3, 3).has_value());
    EXPECT_EQ(background.chooseMenuItem(2), -1);
    background.pointerDown(5, 5);
    EXPECT_FALSE(background.host().captured);
}

TEST(VectorShapes, RectangleColoursOutlineAndCorners) {
    GraphicModule rectangle("TamVectorRectangle1", crisp());
    rectangle.setString(1, L"0xFF336699");
    rectangle.setString(2, L"RGB(255,128,0)");
    rectangle.setFloat(3, 4.0f);
    rectangle.setFloat(4, 0.0f);
    tamhost::Image square = rectangle.render(40, 24);
    EXPECT_EQ(square.pixel(20, 12), 0xFF336699u);
    EXPECT_EQ(square.pixel(0, 0), 0xFFFF8000u);
    EXPECT_EQ(square.pixel(3, 12), 0xFFFF8000u);
    EXPECT_EQ(square.pixel(4, 12), 0xFF336699u);
    EXPECT_EQ(square.pixel(39, 23), 0xFFFF8000u);

    // Fill only, corner radius 8: coverage follows the rounded outline.
    rectangle.setString(2, L"");
    rectangle.setFloat(4, 8.0f);
    tamhost::Image rounded = rectangle.render(40, 24);
    EXPECT_EQ(maskMismatches(rounded, readMask("roundrect_40x24_r8.txt")), 0);
    EXPECT_EQ(rounded.pixel(0, 0), 0u);
    EXPECT_EQ(rounded.pixel(20, 0), 0xFF336699u);

    // Half-transparent fill keeps its alpha; hostile widths and radii draw safely.
    rectangle.setString(1, L"ARGB(128,0,0,255)");
    rectangle.setFloat(4, std::numeric_limits<float>::quiet_NaN());
    EXPECT_NEAR(static_cast<int>(rectangle.render(40, 24).pixel(0, 0) >> 24), 128, 1);
    rectangle.setString(2, L"0xFF000000");
    rectangle.setFloat(3, 1e9f);
    rectangle.setFloat(4, -3.0f);
    EXPECT_EQ(rectangle.render(40, 24).pixel(20, 12), 0xFF000000u);

    rectangle.setBool(0, false);
    std::vector<tamhost::DrawOp> log;
    rectangle.render(40, 24, false, &log);
    EXPECT_TRUE(log.empty());
}

TEST(VectorShapes, EllipseFillsItsRectangle) {
    GraphicModule ellipse("TamVectorEllipse1", crisp());
    ellipse.setString(1, L"0xFF20C040");
    ellipse.setString(2, L"");
    tamhost::Image filled = ellipse.render(40, 24);
    EXPECT_EQ(maskMismatches(filled, readMask("ellipse_40x24.txt")), 0);
    EXPECT_EQ(filled.pixel(20, 12), 0xFF20C040u);

    ellipse.setString(2, L"0xFFFFFFFF");
    ellipse.setFloat(3, 2.0f);
    std::vector<tamhost::DrawOp> log;
    tamhost::Image outlined = ellipse.render(40, 24, false, &log);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].name, "FillEllipse");
    EXPECT_EQ(log[1].name, "DrawEllipse");
    EXPECT_EQ(log[1].values, (std::vector<float>{20, 12, 19, 11, 2}));  // inset by half the width
    EXPECT_EQ(outlined.pixel(20, 0), 0xFFFFFFFFu);
    EXPECT_EQ(outlined.pixel(20, 12), 0xFF20C040u);
    EXPECT_EQ(outlined.pixel(0, 0), 0u);

    ellipse.setString(1, L"nonsense");
    ellipse.setString(2, L"");
    log.clear();
    ellipse.render(40, 24, false, &log);
    EXPECT_TRUE(log.empty());
}

}  // namespace

namespace {

TEST(ImageCache, OneLoadPerFactoryUntilTheLastClientGoes) {
    const int start = tamhost::GraphicsHostObject::resourceReads;
    {
        GraphicModule first("TamImageBackground1", crisp());
        first.setString(0, L"skin.png");
        const int afterFirst = tamhost::GraphicsHostObject::resourceReads;
        EXPECT_EQ(afterFirst - start, 2);  // the image and its metadata
        GraphicModule second("TamImageBackground1", crisp());
        second.setString(0, L"skin.png");
        EXPECT_EQ(tamhost::GraphicsHostObject::resourceReads, afterFirst);
        EXPECT_EQ(second.measure({1, 1}).width, 24.0f);
    }
    // Both clients gone: the cache emptied, so the next client loads again.
    const int beforeThird = tamhost::GraphicsHostObject::resourceReads;
    GraphicModule third("TamImageBackground1", crisp());
    third.setString(0, L"skin.png");
    EXPECT_EQ(tamhost::GraphicsHostObject::resourceReads - beforeThird, 2);
}

}  // namespace
