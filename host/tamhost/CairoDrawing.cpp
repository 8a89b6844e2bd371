// Drawing objects of the reference host over cairo and pango.
#include "tamhost/CairoDrawing.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

namespace tamhost {

using namespace GmpiDrawing_API;

namespace {

// Reference counting shared by every drawing object; made with one reference.
template <class I>
class Counted : public I {
public:
    virtual ~Counted() = default;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override {
        if (--refCount_ == 0) {
            delete this;
            return 0;
        }
        return refCount_;
    }

protected:
    int32_t answer(const gmpi::MpGuid& iid, void** object, const gmpi::MpGuid& own) {
        if (object == nullptr) return MP_FAIL;
        if (iid == MP_IID_UNKNOWN || iid == own) {
            *object = static_cast<I*>(this);
            addRef();
            return MP_OK;
        }
        *object = nullptr;
        return MP_NOSUPPORT;
    }

private:
    int32_t refCount_ = 1;
};

// Identifiers the host's objects answer besides MP_IID_UNKNOWN.
constexpr gmpi::MpGuid kBrushId = {0x7A1C0001, 0x51E2, 0x4C3B, {0x9A, 0x10, 0x22, 0x41, 0x6B, 0x0C, 0x3E, 0x01}};
constexpr gmpi::MpGuid kGeometryId = {0x7A1C0002, 0x51E2, 0x4C3B, {0x9A, 0x10, 0x22, 0x41, 0x6B, 0x0C, 0x3E, 0x02}};
constexpr gmpi::MpGuid kTextFormatId = {0x7A1C0003, 0x51E2, 0x4C3B, {0x9A, 0x10, 0x22, 0x41, 0x6B, 0x0C, 0x3E, 0x03}};
constexpr gmpi::MpGuid kPixelsId = {0x7A1C0004, 0x51E2, 0x4C3B, {0x9A, 0x10, 0x22, 0x41, 0x6B, 0x0C, 0x3E, 0x04}};
constexpr gmpi::MpGuid kStopsId = {0x7A1C0005, 0x51E2, 0x4C3B, {0x9A, 0x10, 0x22, 0x41, 0x6B, 0x0C, 0x3E, 0x05}};

// Colour channels limited to 0 .. 1 (NaN to 0).
double channel(float value) { return value > 0.0f ? (value < 1.0f ? value : 1.0) : 0.0; }

uint32_t toArgb(const MP1_COLOR& c) {
    auto byte = [](float v) { return static_cast<uint32_t>(std::lround(channel(v) * 255.0)); };
    return (byte(c.a) << 24) | (byte(c.r) << 16) | (byte(c.g) << 8) | byte(c.b);
}

bool finite(float v) { return std::isfinite(v); }

// Something a brush can do to a cairo context: become its source.
class BrushSource {
public:
    virtual ~BrushSource() = default;
    virtual void apply(cairo_t* cr) const = 0;
    virtual uint32_t argb() const { return 0; }
};

class SolidBrush final : public Counted<IMpSolidColorBrush>, public BrushSource {
public:
    SolidBrush(IMpFactory* factory, const MP1_COLOR& color) : factory_(factory), color_(color) { factory_->addRef(); }
    ~SolidBrush() override { factory_->release(); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override { return answer(iid, object, kBrushId); }
    void GetFactory(IMpFactory** factory) override {
        factory_->addRef();
        *factory = factory_;
    }
    void SetColor(const MP1_COLOR* color) override {
        if (color != nullptr) color_ = *color;
    }
    MP1_COLOR GetColor() override { return color_; }
    void apply(cairo_t* cr) const override {
        cairo_set_source_rgba(cr, channel(color_.r), channel(color_.g), channel(color_.b), channel(color_.a));
    }
    uint32_t argb() const override { return toArgb(color_); }

private:
    IMpFactory* factory_;
    MP1_COLOR color_;
};

class GradientStops final : public Counted<IMpGradientStopCollection> {
public:
    GradientStops(IMpFactory* factory, const MP1_GRADIENT_STOP* stops, uint32_t count)
        : factory_(factory), stops_(stops, stops + count) {
        factory_->addRef();
    }
    ~GradientStops() override { factory_->release(); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override { return answer(iid, object, kStopsId); }
    void GetFactory(IMpFactory** factory) override {
        factory_->addRef();
        *factory = factory_;
    }
    uint32_t GetGradientStopCount() override { return static_cast<uint32_t>(stops_.size()); }
    const std::vector<MP1_GRADIENT_STOP>& stops() const { return stops_; }

private:
    IMpFactory* factory_;
    std::vector<MP1_GRADIENT_STOP> stops_;
};

class LinearBrush final : public Counted<IMpLinearGradientBrush>, public BrushSource {
public:
    LinearBrush(IMpFactory* factory, const MP1_LINEAR_GRADIENT_BRUSH_PROPERTIES& properties,
                const std::vector<MP1_GRADIENT_STOP>& stops)
        : factory_(factory), start_(properties.startPoint), end_(properties.endPoint), stops_(stops) {
        factory_->addRef();
    }
    ~LinearBrush() override { factory_->release(); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override { return answer(iid, object, kBrushId); }
    void GetFactory(IMpFactory** factory) override {
        factory_->addRef();
        *factory = factory_;
    }
    void SetStartPoint(MP1_POINT point) override { start_ = point; }
    void SetEndPoint(MP1_POINT point) override { end_ = point; }
    void apply(cairo_t* cr) const override {
        cairo_pattern_t* pattern = cairo_pattern_create_linear(start_.x, start_.y, end_.x, end_.y);
        for (const MP1_GRADIENT_STOP& stop : stops_) {
            cairo_pattern_add_color_stop_rgba(pattern, channel(stop.position), channel(stop.color.r),
                                              channel(stop.color.g), channel(stop.color.b), channel(stop.color.a));
        }
        cairo_set_source(cr, pattern);
        cairo_pattern_destroy(pattern);
    }

private:
    IMpFactory* factory_;
    MP1_POINT start_;
    MP1_POINT end_;
    std::vector<MP1_GRADIENT_STOP> stops_;
};

const BrushSource* brushSource(const IMpBrush* brush) { return dynamic_cast<const BrushSource*>(brush); }

// ---- paths --------------------------------------------------------------------

struct Segment {
    bool bezier = false;
    MP1_POINT points[3];
};

struct Figure {
    MP1_POINT start{0.0f, 0.0f};
    bool filled = true;
    bool closed = false;
    std::vector<Segment> segments;
};

class PathGeometry;

class GeometrySink final : public Counted<IMpGeometrySink> {
public:
    explicit GeometrySink(PathGeometry* geometry);
    ~GeometrySink() override;
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        return answer(iid, object, kGeometryId);
    }
    void BeginFigure(MP1_POINT startPoint, MP1_FIGURE_BEGIN figureBegin) override;
    void AddLine(MP1_POINT point) override;
    void AddLines(const MP1_POINT* points, uint32_t count) override {
        if (points == nullptr) return;
        for (uint32_t i = 0; i < count; ++i) AddLine(points[i]);
    }
    void AddBezier(const MP1_BEZIER_SEGMENT* bezier) override;
    void EndFigure(MP1_FIGURE_END figureEnd) override;
    int32_t Close() override;

private:
    Figure* current();
    PathGeometry* geometry_;
    bool closed_ = false;
};

class PathGeometry final : public Counted<IMpPathGeometry> {
public:
    explicit PathGeometry(IMpFactory* factory) : factory_(factory) { factory_->addRef(); }
    ~PathGeometry() override { factory_->release(); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        return answer(iid, object, kGeometryId);
    }
    void GetFactory(IMpFactory** factory) override {
        factory_->addRef();
        *factory = factory_;
    }
    int32_t Open(IMpGeometrySink** sink) override {
        if (sink == nullptr) return MP_FAIL;
        *sink = nullptr;
        if (opened_) return MP_FAIL;
        opened_ = true;
        *sink = new GeometrySink(this);
        return MP_OK;
    }
    int32_t GetBounds(MP1_RECT* bounds) override {
        if (bounds == nullptr) return MP_FAIL;
        bool any = false;
        MP1_RECT r{0.0f, 0.0f, 0.0f, 0.0f};
        auto grow = [&](MP1_POINT p) {
            if (!any) {
                r = {p.x, p.y, p.x, p.y};
                any = true;
            }
            r.left = std::min(r.left, p.x);
            r.top = std::min(r.top, p.y);
            r.right = std::max(r.right, p.x);
            r.bottom = std::max(r.bottom, p.y);
        };
        for (const Figure& f : figures) {
            grow(f.start);
            for (const Segment& s : f.segments) {
                for (int i = 0; i < (s.bezier ? 3 : 1); ++i) grow(s.points[i]);
            }
        }
        *bounds = r;
        return MP_OK;
    }
    // Lays the figures (all, or the filled ones) on the context as its path.
    void trace(cairo_t* cr, bool filledOnly) const {
        cairo_new_path(cr);
        for (const Figure& f : figures) {
            if (filledOnly && !f.filled) continue;
            cairo_move_to(cr, f.start.x, f.start.y);
            for (const Segment& s : f.segments) {
                if (s.bezier) {
                    cairo_curve_to(cr, s.points[0].x, s.points[0].y, s.points[1].x, s.points[1].y, s.points[2].x,
                                   s.points[2].y);
                } else {
                    cairo_line_to(cr, s.points[0].x, s.points[0].y);
                }
            }
            if (f.closed) cairo_close_path(cr);
        }
    }

