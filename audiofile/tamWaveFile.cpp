#include "audiofile/tamWaveFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "audiofile/tamSampleReader.h"
#include "audiofile/tamSampleWriter.h"
#include "foundation/tamLog.h"

namespace tam {

namespace {

constexpr uint32_t marker(const char (&m)[5]) {
    return uint32_t(uint8_t(m[0])) | uint32_t(uint8_t(m[1])) << 8 | uint32_t(uint8_t(m[2])) << 16 |
           uint32_t(uint8_t(m[3])) << 24;
}

constexpr uint32_t kRiff = marker("RIFF");
constexpr uint32_t kWave = marker("WAVE");
constexpr uint32_t kFmt = marker("fmt ");
constexpr uint32_t kData = marker("data");
constexpr uint32_t kFact = marker("fact");
constexpr uint32_t kPeak = marker("PEAK");
constexpr uint32_t kCue = marker("cue ");
constexpr uint32_t kSmpl = marker("smpl");

constexpr uint16_t kTagPcm = 1;
constexpr uint16_t kTagAdpcm = 2;
constexpr uint16_t kTagFloat = 3;
constexpr uint16_t kTagALaw = 6;
constexpr uint16_t kTagULaw = 7;
constexpr uint16_t kTagExtensible = 65534;

// The sub-format GUIDs differ only in their first field.
constexpr unsigned char kGuidTail[12] = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                         0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr uint32_t WAVEEX_FORMAT_PCM = 1;
constexpr uint32_t WAVEEX_FORMAT_IEEE_FLOAT = 3;
constexpr uint32_t WAVEEX_FORMAT_ALAW = 6;
constexpr uint32_t WAVEEX_FORMAT_MULAW = 7;

void setError(const char* text) { WaveFileFormat::ErrorText() = text; }

// Little-endian reads straight from the stream; each answers false on a short
// read.
class LittleReader {
public:
    explicit LittleReader(Stream* s) : stream(s) {}
    bool Bytes(void* out, long long n) { return n <= 0 || stream->Read(out, n, 1) == n; }
    bool U16(uint32_t& v) {
        unsigned char b[2];
        if (!Bytes(b, 2)) return false;
        v = uint32_t(b[0]) | uint32_t(b[1]) << 8;
        return true;
    }
    bool U32(uint32_t& v) {
        unsigned char b[4];
        if (!Bytes(b, 4)) return false;
        v = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        return true;
    }
    bool F32(float& v) {
        uint32_t w;
        if (!U32(w)) return false;
        std::memcpy(&v, &w, 4);
        return true;
    }

private:
    Stream* stream;
};

// The header is collected here and written in one call.
class LittleWriter {
public:
    void U16(uint32_t v) {
        bytes.push_back(uint8_t(v));
        bytes.push_back(uint8_t(v >> 8));
    }
    void U32(uint32_t v) {
        U16(v & 0xFFFF);
        U16(v >> 16);
    }
    void F32(float f) {
        uint32_t w;
        std::memcpy(&w, &f, 4);
        U32(w);
    }
    void Raw(const unsigned char* p, int n) { bytes.insert(bytes.end(), p, p + n); }
    std::vector<unsigned char> bytes;
};

struct WaveFmtBlock {
    uint32_t formatTag = 0;
    uint32_t channels = 0;
    uint32_t sampleRate = 0;
    uint32_t bytesPerSecond = 0;
    uint32_t blockAlign = 0;
    uint32_t bitsPerSample = 0;
    uint32_t extensionSize = 0;
    uint32_t validBits = 0;
    uint32_t channelMask = 0;
    uint32_t subFormat = 0;  // first GUID field; the rest is the fixed tail

