// Response curves shared by every level-handling module: five process-wide
// tables of 514 floats (exponential, decibel, adjusted decibel, square root,
// quarter sine), each built on first use under a plain flag. The host opens
// modules one at a time, so the flag needs no lock.
#pragma once

#include "foundation/tamBuffer.h"
#include "frame/fastRound.h"

namespace tam {

class PerimeterCurve {
public:
    // Entries in each table; lookups use the first 512 (index 0 .. 511).
    static constexpr int TableSize = 514;
    static constexpr int LookupSize = 512;

    class LookupTable : public Buffer<float> {
    public:
        LookupTable() : Buffer<float>(0, 1) {}
        bool IsInitialized() const { return initialized; }
        void SetInitialized() { initialized = true; }

    private:
        bool initialized = false;
    };

    static LookupTable LookupTableExp;
    static LookupTable LookupTableDb;
    static LookupTable LookupTableDbAdj;
    static LookupTable LookupTableSqr;
    static LookupTable LookupTableSin;

    static void BuildTableExp();
    static void BuildTableDb();
    static void BuildTableDbAdj();
    static void BuildTableSqr();
    static void BuildTableSin();
};

// Where a curve lookup reads: the table and its entry count. A null table
// means the curve is missing (a custom curve that failed to load).
struct CurveTable {
    const float* table = nullptr;
    int size = 0;
};

// Index for a position in 0 .. last that has already been limited. The
// rounded word cannot pass `last` unless `last` itself lost precision as a
// float (custom curves of more than 2^24 points); the upper bound keeps even
// that read inside the table.
inline int curveIndex(float scaled, int last) {
    const int index = fastRoundHi(scaled);
    return index < last ? (index > 0 ? index : 0) : last;
}

// Limits a pan or mix position to 0 .. 1; NaN counts as 0 so that no lookup
// can leave the table.
inline float limitUnit(float t) {
    t = t > 0.0f ? t : 0.0f;
    return t < 1.0f ? t : 1.0f;
}

}  // namespace tam
