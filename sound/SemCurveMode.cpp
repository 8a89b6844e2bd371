#include "sound/SemCurveMode.h"

#include "sound/tamBuildCurve.h"

SemCurveMode::SemCurveMode() {
    initializePin(0, pinCurve, &SemCurveMode::onCurveChanged);
    initializePin(1, pinResult);
}

void SemCurveMode::onCurveChanged() { pinResult = BuildCurveToBlob(pinCurve.getValue()); }
