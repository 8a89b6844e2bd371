// Reads host/catalogue/*.json: one file per family, each module's pins by
// index. Errors name the file and the entry so that a bad row is easy to find.
#include "tamhost/Catalogue.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tamhost/Pack.h"
#include "tamhost/Values.h"

#ifndef TAM_CATALOGUE_DIR
#define TAM_CATALOGUE_DIR "host/catalogue"
#endif

namespace tamhost {

namespace {

using nlohmann::json;

struct TypeName {
    PinType type;
    const char* name;
    int code;
};

constexpr TypeName kTypeNames[] = {
    {PinType::Enum, "enum", 0},   {PinType::String, "string", 1}, {PinType::Midi, "midi", 2},
    {PinType::Bool, "bool", 4},   {PinType::Audio, "audio", 5},   {PinType::Float, "float", 6},
    {PinType::Int, "int", 8},     {PinType::Blob, "blob", 10},
};

[[noreturn]] void fail(const std::string& source, const std::string& where, const std::string& what) {
    throw std::runtime_error("catalogue " + source + ": " + where + ": " + what);
}

// A JSON default as the raw bytes of the pin it belongs to. Audio defaults
// are volts; the input then holds the level divided by 10.
RawValue defaultToRaw(PinType type, const json& value, const std::string& source, const std::string& where) {
    auto number = [&]() -> double {
        if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
        if (value.is_number()) return value.get<double>();
        if (value.is_string()) {
            const std::string text = value.get<std::string>();
            char* end = nullptr;
            const double parsed = std::strtod(text.c_str(), &end);
            if (end != text.c_str() && *end == '\0') return parsed;
        }
        fail(source, where, "default " + value.dump() + " is not a number");
    };
    switch (type) {
        case PinType::Float:
            return rawFloat(static_cast<float>(number()));
        case PinType::Audio:
            return rawFloat(static_cast<float>(number() * 0.1));
        case PinType::Int:
        case PinType::Enum:
            return rawInt(static_cast<int32_t>(std::llround(number())));
        case PinType::Bool:
            return rawBool(number() != 0.0);
        case PinType::String:
            if (value.is_string()) return rawString(widen(value.get<std::string>()));
            return rawString(widen(value.dump()));
        case PinType::Blob:
            if (value.is_array()) {
                RawValue bytes;
                for (const auto& b : value) {
                    if (!b.is_number_integer() || b.get<int>() < 0 || b.get<int>() > 255)
                        fail(source, where, "blob default must be an array of bytes");
                    bytes.push_back(static_cast<uint8_t>(b.get<int>()));
                }
                return bytes;
            }
            if (value.is_string()) {
                const std::string text = value.get<std::string>();
                return RawValue(text.begin(), text.end());
            }
            fail(source, where, "blob default must be a string or an array of bytes");
        case PinType::Midi:
            return {};
    }
    return {};
}

}  // namespace

int datatypeCode(PinType type) {
    for (const auto& t : kTypeNames) {
        if (t.type == type) return t.code;
    }
    return -1;
}

std::optional<PinType> pinTypeFromName(const std::string& name) {
    for (const auto& t : kTypeNames) {
        if (name == t.name) return t.type;
    }
    return std::nullopt;
}

const char* pinTypeName(PinType type) {
    for (const auto& t : kTypeNames) {
        if (t.type == type) return t.name;
    }
    return "?";
}

const PinInfo* ModuleInfo::pin(int index) const {
    for (const auto& p : pins) {
        if (p.index == index) return &p;
    }
    return nullptr;
}

const Catalogue& Catalogue::shared() {
    static const Catalogue* catalogue = [] {
        auto* c = new Catalogue;
        const char* fromEnvironment = std::getenv("TAM_CATALOGUE_DIR");
        c->loadDirectory(fromEnvironment != nullptr && *fromEnvironment ? fromEnvironment : TAM_CATALOGUE_DIR);
        return c;
    }();
    return *catalogue;
}

void Catalogue::loadDirectory(const std::string& directory) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (!fs::is_directory(directory, error)) throw std::runtime_error("catalogue folder " + directory + " does not exist");
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename().string();
        // The schema sits beside the families and is not one of them.
        if (entry.path().extension() == ".json" && name.find(".schema.") == std::string::npos)
            files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) loadFile(file);
}

void Catalogue::loadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("catalogue " + path + ": cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    loadText(text.str(), path);
}

