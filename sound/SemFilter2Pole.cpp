// State-variable filter, per stage and sample:
//   L = B f + L;  h = x - B q - L;  B = h f + B
// with the output L (low pass), h (high pass), B (band pass) or h + L
// (notch), fed on to the next stage. f is 2 pi fc / sr (not 2 sin(pi fc /
// sr)) and is bounded by a limit that falls with resonance, which keeps the
// loop stable.
#include "sound/SemFilter2Pole.h"

#include <cmath>

using namespace tam::filters;

void SemFilter2Pole::SharedTable::fill(float rate) {
    sampleRate = rate;
    for (int i = 0; i < kTableSize; ++i) {
        const double hz = std::min(rate * 0.5, 440.0 * std::exp2(i * 0.001953125 * 10.0 + 1.0 - 5.0));
        frequency[i] = static_cast<float>(hz * kTwoPi / rate);
        limit[i] = static_cast<float>((i * 0.009 + i * 2.5e-5 * i + 7.8) * 0.1);
    }
}

tam::RefObjArray<SemFilter2Pole::SharedTable>& SemFilter2Pole::sharedTables() {
    static tam::RefObjArray<SharedTable> tables;
    return tables;
}

SemFilter2Pole::SemFilter2Pole(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, signalIn);
    initializePin(1, responsePin);
    initializePin(2, stagesPin);
    initializePin(3, pitchIn);
    initializePin(4, resonanceIn);
    initializePin(5, output);
    initializePin(6, pitchModePin);
}

SemFilter2Pole::~SemFilter2Pole() { releaseSharedTable(sharedTables(), table); }

int32_t SemFilter2Pole::open() {
    sampleRate = usableSampleRate(getSampleRate());
    if (table == nullptr) table = acquireSharedTable<SharedTable>(sharedTables(), sampleRate);
    std::fill(std::begin(low), std::end(low), 0.0f);
    std::fill(std::begin(band), std::end(band), 0.0f);
    checkCounter = 0;
    staticFlag = false;
    return MpBase::open();
}

void SemFilter2Pole::process(int32_t count, const gmpi::MpEvent* events) {
    FlushToZeroScope flushToZero;
    MpBase::process(count, events);
}

float SemFilter2Pole::frequencyFor(float pitch) const {
    const int law = pitchLawOf(pitchModePin.getValue());
    if (law == kPitchVolts) return table->frequency[tableIndex(limitTo(pitch, 0.0f, 1.0f))];
    const double hz = law == kPitchLinear10k ? linearHz<kPitchLinear10k>(pitch) : linearHz<kPitchLinear10Hz>(pitch);
    return static_cast<float>(std::max(1e-5, std::min(sampleRate * 0.5, hz) * kTwoPi / sampleRate));
}

void SemFilter2Pole::resonanceFor(float resonance, float& damping, float& limit) const {
    damping = resonance < 0.0f ? 2.0f : 2.0f - 2.0f * std::min(0.9992f, resonance);
    limit = table->limit[tableIndex(limitTo(resonance, 0.0f, 0.9992f))];
}

void SemFilter2Pole::onSetPins() {
    // The state arrays hold four stages: further stages are limited to 0..3.
    stageCount = 1 + std::clamp(stagesPin.getValue(), 0, kMaxStages - 1);

    if (pitchIn.isUpdated() || pitchModePin.isUpdated()) f = frequencyFor(pitchIn.getValue());
    if (resonanceIn.isUpdated()) {
        resonanceFor(resonanceIn.getValue(), q, fmax);
        f = std::min(fmax, f);
    }

    output.setStreaming(true, -1);
    staticFlag = false;

    const bool modulated = pitchIn.isStreaming() || resonanceIn.isStreaming();
    // A response outside 0..3 keeps whatever routine ran before.
    switch (responsePin.getValue()) {
        case kLowPass:
            setSubProcess(modulated ? &SemFilter2Pole::subProcessLoPass : &SemFilter2Pole::subProcessLoPassFixed);
            break;
        case kHighPass:
            setSubProcess(modulated ? &SemFilter2Pole::subProcessHiPass : &SemFilter2Pole::subProcessHiPassFixed);
            break;
        case kBandPass:
            setSubProcess(modulated ? &SemFilter2Pole::subProcessBandPass : &SemFilter2Pole::subProcessBandPassFixed);
            break;
        case kNotch:
            setSubProcess(modulated ? &SemFilter2Pole::subProcessNotch : &SemFilter2Pole::subProcessNotchFixed);
            break;
        default:
            break;
    }

    if (!signalIn.isStreaming() && !pitchIn.isStreaming() && !resonanceIn.isStreaming()) {
        checkCounter = std::max(checkCounter, 2);
    }
}

// One state-variable step; returns the response's output.
template <int Response>
static inline float svfStep(float x, float f, float q, float& l, float& b) {
    l = b * f + l;
    const float h = x - b * q - l;
    b = h * f + b;
    if constexpr (Response == 0) {
        return l;
    } else if constexpr (Response == 1) {
        return h;
    } else if constexpr (Response == 2) {
        return b;
    } else {
        return h + l;
    }
}

