#include "sound/SemADSR.h"

#include <cmath>

#include "sound/tamADSR.h"
#include "sound/tamPerimeterCurve.h"

using tam::PerimeterCurve;

namespace {

// The log of (0.2 + 1) / 0.2: the attack's start ratio, before any pin.
constexpr float kStartAttackLog = 1.7917595f;

// Ratios of the two curve modes: 1 steep, anything else gentle.
constexpr float kSteepRatio = 0.01f;
constexpr float kGentleRatio = 2.0f;

}  // namespace

SemADSR::SemADSR(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinGate);
    initializePin(1, pinTrigger);
    initializePin(2, pinAttack);
    initializePin(3, pinDecay);
    initializePin(4, pinSustain);
    initializePin(5, pinRelease);
    initializePin(6, pinLevel);
    initializePin(7, pinOutput);
    initializePin(8, pinCurveMode);
}

int32_t SemADSR::open() {
    PerimeterCurve::BuildTableExp();
    PerimeterCurve::BuildTableDb();
    if (host != nullptr) host->getSampleRate(sampleRate);
    stage = 0;
    envelope = 0.0f;
    targetRatioA = 0.2f;
    targetRatioDR = 0.01f;
    const float attackLength = tam::EnvelopeTimeLaw(0.0f, sampleRate);
    attackMultiplier = attackLength > 0.0f ? std::exp(-kStartAttackLog / attackLength) : 0.0f;
    attackBase = (1.0f - attackMultiplier) * 1.2f;
    setDecayRate(0.0f);
    setReleaseRate(0.0f);
    sustain = 1.0f;
    decayBase = (1.0f - decayMultiplier) * (1.0f - targetRatioDR);
    return MpPluginBase::open();
}

void SemADSR::setAttackRate(float value) {
    attackMultiplier = tam::EnvelopeMultiplier(tam::EnvelopeTimeLaw(value, sampleRate), targetRatioA);
    attackBase = (1.0f - attackMultiplier) * (targetRatioA + 1.0f);
}

void SemADSR::setDecayRate(float value) {
    decayMultiplier = tam::EnvelopeMultiplier(tam::EnvelopeTimeLaw(value, sampleRate), targetRatioDR);
    decayBase = (1.0f - decayMultiplier) * (sustain - targetRatioDR);
}

void SemADSR::setReleaseRate(float value) {
    releaseMultiplier = tam::EnvelopeMultiplier(tam::EnvelopeTimeLaw(value, sampleRate), targetRatioDR);
    releaseBase = -(1.0f - releaseMultiplier) * targetRatioDR;
}

void SemADSR::setTargetRatioA(float value) {
    targetRatioA = value > 1e-9f ? value : 1e-9f;
    attackBase = (1.0f - attackMultiplier) * (targetRatioA + 1.0f);
}

void SemADSR::setTargetRatioDR(float value) {
    targetRatioDR = value > 1e-9f ? value : 1e-9f;
    decayBase = (1.0f - decayMultiplier) * (sustain - targetRatioDR);
    releaseBase = -(1.0f - releaseMultiplier) * targetRatioDR;
}

void SemADSR::onSetPins() {
    if (pinAttack.isUpdated()) setAttackRate(pinAttack.getValue());
    if (pinDecay.isUpdated()) {
        sustain = tam::limitUnit(pinSustain.getValue());
        setDecayRate(pinDecay.getValue());
    }
    if (pinRelease.isUpdated()) setReleaseRate(pinRelease.getValue());
    if (pinSustain.isUpdated()) {
        sustain = tam::limitUnit(pinSustain.getValue());
        decayBase = (1.0f - decayMultiplier) * (sustain - targetRatioDR);
    }
    if (pinCurveMode.isUpdated()) {
        // Only the bases follow the new ratio; each multiplier keeps the
        // ratio it was made with until its rate next changes.
        const float g = pinCurveMode.getValue() == 1 ? kSteepRatio : kGentleRatio;
        targetRatioA = targetRatioDR = g;
        attackBase = (1.0f - attackMultiplier) * (1.0f + g);
        decayBase = (sustain - g) * (1.0f - decayMultiplier);
        releaseBase = (1.0f - releaseMultiplier) * -g;
    }
    pinOutput.setStreaming(true);
    isStatic = false;

    const bool parametersStream = pinAttack.isStreaming() || pinDecay.isStreaming() ||
                                  pinSustain.isStreaming() || pinRelease.isStreaming();
    envelopeRoutine = parametersStream ? static_cast<SubProcess_ptr>(&SemADSR::subProcessEnvAll)
                                       : static_cast<SubProcess_ptr>(&SemADSR::subProcessEnv);

    if (!pinGate.isStreaming() && !pinTrigger.isStreaming())
        changeState(pinGate.getValue() > 0.0f, pinTrigger.getValue() > 0.0f);

    setSubProcess(static_cast<SubProcess_ptr>(&SemADSR::subProcessGate));
}

void SemADSR::changeState(bool gate, bool trigger) {
    const bool rise = (gate && !gateState) || (trigger && !triggerState);
    const bool fall = (!gate && gateState) || (!trigger && triggerState);
    gateState = gate;
    triggerState = trigger;
    if (rise)
        stage = 1;
    else if (fall && stage != 0)
        stage = 4;
}

