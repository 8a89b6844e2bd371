#include "sound/SemVCA.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/fastRound.h"
#include "sound/tamBlobCurve.h"
#include "sound/tamPerimeterCurve.h"

using tam::PerimeterCurve;

namespace {

// The volume's offset in the sample loops: 5 volts at the bipolar scale.
inline float scaleBias(int scale) { return scale == 0 ? 0.5f : 0.0f; }

// The gain-table index behind a clamp. The step yields its upper word here,
// so every in-range volume selects the table's last entry.
inline int clampedIndex(float scaled, int last) {
    return std::clamp(fastRoundHiUpper(scaled), 0, last);
}

// Sample loops on restrict parameters, so that they vectorise without a
// run-time overlap check.
inline void multiplyByGain(const float* __restrict signal, float* __restrict out, float gain, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = signal[i] * gain;
}

inline void multiplyLinear(const float* __restrict signal, const float* __restrict volume, float* __restrict out,
                           float bias, int n) {
    // Unrolled: the loop's own counting would otherwise compete with the
    // add, limit and multiply for the vector ports.
#pragma GCC unroll 4
    for (int i = 0; i < n; ++i)
        out[i] = std::max(volume[i] + bias, 0.0f) * signal[i];
}

}  // namespace

SemVCA::SemVCA(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinVolume);
    initializePin(2, pinEnable);
    initializePin(3, pinCurve);
    initializePin(4, pinOutput);
    initializePin(5, pinScale);
    initializePin(6, pinCustom);
    initializePin(7, pinCustomCurve);
}

int32_t SemVCA::open() {
    PerimeterCurve::BuildTableExp();
    PerimeterCurve::BuildTableDb();
    PerimeterCurve::BuildTableDbAdj();
    onCurveChange();
    return MpPluginBase::open();
}

void SemVCA::onCurveChange() {
    if (custom) {
        if (BlobCurve::Read(pinCustomCurve.getValue(), &curveBuffer) && curveBuffer.GetSize() > 0) {
            table = curveBuffer.GetData();
            tableSize = curveBuffer.GetSize();
        } else {
            table = nullptr;
            tableSize = 0;
        }
        return;
    }
    switch (curveType) {
    case 3:
        table = PerimeterCurve::LookupTableDbAdj.GetData();
        tableSize = PerimeterCurve::LookupSize;
        break;
    case 2:
        table = PerimeterCurve::LookupTableExp.GetData();
        tableSize = PerimeterCurve::LookupSize;
        break;
    case 1:
        table = PerimeterCurve::LookupTableDb.GetData();
        tableSize = PerimeterCurve::LookupSize;
        break;
    default:
        break;  // linear needs no table; the last one stays
    }
}

float SemVCA::calculateGain(float v) const {
    if (scale == 0)
        v += 0.5f;
    if (v <= 0.0f)
        return 0.0f;
    float gain = 0.0f;
    if (custom) {
        if (table != nullptr && tableSize > 0) {
            const int last = tableSize - 1;
            gain = table[clampedIndex(static_cast<float>(last) * v, last)];
        }
    } else {
        switch (curveType) {
        case 0:
            gain = v;
            break;
        case 1: {
            float x = (v - 1.0f) * 3.8888888f;
            if (x < -3.5f)
                x = (x + 3.5f) * 2.0f - 3.5f;
            gain = std::pow(10.0f, x * 0.5f);
            break;
        }
        case 2:
            gain = 1.0f - 1.0523957f * (1.0f - std::exp(-3.0f * (1.0f - v)));
            break;
        default:
            // Curve 3 always points at the adjusted decibel table (512 entries).
            if (table != nullptr)
                gain = table[clampedIndex(511.0f * v, 511)];
            break;
        }
    }
    // Fade out over the bottom of the range so that the gain reaches 0.
    if (v < 0.001f)
        return v * gain * 1000.0f;
    return gain;
}

void SemVCA::onSetPins() {
    bool streaming = pinSignal.isStreaming();
    if (!pinVolume.isStreaming()) {
        const float volume = pinVolume.getValue();
        // -5.0 in a scale whose bottom is -0.5: bipolar silence keeps streaming.
        if ((pinScale.getValue() != 0 && volume == 0.0f) || (pinScale.getValue() == 0 && volume == -5.0f))
            streaming = false;
    }
    if (pinCurve.isUpdated() || pinCustom.isUpdated() || pinCustomCurve.isUpdated()) {
        curveType = std::clamp(pinCurve.getValue(), 0, 3);
        custom = pinCustom.getValue();
        onCurveChange();
        fixedGain = calculateGain(pinVolume.getValue());
    }
    if (pinVolume.isUpdated())
        fixedGain = calculateGain(pinVolume.getValue());
    if (!pinEnable.getValue()) {
        fixedGain = 0.0f;
        streaming = false;
    } else if (pinEnable.isUpdated()) {
        fixedGain = calculateGain(pinVolume.getValue());
    }
    if (pinScale.isUpdated()) {
        scale = std::clamp(pinScale.getValue(), 0, 1);
        // A disabled amplifier stays at gain 0 whatever the scale.
        fixedGain = pinEnable.getValue() ? calculateGain(pinVolume.getValue()) : 0.0f;
    }

    pinOutput.setStreaming(streaming, -1);
    setSleep(!streaming);

    if (!streaming)
        setSubProcess(&SemVCA::subProcessStop);
    else if (!pinVolume.isStreaming())
        setSubProcess(&SemVCA::subProcessFixed);
    else if (custom || curveType != 0)
        setSubProcess(table != nullptr ? &SemVCA::subProcessCurve : &SemVCA::subProcessSilent);
    else
        setSubProcess(&SemVCA::subProcessLinear);
}

void SemVCA::subProcessSilent(int bufferOffset, int sampleFrames) {
    std::memset(pinOutput.getBuffer() + bufferOffset, 0, sizeof(float) * static_cast<size_t>(sampleFrames));
}

void SemVCA::subProcessFixed(int bufferOffset, int sampleFrames) {
    multiplyByGain(pinSignal.getBuffer() + bufferOffset, pinOutput.getBuffer() + bufferOffset, fixedGain, sampleFrames);
}

void SemVCA::subProcessStop(int bufferOffset, int sampleFrames) {
    if (sampleFrames < 1)
        return;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    // The settled level: the first sample of the slice, held.
    const float level = pinSignal.getBuffer()[bufferOffset] * fixedGain;
    for (int i = 0; i < sampleFrames; ++i)
        out[i] = level;
}

void SemVCA::subProcessLinear(int bufferOffset, int sampleFrames) {
    multiplyLinear(pinSignal.getBuffer() + bufferOffset, pinVolume.getBuffer() + bufferOffset,
                   pinOutput.getBuffer() + bufferOffset, scaleBias(scale), sampleFrames);
}

void SemVCA::subProcessCurve(int bufferOffset, int sampleFrames) {
    const float* __restrict signal = pinSignal.getBuffer() + bufferOffset;
    const float* __restrict volume = pinVolume.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const float* __restrict curve = table;
    const float bias = scaleBias(scale);
    const int last = tableSize - 1;
    const float span = static_cast<float>(last);
    for (int i = 0; i < sampleFrames; ++i) {
        const float v = volume[i];
        if (v > 1.0f)
            out[i] = calculateGain(v) * signal[i];
        else
            out[i] = curve[clampedIndex((v + bias) * span, last)] * signal[i];
    }
}
