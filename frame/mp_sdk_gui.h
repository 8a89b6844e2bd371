// The GUI side of the host boundary. GUI modules have no audio and no block
// loop: they hold pins with values, hear when a pin changes (the host calls
// setPin, then notifyPin), and change their own pins, which transmit to the
// host on a change only. Two generations of module base share one pin owner:
// MpGuiBase (host from the first creation route) and MpGuiBase2 (host given
// through IMpUserInterface2, the base of graphic modules).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_common.h"

namespace gmpi {

class IMpUserInterface : public IMpUnknown {
public:
    virtual int32_t initialize() = 0;
    virtual int32_t setPin(int32_t pinId, int32_t voice, int32_t size, void* data) = 0;
    virtual int32_t notifyPin(int32_t pinId, int32_t voice) = 0;
    virtual int32_t receiveMessageFromAudio(int32_t id, int32_t size, void* messageData) = 0;
    virtual int32_t onCreateContextMenu() = 0;
    virtual int32_t onContextMenu(int32_t selection) = 0;
};

class IMpUserInterface2 : public IMpUnknown {
public:
    virtual int32_t setHost(IMpUnknown* host) = 0;
    virtual int32_t initialize() = 0;
    virtual int32_t setPin(int32_t pinId, int32_t voice, int32_t size, const void* data) = 0;
    virtual int32_t receiveMessageFromAudio(int32_t id, int32_t size, const void* messageData) = 0;
    virtual int32_t populateContextMenu(float x, float y, IMpUnknown* contextMenuItemsSink) = 0;
    virtual int32_t onContextMenu(int32_t selection) = 0;
    virtual int32_t getToolTip(float x, float y, IMpUnknown* returnToolTipString) = 0;
};

class IMpUserInterface2B : public IMpUserInterface2 {
public:
    virtual int32_t notifyPin(int32_t pinId, int32_t voice) = 0;
};

// The GUI-side host (MP_IID_UI_HOST and MP_IID_UI_HOST2 share this table).
// The slot order is the binary contract; the reserved slots are operations
// the pack never calls.
class IMpUserInterfaceHost : public IMpUnknown {
public:
    virtual int32_t pinTransmit(int32_t pinId, int32_t size, const void* data, int32_t voice) = 0;
    virtual int32_t reservedSlot4() = 0;
    virtual int32_t reservedSlot5() = 0;
    virtual int32_t reservedSlot6() = 0;
    virtual int32_t reservedSlot7() = 0;
    virtual int32_t reservedSlot8() = 0;
    virtual int32_t reservedSlot9() = 0;
    // Always called with a buffer of 260 wide characters.
    virtual int32_t resolveFileName(const wchar_t* name, int32_t bufferLength, wchar_t* buffer) = 0;
    virtual int32_t getPinCount(int32_t& count) = 0;
};

class IMpUserInterfaceHost2 : public IMpUserInterfaceHost {};

}  // namespace gmpi

class MpGuiPinBase;

// A pin's callback: the owning module and one of its member routines.
class IGuiPinCallbackImpl {
public:
    virtual ~IGuiPinCallbackImpl() = default;
    virtual void operator()(int voice) = 0;
};

template <class T>
class IGuiPinCallback : public IGuiPinCallbackImpl {
public:
    typedef void (T::*Handler)();
    IGuiPinCallback(T* object, Handler handler) : object_(object), handler_(handler) {}
    void operator()(int) override { (object_->*handler_)(); }

private:
    T* object_;
    Handler handler_;
};

template <class T>
class IGuiPinCallbackIndexed : public IGuiPinCallbackImpl {
public:
    typedef void (T::*Handler)(int voice);
    IGuiPinCallbackIndexed(T* object, Handler handler) : object_(object), handler_(handler) {}
    void operator()(int voice) override { (object_->*handler_)(voice); }

private:
    T* object_;
    Handler handler_;
};

