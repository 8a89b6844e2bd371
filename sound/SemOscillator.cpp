#include "sound/SemOscillator.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/tamRandom.h"
#include "frame/fastRound.h"
#include "sound/tamBlobWaveform.h"

namespace {

// Limits to 0 .. 1; NaN becomes 0 so that it can never reach an index.
inline double unit(double v) { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }

float frequencyTable[SemOscillator::kFrequencyTableSize];
bool frequencyTableReady = false;

// Generator type for each waveform number.
constexpr int kGeneratorType[9] = {0, 2, 4, 3, 1, 5, 6, 7, 8};

// Phase increment for a pitch value; Mode 0 volts per octave, 1 linear to
// 20 kHz, 2 linear in tens of Hz.
template <int Mode>
inline double incrementFor(double pitch, double rate) {
    if constexpr (Mode == 0) {
        const double q = unit((pitch + 1.0) * 0.5);
        const double f = frequencyTable[tam::fastRoundHi(q * 32767.0)] * 0.5;
        return unit(f / rate);
    } else if constexpr (Mode == 1) {
        const double p = pitch > 0.0 ? (pitch < 2.0 ? pitch : 2.0) : 0.0;
        double inc = p * 10000.0 / rate;
        // Only at rates below 20 kHz: a whole-cycle step would let the phase run away.
        if (inc >= 1.0)
            inc -= std::floor(inc);
        return inc;
    } else {
        return unit(pitch * 10.0 / rate);
    }
}

// The bands of a table copied into locals for the per-sample band search.
struct BandSet {
    static constexpr int kMax = 40;  // families have at most about 20 bands
    int last = -1;
    double limit[kMax];
    double size[kMax];
    const float* data[kMax];

    explicit BandSet(const tam::WaveTable& table) {
        const int count = std::min(table.GetCount(), kMax);
        for (int i = 0; i < count; ++i) {
            const tam::WaveTable::Band* band = table.GetBand(i);
            limit[i] = band->upperLimit;
            size[i] = band->size;
            data[i] = band->data;
        }
        last = count - 1;
    }
    int choose(double increment) const {
        int i = 0;
        while (i < last && increment >= limit[i])
            ++i;
        return i;
    }
};

inline void clearOutput(float* out, int n) { std::memset(out, 0, sizeof(float) * static_cast<size_t>(n)); }

}  // namespace

tam::RefObjArray<SemOscillator::SharedTable>& SemOscillator::SharedTables() {
    static tam::RefObjArray<SharedTable> tables;
    return tables;
}

const float* SemOscillator::FrequencyTable() {
    if (!frequencyTableReady) {
        for (int i = -16384; i <= 16385; ++i)
            frequencyTable[i + 16384] = static_cast<float>(440.0 * std::exp2(i * 6.1035156e-5 * 10.0 + 1.0 - 5.0));
        frequencyTableReady = true;
    }
    return frequencyTable;
}

SemOscillator::SemOscillator(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinEnable);
    initializePin(1, pinWaveform);
    initializePin(2, pinCustom);
    initializePin(3, pinCustomWave);
    initializePin(4, pinLevel);
    initializePin(5, pinPitch);
    initializePin(6, pinPhaseOffset);
    initializePin(7, pinPulseWidth);
    initializePin(8, pinSync);
    initializePin(9, pinOutput);
    initializePin(10, pinPitchMode);
    initializePin(11, pinTableName);
    initializePin(12, pinTableBuilder);
}

SemOscillator::~SemOscillator() {
    if (shared != nullptr) {
        SharedTable* table = shared;
        shared = nullptr;
        // Held by the list alone: the last instance has gone.
        if (table->Release() == 1)
            SharedTables().RemoveObject(table);
    }
}

int32_t SemOscillator::open() {
    sampleRate = getSampleRate();
    if (!(sampleRate > 0.0f) || !std::isfinite(sampleRate))
        sampleRate = 44100.0f;  // a host without a rate must not divide by zero
    if (getHost() != nullptr)
        getHost()->getHandle(handle);
    FrequencyTable();
    return MpPluginBase::open();
}

void SemOscillator::onIntiSharedTable() {
    const tam::String name(pinTableName.getValue().c_str());
    void* block = nullptr;
    int32_t needsInit = 0;
    if (getHost() != nullptr &&
        getHost()->requestSharedBlock(L"TamOscillatorInstanceId", &block, 4, &needsInit, -1.0f) == MP_OK &&
        block != nullptr) {
        instanceId = static_cast<int32_t*>(block);
    } else {
        // No block: this instance is a group of its own.
        instanceId = &ownInstanceId;
        needsInit = 1;
    }
    if (needsInit == 1)
        *instanceId = tam::Random::GetInstance().NextInt();

    auto& tables = SharedTables();
    for (int i = 0; i < tables.GetCount(); ++i) {
        SharedTable* entry = tables[i];
        const bool byName = !entry->name.IsEmpty() && entry->instanceId == *instanceId && entry->name == name;
        if (byName || (entry->instanceId == *instanceId && entry->handle == handle)) {
            entry->AddRef();
            shared = entry;
            break;
        }
    }
    if (shared == nullptr) {
        shared = new SharedTable(*instanceId, handle, name);  // this module's reference
        tables.Add(shared);                                   // and the list's
    }
    tableReady = true;
}

