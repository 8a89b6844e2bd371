// The GUI side of the reference host: the host object a GUI module talks to
// (pin transmissions, pin count, file names), GuiModule, which creates a GUI
// module through a factory and drives it the way a host does (setPin, then
// notifyPin), and GuiDspBridge, which carries values between the GUI and DSP
// halves of one module so that both can be tested together.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/mp_sdk_gui.h"
#include "tamhost/Catalogue.h"
#include "tamhost/Values.h"

namespace tamhost {

class Pack;
class DspModule;

// One pinTransmit a module made.
struct Transmission {
    int32_t pinId = -1;
    int32_t voice = 0;
    RawValue data;

    float asFloat() const { return floatFromRaw(data); }
    int32_t asInt() const { return intFromRaw(data); }
    bool asBool() const { return boolFromRaw(data); }
    std::wstring asString() const { return stringFromRaw(data); }
};

// The object behind MP_IID_UI_HOST and MP_IID_UI_HOST2 for one instance.
class UiHost : public gmpi::IMpUserInterfaceHost2 {
public:
    UiHost() = default;
    virtual ~UiHost() = default;
    UiHost(const UiHost&) = delete;
    UiHost& operator=(const UiHost&) = delete;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;
    // Recorded, then handed to onTransmit.
    int32_t pinTransmit(int32_t pinId, int32_t size, const void* data, int32_t voice) override;
    int32_t reservedSlot4() override { return MP_NOSUPPORT; }
    int32_t reservedSlot5() override { return MP_NOSUPPORT; }
    int32_t reservedSlot6() override { return MP_NOSUPPORT; }
    int32_t reservedSlot7() override { return MP_NOSUPPORT; }
    int32_t reservedSlot8() override { return MP_NOSUPPORT; }
    int32_t reservedSlot9() override { return MP_NOSUPPORT; }
    // Absolute names stay; others are joined to baseFolder. Writes at most
    // bufferLength characters including the terminator; MP_FAIL if cut.
    int32_t resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) override;
    int32_t getPinCount(int32_t& count) override;

    int32_t pinCount = 0;
    std::string baseFolder;
    std::vector<Transmission> transmissions;
    std::function<void(const Transmission&)> onTransmit;
    int resolveCalls = 0;
    int pinCountCalls = 0;

private:
    int32_t refCount_ = 1;
};

// A host's stand-in that offers no GUI-side host at all: queryInterface
// answers MP_IID_UNKNOWN only.
class BareUnknown : public gmpi::IMpUnknown {
public:
    BareUnknown() = default;
    virtual ~BareUnknown() = default;
    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;

private:
    int32_t refCount_ = 1;
};

struct GuiOptions {
    // What getPinCount reports; default the catalogue's pin count.
    std::optional<int> pinCount;
    // First route (createInstance with the host, the only way a first-
    // generation module gets one) or second (createInstance2, then setHost
    // through IMpUserInterface2). Default: first for kind 1, second else.
    std::optional<bool> firstRoute;
    // After initialize, every input pin of the catalogue entry gets its
    // default (else zero) by setPin + notifyPin, in index order.
    bool sendDefaults = true;
    std::string baseFolder;
};

// A GUI module instance driven like the host drives it:
//   GuiModule m("TamMathAddGuiFloat");
//   m.setFloat(0, 2.0f);                     // setPin, then notifyPin
//   float sum = m.lastTransmission(2)->asFloat();
class GuiModule {
public:
    // Made through the shared pack and catalogue.
    explicit GuiModule(const std::string& id, int kind = 1, GuiOptions options = {});
    GuiModule(Pack& pack, const Catalogue& catalogue, const std::string& id, int kind = 1,
              GuiOptions options = {});
    // Made through any factory (a test's own registry, for modules compiled
    // into the test); info names the module and its pins.
    GuiModule(gmpi::IMpFactory2* factory, ModuleInfo info, GuiOptions options = {});
    ~GuiModule();
    GuiModule(const GuiModule&) = delete;
    GuiModule& operator=(const GuiModule&) = delete;

    const ModuleInfo& info() const { return info_; }
    UiHost& host() { return *host_; }
    bool secondGeneration() const { return ui2_ != nullptr; }
    gmpi::IMpUserInterface* face1() const { return ui1_; }
    gmpi::IMpUserInterface2B* face2() const { return ui2_; }

    // ---- the host's calls ----------------------------------------------
    int32_t setPinRaw(int pin, const RawValue& raw, int voice = 0);
    int32_t notifyPin(int pin, int voice = 0);
    // setPin then notifyPin; the first failing result, else MP_OK.
    int32_t setRaw(int pin, const RawValue& raw, int voice = 0);
    int32_t setFloat(int pin, float value, int voice = 0) { return setRaw(pin, rawFloat(value), voice); }
    int32_t setInt(int pin, int32_t value, int voice = 0) { return setRaw(pin, rawInt(value), voice); }
    int32_t setBool(int pin, bool value, int voice = 0) { return setRaw(pin, rawBool(value), voice); }
    int32_t setString(int pin, const std::wstring& value, int voice = 0) {
        return setRaw(pin, rawString(value), voice);
    }
    int32_t setBlob(int pin, const std::vector<uint8_t>& bytes, int voice = 0) {
        return setRaw(pin, rawBlob(bytes), voice);
    }

    // ---- what the module sent --------------------------------------------
    const std::vector<Transmission>& transmissions() const { return host_->transmissions; }
    std::vector<Transmission> transmissionsForPin(int pin) const;
    // The newest transmission of a pin (any voice, or the given one).
    std::optional<Transmission> lastTransmission(int pin, std::optional<int> voice = std::nullopt) const;
    void clearTransmissions() { host_->transmissions.clear(); }

private:
    void create(gmpi::IMpFactory2* factory, GuiOptions options);
    void release();
    void sendDefaults();

    ModuleInfo info_;
    UiHost* host_ = nullptr;
    gmpi::IMpUserInterface* ui1_ = nullptr;
    gmpi::IMpUserInterface2B* ui2_ = nullptr;
};

// Carries values between the halves of one module. DSP -> GUI: every
// setPin the DSP module made on a linked output since the last pump() goes
// to the GUI pin (setPin + notifyPin, on the link's voice). GUI -> DSP: every
// transmission of a linked GUI pin becomes a value event on the DSP input,
// at once (sent with graph start before the first run, else queued at the
// DSP module's current time).
class GuiDspBridge {
public:
    GuiDspBridge(GuiModule& gui, DspModule& dsp);
    ~GuiDspBridge();
    GuiDspBridge(const GuiDspBridge&) = delete;
    GuiDspBridge& operator=(const GuiDspBridge&) = delete;

    void linkDspToGui(int dspPin, int guiPin, int voice = 0);
    void linkGuiToDsp(int guiPin, int dspPin);
    // Delivers the DSP module's new setPin calls; returns how many went over.
    int pump();
    // Runs the DSP module, then pumps.
    int run(int64_t frames, int blockSize = 0);

private:
    GuiModule& gui_;
    DspModule& dsp_;
    std::multimap<int, std::pair<int, int>> dspToGui_;  // DSP pin -> (GUI pin, voice)
    std::multimap<int, int> guiToDsp_;
    size_t seenCalls_ = 0;
};

}  // namespace tamhost
