// Shared by the envelope and curve tests: the reference values made by
// tests/data/sound/env/make_refs.py, and small signal builders.
#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace envtest {

inline const nlohmann::json& refs() {
    static const nlohmann::json data = [] {
        std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/sound/env/refs.json");
        if (!in) throw std::runtime_error("missing refs.json");
        return nlohmann::json::parse(in);
    }();
    return data;
}

// 0 before `on`, `high` from `on` up to `off`, 0 after (or to the end).
inline std::vector<float> step(size_t length, size_t on, size_t off, float high = 1.0f) {
    std::vector<float> out(length, 0.0f);
    for (size_t i = on; i < off && i < length; ++i) out[i] = high;
    return out;
}

// First index at or after `from` whose value equals `value`, else -1.
inline long firstEqual(const std::vector<float>& v, size_t from, float value) {
    for (size_t i = from; i < v.size(); ++i)
        if (v[i] == value) return static_cast<long>(i);
    return -1;
}

}  // namespace envtest
