// The drawing interface between graphic modules and the host: plain value
// types and the host objects a module draws with (device context, factory,
// brushes, paths, text formats, bitmaps, render targets). The host
// implements every interface here; the pack only calls them, usually
// through the wrappers in frame/Drawing.h. Every object is reference counted
// through gmpi::IMpUnknown and handed out with one reference for the caller.
// Slot order of each interface is the binary contract between pack and host.
#pragma once

#include <cstdint>

#include "frame/mp_sdk_common.h"

namespace GmpiDrawing_API {

// ---- plain values -------------------------------------------------------------

struct MP1_COLOR {
    float r;
    float g;
    float b;
    float a;
};

struct MP1_POINT {
    float x;
    float y;
};

struct MP1_SIZE {
    float width;
    float height;
};

struct MP1_SIZE_U {
    uint32_t width;
    uint32_t height;
};

struct MP1_RECT {
    float left;
    float top;
    float right;
    float bottom;
};

struct MP1_ROUNDED_RECT {
    MP1_RECT rect;
    float radiusX;
    float radiusY;
};

struct MP1_ELLIPSE {
    MP1_POINT point;  // centre
    float radiusX;
    float radiusY;
};

// Maps (x, y) to (x * _11 + y * _21 + _31, x * _12 + y * _22 + _32).
struct MP1_MATRIX_3X2 {
    float _11, _12;
    float _21, _22;
    float _31, _32;
};

struct MP1_GRADIENT_STOP {
    float position;  // 0 .. 1 along the gradient
    MP1_COLOR color;
};

struct MP1_LINEAR_GRADIENT_BRUSH_PROPERTIES {
    MP1_POINT startPoint;
    MP1_POINT endPoint;
};

struct MP1_BEZIER_SEGMENT {
    MP1_POINT point1;
    MP1_POINT point2;
    MP1_POINT point3;
};

// Vertical measures of a text format's font, in pixels.
struct MP1_FONT_METRICS {
    float ascent;
    float descent;
    float lineGap;
    float capHeight;
    float xHeight;
};

enum MP1_TEXT_ALIGNMENT : int32_t {
    MP1_TEXT_ALIGNMENT_LEADING = 0,
    MP1_TEXT_ALIGNMENT_TRAILING = 1,
    MP1_TEXT_ALIGNMENT_CENTER = 2,
};

enum MP1_PARAGRAPH_ALIGNMENT : int32_t {
    MP1_PARAGRAPH_ALIGNMENT_NEAR = 0,
    MP1_PARAGRAPH_ALIGNMENT_FAR = 1,
    MP1_PARAGRAPH_ALIGNMENT_CENTER = 2,
};

enum MP1_WORD_WRAPPING : int32_t {
    MP1_WORD_WRAPPING_WRAP = 0,
    MP1_WORD_WRAPPING_NO_WRAP = 1,
};

enum MP1_FONT_WEIGHT : int32_t {
    MP1_FONT_WEIGHT_LIGHT = 300,
    MP1_FONT_WEIGHT_NORMAL = 400,
    MP1_FONT_WEIGHT_BOLD = 700,
};

enum MP1_FONT_STYLE : int32_t {
    MP1_FONT_STYLE_NORMAL = 0,
    MP1_FONT_STYLE_OBLIQUE = 1,
    MP1_FONT_STYLE_ITALIC = 2,
};

enum MP1_FIGURE_BEGIN : int32_t {
    MP1_FIGURE_BEGIN_FILLED = 0,
    MP1_FIGURE_BEGIN_HOLLOW = 1,
};

enum MP1_FIGURE_END : int32_t {
    MP1_FIGURE_END_OPEN = 0,
    MP1_FIGURE_END_CLOSED = 1,
};

enum MP1_BITMAP_INTERPOLATION_MODE : int32_t {
    MP1_BITMAP_INTERPOLATION_MODE_NEAREST_NEIGHBOR = 0,
    MP1_BITMAP_INTERPOLATION_MODE_LINEAR = 1,
};

// Flags of IMpDeviceContext::DrawTextU.
enum MP1_DRAW_TEXT_OPTIONS : int32_t {
    MP1_DRAW_TEXT_OPTIONS_NONE = 0,
    MP1_DRAW_TEXT_OPTIONS_CLIP = 2,
};

// Flags of IMpBitmap::lockPixels.
enum MP1_BITMAP_LOCK_FLAGS : int32_t {
    MP1_BITMAP_LOCK_READ = 1,
    MP1_BITMAP_LOCK_WRITE = 2,
};

// Pixels are 32-bit words, alpha in the top byte, then red, green, blue,
// colour channels premultiplied by alpha.
enum MP1_PIXEL_FORMAT : int32_t {
    MP1_PIXEL_FORMAT_PREMULTIPLIED_ARGB32 = 0,
};

// ---- host objects -------------------------------------------------------------

class IMpFactory;

// Anything made by a factory or context can tell which factory that was.
class IMpResource : public gmpi::IMpUnknown {
public:
    virtual void GetFactory(IMpFactory** factory) = 0;
};

class IMpBrush : public IMpResource {};

class IMpSolidColorBrush : public IMpBrush {
public:
    virtual void SetColor(const MP1_COLOR* color) = 0;
    virtual MP1_COLOR GetColor() = 0;
};

class IMpGradientStopCollection : public IMpResource {
public:
    virtual uint32_t GetGradientStopCount() = 0;
};

class IMpLinearGradientBrush : public IMpBrush {
public:
    virtual void SetStartPoint(MP1_POINT startPoint) = 0;
    virtual void SetEndPoint(MP1_POINT endPoint) = 0;
};

// Receives the figures of a path geometry between Open and Close.
class IMpGeometrySink : public gmpi::IMpUnknown {
public:
    virtual void BeginFigure(MP1_POINT startPoint, MP1_FIGURE_BEGIN figureBegin) = 0;
    virtual void AddLine(MP1_POINT point) = 0;
    virtual void AddLines(const MP1_POINT* points, uint32_t pointsCount) = 0;
    virtual void AddBezier(const MP1_BEZIER_SEGMENT* bezier) = 0;
    virtual void EndFigure(MP1_FIGURE_END figureEnd) = 0;
    virtual int32_t Close() = 0;
};

class IMpPathGeometry : public IMpResource {
public:
    // A geometry is filled once; a second Open gives MP_FAIL.
    virtual int32_t Open(IMpGeometrySink** geometrySink) = 0;
    virtual int32_t GetBounds(MP1_RECT* bounds) = 0;
};

class IMpTextFormat : public gmpi::IMpUnknown {
public:
    virtual int32_t SetTextAlignment(MP1_TEXT_ALIGNMENT textAlignment) = 0;
    virtual int32_t SetParagraphAlignment(MP1_PARAGRAPH_ALIGNMENT paragraphAlignment) = 0;
    virtual int32_t SetWordWrapping(MP1_WORD_WRAPPING wordWrapping) = 0;
    // Width and height of UTF-8 text (stringLength bytes, -1 to the
    // terminator) laid out on one line.
    virtual int32_t GetTextExtentU(const char* utf8String, int32_t stringLength, MP1_SIZE* returnSize) = 0;
    virtual int32_t GetFontMetrics(MP1_FONT_METRICS* returnFontMetrics) = 0;
    // A spacing of 0 or less returns to the font's own.
    virtual int32_t SetLineSpacing(float lineSpacing, float baseline) = 0;
};

// Direct access to a locked bitmap's pixels; the lock ends at release.
class IMpBitmapPixels : public gmpi::IMpUnknown {
public:
    virtual uint8_t* getAddress() = 0;
    virtual int32_t getBytesPerRow() = 0;
    virtual int32_t getPixelFormat() = 0;
};

class IMpBitmap : public IMpResource {
public:
    virtual MP1_SIZE GetSizeF() = 0;
    virtual int32_t GetSize(MP1_SIZE_U* returnSize) = 0;
    virtual int32_t lockPixels(IMpBitmapPixels** returnPixels, int32_t flags) = 0;
};

class IMpBitmapRenderTarget;

class IMpDeviceContext : public IMpResource {
public:
    virtual void DrawLine(MP1_POINT point0, MP1_POINT point1, const IMpBrush* brush, float strokeWidth) = 0;
    virtual void DrawRectangle(const MP1_RECT* rect, const IMpBrush* brush, float strokeWidth) = 0;
    virtual void FillRectangle(const MP1_RECT* rect, const IMpBrush* brush) = 0;
    virtual void DrawRoundedRectangle(const MP1_ROUNDED_RECT* roundedRect, const IMpBrush* brush,
                                      float strokeWidth) = 0;
    virtual void FillRoundedRectangle(const MP1_ROUNDED_RECT* roundedRect, const IMpBrush* brush) = 0;
    virtual void DrawEllipse(const MP1_ELLIPSE* ellipse, const IMpBrush* brush, float strokeWidth) = 0;
    virtual void FillEllipse(const MP1_ELLIPSE* ellipse, const IMpBrush* brush) = 0;
    virtual void DrawGeometry(const IMpPathGeometry* geometry, const IMpBrush* brush, float strokeWidth) = 0;
    virtual void FillGeometry(const IMpPathGeometry* geometry, const IMpBrush* brush) = 0;
    // UTF-8 text (stringLength bytes, -1 to the terminator) laid out in the
    // rectangle by the format's alignment and wrapping.
    virtual void DrawTextU(const char* utf8String, int32_t stringLength, const IMpTextFormat* textFormat,
                           const MP1_RECT* layoutRect, const IMpBrush* brush, int32_t flags) = 0;
    // Draws sourceRect of the bitmap (null: all of it) into destinationRect.
    virtual void DrawBitmap(const IMpBitmap* bitmap, const MP1_RECT* destinationRect, float opacity,
                            int32_t interpolationMode, const MP1_RECT* sourceRect) = 0;
    virtual void SetTransform(const MP1_MATRIX_3X2* transform) = 0;
    virtual void GetTransform(MP1_MATRIX_3X2* transform) = 0;
    virtual int32_t CreateSolidColorBrush(const MP1_COLOR* color, IMpSolidColorBrush** solidColorBrush) = 0;
    virtual int32_t CreateGradientStopCollection(const MP1_GRADIENT_STOP* gradientStops, uint32_t gradientStopsCount,
                                                 IMpGradientStopCollection** gradientStopCollection) = 0;
    virtual int32_t CreateLinearGradientBrush(const MP1_LINEAR_GRADIENT_BRUSH_PROPERTIES* properties,
                                              const IMpGradientStopCollection* gradientStopCollection,
                                              IMpLinearGradientBrush** linearGradientBrush) = 0;
    // An offscreen target of the given size whose bitmap the caller may draw.
    virtual int32_t CreateCompatibleRenderTarget(const MP1_SIZE* desiredSize,
                                                 IMpBitmapRenderTarget** bitmapRenderTarget) = 0;
    // Clips nest; each push intersects with the clip before it.
    virtual void PushAxisAlignedClip(const MP1_RECT* clipRect) = 0;
    virtual void PopAxisAlignedClip() = 0;
    virtual void GetAxisAlignedClip(MP1_RECT* returnClipRect) = 0;
    virtual void Clear(const MP1_COLOR* clearColor) = 0;
    virtual void BeginDraw() = 0;
    virtual int32_t EndDraw() = 0;
};

class IMpBitmapRenderTarget : public IMpDeviceContext {
public:
    // The picture drawn so far, as a bitmap of its own.
    virtual int32_t GetBitmap(IMpBitmap** returnBitmap) = 0;
};

class IMpFactory : public gmpi::IMpUnknown {
public:
    virtual int32_t CreatePathGeometry(IMpPathGeometry** pathGeometry) = 0;
    // fontFamilyName is UTF-8; an unknown family falls back to the host's.
    virtual int32_t CreateTextFormat(const char* fontFamilyName, MP1_FONT_WEIGHT fontWeight,
                                     MP1_FONT_STYLE fontStyle, float fontSize, IMpTextFormat** textFormat) = 0;
    // A transparent bitmap of the given size.
    virtual int32_t CreateImage(int32_t width, int32_t height, IMpBitmap** returnBitmap) = 0;
    // PNG or BMP from a file (UTF-8 path) or from bytes in memory. MP_FAIL
    // for a missing file or bytes that are no image.
    virtual int32_t LoadImageU(const char* utf8Path, IMpBitmap** returnBitmap) = 0;
    virtual int32_t CreateBitmapFromMemory(const uint8_t* data, int32_t size, IMpBitmap** returnBitmap) = 0;
};

}  // namespace GmpiDrawing_API

// Identifiers of the drawing objects, for hosts that check a face.
inline constexpr gmpi::MpGuid SE_IID_FACTORY_MPGUI = {0x481D4609, 0xE28B, 0x4698, {0xBB, 0x2D, 0x64, 0x80, 0x47, 0x5B, 0x89, 0xC1}};
inline constexpr gmpi::MpGuid SE_IID_BITMAP_MPGUI = {0xA9D5E7C2, 0x3C1B, 0x4E57, {0x8F, 0x10, 0x5B, 0x2E, 0x71, 0x44, 0xC9, 0x03}};
inline constexpr gmpi::MpGuid SE_IID_BITMAP_RENDERTARGET_MPGUI = {0x242DC082, 0x399A, 0x4CAF, {0x8D, 0x7A, 0x10, 0x9D, 0x4B, 0x6C, 0xE1, 0x5F}};
