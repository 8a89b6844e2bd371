// tam::FileStream, tam::StreamValues and tam::StreamText: byte streams on real
// files, typed values in both byte orders against reference images made by
// Python's struct module, the buffer window and its seeks, and text.
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/tamFile.h"
#include "foundation/tamStream.h"
#include "test_file_support.h"

namespace {

using tam::File;
using tam::FileStream;
using tam::Stream;
using tam::StreamText;
using tam::StreamValues;
using tam::String;
using tamtest::ReadFile;
using tamtest::WriteFile;

class StreamFiles : public tamtest::TempFolderTest {
protected:
    File At(const std::string& relative) const { return File(Path(relative).c_str()); }

    // An input stream on the given bytes.
    FileStream* Input(const std::string& name, const std::string& bytes) {
        WriteFile(Path(name), bytes);
        return FileStream::CreateInputStream(At(name));
    }
};

// ---- FileStream -----------------------------------------------------------

TEST_F(StreamFiles, FileStreamOpensByMode) {
    EXPECT_EQ(FileStream::CreateInputStream(At("missing")), nullptr);
    ASSERT_EQ(mkdir(Path("dir").c_str(), 0755), 0);
    EXPECT_EQ(FileStream::CreateInputStream(At("dir")), nullptr);
    EXPECT_EQ(FileStream::CreateOutputStream(At("no/such/folder/out")), nullptr);
    EXPECT_EQ(FileStream::CreateOutputStream(File()), nullptr);

    FileStream* out = FileStream::CreateOutputStream(At("out.bin"));
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(out->IsValid());
    EXPECT_EQ(out->GetStreamMode(), Stream::ModeWrite);
    EXPECT_EQ(out->GetStreamType(), 2);
    EXPECT_EQ(out->Write("abcdef", 6, 1), 6);
    // Bytes still buffered are counted, so a header can be finished from it.
    EXPECT_EQ(out->GetLength(), 6);
    EXPECT_EQ(out->GetPosition(), 6);
    char back[4];
    EXPECT_EQ(out->Read(back, 1, 4), 0);  // write-only
    EXPECT_EQ(out->SetPosition(2, Stream::FromStart), 2);
    EXPECT_EQ(out->Write("XY", 1, 2), 1);  // bytes moved / count
    EXPECT_EQ(out->SetPosition(-100, Stream::FromCurrent), -1);
    EXPECT_EQ(out->SetPosition(0, static_cast<Stream::PosMode>(7)), -1);
    out->Release();
    EXPECT_EQ(ReadFile(Path("out.bin")), "abXYef");

    FileStream both(At("out.bin"), Stream::ModeReadWrite);
    ASSERT_TRUE(both.IsValid());
    char four[4] = {0};
    EXPECT_EQ(both.Read(four, 4, 1), 4);
    EXPECT_EQ(std::string(four, 4), "abXY");
    EXPECT_EQ(both.SetPosition(0, Stream::FromCurrent), 0);
    EXPECT_EQ(both.Write("!", 1, 1), 1);
    EXPECT_EQ(both.SetPosition(-1, Stream::FromEnd), -1);
    EXPECT_EQ(both.GetPosition(), 5);
    EXPECT_FALSE(both.IsExhausted());
    EXPECT_EQ(both.Read(four, 4, 1), 1);  // a short read gives what came
    EXPECT_TRUE(both.IsExhausted());

    FileStream missing(At("missing"), Stream::ModeReadWrite);
    EXPECT_FALSE(missing.IsValid());
    EXPECT_EQ(missing.Read(four, 1, 1), 0);
    EXPECT_EQ(missing.Write(four, 1, 1), 0);
    EXPECT_EQ(missing.GetPosition(), -1);
    EXPECT_EQ(missing.GetLength(), 0);
    EXPECT_EQ(ReadFile(Path("out.bin")), "abXY!f");
}

TEST_F(StreamFiles, FileStreamReadsGuardTheirArguments) {
    FileStream* in = Input("in.bin", "0123456789");
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->GetStreamMode(), Stream::ModeRead);
    EXPECT_EQ(in->GetLength(), 10);
    char buffer[16] = {0};
    EXPECT_EQ(in->Read(buffer, 1, 0), 0);
    EXPECT_EQ(in->Read(buffer, 0, 1), 0);
    EXPECT_EQ(in->Read(buffer, -1, 4), 0);
    EXPECT_EQ(in->Read(nullptr, 4, 1), 0);
    EXPECT_EQ(in->Read(buffer, 1LL << 62, 1LL << 62), 0);  // product overflows
    EXPECT_EQ(in->Write("x", 1, 1), 0);                    // read-only
    EXPECT_EQ(in->Read(buffer, 4, 3), 3);                  // 10 bytes moved / 3
    EXPECT_EQ(std::string(buffer, 10), "0123456789");
    EXPECT_EQ(in->Read(buffer, 16, 1), 0);
    EXPECT_TRUE(in->IsExhausted());
    in->Release();
}

