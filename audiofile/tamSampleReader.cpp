#include "audiofile/tamSampleReader.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "audiofile/tamAudioFile.h"
#include "audiofile/tamLawTables.h"

namespace tam {

namespace {

constexpr int kBufferBytes = 16384;
constexpr float kScale8 = 0.0078125f;      // 2^-7
constexpr float kScale16 = 3.0517578e-5f;  // 2^-15
constexpr float kScale32 = 4.656613e-10f;  // 2^-31

inline uint32_t load16(const unsigned char* p, bool big) {
    return big ? (uint32_t(p[0]) << 8) | p[1] : (uint32_t(p[1]) << 8) | p[0];
}
inline uint32_t load32(const unsigned char* p, bool big) {
    return big ? (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3]
               : (uint32_t(p[3]) << 24) | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
}
inline uint64_t load64(const unsigned char* p, bool big) {
    const uint64_t a = load32(p, big), b = load32(p + 4, big);
    return big ? (a << 32) | b : (b << 32) | a;
}

// The byte order is a template argument so that each pass runs one plain loop.
template <bool Big>
void convert16(const unsigned char* __restrict src, float* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) dst[i] = float(int16_t(load16(src + 2 * i, Big))) * kScale16;
}
template <bool Big>
void convert24(const unsigned char* __restrict src, float* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) {
        const unsigned char* p = src + 3 * i;
        const uint32_t word = Big ? (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8)
                                  : (uint32_t(p[2]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[0]) << 8);
        dst[i] = float(int32_t(word)) * kScale32;
    }
}
template <bool Big>
void convert32(const unsigned char* __restrict src, float* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) dst[i] = float(int32_t(load32(src + 4 * i, Big))) * kScale32;
}
template <bool Big>
void convertFloat(const unsigned char* __restrict src, float* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) {
        const uint32_t word = load32(src + 4 * i, Big);
        std::memcpy(dst + i, &word, 4);
    }
}
template <bool Big>
void convertDouble(const unsigned char* __restrict src, float* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) {
        const uint64_t word = load64(src + 8 * i, Big);
        double value;
        std::memcpy(&value, &word, 8);
        dst[i] = float(value);
    }
}

}  // namespace

SampleReader::SampleReader(Stream* s, bool big) : stream(s), bigEndian(big) {
    if (stream) stream->AddRef();
}

SampleReader::~SampleReader() {
    if (stream) stream->Release();
}

template <typename Convert>
long long SampleReader::ReadPasses(float* out, long long count, int itemSize, Convert convert) {
    if (count < 1 || !stream || !out) return 0;
    alignas(16) unsigned char buffer[kBufferBytes];
    const long long limit = kBufferBytes / itemSize;
    long long done = 0;
    while (done < count) {
        const long long want = std::min(count - done, limit);
        long long got = stream->Read(buffer, want, itemSize);
        got = std::clamp(got, 0LL, want);
        convert(buffer, out + done, got);
        done += got;
        if (got < want) break;
    }
    return done;
}

long long SampleReader::ReadPcmS8(float* out, long long count) {
    return ReadPasses(out, count, 1,
                      [](const unsigned char* __restrict src, float* __restrict dst, long long n) {
                          for (long long i = 0; i < n; ++i) dst[i] = float(int8_t(src[i])) * kScale8;
                      });
}

long long SampleReader::ReadPcmU8(float* out, long long count) {
    return ReadPasses(out, count, 1,
                      [](const unsigned char* __restrict src, float* __restrict dst, long long n) {
                          for (long long i = 0; i < n; ++i) dst[i] = float(int(src[i]) - 128) * kScale8;
                      });
}

long long SampleReader::ReadPcm16(float* out, long long count) {
    return bigEndian ? ReadPasses(out, count, 2, convert16<true>)
                     : ReadPasses(out, count, 2, convert16<false>);
}

long long SampleReader::ReadPcm24(float* out, long long count) {
    return bigEndian ? ReadPasses(out, count, 3, convert24<true>)
                     : ReadPasses(out, count, 3, convert24<false>);
}

long long SampleReader::ReadPcm32(float* out, long long count) {
    return bigEndian ? ReadPasses(out, count, 4, convert32<true>)
                     : ReadPasses(out, count, 4, convert32<false>);
}

long long SampleReader::ReadFloat(float* out, long long count) {
    if (bigEndian) return ReadPasses(out, count, 4, convertFloat<true>);
    if constexpr (std::endian::native == std::endian::little) {
        // The file's bytes are already the samples: read them in place, in the
        // same passes, and skip the copy through the stack buffer.
        if (count < 1 || !stream || !out) return 0;
        long long done = 0;
        while (done < count) {
            const long long want = std::min(count - done, 4096LL);
            const long long got = std::clamp(stream->Read(out + done, want, 4), 0LL, want);
            done += got;
            if (got < want) break;
        }
        return done;
    }
    return ReadPasses(out, count, 4, convertFloat<false>);
}

long long SampleReader::ReadDouble(float* out, long long count) {
    return bigEndian ? ReadPasses(out, count, 8, convertDouble<true>)
                     : ReadPasses(out, count, 8, convertDouble<false>);
}

long long SampleReader::ReadULaw(float* out, long long count) {
    return ReadPasses(out, count, 1,
                      [](const unsigned char* __restrict src, float* __restrict dst, long long n) {
                          for (long long i = 0; i < n; ++i)
                              dst[i] = float(DecodeUlawTable[src[i]]) * kScale16;
                      });
}

long long SampleReader::ReadALaw(float* out, long long count) {
    return ReadPasses(out, count, 1,
                      [](const unsigned char* __restrict src, float* __restrict dst, long long n) {
                          for (long long i = 0; i < n; ++i)
                              dst[i] = float(DecodeAlawTable[src[i]]) * kScale16;
                      });
}

long long SampleReader::Read(int sampleFormat, float* out, long long count) {
    switch (sampleFormat) {
        case kSamplePcmU8:
            return ReadPcmU8(out, count);
        case kSamplePcmS8:
            return ReadPcmS8(out, count);
        case kSamplePcm16:
            return ReadPcm16(out, count);
        case kSamplePcm24:
            return ReadPcm24(out, count);
        case kSamplePcm32:
            return ReadPcm32(out, count);
        case kSampleFloat:
            return ReadFloat(out, count);
        case kSampleDouble:
            return ReadDouble(out, count);
        case kSampleALaw:
            return ReadALaw(out, count);
        case kSampleULaw:
            return ReadULaw(out, count);
        default:
            return 0;
    }
}

}  // namespace tam
