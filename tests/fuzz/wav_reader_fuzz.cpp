// Feeds arbitrary bytes to the WAV reader: open, read every frame in uneven
// slices, seek about, read again. Any crash, leak or hang is a finding.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "MemoryStream.h"
#include "audiofile/tamWaveFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto* stream =
        new tamtest::MemoryStream(std::vector<unsigned char>(data, data + size), tam::Stream::ModeRead);
    tam::WaveFileFormat format;
    if (tam::WaveFileReader* reader = format.CreateReader(stream)) {
        const int channels = reader->GetNumChannels();
        std::vector<float> buffer(size_t(channels > 0 ? channels : 1) * 333);
        long long guard = 0;
        while (reader->ReadFrames(buffer.data(), 333) > 0 && ++guard < 100000) {
        }
        reader->SeekFrames(reader->GetTotalNumFrames() / 2, tam::Stream::FromStart);
        reader->ReadFrames(buffer.data(), 7);
        reader->SeekFrames(-1, tam::Stream::FromEnd);
        reader->ReadFrames(buffer.data(), 333);
        for (int i = 0; i < reader->GetCuePointCount(); ++i) (void)reader->GetCuePoint(i);
        reader->Release();
    }
    stream->Release();
    return 0;
}
