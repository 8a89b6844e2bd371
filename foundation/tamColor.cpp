// Colour arithmetic and the named-colour table.
#include "foundation/tamColor.h"

#include <climits>
#include <cmath>

#include "frame/fastRound.h"

namespace tam {

namespace {

// truncate() into a byte channel: the low byte of the integer part, with NaN
// and values beyond int taken to the nearest int limit (0 for NaN).
unsigned char TruncateToByte(float value) {
    if (!(value == value)) return 0;
    if (value >= 2147483520.0f) return static_cast<unsigned char>(INT_MAX);
    if (value <= -2147483648.0f) return static_cast<unsigned char>(INT_MIN);
    return static_cast<unsigned char>(static_cast<int>(value));
}

}  // namespace

unsigned char Color::FloatToByte(float value) {
    // A limit follows the step directly, so it sees the step's upper word.
    const int32_t rounded = fastRoundHiUpper(value * 255.0);
    if (rounded > 255) return 255;
    if (rounded < 1) return 0;
    return static_cast<unsigned char>(rounded);
}

Color::Color(float h, float s, float b, float a) {
    unsigned char r, g, bl;
    TamHSBtoRGB(h, s, b, r, g, bl);
    word = Pack(FloatToByte(a), r, g, bl);
}

Color::Color(float h, float s, float b, unsigned char a) {
    unsigned char r, g, bl;
    TamHSBtoRGB(h, s, b, r, g, bl);
    word = Pack(a, r, g, bl);
}

Color Color::CreateGreyLevel(float level) {
    const unsigned char grey = FloatToByte(level);
    return Color(grey, grey, grey);
}

Color Color::CreateFromARGBFloat(float a, float r, float g, float b) {
    return Color(FloatToByte(r), FloatToByte(g), FloatToByte(b), FloatToByte(a));
}

Color Color::CreateFromWaveLength(double w, double gamma) {
    double red = 0.0, green = 0.0, blue = 0.0;
    // The first row that holds wins, so a boundary belongs to the lower range.
    if (w >= 380.0 && w <= 440.0) {
        red = (w - 440.0) / -60.0;
        blue = 1.0;
    } else if (w >= 440.0 && w <= 490.0) {
        green = (w - 440.0) / 50.0;
        blue = 1.0;
    } else if (w >= 490.0 && w <= 510.0) {
        green = 1.0;
        blue = (w - 510.0) / -20.0;
    } else if (w >= 510.0 && w <= 580.0) {
        red = (w - 510.0) / 70.0;
        green = 1.0;
    } else if (w >= 580.0 && w <= 645.0) {
        red = 1.0;
        green = (w - 645.0) / -65.0;
    } else if (w >= 645.0 && w <= 780.0) {
        red = 1.0;
    }
    double intensity = 1.0;
    if (w > 700.0)
        intensity = (780.0 - w) * 0.7 / 80.0 + 0.3;
    else if (w < 420.0)
        intensity = (w - 380.0) * 0.7 / 40.0 + 0.3;
    const auto channel = [&](double c) {
        return FloatToByte(static_cast<float>(std::pow(c * intensity, gamma)));
    };
    return Color(channel(red), channel(green), channel(blue));
}

void Color::GetHSB(float& h, float& s, float& b) const {
    const int red = GetRed(), green = GetGreen(), blue = GetBlue();
    int high = red > green ? red : green;
    if (blue > high) high = blue;
    int low = red < green ? red : green;
    if (blue < low) low = blue;
    const int range = high - low;
    if (high == 0) {
        h = s = b = 0.0f;
        return;
    }
    s = static_cast<float>(range) / static_cast<float>(high);
    b = static_cast<float>(high) * 0.003921569f;
    if (s == 0.0f) {
        h = 0.0f;
        return;
    }
    const float inverse = 1.0f / static_cast<float>(range);
    const float rc = static_cast<float>(high - red) * inverse;
    const float gc = static_cast<float>(high - green) * inverse;
    const float bc = static_cast<float>(high - blue) * inverse;
    float hue;
    if (red == high)
        hue = bc - gc;
    else if (green == high)
        hue = 2.0f + rc - bc;
    else
        hue = 4.0f + gc - rc;
    hue *= 0.16666667f;
    if (hue < 0.0f) hue += 1.0f;
    h = hue;
}

float Color::GetHue() const {
    float h, s, b;
    GetHSB(h, s, b);
    return h;
}

float Color::GetSaturation() const {
    float h, s, b;
    GetHSB(h, s, b);
    return s;
}

float Color::GetBrightness() const {
    float h, s, b;
    GetHSB(h, s, b);
    return b;
}

void Color::Brighten(float amount) {
    const float f = 1.0f / (amount + 1.0f);
    const auto lift = [f](unsigned char c) { return TruncateToByte(255.0f - (255.0f - c) * f); };
    word = Pack(GetAlpha(), lift(GetRed()), lift(GetGreen()), lift(GetBlue()));
}

void Color::Darken(float amount) {
    const float f = 1.0f / (amount + 1.0f);
    const auto lower = [f](unsigned char c) { return TruncateToByte(c * f); };
    word = Pack(GetAlpha(), lower(GetRed()), lower(GetGreen()), lower(GetBlue()));
}

void Color::Blend(const Color& other) {
    const uint32_t inverseAlpha = 256u - other.GetAlpha();
    const uint32_t w = word;
    word = ((((w >> 8) & 0x00FF00FFu) * inverseAlpha) & 0xFF00FF00u) +
           ((((w & 0x00FF00FFu) * inverseAlpha) >> 8) & 0x00FF00FFu) + other.word;
}

Color Color::WithHue(float h) const {
    float oldHue, s, b;
    GetHSB(oldHue, s, b);
    return Color(h, s, b, GetAlpha());
}

Color Color::WithSaturation(float s) const {
    float h, oldSaturation, b;
    GetHSB(h, oldSaturation, b);
    return Color(h, s, b, GetAlpha());
}

Color Color::WithBrightness(float b) const {
    float h, s, oldBrightness;
    GetHSB(h, s, oldBrightness);
    return Color(h, s, b, GetAlpha());
}

Color Color::WithRotatedHue(float amount) const {
    float h = GetHue() + amount;
    h -= std::floor(h);
    return WithHue(h);
}

Color Color::WithMultipliedSaturation(float factor) const {
    const float s = GetSaturation() * factor;
    return WithSaturation(s > 1.0f ? 1.0f : s);
}

Color Color::WithMultipliedBrightness(float factor) const {
    const float b = GetBrightness() * factor;
    return WithBrightness(b > 1.0f ? 1.0f : b);
}

Color Color::WithBrighten(float amount) const {
    Color copy(*this);
    copy.Brighten(amount);
    return copy;
}

Color Color::WithDarken(float amount) const {
    Color copy(*this);
    copy.Darken(amount);
    return copy;
}

Color Color::WithBlend(const Color& other) const {
    Color copy(*this);
    copy.Blend(other);
    return copy;
}

// ---- ColorTag::Database -------------------------------------------------------

namespace ColorTag {

namespace {
struct NamedColor {
    const char* name;
    uint32_t word;
};
#define TAM_COLOR_TAG_ROW(name, word) {#name, word},
constexpr NamedColor kNamedColors[] = {TAM_COLOR_TAGS(TAM_COLOR_TAG_ROW)};
#undef TAM_COLOR_TAG_ROW
static_assert(sizeof kNamedColors / sizeof kNamedColors[0] == Database::kEntryCount);
}  // namespace

Database::Database() : ValArray<DatabaseEntry*>(8) {}

Database::~Database() {
    for (int i = count - 1; i >= 0; --i) delete data[i];
}

void Database::Load() {
    if (count != 0) return;
    IncreaseAllocatedStorage(kEntryCount);
    for (const NamedColor& named : kNamedColors) Add(new Entry{String(named.name), named.word});
}

int Database::IndexOf(const String& name) const {
    for (int i = 0; i < count; ++i)
        if (data[i]->name.EqualsIgnoreCase(name)) return i;
    return -1;
}

int Database::IndexOf(unsigned long word) const {
    for (int i = 0; i < count; ++i)
        if (data[i]->word == word) return i;
    return -1;
}

const Database::Entry* Database::GetEntry(int index) const {
    if (index < 0 || index >= count) return nullptr;
    return data[index];
}

}  // namespace ColorTag

}  // namespace tam

