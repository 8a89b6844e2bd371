#include "foundation/tamLog.h"

#include <cstdarg>
#include <cstdio>

#include "foundation/tamString.h"

namespace tam {

void Log::Output(const char* format, ...) {
    if (format == nullptr) return;
    va_list args;
    va_start(args, format);
    const String text = String::FormattedList(format, args);
    va_end(args);
    std::fputs(text.ToUTF8(), stderr);
    std::fputc('\n', stderr);
}

void Log::Debug(const char*, ...) {}

}  // namespace tam
