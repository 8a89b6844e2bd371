#include "sound/SemCurveGen.h"

#include "sound/tamBuildCurve.h"

SemCurveGen::SemCurveGen() {
    initializePin(0, pinCurve, &SemCurveGen::onCurveChanged);
    initializePin(1, pinResult);
    initializePin(2, pinAutomatic, &SemCurveGen::onTriggerChanged);
    initializePin(3, pinTrigger, &SemCurveGen::onTriggerChanged);
}

void SemCurveGen::onCurveChanged() {
    if (pinAutomatic.getValue()) pinResult = BuildCurveToBlob(pinCurve.getValue());
}

void SemCurveGen::onTriggerChanged() {
    if (pinAutomatic.getValue() || pinTrigger.getValue()) pinResult = BuildCurveToBlob(pinCurve.getValue());
}
