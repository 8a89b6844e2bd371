#include "effects/SemEcho.h"

#include <algorithm>
#include <cstring>
#include <new>

using tam::fx::clampf;
using tam::fx::FxCurves;

namespace {
constexpr float kMaxSeconds = 10.0f;
}  // namespace

SemEcho::SemEcho() {
    initializePin(0, pinIn);
    initializePin(1, pinOn);
    initializePin(2, pinTime);
    initializePin(3, pinFeedback);
    initializePin(4, pinFilterOn);
    initializePin(5, pinBlend);
    initializePin(6, pinFrequency);
    initializePin(7, pinMix);
    initializePin(8, pinLevel);
    initializePin(9, pinLength);
    initializePin(10, pinRange);
    initializePin(11, pinOut);
}

SemEcho::~SemEcho() { delete[] line; }

int32_t SemEcho::open() {
    readHostSettings();
    x1 = x2 = y1 = y2 = 0.0f;
    FxCurves::BuildTableSin();
    FxCurves::BuildTableDbAdj();
    if (!line) createBuffer();
    return MpBase::open();
}

void SemEcho::createBuffer() {
    // NaN, negative and tiny lengths give the one-sample line.
    const float seconds = pinLength.getValue();
    const float wanted = seconds * sampleRate;
    int n = 1;
    if (static_cast<float>(wanted) > sampleRate * kMaxSeconds)
        n = static_cast<int>(sampleRate) * static_cast<int>(kMaxSeconds);
    else if (wanted >= 1.0f)
        n = static_cast<int>(wanted);
    delete[] line;
    line = new (std::nothrow) float[static_cast<size_t>(n)]();
    len = line ? n : 0;
    writePos = 0;
    offset = len > 0 ? std::min(offset, len) : 0;
    delayed = 0.0f;
}

void SemEcho::calcTime(float t, int range) {
    const float c = range != 0 ? -1.0f : -0.5f;
    const float u = -(t + c);
    // The plain rounded offset, clamped: the delay is len - offset samples.
    const int rounded = fastRoundHi(static_cast<float>(len) * u);
    fraction = static_cast<float>(len) * u - static_cast<float>(rounded);
    if (rounded < 1) {
        offset = 1;
        fraction = 0.0f;
    } else if (rounded > len) {
        offset = len;
        fraction = 0.0f;
    } else {
        offset = rounded;
    }
}

void SemEcho::calcFilter(float v) {
    lastFrequencyPin = v;
    const float exponent = v < 0.0001f ? -3.999f : std::fmin(v, 0.933f) * 10.0f + 1.0f - 5.0f;
    float frequency = 440.0f * std::pow(2.0f, exponent);
    // Above Nyquist the band-pass turns unstable (1 + alpha can reach 0):
    // keep the centre just below it.
    frequency = std::fmin(frequency, 0.49f * sampleRate);
    const float omega = 2.0f * 3.14159265f * frequency / sampleRate;
    const float alpha = std::sin(omega) / 0.6f;
    const float norm = 1.0f / (1.0f + alpha);
    b0 = alpha * norm;
    b1 = 0.0f;
    b2 = -alpha * norm;
    a1 = -2.0f * std::cos(omega) * norm;
    a2 = (1.0f - alpha) * norm;
}

void SemEcho::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinLength.isUpdated()) createBuffer();
    if (all || pinLength.isUpdated() || pinTime.isUpdated() || pinRange.isUpdated())
        calcTime(pinTime.getValue(), pinRange.getValue());
    if (all || pinFrequency.isUpdated()) calcFilter(pinFrequency.getValue());
    if (all || pinMix.isUpdated()) {
        const float m = pinMix.getValue();
        wet = FxCurves::sineAt(m);
        dry = FxCurves::sineAt(1.0f - m);
    }
    if (all || pinLevel.isUpdated()) level = FxCurves::level(pinLevel.getValue());

    if (pinOn.getValue() && len > 0) {
        pinOut.setStreaming(true);
        isStatic = false;
        const bool streams = pinTime.isStreaming() || pinFeedback.isStreaming() || pinBlend.isStreaming() ||
                             pinFrequency.isStreaming() || pinMix.isStreaming() || pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemEcho::subProcessAll);
        else
            setSubProcess(&SemEcho::subProcessFixed);
    } else {
        pinOut.setStreaming(pinIn.isStreaming());
        setSubProcess(&SemEcho::subProcessPassThru);
    }
}

