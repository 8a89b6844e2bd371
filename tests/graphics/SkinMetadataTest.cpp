// Image metadata and skin font texts, parsed from hand-written files.
#include <gtest/gtest.h>

#include "controls/tamSkinMetadata.h"

namespace {

TEST(SplitString, BlanksCommasAndQuotes) {
    std::vector<std::string> tokens;
    SplitString("  frame_size\t32 ,64  ", tokens);
    EXPECT_EQ(tokens, (std::vector<std::string>{"frame_size", "32", "64"}));

    tokens.clear();
    SplitString("font-family \"Bitstream Vera\" 'Arial Narrow',Verdana\"\"", tokens);
    EXPECT_EQ(tokens, (std::vector<std::string>{"font-family", "Bitstream Vera", "Arial Narrow", "Verdana"}));

    tokens.clear();
    SplitString("abc\"def", tokens);  // a quote ends the token before it
    EXPECT_EQ(tokens, (std::vector<std::string>{"abc", "def"}));

    tokens.clear();
    SplitString("'unclosed text", tokens);
    EXPECT_EQ(tokens, (std::vector<std::string>{"unclosed text"}));

    tokens.clear();
    SplitString(nullptr, tokens);
    SplitString("", tokens);
    EXPECT_TRUE(tokens.empty());
}

TEST(ImageMetadata, DefaultsWithoutAnyKey) {
    ImageMetadata m;
    m.Serialise("\n\r\n   \nunknown_key 5 5\nframe_size\n");
    EXPECT_EQ(m.type, 1);
    EXPECT_EQ(m.frameWidth, 10);
    EXPECT_EQ(m.frameHeight, 10);
    EXPECT_EQ(m.segmentStart, 0);
    EXPECT_EQ(m.segmentEnd, 50);
    EXPECT_EQ(m.mouseResponse, -1);
    EXPECT_FLOAT_EQ(m.lineEndLength, 5.0f);
    EXPECT_EQ(m.transparentX, -1);
    EXPECT_EQ(m.transparentY, -1);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(m.padding[i], 0.0f);
    EXPECT_EQ(m.handleRect[0], 0.0f);
    EXPECT_EQ(m.handleRect[3], 10.0f);
}

TEST(ImageMetadata, EveryKeyWithCrLfLines) {
    const std::string text =
        "type knob\r\n"
        "frame_size 32 48\r\n"
        "padding 1 2 3 4\r\n"
        "handle_rect 5 6 7 8\r\n"
        "handle_range 2 40\r\n"
        "mouse_response horizontal\r\n"
        "line_end_length 9\r\n"
        "transparent_pixel 3 11\r\n";
    ImageMetadata crlf;
    crlf.Serialise(text);
    EXPECT_EQ(crlf.type, 0);
    EXPECT_EQ(crlf.frameWidth, 32);
    EXPECT_EQ(crlf.frameHeight, 48);
    // Written 1 2 3 4, stored with the pairs swapped.
    EXPECT_EQ(crlf.padding[0], 3.0f);
    EXPECT_EQ(crlf.padding[1], 4.0f);
    EXPECT_EQ(crlf.padding[2], 1.0f);
    EXPECT_EQ(crlf.padding[3], 2.0f);
    EXPECT_EQ(crlf.handleRect[0], 5.0f);
    EXPECT_EQ(crlf.handleRect[1], 6.0f);
    EXPECT_EQ(crlf.handleRect[2], 7.0f);
    EXPECT_EQ(crlf.handleRect[3], 8.0f);
    EXPECT_EQ(crlf.segmentStart, 2);
    EXPECT_EQ(crlf.segmentEnd, 40);
    EXPECT_EQ(crlf.mouseResponse, 1);
    EXPECT_FLOAT_EQ(crlf.lineEndLength, 9.0f);
    EXPECT_EQ(crlf.transparentX, 3);
    EXPECT_EQ(crlf.transparentY, 11);

    std::string lf = text;
    for (size_t at; (at = lf.find('\r')) != std::string::npos;) lf.erase(at, 1);
    ImageMetadata plain;
    plain.Serialise(lf);
    EXPECT_EQ(plain.type, crlf.type);
    EXPECT_EQ(plain.frameWidth, crlf.frameWidth);
    EXPECT_EQ(plain.frameHeight, crlf.frameHeight);
    EXPECT_EQ(plain.segmentStart, crlf.segmentStart);
    EXPECT_EQ(plain.transparentX, crlf.transparentX);
    EXPECT_EQ(plain.reserved, crlf.reserved);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(plain.padding[i], crlf.padding[i]);
        EXPECT_EQ(plain.handleRect[i], crlf.handleRect[i]);
    }
    EXPECT_EQ(plain.segmentEnd, crlf.segmentEnd);
    EXPECT_EQ(plain.mouseResponse, crlf.mouseResponse);
    EXPECT_EQ(plain.lineEndLength, crlf.lineEndLength);
    EXPECT_EQ(plain.transparentY, crlf.transparentY);
}

