// Shared drawing of the vector shape controls.
#include "controls/SemVectorShapeXP.h"

#include <algorithm>

SemVectorShapeXP::SemVectorShapeXP() {
    initializePin(0, pinVisible, &SemVectorShapeXP::onInvalidate);
    initializePin(1, pinFillColor, &SemVectorShapeXP::onInvalidate);
    initializePin(2, pinOutlineColor, &SemVectorShapeXP::onInvalidate);
    initializePin(3, pinOutlineWidth, &SemVectorShapeXP::onInvalidate);
}

int32_t SemVectorShapeXP::OnRender(GmpiDrawing_API::IMpDeviceContext* drawingContext) {
    if (!pinVisible.value || drawingContext == nullptr) return MP_OK;
    const float width = rect.right - rect.left;
    const float height = rect.bottom - rect.top;
    if (!(width >= 1.0f && height >= 1.0f)) return MP_OK;

    GmpiDrawing::Graphics g(drawingContext);
    // A width that is negative, NaN or wider than the shape is limited.
    float outlineWidth = pinOutlineWidth.value;
    if (!(outlineWidth > 0.0f)) outlineWidth = 0.0f;
    outlineWidth = std::min(outlineWidth, std::min(width, height) * 0.5f);

    GmpiDrawing::Brush fill;
    GmpiDrawing::Brush outline;
    if (!pinFillColor.invalid) fill = g.CreateSolidColorBrush(GmpiDrawing::Color::FromArgb(pinFillColor.color));
    if (!pinOutlineColor.invalid && outlineWidth > 0.0f) {
        outline = g.CreateSolidColorBrush(GmpiDrawing::Color::FromArgb(pinOutlineColor.color));
    }
    if (fill.isNull() && outline.isNull()) return MP_OK;

    GmpiDrawing::Rect area(0.0f, 0.0f, width, height);
    if (!outline.isNull()) area.Inflate(-outlineWidth * 0.5f);
    drawShape(g, area, fill, outline, outlineWidth);
    return MP_OK;
}
