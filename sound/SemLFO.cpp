#include "sound/SemLFO.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/fastRound.h"
#include "sound/tamBlobWaveform.h"

namespace {

inline double unit(double v) { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }

constexpr int kGeneratorType[5] = {0, 2, 4, 3, 1};

constexpr double kDivisionMultiplier[11] = {16.0, 8.0, 4.0, 2.0, 1.0, 0.5, 0.333333333, 0.25, 0.125, 0.0625, 0.03125};

}  // namespace

SemLFO::SemLFO(gmpi::IMpUnknown* host) : MpBase(host) {
    initializePin(0, pinTempo);
    initializePin(1, pinSongPosition);
    initializePin(2, pinEnable);
    initializePin(3, pinNumerator);
    initializePin(4, pinDenominator);
    initializePin(5, pinTransport);
    initializePin(6, pinWaveform);
    initializePin(7, pinCustom);
    initializePin(8, pinCustomWave);
    initializePin(9, pinBarDivision);
    initializePin(10, pinLevel);
    initializePin(11, pinPhaseOffset);
    initializePin(12, pinSync);
    initializePin(13, pinOutput);
}

float SemLFO::rate() {
    const float r = getSampleRate();
    return (r > 0.0f && std::isfinite(r)) ? r : 44100.0f;
}

double SemLFO::calcBarDivide(int index, int numerator, int denominator) const {
    if (static_cast<unsigned>(index) > 10u)
        return 1.0;
    const double r = 1.0 / (static_cast<double>(std::max(numerator, 1)) / std::max(denominator, 1));
    return r * kDivisionMultiplier[index];
}

void SemLFO::onSetPins() {
    if (pinTempo.isUpdated())
        positionStep = static_cast<float>(pinTempo.getValue() / (rate() * 60.0f));
    if (pinSongPosition.isUpdated())
        position = pinSongPosition.getValue();
    if (pinWaveform.isUpdated() || pinCustom.isUpdated() || pinCustomWave.isUpdated()) {
        if (pinCustom.getValue()) {
            tam::Buffer<float> samples;
            if (BlobWaveform::Read(pinCustomWave.getValue(), &samples))
                table.BuildFromSamples(samples.GetData(), samples.GetSize());
        } else {
            const int waveform = pinWaveform.getValue();
            if (waveform >= 0 && waveform <= 4)
                table.BuildWaveform(kGeneratorType[waveform], tam::fastRoundHi(rate()), 20.0);
        }
    }
    if (pinBarDivision.isUpdated() || pinTempo.isUpdated() || pinNumerator.isUpdated() ||
        pinDenominator.isUpdated()) {
        double inc = pinTempo.getValue() /
                     (rate() * calcBarDivide(pinBarDivision.getValue(), pinNumerator.getValue(), pinDenominator.getValue()) *
                      60.0);
        // A negative, endless or whole-cycle step would carry the phase out of the table.
        if (!(inc >= 0.0) || !std::isfinite(inc))
            inc = 0.0;
        else if (inc >= 1.0)
            inc -= std::floor(inc);
        phaseIncrement = inc;
    }
    if (pinTransport.getValue() && pinEnable.getValue() && !table.IsEmpty()) {
        pinOutput.setStreaming(true, -1);
        setSubProcess(&SemLFO::subProcess);
    } else {
        pinOutput.setStreaming(false, -1);
        setSubProcess(&SemLFO::subProcessSilent);
    }
}

void SemLFO::subProcess(int bufferOffset, int sampleFrames) {
    float* __restrict out = pinOutput.getBuffer() + bufferOffset;
    const tam::WaveTable::Band* band = table.ChooseBand(phaseIncrement);
    if (band == nullptr) {
        std::memset(out, 0, sizeof(float) * static_cast<size_t>(sampleFrames));
        return;
    }
    const float* __restrict level = pinLevel.getBuffer() + bufferOffset;
    const float* __restrict offsets = pinPhaseOffset.getBuffer() + bufferOffset;
    const float* __restrict sync = pinSync.getBuffer() + bufferOffset;
    const float* __restrict data = band->data;
    const double size = band->size;
    const double inc = phaseIncrement;
    double ph = phase;
    bool memory = syncMemory;
    for (int i = 0; i < sampleFrames; ++i) {
        const bool s = sync[i] > 0.0f;
        const double base = (s && !memory) ? 0.0 : ph;
        double x = unit(offsets[i]) + base;
        if (x >= 1.0)
            x -= 1.0;
        out[i] = data[static_cast<int>(x * size)] * level[i];
        ph = base + inc;
        if (ph >= 1.0)
            ph -= 1.0;
        memory = s;
    }
    phase = ph;
    syncMemory = memory;
    position += static_cast<double>(positionStep) * sampleFrames;
}

void SemLFO::subProcessSilent(int bufferOffset, int sampleFrames) {
    std::memset(pinOutput.getBuffer() + bufferOffset, 0, sizeof(float) * static_cast<size_t>(sampleFrames));
}
