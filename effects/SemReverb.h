// Stereo reverberator: per channel eight damped combs in parallel, four
// allpasses in series and a pre-delay, then a wet/dry mix with width. The
// left network hears only the left input and the right only the right; they
// meet in the output stage.
#pragma once

#include "effects/FxCommon.h"

class SemReverb : public tam::fx::FxBase {
public:
    class Comb {
    public:
        Comb() = default;
        ~Comb() { delete[] buffer; }
        Comb(const Comb&) = delete;
        Comb& operator=(const Comb&) = delete;
        void SetSize(int n);
        void Mute();

        int size = 0;
        int position = 0;
        float* buffer = nullptr;
        float feedback = 0.0f;
        float filterStore = 0.0f;
        float damp1 = 0.0f;
        float damp2 = 0.0f;
    };

    class Allpass {
    public:
        Allpass() = default;
        ~Allpass() { delete[] buffer; }
        Allpass(const Allpass&) = delete;
        Allpass& operator=(const Allpass&) = delete;
        void SetSize(int n);
        void Mute();

        int size = 0;
        int position = 0;
        float* buffer = nullptr;
        float feedback = 0.5f;
    };

    class Delay {
    public:
        Delay() = default;
        ~Delay() { delete[] buffer; }
        Delay(const Delay&) = delete;
        Delay& operator=(const Delay&) = delete;
        void SetSize(int n);
        void Mute();

        int size = 0;
        int position = 0;
        float* buffer = nullptr;
        float gain = 1.0f;
    };

    static constexpr int kCombs = 8;
    static constexpr int kAllpasses = 4;
    static constexpr int kStereoSpread = 23;
    static const int combTuning[kCombs];
    static const int allpassTuning[kAllpasses];

    SemReverb();
    ~SemReverb() override;

    int32_t open() override;
    void onSetPins() override;

    void subProcessAll(int bufferOffset, int sampleFrames);
    void subProcessFixed(int bufferOffset, int sampleFrames);
    void subProcessPassThru(int bufferOffset, int sampleFrames);
    void subProcessStatic(int bufferOffset, int sampleFrames);
    void doCheck(int bufferOffset, int sampleFrames);

private:
    void alloc(int combCount, int allpassCount);
    void free();
    void setFactor(float factor);
    void mute();
    template <bool kStreamingParameters>
    void render(int bufferOffset, int sampleFrames);

    AudioInPin pinInLeft;
    AudioInPin pinInRight;
    BoolInPin pinOn;
    IntInPin pinRoom;
    AudioInPin pinRoomSize;
    AudioInPin pinWidth;
    AudioInPin pinDamping;
    AudioInPin pinPreDelay;
    AudioInPin pinMix;
    AudioInPin pinLevel;
    AudioOutPin pinOutLeft;
    AudioOutPin pinOutRight;

    Comb* combLeft = nullptr;
    Comb* combRight = nullptr;
    Allpass* allpassLeft = nullptr;
    Allpass* allpassRight = nullptr;
    int numCombs = 0;
    int numAllpasses = 0;
    Delay preDelayLeft;
    Delay preDelayRight;

    float wet1 = 0.0f;
    float wet2 = 0.0f;
    float dry = 0.0f;
    float level = 1.0f;
    bool setPinsSeen = false;
};
