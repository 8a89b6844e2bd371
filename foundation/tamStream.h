// Byte streams and the typed readers and writers on top of them.
//
// Stream is a reference-counted byte stream; FileStream, a stdio file, is its
// one kind here. StreamValues reads and writes typed values in a chosen byte
// order through a buffer that starts at the stream's position when it was made
// and only grows, so everything read stays available for seeking back; the
// audio file readers and writers work through it. StreamText writes formatted
// text and reads and writes zero-terminated UTF-8.
#pragma once

#include <cstdint>
#include <cstdio>

#include "foundation/tamFile.h"
#include "foundation/tamRefObject.h"
#include "foundation/tamString.h"

namespace tam {

class Stream : public RefObject {
public:
    enum StreamMode : int { ModeRead = 0, ModeWrite = 1, ModeReadWrite = 2 };
    enum PosMode : int { FromStart = 0, FromCurrent = 1, FromEnd = 2 };

    virtual bool IsValid() const = 0;
    virtual StreamMode GetStreamMode() const = 0;
    virtual int GetStreamType() const = 0;
    virtual long long GetLength() = 0;
    virtual long long GetPosition() = 0;
    // Returns the offset given, or -1 when the move failed.
    virtual long long SetPosition(long long offset, PosMode mode) = 0;
    virtual bool IsExhausted() = 0;
    // Both move size * count bytes and return the bytes moved divided by count
    // (the byte count for count 1); count 0 moves nothing.
    virtual long long Read(void* buffer, long long size, long long count) = 0;
    virtual long long Write(const void* buffer, long long size, long long count) = 0;
};

class FileStream : public Stream {
public:
    static constexpr int kStreamType = 2;

    // Null unless the file exists as a file. The caller owns one reference.
    static FileStream* CreateInputStream(const File& file);
    // Creates or truncates the file; null if it cannot be opened.
    static FileStream* CreateOutputStream(const File& file);

    // Mode 0 opens "rb", 1 "w+b", 2 "r+b"; check IsValid.
    FileStream(const File& file, StreamMode mode);
    ~FileStream() override;

    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    bool IsValid() const override { return handle != nullptr; }
    StreamMode GetStreamMode() const override { return mode; }
    int GetStreamType() const override { return kStreamType; }
    // Flushes pending writes first, so a writer that fills in a header from
    // the length sees every byte it has written.
    long long GetLength() override;
    long long GetPosition() override;
    long long SetPosition(long long offset, PosMode mode) override;
    bool IsExhausted() override;
    long long Read(void* buffer, long long size, long long count) override;
    long long Write(const void* buffer, long long size, long long count) override;

    const File& GetFile() const { return file; }

private:
    FILE* handle = nullptr;
    File file;
    StreamMode mode;
};

// A buffered reader and writer of typed values. Reads fetch from the stream
// only what the buffer does not hold yet; writes collect in the buffer until
// WriteToStream. Every Read/Write returns the number of bytes it handled, 0 on
// failure (a read past the end leaves the position where it was).
class StreamValues {
public:
    StreamValues() = default;
    // Takes a reference on the stream and notes its position; size above 0
    // allocates that many zeroed bytes up front.
    StreamValues(Stream* stream, int size, bool bigEndian);
    StreamValues(const StreamValues& other);
    StreamValues& operator=(const StreamValues& other);
    ~StreamValues();

    // Same capacity and the same bytes in it.
    bool operator==(const StreamValues& other) const;
    bool operator!=(const StreamValues& other) const { return !(*this == other); }

    void SetBigEndian(bool b) { bigEndian = b; }
    bool IsBigEndian() const { return bigEndian; }
    // When set, Write8ByteValue(long long) writes only the low 32 bits.
    void SetTrunc8To4(bool b) { trunc8To4 = b; }
    // The write position: bytes collected so far.
    long long GetCurrantSize() const { return position; }
    void Reset();
    // Resizes the buffer to n bytes (below 1 frees it); new bytes are zero.
    void AllocateStorage(int n);

    int ReadRawValue(void* out, int n);
    int WriteRawValue(const void* in, int n);
    // Offsets count within the buffer window, which starts where the stream
    // was when this object was made. Only modes 0 and 1 do anything.
    void Seek(long long offset, Stream::PosMode mode);

    int Read1ByteValue(unsigned char* value);
    int Read1ByteValue(char* value);
    int Read2ByteValue(unsigned short* value);
    int Read2ByteValue(short* value);
    int Read3ByteValue(int* value);  // sign-extended from 24 bits
    int Read3ByteValue(unsigned int* value);
    int Read4ByteValue(unsigned int* value);
    int Read4ByteValue(unsigned long* value);
    int Read4ByteValue(int* value);
    int Read4ByteValue(float* value);
    int Read8ByteValue(long long* value);
    int Read8ByteValue(double* value);
    // Four characters as they lie in the file, first character lowest.
    int ReadMarker4(unsigned int* value);

    int Write1ByteValue(unsigned char value);
    int Write2ByteValue(unsigned short value);
    int Write2ByteValue(short value);
    int Write3ByteValue(int value);
    int Write4ByteValue(unsigned int value);
    int Write4ByteValue(unsigned long value);
    int Write4ByteValue(int value);
    int Write4ByteValue(float value);
    int Write8ByteValue(long long value);
    int Write8ByteValue(double value);
    int WriteMarker4(unsigned int value);

    // Writes the collected bytes as one item; returns the bytes written. The
    // position stays where it is.
    long long WriteToStream();
    long long WriteToStream(Stream* target);

    Stream* GetStream() const { return stream; }
    const unsigned char* GetData() const { return data; }
    int GetCapacity() const { return capacity; }

    // The 64-bit word Write8ByteValue(double) stores, and back.
    static uint64_t EncodeDouble(double value);
    static double DecodeDouble(uint64_t word);

private:
    bool Grow(long long needed);
    bool FillTo(long long end);
    int ReadWord(int width, uint64_t* word);
    int WriteWord(int width, uint64_t word, bool big);

    Stream* stream = nullptr;  // one reference held
    long long startPosition = 0;
    bool bigEndian = false;
    bool trunc8To4 = false;
    int capacity = 0;
    unsigned char* data = nullptr;
    long long position = 0;
    long long filled = 0;
};

// Text on a stream. Keeps its own reference on the stream.
class StreamText {
public:
    explicit StreamText(Stream* stream);
    ~StreamText();

    StreamText(const StreamText&) = delete;
    StreamText& operator=(const StreamText&) = delete;

    // Formats and writes the text without a terminator; returns the bytes
    // written.
    long long Printf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    long long Write(const char* text);
    long long Write(char character);
    // The text and its terminating zero.
    long long WriteUtf8(const String& text);
    // Up to the next zero byte; only the first 256 bytes make the text.
    String ReadUtf8();

    Stream* GetStream() const { return stream; }

private:
    Stream* stream;
};

}  // namespace tam
