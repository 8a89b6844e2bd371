// Curve mode (GUI): the "CRVE" blob of a numbered response curve, rebuilt
// whenever the number changes.
#pragma once

#include "frame/mp_sdk_gui.h"

class SemCurveMode : public MpGuiBase {
public:
    SemCurveMode();

    void onCurveChanged();

private:
    MpGuiPin<int> pinCurve;
    MpGuiPin<MpBlob> pinResult;
};