template <bool kFilter>
void SemEcho::renderFixed(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    float* __restrict out = pinOut.buffer + bufferOffset;
    float* __restrict buffer = line;
    const float feedback = pinFeedback.getValue(bufferOffset);
    const float blend = pinBlend.getValue(bufferOffset);
    const int length = len;
    const int readAhead = offset;
    int write = writePos;
    float f = delayed;
    float fx1 = x1, fx2 = x2, fy1 = y1, fy2 = y2;
    const float cb0 = b0, cb1 = b1, cb2 = b2, ca1 = a1, ca2 = a2;
    const float mixWet = wet, mixDry = dry, outLevel = level;

    for (int s = 0; s < sampleFrames; ++s) {
        const float x = in[s];
        if constexpr (kFilter) {
            const float y = cb0 * f + cb1 * fx1 + cb2 * fx2 - ca1 * fy1 - ca2 * fy2;
            fx2 = fx1;
            fx1 = f;
            fy2 = fy1;
            fy1 = y;
            f = (1.0f - blend) * f + blend * y;
        }
        buffer[write] = f * feedback + x;
        int read = write + readAhead;
        if (read >= length) read -= length;
        f = buffer[read] + 1e-18f - 1e-18f;
        out[s] = (x * mixDry + f * mixWet) * outLevel;
        if (++write >= length) write = 0;
    }
    writePos = write;
    delayed = f;
    x1 = fx1;
    x2 = fx2;
    y1 = fy1;
    y2 = fy2;
}

template <bool kFilter>
void SemEcho::renderAll(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    float* __restrict out = pinOut.buffer + bufferOffset;
    const float* timeBuffer = pinTime.buffer + bufferOffset;
    const float* feedbackBuffer = pinFeedback.buffer + bufferOffset;
    const float* blendBuffer = pinBlend.buffer + bufferOffset;
    const float* frequencyBuffer = pinFrequency.buffer + bufferOffset;
    const float* mixBuffer = pinMix.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;
    float* __restrict buffer = line;
    const int length = len;
    const int range = pinRange.getValue();
    int write = writePos;
    float f = delayed;

    for (int s = 0; s < sampleFrames; ++s) {
        calcTime(timeBuffer[s], range);
        const float x = in[s];
        if constexpr (kFilter) {
            if (frequencyBuffer[s] != lastFrequencyPin) calcFilter(frequencyBuffer[s]);
            const float blend = blendBuffer[s];
            const float y = b0 * f + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
            x2 = x1;
            x1 = f;
            y2 = y1;
            y1 = y;
            f = (1.0f - blend) * f + blend * y;
        }
        buffer[write] = f * feedbackBuffer[s] + x;
        int read = write + offset;
        if (read >= length) read -= length;
        f = buffer[read] + 1e-18f - 1e-18f;
        const float m = mixBuffer[s];
        const float mixWet = FxCurves::sineAt(m);
        const float mixDry = FxCurves::sineAt(1.0f - m);
        level = FxCurves::level(levelBuffer[s]);
        out[s] = (x * mixDry + f * mixWet) * level;
        if (++write >= length) write = 0;
    }
    if (sampleFrames > 0) {
        const float m = mixBuffer[sampleFrames - 1];
        wet = FxCurves::sineAt(m);
        dry = FxCurves::sineAt(1.0f - m);
    }
    writePos = write;
    delayed = f;
}

void SemEcho::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    if (pinFilterOn.getValue())
        renderAll<true>(bufferOffset, sampleFrames);
    else
        renderAll<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemEcho::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    if (pinFilterOn.getValue())
        renderFixed<true>(bufferOffset, sampleFrames);
    else
        renderFixed<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemEcho::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOut.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
}

void SemEcho::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOut.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemEcho::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    if (!std::isfinite(x1) || !std::isfinite(x2) || !std::isfinite(y1) || !std::isfinite(y2))
        x1 = x2 = y1 = y2 = 0.0f;
    // Runaway feedback or NaN input would otherwise sound for ever.
    if (!std::isfinite(delayed) || tam::fx::anyNonFinite(line, len)) {
        std::memset(line, 0, sizeof(float) * static_cast<size_t>(len));
        delayed = 0.0f;
    }
    if (isStatic || pinIn.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(line, len)) return;
    isStatic = true;
    setSubProcess(&SemEcho::subProcessStatic);
    pinOut.setStreaming(false, bufferOffset + sampleFrames - 1);
}
