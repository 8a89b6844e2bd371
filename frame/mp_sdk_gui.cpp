// GUI pins, the pin owner and the two GUI module bases.
#include "frame/mp_sdk_gui.h"

#include <climits>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <stdexcept>

namespace tam_frame_detail {

namespace {

// Four bytes compared and copied bit for bit; a shorter image overwrites
// only its own bytes, a longer one only the value's four.
template <typename T>
bool setWord(T& value, int size, const void* data) {
    static_assert(sizeof(T) == 4, "GUI words are 32 bits");
    if (size == 4 && data != nullptr && std::memcmp(&value, data, 4) == 0) return false;
    if (size > 0 && data != nullptr) std::memcpy(&value, data, size < 4 ? static_cast<size_t>(size) : 4u);
    return true;
}

}  // namespace

bool GuiValueTraits<float>::set(float& value, int size, const void* data) {
    return setWord(value, size, data);
}

bool GuiValueTraits<int>::set(int& value, int size, const void* data) { return setWord(value, size, data); }

bool GuiValueTraits<bool>::set(bool& value, int size, const void* data) {
    if (size <= 0 || data == nullptr) return true;  // nothing to read; still reported as new
    if (size == 4) {
        int32_t word;
        std::memcpy(&word, data, 4);
        value = word != 0;
        return true;  // a word is always news, equal or not
    }
    const unsigned char byte = *static_cast<const unsigned char*>(data);
    if (size == 1 && byte == (value ? 1 : 0)) return false;
    value = byte != 0;
    return true;
}

bool GuiValueTraits<std::wstring>::set(std::wstring& value, int size, const void* data) {
    if (size < 0 || data == nullptr) size = 0;
    if (size == rawSize(value) &&
        (size == 0 || std::memcmp(value.data(), data, static_cast<size_t>(size)) == 0)) {
        return false;
    }
    const size_t count = static_cast<size_t>(size) / sizeof(wchar_t);
    value.resize(count);
    if (count != 0) std::memcpy(value.data(), data, count * sizeof(wchar_t));  // data may be unaligned
    return true;
}

bool GuiValueTraits<MpBlob>::set(MpBlob& value, int size, const void* data) {
    if (size < 0 || data == nullptr) size = 0;
    if (value.compare(static_cast<const char*>(data), size)) return false;
    value.setValueRaw(static_cast<unsigned long>(size), data);
    return true;
}

}  // namespace tam_frame_detail

// ---- UTF-8 -----------------------------------------------------------------

std::wstring Utf8ToWString(const std::string& text) {
    constexpr wchar_t kReplacement = 0xFFFD;
    std::wstring out;
    out.reserve(text.size());
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        const unsigned char lead = p[i];
        if (lead < 0x80) {
            out += static_cast<wchar_t>(lead);
            ++i;
            continue;
        }
        int follow;
        uint32_t code;
        uint32_t least;
        if (lead >= 0xC2 && lead <= 0xDF) {
            follow = 1, code = lead & 0x1Fu, least = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            follow = 2, code = lead & 0x0Fu, least = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            follow = 3, code = lead & 0x07u, least = 0x10000;
        } else {
            out += kReplacement;
            ++i;
            continue;
        }
        int taken = 0;
        while (taken < follow && i + 1 + taken < n && (p[i + 1 + taken] & 0xC0) == 0x80) {
            code = (code << 6) | (p[i + 1 + taken] & 0x3Fu);
            ++taken;
        }
        if (taken < follow || code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            out += kReplacement;
            i += 1 + static_cast<size_t>(taken);
            continue;
        }
        out += static_cast<wchar_t>(code);
        i += 1 + static_cast<size_t>(follow);
    }
    return out;
}

// ---- pin owner -------------------------------------------------------------

void GuiPinOwner::wirePin(int pinId, MpGuiPinBase& pin, IGuiPinCallbackImpl* callback) {
    if (callback != nullptr) callbacks_.emplace_back(callback);
    pin.id = pinId;
    pin.owner = this;
    pin.callback = callback;
    addPin(pinId, pin);
}

void GuiPinOwner::addPin(int pinId, MpGuiPinBase& pin) { pins_.emplace(pinId, &pin); }

MpGuiPinBase* GuiPinOwner::getPin(int pinId) const {
    const auto it = pins_.find(pinId);
    return it == pins_.end() ? nullptr : it->second;
}

