// Reading WAV files: files made by sox, ffmpeg and libsndfile in every sample
// format, and hand-made headers that are damaged or unusual.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "AudioTestData.h"

using namespace tamtest;

namespace {

std::vector<float> ReadAll(tam::WaveFileReader* reader) {
    const int channels = reader->GetNumChannels();
    std::vector<float> out(size_t(reader->GetTotalNumFrames() * channels));
    // Odd slice sizes cross the reader's internal passes at awkward places.
    long long done = 0;
    while (done < reader->GetTotalNumFrames()) {
        const long long want = std::min<long long>(37, reader->GetTotalNumFrames() - done);
        const long long got = reader->ReadFrames(out.data() + done * channels, want);
        if (got != want) break;
        done += got;
    }
    EXPECT_EQ(done, reader->GetTotalNumFrames());
    return out;
}

// A minimal plain PCM header with the given data bytes behind it.
Bytes PcmFile(unsigned channels, unsigned bits, const std::vector<unsigned char>& data, unsigned tag = 1) {
    const unsigned width = (bits + 7) / 8;
    Bytes b;
    b.tag("RIFF").u32(36 + unsigned(data.size())).tag("WAVE");
    b.tag("fmt ")
        .u32(16)
        .u16(tag)
        .u16(channels)
        .u32(8000)
        .u32(8000 * channels * width)
        .u16(channels * width)
        .u16(bits);
    b.tag("data").u32(unsigned(data.size()));
    b.v.insert(b.v.end(), data.begin(), data.end());
    return b;
}

}  // namespace

// ---- files made by other programs -------------------------------------------

class ToolFiles : public ::testing::TestWithParam<std::string> {};

TEST_P(ToolFiles, ReadSampleExactly) {
    const std::string name = GetParam();
    ReaderHolder h(LoadBytes(AudioDataPath(name + ".wav")));
    ASSERT_NE(h.reader, nullptr) << h.error();
    const std::vector<float> expect = LoadFloats(AudioDataPath(name + ".f32"));
    ASSERT_FALSE(expect.empty());
    EXPECT_EQ(h.reader->GetSampleRate(), 44100);
    ASSERT_EQ(h.reader->GetNumChannels(), 2);
    ASSERT_EQ(h.reader->GetTotalNumFrames() * 2, (long long)expect.size());
    const std::vector<float> got = ReadAll(h.reader);
    for (size_t i = 0; i < expect.size(); ++i) ASSERT_EQ(got[i], expect[i]) << name << " sample " << i;

    int want = 0;
    const char* formats[10] = {"", "_u8", "", "_s16", "_s24", "_s32", "_f32", "_f64", "_alaw", "_ulaw"};
    for (int f = 1; f < 10; ++f)
        if (f != 2 && name.find(formats[f]) != std::string::npos) want = f;
    EXPECT_EQ(h.reader->GetSampleFormat(), want);
    EXPECT_EQ(h.reader->GetByteWidth(), tam::SampleFormatByteWidth(want));

    // Past the end: nothing read, the buffer cleared.
    std::vector<float> tail(8, 5.0f);
    EXPECT_EQ(h.reader->ReadFrames(tail.data(), 4), 0);
    for (float v : tail) EXPECT_EQ(v, 0.0f);
}

static std::vector<std::string> ToolFileNames() {
    std::vector<std::string> names;
    for (const char* tool : {"sox", "ffmpeg", "sndfile", "sndfilex"})
        for (const char* fmt : {"u8", "s16", "s24", "s32", "f32", "f64", "alaw", "ulaw"})
            names.push_back(std::string(tool) + "_" + fmt);
    names.push_back("ffmpeg_stream_s16");
    names.push_back("sox_s16_cue");
    return names;
}

INSTANTIATE_TEST_SUITE_P(Corpus, ToolFiles, ::testing::ValuesIn(ToolFileNames()),
                         [](const auto& info) { return info.param; });

TEST(WavReader, CuePointsAndSamplerBlockBehindTheData) {
    ReaderHolder h(LoadBytes(AudioDataPath("sox_s16_cue.wav")));
    ASSERT_NE(h.reader, nullptr) << h.error();
    ASSERT_EQ(h.reader->GetCuePointCount(), 2);
    const tam::WaveFileCuePoint* a = h.reader->GetCuePoint(0);
    const tam::WaveFileCuePoint* b = h.reader->GetCuePoint(1);
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->id, 1u);
    EXPECT_EQ(a->position, 10u);
    EXPECT_EQ(a->chunkId, 0x61746164u);
    EXPECT_EQ(a->sampleOffset, 10u);
    EXPECT_EQ(b->id, 2u);
    EXPECT_EQ(b->position, 75u);
    EXPECT_EQ(h.reader->GetCuePoint(2), nullptr);
    EXPECT_EQ(h.reader->GetCuePoint(-1), nullptr);
    EXPECT_EQ(h.reader->GetTotalNumFrames(), 100);
}