    bool ReadBlock(Stream* stream) {
        LittleReader in(stream);
        uint32_t blockSize;
        if (!in.U32(blockSize) || blockSize <= 15) {
            setError("WaveFile: Error reading fmt block.");
            return false;
        }
        long long read = 16;
        if (!in.U16(formatTag) || !in.U16(channels) || !in.U32(sampleRate) || !in.U32(bytesPerSecond) ||
            !in.U16(blockAlign) || !in.U16(bitsPerSample)) {
            setError("WaveFile: Error reading fmt block.");
            return false;
        }
        bool ok = true;
        switch (formatTag) {
            case kTagExtensible: {
                unsigned char tail[12];
                uint32_t guidA = 0, guidB = 0;
                if (!in.U16(extensionSize) || !in.U16(validBits) || !in.U32(channelMask) ||
                    !in.U32(subFormat) || !in.U16(guidA) || !in.U16(guidB) || !in.Bytes(tail + 4, 8)) {
                    setError("WaveFile: Error reading fmt block.");
                    return false;
                }
                read += 24;
                tail[0] = uint8_t(guidA);
                tail[1] = uint8_t(guidA >> 8);
                tail[2] = uint8_t(guidB);
                tail[3] = uint8_t(guidB >> 8);
                const bool known = subFormat == WAVEEX_FORMAT_PCM || subFormat == WAVEEX_FORMAT_IEEE_FLOAT ||
                                   subFormat == WAVEEX_FORMAT_ALAW || subFormat == WAVEEX_FORMAT_MULAW;
                if (!known || std::memcmp(tail, kGuidTail, 12) != 0) {
                    setError("WaveFile: Unsupported sub-format.");
                    ok = false;
                }
                break;
            }
            case kTagPcm:
                // Four bytes per sample under a 24-bit label: written as float.
                if (bitsPerSample == 24 && channels * 4 == blockAlign) {
                    bitsPerSample = 32;
                    formatTag = kTagFloat;
                }
                break;
            case kTagFloat:
            case kTagALaw:
            case kTagULaw:
                break;
            default:
                setError("WaveFile: Unsupported subformat.");
                ok = false;
                break;
        }
        if (blockSize < read) return false;
        if (blockSize > read && stream->SetPosition(blockSize - read, Stream::FromCurrent) < 0) return false;
        return ok;
    }

    int GetByteWidth() const {
        switch (formatTag) {
            case kTagExtensible:
            case kTagPcm:
            case kTagFloat:
                return int((bitsPerSample + 7) / 8);
            case kTagAdpcm:
                return 2;
            case kTagALaw:
            case kTagULaw:
                return 1;
            default:
                return 0;
        }
    }

    int GetSampleFormat() const {
        uint32_t kind = formatTag;
        if (formatTag == kTagExtensible) kind = subFormat;
        switch (kind) {
            case kTagPcm: {
                if (bitsPerSample < 8 || bitsPerSample > 32) return kSampleNone;
                static constexpr int kByWidth[4] = {kSamplePcmU8, kSamplePcm16, kSamplePcm24, kSamplePcm32};
                return kByWidth[(bitsPerSample + 7) / 8 - 1];
            }
            case kTagFloat:
                return bitsPerSample == 64 ? kSampleDouble : kSampleFloat;
            case kTagALaw:
                return kSampleALaw;
            case kTagULaw:
                return kSampleULaw;
            default:
                return kSampleNone;
        }
    }
};

struct WavePeakBlock {
    struct PeakPos {
        float value = 0.0f;
        uint32_t position = 0;
    };
    uint32_t version = 1;
    uint32_t timeStamp = 0;
    PtrArray<PeakPos> peaks;
};

bool isPrintable(uint32_t m) {
    for (int i = 0; i < 4; ++i)
        if (!std::isprint(int((m >> (8 * i)) & 0xFF))) return false;
    return true;
}

// ---------------------------------------------------------------------------

class WaveFileReaderInternal final : public WaveFileReader {
public:
    explicit WaveFileReaderInternal(Stream* s) : stream(s), samples(s, false) {
        stream->AddRef();
        start = stream->GetPosition();
        if (start < 0) start = 0;
        size = std::max(0LL, stream->GetLength() - start);
    }

