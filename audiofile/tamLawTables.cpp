#include "audiofile/tamLawTables.h"

namespace {

constexpr short decodeUlaw(int code) {
    const int u = ~code & 0xFF;
    const int t = (((u & 0x0F) << 3) + 0x84) << ((u & 0x70) >> 4);
    return static_cast<short>((u & 0x80) ? (0x84 - t) : (t - 0x84));
}

constexpr short decodeAlaw(int code) {
    const int a = (code ^ 0x55) & 0xFF;
    int t = (a & 0x0F) << 4;
    const int segment = (a & 0x70) >> 4;
    if (segment == 0)
        t += 8;
    else
        t = (t + 0x108) << (segment - 1);
    return static_cast<short>((a & 0x80) ? t : -t);
}

// Magnitude in 14-bit units (16-bit value / 4), positive code.
constexpr unsigned char encodeUlaw(int magnitude) {
    int v = magnitude > 8159 ? 8159 : magnitude;
    v += 0x21;
    int segment = 0;
    while (segment < 8 && v >= (0x40 << segment)) ++segment;
    if (segment >= 8) return 0x80;
    const int u = (segment << 4) | ((v >> (segment + 1)) & 0x0F);
    return static_cast<unsigned char>(u ^ 0xFF);
}

// Magnitude in 12-bit units (16-bit value / 16), positive code.
constexpr unsigned char encodeAlaw(int magnitude) {
    const int v = magnitude * 2;  // 13-bit scale
    int segment = 0;
    while (segment < 8 && v >= (0x20 << segment)) ++segment;
    if (segment >= 8) return static_cast<unsigned char>(0x7F ^ 0xD5);
    int a = segment << 4;
    a |= segment < 2 ? (v >> 1) & 0x0F : (v >> segment) & 0x0F;
    return static_cast<unsigned char>(a ^ 0xD5);
}

}  // namespace

// The tables are constant data: the entries are expanded by macro so that the
// compiler evaluates them and places them in read-only memory.
#define TAM_X2(f, i) f(i), f((i) + 1)
#define TAM_X4(f, i) TAM_X2(f, i), TAM_X2(f, (i) + 2)
#define TAM_X8(f, i) TAM_X4(f, i), TAM_X4(f, (i) + 4)
#define TAM_X16(f, i) TAM_X8(f, i), TAM_X8(f, (i) + 8)
#define TAM_X32(f, i) TAM_X16(f, i), TAM_X16(f, (i) + 16)
#define TAM_X64(f, i) TAM_X32(f, i), TAM_X32(f, (i) + 32)
#define TAM_X128(f, i) TAM_X64(f, i), TAM_X64(f, (i) + 64)
#define TAM_X256(f, i) TAM_X128(f, i), TAM_X128(f, (i) + 128)
#define TAM_X512(f, i) TAM_X256(f, i), TAM_X256(f, (i) + 256)
#define TAM_X1024(f, i) TAM_X512(f, i), TAM_X512(f, (i) + 512)
#define TAM_X2048(f, i) TAM_X1024(f, i), TAM_X1024(f, (i) + 1024)
#define TAM_X4096(f, i) TAM_X2048(f, i), TAM_X2048(f, (i) + 2048)
#define TAM_X8192(f, i) TAM_X4096(f, i), TAM_X4096(f, (i) + 4096)

extern "C" {
const short DecodeUlawTable[256] = {TAM_X256(decodeUlaw, 0)};
const short DecodeAlawTable[256] = {TAM_X256(decodeAlaw, 0)};
const unsigned char EncodeUlawTable[8193] = {TAM_X8192(encodeUlaw, 0), encodeUlaw(8192)};
const unsigned char EncodeAlawTable[2049] = {TAM_X2048(encodeAlaw, 0), encodeAlaw(2048)};
}
