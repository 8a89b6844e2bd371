// Internal helpers shared by tam::String and tam::Text: number formatting
// and parsing in the "C" numeric conventions, whatever the process locale.
#pragma once

namespace tam::textdetail {

// Writes a value as String::CreateFromValue does, into `out` of `room` bytes
// (always terminated when room > 0). Returns the full length of the text,
// which may exceed room - 1.
int WriteValue(double value, int places, char* out, int room);

// snprintf in the "C" locale.
int FormatC(char* out, int room, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace tam::textdetail
