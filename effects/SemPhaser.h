// Phaser: up to sixteen first-order allpasses sharing one coefficient that
// an external modulator sweeps, with one sample of feedback around them,
// mixed with the dry signal so that the phase turns into spectral nulls.
#pragma once

#include "effects/FxCommon.h"

class SemPhaser : public tam::fx::FxBase {
public:
    static constexpr int kMaxStages = 16;

    SemPhaser();

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

    AudioInPin pinIn;
    BoolInPin pinOn;
    AudioInPin pinModulation;
    AudioInPin pinDepth;
    AudioInPin pinPosition;
    AudioInPin pinFeedback;
    IntInPin pinStages;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    AudioOutPin pinOut;

    float state[kMaxStages] = {};
    float coefficient = 0.0f;
    float prevY = 0.0f;
    float feedback = 0.0f;
    float wet = 0.0f;
    float dry = 0.0f;
    float level = 1.0f;
    bool setPinsSeen = false;
};
