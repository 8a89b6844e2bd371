// `tamhost draw`.
#include "tamhost/DrawCommand.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tamhost/GraphicsHost.h"
#include "tamhost/Pack.h"
#include "tamhost/Render.h"

namespace tamhost {

namespace {

const char* const kDrawHelp =
    "usage: tamhost draw ID -o OUT.png [options]\n"
    "Renders graphic module ID (kind 2) to a PNG.\n"
    "  -o, --out OUT.png        the picture to write\n"
    "  --size WxH               area offered to the module (default 100x100)\n"
    "  --fit                    use the size the module asks for instead\n"
    "  --pin NAME=VALUE         an input pin's value, by name or index (repeatable)\n"
    "  --pointer SCRIPT         pointer events, one a line: down|move|up X Y [shift] [ctrl] [alt] [right]\n"
    "  --background 0xAARRGGBB  fills the picture first (default transparent)\n"
    "  --folder DIR             where relative file names (skins) are looked up (default .)\n"
    "  --no-antialias           draws with antialiasing off\n"
    "Exit codes: 0 done, 1 failed, 2 usage error.\n";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

const PinInfo* findPin(const ModuleInfo& info, const std::string& key) {
    char* end = nullptr;
    const long index = std::strtol(key.c_str(), &end, 10);
    if (!key.empty() && end != nullptr && *end == '\0') return info.pin(static_cast<int>(index));
    for (const PinInfo& pin : info.pins) {
        if (pin.name == key) return &pin;
    }
    return nullptr;
}

int draw(const std::vector<std::string>& args) {
    std::string id;
    std::string out;
    std::string pointerScript;
    std::string folder = ".";
    int width = 100;
    int height = 100;
    bool fit = false;
    bool antialias = true;
    uint32_t background = 0;
    std::vector<std::pair<std::string, std::string>> pins;

    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&]() -> const std::string& {
            if (i + 1 >= args.size()) throw UsageError(a + " needs a value");
            return args[++i];
        };
        if (a == "-o" || a == "--out") {
            out = value();
        } else if (a == "--size") {
            const std::string& size = value();
            int w = 0, h = 0;
            char x = 0, extra = 0;
            std::istringstream in(size);
            if (!(in >> w >> x >> h) || x != 'x' || (in >> extra) || w < 1 || h < 1 || w > 8192 || h > 8192) {
                throw UsageError("--size takes WxH between 1 and 8192, not '" + size + "'");
            }
            width = w;
            height = h;
        } else if (a == "--fit") {
            fit = true;
        } else if (a == "--pin") {
            const std::string& pin = value();
            const size_t eq = pin.find('=');
            if (eq == std::string::npos || eq == 0) throw UsageError("--pin takes NAME=VALUE, not '" + pin + "'");
            pins.emplace_back(pin.substr(0, eq), pin.substr(eq + 1));
        } else if (a == "--pointer") {
            pointerScript = value();
        } else if (a == "--background") {
            const std::string& colour = value();
            char* end = nullptr;
            const unsigned long v = std::strtoul(colour.c_str(), &end, 0);
            if (colour.empty() || *end != '\0' || v > 0xffffffffUL) throw UsageError("--background takes 0xAARRGGBB");
            background = static_cast<uint32_t>(v);
        } else if (a == "--folder") {
            folder = value();
        } else if (a == "--no-antialias") {
            antialias = false;
        } else if (!a.empty() && a[0] == '-') {
            throw UsageError("unknown option '" + a + "'");
        } else if (id.empty()) {
            id = a;
        } else {
            throw UsageError("draw takes one module identifier");
        }
    }
    if (id.empty()) throw UsageError("draw needs a module identifier");
    if (out.empty()) throw UsageError("draw needs -o OUT.png");

    const ModuleInfo* info = Catalogue::shared().find(id, 2);
    if (info == nullptr) throw UsageError("no graphic module '" + id + "' in the catalogue");

    std::vector<PointerEvent> events;
    if (!pointerScript.empty()) {
        std::ifstream file(pointerScript);
        if (!file) throw UsageError("cannot read pointer script '" + pointerScript + "'");
        const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        try {
            events = parsePointerScript(text);
        } catch (const std::invalid_argument& e) {
            throw UsageError(e.what());
        }
    }

    GraphicOptions options;
    options.draw.antialias = antialias;
    options.baseFolder = folder;
    GraphicModule module(id, options);
    for (const auto& [key, text] : pins) {
        const PinInfo* pin = findPin(*info, key);
        if (pin == nullptr || pin->output) throw UsageError(id + " has no input pin '" + key + "'");
        try {
            module.setRaw(pin->index, valueFromText(*pin, text));
        } catch (const std::invalid_argument& e) {
            throw UsageError(e.what());
        }
    }

    const GmpiDrawing::Size wanted = module.measure(GmpiDrawing::Size(static_cast<float>(width), static_cast<float>(height)));
    if (fit && std::isfinite(wanted.width) && std::isfinite(wanted.height)) {
        width = std::clamp(static_cast<int>(std::ceil(wanted.width)), 1, 8192);
        height = std::clamp(static_cast<int>(std::ceil(wanted.height)), 1, 8192);
    }
    module.arrange(GmpiDrawing::Rect(0.0f, 0.0f, static_cast<float>(width), static_cast<float>(height)));
    module.runPointerScript(events);
    Image picture(width, height);
    module.renderOnto(picture, nullptr, background);
    picture.writePng(out);
    // What the module sent, one line each: "pin INDEX NAME = VALUE".
    for (const Transmission& t : module.transmissions()) {
        const PinInfo* pin = info->pin(t.pinId);
        std::cout << "pin " << t.pinId << " " << (pin != nullptr ? pin->name : std::string("?")) << " = ";
        switch (pin != nullptr ? pin->type : PinType::Blob) {
            case PinType::Bool: std::cout << (t.asBool() ? "true" : "false"); break;
            case PinType::Float: std::cout << t.asFloat(); break;
            case PinType::Int:
            case PinType::Enum: std::cout << t.asInt(); break;
            case PinType::String: std::cout << narrow(t.asString()); break;
            default: std::cout << t.data.size() << " bytes"; break;
        }
        std::cout << "\n";
    }
    return 0;
}

}  // namespace

int runDrawCommand(int argc, char** argv) {
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.emplace_back(argv[i]);
    for (const std::string& a : args) {
        if (a == "--help" || a == "-h") {
            std::cout << kDrawHelp;
            return 0;
        }
    }
    try {
        return draw(args);
    } catch (const UsageError& e) {
        std::cerr << "tamhost draw: " << e.what() << "\n(tamhost draw --help tells more)\n";
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "tamhost draw: " << e.what() << "\n";
        return 1;
    }
}

}  // namespace tamhost
