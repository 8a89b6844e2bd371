// Text for the foundation library.
//
// tam::String is an 8-bit, reference-counted, copy-on-write string. It holds
// one pointer to a shared block: a 32-bit count, a 32-bit capacity and the
// zero-terminated characters, in one malloc of capacity + 12 bytes. The length
// is never stored (strlen on each use). All empty strings share one static
// block whose count is pinned high, so it is never freed. Blocks are sized
// exactly: there is no growth margin on appending.
//
// tam::Text is a static class of thin functions over plain character arrays,
// narrow and wide. UnicodeConversions and tam::Utilities cross to the wide
// strings of the host interface.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tam {

template <class T>
class Buffer;

class String {
public:
    // The shared block. `text` runs on past the struct for `capacity` + 1
    // characters; the struct's own four bytes are the terminator and the
    // three spare bytes of an empty block.
    struct Block {
        int32_t count;
        int32_t capacity;
        char text[4];
    };
    static constexpr int32_t kEmptyCount = 0x3fffffff;
    static constexpr int kBlockOverhead = 12;  // bytes of a block beyond its capacity

    constexpr String() noexcept : block(&_emptystrdata) {}
    String(const String& other) noexcept;
    String(String&& other) noexcept;
    String(const char* text);
    String(const wchar_t* text);
    String(const char* text, int n);
    String(const wchar_t* text, int n);
    explicit String(char c);
    explicit String(wchar_t c);
    ~String();

    String& operator=(const String& other);
    String& operator=(String&& other) noexcept;
    String& operator=(const char* text);
    String& operator=(const wchar_t* text);

    // Copy-on-write: makes the block unshared (same capacity) before a change.
    void ReferencedStorage();
    // Ensures a capacity of at least n characters (unsharing when it has to
    // grow), for callers that write straight into GetBuffer().
    void PreAllocateStorage(int n);
    // The writable characters (unshares first). Valid until the next change.
    char* GetBuffer();
    // Appends at most n characters of text (stopping at a zero).
    void AppendStorage(const char* text, int n);

    operator const char*() const { return Chars(block); }
    // A wide copy kept in the block behind the text; valid until the string
    // changes. Counts as a change of the block although it is const.
    explicit operator const wchar_t*() const;
    // The text as UTF-8 (it is taken to be UTF-8 already), kept like the wide
    // copy.
    const char* ToUTF8() const;

    char& operator[](int index);
    char operator[](int index) const { return Chars(block)[index]; }

    String& operator+=(const String& other);
    String& operator+=(const char* text);
    String& operator+=(const wchar_t* text);
    String& operator+=(char c);
    String& operator+=(wchar_t c);

    String& operator<<(char c) { return *this += c; }
    String& operator<<(wchar_t c) { return *this += c; }
    String& operator<<(const String& s) { return *this += s; }
    String& operator<<(const char* s) { return *this += s; }
    String& operator<<(const wchar_t* s) { return *this += s; }
    String& operator<<(short v) { return *this += CreateFromValue(v); }
    String& operator<<(int v) { return *this += CreateFromValue(v); }
    String& operator<<(unsigned int v) { return *this += CreateFromValue(v); }
    String& operator<<(long long v) { return *this += CreateFromValue(v); }
    String& operator<<(unsigned long long v) { return *this += CreateFromValue(v); }
    String& operator<<(float v) { return *this += CreateFromValue(v, -1); }
    String& operator<<(double v) { return *this += CreateFromValue(v, -1); }

    friend String operator+(const String& a, const String& b);
    friend String operator+(const String& a, const char* b);
    friend String operator+(const char* a, const String& b);
    friend String operator+(const String& a, char c);

    bool operator==(const String& other) const { return Equals(other); }
    bool operator==(const char* text) const { return Equals(text); }
    bool operator!=(const String& other) const { return !Equals(other); }
    bool operator!=(const char* text) const { return !Equals(text); }
    bool operator<(const char* text) const { return Compare(text) < 0; }
    bool operator>(const char* text) const { return Compare(text) > 0; }
    bool operator<=(const char* text) const { return Compare(text) <= 0; }
    bool operator>=(const char* text) const { return Compare(text) >= 0; }
    bool Equals(const String& other) const;
    bool Equals(const char* text) const;
    bool EqualsIgnoreCase(const char* text) const;
    // strcmp / strcasecmp; a null argument gives 1 for an empty string, else 0.
    int Compare(const char* text) const;
    int CompareIgnoreCase(const char* text) const;

