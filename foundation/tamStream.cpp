// Byte streams over stdio files, and the typed and text layers above them.
#include "foundation/tamStream.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "foundation/tamBuffer.h"

namespace tam {

namespace {

// Large transfers go in pieces that the C library can count in an int.
constexpr long long kChunkBytes = 0x40000000;

// size * count, or -1 when it is not a sensible byte count.
long long TransferBytes(const void* buffer, long long size, long long count) {
    long long total = 0;
    if (!buffer || size <= 0 || count <= 0 || __builtin_mul_overflow(size, count, &total)) return -1;
    return total;
}

}  // namespace

// ---- FileStream -----------------------------------------------------------

FileStream* FileStream::CreateInputStream(const File& file) {
    if (!file.ExistsAsFile()) return nullptr;
    FileStream* stream = new FileStream(file, ModeRead);
    if (!stream->IsValid()) {
        stream->Release();
        return nullptr;
    }
    return stream;
}

FileStream* FileStream::CreateOutputStream(const File& file) {
    FileStream* stream = new FileStream(file, ModeWrite);
    if (!stream->IsValid()) {
        stream->Release();
        return nullptr;
    }
    return stream;
}

FileStream::FileStream(const File& file, StreamMode mode) : file(file), mode(mode) {
    static const char* const kOpenModes[] = {"rb", "w+b", "r+b"};
    if (mode < ModeRead || mode > ModeReadWrite || file.GetFullPath().IsEmpty()) return;
    handle = std::fopen(static_cast<const char*>(file.GetFullPath()), kOpenModes[mode]);
}

FileStream::~FileStream() {
    if (handle) std::fclose(handle);
}

long long FileStream::GetLength() {
    struct stat info;
    if (handle) {
        if (mode != ModeRead) std::fflush(handle);
        if (fstat(fileno(handle), &info) == 0) return info.st_size;
        return 0;
    }
    if (!file.GetFullPath().IsEmpty() && stat(static_cast<const char*>(file.GetFullPath()), &info) == 0)
        return info.st_size;
    return 0;
}

long long FileStream::GetPosition() { return handle ? ftello(handle) : -1; }

long long FileStream::SetPosition(long long offset, PosMode whence) {
    static const int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (!handle || whence < FromStart || whence > FromEnd) return -1;
    return fseeko(handle, offset, kWhence[whence]) == 0 ? offset : -1;
}

bool FileStream::IsExhausted() { return GetPosition() >= GetLength(); }

long long FileStream::Read(void* buffer, long long size, long long count) {
    const long long total = TransferBytes(buffer, size, count);
    if (!handle || mode == ModeWrite || total < 0) return 0;
    auto* bytes = static_cast<unsigned char*>(buffer);
    long long moved = 0;
    while (moved < total) {
        const size_t chunk = static_cast<size_t>(std::min(total - moved, kChunkBytes));
        const size_t got = std::fread(bytes + moved, 1, chunk, handle);
        moved += static_cast<long long>(got);
        if (got < chunk) break;
    }
    return moved / count;
}

long long FileStream::Write(const void* buffer, long long size, long long count) {
    const long long total = TransferBytes(buffer, size, count);
    if (!handle || mode == ModeRead || total < 0) return 0;
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    long long moved = 0;
    while (moved < total) {
        const size_t chunk = static_cast<size_t>(std::min(total - moved, kChunkBytes));
        const size_t put = std::fwrite(bytes + moved, 1, chunk, handle);
        moved += static_cast<long long>(put);
        if (put < chunk) break;
    }
    return moved / count;
}

// ---- StreamValues ---------------------------------------------------------

StreamValues::StreamValues(Stream* stream, int size, bool bigEndian) : stream(stream), bigEndian(bigEndian) {
    if (stream) {
        stream->AddRef();
        startPosition = std::max(0LL, stream->GetPosition());
    }
    if (size > 0 && size < INT_MAX) {
        data = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(size) + 1, 1));
        if (data) capacity = size;
    }
}

StreamValues::StreamValues(const StreamValues& other) { *this = other; }

