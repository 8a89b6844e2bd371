// Helpers for the string and container tests: reading the reference tables
// under tests/data/foundation/strings.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tamtest {

inline std::string StringsDataPath(const std::string& name) {
    return std::string(TAM_TEST_DATA_DIR) + "/foundation/strings/" + name;
}

// Rows of a tab-separated file, skipping '#' comment lines.
inline std::vector<std::vector<std::string>> ReadTable(const std::string& name) {
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(StringsDataPath(name));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::vector<std::string> fields;
        std::stringstream stream(line);
        std::string field;
        while (std::getline(stream, field, '\t'))
            fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

inline std::vector<unsigned char> FromHex(const std::string& hex) {
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::vector<std::string> SplitCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    std::string part;
    while (std::getline(stream, part, ','))
        parts.push_back(part);
    return parts;
}

}  // namespace tamtest