    int GetLength() const;
    bool IsEmpty() const { return Chars(block)[0] == 0; }
    char GetFirstCharacter() const { return Chars(block)[0]; }
    char GetLastCharacter() const;
    // White-box views of the block.
    int GetCapacity() const { return block->capacity; }
    int GetReferenceCount() const;

    bool ValueBool() const;
    short ValueInt16() const;
    unsigned short ValueUInt16() const;
    long ValueLong() const;
    unsigned long ValueULong() const;
    int ValueInt32() const;
    unsigned int ValueUInt32() const;
    long long ValueInt64() const;
    unsigned long long ValueUInt64() const;
    float ValueFloat() const;
    double ValueDouble() const;
    // Every hexadecimal digit in the text, in order; anything else is skipped.
    uint32_t ValueHexValue32() const;
    uint64_t ValueHexValue64() const;

    // Searches: a negative `first` counts as 0; -1 means not found; an empty
    // or null pattern is never found.
    int IndexOfCharacter(char c) const { return IndexOfCharacter(0, c); }
    int IndexOfCharacter(int first, char c) const;
    int IndexOf(const char* pattern) const { return IndexOf(0, pattern); }
    int IndexOf(int first, const char* pattern) const;
    int IndexOfIgnoreCase(const char* pattern) const { return IndexOfIgnoreCase(0, pattern); }
    int IndexOfIgnoreCase(int first, const char* pattern) const;
    int LastIndexOfCharacter(char c) const;
    int LastIndexOf(const char* pattern) const;
    int LastIndexOfIgnoreCase(const char* pattern) const;
    bool StartsWith(const char* pattern) const;
    bool StartsWithCharacter(char c) const;
    bool StartsWithIgnoreCase(const char* pattern) const;
    bool EndsWith(const char* pattern) const;
    bool EndsWithCharacter(char c) const;
    bool EndsWithIgnoreCase(const char* pattern) const;
    bool Contains(const char* pattern) const { return IndexOf(pattern) >= 0; }
    bool ContainsCharacter(char c) const { return IndexOfCharacter(c) >= 0; }
    bool ContainsIgnoreCase(const char* pattern) const { return IndexOfIgnoreCase(pattern) >= 0; }
    bool ContainsAnyOf(const char* set) const;
    bool ContainsOnly(const char* set) const;

    // Taking apart: each gives a new string (or this one, shared).
    String Substring(int from) const;
    String Substring(int from, int to) const;
    String RemoveLastCharacters(int n) const;
    String RemoveCharacters(const char* set) const;
    String ReplaceCharacter(char from, char to) const;
    String ReplaceSection(int start, int length, const char* text) const;
    String Replace(const char* from, const char* to, bool ignoreCase = false) const;
    String TrimStart() const;
    String TrimEnd() const;
    String Trim() const;
    bool IsQuotedString() const;
    String Unquoted() const;
    String Quoted(char quote = '"') const;
    String ToUpperCase() const;
    String ToLowerCase() const;

    // Copy at most n characters and a terminator (n counts the characters,
    // so the target needs n + 1 places); the count copied is returned.
    int CopyTo(char* out, int n) const;
    int CopyTo(wchar_t* out, int n) const;
    // Copies the UTF-8 text with its terminator; a null `out` only measures.
    int CopyToUTF8(unsigned char* out) const;

