// tam::String: blocks, copy-on-write, searching, taking apart, creators.
#include "foundation/tamString.h"

#include "foundation/tamText.h"

#include <atomic>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace tam {

constinit String::Block String::_emptystrdata{String::kEmptyCount, 0, {0, 0, 0, 0}};
constinit const String String::Empty{&String::_emptystrdata};

namespace {

constexpr int kFormatBufferSize = 256;  // 255 characters and the terminator

inline int Count(const String::Block* b) {
    return std::atomic_ref<int32_t>(const_cast<String::Block*>(b)->count).load(std::memory_order_relaxed);
}

inline bool IsUnshared(const String::Block* b) {
    return b != &String::_emptystrdata && Count(b) == 1;
}

inline int ClampedLength(std::size_t n) { return n > INT_MAX ? INT_MAX : static_cast<int>(n); }

// Forward search from `first`, which is already within the text. A plain
// loop rather than strstr: repeated strstr calls measure the whole rest of
// the text each time under some C libraries and sanitizers.
int FindFrom(const char* text, int first, const char* pattern, bool ignoreCase) {
    const std::size_t patternLength = std::strlen(pattern);
    const unsigned char lead = static_cast<unsigned char>(pattern[0]);
    const int leadFolded = std::tolower(lead);
    for (const char* p = text + first; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (ignoreCase ? std::tolower(c) != leadFolded : c != lead)
            continue;
        const int cmp = ignoreCase ? strncasecmp(p, pattern, patternLength) : std::strncmp(p, pattern, patternLength);
        if (cmp == 0)
            return static_cast<int>(p - text);
    }
    return -1;
}

int FindLast(const char* text, int length, const char* pattern, bool ignoreCase) {
    const int patternLength = ClampedLength(std::strlen(pattern));
    for (int i = length - patternLength; i >= 0; --i) {
        const int cmp = ignoreCase ? strncasecmp(text + i, pattern, patternLength) : std::strncmp(text + i, pattern, patternLength);
        if (cmp == 0)
            return i;
    }
    return -1;
}

}  // namespace

String::Block* String::AllocateBlock(int capacity) {
    if (capacity < 0)
        capacity = 0;
    auto* b = static_cast<Block*>(std::malloc(static_cast<std::size_t>(capacity) + kBlockOverhead));
    if (!b)
        std::abort();  // out of memory: there is nothing sensible to hand back
    b->count = 1;
    b->capacity = capacity;
    Chars(b)[0] = 0;
    std::memset(Chars(b) + capacity, 0, 4);  // terminator place and spare bytes
    return b;
}

void String::Retain(Block* b) {
    if (b != &_emptystrdata)
        std::atomic_ref<int32_t>(b->count).fetch_add(1, std::memory_order_relaxed);
}

void String::Release(Block* b) {
    // The static block is never counted down, so it can never reach 0.
    if (b == &_emptystrdata)
        return;
    if (std::atomic_ref<int32_t>(b->count).fetch_sub(1, std::memory_order_acq_rel) <= 1)
        std::free(b);
}

String::String(int capacity, WithCapacity) : block(AllocateBlock(capacity)) {}

String::String(const String& other) noexcept : block(other.block) { Retain(block); }

String::String(String&& other) noexcept : block(other.block) { other.block = &_emptystrdata; }

String::String(const char* text) : block(&_emptystrdata) {
    if (text && *text) {
        const int n = ClampedLength(std::strlen(text));
        block = AllocateBlock(n);
        std::memcpy(Chars(block), text, static_cast<std::size_t>(n));
        Chars(block)[n] = 0;
    }
}

String::String(const char* text, int n) : block(&_emptystrdata) {
    if (text && n > 0 && *text) {
        const int length = ClampedLength(strnlen(text, static_cast<std::size_t>(n)));
        block = AllocateBlock(length);
        std::memcpy(Chars(block), text, static_cast<std::size_t>(length));
        Chars(block)[length] = 0;
    }
}

String::String(const wchar_t* text) : block(&_emptystrdata) {
    if (text && *text) {
        const int n = Text::Copy(static_cast<char*>(nullptr), text, 0);
        if (n > 0) {
            block = AllocateBlock(n);
            Text::Copy(Chars(block), text, n + 1);
        }
    }
}

