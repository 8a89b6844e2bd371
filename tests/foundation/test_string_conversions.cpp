// Conversions of tam::String and tam::Text: UTF-8 folding (checked against
// iconv), byte-order marks, wide text, and Base64 (checked against coreutils).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <locale.h>
#include <string>
#include <vector>

#include "foundation/tamBuffer.h"
#include "foundation/tamString.h"
#include "test_strings_support.h"

using tam::String;
using tam::Text;

TEST(StringUtf8, FoldingMatchesIconv) {
    const auto rows = tamtest::ReadTable("utf8_fold.tsv");
    ASSERT_GE(rows.size(), 8u);
    for (const auto& row : rows) {
        const auto input = tamtest::FromHex(row[0]);
        auto folded = tamtest::FromHex(row[1]);
        // A code point whose low byte is 0 (U+0100, U+1F600, ...) ends the
        // text there.
        const auto zero = std::find(folded.begin(), folded.end(), 0);
        folded.erase(zero, folded.end());
        String s = String::CreateFromUTF8(input.data(), static_cast<int>(input.size()));
        ASSERT_EQ(s.GetLength(), static_cast<int>(folded.size())) << row[0];
        EXPECT_EQ(std::memcmp(static_cast<const char*>(s), folded.data(), folded.size()), 0) << row[0];
        EXPECT_EQ(s.GetCapacity(), static_cast<int>(input.size()) + 1);
    }
}

TEST(StringUtf8, MalformedInputFoldsWithoutReadingPastTheEnd) {
    // A stray continuation byte gives its low 7 bits.
    const unsigned char stray[] = {'a', 0xA9, 'b'};
    EXPECT_STREQ(String::CreateFromUTF8(stray, 3), "a)b");
    // A lead byte cut off by the size folds what it has.
    const unsigned char cut[] = {'x', 0xE2, 0x82};
    String s = String::CreateFromUTF8(cut, 3);
    ASSERT_EQ(s.GetLength(), 2);
    EXPECT_EQ(static_cast<unsigned char>(s[1]), (0x2 << 6 | 0x02) & 0xFF);
    // A lead byte followed by something other than a continuation stops
    // folding there; the next byte stands on its own.
    const unsigned char broken[] = {0xC3, 'A'};
    String t = String::CreateFromUTF8(broken, 2);
    ASSERT_EQ(t.GetLength(), 2);
    EXPECT_EQ(static_cast<unsigned char>(t[0]), 0x03);
    EXPECT_EQ(t[1], 'A');
    // 0xFF and 0xFE leads carry no payload bits; an overlong zero ends the
    // text, and the size stops at the first zero byte in any case.
    const unsigned char odd[] = {0xFF, 0xBF, 0xFE, 0x80, 0, 'z'};
    String folded = String::CreateFromUTF8(odd, 6);
    ASSERT_EQ(folded.GetLength(), 1);
    EXPECT_EQ(folded[0], 0x3F);
    EXPECT_EQ(folded.GetCapacity(), 5);
    EXPECT_TRUE(String::CreateFromUTF8(nullptr, 5).IsEmpty());
    EXPECT_TRUE(String::CreateFromUTF8(odd, 0).IsEmpty());
}

TEST(StringUtf8, ByteOrderMarks) {
    const unsigned char little[] = {0xFF, 0xFE, 'A', 0};
    EXPECT_STREQ(String::CreateFromData(little, 4), "A");
    const unsigned char littleOdd[] = {0xFF, 0xFE, 'H', 0, 'i', 0, '!'};
    String hi = String::CreateFromData(littleOdd, 7);
    EXPECT_STREQ(hi, "Hi");
    EXPECT_EQ(hi.GetCapacity(), 4);
    // Big-endian text comes out empty, in a block of the same size.
    const unsigned char big[] = {0xFE, 0xFF, 0, 'A', 0, 'B'};
    String none = String::CreateFromData(big, 6);
    EXPECT_TRUE(none.IsEmpty());
    EXPECT_EQ(none.GetCapacity(), 4);
    const unsigned char plain[] = {'o', 'k', 0xC3, 0xA9};
    EXPECT_STREQ(String::CreateFromData(plain, 4), "ok\xE9");
    EXPECT_STREQ(String::CreateFromData("Q", 1), "Q");
    EXPECT_TRUE(String::CreateFromData(plain, 0).IsEmpty());
    EXPECT_TRUE(String::CreateFromData(nullptr, 10).IsEmpty());
    // Just the mark: no characters.
    EXPECT_TRUE(String::CreateFromData(little, 2).IsEmpty());
}

