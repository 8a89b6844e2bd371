#include "effects/SemUnison.h"

#include <algorithm>
#include <cstring>
#include <new>

using tam::fx::clampf;
using tam::fx::FxCurves;
using tam::fx::kGrainLineSize;

namespace {
constexpr int kVoiceCounts[4] = {4, 8, 16, 32};
}  // namespace

SemUnison::SemUnison() {
    initializePin(0, pinIn);
    initializePin(1, pinOn);
    initializePin(2, pinVoices);
    initializePin(3, pinSpread);
    initializePin(4, pinWindow);
    initializePin(5, pinMix);
    initializePin(6, pinLevel);
    initializePin(7, pinOut);
}

SemUnison::~SemUnison() {
    delete[] line;
    delete[] window;
}

int32_t SemUnison::open() {
    readHostSettings();
    FxCurves::BuildTableDbAdj();
    delete[] line;
    delete[] window;
    line = new (std::nothrow) float[kGrainLineSize]();
    window = new (std::nothrow) float[kGrainLineSize]();
    writePos = 0;
    size = 0;
    std::fill(std::begin(positions), std::end(positions), 0.0f);
    std::fill(std::begin(rates), std::end(rates), 0.0f);
    return MpBase::open();
}

// Voice 0 keeps the input's pitch; the others fall below it.
void SemUnison::setRates(float spreadPin) {
    const float s = spreadPin < 0.0f ? 0.05f : std::fmin(spreadPin, 1.0f) + 0.05f;
    const float step = s * (0.05f / static_cast<float>(voices));
    for (int i = 0; i < voices; ++i) rates[i] = 1.0f - static_cast<float>(i) * step;
}

void SemUnison::setWindowSize(float pin) {
    const int wanted = tam::fx::grainWindowSize(pin);
    if (wanted == size) return;
    size = wanted;
    tam::fx::buildGrainWindow(window, size);
}

void SemUnison::setMix(float mixPin, float levelPin) {
    const float m = clampf(mixPin, 0.0f, 1.0f);
    const float l = FxCurves::level(levelPin);
    wet = (2.0f * l - m * l) * m;
    dry = l - m * (m * l);
}

void SemUnison::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinVoices.isUpdated()) {
        const int selector = pinVoices.getValue();
        voices = selector >= 0 && selector < 4 ? kVoiceCounts[selector] : 4;
    }
    if (all || pinVoices.isUpdated() || pinSpread.isUpdated()) setRates(pinSpread.getValue());
    if (all || pinMix.isUpdated() || pinLevel.isUpdated()) setMix(pinMix.getValue(), pinLevel.getValue());
    if ((all || pinWindow.isUpdated()) && window) setWindowSize(pinWindow.getValue());

    if (pinOn.getValue() && line && window) {
        pinOut.setStreaming(true);
        isStatic = false;
        const bool streams = pinSpread.isStreaming() || pinWindow.isStreaming() || pinMix.isStreaming() ||
                             pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemUnison::subProcessAll);
        else
            setSubProcess(&SemUnison::subProcessFixed);
    } else {
        pinOut.setStreaming(pinIn.isStreaming());
        setSubProcess(&SemUnison::subProcessPassThru);
    }
}

template <bool kStreamingParameters>
void SemUnison::render(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    float* __restrict out = pinOut.buffer + bufferOffset;
    const float* spreadBuffer = pinSpread.buffer + bufferOffset;
    const float* windowBuffer = pinWindow.buffer + bufferOffset;
    const float* mixBuffer = pinMix.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;
    float* __restrict buffer = line;
    const int count = voices;
    float p[kMaxVoices];
    std::copy(std::begin(positions), std::end(positions), p);
    int w = writePos;
    float mixWet = wet, mixDry = dry;
    int n = size, mask = size - 1, half = size / 2;

    for (int s = 0; s < sampleFrames; ++s) {
        if constexpr (kStreamingParameters) {
            setRates(spreadBuffer[s]);
            setWindowSize(windowBuffer[s]);
            setMix(mixBuffer[s], levelBuffer[s]);
            mixWet = wet;
            mixDry = dry;
            n = size;
            mask = size - 1;
            half = size / 2;
        }
        const float x = in[s];
        w = (w - 1) & mask;
        buffer[w] = x * mixWet;
        float sum = x * mixDry;
        for (int v = 0; v < count; ++v)
            sum += tam::fx::grainVoice(buffer, window, p[v], rates[v], n, mask, half, w);
        out[s] = sum;
    }
    std::copy(p, p + kMaxVoices, positions);
    writePos = w;
}

void SemUnison::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemUnison::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemUnison::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOut.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
}

void SemUnison::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOut.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemUnison::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    if (tam::fx::anyNonFinite(line, kGrainLineSize)) std::memset(line, 0, sizeof(float) * kGrainLineSize);
    if (isStatic || pinIn.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(line, size)) return;
    isStatic = true;
    setSubProcess(&SemUnison::subProcessStatic);
    pinOut.setStreaming(false, bufferOffset + sampleFrames - 1);
}
