// Offline rendering and audio file input/output.
#include "tamhost/Render.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "tamhost/Pack.h"

namespace tamhost {

std::optional<SampleFormat> sampleFormatFromName(const std::string& name) {
    if (name == "float") return SampleFormat::Float;
    if (name == "pcm16") return SampleFormat::Pcm16;
    if (name == "pcm24") return SampleFormat::Pcm24;
    return std::nullopt;
}

AudioData readAudioFile(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr) throw std::runtime_error("cannot read '" + path + "': " + sf_strerror(nullptr));
    AudioData audio;
    audio.sampleRate = static_cast<float>(info.samplerate);
    const int64_t limit = kMaxPatchFrames;
    if (info.channels < 1 || info.channels > 64 || info.frames < 0 || info.frames > limit) {
        sf_close(file);
        throw std::runtime_error("'" + path + "' has " + std::to_string(info.channels) + " channels and " +
                                 std::to_string(info.frames) + " frames; at most 64 and " + std::to_string(limit) + " are read");
    }
    const auto channels = static_cast<size_t>(info.channels);
    std::vector<float> interleaved(static_cast<size_t>(info.frames) * channels);
    const sf_count_t got = sf_readf_float(file, interleaved.data(), info.frames);
    sf_close(file);
    const auto frames = static_cast<size_t>(std::max<sf_count_t>(got, 0));
    audio.channels.assign(channels, std::vector<float>(frames));
    for (size_t i = 0; i < frames; ++i)
        for (size_t c = 0; c < channels; ++c) audio.channels[c][i] = interleaved[i * channels + c];
    return audio;
}

std::string temporaryPath(const std::filesystem::path& target) {
    std::string name = ".";
    name += target.filename().string();
    name += ".part";
    name += std::to_string(getpid());
    return (target.parent_path() / name).string();
}

void writeAudioFile(const std::string& path, const AudioData& audio, SampleFormat format) {
    if (audio.channels.empty()) throw std::runtime_error("nothing to write to '" + path + "'");
    SF_INFO info{};
    info.samplerate = static_cast<int>(std::lround(audio.sampleRate));
    info.channels = static_cast<int>(audio.channels.size());
    info.format = SF_FORMAT_WAV | (format == SampleFormat::Float   ? SF_FORMAT_FLOAT
                                   : format == SampleFormat::Pcm16 ? SF_FORMAT_PCM_16
                                                                   : SF_FORMAT_PCM_24);
    const std::filesystem::path target(path);
    const std::string temporary = temporaryPath(target);
    SNDFILE* file = sf_open(temporary.c_str(), SFM_WRITE, &info);
    if (file == nullptr) throw std::runtime_error("cannot write '" + path + "': " + sf_strerror(nullptr));
    // Integer formats clip rather than wrap.
    sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
    const size_t frames = audio.frames();
    const size_t channels = audio.channels.size();
    constexpr size_t kChunk = 4096;
    std::vector<float> interleaved(kChunk * channels);
    bool ok = true;
    for (size_t start = 0; start < frames && ok; start += kChunk) {
        const size_t n = std::min(kChunk, frames - start);
        for (size_t i = 0; i < n; ++i)
            for (size_t c = 0; c < channels; ++c) {
                const float v = audio.channels[c].size() > start + i ? audio.channels[c][start + i] : 0.0f;
                interleaved[i * channels + c] = std::isfinite(v) ? v : 0.0f;
            }
        ok = sf_writef_float(file, interleaved.data(), static_cast<sf_count_t>(n)) == static_cast<sf_count_t>(n);
    }
    const std::string error = ok ? std::string() : sf_strerror(file);
    if (sf_close(file) != 0) ok = false;
    std::error_code code;
    if (ok) std::filesystem::rename(temporary, target, code);
    if (!ok || code) {
        std::filesystem::remove(temporary, code);
        throw std::runtime_error("cannot write '" + path + "'" + (error.empty() ? "" : ": " + error));
    }
}

AudioData renderPatch(LoadedPatch& patch, const std::function<void(double)>& progress) {
    AudioData out;
    out.sampleRate = patch.sampleRate;
    out.channels.assign(patch.outputs.size(), {});
    for (auto& channel : out.channels) channel.reserve(static_cast<size_t>(patch.frames));
    Graph& graph = *patch.graph;
    const int64_t step = std::max<int64_t>(patch.frames / 100, 1);
    int64_t nextReport = 0;
    graph.run(patch.frames, [&](int64_t start, int count) {
        for (size_t c = 0; c < patch.outputs.size(); ++c) {
            const float* samples = graph.buffer(patch.outputs[c].node, patch.outputs[c].pin);
            out.channels[c].insert(out.channels[c].end(), samples, samples + count);
        }
        if (progress && start + count >= nextReport) {
            progress(static_cast<double>(start + count) / static_cast<double>(patch.frames));
            nextReport = start + count + step;
        }
    });
    if (progress) progress(1.0);
    return out;
}

