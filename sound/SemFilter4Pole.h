// Biquad filter: low, high, band pass, notch and all pass, with up to three
// further stages in cascade.
#pragma once

#include "frame/mp_sdk_audio.h"
#include "sound/filterKernels.h"

class SemFilter4Pole : public MpBase {
public:
    static constexpr int kMaxStages = 4;

    explicit SemFilter4Pole(gmpi::IMpUnknown* host = nullptr);

    int32_t open() override;
    void process(int32_t count, const gmpi::MpEvent* events) override;
    using MpBase::process;
    void onSetPins() override;

    void doCheck(int last);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void subProcess(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);

private:
    void computeCoefficients(float pitch, float resonance);
    template <int Stages>
    void fixedKernel(int bufferOffset, int sampleFrames);
    template <int Response, int Law>
    void modulatedKernel(int bufferOffset, int sampleFrames);
    void endOfRoutine(int bufferOffset, int sampleFrames);

    AudioInPin signalIn;
    EnumInPin responsePin;
    EnumInPin stagesPin;
    AudioInPin pitchIn;
    AudioInPin resonanceIn;
    AudioOutPin output;
    EnumInPin pitchModePin;

    int checkCounter = 0;
    bool staticFlag = false;
    float sampleRate = 44100.0f;
    float x1[kMaxStages] = {};
    float x2[kMaxStages] = {};
    float y1[kMaxStages] = {};
    float y2[kMaxStages] = {};
    tam::filters::BiquadCoefficients coefficients;
    int stageCount = 1;  // 1 + the further stages of pin 2, limited to 1..4
};
