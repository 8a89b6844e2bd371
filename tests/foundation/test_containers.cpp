// Containers: growth rule, value/pointer/reference arrays, string arrays and
// pairs, sorting, and ByteBuffer's formats.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "foundation/tamArray.h"
#include "foundation/tamBuffer.h"
#include "foundation/tamRefObject.h"
#include "test_strings_support.h"

using tam::String;

namespace {

// Exposes the protected growth operations of Storage.
template <class T>
struct OpenStorage : tam::Storage<T> {
    explicit OpenStorage(int growBy) : tam::Storage<T>(growBy) {}
    T* Data() { return this->data; }
};

struct Counted {
    explicit Counted(int* deaths) : deaths(deaths) {}
    ~Counted() { ++*deaths; }
    int* deaths;
};

struct Tracked : tam::RefObject {
    explicit Tracked(bool* gone) : gone(gone) {}
    ~Tracked() override { *gone = true; }
    bool* gone;
};

}  // namespace

TEST(ContainerGrowth, AllocationSizesFollowTheUnitRule) {
    tam::ValArray<int> values(8);
    values.Add(1);
    EXPECT_EQ(values.GetAllocatedStorage(), 8);
    for (int i = 2; i <= 8; ++i)
        values.Add(i);
    EXPECT_EQ(values.GetAllocatedStorage(), 8);
    values.Add(9);
    EXPECT_EQ(values.GetAllocatedStorage(), 16);

    OpenStorage<float> storage(8);
    storage.IncreaseAllocatedStorage(513);  // 513 + 64 = 577 <= 2048: +256 = 833
    EXPECT_EQ(storage.GetAllocatedStorage(), 840);
    storage.IncreaseAllocatedStorage(800);  // already there
    EXPECT_EQ(storage.GetAllocatedStorage(), 840);
    storage.IncreaseAllocatedStorage(3000);  // 3000 + 375 = 3375 > 2048: +512 = 3887
    EXPECT_EQ(storage.GetAllocatedStorage(), 3888);
    storage.IncreaseAllocatedStorage(512);  // no shrink
    EXPECT_EQ(storage.GetAllocatedStorage(), 3888);

    OpenStorage<char> one(1);
    one.IncreaseAllocatedStorage(64);  // at 64 units exactly: one unit more
    EXPECT_EQ(one.GetAllocatedStorage(), 65);
    one.IncreaseAllocatedStorage(65);  // 65 + 65 = 130 <= 256: +32
    EXPECT_EQ(one.GetAllocatedStorage(), 65);
    one.IncreaseAllocatedStorage(66);
    EXPECT_EQ(one.GetAllocatedStorage(), 165);

    // A growth unit of 0 would divide by zero; it counts as 1.
    OpenStorage<int> zero(0);
    EXPECT_EQ(zero.GetGrowBy(), 1);
    zero.IncreaseAllocatedStorage(3);
    EXPECT_EQ(zero.GetAllocatedStorage(), 4);
}

TEST(ContainerGrowth, AllocateAndDecrease) {
    OpenStorage<int> storage(4);
    // Without a block, a size of 0 or below is only remembered.
    storage.AllocateStorage(-3);
    EXPECT_EQ(storage.GetAllocatedStorage(), -3);
    EXPECT_EQ(storage.Data(), nullptr);
    storage.AllocateStorage(10);
    EXPECT_EQ(storage.GetAllocatedStorage(), 10);
    ASSERT_NE(storage.Data(), nullptr);
    storage.Data()[9] = 7;
    storage.DecreaseAllocatedStorage(5);  // (5 / 4 + 1) * 4 = 8
    EXPECT_EQ(storage.GetAllocatedStorage(), 8);
    storage.DecreaseAllocatedStorage(7);  // 8 is not below 8
    EXPECT_EQ(storage.GetAllocatedStorage(), 8);
    storage.DecreaseAllocatedStorage(0);
    EXPECT_EQ(storage.GetAllocatedStorage(), 0);
    EXPECT_EQ(storage.Data(), nullptr);
    // With a block, 0 frees it and the count is 0.
    storage.AllocateStorage(3);
    storage.AllocateStorage(-1);
    EXPECT_EQ(storage.GetAllocatedStorage(), 0);
    EXPECT_EQ(storage.Data(), nullptr);
}

