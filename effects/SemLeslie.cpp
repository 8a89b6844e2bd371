#include "effects/SemLeslie.h"

#include <algorithm>
#include <cstring>
#include <new>

using tam::fx::clampf;

namespace {

constexpr float kTwoPi = 6.2831855f;
constexpr int kUpdateSteps = 32;
// Speed per selector: rate in Hz and glide time in seconds.
constexpr float kHighRate[3] = {0.0f, 0.66f, 6.4f};
constexpr float kHighTime[3] = {0.1f, 0.18f, 0.09f};
constexpr float kLowRate[3] = {0.0f, 0.49f, 5.31f};
constexpr float kLowTime[3] = {0.12f, 0.27f, 0.14f};
// The nominal ring: 201 samples, enough for the Doppler sweep up to about
// 76 kHz; higher rates get a longer ring so that the taps stay inside it.
constexpr int kNominalRing = 201;
constexpr float kDopplerDivisor = 760.0f;

inline float crossoverCoefficient(float pin) {
    const float x = clampf(pin, 0.0f, 1.0f);
    return 1.0f - std::pow(10.0f, (-0.54f * x + 2.27f) * x - 1.92f);
}

inline float outputLevel(float pin) {
    return pin < 0.0f ? 0.04f : 0.4f * std::pow(10.0f, 2.0f * std::fmin(pin, 1.0f) - 1.0f);
}

inline float squared(float pin) {
    const float x = clampf(pin, 0.0f, 1.0f);
    return x * x;
}

}  // namespace

SemLeslie::SemLeslie() {
    initializePin(0, pinIn);
    initializePin(1, pinOn);
    initializePin(2, pinSpeed);
    initializePin(3, pinSpeedScale);
    initializePin(4, pinLowPan);
    initializePin(5, pinLowAmplitude);
    initializePin(6, pinHighPan);
    initializePin(7, pinDoppler);
    initializePin(8, pinHighAmplitude);
    initializePin(9, pinCrossover);
    initializePin(10, pinLevel);
    initializePin(11, pinOutLeft);
    initializePin(12, pinOutRight);
}

SemLeslie::~SemLeslie() { delete[] ring; }

int32_t SemLeslie::open() {
    readHostSettings();
    const float maxDoppler = sampleRate / kDopplerDivisor;
    // The offset reaches twice the depth, plus a little for the one-sample
    // overshoot of the interpolated modulator.
    ringSize = std::max(kNominalRing, static_cast<int>(2.2f * maxDoppler) + 4);
    delete[] ring;
    ring = new (std::nothrow) float[static_cast<size_t>(std::max(ringSize, 256))]();
    ringPos = 0;
    l1 = l2 = 0.0f;
    high = Rotor();
    low = Rotor();
    high.phase = 1.6f;
    low.phase = 0.0f;
    loadModulators();
    return MpBase::open();
}

void SemLeslie::loadModulators() {
    const float c = std::cos(high.phase);
    mod = Modulators();
    mod.highCubed = c * c * c;
    mod.lowCos = std::cos(low.phase);
    mod.highSin = std::sin(high.phase);
    mod.lowSin = std::sin(low.phase);
}

void SemLeslie::setSpeed() {
    const int selector = std::clamp(pinSpeed.getValue(), 0, 2);
    const float scale = clampf(pinSpeedScale.getValue(), 0.0f, 1.0f) * 2.0f * kTwoPi / sampleRate;
    high.targetStep = kHighRate[selector] * scale;
    low.targetStep = kLowRate[selector] * scale;
    high.smoothing = std::pow(10.0f, -(1.0f / sampleRate) / kHighTime[selector]);
    low.smoothing = std::pow(10.0f, -(1.0f / sampleRate) / kLowTime[selector]);
}

void SemLeslie::setDepths(float levelForDepths) {
    lowAmplitudeDepth = (levelForDepths * 0.9f) * squared(pinLowAmplitude.getValue());
    highAmplitudeDepth = (levelForDepths * 0.9f) * squared(pinHighAmplitude.getValue());
    lowPanDepth = squared(pinLowPan.getValue());
    highPanDepth = squared(pinHighPan.getValue());
    dopplerDepth = squared(pinDoppler.getValue()) * sampleRate / kDopplerDivisor;
}

