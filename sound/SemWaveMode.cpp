#include "sound/SemWaveMode.h"

#include "sound/tamBlobWaveform.h"

SemWaveMode::SemWaveMode() {
    initializePin(0, pinWaveform, &SemWaveMode::onWaveChanged);
    initializePin(1, pinAmplitude, &SemWaveMode::onWaveChanged);
    initializePin(2, pinResult);
}

void SemWaveMode::onWaveChanged() {
    pinResult = BuildWaveformToBlob(pinWaveform.getValue(), pinAmplitude.getValue());
}