TEST(WavReader, SeekFrames) {
    ReaderHolder h(LoadBytes(AudioDataPath("sndfile_s16.wav")));
    ASSERT_NE(h.reader, nullptr);
    const std::vector<float> expect = LoadFloats(AudioDataPath("sndfile_s16.f32"));
    float frame[2];
    EXPECT_EQ(h.reader->SeekFrames(10, tam::Stream::FromStart), 10);
    ASSERT_EQ(h.reader->ReadFrames(frame, 1), 1);
    EXPECT_EQ(frame[0], expect[20]);
    EXPECT_EQ(frame[1], expect[21]);
    // A relative move of 0 answers the position and leaves the stream alone.
    const long long before = h.stream->GetPosition();
    EXPECT_EQ(h.reader->SeekFrames(0, tam::Stream::FromCurrent), 11);
    EXPECT_EQ(h.stream->GetPosition(), before);
    EXPECT_EQ(h.reader->SeekFrames(-5, tam::Stream::FromCurrent), 6);
    EXPECT_EQ(h.reader->SeekFrames(-1, tam::Stream::FromEnd), 99);
    ASSERT_EQ(h.reader->ReadFrames(frame, 1), 1);
    EXPECT_EQ(frame[1], expect[199]);
    EXPECT_EQ(h.reader->SeekFrames(0, tam::Stream::FromEnd), 100);
    EXPECT_EQ(h.reader->SeekFrames(101, tam::Stream::FromStart), -1);
    EXPECT_EQ(h.reader->SeekFrames(-1, tam::Stream::FromStart), -1);
    EXPECT_EQ(h.reader->SeekFrames(0, tam::Stream::PosMode(3)), -1);
    EXPECT_EQ(h.reader->SeekFrames(0, tam::Stream::FromStart), 0);
    ASSERT_EQ(h.reader->ReadFrames(frame, 1), 1);
    EXPECT_EQ(frame[0], expect[0]);
}

TEST(WavReader, ShortReadAtTheEndClearsTheRest) {
    ReaderHolder h(LoadBytes(AudioDataPath("ffmpeg_s24.wav")));
    ASSERT_NE(h.reader, nullptr);
    ASSERT_EQ(h.reader->SeekFrames(97, tam::Stream::FromStart), 97);
    std::vector<float> out(20, 9.0f);
    EXPECT_EQ(h.reader->ReadFrames(out.data(), 10), 3);
    const std::vector<float> expect = LoadFloats(AudioDataPath("ffmpeg_s24.f32"));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], expect[194 + i]);
    for (int i = 6; i < 20; ++i) EXPECT_EQ(out[i], 0.0f);
}

// ---- the header scan ----------------------------------------------------------

TEST(WavHeader, RejectsBadStreamsAndOrder) {
    tam::WaveFileFormat format;
    EXPECT_EQ(format.CreateReader(nullptr), nullptr);
    EXPECT_STREQ((const char*)format.GetError(), "WaveFile: Bad input stream pointer.");
    {
        ReaderHolder h(PcmFile(1, 16, {0, 0}).v, MemoryStream::ModeWrite);
        EXPECT_EQ(h.reader, nullptr);
        EXPECT_EQ(h.error(), "WaveFile: Stream not readable.");
    }
    {
        ReaderHolder h({});
        EXPECT_EQ(h.reader, nullptr);
        EXPECT_EQ(h.error(), "WaveFile: empty file.");
    }
    {
        Bytes b;
        b.tag("WAVE").tag("RIFF").u32(4).zeros(40);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.error(), "WaveFile: incorrect wave block.");
    }
    {
        Bytes b;
        b.tag("RIFF").u32(100).tag("WAVE").tag("data").u32(4).zeros(4);
        b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.reader, nullptr);
        EXPECT_EQ(h.error(), "WaveFile: incorrect data block.");
    }
    {
        Bytes b;
        b.tag("RIFF").u32(100).tag("RIFF").u32(100).zeros(40);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.error(), "WaveFile: incorrect riff block.");
    }
    {
        Bytes b;
        b.tag("RIFF").u32(100).tag("fmt ").u32(16).zeros(40);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.error(), "WaveFile: incorrect fmt block.");
    }
}

TEST(WavHeader, SecondFmtBlockEndsTheScan) {
    Bytes b;
    b.tag("RIFF").u32(200).tag("WAVE");
    for (int i = 0; i < 2; ++i) b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
    b.tag("data").u32(8).zeros(8);
    ReaderHolder h(b.v);
    EXPECT_EQ(h.reader, nullptr);
    EXPECT_EQ(h.error(), "WaveFile: insufficient data markers.");
}

