#include "sound/SemLevelAdj.h"

namespace {

// Restrict parameters let the loop vectorise without an overlap check.
inline void multiply(const float* __restrict signal, const float* __restrict level, float* __restrict out, int n) {
    for (int i = 0; i < n; ++i)
        out[i] = signal[i] * level[i];
}

}  // namespace

SemLevelAdj::SemLevelAdj(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinLevel);
    initializePin(2, pinOutput);
}

void SemLevelAdj::onSetPins() {
    const bool streaming = pinSignal.isStreaming() || pinLevel.isStreaming();
    pinOutput.setStreaming(streaming, -1);
    setSleep(!streaming);
    setSubProcess(&SemLevelAdj::subProcess);
}

void SemLevelAdj::subProcess(int bufferOffset, int sampleFrames) {
    multiply(pinSignal.getBuffer() + bufferOffset, pinLevel.getBuffer() + bufferOffset,
             pinOutput.getBuffer() + bufferOffset, sampleFrames);
}
