// White-box tests of the wave tables, the waveform blob and the blob maker.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sound/tamBlobWaveform.h"
#include "sound/tamWaveTable.h"
#include "test_osc_support.h"

using osctest::refs;
using tam::WaveTable;

namespace {

bool tableFinite(const WaveTable& t) {
    for (int b = 0; b < t.GetCount(); ++b)
        for (int i = 0; i < t.GetBand(b)->size; ++i)
            if (!std::isfinite(t.GetBand(b)->data[i]))
                return false;
    return true;
}

float bandPeak(const WaveTable::Band* band) {
    float peak = 0.0f;
    for (int i = 0; i < band->size; ++i)
        peak = std::max(peak, std::fabs(band->data[i]));
    return peak;
}

}  // namespace

TEST(WaveTable, TransformMatchesReference) {
    const auto& in = refs()["fft_in"];
    const auto& expected = refs()["fft_out"];
    std::vector<double> re = in["re"].get<std::vector<double>>();
    std::vector<double> im = in["im"].get<std::vector<double>>();
    tam::PerformFFT(64, re.data(), im.data());
    for (int i = 0; i < 64; ++i) {
        EXPECT_NEAR(re[i], expected["re"][i].get<double>(), 1e-9) << i;
        EXPECT_NEAR(im[i], expected["im"][i].get<double>(), 1e-9) << i;
    }
    // Counts it cannot take are left alone.
    std::vector<double> r3{1, 2, 3}, i3{4, 5, 6};
    tam::PerformFFT(3, r3.data(), i3.data());
    EXPECT_EQ(r3, (std::vector<double>{1, 2, 3}));
    tam::PerformFFT(1, r3.data(), i3.data());
    EXPECT_EQ(i3, (std::vector<double>{4, 5, 6}));
}

TEST(WaveTable, OctaveBandsFollowTheRate) {
    for (int rate : {44100, 48000}) {
        WaveTable t;
        t.BuildWaveform(4, rate, 20.0);
        const auto& bands = refs()["bands_" + std::to_string(rate)];
        ASSERT_EQ(t.GetCount(), static_cast<int>(bands.size())) << rate;
        for (int b = 0; b < t.GetCount(); ++b) {
            EXPECT_EQ(t.GetBand(b)->size, bands[b]["size"].get<int>());
            EXPECT_DOUBLE_EQ(t.GetBand(b)->upperLimit, bands[b]["limit"].get<double>());
        }
        // The first band is normalised just below full scale; the others share its gain.
        EXPECT_NEAR(bandPeak(t.GetBand(0)), 0.999f, 1e-6);
        EXPECT_LT(bandPeak(t.GetBand(t.GetCount() - 1)), 0.999f);
    }
    // A single harmonic: four points, one band.
    WaveTable one;
    one.BuildWaveform(0, 300, 100.0);
    ASSERT_EQ(one.GetCount(), 1);
    EXPECT_EQ(one.GetBand(0)->size, 4);

    // Band choice: below the first limit band 0, above every limit the last.
    WaveTable t;
    t.BuildWaveform(2, 44100, 20.0);
    EXPECT_EQ(t.ChooseBand(0.0), t.GetBand(0));
    EXPECT_EQ(t.ChooseBand(40.0 / 44100 * 1.5), t.GetBand(1));
    EXPECT_EQ(t.ChooseBand(0.9), t.GetBand(t.GetCount() - 1));
    EXPECT_EQ(WaveTable().ChooseBand(0.1), nullptr);
}

TEST(WaveTable, NoiseTablesHoldOneSecond) {
    for (int type = 5; type <= 8; ++type) {
        WaveTable t;
        t.BuildWaveform(type, 8000, 20.0);
        ASSERT_EQ(t.GetCount(), 1);
        EXPECT_EQ(t.GetBand(0)->size, 8000);
        EXPECT_EQ(t.GetBand(0)->upperLimit, 0.0);
        EXPECT_TRUE(tableFinite(t));
    }
    // Odd counts are filled exactly: the float behind the end stays.
    std::vector<float> out(11, 42.0f);
    WaveTable::GenerateWhiteNoise(out.data(), 10);
    EXPECT_EQ(out[10], 42.0f);
    EXPECT_NE(out[9], 42.0f);
    WaveTable::GenerateBlueNoise(out.data(), 7);
    for (int i = 0; i < 7; ++i)
        EXPECT_GE(out[i], 0.0f);
}