    void Release() override { delete this; }
    String GetError() const override { return WaveFileFormat::ErrorText(); }
    String GetFormatName() const override { return "WAVE"; }
    int GetByteWidth() const override { return byteWidth; }
    int GetSampleRate() const override { return int(fmt.sampleRate); }
    int GetNumChannels() const override { return int(fmt.channels); }
    long long GetTotalNumFrames() const override { return totalFrames; }
    int GetSampleFormat() const override { return sampleFormat; }
    int GetCuePointCount() const override { return cues.GetCount(); }
    const WaveFileCuePoint* GetCuePoint(int index) const override { return cues.Get(index); }

    long long ReadFrames(float* out, long long frames) override {
        const long long channels = fmt.channels;
        if (!out || frames < 1) return 0;
        if (framePosition >= totalFrames || channels == 0) {
            std::fill(out, out + frames * channels, 0.0f);
            return 0;
        }
        // Only the frames inside the data are fetched; the rest is cleared.
        const long long wanted = std::min(frames, totalFrames - framePosition);
        const long long got = samples.Read(sampleFormat, out, wanted * channels) / channels;
        std::fill(out + got * channels, out + frames * channels, 0.0f);
        framePosition += got;
        return got;
    }

    long long SeekFrames(long long position, Stream::PosMode mode) override {
        long long target;
        switch (mode) {
            case Stream::FromStart:
                target = position;
                break;
            case Stream::FromCurrent:
                if (position == 0) return framePosition;
                target = framePosition + position;
                break;
            case Stream::FromEnd:
                target = totalFrames + position;
                break;
            default:
                return -1;
        }
        if (frameWidth == 0 || target < 0 || target > totalFrames) return -1;
        const long long byte = start + dataOffset + frameWidth * target;
        if (stream->SetPosition(byte, Stream::FromStart) != byte || stream->GetPosition() != byte) return -1;
        framePosition = target;
        return target;
    }

    bool ReadHeader();

private:
    ~WaveFileReaderInternal() override { stream->Release(); }

    long long Position() { return stream->GetPosition() - start; }
    bool Skip(long long n) { return n == 0 || stream->SetPosition(n, Stream::FromCurrent) >= 0; }
    void ReadCueBlock();
    void ReadSmplBlock();

