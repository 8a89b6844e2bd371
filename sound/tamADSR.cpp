#include "sound/tamADSR.h"

#include <cmath>

#include "frame/fastRound.h"
#include "sound/tamPerimeterCurve.h"

namespace tam {

float EnvelopeMultiplier(float length, float ratio) {
    return EnvelopeMultiplierFromLog(length, std::log((ratio + 1.0f) / ratio));
}

ADSR::ADSR() {
    SetTargetRatioDR(0.0001f);
    PerimeterCurve::BuildTableExp();
}

void ADSR::SetAttack(float value, float sampleRate) {
    attackLength = EnvelopeTimeLaw(value, sampleRate);
    attackMultiplier = EnvelopeMultiplier(attackLength, targetRatioA);
    attackBase = (1.0f - attackMultiplier) * (targetRatioA + 1.0f);
}

void ADSR::SetDecay(float value, float sampleRate) {
    decayLength = EnvelopeTimeLaw(value, sampleRate);
    decayMultiplier = EnvelopeMultiplier(decayLength, targetRatioDR);
    decayBase = (1.0f - decayMultiplier) * (sustain - targetRatioDR);
}

void ADSR::SetRelease(float value, float sampleRate) {
    releaseLength = EnvelopeTimeLaw(value, sampleRate);
    releaseMultiplier = EnvelopeMultiplier(releaseLength, targetRatioDR);
    releaseBase = -(1.0f - releaseMultiplier) * targetRatioDR;
}

void ADSR::SetTargetRatioDR(float value) {
    targetRatioDR = value > 1e-9f ? value : 1e-9f;  // NaN too
    decayMultiplier = EnvelopeMultiplier(decayLength, targetRatioDR);
    releaseMultiplier = EnvelopeMultiplier(releaseLength, targetRatioDR);
    decayBase = (1.0f - decayMultiplier) * (sustain - targetRatioDR);
    releaseBase = -(1.0f - releaseMultiplier) * targetRatioDR;
}

float ADSR::Step(float e) {
    return EnvelopeStep(stage, e, attackMultiplier, attackBase, decayMultiplier, decayBase, sustain,
                        releaseMultiplier, releaseBase);
}

}  // namespace tam