StreamValues& StreamValues::operator=(const StreamValues& other) {
    if (this == &other) return *this;
    if (other.stream) other.stream->AddRef();
    if (stream) stream->Release();
    stream = other.stream;
    startPosition = other.startPosition;
    bigEndian = other.bigEndian;
    trunc8To4 = other.trunc8To4;
    std::free(data);
    data = nullptr;
    capacity = 0;
    position = 0;
    filled = 0;
    if (other.data && other.capacity > 0) {
        data = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(other.capacity) + 1));
        if (data) {
            std::memcpy(data, other.data, static_cast<size_t>(other.capacity) + 1);
            capacity = other.capacity;
            position = other.position;
            filled = other.filled;
        }
    }
    return *this;
}

StreamValues::~StreamValues() {
    std::free(data);
    if (stream) stream->Release();
}

bool StreamValues::operator==(const StreamValues& other) const {
    if (capacity != other.capacity) return false;
    return capacity == 0 || std::memcmp(data, other.data, static_cast<size_t>(capacity)) == 0;
}

void StreamValues::Reset() {
    position = 0;
    if (data) data[0] = 0;
}

void StreamValues::AllocateStorage(int n) {
    if (n == capacity && (data || n == 0)) return;
    if (n < 1 || n == INT_MAX) {
        std::free(data);
        data = nullptr;
        capacity = 0;
        position = 0;
        filled = 0;
        return;
    }
    auto* block = static_cast<unsigned char*>(std::realloc(data, static_cast<size_t>(n) + 1));
    if (!block) return;
    const int old = data ? capacity : 0;
    data = block;
    if (n > old)
        std::memset(data + old, 0, static_cast<size_t>(n - old) + 1);
    else
        data[n] = 0;
    capacity = n;
    // A shrink never leaves the positions pointing past the block.
    position = std::min<long long>(position, capacity);
    filled = std::min<long long>(filled, capacity);
}

bool StreamValues::Grow(long long needed) {
    if (needed <= capacity) return data != nullptr || needed <= 0;
    if (needed >= INT_MAX) return false;
    AllocateStorage(static_cast<int>(needed));
    return capacity >= needed;
}

bool StreamValues::FillTo(long long end) {
    if (end <= filled) return true;
    if (!stream || end > capacity) return false;
    const long long missing = end - filled;
    const long long got = stream->Read(data + filled, missing, 1);
    if (got > 0) filled += std::min(got, missing);
    return got >= missing;
}

int StreamValues::ReadRawValue(void* out, int n) {
    if (!out || n <= 0) return 0;
    const long long end = position + n;
    if (end > capacity && !Grow(std::max<long long>(static_cast<long long>(capacity) + n, end))) return 0;
    if (end > filled && !FillTo(end)) return 0;
    std::memcpy(out, data + position, static_cast<size_t>(n));
    position = end;
    return n;
}

int StreamValues::WriteRawValue(const void* in, int n) {
    if (!in || n <= 0) return 0;
    const long long end = position + n;
    if (end > capacity && !Grow(end)) return 0;
    std::memcpy(data + position, in, static_cast<size_t>(n));
    position = end;
    filled = std::max(filled, position);  // written bytes can be read back
    return n;
}

void StreamValues::Seek(long long offset, Stream::PosMode mode) {
    if (mode == Stream::FromCurrent) {
        const long long target = position + offset;
        if (target < 0) return;
        if (position < capacity) {
            if (target <= filled) {
                position = target;
            } else if (target <= capacity) {
                FillTo(target);
                position = filled;
            } else {
                const long long gap = target - filled;
                position = filled;
                if (stream) stream->SetPosition(gap, Stream::FromCurrent);
            }
        } else if (stream) {
            stream->SetPosition(offset, Stream::FromCurrent);
        }
    } else if (mode == Stream::FromStart) {
        if (offset < 0) return;
        if (offset <= capacity) {
            FillTo(offset);
            position = offset;
        } else if (stream) {
            stream->SetPosition(startPosition + offset, Stream::FromStart);
        }
    }
}

int StreamValues::ReadWord(int width, uint64_t* word) {
    unsigned char bytes[8];
    if (ReadRawValue(bytes, width) != width) return 0;
    uint64_t value = 0;
    for (int i = 0; i < width; ++i) {
        const int shift = bigEndian ? 8 * (width - 1 - i) : 8 * i;
        value |= static_cast<uint64_t>(bytes[i]) << shift;
    }
    *word = value;
    return width;
}

