// The tamhost command end to end: the built binary renders patches and
// processes files; bad input gives exit code 2, a clear message and no
// output file.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tamhost/DspHost.h"
#include "tamhost/Picture.h"
#include "tamhost/Render.h"

using namespace tamhost;
namespace fs = std::filesystem;

namespace {

struct Result {
    int code = -1;
    std::string out;
    std::string err;
};

std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string slurp(const fs::path& path) {
    std::ifstream in(path);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

class CommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        // The build puts tamhost beside tam.so.
        const char* tools = std::getenv("TAM_TOOLS_DIR");
        const char* pack = std::getenv("TAM_PACK");
        if (tools != nullptr) binary_ = fs::path(tools) / "tamhost";
        else if (pack != nullptr) binary_ = fs::path(pack).parent_path() / "tamhost";
        else GTEST_SKIP() << "neither TAM_TOOLS_DIR nor TAM_PACK is set (run through ctest)";
        if (!fs::exists(binary_)) GTEST_SKIP() << binary_ << " is not built";
        work_ = fs::temp_directory_path() / ("tamhost-test-" + std::to_string(::getpid()) + "-" +
                                             ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(work_);
    }
    void TearDown() override {
        std::error_code code;
        if (!work_.empty()) fs::remove_all(work_, code);
    }
    Result run(const std::string& args) {
        // Under the leak checker, fontconfig's process-long caches are not ours.
        const std::string suppressions = std::string(TAM_TEST_DATA_DIR) + "/tamhost/lsan.supp";
        const std::string command = "LSAN_OPTIONS=print_suppressions=0:suppressions=" + quote(suppressions) + " " + quote(binary_.string()) + " " + args + " >" + quote((work_ / "stdout").string()) +
                                    " 2>" + quote((work_ / "stderr").string()) + " </dev/null";
        const int status = std::system(command.c_str());
        Result r;
        r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.out = slurp(work_ / "stdout");
        r.err = slurp(work_ / "stderr");
        return r;
    }
    fs::path write(const std::string& name, const std::string& text) {
        const fs::path path = work_ / name;
        std::ofstream(path) << text;
        return path;
    }
    bool onlyExpectedFiles() const {
        for (const auto& entry : fs::directory_iterator(work_)) {
            const std::string name = entry.path().filename().string();
            if (name != "stdout" && name != "stderr" && name.find(".json") == std::string::npos) return false;
        }
        return true;
    }
    fs::path binary_;
    fs::path work_;
};

nlohmann::json references() {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/tamhost/references.json");
    return nlohmann::json::parse(in);
}

// Level of one tone by projection on sine and cosine (whole periods).
double toneRms(const std::vector<float>& s, double frequency, double rate, size_t from) {
    double a = 0.0, b = 0.0;
    const size_t n = s.size() - from;
    for (size_t i = 0; i < n; ++i) {
        const double w = 2.0 * M_PI * frequency * static_cast<double>(i) / rate;
        a += s[from + i] * std::sin(w);
        b += s[from + i] * std::cos(w);
    }
    return std::hypot(2.0 * a / n, 2.0 * b / n) / std::sqrt(2.0);
}

const std::string kDemo = std::string(TAM_SOURCE_DIR) + "/examples/patches/demo.json";

}  // namespace

TEST_F(CommandTest, HelpListAndInfo) {
    for (const char* command : {"--help", "list --help", "info --help", "render --help", "process --help", "help render"}) {
        const Result r = run(command);
        EXPECT_EQ(r.code, 0) << command;
        EXPECT_NE(r.out.find("usage: tamhost"), std::string::npos) << command;
    }
    Result r = run("");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("usage"), std::string::npos);
    r = run("frobnicate");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("unknown command"), std::string::npos);

    r = run("list");
    EXPECT_EQ(r.code, 0);
    std::ifstream built(std::string(TAM_TEST_DATA_DIR) + "/frame/built.txt");
    std::string line;
    while (std::getline(built, line)) {
        if (line.empty() || line[0] == '#') continue;
        const std::string id = line.substr(line.find('\t') + 1);
        EXPECT_NE(r.out.find(id + " "), std::string::npos) << id;
    }
    r = run("list --kind 0 --family TAM_FILTERS");
    EXPECT_NE(r.out.find("TamFilter2Pole"), std::string::npos);
    EXPECT_EQ(r.out.find("TamVCA"), std::string::npos);

    r = run("info TamVCA");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("Signal In"), std::string::npos);
    EXPECT_NE(r.out.find("out  audio   Signal Out"), std::string::npos) << r.out;
    r = run("info TamNothing");
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("TamNothing"), std::string::npos);
}

TEST_F(CommandTest, RendersTheDemoToWavAndPng) {
    const fs::path wav = work_ / "demo.wav";
    const fs::path png = work_ / "demo.png";
    const Result r = run("render " + quote(kDemo) + " -o " + quote(wav.string()) + " --png " + quote(png.string()));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.err, "");  // no progress bar when stderr is no terminal
    const AudioData audio = readAudioFile(wav.string());
    EXPECT_EQ(audio.sampleRate, 48000.0f);
    ASSERT_EQ(audio.channels.size(), 2u);
    EXPECT_EQ(audio.frames(), 6u * 48000u);
    float peak = 0.0f;
    for (const auto& c : audio.channels)
        for (float v : c) peak = std::max(peak, std::fabs(v));
    EXPECT_GT(peak, 0.05f);
    EXPECT_LT(peak, 0.99f);  // no clipping
    // The last half second has died away.
    float tail = 0.0f;
    for (size_t i = audio.frames() - 4800; i < audio.frames(); ++i) tail = std::max(tail, std::fabs(audio.channels[0][i]));
    EXPECT_LT(tail, 0.02f);

    const std::string bytes = slurp(png).substr(0, 8);
    EXPECT_EQ(bytes, "\x89PNG\r\n\x1a\n");
}

