// A picture of rendered audio for people to look at: each channel's waveform
// above a spectrogram of the channels' sum, written as PNG through cairo.
#pragma once

#include <string>

#include "tamhost/Render.h"

namespace tamhost {

struct PictureOptions {
    int width = 1200;
    int height = 700;
    std::string title;
    double maxFrequency = 0.0;  // top of the spectrogram; 0: half the sample rate
};

// Written whole or not at all (temporary file, then rename). Throws
// std::runtime_error when cairo cannot write.
void writePicture(const std::string& path, const AudioData& audio, const PictureOptions& options = {});

// Power spectrum in dB (10 log10 of |X|^2 / N^2, floored at -160) of one
// Hann-windowed frame of size 2^k starting at start; zeros past the end.
std::vector<double> spectrumDb(const std::vector<float>& samples, size_t start, size_t size);

}  // namespace tamhost