TEST(ValArrayOperations, IndicesOutOfRangeAreIgnored) {
    tam::ValArray<int> a(4);
    a.Set(100, 1);  // lands at the count, not at the index
    a.Set(-1, 99);
    EXPECT_EQ(a.GetCount(), 1);
    EXPECT_EQ(a[0], 1);
    a.Insert(-1, 3);   // appends
    a.Insert(1, 2);    // middle
    a.Insert(100, 4);  // clamped to the count
    a.Insert(0, 0);
    const int expected[] = {0, 1, 2, 3, 4};
    ASSERT_EQ(a.GetCount(), 5);
    EXPECT_EQ(std::memcmp(a.GetData(), expected, sizeof expected), 0);
    EXPECT_EQ(a.Get(5), 0);
    EXPECT_EQ(a.Get(-1), 0);
    EXPECT_EQ(a.Remove(5), 0);
    EXPECT_EQ(a.Remove(-1), 0);
    EXPECT_EQ(a.GetCount(), 5);
    EXPECT_FALSE(a.AddArray(expected, 0));
    EXPECT_FALSE(a.AddArray(nullptr, 3));
    EXPECT_TRUE(a.Contains(4));
    EXPECT_EQ(a.IndexOf(3), 3);
    EXPECT_EQ(a.IndexOf(42), -1);
    a.Swap(0, 4);
    EXPECT_EQ(a[0], 4);
    a.Swap(0, 5);  // out of range: nothing
    EXPECT_EQ(a[0], 4);
}

TEST(ValArrayOperations, RemovalShrinksBelowHalf) {
    tam::ValArray<int> a(8);
    for (int i = 0; i < 40; ++i)
        a.Add(i);
    ASSERT_EQ(a.GetAllocatedStorage(), 40);
    // Twice the count must fall below the allocation before it shrinks.
    for (int i = 0; i < 20; ++i)
        a.Remove(0);
    EXPECT_EQ(a.GetAllocatedStorage(), 40);
    EXPECT_EQ(a.Remove(0), 20);
    EXPECT_EQ(a.GetCount(), 19);
    EXPECT_EQ(a.GetAllocatedStorage(), 24);  // (19 / 8 + 1) * 8
    EXPECT_EQ(a[0], 21);
    while (!a.IsEmpty())
        a.Remove(a.GetCount() - 1);
    EXPECT_EQ(a.GetAllocatedStorage(), 0);
    a.Add(5);
    EXPECT_EQ(a[0], 5);
}

TEST(ValArrayOperations, MoveShiftsAndCloses) {
    tam::ValArray<int> a;
    for (int i = 0; i < 6; ++i)
        a.Add(i);
    a.Move(1, 4);
    std::vector<int> got(a.GetData(), a.GetData() + a.GetCount());
    EXPECT_EQ(got, (std::vector<int>{0, 2, 3, 4, 1, 5}));
    a.Move(4, 0);
    got.assign(a.GetData(), a.GetData() + a.GetCount());
    EXPECT_EQ(got, (std::vector<int>{1, 0, 2, 3, 4, 5}));
    a.Move(0, -1);  // to the last place
    a.Move(2, 100);
    got.assign(a.GetData(), a.GetData() + a.GetCount());
    EXPECT_EQ(got, (std::vector<int>{0, 2, 4, 5, 1, 3}));
    a.Move(6, 0);
    a.Move(-1, 0);
    a.Move(3, 3);
    got.assign(a.GetData(), a.GetData() + a.GetCount());
    EXPECT_EQ(got, (std::vector<int>{0, 2, 4, 5, 1, 3}));
}

