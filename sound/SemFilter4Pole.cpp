// Cascadable biquad. The fixed routine runs stored coefficients; the
// modulated one designs the filter anew for every sample (sine and cosine
// included) from the pitch and resonance signals and keeps the last design.
#include "sound/SemFilter4Pole.h"

#include <cmath>

using namespace tam::filters;

SemFilter4Pole::SemFilter4Pole(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, signalIn);
    initializePin(1, responsePin);
    initializePin(2, stagesPin);
    initializePin(3, pitchIn);
    initializePin(4, resonanceIn);
    initializePin(5, output);
    initializePin(6, pitchModePin);
}

int32_t SemFilter4Pole::open() {
    sampleRate = usableSampleRate(getSampleRate());
    for (int s = 0; s < kMaxStages; ++s) x1[s] = x2[s] = y1[s] = y2[s] = 0.0f;
    checkCounter = 0;
    staticFlag = false;
    return MpBase::open();
}

void SemFilter4Pole::process(int32_t count, const gmpi::MpEvent* events) {
    FlushToZeroScope flushToZero;
    MpBase::process(count, events);
}

void SemFilter4Pole::computeCoefficients(float pitch, float resonance) {
    withBiquadResponse(responsePin.getValue(), [&](auto response) {
        withPitchLaw(pitchLawOf(pitchModePin.getValue()), [&](auto law) {
            coefficients = designBiquad<decltype(response)::value>(biquadHz<decltype(law)::value>(pitch), resonance, sampleRate);
        });
    });
}

void SemFilter4Pole::onSetPins() {
    // The state arrays hold four stages: further stages are limited to 0..3.
    stageCount = 1 + std::clamp(stagesPin.getValue(), 0, kMaxStages - 1);

    if (pitchIn.isUpdated() || resonanceIn.isUpdated() || pitchModePin.isUpdated() || responsePin.isUpdated()) {
        computeCoefficients(pitchIn.getValue(), resonanceIn.getValue());
    }

    output.setStreaming(true, -1);
    staticFlag = false;

    if (pitchIn.isStreaming() || resonanceIn.isStreaming()) {
        setSubProcess(&SemFilter4Pole::subProcess);
    } else {
        setSubProcess(&SemFilter4Pole::subProcessFixed);
    }

    if (!signalIn.isStreaming() && !pitchIn.isStreaming() && !resonanceIn.isStreaming()) {
        checkCounter = std::max(checkCounter, 2);
    }
}

template <int Stages>
void SemFilter4Pole::fixedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    const BiquadCoefficients c = coefficients;
    float sx1[Stages], sx2[Stages], sy1[Stages], sy2[Stages];
    for (int s = 0; s < Stages; ++s) {
        sx1[s] = x1[s];
        sx2[s] = x2[s];
        sy1[s] = y1[s];
        sy2[s] = y2[s];
    }
    for (int i = 0; i < sampleFrames; ++i) {
        float x = in[i];
        for (int s = 0; s < Stages; ++s) x = biquadStep(c, x, sx1[s], sx2[s], sy1[s], sy2[s]);
        out[i] = x;
    }
    for (int s = 0; s < Stages; ++s) {
        x1[s] = sx1[s];
        x2[s] = sx2[s];
        y1[s] = sy1[s];
        y2[s] = sy2[s];
    }
    endOfRoutine(bufferOffset, sampleFrames);
}

template <int Response, int Law>
void SemFilter4Pole::modulatedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    const float* __restrict pitch = pitchIn.getBuffer() + bufferOffset;
    const float* __restrict resonance = resonanceIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    const double rate = sampleRate;
    const int stages = stageCount;
    BiquadCoefficients c = coefficients;
    float sx1[kMaxStages], sx2[kMaxStages], sy1[kMaxStages], sy2[kMaxStages];
    for (int s = 0; s < kMaxStages; ++s) {
        sx1[s] = x1[s];
        sx2[s] = x2[s];
        sy1[s] = y1[s];
        sy2[s] = y2[s];
    }
    for (int i = 0; i < sampleFrames; ++i) {
        c = designBiquad<Response>(biquadHz<Law>(pitch[i]), resonance[i], rate);
        float x = in[i];
        for (int s = 0; s < stages; ++s) x = biquadStep(c, x, sx1[s], sx2[s], sy1[s], sy2[s]);
        out[i] = x;
    }
    for (int s = 0; s < kMaxStages; ++s) {
        x1[s] = sx1[s];
        x2[s] = sx2[s];
        y1[s] = sy1[s];
        y2[s] = sy2[s];
    }
    coefficients = c;
    endOfRoutine(bufferOffset, sampleFrames);
}

void SemFilter4Pole::subProcessFixed(int bufferOffset, int sampleFrames) {
    withStageCount(stageCount, [&](auto stages) { fixedKernel<decltype(stages)::value>(bufferOffset, sampleFrames); });
}

void SemFilter4Pole::subProcess(int bufferOffset, int sampleFrames) {
    withBiquadResponse(responsePin.getValue(), [&](auto response) {
        withPitchLaw(pitchLawOf(pitchModePin.getValue()), [&](auto law) {
            modulatedKernel<decltype(response)::value, decltype(law)::value>(bufferOffset, sampleFrames);
        });
    });
}

void SemFilter4Pole::subProcessStatic(int bufferOffset, int sampleFrames) {
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float value = responsePin.getValue() != 0 ? 0.0f : x1[0];
    std::fill(out, out + sampleFrames, value);
}

void SemFilter4Pole::endOfRoutine(int bufferOffset, int sampleFrames) {
    for (int s = 0; s < stageCount; ++s) {
        flushDenormal(x1[s]);
        flushDenormal(x2[s]);
        flushDenormal(y1[s]);
        flushDenormal(y2[s]);
    }
    if (checkCounter-- < 0) doCheck(bufferOffset + sampleFrames - 1);
}

void SemFilter4Pole::doCheck(int last) {
    for (int s = 0; s < stageCount; ++s) {
        clearIfNotFinite(x1[s]);
        clearIfNotFinite(x2[s]);
        clearIfNotFinite(y1[s]);
        clearIfNotFinite(y2[s]);
    }
    if (signalIn.isStreaming() || pitchIn.isStreaming() || resonanceIn.isStreaming()) {
        checkCounter = 50;
    } else {
        checkCounter = std::max(checkCounter, 1);
    }
    if (staticFlag || signalIn.isStreaming()) return;
    const int n = getBlockSize();
    // An empty closing slice has no last sample to look at.
    if (last < 0 || n < 1) return;

    const float* buffer = output.getBuffer();
    const float o = buffer[last];
    const float p = buffer[(last + n - 1) % n];
    if (o == p || std::fabs(x2[0]) + std::fabs(x1[0] - o) < 1e-6f) {
        x1[0] = o;
        x2[0] = 0.0f;
        staticFlag = true;
        setSubProcess(&SemFilter4Pole::subProcessStatic);
        output.setStreaming(false, last);
    }
}
