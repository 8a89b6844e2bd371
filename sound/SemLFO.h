// Tempo-locked low frequency oscillator on the oscillator's wave tables: one
// cycle per bar division, running while the transport runs.
#pragma once

#include "frame/mp_sdk_audio.h"
#include "sound/tamWaveTable.h"

class SemLFO : public MpBase {
public:
    explicit SemLFO(gmpi::IMpUnknown* host);

    void onSetPins() override;
    // Beats per cycle for a bar division index 0-10 and a time signature;
    // 1.0 for an index out of range.
    double calcBarDivide(int index, int numerator, int denominator) const;

    void subProcess(int bufferOffset, int sampleFrames);
    void subProcessSilent(int bufferOffset, int sampleFrames);

    double GetPosition() const { return position; }
    double GetPhaseIncrement() const { return phaseIncrement; }

private:
    FloatInPin pinTempo;
    FloatInPin pinSongPosition;
    BoolInPin pinEnable;
    IntInPin pinNumerator;
    IntInPin pinDenominator;
    BoolInPin pinTransport;
    IntInPin pinWaveform;
    BoolInPin pinCustom;
    BlobInPin pinCustomWave;
    IntInPin pinBarDivision;
    AudioInPin pinLevel;
    AudioInPin pinPhaseOffset;
    AudioInPin pinSync;
    AudioOutPin pinOutput;

    float rate();

    float positionStep = 0.0f;
    double phaseIncrement = 0.0;
    double position = 0.0;
    double phase = 0.0;
    bool syncMemory = false;
    tam::WaveTable table;
};