TEST(WaveTable, NonsenseRatesAndFrequenciesGiveNoBands) {
    WaveTable t;
    t.BuildWaveform(0, 44100, 20.0);
    ASSERT_FALSE(t.IsEmpty());
    for (double lowest : {0.0, -5.0, std::nan(""), 1e-12}) {
        t.BuildWaveform(0, 44100, lowest);
        EXPECT_TRUE(t.IsEmpty()) << lowest;
    }
    t.BuildWaveform(0, 0, 20.0);
    EXPECT_TRUE(t.IsEmpty());
    t.BuildWaveform(5, -1, 20.0);
    EXPECT_TRUE(t.IsEmpty());
    t.BuildWaveform(5, 1127743488, 20.0);  // the unrounded word of a rate
    EXPECT_TRUE(t.IsEmpty());
    // A type with no recipe builds silent bands, not NaN.
    t.BuildWaveform(11, 44100, 20.0);
    EXPECT_EQ(t.GetCount(), 10);
    EXPECT_TRUE(tableFinite(t));
    EXPECT_EQ(bandPeak(t.GetBand(0)), 0.0f);
    float spare[1] = {0.0f};
    const int count = t.GetCount();
    EXPECT_FALSE(t.Add(spare, 0, 0.0));  // taken only with a size
    EXPECT_EQ(t.GetCount(), count);
}

TEST(WaveTable, SampleFamilies) {
    std::vector<float> saw(256);
    for (int i = 0; i < 256; ++i)
        saw[i] = static_cast<float>(i) / 128.0f - 1.0f;
    WaveTable t;
    ASSERT_TRUE(t.BuildFromSamples(saw.data(), 256));
    ASSERT_EQ(t.GetCount(), 8);  // h = 128 .. 2, then silence
    for (int b = 0; b < 8; ++b) {
        EXPECT_EQ(t.GetBand(b)->size, 256);
        EXPECT_NEAR(t.GetBand(b)->upperLimit, (0.6666666666666666 / 128) * (1 << b), 1e-15);
    }
    EXPECT_NEAR(bandPeak(t.GetBand(0)), 0.999f, 1e-6);
    EXPECT_EQ(bandPeak(t.GetBand(7)), 0.0f);
    // Band 0 is the source without its mean and Nyquist term, one sample late.
    std::vector<double> expect(256);
    for (int i = 0; i < 256; ++i)
        expect[i] = saw[(i + 255) % 256] + 1.0 / 256.0;  // the mean of this ramp is -1/256
    // (The removed Nyquist term is 1/256 here, inside the tolerance.)
    double maxErr = 0.0;
    double dot = 0.0, norm = 0.0;
    for (int i = 0; i < 256; ++i) {
        dot += t.GetBand(0)->data[i] * expect[i];
        norm += expect[i] * expect[i];
    }
    const double g = dot / norm;
    for (int i = 0; i < 256; ++i) {
        maxErr = std::max(maxErr, std::fabs(t.GetBand(0)->data[i] / g - expect[i]));
    }
    EXPECT_LT(maxErr, 0.02);

    // Degenerate inputs never make NaN nor read past the samples.
    std::vector<float> silent(64, 0.0f);
    ASSERT_TRUE(t.BuildFromSamples(silent.data(), 64));
    EXPECT_TRUE(tableFinite(t));
    EXPECT_EQ(bandPeak(t.GetBand(0)), 0.0f);
    std::vector<float> two{1.0f, -1.0f};
    ASSERT_TRUE(t.BuildFromSamples(two.data(), 2));
    EXPECT_EQ(t.GetCount(), 1);
    EXPECT_TRUE(tableFinite(t));
    std::vector<float> nan(16, std::nanf(""));
    ASSERT_TRUE(t.BuildFromSamples(nan.data(), 16));
    EXPECT_TRUE(tableFinite(t));
    // Counts the transform cannot take are refused and the bands stay.
    const int before = t.GetCount();
    std::vector<float> three{1.0f, 0.0f, -1.0f};
    EXPECT_FALSE(t.BuildFromSamples(three.data(), 3));
    std::vector<float> hundred(100, 0.5f);
    EXPECT_FALSE(t.BuildFromSamples(hundred.data(), 100));
    EXPECT_FALSE(t.BuildFromSamples(hundred.data(), 0));
    EXPECT_EQ(t.GetCount(), before);
}