    // printf-style formatting.
    static String Formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static String FormattedList(const char* format, va_list args);
    String& Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    static String CreateFromValue(bool value, bool asDigit = false);
    static String CreateFromValue(short value);
    static String CreateFromValue(unsigned short value);
    static String CreateFromValue(int value);
    static String CreateFromValue(unsigned int value);
    static String CreateFromValue(long long value);
    static String CreateFromValue(unsigned long long value);
    // Fixed `places` after the point; places below 1, or a value outside
    // +-1e20, formats with "%g".
    static String CreateFromValue(float value, int places = -1);
    static String CreateFromValue(double value, int places = -1);
    static String CreateHexString(int value);
    static String CreateHexString(long long value);
    static String CreateHexString(short value);
    // Two lower-case digits a byte; with group > 0 blanks separate groups.
    static String CreateHexString(const unsigned char* data, int size, int group = 0);
    // Text that may start with a byte-order mark.
    static String CreateFromData(const void* data, long long size);
    // Folds each UTF-8 sequence into one byte (its code point's low 8 bits).
    static String CreateFromUTF8(const unsigned char* data, int size);

    static const String Empty;
    static Block _emptystrdata;

private:
    struct WithCapacity {};
    String(int capacity, WithCapacity);  // count 1, text empty
    constexpr explicit String(Block* b) noexcept : block(b) {}

    // The characters, addressed from the block's head so that they may run
    // past the struct.
    static char* Chars(Block* b) { return reinterpret_cast<char*>(b) + offsetof(Block, text); }
    static Block* AllocateBlock(int capacity);
    static void Retain(Block* b);
    static void Release(Block* b);
    void ExtendForView(std::size_t bytes) const;

    mutable Block* block;
};

