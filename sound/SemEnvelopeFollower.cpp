#include "sound/SemEnvelopeFollower.h"

#include <cmath>

namespace {

// The output rises past the level by at most this many samples of ramp.
constexpr int kRampLimit = 50;
constexpr float kSilence = 5e-6f;

inline float notNegative(float v) { return v > 0.0f ? v : 0.0f; }  // NaN counts as 0

}  // namespace

SemEnvelopeFollower::SemEnvelopeFollower(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinSignal);
    initializePin(1, pinAttack);
    initializePin(2, pinDecay);
    initializePin(3, pinDetection);
    initializePin(4, pinOutput);
}

SemEnvelopeFollower::~SemEnvelopeFollower() {
    delete[] squares;
    delete[] rmsRing;
}

int32_t SemEnvelopeFollower::open() {
    if (host != nullptr) host->getSampleRate(sampleRate);
    ringLength = RingLength;
    if (squares == nullptr) squares = new float[RingLength];
    if (rmsRing == nullptr) rmsRing = new float[RingLength];
    resetRings();
    return MpPluginBase::open();
}

void SemEnvelopeFollower::resetRings() {
    for (int i = 0; i < RingLength; ++i) {
        squares[i] = 0.0f;
        rmsRing[i] = floorLevel;
    }
    sumOfSquares = 0.0f;
    ringPosition = 0;
    lastOutput = 0.0f;
}

float SemEnvelopeFollower::attackFactorFor(float attack) const {
    return std::exp(-std::log(floorLevel) / (notNegative(attack) * sampleRate + 0.5f));
}

float SemEnvelopeFollower::decayFactorFor(float decay) const {
    return std::exp(std::log(floorLevel) / (notNegative(decay * 10.0f) * sampleRate + 0.5f));
}

void SemEnvelopeFollower::onSetPins() {
    if (pinAttack.isUpdated()) attackFactor = attackFactorFor(pinAttack.getValue());
    if (pinDecay.isUpdated()) decayFactor = decayFactorFor(pinDecay.getValue());
    pinOutput.setStreaming(true);
    isStatic = false;
    const bool peak = pinDetection.getValue() == 1;
    const bool fixed = !pinAttack.isStreaming() && !pinDecay.isStreaming();
    if (fixed)
        setSubProcess(peak ? static_cast<SubProcess_ptr>(&SemEnvelopeFollower::subProcessFixed<true>)
                           : static_cast<SubProcess_ptr>(&SemEnvelopeFollower::subProcessFixed<false>));
    else
        setSubProcess(peak ? static_cast<SubProcess_ptr>(&SemEnvelopeFollower::subProcess<true>)
                           : static_cast<SubProcess_ptr>(&SemEnvelopeFollower::subProcess<false>));
}

void SemEnvelopeFollower::onPreSeed(const float* samples, int count) {
    // Only at the start of a sound; these samples pass the rings again in
    // the main loop.
    if (lastOutput != 0.0f) return;
    const int n = count < RingLength ? count : RingLength;
    float sum = sumOfSquares;
    int pos = ringPosition;
    for (int i = 0; i < n; ++i) {
        const float square = samples[i] * samples[i];
        sum -= squares[pos];
        squares[pos] = square;
        sum += square;
        rmsRing[pos] = std::sqrt(notNegative(sum / 100.0f));
        pos = pos + 1 < RingLength ? pos + 1 : 0;
    }
    sumOfSquares = sum;
    ringPosition = pos;
}

