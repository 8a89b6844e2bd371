// The GUI-side host object, the GUI module driver and the bridge between a
// module's GUI and DSP halves.
#include "tamhost/GuiHost.h"

#include <algorithm>
#include <cwchar>
#include <stdexcept>

#include "tamhost/DspHost.h"
#include "tamhost/Pack.h"

namespace tamhost {

// ---- UiHost -----------------------------------------------------------------

int32_t UiHost::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_UI_HOST || iid == MP_IID_UI_HOST2) {
        *object = static_cast<gmpi::IMpUserInterfaceHost2*>(this);
        addRef();
        return MP_OK;
    }
    return MP_NOSUPPORT;
}

int32_t UiHost::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

int32_t UiHost::pinTransmit(int32_t pinId, int32_t size, const void* data, int32_t voice) {
    Transmission t;
    t.pinId = pinId;
    t.voice = voice;
    if (size > 0 && data != nullptr) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        t.data.assign(bytes, bytes + size);
    }
    transmissions.push_back(t);
    if (onTransmit) onTransmit(t);
    return MP_OK;
}

int32_t UiHost::resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) {
    ++resolveCalls;
    if (name == nullptr || buffer == nullptr || bufferLength <= 0) return MP_FAIL;
    std::wstring full = name;
    if (!full.empty() && full[0] != L'/' && !baseFolder.empty()) {
        std::wstring base = widen(baseFolder);
        if (base.back() != L'/') base += L'/';
        full = base + full;
    }
    const size_t count = std::min(full.size(), static_cast<size_t>(bufferLength) - 1);
    std::wmemcpy(buffer, full.data(), count);
    buffer[count] = L'\0';
    return count == full.size() ? MP_OK : MP_FAIL;
}

int32_t UiHost::getPinCount(int32_t& count) {
    ++pinCountCalls;
    count = pinCount;
    return MP_OK;
}

int32_t BareUnknown::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid != MP_IID_UNKNOWN) return MP_NOSUPPORT;
    *object = this;
    addRef();
    return MP_OK;
}

int32_t BareUnknown::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

// ---- GuiModule --------------------------------------------------------------

GuiModule::GuiModule(const std::string& id, int kind, GuiOptions options)
    : GuiModule(Pack::shared(), Catalogue::shared(), id, kind, std::move(options)) {}

GuiModule::GuiModule(Pack& pack, const Catalogue& catalogue, const std::string& id, int kind,
                     GuiOptions options)
    : info_(catalogue.get(id, kind)) {
    create(pack.factory(), std::move(options));
}

GuiModule::GuiModule(gmpi::IMpFactory2* factory, ModuleInfo info, GuiOptions options)
    : info_(std::move(info)) {
    create(factory, std::move(options));
}

GuiModule::~GuiModule() { release(); }

void GuiModule::release() {
    if (ui1_ != nullptr) ui1_->release();
    if (ui2_ != nullptr) ui2_->release();
    ui1_ = nullptr;
    ui2_ = nullptr;
    if (host_ != nullptr) host_->release();
    host_ = nullptr;
}

void GuiModule::create(gmpi::IMpFactory2* factory, GuiOptions options) {
    if (factory == nullptr) throw std::runtime_error("no factory to make GUI module " + info_.id);
    host_ = new UiHost();
    host_->pinCount = options.pinCount ? *options.pinCount : static_cast<int32_t>(info_.pins.size());
    host_->baseFolder = options.baseFolder;
    const bool firstRoute = options.firstRoute ? *options.firstRoute : info_.kind == 1;
    const std::wstring id = widen(info_.id);
    const std::string what = "GUI module " + info_.id + " kind " + std::to_string(info_.kind);

    void* object = nullptr;
    const int32_t result = firstRoute ? factory->createInstance(id.c_str(), info_.kind, host_, &object)
                                      : factory->createInstance2(id.c_str(), info_.kind, &object);
    auto* instance = static_cast<gmpi::IMpUnknown*>(object);
    if (result != MP_OK || instance == nullptr) {
        if (instance != nullptr) instance->release();  // a failed setHost leaves the object with us
        release();
        throw std::runtime_error("the factory made no " + what + " (result " + std::to_string(result) + ")");
    }

    void* face = nullptr;
    if (instance->queryInterface(MP_IID_GUI_PLUGIN2B, &face) == MP_OK && face != nullptr) {
        ui2_ = static_cast<gmpi::IMpUserInterface2B*>(face);
    } else if (instance->queryInterface(MP_IID_GUI_PLUGIN, &face) == MP_OK && face != nullptr) {
        ui1_ = static_cast<gmpi::IMpUserInterface*>(face);
    }
    instance->release();
    if (ui1_ == nullptr && ui2_ == nullptr) {
        release();
        throw std::runtime_error(what + " has no GUI face");
    }
    if (ui2_ != nullptr && ui2_->setHost(host_) != MP_OK) {
        release();
        throw std::runtime_error(what + " refused the GUI host");
    }
    if (ui1_ != nullptr && !firstRoute) {
        release();
        throw std::runtime_error(what + " is first-generation and gets a host only by the first route");
    }
    if (ui1_ != nullptr) {
        ui1_->initialize();
    } else {
        ui2_->initialize();
    }
    if (options.sendDefaults) sendDefaults();
}