String::String(const wchar_t* text, int n) : block(&_emptystrdata) {
    if (text && n > 0 && *text) {
        const int length = ClampedLength(wcsnlen(text, static_cast<std::size_t>(n)));
        std::wstring part(text, static_cast<std::size_t>(length));
        String converted(part.c_str());
        std::swap(block, converted.block);
    }
}

String::String(char c) : block(&_emptystrdata) {
    if (c) {
        block = AllocateBlock(1);
        Chars(block)[0] = c;
        Chars(block)[1] = 0;
    }
}

String::String(wchar_t c) : block(&_emptystrdata) {
    if (c) {
        const wchar_t text[2] = {c, 0};
        String converted(text);
        std::swap(block, converted.block);
    }
}

String::~String() { Release(block); }

String& String::operator=(const String& other) {
    if (block != other.block) {
        Retain(other.block);
        Release(block);
        block = other.block;
    }
    return *this;
}

String& String::operator=(String&& other) noexcept {
    if (this != &other) {
        Release(block);
        block = other.block;
        other.block = &_emptystrdata;
    }
    return *this;
}

String& String::operator=(const char* text) {
    if (!text || !*text) {
        Release(block);
        block = &_emptystrdata;
        return *this;
    }
    const int n = ClampedLength(std::strlen(text));
    // Reuse an unshared block only when the text fills more than half of it,
    // so a much shorter text does not stay in an oversized block.
    if (IsUnshared(block) && n <= block->capacity && 2 * static_cast<long long>(n) > block->capacity) {
        std::memmove(Chars(block), text, static_cast<std::size_t>(n));  // text may lie in this block
        Chars(block)[n] = 0;
        return *this;
    }
    Block* fresh = AllocateBlock(n);
    std::memcpy(Chars(fresh), text, static_cast<std::size_t>(n));
    Chars(fresh)[n] = 0;
    Release(block);
    block = fresh;
    return *this;
}

String& String::operator=(const wchar_t* text) {
    String converted(text);
    return *this = std::move(converted);
}

void String::ReferencedStorage() {
    if (IsUnshared(block))
        return;
    Block* copy = AllocateBlock(block->capacity);
    std::memcpy(Chars(copy), Chars(block), static_cast<std::size_t>(block->capacity) + 1);
    Release(block);
    block = copy;
}

void String::PreAllocateStorage(int n) {
    if (block->capacity >= n)
        return;
    if (!IsUnshared(block)) {
        Block* copy = AllocateBlock(n);
        const int length = GetLength();
        std::memcpy(Chars(copy), Chars(block), static_cast<std::size_t>(length) + 1);
        Release(block);
        block = copy;
        return;
    }
    auto* grown = static_cast<Block*>(std::realloc(block, static_cast<std::size_t>(n) + kBlockOverhead));
    if (!grown)
        std::abort();
    block = grown;
    block->capacity = n;
    std::memset(Chars(block) + n, 0, 4);
}

char* String::GetBuffer() {
    ReferencedStorage();
    return Chars(block);
}

void String::AppendStorage(const char* text, int n) {
    if (!text || n <= 0)
        return;
    const int addition = ClampedLength(strnlen(text, static_cast<std::size_t>(n)));
    if (addition == 0)
        return;
    const int length = GetLength();
    const long long total = static_cast<long long>(length) + addition;
    if (total > INT_MAX - kBlockOverhead)
        return;  // beyond what a block can describe
    // Text from this string's own block must be read before the block moves,
    // so an append of its own text always takes the copying path below.
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const auto head = reinterpret_cast<std::uintptr_t>(block);
    const bool own = address >= head && address < head + static_cast<std::uintptr_t>(block->capacity) + kBlockOverhead;
    if (IsUnshared(block) && (total <= block->capacity || !own)) {
        if (total > block->capacity) {
            auto* grown = static_cast<Block*>(std::realloc(block, static_cast<std::size_t>(total) + kBlockOverhead));
            if (!grown)
                std::abort();
            block = grown;
            block->capacity = static_cast<int>(total);
            std::memset(Chars(block) + total, 0, 4);
        }
        std::memmove(Chars(block) + length, text, static_cast<std::size_t>(addition));
        Chars(block)[total] = 0;
        return;
    }
    Block* fresh = AllocateBlock(static_cast<int>(total));
    std::memcpy(Chars(fresh), Chars(block), static_cast<std::size_t>(length));
    std::memcpy(Chars(fresh) + length, text, static_cast<std::size_t>(addition));
    Chars(fresh)[total] = 0;
    Release(block);
    block = fresh;
}

