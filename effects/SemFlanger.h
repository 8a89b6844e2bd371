// Flanger: a fixed 2048-sample line read at a fractional delay that an
// external modulator sweeps between a base and the top of its range, with
// feedback from the delayed signal.
#pragma once

#include "effects/FxCommon.h"

class SemFlanger : public tam::fx::FxBase {
public:
    static constexpr int kLineSize = 2048;
    static constexpr int kMask = kLineSize - 1;

    SemFlanger();
    ~SemFlanger() override;

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
    AudioInPin pinDelay;
    AudioInPin pinFeedback;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    AudioOutPin pinOut;

    float* line = nullptr;
    int position = 0;
    float prevY = 0.0f;
    float base = 0.0f;
    float span = 0.0f;
    float feedback = 0.0f;
    float wet = 0.0f;
    float dry = 0.0f;
    float level = 1.0f;
    bool setPinsSeen = false;
};
