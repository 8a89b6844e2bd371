#include "effects/SemReverb.h"

#include <algorithm>
#include <cstring>
#include <new>

using tam::fx::clampf;
using tam::fx::FxCurves;

const int SemReverb::combTuning[kCombs] = {1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617};
const int SemReverb::allpassTuning[kAllpasses] = {556, 441, 341, 225};

namespace {

// A failed allocation leaves an empty line, which then counts as size zero.
int resizeLine(float*& buffer, int n) {
    delete[] buffer;
    buffer = nullptr;
    const int size = std::max(n, 0);
    if (size == 0) return 0;
    buffer = new (std::nothrow) float[static_cast<size_t>(size)]();
    return buffer ? size : 0;
}

void zeroLine(float* buffer, int size) {
    if (buffer && size > 0) std::memset(buffer, 0, static_cast<size_t>(size) * sizeof(float));
}

inline float combStep(float x, float* __restrict buffer, int size, int& position, float& store,
                      float feedback, float damp1, float damp2) {
    if (size == 0) return x;
    const float out = buffer[position];
    store = store * damp1 + out * damp2;
    buffer[position] = store * feedback + x;
    if (++position >= size) position = 0;
    return out;
}

inline float allpassStep(float input, float* __restrict buffer, int size, int& position, float feedback) {
    if (size == 0) return input;
    const float b = buffer[position];
    buffer[position] = feedback * b + input;
    if (++position >= size) position = 0;
    return b - input;
}

inline float delayStep(float input, float* __restrict buffer, int size, int& position, float gain) {
    if (size == 0) return input;
    const float out = buffer[position];
    buffer[position] = input * gain;
    if (++position >= size) position = 0;
    return out;
}

inline float roomFeedback(float v) { return v < 0.0f ? 0.7f : std::fmin(v, 1.0f) * 0.28f + 0.7f; }

// Scale of the room selector, in milliseconds per nominal sample.
constexpr float kRoomScale[5] = {0.004f, 0.008f, 0.016f, 0.024f, 0.048f};

constexpr float kInputGain = 0.015f;
constexpr float kMaxPreDelayMs = 250.0f;

}  // namespace

void SemReverb::Comb::SetSize(int n) {
    size = resizeLine(buffer, n);
    position = 0;
}
void SemReverb::Comb::Mute() { zeroLine(buffer, size); }
void SemReverb::Allpass::SetSize(int n) {
    size = resizeLine(buffer, n);
    position = 0;
}
void SemReverb::Allpass::Mute() { zeroLine(buffer, size); }
void SemReverb::Delay::SetSize(int n) {
    size = resizeLine(buffer, n);
    position = 0;
}
void SemReverb::Delay::Mute() { zeroLine(buffer, size); }

SemReverb::SemReverb() {
    initializePin(0, pinInLeft);
    initializePin(1, pinInRight);
    initializePin(2, pinOn);
    initializePin(3, pinRoom);
    initializePin(4, pinRoomSize);
    initializePin(5, pinWidth);
    initializePin(6, pinDamping);
    initializePin(7, pinPreDelay);
    initializePin(8, pinMix);
    initializePin(9, pinLevel);
    initializePin(10, pinOutLeft);
    initializePin(11, pinOutRight);
}

SemReverb::~SemReverb() { free(); }

int32_t SemReverb::open() {
    readHostSettings();
    FxCurves::BuildTableDbAdj();
    alloc(kCombs, kAllpasses);
    return MpBase::open();
}

void SemReverb::alloc(int combCount, int allpassCount) {
    free();
    combLeft = new (std::nothrow) Comb[combCount];
    combRight = new (std::nothrow) Comb[combCount];
    allpassLeft = new (std::nothrow) Allpass[allpassCount];
    allpassRight = new (std::nothrow) Allpass[allpassCount];
    if (!combLeft || !combRight || !allpassLeft || !allpassRight) {
        free();
        return;
    }
    numCombs = combCount;
    numAllpasses = allpassCount;
}

void SemReverb::free() {
    delete[] combLeft;
    delete[] combRight;
    delete[] allpassLeft;
    delete[] allpassRight;
    combLeft = combRight = nullptr;
    allpassLeft = allpassRight = nullptr;
    numCombs = numAllpasses = 0;
}

