// tam::Text: functions over plain character arrays, and Base64.
//
// Most are the C library's functions with null texts read as empty. Numbers
// are parsed and printed in the "C" conventions so that a host running in a
// locale with a decimal comma still reads "0.5". Conversions between narrow
// and wide text take ASCII directly and fall back to Latin-1 where the C
// library cannot convert, so they never fail and always terminate.
#include "foundation/tamText.h"

#include <cctype>
#include <cstdarg>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <locale.h>
#include <strings.h>

#include "foundation/tamBuffer.h"
#include "foundation/tamString.h"

namespace tam {

namespace {

locale_t CLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return locale;
}

// Switches the calling thread to the "C" locale for its lifetime.
class CLocaleScope {
public:
    CLocaleScope() : previous(CLocale() ? uselocale(CLocale()) : static_cast<locale_t>(nullptr)) {}
    ~CLocaleScope() {
        if (previous)
            uselocale(previous);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t previous;
};

const char* Safe(const char* text) { return text ? text : ""; }
const wchar_t* Safe(const wchar_t* text) { return text ? text : L""; }

template <class C>
C* ReverseText(C* text) {
    if (!text)
        return text;
    C* end = text;
    while (*end)
        ++end;
    for (C* begin = text; begin < end;) {
        --end;
        const C swap = *begin;
        *begin++ = *end;
        *end = swap;
    }
    return text;
}

double ParseDouble(const char* text) { return strtod_l(Safe(text), nullptr, CLocale()); }
double ParseDouble(const wchar_t* text) { return wcstod_l(Safe(text), nullptr, CLocale()); }

// Integer parsing saturates rather than overflowing (atoi's overflow is
// undefined).
long long ParseInt64(const char* text) { return std::strtoll(Safe(text), nullptr, 10); }
long long ParseInt64(const wchar_t* text) { return std::wcstoll(Safe(text), nullptr, 10); }
unsigned long long ParseUInt64(const char* text) { return std::strtoull(Safe(text), nullptr, 10); }
unsigned long long ParseUInt64(const wchar_t* text) { return std::wcstoull(Safe(text), nullptr, 10); }

int ToInt32(long long value) {
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

template <class C>
bool ParseBool(const C* text) {
    if (!text)
        return false;
    if (text[0] == '1' && text[1] == 0)
        return true;
    static const char kTrue[] = "true";
    for (int i = 0; i < 4; ++i) {
        C c = text[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<C>(c - 'A' + 'a');
        if (c != static_cast<C>(kTrue[i]))
            return false;
    }
    return text[4] == 0;
}

template <class C>
void WriteValueTo(double value, int places, C* out) {
    char text[64];
    const int length = textdetail::WriteValue(value, places, text, sizeof text);
    if (length < 1 || !out)
        return;  // shorter than two bytes with its terminator: nothing written
    int i = 0;
    for (; text[i]; ++i)
        out[i] = static_cast<C>(static_cast<unsigned char>(text[i]));
    out[i] = 0;
}

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Base64Value(unsigned char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

}  // namespace

namespace textdetail {

int FormatC(char* out, int room, const char* format, ...) {
    CLocaleScope scope;
    va_list args;
    va_start(args, format);
    const int written = std::vsnprintf(out, room > 0 ? static_cast<std::size_t>(room) : 0, format, args);
    va_end(args);
    return written;
}

int WriteValue(double value, int places, char* out, int room) {
    // "%g" outside +-1e20 (and for not-a-number), or without places.
    if (!(value > -1e20 && value < 1e20) || places < 1)
        return FormatC(out, room, "%g", value);
    const double scaled = std::fabs(value) * std::pow(10.0, places) + 0.5;
    // Beyond 64 bits (or many places) the digit loop has no integer to take
    // apart; the C library writes the same fixed form there.
    if (places > 40 || !(scaled < 9.2e18))
        return FormatC(out, room, "%.*f", places, value);
    unsigned long long n = static_cast<unsigned long long>(scaled);
    char digits[72];
    char* p = digits + sizeof digits;
    *--p = 0;
    int count = places;
    // Digits from the end; the point goes in when the count reaches 0, and
    // at least one digit always stands before it.
    do {
        *--p = static_cast<char>('0' + n % 10);
        n /= 10;
        --count;
        if (count == 0)
            *--p = '.';
    } while (count >= 0 || n != 0);
    if (value < 0)
        *--p = '-';
    const int length = static_cast<int>(digits + sizeof digits - 1 - p);
    if (out && room > 0) {
        const int copied = length < room - 1 ? length : room - 1;
        std::memcpy(out, p, static_cast<std::size_t>(copied));
        out[copied] = 0;
    }
    return length;
}

}  // namespace textdetail

int Text::Length(const char* text) { return text ? static_cast<int>(strnlen(text, INT_MAX)) : 0; }
int Text::Length(const wchar_t* text) { return text ? static_cast<int>(wcsnlen(text, INT_MAX)) : 0; }

char* Text::Copy(char* out, const char* text) { return std::strcpy(out, Safe(text)); }
wchar_t* Text::Copy(wchar_t* out, const wchar_t* text) { return std::wcscpy(out, Safe(text)); }
char* Text::Copy(char* out, const char* text, int n) {
    return n > 0 ? std::strncpy(out, Safe(text), static_cast<std::size_t>(n)) : out;
}
wchar_t* Text::Copy(wchar_t* out, const wchar_t* text, int n) {
    return n > 0 ? std::wcsncpy(out, Safe(text), static_cast<std::size_t>(n)) : out;
}

int Text::Copy(wchar_t* out, const char* text, int n) {
    text = Safe(text);
    if (out && n < 1)
        return 0;
    std::mbstate_t state{};
    int count = 0;
    const char* p = text;
    std::size_t remaining = std::strlen(text);
    while (*p) {
        if (out && count >= n - 1)
            break;
        wchar_t wide;
        std::size_t used = 1;
        if (static_cast<unsigned char>(*p) < 0x80) {
            wide = static_cast<wchar_t>(*p);
        } else {
            used = std::mbrtowc(&wide, p, remaining, &state);
            if (used == static_cast<std::size_t>(-1) || used == static_cast<std::size_t>(-2) || used == 0) {
                wide = static_cast<wchar_t>(static_cast<unsigned char>(*p));  // Latin-1
                used = 1;
                state = std::mbstate_t{};
            }
        }
        if (out)
            out[count] = wide;
        ++count;
        p += used;
        remaining -= used;
        if (count == INT_MAX)
            break;
    }
    if (out)
        out[count] = 0;
    return count;
}

int Text::Copy(char* out, const wchar_t* text, int n) {
    text = Safe(text);
    if (out && n < 1)
        return 0;
    std::mbstate_t state{};
    int count = 0;
    for (const wchar_t* p = text; *p; ++p) {
        char bytes[MB_LEN_MAX];
        int used = 1;
        if (*p > 0 && *p < 0x80) {
            bytes[0] = static_cast<char>(*p);
        } else {
            const std::size_t result = std::wcrtomb(bytes, *p, &state);
            if (result == static_cast<std::size_t>(-1) || result == 0) {
                bytes[0] = (*p > 0 && *p <= 0xFF) ? static_cast<char>(*p) : '?';
                state = std::mbstate_t{};
            } else {
                used = static_cast<int>(result);
            }
        }
        // A character that does not fit whole is left out, as wcstombs does.
        if (out && count + used > n - 1)
            break;
        if (!out && count > INT_MAX - used)
            break;
        if (out)
            std::memcpy(out + count, bytes, static_cast<std::size_t>(used));
        count += used;
    }
    if (out)
        out[count] = 0;
    return count;
}

char* Text::Append(char* out, const char* text) { return std::strcat(out, Safe(text)); }
wchar_t* Text::Append(wchar_t* out, const wchar_t* text) { return std::wcscat(out, Safe(text)); }
char* Text::Append(char* out, const char* text, int n) {
    return n > 0 ? std::strncat(out, Safe(text), static_cast<std::size_t>(n)) : out;
}
wchar_t* Text::Append(wchar_t* out, const wchar_t* text, int n) {
    return n > 0 ? std::wcsncat(out, Safe(text), static_cast<std::size_t>(n)) : out;
}

int Text::Compare(const char* a, const char* b) { return std::strcmp(Safe(a), Safe(b)); }
int Text::Compare(const wchar_t* a, const wchar_t* b) { return std::wcscmp(Safe(a), Safe(b)); }
int Text::Compare(const char* a, const char* b, int n) {
    return n > 0 ? std::strncmp(Safe(a), Safe(b), static_cast<std::size_t>(n)) : 0;
}
int Text::Compare(const wchar_t* a, const wchar_t* b, int n) {
    return n > 0 ? std::wcsncmp(Safe(a), Safe(b), static_cast<std::size_t>(n)) : 0;
}
int Text::CompareIgnoreCase(const char* a, const char* b) { return strcasecmp(Safe(a), Safe(b)); }
int Text::CompareIgnoreCase(const wchar_t* a, const wchar_t* b) { return wcscasecmp(Safe(a), Safe(b)); }
int Text::CompareIgnoreCase(const char* a, const char* b, int n) {
    return n > 0 ? strncasecmp(Safe(a), Safe(b), static_cast<std::size_t>(n)) : 0;
}
int Text::CompareIgnoreCase(const wchar_t* a, const wchar_t* b, int n) {
    return n > 0 ? wcsncasecmp(Safe(a), Safe(b), static_cast<std::size_t>(n)) : 0;
}

const char* Text::Find(const char* text, const char* pattern) {
    return text ? std::strstr(text, Safe(pattern)) : nullptr;
}
const wchar_t* Text::Find(const wchar_t* text, const wchar_t* pattern) {
    return text ? std::wcsstr(text, Safe(pattern)) : nullptr;
}

int Text::IndexOfCharacter(const char* text, char c) {
    if (!text)
        return -1;
    const char* found = std::strchr(text, c);
    return found ? static_cast<int>(found - text) : -1;
}
int Text::IndexOfCharacter(const wchar_t* text, wchar_t c) {
    if (!text)
        return -1;
    const wchar_t* found = std::wcschr(text, c);
    return found ? static_cast<int>(found - text) : -1;
}

char* Text::Reverse(char* text) { return ReverseText(text); }
wchar_t* Text::Reverse(wchar_t* text) { return ReverseText(text); }

int Text::Formatted(char* out, int size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = FormattedList(out, size, format, args);
    va_end(args);
    return result;
}
int Text::Formatted(wchar_t* out, int size, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = FormattedList(out, size, format, args);
    va_end(args);
    return result;
}
int Text::FormattedList(char* out, int size, const char* format, va_list args) {
    if (!format || (!out && size > 0))
        return -1;
    return std::vsnprintf(out, size > 0 ? static_cast<std::size_t>(size) : 0, format, args);
}
int Text::FormattedList(wchar_t* out, int size, const wchar_t* format, va_list args) {
    if (!format || !out || size < 1)
        return -1;
    return std::vswprintf(out, static_cast<std::size_t>(size), format, args);
}

int Text::ScanFormatted(const char* text, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ScanFormattedList(text, format, args);
    va_end(args);
    return result;
}
int Text::ScanFormatted(const wchar_t* text, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = ScanFormattedList(text, format, args);
    va_end(args);
    return result;
}
int Text::ScanFormattedList(const char* text, const char* format, va_list args) {
    if (!text || !format)
        return -1;
    return std::vsscanf(text, format, args);
}
int Text::ScanFormattedList(const wchar_t* text, const wchar_t* format, va_list args) {
    if (!text || !format)
        return -1;
    return std::vswscanf(text, format, args);
}

char Text::ToUpperCase(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }
char Text::ToLowerCase(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
char* Text::ToUpperCase(char* text) {
    if (text)
        for (char* p = text; *p; ++p)
            *p = ToUpperCase(*p);
    return text;
}
wchar_t* Text::ToUpperCase(wchar_t* text) {
    if (text)
        for (wchar_t* p = text; *p; ++p)
            *p = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(*p)));
    return text;
}
char* Text::ToLowerCase(char* text) {
    if (text)
        for (char* p = text; *p; ++p)
            *p = ToLowerCase(*p);
    return text;
}
wchar_t* Text::ToLowerCase(wchar_t* text) {
    if (text)
        for (wchar_t* p = text; *p; ++p)
            *p = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(*p)));
    return text;
}

bool Text::IsCharacterLowerCase(char c) { return std::islower(static_cast<unsigned char>(c)) != 0; }
bool Text::IsCharacterLowerCase(wchar_t c) { return std::iswlower(static_cast<wint_t>(c)) != 0; }
bool Text::IsCharacterUpperCase(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
bool Text::IsCharacterUpperCase(wchar_t c) { return std::iswupper(static_cast<wint_t>(c)) != 0; }
bool Text::IsCharacterSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool Text::IsCharacterSpace(wchar_t c) { return std::iswspace(static_cast<wint_t>(c)) != 0; }
bool Text::IsCharacterLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool Text::IsCharacterLetter(wchar_t c) { return std::iswalpha(static_cast<wint_t>(c)) != 0; }
bool Text::IsCharacterDigit(char c) { return c >= '0' && c <= '9'; }
bool Text::IsCharacterDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool Text::IsCharacterHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
bool Text::IsCharacterHex(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f') || (c >= L'A' && c <= L'F');
}

bool Text::ValueBool(const char* text) { return ParseBool(text); }
bool Text::ValueBool(const wchar_t* text) { return ParseBool(text); }
long Text::ValueLong(const char* text) { return std::strtol(Safe(text), nullptr, 10); }
long Text::ValueLong(const wchar_t* text) { return std::wcstol(Safe(text), nullptr, 10); }
unsigned long Text::ValueULong(const char* text) { return std::strtoul(Safe(text), nullptr, 10); }
unsigned long Text::ValueULong(const wchar_t* text) { return std::wcstoul(Safe(text), nullptr, 10); }
int Text::ValueInt32(const char* text) { return ToInt32(ParseInt64(text)); }
int Text::ValueInt32(const wchar_t* text) { return ToInt32(ParseInt64(text)); }
unsigned int Text::ValueUInt32(const char* text) { return static_cast<unsigned int>(ParseUInt64(text)); }
unsigned int Text::ValueUInt32(const wchar_t* text) { return static_cast<unsigned int>(ParseUInt64(text)); }
long long Text::ValueInt64(const char* text) { return ParseInt64(text); }
long long Text::ValueInt64(const wchar_t* text) { return ParseInt64(text); }
unsigned long long Text::ValueUInt64(const char* text) { return ParseUInt64(text); }
unsigned long long Text::ValueUInt64(const wchar_t* text) { return ParseUInt64(text); }
double Text::ValueDouble(const char* text) { return ParseDouble(text); }
double Text::ValueDouble(const wchar_t* text) { return ParseDouble(text); }
float Text::ValueFloat(const char* text) { return static_cast<float>(ParseDouble(text)); }
float Text::ValueFloat(const wchar_t* text) { return static_cast<float>(ParseDouble(text)); }

void Text::DecimalToHex(int value, char* out) {
    static const char kDigits[] = "0123456789ABCDEF";
    if (!out)
        return;
    out[0] = kDigits[(value >> 4) & 15];
    out[1] = kDigits[value & 15];
    out[2] = 0;
}

int Text::HexToDecimal(const char* text) {
    if (!text)
        return 0;
    // No validation: each character is taken as a digit by its code, but the
    // terminator is never read past.
    auto digit = [](char c) {
        if (c <= '9')
            return c - '0';
        return (c | 0x20) - 'a' + 10;
    };
    if (!text[0])
        return 0;
    if (!text[1])
        return digit(text[0]);
    return digit(text[0]) * 16 + digit(text[1]);
}

void Text::FromValue(long, char*) {}
void Text::FromValue(long, wchar_t*) {}
void Text::FromValue(unsigned long, char*) {}
void Text::FromValue(unsigned long, wchar_t*) {}
void Text::FromValue(double value, int places, char* out) { WriteValueTo(value, places, out); }
void Text::FromValue(double value, int places, wchar_t* out) { WriteValueTo(value, places, out); }
void Text::FromValue(float value, int places, char* out) { WriteValueTo(static_cast<double>(value), places, out); }
void Text::FromValue(float value, int places, wchar_t* out) { WriteValueTo(static_cast<double>(value), places, out); }

int Text::CopyToUTF8(unsigned char* out, const char* text) {
    text = Safe(text);
    const std::size_t length = strnlen(text, INT_MAX - 1);
    if (out) {
        std::memcpy(out, text, length);
        out[length] = 0;
    }
    return static_cast<int>(length) + 1;
}

int Text::CopyToUTF8(unsigned char* out, const wchar_t* text) {
    text = Safe(text);
    long long count = 0;
    for (const wchar_t* p = text;; ++p) {
        const uint32_t c = static_cast<uint32_t>(*p) & 0x7FFFFFFFu;
        int bytes;
        if (c < 0x80)
            bytes = 1;
        else if (c < 0x800)
            bytes = 2;
        else if (c < 0x10000)
            bytes = 3;
        else if (c < 0x200000)
            bytes = 4;
        else if (c < 0x4000000)
            bytes = 5;
        else
            bytes = 6;
        if (count + bytes > INT_MAX)
            break;
        if (out) {
            unsigned char* q = out + count;
            if (bytes == 1) {
                q[0] = static_cast<unsigned char>(c);
            } else {
                static const unsigned char kLead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
                uint32_t rest = c;
                for (int i = bytes - 1; i > 0; --i) {
                    q[i] = static_cast<unsigned char>(0x80 | (rest & 0x3F));
                    rest >>= 6;
                }
                q[0] = static_cast<unsigned char>(kLead[bytes] | rest);
            }
        }
        count += bytes;
        if (*p == 0)
            break;
    }
    return static_cast<int>(count);
}

int Text::FromBase64(Buffer<unsigned char>* out, const char* text, int length) {
    if (!out)
        return 0;
    if (!text)
        length = 0;
    else if (length < 0)
        length = Length(text);
    const int start = out->GetPosition();
    const int oldSize = out->GetSize();
    // Three bytes for every four characters, at most.
    if (!out->EnsureSize(start + (length / 4) * 3 + 3)) {
        out->SetPosition(0);
        return 0;
    }
    unsigned char* data = out->GetData() + start;
    int produced = 0;
    uint32_t group = 0;
    int sextets = 0;
    for (int i = 0; i < length; ++i) {
        const int value = Base64Value(static_cast<unsigned char>(text[i]));
        if (value < 0)
            continue;  // line ends, padding and anything else
        group = group << 6 | static_cast<uint32_t>(value);
        if (++sextets == 4) {
            data[produced++] = static_cast<unsigned char>(group >> 16);
            data[produced++] = static_cast<unsigned char>(group >> 8);
            data[produced++] = static_cast<unsigned char>(group);
            group = 0;
            sextets = 0;
        }
    }
    if (sextets == 2) {
        data[produced++] = static_cast<unsigned char>(group >> 4);
    } else if (sextets == 3) {
        data[produced++] = static_cast<unsigned char>(group >> 10);
        data[produced++] = static_cast<unsigned char>(group >> 2);
    }
    out->SetSize(start + produced > oldSize ? start + produced : oldSize);
    out->SetPosition(0);
    return produced;
}

int Text::ToBase64(Buffer<char>* out, Buffer<unsigned char>* in, int lineLength) {
    if (!out || !in)
        return 0;
    const int from = in->GetPosition();
    const int available = in->GetSize() - from;
    in->SetPosition(in->GetSize());
    if (available <= 0)
        return 0;
    const int groupsPerLine = lineLength / 4;  // 0: one line
    const long long groups = (available + 2LL) / 3;
    const long long lines = groupsPerLine > 0 ? (groups + groupsPerLine - 1) / groupsPerLine : 1;
    const long long needed = groups * 4 + lines;
    const int start = out->GetPosition();
    const int oldSize = out->GetSize();
    if (needed + start > INT_MAX || !out->EnsureSize(static_cast<int>(needed + start)))
        return 0;
    const unsigned char* source = in->GetData() + from;
    char* target = out->GetData() + start;
    int written = 0;
    int onLine = 0;
    for (int i = 0; i < available; i += 3) {
        const int left = available - i;
        const uint32_t group = static_cast<uint32_t>(source[i]) << 16 |
                               (left > 1 ? static_cast<uint32_t>(source[i + 1]) << 8 : 0u) |
                               (left > 2 ? static_cast<uint32_t>(source[i + 2]) : 0u);
        target[written++] = kBase64Alphabet[group >> 18];
        target[written++] = kBase64Alphabet[(group >> 12) & 63];
        target[written++] = left > 1 ? kBase64Alphabet[(group >> 6) & 63] : '=';
        target[written++] = left > 2 ? kBase64Alphabet[group & 63] : '=';
        if (groupsPerLine > 0 && ++onLine == groupsPerLine) {
            target[written++] = '\n';
            onLine = 0;
        }
    }
    if (onLine > 0 || groupsPerLine <= 0)
        target[written++] = '\n';
    out->SetSize(start + written > oldSize ? start + written : oldSize);
    out->SetPosition(start + written);
    return written;
}

}  // namespace tam