// ---- StreamValues against the reference images ------------------------------

struct ValueRow {
    std::string kind;
    bool big;
    std::string value;
    std::vector<unsigned char> bytes;
    std::string readback;
};

std::vector<ValueRow> LoadValues() {
    std::vector<ValueRow> rows;
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/foundation/files/values.tsv");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> cells;
        size_t at = 0;
        for (size_t tab; (tab = line.find('\t', at)) != std::string::npos; at = tab + 1)
            cells.push_back(line.substr(at, tab - at));
        cells.push_back(line.substr(at));
        if (cells.size() != 5) continue;
        ValueRow row{cells[0], cells[1] == "be", cells[2], {}, cells[4]};
        for (size_t i = 0; i + 1 < cells[3].size(); i += 2)
            row.bytes.push_back(static_cast<unsigned char>(std::stoul(cells[3].substr(i, 2), nullptr, 16)));
        rows.push_back(row);
    }
    return rows;
}

int WriteRow(StreamValues& values, const ValueRow& row) {
    const std::string& v = row.value;
    if (row.kind == "u8") return values.Write1ByteValue(static_cast<unsigned char>(std::stoul(v)));
    if (row.kind == "i16") return values.Write2ByteValue(static_cast<short>(std::stoi(v)));
    if (row.kind == "u16") return values.Write2ByteValue(static_cast<unsigned short>(std::stoul(v)));
    if (row.kind == "i24" || row.kind == "u24") return values.Write3ByteValue(static_cast<int>(std::stol(v)));
    if (row.kind == "u32") return values.Write4ByteValue(static_cast<unsigned int>(std::stoul(v)));
    if (row.kind == "i32") return values.Write4ByteValue(static_cast<int>(std::stol(v)));
    if (row.kind == "i64" || row.kind == "i64t") {
        values.SetTrunc8To4(row.kind == "i64t");
        const int width = values.Write8ByteValue(std::stoll(v));
        values.SetTrunc8To4(false);
        return width;
    }
    if (row.kind == "f32") return values.Write4ByteValue(std::stof(v));
    if (row.kind == "f64") return values.Write8ByteValue(std::stod(v));
    if (row.kind == "marker") return values.WriteMarker4(static_cast<unsigned int>(std::stoul(v)));
    ADD_FAILURE() << "unknown kind " << row.kind;
    return 0;
}

template <class T>
std::string ReadAs(StreamValues& values, int (StreamValues::*read)(T*), int* width) {
    T x{};
    *width = (values.*read)(&x);
    return std::to_string(x);
}

