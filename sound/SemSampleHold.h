// Sample and hold: takes the signal while the gate agrees with an alternating
// phase flag and holds it otherwise. With a steady gate the held value is
// refreshed on every second sample; a gate change shifts which samples these
// are. That alternation is how this module has always behaved.
#pragma once

#include "frame/mp_sdk_audio.h"

class SemSampleHold : public MpBase {
public:
    explicit SemSampleHold(gmpi::IMpUnknown* host);

    void onSetPins() override;
    void subProcess(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinSignal;
    AudioInPin pinGate;
    AudioOutPin pinOutput;

    float heldValue = 0.0f;
    bool phase = true;
};