    Stream* stream;
    long long start = 0;
    long long size = 0;
    long long dataOffset = 0;
    long long dataSize = 0;
    long long totalFrames = 0;
    long long framePosition = 0;
    int byteWidth = 0;
    long long frameWidth = 0;
    int sampleFormat = kSampleNone;
    SampleReader samples;
    WaveFmtBlock fmt;
    WavePeakBlock peak;
    PtrArray<WaveFileCuePoint> cues;
};

bool WaveFileReaderInternal::ReadHeader() {
    if (size < 1) {
        setError("WaveFile: empty file.");
        return false;
    }
    LittleReader in(stream);
    bool riffSeen = false, waveSeen = false, fmtSeen = false, dataSeen = false;
    long long riffSize = 0;
    bool scanning = true;
    do {
        uint32_t m;
        // A marker cut short is the end of the stream.
        if (!in.U32(m)) break;
        if (m == kRiff) {
            if (riffSeen) {
                setError("WaveFile: incorrect riff block.");
                return false;
            }
            uint32_t s;
            if (!in.U32(s)) break;
            riffSize = s;
            if (start != 0 && size > riffSize + 8)
                size = riffSize + 8;
            else if (uint32_t(size) < riffSize + 8)
                riffSize = 4;
            riffSeen = true;
        } else if (m == kWave) {
            waveSeen = true;
            if (!riffSeen) {
                setError("WaveFile: incorrect wave block.");
                return false;
            }
        } else if (m == kFmt) {
            if (!riffSeen || !waveSeen) {
                setError("WaveFile: incorrect fmt block.");
                return false;
            }
            if (fmtSeen) break;
            if (!fmt.ReadBlock(stream)) return false;
            byteWidth = fmt.GetByteWidth();
            frameWidth = (long long)fmt.channels * byteWidth;
            fmtSeen = true;
        } else if (m == kData) {
            if (!riffSeen || !waveSeen || !fmtSeen) {
                setError("WaveFile: incorrect data block.");
                return false;
            }
            uint32_t s;
            if (!in.U32(s)) break;
            dataSize = s;
            dataOffset = Position();
            // A writer that never came back to fill in its sizes.
            if ((riffSize == 8 && dataSize == 0 && size >= 45) || size < dataSize) dataSize = size;
            if (fmt.formatTag == kTagAdpcm && (dataSize & 1)) ++dataSize;
            Skip(dataSize);
            dataSeen = true;
            if (Position() != dataOffset + dataSize) Log::Debug("WaveFile: Seek past end error!");
        } else if (m == kFact) {
            if (!riffSeen || !waveSeen) {
                setError("WaveFile: incorrect fact block.");
                return false;
            }
            uint32_t s, frames;
            if (!in.U32(s) || !in.U32(frames)) break;
            if (s >= 9) Skip((long long)s - 8);
        } else if (m == kPeak) {
            if (!riffSeen || !waveSeen || !fmtSeen) {
                setError("WaveFile: incorrect peak block.");
                return false;
            }
            uint32_t s;
            if (!in.U32(s)) break;
            if (s != fmt.channels * 8 + 8) {
                setError("WaveFile: Peak block is incorrect for the number of channels.");
                return false;
            }
            if (!in.U32(peak.version) || !in.U32(peak.timeStamp)) break;
            peak.peaks.Clear(true);
            for (uint32_t c = 0; c < fmt.channels; ++c) {
                auto* p = new WavePeakBlock::PeakPos;
                const bool ok = in.F32(p->value) && in.U32(p->position);
                peak.peaks.Add(p);
                if (!ok) {
                    scanning = false;
                    break;
                }
            }
        } else if (m == kCue) {
            ReadCueBlock();
        } else if (m == kSmpl) {
            ReadSmplBlock();
        } else {
            const int c0 = int(m & 0xFF), c1 = int((m >> 8) & 0xFF), c2 = int((m >> 16) & 0xFF),
                      c3 = int(m >> 24);
            if (isPrintable(m)) {
                uint32_t s;
                if (!in.U32(s)) break;
                Skip(s);
                Log::Debug("WaveFile: unknown block marker: size %d - %c %c %c %c", int(s), c0, c1, c2, c3);
            } else if (stream->GetPosition() % 4 == 0) {
                Log::Debug("WaveFile: unknown block marker: realigned %c %c %c %c", c0, c1, c2, c3);
                break;
            } else {
                Skip(-3);
                Log::Debug("WaveFile: unknown block marker: realigned %c %c %c %c", c0, c1, c2, c3);
            }
        }
    } while (scanning && (unsigned long long)Position() < (unsigned long long)(size - 4));

    if (!riffSeen || !waveSeen || !fmtSeen || !dataSeen) {
        setError("WaveFile: insufficient data markers.");
        return false;
    }
    if (dataOffset < 1) {
        setError("WaveFile: insufficient wave data.");
        return false;
    }
    stream->SetPosition(start + dataOffset, Stream::FromStart);
    if (frameWidth != 0) totalFrames = std::max(0LL, std::min(size - dataOffset, dataSize)) / frameWidth;
    sampleFormat = fmt.GetSampleFormat();
    return true;
}

void WaveFileReaderInternal::ReadCueBlock() {
    Log::Debug("WaveFile: ReadCueBlock");
    LittleReader in(stream);
    uint32_t blockSize, count;
    if (!in.U32(blockSize) || !in.U32(count)) return;
    long long read = 4;
    for (uint32_t i = 0; i < count; ++i) {
        WaveFileCuePoint cue;
        // A count beyond the stream stops at its end.
        if (!in.U32(cue.id) || !in.U32(cue.position) || !in.U32(cue.chunkId) || !in.U32(cue.chunkStart) ||
            !in.U32(cue.blockStart) || !in.U32(cue.sampleOffset))
            return;
        cues.Add(new WaveFileCuePoint(cue));
        read += 24;
    }
    if (read != blockSize) {
        Log::Debug("WaveFile: Cue block size weirdness (%d != %d)", int(read), int(blockSize));
        Skip((long long)blockSize - read);
    }
}

void WaveFileReaderInternal::ReadSmplBlock() {
    LittleReader in(stream);
    uint32_t blockSize;
    if (!in.U32(blockSize)) return;
    const long long declared = ((long long)blockSize + 1) & ~1LL;
    Log::Debug("WaveFile: ReadSmplBlock");
    uint32_t v[9];
    for (uint32_t& x : v)
        if (!in.U32(x)) return;
    Log::Debug("Manufacturer: %i", int(v[0]));
    Log::Debug("Product: %i", int(v[1]));
    Log::Debug("Period: %i nsec", int(v[2]));
    Log::Debug("Midi Note: %i", int(v[3]));
    Log::Debug("SMPTE Format: %i", int(v[5]));
    Log::Debug("Loop Count: %i", int(v[7]));
    const uint32_t samplerData = v[8];
    long long left = declared - 36;
    for (uint32_t loop = 0; loop < v[7] && left >= 24; ++loop) {
        uint32_t l[6];
        for (uint32_t& x : l)
            if (!in.U32(x)) return;
        left -= 24;
        Log::Debug("Cue ID: %i", int(l[0]));
        Log::Debug("Type: %2u", l[1]);
        Log::Debug("Start: %5u", l[2]);
        Log::Debug("End: %5u", l[3]);
        Log::Debug("Fraction: %5u", l[4]);
        Log::Debug("Count: %5u", l[5]);
    }
    if (left <= 0) {
        if (samplerData != 0)
            Log::Debug("Sampler Data: %u (should be 0)", samplerData);
        else
            Log::Debug("Sampler Data: %u", samplerData);
        return;
    }
    if (left == samplerData)
        Log::Debug("Sampler Data: %u", samplerData);
    else
        Log::Debug("Sampler Data: %u (should have been %u)\n", unsigned(left), samplerData);
    for (long long i = 0; i < left; ++i) {
        unsigned char b;
        if (!in.Bytes(&b, 1)) return;
        if (i > 0 && i % 20 == 0) Log::Debug("\n      ");
        Log::Debug("%02X ", b);
    }
}

// ---------------------------------------------------------------------------

class WaveFileWriterInternal final : public WaveFileWriter {
public:
    explicit WaveFileWriterInternal(Stream* s) : stream(s), samples(s, false) {
        stream->AddRef();
        start = std::max(0LL, stream->GetPosition());
    }