TEST(PtrArrayOwnership, OwnedOnlyWhenAskedAndAtTheEnd) {
    int deaths = 0;
    {
        tam::PtrArray<Counted> array;
        for (int i = 0; i < 5; ++i)
            array.Add(new Counted(&deaths));
        Counted* kept = array.Remove(0, false);
        EXPECT_EQ(deaths, 0);
        delete kept;
        EXPECT_EQ(deaths, 1);
        EXPECT_EQ(array.Remove(0, true), nullptr);
        EXPECT_EQ(deaths, 2);
        EXPECT_EQ(array.Remove(10, true), nullptr);
        array.RemoveLast(1, true);
        EXPECT_EQ(deaths, 3);
        EXPECT_EQ(array.GetCount(), 2);
        Counted* loose[2] = {array[0], array[1]};
        array.Clear(false);
        EXPECT_EQ(deaths, 3);
        EXPECT_EQ(array.GetAllocatedStorage(), 0);
        EXPECT_EQ(array.Get(0), nullptr);
        delete loose[0];
        delete loose[1];
        EXPECT_EQ(deaths, 5);
        array.Add(new Counted(&deaths));
        array.Insert(0, new Counted(&deaths));
        EXPECT_TRUE(array.Contains(array[1]));
        Counted* released[2] = {array[0], array[1]};
        array.RemoveLast(5, false);  // more than the count: a Clear
        EXPECT_EQ(array.GetCount(), 0);
        EXPECT_EQ(deaths, 5);
        delete released[0];
        delete released[1];
        // Whatever it was told before, destruction deletes what is left.
        array.Add(new Counted(&deaths));
        array.Add(new Counted(&deaths));
        EXPECT_EQ(deaths, 7);
    }
    EXPECT_EQ(deaths, 9);
}

TEST(RefObjects, CountsQueriesAndArrays) {
    bool gone = false;
    auto* object = new Tracked(&gone);
    EXPECT_EQ(object->GetReferenceCount(), 1);
    tam::RefObject* out = reinterpret_cast<tam::RefObject*>(0x1);
    EXPECT_EQ(object->QueryInterface(tam::RefObjectId{1, 2, 3}, &out), static_cast<int32_t>(0x80000004u));
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(object->QueryInterface(tam::RefObjectId{0, 0xC0000000u, 0x46000000u}, &out), 0);
    EXPECT_EQ(out, object);
    EXPECT_EQ(object->GetReferenceCount(), 2);
    EXPECT_EQ(out->Release(), 1);
    EXPECT_TRUE(object->GetObjectId() == tam::RefObject::kRootId);
    {
        tam::RefObjArray<Tracked> array;
        array.Add(object);
        array.Add(nullptr);
        EXPECT_EQ(object->GetReferenceCount(), 2);
        {
            tam::RefPtr<Tracked> held(object);
            tam::RefPtr<Tracked> second = held;
            EXPECT_EQ(object->GetReferenceCount(), 4);
            second = held;  // the same object again
            held = nullptr;
            EXPECT_EQ(object->GetReferenceCount(), 3);
        }
        EXPECT_EQ(object->GetReferenceCount(), 2);
        EXPECT_EQ(object->Release(), 1);  // the creator lets go
        EXPECT_FALSE(gone);
        array.Remove(1);  // the null entry
        array.RemoveObject(object);
        EXPECT_TRUE(gone);
        EXPECT_EQ(array.GetCount(), 0);
    }
    bool second = false;
    {
        tam::RefObjArray<Tracked> array;
        auto* other = new Tracked(&second);
        array.Add(other);
        other->Release();
        EXPECT_FALSE(second);
    }
    EXPECT_TRUE(second);  // the array's destructor released the last reference
}

TEST(StrArrayOperations, AddGetSetAndRanges) {
    const char* list[] = {"zero", "one", "two", nullptr};
    tam::StrArray a(list);
    ASSERT_EQ(a.GetCount(), 3);
    tam::StrArray b(list, 2);
    EXPECT_EQ(b.GetCount(), 2);
    EXPECT_STREQ(a[1], "one");
    EXPECT_TRUE(a.Get(3).IsEmpty());
    EXPECT_TRUE(a[-1].IsEmpty());
    a.Set(1, "ONE");
    a.Set(50, "three");
    a.Set(-2, "never");
    EXPECT_EQ(a.GetCount(), 4);
    EXPECT_STREQ(a[1], "ONE");
    EXPECT_STREQ(a[3], "three");
    a.Insert(0, "first");
    a.Insert(-1, "last");
    EXPECT_STREQ(a[0], "first");
    EXPECT_STREQ(a[5], "last");
    EXPECT_EQ(a.IndexOf("one"), -1);
    EXPECT_EQ(a.IndexOf("one", true), 2);
    EXPECT_EQ(a.IndexOf("first", false, -4), 0);
    EXPECT_EQ(a.IndexOf("first", false, 1), -1);
    EXPECT_TRUE(a.Contains("LAST", true));
    EXPECT_FALSE(a.Contains("LAST", false));

    tam::StrArray c;
    c.AddArray(a, 1, 2);
    EXPECT_STREQ(c.Merge(","), "zero,ONE");
    c.AddArray(a, -5, 1);
    c.AddArray(a, 4, 100);
    c.AddArray(a, 10, 1);
    EXPECT_STREQ(c.Merge("+"), "zero+ONE+first+three+last");
    c.AddArray(c);  // from itself
    EXPECT_EQ(c.GetCount(), 10);
    tam::StrArray& alias = c;
    c = alias;  // assigning itself keeps the strings
    EXPECT_EQ(c.GetCount(), 10);
}

