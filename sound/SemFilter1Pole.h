// One-pole low or high pass with a per-sample-rate coefficient table for the
// volts-per-octave pitch law.
#pragma once

#include "foundation/tamArray.h"
#include "foundation/tamRefObject.h"
#include "frame/mp_sdk_audio.h"
#include "sound/filterKernels.h"

class SemFilter1Pole : public MpBase {
public:
    // Feedback coefficients exp(-2 pi f / sr) over the pitch range.
    class SharedTable : public tam::RefObject {
    public:
        void fill(float rate);
        float sampleRate = 0.0f;
        float values[tam::filters::kTableSize] = {};
    };

    explicit SemFilter1Pole(gmpi::IMpUnknown* host = nullptr);
    ~SemFilter1Pole() override;

    int32_t open() override;
    void process(int32_t count, const gmpi::MpEvent* events) override;
    using MpBase::process;
    void onSetPins() override;

    void doCheck(int last);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void subProcessLoPass(int bufferOffset, int sampleFrames);
    void subProcessHiPass(int bufferOffset, int sampleFrames);
    void subProcessLoPassFixed(int bufferOffset, int sampleFrames);
    void subProcessHiPassFixed(int bufferOffset, int sampleFrames);

    // Every instance's tables, one per sample rate.
    static tam::RefObjArray<SharedTable>& sharedTables();

private:
    float coefficientFor(float pitch) const;
    template <bool HighPass, int Law>
    void runModulated(int bufferOffset, int sampleFrames);
    template <bool HighPass>
    void runFixed(int bufferOffset, int sampleFrames);
    void endOfRoutine(int bufferOffset, int sampleFrames);

    AudioInPin signalIn;
    EnumInPin modePin;
    AudioInPin pitchIn;
    AudioOutPin output;
    EnumInPin pitchModePin;

    float sampleRate = 44100.0f;
    float y = 0.0f;
    float a = 0.0f;
    int checkCounter = 0;
    bool staticFlag = false;
    SharedTable* table = nullptr;
};
