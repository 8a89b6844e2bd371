// Offline rendering: audio files in and out through libsndfile, a patch
// rendered to its output channels, and one module run over a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tamhost/Catalogue.h"
#include "tamhost/PatchFile.h"
#include "tamhost/Values.h"

namespace tamhost {

struct AudioData {
    float sampleRate = 44100.0f;
    std::vector<std::vector<float>> channels;  // equal lengths
    size_t frames() const { return channels.empty() ? 0 : channels.front().size(); }
};

enum class SampleFormat { Float, Pcm16, Pcm24 };
// "float", "pcm16", "pcm24"; nullopt for anything else.
std::optional<SampleFormat> sampleFormatFromName(const std::string& name);

// Throw std::runtime_error with the file and libsndfile's message.
AudioData readAudioFile(const std::string& path);
// Writes a WAV file whole or not at all: a temporary file beside the target,
// renamed over it when complete.
void writeAudioFile(const std::string& path, const AudioData& audio, SampleFormat format);

// A hidden name beside target for writing it whole or not at all.
std::string temporaryPath(const std::filesystem::path& target);

// Renders a loaded patch's length; progress gets the fraction done now and
// then (and 1 at the end).
AudioData renderPatch(LoadedPatch& patch, const std::function<void(double)>& progress = {});

// A pin value from command-line text, by the pin's type (audio pins take
// volts). Throws std::invalid_argument for text that does not fit.
RawValue valueFromText(const PinInfo& pin, const std::string& text);

struct ProcessOptions {
    std::vector<std::pair<std::string, std::string>> pinValues;  // name or index = text
    std::vector<std::string> inputPins;   // default: audio inputs named "... In"
    std::vector<std::string> outputPins;  // default: every audio output
    int blockSize = 64;
    double tailSeconds = 0.0;  // rendered after the input ends
};

// Runs one DSP module over a file: channel i feeds the i-th input pin (a
// mono file feeds all of them). Throws std::invalid_argument for unknown
// modules or pins and values that do not fit.
AudioData processModule(const std::string& id, const AudioData& input, const ProcessOptions& options);

}  // namespace tamhost