TEST(BlobWaveform, RoundTripAndHostileBlobs) {
    std::vector<float> samples{0.5f, -0.25f, 1.0f, 0.0f};
    MpBlob blob = BlobWaveform::Create(samples.data(), 4);
    ASSERT_EQ(blob.getSize(), 12 + 16);
    EXPECT_EQ(std::memcmp(blob.getData(), "WAVE", 4), 0);
    EXPECT_EQ(std::vector<uint8_t>(blob.getData(), blob.getData() + blob.getSize()), osctest::waveBlob(samples));
    tam::Buffer<float> back;
    ASSERT_TRUE(BlobWaveform::Read(blob, &back));
    ASSERT_EQ(back.GetSize(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(back.GetData()[i], samples[i]);

    auto read = [](const std::vector<uint8_t>& bytes, tam::Buffer<float>* out) {
        MpBlob b(static_cast<int32_t>(bytes.size()), bytes.data());
        return BlobWaveform::Read(b, out);
    };
    tam::Buffer<float> keep;
    keep.SetSize(3);
    EXPECT_FALSE(read({}, &keep));
    EXPECT_FALSE(read({'W', 'A', 'V'}, &keep));
    EXPECT_FALSE(read(osctest::waveBlob(samples, "CRVE"), &keep));
    EXPECT_FALSE(read(osctest::waveBlob(samples, "WAVE", 7), &keep));
    EXPECT_FALSE(read(osctest::waveBlob(samples, "WAVE", 8, 1 << 30), &keep));
    EXPECT_FALSE(read(osctest::waveBlob(samples, "WAVE", 8, 5), &keep));
    EXPECT_EQ(keep.GetSize(), 3);
    EXPECT_TRUE(read(osctest::waveBlob({}, "WAVE", 8, -4), &keep));
    EXPECT_EQ(keep.GetSize(), 0);
}

TEST(BlobWaveform, GeneratedWaveforms) {
    for (int w = 0; w <= 4; ++w) {
        tam::Buffer<float> got;
        ASSERT_TRUE(BlobWaveform::Read(BuildWaveformToBlob(w, 7.5f), &got));
        ASSERT_EQ(got.GetSize(), 256);
        const auto& expected = refs()["blob_7v5"][std::to_string(w)];
        for (int i = 0; i < 256; ++i)
            ASSERT_NEAR(got.GetData()[i], expected[i].get<float>(), 2e-6) << w << " " << i;
    }
    auto samples = [](int w, float volts) {
        tam::Buffer<float> b;
        BlobWaveform::Read(BuildWaveformToBlob(w, volts), &b);
        return std::vector<float>(b.GetData(), b.GetData() + b.GetSize());
    };
    // Out-of-range numbers clamp: -3 is the sine, 12 the blue noise (all >= 0).
    EXPECT_EQ(samples(-3, 10.0f), samples(0, 10.0f));
    for (float v : samples(12, 10.0f))
        EXPECT_GE(v, 0.0f);
    // 20 volts clamps to full scale; negative and NaN amplitudes to silence.
    EXPECT_EQ(samples(4, 20.0f)[0], 1.0f);
    EXPECT_EQ(samples(4, -3.0f)[0], 0.0f);
    EXPECT_EQ(samples(4, std::nanf(""))[0], 0.0f);
    for (int w = 5; w <= 8; ++w) {
        const auto s = samples(w, 10.0f);
        ASSERT_EQ(s.size(), 256u);
        EXPECT_TRUE(osctest::allFinite(s));
        EXPECT_GT(osctest::rms(s), 0.01) << w;
    }
}
