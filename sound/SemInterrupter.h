// Gates a signal on and off by two times (pin value times 10 seconds). Each
// state lasts its length plus two samples, counted by one counter that the
// state change resets.
#pragma once

#include "frame/mp_sdk_audio.h"

class SemInterrupter : public MpBase {
public:
    explicit SemInterrupter(gmpi::IMpUnknown* host);

    int32_t open() override;
    void onSetPins() override;

    void subProcess(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinSignal;
    AudioInPin pinOnTime;
    AudioInPin pinOffTime;
    BoolInPin pinKeepStreaming;
    AudioOutPin pinOutput;

    float sampleRate = 44100.0f;
    int onLength = 0;
    int offLength = 0;
    int counter = 0;
    bool on = true;
};