TEST(StrArrayOperations, RemovalsAndMerging) {
    tam::StrArray a;
    for (const char* s : {"a", "B", "b", "A", "c", "a", "", "  ", "C"})
        a.Add(s);
    tam::StrArray b = a;
    b.RemoveDuplicates(true);
    EXPECT_STREQ(b.Merge("|"), "a|B|c||  ");
    b = a;
    b.RemoveDuplicates(false);
    EXPECT_STREQ(b.Merge("|"), "a|B|b|A|c||  |C");
    b.RemoveEmptyStrings(false);
    EXPECT_STREQ(b.Merge("|"), "a|B|b|A|c|  |C");
    b.RemoveEmptyStrings(true);
    EXPECT_STREQ(b.Merge("|"), "a|B|b|A|c|C");
    b.RemoveString("b", true);
    EXPECT_STREQ(b.Merge("|"), "a|A|c|C");
    b.Remove(10);
    b.Remove(-1);
    b.Remove(0);
    EXPECT_STREQ(b.Merge(", "), "A, c, C");
    // Ranges of merging: empty, one string (shared), cut at the end.
    EXPECT_TRUE(b.Merge(",", 3).IsEmpty());
    EXPECT_TRUE(b.Merge(",", 0, 0).IsEmpty());
    EXPECT_STREQ(b.Merge(",", 1, 1), "c");
    EXPECT_STREQ(b.Merge(",", -2, 50), "A,c,C");
    String merged = b.Merge("--");
    EXPECT_EQ(merged.GetCapacity(), merged.GetLength());

    tam::StrArray one;
    one.Add("solo");
    one.RemoveDuplicates();
    EXPECT_EQ(one.GetCount(), 1);
    one.Clear();
    EXPECT_TRUE(one.IsEmpty());
    one.RemoveDuplicates();
}

TEST(StrArrayOperations, UnmergeKeepsEmptyPiecesAndQuotes) {
    tam::StrArray a;
    EXPECT_EQ(a.Unmerge("a,,b", ",", nullptr), 3);
    EXPECT_STREQ(a.Merge("|"), "a||b");
    tam::StrArray q;
    EXPECT_EQ(q.Unmerge("x \"y z\" 'w \"v' u", " ", "\"'"), 4);
    EXPECT_STREQ(q[0], "x");
    EXPECT_STREQ(q[1], "\"y z\"");
    EXPECT_STREQ(q[2], "'w \"v'");
    EXPECT_STREQ(q[3], "u");
    tam::StrArray open;
    EXPECT_EQ(open.Unmerge("a;'b;c", ";", "'"), 2);
    EXPECT_STREQ(open[1], "'b;c");
    tam::StrArray edges;
    EXPECT_EQ(edges.Unmerge(",", ",", nullptr), 2);
    EXPECT_EQ(edges.Unmerge("", ",", nullptr), 0);
    EXPECT_EQ(edges.Unmerge("no separators", nullptr, nullptr), 1);
    EXPECT_EQ(edges.GetCount(), 3);
}