// What both module bases share: the pin map and the way out to the host.
// The owner keeps the callback objects its pins were given and frees them
// with itself; the pins, being members of the module, are never owned.
class GuiPinOwner {
public:
    virtual int32_t pinTransmit(int pinId, int size, const void* data, int voice = 0) = 0;

    // An id already in the map keeps its first pin.
    void addPin(int pinId, MpGuiPinBase& pin);
    MpGuiPinBase* getPin(int pinId) const;

    // Stores the value; no callback runs. Unknown pin: MP_FAIL.
    int32_t setPin(int pinId, int voice, int size, const void* data);
    // Runs the pin's callback, if any, with the voice. Unknown pin: MP_FAIL.
    int32_t notifyPin(int pinId, int voice);
    // As setPin, and the callback runs at once when the value changed.
    int32_t setPin2(int pinId, int voice, int size, const void* data);

    std::map<int, MpGuiPinBase*> pins_;

protected:
    GuiPinOwner() = default;
    ~GuiPinOwner() = default;
    GuiPinOwner(const GuiPinOwner&) = delete;
    GuiPinOwner& operator=(const GuiPinOwner&) = delete;

    // Wires id, owner and callback into the pin and enters it in the map;
    // the owner takes the callback (null for none).
    void wirePin(int pinId, MpGuiPinBase& pin, IGuiPinCallbackImpl* callback);

private:
    std::vector<std::unique_ptr<IGuiPinCallbackImpl>> callbacks_;
};

// ---- pins -------------------------------------------------------------------

class MpGuiPinBase {
public:
    MpGuiPinBase() = default;
    MpGuiPinBase(const MpGuiPinBase&) = default;
    MpGuiPinBase& operator=(const MpGuiPinBase&) = default;
    virtual ~MpGuiPinBase() = default;
    // Stores a value from the host; true when it changed.
    virtual bool set(int voice, int size, const void* data) = 0;
    virtual int getDatatype() const = 0;

    int getId() const { return id; }

    int32_t id = -1;
    GuiPinOwner* owner = nullptr;
    IGuiPinCallbackImpl* callback = nullptr;

protected:
    void transmit(int size, const void* data, int voice) {
        if (owner != nullptr) owner->pinTransmit(id, size, data, voice);
    }
};

namespace tam_frame_detail {

// How a host image becomes a GUI value, and what a value looks like to the
// host. Sizes and pointers are untrusted: nothing reads past `size` bytes.
template <typename T>
struct GuiValueTraits;

template <>
struct GuiValueTraits<float> {
    static constexpr int datatype = gmpi::MP_FLOAT32;
    static bool set(float& value, int size, const void* data);
    static int rawSize(const float&) { return 4; }
    static const void* rawData(const float& value) { return &value; }
};

template <>
struct GuiValueTraits<int> {
    static constexpr int datatype = gmpi::MP_INT32;
    static bool set(int& value, int size, const void* data);
    static int rawSize(const int&) { return 4; }
    static const void* rawData(const int& value) { return &value; }
};

template <>
struct GuiValueTraits<bool> {
    static constexpr int datatype = gmpi::MP_BOOL;
    static bool set(bool& value, int size, const void* data);
    static int rawSize(const bool&) { return 1; }
    static const void* rawData(const bool& value) { return &value; }
};

template <>
struct GuiValueTraits<std::wstring> {
    static constexpr int datatype = gmpi::MP_STRING;
    static bool set(std::wstring& value, int size, const void* data);
    static int rawSize(const std::wstring& value) { return static_cast<int>(value.size() * sizeof(wchar_t)); }
    static const void* rawData(const std::wstring& value) { return value.data(); }
};

template <>
struct GuiValueTraits<MpBlob> {
    static constexpr int datatype = gmpi::MP_BLOB;
    static bool set(MpBlob& value, int size, const void* data);
    static int rawSize(const MpBlob& value) { return value.getSize(); }
    static const void* rawData(const MpBlob& value) { return value.getData(); }
};

}  // namespace tam_frame_detail

