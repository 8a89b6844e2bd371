// Helpers shared by the effect tests: building a module on the reference
// host, reference data files, Schroeder decay fitting, spectral peak
// estimation and small signal builders.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tamhost/DspHost.h"

namespace fxtest {

inline std::string dataPath(const std::string& name) {
    return std::string(TAM_TEST_DATA_DIR) + "/effects/" + name;
}

// Float32 samples (the host is little-endian, as the files are).
inline std::vector<float> readF32(const std::string& name) {
    std::ifstream in(dataPath(name), std::ios::binary);
    if (!in) throw std::runtime_error("missing reference " + name);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<float> out(bytes.size() / 4);
    std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

// Rows of a tab-separated file, skipping lines that start with '#'.
inline std::vector<std::vector<std::string>> readTsv(const std::string& name) {
    std::ifstream in(dataPath(name));
    if (!in) throw std::runtime_error("missing reference " + name);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> row;
        std::stringstream fields(line);
        std::string field;
        while (std::getline(fields, field, '\t')) row.push_back(field);
        rows.push_back(row);
    }
    return rows;
}

// An effect at the given rate and host block size, its audio parameter pins
// held at constant values.
inline std::unique_ptr<tamhost::DspModule> module(
    const char* id, float rate, int block, std::initializer_list<std::pair<int, float>> constants = {}) {
    tamhost::DspOptions options;
    options.sampleRate = rate;
    options.blockSize = block;
    auto m = std::make_unique<tamhost::DspModule>(id, options);
    for (auto [pin, value] : constants) m->setAudioInputConstant(pin, value);
    return m;
}

// A streaming signal on an audio input.
inline void feed(tamhost::DspModule& m, int pin, std::vector<float> x) {
    m.setAudioInput(pin, std::move(x));
    m.setStreaming(pin, true);
}

inline std::vector<float> slice(const std::vector<float>& x, size_t start, size_t length) {
    return {x.begin() + start, x.begin() + start + length};
}

inline std::vector<float> impulse(size_t frames) {
    std::vector<float> x(frames, 0.0f);
    x.at(0) = 1.0f;
    return x;
}

inline std::vector<float> sine(size_t frames, double hz, double rate, float amplitude = 0.5f) {
    std::vector<float> x(frames);
    for (size_t i = 0; i < frames; ++i)
        x[i] = amplitude * static_cast<float>(std::sin(2.0 * M_PI * hz * i / rate));
    return x;
}

// Deterministic white noise in [-amplitude, amplitude].
inline std::vector<float> noise(size_t frames, float amplitude = 0.5f, uint32_t state = 12345u) {
    std::vector<float> x(frames);
    for (auto& v : x) {
        state = state * 1664525u + 1013904223u;
        v = amplitude * (static_cast<float>(state >> 8) / 8388608.0f - 1.0f);
    }
    return x;
}

// Decay time from the backward-integrated energy, fitted between top and
// bottom decibels.
inline double schroederT60(const std::vector<float>& ir, double rate, double top = -5.0,
                           double bottom = -35.0) {
    std::vector<double> energy(ir.size());
    double sum = 0.0;
    for (size_t i = ir.size(); i-- > 0;) {
        sum += static_cast<double>(ir[i]) * ir[i];
        energy[i] = sum;
    }
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    int n = 0;
    for (size_t i = 0; i < ir.size(); ++i) {
        const double db = 10.0 * std::log10(energy[i] / energy[0] + 1e-300);
        if (db > top || db < bottom) continue;
        const double t = i / rate;
        sx += t;
        sy += db;
        sxx += t * t;
        sxy += t * db;
        ++n;
    }
    const double slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
    return -60.0 / slope;
}

// Frequency of the strongest component by a Hann-windowed DFT scanned over
// [low, high] in steps, refined by parabolic interpolation of the magnitude.
inline double peakFrequency(const std::vector<float>& x, size_t start, size_t length, double rate, double low,
                            double high, double step = 0.25) {
    std::vector<double> windowed(length);
    for (size_t i = 0; i < length; ++i)
        windowed[i] = (0.5 - 0.5 * std::cos(2 * M_PI * i / (length - 1))) * x[start + i];
    auto magnitude = [&](double hz) {
        // Rotating phasor; renormalised now and then against drift.
        const double w = 2 * M_PI * hz / rate;
        const double cw = std::cos(w), sw = std::sin(w);
        double c = 1.0, s = 0.0, re = 0.0, im = 0.0;
        for (size_t i = 0; i < length; ++i) {
            re += windowed[i] * c;
            im -= windowed[i] * s;
            const double nc = c * cw - s * sw;
            s = s * cw + c * sw;
            c = nc;
            if ((i & 4095) == 4095) {
                const double norm = 1.0 / std::sqrt(c * c + s * s);
                c *= norm;
                s *= norm;
            }
        }
        return std::sqrt(re * re + im * im);
    };
    double best = low, bestMag = -1;
    for (double hz = low; hz <= high; hz += step) {
        const double m = magnitude(hz);
        if (m > bestMag) {
            bestMag = m;
            best = hz;
        }
    }
    const double a = magnitude(best - step), b = bestMag, c = magnitude(best + step);
    const double denom = a - 2 * b + c;
    return denom != 0 ? best + 0.5 * step * (a - c) / denom : best;
}

inline double rms(const std::vector<float>& x, size_t start, size_t length) {
    double s = 0;
    for (size_t i = start; i < start + length; ++i) s += static_cast<double>(x[i]) * x[i];
    return std::sqrt(s / length);
}

}  // namespace fxtest