TEST(StrArraySort, EqualKeysLandAsTheReferenceSays) {
    const auto rows = tamtest::ReadTable("sort_equal.tsv");
    ASSERT_EQ(rows.size(), 3u);
    for (const auto& row : rows) {
        tam::StrArray a;
        for (const auto& s : tamtest::SplitCommas(row[0]))
            a.Add(s.c_str());
        a.Sort(true);
        EXPECT_STREQ(a.Merge(","), row[1].c_str());
    }
    tam::StrArray cased;
    for (const char* s : {"b", "B", "a", "A", "_"})
        cased.Add(s);
    cased.Sort(false);
    EXPECT_STREQ(cased.Merge(""), "AB_ab");
}

TEST(SorterAlgorithms, QuicksortAndExchangeSort) {
    std::mt19937 random(12345);
    for (int size : {0, 1, 2, 8, 9, 10, 100, 1000, 5000}) {
        std::vector<int> values(static_cast<std::size_t>(size));
        for (int& v : values)
            v = static_cast<int>(random() % 50);  // many equal keys
        std::vector<int> expected = values;
        std::sort(expected.begin(), expected.end());
        auto compare = [](int a, int b) { return (a > b) - (a < b); };
        tam::Sorter::Sort(compare, values.data(), 0, size - 1);
        EXPECT_EQ(values, expected) << size;
    }
    // Already ordered and reversed inputs.
    std::vector<int> ordered(4000);
    for (int i = 0; i < 4000; ++i)
        ordered[static_cast<std::size_t>(i)] = 4000 - i;
    tam::Sorter::Sort([](int a, int b) { return a - b; }, ordered.data(), 0, 3999);
    EXPECT_TRUE(std::is_sorted(ordered.begin(), ordered.end()));
    tam::Sorter::Sort([](int a, int b) { return a - b; }, ordered.data(), 0, 3999);
    EXPECT_TRUE(std::is_sorted(ordered.begin(), ordered.end()));

    // The exchange sort is stable: equal keys keep their order.
    std::vector<std::pair<int, int>> pairs;
    for (int i = 0; i < 40; ++i)
        pairs.emplace_back(static_cast<int>(random() % 5), i);
    std::vector<std::pair<int, int>> expected = pairs;
    std::stable_sort(expected.begin(), expected.end(), [](auto& a, auto& b) { return a.first < b.first; });
    tam::Sorter::Sort([](const std::pair<int, int>& a, const std::pair<int, int>& b) { return a.first - b.first; },
                      pairs.data(), 0, 39, true);
    EXPECT_EQ(pairs, expected);

    // A sub-range is sorted alone.
    int part[] = {9, 5, 4, 3, 0};
    tam::Sorter::Sort([](int a, int b) { return a - b; }, part, 1, 3);
    EXPECT_EQ(std::vector<int>(part, part + 5), (std::vector<int>{9, 3, 4, 5, 0}));
}

TEST(StrPairArrayOperations, LookupsAndOneSidedEquality) {
    tam::StrPairArray pairs(true);
    pairs.Set("key", "value");
    EXPECT_STREQ(pairs["KEY"], "value");
    pairs.Set("KEY", "second");
    EXPECT_EQ(pairs.GetCount(), 1);
    EXPECT_STREQ(pairs["key"], "second");
    pairs.SetValue("absent", "x");
    EXPECT_FALSE(pairs.Contains("absent"));
    pairs.Add("key", "duplicate");  // no look
    EXPECT_EQ(pairs.GetCount(), 2);
    EXPECT_STREQ(pairs.Get("nothing", "fallback"), "fallback");
    EXPECT_TRUE(pairs["nothing"].IsEmpty());

    tam::StrPairArray exact;
    exact.Set("a", "1");
    exact.Set("b", "2");
    exact.Set("c", "3");
    EXPECT_FALSE(exact.Contains("A"));
    exact.Move("c", "a");
    EXPECT_STREQ(exact.GetKey(0), "c");
    EXPECT_STREQ(exact.GetValue(0), "3");
    exact.Move("c", "b");  // before b: after a
    EXPECT_STREQ(exact.GetKey(1), "c");
    EXPECT_STREQ(exact.GetValue(1), "3");
    exact.Move("a", "missing");  // to the end
    EXPECT_STREQ(exact.GetKey(2), "a");
    EXPECT_STREQ(exact.GetValue(2), "1");

    tam::StrPairArray left;
    left.Set("b", "2");
    left.Set("a", "1");
    EXPECT_TRUE(left == exact);  // order-free
    EXPECT_FALSE(exact == left);  // exact has "c", which left lacks
    left.SetValue("a", "other");
    EXPECT_TRUE(left != exact);

    tam::StrPairArray merged;
    merged.Set("a", "old");
    merged.AddArray(exact);
    EXPECT_EQ(merged.GetCount(), 3);
    EXPECT_STREQ(merged["a"], "1");
    merged.AddArray(merged);
    merged.Remove("b");
    merged.Remove(10);
    EXPECT_EQ(merged.GetCount(), 2);
}