// Static functions over plain character arrays, narrow and wide.
class Text {
public:
    static int Length(const char* text);
    static int Length(const wchar_t* text);
    static char* Copy(char* out, const char* text);
    static wchar_t* Copy(wchar_t* out, const wchar_t* text);
    static char* Copy(char* out, const char* text, int n);
    static wchar_t* Copy(wchar_t* out, const wchar_t* text, int n);
    // Narrow to wide and back (n is the room at `out`, terminator included;
    // the result is always terminated when n > 0). ASCII maps directly; other
    // characters go through the C library and, where it cannot convert, map
    // byte for code point (Latin-1) or become '?'. A null `out` measures.
    static int Copy(wchar_t* out, const char* text, int n);
    static int Copy(char* out, const wchar_t* text, int n);
    static char* Append(char* out, const char* text);
    static wchar_t* Append(wchar_t* out, const wchar_t* text);
    static char* Append(char* out, const char* text, int n);
    static wchar_t* Append(wchar_t* out, const wchar_t* text, int n);
    static int Compare(const char* a, const char* b);
    static int Compare(const wchar_t* a, const wchar_t* b);
    static int Compare(const char* a, const char* b, int n);
    static int Compare(const wchar_t* a, const wchar_t* b, int n);
    static int CompareIgnoreCase(const char* a, const char* b);
    static int CompareIgnoreCase(const wchar_t* a, const wchar_t* b);
    static int CompareIgnoreCase(const char* a, const char* b, int n);
    static int CompareIgnoreCase(const wchar_t* a, const wchar_t* b, int n);
    static bool Equals(const char* a, const char* b) { return Compare(a, b) == 0; }
    static bool Equals(const wchar_t* a, const wchar_t* b) { return Compare(a, b) == 0; }
    static bool EqualsIgnoreCase(const char* a, const char* b) { return CompareIgnoreCase(a, b) == 0; }
    static bool EqualsIgnoreCase(const wchar_t* a, const wchar_t* b) { return CompareIgnoreCase(a, b) == 0; }
    static const char* Find(const char* text, const char* pattern);
    static const wchar_t* Find(const wchar_t* text, const wchar_t* pattern);
    static int IndexOfCharacter(const char* text, char c);
    static int IndexOfCharacter(const wchar_t* text, wchar_t c);
    static char* Reverse(char* text);
    static wchar_t* Reverse(wchar_t* text);
    // vsnprintf into `out` of `size` places; the C library's result.
    static int Formatted(char* out, int size, const char* format, ...) __attribute__((format(printf, 3, 4)));
    static int Formatted(wchar_t* out, int size, const wchar_t* format, ...);
    static int FormattedList(char* out, int size, const char* format, va_list args);
    static int FormattedList(wchar_t* out, int size, const wchar_t* format, va_list args);
    static int ScanFormatted(const char* text, const char* format, ...) __attribute__((format(scanf, 2, 3)));
    static int ScanFormatted(const wchar_t* text, const wchar_t* format, ...);
    static int ScanFormattedList(const char* text, const char* format, va_list args);
    static int ScanFormattedList(const wchar_t* text, const wchar_t* format, va_list args);
    static char* ToUpperCase(char* text);
    static wchar_t* ToUpperCase(wchar_t* text);
    static char* ToLowerCase(char* text);
    static wchar_t* ToLowerCase(wchar_t* text);
    static char ToUpperCase(char c);
    static char ToLowerCase(char c);
    static bool IsCharacterLowerCase(char c);
    static bool IsCharacterLowerCase(wchar_t c);
    static bool IsCharacterUpperCase(char c);
    static bool IsCharacterUpperCase(wchar_t c);
    static bool IsCharacterSpace(char c);
    static bool IsCharacterSpace(wchar_t c);
    static bool IsCharacterLetter(char c);
    static bool IsCharacterLetter(wchar_t c);
    static bool IsCharacterDigit(char c);
    static bool IsCharacterDigit(wchar_t c);
    static bool IsCharacterHex(char c);
    static bool IsCharacterHex(wchar_t c);
    static bool ValueBool(const char* text);
    static bool ValueBool(const wchar_t* text);
    static long ValueLong(const char* text);
    static long ValueLong(const wchar_t* text);
    static unsigned long ValueULong(const char* text);
    static unsigned long ValueULong(const wchar_t* text);
    static int ValueInt32(const char* text);
    static int ValueInt32(const wchar_t* text);
    static unsigned int ValueUInt32(const char* text);
    static unsigned int ValueUInt32(const wchar_t* text);
    static long long ValueInt64(const char* text);
    static long long ValueInt64(const wchar_t* text);
    static unsigned long long ValueUInt64(const char* text);
    static unsigned long long ValueUInt64(const wchar_t* text);
    static double ValueDouble(const char* text);
    static double ValueDouble(const wchar_t* text);
    static float ValueFloat(const char* text);
    static float ValueFloat(const wchar_t* text);
    // Two upper-case hex digits and a terminator (three places).
    static void DecimalToHex(int value, char* out);
    // Two hex digits, not validated.
    static int HexToDecimal(const char* text);
    // Integer forms exist for completeness and write nothing.
    static void FromValue(long value, char* out);
    static void FromValue(long value, wchar_t* out);
    static void FromValue(unsigned long value, char* out);
    static void FromValue(unsigned long value, wchar_t* out);
    // As String::CreateFromValue; nothing is written for a text shorter than
    // two bytes. `out` needs room for the text (at most 64 places).
    static void FromValue(double value, int places, char* out);
    static void FromValue(double value, int places, wchar_t* out);
    static void FromValue(float value, int places, char* out);
    static void FromValue(float value, int places, wchar_t* out);
    // Length with terminator; a null `out` only measures.
    static int CopyToUTF8(unsigned char* out, const char* text);
    // Encodes code points of up to 31 bits in up to six bytes.
    static int CopyToUTF8(unsigned char* out, const wchar_t* text);
    // RFC 4648 Base64. FromBase64 appends at out's position, skipping
    // characters outside the alphabet, and returns the byte count (position
    // back to 0). ToBase64 encodes `in` from its position to its size, with a
    // line feed after each lineLength / 4 groups and at the end.
    static int FromBase64(Buffer<unsigned char>* out, const char* text, int length);
    static int ToBase64(Buffer<char>* out, Buffer<unsigned char>* in, int lineLength);
};

class Utilities {
public:
    // Composed form of a file name from the file system. Single-byte text has
    // nothing to compose on this platform, so this is a copy.
    static String ConvertToPrecomposedUnicode(const String& text);
};

}  // namespace tam

namespace UnicodeConversions {
// Narrows with the multibyte conversion into one byte per wide character;
// a character needing more bytes than its share truncates the result there.
std::string WStringToUtf8(const std::wstring& text);
}  // namespace UnicodeConversions