TEST(WavHeader, UnfinishedFileTakesEverythingToTheEnd) {
    // What a writer leaves before it has filled in its sizes.
    Bytes b;
    b.tag("RIFF").u32(8).tag("WAVE");
    b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
    b.tag("data").u32(0);
    for (int i = 0; i < 10; ++i) b.u16(unsigned(i * 1000));
    ReaderHolder h(b.v);
    ASSERT_NE(h.reader, nullptr) << h.error();
    EXPECT_EQ(h.reader->GetTotalNumFrames(), 10);
    float out[10];
    ASSERT_EQ(h.reader->ReadFrames(out, 10), 10);
    EXPECT_EQ(out[9], 9000.0f / 32768.0f);
}

TEST(WavHeader, TwentyFourBitsInFourBytesReadAsFloat) {
    Bytes data;
    data.raw({0, 0, 0x80, 0x3F, 0, 0, 0, 0xBF});  // 1.0, -0.5
    Bytes b = PcmFile(1, 24, data.v);
    b.v[32] = 4;  // block align 4 for one channel
    ReaderHolder h(b.v);
    ASSERT_NE(h.reader, nullptr) << h.error();
    EXPECT_EQ(h.reader->GetSampleFormat(), 6);
    EXPECT_EQ(h.reader->GetByteWidth(), 4);
    float out[2];
    ASSERT_EQ(h.reader->ReadFrames(out, 2), 2);
    EXPECT_EQ(out[0], 1.0f);
    EXPECT_EQ(out[1], -0.5f);
}

TEST(WavHeader, FormatTagsAndSubFormats) {
    {
        ReaderHolder h(PcmFile(1, 16, {0, 0}, 2).v);
        EXPECT_EQ(h.error(), "WaveFile: Unsupported subformat.");
    }
    {
        // An extensible header whose GUID tail is not the audio one.
        Bytes b;
        b.tag("RIFF").u32(100).tag("WAVE");
        b.tag("fmt ").u32(40).u16(65534).u16(1).u32(8000).u32(16000).u16(2).u16(16);
        b.u16(22).u16(16).u32(0).u32(1).raw({0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x72});
        b.tag("data").u32(2).zeros(2);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.reader, nullptr);
        EXPECT_EQ(h.error(), "WaveFile: Unsupported sub-format.");
    }
    {
        ReaderHolder h(PcmFile(1, 15, {0, 0}).v);  // odd bit count: two bytes, 16-bit
        ASSERT_NE(h.reader, nullptr);
        EXPECT_EQ(h.reader->GetSampleFormat(), 3);
    }
    {
        ReaderHolder h(PcmFile(1, 40, {0, 0, 0, 0, 0}).v);  // beyond 32 bits: no format, reads nothing
        ASSERT_NE(h.reader, nullptr);
        EXPECT_EQ(h.reader->GetSampleFormat(), 0);
        float out[1] = {3.0f};
        EXPECT_EQ(h.reader->ReadFrames(out, 1), 0);
    }
    {
        Bytes b;
        b.tag("RIFF").u32(100).tag("WAVE").tag("fmt ").u32(12).zeros(40);
        ReaderHolder h(b.v);
        EXPECT_EQ(h.error(), "WaveFile: Error reading fmt block.");
    }
}

TEST(WavHeader, PeakBlockMustFitTheChannels) {
    auto make = [](unsigned peakSize) {
        Bytes b;
        b.tag("RIFF").u32(200).tag("WAVE");
        b.tag("fmt ").u32(16).u16(3).u16(2).u32(8000).u32(64000).u16(8).u16(32);
        b.tag("PEAK").u32(peakSize).u32(1).u32(0).zeros(16);
        b.tag("data").u32(8).zeros(8);
        return b.v;
    };
    ReaderHolder good(make(24));
    EXPECT_NE(good.reader, nullptr) << good.error();
    ReaderHolder bad(make(16));
    EXPECT_EQ(bad.reader, nullptr);
    EXPECT_EQ(bad.error(), "WaveFile: Peak block is incorrect for the number of channels.");
}