    std::vector<Figure> figures;
    bool figureOpen = false;

private:
    IMpFactory* factory_;
    bool opened_ = false;
};

GeometrySink::GeometrySink(PathGeometry* geometry) : geometry_(geometry) { geometry_->addRef(); }
GeometrySink::~GeometrySink() { geometry_->release(); }

Figure* GeometrySink::current() {
    if (closed_ || !geometry_->figureOpen || geometry_->figures.empty()) return nullptr;
    return &geometry_->figures.back();
}

void GeometrySink::BeginFigure(MP1_POINT startPoint, MP1_FIGURE_BEGIN figureBegin) {
    if (closed_) return;
    Figure figure;
    figure.start = startPoint;
    figure.filled = figureBegin == MP1_FIGURE_BEGIN_FILLED;
    geometry_->figures.push_back(figure);
    geometry_->figureOpen = true;
}

void GeometrySink::AddLine(MP1_POINT point) {
    if (Figure* f = current()) {
        Segment s;
        s.points[0] = point;
        f->segments.push_back(s);
    }
}

void GeometrySink::AddBezier(const MP1_BEZIER_SEGMENT* bezier) {
    Figure* f = current();
    if (f == nullptr || bezier == nullptr) return;
    Segment s;
    s.bezier = true;
    s.points[0] = bezier->point1;
    s.points[1] = bezier->point2;
    s.points[2] = bezier->point3;
    f->segments.push_back(s);
}

void GeometrySink::EndFigure(MP1_FIGURE_END figureEnd) {
    if (Figure* f = current()) f->closed = figureEnd == MP1_FIGURE_END_CLOSED;
    geometry_->figureOpen = false;
}

int32_t GeometrySink::Close() {
    closed_ = true;
    geometry_->figureOpen = false;
    return MP_OK;
}

// ---- text ---------------------------------------------------------------------

class TextFormat final : public Counted<IMpTextFormat> {
public:
    TextFormat(const char* family, MP1_FONT_WEIGHT weight, MP1_FONT_STYLE style, float size) {
        font_ = pango_font_description_new();
        pango_font_description_set_family(font_, family != nullptr && *family != '\0' ? family : "Sans");
        pango_font_description_set_weight(font_, static_cast<PangoWeight>(std::clamp<int>(weight, 100, 1000)));
        pango_font_description_set_style(font_, style == MP1_FONT_STYLE_ITALIC    ? PANGO_STYLE_ITALIC
                                                : style == MP1_FONT_STYLE_OBLIQUE ? PANGO_STYLE_OBLIQUE
                                                                                  : PANGO_STYLE_NORMAL);
        const double pixels = finite(size) && size > 0.0f ? std::min<double>(size, 1000.0) : 12.0;
        pango_font_description_set_absolute_size(font_, pixels * PANGO_SCALE);
    }
    ~TextFormat() override { pango_font_description_free(font_); }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        return answer(iid, object, kTextFormatId);
    }
    int32_t SetTextAlignment(MP1_TEXT_ALIGNMENT a) override {
        alignment_ = a;
        return MP_OK;
    }
    int32_t SetParagraphAlignment(MP1_PARAGRAPH_ALIGNMENT a) override {
        paragraph_ = a;
        return MP_OK;
    }
    int32_t SetWordWrapping(MP1_WORD_WRAPPING w) override {
        wrapping_ = w;
        return MP_OK;
    }
    int32_t GetTextExtentU(const char* text, int32_t length, MP1_SIZE* size) override {
        if (size == nullptr) return MP_FAIL;
        cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
        cairo_t* cr = cairo_create(surface);
        PangoLayout* layout = makeLayout(cr, text, length, -1.0);
        PangoRectangle logical;
        pango_layout_get_pixel_extents(layout, nullptr, &logical);
        size->width = static_cast<float>(logical.width);
        size->height = static_cast<float>(logical.height);
        g_object_unref(layout);
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
        return MP_OK;
    }
    int32_t GetFontMetrics(MP1_FONT_METRICS* metrics) override {
        if (metrics == nullptr) return MP_FAIL;
        PangoFontMap* map = pango_cairo_font_map_get_default();
        PangoContext* context = pango_font_map_create_context(map);
        PangoFontMetrics* m = pango_context_get_metrics(context, font_, nullptr);
        metrics->ascent = static_cast<float>(pango_font_metrics_get_ascent(m)) / PANGO_SCALE;
        metrics->descent = static_cast<float>(pango_font_metrics_get_descent(m)) / PANGO_SCALE;
        metrics->lineGap = 0.0f;
        metrics->capHeight = metrics->ascent * 0.7f;
        metrics->xHeight = metrics->ascent * 0.5f;
        pango_font_metrics_unref(m);
        g_object_unref(context);
        return MP_OK;
    }
    int32_t SetLineSpacing(float lineSpacing, float) override {
        lineSpacing_ = finite(lineSpacing) ? lineSpacing : 0.0f;
        return MP_OK;
    }

