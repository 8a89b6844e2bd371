// State-variable filter: low, high, band pass and notch, with up to three
// further stages in cascade, and per-sample-rate tables of frequency
// coefficients and stability limits.
#pragma once

#include "foundation/tamArray.h"
#include "foundation/tamRefObject.h"
#include "frame/mp_sdk_audio.h"
#include "sound/filterKernels.h"

class SemFilter2Pole : public MpBase {
public:
    // Frequency coefficients 2 pi f / sr over the pitch range, then the
    // largest stable f for each resonance step.
    class SharedTable : public tam::RefObject {
    public:
        void fill(float rate);
        float sampleRate = 0.0f;
        float frequency[tam::filters::kTableSize] = {};
        float limit[tam::filters::kTableSize] = {};
    };

    static constexpr int kMaxStages = 4;

    explicit SemFilter2Pole(gmpi::IMpUnknown* host = nullptr);
    ~SemFilter2Pole() override;

    int32_t open() override;
    void process(int32_t count, const gmpi::MpEvent* events) override;
    using MpBase::process;
    void onSetPins() override;

    void doCheck(int last);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void subProcessLoPass(int bufferOffset, int sampleFrames);
    void subProcessHiPass(int bufferOffset, int sampleFrames);
    void subProcessBandPass(int bufferOffset, int sampleFrames);
    void subProcessNotch(int bufferOffset, int sampleFrames);
    void subProcessLoPassFixed(int bufferOffset, int sampleFrames);
    void subProcessHiPassFixed(int bufferOffset, int sampleFrames);
    void subProcessBandPassFixed(int bufferOffset, int sampleFrames);
    void subProcessNotchFixed(int bufferOffset, int sampleFrames);

    static tam::RefObjArray<SharedTable>& sharedTables();

private:
    enum Response { kLowPass = 0, kHighPass = 1, kBandPass = 2, kNotch = 3 };

    float frequencyFor(float pitch) const;
    void resonanceFor(float resonance, float& damping, float& limit) const;
    template <int Response>
    void runFixed(int bufferOffset, int sampleFrames);
    template <int Response>
    void runModulated(int bufferOffset, int sampleFrames);
    template <int Response, int Stages>
    void fixedKernel(int bufferOffset, int sampleFrames);
    template <int Response, int Law>
    void modulatedKernel(int bufferOffset, int sampleFrames);
    void endOfRoutine(int bufferOffset, int sampleFrames);
    int stageLast() const { return stageCount - 1; }

    AudioInPin signalIn;
    EnumInPin responsePin;
    EnumInPin stagesPin;
    AudioInPin pitchIn;
    AudioInPin resonanceIn;
    AudioOutPin output;
    EnumInPin pitchModePin;

    int checkCounter = 0;
    bool staticFlag = false;
    float sampleRate = 44100.0f;
    float f = 0.0f;
    float q = 2.0f;
    float fmax = 0.0f;
    float low[kMaxStages] = {};
    float band[kMaxStages] = {};
    SharedTable* table = nullptr;
    int stageCount = 1;  // 1 + the further stages of pin 2, limited to 1..4
};