// Reads the row's value back as text comparable with the table; floats give
// "1" when they equal the expected value.
std::string ReadRow(StreamValues& values, const ValueRow& row, int* width) {
    using V = StreamValues;
    const std::string& k = row.kind;
    if (k == "u8") return ReadAs<unsigned char>(values, &V::Read1ByteValue, width);
    if (k == "i16") return ReadAs<short>(values, &V::Read2ByteValue, width);
    if (k == "u16") return ReadAs<unsigned short>(values, &V::Read2ByteValue, width);
    if (k == "i24") return ReadAs<int>(values, &V::Read3ByteValue, width);
    if (k == "u24") return ReadAs<unsigned int>(values, &V::Read3ByteValue, width);
    if (k == "u32") return ReadAs<unsigned long>(values, &V::Read4ByteValue, width);
    if (k == "i32") return ReadAs<int>(values, &V::Read4ByteValue, width);
    if (k == "i64") return ReadAs<long long>(values, &V::Read8ByteValue, width);
    if (k == "f32" || k == "f64") {
        float f = 0;
        double d = 0;
        *width = k == "f32" ? values.Read4ByteValue(&f) : values.Read8ByteValue(&d);
        return std::to_string(k == "f32" ? std::stof(row.readback) == f : std::stod(row.readback) == d);
    }
    return ReadAs<unsigned int>(values, &V::ReadMarker4, width);  // markers, and truncated 64-bit words
}

TEST_F(StreamFiles, ValuesRoundTripInBothByteOrders) {
    const std::vector<ValueRow> rows = LoadValues();
    ASSERT_GT(rows.size(), 100u);
    for (bool big : {false, true}) {
        // Collect in memory, check each image, then write it out in one go.
        StreamValues collect(nullptr, 0, big);
        std::vector<unsigned char> expected;
        for (const ValueRow& row : rows) {
            if (row.big != big) continue;
            const long long before = collect.GetCurrantSize();
            EXPECT_EQ(WriteRow(collect, row), static_cast<int>(row.bytes.size()))
                << row.kind << " " << row.value;
            ASSERT_EQ(collect.GetCurrantSize(), before + static_cast<long long>(row.bytes.size()));
            EXPECT_EQ(std::vector<unsigned char>(collect.GetData() + before,
                                                 collect.GetData() + collect.GetCurrantSize()),
                      row.bytes)
                << row.kind << " " << row.value << (big ? " be" : " le");
            expected.insert(expected.end(), row.bytes.begin(), row.bytes.end());
        }
        FileStream* out = FileStream::CreateOutputStream(At("values.bin"));
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(collect.WriteToStream(out), static_cast<long long>(expected.size()));
        EXPECT_EQ(collect.GetCurrantSize(), static_cast<long long>(expected.size()));  // not reset
        out->Release();
        const std::string written = ReadFile(Path("values.bin"));
        EXPECT_EQ(std::vector<unsigned char>(written.begin(), written.end()), expected);

        // Read back through a reader with no buffer of its own.
        FileStream* in = FileStream::CreateInputStream(At("values.bin"));
        ASSERT_NE(in, nullptr);
        StreamValues reader(in, 0, big);
        in->Release();  // the reader keeps its own reference
        for (const ValueRow& row : rows) {
            if (row.big != big) continue;
            int width = 0;
            const std::string got = ReadRow(reader, row, &width);
            EXPECT_EQ(width, static_cast<int>(row.bytes.size())) << row.kind << " " << row.value;
            if (row.kind == "f32" || row.kind == "f64") {
                EXPECT_EQ(got, "1") << row.kind << " " << row.value << " expected " << row.readback;
            } else if (row.readback != "-") {
                EXPECT_EQ(got, row.readback) << row.kind << " " << row.value;
            }
        }
        unsigned char extra = 0;
        EXPECT_EQ(reader.Read1ByteValue(&extra), 0);
    }
}

