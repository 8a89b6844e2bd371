// tamhost: lists the pack's modules, renders patches offline, runs one module
// over an audio file. Exit codes: 0 done, 1 failed (I/O, pack), 2 usage
// error or bad patch.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tamhost/Catalogue.h"
#include "tamhost/DrawCommand.h"
#include "tamhost/PatchFile.h"
#include "tamhost/Picture.h"
#include "tamhost/Render.h"

namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const char* const kMainHelp =
    "usage: tamhost <command> [options]\n"
    "\n"
    "commands:\n"
    "  list [--family NAME] [--kind K]    modules of the catalogue with their kinds\n"
    "  info ID [--kind K]                 one module's pins: index, direction, type, name, default\n"
    "  render PATCH [-o OUT.wav] [--png OUT.png] [--format F]\n"
    "                                     renders a patch file to WAV (and a picture)\n"
    "  process ID --in IN.wav --out OUT.wav [--pin NAME=VALUE]...\n"
    "                                     runs one DSP module over an audio file\n"
    "  draw ...                           draws a graphic module (see tamhost draw --help)\n"
    "\n"
    "tamhost <command> --help tells more. Exit codes: 0 done, 1 failed, 2 usage error or bad patch.\n"
    "The pack is $TAM_PACK, else the one this tree builds.\n";

const char* const kListHelp =
    "usage: tamhost list [--family NAME] [--kind K]\n"
    "Prints one line per module: identifier, kind (0 DSP, 1 GUI, 2 graphic GUI),\n"
    "family, pin count and class.\n";

const char* const kInfoHelp =
    "usage: tamhost info ID [--kind K]\n"
    "Prints the pins of module ID (every kind it has unless --kind is given):\n"
    "index, direction, type, name and default. Audio levels are in volts (10 V = 1.0).\n";

const char* const kRenderHelp =
    "usage: tamhost render PATCH.json [-o OUT.wav] [--png OUT.png] [--format float|pcm16|pcm24] [--quiet]\n"
    "Renders the patch's length to a WAV file (default: the patch's \"output\" file).\n"
    "--png also writes the waveform and spectrogram of the output. A progress bar\n"
    "shows on a terminal. A bad patch is reported with file, line and JSON path, and\n"
    "no output is written. Patch format: see examples/patches/.\n";

const char* const kProcessHelp =
    "usage: tamhost process ID --in IN.wav --out OUT.wav [--pin NAME=VALUE]... [options]\n"
    "Runs DSP module ID over IN.wav. File channel i feeds the i-th input pin (a mono\n"
    "file feeds every one); every audio output becomes a channel of OUT.wav.\n"
    "  --pin NAME=VALUE    a pin value by name or index (audio pins in volts)\n"
    "  --in-pins A,B       the audio inputs the file feeds (default: those named \"... In\")\n"
    "  --out-pins A,B      the audio pins written (default: every audio output)\n"
    "  --block N           block size (default 64)\n"
    "  --tail SECONDS      render this long after the input ends (default 0)\n"
    "  --format F          float, pcm16 or pcm24 (default float)\n"
    "  --png OUT.png       also writes a picture of the output\n";

bool wantsHelp(const std::vector<std::string>& args) {
    for (const auto& a : args)
        if (a == "--help" || a == "-h") return true;
    return false;
}

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> out;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        const size_t end = comma == std::string::npos ? text.size() : comma;
        if (end > start) out.push_back(text.substr(start, end - start));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return out;
}

// Options of the form --name VALUE; the rest are positional.
struct Arguments {
    std::vector<std::string> positional;
    std::multimap<std::string, std::string> options;
    std::vector<std::string> flags;

    Arguments(const std::vector<std::string>& args, const std::vector<std::string>& valued,
              const std::vector<std::string>& switches) {
        for (size_t i = 0; i < args.size(); ++i) {
            const std::string& a = args[i];
            if (a.size() > 1 && a[0] == '-') {
                if (std::find(switches.begin(), switches.end(), a) != switches.end()) {
                    flags.push_back(a);
                } else if (std::find(valued.begin(), valued.end(), a) != valued.end()) {
                    if (i + 1 >= args.size()) throw UsageError(a + " needs a value");
                    options.emplace(a, args[++i]);
                } else {
                    throw UsageError("unknown option " + a);
                }
            } else {
                positional.push_back(a);
            }
        }
    }
    std::string get(const std::string& name, const std::string& fallback = "") const {
        const auto it = options.find(name);
        return it == options.end() ? fallback : it->second;
    }
    bool has(const std::string& name) const {
        return options.count(name) != 0 || std::find(flags.begin(), flags.end(), name) != flags.end();
    }
};