void SemReverb::setFactor(float factor) {
    for (int i = 0; i < numCombs; ++i) {
        combLeft[i].SetSize(static_cast<int>(static_cast<float>(combTuning[i]) * factor));
        combRight[i].SetSize(static_cast<int>(static_cast<float>(combTuning[i] + kStereoSpread) * factor));
    }
    for (int i = 0; i < numAllpasses; ++i) {
        allpassLeft[i].SetSize(static_cast<int>(static_cast<float>(allpassTuning[i]) * factor));
        allpassRight[i].SetSize(
            static_cast<int>(static_cast<float>(allpassTuning[i] + kStereoSpread) * factor));
        allpassLeft[i].feedback = allpassRight[i].feedback = 0.5f;
    }
}

void SemReverb::mute() {
    for (int i = 0; i < numCombs; ++i) {
        combLeft[i].Mute();
        combRight[i].Mute();
    }
    for (int i = 0; i < numAllpasses; ++i) {
        allpassLeft[i].Mute();
        allpassRight[i].Mute();
    }
}

void SemReverb::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if ((all || pinRoom.isUpdated()) && numCombs == kCombs) {
        const int selector = std::clamp(pinRoom.getValue(), 0, 4);
        setFactor(kRoomScale[selector] * sampleRate / 1000.0f);
        mute();
    }
    if ((all || pinRoomSize.isUpdated()) && numCombs == kCombs) {
        const float feedback = roomFeedback(pinRoomSize.getValue());
        for (int i = 0; i < kCombs; ++i) combLeft[i].feedback = combRight[i].feedback = feedback;
    }
    if (all || pinWidth.isUpdated() || pinMix.isUpdated()) {
        const float w = clampf(pinWidth.getValue(), 0.0f, 1.0f);
        const float m = clampf(pinMix.getValue(), 0.0f, 1.0f);
        const float wet = m * 3.0f;
        dry = 1.0f - m;
        wet1 = (w * 0.5f + 0.5f) * wet;
        wet2 = (1.0f - w) * 0.5f * wet;
    }
    if ((all || pinDamping.isUpdated()) && numCombs == kCombs) {
        const float d = clampf(pinDamping.getValue(), 0.0f, 1.0f);
        for (int i = 0; i < kCombs; ++i) {
            combLeft[i].damp1 = combRight[i].damp1 = d;
            combLeft[i].damp2 = combRight[i].damp2 = 1.0f - d;
        }
    }
    if (all || pinPreDelay.isUpdated()) {
        const float ms = clampf(pinPreDelay.getValue(), 0.0f, 1.0f) * kMaxPreDelayMs;
        const int n = static_cast<int>(ms * sampleRate / 1000.0f);
        preDelayLeft.SetSize(n);
        preDelayRight.SetSize(n);
        preDelayLeft.Mute();
        preDelayRight.Mute();
    }
    if (all || pinLevel.isUpdated()) level = FxCurves::level(pinLevel.getValue());

    if (pinOn.getValue() && numCombs == kCombs) {
        pinOutLeft.setStreaming(true);
        pinOutRight.setStreaming(true);
        isStatic = false;
        const bool streams = pinRoomSize.isStreaming() || pinWidth.isStreaming() ||
                             pinDamping.isStreaming() || pinMix.isStreaming() || pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemReverb::subProcessAll);
        else
            setSubProcess(&SemReverb::subProcessFixed);
    } else {
        const bool streams = pinInLeft.isStreaming() || pinInRight.isStreaming();
        pinOutLeft.setStreaming(streams);
        pinOutRight.setStreaming(streams);
        setSubProcess(&SemReverb::subProcessPassThru);
    }
}

