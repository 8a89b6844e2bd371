// Shared by the level, pan and mix tests: the reference values made by
// tests/data/sound/level/make_refs.py, curve blobs, and signal builders.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tamhost/DspHost.h"

namespace leveltest {

inline std::string dataPath(const std::string& name) {
    return std::string(TAM_TEST_DATA_DIR) + "/sound/level/" + name;
}

inline const nlohmann::json& refs() {
    static const nlohmann::json data = [] {
        std::ifstream in(dataPath("refs.json"));
        if (!in)
            throw std::runtime_error("missing refs.json");
        return nlohmann::json::parse(in);
    }();
    return data;
}

inline std::vector<uint8_t> readBytes(const std::string& name) {
    std::ifstream in(dataPath(name), std::ios::binary);
    if (!in)
        throw std::runtime_error("missing " + name);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline std::vector<float> floats(const nlohmann::json& array) {
    std::vector<float> out;
    for (const auto& v : array)
        out.push_back(v.get<float>());
    return out;
}

// A CRVE blob with a header of our own choosing, for hostile cases.
inline std::vector<uint8_t> curveBlob(const char* marker, int32_t version, int32_t count, const std::vector<float>& values) {
    std::vector<uint8_t> bytes(marker, marker + 4);
    auto put = [&bytes](const void* p, size_t n) {
        const auto* b = static_cast<const uint8_t*>(p);
        bytes.insert(bytes.end(), b, b + n);
    };
    put(&version, 4);
    put(&count, 4);
    if (!values.empty())
        put(values.data(), values.size() * 4);
    return bytes;
}

// Blobs a curve pin must turn into "no curve": silence, never a stray read.
inline std::vector<std::vector<uint8_t>> badCurveBlobs() {
    const std::vector<uint8_t> header = curveBlob("CRVE", 8, 0, {});
    const std::vector<uint8_t> full = curveBlob("CRVE", 8, 3, {1.0f, 1.0f, 1.0f});
    const std::vector<uint8_t> cut(full.begin(), full.end() - 2);
    return {
        {},                                             // empty
        {'C'},                                          // shorter than a marker
        {'C', 'R', 'V', 'E'},                           // marker only
        std::vector<uint8_t>(header.begin(), header.begin() + 8),  // no count
        std::vector<uint8_t>(header.begin(), header.begin() + 10), // half a count
        curveBlob("EVRC", 8, 2, {1.0f, 1.0f}),          // wrong marker
        curveBlob("CRVE", 7, 2, {1.0f, 1.0f}),          // wrong version
        curveBlob("CRVE", 8, 0, {1.0f, 1.0f}),          // no values
        curveBlob("CRVE", 8, -5, {1.0f}),               // negative count
        curveBlob("CRVE", 8, 1000, {1.0f, 1.0f}),       // claims more than it holds
        curveBlob("CRVE", 8, 0x7fffffff, {1.0f}),       // claims far more
        cut,                                            // last value cut short
    };
}

// 0.1, 0.2, ... wrapping, never zero: products show every gain.
inline std::vector<float> testSignal(size_t n, float scale = 1.0f) {
    std::vector<float> s(n);
    for (size_t i = 0; i < n; ++i)
        s[i] = scale * (0.1f + 0.05f * static_cast<float>(i % 17));
    return s;
}

// Repeats `pattern` to n samples.
inline std::vector<float> repeated(const std::vector<float>& pattern, size_t n) {
    std::vector<float> s(n);
    for (size_t i = 0; i < n; ++i)
        s[i] = pattern[i % pattern.size()];
    return s;
}

// Streams `x` into an input pin.
inline void feed(tamhost::DspModule& m, int pin, const std::vector<float>& x) {
    m.setAudioInput(pin, x);
    m.setStreaming(pin, true);
}

// Tolerance for float32 results against float64 or numpy float32 values.
inline double tolerance(double expected, double relative = 2e-6) {
    return std::fabs(expected) * relative + 1e-9;
}

}  // namespace leveltest