TEST(StringWide, NarrowingAndWideningNeverFail) {
    // ASCII passes straight; in the "C" locale other code points up to 255
    // map byte for byte and the rest become '?'.
    EXPECT_STREQ(String(L"plain"), "plain");
    EXPECT_STREQ(String(L"caf\u00e9"), "caf\xE9");
    EXPECT_STREQ(String(L"\u4e2d!"), "?!");
    EXPECT_STREQ(String(L"abcdef", 3), "abc");
    EXPECT_STREQ(String(L'x'), "x");
    String appended("a");
    appended += L'\u00fc';
    appended << L"z";
    EXPECT_STREQ(appended, "a\xFCz");

    wchar_t wide[8];
    EXPECT_EQ(Text::Copy(wide, "caf\xE9", 8), 4);
    EXPECT_EQ(wide[3], 0xE9);
    EXPECT_EQ(wide[4], 0);
    // Too small a target still ends terminated.
    EXPECT_EQ(Text::Copy(wide, "abcdefghijkl", 4), 3);
    EXPECT_STREQ(wide, L"abc");
    EXPECT_EQ(Text::Copy(static_cast<wchar_t*>(nullptr), "measure me", 0), 10);
    char narrow[4];
    EXPECT_EQ(Text::Copy(narrow, L"wxyz", 4), 3);
    EXPECT_STREQ(narrow, "wxy");
    EXPECT_EQ(Text::Copy(static_cast<char*>(nullptr), L"abc\u00e9", 0), 4);

    EXPECT_EQ(UnicodeConversions::WStringToUtf8(L"ascii text"), "ascii text");
    EXPECT_EQ(UnicodeConversions::WStringToUtf8(L""), "");
    EXPECT_EQ(UnicodeConversions::WStringToUtf8(std::wstring(L"a\0b", 3)), "a");
}

