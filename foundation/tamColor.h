// Colour values and the named-colour table.
//
// tam::Color is one 32-bit word, 0xAARRGGBB. Float channels go to bytes with
// the pack's rounding step followed by a limit to 0..255; that step yields
// its upper word there, so every float channel comes out as 255 (the grey
// level, wave-length colours and float alpha included). Hue, saturation and
// brightness go through TamHSBtoRGB, which reads the rounded low bytes
// directly and so gives true HSB colours.
#pragma once

#include <cstdint>

#include "foundation/tamArray.h"
#include "foundation/tamString.h"

namespace tam {

// The named colours, in table order, as CSS keyword values at alpha 255, plus
// the two transparent ones.
// clang-format off
#define TAM_COLOR_TAGS(X) \
    X(AliceBlue, 0xFFF0F8FF) \
    X(AntiqueWhite, 0xFFFAEBD7) \
    X(Aqua, 0xFF00FFFF) \
    X(Aquamarine, 0xFF7FFFD4) \
    X(Azure, 0xFFF0FFFF) \
    X(Beige, 0xFFF5F5DC) \
    X(Bisque, 0xFFFFE4C4) \
    X(Black, 0xFF000000) \
    X(BlanchedAlmond, 0xFFFFEBCD) \
    X(Blue, 0xFF0000FF) \
    X(BlueViolet, 0xFF8A2BE2) \
    X(Brown, 0xFFA52A2A) \
    X(BurlyWood, 0xFFDEB887) \
    X(CadetBlue, 0xFF5F9EA0) \
    X(Chartreuse, 0xFF7FFF00) \
    X(Chocolate, 0xFFD2691E) \
    X(Coral, 0xFFFF7F50) \
    X(CornflowerBlue, 0xFF6495ED) \
    X(Cornsilk, 0xFFFFF8DC) \
    X(Crimson, 0xFFDC143C) \
    X(Cyan, 0xFF00FFFF) \
    X(DarkBlue, 0xFF00008B) \
    X(DarkCyan, 0xFF008B8B) \
    X(DarkGoldenrod, 0xFFB8860B) \
    X(DarkGray, 0xFFA9A9A9) \
    X(DarkGreen, 0xFF006400) \
    X(DarkKhaki, 0xFFBDB76B) \
    X(DarkMagenta, 0xFF8B008B) \
    X(DarkOliveGreen, 0xFF556B2F) \
    X(DarkOrange, 0xFFFF8C00) \
    X(DarkOrchid, 0xFF9932CC) \
    X(DarkRed, 0xFF8B0000) \
    X(DarkSalmon, 0xFFE9967A) \
    X(DarkSeaGreen, 0xFF8FBC8F) \
    X(DarkSlateBlue, 0xFF483D8B) \
    X(DarkSlateGray, 0xFF2F4F4F) \
    X(DarkTurquoise, 0xFF00CED1) \
    X(DarkViolet, 0xFF9400D3) \
    X(DeepPink, 0xFFFF1493) \
    X(DeepSkyBlue, 0xFF00BFFF) \
    X(DimGray, 0xFF696969) \
    X(DodgerBlue, 0xFF1E90FF) \
    X(Firebrick, 0xFFB22222) \
    X(FloralWhite, 0xFFFFFAF0) \
    X(ForestGreen, 0xFF228B22) \
    X(Fuchsia, 0xFFFF00FF) \
    X(Gainsboro, 0xFFDCDCDC) \
    X(GhostWhite, 0xFFF8F8FF) \
    X(Gold, 0xFFFFD700) \
    X(Goldenrod, 0xFFDAA520) \
    X(Gray, 0xFF808080) \
    X(Green, 0xFF008000) \
    X(GreenYellow, 0xFFADFF2F) \
    X(Honeydew, 0xFFF0FFF0) \
    X(HotPink, 0xFFFF69B4) \
    X(IndianRed, 0xFFCD5C5C) \
    X(Indigo, 0xFF4B0082) \
    X(Ivory, 0xFFFFFFF0) \
    X(Khaki, 0xFFF0E68C) \
    X(Lavender, 0xFFE6E6FA) \
    X(LavenderBlush, 0xFFFFF0F5) \
    X(LawnGreen, 0xFF7CFC00) \
    X(LemonChiffon, 0xFFFFFACD) \
    X(LightBlue, 0xFFADD8E6) \
    X(LightCoral, 0xFFF08080) \
    X(LightCyan, 0xFFE0FFFF) \
    X(LightGoldenrodYellow, 0xFFFAFAD2) \
    X(LightGray, 0xFFD3D3D3) \
    X(LightGreen, 0xFF90EE90) \
    X(LightPink, 0xFFFFB6C1) \
    X(LightSalmon, 0xFFFFA07A) \
    X(LightSeaGreen, 0xFF20B2AA) \
    X(LightSkyBlue, 0xFF87CEFA) \
    X(LightSlateGray, 0xFF778899) \
    X(LightSteelBlue, 0xFFB0C4DE) \
    X(LightYellow, 0xFFFFFFE0) \
    X(Lime, 0xFF00FF00) \
    X(LimeGreen, 0xFF32CD32) \
    X(Linen, 0xFFFAF0E6) \
    X(Magenta, 0xFFFF00FF) \
    X(Maroon, 0xFF800000) \
    X(MediumAquamarine, 0xFF66CDAA) \
    X(MediumBlue, 0xFF0000CD) \
    X(MediumOrchid, 0xFFBA55D3) \
    X(MediumPurple, 0xFF9370DB) \
    X(MediumSeaGreen, 0xFF3CB371) \
    X(MediumSlateBlue, 0xFF7B68EE) \
    X(MediumSpringGreen, 0xFF00FA9A) \
    X(MediumTurquoise, 0xFF48D1CC) \
    X(MediumVioletRed, 0xFFC71585) \
    X(MidnightBlue, 0xFF191970) \
    X(MintCream, 0xFFF5FFFA) \
    X(MistyRose, 0xFFFFE4E1) \
    X(Moccasin, 0xFFFFE4B5) \
    X(NavajoWhite, 0xFFFFDEAD) \
    X(Navy, 0xFF000080) \
    X(OldLace, 0xFFFDF5E6) \
    X(Olive, 0xFF808000) \
    X(OliveDrab, 0xFF6B8E23) \
    X(Orange, 0xFFFFA500) \
    X(OrangeRed, 0xFFFF4500) \
    X(Orchid, 0xFFDA70D6) \
    X(PaleGoldenrod, 0xFFEEE8AA) \
    X(PaleGreen, 0xFF98FB98) \
    X(PaleTurquoise, 0xFFAFEEEE) \
    X(PaleVioletRed, 0xFFDB7093) \
    X(PapayaWhip, 0xFFFFEFD5) \
    X(PeachPuff, 0xFFFFDAB9) \
    X(Peru, 0xFFCD853F) \
    X(Pink, 0xFFFFC0CB) \
    X(Plum, 0xFFDDA0DD) \
    X(PowderBlue, 0xFFB0E0E6) \
    X(Purple, 0xFF800080) \
    X(Red, 0xFFFF0000) \
    X(RosyBrown, 0xFFBC8F8F) \
    X(RoyalBlue, 0xFF4169E1) \
    X(SaddleBrown, 0xFF8B4513) \
    X(Salmon, 0xFFFA8072) \
    X(SandyBrown, 0xFFF4A460) \
    X(SeaGreen, 0xFF2E8B57) \
    X(SeaShell, 0xFFFFF5EE) \
    X(Sienna, 0xFFA0522D) \
    X(Silver, 0xFFC0C0C0) \
    X(SkyBlue, 0xFF87CEEB) \
    X(SlateBlue, 0xFF6A5ACD) \
    X(SlateGray, 0xFF708090) \
    X(Snow, 0xFFFFFAFA) \
    X(SpringGreen, 0xFF00FF7F) \
    X(SteelBlue, 0xFF4682B4) \
    X(Tan, 0xFFD2B48C) \
    X(Teal, 0xFF008080) \
    X(Thistle, 0xFFD8BFD8) \
    X(Tomato, 0xFFFF6347) \
    X(TransparentBlack, 0x00000000) \
    X(TransparentWhite, 0x00FFFFFF) \
    X(Turquoise, 0xFF40E0D0) \
    X(Violet, 0xFFEE82EE) \
    X(Wheat, 0xFFF5DEB3) \
    X(White, 0xFFFFFFFF) \
    X(WhiteSmoke, 0xFFF5F5F5) \
    X(Yellow, 0xFFFFFF00) \
    X(YellowGreen, 0xFF9ACD32)
// clang-format on

namespace ColorTag {

// A colour word by name (ColorTag::AliceBlue); assigning one to a tam::Color
// copies the word.
struct Index {
    uint32_t word;
};

#define TAM_COLOR_TAG_CONSTANT(name, word) inline constexpr Index name{word};
TAM_COLOR_TAGS(TAM_COLOR_TAG_CONSTANT)
#undef TAM_COLOR_TAG_CONSTANT

struct DatabaseEntry {
    String name;
    uint32_t word;
};

// The named colours with their words, filled by Load(); owns its entries.
class Database : public ValArray<DatabaseEntry*> {
public:
    using Entry = DatabaseEntry;
    static constexpr int kEntryCount = 142;

