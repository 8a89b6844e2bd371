// The reference host's drawing layer: the drawing factory and device
// context over cairo, text through pango, PNG and BMP bitmaps. A context can
// also record every drawing call it receives, so that tests can assert on
// what a module drew as well as on the pixels.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frame/GmpiDrawing_API.h"

namespace tamhost {

// One drawing call as a context received it.
struct DrawOp {
    std::string name;           // "DrawLine", "FillRectangle", "DrawBitmap", ...
    std::vector<float> values;  // the call's coordinates (and stroke width or opacity last)
    uint32_t argb = 0;          // the solid brush's colour, else 0
    std::string text;           // DrawTextU's text
};

struct DrawOptions {
    bool antialias = true;
};

class CairoFactory;

// A factory with one reference for the caller.
CairoFactory* createCairoFactory();
// The process's one factory (as a host has one per window system), never
// freed: caches in the pack may hold its bitmaps until the pack unloads.
// The caller gets no reference of its own.
CairoFactory* sharedCairoFactory();
GmpiDrawing_API::IMpFactory* factoryInterface(CairoFactory* factory);

// A bitmap of the reference host: an ARGB32 cairo image surface.
cairo_surface_t* bitmapSurface(const GmpiDrawing_API::IMpBitmap* bitmap);

// Decodes a BMP file image (1, 4, 8, 24 or 32 bits, uncompressed or bit
// fields) into a new ARGB32 surface; null for anything malformed.
cairo_surface_t* decodeBmp(const uint8_t* data, size_t size);

// A device context drawing on an image surface. Made with one reference.
class CairoContext;
CairoContext* createCairoContext(CairoFactory* factory, cairo_surface_t* surface, const DrawOptions& options);
GmpiDrawing_API::IMpDeviceContext* contextInterface(CairoContext* context);
// Moves the origin (the module's position) under whatever the module sets.
void setContextOrigin(CairoContext* context, double x, double y);
// Starts recording into log (null stops); the log must outlive the context.
void setContextRecorder(CairoContext* context, std::vector<DrawOp>* log);

// An owned ARGB32 picture with probes in straight (not premultiplied) colour.
class Image {
public:
    Image() = default;
    Image(int width, int height);
    explicit Image(cairo_surface_t* adoptedSurface);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    Image(Image&& other) noexcept;
    Image& operator=(Image&& other) noexcept;

    int width() const;
    int height() const;
    cairo_surface_t* surface() const { return surface_; }
    // 0xAARRGGBB, colour channels divided back by alpha; 0 outside.
    uint32_t pixel(int x, int y) const;
    void fill(uint32_t argb);
    // Throws std::runtime_error when cairo cannot write.
    void writePng(const std::string& path) const;

private:
    cairo_surface_t* surface_ = nullptr;
};

}  // namespace tamhost
