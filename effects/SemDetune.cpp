#include "effects/SemDetune.h"

#include <cstring>
#include <new>

using tam::fx::clampf;
using tam::fx::FxCurves;
using tam::fx::kGrainLineSize;

SemDetune::SemDetune() {
    initializePin(0, pinInLeft);
    initializePin(1, pinInRight);
    initializePin(2, pinOn);
    initializePin(3, pinDetune);
    initializePin(4, pinWindow);
    initializePin(5, pinMix);
    initializePin(6, pinLevel);
    initializePin(7, pinOutLeft);
    initializePin(8, pinOutRight);
}

SemDetune::~SemDetune() {
    delete[] line;
    delete[] window;
}

int32_t SemDetune::open() {
    readHostSettings();
    FxCurves::BuildTableDbAdj();
    tam::fx::BuildPow3Table();
    delete[] line;
    delete[] window;
    line = new (std::nothrow) float[kGrainLineSize]();
    window = new (std::nothrow) float[kGrainLineSize]();
    writePos = 0;
    p1 = p2 = 0.0f;
    size = 0;
    return MpBase::open();
}

// The cube puts the fine steps at the low end of the control.
void SemDetune::setRatio(float pin) {
    const float d = clampf(pin, 0.0f, 1.0f);
    ratio = tam::fx::_pow3Table[fastRoundHi(511.0f * d * d * d)];
    inverseRatio = 1.0f / ratio;
}

void SemDetune::setWindowSize(float pin) {
    const int wanted = tam::fx::grainWindowSize(pin);
    if (wanted == size) return;
    size = wanted;
    tam::fx::buildGrainWindow(window, size);
}

void SemDetune::setMix(float mixPin, float levelPin) {
    const float m = clampf(mixPin, 0.0f, 1.0f);
    const float l = FxCurves::level(levelPin);
    wet = (2.0f * l - m * l) * m;
    dry = l - m * (m * l);
}

void SemDetune::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinDetune.isUpdated()) setRatio(pinDetune.getValue());
    if (all || pinMix.isUpdated() || pinLevel.isUpdated()) setMix(pinMix.getValue(), pinLevel.getValue());
    if ((all || pinWindow.isUpdated()) && window) setWindowSize(pinWindow.getValue());

    if (pinOn.getValue() && line && window) {
        pinOutLeft.setStreaming(true);
        pinOutRight.setStreaming(true);
        isStatic = false;
        const bool streams = pinDetune.isStreaming() || pinWindow.isStreaming() || pinMix.isStreaming() ||
                             pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemDetune::subProcessAll);
        else
            setSubProcess(&SemDetune::subProcessFixed);
    } else {
        const bool streams = pinInLeft.isStreaming() || pinInRight.isStreaming();
        pinOutLeft.setStreaming(streams);
        pinOutRight.setStreaming(streams);
        setSubProcess(&SemDetune::subProcessPassThru);
    }
}

template <bool kStreamingParameters>
void SemDetune::render(int bufferOffset, int sampleFrames) {
    const float* __restrict inLeft = pinInLeft.buffer + bufferOffset;
    const float* __restrict inRight = pinInRight.buffer + bufferOffset;
    float* __restrict outLeft = pinOutLeft.buffer + bufferOffset;
    float* __restrict outRight = pinOutRight.buffer + bufferOffset;
    const float* detuneBuffer = pinDetune.buffer + bufferOffset;
    const float* windowBuffer = pinWindow.buffer + bufferOffset;
    const float* mixBuffer = pinMix.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;
    float* __restrict buffer = line;
    int w = writePos;
    float q1 = p1, q2 = p2;
    float up = ratio, down = inverseRatio, mixWet = wet, mixDry = dry;
    int n = size, mask = size - 1, half = size / 2;

    for (int s = 0; s < sampleFrames; ++s) {
        if constexpr (kStreamingParameters) {
            setRatio(detuneBuffer[s]);
            setWindowSize(windowBuffer[s]);
            setMix(mixBuffer[s], levelBuffer[s]);
            up = ratio;
            down = inverseRatio;
            mixWet = wet;
            mixDry = dry;
            n = size;
            mask = size - 1;
            half = size / 2;
        }
        w = (w - 1) & mask;
        buffer[w] = (inLeft[s] + inRight[s]) * mixWet;
        const float left = tam::fx::grainVoice(buffer, window, q1, down, n, mask, half, w);
        const float right = tam::fx::grainVoice(buffer, window, q2, up, n, mask, half, w);
        outLeft[s] = left + inLeft[s] * mixDry;
        outRight[s] = right + inRight[s] * mixDry;
    }
    writePos = w;
    p1 = q1;
    p2 = q2;
}

void SemDetune::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemDetune::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemDetune::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOutLeft.buffer + bufferOffset, pinInLeft.buffer + bufferOffset,
                sizeof(float) * sampleFrames);
    std::memcpy(pinOutRight.buffer + bufferOffset, pinInRight.buffer + bufferOffset,
                sizeof(float) * sampleFrames);
}

void SemDetune::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOutLeft.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
    std::memset(pinOutRight.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemDetune::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    if (tam::fx::anyNonFinite(line, kGrainLineSize)) std::memset(line, 0, sizeof(float) * kGrainLineSize);
    // One silent input among two lets the test run.
    if (isStatic || (pinInLeft.isStreaming() && pinInRight.isStreaming())) return;
    if (tam::fx::anyAboveThreshold(line, size)) return;
    isStatic = true;
    setSubProcess(&SemDetune::subProcessStatic);
    const int last = bufferOffset + sampleFrames - 1;
    pinOutLeft.setStreaming(false, last);
    pinOutRight.setStreaming(false, last);
}