void String::ExtendForView(std::size_t bytes) const {
    const_cast<String*>(this)->ReferencedStorage();
    const std::size_t own = static_cast<std::size_t>(block->capacity) + kBlockOverhead;
    if (bytes <= own)
        return;
    auto* grown = static_cast<Block*>(std::realloc(block, bytes));
    if (!grown)
        std::abort();
    block = grown;
}

String::operator const wchar_t*() const {
    static const wchar_t emptyWide[1] = {0};
    if (IsEmpty())
        return emptyWide;
    const std::size_t length = std::strlen(Chars(block));
    // The wide copy goes behind the text, at length + 9 from the block's head,
    // moved up to the next wchar_t boundary; 5 * length + 17 bytes leave room
    // for the move.
    ExtendForView(5 * length + 17);
    const std::size_t offset = (length + 9 + alignof(wchar_t) - 1) & ~(alignof(wchar_t) - 1);
    auto* wide = reinterpret_cast<wchar_t*>(reinterpret_cast<char*>(block) + offset);
    Text::Copy(wide, Chars(block), static_cast<int>(length) + 1);
    return wide;
}

const char* String::ToUTF8() const {
    if (IsEmpty())
        return "";
    const std::size_t length = std::strlen(Chars(block));
    const int copySize = Text::CopyToUTF8(nullptr, Chars(block));
    ExtendForView(4 * length + static_cast<std::size_t>(copySize) + 16);
    auto* copy = reinterpret_cast<unsigned char*>(block) + length + 9;
    Text::CopyToUTF8(copy, Chars(block));
    return reinterpret_cast<const char*>(copy);
}

char& String::operator[](int index) {
    ReferencedStorage();
    return Chars(block)[index];
}

String& String::operator+=(const String& other) {
    if (block == &_emptystrdata)
        return *this = other;  // share rather than copy
    AppendStorage(Chars(other.block), INT_MAX);
    return *this;
}

String& String::operator+=(const char* text) {
    AppendStorage(text, INT_MAX);
    return *this;
}

String& String::operator+=(const wchar_t* text) { return *this += String(text); }

String& String::operator+=(char c) {
    const char text[2] = {c, 0};
    AppendStorage(text, 1);
    return *this;
}

String& String::operator+=(wchar_t c) {
    const wchar_t text[2] = {c, 0};
    return *this += String(text);
}

String operator+(const String& a, const String& b) {
    if (b.IsEmpty())
        return a;
    if (a.IsEmpty())
        return b;
    const int lengthA = a.GetLength();
    const int lengthB = b.GetLength();
    if (static_cast<long long>(lengthA) + lengthB > INT_MAX - String::kBlockOverhead)
        return a;
    String result(lengthA + lengthB, String::WithCapacity{});
    std::memcpy(String::Chars(result.block), String::Chars(a.block), static_cast<std::size_t>(lengthA));
    std::memcpy(String::Chars(result.block) + lengthA, String::Chars(b.block), static_cast<std::size_t>(lengthB) + 1);
    return result;
}

String operator+(const String& a, const char* b) {
    if (!b || !*b)
        return a;
    return a + String(b);
}

String operator+(const char* a, const String& b) {
    if (!a || !*a)
        return b;
    return String(a) + b;
}

String operator+(const String& a, char c) {
    if (!c)
        return a;
    return a + String(c);
}

bool String::Equals(const String& other) const {
    return block == other.block || std::strcmp(Chars(block), Chars(other.block)) == 0;
}

bool String::Equals(const char* text) const {
    if (!text)
        return IsEmpty();
    return Chars(block) == text || std::strcmp(Chars(block), text) == 0;
}

bool String::EqualsIgnoreCase(const char* text) const {
    if (!text)
        return IsEmpty();
    return strcasecmp(Chars(block), text) == 0;
}

int String::Compare(const char* text) const {
    if (!text)
        return IsEmpty() ? 1 : 0;
    return std::strcmp(Chars(block), text);
}

