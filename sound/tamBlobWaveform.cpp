#include "sound/tamBlobWaveform.h"

#include <algorithm>
#include <cmath>

#include "sound/tamWaveTable.h"

namespace {

constexpr unsigned int kMarker = tam::ByteBuffer::Marker4("WAVE");

}  // namespace

MpBlob BlobWaveform::Create(float* samples, int count) {
    tam::ByteBuffer bytes;
    Write(bytes, samples, count);
    return MpBlob(bytes.GetSize(), bytes.GetData());
}

MpBlob BlobWaveform::Create(tam::Buffer<float>* samples) {
    if (samples == nullptr)
        return Create(nullptr, 0);
    return Create(samples->GetData(), samples->GetSize());
}

void BlobWaveform::Write(tam::ByteBuffer& out, float* samples, int count) {
    if (count < 0 || samples == nullptr)
        count = 0;
    out.SetBigEndian(false);
    out.PutMarker4(0, kMarker);
    out.PutInt(4, Version);
    out.PutInt(8, count);
    out.PutFloatArray(HeaderSize, samples, count);
}

void BlobWaveform::Write(tam::ByteBuffer& out, tam::Buffer<float>* samples) {
    if (samples == nullptr)
        Write(out, nullptr, 0);
    else
        Write(out, samples->GetData(), samples->GetSize());
}

bool BlobWaveform::Read(tam::ByteBuffer& in, tam::Buffer<float>* samples) {
    if (samples == nullptr || in.GetSize() < 4)
        return false;
    in.SetBigEndian(false);
    if (in.GetMarker4(0) != kMarker || in.GetInt(4) != Version)
        return false;
    const int count = in.GetInt(8);
    if (count < 1)
        return samples->SetSize(0);
    // A hostile count must neither read past the blob nor allocate for
    // samples that are not there.
    const long long held = (static_cast<long long>(in.GetSize()) - HeaderSize) / 4;
    if (count > held)
        return false;
    if (!samples->SetSize(count))
        return false;
    in.GetFloatArray(HeaderSize, samples->GetData(), count);
    return true;
}

bool BlobWaveform::Read(MpBlob const& blob, tam::Buffer<float>* samples) {
    if (blob.getSize() < 1)
        return false;
    tam::ByteBuffer bytes(blob.getData(), blob.getSize());
    return Read(bytes, samples);
}

MpBlob BuildWaveformToBlob(int waveform, float amplitude) {
    constexpr int kCount = 256;
    float a = amplitude * 0.1f;
    a = a > 0.0f ? (a < 1.0f ? a : 1.0f) : 0.0f;  // NaN gives silence
    waveform = std::clamp(waveform, 0, 8);
    float samples[kCount];
    switch (waveform) {
    case 0: {
        double phase = 0.0;
        for (int i = 0; i < kCount; ++i) {
            samples[i] = static_cast<float>(std::sin(phase * 0.017453292) * a);
            phase += 1.41;
        }
        break;
    }
    case 1:
        for (int i = 0; i < kCount; ++i)
            samples[i] = (1.0f - i * 0.007777f) * a;
        break;
    case 2:
        for (int i = 0; i < kCount; ++i)
            samples[i] = (i * 0.007777f - 1.0f) * a;
        break;
    case 3: {
        float v = -1.0f;
        for (int i = 0; i < kCount; ++i) {
            samples[i] = v * a;
            v += i < 128 ? 0.0159f : -0.0159f;
        }
        break;
    }
    case 4:
        for (int i = 0; i < kCount; ++i)
            samples[i] = i < 127 ? a : -a;
        break;
    default: {
        float scale = 2.5f;
        switch (waveform) {
        case 5: tam::WaveTable::GenerateWhiteNoise(samples, kCount); break;
        case 6: tam::WaveTable::GeneratePinkNoise(samples, kCount); scale = 2.0f; break;
        case 7: tam::WaveTable::GenerateRedNoise(samples, kCount); scale = 1.3f; break;
        default: tam::WaveTable::GenerateBlueNoise(samples, kCount); scale = 5.0f; break;
        }
        for (int i = 0; i < kCount; ++i)
            samples[i] = samples[i] * scale * a;
        break;
    }
    }
    return BlobWaveform::Create(samples, kCount);
}
