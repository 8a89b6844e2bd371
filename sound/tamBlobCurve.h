// The "CRVE" blob: a response curve carried on a blob pin. Little-endian:
// the marker "CRVE", int32 version 8, int32 count, then count float32 values.
#pragma once

#include "foundation/tamBuffer.h"
#include "frame/mp_sdk_audio.h"

class BlobCurve {
public:
    static constexpr int Version = 8;
    static constexpr int HeaderSize = 12;

    static MpBlob Create(const float* values, int count);
    static MpBlob Create(tam::Buffer<float>* values);

    // Write at the start of the buffer; a negative count is written as 0.
    static void Write(tam::ByteBuffer& out, const float* values, int count);
    static void Write(tam::ByteBuffer& out, tam::Buffer<float>* values);

    // False when the bytes are fewer than 4, the marker or version is wrong,
    // or the count claims more values than the bytes hold; `values` is then
    // untouched. A count below 1 reads as an empty curve (true).
    static bool Read(tam::ByteBuffer& in, tam::Buffer<float>* values);
    // False also for an empty blob.
    static bool Read(const MpBlob& blob, tam::Buffer<float>* values);
};
