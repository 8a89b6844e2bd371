// Raw sample conversion: byte layouts, scales, rounding, byte order, short
// passes, and the law tables against sox's own G.711 coding.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "AudioTestData.h"
#include "audiofile/tamLawTables.h"
#include "audiofile/tamSampleReader.h"
#include "audiofile/tamSampleWriter.h"

using namespace tamtest;

namespace {

std::vector<unsigned char> WriteWith(int format, const std::vector<float>& in, bool big = false) {
    auto* s = new MemoryStream({}, MemoryStream::ModeReadWrite);
    {
        tam::SampleWriter w(s, big);
        EXPECT_EQ(w.Write(format, in.data(), (long long)in.size()), (long long)in.size());
    }
    std::vector<unsigned char> out = s->bytes;
    s->Release();
    return out;
}

std::vector<float> ReadWith(int format, const std::vector<unsigned char>& bytes, long long count,
                            bool big = false, long long* got = nullptr) {
    auto* s = new MemoryStream(bytes, MemoryStream::ModeRead);
    std::vector<float> out(size_t(std::max(count, 0LL)), -9.0f);
    long long n;
    {
        tam::SampleReader r(s, big);
        n = r.Read(format, out.data(), count);
    }
    s->Release();
    if (got) *got = n;
    return out;
}

std::vector<short> LoadShorts(const char* name) {
    const std::vector<unsigned char> raw = LoadBytes(AudioDataPath(name));
    std::vector<short> v(raw.size() / 2);
    std::memcpy(v.data(), raw.data(), v.size() * 2);
    return v;
}

}  // namespace

TEST(SampleReader, ScalesAndByteOrders) {
    EXPECT_FLOAT_EQ(ReadWith(4, {0xFF, 0xFF, 0x7F}, 1)[0], 0.99999988f);
    EXPECT_EQ(ReadWith(4, {0x7F, 0xFF, 0xFF}, 1, true)[0], ReadWith(4, {0xFF, 0xFF, 0x7F}, 1)[0]);
    EXPECT_EQ(ReadWith(4, {0x00, 0x00, 0x80}, 1)[0], -1.0f);
    EXPECT_EQ(ReadWith(3, {0x00, 0x80, 0xFF, 0x7F}, 2), (std::vector<float>{-1.0f, 32767.0f / 32768.0f}));
    EXPECT_EQ(ReadWith(3, {0x80, 0x00, 0x7F, 0xFF}, 2, true),
              (std::vector<float>{-1.0f, 32767.0f / 32768.0f}));
    EXPECT_EQ(ReadWith(5, {0, 0, 0, 0x80, 0, 0, 0, 0x40}, 2), (std::vector<float>{-1.0f, 0.5f}));
    EXPECT_EQ(ReadWith(1, {0, 128, 255}, 3), (std::vector<float>{-1.0f, 0.0f, 127.0f / 128.0f}));
    EXPECT_EQ(ReadWith(2, {0x80, 0, 0x7F}, 3), (std::vector<float>{-1.0f, 0.0f, 127.0f / 128.0f}));
    EXPECT_EQ(ReadWith(6, {0x3F, 0x80, 0, 0}, 1, true)[0], 1.0f);
    EXPECT_EQ(ReadWith(7, {0, 0, 0, 0, 0, 0, 0xE0, 0xBF}, 1)[0], -0.5f);
    EXPECT_EQ(ReadWith(7, {0xBF, 0xE0, 0, 0, 0, 0, 0, 0}, 1, true)[0], -0.5f);
}

TEST(SampleReader, ShortPassEndsTheRead) {
    // 20000 16-bit samples need three passes; the stream holds 8192 + 100 and
    // a half sample.
    std::vector<unsigned char> bytes((8192 + 100) * 2 + 1, 0);
    bytes[2 * 8192] = 0x00;
    bytes[2 * 8192 + 1] = 0x40;
    long long got = 0;
    std::vector<float> out = ReadWith(3, bytes, 20000, false, &got);
    EXPECT_EQ(got, 8192 + 100);
    EXPECT_EQ(out[8192], 0.5f);
    EXPECT_EQ(out[8192 + 100], -9.0f);  // untouched past what was read
    ReadWith(3, bytes, 0, false, &got);
    EXPECT_EQ(got, 0);
    ReadWith(3, bytes, -5, false, &got);
    EXPECT_EQ(got, 0);
    // 24-bit passes hold 5461 samples; a count across the pass edge stays whole.
    std::vector<unsigned char> b24(3 * 6000);
    for (size_t i = 0; i < 6000; ++i) b24[3 * i + 2] = (unsigned char)(i % 100);
    out = ReadWith(4, b24, 6000, false, &got);
    EXPECT_EQ(got, 6000);
    EXPECT_EQ(out[5461], float(5461 % 100) / 128.0f);
    EXPECT_EQ(out[5999], float(5999 % 100) / 128.0f);
}