TEST(ImageMetadata, WordsAndOverwrites) {
    struct Case {
        const char* text;
        int type;
        int mouseResponse;
    };
    const Case cases[] = {
        {"type slider", 0, -1},    {"type animated", 1, -1}, {"type button", 2, -1},
        {"type bargraph", 3, -1},  {"type foo", 1, -1},      {"orientation vertical", 1, 0},
        {"tiled top", 1, 0},       {"mouse_response f", 1, 1}, {"mouse_response click", 1, 2},
        {"mouse_response step", 1, 4}, {"mouse_response rotary", 1, 3}, {"mouse_response reverse", 1, 5},
        {"mouse_response r", 1, 3}, {"mouse_response zzz", 1, -1},
        {"type knob\ntype button\nmouse_response v\nmouse_response re", 2, 5},
    };
    for (const Case& c : cases) {
        ImageMetadata m;
        m.Serialise(c.text);
        EXPECT_EQ(m.type, c.type) << c.text;
        EXPECT_EQ(m.mouseResponse, c.mouseResponse) << c.text;
    }
    ImageMetadata segment;
    segment.Serialise("segment 3 9\nsegment_count 12\nframe_size 7\n");
    EXPECT_EQ(segment.segmentStart, 3);
    EXPECT_EQ(segment.segmentEnd, 9);
    EXPECT_FLOAT_EQ(segment.lineEndLength, 12.0f);
    EXPECT_EQ(segment.frameWidth, 7);  // the missing second value leaves the height
    EXPECT_EQ(segment.frameHeight, 10);
}

TEST(SkinMetadata, FontRecords) {
    SkinMetadata skin;
    skin.Serialise(
        "font-size 99\r\n"  // before any category: skipped
        "FONT_CATEGORY\r\n"  // no name: skipped
        "FONT_CATEGORY Normal\r\n"
        "font-family Arial \"Liberation Sans\"\r\n"
        "font-size 14\r\n"
        "font-color #112233\r\n"
        "background-color 255\r\n"
        "font-weight bold\r\n"
        "text-align center\r\n"
        "text-decoration underline\r\n"
        "vst3-vertical-offset -2\r\n"
        "FONT_CATEGORY heading\n"
        "font-size 20\n"
        "GDI_pixelHeight 18\n"
        "GDI_pixelWidth 7\n"
        "font-weight 200\n"
        "text-align right\n"
        "FONT_CATEGORY Heavy\n"
        "font-weight 600\n"
        "font-weight Light\n");
    ASSERT_EQ(skin.fonts.size(), 3u);

    const SkinMetadata::FontRecord* normal = skin.find("NORMAL");
    ASSERT_NE(normal, nullptr);
    EXPECT_EQ(normal->category, "normal");
    EXPECT_EQ(normal->families, (std::vector<std::string>{"Arial", "Liberation Sans"}));
    EXPECT_EQ(normal->fontSize, 14);
    EXPECT_EQ(normal->pixelHeight, 14);
    EXPECT_EQ(normal->fontColor, 0xFF332211u);
    EXPECT_EQ(normal->backgroundColor, 0xFFFF0000u);  // decimal 255 is blue, swapped to red
    EXPECT_EQ(normal->verticalOffset, -2);
    EXPECT_EQ(normal->flags, SkinMetadata::kBold | SkinMetadata::kCentre | SkinMetadata::kUnderline);

    const SkinMetadata::FontRecord* heading = skin.find("heading");
    ASSERT_NE(heading, nullptr);
    EXPECT_EQ(heading->fontSize, 20);
    EXPECT_EQ(heading->pixelHeight, 18);
    EXPECT_EQ(heading->pixelWidth, 7);
    EXPECT_EQ(heading->flags, SkinMetadata::kLight | SkinMetadata::kRight);
    EXPECT_EQ(heading->families, (std::vector<std::string>{"Verdana"}));

    const SkinMetadata::FontRecord* heavy = skin.find("heavy");
    ASSERT_NE(heavy, nullptr);
    EXPECT_EQ(heavy->flags, SkinMetadata::kBold | SkinMetadata::kLight);
    EXPECT_EQ(skin.find("missing"), nullptr);
}

}  // namespace