    // A layout of the text; width < 0 lays it out on one line.
    PangoLayout* makeLayout(cairo_t* cr, const char* text, int32_t length, double width) const {
        PangoLayout* layout = pango_cairo_create_layout(cr);
        pango_layout_set_font_description(layout, font_);
        if (text != nullptr) {
            const size_t size = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
            pango_layout_set_text(layout, text, static_cast<int>(std::min<size_t>(size, 1u << 20)));
        }
        if (width >= 0.0) {
            pango_layout_set_width(layout, static_cast<int>(std::min(width, 1e6) * PANGO_SCALE));
            pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
            if (wrapping_ == MP1_WORD_WRAPPING_NO_WRAP) {
                pango_layout_set_width(layout, -1);
            }
            pango_layout_set_alignment(layout, alignment_ == MP1_TEXT_ALIGNMENT_CENTER     ? PANGO_ALIGN_CENTER
                                               : alignment_ == MP1_TEXT_ALIGNMENT_TRAILING ? PANGO_ALIGN_RIGHT
                                                                                           : PANGO_ALIGN_LEFT);
        }
        if (lineSpacing_ > 0.0f) pango_layout_set_spacing(layout, static_cast<int>(lineSpacing_ * PANGO_SCALE));
        return layout;
    }
    MP1_TEXT_ALIGNMENT alignment() const { return alignment_; }
    MP1_PARAGRAPH_ALIGNMENT paragraph() const { return paragraph_; }
    MP1_WORD_WRAPPING wrapping() const { return wrapping_; }

private:
    PangoFontDescription* font_ = nullptr;
    MP1_TEXT_ALIGNMENT alignment_ = MP1_TEXT_ALIGNMENT_LEADING;
    MP1_PARAGRAPH_ALIGNMENT paragraph_ = MP1_PARAGRAPH_ALIGNMENT_NEAR;
    MP1_WORD_WRAPPING wrapping_ = MP1_WORD_WRAPPING_WRAP;
    float lineSpacing_ = 0.0f;
};

// ---- bitmaps ------------------------------------------------------------------

class Bitmap;

class BitmapPixels final : public Counted<IMpBitmapPixels> {
public:
    BitmapPixels(IMpBitmap* owner, cairo_surface_t* surface, bool writing)
        : owner_(owner), surface_(surface), writing_(writing) {
        owner_->addRef();
        cairo_surface_flush(surface_);
    }
    ~BitmapPixels() override {
        if (writing_) cairo_surface_mark_dirty(surface_);
        owner_->release();
    }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override { return answer(iid, object, kPixelsId); }
    uint8_t* getAddress() override { return cairo_image_surface_get_data(surface_); }
    int32_t getBytesPerRow() override { return cairo_image_surface_get_stride(surface_); }
    int32_t getPixelFormat() override { return MP1_PIXEL_FORMAT_PREMULTIPLIED_ARGB32; }

private:
    IMpBitmap* owner_;
    cairo_surface_t* surface_;
    bool writing_;
};

class Bitmap final : public Counted<IMpBitmap> {
public:
    // Takes the surface's reference.
    Bitmap(IMpFactory* factory, cairo_surface_t* surface) : factory_(factory), surface_(surface) {
        factory_->addRef();
    }
    ~Bitmap() override {
        cairo_surface_destroy(surface_);
        factory_->release();
    }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        return answer(iid, object, SE_IID_BITMAP_MPGUI);
    }
    void GetFactory(IMpFactory** factory) override {
        factory_->addRef();
        *factory = factory_;
    }
    MP1_SIZE GetSizeF() override {
        return {static_cast<float>(cairo_image_surface_get_width(surface_)),
                static_cast<float>(cairo_image_surface_get_height(surface_))};
    }
    int32_t GetSize(MP1_SIZE_U* size) override {
        if (size == nullptr) return MP_FAIL;
        size->width = static_cast<uint32_t>(cairo_image_surface_get_width(surface_));
        size->height = static_cast<uint32_t>(cairo_image_surface_get_height(surface_));
        return MP_OK;
    }
    int32_t lockPixels(IMpBitmapPixels** pixels, int32_t flags) override {
        if (pixels == nullptr) return MP_FAIL;
        *pixels = new BitmapPixels(this, surface_, (flags & MP1_BITMAP_LOCK_WRITE) != 0);
        return MP_OK;
    }
    cairo_surface_t* surface() const { return surface_; }

private:
    IMpFactory* factory_;
    cairo_surface_t* surface_;
};

struct PngReader {
    const uint8_t* data;
    size_t size;
    size_t position;
};

cairo_status_t readPngBytes(void* closure, unsigned char* out, unsigned int length) {
    auto* reader = static_cast<PngReader*>(closure);
    if (reader->size - reader->position < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, reader->data + reader->position, length);
    reader->position += length;
    return CAIRO_STATUS_SUCCESS;
}

// A surface of ARGB32 pixels, or null.
cairo_surface_t* decodeImage(const uint8_t* data, size_t size) {
    if (data == nullptr || size < 8) return nullptr;
    static const uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', 0x0d, 0x0a, 0x1a, 0x0a};
    if (std::memcmp(data, kPngSignature, 8) == 0) {
        PngReader reader{data, size, 0};
        cairo_surface_t* png = cairo_image_surface_create_from_png_stream(readPngBytes, &reader);
        if (cairo_surface_status(png) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(png);
            return nullptr;
        }
        if (cairo_image_surface_get_format(png) == CAIRO_FORMAT_ARGB32) return png;
        // Other formats (RGB24, A8) are redrawn as ARGB32 so pixel access is uniform.
        const int w = cairo_image_surface_get_width(png);
        const int h = cairo_image_surface_get_height(png);
        cairo_surface_t* argb = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        cairo_t* cr = cairo_create(argb);
        cairo_set_source_surface(cr, png, 0, 0);
        cairo_paint(cr);
        cairo_destroy(cr);
        cairo_surface_destroy(png);
        return argb;
    }
    if (data[0] == 'B' && data[1] == 'M') return decodeBmp(data, size);
    return nullptr;
}

}  // namespace

// ---- BMP ------------------------------------------------------------------------

namespace {

uint32_t le32(const uint8_t* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24); }
uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

// Extracts a channel under a bit mask and scales it to 0 .. 255.
uint32_t maskedChannel(uint32_t value, uint32_t mask) {
    if (mask == 0) return 255;
    int shift = 0;
    while (((mask >> shift) & 1u) == 0) ++shift;
    const uint32_t top = mask >> shift;
    return static_cast<uint32_t>(((value & mask) >> shift) * 255ull / top);
}

}  // namespace

