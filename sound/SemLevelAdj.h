// Multiplies two signals sample by sample (ring modulation, level control by
// an audio-rate level).
#pragma once

#include "frame/mp_sdk_audio.h"

class SemLevelAdj : public MpBase {
public:
    explicit SemLevelAdj(gmpi::IMpUnknown* host);

    void onSetPins() override;
    void subProcess(int bufferOffset, int sampleFrames);

private:
    AudioInPin pinSignal;
    AudioInPin pinLevel;
    AudioOutPin pinOutput;
};
