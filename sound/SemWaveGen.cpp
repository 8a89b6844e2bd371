#include "sound/SemWaveGen.h"

#include "sound/tamBlobWaveform.h"

SemWaveGen::SemWaveGen() {
    initializePin(0, pinWaveform, &SemWaveGen::onWaveChanged);
    initializePin(1, pinAmplitude, &SemWaveGen::onWaveChanged);
    initializePin(2, pinResult);
    initializePin(3, pinAutomatic, &SemWaveGen::onTriggerChanged);
    initializePin(4, pinTrigger, &SemWaveGen::onTriggerChanged);
}

void SemWaveGen::build() { pinResult = BuildWaveformToBlob(pinWaveform.getValue(), pinAmplitude.getValue()); }

void SemWaveGen::onWaveChanged() {
    if (pinAutomatic.getValue())
        build();
}

void SemWaveGen::onTriggerChanged() {
    if (pinAutomatic.getValue() || pinTrigger.getValue())
        build();
}
