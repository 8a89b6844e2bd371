// What the vector shape controls share: a visibility pin, fill and outline
// colours (colour texts such as "0xFF336699" or "RGB(51,102,153)"; an
// invalid colour leaves that part undrawn) and an outline width in pixels.
// The outline lies inside the control's rectangle.
#pragma once

#include "frame/mp_sdk_gui2.h"

class SemVectorShapeXP : public gmpi_gui::MpGuiGfxBase {
public:
    SemVectorShapeXP();

    int32_t OnRender(GmpiDrawing_API::IMpDeviceContext* drawingContext) override;

    void onInvalidate() { invalidateRect(nullptr); }

protected:
    // Draws the shape in the rectangle (already inset by half the outline).
    // fill and outline are null brushes when that part is not drawn.
    virtual void drawShape(GmpiDrawing::Graphics& g, const GmpiDrawing::Rect& area, const GmpiDrawing::Brush& fill,
                           const GmpiDrawing::Brush& outline, float outlineWidth) = 0;

    MpGuiPin<bool> pinVisible;
    ColorGuiPin pinFillColor;
    ColorGuiPin pinOutlineColor;
    MpGuiPin<float> pinOutlineWidth;
};