void SemADSR::subProcessGate(int bufferOffset, int sampleFrames) {
    const float* gate = pinGate.getBuffer() + bufferOffset;
    const float* trigger = pinTrigger.getBuffer() + bufferOffset;
    int done = 0;
    int i = 0;
    while (true) {
        // Both inputs must differ from their memory at one sample; a change
        // of one alone is not seen while they stream.
        const bool gateNow = gateState;
        const bool triggerNow = triggerState;
        while (i < sampleFrames && !((trigger[i] > 0.0f) != triggerNow && (gate[i] > 0.0f) != gateNow)) ++i;
        if (i > done) (this->*envelopeRoutine)(bufferOffset + done, i - done);
        done = i;
        if (i >= sampleFrames) break;
        changeState(gate[i] > 0.0f, trigger[i] > 0.0f);
    }
    if (checkCounter-- < 0) doCheck(bufferOffset, sampleFrames);
}

void SemADSR::subProcessEnv(int bufferOffset, int sampleFrames) {
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    float e = envelope;
    int s = stage;
    int i = 0;
    // Each stage runs as its own loop until it ends or the slice does.
    while (i < sampleFrames) {
        switch (s) {
            case 1: {
                const float m = attackMultiplier;
                const float b = attackBase;
                for (; i < sampleFrames; ++i) {
                    e = e * m + b;
                    if (e >= 1.0f) {
                        s = 2;
                        e = 1.0f;
                        out[i] = level[i] * e;
                        ++i;
                        break;
                    }
                    out[i] = level[i] * e;
                }
                break;
            }
            case 2: {
                const float m = decayMultiplier;
                const float b = decayBase;
                const float target = sustain;
                for (; i < sampleFrames; ++i) {
                    e = e * m + b;
                    if (target >= e) {
                        s = 3;
                        e = target;
                        out[i] = level[i] * e;
                        ++i;
                        break;
                    }
                    out[i] = level[i] * e;
                }
                break;
            }
            case 4: {
                const float m = releaseMultiplier;
                const float b = releaseBase;
                for (; i < sampleFrames; ++i) {
                    e = e * m + b;
                    if (e <= 0.0f) {
                        s = 0;
                        e = 0.0f;
                        out[i] = level[i] * e;
                        ++i;
                        break;
                    }
                    out[i] = level[i] * e;
                }
                break;
            }
            default: {
                const float held = e;
                for (; i < sampleFrames; ++i) out[i] = level[i] * held;
                break;
            }
        }
    }
    envelope = e;
    stage = s;
}

void SemADSR::subProcessEnvAll(int bufferOffset, int sampleFrames) {
    const float* level = pinLevel.getBuffer() + bufferOffset;
    const float* attack = pinAttack.getBuffer() + bufferOffset;
    const float* decay = pinDecay.getBuffer() + bufferOffset;
    const float* sustainIn = pinSustain.getBuffer() + bufferOffset;
    const float* release = pinRelease.getBuffer() + bufferOffset;
    float* out = pinOutput.getBuffer() + bufferOffset;
    float e = envelope;
    int s = stage;
    // The ratios hold for the slice: their logs are taken once. The rest is
    // setDecayRate, setAttackRate and setReleaseRate, per sample.
    const float ratioA = targetRatioA;
    const float ratioDR = targetRatioDR;
    const float logA = std::log((ratioA + 1.0f) / ratioA);
    const float logDR = std::log((ratioDR + 1.0f) / ratioDR);
    const float rate = sampleRate;
    float sus = sustain, am = attackMultiplier, ab = attackBase, dm = decayMultiplier, db = decayBase,
          rm = releaseMultiplier, rb = releaseBase;
    for (int i = 0; i < sampleFrames; ++i) {
        sus = tam::limitUnit(sustainIn[i]);
        dm = tam::EnvelopeMultiplierFromLog(tam::EnvelopeTimeLaw(decay[i], rate), logDR);
        db = (1.0f - dm) * (sus - ratioDR);
        am = tam::EnvelopeMultiplierFromLog(tam::EnvelopeTimeLaw(attack[i], rate), logA);
        ab = (1.0f - am) * (ratioA + 1.0f);
        rm = tam::EnvelopeMultiplierFromLog(tam::EnvelopeTimeLaw(release[i], rate), logDR);
        rb = -(1.0f - rm) * ratioDR;
        e = tam::EnvelopeStep(s, e, am, ab, dm, db, sus, rm, rb);
        out[i] = level[i] * e;
    }
    sustain = sus;
    attackMultiplier = am;
    attackBase = ab;
    decayMultiplier = dm;
    decayBase = db;
    releaseMultiplier = rm;
    releaseBase = rb;
    envelope = e;
    stage = s;
}

void SemADSR::doCheck(int bufferOffset, int sampleFrames) {
    // A slice of 0 frames can come at a block's end; count it as one.
    const float rate = sampleRate > 0.0f && sampleRate < 1e9f ? sampleRate : 0.0f;
    checkCounter = static_cast<int>(rate) / (sampleFrames > 0 ? sampleFrames : 1);
    if (!isStatic && stage == 0) {
        isStatic = true;
        pinOutput.setStreaming(false, bufferOffset + sampleFrames - 1);
    }
}