void GuiModule::sendDefaults() {
    for (const PinInfo& pin : info_.pins) {
        if (pin.output || pin.type == PinType::Audio || pin.type == PinType::Midi) continue;
        RawValue raw;
        if (pin.defaultRaw) {
            raw = *pin.defaultRaw;
        } else if (pin.type == PinType::Bool) {
            raw = rawBool(false);
        } else if (pin.type != PinType::String && pin.type != PinType::Blob) {
            raw = rawInt(0);  // float 0.0 has the same four bytes
        }
        setRaw(pin.index, raw);
    }
}

int32_t GuiModule::setPinRaw(int pin, const RawValue& raw, int voice) {
    // An empty image still gets a valid pointer, as a host would pass.
    static const uint8_t kNothing = 0;
    const void* data = raw.empty() ? &kNothing : raw.data();
    const int32_t size = static_cast<int32_t>(raw.size());
    if (ui1_ != nullptr) return ui1_->setPin(pin, voice, size, const_cast<void*>(data));
    return ui2_->setPin(pin, voice, size, data);
}

int32_t GuiModule::notifyPin(int pin, int voice) {
    return ui1_ != nullptr ? ui1_->notifyPin(pin, voice) : ui2_->notifyPin(pin, voice);
}

int32_t GuiModule::setRaw(int pin, const RawValue& raw, int voice) {
    const int32_t result = setPinRaw(pin, raw, voice);
    if (result != MP_OK) return result;
    return notifyPin(pin, voice);
}

std::vector<Transmission> GuiModule::transmissionsForPin(int pin) const {
    std::vector<Transmission> result;
    for (const Transmission& t : host_->transmissions) {
        if (t.pinId == pin) result.push_back(t);
    }
    return result;
}

std::optional<Transmission> GuiModule::lastTransmission(int pin, std::optional<int> voice) const {
    const auto& all = host_->transmissions;
    for (auto it = all.rbegin(); it != all.rend(); ++it) {
        if (it->pinId == pin && (!voice || it->voice == *voice)) return *it;
    }
    return std::nullopt;
}

// ---- GuiDspBridge -----------------------------------------------------------

GuiDspBridge::GuiDspBridge(GuiModule& gui, DspModule& dsp) : gui_(gui), dsp_(dsp) {
    seenCalls_ = dsp_.calls().size();
    gui_.host().onTransmit = [this](const Transmission& t) {
        const auto range = guiToDsp_.equal_range(t.pinId);
        for (auto it = range.first; it != range.second; ++it) dsp_.setRaw(it->second, t.data);
    };
}

GuiDspBridge::~GuiDspBridge() { gui_.host().onTransmit = nullptr; }

void GuiDspBridge::linkDspToGui(int dspPin, int guiPin, int voice) {
    dspToGui_.emplace(dspPin, std::make_pair(guiPin, voice));
}

void GuiDspBridge::linkGuiToDsp(int guiPin, int dspPin) { guiToDsp_.emplace(guiPin, dspPin); }

int GuiDspBridge::pump() {
    const auto& calls = dsp_.calls();
    if (seenCalls_ > calls.size()) seenCalls_ = 0;  // the record was cleared
    // Copied first: a GUI answer may queue DSP events, never new calls.
    const std::vector<RecordedCall> fresh(calls.begin() + static_cast<std::ptrdiff_t>(seenCalls_),
                                          calls.end());
    seenCalls_ = calls.size();
    int delivered = 0;
    for (const RecordedCall& call : fresh) {
        if (call.kind != RecordedCall::SetPin) continue;
        const auto range = dspToGui_.equal_range(call.pinId);
        for (auto it = range.first; it != range.second; ++it) {
            gui_.setRaw(it->second.first, call.data, it->second.second);
            ++delivered;
        }
    }
    return delivered;
}

int GuiDspBridge::run(int64_t frames, int blockSize) {
    dsp_.run(frames, blockSize);
    return pump();
}

}  // namespace tamhost
