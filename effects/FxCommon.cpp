#include "effects/FxCommon.h"

#include "sound/tamPerimeterCurve.h"

namespace tam::fx {

const float* FxCurves::dbAdj = nullptr;
const float* FxCurves::sine = nullptr;

void FxCurves::BuildTableDbAdj() {
    PerimeterCurve::BuildTableDbAdj();
    dbAdj = PerimeterCurve::LookupTableDbAdj.GetData();
}

void FxCurves::BuildTableSin() {
    PerimeterCurve::BuildTableSin();
    sine = PerimeterCurve::LookupTableSin.GetData();
}

bool anyNonFinite(const float* values, int n) {
    bool bad = false;
    for (int i = 0; i < n; ++i) bad |= !std::isfinite(values[i]);
    return bad;
}

bool anyAboveThreshold(const float* values, int n) {
    bool loud = false;
    for (int i = 0; i < n; ++i) loud |= values[i] > kSilenceThreshold;
    return loud;
}

void FxBase::readHostSettings() {
    float rate = getSampleRate();
    if (!(rate >= 1.0f && rate <= 1.0e6f)) rate = 44100.0f;
    sampleRate = rate;
    const int block = getBlockSize();
    hostBlockSize = block > 0 ? block : 1;
}

}  // namespace tam::fx