// A monophonic GUI pin: one value of T.
template <typename T>
class MpGuiPin : public MpGuiPinBase {
    using Traits = tam_frame_detail::GuiValueTraits<T>;

public:
    MpGuiPin() : value() {}
    MpGuiPin(const MpGuiPin&) = default;

    // The voice is ignored: one value for all voices.
    bool set(int, int size, const void* data) override { return Traits::set(value, size, data); }
    int getDatatype() const override { return Traits::datatype; }
    virtual int rawSize() const { return Traits::rawSize(value); }
    virtual const void* rawData() const { return Traits::rawData(value); }
    virtual IGuiPinCallbackImpl* getDefaultEventHandler() const { return nullptr; }

    // Stores and transmits (voice 0) on a change only; the module's own
    // callback does not run.
    MpGuiPin& operator=(const T& newValue) {
        if (!(value == newValue)) {
            value = newValue;
            transmit(rawSize(), rawData(), 0);
        }
        return *this;
    }
    MpGuiPin& operator=(const MpGuiPin& other) { return *this = other.value; }

    const T& getValue() const { return value; }
    operator const T&() const { return value; }

    T value;
};

// A polyphonic GUI pin: one value of T per voice, held in the pin. Voices
// outside 0 .. VOICES-1 are ignored rather than reaching past the cells.
template <typename T, int VOICES = 128>
class MpGuiArrayPin : public MpGuiPinBase {
    using Traits = tam_frame_detail::GuiValueTraits<T>;

public:
    MpGuiArrayPin() : values() {}
    MpGuiArrayPin(const MpGuiArrayPin&) = default;
    // Takes the other pin's values, keeps its own wiring, sends nothing.
    MpGuiArrayPin& operator=(const MpGuiArrayPin& other) {
        if (this != &other) {
            for (int voice = 0; voice < VOICES; ++voice) values[voice] = other.values[voice];
        }
        return *this;
    }

    bool set(int voice, int size, const void* data) override { return setValueRaw(voice, size, data); }
    int getDatatype() const override { return Traits::datatype; }
    virtual IGuiPinCallbackImpl* getDefaultEventHandler() const { return nullptr; }
    virtual bool setValueRaw(int voice, int size, const void* data) {
        if (!validVoice(voice)) return false;
        return Traits::set(values[voice], size, data);
    }
    virtual int rawSize(int voice) const { return validVoice(voice) ? Traits::rawSize(values[voice]) : 0; }
    virtual const void* rawData(int voice) const {
        return validVoice(voice) ? Traits::rawData(values[voice]) : nullptr;
    }

    const T& getValue(int voice) const { return validVoice(voice) ? values[voice] : values[0]; }
    const T& operator[](int voice) const { return getValue(voice); }
    // Stores and transmits with the voice, on a change only.
    void setValue(int voice, const T& newValue) {
        if (!validVoice(voice) || values[voice] == newValue) return;
        values[voice] = newValue;
        transmit(rawSize(voice), rawData(voice), voice);
    }

    static constexpr int voiceCount = VOICES;
    T values[VOICES];

private:
    static bool validVoice(int voice) { return voice >= 0 && voice < VOICES; }
};

// Text between UTF-8 and the host's 32-bit wide characters. Malformed UTF-8
// becomes U+FFFD rather than an exception that would cross the host boundary.
std::wstring Utf8ToWString(const std::string& text);

class StringGuiPin : public MpGuiPin<std::wstring> {
public:
    StringGuiPin() = default;
    StringGuiPin(const StringGuiPin&) = default;

    StringGuiPin& operator=(const std::wstring& text) {
        MpGuiPin<std::wstring>::operator=(text);
        return *this;
    }
    StringGuiPin& operator=(const std::string& utf8) { return *this = Utf8ToWString(utf8); }
    StringGuiPin& operator=(const char* utf8) { return *this = std::string(utf8 != nullptr ? utf8 : ""); }
    StringGuiPin& operator=(const wchar_t* text) {
        return *this = std::wstring(text != nullptr ? text : L"");
    }
    StringGuiPin& operator=(const StringGuiPin& other) { return *this = other.value; }

