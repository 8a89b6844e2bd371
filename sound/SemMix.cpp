#include "sound/SemMix.h"

#include <algorithm>
#include <cstring>

using tam::PerimeterCurve;

namespace {

// Restrict parameters let these loops vectorise without overlap checks.
inline void mixFixed(const float* __restrict a, const float* __restrict b, float* __restrict out, float gain1,
                     float gain2, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = a[i] * gain1 + b[i] * gain2;
}

inline void mixLinear(const float* __restrict a, const float* __restrict b, const float* __restrict position,
                      float* __restrict out, float base, int n) {
    for (int i = 0; i < n; ++i) {
        const float t = tam::limitUnit(base - position[i]);
        out[i] = a[i] * t + b[i] * (1.0f - t);
    }
}

}  // namespace

SemMix::SemMix(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinInputA);
    initializePin(1, pinInputB);
    initializePin(2, pinPosition);
    initializePin(3, pinScale);
    initializePin(4, pinCurve);
    initializePin(5, pinOutput);
    initializePin(6, pinCustom);
    initializePin(7, pinCustomCurve);
}

int32_t SemMix::open() {
    PerimeterCurve::BuildTableSqr();
    PerimeterCurve::BuildTableSin();
    return MpPluginBase::open();
}

void SemMix::onCurveChange() { curve.Change(pinCustomCurve.getValue()); }

void SemMix::calculateMix(float position) { curve.Calculate(position, pinScale.getValue()); }

void SemMix::onSetPins() {
    const bool streaming = pinInputA.isStreaming() || pinInputB.isStreaming();
    if (pinCurve.isUpdated() || pinCustom.isUpdated() || pinCustomCurve.isUpdated()) {
        curve.curveType = std::clamp(pinCurve.getValue(), 0, 2);
        curve.custom = pinCustom.getValue();
        onCurveChange();
        calculateMix(pinPosition.getValue());
    }
    if (pinPosition.isUpdated() || pinScale.isUpdated() || pinCurve.isUpdated())
        calculateMix(pinPosition.getValue());

    pinOutput.setStreaming(streaming, -1);
    setSleep(!streaming);

    if (curve.table == nullptr)
        setSubProcess(&SemMix::subProcessSilent);
    else if (pinPosition.isStreaming())
        setSubProcess(curve.IsLinear() ? &SemMix::subProcessLinear : &SemMix::subProcessCurve);
    else
        setSubProcess(&SemMix::subProcessFixed);
}

void SemMix::subProcessSilent(int bufferOffset, int sampleFrames) {
    std::memset(pinOutput.getBuffer() + bufferOffset, 0, sizeof(float) * static_cast<size_t>(sampleFrames));
}

void SemMix::subProcessFixed(int bufferOffset, int sampleFrames) {
    mixFixed(pinInputA.getBuffer() + bufferOffset, pinInputB.getBuffer() + bufferOffset,
             pinOutput.getBuffer() + bufferOffset, curve.gain1, curve.gain2, sampleFrames);
}

void SemMix::subProcessLinear(int bufferOffset, int sampleFrames) {
    mixLinear(pinInputA.getBuffer() + bufferOffset, pinInputB.getBuffer() + bufferOffset,
              pinPosition.getBuffer() + bufferOffset, pinOutput.getBuffer() + bufferOffset,
              tam::PanCurve::Base(pinScale.getValue()), sampleFrames);
}

void SemMix::subProcessCurve(int bufferOffset, int sampleFrames) {
    const float* __restrict a = pinInputA.getBuffer() + bufferOffset;
    const float* __restrict b = pinInputB.getBuffer() + bufferOffset;
    const float* __restrict position = pinPosition.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
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
        out[i] = a[i] * gain1 + b[i] * gain2;
    }
    curve.gain1 = gain1;
    curve.gain2 = gain2;
}