    void Release() override { delete this; }
    String GetError() const override { return WaveFileFormat::ErrorText(); }
    String GetFormatName() const override { return "WAVE"; }

    bool SetSampleRate(int rate) override {
        if (rate < 1) {
            setError("WaveFile: Invalid sample rate.");
            return false;
        }
        sampleRate = rate;
        return true;
    }
    bool SetNumChannels(int n) override {
        if (n < 1 || n > 256) {
            setError("WaveFile: Invalid number of channels.");
            return false;
        }
        channels = n;
        return true;
    }
    bool SetSampleFormat(int f) override {
        if (f < 1 || f > 9) {
            byteWidth = 0;
            setError("WaveFile: Invalid sub-format.");
            return false;
        }
        sampleFormat = f;
        byteWidth = SampleFormatByteWidth(f);
        return true;
    }
    void SetExtensible(bool b) override { extensible = b; }
    void SetDither(bool b) override { dither = b; }

    bool WriteStart() override;
    long long WriteFrames(const float* in, long long frames) override;
    bool WriteEnd() override;

private:
    ~WaveFileWriterInternal() override { stream->Release(); }

    bool WriteHeader(bool final);
    bool WriteFmtBlock(LittleWriter& out) const;
    bool WritePeakBlock(LittleWriter& out) const;

