#include "sound/SemSampleHold.h"

SemSampleHold::SemSampleHold(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinGate);
    initializePin(2, pinOutput);
}

void SemSampleHold::onSetPins() {
    // The gate's streaming plays no part: a held level is constant.
    const bool streaming = pinSignal.isStreaming();
    pinOutput.setStreaming(streaming, -1);
    setSleep(!streaming);
    setSubProcess(&SemSampleHold::subProcess);
}

void SemSampleHold::subProcess(int bufferOffset, int sampleFrames) {
    const float* __restrict signal = pinSignal.getBuffer() + bufferOffset;
    const float* __restrict gate = pinGate.getBuffer() + bufferOffset;
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    float held = heldValue;
    bool currentPhase = phase;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool open = gate[i] > 0.0f;
        if (open == currentPhase)
            held = signal[i];
        currentPhase = !currentPhase;
        out[i] = held;
    }
    heldValue = held;
    phase = currentPhase;
}