cairo_surface_t* decodeBmp(const uint8_t* data, size_t size) {
    constexpr size_t kFileHeader = 14;
    constexpr int kMaxSide = 1 << 14;
    if (data == nullptr || size < kFileHeader + 16 || data[0] != 'B' || data[1] != 'M') return nullptr;
    const uint32_t pixelOffset = le32(data + 10);
    const uint32_t headerSize = le32(data + 14);
    if (headerSize < 40 || kFileHeader + headerSize > size) return nullptr;
    const int32_t width = static_cast<int32_t>(le32(data + 18));
    const int32_t rawHeight = static_cast<int32_t>(le32(data + 22));
    const uint16_t bits = le16(data + 28);
    const uint32_t compression = le32(data + 30);
    uint32_t paletteCount = le32(data + 46);
    if (width <= 0 || width > kMaxSide || rawHeight == 0 || rawHeight < -kMaxSide || rawHeight > kMaxSide) {
        return nullptr;
    }
    const bool topDown = rawHeight < 0;
    const int32_t height = topDown ? -rawHeight : rawHeight;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32) return nullptr;

    uint32_t redMask = 0x00ff0000, greenMask = 0x0000ff00, blueMask = 0x000000ff, alphaMask = 0;
    if (compression == 3 && bits == 32) {
        const size_t maskAt = kFileHeader + 40;
        if (headerSize >= 52 && maskAt + 12 <= size) {
            redMask = le32(data + maskAt);
            greenMask = le32(data + maskAt + 4);
            blueMask = le32(data + maskAt + 8);
            if (headerSize >= 56 && maskAt + 16 <= size) alphaMask = le32(data + maskAt + 12);
        } else if (maskAt + 12 <= size) {
            redMask = le32(data + maskAt);
            greenMask = le32(data + maskAt + 4);
            blueMask = le32(data + maskAt + 8);
        }
    } else if (compression != 0) {
        return nullptr;
    }

    std::vector<uint32_t> palette;
    if (bits <= 8) {
        if (paletteCount == 0 || paletteCount > (1u << bits)) paletteCount = 1u << bits;
        const size_t paletteAt = kFileHeader + headerSize;
        for (uint32_t i = 0; i < paletteCount && paletteAt + i * 4 + 4 <= size; ++i) {
            const uint8_t* e = data + paletteAt + i * 4;
            palette.push_back(0xff000000u | (e[2] << 16) | (e[1] << 8) | e[0]);
        }
        palette.resize(1u << bits, 0xff000000u);
    }

    const size_t stride = ((static_cast<size_t>(width) * bits + 31) / 32) * 4;
    if (pixelOffset > size || stride * static_cast<size_t>(height) > size - pixelOffset) return nullptr;

    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return nullptr;
    }
    cairo_surface_flush(surface);
    uint8_t* out = cairo_image_surface_get_data(surface);
    const int outStride = cairo_image_surface_get_stride(surface);
    // Alpha from a 32-bit image only when some pixel has any: many writers leave it 0.
    bool anyAlpha = false;
    for (int32_t y = 0; y < height; ++y) {
        const uint8_t* row = data + pixelOffset + stride * static_cast<size_t>(topDown ? y : height - 1 - y);
        auto* target = reinterpret_cast<uint32_t*>(out + static_cast<ptrdiff_t>(y) * outStride);
        for (int32_t x = 0; x < width; ++x) {
            uint32_t argb = 0;
            switch (bits) {
                case 1: argb = palette[(row[x >> 3] >> (7 - (x & 7))) & 1]; break;
                case 4: argb = palette[(row[x >> 1] >> ((x & 1) != 0 ? 0 : 4)) & 15]; break;
                case 8: argb = palette[row[x]]; break;
                case 24: {
                    const uint8_t* p = row + x * 3;
                    argb = 0xff000000u | (p[2] << 16) | (p[1] << 8) | p[0];
                    break;
                }
                default: {
                    const uint32_t v = le32(row + x * 4);
                    const uint32_t a = alphaMask != 0 ? maskedChannel(v, alphaMask) : (v >> 24);
                    if (a != 0) anyAlpha = true;
                    argb = (a << 24) | (maskedChannel(v, redMask) << 16) | (maskedChannel(v, greenMask) << 8) |
                           maskedChannel(v, blueMask);
                    break;
                }
            }
            target[x] = argb;
        }
    }
    // Premultiply (or make opaque where the file had no alpha).
    for (int32_t y = 0; y < height; ++y) {
        auto* target = reinterpret_cast<uint32_t*>(out + static_cast<ptrdiff_t>(y) * outStride);
        for (int32_t x = 0; x < width; ++x) {
            uint32_t v = target[x];
            if (bits == 32 && !anyAlpha) v |= 0xff000000u;
            const uint32_t a = v >> 24;
            if (a != 255) {
                auto pm = [a](uint32_t c) { return (c * a + 127) / 255; };
                v = (a << 24) | (pm((v >> 16) & 0xff) << 16) | (pm((v >> 8) & 0xff) << 8) | pm(v & 0xff);
            }
            target[x] = v;
        }
    }
    cairo_surface_mark_dirty(surface);
    return surface;
}