// One network per channel, written out so that the sixteen combs of both
// channels run side by side. With kStreamingParameters the feedback, damping
// and level follow their pins per sample; width and mix deliberately keep the
// values in force at the start of the block.
template <bool kStreamingParameters>
void SemReverb::render(int bufferOffset, int sampleFrames) {
    const float* __restrict inLeft = pinInLeft.buffer + bufferOffset;
    const float* __restrict inRight = pinInRight.buffer + bufferOffset;
    float* __restrict outLeft = pinOutLeft.buffer + bufferOffset;
    float* __restrict outRight = pinOutRight.buffer + bufferOffset;
    const float* roomSizeBuffer = pinRoomSize.buffer + bufferOffset;
    const float* dampingBuffer = pinDamping.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;

    float* cbL[kCombs];
    float* cbR[kCombs];
    int csL[kCombs], csR[kCombs], cpL[kCombs], cpR[kCombs];
    float fsL[kCombs], fsR[kCombs], fbL[kCombs], fbR[kCombs], d1L[kCombs], d1R[kCombs], d2L[kCombs],
        d2R[kCombs];
    for (int i = 0; i < kCombs; ++i) {
        cbL[i] = combLeft[i].buffer;
        cbR[i] = combRight[i].buffer;
        csL[i] = combLeft[i].size;
        csR[i] = combRight[i].size;
        cpL[i] = combLeft[i].position;
        cpR[i] = combRight[i].position;
        fsL[i] = combLeft[i].filterStore;
        fsR[i] = combRight[i].filterStore;
        fbL[i] = combLeft[i].feedback;
        fbR[i] = combRight[i].feedback;
        d1L[i] = combLeft[i].damp1;
        d1R[i] = combRight[i].damp1;
        d2L[i] = combLeft[i].damp2;
        d2R[i] = combRight[i].damp2;
    }
    float* abL[kAllpasses];
    float* abR[kAllpasses];
    int asL[kAllpasses], asR[kAllpasses], apL[kAllpasses], apR[kAllpasses];
    float afL[kAllpasses], afR[kAllpasses];
    for (int i = 0; i < kAllpasses; ++i) {
        abL[i] = allpassLeft[i].buffer;
        abR[i] = allpassRight[i].buffer;
        asL[i] = allpassLeft[i].size;
        asR[i] = allpassRight[i].size;
        apL[i] = allpassLeft[i].position;
        apR[i] = allpassRight[i].position;
        afL[i] = allpassLeft[i].feedback;
        afR[i] = allpassRight[i].feedback;
    }
    float* const pdBufL = preDelayLeft.buffer;
    float* const pdBufR = preDelayRight.buffer;
    const int pdSizeL = preDelayLeft.size;
    const int pdSizeR = preDelayRight.size;
    int pdPosL = preDelayLeft.position;
    int pdPosR = preDelayRight.position;
    const float pdGainL = preDelayLeft.gain;
    const float pdGainR = preDelayRight.gain;

    const float mixDry = dry;
    const float mixWet1 = wet1;
    const float mixWet2 = wet2;
    float outLevel = level;

    for (int s = 0; s < sampleFrames; ++s) {
        if constexpr (kStreamingParameters) {
            const float feedback = roomFeedback(roomSizeBuffer[s]);
            const float d = clampf(dampingBuffer[s], 0.0f, 1.0f);
            for (int i = 0; i < kCombs; ++i) {
                fbL[i] = fbR[i] = feedback;
                d1L[i] = d1R[i] = d;
                d2L[i] = d2R[i] = 1.0f - d;
            }
            outLevel = FxCurves::level(levelBuffer[s]);
        }
        const float xL = inLeft[s] * kInputGain;
        const float xR = inRight[s] * kInputGain;
        float sumL = 0.0f;
        float sumR = 0.0f;
        for (int i = 0; i < kCombs; ++i) {
            sumL += combStep(xL, cbL[i], csL[i], cpL[i], fsL[i], fbL[i], d1L[i], d2L[i]);
            sumR += combStep(xR, cbR[i], csR[i], cpR[i], fsR[i], fbR[i], d1R[i], d2R[i]);
        }
        for (int i = 0; i < kAllpasses; ++i) {
            sumL = allpassStep(sumL, abL[i], asL[i], apL[i], afL[i]);
            sumR = allpassStep(sumR, abR[i], asR[i], apR[i], afR[i]);
        }
        const float wetL = delayStep(sumL, pdBufL, pdSizeL, pdPosL, pdGainL);
        const float wetR = delayStep(sumR, pdBufR, pdSizeR, pdPosR, pdGainR);
        outLeft[s] = (inLeft[s] * mixDry + mixWet2 * wetR + mixWet1 * wetL) * outLevel;
        outRight[s] = (inRight[s] * mixDry + mixWet2 * wetL + mixWet1 * wetR) * outLevel;
    }

    for (int i = 0; i < kCombs; ++i) {
        combLeft[i].position = cpL[i];
        combRight[i].position = cpR[i];
        combLeft[i].filterStore = tam::fx::flushTiny(fsL[i]);
        combRight[i].filterStore = tam::fx::flushTiny(fsR[i]);
    }
    for (int i = 0; i < kAllpasses; ++i) {
        allpassLeft[i].position = apL[i];
        allpassRight[i].position = apR[i];
    }
    preDelayLeft.position = pdPosL;
    preDelayRight.position = pdPosR;

    if constexpr (kStreamingParameters) {
        level = outLevel;
        const float feedback = fbL[0];
        const float d = d1L[0];
        for (int i = 0; i < kCombs; ++i) {
            combLeft[i].feedback = combRight[i].feedback = feedback;
            combLeft[i].damp1 = combRight[i].damp1 = d;
            combLeft[i].damp2 = combRight[i].damp2 = 1.0f - d;
        }
        // The mix is recomputed per sample and stored; only the last one can
        // be seen, in the next block.
        const int last = sampleFrames - 1;
        const float w = clampf(pinWidth.buffer[bufferOffset + last], 0.0f, 1.0f);
        const float m = clampf(pinMix.buffer[bufferOffset + last], 0.0f, 1.0f);
        const float wet = m * 3.0f;
        dry = 1.0f - m;
        wet1 = (w * 0.5f + 0.5f) * wet;
        wet2 = (1.0f - w) * 0.5f * wet;
    }
}