TEST(StreamValuesFormat, NonFiniteAndEdgeNumbersStaySafe) {
    StreamValues values(nullptr, 0, false);
    EXPECT_EQ(values.Write8ByteValue(std::numeric_limits<double>::infinity()), 8);
    EXPECT_EQ(values.Write8ByteValue(std::nan("")), 8);
    EXPECT_EQ(values.Write8ByteValue(-0.0), 8);
    EXPECT_EQ(values.Write8ByteValue(5e-324), 8);
    EXPECT_EQ(values.Write4ByteValue(-std::numeric_limits<float>::infinity()), 4);
    EXPECT_EQ(values.Write4ByteValue(std::nanf("")), 4);
    // The IEEE image stands for the values frexp cannot take apart.
    EXPECT_EQ(StreamValues::EncodeDouble(std::numeric_limits<double>::infinity()), 0x7FF0000000000000ull);
    EXPECT_EQ(StreamValues::EncodeDouble(-0.0), 0u);
    EXPECT_EQ(StreamValues::DecodeDouble(0x8000000000000000ull), 0.0);
    EXPECT_TRUE(std::isfinite(StreamValues::DecodeDouble(0x7FF8000000000000ull)));
}

// ---- The buffer window ----------------------------------------------------------

TEST_F(StreamFiles, TruncatedReadsFailAndKeepThePosition) {
    FileStream* in = Input("short.bin", std::string("\x01\x02\x03", 3));
    ASSERT_NE(in, nullptr);
    StreamValues values(in, 0, true);
    in->Release();
    unsigned int word = 0xDEADBEEF;
    EXPECT_EQ(values.Read4ByteValue(&word), 0);
    EXPECT_EQ(word, 0xDEADBEEFu);
    EXPECT_EQ(values.GetCurrantSize(), 0);
    // The three bytes that did come stay in the window.
    unsigned short half = 0;
    EXPECT_EQ(values.Read2ByteValue(&half), 2);
    EXPECT_EQ(half, 0x0102);
    unsigned char last = 0;
    EXPECT_EQ(values.Read1ByteValue(&last), 1);
    EXPECT_EQ(last, 3);
    EXPECT_EQ(values.Read1ByteValue(&last), 0);
    double number = 0;
    EXPECT_EQ(values.Read8ByteValue(&number), 0);
    EXPECT_EQ(values.ReadRawValue(&last, 0), 0);
    EXPECT_EQ(values.ReadRawValue(nullptr, 1), 0);

    StreamValues empty;
    EXPECT_EQ(empty.Read1ByteValue(&last), 0);
    EXPECT_EQ(empty.WriteToStream(), 0);
    EXPECT_EQ(empty.Write1ByteValue(7), 1);
    EXPECT_EQ(empty.WriteToStream(), 0);  // no stream
}

TEST_F(StreamFiles, SeeksMoveWithinTheWindowOrTheStream) {
    std::string bytes;
    for (int i = 0; i < 64; ++i) bytes += static_cast<char>(i);
    FileStream* in = Input("seq.bin", bytes);
    ASSERT_NE(in, nullptr);
    ASSERT_EQ(in->SetPosition(10, Stream::FromStart), 10);
    StreamValues values(in, 0, false);  // the window starts at byte 10
    in->Release();

    unsigned int word = 0;
    ASSERT_EQ(values.Read4ByteValue(&word), 4);
    EXPECT_EQ(word, 0x0D0C0B0Au);
    values.Seek(0, Stream::FromStart);  // back to the window's start: from the buffer
    unsigned char byte = 0;
    ASSERT_EQ(values.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 10);
    values.Seek(2, Stream::FromCurrent);
    ASSERT_EQ(values.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 13);
    values.Seek(-100, Stream::FromCurrent);  // before the window: nothing
    values.Seek(-1, Stream::FromStart);
    values.Seek(0, static_cast<Stream::PosMode>(2));
    ASSERT_EQ(values.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 14);

    // With the whole window read, a relative seek moves the stream itself.
    values.Seek(6, Stream::FromCurrent);
    ASSERT_EQ(values.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 21);
    // An absolute target past the window puts the stream at start + target.
    values.Seek(40, Stream::FromStart);
    ASSERT_EQ(values.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 50);

    // A window of its own size: a seek inside it reads the gap.
    FileStream* again = Input("seq2.bin", bytes);
    StreamValues sized(again, 16, true);
    again->Release();
    sized.Seek(8, Stream::FromStart);
    unsigned short pair = 0;
    ASSERT_EQ(sized.Read2ByteValue(&pair), 2);
    EXPECT_EQ(pair, 0x0809);
    sized.Seek(-10, Stream::FromCurrent);
    ASSERT_EQ(sized.Read2ByteValue(&pair), 2);
    EXPECT_EQ(pair, 0x0001);
    sized.Seek(12, Stream::FromCurrent);  // within the capacity: gap read, position at its end
    ASSERT_EQ(sized.Read1ByteValue(&byte), 1);
    EXPECT_EQ(byte, 14);
}