TEST(BufferOperations, SizePositionAndSafeAccess) {
    tam::Buffer<float> buffer(4);
    EXPECT_EQ(buffer.GetSize(), 4);
    EXPECT_EQ(buffer.GetAllocatedStorage(), 4);
    buffer.Zero();
    buffer.Set(3, 2.5f);
    buffer.Set(4, 9.0f);
    buffer.Set(-1, 9.0f);
    EXPECT_EQ(buffer.Get(3), 2.5f);
    EXPECT_EQ(buffer.Get(4), 0.0f);
    buffer.SetPosition(4);
    const float more[] = {1.0f, 2.0f};
    EXPECT_TRUE(buffer.Write(more, 2));
    EXPECT_EQ(buffer.GetSize(), 6);
    EXPECT_EQ(buffer.GetPosition(), 6);
    buffer.SetPosition(3);
    float read[8];
    EXPECT_EQ(buffer.Read(read, 8), 3);
    EXPECT_EQ(read[0], 2.5f);
    EXPECT_EQ(read[2], 2.0f);
    EXPECT_EQ(buffer.Read(read, 1), 0);
    EXPECT_TRUE(buffer.SetSize(2));
    EXPECT_EQ(buffer.GetPosition(), 2);
    EXPECT_TRUE(buffer.SetSize(-5));
    EXPECT_TRUE(buffer.IsEmpty());
    EXPECT_EQ(buffer.GetData(), nullptr);
    tam::Buffer<float> none(0);
    EXPECT_EQ(none.GetData(), nullptr);
    EXPECT_EQ(none.Get(0), 0.0f);
    EXPECT_FALSE(none.Write(more, 0));
}

TEST(ByteBufferFormats, FloatFormatMatchesTheReference) {
    const auto rows = tamtest::ReadTable("bytebuffer_float.tsv");
    ASSERT_GE(rows.size(), 20u);
    for (const auto& row : rows) {
        const uint32_t bits = static_cast<uint32_t>(std::stoul(row[0], nullptr, 16));
        const uint32_t word = static_cast<uint32_t>(std::stoul(row[1], nullptr, 16));
        const uint32_t back = static_cast<uint32_t>(std::stoul(row[2], nullptr, 16));
        float value;
        std::memcpy(&value, &bits, 4);
        tam::ByteBuffer buffer;
        buffer.SetBigEndian(true);
        buffer.PutFloat(0, value);
        const unsigned char* p = buffer.GetData();
        const uint32_t stored = static_cast<uint32_t>(p[0]) << 24 | p[1] << 16 | p[2] << 8 | p[3];
        EXPECT_EQ(stored, word) << row[0];
        const float got = buffer.GetFloat(0);
        uint32_t gotBits;
        std::memcpy(&gotBits, &got, 4);
        EXPECT_EQ(gotBits, back) << row[0];
    }
    // Zero of either sign stores four zero bytes and reads back as +0.
    tam::ByteBuffer zero;
    zero.PutFloat(0, -0.0f);
    EXPECT_EQ(zero.GetInt(0), 0);
    EXPECT_FALSE(std::signbit(zero.GetFloat(0)));
    // Non-finite values keep their image instead of a meaningless exponent.
    EXPECT_EQ(tam::ByteBuffer::EncodeFloat(HUGE_VALF), 0x7F800000u);
    EXPECT_EQ(tam::ByteBuffer::EncodeFloat(-HUGE_VALF), 0xFF800000u);
    EXPECT_EQ(tam::ByteBuffer::EncodeFloat(std::nanf("")) & 0x7F800000u, 0x7F800000u);
}

