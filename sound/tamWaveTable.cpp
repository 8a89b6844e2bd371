#include "sound/tamWaveTable.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "foundation/tamRandom.h"

namespace tam {

namespace {

bool isPowerOfTwo(int n) { return n > 0 && (n & (n - 1)) == 0; }

// One uniform draw in -1 .. 1 from 15 random bits.
inline double noiseDraw() {
    const double d = Random::Rand15() * 6.1035156e-5 - 1.0;
    return d < -1.0 ? -1.0 : (d > 1.0 ? 1.0 : d);
}

// The pink filter bank over white noise, times a final gain.
void filterPink(float* out, int count, double finalGain) {
    std::unique_ptr<float[]> white(new float[static_cast<size_t>(count)]);
    WaveTable::GenerateWhiteNoise(white.get(), count);
    double b0 = 0.0, b1 = 0.0, b2 = 0.0, b3 = 0.0, b4 = 0.0, b5 = 0.0, b6 = 0.0;
    for (int i = 0; i < count; ++i) {
        const double w = white[i];
        b0 = 0.99886 * b0 + w * 0.0555179;
        b1 = 0.99332 * b1 + w * 0.0750759;
        b2 = 0.969 * b2 + w * 0.153852;
        b3 = 0.8665 * b3 + w * 0.3104856;
        b4 = 0.55 * b4 + w * 0.5329522;
        b5 = -0.7616 * b5 - w * 0.016898;
        const double pink = (b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362) * 0.3;
        b6 = w * 0.115926;  // enters the sum one sample late
        out[i] = static_cast<float>(pink * finalGain);
    }
}

}  // namespace

void PerformFFT(int n, double* re, double* im) {
    if (n < 2 || !isPowerOfTwo(n))
        return;
    for (int i = 1, j = 0; i < n; ++i) {
        int bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) {
            std::swap(re[i], re[j]);
            std::swap(im[i], im[j]);
        }
    }
    const double pi = 3.14159265358979323846;
    for (int half = 1; half < n; half <<= 1) {
        const double stepRe = std::cos(pi / half);
        const double stepIm = -std::sin(pi / half);
        double wRe = 1.0, wIm = 0.0;
        for (int k = 0; k < half; ++k) {
            for (int a = k; a < n; a += 2 * half) {
                const int b = a + half;
                const double tRe = re[b] * wRe - im[b] * wIm;
                const double tIm = re[b] * wIm + im[b] * wRe;
                re[b] = re[a] - tRe;
                im[b] = im[a] - tIm;
                re[a] += tRe;
                im[a] += tIm;
            }
            const double next = wRe * stepRe - wIm * stepIm;
            wIm = wRe * stepIm + wIm * stepRe;
            wRe = next;
        }
    }
}

bool WaveTable::Add(float* data, int size, double upperLimit) {
    if (size < 1)
        return false;
    bands.Add(new Band(data, size, upperLimit));
    return true;
}

void WaveTable::OnGenerateTable(int type, int size, int harmonics, double* re, double* im) {
    for (int i = 0; i < size; ++i)
        re[i] = im[i] = 0.0;
    if (type < 0 || type > 4)
        return;
    const int h = std::min(size / 2, harmonics);
    double triangleSign = 1.0;  // flips before each odd harmonic: -1 at k = 1
    for (int k = 1; k <= h; ++k) {
        double a = 0.0;
        const double dk = k;
        const bool odd = (k & 1) != 0;
        switch (type) {
        case 0:
            a = 1.0 / ((dk - 0.8) * dk);
            break;
        case 1:
            a = odd ? 1.0 / dk : 0.0;
            break;
        case 2:
            a = 1.0 / dk;
            break;
        case 3:
            if (odd) {
                triangleSign = -triangleSign;
                a = triangleSign / (dk * dk);
            }
            break;
        default:
            a = -1.0 / dk;
            break;
        }
        re[k] = -a;
        re[size - k] = a;
    }
}

double WaveTable::ProcessTable(int size, double gain, double upperLimit, double* re, double* im) {
    PerformFFT(size, re, im);
    if (gain == 0.0) {
        double peak = 0.0;
        for (int i = 0; i < size; ++i)
            peak = std::max(peak, std::fabs(im[i]));
        // A silent family keeps silent tables instead of dividing by zero.
        gain = (peak > 0.0 && std::isfinite(peak)) ? (1.0 / peak) * 0.999 : 0.999;
    }
    if (size < 1)
        return 0.0;
    float* table = new float[static_cast<size_t>(size)];
    for (int i = 0; i < size; ++i)
        table[i] = static_cast<float>(im[i] * gain);
    if (!Add(table, size, upperLimit)) {
        delete[] table;
        return 0.0;
    }
    return gain;
}