int String::CompareIgnoreCase(const char* text) const {
    if (!text)
        return IsEmpty() ? 1 : 0;
    return strcasecmp(Chars(block), text);
}

int String::GetLength() const { return ClampedLength(std::strlen(Chars(block))); }

char String::GetLastCharacter() const {
    const int length = GetLength();
    return length > 0 ? Chars(block)[length - 1] : 0;
}

int String::GetReferenceCount() const { return Count(block); }

bool String::ValueBool() const { return Text::ValueBool(Chars(block)); }
short String::ValueInt16() const { return static_cast<short>(Text::ValueInt32(Chars(block))); }
unsigned short String::ValueUInt16() const { return static_cast<unsigned short>(Text::ValueUInt32(Chars(block))); }
long String::ValueLong() const { return Text::ValueLong(Chars(block)); }
unsigned long String::ValueULong() const { return Text::ValueULong(Chars(block)); }
int String::ValueInt32() const { return Text::ValueInt32(Chars(block)); }
unsigned int String::ValueUInt32() const { return Text::ValueUInt32(Chars(block)); }
long long String::ValueInt64() const { return Text::ValueInt64(Chars(block)); }
unsigned long long String::ValueUInt64() const { return Text::ValueUInt64(Chars(block)); }
float String::ValueFloat() const { return Text::ValueFloat(Chars(block)); }
double String::ValueDouble() const { return Text::ValueDouble(Chars(block)); }

namespace {
int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

template <class T>
T HexValue(const char* text) {
    T value = 0;
    for (const char* p = text; *p; ++p) {
        const int digit = HexDigit(*p);
        if (digit >= 0)
            value = static_cast<T>(value << 4 | static_cast<T>(digit));
    }
    return value;
}
}  // namespace

uint32_t String::ValueHexValue32() const { return HexValue<uint32_t>(Chars(block)); }
uint64_t String::ValueHexValue64() const { return HexValue<uint64_t>(Chars(block)); }

int String::IndexOfCharacter(int first, char c) const {
    if (first < 0)
        first = 0;
    if (c == 0 || first >= GetLength())
        return -1;
    const char* found = std::strchr(Chars(block) + first, c);
    return found ? static_cast<int>(found - Chars(block)) : -1;
}

int String::IndexOf(int first, const char* pattern) const {
    if (!pattern || !*pattern)
        return -1;
    if (first < 0)
        first = 0;
    if (first >= GetLength())
        return -1;
    const char* found = std::strstr(Chars(block) + first, pattern);
    return found ? static_cast<int>(found - Chars(block)) : -1;
}

int String::IndexOfIgnoreCase(int first, const char* pattern) const {
    if (!pattern || !*pattern)
        return -1;
    if (first < 0)
        first = 0;
    if (first >= GetLength())
        return -1;
    return FindFrom(Chars(block), first, pattern, true);
}

int String::LastIndexOfCharacter(char c) const {
    if (c == 0)
        return -1;
    const char* found = std::strrchr(Chars(block), c);
    return found ? static_cast<int>(found - Chars(block)) : -1;
}

int String::LastIndexOf(const char* pattern) const {
    if (!pattern || !*pattern)
        return -1;
    return FindLast(Chars(block), GetLength(), pattern, false);
}

int String::LastIndexOfIgnoreCase(const char* pattern) const {
    if (!pattern || !*pattern)
        return -1;
    return FindLast(Chars(block), GetLength(), pattern, true);
}

bool String::StartsWith(const char* pattern) const {
    return pattern && *pattern && std::strncmp(Chars(block), pattern, std::strlen(pattern)) == 0;
}

bool String::StartsWithCharacter(char c) const { return c != 0 && Chars(block)[0] == c; }

bool String::StartsWithIgnoreCase(const char* pattern) const {
    return pattern && *pattern && strncasecmp(Chars(block), pattern, std::strlen(pattern)) == 0;
}

bool String::EndsWith(const char* pattern) const {
    if (!pattern || !*pattern)
        return false;
    const std::size_t length = std::strlen(Chars(block)), patternLength = std::strlen(pattern);
    return patternLength <= length && std::strcmp(Chars(block) + length - patternLength, pattern) == 0;
}

