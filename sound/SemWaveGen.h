// GUI module: turns a waveform number and an amplitude into a "WAVE" blob,
// automatically on each change or on a trigger.
#pragma once

#include "frame/mp_sdk_gui.h"

class SemWaveGen : public MpGuiBase {
public:
    SemWaveGen();

    void onWaveChanged();
    void onTriggerChanged();

private:
    void build();

    MpGuiPin<int> pinWaveform;
    MpGuiPin<float> pinAmplitude;
    MpGuiPin<MpBlob> pinResult;
    MpGuiPin<bool> pinAutomatic;
    MpGuiPin<bool> pinTrigger;
};
