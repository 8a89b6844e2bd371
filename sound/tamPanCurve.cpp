#include "sound/tamPanCurve.h"

#include "sound/tamBlobCurve.h"

namespace tam {

void PanCurve::Change(const MpBlob& customCurve) {
    if (custom) {
        if (BlobCurve::Read(customCurve, &curveBuffer) && curveBuffer.GetSize() > 0) {
            table = curveBuffer.GetData();
            tableSize = curveBuffer.GetSize();
        } else {
            table = nullptr;
            tableSize = 0;
        }
        return;
    }
    PerimeterCurve::LookupTable& shared = curveType == 1 ? PerimeterCurve::LookupTableSin : PerimeterCurve::LookupTableSqr;
    table = shared.GetData();
    tableSize = PerimeterCurve::LookupSize;
}

void PanCurve::Calculate(float position, int scalePin) {
    // A higher position gives less of the first gain.
    const float t = limitUnit(Base(scalePin) - position);
    const float u = 1.0f - t;
    if (IsLinear()) {
        gain1 = t;
        gain2 = u;
        return;
    }
    if (table == nullptr)
        return;
    const float span = Span();
    const int last = Last();
    gain1 = table[curveIndex(t * span, last)];
    gain2 = table[curveIndex(u * span, last)];
}

}  // namespace tam