bool String::EndsWithCharacter(char c) const { return c != 0 && GetLastCharacter() == c; }

bool String::EndsWithIgnoreCase(const char* pattern) const {
    if (!pattern || !*pattern)
        return false;
    const std::size_t length = std::strlen(Chars(block)), patternLength = std::strlen(pattern);
    return patternLength <= length && strcasecmp(Chars(block) + length - patternLength, pattern) == 0;
}

bool String::ContainsAnyOf(const char* set) const {
    if (!set || !*set)
        return false;
    return std::strpbrk(Chars(block), set) != nullptr;
}

bool String::ContainsOnly(const char* set) const {
    if (IsEmpty())
        return true;
    if (!set || !*set)
        return false;
    return Chars(block)[std::strspn(Chars(block), set)] == 0;
}

String String::Substring(int from) const {
    if (from <= 0)
        return *this;
    if (from >= GetLength())
        return String();
    return String(Chars(block) + from);
}

String String::Substring(int from, int to) const {
    const int length = GetLength();
    if (from < 0)
        from = 0;
    if (to < 0 || to > length)
        to = length;
    if (to <= from)
        return String();
    if (from == 0 && to == length)
        return *this;
    return String(Chars(block) + from, to - from);
}

String String::RemoveLastCharacters(int n) const {
    if (n <= 0)
        return *this;
    const int length = GetLength();
    if (n >= length)
        return String();
    return String(Chars(block), length - n);
}

String String::RemoveCharacters(const char* set) const {
    if (!set || !*set || !ContainsAnyOf(set))
        return *this;
    const int length = GetLength();
    String result(length, WithCapacity{});
    char* out = Chars(result.block);
    for (const char* p = Chars(block); *p; ++p)
        if (!std::strchr(set, *p))
            *out++ = *p;
    *out = 0;
    if (result.IsEmpty())
        return String();
    return result;
}

String String::ReplaceCharacter(char from, char to) const {
    if (from == 0 || IndexOfCharacter(from) < 0)
        return *this;
    String result(Chars(block));
    for (char* p = Chars(result.block); *p; ++p)
        if (*p == from)
            *p = to;
    if (result.IsEmpty())
        return String();
    return result;
}

String String::ReplaceSection(int start, int length, const char* text) const {
    const int total = GetLength();
    if (start < 0)
        start = 0;
    if (start > total)
        start = total;
    if (length < 0)
        length = 0;
    if (length > total - start)
        length = total - start;
    String result(Chars(block), start);
    result += text;
    result += Chars(block) + start + length;
    return result;
}

String String::Replace(const char* from, const char* to, bool ignoreCase) const {
    if (!from || !*from)
        return *this;
    if (!to)
        to = "";
    const char* source = Chars(block);
    const std::size_t fromLength = std::strlen(from);
    const std::size_t toLength = std::strlen(to);
    auto find = [&](const char* p) -> const char* {
        const int at = FindFrom(p, 0, from, ignoreCase);
        return at < 0 ? nullptr : p + at;
    };
    // Each search goes on behind the previous match in the original, so
    // inserted text is never searched again. Counting first lets the result
    // be allocated once.
    long long matches = 0;
    for (const char* p = find(source); p; p = find(p + fromLength))
        ++matches;
    if (matches == 0)
        return *this;
    const long long total = static_cast<long long>(std::strlen(source)) +
                            matches * (static_cast<long long>(toLength) - static_cast<long long>(fromLength));
    if (total <= 0)
        return String();
    if (total > INT_MAX - kBlockOverhead)
        return *this;
    String result(static_cast<int>(total), WithCapacity{});
    char* out = Chars(result.block);
    const char* p = source;
    for (const char* q = find(p); q; q = find(p)) {
        std::memcpy(out, p, static_cast<std::size_t>(q - p));
        out += q - p;
        std::memcpy(out, to, toLength);
        out += toLength;
        p = q + fromLength;
    }
    std::strcpy(out, p);
    return result;
}

String String::TrimStart() const {
    const char* p = Chars(block);
    while (*p && Text::IsCharacterSpace(*p))
        ++p;
    if (p == Chars(block))
        return *this;
    return String(p);
}

