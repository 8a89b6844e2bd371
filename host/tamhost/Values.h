// Raw images of pin values as they travel in events and setPin calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tamhost {

using RawValue = std::vector<uint8_t>;

RawValue rawFloat(float value);
RawValue rawInt(int32_t value);
RawValue rawBool(bool value);  // one byte, as the pack sends it
RawValue rawString(const std::wstring& value);  // 32-bit characters, no terminator
RawValue rawBlob(const std::vector<uint8_t>& bytes);

// Readers for recorded data; a short image reads as 0 / false / empty.
float floatFromRaw(const RawValue& raw);
int32_t intFromRaw(const RawValue& raw);
bool boolFromRaw(const RawValue& raw);  // 4 bytes: word != 0; else the first byte
std::wstring stringFromRaw(const RawValue& raw);

}  // namespace tamhost