// ---- factory ---------------------------------------------------------------------

class CairoFactory final : public Counted<IMpFactory> {
public:
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        return answer(iid, object, SE_IID_FACTORY_MPGUI);
    }
    int32_t CreatePathGeometry(IMpPathGeometry** geometry) override {
        if (geometry == nullptr) return MP_FAIL;
        *geometry = new PathGeometry(this);
        return MP_OK;
    }
    int32_t CreateTextFormat(const char* family, MP1_FONT_WEIGHT weight, MP1_FONT_STYLE style, float size,
                             IMpTextFormat** format) override {
        if (format == nullptr) return MP_FAIL;
        *format = new TextFormat(family, weight, style, size);
        return MP_OK;
    }
    int32_t CreateImage(int32_t width, int32_t height, IMpBitmap** bitmap) override {
        if (bitmap == nullptr) return MP_FAIL;
        *bitmap = nullptr;
        if (width <= 0 || height <= 0 || width > (1 << 14) || height > (1 << 14)) return MP_FAIL;
        *bitmap = new Bitmap(this, cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
        return MP_OK;
    }
    int32_t LoadImageU(const char* path, IMpBitmap** bitmap) override {
        if (bitmap == nullptr) return MP_FAIL;
        *bitmap = nullptr;
        if (path == nullptr) return MP_FAIL;
        FILE* file = std::fopen(path, "rb");
        if (file == nullptr) return MP_FAIL;
        std::vector<uint8_t> bytes;
        uint8_t buffer[65536];
        size_t got = 0;
        while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) bytes.insert(bytes.end(), buffer, buffer + got);
        std::fclose(file);
        return CreateBitmapFromMemory(bytes.data(), static_cast<int32_t>(bytes.size()), bitmap);
    }
    int32_t CreateBitmapFromMemory(const uint8_t* data, int32_t size, IMpBitmap** bitmap) override {
        if (bitmap == nullptr) return MP_FAIL;
        *bitmap = nullptr;
        if (data == nullptr || size <= 0) return MP_FAIL;
        cairo_surface_t* surface = decodeImage(data, static_cast<size_t>(size));
        if (surface == nullptr) return MP_FAIL;
        *bitmap = new Bitmap(this, surface);
        return MP_OK;
    }
};

CairoFactory* createCairoFactory() { return new CairoFactory(); }

CairoFactory* sharedCairoFactory() {
    static CairoFactory* const factory = new CairoFactory();
    return factory;
}
IMpFactory* factoryInterface(CairoFactory* factory) { return factory; }

cairo_surface_t* bitmapSurface(const IMpBitmap* bitmap) {
    const auto* b = dynamic_cast<const Bitmap*>(bitmap);
    return b != nullptr ? b->surface() : nullptr;
}

// ---- device context ----------------------------------------------------------------

