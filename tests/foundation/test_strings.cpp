// tam::String: block sizes, copy-on-write, taking apart, numbers and the
// creators, against reference tables made offline (see the script under
// tests/data/foundation/strings).
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "foundation/tamString.h"
#include "test_strings_support.h"

using tam::String;

namespace {

const void* BlockOf(const String& s) {
    // The block begins 8 bytes before the characters.
    return static_cast<const char*>(s) - 8;
}

}  // namespace

TEST(StringBlocks, AssignmentReusesOnlyWellFilledUnsharedBlocks) {
    String s;
    s.PreAllocateStorage(100);
    ASSERT_EQ(s.GetCapacity(), 100);
    const void* big = BlockOf(s);

    // 51 of 100 is more than half: the text goes into the same block.
    const std::string fiftyOne(51, 'x');
    s = fiftyOne.c_str();
    EXPECT_EQ(BlockOf(s), big);
    EXPECT_EQ(s.GetCapacity(), 100);
    EXPECT_EQ(s.GetLength(), 51);

    // Exactly half is not enough: a new block at the exact length.
    const std::string fifty(50, 'y');
    s = fifty.c_str();
    EXPECT_EQ(s.GetCapacity(), 50);

    String t;
    t.PreAllocateStorage(100);
    t = "abc";
    EXPECT_EQ(t.GetCapacity(), 3);
    EXPECT_STREQ(t, "abc");

    // A shared block is never written in place, whatever its size.
    String u;
    u.PreAllocateStorage(10);
    u = "abcdefgh";
    String v = u;
    u = "ABCDEFGH";
    EXPECT_STREQ(v, "abcdefgh");
    EXPECT_STREQ(u, "ABCDEFGH");
}

TEST(StringBlocks, AppendingGrowsToTheExactLength) {
    String s("ab");
    EXPECT_EQ(s.GetCapacity(), 2);
    s += "cde";
    EXPECT_EQ(s.GetCapacity(), 5);
    s += 'f';
    EXPECT_EQ(s.GetCapacity(), 6);
    s << 42 << "!";
    EXPECT_STREQ(s, "abcdef42!");
    EXPECT_EQ(s.GetCapacity(), 9);
    s.AppendStorage("xyz", 2);
    EXPECT_STREQ(s, "abcdef42!xy");
    s.AppendStorage("q", 0);
    s.AppendStorage(nullptr, 5);
    EXPECT_STREQ(s, "abcdef42!xy");

    // Within a pre-allocated block nothing moves.
    String t;
    t.PreAllocateStorage(32);
    const void* block = BlockOf(t);
    for (int i = 0; i < 32; ++i)
        t += 'a';
    EXPECT_EQ(BlockOf(t), block);
    EXPECT_EQ(t.GetCapacity(), 32);
}

TEST(StringBlocks, EmptyStringsShareOnePinnedBlock) {
    for (const String& e : {String(), String(""), String(static_cast<const char*>(nullptr)), String("abc", 0),
                            String(L"")})
        EXPECT_EQ(BlockOf(e), BlockOf(String::Empty));
    EXPECT_EQ(String::Empty.GetReferenceCount(), 0x3fffffff);
    {
        std::vector<String> many(1000, String::Empty);
        String moved = std::move(many[0]);
    }
    EXPECT_EQ(String::Empty.GetReferenceCount(), 0x3fffffff);
    EXPECT_TRUE(String::Empty.IsEmpty());
}

TEST(StringBlocks, CopiesShareUntilOneChanges) {
    String a("shared text");
    String b = a;
    EXPECT_EQ(BlockOf(a), BlockOf(b));
    EXPECT_EQ(a.GetReferenceCount(), 2);

    b[0] = 'S';
    EXPECT_NE(BlockOf(a), BlockOf(b));
    EXPECT_STREQ(a, "shared text");
    EXPECT_STREQ(b, "Shared text");
    EXPECT_EQ(a.GetReferenceCount(), 1);
    EXPECT_EQ(b.GetReferenceCount(), 1);

    // The copy keeps the capacity of the block it came from.
    String big;
    big.PreAllocateStorage(64);
    big += "x";
    String other = big;
    other.GetBuffer()[0] = 'y';
    EXPECT_EQ(other.GetCapacity(), 64);
    EXPECT_STREQ(big, "x");

    // Appending to a shared string copies with the addition.
    String c = a;
    c += "!";
    EXPECT_STREQ(a, "shared text");
    EXPECT_STREQ(c, "shared text!");

    // Reading through the const index never unshares.
    const String& view = a;
    String d = a;
    EXPECT_EQ(view[1], 'h');
    EXPECT_EQ(BlockOf(a), BlockOf(d));
}