    Database();
    ~Database() override;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Adds every named colour when the table is empty.
    void Load();
    // The first entry of that name (any case), or -1.
    int IndexOf(const String& name) const;
    // The first entry with exactly that word, or -1 (Aqua before Cyan,
    // Fuchsia before Magenta).
    int IndexOf(unsigned long word) const;
    const Entry* GetEntry(int index) const;
};

}  // namespace ColorTag

class Color {
public:
    // No defined value until assigned (zero here).
    Color() : word(0) {}
    Color(const Color& other) = default;
    Color(unsigned long word) : word(static_cast<uint32_t>(word)) {}
    Color(unsigned char r, unsigned char g, unsigned char b) : word(Pack(255, r, g, b)) {}
    Color(unsigned char r, unsigned char g, unsigned char b, unsigned char a) : word(Pack(a, r, g, b)) {}
    Color(unsigned char r, unsigned char g, unsigned char b, float a) : word(Pack(FloatToByte(a), r, g, b)) {}
    Color(float h, float s, float b, float a);
    Color(float h, float s, float b, unsigned char a);
    Color(ColorTag::Index tag) : word(tag.word) {}

    Color& operator=(const Color& other) = default;
    Color& operator=(ColorTag::Index tag) {
        word = tag.word;
        return *this;
    }
    bool operator==(const Color& other) const { return word == other.word; }
    bool operator!=(const Color& other) const { return word != other.word; }

