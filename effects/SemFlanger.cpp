#include "effects/SemFlanger.h"

#include <cstring>
#include <new>

using tam::fx::clampf;
using tam::fx::FxCurves;

namespace {

constexpr float kMaxDelaySamples = 2000.0f;

struct Sweep {
    float base;
    float span;
};

// The delay runs from base (at modulation 0) up to the range (at 1).
inline Sweep sweep(float depthPin, float delayPin) {
    const float t = clampf(delayPin, 0.0f, 1.0f);
    const float range = kMaxDelaySamples * t * t;
    const float base = range - clampf(depthPin, 0.0f, 1.0f) * range;
    return {base, range - base};
}

inline float flangerFeedback(float v) {
    const float shifted = v + 0.5f;
    return shifted < 0.0f ? -0.95f : std::fmin(shifted, 1.0f) * 1.9f - 0.95f;
}

}  // namespace

SemFlanger::SemFlanger() {
    initializePin(0, pinIn);
    initializePin(1, pinOn);
    initializePin(2, pinModulation);
    initializePin(3, pinDepth);
    initializePin(4, pinDelay);
    initializePin(5, pinFeedback);
    initializePin(6, pinMix);
    initializePin(7, pinLevel);
    initializePin(8, pinOut);
}

SemFlanger::~SemFlanger() { delete[] line; }

int32_t SemFlanger::open() {
    readHostSettings();
    FxCurves::BuildTableSin();
    FxCurves::BuildTableDbAdj();
    delete[] line;
    line = new (std::nothrow) float[kLineSize]();
    position = 0;
    prevY = 0.0f;
    return MpBase::open();
}

void SemFlanger::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinDepth.isUpdated() || pinDelay.isUpdated()) {
        const Sweep s = sweep(pinDepth.getValue(), pinDelay.getValue());
        base = s.base;
        span = s.span;
    }
    if (all || pinFeedback.isUpdated()) feedback = flangerFeedback(pinFeedback.getValue());
    if (all || pinMix.isUpdated()) {
        const float m = pinMix.getValue();
        wet = FxCurves::sineAt(m);
        dry = FxCurves::sineAt(1.0f - m);
    }
    if (all || pinLevel.isUpdated()) level = FxCurves::level(pinLevel.getValue());

    if (pinOn.getValue() && line) {
        pinOut.setStreaming(true);
        isStatic = false;
        const bool streams = pinDepth.isStreaming() || pinDelay.isStreaming() || pinFeedback.isStreaming() ||
                             pinMix.isStreaming() || pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemFlanger::subProcessAll);
        else
            setSubProcess(&SemFlanger::subProcessFixed);
    } else {
        pinOut.setStreaming(pinIn.isStreaming());
        setSubProcess(&SemFlanger::subProcessPassThru);
    }
}

template <bool kStreamingParameters>
void SemFlanger::render(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    const float* __restrict modulation = pinModulation.buffer + bufferOffset;
    float* __restrict out = pinOut.buffer + bufferOffset;
    const float* depthBuffer = pinDepth.buffer + bufferOffset;
    const float* delayBuffer = pinDelay.buffer + bufferOffset;
    const float* feedbackBuffer = pinFeedback.buffer + bufferOffset;
    const float* mixBuffer = pinMix.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;
    float* __restrict buffer = line;
    int p = position;
    float y = prevY;
    float sweepBase = base, sweepSpan = span, fb = feedback;
    float mixWet = wet, mixDry = dry, outLevel = level;

    for (int s = 0; s < sampleFrames; ++s) {
        if constexpr (kStreamingParameters) {
            const Sweep sw = sweep(depthBuffer[s], delayBuffer[s]);
            sweepBase = sw.base;
            sweepSpan = sw.span;
            fb = flangerFeedback(feedbackBuffer[s]);
            mixWet = FxCurves::sineAt(mixBuffer[s]);
            mixDry = FxCurves::sineAt(1.0f - mixBuffer[s]);
            outLevel = FxCurves::level(levelBuffer[s]);
        }
        const float x = in[s];
        buffer[(p + kMask) & kMask] = y * fb + x;
        const float d = clampf(modulation[s], 0.0f, 1.0f) * sweepSpan + sweepBase;
        const int i = static_cast<int>(d);
        const float frac = d - static_cast<float>(i);
        const float a = buffer[(p + i + kMask) & kMask];
        const float b = buffer[(p + i) & kMask];
        y = (b - a) * frac + a;
        out[s] = (x * mixDry + y * mixWet) * outLevel;
        p = (p + kMask) & kMask;
    }
    position = p;
    prevY = tam::fx::flushTiny(y);
    if constexpr (kStreamingParameters) {
        base = sweepBase;
        span = sweepSpan;
        feedback = fb;
        wet = mixWet;
        dry = mixDry;
        level = outLevel;
    }
}

void SemFlanger::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemFlanger::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemFlanger::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOut.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
}

void SemFlanger::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOut.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemFlanger::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    if (tam::fx::anyNonFinite(line, kLineSize)) std::memset(line, 0, sizeof(float) * kLineSize);
    if (isStatic || pinIn.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(line, kLineSize)) return;
    isStatic = true;
    setSubProcess(&SemFlanger::subProcessStatic);
    pinOut.setStreaming(false, bufferOffset + sampleFrames - 1);
}
