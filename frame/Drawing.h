// Small value types and counted wrappers over the host's drawing objects.
// A wrapper holds one reference (or none: every wrapper is safe when empty
// and calls release only on a real object). Graphics_base adds the
// conveniences the controls share: polylines, polygons, two-colour
// gradients and wide-text drawing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "frame/GmpiDrawing_API.h"

namespace GmpiDrawing {

using namespace GmpiDrawing_API;

struct Point : public MP1_POINT {
    Point() : MP1_POINT{0.0f, 0.0f} {}
    Point(float px, float py) : MP1_POINT{px, py} {}
    Point(const MP1_POINT& p) : MP1_POINT(p) {}
    bool operator==(const Point& o) const { return x == o.x && y == o.y; }
};

struct Size : public MP1_SIZE {
    Size() : MP1_SIZE{0.0f, 0.0f} {}
    Size(float w, float h) : MP1_SIZE{w, h} {}
    Size(const MP1_SIZE& s) : MP1_SIZE(s) {}
};

struct Rect : public MP1_RECT {
    Rect() : MP1_RECT{0.0f, 0.0f, 0.0f, 0.0f} {}
    Rect(float l, float t, float r, float b) : MP1_RECT{l, t, r, b} {}
    Rect(const MP1_RECT& r) : MP1_RECT(r) {}
    float getWidth() const { return right - left; }
    float getHeight() const { return bottom - top; }
    Point getCenter() const { return Point((left + right) * 0.5f, (top + bottom) * 0.5f); }
    bool ContainsPoint(Point p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }
    void Inflate(float amount) {
        left -= amount;
        top -= amount;
        right += amount;
        bottom += amount;
    }
    void Offset(float dx, float dy) {
        left += dx;
        right += dx;
        top += dy;
        bottom += dy;
    }
    bool operator==(const Rect& o) const {
        return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
    }
};

struct Color : public MP1_COLOR {
    Color() : MP1_COLOR{0.0f, 0.0f, 0.0f, 1.0f} {}
    Color(float pr, float pg, float pb, float pa = 1.0f) : MP1_COLOR{pr, pg, pb, pa} {}
    Color(const MP1_COLOR& c) : MP1_COLOR(c) {}
    // From 0xRRGGBB and a separate alpha (0 .. 1).
    explicit Color(uint32_t rgb, float alpha = 1.0f)
        : MP1_COLOR{((rgb >> 16) & 0xff) / 255.0f, ((rgb >> 8) & 0xff) / 255.0f, (rgb & 0xff) / 255.0f, alpha} {}
    // From 0xAARRGGBB, as colour pins carry it.
    static Color FromArgb(uint32_t argb) { return Color(argb & 0xffffff, ((argb >> 24) & 0xff) / 255.0f); }

