// The drawing wrappers over the reference host's cairo layer: paths,
// gradients, text, bitmaps from files and memory, render targets, clips,
// and the small host objects (returned strings, completion, text edit).
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "frame/Drawing.h"
#include "frame/mp_sdk_gui2.h"
#include "tamhost/CairoDrawing.h"
#include "tamhost/GraphicsHost.h"

namespace {

using namespace GmpiDrawing;

std::string dataPath(const std::string& name) { return std::string(TAM_TEST_DATA_DIR) + "/graphics/" + name; }

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

uint8_t alphaOf(uint32_t argb) { return static_cast<uint8_t>(argb >> 24); }

// A picture, a factory and a context drawing on it, with antialiasing off
// so that a pixel is covered when its centre is inside a shape.
struct Canvas {
    explicit Canvas(int w, int h, bool record = true) : picture(w, h) {
        factory = tamhost::createCairoFactory();
        context = tamhost::createCairoContext(factory, picture.surface(), tamhost::DrawOptions{false});
        if (record) tamhost::setContextRecorder(context, &log);
        g = Graphics(tamhost::contextInterface(context));
    }
    ~Canvas() {
        tamhost::contextInterface(context)->release();
        tamhost::factoryInterface(factory)->release();
    }
    tamhost::Image picture;
    tamhost::CairoFactory* factory = nullptr;
    tamhost::CairoContext* context = nullptr;
    std::vector<tamhost::DrawOp> log;
    Graphics g;
};

TEST(HostObjects, ReturnedStringAndCompletion) {
    gmpi_sdk::MpString text;
    EXPECT_EQ(text.setData("abc", 3), MP_OK);
    EXPECT_EQ(text.str(), "abc");
    text.setData("xyz", 0);
    EXPECT_EQ(text.getSize(), 0);
    text.setData("q", -4);
    EXPECT_TRUE(text.str().empty());
    void* face = nullptr;
    EXPECT_EQ(text.queryInterface(MP_IID_RETURNSTRING, &face), MP_OK);
    EXPECT_EQ(face, static_cast<gmpi::IString*>(&text));
    EXPECT_EQ(text.queryInterface(SE_IID_GRAPHICS_HOST, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);
    EXPECT_EQ(text.release(), 1);  // lives on the stack: never deletes

    int heard = 99;
    auto* handler = new gmpi_gui::MpCompletionHandler([&](int32_t result) { heard = result; });
    EXPECT_EQ(handler->queryInterface(SE_IID_COMPLETION_CALLBACK, &face), MP_OK);
    static_cast<gmpi_gui::ICompletionCallback*>(face)->OnComplete(-1);
    EXPECT_EQ(heard, -1);
    EXPECT_EQ(handler->release(), 1);
    EXPECT_EQ(handler->release(), 0);  // deleted; the sanitizer checks
}

TEST(HostObjects, TextEditCompletesByHand) {
    auto* host = new tamhost::GraphicsHostObject();
    GmpiGui::GraphicsHost graphicsHost(host);
    int result = 5;
    {
        GmpiGui::TextEdit edit = graphicsHost.createPlatformTextEdit(Rect(1, 2, 30, 14));
        ASSERT_FALSE(edit.isNull());
        edit.SetText("start");
        edit.ShowAsync([&](int32_t r) {
            result = r;
            EXPECT_EQ(edit.GetText(), "typed");
        });
        ASSERT_EQ(host->textEdits.size(), 1u);
        EXPECT_EQ(host->textEdits[0]->text, "start");
        EXPECT_EQ(host->textEdits[0]->rect.right, 30.0f);
        EXPECT_TRUE(host->textEdits[0]->complete("typed", 0));
        EXPECT_FALSE(host->textEdits[0]->complete("again", 0));
    }
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(GmpiGui::GraphicsHost().createPlatformTextEdit(Rect()).isNull());
    host->release();
}

TEST(Paths, LinesAndPolygons) {
    Canvas c(20, 20);
    auto brush = c.g.CreateSolidColorBrush(Color(0xFF0000));
    const Point two[] = {{2, 10}, {18, 10}};
    c.g.DrawLines(two, 2, brush, 2.0f);
    ASSERT_EQ(c.log.size(), 1u);
    EXPECT_EQ(c.log[0].name, "DrawGeometry");
    EXPECT_EQ(c.log[0].values, (std::vector<float>{2, 10, 18, 10, 2}));  // one segment, then the width
    EXPECT_EQ(c.log[0].argb, 0xFFFF0000u);
    EXPECT_EQ(c.picture.pixel(10, 9), 0xFFFF0000u);
    EXPECT_EQ(c.picture.pixel(10, 12), 0u);
    EXPECT_EQ(c.picture.pixel(0, 10), 0u);  // open: no segment back to the start

    c.g.DrawLines(two, 1, brush);
    c.g.DrawLines(nullptr, 5, brush);
    EXPECT_EQ(c.log.size(), 1u);

    // A closed, filled triangle; below the diagonal stays empty.
    const Point triangle[] = {{0, 0}, {20, 0}, {20, 20}};
    auto green = c.g.CreateSolidColorBrush(Color(0x00FF00));
    c.g.FillPolygon(triangle, 3, green);
    EXPECT_EQ(c.log.back().name, "FillGeometry");
    EXPECT_EQ(c.picture.pixel(15, 3), 0xFF00FF00u);
    EXPECT_EQ(c.picture.pixel(3, 15), 0u);
}

TEST(Brushes, TwoStopGradient) {
    Canvas c(101, 4);
    auto brush = c.g.CreateLinearGradientBrush(Color(0x000000), Color(0xFFFFFF), Point(0.5f, 0), Point(100.5f, 0));
    ASSERT_FALSE(brush.isNull());
    c.g.FillRectangle(Rect(0, 0, 101, 4), brush);
    // Pixel centres at x + 0.5: the level is x / 100 of the way to white.
    for (int x : {0, 25, 50, 100}) {
        const int level = static_cast<int>(c.picture.pixel(x, 1) & 0xff);
        EXPECT_NEAR(level, x * 255 / 100.0, 1.5) << x;
    }
    EXPECT_TRUE(c.g.CreateLinearGradientBrush(GradientStopCollection(), Point(), Point(1, 1)).isNull());
}

TEST(Text, DrawnInsideItsRectangleAndMeasured) {
    Canvas c(120, 40);
    auto format = c.g.GetFactory().CreateTextFormat(16.0f, "Sans");
    ASSERT_FALSE(format.isNull());
    const Size extent = format.GetTextExtentU("Hello");
    EXPECT_GT(extent.width, 20.0f);
    EXPECT_GT(extent.height, 10.0f);
    EXPECT_GT(format.GetTextExtentU("Hello Hello").width, extent.width * 1.8f);
    const auto metrics = format.GetFontMetrics();
    EXPECT_GT(metrics.ascent, 8.0f);
    EXPECT_GT(metrics.descent, 0.0f);

    format.SetTextAlignment(MP1_TEXT_ALIGNMENT_TRAILING);
    format.SetParagraphAlignment(MP1_PARAGRAPH_ALIGNMENT_CENTER);
    auto brush = c.g.CreateSolidColorBrush(Color::Black);
    c.g.DrawTextW(L"H\u00e9llo", format, Rect(0, 0, 120, 40), brush);
    ASSERT_EQ(c.log.back().name, "DrawTextU");
    EXPECT_EQ(c.log.back().text, "H\xc3\xa9llo");
    // Right-aligned: ink on the right, none on the left.
    int leftInk = 0;
    int rightInk = 0;
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x) leftInk += alphaOf(c.picture.pixel(x, y)) != 0;
        for (int x = 60; x < 120; ++x) rightInk += alphaOf(c.picture.pixel(x, y)) != 0;
    }
    EXPECT_EQ(leftInk, 0);
    EXPECT_GT(rightInk, 20);
}

