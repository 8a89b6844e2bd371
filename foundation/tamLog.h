// The pack's log: formatted lines on the standard error stream.
#pragma once

namespace tam {

class Log {
public:
    // Formats like printf (results over 254 characters are not supported),
    // then writes the text and a line end to the standard error stream.
    static void Output(const char* format, ...) __attribute__((format(printf, 1, 2)));
    // Kept at call sites for diagnostics; writes nothing.
    static void Debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
};

}  // namespace tam
