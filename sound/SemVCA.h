// Voltage controlled amplifier: the signal times a gain taken from the volume
// through a response curve (linear, decibel, exponential, adjusted decibel or
// a custom "CRVE" curve). A steady volume is turned into one fixed gain in
// onSetPins; a streaming volume is looked up per sample.
#pragma once

#include "foundation/tamBuffer.h"
#include "frame/mp_sdk_audio.h"

class SemVCA : public MpBase {
public:
    explicit SemVCA(gmpi::IMpUnknown* host);

    int32_t open() override;
    void onSetPins() override;

    void onCurveChange();
    float calculateGain(float volume) const;

    void subProcessSilent(int bufferOffset, int sampleFrames);
    void subProcessCurve(int bufferOffset, int sampleFrames);
    void subProcessLinear(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessStop(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinSignal;
    AudioInPin pinVolume;
    BoolInPin pinEnable;
    EnumInPin pinCurve;
    AudioOutPin pinOutput;
    EnumInPin pinScale;
    BoolInPin pinCustom;
    BlobInPin pinCustomCurve;

    int curveType = 0;
    int scale = 0;
    const float* table = nullptr;  // a shared table or the curve buffer
    int tableSize = 0;
    float fixedGain = 0.0f;
    bool custom = false;
    tam::Buffer<float> curveBuffer;
};