void Catalogue::loadText(const std::string& jsonText, const std::string& source) {
    json document;
    try {
        document = json::parse(jsonText);
    } catch (const json::parse_error& e) {
        fail(source, "parse", e.what());
    }
    if (!document.is_object()) fail(source, "top level", "must be an object");
    const std::string family = document.value("family", std::string());
    if (family.empty()) fail(source, "top level", "\"family\" is missing");
    if (!document.contains("modules") || !document["modules"].is_array())
        fail(source, "top level", "\"modules\" must be an array");

    std::map<std::pair<std::string, int>, ModuleInfo> loaded;
    int position = 0;
    for (const auto& entry : document["modules"]) {
        const std::string where0 = "module #" + std::to_string(position++);
        if (!entry.is_object()) fail(source, where0, "must be an object");
        ModuleInfo module;
        module.family = family;
        if (!entry.contains("id") || !entry["id"].is_string()) fail(source, where0, "\"id\" must be a string");
        module.id = entry["id"].get<std::string>();
        const std::string where = where0 + " (" + module.id + ")";
        if (!entry.contains("kind") || !entry["kind"].is_number_integer()) fail(source, where, "\"kind\" must be 0, 1 or 2");
        module.kind = entry["kind"].get<int>();
        if (module.kind < 0 || module.kind > 2) fail(source, where, "\"kind\" must be 0, 1 or 2");
        module.className = entry.value("class", std::string());
        module.variable = entry.value("variable", false);
        if (entry.contains("notes") && entry["notes"].is_string()) module.notes = entry["notes"].get<std::string>();
        if (entry.contains("pins")) {
            if (!entry["pins"].is_array()) fail(source, where, "\"pins\" must be an array");
            for (const auto& p : entry["pins"]) {
                if (!p.is_object()) fail(source, where, "a pin must be an object");
                PinInfo pin;
                if (!p.contains("index") || !p["index"].is_number_integer() || p["index"].get<int>() < 0)
                    fail(source, where, "pin \"index\" must be a non-negative integer");
                pin.index = p["index"].get<int>();
                const std::string pinWhere = where + " pin " + std::to_string(pin.index);
                pin.name = p.value("name", std::string());
                const std::string typeName = p.value("type", std::string());
                const auto type = pinTypeFromName(typeName);
                if (!type) fail(source, pinWhere, "unknown type \"" + typeName + "\"");
                pin.type = *type;
                const std::string direction = p.value("direction", std::string());
                if (direction != "in" && direction != "out")
                    fail(source, pinWhere, "\"direction\" must be \"in\" or \"out\"");
                pin.output = direction == "out";
                if (p.contains("default") && !p["default"].is_null()) {
                    pin.defaultRaw = defaultToRaw(pin.type, p["default"], source, pinWhere);
                    pin.defaultText = p["default"].is_string() ? p["default"].get<std::string>() : p["default"].dump();
                }
                if (module.pin(pin.index) != nullptr) fail(source, pinWhere, "index used twice");
                module.pins.push_back(std::move(pin));
            }
            std::sort(module.pins.begin(), module.pins.end(),
                      [](const PinInfo& a, const PinInfo& b) { return a.index < b.index; });
        }
        const auto key = std::make_pair(module.id, module.kind);
        if (loaded.count(key) != 0 || modules_.count(key) != 0)
            fail(source, where, "listed twice under kind " + std::to_string(module.kind));
        loaded.emplace(key, std::move(module));
    }
    for (auto& [key, module] : loaded) modules_.emplace(key, std::move(module));
}

const ModuleInfo* Catalogue::find(const std::string& id, int kind) const {
    const auto it = modules_.find(std::make_pair(id, kind));
    return it == modules_.end() ? nullptr : &it->second;
}

const ModuleInfo& Catalogue::get(const std::string& id, int kind) const {
    const ModuleInfo* module = find(id, kind);
    if (module == nullptr)
        throw std::runtime_error("no catalogue entry for " + id + " kind " + std::to_string(kind) +
                                 " (add it to host/catalogue/<FAMILY>.json)");
    return *module;
}

std::vector<const ModuleInfo*> Catalogue::modules() const {
    std::vector<const ModuleInfo*> all;
    all.reserve(modules_.size());
    for (const auto& [key, module] : modules_) all.push_back(&module);
    return all;
}

}  // namespace tamhost