void SemLeslie::onSetPins() {
    const bool all = !setPinsSeen;
    setPinsSeen = true;

    if (all || pinSpeed.isUpdated() || pinSpeedScale.isUpdated()) setSpeed();
    if (all || pinCrossover.isUpdated()) crossover = crossoverCoefficient(pinCrossover.getValue());
    if (all || pinLevel.isUpdated()) level = outputLevel(pinLevel.getValue());
    if (all || pinLevel.isUpdated() || pinLowPan.isUpdated() || pinLowAmplitude.isUpdated() ||
        pinHighPan.isUpdated() || pinDoppler.isUpdated() || pinHighAmplitude.isUpdated())
        setDepths(level);

    if (pinOn.getValue() && ring) {
        pinOutLeft.setStreaming(true);
        pinOutRight.setStreaming(true);
        isStatic = false;
        const bool streams = pinLowPan.isStreaming() || pinLowAmplitude.isStreaming() ||
                             pinHighPan.isStreaming() || pinDoppler.isStreaming() ||
                             pinHighAmplitude.isStreaming() || pinCrossover.isStreaming() ||
                             pinLevel.isStreaming();
        if (streams)
            setSubProcess(&SemLeslie::subProcessAll);
        else
            setSubProcess(&SemLeslie::subProcessFixed);
    } else {
        pinOutLeft.setStreaming(pinIn.isStreaming());
        pinOutRight.setStreaming(pinIn.isStreaming());
        setSubProcess(&SemLeslie::subProcessPassThru);
    }
}

// The rotor phases advance by their rate on every sample, and the update
// rhythm (a new slope every 33 samples, aimed 32 samples ahead) runs on
// across blocks, so that neither the rotor speed nor the sound depends on
// the host's block size.
template <bool kStreamingParameters>
void SemLeslie::render(int bufferOffset, int sampleFrames) {
    const float* __restrict in = pinIn.buffer + bufferOffset;
    float* __restrict outLeft = pinOutLeft.buffer + bufferOffset;
    float* __restrict outRight = pinOutRight.buffer + bufferOffset;
    const float* lowPanBuffer = pinLowPan.buffer + bufferOffset;
    const float* lowAmplitudeBuffer = pinLowAmplitude.buffer + bufferOffset;
    const float* highPanBuffer = pinHighPan.buffer + bufferOffset;
    const float* dopplerBuffer = pinDoppler.buffer + bufferOffset;
    const float* highAmplitudeBuffer = pinHighAmplitude.buffer + bufferOffset;
    const float* crossoverBuffer = pinCrossover.buffer + bufferOffset;
    const float* levelBuffer = pinLevel.buffer + bufferOffset;

    float* __restrict buffer = ring;
    const int last = ringSize - 1;
    int w = ringPos;
    float s1 = l1, s2 = l2;
    float highPhase = high.phase, highRate = high.rate;
    float lowPhase = low.phase, lowRate = low.rate;
    const float highTarget = high.targetStep, highCoef = high.smoothing;
    const float lowTarget = low.targetStep, lowCoef = low.smoothing;
    float h3 = mod.highCubed, lc = mod.lowCos, hs = mod.highSin, ls = mod.lowSin;
    float dh3 = mod.dHighCubed, dlc = mod.dLowCos, dhs = mod.dHighSin, dls = mod.dLowSin;
    int counter = mod.counter;

    float c = crossover, l = level;
    float lowAmp = lowAmplitudeDepth, highAmp = highAmplitudeDepth;
    float lowPan = lowPanDepth, highPan = highPanDepth, doppler = dopplerDepth;
    // Depths follow the level stored at the start of the block.
    const float blockLevel = level;
    const float dopplerScale = sampleRate / kDopplerDivisor;

    for (int s = 0; s < sampleFrames; ++s) {
        if constexpr (kStreamingParameters) {
            c = crossoverCoefficient(crossoverBuffer[s]);
            l = outputLevel(levelBuffer[s]);
            lowAmp = (blockLevel * 0.9f) * squared(lowAmplitudeBuffer[s]);
            highAmp = (blockLevel * 0.9f) * squared(highAmplitudeBuffer[s]);
            lowPan = squared(lowPanBuffer[s]);
            highPan = squared(highPanBuffer[s]);
            doppler = squared(dopplerBuffer[s]) * dopplerScale;
        }
        if (counter == 0) {
            highRate = highRate * highCoef + (1.0f - highCoef) * highTarget;
            lowRate = lowRate * lowCoef + (1.0f - lowCoef) * lowTarget;
            // Wrapped here rather than at block ends, so that the rounding
            // does not depend on where blocks end.
            highPhase = std::fmod(highPhase, kTwoPi);
            lowPhase = std::fmod(lowPhase, kTwoPi);
            const float highAhead = highPhase + kUpdateSteps * highRate;
            const float lowAhead = lowPhase + kUpdateSteps * lowRate;
            const float ch = std::cos(highAhead);
            constexpr float inverseSteps = 1.0f / kUpdateSteps;
            dh3 = (ch * ch * ch - h3) * inverseSteps;
            dlc = (std::cos(lowAhead) - lc) * inverseSteps;
            dhs = (std::sin(highAhead) - hs) * inverseSteps;
            dls = (std::sin(lowAhead) - ls) * inverseSteps;
            counter = kUpdateSteps;
        } else {
            --counter;
        }
        h3 += dh3;
        lc += dlc;
        hs += dhs;
        ls += dls;
        highPhase += highRate;
        lowPhase += lowRate;

        const float x = in[s];
        s1 = (s1 - x) * c + x;
        s2 = (s2 - s1) * c + s1;
        const float h = (x - s2) * (l - highAmp * h3);
        const float v = (l - lowAmp * lc) * s2;

        w = w < 1 ? last : w - 1;
        buffer[w] = h;
        const float d = std::fmax(h3 + 1.0f, 0.0f) * doppler + static_cast<float>(w);
        const int i = static_cast<int>(d);
        int j, k;
        if (i < last) {
            j = i + 1;
            k = i;
        } else if (i == last) {
            j = 0;
            k = last;
        } else {
            j = i - last;
            k = i - ringSize;
        }
        const float H = (d - static_cast<float>(i)) * (buffer[j] - buffer[k]) + buffer[k] + h;

        const float A = ls * lowPan * v;
        const float B = hs * highPan * H;
        outLeft[s] = A - B + (v + H);
        outRight[s] = B - A + (v + H);
    }

    ringPos = w;
    l1 = tam::fx::flushTiny(s1);
    l2 = tam::fx::flushTiny(s2);
    high.phase = highPhase;
    low.phase = lowPhase;
    high.rate = highRate;
    low.rate = lowRate;
    mod.highCubed = h3;
    mod.lowCos = lc;
    mod.highSin = hs;
    mod.lowSin = ls;
    mod.dHighCubed = dh3;
    mod.dLowCos = dlc;
    mod.dHighSin = dhs;
    mod.dLowSin = dls;
    mod.counter = counter;
    if constexpr (kStreamingParameters) {
        crossover = c;
        lowPanDepth = lowPan;
        highPanDepth = highPan;
        dopplerDepth = doppler;
        level = l;
        lowAmplitudeDepth = lowAmp;
        highAmplitudeDepth = highAmp;
    }
}