int StreamValues::WriteWord(int width, uint64_t word, bool big) {
    const long long spare = static_cast<long long>(width) + 1;
    if (position + spare > capacity &&
        !Grow(std::max(static_cast<long long>(capacity) + spare, position + spare)))
        return 0;
    if (position >= capacity - width) return 0;
    for (int i = 0; i < width; ++i) {
        const int shift = big ? 8 * (width - 1 - i) : 8 * i;
        data[position + i] = static_cast<unsigned char>(word >> shift);
    }
    position += width;
    filled = std::max(filled, position);
    return width;
}

int StreamValues::Read1ByteValue(unsigned char* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(1, &w)) return 0;
    *value = static_cast<unsigned char>(w);
    return 1;
}

int StreamValues::Read1ByteValue(char* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(1, &w)) return 0;
    *value = static_cast<char>(w);
    return 1;
}

int StreamValues::Read2ByteValue(unsigned short* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(2, &w)) return 0;
    *value = static_cast<unsigned short>(w);
    return 2;
}

int StreamValues::Read2ByteValue(short* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(2, &w)) return 0;
    *value = static_cast<short>(static_cast<uint16_t>(w));
    return 2;
}

int StreamValues::Read3ByteValue(int* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(3, &w)) return 0;
    *value = static_cast<int32_t>(static_cast<uint32_t>(w) << 8) >> 8;
    return 3;
}

int StreamValues::Read3ByteValue(unsigned int* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(3, &w)) return 0;
    *value = static_cast<unsigned int>(w);
    return 3;
}

int StreamValues::Read4ByteValue(unsigned int* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(4, &w)) return 0;
    *value = static_cast<unsigned int>(w);
    return 4;
}

int StreamValues::Read4ByteValue(unsigned long* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(4, &w)) return 0;
    *value = static_cast<unsigned long>(w);
    return 4;
}

int StreamValues::Read4ByteValue(int* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(4, &w)) return 0;
    *value = static_cast<int>(static_cast<uint32_t>(w));
    return 4;
}

int StreamValues::Read4ByteValue(float* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(4, &w)) return 0;
    *value = ByteBuffer::DecodeFloat(static_cast<uint32_t>(w));
    return 4;
}

int StreamValues::Read8ByteValue(long long* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(8, &w)) return 0;
    *value = static_cast<long long>(w);
    return 8;
}

int StreamValues::Read8ByteValue(double* value) {
    uint64_t w = 0;
    if (!value || !ReadWord(8, &w)) return 0;
    *value = DecodeDouble(w);
    return 8;
}

int StreamValues::ReadMarker4(unsigned int* value) {
    unsigned char bytes[4];
    if (!value || ReadRawValue(bytes, 4) != 4) return 0;
    *value = bytes[0] | static_cast<unsigned int>(bytes[1]) << 8 | static_cast<unsigned int>(bytes[2]) << 16 |
             static_cast<unsigned int>(bytes[3]) << 24;
    return 4;
}

int StreamValues::Write1ByteValue(unsigned char value) { return WriteWord(1, value, bigEndian); }
int StreamValues::Write2ByteValue(unsigned short value) { return WriteWord(2, value, bigEndian); }
int StreamValues::Write2ByteValue(short value) {
    return WriteWord(2, static_cast<uint16_t>(value), bigEndian);
}
int StreamValues::Write3ByteValue(int value) {
    return WriteWord(3, static_cast<uint32_t>(value) & 0xFFFFFFu, bigEndian);
}
int StreamValues::Write4ByteValue(unsigned int value) { return WriteWord(4, value, bigEndian); }
int StreamValues::Write4ByteValue(unsigned long value) {
    return WriteWord(4, static_cast<uint32_t>(value), bigEndian);
}
int StreamValues::Write4ByteValue(int value) { return WriteWord(4, static_cast<uint32_t>(value), bigEndian); }
int StreamValues::Write4ByteValue(float value) {
    return WriteWord(4, ByteBuffer::EncodeFloat(value), bigEndian);
}

int StreamValues::Write8ByteValue(long long value) {
    if (trunc8To4) return WriteWord(4, static_cast<uint32_t>(value), bigEndian);
    return WriteWord(8, static_cast<uint64_t>(value), bigEndian);
}

