// G.711 companding tables, shared by every format that stores A-law or mu-law.
//
// Decode tables give the signed 16-bit linear value of each code byte. Encode
// tables give the code byte of a positive magnitude: 13-bit for mu-law
// (0..8192) and 12-bit for A-law (0..2048); the last entry is full scale. A
// negative sample takes the entry of its magnitude with the top bit cleared.
// They are exported from the pack for tools that want the same conversion.
#pragma once

#define TAM_LAW_EXPORT __attribute__((visibility("default")))

extern "C" {
TAM_LAW_EXPORT extern const short DecodeUlawTable[256];
TAM_LAW_EXPORT extern const short DecodeAlawTable[256];
TAM_LAW_EXPORT extern const unsigned char EncodeUlawTable[8193];
TAM_LAW_EXPORT extern const unsigned char EncodeAlawTable[2049];
}

namespace tam {
inline constexpr int kUlawEncodeLast = 8192;
inline constexpr int kAlawEncodeLast = 2048;
}  // namespace tam
