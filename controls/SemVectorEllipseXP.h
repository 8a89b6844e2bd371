// A filled ellipse with an outline, filling the control's rectangle.
#pragma once

#include "controls/SemVectorShapeXP.h"

class SemVectorEllipseXP : public SemVectorShapeXP {
public:
    SemVectorEllipseXP() = default;

protected:
    void drawShape(GmpiDrawing::Graphics& g, const GmpiDrawing::Rect& area, const GmpiDrawing::Brush& fill,
                   const GmpiDrawing::Brush& outline, float outlineWidth) override;
};