void SemReverb::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemReverb::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemReverb::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOutLeft.buffer + bufferOffset, pinInLeft.buffer + bufferOffset,
                sizeof(float) * sampleFrames);
    std::memcpy(pinOutRight.buffer + bufferOffset, pinInRight.buffer + bufferOffset,
                sizeof(float) * sampleFrames);
}

void SemReverb::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOutLeft.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
    std::memset(pinOutRight.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemReverb::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();

    // NaN or infinity that reached the network would circulate for ever:
    // clear the network here, never in the sample loop.
    bool poisoned = false;
    for (int i = 0; i < numCombs; ++i) {
        poisoned |= !std::isfinite(combLeft[i].filterStore) || !std::isfinite(combRight[i].filterStore);
        poisoned |= tam::fx::anyNonFinite(combLeft[i].buffer, combLeft[i].size);
        poisoned |= tam::fx::anyNonFinite(combRight[i].buffer, combRight[i].size);
    }
    for (int i = 0; i < numAllpasses; ++i) {
        poisoned |= tam::fx::anyNonFinite(allpassLeft[i].buffer, allpassLeft[i].size);
        poisoned |= tam::fx::anyNonFinite(allpassRight[i].buffer, allpassRight[i].size);
    }
    poisoned |= tam::fx::anyNonFinite(preDelayLeft.buffer, preDelayLeft.size);
    poisoned |= tam::fx::anyNonFinite(preDelayRight.buffer, preDelayRight.size);
    if (poisoned) {
        mute();
        for (int i = 0; i < numCombs; ++i) combLeft[i].filterStore = combRight[i].filterStore = 0.0f;
        preDelayLeft.Mute();
        preDelayRight.Mute();
    }

    if (isStatic || pinInLeft.isStreaming() || pinInRight.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(pinOutLeft.buffer + bufferOffset, sampleFrames) ||
        tam::fx::anyAboveThreshold(pinOutRight.buffer + bufferOffset, sampleFrames))
        return;
    isStatic = true;
    setSubProcess(&SemReverb::subProcessStatic);
    const int last = bufferOffset + sampleFrames - 1;
    pinOutLeft.setStreaming(false, last);
    pinOutRight.setStreaming(false, last);
}
