// Band-limited wave table oscillator. Voices of one module (and instances
// that agree on a table name) share their tables through SharedTable; each
// keeps its own phase and noise position.
#pragma once

#include "foundation/tamArray.h"
#include "foundation/tamRefObject.h"
#include "foundation/tamString.h"
#include "frame/mp_sdk_audio.h"
#include "sound/tamWaveTable.h"

class SemOscillator : public MpBase {
public:
    class SharedTable : public tam::RefObject {
    public:
        SharedTable(int32_t id, int32_t hostHandle, const tam::String& tableName)
            : instanceId(id), handle(hostHandle), name(tableName) {}
        int32_t instanceId;
        int32_t handle;
        tam::String name;
        tam::WaveTable table;
    };

    // Every shared table of the process; holds one reference to each.
    static tam::RefObjArray<SharedTable>& SharedTables();
    static constexpr int kFrequencyTableSize = 32770;
    // 440 * 2^(i * 10 / 16384 - 4) for i = -16384 .. 16385.
    static const float* FrequencyTable();

    explicit SemOscillator(gmpi::IMpUnknown* host);
    ~SemOscillator() override;

    int32_t open() override;
    void onSetPins() override;
    void onIntiSharedTable();

    void subProcessSilent(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    template <int Mode>
    void subProcessAll(int bufferOffset, int sampleFrames);
    void subProcessFixedPulse(int bufferOffset, int sampleFrames);
    template <int Mode>
    void subProcessAllPulse(int bufferOffset, int sampleFrames);
    void subProcessNoise(int bufferOffset, int sampleFrames);

    SharedTable* GetSharedTable() const { return shared; }

private:
    BoolInPin pinEnable;
    IntInPin pinWaveform;
    BoolInPin pinCustom;
    BlobInPin pinCustomWave;
    AudioInPin pinLevel;
    AudioInPin pinPitch;
    AudioInPin pinPhaseOffset;
    AudioInPin pinPulseWidth;
    AudioInPin pinSync;
    AudioOutPin pinOutput;
    IntInPin pinPitchMode;
    StringInPin pinTableName;
    BoolInPin pinTableBuilder;

    void rebuildTable();

    float sampleRate = 44100.0f;
    bool tableReady = false;
    double phase = 0.0;
    double increment = 0.0;
    double phaseOffset = 0.0;
    double pulseWidth = 0.0;
    bool syncMemory = false;
    int32_t handle = 0;
    int32_t noisePosition = 0;
    int32_t* instanceId = nullptr;
    int32_t ownInstanceId = 0;  // when the host has no shared block
    SharedTable* shared = nullptr;
};