TEST(StringBlocks, AppendingItselfAndPartsOfItself) {
    String s("abc");
    s += s;
    EXPECT_STREQ(s, "abcabc");
    s.AppendStorage(static_cast<const char*>(s) + 2, 3);
    EXPECT_STREQ(s, "abcabccab");
    s = static_cast<const char*>(s) + 3;  // a tail of its own text
    EXPECT_STREQ(s, "abccab");
}

TEST(StringBlocks, OperatorPlusSharesWithEmptyOperands) {
    String a("left");
    String sum = a + String();
    EXPECT_EQ(BlockOf(sum), BlockOf(a));
    String sum2 = String() + a;
    EXPECT_EQ(BlockOf(sum2), BlockOf(a));
    EXPECT_EQ(BlockOf(a + '\0'), BlockOf(a));
    String joined = a + "right";
    EXPECT_STREQ(joined, "leftright");
    EXPECT_EQ(joined.GetCapacity(), 9);
    EXPECT_STREQ("pre" + a, "preleft");
    EXPECT_STREQ(a + 'x', "leftx");
}

TEST(StringBlocks, CountsStayExactAcrossThreads) {
    String s("copied from many threads");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&s] {
            for (int i = 0; i < 20000; ++i) {
                String copy = s;
                String second(copy);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(s.GetReferenceCount(), 1);
}

TEST(StringCompare, OrderAndNullArguments) {
    String a("apple");
    EXPECT_TRUE(a == "apple");
    EXPECT_TRUE(a != "Apple");
    EXPECT_TRUE(a.EqualsIgnoreCase("APPLE"));
    EXPECT_LT(a.Compare("banana"), 0);
    EXPECT_TRUE(a < "banana");
    EXPECT_TRUE(a >= "apple");
    EXPECT_EQ(a.CompareIgnoreCase("APPLE"), 0);
    // A null argument: 1 for an empty string, 0 otherwise.
    EXPECT_EQ(a.Compare(nullptr), 0);
    EXPECT_EQ(String().Compare(nullptr), 1);
    EXPECT_EQ(String().CompareIgnoreCase(nullptr), 1);
}

TEST(StringSearch, IndicesAndPatterns) {
    String s("Hello, hello world");
    EXPECT_EQ(s.IndexOfCharacter('l'), 2);
    EXPECT_EQ(s.IndexOfCharacter(-5, 'l'), 2);
    EXPECT_EQ(s.IndexOfCharacter(4, 'l'), 9);
    EXPECT_EQ(s.IndexOfCharacter(100, 'l'), -1);
    EXPECT_EQ(s.IndexOf("hello"), 7);
    EXPECT_EQ(s.IndexOfIgnoreCase("HELLO"), 0);
    EXPECT_EQ(s.IndexOfIgnoreCase(1, "HELLO"), 7);
    EXPECT_EQ(s.IndexOf(""), -1);
    EXPECT_EQ(s.IndexOf(nullptr), -1);
    EXPECT_EQ(s.LastIndexOf("l"), 16);
    EXPECT_EQ(s.LastIndexOfCharacter('o'), 14);
    EXPECT_EQ(s.LastIndexOfIgnoreCase("HELLO"), 7);
    EXPECT_EQ(s.LastIndexOf("absent"), -1);
    EXPECT_TRUE(s.StartsWith("Hell"));
    EXPECT_FALSE(s.StartsWith("hell"));
    EXPECT_TRUE(s.StartsWithIgnoreCase("hELL"));
    EXPECT_TRUE(s.EndsWith("world"));
    EXPECT_TRUE(s.EndsWithIgnoreCase("WORLD"));
    EXPECT_FALSE(s.EndsWith("a longer pattern than the text itself"));
    EXPECT_TRUE(s.StartsWithCharacter('H'));
    EXPECT_TRUE(s.EndsWithCharacter('d'));
    EXPECT_TRUE(s.ContainsAnyOf("xyz,"));
    EXPECT_FALSE(s.ContainsAnyOf("xyz"));
    EXPECT_TRUE(String("abba").ContainsOnly("ab"));
    EXPECT_FALSE(String("abc").ContainsOnly("ab"));
    EXPECT_TRUE(String().ContainsOnly("ab"));
    EXPECT_TRUE(String().ContainsOnly(""));
    EXPECT_FALSE(String("a").ContainsOnly(""));
}

TEST(StringTakingApart, SubstringRanges) {
    String s("abcdef");
    EXPECT_EQ(BlockOf(s.Substring(0)), BlockOf(s));
    EXPECT_EQ(BlockOf(s.Substring(-3)), BlockOf(s));
    EXPECT_STREQ(s.Substring(2), "cdef");
    EXPECT_TRUE(s.Substring(6).IsEmpty());
    EXPECT_TRUE(s.Substring(2, 2).IsEmpty());
    EXPECT_TRUE(s.Substring(4, 1).IsEmpty());
    EXPECT_STREQ(s.Substring(0, -1), "abcdef");
    EXPECT_STREQ(s.Substring(2, -1), "cdef");
    EXPECT_STREQ(s.Substring(-2, 3), "abc");
    EXPECT_STREQ(s.Substring(1, 100), "bcdef");
    EXPECT_STREQ(s.Substring(1, 3), "bc");
    EXPECT_TRUE(s.Substring(INT_MAX, INT_MAX).IsEmpty());
    EXPECT_STREQ(s.RemoveLastCharacters(2), "abcd");
    EXPECT_TRUE(s.RemoveLastCharacters(100).IsEmpty());
    EXPECT_STREQ(s.RemoveLastCharacters(-1), "abcdef");
}

TEST(StringTakingApart, ReplaceNeverSearchesInsertedText) {
    String s("aaa");
    String r = s.Replace("a", "aa", false);
    EXPECT_STREQ(r, "aaaaaa");
    EXPECT_STREQ(String("one two one").Replace("one", "1"), "1 two 1");
    EXPECT_STREQ(String("One two ONE").Replace("one", "x", true), "x two x");
    EXPECT_STREQ(String("One two ONE").Replace("one", "x", false), "One two ONE");
    EXPECT_STREQ(String("abc").Replace("b", nullptr), "ac");
    EXPECT_STREQ(String("abc").Replace("", "x"), "abc");
    EXPECT_TRUE(String("aaaa").Replace("a", "").IsEmpty());
}

TEST(StringTakingApart, SectionsCharactersTrimAndQuotes) {
    String s("0123456789");
    EXPECT_STREQ(s.ReplaceSection(2, 3, "ab"), "01ab56789");
    EXPECT_STREQ(s.ReplaceSection(-5, 2, "x"), "x23456789");
    EXPECT_STREQ(s.ReplaceSection(8, 100, "x"), "01234567x");
    EXPECT_STREQ(s.ReplaceSection(100, 1, "x"), "0123456789x");
    EXPECT_STREQ(s.ReplaceSection(3, -4, nullptr), "0123456789");

    EXPECT_STREQ(String("a-b-c").RemoveCharacters("-"), "abc");
    EXPECT_TRUE(String("---").RemoveCharacters("-").IsEmpty());
    EXPECT_STREQ(String("a.b.c").ReplaceCharacter('.', '/'), "a/b/c");

    String padded("  \t text \n ");
    EXPECT_STREQ(padded.Trim(), "text");
    EXPECT_STREQ(padded.TrimStart(), "text \n ");
    EXPECT_STREQ(padded.TrimEnd(), "  \t text");
    String tidy("tidy");
    EXPECT_EQ(BlockOf(tidy.Trim()), BlockOf(tidy));
    EXPECT_TRUE(String("   ").Trim().IsEmpty());

    EXPECT_TRUE(String("  'x'").IsQuotedString());
    EXPECT_TRUE(String("\"x").IsQuotedString());
    EXPECT_FALSE(String("x'").IsQuotedString());
    EXPECT_STREQ(String("\"quoted'").Unquoted(), "quoted");
    EXPECT_STREQ(String("'half").Unquoted(), "half");
    EXPECT_TRUE(String("\"").Unquoted().IsEmpty());
    EXPECT_STREQ(String("word").Quoted(), "\"word\"");
    EXPECT_STREQ(String("\"word").Quoted('"'), "\"word\"");
    EXPECT_STREQ(String("word'").Quoted('\''), "'word'");
    EXPECT_STREQ(String().Quoted(), "\"\"");

    EXPECT_STREQ(String("MiXeD 1").ToUpperCase(), "MIXED 1");
    EXPECT_STREQ(String("MiXeD 1").ToLowerCase(), "mixed 1");
}

TEST(StringNumbers, ParsingFollowsTheTextFunctions) {
    EXPECT_TRUE(String("TRUE").ValueBool());
    EXPECT_TRUE(String("tRuE").ValueBool());
    EXPECT_TRUE(String("1").ValueBool());
    EXPECT_FALSE(String("yes").ValueBool());
    EXPECT_FALSE(String("10").ValueBool());
    EXPECT_FALSE(String("truer").ValueBool());
    EXPECT_FALSE(String().ValueBool());

    EXPECT_EQ(String("1g2").ValueHexValue32(), 0x12u);
    EXPECT_EQ(String("0x1F").ValueHexValue32(), 0x1Fu);
    EXPECT_EQ(String("DE:AD:be:ef").ValueHexValue32(), 0xDEADBEEFu);
    EXPECT_EQ(String("123456789abcdef01").ValueHexValue64(), 0x23456789abcdef01ull);

    EXPECT_EQ(String("70000").ValueInt16(), static_cast<short>(70000 - 65536));
    EXPECT_EQ(String("65537").ValueUInt16(), 1);
    EXPECT_EQ(String("-42xyz").ValueInt32(), -42);
    EXPECT_EQ(String("99999999999").ValueInt32(), INT_MAX);
    EXPECT_EQ(String("-99999999999").ValueInt32(), INT_MIN);
    EXPECT_EQ(String("9000000000").ValueInt64(), 9000000000LL);
    EXPECT_EQ(String("18446744073709551615").ValueUInt64(), 18446744073709551615ULL);
    EXPECT_FLOAT_EQ(String("0.25").ValueFloat(), 0.25f);
    EXPECT_DOUBLE_EQ(String(" -1.5e3").ValueDouble(), -1500.0);
    EXPECT_EQ(String("junk").ValueDouble(), 0.0);
}

TEST(StringNumbers, FixedPlacesMatchTheReference) {
    const auto rows = tamtest::ReadTable("fixed_places.tsv");
    ASSERT_GE(rows.size(), 15u);
    for (const auto& row : rows) {
        const double value = std::stod(row[0]);
        const int places = std::stoi(row[1]);
        EXPECT_STREQ(String::CreateFromValue(value, places), row[2].c_str()) << row[0] << " places " << places;
    }
}

TEST(StringNumbers, CreateFromValueForms) {
    EXPECT_STREQ(String::CreateFromValue(true), "true");
    EXPECT_STREQ(String::CreateFromValue(false), "false");
    EXPECT_STREQ(String::CreateFromValue(true, true), "1");
    EXPECT_STREQ(String::CreateFromValue(false, true), "0");
    EXPECT_STREQ(String::CreateFromValue(INT_MIN), "-2147483648");
    EXPECT_STREQ(String::CreateFromValue(0), "0");
    EXPECT_STREQ(String::CreateFromValue(LLONG_MIN), "-9223372036854775808");
    EXPECT_STREQ(String::CreateFromValue(ULLONG_MAX), "18446744073709551615");
    EXPECT_STREQ(String::CreateFromValue(static_cast<short>(-32768)), "-32768");
    EXPECT_STREQ(String::CreateFromValue(static_cast<unsigned short>(65535)), "65535");
    EXPECT_STREQ(String::CreateFromValue(4294967295u), "4294967295");
    // Floats go through double; "%g" when no places are asked for.
    EXPECT_STREQ(String::CreateFromValue(0.1f), "0.1");
    EXPECT_STREQ(String::CreateFromValue(0.1f, 9), "0.100000001");
    EXPECT_STREQ(String::CreateFromValue(1e-7), "1e-07");
    // Not-a-number is outside every range, so it formats with "%g".
    EXPECT_STREQ(String::CreateFromValue(std::nan(""), 2), "nan");
    EXPECT_STREQ(String::CreateFromValue(-HUGE_VAL, 2), "-inf");
    // Many places still give the whole text.
    EXPECT_EQ(String::CreateFromValue(1.0, 100).GetLength(), 102);
    String s;
    s << 1.5 << ' ' << 2.5f << ' ' << -3 << ' ' << 7u << ' ' << static_cast<short>(5) << ' ' << -9LL << ' ' << 9ULL;
    EXPECT_STREQ(s, "1.5 2.5 -3 7 5 -9 9");

    char text[64] = "unchanged";
    tam::Text::FromValue(2.0, 3, text);
    EXPECT_STREQ(text, "2.000");
    wchar_t wide[64] = L"unchanged";
    tam::Text::FromValue(-0.5f, 1, wide);
    EXPECT_STREQ(wide, L"-0.5");
    tam::Text::FromValue(12L, text);  // the integer forms write nothing
    EXPECT_STREQ(text, "2.000");
}

TEST(StringHex, IntegersAndBytes) {
    EXPECT_STREQ(String::CreateHexString(0), "0");
    EXPECT_STREQ(String::CreateHexString(255), "ff");
    EXPECT_STREQ(String::CreateHexString(0x1234abcd), "1234abcd");
    EXPECT_STREQ(String::CreateHexString(-1), "ffffffff");
    EXPECT_STREQ(String::CreateHexString(static_cast<short>(-1)), "ffff");
    EXPECT_STREQ(String::CreateHexString(0x123456789abcdefLL), "123456789abcdef");
    EXPECT_STREQ(String::CreateHexString(-1LL), "ffffffffffffffff");

    const unsigned char bytes[] = {0x00, 0x01, 0xab, 0xff, 0x10, 0x7f};
    EXPECT_STREQ(String::CreateHexString(bytes, 6), "0001abff107f");
    // Group 1: a blank after every byte, the last one cut.
    EXPECT_STREQ(String::CreateHexString(bytes, 6, 1), "00 01 ab ff 10 7f");
    // Groups count from the first byte (blanks after bytes 0, 2, 4), and the
    // cut takes whatever character is last.
    EXPECT_STREQ(String::CreateHexString(bytes, 6, 2), "00 01ab ff10 7");
    EXPECT_STREQ(String::CreateHexString(bytes, 5, 2), "00 01ab ff10");
    EXPECT_TRUE(String::CreateHexString(bytes, 0).IsEmpty());
    EXPECT_TRUE(String::CreateHexString(nullptr, 4).IsEmpty());

    char two[3];
    tam::Text::DecimalToHex(0x3c, two);
    EXPECT_STREQ(two, "3C");
    tam::Text::DecimalToHex(0x1ff, two);
    EXPECT_STREQ(two, "FF");
    EXPECT_EQ(tam::Text::HexToDecimal("3c"), 0x3c);
    EXPECT_EQ(tam::Text::HexToDecimal("A0"), 0xa0);
    EXPECT_EQ(tam::Text::HexToDecimal(""), 0);  // never reads past the terminator
}

TEST(StringFormatting, ShortLongAndFailing) {
    EXPECT_STREQ(String::Formatted("%d-%s", 7, "x"), "7-x");
    EXPECT_TRUE(String::Formatted("%s", "").IsEmpty());
    const std::string longText(1000, 'L');
    String formatted = String::Formatted("<%s>", longText.c_str());
    EXPECT_EQ(formatted.GetLength(), 1002);
    EXPECT_EQ(formatted.GetCapacity(), 1002);
    EXPECT_EQ(formatted.GetLastCharacter(), '>');
    // Exactly at the edge of the local buffer.
    EXPECT_EQ(String::Formatted("%s", std::string(255, 'e').c_str()).GetLength(), 255);
    EXPECT_EQ(String::Formatted("%s", std::string(254, 'e').c_str()).GetLength(), 254);
    // An encoding error cannot be mended by a larger buffer: empty, at once.
    EXPECT_TRUE(String::Formatted("%ls", L"\x4e2d\x6587").IsEmpty());
    String p("old");
    p.Printf("%05.1f", 3.14159);
    EXPECT_STREQ(p, "003.1");
}
