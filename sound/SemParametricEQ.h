// Stereo parametric equaliser: one peaking, low shelf or high shelf biquad
// applied to both channels, with a bypass.
#pragma once

#include "frame/mp_sdk_audio.h"
#include "sound/filterKernels.h"

class SemParametricEQ : public MpBase {
public:
    enum Type { kPeaking = 0, kLowShelf = 1, kHighShelf = 2 };

    explicit SemParametricEQ(gmpi::IMpUnknown* host = nullptr);

    int32_t open() override;
    void process(int32_t count, const gmpi::MpEvent* events) override;
    using MpBase::process;
    void onSetPins() override;

    void doCheck(int last);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void subProcess(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessBypass(int bufferOffset, int sampleFrames);

    // The design: gain is in tens of volts (A = 9 to the gain), bandwidth in
    // octaves (peaking) or the shelf slope (0.002 .. 1).
    void calcCoefficients(int type, float frequency, float bandwidth, float gain, int pitchMode, float& b0, float& b1,
                          float& b2, float& a1, float& a2) const;

private:
    template <int Type, int Law, bool Left, bool Right>
    void modulatedKernel(int bufferOffset, int sampleFrames);
    template <bool Left, bool Right>
    void fixedKernel(int bufferOffset, int sampleFrames);
    template <bool Left, bool Right>
    void runFixed(int bufferOffset, int sampleFrames);
    template <typename F>
    void withChannels(F&& f);
    void endOfRoutine(int bufferOffset, int sampleFrames);
    bool channelStreams(int channel) const;

    AudioInPin leftIn;
    AudioInPin rightIn;
    EnumInPin activePin;
    EnumInPin typePin;
    AudioInPin gainIn;
    AudioInPin frequencyIn;
    AudioInPin bandwidthIn;
    AudioOutPin leftOut;
    AudioOutPin rightOut;
    EnumInPin pitchModePin;

    int checkCounter = 0;
    bool staticFlag = false;
    float sampleRate = 44100.0f;
    bool leftActive = true;
    bool rightActive = true;
    float x1[2] = {};
    float x2[2] = {};
    float y1[2] = {};
    float y2[2] = {};
    tam::filters::BiquadCoefficients coefficients;
};
