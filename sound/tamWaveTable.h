// Band-limited wave tables: one table per octave band, made from a harmonic
// recipe or from a user's samples, plus one-second noise tables. A player
// picks the first band whose upper limit lies above its phase increment.
#pragma once

#include "foundation/tamArray.h"

namespace tam {

// In-place forward complex transform, radix 2, decimation in time. Counts
// below 2 or not a power of two are left untouched.
void PerformFFT(int count, double* re, double* im);

class WaveTable {
public:
    struct Band {
        Band(float* table, int length, double limit) : upperLimit(limit), size(length), data(table) {}
        ~Band() { delete[] data; }
        Band(const Band&) = delete;
        Band& operator=(const Band&) = delete;

        double upperLimit;  // phase increment (cycles per sample) up to which it serves; 0 for noise
        int size;
        float* data;  // owned
    };

    WaveTable() = default;
    virtual ~WaveTable() = default;
    WaveTable(const WaveTable&) = delete;
    WaveTable& operator=(const WaveTable&) = delete;

    void Clear() { bands.Clear(true); }
    bool IsEmpty() const { return bands.GetCount() == 0; }
    int GetCount() const { return bands.GetCount(); }
    Band* GetBand(int index) const { return bands.Get(index); }

    // The band for a phase increment: the first whose limit lies above it,
    // else the last. Null when there are no bands.
    Band* ChooseBand(double increment) const {
        const int last = bands.GetCount() - 1;
        if (last < 0)
            return nullptr;
        int i = 0;
        while (i < last && increment >= bands.Get(i)->upperLimit)
            ++i;
        return bands.Get(i);
    }

    // Takes ownership of data; false (taking nothing) for a size below 1.
    bool Add(float* data, int size, double upperLimit);

    // Types 0-4 harmonic recipes (sine-like, pulse, falling ramp, triangle,
    // rising ramp), 5-8 white, pink, red and blue noise.
    void BuildWaveform(int type, int sampleRate, double lowestFrequency);
    // False for a count below 1 or not a power of two (the bands stay).
    bool BuildFromSamples(const float* samples, int count);

    double ProcessTable(int size, double gain, double upperLimit, double* re, double* im);
    void ProcessSamples(int count, double* re, double* im);
    virtual void OnGenerateTable(int type, int size, int harmonics, double* re, double* im);

    // Each writes exactly count floats.
    static void GenerateWhiteNoise(float* out, int count);
    static void GeneratePinkNoise(float* out, int count);
    static void GenerateRedNoise(float* out, int count);
    static void GenerateBlueNoise(float* out, int count);

    // Largest noise table and harmonic family accepted; beyond them the
    // table stays empty rather than exhausting memory.
    static constexpr int kMaxSampleRate = 1 << 22;
    static constexpr int kMaxHarmonics = 1 << 17;

private:
    PtrArray<Band> bands;
};

}  // namespace tam