String String::TrimEnd() const {
    const int length = GetLength();
    int end = length;
    while (end > 0 && Text::IsCharacterSpace(Chars(block)[end - 1]))
        --end;
    if (end == length)
        return *this;
    return String(Chars(block), end);
}

String String::Trim() const { return TrimStart().TrimEnd(); }

bool String::IsQuotedString() const {
    const char* p = Chars(block);
    while (*p && Text::IsCharacterSpace(*p))
        ++p;
    return *p == '\'' || *p == '"';
}

String String::Unquoted() const {
    int start = 0;
    int end = GetLength();
    if (end > 0 && (Chars(block)[0] == '\'' || Chars(block)[0] == '"'))
        start = 1;
    if (end > start && (Chars(block)[end - 1] == '\'' || Chars(block)[end - 1] == '"'))
        --end;
    if (start == 0 && end == GetLength())
        return *this;
    return Substring(start, end);
}

String String::Quoted(char quote) const {
    if (quote == 0)
        return *this;
    String result;
    if (GetFirstCharacter() != quote)
        result += quote;
    result += *this;
    if (result.GetLastCharacter() != quote || result.GetLength() == 1)
        result += quote;
    return result;
}

String String::ToUpperCase() const {
    if (IsEmpty())
        return *this;
    String result(Chars(block));
    Text::ToUpperCase(Chars(result.block));
    return result;
}

String String::ToLowerCase() const {
    if (IsEmpty())
        return *this;
    String result(Chars(block));
    Text::ToLowerCase(Chars(result.block));
    return result;
}

int String::CopyTo(char* out, int n) const {
    if (!out)
        return 0;
    int length = GetLength();
    if (n < 0)
        n = 0;
    if (length > n)
        length = n;
    std::memcpy(out, Chars(block), static_cast<std::size_t>(length));
    out[length] = 0;
    return length;
}

int String::CopyTo(wchar_t* out, int n) const {
    if (!out)
        return 0;
    if (n < 0)
        n = 0;
    return Text::Copy(out, Chars(block), n == INT_MAX ? n : n + 1);
}

int String::CopyToUTF8(unsigned char* out) const { return Text::CopyToUTF8(out, Chars(block)); }

String String::FormattedList(const char* format, va_list args) {
    if (!format)
        return String();
    char local[kFormatBufferSize];
    va_list copy;
    va_copy(copy, args);
    const int written = std::vsnprintf(local, sizeof local, format, copy);
    va_end(copy);
    // A negative result is an encoding error that no larger buffer mends.
    if (written <= 0)
        return String();
    if (written < kFormatBufferSize)
        return String(local);
    // Longer texts are formatted again into a block of the needed size.
    String result(written, WithCapacity{});
    va_copy(copy, args);
    std::vsnprintf(Chars(result.block), static_cast<std::size_t>(written) + 1, format, copy);
    va_end(copy);
    return result;
}

String String::Formatted(const char* format, ...) {
    va_list args;
    va_start(args, format);
    String result = FormattedList(format, args);
    va_end(args);
    return result;
}

String& String::Printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    *this = FormattedList(format, args);
    va_end(args);
    return *this;
}

String String::CreateFromValue(bool value, bool asDigit) {
    if (asDigit)
        return String(value ? "1" : "0");
    return String(value ? "true" : "false");
}

namespace {
String FromMagnitude(unsigned long long magnitude, bool negative) {
    char digits[24];
    char* p = digits + sizeof digits;
    *--p = 0;
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    if (negative)
        *--p = '-';
    return String(p);
}

String HexFrom(unsigned long long value) {
    static const char kDigits[] = "0123456789abcdef";
    char digits[20];
    char* p = digits + sizeof digits;
    *--p = 0;
    do {
        *--p = kDigits[value & 15];
        value >>= 4;
    } while (value);
    return String(p);
}
}  // namespace

String String::CreateFromValue(short value) { return CreateFromValue(static_cast<long long>(value)); }
String String::CreateFromValue(unsigned short value) { return FromMagnitude(value, false); }
String String::CreateFromValue(int value) { return CreateFromValue(static_cast<long long>(value)); }
String String::CreateFromValue(unsigned int value) { return FromMagnitude(value, false); }
String String::CreateFromValue(long long value) {
    const bool negative = value < 0;
    const unsigned long long magnitude = negative ? 0ULL - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
    return FromMagnitude(magnitude, negative);
}
String String::CreateFromValue(unsigned long long value) { return FromMagnitude(value, false); }

