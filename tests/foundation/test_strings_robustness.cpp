// Hostile and oversized input for strings and containers: indices far out of
// range, empty and null input, and texts of megabytes. Run under the
// sanitizers, these show that nothing reads or writes outside its block.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/tamArray.h"
#include "foundation/tamBuffer.h"
#include "foundation/tamString.h"

using tam::String;

TEST(StringRobustness, ExtremeIndicesGiveEmptyOrWholeResults) {
    String s("range");
    EXPECT_STREQ(s.Substring(INT_MIN, INT_MAX), "range");
    EXPECT_TRUE(s.Substring(INT_MAX).IsEmpty());
    EXPECT_TRUE(s.Substring(INT_MAX, INT_MIN).IsEmpty());
    EXPECT_STREQ(s.Substring(INT_MIN), "range");
    EXPECT_STREQ(s.ReplaceSection(INT_MAX, INT_MAX, "!"), "range!");
    EXPECT_STREQ(s.ReplaceSection(INT_MIN, INT_MIN, "<"), "<range");
    EXPECT_TRUE(s.RemoveLastCharacters(INT_MAX).IsEmpty());
    EXPECT_EQ(s.IndexOf(INT_MAX, "r"), -1);
    EXPECT_EQ(s.IndexOfIgnoreCase(INT_MIN, "R"), 0);
    EXPECT_EQ(s.IndexOfCharacter(INT_MAX, 'r'), -1);
    EXPECT_EQ(s.IndexOfCharacter('\0'), -1);
    EXPECT_EQ(String("abc", INT_MAX).GetLength(), 3);  // stops at the zero
    EXPECT_EQ(String(L"abc", INT_MAX).GetLength(), 3);
    EXPECT_TRUE(String("abc", INT_MIN).IsEmpty());
    char out[4] = "xyz";
    EXPECT_EQ(s.CopyTo(out, 3), 3);
    EXPECT_STREQ(out, "ran");
    EXPECT_EQ(s.CopyTo(static_cast<char*>(nullptr), 3), 0);
    s.PreAllocateStorage(-5);
    EXPECT_STREQ(s, "range");
    String empty;
    EXPECT_EQ(empty.GetLastCharacter(), 0);
    EXPECT_EQ(empty.LastIndexOf("x"), -1);
    EXPECT_FALSE(empty.EndsWith("x"));
    EXPECT_TRUE(empty.Trim().IsEmpty());
    EXPECT_TRUE(empty.Unquoted().IsEmpty());
    EXPECT_TRUE(empty.ToUpperCase().IsEmpty());
    EXPECT_TRUE(empty.Replace("a", "b").IsEmpty());
    // Writing through the index of an empty string gets a block of its own.
    String writable;
    writable[0] = 'q';
    EXPECT_TRUE(String().IsEmpty());
    EXPECT_TRUE(String::Empty.IsEmpty());
}

TEST(StringRobustness, MegabyteTexts) {
    const int size = 1 << 20;
    std::string big(static_cast<std::size_t>(size), 'a');
    big[static_cast<std::size_t>(size) - 1] = 'z';
    String s(big.c_str());
    EXPECT_EQ(s.GetLength(), size);
    EXPECT_EQ(s.IndexOf("z"), size - 1);
    EXPECT_EQ(s.LastIndexOfIgnoreCase("AZ"), size - 2);
    String doubled = s + s;
    EXPECT_EQ(doubled.GetLength(), 2 * size);
    String replaced = s.Replace("a", "bb");
    EXPECT_EQ(replaced.GetLength(), 2 * (size - 1) + 1);
    const wchar_t* wide = static_cast<const wchar_t*>(s);
    EXPECT_EQ(wide[size - 1], L'z');
    EXPECT_EQ(wide[size], 0);
    EXPECT_EQ(std::strlen(s.ToUTF8()), static_cast<std::size_t>(size));
    String formatted = String::Formatted("%s|%d", big.c_str(), 7);
    EXPECT_EQ(formatted.GetLength(), size + 2);

    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i)
        bytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i * 7);
    EXPECT_EQ(String::CreateHexString(bytes.data(), size, 4).GetLength(), 2 * size + size / 4 - 1);
    tam::Buffer<unsigned char> in;
    in.Assign(bytes.data(), size);
    tam::Buffer<char> text;
    const int length = tam::Text::ToBase64(&text, &in, 76);
    tam::Buffer<unsigned char> back;
    EXPECT_EQ(tam::Text::FromBase64(&back, text.GetData(), length), size);
    EXPECT_EQ(std::memcmp(back.GetData(), bytes.data(), bytes.size()), 0);

    std::vector<unsigned char> utf8;
    for (int i = 0; i < size / 2; ++i) {
        utf8.push_back(0xC3);
        utf8.push_back(0xA9);
    }
    EXPECT_EQ(String::CreateFromUTF8(utf8.data(), static_cast<int>(utf8.size())).GetLength(), size / 2);
}

TEST(ContainerRobustness, ManyPiecesAndExtremeIndices) {
    std::string text;
    for (int i = 0; i < 6000; ++i)
        text += (i % 3 == 0) ? "\"q,q\"," : "p,";
    tam::StrArray pieces;
    const int n = pieces.Unmerge(String(text.c_str()), ",", "\"");
    EXPECT_EQ(n, 6001);
    EXPECT_EQ(pieces.Merge(",").GetLength(), static_cast<int>(text.size()));
    pieces.Sort(false);
    EXPECT_TRUE(pieces[0].IsEmpty());
    pieces.RemoveDuplicates(false);
    EXPECT_EQ(pieces.GetCount(), 3);
    pieces.Move(INT_MIN, INT_MAX);
    pieces.Swap(INT_MAX, 0);
    pieces.Remove(INT_MAX);
    pieces.Insert(INT_MAX, "end");
    EXPECT_STREQ(pieces[3], "end");
    EXPECT_TRUE(pieces[INT_MIN].IsEmpty());
    EXPECT_TRUE(pieces.Merge(",", INT_MAX, INT_MAX).IsEmpty());
    pieces.AddArray(pieces, INT_MAX, 5);
    EXPECT_EQ(pieces.GetCount(), 4);

    tam::ValArray<double> values;
    for (int i = 0; i < 200000; ++i)
        values.Add(i);
    EXPECT_EQ(values.Get(199999), 199999.0);
    EXPECT_EQ(values.Get(INT_MAX), 0.0);
    values.Move(0, INT_MAX);
    EXPECT_EQ(values.GetLast(), 0.0);
    values.Insert(INT_MIN, -1.0);
    EXPECT_EQ(values.GetLast(), -1.0);

    tam::ByteBuffer buffer;
    std::vector<int> ints(100000, 0x5A5A5A5A);
    EXPECT_TRUE(buffer.PutIntArray(0, ints.data(), static_cast<int>(ints.size())));
    EXPECT_EQ(buffer.GetSize(), 400000);
    EXPECT_EQ(buffer.GetInt(399996), 0x5A5A5A5A);
    EXPECT_FALSE(buffer.PutIntArray(0, ints.data(), -1));
    EXPECT_FALSE(buffer.PutText(0, nullptr, 4));
    EXPECT_FALSE(buffer.GetText(0, nullptr, 4));
    EXPECT_FALSE(buffer.GetIntArray(0, ints.data(), 0));
}
