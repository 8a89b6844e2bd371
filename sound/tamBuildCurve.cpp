#include "sound/tamBuildCurve.h"

#include <algorithm>

#include "sound/tamBlobCurve.h"
#include "sound/tamPerimeterCurve.h"

using tam::PerimeterCurve;

MpBlob BuildCurveToBlob(int curve) {
    constexpr int points = PerimeterCurve::LookupSize;
    float values[points];
    const float* table = nullptr;
    switch (std::clamp(curve, 0, 5)) {
        case 1:
            PerimeterCurve::BuildTableExp();
            table = PerimeterCurve::LookupTableExp.GetData();
            break;
        case 2:
            PerimeterCurve::BuildTableDb();
            table = PerimeterCurve::LookupTableDb.GetData();
            break;
        case 3:
            PerimeterCurve::BuildTableDbAdj();
            table = PerimeterCurve::LookupTableDbAdj.GetData();
            break;
        case 4:
            PerimeterCurve::BuildTableSin();
            table = PerimeterCurve::LookupTableSin.GetData();
            break;
        case 5:
            PerimeterCurve::BuildTableSqr();
            table = PerimeterCurve::LookupTableSqr.GetData();
            break;
        default:
            break;
    }
    for (int i = 0; i < points; ++i)
        values[i] = table != nullptr ? table[i] : static_cast<float>(i) * 0.001953125f;
    return BlobCurve::Create(values, points);
}
