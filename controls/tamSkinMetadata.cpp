// Parsers of the image metadata and skin font texts.
#include "controls/tamSkinMetadata.h"

#include <cctype>
#include <cstdlib>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

char lowerFirst(const std::string& word, size_t index = 0) {
    return index < word.size() ? static_cast<char>(std::tolower(static_cast<unsigned char>(word[index]))) : '\0';
}

std::string lowered(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// strtol in base 10 of token i, if present.
void readInt(const std::vector<std::string>& tokens, size_t i, int32_t& field) {
    if (i < tokens.size()) field = static_cast<int32_t>(std::strtol(tokens[i].c_str(), nullptr, 10));
}

void readFloat(const std::vector<std::string>& tokens, size_t i, float& field) {
    if (i < tokens.size()) field = static_cast<float>(std::strtol(tokens[i].c_str(), nullptr, 10));
}

// "#rrggbb" in base 16, else base 10; red and blue swap, alpha 255.
uint32_t readSkinColour(const std::string& token) {
    const bool hex = !token.empty() && token[0] == '#';
    const uint32_t value =
        static_cast<uint32_t>(std::strtoul(token.c_str() + (hex ? 1 : 0), nullptr, hex ? 16 : 10));
    const uint32_t swapped = ((value & 0xff) << 16) | (value & 0xff00) | ((value >> 16) & 0xff);
    return 0xff000000u | swapped;
}

}  // namespace

void SplitString(const char* line, std::vector<std::string>& tokens) {
    if (line == nullptr) return;
    const char* p = line;
    while (*p != '\0') {
        if (isBlank(*p) || *p == ',') {
            ++p;
            continue;
        }
        if (*p == '"' || *p == '\'') {
            const char quote = *p++;
            const char* start = p;
            while (*p != '\0' && *p != quote) ++p;
            if (p > start) tokens.emplace_back(start, p);
            if (*p == quote) ++p;
            continue;
        }
        const char* start = p;
        while (*p != '\0' && !isBlank(*p) && *p != ',' && *p != '"' && *p != '\'') ++p;
        tokens.emplace_back(start, p);
    }
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

void ImageMetadata::Serialise(const std::string& text) {
    for (const std::string& line : SplitLines(text)) {
        std::vector<std::string> tokens;
        SplitString(line.c_str(), tokens);
        if (tokens.empty()) continue;
        const std::string& key = tokens[0];
        if (key == "type") {
            if (tokens.size() < 2) continue;
            const std::string& word = tokens[1];
            if (word == "slider" || word == "knob") {
                type = kKnob;
            } else if (word == "animated") {
                type = kAnimated;
            } else if (word == "button") {
                type = kButton;
            } else if (word == "bargraph") {
                type = kBarGraph;
            }
        } else if (key == "frame_size") {
            readInt(tokens, 1, frameWidth);
            readInt(tokens, 2, frameHeight);
        } else if (key == "padding") {
            // Written top, bottom, left, right; kept left, right, top, bottom.
            readFloat(tokens, 1, padding[2]);
            readFloat(tokens, 2, padding[3]);
            readFloat(tokens, 3, padding[0]);
            readFloat(tokens, 4, padding[1]);
        } else if (key == "handle_rect") {
            for (size_t i = 0; i < 4; ++i) readFloat(tokens, i + 1, handleRect[i]);
        } else if (key == "handle_range" || key == "segment") {
            readInt(tokens, 1, segmentStart);
            readInt(tokens, 2, segmentEnd);
        } else if (key == "orientation" || key == "tiled" || key == "mouse_response") {
            if (tokens.size() < 2) continue;
            switch (lowerFirst(tokens[1])) {
                case 't':
                case 'v': mouseResponse = kVertical; break;
                case 'f':
                case 'h': mouseResponse = kHorizontal; break;
                case 'c': mouseResponse = kClickToggle; break;
                case 's': mouseResponse = kStepped; break;
                case 'r': mouseResponse = lowerFirst(tokens[1], 1) == 'e' ? kReverseVertical : kRotary; break;
                default: break;
            }
        } else if (key == "line_end_length" || key == "segment_count") {
            readFloat(tokens, 1, lineEndLength);
        } else if (key == "transparent_pixel") {
            readInt(tokens, 1, transparentX);
            readInt(tokens, 2, transparentY);
        }
    }
}

void SkinMetadata::Serialise(const std::string& text) {
    FontRecord* current = nullptr;
    for (const std::string& line : SplitLines(text)) {
        std::vector<std::string> tokens;
        SplitString(line.c_str(), tokens);
        if (tokens.size() < 2) continue;
        const std::string& key = tokens[0];
        const std::string& value = tokens[1];
        if (key == "FONT_CATEGORY") {
            fonts.emplace_back();
            current = &fonts.back();
            current->category = lowered(value);
            continue;
        }
        if (current == nullptr) continue;
        if (key == "font-family") {
            current->families.insert(current->families.end(), tokens.begin() + 1, tokens.end());
        } else if (key == "font-size") {
            readInt(tokens, 1, current->fontSize);
            current->pixelHeight = current->fontSize;
        } else if (key == "vst3-vertical-offset") {
            readInt(tokens, 1, current->verticalOffset);
        } else if (key == "GDI_pixelHeight") {
            readInt(tokens, 1, current->pixelHeight);
        } else if (key == "GDI_pixelWidth") {
            readInt(tokens, 1, current->pixelWidth);
        } else if (key == "font-color") {
            current->fontColor = readSkinColour(value);
        } else if (key == "background-color") {
            current->backgroundColor = readSkinColour(value);
        } else if (key == "font-weight") {
            const char first = lowerFirst(value);
            if (first == 'b') {
                current->flags |= kBold;
            } else if (first == 'l') {
                current->flags |= kLight;
            } else {
                const long weight = std::strtol(value.c_str(), nullptr, 10);
                if (weight >= 1 && weight <= 300) current->flags |= kLight;
                if (weight >= 551) current->flags |= kBold;
            }
        } else if (key == "text-align") {
            const char first = lowerFirst(value);
            if (first == 'r') current->flags |= kRight;
            if (first == 'c') current->flags |= kCentre;
        } else if (key == "text-decoration") {
            if (lowerFirst(value) == 'u') current->flags |= kUnderline;
        }
    }
    for (FontRecord& record : fonts) {
        if (record.families.empty()) record.families.push_back("Verdana");
    }
}

const SkinMetadata::FontRecord* SkinMetadata::find(const std::string& category) const {
    const std::string wanted = lowered(category);
    for (const FontRecord& record : fonts) {
        if (record.category == wanted) return &record;
    }
    return nullptr;
}
