// Mono to two outputs: the position splits the signal between them through a
// linear, sine, square-root or custom curve.
#pragma once

#include "frame/mp_sdk_audio.h"
#include "sound/tamPanCurve.h"

class SemPan : public MpBase {
public:
    explicit SemPan(gmpi::IMpUnknown* host);

    int32_t open() override;
    void onSetPins() override;

    void onCurveChange();
    void calculatePan(float position);

    void subProcessSilent(int bufferOffset, int sampleFrames);
    void subProcessCurve(int bufferOffset, int sampleFrames);
    void subProcessLinear(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinSignal;
    AudioInPin pinPosition;
    EnumInPin pinScale;
    EnumInPin pinCurve;
    AudioOutPin pinOutput1;
    AudioOutPin pinOutput2;
    BoolInPin pinCustom;
    BlobInPin pinCustomCurve;

    tam::PanCurve curve;
};
