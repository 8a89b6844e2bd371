// Reads patch files into a ready graph.
#include "tamhost/PatchFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "tamhost/Pack.h"
#include "tamhost/Render.h"

namespace tamhost {

using nlohmann::json;

namespace {

std::string errorText(const std::string& file, int line, const std::string& path, const std::string& message) {
    std::ostringstream s;
    s << file;
    if (line > 0) s << ':' << line;
    s << ": ";
    if (!path.empty()) s << path << ": ";
    s << message;
    return s.str();
}

}  // namespace

PatchError::PatchError(std::string file, int line, std::string path, const std::string& message)
    : std::runtime_error(errorText(file, line, path, message)),
      file_(std::move(file)),
      line_(line),
      path_(std::move(path)) {}

// ---- JsonLines ---------------------------------------------------------------

namespace {

std::string escapePointer(const std::string& key) {
    std::string out;
    for (char c : key) {
        if (c == '~') out += "~0";
        else if (c == '/') out += "~1";
        else out += c;
    }
    return out;
}

}  // namespace

JsonLines::JsonLines(const std::string& text) {
    struct Context {
        bool object;
        std::string path;
        int index = 0;
        std::string key;
        bool expectKey = true;
    };
    std::vector<Context> stack;  // explicit, so deep nesting cannot exhaust the call stack
    int line = 1;
    auto valuePath = [&]() -> std::string {
        if (stack.empty()) return "";
        const Context& c = stack.back();
        return c.path + "/" + (c.object ? escapePointer(c.key) : std::to_string(c.index));
    };
    const size_t n = text.size();
    for (size_t i = 0; i < n; ++i) {
        const char c = text[i];
        if (c == '\n') {
            ++line;
        } else if (c == '{' || c == '[') {
            std::string path = valuePath();
            lines_.emplace_back(path, line);
            stack.push_back({c == '{', std::move(path), 0, std::string(), true});
        } else if (c == '}' || c == ']') {
            if (!stack.empty()) stack.pop_back();
        } else if (c == ',') {
            if (!stack.empty()) {
                if (stack.back().object) stack.back().expectKey = true;
                else ++stack.back().index;
            }
        } else if (c == ':') {
            if (!stack.empty()) stack.back().expectKey = false;
        } else if (c == '"') {
            std::string value;
            for (++i; i < n && text[i] != '"'; ++i) {
                if (text[i] == '\\' && i + 1 < n) ++i;
                value += text[i];
            }
            if (!stack.empty() && stack.back().object && stack.back().expectKey) stack.back().key = value;
            else lines_.emplace_back(valuePath(), line);
        } else if (c != ' ' && c != '\t' && c != '\r') {
            lines_.emplace_back(valuePath(), line);
            while (i + 1 < n && std::string_view(",]}\n \t\r").find(text[i + 1]) == std::string_view::npos) ++i;
        }
    }
    std::stable_sort(lines_.begin(), lines_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

int JsonLines::lineOf(const std::string& path) const {
    std::string p = path;
    for (;;) {
        const auto it = std::lower_bound(lines_.begin(), lines_.end(), p,
                                         [](const auto& entry, const std::string& key) { return entry.first < key; });
        if (it != lines_.end() && it->first == p) return it->second;
        if (p.empty()) return 0;
        const size_t slash = p.rfind('/');
        p = slash == std::string::npos ? std::string() : p.substr(0, slash);
    }
}

// ---- the loader ----------------------------------------------------------------

namespace {

constexpr int kInputPin = 0;
constexpr int kOutputPin = 1;
constexpr int kAnyPin = 2;

class Loader {
public:
    Loader(const std::string& text, std::string sourceName, std::string baseFolder)
        : text_(text), source_(std::move(sourceName)), base_(std::move(baseFolder)) {}

    LoadedPatch load();

private:
    [[noreturn]] void fail(const std::string& path, const std::string& message) const {
        if (!lines_) lines_ = std::make_unique<JsonLines>(text_);
        throw PatchError(source_, lines_->lineOf(path), path, message);
    }
    void allowKeys(const json& object, const std::string& path, std::initializer_list<const char*> keys) const;
    const json& member(const json& object, const std::string& path, const char* key, json::value_t type) const;
    double number(const json& value, const std::string& path, double low, double high) const;
    int64_t timeOf(const json& entry, const std::string& path) const;
    std::pair<int, int> pinRef(const json& value, const std::string& path, int want) const;
    RawValue rawValue(const json& value, const PinInfo& pin, const std::string& path) const;
    std::string resolve(const std::string& file) const;
    std::vector<float> makeSignal(const json& entry, const std::string& path) const;

    const std::string& text_;
    std::string source_;
    std::string base_;
    mutable std::unique_ptr<JsonLines> lines_;
    LoadedPatch patch_;
    Graph* graph_ = nullptr;
    std::map<std::string, std::vector<std::vector<float>>> inputs_;  // name -> channels
    std::set<std::pair<int, int>> fed_;  // inputs with a connection or a host signal
};

void Loader::allowKeys(const json& object, const std::string& path, std::initializer_list<const char*> keys) const {
    for (const auto& [key, value] : object.items()) {
        if (std::none_of(keys.begin(), keys.end(), [&](const char* k) { return key == k; })) {
            std::string known;
            for (const char* k : keys) known += std::string(known.empty() ? "" : ", ") + k;
            fail(path + "/" + escapePointer(key), "unknown key '" + key + "' (known: " + known + ")");
        }
    }
}

const json& Loader::member(const json& object, const std::string& path, const char* key, json::value_t type) const {
    const auto it = object.find(key);
    if (it == object.end()) fail(path, std::string("missing '") + key + "'");
    const bool ok = type == json::value_t::number_float ? it->is_number() : it->type() == type;
    if (!ok) {
        const char* want = type == json::value_t::string ? "a string"
                           : type == json::value_t::array ? "an array"
                           : type == json::value_t::object ? "an object"
                                                           : "a number";
        fail(path + "/" + key, std::string("'") + key + "' must be " + want);
    }
    return *it;
}

double Loader::number(const json& value, const std::string& path, double low, double high) const {
    if (!value.is_number()) fail(path, "must be a number");
    const double v = value.get<double>();
    if (!(v >= low && v <= high)) {
        std::ostringstream s;
        s << "must lie in " << low << " .. " << high << " (is " << value.dump() << ")";
        fail(path, s.str());
    }
    return v;
}

int64_t Loader::timeOf(const json& entry, const std::string& path) const {
    const double limit = static_cast<double>(kMaxPatchFrames);
    if (entry.contains("frame")) return static_cast<int64_t>(number(entry["frame"], path + "/frame", 0, limit));
    if (entry.contains("time")) {
        const double seconds = number(entry["time"], path + "/time", 0, limit / patch_.sampleRate);
        return static_cast<int64_t>(std::llround(seconds * patch_.sampleRate));
    }
    fail(path, "missing 'time' (seconds) or 'frame'");
}

std::pair<int, int> Loader::pinRef(const json& value, const std::string& path, int want) const {
    const bool wantOutput = want == kOutputPin;
    if (!value.is_string()) fail(path, "must be a string \"module.pin\"");
    const std::string text = value.get<std::string>();
    const size_t dot = text.find('.');
    if (dot == std::string::npos) fail(path, "'" + text + "' is not of the form \"module.pin\"");
    const std::string moduleName = text.substr(0, dot);
    const std::string pinName = text.substr(dot + 1);
    const int node = graph_->findNode(moduleName);
    if (node < 0) fail(path, "no module named '" + moduleName + "'");
    const int pin = graph_->findPin(node, pinName);
    const ModuleInfo& info = graph_->info(node);
    if (pin < 0) {
        std::string names;
        for (const auto& p : info.pins) names += (names.empty() ? "" : ", ") + p.name;
        fail(path, "module '" + moduleName + "' (" + info.id + ") has no pin '" + pinName + "'; its pins: " + names);
    }
    if (want != kAnyPin && info.pin(pin)->output != wantOutput)
        fail(path, "'" + text + "' is an " + (wantOutput ? "input" : "output") + "; an " +
                       (wantOutput ? "output" : "input") + " is needed here");
    return {node, pin};
}

RawValue Loader::rawValue(const json& value, const PinInfo& pin, const std::string& path) const {
    switch (pin.type) {
        case PinType::Float:
            if (!value.is_number()) fail(path, "pin '" + pin.name + "' takes a number");
            return rawFloat(value.get<float>());
        case PinType::Int:
        case PinType::Enum: {
            if (!value.is_number()) fail(path, "pin '" + pin.name + "' takes an integer");
            const double v = value.get<double>();
            if (v != std::floor(v) || v < -2147483648.0 || v > 2147483647.0)
                fail(path, "pin '" + pin.name + "' takes an integer (is " + value.dump() + ")");
            return rawInt(static_cast<int32_t>(v));
        }
        case PinType::Bool:
            if (value.is_boolean()) return rawBool(value.get<bool>());
            if (value.is_number()) return rawBool(value.get<double>() != 0.0);
            fail(path, "pin '" + pin.name + "' takes true or false");
            break;
        case PinType::String:
            if (!value.is_string()) fail(path, "pin '" + pin.name + "' takes a string");
            return rawString(widen(value.get<std::string>()));
        case PinType::Blob: {
            if (value.is_string()) {
                const std::string s = value.get<std::string>();
                return rawBlob(std::vector<uint8_t>(s.begin(), s.end()));
            }
            if (!value.is_array()) fail(path, "pin '" + pin.name + "' takes an array of bytes or a string");
            std::vector<uint8_t> bytes;
            for (size_t i = 0; i < value.size(); ++i)
                bytes.push_back(static_cast<uint8_t>(number(value[i], path + "/" + std::to_string(i), 0, 255)));
            return rawBlob(bytes);
        }
        case PinType::Audio:
            if (!value.is_number()) fail(path, "audio pin '" + pin.name + "' takes a level in volts");
            return rawFloat(value.get<float>() * 0.1f);
        case PinType::Midi:
            fail(path, "MIDI pin '" + pin.name + "' takes notes (see \"notes\"), not a value");
    }
    fail(path, "unknown pin type");
}

std::string Loader::resolve(const std::string& file) const {
    if (file.empty() || file[0] == '/' || base_.empty()) return file;
    return (std::filesystem::path(base_) / file).string();
}

std::vector<float> Loader::makeSignal(const json& entry, const std::string& path) const {
    const std::string kind = member(entry, path, "signal", json::value_t::string).get<std::string>();
    const double rate = patch_.sampleRate;
    const double frequency = entry.contains("frequency") ? number(entry["frequency"], path + "/frequency", 0, rate / 2) : 440.0;
    const double amplitude = entry.contains("amplitude") ? number(entry["amplitude"], path + "/amplitude", -100, 100) : 0.5;
    int64_t frames = patch_.frames;
    if (entry.contains("length"))
        frames = std::min(frames, static_cast<int64_t>(number(entry["length"], path + "/length", 0, 1e6) * rate));
    std::vector<float> out(static_cast<size_t>(frames), 0.0f);
    const double step = frequency / rate;
    double phase = 0.0;
    uint32_t noise = 22222;  // fixed start: renders are repeatable
    for (auto& sample : out) {
        double v = 0.0;
        if (kind == "sine") v = std::sin(2.0 * M_PI * phase);
        else if (kind == "saw") v = 2.0 * phase - 1.0;
        else if (kind == "square") v = phase < 0.5 ? 1.0 : -1.0;
        else if (kind == "noise") {
            noise = noise * 1664525u + 1013904223u;
            v = static_cast<double>(noise) / 2147483648.0 - 1.0;
        } else if (kind == "impulse" || kind == "silence") v = 0.0;
        else fail(path + "/signal", "unknown signal '" + kind + "' (sine, saw, square, noise, impulse, silence)");
        sample = static_cast<float>(amplitude * v);
        phase += step;
        phase -= std::floor(phase);
    }
    if (kind == "impulse" && !out.empty()) out[0] = static_cast<float>(amplitude);
    return out;
}

LoadedPatch Loader::load() {
    json root;
    try {
        root = json::parse(text_);
    } catch (const json::parse_error& e) {
        // Work out the line from the byte position the parser stopped at.
        const size_t at = std::min(static_cast<size_t>(e.byte), text_.size());
        const int line = 1 + static_cast<int>(std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
        std::string message = e.what();
        if (const size_t cut = message.find("syntax error"); cut != std::string::npos) message = message.substr(cut);
        throw PatchError(source_, line, "", "not valid JSON: " + message);
    }
    if (!root.is_object()) fail("", "a patch is a JSON object");
    allowKeys(root, "", {"sampleRate", "blockSize", "length", "frames", "inputs", "modules", "connections", "timeline",
                         "notes", "output", "description"});

    patch_.sourceName = source_;
    patch_.sampleRate = root.contains("sampleRate") ? static_cast<float>(number(root["sampleRate"], "/sampleRate", 1000, 768000)) : 44100.0f;
    const int blockSize = root.contains("blockSize") ? static_cast<int>(number(root["blockSize"], "/blockSize", 1, 8192)) : 64;
    if (root.contains("frames")) {
        patch_.frames = static_cast<int64_t>(number(root["frames"], "/frames", 1, static_cast<double>(kMaxPatchFrames)));
    } else if (root.contains("length")) {
        const double seconds = number(root["length"], "/length", 0, static_cast<double>(kMaxPatchFrames) / patch_.sampleRate);
        patch_.frames = std::max<int64_t>(1, std::llround(seconds * patch_.sampleRate));
    } else {
        fail("", "missing 'length' (seconds) or 'frames'");
    }

    GraphOptions options;
    options.sampleRate = patch_.sampleRate;
    options.blockSize = blockSize;
    options.baseFolder = base_;
    patch_.graph = std::make_unique<Graph>(options);
    graph_ = patch_.graph.get();

    // Modules.
    const json& modules = member(root, "", "modules", json::value_t::array);
    for (size_t m = 0; m < modules.size(); ++m) {
        const std::string path = "/modules/" + std::to_string(m);
        const json& entry = modules[m];
        if (!entry.is_object()) fail(path, "a module is an object");
        allowKeys(entry, path, {"name", "id", "kind", "pins"});
        const std::string name = member(entry, path, "name", json::value_t::string).get<std::string>();
        const std::string id = member(entry, path, "id", json::value_t::string).get<std::string>();
        const int kind = entry.contains("kind") ? static_cast<int>(number(entry["kind"], path + "/kind", 0, 2)) : 0;
        if (name.empty() || name.find('.') != std::string::npos) fail(path + "/name", "a module name is not empty and has no '.'");
        if (graph_->findNode(name) >= 0 || inputs_.count(name) != 0) fail(path + "/name", "the name '" + name + "' is taken");
        if (Catalogue::shared().find(id, kind) == nullptr)
            fail(path + "/id", "no module '" + id + "' of kind " + std::to_string(kind) + " in the catalogue (see `tamhost list`)");
        try {
            graph_->addModule(name, id, kind);
        } catch (const std::exception& e) {
            fail(path, e.what());
        }
    }

    // Inputs: files and test signals.
    if (root.contains("inputs")) {
        const json& inputs = member(root, "", "inputs", json::value_t::array);
        for (size_t k = 0; k < inputs.size(); ++k) {
            const std::string path = "/inputs/" + std::to_string(k);
            const json& entry = inputs[k];
            if (!entry.is_object()) fail(path, "an input is an object");
            allowKeys(entry, path, {"name", "file", "signal", "frequency", "amplitude", "length"});
            const std::string name = member(entry, path, "name", json::value_t::string).get<std::string>();
            if (name.empty() || name.find('.') != std::string::npos) fail(path + "/name", "an input name is not empty and has no '.'");
            if (graph_->findNode(name) >= 0 || inputs_.count(name) != 0) fail(path + "/name", "the name '" + name + "' is taken");
            if (entry.contains("file")) {
                const std::string file = member(entry, path, "file", json::value_t::string).get<std::string>();
                AudioData audio;
                try {
                    audio = readAudioFile(resolve(file));
                } catch (const std::exception& e) {
                    fail(path + "/file", e.what());
                }
                if (audio.sampleRate != patch_.sampleRate)
                    fail(path + "/file", "'" + file + "' runs at " + std::to_string(static_cast<int>(audio.sampleRate)) +
                                             " Hz, the patch at " + std::to_string(static_cast<int>(patch_.sampleRate)) + " Hz");
                for (auto& channel : audio.channels)
                    if (static_cast<int64_t>(channel.size()) > patch_.frames) channel.resize(static_cast<size_t>(patch_.frames));
                inputs_[name] = std::move(audio.channels);
            } else {
                inputs_[name] = {makeSignal(entry, path)};
            }
        }
    }

    // Connections.
    std::map<std::pair<int, int>, std::vector<float>> signals;
    if (root.contains("connections")) {
        const json& connections = member(root, "", "connections", json::value_t::array);
        for (size_t k = 0; k < connections.size(); ++k) {
            const std::string path = "/connections/" + std::to_string(k);
            const json& entry = connections[k];
            if (!entry.is_object()) fail(path, "a connection is an object {\"from\": ..., \"to\": ...}");
            allowKeys(entry, path, {"from", "to"});
            const json& from = member(entry, path, "from", json::value_t::string);
            const auto to = pinRef(member(entry, path, "to", json::value_t::string), path + "/to", kInputPin);
            const std::string fromText = from.get<std::string>();
            const std::string fromName = fromText.substr(0, fromText.find('.'));
            if (const auto input = inputs_.find(fromName); input != inputs_.end()) {
                const size_t dot = fromText.find('.');
                const std::string channelText = dot == std::string::npos ? "0" : fromText.substr(dot + 1);
                size_t channel = input->second.size();
                if (!channelText.empty() && channelText.size() < 4 &&
                    std::all_of(channelText.begin(), channelText.end(), [](char c) { return c >= '0' && c <= '9'; }))
                    channel = std::stoul(channelText);
                if (channel >= input->second.size())
                    fail(path + "/from", "input '" + fromName + "' has channels 0 .. " + std::to_string(input->second.size() - 1));
                const PinInfo* pin = graph_->info(to.first).pin(to.second);
                if (pin->type != PinType::Audio || graph_->info(to.first).kind != 0)
                    fail(path + "/to", "an input signal goes to an audio input of a DSP module");
                if (fed_.count(to) != 0 && signals.count(to) == 0) fail(path + "/to", "this input has a connection already");
                auto& sum = signals[to];
                const auto& samples = input->second[channel];
                if (sum.size() < samples.size()) sum.resize(samples.size(), 0.0f);
                for (size_t i = 0; i < samples.size(); ++i) sum[i] += samples[i];
                fed_.insert(to);
                continue;
            }
            const auto source = pinRef(from, path + "/from", kOutputPin);
            if (signals.count(to) != 0) fail(path + "/to", "this input takes an input signal already");
            try {
                graph_->connect(source.first, source.second, to.first, to.second);
            } catch (const std::exception& e) {
                fail(path, e.what());
            }
            fed_.insert(to);
        }
    }
    for (auto& [target, samples] : signals) graph_->setAudioSignal(target.first, target.second, std::move(samples));

    // Pin values.
    for (size_t m = 0; m < modules.size(); ++m) {
        const std::string path = "/modules/" + std::to_string(m) + "/pins";
        if (!modules[m].contains("pins")) continue;
        const json& pins = member(modules[m], "/modules/" + std::to_string(m), "pins", json::value_t::object);
        const int node = static_cast<int>(m);
        for (const auto& [key, value] : pins.items()) {
            const std::string at = path + "/" + escapePointer(key);
            const int pin = graph_->findPin(node, key);
            if (pin < 0) fail(at, "module '" + graph_->nodeName(node) + "' has no pin '" + key + "'");
            const PinInfo& info = *graph_->info(node).pin(pin);
            if (info.output) fail(at, "'" + key + "' is an output");
            if (fed_.count({node, pin}) != 0) fail(at, "'" + key + "' has a connection; it takes no value");
            const RawValue raw = rawValue(value, info, at);
            if (info.type == PinType::Audio) graph_->setAudioLevel(node, pin, floatFromRaw(raw));
            else graph_->setValue(node, pin, raw, 0);
        }
    }

    // Timeline of value changes.
    if (root.contains("timeline")) {
        const json& timeline = member(root, "", "timeline", json::value_t::array);
        for (size_t k = 0; k < timeline.size(); ++k) {
            const std::string path = "/timeline/" + std::to_string(k);
            const json& entry = timeline[k];
            if (!entry.is_object()) fail(path, "a timeline entry is an object");
            allowKeys(entry, path, {"time", "frame", "pin", "value", "ramp"});
            const auto [node, pin] = pinRef(member(entry, path, "pin", json::value_t::string), path + "/pin", kInputPin);
            const int64_t time = timeOf(entry, path);
            if (!entry.contains("value")) fail(path, "missing 'value'");
            const PinInfo& info = *graph_->info(node).pin(pin);
            if (graph_->info(node).kind != 0) fail(path + "/pin", "GUI modules take values under \"pins\" only");
            if (fed_.count({node, pin}) != 0) fail(path + "/pin", "this input has a connection; it takes no value");
            const RawValue raw = rawValue(entry["value"], info, path + "/value");
            if (info.type == PinType::Audio) {
                const double ramp = entry.contains("ramp") ? number(entry["ramp"], path + "/ramp", 0, 3600) : 0.0;
                graph_->setAudioLevel(node, pin, floatFromRaw(raw), time, std::llround(ramp * patch_.sampleRate));
            } else {
                if (entry.contains("ramp")) fail(path + "/ramp", "only audio pins ramp");
                graph_->setValue(node, pin, raw, time);
            }
        }
    }

    // MIDI notes.
    if (root.contains("notes")) {
        const json& notes = member(root, "", "notes", json::value_t::array);
        for (size_t k = 0; k < notes.size(); ++k) {
            const std::string path = "/notes/" + std::to_string(k);
            const json& entry = notes[k];
            if (!entry.is_object()) fail(path, "a note is an object");
            allowKeys(entry, path, {"time", "frame", "pin", "duration", "note", "velocity", "channel"});
            const auto [node, pin] = pinRef(member(entry, path, "pin", json::value_t::string), path + "/pin", kInputPin);
            if (graph_->info(node).pin(pin)->type != PinType::Midi || graph_->info(node).kind != 0)
                fail(path + "/pin", "notes go to a MIDI input of a DSP module");
            if (fed_.count({node, pin}) != 0) fail(path + "/pin", "this input has a connection");
            const int64_t start = timeOf(entry, path);
            const double duration = number(member(entry, path, "duration", json::value_t::number_float), path + "/duration", 0, 3600);
            const auto note = static_cast<uint8_t>(number(member(entry, path, "note", json::value_t::number_float), path + "/note", 0, 127));
            const auto velocity = static_cast<uint8_t>(entry.contains("velocity") ? number(entry["velocity"], path + "/velocity", 1, 127) : 100);
            const auto channel = static_cast<uint8_t>(entry.contains("channel") ? number(entry["channel"], path + "/channel", 1, 16) : 1);
            graph_->sendMidi(node, pin, {static_cast<uint8_t>(0x90 | (channel - 1)), note, velocity}, start);
            graph_->sendMidi(node, pin, {static_cast<uint8_t>(0x80 | (channel - 1)), note, 0},
                             start + std::llround(duration * patch_.sampleRate));
        }
    }

    // Output.
    if (root.contains("output")) {
        const json& output = member(root, "", "output", json::value_t::object);
        allowKeys(output, "/output", {"file", "channels", "format"});
        if (output.contains("file")) patch_.outputFile = resolve(member(output, "/output", "file", json::value_t::string).get<std::string>());
        if (output.contains("format")) {
            patch_.outputFormat = member(output, "/output", "format", json::value_t::string).get<std::string>();
            if (!sampleFormatFromName(patch_.outputFormat)) fail("/output/format", "format is float, pcm16 or pcm24");
        }
        const json& channels = member(output, "/output", "channels", json::value_t::array);
        if (channels.empty() || channels.size() > 64) fail("/output/channels", "an output has 1 .. 64 channels");
        for (size_t k = 0; k < channels.size(); ++k) {
            const std::string path = "/output/channels/" + std::to_string(k);
            const auto ref = pinRef(channels[k], path, kAnyPin);
            const PinInfo& info = *graph_->info(ref.first).pin(ref.second);
            if (info.type != PinType::Audio || graph_->info(ref.first).kind != 0) fail(path, "output channels are audio pins of DSP modules");
            patch_.outputs.push_back({ref.first, ref.second, channels[k].get<std::string>()});
        }
    } else {
        fail("", "missing 'output' (the pins to render)");
    }

    try {
        graph_->prepare();
    } catch (const std::exception& e) {
        fail("", e.what());
    }
    return std::move(patch_);
}

}  // namespace

LoadedPatch loadPatchText(const std::string& text, const std::string& sourceName, const std::string& baseFolder) {
    Loader loader(text, sourceName, baseFolder);
    return loader.load();
}

LoadedPatch loadPatch(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw PatchError(path, 0, "", "cannot open the patch file");
    std::ostringstream text;
    text << in.rdbuf();
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return loadPatchText(text.str(), path, folder.empty() ? std::string(".") : folder.string());
}

}  // namespace tamhost
