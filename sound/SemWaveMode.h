// GUI module: a waveform number and an amplitude, always turned into a
// "WAVE" blob on change.
#pragma once

#include "frame/mp_sdk_gui.h"

class SemWaveMode : public MpGuiBase {
public:
    SemWaveMode();

    void onWaveChanged();

private:
    MpGuiPin<int> pinWaveform;
    MpGuiPin<float> pinAmplitude;
    MpGuiPin<MpBlob> pinResult;
};
