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
    b.tag("RIFF").u32(36 + unsigned(data.size())).tag("WAVE").tag("fmt ").u32(16).u16(tag).u16(channels);
    b.u32(8000)
        .u32(8000 * channels * width)
        .u16(channels * width)
        .u16(bits)
        .tag("data")
        .u32(unsigned(data.size()));
    b.v.insert(b.v.end(), data.begin(), data.end());
    return b;
}

// A 16-bit mono fmt block at 8 kHz.
Bytes& Fmt16(Bytes& b) { return b.tag("fmt ").u32(16).u16(1).u16(1).u32(8000).u32(16000).u16(2).u16(16); }

// RIFF, WAVE and the fmt block, for the chunks that follow.
Bytes Head() {
    Bytes b;
    b.tag("RIFF").u32(200).tag("WAVE");
    return Fmt16(b);
}

}  // namespace

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

TEST(WavHeader, RejectsBadStreams) {
    tam::WaveFileFormat format;
    EXPECT_EQ(format.CreateReader(nullptr), nullptr);
    EXPECT_STREQ((const char*)format.GetError(), "WaveFile: Bad input stream pointer.");
    ReaderHolder h(PcmFile(1, 16, {0, 0}).v, MemoryStream::ModeWrite);
    EXPECT_EQ(h.reader, nullptr);
    EXPECT_EQ(h.error(), "WaveFile: Stream not readable.");
}

// A peak block for two float channels of the given size.
std::vector<unsigned char> PeakFile(unsigned peakSize) {
    Bytes b;
    b.tag("RIFF").u32(200).tag("WAVE").tag("fmt ").u32(16).u16(3).u16(2).u32(8000).u32(64000).u16(8).u16(32);
    b.tag("PEAK").u32(peakSize).u32(1).u32(0).zeros(16).tag("data").u32(8).zeros(8);
    return b.v;
}

TEST(WavHeader, RejectsDamagedAndUnsupportedHeaders) {
    // An extensible header whose GUID tail is not the audio one.
    Bytes ext;
    ext.tag("RIFF")
        .u32(100)
        .tag("WAVE")
        .tag("fmt ")
        .u32(40)
        .u16(65534)
        .u16(1)
        .u32(8000)
        .u32(16000)
        .u16(2)
        .u16(16);
    ext.u16(22).u16(16).u32(0).u32(1).raw({0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x72});
    ext.tag("data").u32(2).zeros(2);
    // "junk" with 3 bytes: the scan walks forward a byte at a time, and at the
    // next multiple of 4 meets garbage and stops; "data" behind it is not seen.
    Bytes junk = Head();
    junk.tag("junk").u32(3).raw({1, 2, 3}).raw({0, 1, 2, 3, 4, 5, 6, 7, 8}).tag("data").u32(4).zeros(4);
    Bytes dataFirst, twoFmt = Head();
    Fmt16(dataFirst.tag("RIFF").u32(100).tag("WAVE").tag("data").u32(4).zeros(4));
    // A second fmt block ends the scan.
    Fmt16(twoFmt).tag("data").u32(8).zeros(8);
    const std::pair<std::vector<unsigned char>, std::string> cases[] = {
        {{}, "empty file."},
        {Bytes().tag("WAVE").tag("RIFF").u32(4).zeros(40).v, "incorrect wave block."},
        {dataFirst.v, "incorrect data block."},
        {Bytes().tag("RIFF").u32(100).tag("RIFF").u32(100).zeros(40).v, "incorrect riff block."},
        {Bytes().tag("RIFF").u32(100).tag("fmt ").u32(16).zeros(40).v, "incorrect fmt block."},
        {Bytes().tag("RIFF").u32(100).tag("WAVE").tag("fmt ").u32(12).zeros(40).v,
         "Error reading fmt block."},
        {twoFmt.v, "insufficient data markers."},
        {junk.v, "insufficient data markers."},
        {PcmFile(1, 16, {0, 0}, 2).v, "Unsupported subformat."},
        {ext.v, "Unsupported sub-format."},
        {PeakFile(16), "Peak block is incorrect for the number of channels."},
    };
    for (const auto& [bytes, error] : cases) {
        ReaderHolder h(bytes);
        EXPECT_EQ(h.reader, nullptr) << error;
        EXPECT_EQ(h.error(), "WaveFile: " + error);
    }
    ReaderHolder good(PeakFile(24));
    EXPECT_NE(good.reader, nullptr) << good.error();
}

