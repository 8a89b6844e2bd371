#include "sound/tamPerimeterCurve.h"

#include <cmath>

namespace tam {

PerimeterCurve::LookupTable PerimeterCurve::LookupTableExp;
PerimeterCurve::LookupTable PerimeterCurve::LookupTableDb;
PerimeterCurve::LookupTable PerimeterCurve::LookupTableDbAdj;
PerimeterCurve::LookupTable PerimeterCurve::LookupTableSqr;
PerimeterCurve::LookupTable PerimeterCurve::LookupTableSin;

namespace {

constexpr float kStep = 0.001953125f;  // 1/512

// Allocates a zeroed table; false if it is already built or memory is short.
bool prepare(PerimeterCurve::LookupTable& table) {
    if (table.IsInitialized())
        return false;
    if (!table.SetSize(PerimeterCurve::TableSize))
        return false;
    table.Zero();
    return true;
}

}  // namespace

void PerimeterCurve::BuildTableExp() {
    if (!prepare(LookupTableExp))
        return;
    float* t = LookupTableExp.GetData();
    for (int i = 0; i < TableSize; ++i) {
        const float position = static_cast<float>(i) * kStep;
        t[i] = 1.0f + (1.0f - std::exp((1.0f - position) * -3.0f)) * -1.0523957f;
    }
    LookupTableExp.SetInitialized();
}

void PerimeterCurve::BuildTableDb() {
    if (!prepare(LookupTableDb))
        return;
    float* t = LookupTableDb.GetData();
    t[0] = 0.0f;
    for (int i = 1; i < TableSize; ++i) {
        float x = (static_cast<float>(i) * kStep - 1.0f) * 3.8888888f;
        if (x < -3.5f)
            x = (x + 3.5f) * 2.0f - 3.5f;  // steeper fall over the last stretch
        t[i] = std::pow(10.0f, x * 0.5f);
    }
    LookupTableDb.SetInitialized();
}

void PerimeterCurve::BuildTableDbAdj() {
    if (!prepare(LookupTableDbAdj))
        return;
    float* t = LookupTableDbAdj.GetData();
    // Entries 512 and 513 are left at zero: nothing reads past index 511.
    for (int i = 0; i < LookupSize; ++i)
        t[i] = std::pow(10.0f, 2.0f * static_cast<float>(i) * kStep - 1.0f);
    LookupTableDbAdj.SetInitialized();
}

void PerimeterCurve::BuildTableSqr() {
    if (!prepare(LookupTableSqr))
        return;
    float* t = LookupTableSqr.GetData();
    for (int i = 0; i < TableSize; ++i)
        t[i] = std::sqrt(static_cast<float>(i) * kStep);
    LookupTableSqr.SetInitialized();
}

void PerimeterCurve::BuildTableSin() {
    if (!prepare(LookupTableSin))
        return;
    float* t = LookupTableSin.GetData();
    for (int i = 0; i < TableSize; ++i)
        t[i] = std::sin(static_cast<float>(i) * 1.5707964f / 512.0f);
    LookupTableSin.SetInitialized();
}

}  // namespace tam
