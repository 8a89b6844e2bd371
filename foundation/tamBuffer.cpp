// ByteBuffer: typed values at byte positions, for blobs on pins.
#include "foundation/tamBuffer.h"

namespace tam {

unsigned char* ByteBuffer::Reserve(int at, int length) {
    if (at < 0 || length < 1)
        return nullptr;
    const long long end = static_cast<long long>(at) + length;
    if (end > std::numeric_limits<int>::max())
        return nullptr;
    const int oldAllocated = allocated;
    if (!IncreaseAllocatedStorage(static_cast<int>(end)))
        return nullptr;
    // Bytes that no write has reached yet read as zero.
    if (allocated > oldAllocated)
        std::memset(data + oldAllocated, 0, static_cast<std::size_t>(allocated - oldAllocated));
    const long long grown = static_cast<long long>(size) + length;
    size = static_cast<int>(grown > allocated ? allocated : grown);
    return data + at;
}

void ByteBuffer::ReadBytes(int at, void* out, long long length) const {
    auto* target = static_cast<unsigned char*>(out);
    long long available = 0;
    // The block's whole extent is readable: a write past `size` leaves its
    // bytes beyond the counted size.
    if (at >= 0 && at < allocated && data)
        available = allocated - at;
    if (available > length)
        available = length;
    if (available > 0)
        std::memcpy(target, data + at, static_cast<std::size_t>(available));
    if (length > available)
        std::memset(target + available, 0, static_cast<std::size_t>(length - available));
}

void ByteBuffer::PutWord(int at, uint32_t word, bool big) {
    unsigned char* p = Reserve(at, 4);
    if (!p)
        return;
    for (int i = 0; i < 4; ++i) {
        const int shift = big ? 24 - 8 * i : 8 * i;
        p[i] = static_cast<unsigned char>(word >> shift);
    }
}

uint32_t ByteBuffer::GetWord(int at, bool big) const {
    unsigned char p[4];
    ReadBytes(at, p, 4);
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
        const int shift = big ? 24 - 8 * i : 8 * i;
        word |= static_cast<uint32_t>(p[i]) << shift;
    }
    return word;
}

void ByteBuffer::PutInt(int at, int value) { PutWord(at, static_cast<uint32_t>(value), bigEndian); }

void ByteBuffer::PutBool(int at, bool value) {
    if (unsigned char* p = Reserve(at, 1))
        *p = value ? 1 : 0;
}

void ByteBuffer::PutFloat(int at, float value) { PutWord(at, EncodeFloat(value), bigEndian); }

void ByteBuffer::PutMarker4(int at, unsigned int marker) { PutWord(at, marker, false); }

bool ByteBuffer::PutIntArray(int at, const int* values, int n) {
    if (n < 1 || !values || n > std::numeric_limits<int>::max() / 4)
        return false;
    if (unsigned char* p = Reserve(at, n * 4)) {
        for (int i = 0; i < n; ++i) {
            const uint32_t word = static_cast<uint32_t>(values[i]);
            for (int b = 0; b < 4; ++b)
                p[i * 4 + b] = static_cast<unsigned char>(word >> (bigEndian ? 24 - 8 * b : 8 * b));
        }
    }
    return true;
}

bool ByteBuffer::PutFloatArray(int at, const float* values, int n) {
    if (n < 1 || !values || n > std::numeric_limits<int>::max() / 4)
        return false;
    if (unsigned char* p = Reserve(at, n * 4)) {
        for (int i = 0; i < n; ++i) {
            uint32_t word;
            std::memcpy(&word, &values[i], 4);
            for (int b = 0; b < 4; ++b)
                p[i * 4 + b] = static_cast<unsigned char>(word >> (bigEndian ? 24 - 8 * b : 8 * b));
        }
    }
    return true;
}

bool ByteBuffer::PutBoolArray(int at, const bool* values, int n) {
    if (n < 1 || !values)
        return false;
    if (unsigned char* p = Reserve(at, n))
        for (int i = 0; i < n; ++i)
            p[i] = values[i] ? 1 : 0;
    return true;
}

