#include "audiofile/tamSampleWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "audiofile/tamAudioFile.h"
#include "audiofile/tamLawTables.h"
#include "frame/fastRound.h"

namespace tam {

namespace {

constexpr int kBufferBytes = 16384;

inline void store16(unsigned char* p, uint32_t v, bool big) {
    if (big) {
        p[0] = uint8_t(v >> 8);
        p[1] = uint8_t(v);
    } else {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
    }
}
inline void store24(unsigned char* p, uint32_t v, bool big) {
    if (big) {
        p[0] = uint8_t(v >> 16);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v);
    } else {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v >> 16);
    }
}
inline void store32(unsigned char* p, uint32_t v, bool big) {
    if (big) {
        p[0] = uint8_t(v >> 24);
        p[1] = uint8_t(v >> 16);
        p[2] = uint8_t(v >> 8);
        p[3] = uint8_t(v);
    } else {
        p[0] = uint8_t(v);
        p[1] = uint8_t(v >> 8);
        p[2] = uint8_t(v >> 16);
        p[3] = uint8_t(v >> 24);
    }
}

template <bool Big>
void convert16(const float* __restrict src, unsigned char* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i)
        store16(dst + 2 * i, uint32_t(fastRoundHi(double(src[i]) * 32767.0)), Big);
}
template <bool Big>
void convert24(const float* __restrict src, unsigned char* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i)
        store24(dst + 3 * i, uint32_t(fastRoundHi(double(src[i]) * 8388607.0)), Big);
}
template <bool Big>
void convert32(const float* __restrict src, unsigned char* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i)
        store32(dst + 4 * i, uint32_t(fastRoundHi(double(src[i]) * 2147483648.0)), Big);
}
template <bool Big>
void convertFloat(const float* __restrict src, unsigned char* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) {
        uint32_t word;
        std::memcpy(&word, src + i, 4);
        store32(dst + 4 * i, word, Big);
    }
}
template <bool Big>
void convertDouble(const float* __restrict src, unsigned char* __restrict dst, long long n) {
    for (long long i = 0; i < n; ++i) {
        const double value = src[i];
        uint64_t word;
        std::memcpy(&word, &value, 8);
        if (Big) {
            store32(dst + 8 * i, uint32_t(word >> 32), true);
            store32(dst + 8 * i + 4, uint32_t(word), true);
        } else {
            store32(dst + 8 * i, uint32_t(word), false);
            store32(dst + 8 * i + 4, uint32_t(word >> 32), false);
        }
    }
}

// A law code for one sample. The rounded magnitude must stay inside the
// table: a sample beyond full scale, infinite or NaN takes the last entry.
inline unsigned char lawCode(float x, double scale, const unsigned char* table, int last) {
    double m = std::fabs(double(x)) * scale;
    if (!(m <= double(last))) m = double(last);
    const unsigned char code = table[fastRoundHi(m)];
    return x >= 0.0f ? code : code & 127;
}

}  // namespace

SampleWriter::SampleWriter(Stream* s, bool big) : stream(s), bigEndian(big) {
    if (stream) stream->AddRef();
}

SampleWriter::~SampleWriter() {
    if (stream) stream->Release();
}

template <typename Convert>
long long SampleWriter::WritePasses(const float* in, long long count, int itemSize, Convert convert) {
    if (count < 1 || !stream || !in) return 0;
    alignas(16) unsigned char buffer[kBufferBytes];
    const long long limit = kBufferBytes / itemSize;
    long long done = 0;
    while (done < count) {
        const long long want = std::min(count - done, limit);
        convert(in + done, buffer, want);
        const long long put = std::clamp(stream->Write(buffer, want, itemSize), 0LL, want);
        done += put;
        if (put < want) break;
    }
    return done;
}

long long SampleWriter::WritePcmS8(const float* in, long long count) {
    return WritePasses(in, count, 1,
                       [](const float* __restrict src, unsigned char* __restrict dst, long long n) {
                           for (long long i = 0; i < n; ++i)
                               dst[i] = uint8_t(fastRoundHi(double(src[i]) * 127.0));
                       });
}

long long SampleWriter::WritePcmU8(const float* in, long long count) {
    return WritePasses(in, count, 1,
                       [](const float* __restrict src, unsigned char* __restrict dst, long long n) {
                           for (long long i = 0; i < n; ++i)
                               dst[i] = uint8_t(fastRoundHi(double(src[i]) * 127.0)) ^ 0x80;
                       });
}

long long SampleWriter::WritePcm16(const float* in, long long count) {
    return bigEndian ? WritePasses(in, count, 2, convert16<true>)
                     : WritePasses(in, count, 2, convert16<false>);
}

long long SampleWriter::WritePcm24(const float* in, long long count) {
    return bigEndian ? WritePasses(in, count, 3, convert24<true>)
                     : WritePasses(in, count, 3, convert24<false>);
}

long long SampleWriter::WritePcm32(const float* in, long long count) {
    return bigEndian ? WritePasses(in, count, 4, convert32<true>)
                     : WritePasses(in, count, 4, convert32<false>);
}

long long SampleWriter::WriteFloat(const float* in, long long count) {
    return bigEndian ? WritePasses(in, count, 4, convertFloat<true>)
                     : WritePasses(in, count, 4, convertFloat<false>);
}

long long SampleWriter::WriteDouble(const float* in, long long count) {
    return bigEndian ? WritePasses(in, count, 8, convertDouble<true>)
                     : WritePasses(in, count, 8, convertDouble<false>);
}

long long SampleWriter::WriteULaw(const float* in, long long count) {
    return WritePasses(in, count, 1,
                       [](const float* __restrict src, unsigned char* __restrict dst, long long n) {
                           for (long long i = 0; i < n; ++i)
                               dst[i] = lawCode(src[i], 8191.75, EncodeUlawTable, kUlawEncodeLast);
                       });
}

long long SampleWriter::WriteALaw(const float* in, long long count) {
    return WritePasses(in, count, 1,
                       [](const float* __restrict src, unsigned char* __restrict dst, long long n) {
                           for (long long i = 0; i < n; ++i)
                               dst[i] = lawCode(src[i], 2047.9375, EncodeAlawTable, kAlawEncodeLast);
                       });
}

long long SampleWriter::Write(int sampleFormat, const float* in, long long count) {
    switch (sampleFormat) {
        case kSamplePcmU8:
            return WritePcmU8(in, count);
        case kSamplePcmS8:
            return WritePcmS8(in, count);
        case kSamplePcm16:
            return WritePcm16(in, count);
        case kSamplePcm24:
            return WritePcm24(in, count);
        case kSamplePcm32:
            return WritePcm32(in, count);
        case kSampleFloat:
            return WriteFloat(in, count);
        case kSampleDouble:
            return WriteDouble(in, count);
        case kSampleALaw:
            return WriteALaw(in, count);
        case kSampleULaw:
            return WriteULaw(in, count);
        default:
            return 0;
    }
}

}  // namespace tam