TEST(StringWide, MultibyteLocaleConvertsAndFallsBack) {
    // Only this thread switches; the "C.UTF-8" locale is built into the C
    // library.
    locale_t utf8 = newlocale(LC_ALL_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    if (!utf8)
        GTEST_SKIP() << "no C.UTF-8 locale";
    locale_t previous = uselocale(utf8);
    EXPECT_STREQ(String(L"caf\u00e9"), "caf\xC3\xA9");
    wchar_t wide[8];
    EXPECT_EQ(Text::Copy(wide, "caf\xC3\xA9", 8), 4);
    EXPECT_STREQ(wide, L"caf\u00e9");
    // Bytes that are no UTF-8 still come through, as Latin-1.
    EXPECT_EQ(Text::Copy(wide, "a\xFF\xC3", 8), 3);
    EXPECT_EQ(wide[1], 0xFF);
    EXPECT_EQ(wide[2], 0xC3);
    // A character is never split at the end of the room.
    char narrow[4];
    EXPECT_EQ(Text::Copy(narrow, L"ab\u00e9", 4), 2);
    EXPECT_STREQ(narrow, "ab");
    // One byte per wide character is all the room the helper gives.
    EXPECT_EQ(UnicodeConversions::WStringToUtf8(L"x\u00e9"), "x");
    EXPECT_EQ(UnicodeConversions::WStringToUtf8(L"plain"), "plain");
    uselocale(previous);
    freelocale(utf8);
}

TEST(StringWide, WideViewLivesBehindTheText) {
    String s("wide view");
    String copy = s;
    const wchar_t* view = static_cast<const wchar_t*>(s);
    EXPECT_STREQ(view, L"wide view");
    // Aligned for wchar_t (read through it under the sanitizer too).
    EXPECT_EQ(reinterpret_cast<uintptr_t>(view) % alignof(wchar_t), 0u);
    // The view unshared the string; the copy is untouched.
    EXPECT_STREQ(copy, "wide view");
    EXPECT_STREQ(s, "wide view");
    EXPECT_EQ(copy.GetReferenceCount(), 1);
    // A big block keeps its capacity and text.
    String big;
    big.PreAllocateStorage(200);
    big += "x";
    EXPECT_STREQ(static_cast<const wchar_t*>(big), L"x");
    EXPECT_EQ(big.GetCapacity(), 200);
    big += "yz";
    EXPECT_STREQ(big, "xyz");
    EXPECT_STREQ(static_cast<const wchar_t*>(String()), L"");

    String u("utf-8 \xC3\xA9");
    EXPECT_STREQ(u.ToUTF8(), "utf-8 \xC3\xA9");
    EXPECT_STREQ(u, "utf-8 \xC3\xA9");
    EXPECT_STREQ(String().ToUTF8(), "");

    wchar_t out[4];
    EXPECT_EQ(s.CopyTo(out, 3), 3);
    EXPECT_STREQ(out, L"wid");
    char narrow[5];
    EXPECT_EQ(s.CopyTo(narrow, 4), 4);
    EXPECT_STREQ(narrow, "wide");
    EXPECT_EQ(s.CopyTo(narrow, -1), 0);
    EXPECT_STREQ(narrow, "");
    EXPECT_EQ(s.CopyToUTF8(nullptr), 10);
}

TEST(StringWide, SixByteUtf8Forms) {
    struct Case {
        wchar_t c;
        std::vector<unsigned char> bytes;
    };
    const std::vector<Case> cases = {
        {L'A', {0x41}},
        {static_cast<wchar_t>(0xE9), {0xC3, 0xA9}},
        {static_cast<wchar_t>(0x7FF), {0xDF, 0xBF}},
        {static_cast<wchar_t>(0x20AC), {0xE2, 0x82, 0xAC}},
        {static_cast<wchar_t>(0x1F600), {0xF0, 0x9F, 0x98, 0x80}},
        {static_cast<wchar_t>(0x1FFFFF), {0xF7, 0xBF, 0xBF, 0xBF}},
        {static_cast<wchar_t>(0x200000), {0xF8, 0x88, 0x80, 0x80, 0x80}},
        {static_cast<wchar_t>(0x3FFFFFF), {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}},
        {static_cast<wchar_t>(0x4000000), {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}},
        {static_cast<wchar_t>(0x7FFFFFFF), {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}},
    };
    for (const auto& c : cases) {
        const wchar_t text[2] = {c.c, 0};
        const int size = Text::CopyToUTF8(nullptr, text);
        ASSERT_EQ(size, static_cast<int>(c.bytes.size()) + 1) << std::hex << static_cast<uint32_t>(c.c);
        std::vector<unsigned char> out(static_cast<std::size_t>(size), 0xEE);
        EXPECT_EQ(Text::CopyToUTF8(out.data(), text), size);
        EXPECT_EQ(std::vector<unsigned char>(out.begin(), out.end() - 1), c.bytes) << std::hex << static_cast<uint32_t>(c.c);
        EXPECT_EQ(out.back(), 0);
    }
    EXPECT_EQ(Text::CopyToUTF8(nullptr, static_cast<const wchar_t*>(nullptr)), 1);
    unsigned char narrow[8];
    EXPECT_EQ(Text::CopyToUTF8(narrow, "abc"), 4);
    EXPECT_STREQ(reinterpret_cast<char*>(narrow), "abc");
}

TEST(TextFunctions, NullTextsAndCharacterClasses) {
    EXPECT_EQ(Text::Length(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(Text::IndexOfCharacter(static_cast<const char*>(nullptr), 'a'), -1);
    EXPECT_EQ(Text::IndexOfCharacter("abc", 'c'), 2);
    EXPECT_EQ(Text::IndexOfCharacter(L"abc", L'z'), -1);
    EXPECT_TRUE(Text::Equals("a", "a"));
    EXPECT_TRUE(Text::EqualsIgnoreCase(L"AbC", L"aBc"));
    EXPECT_EQ(Text::Compare(static_cast<const char*>(nullptr), ""), 0);
    EXPECT_FALSE(Text::IsCharacterDigit(static_cast<char>(0xB2)));  // superscript two in Latin-1
    EXPECT_TRUE(Text::IsCharacterDigit('7'));
    EXPECT_TRUE(Text::IsCharacterHex('F'));
    EXPECT_TRUE(Text::IsCharacterHex('a'));
    EXPECT_FALSE(Text::IsCharacterHex('g'));
    EXPECT_FALSE(Text::IsCharacterSpace(static_cast<char>(0xA0)));
    EXPECT_TRUE(Text::IsCharacterSpace('\t'));
    char text[] = "reverse";
    EXPECT_STREQ(Text::Reverse(text), "esrever");
    wchar_t wide[] = L"ab";
    EXPECT_STREQ(Text::Reverse(wide), L"ba");
    char buffer[8];
    EXPECT_EQ(Text::Formatted(buffer, sizeof buffer, "%d", 123456789), 9);
    EXPECT_STREQ(buffer, "1234567");
    int a = 0, b = 0;
    EXPECT_EQ(Text::ScanFormatted("12 34", "%d %d", &a, &b), 2);
    EXPECT_EQ(a + b, 46);
    EXPECT_EQ(Text::ValueInt32(L"-17"), -17);
    EXPECT_TRUE(Text::ValueBool(L"True"));
    EXPECT_DOUBLE_EQ(Text::ValueDouble(L"2.5"), 2.5);
    EXPECT_STREQ(tam::Utilities::ConvertToPrecomposedUnicode(String("file name")), "file name");
}

namespace {

std::string Unescape(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == 'n') {
            out += '\n';
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

}  // namespace

TEST(TextBase64, EncodingMatchesCoreutils) {
    const auto rows = tamtest::ReadTable("base64.tsv");
    ASSERT_GE(rows.size(), 10u);
    for (const auto& row : rows) {
        const auto input = tamtest::FromHex(row[0]);
        const std::string expected = Unescape(row[1]);
        tam::Buffer<unsigned char> in;
        in.Assign(input.data(), static_cast<int>(input.size()));
        tam::Buffer<char> out;
        const int length = Text::ToBase64(&out, &in, 72);
        ASSERT_EQ(length, static_cast<int>(expected.size())) << row[0].size() / 2 << " bytes";
        EXPECT_EQ(std::string(out.GetData(), static_cast<std::size_t>(out.GetSize())), expected);
        EXPECT_EQ(in.GetPosition(), in.GetSize());
        EXPECT_EQ(out.GetPosition(), length);

        // Decoding skips the line feeds and padding and gives the bytes back.
        tam::Buffer<unsigned char> decoded;
        const int n = Text::FromBase64(&decoded, expected.c_str(), static_cast<int>(expected.size()));
        ASSERT_EQ(n, static_cast<int>(input.size()));
        EXPECT_EQ(decoded.GetPosition(), 0);
        EXPECT_EQ(std::memcmp(decoded.GetData(), input.data(), input.size()), 0);
    }
}

TEST(TextBase64, PositionsLinesAndForeignCharacters) {
    // Decoding appends at the position and ignores what is not Base64.
    tam::Buffer<unsigned char> out;
    const unsigned char head[] = {1, 2};
    out.Write(head, 2);
    EXPECT_EQ(Text::FromBase64(&out, " SGVs\r\nbG8*=", -1), 5);
    ASSERT_EQ(out.GetSize(), 7);
    EXPECT_EQ(std::memcmp(out.GetData() + 2, "Hello", 5), 0);
    EXPECT_EQ(out.GetData()[0], 1);
    EXPECT_EQ(out.GetPosition(), 0);
    // A last group of one character carries no byte.
    tam::Buffer<unsigned char> single;
    EXPECT_EQ(Text::FromBase64(&single, "QUJD" "Q", 5), 3);
    EXPECT_EQ(Text::FromBase64(&single, nullptr, 10), 0);
    EXPECT_EQ(Text::FromBase64(nullptr, "QUJD", 4), 0);

    // Encoding from the input's position; a line length under 4 gives one
    // line; the output is appended at its position.
    const unsigned char bytes[] = {'s', 'k', 'i', 'p', 'M', 'a', 'n'};
    tam::Buffer<unsigned char> in;
    in.Assign(bytes, 7);
    in.SetPosition(4);
    tam::Buffer<char> text;
    EXPECT_EQ(Text::ToBase64(&text, &in, 0), 5);
    EXPECT_EQ(std::string(text.GetData(), 5), "TWFu\n");
    in.SetPosition(0);
    EXPECT_EQ(Text::ToBase64(&text, &in, 8), 14);
    EXPECT_EQ(std::string(text.GetData(), static_cast<std::size_t>(text.GetSize())), "TWFu\nc2tpcE1h\nbg==\n");
    // Nothing left to read: nothing written.
    EXPECT_EQ(Text::ToBase64(&text, &in, 72), 0);
}
