// Echo: a delay line of up to ten seconds with feedback through an optional
// band-pass, read at whole samples, with an equal-power wet/dry mix.
#pragma once

#include "effects/FxCommon.h"

class SemEcho : public tam::fx::FxBase {
public:
    SemEcho();
    ~SemEcho() override;

    int32_t open() override;
    void onSetPins() override;

    void subProcessAll(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessPassThru(int bufferOffset, int sampleFrames);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

    void createBuffer();
    void calcTime(float t, int range);

private:
    // Band-pass of constant peak gain from the frequency pin.
    void calcFilter(float v);
    template <bool kFilter>
    void renderFixed(int bufferOffset, int sampleFrames);
    template <bool kFilter>
    void renderAll(int bufferOffset, int sampleFrames);

    AudioInPin pinIn;
    BoolInPin pinOn;
    AudioInPin pinTime;
    AudioInPin pinFeedback;
    BoolInPin pinFilterOn;
    AudioInPin pinBlend;
    AudioInPin pinFrequency;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    FloatInPin pinLength;
    IntInPin pinRange;
    AudioOutPin pinOut;

    float* line = nullptr;
    int len = 0;
    int writePos = 0;
    int offset = 1;
    float fraction = 0.0f;  // kept, never used: the echo reads whole samples
    float delayed = 0.0f;   // the value read at the sample before

    float b0 = 0.0f, b1 = 0.0f, b2 = 0.0f, a1 = 0.0f, a2 = 0.0f;
    float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
    float lastFrequencyPin = -1.0f;

    float wet = 0.0f;
    float dry = 0.0f;
    float level = 1.0f;
    bool setPinsSeen = false;
};
