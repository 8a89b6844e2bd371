// Files the pack writes, read by libsndfile, sox, ffmpeg and the pack's own
// reader: every format, in the plain and the extensible header, written in two
// calls, must come back sample for sample.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "AudioTestData.h"

using namespace tamtest;

namespace {

const char* kFormatNames[10] = {"", "u8", "", "s16", "s24", "s32", "f32", "f64", "alaw", "ulaw"};

bool HaveTool(const char* tool) {
    const std::string cmd = std::string("command -v ") + tool + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

// Inputs that each format stores without loss, and what a reader returns.
void Signal(int format, std::vector<float>& in, std::vector<float>& expect) {
    const std::vector<unsigned char> lawRaw =
        LoadBytes(AudioDataPath(format == 9 ? "ulaw_decode.s16" : "alaw_decode.s16"));
    for (int i = 0; i < 512; ++i) {
        const int k = (i * 37) % 256;
        const double t = (k - 128) / 128.0;
        if (format == 1 || format == 3 || format == 4) {
            // Whole steps of the word: a reader divides by one more.
            const double scale = format == 1 ? 127 : format == 3 ? 32767 : 8388607;
            in.push_back(float(std::round(t * scale) / scale));
            expect.push_back(float(std::round(t * scale) / (scale + 1)));
        } else if (format == 8 || format == 9) {
            const short v = short(lawRaw[size_t(2 * k)] | (lawRaw[size_t(2 * k + 1)] << 8));
            in.push_back(v / 32768.0f);
            expect.push_back(in.back());
        } else {
            in.push_back(float(t * 0.999));
            expect.push_back(in.back());
        }
    }
}

class PackFile {
public:
    PackFile(int format, bool extensible) {
        Signal(format, in, expect);
        path = (std::filesystem::temp_directory_path() /
                ("tam_interop_" + std::to_string(::getpid()) + "_" + kFormatNames[format] +
                 (extensible ? "_x.wav" : ".wav")))
                   .string();
        tam::FileStream* stream = tam::FileStream::CreateOutputStream(tam::File(path.c_str()));
        if (!stream) return;
        tam::WaveFileFormat wav;
        tam::WaveFileWriter* w = wav.CreateWriter(stream);
        if (w) {
            w->SetExtensible(extensible);
            ok = w->SetSampleRate(48000) && w->SetNumChannels(2) && w->SetSampleFormat(format) &&
                 w->WriteStart() && w->WriteFrames(in.data(), 100) == 100 &&
                 w->WriteFrames(in.data() + 200, 156) == 156 && w->WriteEnd();
            w->Release();
        }
        stream->Release();
    }
    ~PackFile() { std::remove(path.c_str()); }

    std::string path;
    std::vector<float> in, expect;
    bool ok = false;
};

std::vector<float> RunToFloats(const std::string& command) {
    std::vector<float> out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    float block[1024];
    size_t n;
    while ((n = fread(block, sizeof(float), 1024, pipe)) > 0) out.insert(out.end(), block, block + n);
    pclose(pipe);
    return out;
}

class PackWrites : public ::testing::TestWithParam<std::tuple<int, bool>> {
protected:
    void SetUp() override { ASSERT_TRUE(file.ok); }
    PackFile file{std::get<0>(GetParam()), std::get<1>(GetParam())};
};

TEST_P(PackWrites, LibsndfileAndThePackReadExactly) {
    {
        ReaderHolder r(LoadBytes(file.path));
        ASSERT_NE(r.reader, nullptr) << r.error();
        EXPECT_EQ(r.reader->GetSampleFormat(), std::get<0>(GetParam()));
        EXPECT_EQ(r.reader->GetSampleRate(), 48000);
        ASSERT_EQ(r.reader->GetTotalNumFrames(), 256);
        std::vector<float> out(512);
        ASSERT_EQ(r.reader->ReadFrames(out.data(), 256), 256);
        for (size_t i = 0; i < 512; ++i) ASSERT_EQ(out[i], file.expect[i]) << "pack reader, sample " << i;
    }
    SF_INFO info{};
    SNDFILE* sf = sf_open(file.path.c_str(), SFM_READ, &info);
    ASSERT_NE(sf, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.samplerate, 48000);
    ASSERT_EQ(info.frames, 256);
    std::vector<float> out(512);
    ASSERT_EQ(sf_readf_float(sf, out.data(), 256), 256);
    sf_close(sf);
    for (size_t i = 0; i < 512; ++i) ASSERT_EQ(out[i], file.expect[i]) << "sample " << i;
}

TEST_P(PackWrites, SoxReadsExactly) {
    if (!HaveTool("sox")) GTEST_SKIP() << "sox is not installed";
    // sox works in 32-bit integers inside; asking for those avoids its float
    // scaling, which is not exact for full 24-bit mantissas.
    const std::vector<float> raw =
        RunToFloats("sox -V1 -D '" + file.path + "' -t raw -e signed -b 32 -L - 2>/dev/null");
    ASSERT_EQ(raw.size(), 512u);
    for (size_t i = 0; i < 512; ++i) {
        int32_t v;
        std::memcpy(&v, &raw[i], 4);
        ASSERT_EQ(double(v), double(file.expect[i]) * 2147483648.0) << "sample " << i;
    }
}

TEST_P(PackWrites, FfmpegReadsExactly) {
    if (!HaveTool("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    const std::vector<float> out =
        RunToFloats("ffmpeg -nostdin -v error -i '" + file.path + "' -f f32le -c:a pcm_f32le - 2>/dev/null");
    ASSERT_EQ(out.size(), 512u);
    for (size_t i = 0; i < 512; ++i) ASSERT_EQ(out[i], file.expect[i]) << "sample " << i;
}

INSTANTIATE_TEST_SUITE_P(AllFormats, PackWrites,
                         ::testing::Combine(::testing::Values(1, 3, 4, 5, 6, 7, 8, 9), ::testing::Bool()),
                         [](const auto& info) {
                             return std::string(kFormatNames[std::get<0>(info.param)]) +
                                    (std::get<1>(info.param) ? "_extensible" : "_plain");
                         });

}  // namespace