TEST(StreamValuesBuffer, GrowsCopiesComparesAndShrinksSafely) {
    StreamValues values(nullptr, 2, false);
    EXPECT_EQ(values.GetCapacity(), 2);
    EXPECT_EQ(values.Write4ByteValue(0x11223344u), 4);
    EXPECT_GE(values.GetCapacity(), 5);
    EXPECT_EQ(values.GetCurrantSize(), 4);
    EXPECT_EQ(values.WriteRawValue("abc", 3), 3);
    EXPECT_EQ(values.WriteRawValue("abc", 0), 0);

    StreamValues copy(values);
    EXPECT_TRUE(copy == values);
    EXPECT_EQ(copy.GetCurrantSize(), 7);
    EXPECT_EQ(std::memcmp(copy.GetData(), values.GetData(), 7), 0);
    copy.Write1ByteValue(9);
    EXPECT_TRUE(copy != values);
    StreamValues assigned;
    assigned = values;
    EXPECT_TRUE(assigned == values);
    assigned = assigned;
    EXPECT_TRUE(assigned == values);

    // Written bytes read back from the window.
    values.Seek(0, Stream::FromStart);
    unsigned int word = 0;
    EXPECT_EQ(values.Read4ByteValue(&word), 4);
    EXPECT_EQ(word, 0x11223344u);

    values.Reset();
    EXPECT_EQ(values.GetCurrantSize(), 0);
    EXPECT_EQ(values.GetData()[0], 0);

    // Shrinking below the position keeps every later access in the block.
    values.Seek(7, Stream::FromStart);
    values.AllocateStorage(3);
    EXPECT_EQ(values.GetCapacity(), 3);
    EXPECT_LE(values.GetCurrantSize(), 3);
    EXPECT_EQ(values.Write4ByteValue(1), 4);
    values.AllocateStorage(0);
    EXPECT_EQ(values.GetCapacity(), 0);
    EXPECT_EQ(values.GetData(), nullptr);
    EXPECT_EQ(values.GetCurrantSize(), 0);
    EXPECT_EQ(values.Write8ByteValue(2.5), 8);
    values.AllocateStorage(64);
    EXPECT_EQ(values.GetData()[63], 0);
    EXPECT_EQ(values.GetData()[64], 0);
}