void SemLeslie::subProcessAll(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<true>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemLeslie::subProcessFixed(int bufferOffset, int sampleFrames) {
    const bool due = checkDue();
    if (sampleFrames <= 0) return;
    render<false>(bufferOffset, sampleFrames);
    if (due) doCheck(bufferOffset, sampleFrames);
}

void SemLeslie::subProcessPassThru(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memcpy(pinOutLeft.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
    std::memcpy(pinOutRight.buffer + bufferOffset, pinIn.buffer + bufferOffset, sizeof(float) * sampleFrames);
}

void SemLeslie::subProcessStatic(int bufferOffset, int sampleFrames) {
    if (sampleFrames <= 0) return;
    std::memset(pinOutLeft.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
    std::memset(pinOutRight.buffer + bufferOffset, 0, sizeof(float) * sampleFrames);
}

void SemLeslie::doCheck(int bufferOffset, int sampleFrames) {
    restartCheckCounter();
    if (tam::fx::anyNonFinite(ring, ringSize))
        std::memset(ring, 0, sizeof(float) * static_cast<size_t>(ringSize));
    if (isStatic || pinIn.isStreaming()) return;
    if (tam::fx::anyAboveThreshold(pinOutLeft.buffer + bufferOffset, sampleFrames) ||
        tam::fx::anyAboveThreshold(pinOutRight.buffer + bufferOffset, sampleFrames))
        return;
    isStatic = true;
    setSubProcess(&SemLeslie::subProcessStatic);
    const int last = bufferOffset + sampleFrames - 1;
    pinOutLeft.setStreaming(false, last);
    pinOutRight.setStreaming(false, last);
}