TEST(WavHeader, UnusualHeadersThatRead) {
    // What a writer leaves before it has filled in its sizes: everything to
    // the end is data.
    Bytes unfinished;
    Fmt16(unfinished.tag("RIFF").u32(8).tag("WAVE")).tag("data").u32(0);
    std::vector<float> ramp;
    for (int i = 0; i < 10; ++i) {
        unfinished.u16(unsigned(i * 1000));
        ramp.push_back(float(i * 1000) / 32768.0f);
    }
    // 24 bits in a block align of 4 for one channel read as float.
    Bytes float24 = PcmFile(1, 24, Bytes().raw({0, 0, 0x80, 0x3F, 0, 0, 0, 0xBF}).v);
    float24.v[32] = 4;
    // An even unknown block is skipped.
    Bytes list = Head();
    list.tag("LIST").u32(6).zeros(6).raw({0, 0}).tag("data").u32(4).u16(0x4000).u16(0xC000);
    // RIFF and data sizes far beyond the stream are cut to it.
    Bytes huge = PcmFile(1, 16, Bytes().u16(0x1000).u16(0x2000).u16(0x3000).v);
    for (int i : {4, 5, 6, 7, 40, 41, 42}) huge.v[size_t(i)] = 0xFF;
    huge.v[43] = 0x7F;
    struct Case {
        const char* name;
        std::vector<unsigned char> bytes;
        int format, width;
        std::vector<float> values;
    };
    const Case cases[] = {
        {"unfinished", unfinished.v, 3, 2, ramp},
        {"24 in 4", float24.v, 6, 4, {1.0f, -0.5f}},
        {"odd bit count: two bytes, 16-bit", PcmFile(1, 15, {0, 0}).v, 3, 2, {0.0f}},
        {"beyond 32 bits: no format, reads nothing", PcmFile(1, 40, {0, 0, 0, 0, 0}).v, 0, 5, {}},
        {"LIST", list.v, 3, 2, {0.5f, -0.5f}},
        {"huge sizes", huge.v, 3, 2, {0.125f, 0.25f, 0.375f}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ReaderHolder h(c.bytes);
        ASSERT_NE(h.reader, nullptr) << h.error();
        EXPECT_EQ(h.reader->GetSampleFormat(), c.format);
        EXPECT_EQ(h.reader->GetByteWidth(), c.width);
        if (c.format) {
            EXPECT_EQ(h.reader->GetTotalNumFrames(), (long long)c.values.size());
        }
        std::vector<float> out(c.values.size() + 1, 3.0f);
        ASSERT_EQ(h.reader->ReadFrames(out.data(), (long long)out.size()), (long long)c.values.size());
        out.pop_back();
        EXPECT_EQ(out, c.values);
    }
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
    Bytes b = Head();
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

TEST(WavFormat, ExtensionsIgnoreCaseButNeedTheDot) {
    tam::WaveFileFormat f;
    EXPECT_TRUE(f.HasExtension(".WAV"));
    EXPECT_TRUE(f.HasExtension(".Wave"));
    EXPECT_FALSE(f.HasExtension("wav"));
    EXPECT_FALSE(f.HasExtension(".aif"));

    tam::AudioFileManager manager;
    manager.AddFormat(new tam::WaveFileFormat);
    EXPECT_NE(manager.FindFormatFromFileExtension(".wav"), nullptr);
    EXPECT_EQ(manager.FindFormatFromFileExtension(".xyz"), nullptr);
}
