// Sampled sound files: a format says what it is and makes readers and
// writers; readers and writers trade interleaved float samples (full scale
// 1.0) with a stream. The manager finds a format by file extension.
#pragma once

#include "foundation/tamArray.h"
#include "foundation/tamRefObject.h"
#include "foundation/tamStream.h"
#include "foundation/tamString.h"

namespace tam {

// Sample format numbers, the same for every file format.
enum SampleFormat : int {
    kSampleNone = 0,
    kSamplePcmU8 = 1,
    kSamplePcmS8 = 2,
    kSamplePcm16 = 3,
    kSamplePcm24 = 4,
    kSamplePcm32 = 5,
    kSampleFloat = 6,
    kSampleDouble = 7,
    kSampleALaw = 8,
    kSampleULaw = 9,
};

// Bytes per sample of a format number; 0 for none or an unknown number.
int SampleFormatByteWidth(int sampleFormat);

class AudioFileReader;
class AudioFileWriter;

class AudioFileFormat {
public:
    virtual ~AudioFileFormat() = default;
    virtual String GetFormatName() const = 0;
    virtual String GetCompanyName() const = 0;
    virtual bool HasExtension(const String& extension) const = 0;
    virtual String GetError() const = 0;
    // Null on failure, with the reason in GetError().
    virtual AudioFileReader* CreateReader(Stream* stream) = 0;
    virtual AudioFileWriter* CreateWriter(Stream* stream) = 0;
};

class AudioFileReader {
public:
    virtual void Release() = 0;
    virtual String GetError() const = 0;
    virtual String GetFormatName() const = 0;
    virtual int GetByteWidth() const = 0;
    virtual int GetSampleRate() const = 0;
    virtual int GetNumChannels() const = 0;
    virtual long long GetTotalNumFrames() const = 0;
    // Fills frames * channels samples; the part past the end is cleared.
    // Returns the frames that came from the file.
    virtual long long ReadFrames(float* out, long long frames) = 0;
    // Returns the new frame position or -1.
    virtual long long SeekFrames(long long position, Stream::PosMode mode) = 0;
    virtual int GetSampleFormat() const = 0;

protected:
    virtual ~AudioFileReader() = default;
};

class AudioFileWriter {
public:
    virtual void Release() = 0;
    virtual String GetError() const = 0;
    virtual String GetFormatName() const = 0;
    virtual bool SetSampleRate(int rate) = 0;
    virtual bool SetNumChannels(int channels) = 0;
    virtual bool WriteStart() = 0;
    // Returns the frames written.
    virtual long long WriteFrames(const float* in, long long frames) = 0;
    virtual bool WriteEnd() = 0;
    virtual bool SetSampleFormat(int sampleFormat) = 0;

protected:
    virtual ~AudioFileWriter() = default;
};

class AudioFileManager : public RefObject {
public:
    AudioFileManager() = default;

    // Takes ownership.
    void AddFormat(AudioFileFormat* format) { formats.Add(format); }
    int GetNumFormats() const { return formats.GetCount(); }
    AudioFileFormat* GetFormat(int index) const { return formats.Get(index); }

    // The first format, in the order added, that accepts the extension.
    AudioFileFormat* FindFormatFromFileExtension(const String& extension) const;

private:
    PtrArray<AudioFileFormat> formats;
};

}  // namespace tam
