// One-pole filter: y = (y - x) * a + x, low pass y, high pass x - y. The
// coefficient comes from the shared table (volts per octave) or from exp of
// the linear pitch laws; the routines with a streaming pitch recompute it per
// sample.
#include "sound/SemFilter1Pole.h"

#include <cmath>

using namespace tam::filters;

void SemFilter1Pole::SharedTable::fill(float rate) {
    sampleRate = rate;
    for (int i = 0; i < kTableSize; ++i) {
        const double f = std::min(rate * 0.495, 440.0 * std::exp2(i * 0.001953125 * 10.0 + 1.0 - 5.0));
        values[i] = static_cast<float>(std::exp(f * (-kTwoPi / rate)));
    }
}

tam::RefObjArray<SemFilter1Pole::SharedTable>& SemFilter1Pole::sharedTables() {
    static tam::RefObjArray<SharedTable> tables;
    return tables;
}

SemFilter1Pole::SemFilter1Pole(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, signalIn);
    initializePin(1, modePin);
    initializePin(2, pitchIn);
    initializePin(3, output);
    initializePin(4, pitchModePin);
}

SemFilter1Pole::~SemFilter1Pole() { releaseSharedTable(sharedTables(), table); }

int32_t SemFilter1Pole::open() {
    sampleRate = usableSampleRate(getSampleRate());
    if (table == nullptr) table = acquireSharedTable<SharedTable>(sharedTables(), sampleRate);
    y = 0.0f;
    a = 0.0f;
    checkCounter = 0;
    staticFlag = false;
    return MpBase::open();
}

void SemFilter1Pole::process(int32_t count, const gmpi::MpEvent* events) {
    FlushToZeroScope flushToZero;
    MpBase::process(count, events);
}

float SemFilter1Pole::coefficientFor(float pitch) const {
    const int law = pitchLawOf(pitchModePin.getValue());
    if (law == kPitchVolts) return table->values[tableIndex(limitTo(pitch, 0.0f, 1.0f))];
    const double hz = law == kPitchLinear10k ? linearHz<kPitchLinear10k>(pitch) : linearHz<kPitchLinear10Hz>(pitch);
    return static_cast<float>(std::exp(-kTwoPi / sampleRate * std::min(sampleRate * 0.495, hz)));
}

void SemFilter1Pole::onSetPins() {
    if (pitchIn.isUpdated() || pitchModePin.isUpdated()) a = coefficientFor(pitchIn.getValue());

    output.setStreaming(true, -1);
    staticFlag = false;

    const bool highPass = modePin.getValue() != 0;
    if (pitchIn.isStreaming()) {
        setSubProcess(highPass ? &SemFilter1Pole::subProcessHiPass : &SemFilter1Pole::subProcessLoPass);
    } else {
        setSubProcess(highPass ? &SemFilter1Pole::subProcessHiPassFixed : &SemFilter1Pole::subProcessLoPassFixed);
    }

    if (!signalIn.isStreaming() && !pitchIn.isStreaming()) checkCounter = std::max(checkCounter, 2);
}

template <bool HighPass>
void SemFilter1Pole::runFixed(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float coefficient = a;
    float state = y;
    for (int i = 0; i < sampleFrames; ++i) {
        const float x = in[i];
        state = (state - x) * coefficient + x;
        out[i] = HighPass ? x - state : state;
    }
    y = state;
    endOfRoutine(bufferOffset, sampleFrames);
}

template <bool HighPass, int Law>
void SemFilter1Pole::runModulated(int bufferOffset, int sampleFrames) {
    const float* __restrict in = signalIn.getBuffer() + bufferOffset;
    const float* __restrict pitch = pitchIn.getBuffer() + bufferOffset;
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float* __restrict values = table->values;
    const double rate = sampleRate;
    const double maxHz = rate * 0.495;
    float coefficient = a;
    float state = y;
    for (int i = 0; i < sampleFrames; ++i) {
        if constexpr (Law == kPitchVolts) {
            coefficient = values[tableIndex(limitTo(pitch[i], 0.0f, 1.0f))];
        } else {
            coefficient = static_cast<float>(std::exp(-kTwoPi / rate * std::min(maxHz, linearHz<Law>(pitch[i]))));
        }
        const float x = in[i];
        state = (state - x) * coefficient + x;
        out[i] = HighPass ? x - state : state;
    }
    a = coefficient;
    y = state;
    endOfRoutine(bufferOffset, sampleFrames);
}

void SemFilter1Pole::subProcessLoPassFixed(int bufferOffset, int sampleFrames) { runFixed<false>(bufferOffset, sampleFrames); }

void SemFilter1Pole::subProcessHiPassFixed(int bufferOffset, int sampleFrames) { runFixed<true>(bufferOffset, sampleFrames); }

void SemFilter1Pole::subProcessLoPass(int bufferOffset, int sampleFrames) {
    withPitchLaw(pitchLawOf(pitchModePin.getValue()),
                 [&](auto law) { runModulated<false, decltype(law)::value>(bufferOffset, sampleFrames); });
}

void SemFilter1Pole::subProcessHiPass(int bufferOffset, int sampleFrames) {
    withPitchLaw(pitchLawOf(pitchModePin.getValue()),
                 [&](auto law) { runModulated<true, decltype(law)::value>(bufferOffset, sampleFrames); });
}

void SemFilter1Pole::subProcessStatic(int bufferOffset, int sampleFrames) {
    float* __restrict out = output.getBuffer() + bufferOffset;
    const float value = modePin.getValue() != 0 ? 0.0f : y;
    std::fill(out, out + sampleFrames, value);
}

void SemFilter1Pole::endOfRoutine(int bufferOffset, int sampleFrames) {
    flushDenormal(y);
    if (checkCounter-- < 0) doCheck(bufferOffset + sampleFrames - 1);
}

void SemFilter1Pole::doCheck(int last) {
    clearIfNotFinite(y);
    if (signalIn.isStreaming() || pitchIn.isStreaming()) {
        checkCounter = 50;
    } else {
        checkCounter = std::max(checkCounter, 1);
    }
    if (staticFlag) return;
    const int n = getBlockSize();
    // An empty closing slice has no last sample to look at.
    if (last < 0 || n < 1) return;
    const float input = signalIn.getValue(last);
    if (signalIn.isStreaming()) return;

    const float previous = output.getBuffer()[(last + n - 1) % n];
    if (y == previous || std::fabs(input - y) < 1e-6f) {
        y = input;
        staticFlag = true;
        setSubProcess(&SemFilter1Pole::subProcessStatic);
        output.setStreaming(false, last);
    }
}
