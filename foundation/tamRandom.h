// The pack's small random generators.
//
// tam::Random is one process-wide 48-bit linear congruential generator that
// starts at 1 (it gives instance groups their identity). Rand15 is the C
// library's rand() cut to the 15 bits that the pack's noise formulas assume.
#pragma once

#include <cstdint>

namespace tam {

class Random {
public:
    static Random& GetInstance();

    // One step: x = 25214903917 * state + 11, state = x to 48 bits, result =
    // the low 32 bits of x >> 16.
    int32_t NextInt();
    uint64_t GetState() const { return state; }
    void SetState(uint64_t value) { state = value & kMask; }

    // rand() & 0x7fff: 0 to 32767 on every C library.
    static int Rand15();

private:
    static constexpr uint64_t kMask = (1ull << 48) - 1;
    Random() = default;
    uint64_t state = 1;
};

}  // namespace tam