TEST(SampleWriter, IntegerLayoutsAndRounding) {
    // 0.0 makes 128 in unsigned 8-bit.
    EXPECT_EQ(WriteWith(1, {0.0f, 1.0f, -1.0f, 0.3f / 127.0f, -0.7f / 127.0f}),
              (std::vector<unsigned char>{128, 255, 1, 128, 127}));
    // Exact halves round to even: 0.5 * 32767 = 16383.5 and -0.25 * 32767 = -8191.75.
    EXPECT_EQ(WriteWith(3, {0.5f, -0.25f}), (std::vector<unsigned char>{0x00, 0x40, 0x00, 0xE0}));
    EXPECT_EQ(WriteWith(2, {0.0f, 1.0f, -1.0f}), (std::vector<unsigned char>{0, 127, 129}));
    EXPECT_EQ(WriteWith(3, {1.0f, -1.0f}, true), (std::vector<unsigned char>{0x7F, 0xFF, 0x80, 0x01}));
    EXPECT_EQ(WriteWith(4, {1.0f, -1.0f}), (std::vector<unsigned char>{0xFF, 0xFF, 0x7F, 0x01, 0x00, 0x80}));
    EXPECT_EQ(WriteWith(4, {1.0f}, true), (std::vector<unsigned char>{0x7F, 0xFF, 0xFF}));
    // The 32-bit scale is the full 2^31: -1.0 fits, 0.5 is 0x40000000.
    EXPECT_EQ(WriteWith(5, {-1.0f, 0.5f}), (std::vector<unsigned char>{0, 0, 0, 0x80, 0, 0, 0, 0x40}));
    EXPECT_EQ(WriteWith(5, {0.5f}, true), (std::vector<unsigned char>{0x40, 0, 0, 0}));
    EXPECT_EQ(WriteWith(6, {1.0f}, true), (std::vector<unsigned char>{0x3F, 0x80, 0, 0}));
    EXPECT_EQ(WriteWith(7, {-0.5f}), (std::vector<unsigned char>{0, 0, 0, 0, 0, 0, 0xE0, 0xBF}));
    EXPECT_EQ(WriteWith(7, {-0.5f}, true), (std::vector<unsigned char>{0xBF, 0xE0, 0, 0, 0, 0, 0, 0}));
}

TEST(SampleWriter, LongRunCrossesPasses) {
    std::vector<float> in(20000);
    for (size_t i = 0; i < in.size(); ++i) in[i] = float(int(i % 2001) - 1000) / 32767.0f;
    const std::vector<unsigned char> bytes = WriteWith(3, in);
    ASSERT_EQ(bytes.size(), 40000u);
    long long got = 0;
    const std::vector<float> back = ReadWith(3, bytes, 20000, false, &got);
    ASSERT_EQ(got, 20000);
    for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(back[i], float(int(i % 2001) - 1000) / 32768.0f) << i;
}

TEST(LawTables, DecodeAndEncodeAsSoxDoes) {
    // Each code decodes as sox decodes it; decoded, then encoded by the
    // writer, it gives the code sox gives for the same 16-bit value.
    for (const char* law : {"ulaw", "alaw"}) {
        const bool mu = law[0] == 'u';
        const std::vector<short> decoded = LoadShorts(mu ? "ulaw_decode.s16" : "alaw_decode.s16");
        const std::vector<unsigned char> sox =
            LoadBytes(AudioDataPath(mu ? "ulaw_encode.u8" : "alaw_encode.u8"));
        ASSERT_EQ(sox.size(), 256u);
        ASSERT_EQ(decoded.size(), 256u);
        const short* table = mu ? DecodeUlawTable : DecodeAlawTable;
        for (size_t i = 0; i < 256; ++i) EXPECT_EQ(table[i], decoded[i]) << law << " decode " << i;
        std::vector<float> in(256);
        for (size_t i = 0; i < 256; ++i) in[i] = decoded[i] / 32768.0f;
        const std::vector<unsigned char> codes = WriteWith(mu ? 9 : 8, in);
        ASSERT_EQ(codes.size(), 256u);
        for (size_t i = 0; i < 256; ++i) EXPECT_EQ(codes[i], sox[i]) << law << " code " << i;
        // And read back through the reader: the same values.
        long long got = 0;
        const std::vector<float> back = ReadWith(mu ? 9 : 8, codes, 256, false, &got);
        ASSERT_EQ(got, 256);
        for (size_t i = 0; i < 256; ++i) EXPECT_EQ(back[i], in[i]) << law << " code " << i;
    }
}

TEST(LawTables, FullScaleEntriesAndSafeIndices) {
    // The last entries are the loudest codes.
    EXPECT_EQ(EncodeUlawTable[8192], 0x80);
    EXPECT_EQ(EncodeAlawTable[2048], 0xAA);
    EXPECT_EQ(EncodeUlawTable[0], 0xFF);
    EXPECT_EQ(EncodeAlawTable[0], 0xD5);
    // Beyond full scale, infinities and NaN hold the table index in range.
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(WriteWith(9, {1.0f, 4.0f, 1e30f, inf, -4.0f, -inf}),
              (std::vector<unsigned char>{0x80, 0x80, 0x80, 0x80, 0x00, 0x00}));
    EXPECT_EQ(WriteWith(8, {1.0f, 4.0f, -4.0f, -1e30f}),
              (std::vector<unsigned char>{0xAA, 0xAA, 0x2A, 0x2A}));
    EXPECT_EQ(WriteWith(9, {nan}).size(), 1u);
    EXPECT_EQ(WriteWith(8, {nan}).size(), 1u);
}
