// Skin descriptions read from text: the per-image metadata (frame layout and
// mouse response of a skin bitmap) and the skin's font records. Both formats
// are lines of tokens; unknown keys are ignored and later lines overwrite
// earlier ones.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Cuts a line into tokens at white space and commas; a token that begins
// with a quote runs to the same quote, which is not part of it.
void SplitString(const char* line, std::vector<std::string>& tokens);

// Splits text at line feeds, dropping one carriage return from each end.
std::vector<std::string> SplitLines(const std::string& text);

class ImageMetadata {
public:
    enum Type { kKnob = 0, kAnimated = 1, kButton = 2, kBarGraph = 3 };
    enum MouseResponse {
        kVertical = 0,
        kHorizontal = 1,
        kClickToggle = 2,
        kRotary = 3,
        kStepped = 4,
        kReverseVertical = 5,
    };

    // Parses the whole text of a metadata file.
    void Serialise(const std::string& text);

    int32_t type = kAnimated;
    int32_t frameWidth = 10;
    int32_t frameHeight = 10;
    float padding[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    int32_t segmentEnd = 50;
    int32_t segmentStart = 0;
    int32_t mouseResponse = -1;
    float lineEndLength = 5.0f;
    int32_t transparentX = -1;
    int32_t transparentY = -1;
    float handleRect[4] = {0.0f, 0.0f, 10.0f, 10.0f};
    uint64_t reserved = 0;
};

class SkinMetadata {
public:
    enum FontFlags : int32_t {
        kCentre = 1 << 3,
        kRight = 1 << 4,
        kUnderline = 1 << 6,
        kBold = 1 << 7,
        kLight = 1 << 8,
    };

    struct FontRecord {
        std::string category;  // lower case
        std::vector<std::string> families;
        int32_t fontSize = 12;
        int32_t pixelHeight = 12;
        int32_t pixelWidth = 0;
        uint32_t fontColor = 0xff000000;  // 0xAARRGGBB
        uint32_t backgroundColor = 0;
        int32_t verticalOffset = 0;
        int32_t flags = 0;
    };

    // Parses the whole text of a skin's font description.
    void Serialise(const std::string& text);
    // The record of a category (any case), or null.
    const FontRecord* find(const std::string& category) const;

    std::vector<FontRecord> fonts;
};
