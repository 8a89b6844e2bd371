// Raw images of pin values.
#include "tamhost/Values.h"

#include <cstring>

namespace tamhost {

namespace {
template <typename T>
RawValue rawOf(const T& value) {
    RawValue raw(sizeof(T));
    std::memcpy(raw.data(), &value, sizeof(T));
    return raw;
}
}  // namespace

RawValue rawFloat(float value) { return rawOf(value); }
RawValue rawInt(int32_t value) { return rawOf(value); }
RawValue rawBool(bool value) { return RawValue{static_cast<uint8_t>(value ? 1 : 0)}; }

RawValue rawString(const std::wstring& value) {
    RawValue raw(value.size() * sizeof(wchar_t));
    if (!raw.empty()) std::memcpy(raw.data(), value.data(), raw.size());
    return raw;
}

RawValue rawBlob(const std::vector<uint8_t>& bytes) { return bytes; }

float floatFromRaw(const RawValue& raw) {
    float value = 0.0f;
    if (raw.size() >= sizeof value) std::memcpy(&value, raw.data(), sizeof value);
    return value;
}

int32_t intFromRaw(const RawValue& raw) {
    int32_t value = 0;
    if (raw.size() >= sizeof value) std::memcpy(&value, raw.data(), sizeof value);
    return value;
}

bool boolFromRaw(const RawValue& raw) {
    if (raw.size() == 4) return intFromRaw(raw) != 0;
    return !raw.empty() && raw[0] != 0;
}

std::wstring stringFromRaw(const RawValue& raw) {
    std::wstring value(raw.size() / sizeof(wchar_t), L'\0');
    if (!value.empty()) std::memcpy(value.data(), raw.data(), value.size() * sizeof(wchar_t));
    return value;
}

}  // namespace tamhost