int parseInt(const std::string& text, const std::string& what) {
    try {
        size_t used = 0;
        const int v = std::stoi(text, &used);
        if (used == text.size()) return v;
    } catch (const std::exception&) {
    }
    throw UsageError(what + " takes an integer, not '" + text + "'");
}

double parseNumber(const std::string& text, const std::string& what) {
    try {
        size_t used = 0;
        const double v = std::stod(text, &used);
        if (used == text.size()) return v;
    } catch (const std::exception&) {
    }
    throw UsageError(what + " takes a number, not '" + text + "'");
}

std::string defaultText(const tamhost::PinInfo& pin) { return pin.defaultText.empty() ? "-" : pin.defaultText; }

int commandList(const std::vector<std::string>& args) {
    if (wantsHelp(args)) return std::cout << kListHelp, kOk;
    const Arguments a(args, {"--family", "--kind"}, {});
    if (!a.positional.empty()) throw UsageError("list takes no arguments");
    const std::string family = a.get("--family");
    const int kind = a.has("--kind") ? parseInt(a.get("--kind"), "--kind") : -1;
    int count = 0;
    for (const auto* m : tamhost::Catalogue::shared().modules()) {
        if (!family.empty() && m->family != family) continue;
        if (kind >= 0 && m->kind != kind) continue;
        std::printf("%-32s %d  %-14s %3zu pins  %s\n", m->id.c_str(), m->kind, m->family.c_str(), m->pins.size(),
                    m->className.c_str());
        ++count;
    }
    std::fprintf(stderr, "%d modules\n", count);
    return kOk;
}

int commandInfo(const std::vector<std::string>& args) {
    if (wantsHelp(args)) return std::cout << kInfoHelp, kOk;
    const Arguments a(args, {"--kind"}, {});
    if (a.positional.size() != 1) throw UsageError("info takes one module identifier");
    const std::string& id = a.positional[0];
    const int kind = a.has("--kind") ? parseInt(a.get("--kind"), "--kind") : -1;
    bool found = false;
    for (const auto* m : tamhost::Catalogue::shared().modules()) {
        if (m->id != id || (kind >= 0 && m->kind != kind)) continue;
        found = true;
        std::printf("%s  kind %d  class %s  family %s%s\n", m->id.c_str(), m->kind, m->className.c_str(),
                    m->family.c_str(), m->variable ? "  (variable pin count)" : "");
        if (!m->notes.empty()) std::printf("  %s\n", m->notes.c_str());
        for (const auto& p : m->pins)
            std::printf("  %3d  %-3s  %-6s  %-28s  %s\n", p.index, p.output ? "out" : "in", tamhost::pinTypeName(p.type),
                        p.name.c_str(), p.output ? "" : defaultText(p).c_str());
    }
    if (!found) throw UsageError("no module '" + id + "'" + (kind >= 0 ? " of kind " + std::to_string(kind) : "") +
                                 " in the catalogue (see tamhost list)");
    return kOk;
}

// Draws a bar on stderr when it is a terminal.
struct Progress {
    bool enabled;
    int last = -1;
    explicit Progress(bool quiet) : enabled(!quiet && isatty(STDERR_FILENO) == 1) {}
    void operator()(double fraction) {
        if (!enabled) return;
        const int percent = static_cast<int>(fraction * 100.0);
        if (percent == last) return;
        last = percent;
        constexpr int kWidth = 40;
        const int filled = percent * kWidth / 100;
        std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "########################################", kWidth - filled, "",
                     percent);
        if (percent >= 100) std::fputc('\n', stderr);
        std::fflush(stderr);
    }
};

tamhost::SampleFormat formatOption(const Arguments& a, const std::string& fallback) {
    const std::string name = a.get("--format", fallback);
    const auto format = tamhost::sampleFormatFromName(name);
    if (!format) throw UsageError("--format is float, pcm16 or pcm24, not '" + name + "'");
    return *format;
}

