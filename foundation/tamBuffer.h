// Owned blocks of plain elements.
//
// Storage<T> is the root of the foundation containers: one malloc'd block,
// grown by a fixed rule in units of growBy elements. It never constructs or
// destroys elements, so T must be a plain value or a pointer; realloc may move
// the elements as bits. Buffer<T> is a block of a chosen size with a read or
// write position. ByteBuffer writes and reads typed values at explicit byte
// positions, in either byte order, for blobs on pins.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <limits>

namespace tam {

template <class T>
class Storage {
public:
    explicit Storage(int growBy = 1) : growBy(growBy > 0 ? growBy : 1) {}
    virtual ~Storage() { std::free(data); }

    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    // Sets the block to exactly n elements; n of 0 or below frees it. Returns
    // false (and keeps the old block) when the allocation fails or n is too
    // large to address.
    bool AllocateStorage(int n) {
        if (n == allocated)
            return true;
        if (n <= 0) {
            if (data) {
                std::free(data);
                data = nullptr;
                allocated = 0;
            } else {
                allocated = n;  // no block: the count is only remembered
            }
            return true;
        }
        if (static_cast<std::size_t>(n) > std::numeric_limits<std::size_t>::max() / sizeof(T))
            return false;
        void* block = std::realloc(data, static_cast<std::size_t>(n) * sizeof(T));
        if (!block)
            return false;
        data = static_cast<T*>(block);
        allocated = n;
        return true;
    }

    // Makes room for at least `needed` elements: one unit at a time for small
    // blocks, a proportion plus a fixed margin beyond 64 units.
    bool IncreaseAllocatedStorage(int needed) {
        if (allocated >= needed)
            return true;
        const long long g = growBy;
        long long target = needed;
        if (needed > 64 * g) {
            const long long base = needed + needed / g;
            target = base + (base <= 256 * g ? 32 * g : 64 * g);
        }
        long long units = (target / g + 1) * g;
        if (units > std::numeric_limits<int>::max())
            units = needed;  // the margin would not fit an int32 count
        return AllocateStorage(static_cast<int>(units));
    }

    // Shrinks towards `needed` in whole units; 0 frees the block.
    bool DecreaseAllocatedStorage(int needed) {
        if (needed <= 0) {
            std::free(data);
            data = nullptr;
            allocated = 0;
            return true;
        }
        const long long target = (static_cast<long long>(needed) / growBy + 1) * growBy;
        if (target < allocated)
            return AllocateStorage(static_cast<int>(target));
        return true;
    }

    int GetAllocatedStorage() const { return allocated; }
    int GetGrowBy() const { return growBy; }
    void SetGrowBy(int n) { growBy = n > 0 ? n : 1; }

protected:
    int growBy;         // allocation unit in elements, at least 1
    int allocated = 0;  // elements in the block
    T* data = nullptr;
};

// A block of `size` elements with a position for sequential reading or
// writing. Indices out of range are ignored on writing and give a zero value
// on reading.
template <class T>
class Buffer : public Storage<T> {
public:
    explicit Buffer(int size = 0, int growBy = 1) : Storage<T>(growBy) {
        if (size > 0 && this->AllocateStorage(size))
            this->size = size;
    }

    T* GetData() { return this->data; }
    const T* GetData() const { return this->data; }
    int GetSize() const { return size; }
    bool IsEmpty() const { return size <= 0; }
    int GetPosition() const { return position; }
    void SetPosition(int p) { position = p < 0 ? 0 : p; }

    // Resizes to exactly n elements, keeping the leading ones; new elements
    // are not initialised. The position is kept within the new size.
    bool SetSize(int n) {
        if (n < 0)
            n = 0;
        if (!this->AllocateStorage(n))
            return false;
        size = n;
        if (position > size)
            position = size;
        return true;
    }

    // Grows (never shrinks) the size to at least n, in growth units.
    bool EnsureSize(int n) {
        if (n <= size)
            return true;
        if (!this->IncreaseAllocatedStorage(n))
            return false;
        size = n;
        return true;
    }

    // Frees the block; size and position become 0.
    void Clear() {
        this->AllocateStorage(0);
        size = 0;
        position = 0;
    }

    // Sets every element to zero bits.
    void Zero() {
        if (this->data && size > 0)
            std::memset(static_cast<void*>(this->data), 0, static_cast<std::size_t>(size) * sizeof(T));
    }

