// The pack's one float-to-integer step.
//
// x is widened to double and 1.5 * 2^52 is added, which leaves x rounded to
// the nearest integer (ties to even) in the lower 32-bit word of the sum's
// IEEE-754 image. The upper word holds the sum's sign, exponent and top
// mantissa bits: 0x43380000 for any x from 0 up to 2^32, 0x4337FFFF for a
// small negative x.
//
// fastRoundHi() gives the lower word and is the form for every use where no
// clamp follows (table indices, rates, frame numbers, integer samples).
// fastRoundHiUpper() gives the upper word; it is used only where a clamp
// directly follows the step, so the clamp sees the out-of-range upper word
// (a VCA then takes its table's last entry, a float colour channel is 255).
// Call sites never pick words themselves.
#pragma once

#include <cstdint>
#include <cstring>

namespace tam {

struct FastRoundWords {
    int32_t lower;
    int32_t upper;
};

inline FastRoundWords fastRoundHiWords(double x) {
    const double biased = x + 6755399441055744.0;  // 1.5 * 2^52
    uint64_t image;
    std::memcpy(&image, &biased, sizeof image);
    return {static_cast<int32_t>(static_cast<uint32_t>(image)),
            static_cast<int32_t>(static_cast<uint32_t>(image >> 32))};
}

inline int32_t fastRoundHi(double x) { return fastRoundHiWords(x).lower; }

inline int32_t fastRoundHiUpper(double x) { return fastRoundHiWords(x).upper; }

}  // namespace tam

using tam::fastRoundHi;
using tam::fastRoundHiUpper;
