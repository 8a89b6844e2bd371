// The curve state that the pan and mix modules share: which table turns a
// position into two gains (linear, sine, square root or a custom "CRVE"
// curve), and the two gains for a steady position.
#pragma once

#include "foundation/tamBuffer.h"
#include "frame/mp_sdk_audio.h"
#include "sound/tamPerimeterCurve.h"

namespace tam {

class PanCurve {
public:
    // Rebuilds the table pointer from the curve type and custom flag; a custom
    // blob that fails to read leaves no table.
    void Change(const MpBlob& customCurve);

    // Gains for a position; scalePin 0 is bipolar (centre 0), else unipolar.
    // Leaves the gains as they were when a needed table is missing.
    void Calculate(float position, int scalePin);

    // Where a position of 1 lands in the table.
    float Span() const { return custom ? static_cast<float>(tableSize - 1) : 511.0f; }
    int Last() const { return custom ? tableSize - 1 : 511; }
    bool IsLinear() const { return !custom && curveType == 0; }

    static float Base(int scalePin) { return scalePin != 0 ? 1.0f : 0.5f; }

    int curveType = 0;
    bool custom = false;
    const float* table = nullptr;
    int tableSize = 0;
    float gain1 = 0.0f;  // first output, or input A
    float gain2 = 0.0f;  // second output, or input B
    Buffer<float> curveBuffer;
};

}  // namespace tam
