// Writing WAV files: header bytes worked out by hand, settings, peaks and
// dither (every format read back is in test_wav_interop.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "AudioTestData.h"

using namespace tamtest;

namespace {

struct WriterHolder {
    tam::WaveFileFormat format;
    MemoryStream* stream = new MemoryStream({}, MemoryStream::ModeReadWrite);
    tam::WaveFileWriter* writer = format.CreateWriter(stream);
    ~WriterHolder() {
        if (writer) writer->Release();
        stream->Release();
    }
    bool Setup(int rate, int channels, int sampleFormat, bool extensible = false) {
        writer->SetExtensible(extensible);
        return writer->SetSampleRate(rate) && writer->SetNumChannels(channels) &&
               writer->SetSampleFormat(sampleFormat) && writer->WriteStart();
    }
};

std::vector<unsigned char> Le32(unsigned v) {
    return {(unsigned char)v, (unsigned char)(v >> 8), (unsigned char)(v >> 16), (unsigned char)(v >> 24)};
}

}  // namespace

TEST(WavWriter, PlainPcm16HeaderBytes) {
    WriterHolder w;
    ASSERT_TRUE(w.Setup(44100, 2, 3));
    // Before the end the sizes are placeholders: RIFF 8, data 0.
    ASSERT_EQ(w.stream->bytes.size(), 44u);
    EXPECT_EQ(std::vector<unsigned char>(w.stream->bytes.begin() + 4, w.stream->bytes.begin() + 8), Le32(8));
    EXPECT_EQ(std::vector<unsigned char>(w.stream->bytes.begin() + 40, w.stream->bytes.end()), Le32(0));

    const float in[6] = {0.0f, 1.0f, -1.0f, 0.5f, 1.0f / 32767.0f, -0.25f};
    EXPECT_EQ(w.writer->WriteFrames(in, 3), 3);
    ASSERT_TRUE(w.writer->WriteEnd());
    const std::vector<unsigned char> expect = {
        'R',  'I',  'F',  'F',  48,   0,    0, 0, 'W',  'A',  'V',  'E',  'f', 'm', 't', ' ', 16, 0, 0, 0,  //
        1,    0,    2,    0,    0x44, 0xAC, 0, 0, 0x10, 0xB1, 2,    0,    4,   0,   16,  0,                 //
        'd',  'a',  't',  'a',  12,   0,    0, 0, 0,    0,    0xFF, 0x7F,  // 0, 32767
        0x01, 0x80, 0x00, 0x40,  // -32767, 16384 (16383.5 rounds to even)
        0x01, 0x00, 0x00, 0xE0,  // 1, -8192 (-8191.75)
    };
    EXPECT_EQ(w.stream->bytes, expect);
}

TEST(WavWriter, ExtensibleFloatHeaderBytesWithFactAndPeak) {
    WriterHolder w;
    ASSERT_TRUE(w.Setup(8000, 1, 6, true));
    const float in[2] = {0.5f, -0.75f};
    ASSERT_EQ(w.writer->WriteFrames(in, 2), 2);
    ASSERT_TRUE(w.writer->WriteEnd());
    std::vector<unsigned char> expect = {
        'R',  'I',  'F',  'F',  104,  0,    0,    0,
        'W',  'A',  'V',  'E',  'f',  'm',  't',  ' ',
        40,   0,    0,    0,  //
        0xFE, 0xFF, 1,    0,    0x40, 0x1F, 0,    0,
        0x00, 0x7D, 0,    0,    4,    0,    32,   0,
        22,   0,    32,   0,  //
        0,    0,    0,    0,    3,    0,    0,    0,
        0,    0,    0x10, 0,    0x80, 0,    0,    0xAA,
        0,    0x38, 0x9B, 0x71,  //
        'f',  'a',  'c',  't',  4,    0,    0,    0,
        2,    0,    0,    0,  //
        'P',  'E',  'A',  'K',  16,   0,    0,    0,
        1,    0,    0,    0,    0,    0,    0,    0 /* time, masked */,  //
        0,    0,    0x40, 0x3F, 1,    0,    0,    0,                     // 0.75 at frame 1
        'd',  'a',  't',  'a',  8,    0,    0,    0,
        0,    0,    0,    0x3F, 0,    0,    0x40, 0xBF,
    };
    ASSERT_EQ(w.stream->bytes.size(), expect.size());
    std::vector<unsigned char> got = w.stream->bytes;
    std::memset(got.data() + 84, 0, 4);
    EXPECT_EQ(got, expect);
}

TEST(WavWriter, MuLawPlainHeaderAndStereoMask) {
    WriterHolder w;
    ASSERT_TRUE(w.Setup(8000, 2, 9));
    ASSERT_TRUE(w.writer->WriteEnd());
    const std::vector<unsigned char>& b = w.stream->bytes;
    ASSERT_EQ(b.size(), 56u);  // 12 + 24 fmt + 12 fact + 8 data header
    EXPECT_EQ(b[20], 7);
    EXPECT_EQ(b[34], 8);  // bits
    EXPECT_EQ(std::memcmp(b.data() + 36, "fact", 4), 0);

    WriterHolder x;
    ASSERT_TRUE(x.Setup(8000, 2, 4, true));
    ASSERT_TRUE(x.writer->WriteEnd());
    EXPECT_EQ(x.stream->bytes[40], 3);                                  // channel mask of a stereo file
    EXPECT_EQ(x.stream->bytes[44], 1);                                  // PCM GUID
    EXPECT_EQ(std::memcmp(x.stream->bytes.data() + 60, "data", 4), 0);  // PCM asks for no fact block
}

