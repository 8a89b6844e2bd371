// The "WAVE" blob: a user's single-cycle waveform on a blob pin. Little-endian:
// the marker "WAVE", int32 version 8, int32 count, then count float32 samples.
#pragma once

#include "foundation/tamBuffer.h"
#include "frame/mp_sdk_audio.h"

class BlobWaveform {
public:
    static constexpr int Version = 8;
    static constexpr int HeaderSize = 12;

    static MpBlob Create(float* samples, int count);
    static MpBlob Create(tam::Buffer<float>* samples);

    // Written at the start of the buffer; a negative count is written as 0.
    static void Write(tam::ByteBuffer& out, float* samples, int count);
    static void Write(tam::ByteBuffer& out, tam::Buffer<float>* samples);

    // False for fewer than 4 bytes, a wrong marker or version, or a count
    // that claims more samples than the bytes hold (the target then stays).
    // A count below 1 reads as no samples (true).
    static bool Read(tam::ByteBuffer& in, tam::Buffer<float>* samples);
    // False also for an empty blob.
    static bool Read(MpBlob const& blob, tam::Buffer<float>* samples);
};

// 256 samples of waveform 0-8 (clamped) at amplitude volts * 0.1 (clamped
// to 0 .. 1), as a "WAVE" blob.
MpBlob BuildWaveformToBlob(int waveform, float amplitude);
