// tam::String appending and copying, and ValArray growth, beside
// std::string and std::vector doing the same work.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "foundation/tamArray.h"
#include "foundation/tamString.h"

namespace {

constexpr const char kWord[] = "word ";

// No growth margin: each append reallocates to the exact length.
void TamStringAppend(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        tam::String s;
        for (int i = 0; i < n; ++i)
            s += kWord;
        benchmark::DoNotOptimize(static_cast<const char*>(s));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void TamStringAppendPreallocated(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        tam::String s;
        s.PreAllocateStorage(n * 5);
        for (int i = 0; i < n; ++i)
            s += kWord;
        benchmark::DoNotOptimize(static_cast<const char*>(s));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void StdStringAppend(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < n; ++i)
            s += kWord;
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// A copy is one atomic increment, whatever the length.
void TamStringCopy(benchmark::State& state) {
    const tam::String source(std::string(static_cast<std::size_t>(state.range(0)), 'x').c_str());
    for (auto _ : state) {
        tam::String copy = source;
        benchmark::DoNotOptimize(static_cast<const char*>(copy));
    }
    state.SetItemsProcessed(state.iterations());
}

void StdStringCopy(benchmark::State& state) {
    const std::string source(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        std::string copy = source;
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetItemsProcessed(state.iterations());
}

void TamValArrayGrowth(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        tam::ValArray<float> a(8);
        for (int i = 0; i < n; ++i)
            a.Add(static_cast<float>(i));
        benchmark::DoNotOptimize(a.GetData());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void StdVectorGrowth(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<float> a;
        for (int i = 0; i < n; ++i)
            a.push_back(static_cast<float>(i));
        benchmark::DoNotOptimize(a.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(TamStringAppend)->Arg(100)->Arg(10000);
BENCHMARK(TamStringAppendPreallocated)->Arg(100)->Arg(10000);
BENCHMARK(StdStringAppend)->Arg(100)->Arg(10000);
BENCHMARK(TamStringCopy)->Arg(16)->Arg(4096);
BENCHMARK(StdStringCopy)->Arg(16)->Arg(4096);
BENCHMARK(TamValArrayGrowth)->Arg(100)->Arg(100000);
BENCHMARK(StdVectorGrowth)->Arg(100)->Arg(100000);