template <int Response, int Stages>
void SemFilter2Pole::fixedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    f = std::min(fmax, f);
    const float frequencyCoefficient = f;
    const float damping = q;
    float l[Stages];
    float b[Stages];
    for (int s = 0; s < Stages; ++s) {
        l[s] = low[s];
        b[s] = band[s];
    }
    for (int i = 0; i < sampleFrames; ++i) {
        float x = in[i];
        for (int s = 0; s < Stages; ++s) x = svfStep<Response>(x, frequencyCoefficient, damping, l[s], b[s]);
        out[i] = x;
    }
    for (int s = 0; s < Stages; ++s) {
        low[s] = l[s];
        band[s] = b[s];
    }
    endOfRoutine(bufferOffset, sampleFrames);
}

template <int Response, int Law>
void SemFilter2Pole::modulatedKernel(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    const float* __restrict pitch = pitchIn.getBuffer() + bufferOffset;
    const float* __restrict resonance = resonanceIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float* __restrict frequencyTable = table->frequency;
    const float* __restrict limitTable = table->limit;
    const double rate = sampleRate;
    const int stages = stageCount;
    float frequencyCoefficient = std::min(fmax, f);
    float damping = q;
    float limit = fmax;
    float l[kMaxStages];
    float b[kMaxStages];
    for (int s = 0; s < kMaxStages; ++s) {
        l[s] = low[s];
        b[s] = band[s];
    }
    for (int i = 0; i < sampleFrames; ++i) {
        if constexpr (Law == kPitchVolts) {
            frequencyCoefficient = frequencyTable[tableIndex(limitTo(pitch[i], 0.0f, 1.0f))];
        } else {
            frequencyCoefficient =
                static_cast<float>(std::max(1e-5, std::min(rate * 0.5, linearHz<Law>(pitch[i])) * kTwoPi / rate));
        }
        const float r = resonance[i];
        damping = r < 0.0f ? 2.0f : 2.0f - 2.0f * std::min(0.9992f, r);
        limit = limitTable[tableIndex(limitTo(r, 0.0f, 0.9992f))];
        frequencyCoefficient = std::min(limit, frequencyCoefficient);
        float x = in[i];
        for (int s = 0; s < stages; ++s) x = svfStep<Response>(x, frequencyCoefficient, damping, l[s], b[s]);
        out[i] = x;
    }
    for (int s = 0; s < kMaxStages; ++s) {
        low[s] = l[s];
        band[s] = b[s];
    }
    f = frequencyCoefficient;
    q = damping;
    fmax = limit;
    endOfRoutine(bufferOffset, sampleFrames);
}

template <int Response>
void SemFilter2Pole::runFixed(int bufferOffset, int sampleFrames) {
    withStageCount(stageCount, [&](auto stages) { fixedKernel<Response, decltype(stages)::value>(bufferOffset, sampleFrames); });
}

template <int Response>
void SemFilter2Pole::runModulated(int bufferOffset, int sampleFrames) {
    withPitchLaw(pitchLawOf(pitchModePin.getValue()),
                 [&](auto law) { modulatedKernel<Response, decltype(law)::value>(bufferOffset, sampleFrames); });
}

void SemFilter2Pole::subProcessLoPass(int o, int n) { runModulated<kLowPass>(o, n); }
void SemFilter2Pole::subProcessHiPass(int o, int n) { runModulated<kHighPass>(o, n); }
void SemFilter2Pole::subProcessBandPass(int o, int n) { runModulated<kBandPass>(o, n); }
void SemFilter2Pole::subProcessNotch(int o, int n) { runModulated<kNotch>(o, n); }
void SemFilter2Pole::subProcessLoPassFixed(int o, int n) { runFixed<kLowPass>(o, n); }
void SemFilter2Pole::subProcessHiPassFixed(int o, int n) { runFixed<kHighPass>(o, n); }
void SemFilter2Pole::subProcessBandPassFixed(int o, int n) { runFixed<kBandPass>(o, n); }
void SemFilter2Pole::subProcessNotchFixed(int o, int n) { runFixed<kNotch>(o, n); }

void SemFilter2Pole::subProcessStatic(int bufferOffset, int sampleFrames) {
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float value = responsePin.getValue() != 0 ? 0.0f : low[0];
    std::fill(out, out + sampleFrames, value);
}

void SemFilter2Pole::endOfRoutine(int bufferOffset, int sampleFrames) {
    for (int s = 0; s < stageCount; ++s) {
        flushDenormal(low[s]);
        flushDenormal(band[s]);
    }
    if (checkCounter-- < 0) doCheck(bufferOffset + sampleFrames - 1);
}

void SemFilter2Pole::doCheck(int last) {
    for (int s = 0; s < stageCount; ++s) {
        clearIfNotFinite(low[s]);
        clearIfNotFinite(band[s]);
    }
    if (signalIn.isStreaming() || pitchIn.isStreaming() || resonanceIn.isStreaming()) {
        checkCounter = 50;
    } else {
        checkCounter = std::max(checkCounter, 1);
    }
    if (staticFlag || signalIn.isStreaming()) return;
    const int n = getBlockSize();
    // An empty closing slice has no last sample to look at.
    if (last < 0 || n < 1) return;

    const float* buffer = output.getBuffer();
    const float o = buffer[last];
    const float p = buffer[(last + n - 1) % n];
    if (o == p || std::fabs(band[0]) + std::fabs(low[0] - o) < 1e-6f) {
        low[0] = o;
        band[0] = 0.0f;
        staticFlag = true;
        setSubProcess(&SemFilter2Pole::subProcessStatic);
        output.setStreaming(false, last);
    }
}
