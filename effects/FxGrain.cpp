#include "effects/FxGrain.h"

#include "effects/FxCommon.h"

namespace tam::fx {

float _pow3Table[512];
bool _intiedPow3table = false;

// Filled on the first open of any pitch shifter; the host opens modules one
// at a time, so a plain flag suffices.
void BuildPow3Table() {
    if (_intiedPow3table) return;
    for (int i = 0; i < 512; ++i) _pow3Table[i] = std::pow(1.0594631f, static_cast<float>(i) * 3.0f / 512.0f);
    _intiedPow3table = true;
}

int grainWindowSize(float pin) { return 1 << (fastRoundHi(clampf(pin, 0.0f, 1.0f) * 4.0f) + 8); }

void buildGrainWindow(float* window, int size) {
    const double step = 6.28318530718 / size;
    for (int i = 0; i < size; ++i) window[i] = static_cast<float>(0.5 - 0.5 * std::cos(i * step));
}

}  // namespace tam::fx