void SemOscillator::rebuildTable() {
    if (shared == nullptr)
        return;
    if (pinCustom.getValue()) {
        tam::Buffer<float> samples;
        if (BlobWaveform::Read(pinCustomWave.getValue(), &samples))
            shared->table.BuildFromSamples(samples.GetData(), samples.GetSize());
        return;
    }
    const int waveform = pinWaveform.getValue();
    if (waveform < 0 || waveform > 8)
        return;
    shared->table.BuildWaveform(kGeneratorType[waveform], tam::fastRoundHi(sampleRate), 20.0);
}

void SemOscillator::onSetPins() {
    if (!tableReady)
        onIntiSharedTable();

    if ((pinWaveform.isUpdated() || pinCustom.isUpdated() || pinCustomWave.isUpdated() ||
         pinTableBuilder.isUpdated()) &&
        (pinTableName.getValue().empty() || pinTableBuilder.getValue()))
        rebuildTable();

    const int mode = pinPitchMode.getValue();
    if (pinPitch.isUpdated() || pinPitchMode.isUpdated()) {
        const double p = pinPitch.getValue();
        increment = mode == 0 ? incrementFor<0>(p, sampleRate)
                  : mode == 1 ? incrementFor<1>(p, sampleRate)
                              : incrementFor<2>(p, sampleRate);
    }
    if (pinPhaseOffset.isUpdated())
        phaseOffset = unit(pinPhaseOffset.getValue());
    if (pinPulseWidth.isUpdated())
        pulseWidth = unit(pinPulseWidth.getValue());

    if (!pinEnable.getValue()) {
        pinOutput.setStreaming(false, -1);
        setSubProcess(&SemOscillator::subProcessSilent);
        return;
    }
    pinOutput.setStreaming(true, -1);
    const int waveform = pinWaveform.getValue();
    if (shared == nullptr || shared->table.IsEmpty()) {
        setSubProcess(&SemOscillator::subProcessSilent);
    } else if (waveform < 4) {
        if (!pinPitch.isStreaming() && !pinPhaseOffset.isStreaming())
            setSubProcess(&SemOscillator::subProcessFixed);
        else if (mode == 0)
            setSubProcess(&SemOscillator::subProcessAll<0>);
        else if (mode == 1)
            setSubProcess(&SemOscillator::subProcessAll<1>);
        else
            setSubProcess(&SemOscillator::subProcessAll<2>);
    } else if (waveform == 4) {
        if (!pinPitch.isStreaming() && !pinPhaseOffset.isStreaming() && !pinPulseWidth.isStreaming())
            setSubProcess(&SemOscillator::subProcessFixedPulse);
        else if (mode == 0)
            setSubProcess(&SemOscillator::subProcessAllPulse<0>);
        else if (mode == 1)
            setSubProcess(&SemOscillator::subProcessAllPulse<1>);
        else
            setSubProcess(&SemOscillator::subProcessAllPulse<2>);
    } else {
        setSubProcess(&SemOscillator::subProcessNoise);
    }
}

void SemOscillator::subProcessSilent(int bufferOffset, int sampleFrames) {
    clearOutput(pinOutput.getBuffer() + bufferOffset, sampleFrames);
}

void SemOscillator::subProcessFixed(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const tam::WaveTable::Band* band = shared->table.ChooseBand(increment);
    if (band == nullptr) {  // another voice emptied the shared table
        clearOutput(out, sampleFrames);
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict sync = pinSync.getBuffer() + bufferOffset;
    const float* __restrict data = band->data;
    const double size = band->size;
    const double inc = increment;
    const double offset = phaseOffset;
    double ph = phase;
    bool memory = syncMemory;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool s = sync[i] > 0.0f;
        const double base = (s && !memory) ? 0.0 : ph;
        double x = base + offset;
        if (x >= 1.0)
            x -= 1.0;
        out[i] = data[static_cast<int>(size * x)] * level[i];
        ph = base + inc;
        if (ph >= 1.0)
            ph -= 1.0;
        memory = s;
    }
    phase = ph;
    syncMemory = memory;
}

