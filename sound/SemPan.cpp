#include "sound/SemPan.h"

#include <algorithm>
#include <cstring>

using tam::PerimeterCurve;

namespace {

// Restrict parameters let these loops vectorise without overlap checks.
inline void panFixed(const float* __restrict signal, float* __restrict out1, float* __restrict out2, float gain1,
                     float gain2, int n) {
    for (int i = 0; i < n; ++i) {
        out1[i] = signal[i] * gain1;
        out2[i] = signal[i] * gain2;
    }
}

inline void panLinear(const float* __restrict signal, const float* __restrict position, float* __restrict out1,
                      float* __restrict out2, float base, int n) {
    for (int i = 0; i < n; ++i) {
        const float t = tam::limitUnit(base - position[i]);
        out1[i] = signal[i] * t;
        out2[i] = signal[i] * (1.0f - t);
    }
}

}  // namespace

SemPan::SemPan(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinPosition);
    initializePin(2, pinScale);
    initializePin(3, pinCurve);
    initializePin(4, pinOutput1);
    initializePin(5, pinOutput2);
    initializePin(6, pinCustom);
    initializePin(7, pinCustomCurve);
}

int32_t SemPan::open() {
    PerimeterCurve::BuildTableSqr();
    PerimeterCurve::BuildTableSin();
    return MpPluginBase::open();
}

void SemPan::onCurveChange() { curve.Change(pinCustomCurve.getValue()); }

void SemPan::calculatePan(float position) { curve.Calculate(position, pinScale.getValue()); }

void SemPan::onSetPins() {
    const bool streaming = pinSignal.isStreaming();
    if (pinCurve.isUpdated() || pinCustom.isUpdated() || pinCustomCurve.isUpdated()) {
        curve.curveType = std::clamp(pinCurve.getValue(), 0, 2);
        curve.custom = pinCustom.getValue();
        onCurveChange();
        calculatePan(pinPosition.getValue());
    }
    if (pinPosition.isUpdated() || pinCurve.isUpdated() || pinScale.isUpdated())
        calculatePan(pinPosition.getValue());

    pinOutput1.setStreaming(streaming, -1);
    pinOutput2.setStreaming(streaming, -1);
    setSleep(!streaming);

    if (curve.table == nullptr)
        setSubProcess(&SemPan::subProcessSilent);
    else if (pinPosition.isStreaming())
        setSubProcess(curve.IsLinear() ? &SemPan::subProcessLinear : &SemPan::subProcessCurve);
    else
        setSubProcess(&SemPan::subProcessFixed);
}

void SemPan::subProcessSilent(int bufferOffset, int sampleFrames) {
    const size_t bytes = sizeof(float) * static_cast<size_t>(sampleFrames);
    std::memset(pinOutput1.getBuffer() + bufferOffset, 0, bytes);
    std::memset(pinOutput2.getBuffer() + bufferOffset, 0, bytes);
}

void SemPan::subProcessFixed(int bufferOffset, int sampleFrames) {
    panFixed(pinSignal.getBuffer() + bufferOffset, pinOutput1.getBuffer() + bufferOffset,
             pinOutput2.getBuffer() + bufferOffset, curve.gain1, curve.gain2, sampleFrames);
}

void SemPan::subProcessLinear(int bufferOffset, int sampleFrames) {
    panLinear(pinSignal.getBuffer() + bufferOffset, pinPosition.getBuffer() + bufferOffset,
              pinOutput1.getBuffer() + bufferOffset, pinOutput2.getBuffer() + bufferOffset,
              tam::PanCurve::Base(pinScale.getValue()), sampleFrames);
}

void SemPan::subProcessCurve(int bufferOffset, int sampleFrames) {
    const float* __restrict signal = pinSignal.getBuffer() + bufferOffset;
    const float* __restrict position = pinPosition.getBuffer() + bufferOffset;
    float* __restrict out1 = pinOutput1.getBuffer() + bufferOffset;
    float* __restrict out2 = pinOutput2.getBuffer() + bufferOffset;
    const float* __restrict table = curve.table;
    const float base = tam::PanCurve::Base(pinScale.getValue());
    const float span = curve.Span();
    const int last = curve.Last();
    float gain1 = curve.gain1;
    float gain2 = curve.gain2;
    for (int i = 0; i < sampleFrames; ++i) {
        const float t = tam::limitUnit(base - position[i]);
        gain1 = table[tam::curveIndex(t * span, last)];
        gain2 = table[tam::curveIndex((1.0f - t) * span, last)];
        out1[i] = signal[i] * gain1;
        out2[i] = signal[i] * gain2;
    }
    curve.gain1 = gain1;
    curve.gain2 = gain2;
}