    Stream* stream;
    long long start = 0;
    long long size = 0;
    long long dataOffset = 0;
    long long dataSize = 0;
    long long frameCount = 0;
    long long framePosition = 0;
    int sampleFormat = kSampleNone;
    int sampleRate = 0;
    int channels = 0;
    int byteWidth = 0;
    bool extensible = false;
    bool dither = false;
    std::vector<double> ditherMemory;
    std::vector<float> ditherCopy;
    SampleWriter samples;
    bool peakOn = false;
    bool peakInHeader = false;
    PtrArray<WavePeakBlock::PeakPos> peaks;
    PtrArray<WaveFileCuePoint> cues;
};

bool WaveFileWriterInternal::WriteStart() {
    if (sampleFormat == kSampleNone) {
        setError("WaveFile: Invalid sub-format.");
        return false;
    }
    if (sampleRate < 1) {
        setError("WaveFile: Invalid sampleRate.");
        return false;
    }
    if (channels < 1 || channels > 256) {
        setError("WaveFile: Invalid number of channels.");
        return false;
    }
    peaks.Clear(true);
    if (sampleFormat == kSampleFloat || sampleFormat == kSampleDouble) {
        for (int c = 0; c < channels; ++c) peaks.Add(new WavePeakBlock::PeakPos);
        peakOn = peakInHeader = true;
    } else {
        peakOn = false;
    }
    if (!WriteHeader(false)) return false;
    if (dither) ditherMemory.assign(size_t(channels) * 5, 0.0);  // 40 bytes a channel
    return true;
}

bool WaveFileWriterInternal::WriteFmtBlock(LittleWriter& out) const {
    if (sampleFormat < 1 || sampleFormat > 9 || sampleFormat == kSamplePcmS8) {
        setError("WaveFile: Unsupported sub-format");
        return false;
    }
    const uint32_t width = uint32_t(byteWidth);
    const uint32_t ch = uint32_t(channels);
    uint32_t kind;
    switch (sampleFormat) {
        case kSampleFloat:
        case kSampleDouble:
            kind = kTagFloat;
            break;
        case kSampleALaw:
            kind = kTagALaw;
            break;
        case kSampleULaw:
            kind = kTagULaw;
            break;
        default:
            kind = kTagPcm;
            break;
    }
    out.U32(kFmt);
    out.U32(extensible ? 40 : 16);
    out.U16(extensible ? kTagExtensible : kind);
    out.U16(ch);
    out.U32(uint32_t(sampleRate));
    out.U32(uint32_t(sampleRate) * ch * width);
    out.U16(ch * width);
    out.U16(width * 8);
    if (extensible) {
        out.U16(22);
        out.U16(width * 8);
        out.U32(channels == 2 ? 3 : 0);
        out.U32(kind);
        out.Raw(kGuidTail, 12);
    }
    return true;
}

bool WaveFileWriterInternal::WritePeakBlock(LittleWriter& out) const {
    if (peaks.GetCount() != channels) return false;
    out.U32(kPeak);
    out.U32(uint32_t(channels) * 8 + 8);
    out.U32(1);
    out.U32(uint32_t(std::time(nullptr)));
    for (int c = 0; c < channels; ++c) {
        out.F32(peaks.Get(c)->value);
        out.U32(peaks.Get(c)->position);
    }
    return true;
}

bool WaveFileWriterInternal::WriteHeader(bool final) {
    const long long remembered = stream->GetPosition();
    if (final) {
        size = stream->GetLength() - start;
        dataSize = size - dataOffset;
        if (byteWidth > 0) frameCount = dataSize / ((long long)channels * byteWidth);
    }
    LittleWriter out;
    out.U32(kRiff);
    out.U32(size > 7 ? uint32_t(size - 8) : 8);
    out.U32(kWave);
    if (!WriteFmtBlock(out)) return false;
    if (sampleFormat != kSamplePcmU8 && sampleFormat != kSamplePcm16 && sampleFormat != kSamplePcm24 &&
        sampleFormat != kSamplePcm32) {
        out.U32(kFact);
        out.U32(4);
        out.U32(uint32_t(frameCount));
    }
    if (peakOn && peakInHeader && !WritePeakBlock(out)) return false;
    out.U32(kData);
    out.U32(uint32_t(dataSize));
    if (stream->SetPosition(start, Stream::FromStart) < 0) return false;
    const long long n = (long long)out.bytes.size();
    if (stream->Write(out.bytes.data(), n, 1) != n) return false;
    dataOffset = n;
    if (remembered - start < dataOffset)
        stream->SetPosition(start + dataOffset, Stream::FromStart);
    else if (remembered - start > 0)
        stream->SetPosition(remembered, Stream::FromStart);
    return true;
}

long long WaveFileWriterInternal::WriteFrames(const float* in, long long frames) {
    if (!in || frames < 1 || channels < 1 || sampleFormat == kSampleNone) return 0;
    const long long count = frames * channels;
    if (peakOn && peaks.GetCount() == channels) {
        for (int c = 0; c < channels; ++c) {
            WavePeakBlock::PeakPos* p = peaks.Get(c);
            float best = p->value;
            long long bestIndex = -1;
            for (long long i = c; i < count; i += channels) {
                const float a = std::fabs(in[i]);
                if (a > best) {
                    best = a;
                    bestIndex = i;
                }
            }
            if (bestIndex >= 0) {
                p->value = best;
                p->position = uint32_t(bestIndex / channels + framePosition);
            }
        }
    }
    long long written;
    if (dither && sampleFormat <= kSamplePcm32 && ditherMemory.size() == size_t(channels) * 5) {
        // High-passed noise over the whole of -1..1, as the writer has always
        // added it; the copy is kept for the next call.
        ditherCopy.resize(size_t(count));
        for (int c = 0; c < channels; ++c) {
            double memory = ditherMemory[size_t(c) * 5];
            for (long long i = c; i < count; i += channels) {
                const double d = std::rand() * 4.656613e-10 * 2 - 1.0;
                ditherCopy[size_t(i)] = float(in[i] + d - memory);
                memory = d;
            }
            ditherMemory[size_t(c) * 5] = memory;
        }
        written = samples.Write(sampleFormat, ditherCopy.data(), count);
    } else {
        written = samples.Write(sampleFormat, in, count);
    }
    const long long f = written / channels;
    framePosition += f;
    frameCount += f;
    return f;
}

bool WaveFileWriterInternal::WriteEnd() {
    if (!WriteHeader(true)) return false;
    stream->SetPosition(0, Stream::FromEnd);
    if (peakOn && !peakInHeader) {
        LittleWriter out;
        if (WritePeakBlock(out)) stream->Write(out.bytes.data(), (long long)out.bytes.size(), 1);
    }
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------

String& WaveFileFormat::ErrorText() {
    static String text;
    return text;
}

String WaveFileFormat::GetFormatName() const { return "WAVE"; }
String WaveFileFormat::GetCompanyName() const { return "Microsoft"; }
String WaveFileFormat::GetError() const { return ErrorText(); }

bool WaveFileFormat::HasExtension(const String& extension) const {
    return extension.EqualsIgnoreCase(".wav") || extension.EqualsIgnoreCase(".wave");
}

WaveFileReader* WaveFileFormat::CreateReader(Stream* stream) {
    ErrorText() = "";
    if (!stream) {
        setError("WaveFile: Bad input stream pointer.");
        return nullptr;
    }
    const int mode = stream->GetStreamMode();
    if (mode != Stream::ModeRead && mode != Stream::ModeReadWrite) {
        setError("WaveFile: Stream not readable.");
        return nullptr;
    }
    auto* reader = new WaveFileReaderInternal(stream);
    if (!reader->ReadHeader()) {
        reader->Release();
        return nullptr;
    }
    return reader;
}

WaveFileWriter* WaveFileFormat::CreateWriter(Stream* stream) {
    ErrorText() = "";
    if (!stream) {
        setError("WaveFile: Bad output stream pointer.");
        return nullptr;
    }
    const int mode = stream->GetStreamMode();
    if (mode != Stream::ModeWrite && mode != Stream::ModeReadWrite) {
        setError("WaveFile: Stream not writable.");
        return nullptr;
    }
    return new WaveFileWriterInternal(stream);
}

}  // namespace tam
