// Envelope follower: the level of a signal as the RMS over the last 100
// samples, or (detection 1) the greatest square among them, with a falling
// law for decay and a rising law for attack. A rise steeper than the attack
// allows is laid back as a ramp over the samples already written.
#pragma once

#include "frame/mp_sdk_audio.h"

class SemEnvelopeFollower : public MpBase {
public:
    explicit SemEnvelopeFollower(gmpi::IMpUnknown* host);
    ~SemEnvelopeFollower() override;

    int32_t open() override;
    void onSetPins() override;

    template <bool PEAK>
    void subProcessFixed(int bufferOffset, int sampleFrames);
    template <bool PEAK>
    void subProcess(int bufferOffset, int sampleFrames);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

    static constexpr int RingLength = 100;

private:
    float attackFactorFor(float attack) const;
    float decayFactorFor(float decay) const;
    void onPreSeed(const float* samples, int count);
    template <bool PEAK, bool STREAMING>
    void follow(int bufferOffset, int sampleFrames, const float* attack, const float* decay);
    void resetRings();

    AudioInPin pinSignal;
    AudioInPin pinAttack;
    AudioInPin pinDecay;
    IntInPin pinDetection;
    AudioOutPin pinOutput;

    int checkCounter = 0;
    bool isStatic = false;
    float sampleRate = 44100.0f;
    float floorLevel = 0.001f;  // the output never falls below it
    float attackFactor = 1.0f;
    float decayFactor = 1.0f;
    float lastOutput = 0.0f;
    float sumOfSquares = 0.0f;
    float* squares = nullptr;
    float* rmsRing = nullptr;
    int ringLength = RingLength;
    int ringPosition = 0;
};