    // Writes n elements at the position, growing as needed, and moves the
    // position past them.
    bool Write(const T* values, int n) {
        if (n < 1 || !values)
            return false;
        const long long end = static_cast<long long>(position) + n;
        if (end > std::numeric_limits<int>::max() || !EnsureSize(static_cast<int>(end)))
            return false;
        std::memcpy(static_cast<void*>(this->data + position), values, static_cast<std::size_t>(n) * sizeof(T));
        position = static_cast<int>(end);
        return true;
    }

    // Reads up to n elements from the position; returns how many were read.
    int Read(T* values, int n) {
        if (n < 1 || !values || position >= size)
            return 0;
        if (n > size - position)
            n = size - position;
        std::memcpy(static_cast<void*>(values), this->data + position, static_cast<std::size_t>(n) * sizeof(T));
        position += n;
        return n;
    }

    // Replaces the contents with a copy of n elements; position 0.
    bool Assign(const T* values, int n) {
        if (n < 1 || !values) {
            Clear();
            return true;
        }
        if (!SetSize(n))
            return false;
        std::memcpy(static_cast<void*>(this->data), values, static_cast<std::size_t>(n) * sizeof(T));
        position = 0;
        return true;
    }

    T Get(int index) const { return (index >= 0 && index < size) ? this->data[index] : T(); }
    void Set(int index, T value) {
        if (index >= 0 && index < size)
            this->data[index] = value;
    }

    // Unchecked access, for sample loops.
    T& operator[](int index) { return this->data[index]; }
    const T& operator[](int index) const { return this->data[index]; }

protected:
    int position = 0;
    int size = 0;
};

// Serialises typed values at explicit byte positions. Integers and the
// buffer's own float format follow the byte order flag; markers are always
// little-endian; arrays of floats and ints are copied as raw bytes. Writing
// makes room up to the end of the write, but raises `size` only by the item's
// length (callers write in sequence). Reading outside the block gives zeros
// rather than touching memory that is not there.
class ByteBuffer : public Buffer<unsigned char> {
public:
    ByteBuffer() : Buffer<unsigned char>(0, 1) {}
    // A copy of n bytes, for reading a blob.
    ByteBuffer(const void* bytes, int n) : Buffer<unsigned char>(0, 1) {
        Assign(static_cast<const unsigned char*>(bytes), n);
    }

    void SetBigEndian(bool b) { bigEndian = b; }
    bool IsBigEndian() const { return bigEndian; }

    // The word PutMarker4 stores for four characters such as "CRVE".
    static constexpr unsigned int Marker4(const char (&text)[5]) {
        return static_cast<unsigned char>(text[0]) | static_cast<unsigned int>(static_cast<unsigned char>(text[1])) << 8 |
               static_cast<unsigned int>(static_cast<unsigned char>(text[2])) << 16 |
               static_cast<unsigned int>(static_cast<unsigned char>(text[3])) << 24;
    }

    void PutInt(int position, int value);
    void PutBool(int position, bool value);
    void PutFloat(int position, float value);
    void PutMarker4(int position, unsigned int marker);
    bool PutIntArray(int position, const int* values, int n);
    bool PutFloatArray(int position, const float* values, int n);
    bool PutBoolArray(int position, const bool* values, int n);
    bool PutText(int position, const wchar_t* text, int n);

    int GetInt(int position) const;
    bool GetBool(int position) const;
    float GetFloat(int position) const;
    unsigned int GetMarker4(int position) const;
    bool GetIntArray(int position, int* values, int n) const;
    bool GetFloatArray(int position, float* values, int n) const;
    bool GetBoolArray(int position, bool* values, int n) const;
    // Reads n 16-bit units into n wide characters (no terminator is added).
    bool GetText(int position, wchar_t* text, int n) const;

    // The buffer's float format as a 32-bit word, and back.
    static uint32_t EncodeFloat(float value);
    static float DecodeFloat(uint32_t word);

private:
    unsigned char* Reserve(int position, int length);
    void PutWord(int position, uint32_t word, bool big);
    uint32_t GetWord(int position, bool big) const;
    void ReadBytes(int position, void* out, long long length) const;

    bool bigEndian = false;
};

}  // namespace tam
