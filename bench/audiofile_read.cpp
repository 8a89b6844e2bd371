// Reading a WAV file into float frames: the pack's reader against
// libsndfile's sf_readf_float, on the same files (16-bit, 24-bit, float;
// stereo, 10 seconds at 48 kHz), in blocks of 4096 frames.
#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "audiofile/tamWaveFile.h"

namespace {

constexpr int kFrames = 480000;
constexpr int kBlock = 4096;

const std::string& FilePath(int subformat) {
    static std::string paths[8];
    std::string& p = paths[subformat & 7];
    if (p.empty()) {
        p = (std::filesystem::temp_directory_path() /
             ("tam_bench_read_" + std::to_string(subformat) + ".wav"))
                .string();
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = 2;
        info.format = SF_FORMAT_WAV | subformat;
        SNDFILE* f = sf_open(p.c_str(), SFM_WRITE, &info);
        std::vector<float> block(size_t(kBlock) * 2);
        for (int done = 0; done < kFrames; done += kBlock) {
            for (int i = 0; i < kBlock * 2; ++i)
                block[size_t(i)] = 0.8f * float(std::sin(0.001 * (done * 2 + i)));
            sf_writef_float(f, block.data(), std::min(kBlock, kFrames - done));
        }
        sf_close(f);
    }
    return p;
}

void PackRead(benchmark::State& state, int subformat) {
    const std::string& path = FilePath(subformat);
    std::vector<float> out(size_t(kBlock) * 2);
    tam::WaveFileFormat format;
    for (auto _ : state) {
        tam::FileStream* stream = tam::FileStream::CreateInputStream(tam::File(path.c_str()));
        tam::WaveFileReader* reader = format.CreateReader(stream);
        long long total = 0;
        while (long long n = reader->ReadFrames(out.data(), kBlock)) total += n;
        benchmark::DoNotOptimize(out.data());
        reader->Release();
        stream->Release();
        if (total != kFrames) state.SkipWithError("short read");
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void SndfileRead(benchmark::State& state, int subformat) {
    const std::string& path = FilePath(subformat);
    std::vector<float> out(size_t(kBlock) * 2);
    for (auto _ : state) {
        SF_INFO info{};
        SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
        long long total = 0;
        while (sf_count_t n = sf_readf_float(f, out.data(), kBlock)) total += n;
        benchmark::DoNotOptimize(out.data());
        sf_close(f);
        if (total != kFrames) state.SkipWithError("short read");
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

BENCHMARK_CAPTURE(PackRead, pcm16, SF_FORMAT_PCM_16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SndfileRead, pcm16, SF_FORMAT_PCM_16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PackRead, pcm24, SF_FORMAT_PCM_24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SndfileRead, pcm24, SF_FORMAT_PCM_24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PackRead, float32, SF_FORMAT_FLOAT)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SndfileRead, float32, SF_FORMAT_FLOAT)->Unit(benchmark::kMillisecond);

}  // namespace
