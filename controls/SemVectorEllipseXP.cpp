// Vector ellipse control.
#include "controls/SemVectorEllipseXP.h"

void SemVectorEllipseXP::drawShape(GmpiDrawing::Graphics& g, const GmpiDrawing::Rect& area,
                                   const GmpiDrawing::Brush& fill, const GmpiDrawing::Brush& outline,
                                   float outlineWidth) {
    const GmpiDrawing_API::MP1_ELLIPSE ellipse{area.getCenter(), area.getWidth() * 0.5f, area.getHeight() * 0.5f};
    if (!fill.isNull()) g.FillEllipse(ellipse, fill);
    if (!outline.isNull()) g.DrawEllipse(ellipse, outline, outlineWidth);
}