int commandRender(const std::vector<std::string>& args) {
    if (wantsHelp(args)) return std::cout << kRenderHelp, kOk;
    const Arguments a(args, {"-o", "--output", "--png", "--format"}, {"--quiet", "-q"});
    if (a.positional.size() != 1) throw UsageError("render takes one patch file");
    tamhost::LoadedPatch patch = tamhost::loadPatch(a.positional[0]);
    std::string out = a.get("-o", a.get("--output", patch.outputFile));
    if (out.empty()) throw UsageError("no output file: give -o OUT.wav or \"output\": {\"file\": ...} in the patch");
    const auto format = formatOption(a, patch.outputFormat);
    Progress progress(a.has("--quiet") || a.has("-q"));
    const tamhost::AudioData audio = tamhost::renderPatch(patch, [&](double f) { progress(f); });
    tamhost::writeAudioFile(out, audio, format);
    if (a.has("--png")) {
        tamhost::PictureOptions picture;
        picture.title = a.positional[0];
        tamhost::writePicture(a.get("--png"), audio, picture);
    }
    return kOk;
}

int commandProcess(const std::vector<std::string>& args) {
    if (wantsHelp(args)) return std::cout << kProcessHelp, kOk;
    const Arguments a(args, {"--in", "--out", "--pin", "--in-pins", "--out-pins", "--block", "--tail", "--format", "--png"},
                      {});
    if (a.positional.size() != 1) throw UsageError("process takes one module identifier");
    if (!a.has("--in") || !a.has("--out")) throw UsageError("process needs --in IN.wav and --out OUT.wav");
    tamhost::ProcessOptions options;
    for (auto [it, end] = a.options.equal_range("--pin"); it != end; ++it) {
        const size_t eq = it->second.find('=');
        if (eq == std::string::npos || eq == 0) throw UsageError("--pin takes NAME=VALUE, not '" + it->second + "'");
        options.pinValues.emplace_back(it->second.substr(0, eq), it->second.substr(eq + 1));
    }
    options.inputPins = splitList(a.get("--in-pins"));
    options.outputPins = splitList(a.get("--out-pins"));
    if (a.has("--block")) options.blockSize = parseInt(a.get("--block"), "--block");
    if (a.has("--tail")) options.tailSeconds = parseNumber(a.get("--tail"), "--tail");
    const auto format = formatOption(a, "float");
    const tamhost::AudioData input = tamhost::readAudioFile(a.get("--in"));
    tamhost::AudioData output;
    try {
        output = tamhost::processModule(a.positional[0], input, options);
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
    tamhost::writeAudioFile(a.get("--out"), output, format);
    if (a.has("--png")) {
        tamhost::PictureOptions picture;
        picture.title = a.positional[0];
        tamhost::writePicture(a.get("--png"), output, picture);
    }
    return kOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + std::min(argc, 2), argv + argc);
    const std::string command = argc > 1 ? argv[1] : "";
    try {
        if (command.empty()) {
            std::cerr << kMainHelp;
            return kUsage;
        }
        if (command == "--help" || command == "-h" || command == "help") {
            if (command == "help" && !args.empty()) {
                std::vector<std::string> help{"--help"};
                const std::string& topic = args[0];
                if (topic == "list") return commandList(help);
                if (topic == "info") return commandInfo(help);
                if (topic == "render") return commandRender(help);
                if (topic == "process") return commandProcess(help);
                if (topic == "draw") {
                    char drawName[] = "draw";
                    char helpFlag[] = "--help";
                    char* drawArgs[] = {drawName, helpFlag, nullptr};
                    return tamhost::runDrawCommand(2, drawArgs);
                }
            }
            std::cout << kMainHelp;
            return kOk;
        }
        if (command == "list") return commandList(args);
        if (command == "info") return commandInfo(args);
        if (command == "render") return commandRender(args);
        if (command == "process") return commandProcess(args);
        if (command == "draw") return tamhost::runDrawCommand(argc - 1, argv + 1);
        throw UsageError("unknown command '" + command + "'");
    } catch (const UsageError& e) {
        std::cerr << "tamhost " << command << ": " << e.what() << "\n(tamhost " << (command.empty() ? "" : command + " ")
                  << "--help tells more)\n";
        return kUsage;
    } catch (const tamhost::PatchError& e) {
        std::cerr << e.what() << '\n';
        return kUsage;
    } catch (const std::exception& e) {
        std::cerr << "tamhost " << command << ": " << e.what() << '\n';
        return kFailed;
    }
}