TEST_F(CommandTest, BadPatchGivesExitTwoAndWritesNothing) {
    const fs::path patch = write("bad.json",
                                 "{\n  \"length\": 1,\n  \"modules\": [\n    {\"name\": \"f\", \"id\": \"TamFilterX\"}\n  ],\n"
                                 "  \"output\": {\"channels\": [\"f.Signal Out\"]}\n}\n");
    const fs::path out = work_ / "out.wav";
    Result r = run("render " + quote(patch.string()) + " -o " + quote(out.string()));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("bad.json:4: /modules/0/id:"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(out));
    EXPECT_TRUE(onlyExpectedFiles());

    write("broken.json", "{\"length\": 1,,}");
    r = run("render " + quote((work_ / "broken.json").string()) + " -o " + quote(out.string()));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("broken.json:1:"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(out));

    // An output that cannot be written fails with 1 and leaves no part file.
    r = run("render " + quote(kDemo) + " -o " + quote((work_ / "missing-folder" / "x.wav").string()));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("cannot write"), std::string::npos) << r.err;
    EXPECT_TRUE(onlyExpectedFiles());
}

TEST_F(CommandTest, ProcessRunsAFilterOverAFile) {
    const nlohmann::json ref = references();
    const std::string in = std::string(TAM_TEST_DATA_DIR) + "/tamhost/two_tones.wav";
    const fs::path out = work_ / "filtered.wav";
    // 880 Hz two-pole low-pass (pitch 0.5 = 5 V).
    const Result r = run("process TamFilter2Pole --in " + quote(in) + " --out " + quote(out.string()) +
                         " --pin Pitch=5 --pin Response=0");
    ASSERT_EQ(r.code, 0) << r.err;
    const AudioData audio = readAudioFile(out.string());
    ASSERT_EQ(audio.channels.size(), 1u);
    ASSERT_EQ(audio.frames(), ref["frames"].get<size_t>());
    // Skip the first 0.05 s of settling; whole periods of both tones remain.
    const double low = toneRms(audio.channels[0], 200.0, 48000.0, 2400);
    const double high = toneRms(audio.channels[0], 6000.0, 48000.0, 2400);
    const double lowDb = 20.0 * std::log10(low / ref["input_rms_200"].get<double>());
    const double highDb = 20.0 * std::log10(high / ref["input_rms_6000"].get<double>());
    EXPECT_NEAR(lowDb, ref["ideal_lowpass_880_db_at_200"].get<double>(), 1.0);
    // Within 6 dB of an ideal 12 dB/octave low-pass at 880 Hz.
    EXPECT_NEAR(highDb, ref["ideal_lowpass_880_db_at_6000"].get<double>(), 6.0);

    // The same through the host library directly: the command routes pins right.
    const AudioData input = readAudioFile(in);
    DspModule m("TamFilter2Pole", {.sampleRate = 48000, .blockSize = 64});
    m.setAudioInput(0, input.channels[0]);
    m.setStreaming(0, true);
    m.setStreaming(0, false, static_cast<int64_t>(input.frames()));
    m.setAudioInputConstant(3, 0.5f);
    m.run(static_cast<int64_t>(input.frames()));
    for (size_t i = 0; i < audio.frames(); ++i) ASSERT_FLOAT_EQ(audio.channels[0][i], m.output(5)[i]) << i;
}

TEST_F(CommandTest, ProcessRejectsBadArguments) {
    const std::string in = std::string(TAM_TEST_DATA_DIR) + "/tamhost/two_tones.wav";
    const std::string out = (work_ / "x.wav").string();
    const std::string cases[] = {
        "process TamFilter2Pole --in " + quote(in),                                      // no --out
        "process TamNoModule --in " + quote(in) + " --out " + quote(out),                 // unknown module
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --pin Pich=5",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --pin Pitch=high",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --pin Response=1.5",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --pin Pitch",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --block 0",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --format mp3",
        "process TamFilter2Pole --in " + quote(in) + " --out " + quote(out) + " --frobnicate",
    };
    for (const auto& args : cases) {
        const Result r = run(args);
        EXPECT_EQ(r.code, 2) << args << "\n" << r.err;
        EXPECT_FALSE(r.err.empty());
        EXPECT_FALSE(fs::exists(out)) << args;
    }
    const Result r = run("process TamFilter2Pole --in " + quote((work_ / "none.wav").string()) + " --out " + quote(out));
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("none.wav"), std::string::npos);
}

TEST(PictureTest, SpectrumPutsASineInItsBinAtItsLevel) {
    // A sine of amplitude 1 exactly on bin 64 of 1024: Hann window gain 1/2,
    // so |X| = N/4 and the power 10 log10(1/16) = -12.04 dB.
    std::vector<float> s(1024);
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<float>(std::sin(2.0 * M_PI * 64.0 * i / 1024.0));
    const auto db = spectrumDb(s, 0, 1024);
    ASSERT_EQ(db.size(), 513u);
    EXPECT_NEAR(db[64], -12.0412, 0.01);
    EXPECT_NEAR(db[63], -18.06, 0.05);  // the Hann neighbours are 6 dB down
    EXPECT_LT(db[200], -100.0);
    EXPECT_THROW(spectrumDb(s, 0, 1000), std::invalid_argument);
    // NaN and the end of the signal read as silence.
    std::vector<float> odd = {NAN, INFINITY, 1.0f};
    for (double v : spectrumDb(odd, 0, 8)) EXPECT_TRUE(std::isfinite(v));
}
