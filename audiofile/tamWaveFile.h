// RIFF WAVE files: PCM 8 to 32 bits, float 32 and 64, A-law and mu-law, in
// the plain and the extensible header; cue points and peak blocks. The reader
// trusts the stream over the size fields, so unfinished and streamed files
// open with everything to the end of the stream as data.
#pragma once

#include <cstdint>

#include "audiofile/tamAudioFile.h"

namespace tam {

struct WaveFileCuePoint {
    uint32_t id = 0;
    uint32_t position = 0;
    uint32_t chunkId = 0;
    uint32_t chunkStart = 0;
    uint32_t blockStart = 0;
    uint32_t sampleOffset = 0;
};

class WaveFileReader : public AudioFileReader {
public:
    virtual int GetCuePointCount() const = 0;
    // Null for an index out of range.
    virtual const WaveFileCuePoint* GetCuePoint(int index) const = 0;
};

class WaveFileWriter : public AudioFileWriter {
public:
    virtual void SetExtensible(bool extensible) = 0;
    virtual void SetDither(bool dither) = 0;
};

class WaveFileFormat : public AudioFileFormat {
public:
    String GetFormatName() const override;
    String GetCompanyName() const override;
    bool HasExtension(const String& extension) const override;
    String GetError() const override;
    // Positioned at the first sample; the caller releases it.
    WaveFileReader* CreateReader(Stream* stream) override;
    WaveFileWriter* CreateWriter(Stream* stream) override;

    // The text of the last failure of any WAV reader or writer.
    static String& ErrorText();
};

}  // namespace tam