    static const Color Black;
    static const Color White;
};

inline const Color Color::Black{0.0f, 0.0f, 0.0f, 1.0f};
inline const Color Color::White{1.0f, 1.0f, 1.0f, 1.0f};

// One counted reference to a host object of type I.
template <class I>
class Resource {
public:
    Resource() = default;
    // Takes over a reference the caller already holds.
    explicit Resource(I* object) : object_(object) {}
    Resource(const Resource& other) : object_(other.object_) {
        if (object_ != nullptr) object_->addRef();
    }
    Resource(Resource&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Resource& operator=(const Resource& other) {
        if (other.object_ != nullptr) other.object_->addRef();
        setNull();
        object_ = other.object_;
        return *this;
    }
    Resource& operator=(Resource&& other) noexcept {
        if (this != &other) {
            setNull();
            object_ = std::exchange(other.object_, nullptr);
        }
        return *this;
    }
    ~Resource() { setNull(); }

    bool isNull() const { return object_ == nullptr; }
    explicit operator bool() const { return object_ != nullptr; }
    I* Get() const { return object_; }
    // For out-parameters: drops the current object and gives the slot.
    I** GetAddressOf() {
        setNull();
        return &object_;
    }
    void setNull() {
        if (object_ != nullptr) std::exchange(object_, nullptr)->release();
    }

protected:
    I* object_ = nullptr;
};

class Factory;

class Brush : public Resource<IMpBrush> {
public:
    Brush() = default;
    explicit Brush(IMpBrush* b) : Resource(b) {}
};

class SolidColorBrush : public Brush {
public:
    SolidColorBrush() = default;
    explicit SolidColorBrush(IMpSolidColorBrush* b) : Brush(b) {}
    void SetColor(const Color& color) {
        if (object_ != nullptr) static_cast<IMpSolidColorBrush*>(object_)->SetColor(&color);
    }
    Color GetColor() const {
        return object_ != nullptr ? Color(static_cast<IMpSolidColorBrush*>(object_)->GetColor()) : Color();
    }
};

class LinearGradientBrush : public Brush {
public:
    LinearGradientBrush() = default;
    explicit LinearGradientBrush(IMpLinearGradientBrush* b) : Brush(b) {}
};

class GradientStopCollection : public Resource<IMpGradientStopCollection> {
public:
    using Resource::Resource;
};

class GeometrySink : public Resource<IMpGeometrySink> {
public:
    using Resource::Resource;
    void BeginFigure(Point start, MP1_FIGURE_BEGIN begin = MP1_FIGURE_BEGIN_FILLED) {
        if (object_ != nullptr) object_->BeginFigure(start, begin);
    }
    void AddLine(Point p) {
        if (object_ != nullptr) object_->AddLine(p);
    }
    void AddBezier(Point p1, Point p2, Point p3) {
        MP1_BEZIER_SEGMENT segment{p1, p2, p3};
        if (object_ != nullptr) object_->AddBezier(&segment);
    }
    void EndFigure(MP1_FIGURE_END end = MP1_FIGURE_END_CLOSED) {
        if (object_ != nullptr) object_->EndFigure(end);
    }
    void Close() {
        if (object_ != nullptr) object_->Close();
    }
};

class PathGeometry : public Resource<IMpPathGeometry> {
public:
    using Resource::Resource;
    GeometrySink Open() {
        GeometrySink sink;
        if (object_ != nullptr) object_->Open(sink.GetAddressOf());
        return sink;
    }
};

class TextFormat : public Resource<IMpTextFormat> {
public:
    using Resource::Resource;
    void SetTextAlignment(MP1_TEXT_ALIGNMENT alignment) {
        if (object_ != nullptr) object_->SetTextAlignment(alignment);
    }
    void SetParagraphAlignment(MP1_PARAGRAPH_ALIGNMENT alignment) {
        if (object_ != nullptr) object_->SetParagraphAlignment(alignment);
    }
    void SetWordWrapping(MP1_WORD_WRAPPING wrapping) {
        if (object_ != nullptr) object_->SetWordWrapping(wrapping);
    }
    Size GetTextExtentU(const std::string& utf8) const {
        Size size;
        if (object_ != nullptr) object_->GetTextExtentU(utf8.c_str(), static_cast<int32_t>(utf8.size()), &size);
        return size;
    }
    MP1_FONT_METRICS GetFontMetrics() const {
        MP1_FONT_METRICS metrics{};
        if (object_ != nullptr) object_->GetFontMetrics(&metrics);
        return metrics;
    }
};

// A read or write window onto a bitmap's pixels (0xAARRGGBB premultiplied).
class BitmapPixels : public Resource<IMpBitmapPixels> {
public:
    using Resource::Resource;
    uint8_t* getAddress() const { return object_ != nullptr ? object_->getAddress() : nullptr; }
    int32_t getBytesPerRow() const { return object_ != nullptr ? object_->getBytesPerRow() : 0; }
    uint32_t getPixel(int x, int y) const {
        uint8_t* base = getAddress();
        if (base == nullptr) return 0;
        return reinterpret_cast<const uint32_t*>(base + static_cast<ptrdiff_t>(y) * getBytesPerRow())[x];
    }
};

class Bitmap : public Resource<IMpBitmap> {
public:
    using Resource::Resource;
    Size GetSizeF() const { return object_ != nullptr ? Size(object_->GetSizeF()) : Size(); }
    MP1_SIZE_U GetSize() const {
        MP1_SIZE_U size{0, 0};
        if (object_ != nullptr) object_->GetSize(&size);
        return size;
    }
    BitmapPixels lockPixels(int32_t flags = MP1_BITMAP_LOCK_READ) {
        BitmapPixels pixels;
        if (object_ != nullptr) object_->lockPixels(pixels.GetAddressOf(), flags);
        return pixels;
    }
};

class Factory : public Resource<IMpFactory> {
public:
    using Resource::Resource;
    PathGeometry CreatePathGeometry() {
        PathGeometry geometry;
        if (object_ != nullptr) object_->CreatePathGeometry(geometry.GetAddressOf());
        return geometry;
    }
    TextFormat CreateTextFormat(float fontSize = 12.0f, const char* family = "Arial",
                                MP1_FONT_WEIGHT weight = MP1_FONT_WEIGHT_NORMAL,
                                MP1_FONT_STYLE style = MP1_FONT_STYLE_NORMAL) {
        TextFormat format;
        if (object_ != nullptr) object_->CreateTextFormat(family, weight, style, fontSize, format.GetAddressOf());
        return format;
    }
    Bitmap LoadImageU(const std::string& utf8Path) {
        Bitmap bitmap;
        if (object_ != nullptr) object_->LoadImageU(utf8Path.c_str(), bitmap.GetAddressOf());
        return bitmap;
    }
    Bitmap CreateBitmapFromMemory(const uint8_t* data, int32_t size) {
        Bitmap bitmap;
        if (object_ != nullptr) object_->CreateBitmapFromMemory(data, size, bitmap.GetAddressOf());
        return bitmap;
    }
    Bitmap CreateImage(int32_t width, int32_t height) {
        Bitmap bitmap;
        if (object_ != nullptr) object_->CreateImage(width, height, bitmap.GetAddressOf());
        return bitmap;
    }
};

class BitmapRenderTarget;

// The context a module draws on; it does not own the host's context.
class Graphics_base {
public:
    Graphics_base() = default;
    explicit Graphics_base(IMpDeviceContext* context) : context_(context) {}

