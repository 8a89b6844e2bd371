// Patch files: a JSON description of a graph, its inputs, a timeline of
// value changes and MIDI notes, and the pins that make up its output.
//
//   {"sampleRate": 48000, "blockSize": 64, "length": 2.0,
//    "inputs": [{"name": "src", "signal": "saw", "frequency": 110, "amplitude": 0.3},
//               {"name": "voice", "file": "voice.wav"}],
//    "modules": [{"name": "vcf", "id": "TamFilter2Pole", "pins": {"Pitch": 3, "Resonance": 8}}],
//    "connections": [{"from": "src.0", "to": "vcf.Signal In"}],
//    "timeline": [{"time": 0.5, "pin": "vcf.Pitch", "value": 6, "ramp": 1.0}],
//    "notes": [{"pin": "keys.MIDI In", "time": 0, "duration": 0.5, "note": 60}],
//    "output": {"file": "out.wav", "channels": ["vcf.Signal Out"], "format": "pcm24"}}
//
// Audio pins take levels in volts (10 V is a sample of 1.0); times are in
// seconds ("frame" gives a sample number instead). Errors name the file, the
// line and the JSON path of what is wrong.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tamhost/PatchGraph.h"

namespace tamhost {

class PatchError : public std::runtime_error {
public:
    PatchError(std::string file, int line, std::string path, const std::string& message);
    const std::string& file() const { return file_; }
    int line() const { return line_; }  // 0 when unknown
    const std::string& path() const { return path_; }  // JSON pointer, e.g. /modules/1/id

private:
    std::string file_;
    int line_;
    std::string path_;
};

struct PatchOutputPin {
    int node = -1;
    int pin = -1;
    std::string label;  // as written: "vcf.Signal Out"
};

struct LoadedPatch {
    std::unique_ptr<Graph> graph;
    std::string sourceName;
    float sampleRate = 44100.0f;
    int64_t frames = 0;
    std::vector<PatchOutputPin> outputs;
    std::string outputFile;  // resolved against the patch's folder; may be empty
    std::string outputFormat = "pcm24";
};

// The longest patch rendered: keeps a hostile length from taking all memory.
constexpr int64_t kMaxPatchFrames = int64_t{1} << 26;

// Reads and builds a patch; relative file names resolve against its folder.
LoadedPatch loadPatch(const std::string& path);
// The same from text; baseFolder resolves relative file names.
LoadedPatch loadPatchText(const std::string& text, const std::string& sourceName, const std::string& baseFolder);

// For errors: the line of each value in valid JSON text, by JSON pointer.
class JsonLines {
public:
    explicit JsonLines(const std::string& text);
    // The line of the value at path, else of its nearest enclosing value; 0
    // when nothing matches.
    int lineOf(const std::string& path) const;

private:
    std::vector<std::pair<std::string, int>> lines_;  // sorted by path
};

}  // namespace tamhost
