// Detune: a two-voice pitch shifter on one mono line; the left output sounds
// below the input and the right above it, by up to three semitones.
#pragma once

#include "effects/FxCommon.h"
#include "effects/FxGrain.h"

class SemDetune : public tam::fx::FxBase {
public:
    SemDetune();
    ~SemDetune() override;

    int32_t open() override;
    void onSetPins() override;

    void subProcessAll(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessPassThru(int bufferOffset, int sampleFrames);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

private:
    template <bool kStreamingParameters>
    void render(int bufferOffset, int sampleFrames);
    void setRatio(float pin);
    void setWindowSize(float pin);
    void setMix(float mixPin, float levelPin);

    AudioInPin pinInLeft;
    AudioInPin pinInRight;
    BoolInPin pinOn;
    AudioInPin pinDetune;
    AudioInPin pinWindow;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    AudioOutPin pinOutLeft;
    AudioOutPin pinOutRight;

    float* line = nullptr;
    float* window = nullptr;
    int size = 0;
    int writePos = 0;
    float p1 = 0.0f;
    float p2 = 0.0f;
    float ratio = 1.0f;
    float inverseRatio = 1.0f;
    float wet = 0.0f;
    float dry = 0.0f;
    bool setPinsSeen = false;
};
