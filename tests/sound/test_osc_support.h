// Shared by the oscillator and wave table tests: reference values made by
// tests/data/sound/osc/make_refs.py, "WAVE" blobs, and spectrum measures of
// the tests' own (a plain DFT and a small radix-2 transform).
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tamhost/DspHost.h"

namespace osctest {

inline const nlohmann::json& refs() {
    static const nlohmann::json data = [] {
        std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/sound/osc/refs.json");
        if (!in)
            throw std::runtime_error("missing refs.json");
        return nlohmann::json::parse(in);
    }();
    return data;
}

// A "WAVE" blob with a header of our own choosing.
inline std::vector<uint8_t> waveBlob(const std::vector<float>& samples, const char* marker = "WAVE", int32_t version = 8,
                                     int32_t count = -1) {
    if (count < 0)
        count = static_cast<int32_t>(samples.size());
    std::vector<uint8_t> bytes(marker, marker + 4);
    auto put = [&bytes](const void* p, size_t n) {
        const size_t at = bytes.size();
        bytes.resize(at + n);
        std::memcpy(bytes.data() + at, p, n);
    };
    put(&version, 4);
    put(&count, 4);
    if (!samples.empty())
        put(samples.data(), samples.size() * 4);
    return bytes;
}

// Amplitude of the component at `hz` over the whole signal (a whole number
// of its cycles should fit).
inline double amplitudeAt(const std::vector<float>& x, size_t start, size_t n, double hz, double rate) {
    double re = 0.0, im = 0.0;
    const double w = 2.0 * M_PI * hz / rate;
    for (size_t i = 0; i < n; ++i) {
        re += x[start + i] * std::cos(w * static_cast<double>(i));
        im += x[start + i] * std::sin(w * static_cast<double>(i));
    }
    return 2.0 * std::hypot(re, im) / static_cast<double>(n);
}

inline void fft(std::vector<std::complex<double>>& a) {
    const size_t n = a.size();
    if (n < 2)
        return;
    std::vector<std::complex<double>> even(n / 2), odd(n / 2);
    for (size_t i = 0; i < n / 2; ++i) {
        even[i] = a[2 * i];
        odd[i] = a[2 * i + 1];
    }
    fft(even);
    fft(odd);
    for (size_t k = 0; k < n / 2; ++k) {
        const auto t = std::polar(1.0, -2.0 * M_PI * static_cast<double>(k) / static_cast<double>(n)) * odd[k];
        a[k] = even[k] + t;
        a[k + n / 2] = even[k] - t;
    }
}

// Welch power density (Hann, half overlap), bins of rate / segment.
inline std::vector<double> welch(const std::vector<float>& x, size_t segment) {
    std::vector<double> psd(segment / 2 + 1, 0.0);
    int segments = 0;
    for (size_t start = 0; start + segment <= x.size(); start += segment / 2) {
        std::vector<std::complex<double>> a(segment);
        for (size_t i = 0; i < segment; ++i)
            a[i] = x[start + i] * (0.5 - 0.5 * std::cos(2.0 * M_PI * static_cast<double>(i) / static_cast<double>(segment)));
        fft(a);
        for (size_t k = 0; k < psd.size(); ++k)
            psd[k] += std::norm(a[k]);
        ++segments;
    }
    for (auto& p : psd)
        p /= segments;
    return psd;
}

// Mean density between two frequencies.
inline double meanDensity(const std::vector<double>& psd, size_t segment, double rate, double lo, double hi) {
    const double bin = rate / static_cast<double>(segment);
    double sum = 0.0;
    int count = 0;
    for (size_t k = static_cast<size_t>(std::ceil(lo / bin)); k <= static_cast<size_t>(hi / bin) && k < psd.size(); ++k) {
        sum += psd[k];
        ++count;
    }
    return count > 0 ? sum / count : 0.0;
}

inline double rms(const std::vector<float>& x, size_t start = 0) {
    double s = 0.0;
    for (size_t i = start; i < x.size(); ++i)
        s += static_cast<double>(x[i]) * x[i];
    return std::sqrt(s / static_cast<double>(x.size() - start));
}

inline bool allFinite(const std::vector<float>& x) {
    for (float v : x)
        if (!std::isfinite(v))
            return false;
    return true;
}

// Oscillator pins.
enum OscPin { kEnable = 0, kWaveform, kCustomOn, kCustomWave, kLevel, kPitch, kOffset, kWidth, kSync, kOut, kPitchMode,
              kTableName, kTableBuilder };

// An oscillator at a fixed linear pitch (mode 1: pitch * 10 kHz).
inline void setupLinear(tamhost::DspModule& m, int waveform, double hz) {
    m.setInt(kWaveform, waveform);
    m.setInt(kPitchMode, 1);
    m.setAudioInputConstant(kPitch, static_cast<float>(hz / 10000.0));
    m.setAudioInputConstant(kLevel, 1.0f);
}

}  // namespace osctest