    IMpDeviceContext* Get() const { return context_; }
    bool isNull() const { return context_ == nullptr; }

    Factory GetFactory() const {
        Factory factory;
        if (context_ != nullptr) context_->GetFactory(factory.GetAddressOf());
        return factory;
    }

    SolidColorBrush CreateSolidColorBrush(const Color& color) {
        IMpSolidColorBrush* brush = nullptr;
        if (context_ != nullptr) context_->CreateSolidColorBrush(&color, &brush);
        return SolidColorBrush(brush);
    }
    GradientStopCollection CreateGradientStopCollection(const MP1_GRADIENT_STOP* stops, uint32_t count) {
        GradientStopCollection collection;
        if (context_ != nullptr) context_->CreateGradientStopCollection(stops, count, collection.GetAddressOf());
        return collection;
    }
    LinearGradientBrush CreateLinearGradientBrush(const GradientStopCollection& stops, Point startPoint,
                                                  Point endPoint) {
        IMpLinearGradientBrush* brush = nullptr;
        MP1_LINEAR_GRADIENT_BRUSH_PROPERTIES properties{startPoint, endPoint};
        if (context_ != nullptr && !stops.isNull()) {
            context_->CreateLinearGradientBrush(&properties, stops.Get(), &brush);
        }
        return LinearGradientBrush(brush);
    }
    // Two stops, color1 at 0 and color2 at 1.
    LinearGradientBrush CreateLinearGradientBrush(const Color& color1, const Color& color2, Point startPoint,
                                                  Point endPoint) {
        const MP1_GRADIENT_STOP stops[2] = {{0.0f, color1}, {1.0f, color2}};
        return CreateLinearGradientBrush(CreateGradientStopCollection(stops, 2), startPoint, endPoint);
    }

    void DrawLine(Point p0, Point p1, const Brush& brush, float strokeWidth = 1.0f) {
        if (context_ != nullptr) context_->DrawLine(p0, p1, brush.Get(), strokeWidth);
    }
    void DrawRectangle(const Rect& rect, const Brush& brush, float strokeWidth = 1.0f) {
        if (context_ != nullptr) context_->DrawRectangle(&rect, brush.Get(), strokeWidth);
    }
    void FillRectangle(const Rect& rect, const Brush& brush) {
        if (context_ != nullptr) context_->FillRectangle(&rect, brush.Get());
    }
    void DrawRoundedRectangle(const Rect& rect, float radius, const Brush& brush, float strokeWidth = 1.0f) {
        MP1_ROUNDED_RECT rounded{rect, radius, radius};
        if (context_ != nullptr) context_->DrawRoundedRectangle(&rounded, brush.Get(), strokeWidth);
    }
    void FillRoundedRectangle(const Rect& rect, float radius, const Brush& brush) {
        MP1_ROUNDED_RECT rounded{rect, radius, radius};
        if (context_ != nullptr) context_->FillRoundedRectangle(&rounded, brush.Get());
    }
    void DrawEllipse(const MP1_ELLIPSE& ellipse, const Brush& brush, float strokeWidth = 1.0f) {
        if (context_ != nullptr) context_->DrawEllipse(&ellipse, brush.Get(), strokeWidth);
    }
    void FillEllipse(const MP1_ELLIPSE& ellipse, const Brush& brush) {
        if (context_ != nullptr) context_->FillEllipse(&ellipse, brush.Get());
    }
    void DrawGeometry(const PathGeometry& geometry, const Brush& brush, float strokeWidth = 1.0f) {
        if (context_ != nullptr) context_->DrawGeometry(geometry.Get(), brush.Get(), strokeWidth);
    }
    void FillGeometry(const PathGeometry& geometry, const Brush& brush) {
        if (context_ != nullptr) context_->FillGeometry(geometry.Get(), brush.Get());
    }

