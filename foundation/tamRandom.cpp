#include "foundation/tamRandom.h"

#include <cstdlib>

namespace tam {

Random& Random::GetInstance() {
    static Random instance;
    return instance;
}

int32_t Random::NextInt() {
    const uint64_t x = 25214903917ull * state + 11ull;  // wraps in 64 bits on purpose
    state = x & kMask;
    return static_cast<int32_t>(static_cast<uint32_t>(x >> 16));
}

int Random::Rand15() { return std::rand() & 0x7fff; }

}  // namespace tam
