#include "effects/SemPhaser.h"

#include <algorithm>
#include <cstring>

using tam::fx::clampf;
using tam::fx::FxCurves;

namespace {

inline float allpassCoefficient(float depth, float modulation, float position) {
    const float v = clampf(depth * modulation + position, 0.02f, 1.0f);
    return (1.0f - v) / (1.0f + v);
}

inline float phaserFeedback(float v) { return clampf(v * 0.8f, 0.0f, 0.8f); }

}  // namespace

SemPhaser::SemPhaser() {
    initializePin(0, pinIn);
    initializePin(1, pinOn);
    initializePin(2, pinModulation);
    initializePin(3, pinDepth);
    initializePin(4, pinPosition);
    initializePin(5, pinFeedback);
    initializePin(6, pinStages);
    initializePin(7, pinMix);
    initializePin(8, pinLevel);
    initializePin(9, pinOut);
}

int32_t SemPhaser::open() {
    readHostSettings();
    FxCurves::BuildTableSin();
    FxCurves::BuildTableDbAdj();
    std::fill(std::begin(state), std::end(state), 0.0f);
    prevY = 0.0f;
    return MpBase::open();
}

void SemPhaser::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinModulation.isUpdated() || pinDepth.isUpdated() || pinPosition.isUpdated())
        coefficient =
            allpassCoefficient(pinDepth.getValue(), pinModulation.getValue(), pinPosition.getValue());
    if (all || pinFeedback.isUpdated()) feedback = phaserFeedback(pinFeedback.getValue());
    if (all || pinMix.isUpdated()) {
        const float m = pinMix.getValue();
        wet = FxCurves::sineAt(m);
        dry = FxCurves::sineAt(1.0f - m);
    }
    if (all || pinLevel.isUpdated()) level = FxCurves::level(pinLevel.getValue());

    if (pinOn.getValue()) {
        pinOut.setStreaming(true);
        isStatic = false;
        const bool streams = pinModulation.isStreaming() || pinDepth.isStreaming() ||
                             pinPosition.isStreaming() || pinFeedback.isStreaming() || pinMix.isStreaming() ||
                             pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemPhaser::subProcessAll);
        else
            setSubProcess(&SemPhaser::subProcessFixed);
    } else {
        pinOut.setStreaming(pinIn.isStreaming());
        setSubProcess(&SemPhaser::subProcessPassThru);
    }
}

template <bool kStreamingParameters>
void SemPhaser::render(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    float* __restrict out = pinOut.buffer + bufferOffset;
    const float* modulationBuffer = pinModulation.buffer + bufferOffset;
    const float* depthBuffer = pinDepth.buffer + bufferOffset;
    const float* positionBuffer = pinPosition.buffer + bufferOffset;
    const float* feedbackBuffer = pinFeedback.buffer + bufferOffset;
    const float* mixBuffer = pinMix.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;
    // The stage count is read once a block.
    const int stages = std::clamp(pinStages.getValue(), 1, kMaxStages);
    float s[kMaxStages];
    std::copy(std::begin(state), std::end(state), s);
    float a = coefficient, fb = feedback, y = prevY;
    float mixWet = wet, mixDry = dry, outLevel = level;

    for (int n = 0; n < sampleFrames; ++n) {
        if constexpr (kStreamingParameters) {
            a = allpassCoefficient(depthBuffer[n], modulationBuffer[n], positionBuffer[n]);
            fb = phaserFeedback(feedbackBuffer[n]);
            mixWet = FxCurves::sineAt(mixBuffer[n]);
            mixDry = FxCurves::sineAt(1.0f - mixBuffer[n]);
            outLevel = FxCurves::level(levelBuffer[n]);
        }
        const float x = in[n];
        float t = y * fb + x;
        for (int k = 0; k < stages; ++k) {
            const float stageOut = s[k] - a * t;
            s[k] = a * stageOut + t;
            t = stageOut;
        }
        y = t;
        out[n] = (x * mixDry + y * mixWet) * outLevel;
    }
    for (int k = 0; k < kMaxStages; ++k) state[k] = tam::fx::flushTiny(s[k]);
    prevY = tam::fx::flushTiny(y);
    if constexpr (kStreamingParameters) {
        coefficient = a;
        feedback = fb;
        wet = mixWet;
        dry = mixDry;
        level = outLevel;
    }
}

void SemPhaser::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemPhaser::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemPhaser::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOut.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
}

void SemPhaser::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOut.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemPhaser::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    // The stage states are flushed (NaN included) at every block end; the
    // output of this block is what the test looks at.
    if (isStatic || pinIn.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(pinOut.buffer + bufferOffset, sampleFrames)) return;
    isStatic = true;
    setSubProcess(&SemPhaser::subProcessStatic);
    pinOut.setStreaming(false, bufferOffset + sampleFrames - 1);
}