// Random mixes of reads, writes, seeks and resizes over short files: under the
// sanitizers this shows that no sequence reaches outside the buffer, and the
// write position never leaves it.
TEST_F(StreamFiles, HostileSequencesStayInsideTheBuffer) {
    uint32_t state = 12345;
    auto next = [&state](uint32_t range) {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) % range;
    };
    for (int round = 0; round < 40; ++round) {
        std::string bytes(next(200), '\0');
        for (char& c : bytes) c = static_cast<char>(next(256));
        FileStream* in = Input("fuzz.bin", bytes);
        ASSERT_NE(in, nullptr);
        in->SetPosition(next(8), Stream::FromStart);
        StreamValues values(in, static_cast<int>(next(40)), next(2) == 0);
        in->Release();
        unsigned char raw[64];
        for (int step = 0; step < 300; ++step) {
            switch (next(9)) {
                case 0:
                    values.ReadRawValue(raw, static_cast<int>(next(64)));
                    break;
                case 1: {
                    double d;
                    values.Read8ByteValue(&d);
                    int i;
                    values.Read3ByteValue(&i);
                    break;
                }
                case 2: {
                    float f;
                    values.Read4ByteValue(&f);
                    unsigned int m;
                    values.ReadMarker4(&m);
                    break;
                }
                case 3:
                    values.Seek(static_cast<long long>(next(400)) - 100, Stream::FromCurrent);
                    break;
                case 4:
                    values.Seek(static_cast<long long>(next(400)) - 100,
                                static_cast<Stream::PosMode>(next(4)));
                    break;
                case 5:
                    values.AllocateStorage(static_cast<int>(next(120)) - 10);
                    break;
                case 6:
                    values.Write8ByteValue(static_cast<long long>(next(1000)));
                    break;
                case 7:
                    values.WriteRawValue(raw, static_cast<int>(next(64)));
                    break;
                default:
                    values.Reset();
                    break;
            }
            ASSERT_GE(values.GetCurrantSize(), 0);
            ASSERT_LE(values.GetCurrantSize(), std::max(values.GetCapacity(), 0));
        }
        StreamValues copy(values);
        EXPECT_TRUE(copy == values);
    }
}

// ---- Text -------------------------------------------------------------------------

TEST_F(StreamFiles, TextWritesAndReads) {
    FileStream* out = FileStream::CreateOutputStream(At("text.bin"));
    ASSERT_NE(out, nullptr);
    {
        StreamText text(out);
        out->Release();  // the text keeps the stream alive
        EXPECT_EQ(text.GetStream(), out);
        EXPECT_EQ(text.Printf("%d-%s", 42, "x"), 4);
        EXPECT_EQ(text.Printf("%s", ""), 0);
        // A text longer than the first block comes out whole.
        const std::string longText(1000, 'L');
        EXPECT_EQ(text.Printf("<%s>", longText.c_str()), 1002);
        EXPECT_EQ(text.Write("abc"), 3);
        EXPECT_EQ(text.Write(""), 0);
        EXPECT_EQ(text.Write('\n'), 1);
        EXPECT_EQ(text.WriteUtf8(String("first")), 6);
        EXPECT_EQ(text.WriteUtf8(String(std::string(300, 'a').c_str())), 301);
        EXPECT_EQ(text.WriteUtf8(String("caf\xC3\xA9")), 6);
        EXPECT_EQ(text.WriteUtf8(String()), 1);
        EXPECT_EQ(text.Write("tail"), 4);  // no terminator
    }
    const std::string written = ReadFile(Path("text.bin"));
    EXPECT_EQ(written.substr(0, 4), "42-x");
    EXPECT_EQ(written.substr(4, 1002), "<" + std::string(1000, 'L') + ">");
    EXPECT_EQ(written.substr(1006, 4), "abc\n");

    FileStream* in = FileStream::CreateInputStream(At("text.bin"));
    ASSERT_NE(in, nullptr);
    ASSERT_EQ(in->SetPosition(1010, Stream::FromStart), 1010);
    StreamText reader(in);
    in->Release();
    EXPECT_EQ(std::string(reader.ReadUtf8()), "first");
    // Only the first 256 bytes make the text; the rest up to the zero is skipped.
    EXPECT_EQ(std::string(reader.ReadUtf8()), std::string(256, 'a'));
    EXPECT_EQ(std::string(reader.ReadUtf8()), "caf\xE9");  // folded to one byte
    EXPECT_EQ(std::string(reader.ReadUtf8()), "");
    EXPECT_EQ(std::string(reader.ReadUtf8()), "tail");  // ends at the end of the stream
    EXPECT_EQ(std::string(reader.ReadUtf8()), "");

    StreamText none(nullptr);
    EXPECT_EQ(none.Printf("x"), 0);
    EXPECT_EQ(none.Write('c'), 0);
    EXPECT_EQ(std::string(none.ReadUtf8()), "");
}

}  // namespace
