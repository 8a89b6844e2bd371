// The grain reader that the pitch shifters share: a line written downwards,
// read by a pointer that moves at its own rate, with a second tap half a
// window away and a raised-cosine crossfade between the two.
#pragma once

#include <cmath>

namespace tam::fx {

// Three semitones upwards in 512 steps: entry i = 1.0594631^(i * 3 / 512).
extern float _pow3Table[512];
extern bool _intiedPow3table;
void BuildPow3Table();

inline constexpr int kGrainLineSize = 4096;

// Window size from its pin: 256, 512, 1024, 2048 or 4096 samples.
int grainWindowSize(float pin);

// window[i] = 0.5 - 0.5 cos(i * 2 pi / size), in double precision.
void buildGrainWindow(float* window, int size);

// One voice: moves p back by step (wrapping at size) and reads the line.
inline float grainVoice(const float* __restrict line, const float* __restrict window, float& p, float step,
                        int size, int mask, int half, int write) {
    p -= step;
    if (p < 0.0f) p += static_cast<float>(size);
    const int k = static_cast<int>(p);
    const float f = p - static_cast<float>(k);
    const int j = (k + 1) & mask;
    const float a = (line[j] - line[k]) * f + line[k];
    const int m = (j + half) & mask;
    const float b = (line[(m + 1) & mask] - line[m]) * f + line[m];
    return (a - b) * window[(j - write) & mask] + b;
}

}  // namespace tam::fx
