// Raw sample encodings to float samples, read from a stream in passes
// through a 16 KB stack buffer. Counts are in samples; each call returns the
// samples read, and a short pass ends the read.
#pragma once

#include "foundation/tamStream.h"

namespace tam {

class SampleReader {
public:
    SampleReader() = default;
    // Keeps a reference on the stream.
    SampleReader(Stream* stream, bool bigEndian);
    ~SampleReader();
    SampleReader(const SampleReader&) = delete;
    SampleReader& operator=(const SampleReader&) = delete;

    void SetBigEndian(bool b) { bigEndian = b; }
    bool IsBigEndian() const { return bigEndian; }

    long long ReadPcmS8(float* out, long long count);
    long long ReadPcmU8(float* out, long long count);
    long long ReadPcm16(float* out, long long count);
    long long ReadPcm24(float* out, long long count);
    long long ReadPcm32(float* out, long long count);
    long long ReadFloat(float* out, long long count);
    long long ReadDouble(float* out, long long count);
    long long ReadULaw(float* out, long long count);
    long long ReadALaw(float* out, long long count);

    // Dispatches by sample format number; 0 for an unknown one.
    long long Read(int sampleFormat, float* out, long long count);

private:
    template <typename Convert>
    long long ReadPasses(float* out, long long count, int itemSize, Convert convert);

    Stream* stream = nullptr;
    bool bigEndian = false;
};

}  // namespace tam
