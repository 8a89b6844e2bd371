// Envelope generator: gate and trigger start an attack to 1.0, a decay to
// the sustain level and, when they fall, a release to 0. Rates follow the
// exponential time law; the curve mode picks steep or gentle stages. The
// output is the level input times the envelope.
#pragma once

#include "frame/mp_sdk_audio.h"

class SemADSR : public MpBase {
public:
    explicit SemADSR(gmpi::IMpUnknown* host);

    int32_t open() override;
    void onSetPins() override;

    void setAttackRate(float value);
    void setDecayRate(float value);
    void setReleaseRate(float value);
    void setTargetRatioA(float value);
    void setTargetRatioDR(float value);

    void subProcessGate(int bufferOffset, int sampleFrames);
    void subProcessEnv(int bufferOffset, int sampleFrames);
    void subProcessEnvAll(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

private:
    void changeState(bool gate, bool trigger);

    AudioInPin pinGate;
    AudioInPin pinTrigger;
    AudioInPin pinAttack;
    AudioInPin pinDecay;
    AudioInPin pinSustain;
    AudioInPin pinRelease;
    AudioInPin pinLevel;
    AudioOutPin pinOutput;
    IntInPin pinCurveMode;

    int checkCounter = 0;
    bool isStatic = false;
    float sampleRate = 44100.0f;
    int stage = 0;
    float envelope = 0.0f;
    bool gateState = false;
    bool triggerState = false;
    float attackBase = 0.0f;
    float attackMultiplier = 0.0f;
    float decayBase = 0.0f;
    float decayMultiplier = 0.0f;
    float releaseBase = 0.0f;
    float releaseMultiplier = 0.0f;
    float sustain = 1.0f;
    float targetRatioA = 0.2f;
    float targetRatioDR = 0.01f;
    SubProcess_ptr envelopeRoutine = static_cast<SubProcess_ptr>(&SemADSR::subProcessEnv);
};