    operator std::string() const { return WStringToUtf8(value); }
    std::string getValueUtf8() const { return WStringToUtf8(value); }
};

// A colour carried as text. Forms understood: "0x..." hexadecimal, an
// unsigned decimal, "RGB(r,g,b)" and "ARGB(a,r,g,b)".
class ColorGuiPin : public StringGuiPin {
public:
    enum Format { kDecimal = 0, kHexadecimal = 1, kRgb = 2, kArgb = 3 };

    ColorGuiPin() = default;
    ColorGuiPin(const ColorGuiPin&) = default;

    bool set(int voice, int size, const void* data) override;

    // A module's own text is decoded too, so that `color` always follows it.
    ColorGuiPin& operator=(const std::wstring& text);
    ColorGuiPin& operator=(const std::string& utf8) { return *this = Utf8ToWString(utf8); }
    ColorGuiPin& operator=(const ColorGuiPin& other) { return *this = other.value; }

    // Remakes the text from `color` in `format` and transmits it, changed
    // or not.
    void sendColorPinUpdate();
    // The text `color` gets in `format`.
    std::wstring formatColor() const;

    // Reads `value` into `color` and `invalid`.
    void decode();

    bool invalid = true;  // no colour until a text has been decoded
    int32_t format = kDecimal;
    uint32_t color = 0;  // 0xAARRGGBB

private:
    void decodeHexadecimal();
    void decodeDecimal();
    // channels: 3 for "RGB(" (alpha 255), 4 for "ARGB(" (alpha first).
    void decodeChannels(int channels);
};

// ---- first generation ----------------------------------------------------

class MpGuiBase_base : public gmpi::IMpUserInterface, public IoldSchoolInitialisation, public GuiPinOwner {
public:
    typedef void (gmpi::IMpUserInterface::*Handler)();
    typedef void (gmpi::IMpUserInterface::*IndexedHandler)(int voice);

    // Creation functions pass a null host; the host arrives by setHost.
    explicit MpGuiBase_base(gmpi::IMpUnknown* host = nullptr);
    virtual ~MpGuiBase_base();
    MpGuiBase_base(const MpGuiBase_base&) = delete;
    MpGuiBase_base& operator=(const MpGuiBase_base&) = delete;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t initialize() override { return 0; }
    int32_t setPin(int32_t pinId, int32_t voice, int32_t size, void* data) override {
        return GuiPinOwner::setPin(pinId, voice, size, data);
    }
    int32_t notifyPin(int32_t pinId, int32_t voice) override { return GuiPinOwner::notifyPin(pinId, voice); }
    int32_t receiveMessageFromAudio(int32_t, int32_t, void*) override { return 0; }
    int32_t onCreateContextMenu() override { return 0; }
    int32_t onContextMenu(int32_t) override { return 0; }

    // Throws "host Interfaces not supported" when the host offers no
    // GUI-side host; the factory turns that into MP_FAIL.
    int32_t setHost(gmpi::IMpUnknown* host) override;

    int32_t pinTransmit(int pinId, int size, const void* data, int voice = 0) override;

    template <class M>
    void initializePin(int pinId, MpGuiPinBase& pin, void (M::*handler)()) {
        IGuiPinCallbackImpl* callback = nullptr;
        if (handler != nullptr) {
            callback = new IGuiPinCallback<gmpi::IMpUserInterface>(this, static_cast<Handler>(handler));
        }
        wirePin(pinId, pin, callback);
    }
    template <class M>
    void initializePin(int pinId, MpGuiPinBase& pin, void (M::*handler)(int)) {
        IGuiPinCallbackImpl* callback = nullptr;
        if (handler != nullptr) {
            callback = new IGuiPinCallbackIndexed<gmpi::IMpUserInterface>(
                this, static_cast<IndexedHandler>(handler));
        }
        wirePin(pinId, pin, callback);
    }
    void initializePin(int pinId, MpGuiPinBase& pin) { wirePin(pinId, pin, nullptr); }
    void initializePin(int pinId, MpGuiPinBase& pin, std::nullptr_t) { wirePin(pinId, pin, nullptr); }