int32_t GuiPinOwner::setPin(int pinId, int voice, int size, const void* data) {
    MpGuiPinBase* pin = getPin(pinId);
    if (pin == nullptr) return MP_FAIL;
    pin->set(voice, size, data);
    return MP_OK;
}

int32_t GuiPinOwner::notifyPin(int pinId, int voice) {
    MpGuiPinBase* pin = getPin(pinId);
    if (pin == nullptr) return MP_FAIL;
    if (pin->callback != nullptr) (*pin->callback)(voice);
    return MP_OK;
}

int32_t GuiPinOwner::setPin2(int pinId, int voice, int size, const void* data) {
    MpGuiPinBase* pin = getPin(pinId);
    if (pin == nullptr) return MP_FAIL;
    if (pin->set(voice, size, data) && pin->callback != nullptr) (*pin->callback)(voice);
    return MP_OK;
}

// ---- colour pin ------------------------------------------------------------

namespace {

bool startsWith(const std::wstring& text, const wchar_t* prefix) {
    const size_t length = std::wcslen(prefix);
    return text.size() >= length && text.compare(0, length, prefix) == 0;
}

int hexDigit(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

// An integer as atoi reads one: blanks, a sign, digits up to the first
// other character. Out-of-range values saturate instead of overflowing.
int32_t readInt32(const std::wstring& text, size_t from) {
    size_t i = from;
    while (i < text.size() && std::iswspace(static_cast<wint_t>(text[i]))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) negative = text[i++] == L'-';
    int64_t magnitude = 0;
    for (; i < text.size() && text[i] >= L'0' && text[i] <= L'9'; ++i) {
        if (magnitude <= INT32_MAX) magnitude = magnitude * 10 + (text[i] - L'0');
    }
    const int64_t result = negative ? -magnitude : magnitude;
    if (result > INT32_MAX) return INT32_MAX;
    if (result < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(result);
}

uint32_t channelByte(int32_t v) { return static_cast<uint32_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

}  // namespace

bool ColorGuiPin::set(int voice, int size, const void* data) {
    if (!MpGuiPin<std::wstring>::set(voice, size, data)) return false;
    decode();
    return true;
}

ColorGuiPin& ColorGuiPin::operator=(const std::wstring& text) {
    if (value != text) {
        value = text;
        decode();
        transmit(rawSize(), rawData(), 0);
    }
    return *this;
}

void ColorGuiPin::decode() {
    if (value.empty()) {
        invalid = true;
    } else if (value.size() >= 3 && startsWith(value, L"0x")) {
        decodeHexadecimal();
    } else if (value[0] >= L'0' && value[0] <= L'9') {
        decodeDecimal();
    } else if (value.size() >= 5 && startsWith(value, L"RGB(")) {
        decodeChannels(3);
    } else if (value.size() >= 6 && startsWith(value, L"ARGB(")) {
        decodeChannels(4);
    } else {
        invalid = true;
    }
}

// Every hexadecimal digit counts, others are skipped; the "0x" gives its 0.
void ColorGuiPin::decodeHexadecimal() {
    uint32_t word = 0;
    for (const wchar_t c : value) {
        const int digit = hexDigit(c);
        if (digit >= 0) word = (word << 4) | static_cast<uint32_t>(digit);
    }
    color = word;
    invalid = false;
}

// As strtoul reads it (saturating at 64 bits), kept to the colour's 32.
void ColorGuiPin::decodeDecimal() {
    uint64_t number = 0;
    for (size_t i = 0; i < value.size() && value[i] >= L'0' && value[i] <= L'9'; ++i) {
        const uint64_t digit = static_cast<uint64_t>(value[i] - L'0');
        number = number > (UINT64_MAX - digit) / 10 ? UINT64_MAX : number * 10 + digit;
    }
    color = static_cast<uint32_t>(number);
    invalid = color == 0;
}

void ColorGuiPin::decodeChannels(int channels) {
    uint32_t bytes[4] = {255, 0, 0, 0};
    uint32_t* channel = channels == 3 ? bytes + 1 : bytes;
    size_t position = value.find(L'(');
    for (int i = 0; i < channels; ++i) {
        const int32_t number = readInt32(value, position + 1);
        const wchar_t separator = i + 1 == channels ? L')' : L',';
        const size_t next = value.find(separator, position + 1);
        if (next == std::wstring::npos) {
            invalid = true;  // the previous colour stays
            return;
        }
        channel[i] = channelByte(number);
        position = next;
    }
    color = (bytes[0] << 24) | (bytes[1] << 16) | (bytes[2] << 8) | bytes[3];
    invalid = false;
}

std::wstring ColorGuiPin::formatColor() const {
    const unsigned a = (color >> 24) & 0xFF, r = (color >> 16) & 0xFF, g = (color >> 8) & 0xFF,
                   b = color & 0xFF;
    wchar_t text[64];
    switch (format) {
        case kHexadecimal:
            std::swprintf(text, 64, L"0x%x", static_cast<unsigned>(color));
            break;
        case kRgb:
            std::swprintf(text, 64, L"RGB(%i,%i,%i)", static_cast<int>(r), static_cast<int>(g),
                          static_cast<int>(b));
            break;
        case kArgb:
            std::swprintf(text, 64, L"ARGB(%i,%i,%i,%i)", static_cast<int>(a), static_cast<int>(r),
                          static_cast<int>(g), static_cast<int>(b));
            break;
        default:
            std::swprintf(text, 64, L"%u", static_cast<unsigned>(color));
            break;
    }
    return text;
}

void ColorGuiPin::sendColorPinUpdate() {
    value = formatColor();
    invalid = false;
    transmit(rawSize(), rawData(), 0);
}

// ---- first generation ----------------------------------------------------

MpGuiBase_base::MpGuiBase_base(gmpi::IMpUnknown* newHost) {
    if (newHost != nullptr) newHost->queryInterface(MP_IID_UI_HOST, reinterpret_cast<void**>(&host));
}

MpGuiBase_base::~MpGuiBase_base() {
    if (host != nullptr) host->release();
}

int32_t MpGuiBase_base::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_GUI_PLUGIN) {
        *object = static_cast<gmpi::IMpUserInterface*>(this);
        addRef();
        return MP_OK;
    }
    return MP_NOSUPPORT;
}

int32_t MpGuiBase_base::setHost(gmpi::IMpUnknown* newHost) {
    if (host != nullptr) {
        host->release();
        host = nullptr;
    }
    if (newHost != nullptr) newHost->queryInterface(MP_IID_UI_HOST, reinterpret_cast<void**>(&host));
    if (host == nullptr) throw std::runtime_error("host Interfaces not supported");
    return MP_OK;
}

int32_t MpGuiBase_base::pinTransmit(int pinId, int size, const void* data, int voice) {
    return host != nullptr ? host->pinTransmit(pinId, size, data, voice) : MP_FAIL;
}

namespace {

int32_t askPinCount(gmpi::IMpUserInterfaceHost* host) {
    int32_t count = 0;
    if (host == nullptr || host->getPinCount(count) != MP_OK) return 0;
    return count;
}

std::wstring askFileName(gmpi::IMpUserInterfaceHost* host, const std::wstring& name) {
    constexpr int kPathLength = 260;
    wchar_t buffer[kPathLength] = {};
    if (host == nullptr || host->resolveFileName(name.c_str(), kPathLength, buffer) != MP_OK) return name;
    buffer[kPathLength - 1] = L'\0';  // a host that fills the buffer still ends here
    return buffer;
}

}  // namespace

int32_t MpGuiBase_base::getPinCount() { return askPinCount(host); }

std::wstring MpGuiBase_base::resolveFileName(const std::wstring& name) { return askFileName(host, name); }

int32_t MpGuiBase::release() {
    if (--refCount_ == 0) {
        delete this;
        return 0;
    }
    return refCount_;
}

// ---- second generation ---------------------------------------------------

MpGuiBase2::~MpGuiBase2() {
    if (host != nullptr) host->release();
}

int32_t MpGuiBase2::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_GUI_PLUGIN2 || iid == MP_IID_GUI_PLUGIN2B) {
        *object = static_cast<gmpi::IMpUserInterface2B*>(this);
        addRef();
        return MP_OK;
    }
    return MP_NOSUPPORT;
}

int32_t MpGuiBase2::setHost(gmpi::IMpUnknown* newHost) {
    if (host != nullptr) {
        host->release();
        host = nullptr;
    }
    if (newHost != nullptr) newHost->queryInterface(MP_IID_UI_HOST2, reinterpret_cast<void**>(&host));
    return host != nullptr ? MP_OK : MP_NOSUPPORT;
}

int32_t MpGuiBase2::pinTransmit(int pinId, int size, const void* data, int voice) {
    return host != nullptr ? host->pinTransmit(pinId, size, data, voice) : MP_FAIL;
}

int32_t MpGuiBase2::getPinCount() { return askPinCount(host); }

std::wstring MpGuiBase2::resolveFileName(const std::wstring& name) { return askFileName(host, name); }