int StreamValues::Write8ByteValue(double value) { return WriteWord(8, EncodeDouble(value), bigEndian); }
int StreamValues::WriteMarker4(unsigned int value) { return WriteWord(4, value, false); }

long long StreamValues::WriteToStream() { return WriteToStream(stream); }

long long StreamValues::WriteToStream(Stream* target) {
    if (!target || !data || position <= 0) return 0;
    return target->Write(data, position, 1);
}

uint64_t StreamValues::EncodeDouble(double value) {
    if (value == 0.0) return 0;
    if (!std::isfinite(value)) {
        // frexp has no exponent to give here; keep the IEEE image instead.
        uint64_t word;
        std::memcpy(&word, &value, 8);
        return word;
    }
    int exponent = 0;
    const double mantissa = std::frexp(std::fabs(value), &exponent);
    const double scaled = mantissa * 536870912.0;  // 2^29: hidden bit plus the top 28 bits
    const double whole = std::floor(scaled);
    const auto top = static_cast<uint64_t>(whole) & 0xFFFFFFFull;
    const auto low = static_cast<uint64_t>((scaled - whole) * 16777216.0) & 0xFFFFFFull;
    uint64_t word = (static_cast<uint64_t>(exponent + 1022) & 0x7FFull) << 52 | top << 24 | low;
    if (value < 0.0) word |= 0x8000000000000000ull;
    return word;
}

double StreamValues::DecodeDouble(uint64_t word) {
    if ((word & 0x7FFFFFFFFFFFFFFFull) == 0) return 0.0;
    const int exponent = static_cast<int>((word >> 52) & 0x7FF) - 1023;
    const double top = static_cast<double>((word >> 24) & 0xFFFFFFFull);
    const double low = static_cast<double>(word & 0xFFFFFFull);
    double value = (low / 16777216.0 + top + 268435456.0) / 268435456.0;
    // The scale is an integer shift, so only exponents within 31 of 0 come
    // back exact; the stored format has always been read this way.
    if (exponent >= 0)
        value *= static_cast<double>(1u << (exponent % 32));
    else
        value /= static_cast<double>(1u << ((-exponent) % 32));
    return (word >> 63) ? -value : value;
}

// ---- StreamText -----------------------------------------------------------

StreamText::StreamText(Stream* stream) : stream(stream) {
    if (stream) stream->AddRef();
}

StreamText::~StreamText() {
    if (stream) stream->Release();
}

long long StreamText::Printf(const char* format, ...) {
    if (!stream || !format) return 0;
    // An encoding error never goes away with more room, so the retries stop
    // at a limit instead of running on.
    constexpr int kLimit = 1 << 16;
    int size = 256;
    int length = -1;
    char* text = nullptr;
    for (;;) {
        char* block = static_cast<char*>(std::realloc(text, static_cast<size_t>(size)));
        if (!block) break;
        text = block;
        va_list args;
        va_start(args, format);
        length = std::vsnprintf(text, static_cast<size_t>(size), format, args);
        va_end(args);
        if (length >= 0 && length < size) break;
        if (length < 0 && size >= kLimit) break;
        // A text longer than the block is formatted again whole.
        size = length >= 0 ? length + 1 : (size == 256 ? 512 : size + 256);
        length = -1;
    }
    long long written = 0;
    if (length > 0) written = stream->Write(text, length, 1);
    std::free(text);
    return written;
}

long long StreamText::Write(const char* text) {
    if (!stream || !text || !*text) return 0;
    return stream->Write(text, static_cast<long long>(std::strlen(text)), 1);
}

long long StreamText::Write(char character) { return stream ? stream->Write(&character, 1, 1) : 0; }

long long StreamText::WriteUtf8(const String& text) {
    if (!stream) return 0;
    const char* bytes = text;
    return stream->Write(bytes, static_cast<long long>(std::strlen(bytes)) + 1, 1);
}

String StreamText::ReadUtf8() {
    constexpr int kMaxBytes = 256;
    unsigned char bytes[kMaxBytes];
    int kept = 0;
    if (stream) {
        unsigned char c = 0;
        while (stream->Read(&c, 1, 1) == 1 && c != 0) {
            if (kept < kMaxBytes) bytes[kept++] = c;
        }
    }
    return String::CreateFromUTF8(bytes, kept);
}

}  // namespace tam