bool ByteBuffer::PutText(int at, const wchar_t* text, int n) {
    if (n < 1 || !text || n > std::numeric_limits<int>::max() / 2)
        return false;
    if (unsigned char* p = Reserve(at, n * 2)) {
        for (int i = 0; i < n; ++i) {
            const uint32_t unit = static_cast<uint32_t>(text[i]) & 0xFFFF;
            p[i * 2] = static_cast<unsigned char>(bigEndian ? unit >> 8 : unit);
            p[i * 2 + 1] = static_cast<unsigned char>(bigEndian ? unit : unit >> 8);
        }
    }
    return true;
}

int ByteBuffer::GetInt(int at) const { return static_cast<int>(GetWord(at, bigEndian)); }

bool ByteBuffer::GetBool(int at) const {
    unsigned char b;
    ReadBytes(at, &b, 1);
    return b != 0;
}

float ByteBuffer::GetFloat(int at) const { return DecodeFloat(GetWord(at, bigEndian)); }

unsigned int ByteBuffer::GetMarker4(int at) const { return GetWord(at, false); }

bool ByteBuffer::GetIntArray(int at, int* values, int n) const {
    if (n < 1 || !values)
        return false;
    for (int i = 0; i < n; ++i)
        values[i] = static_cast<int>(GetWord(static_cast<int>(std::min<long long>(static_cast<long long>(at) + 4LL * i, std::numeric_limits<int>::max())), bigEndian));
    return true;
}

bool ByteBuffer::GetFloatArray(int at, float* values, int n) const {
    if (n < 1 || !values)
        return false;
    for (int i = 0; i < n; ++i) {
        const uint32_t word = GetWord(static_cast<int>(std::min<long long>(static_cast<long long>(at) + 4LL * i, std::numeric_limits<int>::max())), bigEndian);
        std::memcpy(&values[i], &word, 4);
    }
    return true;
}

bool ByteBuffer::GetBoolArray(int at, bool* values, int n) const {
    if (n < 1 || !values)
        return false;
    for (int i = 0; i < n; ++i)
        values[i] = GetBool(static_cast<int>(std::min<long long>(static_cast<long long>(at) + i, std::numeric_limits<int>::max())));
    return true;
}

bool ByteBuffer::GetText(int at, wchar_t* text, int n) const {
    if (n < 1 || !text)
        return false;
    for (int i = 0; i < n; ++i) {
        unsigned char p[2];
        ReadBytes(static_cast<int>(std::min<long long>(static_cast<long long>(at) + 2LL * i, std::numeric_limits<int>::max())), p, 2);
        text[i] = static_cast<wchar_t>(bigEndian ? (p[0] << 8 | p[1]) : (p[1] << 8 | p[0]));
    }
    return true;
}

// The buffer's own float format: IEEE single in layout, built from frexp.
// Exponents outside the normal range wrap in their 8 bits, and that is part
// of the format.
uint32_t ByteBuffer::EncodeFloat(float value) {
    if (value == 0.0f)
        return 0;
    if (!std::isfinite(value)) {
        // frexp has no exponent to give here; keep the IEEE image instead.
        uint32_t word;
        std::memcpy(&word, &value, 4);
        return word;
    }
    int exponent = 0;
    const double mantissa = std::frexp(std::fabs(static_cast<double>(value)), &exponent);
    const uint32_t bits = static_cast<uint32_t>(static_cast<long long>(mantissa * 16777216.0)) & 0x7FFFFFu;
    uint32_t word = (static_cast<uint32_t>(exponent + 126) & 0xFFu) << 23 | bits;
    if (value < 0.0f)
        word |= 0x80000000u;
    return word;
}

float ByteBuffer::DecodeFloat(uint32_t word) {
    const uint32_t bits = word & 0x7FFFFFu;
    const int exponent = static_cast<int>((word >> 23) & 0xFFu);
    if (bits == 0 && exponent == 0)
        return 0.0f;
    float value = static_cast<float>(bits | 0x800000u) * (1.0f / 8388608.0f);
    if (word & 0x80000000u)
        value = -value;
    const int distance = exponent >= 127 ? exponent - 127 : 127 - exponent;
    // The shift wraps modulo 32 and 1 << 31 is the negative int32 minimum.
    const int32_t factor = static_cast<int32_t>(1u << (distance & 31));
    if (exponent >= 127)
        value *= static_cast<float>(factor);
    else
        value /= static_cast<float>(factor);
    return value;
}

}  // namespace tam