    // An open, unfilled polyline from the first point through the others.
    void DrawLines(const Point* points, unsigned int count, const Brush& brush, float strokeWidth = 1.0f);
    // The same path, closed and filled.
    void FillPolygon(const Point* points, unsigned int count, const Brush& brush);

    void DrawTextU(const std::string& utf8, const TextFormat& format, const Rect& rect, const Brush& brush,
                   int32_t flags = MP1_DRAW_TEXT_OPTIONS_NONE) {
        if (context_ != nullptr) {
            context_->DrawTextU(utf8.c_str(), static_cast<int32_t>(utf8.size()), format.Get(), &rect, brush.Get(),
                                flags);
        }
    }
    void DrawTextW(const std::wstring& text, const TextFormat& format, const Rect& rect, const Brush& brush,
                   int32_t flags = MP1_DRAW_TEXT_OPTIONS_NONE);
    void DrawTextW(const wchar_t* text, const TextFormat& format, const Rect& rect, const Brush& brush,
                   int32_t flags = MP1_DRAW_TEXT_OPTIONS_NONE) {
        DrawTextW(std::wstring(text != nullptr ? text : L""), format, rect, brush, flags);
    }

    // The whole bitmap at its size with its top left corner at the point.
    void DrawBitmap(const Bitmap& bitmap, Point destination, float opacity = 1.0f) {
        const Size size = bitmap.GetSizeF();
        Rect destinationRect(destination.x, destination.y, destination.x + size.width, destination.y + size.height);
        DrawBitmap(bitmap, destinationRect, Rect(0.0f, 0.0f, size.width, size.height), opacity);
    }
    void DrawBitmap(const Bitmap& bitmap, const Rect& destination, const Rect& source, float opacity = 1.0f,
                    MP1_BITMAP_INTERPOLATION_MODE mode = MP1_BITMAP_INTERPOLATION_MODE_LINEAR) {
        if (context_ != nullptr && !bitmap.isNull()) {
            context_->DrawBitmap(bitmap.Get(), &destination, opacity, mode, &source);
        }
    }

    void SetTransform(const MP1_MATRIX_3X2& transform) {
        if (context_ != nullptr) context_->SetTransform(&transform);
    }
    MP1_MATRIX_3X2 GetTransform() const {
        MP1_MATRIX_3X2 transform{1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f};
        if (context_ != nullptr) context_->GetTransform(&transform);
        return transform;
    }
    void PushAxisAlignedClip(const Rect& clip) {
        if (context_ != nullptr) context_->PushAxisAlignedClip(&clip);
    }
    void PopAxisAlignedClip() {
        if (context_ != nullptr) context_->PopAxisAlignedClip();
    }
    Rect GetAxisAlignedClip() const {
        Rect clip;
        if (context_ != nullptr) context_->GetAxisAlignedClip(&clip);
        return clip;
    }
    void Clear(const Color& color) {
        if (context_ != nullptr) context_->Clear(&color);
    }

    BitmapRenderTarget CreateCompatibleRenderTarget(Size desiredSize);

protected:
    IMpDeviceContext* context_ = nullptr;
};

using Graphics = Graphics_base;

// An offscreen context; owns its one reference, unlike Graphics.
class BitmapRenderTarget : public Graphics_base {
public:
    BitmapRenderTarget() = default;
    explicit BitmapRenderTarget(IMpBitmapRenderTarget* target) : Graphics_base(target) {}
    BitmapRenderTarget(const BitmapRenderTarget& other) : Graphics_base(other.context_) {
        if (context_ != nullptr) context_->addRef();
    }
    BitmapRenderTarget& operator=(const BitmapRenderTarget& other) {
        if (other.context_ != nullptr) other.context_->addRef();
        if (context_ != nullptr) context_->release();
        context_ = other.context_;
        return *this;
    }
    ~BitmapRenderTarget() {
        if (context_ != nullptr) context_->release();
    }

    void BeginDraw() {
        if (context_ != nullptr) context_->BeginDraw();
    }
    int32_t EndDraw() { return context_ != nullptr ? context_->EndDraw() : MP_FAIL; }
    // The finished picture.
    Bitmap GetBitmap() {
        Bitmap bitmap;
        if (context_ != nullptr) static_cast<IMpBitmapRenderTarget*>(context_)->GetBitmap(bitmap.GetAddressOf());
        return bitmap;
    }
};

inline BitmapRenderTarget Graphics_base::CreateCompatibleRenderTarget(Size desiredSize) {
    IMpBitmapRenderTarget* target = nullptr;
    if (context_ != nullptr) context_->CreateCompatibleRenderTarget(&desiredSize, &target);
    return BitmapRenderTarget(target);
}

}  // namespace GmpiDrawing
