// Vector rectangle control.
#include "controls/SemVectorRectangleXP.h"

#include <algorithm>

SemVectorRectangleXP::SemVectorRectangleXP() {
    initializePin(4, pinCornerRadius, &SemVectorRectangleXP::onInvalidate);
}

void SemVectorRectangleXP::drawShape(GmpiDrawing::Graphics& g, const GmpiDrawing::Rect& area,
                                     const GmpiDrawing::Brush& fill, const GmpiDrawing::Brush& outline,
                                     float outlineWidth) {
    // Corners no larger than half the shorter side; the outline's corners
    // follow the middle of the stroke.
    float radius = pinCornerRadius.value;
    if (!(radius > 0.0f)) radius = 0.0f;
    radius = std::min(radius, std::min(area.getWidth(), area.getHeight()) * 0.5f);
    if (radius > 0.0f) {
        if (!fill.isNull()) g.FillRoundedRectangle(area, radius, fill);
        if (!outline.isNull()) g.DrawRoundedRectangle(area, radius, outline, outlineWidth);
    } else {
        if (!fill.isNull()) g.FillRectangle(area, fill);
        if (!outline.isNull()) g.DrawRectangle(area, outline, outlineWidth);
    }
}