TEST(ByteBufferFormats, ByteOrderMarkersAndSizes) {
    tam::ByteBuffer buffer;
    EXPECT_EQ(buffer.GetSize(), 0);
    EXPECT_FALSE(buffer.IsBigEndian());
    buffer.PutMarker4(0, tam::ByteBuffer::Marker4("CRVE"));
    buffer.PutInt(4, 8);
    buffer.PutInt(8, -2);
    EXPECT_EQ(buffer.GetSize(), 12);
    EXPECT_EQ(std::memcmp(buffer.GetData(), "CRVE\x08\0\0\0\xFE\xFF\xFF\xFF", 12), 0);
    const float floats[] = {0.5f, -1.0f};
    EXPECT_TRUE(buffer.PutFloatArray(12, floats, 2));
    EXPECT_FALSE(buffer.PutFloatArray(20, floats, 0));
    EXPECT_EQ(buffer.GetSize(), 20);
    float back[2];
    EXPECT_TRUE(buffer.GetFloatArray(12, back, 2));
    EXPECT_EQ(back[0], 0.5f);
    EXPECT_EQ(back[1], -1.0f);

    tam::ByteBuffer big;
    big.SetBigEndian(true);
    big.PutMarker4(0, tam::ByteBuffer::Marker4("WAVE"));  // markers stay little-endian
    big.PutInt(4, 0x01020304);
    const int ints[] = {0x0A0B0C0D};
    big.PutIntArray(8, ints, 1);
    big.PutBool(12, true);
    const bool bools[] = {false, true, true};
    big.PutBoolArray(13, bools, 3);
    big.PutText(16, L"h\u00e9\U0001F600", 3);
    EXPECT_EQ(std::memcmp(big.GetData(), "WAVE\x01\x02\x03\x04\x0A\x0B\x0C\x0D\x01\x00\x01\x01\x00h\x00\xE9\xF6\x00", 22), 0);
    EXPECT_EQ(big.GetMarker4(0), tam::ByteBuffer::Marker4("WAVE"));
    EXPECT_EQ(big.GetInt(4), 0x01020304);
    int intBack = 0;
    big.GetIntArray(8, &intBack, 1);
    EXPECT_EQ(intBack, 0x0A0B0C0D);
    EXPECT_TRUE(big.GetBool(12));
    bool boolBack[3];
    big.GetBoolArray(13, boolBack, 3);
    EXPECT_TRUE(!boolBack[0] && boolBack[1] && boolBack[2]);
    wchar_t text[3];
    big.GetText(16, text, 3);
    EXPECT_EQ(text[0], L'h');
    EXPECT_EQ(text[1], 0xE9);
    EXPECT_EQ(text[2], 0xF600);  // only the low 16 bits are stored

    // A write past the size makes room to its end but counts only its length.
    tam::ByteBuffer gap;
    gap.PutInt(8, 7);
    EXPECT_EQ(gap.GetSize(), 4);
    EXPECT_EQ(gap.GetInt(8), 7);
    EXPECT_EQ(gap.GetInt(0), 0);
    // Reads beyond the block, or at negative positions, give zeros.
    EXPECT_EQ(gap.GetInt(10), 0x0000);  // the two bytes past the int are zero
    EXPECT_EQ(gap.GetInt(1 << 30), 0);
    EXPECT_EQ(gap.GetInt(-4), 0);
    EXPECT_EQ(gap.GetFloat(INT_MAX), 0.0f);
    float far[4] = {1, 1, 1, 1};
    EXPECT_TRUE(gap.GetFloatArray(INT_MAX - 2, far, 4));
    EXPECT_EQ(far[3], 0.0f);
    wchar_t farText[2] = {1, 1};
    gap.GetText(INT_MAX, farText, 2);
    EXPECT_EQ(farText[1], 0);
    // Writes at negative positions or past the int32 range are dropped.
    gap.PutInt(-1, 5);
    gap.PutInt(INT_MAX - 1, 5);
    EXPECT_EQ(gap.GetSize(), 4);

    tam::ByteBuffer emptyReader(nullptr, 5);
    EXPECT_EQ(emptyReader.GetSize(), 0);
    EXPECT_EQ(emptyReader.GetInt(0), 0);
}