RawValue valueFromText(const PinInfo& pin, const std::string& text) {
    auto fullNumber = [&](double& value) {
        size_t used = 0;
        try {
            value = std::stod(text, &used);
        } catch (const std::exception&) {
            return false;
        }
        return used == text.size();
    };
    double v = 0.0;
    switch (pin.type) {
        case PinType::Float:
            if (!fullNumber(v)) break;
            return rawFloat(static_cast<float>(v));
        case PinType::Audio:
            if (!fullNumber(v)) break;
            return rawFloat(static_cast<float>(v * 0.1));
        case PinType::Int:
        case PinType::Enum:
            if (!fullNumber(v) || v != std::floor(v) || v < -2147483648.0 || v > 2147483647.0) break;
            return rawInt(static_cast<int32_t>(v));
        case PinType::Bool:
            if (text == "true" || text == "on" || text == "1") return rawBool(true);
            if (text == "false" || text == "off" || text == "0") return rawBool(false);
            break;
        case PinType::String:
            return rawString(widen(text));
        case PinType::Blob:
            return rawBlob(std::vector<uint8_t>(text.begin(), text.end()));
        case PinType::Midi:
            break;
    }
    throw std::invalid_argument("pin '" + pin.name + "' (" + pinTypeName(pin.type) + ") cannot take '" + text + "'");
}

namespace {

int pinByName(const ModuleInfo& info, const std::string& name) {
    for (const auto& p : info.pins)
        if (p.name == name) return p.index;
    if (!name.empty() && name.size() < 6 && std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        const int index = std::stoi(name);
        if (info.pin(index) != nullptr) return index;
    }
    std::string names;
    for (const auto& p : info.pins) names += (names.empty() ? "" : ", ") + p.name;
    throw std::invalid_argument(info.id + " has no pin '" + name + "'; its pins: " + names);
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

AudioData processModule(const std::string& id, const AudioData& input, const ProcessOptions& options) {
    const ModuleInfo* info = Catalogue::shared().find(id, 0);
    if (info == nullptr) throw std::invalid_argument("no DSP module '" + id + "' in the catalogue (see `tamhost list`)");
    if (options.blockSize < 1 || options.blockSize > 8192) throw std::invalid_argument("the block size lies in 1 .. 8192");
    if (!(options.tailSeconds >= 0.0 && options.tailSeconds <= 3600.0)) throw std::invalid_argument("the tail lies in 0 .. 3600 s");

    std::vector<int> inputs;
    std::vector<int> outputs;
    for (const auto& name : options.inputPins) inputs.push_back(pinByName(*info, name));
    for (const auto& name : options.outputPins) outputs.push_back(pinByName(*info, name));
    if (options.inputPins.empty())
        for (const auto& p : info->pins)
            if (p.type == PinType::Audio && !p.output && (endsWith(p.name, " In") || p.name.rfind("Input", 0) == 0))
                inputs.push_back(p.index);
    if (options.outputPins.empty())
        for (const auto& p : info->pins)
            if (p.type == PinType::Audio && p.output) outputs.push_back(p.index);
    for (int pin : inputs)
        if (info->pin(pin)->type != PinType::Audio || info->pin(pin)->output)
            throw std::invalid_argument("'" + info->pin(pin)->name + "' is no audio input");
    for (int pin : outputs)
        if (info->pin(pin)->type != PinType::Audio) throw std::invalid_argument("'" + info->pin(pin)->name + "' is no audio pin");
    if (outputs.empty()) throw std::invalid_argument(id + " has no audio output");

    GraphOptions graphOptions;
    graphOptions.sampleRate = input.sampleRate;
    graphOptions.blockSize = options.blockSize;
    Graph graph(graphOptions);
    const int node = graph.addModule("module", id, 0);
    for (size_t i = 0; i < inputs.size() && !input.channels.empty(); ++i)
        graph.setAudioSignal(node, inputs[i], input.channels[std::min(i, input.channels.size() - 1)]);
    for (const auto& [name, text] : options.pinValues) {
        const int pin = pinByName(*info, name);
        const PinInfo& p = *info->pin(pin);
        if (p.output) throw std::invalid_argument("'" + p.name + "' is an output");
        if (std::find(inputs.begin(), inputs.end(), pin) != inputs.end())
            throw std::invalid_argument("'" + p.name + "' takes the input file");
        const RawValue raw = valueFromText(p, text);
        if (p.type == PinType::Audio) graph.setAudioLevel(node, pin, floatFromRaw(raw));
        else if (p.type == PinType::Midi) throw std::invalid_argument("'" + p.name + "' is a MIDI pin");
        else graph.setValue(node, pin, raw, 0);
    }
    const auto frames = static_cast<int64_t>(input.frames()) + std::llround(options.tailSeconds * input.sampleRate);
    AudioData out;
    out.sampleRate = input.sampleRate;
    out.channels.assign(outputs.size(), {});
    for (auto& channel : out.channels) channel.reserve(static_cast<size_t>(frames));
    graph.run(frames, [&](int64_t, int count) {
        for (size_t c = 0; c < outputs.size(); ++c) {
            const float* samples = graph.buffer(node, outputs[c]);
            out.channels[c].insert(out.channels[c].end(), samples, samples + count);
        }
    });
    return out;
}

}  // namespace tamhost
