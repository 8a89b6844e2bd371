// A filled rectangle with an outline and rounded corners, drawn as vectors.
#pragma once

#include "controls/SemVectorShapeXP.h"

class SemVectorRectangleXP : public SemVectorShapeXP {
public:
    SemVectorRectangleXP();

protected:
    void drawShape(GmpiDrawing::Graphics& g, const GmpiDrawing::Rect& area, const GmpiDrawing::Brush& fill,
                   const GmpiDrawing::Brush& outline, float outlineWidth) override;

private:
    MpGuiPin<float> pinCornerRadius;  // pixels; 0 for square corners
};
