// The host's description of every module's pins, read from the JSON files in
// host/catalogue. The pack itself carries no pin metadata.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamhost {

enum class PinType { Enum, String, Midi, Bool, Audio, Float, Int, Blob };

// Datatype code the pack's pins report (0 enum, 1 string, 2 MIDI, ...).
int datatypeCode(PinType type);
// "enum", "string", ... ; nullopt for an unknown name.
std::optional<PinType> pinTypeFromName(const std::string& name);
const char* pinTypeName(PinType type);

struct PinInfo {
    int index = 0;
    std::string name;
    PinType type = PinType::Float;
    bool output = false;
    // The default as raw pin bytes (float 4, int 4, bool 1, string as 32-bit
    // wide characters, blob bytes); empty optional where none was given.
    std::optional<std::vector<uint8_t>> defaultRaw;
    std::string defaultText;  // the default as written, for messages
};

struct ModuleInfo {
    std::string family;
    std::string id;
    int kind = 0;
    std::string className;
    std::vector<PinInfo> pins;  // in index order
    bool variable = false;
    std::string notes;

    const PinInfo* pin(int index) const;
};

class Catalogue {
public:
    Catalogue() = default;

    // Every host/catalogue/*.json of this tree, loaded once.
    static const Catalogue& shared();

    // Throw std::runtime_error naming the file and the offending entry.
    void loadDirectory(const std::string& directory);
    void loadFile(const std::string& path);
    void loadText(const std::string& jsonText, const std::string& sourceName);

    const ModuleInfo* find(const std::string& id, int kind) const;
    // Throws std::runtime_error ("no catalogue entry for <id> kind <k>").
    const ModuleInfo& get(const std::string& id, int kind) const;
    std::vector<const ModuleInfo*> modules() const;
    size_t size() const { return modules_.size(); }

private:
    std::map<std::pair<std::string, int>, ModuleInfo> modules_;
};

}  // namespace tamhost
