// Shared by the filter tests: the response cases made by
// tests/data/sound/filters/make_responses.py, and measuring a module's
// frequency response from its impulse response.
#pragma once

#include <cmath>
#include <complex>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tamhost/DspHost.h"

namespace filtertest {

inline std::string dataPath(const std::string& name) {
    return std::string(TAM_TEST_DATA_DIR) + "/sound/filters/" + name;
}

struct PinSetting {
    int index = 0;
    std::string type;  // "enum" or "audio"
    double value = 0.0;
};

struct ResponsePoint {
    double hz = 0.0;
    double magnitudeDb = 0.0;
    double phase = 0.0;
    double textbookDb = NAN;  // NaN where the textbook design is the same
};

struct ResponseCase {
    std::string name;
    std::string module;
    float rate = 44100.0f;
    int length = 0;
    std::vector<PinSetting> pins;
    std::vector<ResponsePoint> points;
};

inline std::vector<ResponseCase> loadResponses() {
    std::ifstream in(dataPath("responses.txt"));
    if (!in) throw std::runtime_error("missing responses.txt");
    std::vector<ResponseCase> cases;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line);
        if (line.rfind("case ", 0) == 0) {
            ResponseCase c;
            std::string tag, setting;
            words >> tag >> c.name >> c.module >> c.rate >> c.length;
            while (words >> setting) {
                PinSetting p;
                const auto first = setting.find(':'), second = setting.rfind(':');
                p.index = std::stoi(setting.substr(0, first));
                p.type = setting.substr(first + 1, second - first - 1);
                p.value = std::stod(setting.substr(second + 1));
                c.pins.push_back(p);
            }
            cases.push_back(c);
        } else if (line == "end") {
            continue;
        } else if (!cases.empty()) {
            ResponsePoint p;
            std::string textbook;
            words >> p.hz >> p.magnitudeDb >> p.phase >> textbook;
            p.textbookDb = textbook == "nan" ? NAN : std::stod(textbook);
            cases.back().points.push_back(p);
        }
    }
    return cases;
}

// H(f) of an impulse response, by a direct transform at that frequency.
inline std::complex<double> transformAt(const std::vector<float>& h, double hz, double rate, double scale = 1.0) {
    std::complex<double> sum = 0.0;
    const double w = -2.0 * M_PI * hz / rate;
    for (size_t n = 0; n < h.size(); ++n) sum += static_cast<double>(h[n]) * std::polar(1.0, w * static_cast<double>(n));
    return sum / scale;
}

inline double toDb(std::complex<double> h) { return 20.0 * std::log10(std::max(std::abs(h), 1e-30)); }

inline double phaseDifference(double a, double b) { return std::remainder(a - b, 2.0 * M_PI); }

// Applies a case's pin settings (not the signal) to a module.
inline void applyPins(tamhost::DspModule& m, const std::vector<PinSetting>& pins) {
    for (const auto& p : pins) {
        if (p.type == "enum") {
            m.setInt(p.index, static_cast<int32_t>(p.value));
        } else {
            m.setAudioInputConstant(p.index, static_cast<float>(p.value));
        }
    }
}

inline std::vector<float> impulse(int length, float amplitude = 1.0f) {
    std::vector<float> x(static_cast<size_t>(length), 0.0f);
    if (length > 0) x[0] = amplitude;
    return x;
}

// A decaying test tone: steady in level, rich enough to reach every state.
inline std::vector<float> testTone(int length, double rate = 44100.0) {
    std::vector<float> x(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i) {
        const double t = i / rate;
        x[i] = static_cast<float>(0.5 * std::sin(2 * M_PI * 440.0 * t) + 0.3 * std::sin(2 * M_PI * 3100.0 * t + 1.0));
    }
    return x;
}

}  // namespace filtertest