template <int Mode>
void SemOscillator::subProcessAll(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const BandSet bands(shared->table);
    if (bands.last < 0) {
        clearOutput(out, sampleFrames);
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict pitch = pinPitch.getBuffer() + bufferOffset;
    const float* __restrict offsets = pinPhaseOffset.getBuffer() + bufferOffset;
    const float* __restrict sync = pinSync.getBuffer() + bufferOffset;
    const double rate = sampleRate;
    double ph = phase;
    double inc = increment;
    double offset = phaseOffset;
    bool memory = syncMemory;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool s = sync[i] > 0.0f;
        const double base = (s && !memory) ? 0.0 : ph;
        inc = incrementFor<Mode>(pitch[i], rate);
        const int b = bands.choose(inc);
        offset = unit(offsets[i]);
        double x = base + offset;
        if (x >= 1.0)
            x -= 1.0;
        out[i] = bands.data[b][static_cast<int>(bands.size[b] * x)] * level[i];
        ph = base + inc;
        if (ph >= 1.0)
            ph -= 1.0;
        memory = s;
    }
    phase = ph;
    increment = inc;
    phaseOffset = offset;
    syncMemory = memory;
}

void SemOscillator::subProcessFixedPulse(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const tam::WaveTable::Band* band = shared->table.ChooseBand(increment);
    if (band == nullptr) {
        clearOutput(out, sampleFrames);
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict sync = pinSync.getBuffer() + bufferOffset;
    const float* __restrict data = band->data;
    const double size = band->size;
    const double inc = increment;
    const double offset = phaseOffset;
    const double width = pulseWidth;
    double ph = phase;
    bool memory = syncMemory;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool s = sync[i] > 0.0f;
        const double base = (s && !memory) ? 0.0 : ph;
        double x1 = base + offset;
        if (x1 >= 1.0)
            x1 -= 1.0;
        double x2 = x1 + width;
        if (x2 >= 1.0)
            x2 -= 1.0;
        const float lv = level[i];
        out[i] = (data[static_cast<int>(x1 * size)] * lv) * 0.6f - (lv * data[static_cast<int>(x2 * size)]) * 0.6f;
        ph = base + inc;
        if (ph >= 1.0)
            ph -= 1.0;
        memory = s;
    }
    phase = ph;
    syncMemory = memory;
}

template <int Mode>
void SemOscillator::subProcessAllPulse(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const BandSet bands(shared->table);
    if (bands.last < 0) {
        clearOutput(out, sampleFrames);
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict pitch = pinPitch.getBuffer() + bufferOffset;
    const float* __restrict offsets = pinPhaseOffset.getBuffer() + bufferOffset;
    const float* __restrict widths = pinPulseWidth.getBuffer() + bufferOffset;
    const float* __restrict sync = pinSync.getBuffer() + bufferOffset;
    const double rate = sampleRate;
    double ph = phase;
    double inc = increment;
    double offset = phaseOffset;
    double width = pulseWidth;
    bool memory = syncMemory;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool s = sync[i] > 0.0f;
        const double base = (s && !memory) ? 0.0 : ph;
        inc = incrementFor<Mode>(pitch[i], rate);
        const int b = bands.choose(inc);
        offset = unit(offsets[i]);
        width = unit(widths[i]);
        double x1 = base + offset;
        if (x1 >= 1.0)
            x1 -= 1.0;
        double x2 = x1 + width;
        if (x2 >= 1.0)
            x2 -= 1.0;
        const float lv = level[i];
        const double size = bands.size[b];
        const float* data = bands.data[b];
        out[i] = (data[static_cast<int>(x1 * size)] * lv) * 0.6f - (lv * data[static_cast<int>(x2 * size)]) * 0.6f;
        ph = base + inc;
        if (ph >= 1.0)
            ph -= 1.0;
        memory = s;
    }
    phase = ph;
    increment = inc;
    phaseOffset = offset;
    pulseWidth = width;
    syncMemory = memory;
}

void SemOscillator::subProcessNoise(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const tam::WaveTable::Band* band = shared->table.GetCount() > 0 ? shared->table.GetBand(0) : nullptr;
    if (band == nullptr) {
        clearOutput(out, sampleFrames);
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict data = band->data;
    const int size = band->size;
    int position = noisePosition < size ? noisePosition : 0;  // the table may have shrunk
    for (int i = 0; i < sampleFrames; ++i) {
        out[i] = data[position] * level[i];
        if (++position >= size)
            position = 0;
    }
    noisePosition = position;
}

template void SemOscillator::subProcessAll<0>(int, int);
template void SemOscillator::subProcessAll<1>(int, int);
template void SemOscillator::subProcessAll<2>(int, int);
template void SemOscillator::subProcessAllPulse<0>(int, int);
template void SemOscillator::subProcessAllPulse<1>(int, int);
template void SemOscillator::subProcessAllPulse<2>(int, int);
