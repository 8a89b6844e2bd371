// A byte stream in memory for the audio file tests and the fuzz target: it
// behaves as a file stream does (seeks past the end are allowed, reads there
// move nothing) and can be told to deliver at most a few bytes per read.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "foundation/tamStream.h"

namespace tamtest {

class MemoryStream : public tam::Stream {
public:
    explicit MemoryStream(std::vector<unsigned char> content = {}, StreamMode m = ModeReadWrite)
        : bytes(std::move(content)), mode(m) {}

    bool IsValid() const override { return true; }
    StreamMode GetStreamMode() const override { return mode; }
    int GetStreamType() const override { return 3; }
    long long GetLength() override { return (long long)bytes.size(); }
    long long GetPosition() override { return position; }
    long long SetPosition(long long offset, PosMode how) override {
        long long target = offset;
        if (how == FromCurrent)
            target = position + offset;
        else if (how == FromEnd)
            target = (long long)bytes.size() + offset;
        if (target < 0) return -1;
        position = target;
        return offset;
    }
    bool IsExhausted() override { return position >= (long long)bytes.size(); }
    long long Read(void* buffer, long long size, long long count) override {
        if (mode == ModeWrite || count <= 0 || size <= 0) return 0;
        long long n = std::min(size * count, std::max(0LL, (long long)bytes.size() - position));
        n = std::min(n, readLimit);
        if (n > 0) std::memcpy(buffer, bytes.data() + position, size_t(n));
        position += n;
        return n / count;
    }
    long long Write(const void* buffer, long long size, long long count) override {
        if (mode == ModeRead || count <= 0 || size <= 0) return 0;
        const long long n = size * count;
        if ((long long)bytes.size() < position + n) bytes.resize(size_t(position + n));
        std::memcpy(bytes.data() + position, buffer, size_t(n));
        position += n;
        return n / count;
    }

    std::vector<unsigned char> bytes;
    long long readLimit = 1LL << 60;

private:
    long long position = 0;
    StreamMode mode;
};

}  // namespace tamtest
