// Curve generator (GUI): builds the "CRVE" blob of a numbered response
// curve when the curve changes in automatic mode, or on a trigger.
#pragma once

#include "frame/mp_sdk_gui.h"

class SemCurveGen : public MpGuiBase {
public:
    SemCurveGen();

    void onCurveChanged();
    void onTriggerChanged();

private:
    MpGuiPin<int> pinCurve;
    MpGuiPin<MpBlob> pinResult;
    MpGuiPin<bool> pinAutomatic;
    MpGuiPin<bool> pinTrigger;
};