TEST(Clips, NestAndRestore) {
    Canvas c(20, 20);
    auto brush = c.g.CreateSolidColorBrush(Color(0x0000FF));
    c.g.PushAxisAlignedClip(Rect(0, 0, 10, 20));
    c.g.PushAxisAlignedClip(Rect(5, 0, 20, 10));
    const Rect clip = c.g.GetAxisAlignedClip();
    EXPECT_EQ(clip, Rect(5, 0, 10, 10));
    c.g.FillRectangle(Rect(0, 0, 20, 20), brush);
    c.g.PopAxisAlignedClip();
    c.g.PopAxisAlignedClip();
    c.g.PopAxisAlignedClip();  // one too many is ignored
    EXPECT_EQ(c.picture.pixel(7, 5), 0xFF0000FFu);
    EXPECT_EQ(c.picture.pixel(2, 5), 0u);
    EXPECT_EQ(c.picture.pixel(7, 15), 0u);
    EXPECT_EQ(c.picture.pixel(15, 5), 0u);
    c.g.FillRectangle(Rect(15, 15, 20, 20), brush);
    EXPECT_EQ(c.picture.pixel(17, 17), 0xFF0000FFu);
}

TEST(Bitmaps, PngFromFileAndMemoryWithPixelAccess) {
    Canvas c(30, 20);
    GmpiDrawing::Factory factory = c.g.GetFactory();
    Bitmap fromFile = factory.LoadImageU(dataPath("skin.png"));
    ASSERT_FALSE(fromFile.isNull());
    EXPECT_EQ(fromFile.GetSize().width, 24u);
    EXPECT_EQ(fromFile.GetSize().height, 16u);
    const std::string bytes = readFile(dataPath("skin.png"));
    Bitmap fromMemory =
        factory.CreateBitmapFromMemory(reinterpret_cast<const uint8_t*>(bytes.data()), static_cast<int32_t>(bytes.size()));
    ASSERT_FALSE(fromMemory.isNull());

    std::ifstream expected(dataPath("skin_pixels.txt"));
    int x, y;
    std::string hex;
    int probes = 0;
    BitmapPixels pixels = fromMemory.lockPixels();
    while (expected >> x >> y >> hex) {
        const uint32_t want = static_cast<uint32_t>(std::stoul(hex, nullptr, 16));
        const uint32_t premultiplied = pixels.getPixel(x, y);
        EXPECT_EQ(premultiplied >> 24, want >> 24) << x << "," << y;
        if ((want >> 24) == 255) {
            EXPECT_EQ(premultiplied, want);
        }
        ++probes;
    }
    EXPECT_EQ(probes, 8);

    // Drawn at half opacity: alpha halves, colour stays.
    c.g.DrawBitmap(fromFile, Point(0, 0), 0.5f);
    EXPECT_NEAR(alphaOf(c.picture.pixel(0, 0)), 128, 1);
    EXPECT_EQ(c.picture.pixel(0, 0) & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(c.picture.pixel(26, 0), 0u);

    EXPECT_TRUE(factory.LoadImageU(dataPath("no-such.png")).isNull());
    const uint8_t junk[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    EXPECT_TRUE(factory.CreateBitmapFromMemory(junk, sizeof junk).isNull());
    EXPECT_TRUE(factory.CreateBitmapFromMemory(nullptr, 0).isNull());
}

TEST(Bitmaps, BmpDecodingAndHostileFiles) {
    std::ifstream expected(dataPath("bmp_pixels.txt"));
    std::string name, hex;
    int x, y;
    int probes = 0;
    while (expected >> name >> x >> y >> hex) {
        const std::string bytes = readFile(dataPath(name));
        cairo_surface_t* surface = tamhost::decodeBmp(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ASSERT_NE(surface, nullptr) << name;
        tamhost::Image image(surface);
        EXPECT_EQ(image.width(), 24);
        EXPECT_EQ(image.height(), 16);
        EXPECT_EQ(image.pixel(x, y), static_cast<uint32_t>(std::stoul(hex, nullptr, 16))) << name << " " << x << "," << y;
        ++probes;
    }
    EXPECT_EQ(probes, 12);

    // Every truncation, and headers that lie, give no picture and no crash.
    const std::string bytes = readFile(dataPath("skin8.bmp"));
    for (size_t length = 0; length < bytes.size(); ++length) {
        cairo_surface_t* surface = tamhost::decodeBmp(reinterpret_cast<const uint8_t*>(bytes.data()), length);
        EXPECT_EQ(surface, nullptr) << length;
        if (surface != nullptr) cairo_surface_destroy(surface);
    }
    auto patched = [&](size_t at, uint32_t value) {
        std::string copy = bytes;
        for (int i = 0; i < 4; ++i) copy[at + i] = static_cast<char>((value >> (8 * i)) & 0xff);
        return tamhost::decodeBmp(reinterpret_cast<const uint8_t*>(copy.data()), copy.size());
    };
    EXPECT_EQ(patched(18, 0x7fffffff), nullptr);  // width
    EXPECT_EQ(patched(22, 0x80000000), nullptr);  // height
    EXPECT_EQ(patched(10, 0xfffffff0), nullptr);  // pixel offset
    EXPECT_EQ(patched(30, 1), nullptr);           // run-length compression
    cairo_surface_t* paletteTooLong = patched(46, 0xffffffff);  // clamps to 256 entries
    if (paletteTooLong != nullptr) cairo_surface_destroy(paletteTooLong);
}

TEST(RenderTargets, OffscreenPictureDrawnBack) {
    Canvas c(16, 16);
    BitmapRenderTarget target = c.g.CreateCompatibleRenderTarget(Size(8, 8));
    ASSERT_FALSE(target.isNull());
    target.BeginDraw();
    auto red = target.CreateSolidColorBrush(Color(0xFF0000));
    target.FillRectangle(Rect(0, 0, 4, 8), red);
    EXPECT_EQ(target.EndDraw(), MP_OK);
    Bitmap bitmap = target.GetBitmap();
    ASSERT_FALSE(bitmap.isNull());
    target.Clear(Color(0x00FF00));  // later drawing does not reach the bitmap
    c.g.DrawBitmap(bitmap, Point(8, 8));
    EXPECT_EQ(c.picture.pixel(9, 9), 0xFFFF0000u);
    EXPECT_EQ(c.picture.pixel(14, 9), 0u);
    EXPECT_TRUE(c.g.CreateCompatibleRenderTarget(Size(0, 5)).isNull());
}

TEST(PointerScripts, ParseAndReject) {
    const auto events = tamhost::parsePointerScript("down 3 4\n# comment\n\nmove 5.5 6 shift ctrl\nup 7 8 right\n");
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].kind, tamhost::PointerEvent::Down);
    EXPECT_TRUE(events[0].flags & gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON);
    EXPECT_EQ(events[1].x, 5.5f);
    EXPECT_TRUE(events[1].flags & gmpi_gui_api::GG_POINTER_KEY_SHIFT);
    EXPECT_TRUE(events[1].flags & gmpi_gui_api::GG_POINTER_KEY_CONTROL);
    EXPECT_FALSE(events[2].flags & gmpi_gui_api::GG_POINTER_FLAG_FIRSTBUTTON);
    EXPECT_TRUE(events[2].flags & gmpi_gui_api::GG_POINTER_FLAG_SECONDBUTTON);
    EXPECT_THROW(tamhost::parsePointerScript("press 1 2"), std::invalid_argument);
    EXPECT_THROW(tamhost::parsePointerScript("down 1"), std::invalid_argument);
    EXPECT_THROW(tamhost::parsePointerScript("down 1 2 meta"), std::invalid_argument);
    EXPECT_THROW(tamhost::parsePointerScript("down nan 2"), std::invalid_argument);
}

}  // namespace