template <bool PEAK, bool STREAMING>
void SemEnvelopeFollower::follow(int bufferOffset, int sampleFrames, const float* attack,
                                 const float* decay) {
    const float* signal = pinSignal.getBuffer() + bufferOffset;
    float* out = pinOutput.getBuffer();  // indexed from the block's start: the ramp reaches back
    onPreSeed(signal, sampleFrames);
    float attackF = attackFactor;
    float decayF = decayFactor;
    const float minimum = floorLevel;
    float last = lastOutput;
    float sum = sumOfSquares;
    int pos = ringPosition;
    float* __restrict sq = squares;
    float* __restrict rms = rmsRing;
    for (int j = 0; j < sampleFrames; ++j) {
        const int i = bufferOffset + j;
        if constexpr (STREAMING) {
            attackF = attackFactorFor(attack[j]);
            decayF = decayFactorFor(decay[j]);
        }
        const float x = signal[j];
        sum -= sq[pos];
        sq[pos] = x * x;
        sum += x * x;
        // Rounding can leave the sum a hair below 0 after a loud passage.
        const float r = std::sqrt(notNegative(sum / 100.0f));
        rms[pos] = r;
        pos = pos + 1 < RingLength ? pos + 1 : 0;

        float level = r;
        if constexpr (PEAK) {
            level = 0.0f;
            for (int k = 0; k < RingLength; ++k) level = sq[k] > level ? sq[k] : level;
        }

        const float fallen = last * decayF;
        const float fall = fallen > minimum ? fallen : minimum;
        if (fall > level) {
            out[i] = fall;
        } else if (last * attackF > level) {
            out[i] = level;
        } else {
            // The rise is steeper than the attack allows: ramp back from it.
            const int n = i < kRampLimit ? i : kRampLimit;
            float v = level / attackF;
            int k = 1;
            bool done = false;
            while (k <= n - 2) {
                if (!(v > out[i - k])) {
                    out[i] = level;
                    done = true;
                    break;
                }
                out[i - k] = v;
                v = v / attackF;
                ++k;
            }
            if (!done) {
                if (n <= 1) {
                    out[i] = level;
                } else {
                    const float b = out[i - k];
                    if (!(v > b)) {
                        out[i] = level;
                    } else {
                        float step = b;
                        for (int m = 1; m <= n - 1; ++m) {
                            step *= attackF;
                            out[i - k + m] = step;
                        }
                    }
                }
            }
        }
        last = out[i];
    }
    lastOutput = last;
    sumOfSquares = sum;
    ringPosition = pos;
    if constexpr (STREAMING) {
        attackFactor = attackF;
        decayFactor = decayF;
    }
    if (checkCounter-- < 0) doCheck(bufferOffset, sampleFrames);
}

template <bool PEAK>
void SemEnvelopeFollower::subProcessFixed(int bufferOffset, int sampleFrames) {
    follow<PEAK, false>(bufferOffset, sampleFrames, nullptr, nullptr);
}

template <bool PEAK>
void SemEnvelopeFollower::subProcess(int bufferOffset, int sampleFrames) {
    follow<PEAK, true>(bufferOffset, sampleFrames, pinAttack.getBuffer() + bufferOffset,
                       pinDecay.getBuffer() + bufferOffset);
}

template void SemEnvelopeFollower::subProcessFixed<false>(int, int);
template void SemEnvelopeFollower::subProcessFixed<true>(int, int);
template void SemEnvelopeFollower::subProcess<false>(int, int);
template void SemEnvelopeFollower::subProcess<true>(int, int);

void SemEnvelopeFollower::subProcessStatic(int bufferOffset, int sampleFrames) {
    float* out = pinOutput.getBuffer() + bufferOffset;
    for (int i = 0; i < sampleFrames; ++i) out[i] = 0.0f;
}

void SemEnvelopeFollower::doCheck(int bufferOffset, int sampleFrames) {
    const float rate = sampleRate > 0.0f && sampleRate < 1e9f ? sampleRate : 0.0f;
    checkCounter = static_cast<int>(rate) / (sampleFrames > 0 ? sampleFrames : 1);
    // A NaN or infinite input poisons the running sum for good: start over.
    if (!std::isfinite(sumOfSquares) || !std::isfinite(lastOutput)) resetRings();
    if (isStatic || pinSignal.isStreaming()) return;
    const float* out = pinOutput.getBuffer() + bufferOffset;
    for (int i = 0; i < sampleFrames; ++i)
        if (out[i] > kSilence) return;
    isStatic = true;
    setSubProcess(static_cast<SubProcess_ptr>(&SemEnvelopeFollower::subProcessStatic));
    pinOutput.setStreaming(false, bufferOffset + sampleFrames - 1);
}
