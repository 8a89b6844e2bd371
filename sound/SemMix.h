// Crossfade of two inputs: the position weighs input A against input B
// through a linear, sine, square-root or custom curve.
#pragma once

#include "frame/mp_sdk_audio.h"
#include "sound/tamPanCurve.h"

class SemMix : public MpBase {
public:
    explicit SemMix(gmpi::IMpUnknown* host);

    int32_t open() override;
    void onSetPins() override;

    void onCurveChange();
    void calculateMix(float position);

    void subProcessSilent(int bufferOffset, int sampleFrames);
    void subProcessCurve(int bufferOffset, int sampleFrames);
    void subProcessLinear(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinInputA;
    AudioInPin pinInputB;
    AudioInPin pinPosition;
    EnumInPin pinScale;
    EnumInPin pinCurve;
    AudioOutPin pinOutput;
    BoolInPin pinCustom;
    BlobInPin pinCustomCurve;

    tam::PanCurve curve;
};
