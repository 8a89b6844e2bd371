// Shared helpers of the audio file tests: the committed corpus and small
// conveniences for making and reading WAV bytes in memory.
#pragma once

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "MemoryStream.h"
#include "audiofile/tamWaveFile.h"

namespace tamtest {

inline std::string AudioDataPath(const std::string& name) {
    return std::string(TAM_TEST_DATA_DIR) + "/audiofile/" + name;
}

inline std::vector<unsigned char> LoadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::vector<float> LoadFloats(const std::string& path) {
    const std::vector<unsigned char> raw = LoadBytes(path);
    std::vector<float> out(raw.size() / 4);
    std::memcpy(out.data(), raw.data(), out.size() * 4);
    return out;
}

// Little-endian byte builder for hand-made headers.
struct Bytes {
    std::vector<unsigned char> v;
    Bytes& tag(const char* t) {
        v.insert(v.end(), t, t + 4);
        return *this;
    }
    Bytes& u16(unsigned x) {
        v.push_back((unsigned char)x);
        v.push_back((unsigned char)(x >> 8));
        return *this;
    }
    Bytes& u32(unsigned x) { return u16(x & 0xFFFF).u16(x >> 16); }
    Bytes& raw(std::initializer_list<int> b) {
        for (int x : b) v.push_back((unsigned char)x);
        return *this;
    }
    Bytes& zeros(size_t n) {
        v.insert(v.end(), n, 0);
        return *this;
    }
};

// The reader of a stream, or null; releases itself.
struct ReaderHolder {
    tam::WaveFileFormat format;
    MemoryStream* stream;
    tam::WaveFileReader* reader = nullptr;
    explicit ReaderHolder(std::vector<unsigned char> bytes,
                          MemoryStream::StreamMode mode = MemoryStream::ModeRead)
        : stream(new MemoryStream(std::move(bytes), mode)) {
        reader = format.CreateReader(stream);
    }
    ~ReaderHolder() {
        if (reader) reader->Release();
        stream->Release();
    }
    std::string error() const { return (const char*)format.GetError(); }
};

}  // namespace tamtest