    gmpi::IMpUserInterfaceHost* getHost() const { return host; }
    // The host's pin count (modules with a variable number of pins ask in
    // initialize); 0 without a host or an answer.
    int32_t getPinCount();
    // Full path of a file name from a pin, through the host.
    std::wstring resolveFileName(const std::wstring& name);

    gmpi::IMpUserInterfaceHost* host = nullptr;
};

class MpGuiBase : public MpGuiBase_base {
public:
    explicit MpGuiBase(gmpi::IMpUnknown* host = nullptr) : MpGuiBase_base(host) {}

    int32_t addRef() override { return ++refCount_; }
    int32_t release() override;

private:
    int32_t refCount_ = 1;
};

// ---- second generation ---------------------------------------------------

// Reference counting is left to the derived class.
class MpGuiBase2 : public gmpi::IMpUserInterface2B, public GuiPinOwner {
public:
    typedef void (gmpi::IMpUserInterface2::*Handler)();
    typedef void (gmpi::IMpUserInterface2::*IndexedHandler)(int voice);

    MpGuiBase2() = default;
    virtual ~MpGuiBase2();
    MpGuiBase2(const MpGuiBase2&) = delete;
    MpGuiBase2& operator=(const MpGuiBase2&) = delete;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    // MP_NOSUPPORT when the host offers no second-version GUI host.
    int32_t setHost(gmpi::IMpUnknown* host) override;
    int32_t initialize() override { return 0; }
    int32_t setPin(int32_t pinId, int32_t voice, int32_t size, const void* data) override {
        return GuiPinOwner::setPin(pinId, voice, size, data);
    }
    int32_t notifyPin(int32_t pinId, int32_t voice) override { return GuiPinOwner::notifyPin(pinId, voice); }
    int32_t receiveMessageFromAudio(int32_t, int32_t, const void*) override { return -1; }
    int32_t populateContextMenu(float, float, gmpi::IMpUnknown*) override { return -1; }
    int32_t onContextMenu(int32_t) override { return -1; }
    int32_t getToolTip(float, float, gmpi::IMpUnknown*) override { return -1; }

    int32_t pinTransmit(int pinId, int size, const void* data, int voice = 0) override;

    template <class M>
    void initializePin(int pinId, MpGuiPinBase& pin, void (M::*handler)()) {
        IGuiPinCallbackImpl* callback = nullptr;
        if (handler != nullptr) {
            callback = new IGuiPinCallback<gmpi::IMpUserInterface2>(this, static_cast<Handler>(handler));
        }
        wirePin(pinId, pin, callback);
    }
    template <class M>
    void initializePin(int pinId, MpGuiPinBase& pin, void (M::*handler)(int)) {
        IGuiPinCallbackImpl* callback = nullptr;
        if (handler != nullptr) {
            callback = new IGuiPinCallbackIndexed<gmpi::IMpUserInterface2>(
                this, static_cast<IndexedHandler>(handler));
        }
        wirePin(pinId, pin, callback);
    }
    void initializePin(int pinId, MpGuiPinBase& pin) { wirePin(pinId, pin, nullptr); }
    void initializePin(int pinId, MpGuiPinBase& pin, std::nullptr_t) { wirePin(pinId, pin, nullptr); }

    gmpi::IMpUserInterfaceHost2* getHost() const { return host; }
    int32_t getPinCount();
    std::wstring resolveFileName(const std::wstring& name);

    gmpi::IMpUserInterfaceHost2* host = nullptr;
};