void TamHSBtoRGB(float h, float s, float b, unsigned char& r, unsigned char& g, unsigned char& bl) {
    // The low bytes of the rounding step are read with no limit.
    const auto lowByte = [](float x) { return static_cast<unsigned char>(tam::fastRoundHi(x)); };
    const float v = b * 255.0f;
    const unsigned char V = lowByte(v);
    if (s == 0.0f) {
        r = g = bl = V;
        return;
    }
    // The small offset keeps x off the sector boundaries.
    const float x = (h - std::floor(h)) * 6.0f + 0.00001f;
    const float i = std::floor(x);
    const float f = x - i;
    const unsigned char P = lowByte((1.0f - s) * v);
    const unsigned char Q = lowByte(v * (1.0f - f * s));
    const unsigned char T = lowByte((1.0f - (1.0f - f) * s) * v);
    if (1.0f > x) {
        r = V, g = T, bl = P;
    } else if (2.0f > x) {
        r = Q, g = V, bl = P;
    } else if (3.0f > x) {
        r = P, g = V, bl = T;
    } else if (4.0f > x) {
        r = P, g = Q, bl = V;
    } else if (5.0f > x) {
        r = T, g = P, bl = V;
    } else if (6.0f > x) {
        r = V, g = P, bl = Q;
    } else {
        r = g = bl = 0;
    }
}