void WaveTable::BuildWaveform(int type, int sampleRate, double lowestFrequency) {
    Clear();
    if (sampleRate < 1 || sampleRate > kMaxSampleRate)
        return;
    if (type >= 5 && type <= 8) {
        float* table = new float[static_cast<size_t>(sampleRate)];
        switch (type) {
        case 5: GenerateWhiteNoise(table, sampleRate); break;
        case 6: GeneratePinkNoise(table, sampleRate); break;
        case 7: GenerateRedNoise(table, sampleRate); break;
        default: GenerateBlueNoise(table, sampleRate); break;
        }
        Add(table, sampleRate, 0.0);
        return;
    }
    const double harmonicsExact = std::trunc(sampleRate / (3.0 * lowestFrequency) + 0.5);
    if (!(harmonicsExact >= 0.0) || harmonicsExact > kMaxHarmonics)
        return;  // no or a nonsensical lowest frequency
    int harmonics = static_cast<int>(harmonicsExact);
    if (harmonics < 1)
        return;
    int pow2 = 1;
    while (pow2 < harmonics)
        pow2 <<= 1;
    int size = 4 * pow2;
    std::unique_ptr<double[]> re(new double[static_cast<size_t>(size)]);
    std::unique_ptr<double[]> im(new double[static_cast<size_t>(size)]);
    double limit = 2.0 * lowestFrequency / sampleRate;
    double gain = 0.0;
    for (;;) {
        OnGenerateTable(type, size, harmonics, re.get(), im.get());
        gain = ProcessTable(size, gain, limit, re.get(), im.get());
        if (size > 99999)
            size /= 2;
        const bool last = harmonics < 2;
        harmonics /= 2;
        limit *= 2.0;
        if (last)
            break;
    }
}

bool WaveTable::BuildFromSamples(const float* samples, int count) {
    if (count < 1 || samples == nullptr)
        return false;
    if (!isPowerOfTwo(count))
        return false;  // the transform cannot take it
    Clear();
    std::unique_ptr<double[]> re(new double[static_cast<size_t>(count)]);
    std::unique_ptr<double[]> im(new double[static_cast<size_t>(count)]);
    for (int i = 0; i < count; ++i) {
        re[i] = 0.0;
        // Reversed into the imaginary part: the way back is a forward transform too.
        const float s = samples[count - 1 - i];
        im[i] = std::isfinite(s) ? s : 0.0;
    }
    PerformFFT(count, re.get(), im.get());
    ProcessSamples(count, re.get(), im.get());
    return true;
}

void WaveTable::ProcessSamples(int count, double* re, double* im) {
    if (count < 1)
        return;
    re[0] = im[0] = 0.0;
    re[count / 2] = im[count / 2] = 0.0;
    int h = count / 2;
    if (h < 1)
        return;
    double limit = 0.6666666666666666 / h;
    double gain = 0.0;
    std::unique_ptr<double[]> wre(new double[static_cast<size_t>(count)]);
    std::unique_ptr<double[]> wim(new double[static_cast<size_t>(count)]);
    for (;;) {
        for (int i = 0; i < count; ++i)
            wre[i] = wim[i] = 0.0;
        if (h < 2) {
            ProcessTable(count, gain, limit, wre.get(), wim.get());
            return;  // the last band holds silence
        }
        for (int k = 1; k < h; ++k) {
            wre[k] = re[k];
            wim[k] = im[k];
            wre[count - k] = re[count - k];
            wim[count - k] = im[count - k];
        }
        gain = ProcessTable(count, gain, limit, wre.get(), wim.get());
        h /= 2;
        limit *= 2.0;
    }
}

void WaveTable::GenerateWhiteNoise(float* out, int count) {
    if (out == nullptr || count < 1)
        return;
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    double m[4][4] = {};
    int written = 0;
    while (written < count) {
        for (int row = 0; row < 4; ++row) {
            for (int c = 0; c < 4; ++c) {
                const double draw = noiseDraw();
                switch (row) {
                case 0:
                    m[0][c] = draw;
                    break;
                case 1:
                    m[1][c] = (c == 1 || c == 3) ? m[1][c - 1] : draw;
                    break;
                case 2:
                    m[2][c] = c >= 1 ? m[2][c - 1] : draw;
                    break;
                default:
                    m[3][c] = m[0][c] + m[1][c] + m[2][c];
                    // The block makes four outputs; a count that is not a
                    // multiple of four stops here instead of overrunning.
                    if (written < count)
                        out[written++] = static_cast<float>(m[3][c] * 0.125);
                    break;
                }
            }
        }
    }
}

void WaveTable::GeneratePinkNoise(float* out, int count) {
    if (out == nullptr || count < 1)
        return;
    filterPink(out, count, 1.0);
}

void WaveTable::GenerateRedNoise(float* out, int count) {
    if (out == nullptr || count < 1)
        return;
    filterPink(out, count, 1.5);
}

void WaveTable::GenerateBlueNoise(float* out, int count) {
    if (out == nullptr || count < 1)
        return;
    GenerateWhiteNoise(out, count);
    for (int i = 0; i < count; ++i)
        out[i] = out[i] * out[i] * 1.5f;
}

}  // namespace tam