    static Color CreateGreyLevel(float level);
    static Color CreateFromRGB(unsigned char r, unsigned char g, unsigned char b) { return Color(r, g, b); }
    static Color CreateFromARGB(unsigned char a, unsigned char r, unsigned char g, unsigned char b) {
        return Color(r, g, b, a);
    }
    static Color CreateFromARGBFloat(float a, float r, float g, float b);
    static Color CreateFromHSB(float a, float h, float s, float b) { return Color(h, s, b, a); }
    static Color CreateFromWaveLength(double nanometres, double gamma);

    uint32_t GetARGB() const { return word; }
    unsigned char GetAlpha() const { return static_cast<unsigned char>(word >> 24); }
    unsigned char GetRed() const { return static_cast<unsigned char>(word >> 16); }
    unsigned char GetGreen() const { return static_cast<unsigned char>(word >> 8); }
    unsigned char GetBlue() const { return static_cast<unsigned char>(word); }

    bool IsTransparent() const { return GetAlpha() == 0; }
    bool IsOpaque() const { return GetAlpha() == 255; }

    void SetARGB(unsigned char a, unsigned char r, unsigned char g, unsigned char b) {
        word = Pack(a, r, g, b);
    }
    void SetAlpha(float a) { SetByte(24, FloatToByte(a)); }
    void SetRed(float r) { SetByte(16, FloatToByte(r)); }
    void SetGreen(float g) { SetByte(8, FloatToByte(g)); }
    void SetBlue(float b) { SetByte(0, FloatToByte(b)); }

    float GetFloatAlpha() const { return GetAlpha() / 255.0f; }
    float GetFloatRed() const { return GetRed() / 255.0f; }
    float GetFloatGreen() const { return GetGreen() / 255.0f; }
    float GetFloatBlue() const { return GetBlue() / 255.0f; }

    void GetHSB(float& h, float& s, float& b) const;
    float GetHue() const;
    float GetSaturation() const;
    float GetBrightness() const;

    void Brighten(float amount);
    void Darken(float amount);
    // Adds `other`, taken as premultiplied, over this colour; nothing clamps.
    void Blend(const Color& other);

    Color WithAlpha(unsigned char a) const { return WithByte(24, a); }
    Color WithAlpha(float a) const { return WithByte(24, FloatToByte(a)); }
    Color WithRed(unsigned char r) const { return WithByte(16, r); }
    Color WithRed(float r) const { return WithByte(16, FloatToByte(r)); }
    Color WithGreen(unsigned char g) const { return WithByte(8, g); }
    Color WithGreen(float g) const { return WithByte(8, FloatToByte(g)); }
    Color WithBlue(unsigned char b) const { return WithByte(0, b); }
    Color WithBlue(float b) const { return WithByte(0, FloatToByte(b)); }
    Color WithHue(float h) const;
    Color WithSaturation(float s) const;
    Color WithBrightness(float b) const;
    Color WithRotatedHue(float amount) const;
    Color WithMultipliedSaturation(float factor) const;
    Color WithMultipliedBrightness(float factor) const;
    Color WithMultipliedAlpha(float factor) const { return WithAlpha(GetFloatAlpha() * factor); }
    Color WithBrighten(float amount) const;
    Color WithDarken(float amount) const;
    Color WithBlend(const Color& other) const;

    // The float-to-byte rule of every float channel.
    static unsigned char FloatToByte(float value);

private:
    static uint32_t Pack(unsigned a, unsigned r, unsigned g, unsigned b) {
        return (a << 24) | (r << 16) | (g << 8) | b;
    }
    void SetByte(int shift, unsigned char value) {
        word = (word & ~(0xFFu << shift)) | (static_cast<uint32_t>(value) << shift);
    }
    Color WithByte(int shift, unsigned char value) const {
        Color copy(*this);
        copy.SetByte(shift, value);
        return copy;
    }

    uint32_t word;
};

}  // namespace tam

// Hue, saturation and brightness (each 0..1) to red, green and blue bytes.
void TamHSBtoRGB(float h, float s, float b, unsigned char& r, unsigned char& g, unsigned char& bl);
