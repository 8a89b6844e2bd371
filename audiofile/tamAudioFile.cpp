#include "audiofile/tamAudioFile.h"

namespace tam {

int SampleFormatByteWidth(int sampleFormat) {
    static constexpr int kWidths[10] = {0, 1, 1, 2, 3, 4, 4, 8, 1, 1};
    return sampleFormat >= 0 && sampleFormat <= 9 ? kWidths[sampleFormat] : 0;
}

AudioFileFormat* AudioFileManager::FindFormatFromFileExtension(const String& extension) const {
    for (int i = 0; i < formats.GetCount(); ++i) {
        AudioFileFormat* format = formats.Get(i);
        if (format && format->HasExtension(extension)) return format;
    }
    return nullptr;
}

}  // namespace tam