TEST(WavHeader, OddUnknownBlockRealignsThenStops) {
    // "junk" with 3 bytes: the scan walks forward a byte at a time, and at the
    // next multiple of 4 meets garbage and stops; "data" behind it is not seen.
    Bytes b;
    b.tag("RIFF").u32(200).tag("WAVE");
    b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
    b.tag("junk").u32(3).raw({1, 2, 3});
    b.raw({0, 1, 2, 3, 4, 5, 6, 7, 8});
    b.tag("data").u32(4).zeros(4);
    ReaderHolder h(b.v);
    EXPECT_EQ(h.reader, nullptr);
    EXPECT_EQ(h.error(), "WaveFile: insufficient data markers.");

    // An even unknown block is skipped.
    Bytes c;
    c.tag("RIFF").u32(200).tag("WAVE");
    c.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
    c.tag("LIST").u32(6).zeros(6).raw({0, 0});
    c.tag("data").u32(4).u16(0x4000).u16(0xC000);
    ReaderHolder k(c.v);
    ASSERT_NE(k.reader, nullptr) << k.error();
    float out[2];
    ASSERT_EQ(k.reader->ReadFrames(out, 2), 2);
    EXPECT_EQ(out[0], 0.5f);
    EXPECT_EQ(out[1], -0.5f);
}

TEST(WavHeader, SizesBeyondTheStreamAreCut) {
    Bytes data;
    data.u16(0x1000).u16(0x2000).u16(0x3000);
    Bytes b = PcmFile(1, 16, data.v);
    // RIFF and data sizes far beyond the stream.
    b.v[4] = b.v[5] = b.v[6] = b.v[7] = 0xFF;
    b.v[40] = b.v[41] = b.v[42] = 0xFF;
    b.v[43] = 0x7F;
    ReaderHolder h(b.v);
    ASSERT_NE(h.reader, nullptr) << h.error();
    EXPECT_EQ(h.reader->GetTotalNumFrames(), 3);
}

TEST(WavHeader, ZeroChannelsReadNothing) {
    ReaderHolder h(PcmFile(0, 16, {1, 2, 3, 4}).v);
    ASSERT_NE(h.reader, nullptr) << h.error();
    EXPECT_EQ(h.reader->GetTotalNumFrames(), 0);
    float out[4] = {};
    EXPECT_EQ(h.reader->ReadFrames(out, 4), 0);
    EXPECT_EQ(h.reader->SeekFrames(0, tam::Stream::FromStart), -1);
}

TEST(WavHeader, HostileCueAndFactBlocksFinish) {
    // A cue count of four billion in a short block, and a fact block claiming
    // a huge size: the scan ends at the end of the stream.
    Bytes b;
    b.tag("RIFF").u32(200).tag("WAVE");
    b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16);
    b.tag("data").u32(4).zeros(4);
    b.tag("cue ").u32(28).u32(0xFFFFFFFF).zeros(24);
    b.tag("fact").u32(0xFFFFFFF0).u32(0);
    b.tag("smpl").u32(0xFFFFFFF0).zeros(60);
    ReaderHolder h(b.v);
    ASSERT_NE(h.reader, nullptr) << h.error();
    // The count runs on through whatever whole 24-byte groups the stream holds.
    EXPECT_GE(h.reader->GetCuePointCount(), 1);
    EXPECT_LE(h.reader->GetCuePointCount(), int(b.v.size() / 24));
    EXPECT_EQ(h.reader->GetTotalNumFrames(), 2);
}

TEST(WavHeader, EveryTruncationAndTrickleFinishes) {
    const std::vector<unsigned char> full = LoadBytes(AudioDataPath("sox_s16_cue.wav"));
    const auto started = std::chrono::steady_clock::now();
    for (size_t n = 0; n <= full.size(); ++n) {
        ReaderHolder h(std::vector<unsigned char>(full.begin(), full.begin() + long(n)));
        if (!h.reader) continue;
        std::vector<float> out(size_t(h.reader->GetNumChannels()) * 256);
        EXPECT_LE(h.reader->ReadFrames(out.data(), 256), h.reader->GetTotalNumFrames());
    }
    // A stream that hands out one byte per read is taken as ended: no reader
    // and no endless realigning.
    tam::WaveFileFormat format;
    auto* s = new MemoryStream(full, MemoryStream::ModeRead);
    s->readLimit = 1;
    tam::WaveFileReader* r = format.CreateReader(s);
    EXPECT_EQ(r, nullptr);
    if (r) r->Release();
    s->Release();
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
}

TEST(WavFormat, NamesAndExtensions) {
    tam::WaveFileFormat f;
    EXPECT_STREQ((const char*)f.GetFormatName(), "WAVE");
    EXPECT_STREQ((const char*)f.GetCompanyName(), "Microsoft");
    EXPECT_TRUE(f.HasExtension(".WAV"));
    EXPECT_TRUE(f.HasExtension(".Wave"));
    EXPECT_FALSE(f.HasExtension("wav"));
    EXPECT_FALSE(f.HasExtension(".aif"));

    tam::AudioFileManager manager;
    manager.AddFormat(new tam::WaveFileFormat);
    EXPECT_NE(manager.FindFormatFromFileExtension(".wav"), nullptr);
    EXPECT_EQ(manager.FindFormatFromFileExtension(".xyz"), nullptr);
}