TEST(WavWriter, SettingsAndErrors) {
    WriterHolder w;
    ASSERT_NE(w.writer, nullptr);
    EXPECT_FALSE(w.writer->SetNumChannels(257));
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Invalid number of channels.");
    EXPECT_TRUE(w.writer->SetNumChannels(256));
    EXPECT_FALSE(w.writer->SetNumChannels(0));
    EXPECT_FALSE(w.writer->SetSampleRate(0));
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Invalid sample rate.");
    EXPECT_FALSE(w.writer->SetSampleFormat(10));
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Invalid sub-format.");
    EXPECT_FALSE(w.writer->WriteStart());
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Invalid sub-format.");
    EXPECT_TRUE(w.writer->SetSampleFormat(2));
    EXPECT_FALSE(w.writer->WriteStart());
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Invalid sampleRate.");
    EXPECT_TRUE(w.writer->SetSampleRate(48000));
    // Signed 8-bit has no WAV form.
    EXPECT_FALSE(w.writer->WriteStart());
    EXPECT_EQ(std::string((const char*)w.format.GetError()), "WaveFile: Unsupported sub-format");
    EXPECT_TRUE(w.stream->bytes.empty());

    tam::WaveFileFormat format;
    EXPECT_EQ(format.CreateWriter(nullptr), nullptr);
    EXPECT_EQ(std::string((const char*)format.GetError()), "WaveFile: Bad output stream pointer.");
    auto* ro = new MemoryStream({}, MemoryStream::ModeRead);
    EXPECT_EQ(format.CreateWriter(ro), nullptr);
    EXPECT_EQ(std::string((const char*)format.GetError()), "WaveFile: Stream not writable.");
    ro->Release();
}

TEST(WavWriter, PeakHoldsLargestMagnitudeAndItsFrame) {
    WriterHolder w;
    ASSERT_TRUE(w.Setup(44100, 2, 7));
    const float a[6] = {0.1f, -0.2f, -0.6f, 0.3f, 0.2f, 0.1f};
    const float b[4] = {0.5f, -0.9f, 0.7f, 0.0f};
    w.writer->WriteFrames(a, 3);
    w.writer->WriteFrames(b, 2);
    ASSERT_TRUE(w.writer->WriteEnd());
    const std::vector<unsigned char>& bytes = w.stream->bytes;
    // PEAK follows the 16-byte fmt block and the fact block.
    const size_t peak = 12 + 24 + 12;
    ASSERT_EQ(std::memcmp(bytes.data() + peak, "PEAK", 4), 0);
    float v0, v1;
    unsigned p0, p1;
    std::memcpy(&v0, bytes.data() + peak + 16, 4);
    std::memcpy(&p0, bytes.data() + peak + 20, 4);
    std::memcpy(&v1, bytes.data() + peak + 24, 4);
    std::memcpy(&p1, bytes.data() + peak + 28, 4);
    EXPECT_EQ(v0, 0.7f);
    EXPECT_EQ(p0, 4u);
    EXPECT_EQ(v1, 0.9f);
    EXPECT_EQ(p1, 3u);
    // Frame count in the fact block.
    unsigned frames;
    std::memcpy(&frames, bytes.data() + 12 + 24 + 8, 4);
    EXPECT_EQ(frames, 5u);
}

TEST(WavWriter, DitherNoiseCarriesItsMemoryAcrossCalls) {
    // The noise is rand() over -1..1, high-passed per channel by subtracting
    // the previous value; it is not scaled to the word, so 16-bit words wrap.
    // Reference: the same recipe stepped here one frame at a time.
    std::srand(7);
    WriterHolder w;
    w.writer->SetDither(true);
    ASSERT_TRUE(w.Setup(44100, 2, 3));
    std::vector<float> in(100);
    for (size_t i = 0; i < in.size(); ++i) in[i] = float(i % 7) * 0.01f;
    ASSERT_EQ(w.writer->WriteFrames(in.data(), 30), 30);
    ASSERT_EQ(w.writer->WriteFrames(in.data() + 60, 20), 20);
    ASSERT_TRUE(w.writer->WriteEnd());

    // Within one call the writer draws channel 0's numbers for every frame,
    // then channel 1's.
    std::srand(7);
    double memory[2] = {0, 0};
    std::vector<int> expect(100);
    const int slices[2][2] = {{0, 30}, {30, 20}};
    for (const auto& slice : slices) {
        for (int c = 0; c < 2; ++c) {
            for (int f = slice[0]; f < slice[0] + slice[1]; ++f) {
                const double d = std::rand() * 4.656613e-10 * 2 - 1.0;
                const size_t i = size_t(f) * 2 + size_t(c);
                const float y = float(in[i] + d - memory[c]);
                memory[c] = d;
                expect[i] = int(std::lrint(double(y) * 32767.0));
            }
        }
    }
    const std::vector<unsigned char>& b = w.stream->bytes;
    ASSERT_EQ(b.size(), 44u + 200u);
    for (size_t i = 0; i < 100; ++i) {
        const int got = int(short(b[44 + 2 * i] | (b[45 + 2 * i] << 8)));
        EXPECT_EQ(got, int(short(expect[i] & 0xFFFF))) << "sample " << i;
    }
}
