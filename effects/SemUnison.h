// Unison: a bank of 4 to 32 grain voices on one mono line, each a little
// slower than the one before, summed with the dry signal.
#pragma once

#include "effects/FxCommon.h"
#include "effects/FxGrain.h"

class SemUnison : public tam::fx::FxBase {
public:
    static constexpr int kMaxVoices = 32;

    SemUnison();
    ~SemUnison() override;

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
    void setRates(float spreadPin);
    void setWindowSize(float pin);
    void setMix(float mixPin, float levelPin);

    AudioInPin pinIn;
    BoolInPin pinOn;
    IntInPin pinVoices;
    AudioInPin pinSpread;
    AudioInPin pinWindow;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    AudioOutPin pinOut;

    float* line = nullptr;
    float* window = nullptr;
    int size = 0;
    int writePos = 0;
    int voices = 4;
    float positions[kMaxVoices] = {};
    float rates[kMaxVoices] = {};
    float wet = 0.0f;
    float dry = 0.0f;
    bool setPinsSeen = false;
};
