#include "sound/tamBlobCurve.h"

namespace {

constexpr unsigned int kMarker = tam::ByteBuffer::Marker4("CRVE");

}  // namespace

MpBlob BlobCurve::Create(const float* values, int count) {
    tam::ByteBuffer bytes;
    Write(bytes, values, count);
    return MpBlob(bytes.GetSize(), bytes.GetData());
}

MpBlob BlobCurve::Create(tam::Buffer<float>* values) {
    if (values == nullptr)
        return Create(nullptr, 0);
    return Create(values->GetData(), values->GetSize());
}

void BlobCurve::Write(tam::ByteBuffer& out, const float* values, int count) {
    if (count < 0 || values == nullptr)
        count = 0;
    out.SetBigEndian(false);
    out.PutMarker4(0, kMarker);
    out.PutInt(4, Version);
    out.PutInt(8, count);
    out.PutFloatArray(HeaderSize, values, count);
}

void BlobCurve::Write(tam::ByteBuffer& out, tam::Buffer<float>* values) {
    if (values == nullptr)
        Write(out, nullptr, 0);
    else
        Write(out, values->GetData(), values->GetSize());
}

bool BlobCurve::Read(tam::ByteBuffer& in, tam::Buffer<float>* values) {
    if (values == nullptr || in.GetSize() < 4)
        return false;
    in.SetBigEndian(false);
    if (in.GetMarker4(0) != kMarker || in.GetInt(4) != Version)
        return false;
    int count = in.GetInt(8);
    if (count < 1)
        return values->SetSize(0);
    // A hostile count must neither read past the blob nor allocate for
    // values that are not there.
    const long long held = (static_cast<long long>(in.GetSize()) - HeaderSize) / 4;
    if (count > held)
        return false;
    if (!values->SetSize(count))
        return false;
    return in.GetFloatArray(HeaderSize, values->GetData(), count);
}

bool BlobCurve::Read(const MpBlob& blob, tam::Buffer<float>* values) {
    if (blob.getSize() < 1)
        return false;
    tam::ByteBuffer bytes(blob.getData(), blob.getSize());
    return Read(bytes, values);
}
