// Float samples to raw sample encodings, written to a stream in passes
// through a 16 KB stack buffer. Integer samples are the scaled float rounded
// to nearest; nothing is clipped, so the caller limits its samples (only the
// law encoders hold their table index in range).
#pragma once

#include "foundation/tamStream.h"

namespace tam {

class SampleWriter {
public:
    SampleWriter() = default;
    // Keeps a reference on the stream.
    SampleWriter(Stream* stream, bool bigEndian);
    ~SampleWriter();
    SampleWriter(const SampleWriter&) = delete;
    SampleWriter& operator=(const SampleWriter&) = delete;

    void SetBigEndian(bool b) { bigEndian = b; }
    bool IsBigEndian() const { return bigEndian; }

    long long WritePcmS8(const float* in, long long count);
    long long WritePcmU8(const float* in, long long count);
    long long WritePcm16(const float* in, long long count);
    long long WritePcm24(const float* in, long long count);
    long long WritePcm32(const float* in, long long count);
    long long WriteFloat(const float* in, long long count);
    long long WriteDouble(const float* in, long long count);
    long long WriteULaw(const float* in, long long count);
    long long WriteALaw(const float* in, long long count);

    // Dispatches by sample format number; 0 for an unknown one.
    long long Write(int sampleFormat, const float* in, long long count);

private:
    template <typename Convert>
    long long WritePasses(const float* in, long long count, int itemSize, Convert convert);

    Stream* stream = nullptr;
    bool bigEndian = false;
};

}  // namespace tam