class CairoContext final : public Counted<IMpBitmapRenderTarget> {
public:
    CairoContext(CairoFactory* factory, cairo_surface_t* surface, const DrawOptions& options)
        : factory_(factory), surface_(cairo_surface_reference(surface)), options_(options) {
        factory_->addRef();
        cr_ = cairo_create(surface_);
        cairo_set_antialias(cr_, options_.antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
        applyMatrix();
    }
    ~CairoContext() override {
        cairo_destroy(cr_);
        cairo_surface_destroy(surface_);
        factory_->release();
    }
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override {
        if (object != nullptr && iid == SE_IID_BITMAP_RENDERTARGET_MPGUI) {
            *object = static_cast<IMpBitmapRenderTarget*>(this);
            addRef();
            return MP_OK;
        }
        return answer(iid, object, SE_IID_DEVICECONTEXT_MPGUI);
    }
    void GetFactory(IMpFactory** factory) override {
        if (factory == nullptr) return;
        factory_->addRef();
        *factory = factory_;
    }

    void DrawLine(MP1_POINT p0, MP1_POINT p1, const IMpBrush* brush, float width) override {
        record("DrawLine", {p0.x, p0.y, p1.x, p1.y, width}, brush);
        if (!setSource(brush) || !setStroke(width)) return;
        cairo_new_path(cr_);
        cairo_move_to(cr_, p0.x, p0.y);
        cairo_line_to(cr_, p1.x, p1.y);
        cairo_stroke(cr_);
    }
    void DrawRectangle(const MP1_RECT* r, const IMpBrush* brush, float width) override {
        if (r == nullptr) return;
        record("DrawRectangle", {r->left, r->top, r->right, r->bottom, width}, brush);
        if (!setSource(brush) || !setStroke(width)) return;
        cairo_new_path(cr_);
        cairo_rectangle(cr_, r->left, r->top, r->right - r->left, r->bottom - r->top);
        cairo_stroke(cr_);
    }
    void FillRectangle(const MP1_RECT* r, const IMpBrush* brush) override {
        if (r == nullptr) return;
        record("FillRectangle", {r->left, r->top, r->right, r->bottom}, brush);
        if (!setSource(brush)) return;
        cairo_new_path(cr_);
        cairo_rectangle(cr_, r->left, r->top, r->right - r->left, r->bottom - r->top);
        cairo_fill(cr_);
    }
    void DrawRoundedRectangle(const MP1_ROUNDED_RECT* r, const IMpBrush* brush, float width) override {
        if (r == nullptr) return;
        record("DrawRoundedRectangle",
               {r->rect.left, r->rect.top, r->rect.right, r->rect.bottom, r->radiusX, r->radiusY, width}, brush);
        if (!setSource(brush) || !setStroke(width)) return;
        roundedPath(*r);
        cairo_stroke(cr_);
    }
    void FillRoundedRectangle(const MP1_ROUNDED_RECT* r, const IMpBrush* brush) override {
        if (r == nullptr) return;
        record("FillRoundedRectangle", {r->rect.left, r->rect.top, r->rect.right, r->rect.bottom, r->radiusX, r->radiusY},
               brush);
        if (!setSource(brush)) return;
        roundedPath(*r);
        cairo_fill(cr_);
    }
    void DrawEllipse(const MP1_ELLIPSE* e, const IMpBrush* brush, float width) override {
        if (e == nullptr) return;
        record("DrawEllipse", {e->point.x, e->point.y, e->radiusX, e->radiusY, width}, brush);
        if (!setSource(brush) || !setStroke(width) || !ellipsePath(*e)) return;
        cairo_stroke(cr_);
    }
    void FillEllipse(const MP1_ELLIPSE* e, const IMpBrush* brush) override {
        if (e == nullptr) return;
        record("FillEllipse", {e->point.x, e->point.y, e->radiusX, e->radiusY}, brush);
        if (!setSource(brush) || !ellipsePath(*e)) return;
        cairo_fill(cr_);
    }
    void DrawGeometry(const IMpPathGeometry* geometry, const IMpBrush* brush, float width) override {
        const auto* path = dynamic_cast<const PathGeometry*>(geometry);
        if (path == nullptr) return;
        std::vector<float> values;
        for (const Figure& f : path->figures) {
            values.push_back(f.start.x);
            values.push_back(f.start.y);
            for (const Segment& s : f.segments) {
                for (int i = 0; i < (s.bezier ? 3 : 1); ++i) {
                    values.push_back(s.points[i].x);
                    values.push_back(s.points[i].y);
                }
            }
        }
        values.push_back(width);
        record("DrawGeometry", std::move(values), brush);
        if (!setSource(brush) || !setStroke(width)) return;
        path->trace(cr_, false);
        cairo_stroke(cr_);
    }
    void FillGeometry(const IMpPathGeometry* geometry, const IMpBrush* brush) override {
        const auto* path = dynamic_cast<const PathGeometry*>(geometry);
        if (path == nullptr) return;
        record("FillGeometry", {static_cast<float>(path->figures.size())}, brush);
        if (!setSource(brush)) return;
        path->trace(cr_, true);
        cairo_fill(cr_);
    }
    void DrawTextU(const char* text, int32_t length, const IMpTextFormat* textFormat, const MP1_RECT* r,
                   const IMpBrush* brush, int32_t flags) override {
        const auto* format = dynamic_cast<const TextFormat*>(textFormat);
        if (text == nullptr || format == nullptr || r == nullptr) return;
        const size_t size = length < 0 ? std::strlen(text) : static_cast<size_t>(length);
        if (recorder_ != nullptr) {
            record("DrawTextU", {r->left, r->top, r->right, r->bottom}, brush);
            recorder_->back().text.assign(text, size);
        }
        if (!setSource(brush) || !finiteRect(*r)) return;
        const double width = std::max(0.0f, r->right - r->left);
        const double height = std::max(0.0f, r->bottom - r->top);
        cairo_save(cr_);
        if ((flags & MP1_DRAW_TEXT_OPTIONS_CLIP) != 0) {
            cairo_rectangle(cr_, r->left, r->top, width, height);
            cairo_clip(cr_);
        }
        PangoLayout* layout = format->makeLayout(cr_, text, static_cast<int32_t>(size), width);
        PangoRectangle logical;
        pango_layout_get_pixel_extents(layout, nullptr, &logical);
        double x = r->left;
        if (format->wrapping() == MP1_WORD_WRAPPING_NO_WRAP) {
            // Without a width pango does not align; place the line ourselves.
            if (format->alignment() == MP1_TEXT_ALIGNMENT_CENTER) x += (width - logical.width) * 0.5;
            if (format->alignment() == MP1_TEXT_ALIGNMENT_TRAILING) x += width - logical.width;
        }
        double y = r->top;
        if (format->paragraph() == MP1_PARAGRAPH_ALIGNMENT_CENTER) y += (height - logical.height) * 0.5;
        if (format->paragraph() == MP1_PARAGRAPH_ALIGNMENT_FAR) y += height - logical.height;
        cairo_move_to(cr_, x, y);
        pango_cairo_show_layout(cr_, layout);
        g_object_unref(layout);
        cairo_restore(cr_);
    }
    void DrawBitmap(const IMpBitmap* bitmap, const MP1_RECT* destination, float opacity, int32_t mode,
                    const MP1_RECT* source) override {
        cairo_surface_t* surface = bitmapSurface(bitmap);
        if (surface == nullptr || destination == nullptr) return;
        const MP1_RECT whole{0.0f, 0.0f, static_cast<float>(cairo_image_surface_get_width(surface)),
                             static_cast<float>(cairo_image_surface_get_height(surface))};
        const MP1_RECT src = source != nullptr ? *source : whole;
        record("DrawBitmap",
               {destination->left, destination->top, destination->right, destination->bottom, src.left, src.top,
                src.right, src.bottom, opacity},
               nullptr);
        if (!finiteRect(*destination) || !finiteRect(src)) return;
        const double srcWidth = src.right - src.left;
        const double srcHeight = src.bottom - src.top;
        const double dstWidth = destination->right - destination->left;
        const double dstHeight = destination->bottom - destination->top;
        if (srcWidth <= 0.0 || srcHeight <= 0.0 || dstWidth <= 0.0 || dstHeight <= 0.0) return;
        cairo_save(cr_);
        cairo_rectangle(cr_, destination->left, destination->top, dstWidth, dstHeight);
        cairo_clip(cr_);
        cairo_translate(cr_, destination->left, destination->top);
        cairo_scale(cr_, dstWidth / srcWidth, dstHeight / srcHeight);
        cairo_set_source_surface(cr_, surface, -src.left, -src.top);
        cairo_pattern_set_filter(cairo_get_source(cr_), mode == MP1_BITMAP_INTERPOLATION_MODE_NEAREST_NEIGHBOR
                                                            ? CAIRO_FILTER_NEAREST
                                                            : CAIRO_FILTER_GOOD);
        cairo_paint_with_alpha(cr_, channel(opacity));
        cairo_restore(cr_);
    }
    void SetTransform(const MP1_MATRIX_3X2* transform) override {
        if (transform == nullptr) return;
        transform_ = *transform;
        applyMatrix();
    }
    void GetTransform(MP1_MATRIX_3X2* transform) override {
        if (transform != nullptr) *transform = transform_;
    }
    int32_t CreateSolidColorBrush(const MP1_COLOR* color, IMpSolidColorBrush** brush) override {
        if (brush == nullptr) return MP_FAIL;
        *brush = new SolidBrush(factory_, color != nullptr ? *color : MP1_COLOR{0.0f, 0.0f, 0.0f, 1.0f});
        return MP_OK;
    }
    int32_t CreateGradientStopCollection(const MP1_GRADIENT_STOP* stops, uint32_t count,
                                         IMpGradientStopCollection** collection) override {
        if (collection == nullptr) return MP_FAIL;
        *collection = new GradientStops(factory_, stops, stops != nullptr ? std::min<uint32_t>(count, 1024) : 0);
        return MP_OK;
    }
    int32_t CreateLinearGradientBrush(const MP1_LINEAR_GRADIENT_BRUSH_PROPERTIES* properties,
                                      const IMpGradientStopCollection* collection,
                                      IMpLinearGradientBrush** brush) override {
        if (brush == nullptr) return MP_FAIL;
        *brush = nullptr;
        const auto* stops = dynamic_cast<const GradientStops*>(collection);
        if (properties == nullptr || stops == nullptr) return MP_FAIL;
        *brush = new LinearBrush(factory_, *properties, stops->stops());
        return MP_OK;
    }
    int32_t CreateCompatibleRenderTarget(const MP1_SIZE* size, IMpBitmapRenderTarget** target) override {
        if (target == nullptr) return MP_FAIL;
        *target = nullptr;
        if (size == nullptr || !(size->width >= 1.0f) || !(size->height >= 1.0f) || size->width > 16384.0f ||
            size->height > 16384.0f) {
            return MP_FAIL;
        }
        cairo_surface_t* surface = cairo_image_surface_create(
            CAIRO_FORMAT_ARGB32, static_cast<int>(std::ceil(size->width)), static_cast<int>(std::ceil(size->height)));
        *target = new CairoContext(factory_, surface, options_);
        cairo_surface_destroy(surface);
        return MP_OK;
    }
    void PushAxisAlignedClip(const MP1_RECT* r) override {
        if (r == nullptr) return;
        record("PushAxisAlignedClip", {r->left, r->top, r->right, r->bottom}, nullptr);
        MP1_RECT clip = *r;
        if (!clips_.empty()) {
            const MP1_RECT& outer = clips_.back();
            clip = {std::max(clip.left, outer.left), std::max(clip.top, outer.top), std::min(clip.right, outer.right),
                    std::min(clip.bottom, outer.bottom)};
        }
        clips_.push_back(clip);
        cairo_save(cr_);
        if (finiteRect(*r)) {
            cairo_rectangle(cr_, r->left, r->top, std::max(0.0f, r->right - r->left), std::max(0.0f, r->bottom - r->top));
            cairo_clip(cr_);
        }
    }
    void PopAxisAlignedClip() override {
        if (clips_.empty()) return;
        record("PopAxisAlignedClip", {}, nullptr);
        clips_.pop_back();
        cairo_restore(cr_);
        applyMatrix();  // a transform set inside the clip outlives it
    }
    void GetAxisAlignedClip(MP1_RECT* r) override {
        if (r == nullptr) return;
        if (!clips_.empty()) {
            *r = clips_.back();
        } else {
            *r = {-originX_, -originY_, static_cast<float>(cairo_image_surface_get_width(surface_)) - originX_,
                  static_cast<float>(cairo_image_surface_get_height(surface_)) - originY_};
        }
    }
    void Clear(const MP1_COLOR* color) override {
        if (color == nullptr) return;
        record("Clear", {color->r, color->g, color->b, color->a}, nullptr);
        cairo_save(cr_);
        cairo_set_operator(cr_, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_rgba(cr_, channel(color->r), channel(color->g), channel(color->b), channel(color->a));
        cairo_paint(cr_);
        cairo_restore(cr_);
    }
    void BeginDraw() override {}
    int32_t EndDraw() override {
        cairo_surface_flush(surface_);
        return cairo_status(cr_) == CAIRO_STATUS_SUCCESS ? MP_OK : MP_FAIL;
    }
    int32_t GetBitmap(IMpBitmap** bitmap) override {
        if (bitmap == nullptr) return MP_FAIL;
        cairo_surface_flush(surface_);
        // A copy, so that later drawing on the target does not change it.
        const int w = cairo_image_surface_get_width(surface_);
        const int h = cairo_image_surface_get_height(surface_);
        cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        cairo_t* cr = cairo_create(copy);
        cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_surface(cr, surface_, 0, 0);
        cairo_paint(cr);
        cairo_destroy(cr);
        *bitmap = new Bitmap(factory_, copy);
        return MP_OK;
    }

    void setOrigin(double x, double y) {
        originX_ = static_cast<float>(x);
        originY_ = static_cast<float>(y);
        applyMatrix();
    }
    void setRecorder(std::vector<DrawOp>* log) { recorder_ = log; }

private:
    static bool finiteRect(const MP1_RECT& r) {
        return finite(r.left) && finite(r.top) && finite(r.right) && finite(r.bottom);
    }
    void record(const char* name, std::vector<float> values, const IMpBrush* brush) {
        if (recorder_ == nullptr) return;
        DrawOp op;
        op.name = name;
        op.values = std::move(values);
        if (const BrushSource* source = brushSource(brush)) op.argb = source->argb();
        recorder_->push_back(std::move(op));
    }
    bool setSource(const IMpBrush* brush) {
        const BrushSource* source = brushSource(brush);
        if (source == nullptr) return false;
        source->apply(cr_);
        return true;
    }
    bool setStroke(float width) {
        if (!finite(width) || width <= 0.0f) return false;
        cairo_set_line_width(cr_, std::min(width, 1e5f));
        return true;
    }
    void roundedPath(const MP1_ROUNDED_RECT& r) {
        cairo_new_path(cr_);
        if (!finiteRect(r.rect)) return;
        const double w = r.rect.right - r.rect.left;
        const double h = r.rect.bottom - r.rect.top;
        const double rx = std::clamp<double>(finite(r.radiusX) ? r.radiusX : 0.0, 0.0, std::abs(w) * 0.5);
        const double ry = std::clamp<double>(finite(r.radiusY) ? r.radiusY : 0.0, 0.0, std::abs(h) * 0.5);
        if (rx <= 0.0 || ry <= 0.0) {
            cairo_rectangle(cr_, r.rect.left, r.rect.top, w, h);
            return;
        }
        // Each corner is a quarter ellipse drawn on a scaled unit circle.
        auto corner = [&](double cx, double cy, double from) {
            cairo_save(cr_);
            cairo_translate(cr_, cx, cy);
            cairo_scale(cr_, rx, ry);
            cairo_arc(cr_, 0.0, 0.0, 1.0, from, from + M_PI / 2.0);
            cairo_restore(cr_);
        };
        corner(r.rect.right - rx, r.rect.top + ry, -M_PI / 2.0);
        corner(r.rect.right - rx, r.rect.bottom - ry, 0.0);
        corner(r.rect.left + rx, r.rect.bottom - ry, M_PI / 2.0);
        corner(r.rect.left + rx, r.rect.top + ry, M_PI);
        cairo_close_path(cr_);
    }
    bool ellipsePath(const MP1_ELLIPSE& e) {
        cairo_new_path(cr_);
        if (!finite(e.point.x) || !finite(e.point.y) || !finite(e.radiusX) || !finite(e.radiusY) ||
            e.radiusX <= 0.0f || e.radiusY <= 0.0f) {
            return false;
        }
        cairo_save(cr_);
        cairo_translate(cr_, e.point.x, e.point.y);
        cairo_scale(cr_, e.radiusX, e.radiusY);
        cairo_arc(cr_, 0.0, 0.0, 1.0, 0.0, 2.0 * M_PI);
        cairo_restore(cr_);
        return true;
    }
    void applyMatrix() {
        cairo_matrix_t m;
        cairo_matrix_init(&m, transform_._11, transform_._12, transform_._21, transform_._22, transform_._31 + originX_,
                          transform_._32 + originY_);
        if (cairo_matrix_invert(&m) != CAIRO_STATUS_SUCCESS) return;  // a singular matrix is ignored
        cairo_matrix_invert(&m);
        cairo_set_matrix(cr_, &m);
    }

    CairoFactory* factory_;
    cairo_surface_t* surface_;
    cairo_t* cr_ = nullptr;
    DrawOptions options_;
    MP1_MATRIX_3X2 transform_{1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
    float originX_ = 0.0f;
    float originY_ = 0.0f;
    std::vector<MP1_RECT> clips_;
    std::vector<DrawOp>* recorder_ = nullptr;
};

CairoContext* createCairoContext(CairoFactory* factory, cairo_surface_t* surface, const DrawOptions& options) {
    return new CairoContext(factory, surface, options);
}
IMpDeviceContext* contextInterface(CairoContext* context) { return context; }
void setContextOrigin(CairoContext* context, double x, double y) { context->setOrigin(x, y); }
void setContextRecorder(CairoContext* context, std::vector<DrawOp>* log) { context->setRecorder(log); }

// ---- Image -----------------------------------------------------------------------

Image::Image(int width, int height)
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(1, width), std::max(1, height))) {}

Image::Image(cairo_surface_t* adoptedSurface) : surface_(adoptedSurface) {}

Image::~Image() {
    if (surface_ != nullptr) cairo_surface_destroy(surface_);
}

Image::Image(Image&& other) noexcept : surface_(std::exchange(other.surface_, nullptr)) {}

Image& Image::operator=(Image&& other) noexcept {
    if (this != &other) {
        if (surface_ != nullptr) cairo_surface_destroy(surface_);
        surface_ = std::exchange(other.surface_, nullptr);
    }
    return *this;
}

int Image::width() const { return surface_ != nullptr ? cairo_image_surface_get_width(surface_) : 0; }
int Image::height() const { return surface_ != nullptr ? cairo_image_surface_get_height(surface_) : 0; }

uint32_t Image::pixel(int x, int y) const {
    if (surface_ == nullptr || x < 0 || y < 0 || x >= width() || y >= height()) return 0;
    cairo_surface_flush(surface_);
    const uint8_t* data = cairo_image_surface_get_data(surface_);
    const uint32_t v =
        reinterpret_cast<const uint32_t*>(data + static_cast<ptrdiff_t>(y) * cairo_image_surface_get_stride(surface_))[x];
    const uint32_t a = v >> 24;
    if (a == 0) return 0;
    auto straight = [a](uint32_t c) { return std::min<uint32_t>(255, (c * 255 + a / 2) / a); };
    return (a << 24) | (straight((v >> 16) & 0xff) << 16) | (straight((v >> 8) & 0xff) << 8) | straight(v & 0xff);
}

void Image::fill(uint32_t argb) {
    if (surface_ == nullptr) return;
    cairo_t* cr = cairo_create(surface_);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_rgba(cr, ((argb >> 16) & 0xff) / 255.0, ((argb >> 8) & 0xff) / 255.0, (argb & 0xff) / 255.0,
                          (argb >> 24) / 255.0);
    cairo_paint(cr);
    cairo_destroy(cr);
}

void Image::writePng(const std::string& path) const {
    if (surface_ == nullptr) throw std::runtime_error("no picture to write to " + path);
    cairo_surface_flush(surface_);
    const cairo_status_t status = cairo_surface_write_to_png(surface_, path.c_str());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error("cannot write " + path + ": " + cairo_status_to_string(status));
    }
}

}  // namespace tamhost
