// The envelope's arithmetic without pins: the time law that turns a rate
// value into a stage length, and tam::ADSR, a plain attack-decay-sustain-
// release calculator that the envelope display steps point by point.
// A stage is a one-pole approach to a target beyond its end point, so that
// it ends in finite time.
#pragma once

#include <cmath>

#include "frame/fastRound.h"
#include "sound/tamPerimeterCurve.h"

namespace tam {

// Stage length in samples for a rate value: 0.002 to about 10 seconds along
// the exponential table (built by the caller). NaN counts as 0.
inline float EnvelopeTimeLaw(float value, float sampleRate) {
    // The rounded index of a limited value lies in 0 .. 511; no clamp follows.
    const int index = fastRoundHi(limitUnit(value) * 511.0f);
    return (PerimeterCurve::LookupTableExp.GetData()[index] * 9.998f + 0.002f) * sampleRate;
}

// Multiplier of a stage that runs `length` samples towards a target `ratio`
// beyond its end; 0.0 (a jump) for a length of 0 or less.
float EnvelopeMultiplier(float length, float ratio);

// The same from log((ratio + 1) / ratio), for loops that hold the ratio.
inline float EnvelopeMultiplierFromLog(float length, float logRatio) {
    return length > 0.0f ? std::exp(-logRatio / length) : 0.0f;
}

// One step of the stage rules: attack to 1.0, decay to the sustain level,
// release to 0; idle and sustain hold. Shared by the module and tam::ADSR.
inline float EnvelopeStep(int& stage, float e, float attackMultiplier, float attackBase,
                          float decayMultiplier, float decayBase, float sustain, float releaseMultiplier,
                          float releaseBase) {
    switch (stage) {
        case 1:
            e = e * attackMultiplier + attackBase;
            if (e >= 1.0f) {
                stage = 2;
                e = 1.0f;
            }
            break;
        case 2:
            e = e * decayMultiplier + decayBase;
            if (sustain >= e) {
                stage = 3;
                e = sustain;
            }
            break;
        case 4:
            e = e * releaseMultiplier + releaseBase;
            if (e <= 0.0f) {
                stage = 0;
                e = 0.0f;
            }
            break;
        default:
            break;
    }
    return e;
}

class ADSR {
public:
    ADSR();

    // Rate value (0 .. 1) and the points per second of envelope.
    void SetAttack(float value, float sampleRate);
    void SetDecay(float value, float sampleRate);
    void SetRelease(float value, float sampleRate);
    void SetTargetRatioDR(float value);

    // One step of the stage rules from `value`; the new value.
    float Step(float value);

    int stage = 0;  // 0 idle, 1 attack, 2 decay, 3 sustain, 4 release
    float attackLength = 0.0f;
    float decayLength = 0.0f;
    float releaseLength = 0.0f;
    float attackMultiplier = 0.0f;
    float decayMultiplier = 0.0f;
    float releaseMultiplier = 0.0f;
    float sustain = 1.0f;
    float targetRatioA = 0.3f;
    float targetRatioDR = 0.0f;
    float attackBase = 1.3f;
    float decayBase = 0.0f;
    float releaseBase = 0.0f;
};

}  // namespace tam