String String::CreateFromValue(float value, int places) { return CreateFromValue(static_cast<double>(value), places); }

String String::CreateFromValue(double value, int places) {
    char local[80];
    const int length = textdetail::WriteValue(value, places, local, sizeof local);
    if (length < 1)
        return Empty;
    if (length < static_cast<int>(sizeof local))
        return String(local);
    String result(length, WithCapacity{});
    textdetail::WriteValue(value, places, Chars(result.block), length + 1);
    return result;
}

String String::CreateHexString(int value) { return HexFrom(static_cast<uint32_t>(value)); }
String String::CreateHexString(long long value) { return HexFrom(static_cast<unsigned long long>(value)); }
String String::CreateHexString(short value) { return HexFrom(static_cast<uint16_t>(value)); }

String String::CreateHexString(const unsigned char* data, int size, int group) {
    static const char kDigits[] = "0123456789abcdef";
    if (!data || size < 1)
        return String();
    const long long room = 3LL * size + 1;
    if (room > INT_MAX - kBlockOverhead)
        return String();
    String result(static_cast<int>(room), WithCapacity{});
    char* out = Chars(result.block);
    for (int i = 0; i < size; ++i) {
        *out++ = kDigits[data[i] >> 4];
        *out++ = kDigits[data[i] & 15];
        if (group > 0 && i % group == 0)
            *out++ = ' ';
    }
    // The last character is cut whenever grouping is on: the blank behind a
    // group's first byte, or a digit when the last byte starts no group.
    if (group > 0)
        --out;
    *out = 0;
    return result;
}

String String::CreateFromUTF8(const unsigned char* data, int size) {
    if (!data || size < 1)
        return String();
    const int length = ClampedLength(strnlen(reinterpret_cast<const char*>(data), static_cast<std::size_t>(size)));
    if (length == 0)
        return String();
    String result(length + 1, WithCapacity{});
    char* out = Chars(result.block);
    int i = 0;
    while (i < length) {
        const unsigned char lead = data[i++];
        unsigned int value;
        if (lead < 0x80) {
            value = lead;
        } else if (lead < 0xC0) {
            value = lead & 0x7F;  // a stray continuation byte
        } else {
            int following = 0;
            for (unsigned char bit = 0x40; (lead & bit) && bit; bit >>= 1)
                ++following;
            value = lead & (0x7Fu >> (following + 1));
            while (following > 0 && i < length && (data[i] & 0xC0) == 0x80) {
                value = value << 6 | (data[i++] & 0x3Fu);
                --following;
            }
        }
        *out++ = static_cast<char>(value & 0xFF);
    }
    *out = 0;
    return result;
}

String String::CreateFromData(const void* data, long long size) {
    if (!data || size <= 0)
        return String();
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (size == 1)
        return String(static_cast<char>(bytes[0]));
    if (size > INT_MAX)
        size = INT_MAX;
    if ((bytes[0] == 0xFF && bytes[1] == 0xFE) || (bytes[0] == 0xFE && bytes[1] == 0xFF)) {
        const int n = static_cast<int>(size / 2 - 1);
        String result(n + 2, WithCapacity{});
        char* out = Chars(result.block);
        if (bytes[0] == 0xFF) {
            for (int i = 0; i < n; ++i)
                out[i] = static_cast<char>(bytes[2 + 2 * i]);
        } else {
            // Big-endian text is not decoded: it comes out as zeros.
            std::memset(out, 0, static_cast<std::size_t>(n));
        }
        out[n] = 0;
        return result;
    }
    return CreateFromUTF8(bytes, static_cast<int>(size));
}

String Utilities::ConvertToPrecomposedUnicode(const String& text) { return text; }

}  // namespace tam

std::string UnicodeConversions::WStringToUtf8(const std::wstring& text) {
    const std::size_t room = text.size() + 1;
    if (room > INT_MAX)
        return std::string();
    std::string temporary(room, '\0');
    tam::Text::Copy(temporary.data(), text.c_str(), static_cast<int>(room));
    return std::string(temporary.c_str());
}
