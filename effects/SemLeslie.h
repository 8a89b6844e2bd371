// Rotating loudspeaker: a crossover splits the signal; the low band passes a
// slow rotor (amplitude and pan), the high band a faster one (amplitude, pan
// and Doppler shift from a short ring). Rotor speeds glide towards the
// selected speed. The modulators are worked out every 33 samples and
// interpolated in between.
#pragma once

#include "effects/FxCommon.h"

class SemLeslie : public tam::fx::FxBase {
public:
    SemLeslie();
    ~SemLeslie() override;

    int32_t open() override;
    void onSetPins() override;

    void subProcessAll(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessPassThru(int bufferOffset, int sampleFrames);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

    // Phase, speed and glide of one rotor.
    struct Rotor {
        float phase = 0.0f;
        float rate = 0.0f;        // radians a sample
        float targetStep = 0.0f;  // radians a sample the rotor glides to
        float smoothing = 0.0f;   // glide coefficient per update
    };

    // The four modulators and their per-sample slopes.
    struct Modulators {
        float highCubed = 0.0f;  // cos^3 of the high phase
        float lowCos = 0.0f;
        float highSin = 0.0f;
        float lowSin = 0.0f;
        float dHighCubed = 0.0f, dLowCos = 0.0f, dHighSin = 0.0f, dLowSin = 0.0f;
        int counter = 0;
    };

private:
    template <bool kStreamingParameters>
    void render(int bufferOffset, int sampleFrames);
    void setSpeed();
    void setDepths(float levelForDepths);
    void loadModulators();

    AudioInPin pinIn;
    BoolInPin pinOn;
    IntInPin pinSpeed;
    AudioInPin pinSpeedScale;
    AudioInPin pinLowPan;
    AudioInPin pinLowAmplitude;
    AudioInPin pinHighPan;
    AudioInPin pinDoppler;
    AudioInPin pinHighAmplitude;
    AudioInPin pinCrossover;
    AudioInPin pinLevel;
    AudioOutPin pinOutLeft;
    AudioOutPin pinOutRight;

    Rotor high;
    Rotor low;
    Modulators mod;
    float* ring = nullptr;
    int ringSize = 201;
    int ringPos = 0;
    float l1 = 0.0f;
    float l2 = 0.0f;

    float crossover = 0.0f;
    float level = 0.4f;
    float lowAmplitudeDepth = 0.0f;
    float highAmplitudeDepth = 0.0f;
    float lowPanDepth = 0.0f;
    float highPanDepth = 0.0f;
    float dopplerDepth = 0.0f;
    bool setPinsSeen = false;
};
