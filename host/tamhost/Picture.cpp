// Waveform and spectrogram pictures of rendered audio.
#include "tamhost/Picture.h"

#include <cairo.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <stdexcept>

namespace tamhost {

namespace {

constexpr size_t kFftSize = 2048;
constexpr double kFloorDb = -160.0;

void fft(std::vector<std::complex<double>>& a) {
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; ++i) {
        size_t bit = n >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    for (size_t length = 2; length <= n; length <<= 1) {
        const double angle = -2.0 * M_PI / static_cast<double>(length);
        const std::complex<double> step(std::cos(angle), std::sin(angle));
        for (size_t i = 0; i < n; i += length) {
            std::complex<double> w(1.0);
            for (size_t k = 0; k < length / 2; ++k) {
                const auto u = a[i + k];
                const auto v = a[i + k + length / 2] * w;
                a[i + k] = u + v;
                a[i + k + length / 2] = u - v;
                w *= step;
            }
        }
    }
}

// Dark blue through red to pale yellow, for 0..1.
void heat(double x, double& r, double& g, double& b) {
    x = std::clamp(x, 0.0, 1.0);
    r = std::clamp(x * 2.0, 0.0, 1.0);
    g = std::clamp(x * 2.0 - 0.8, 0.0, 1.0);
    b = x < 0.35 ? 0.15 + x : std::clamp(1.2 * (x - 0.75) * 4.0, 0.0, 1.0);
}

}  // namespace

std::vector<double> spectrumDb(const std::vector<float>& samples, size_t start, size_t size) {
    if (size < 2 || (size & (size - 1)) != 0) throw std::invalid_argument("the frame size is a power of two");
    std::vector<std::complex<double>> a(size);
    for (size_t i = 0; i < size; ++i) {
        const double window = 0.5 - 0.5 * std::cos(2.0 * M_PI * static_cast<double>(i) / static_cast<double>(size));
        const size_t at = start + i;
        const double v = at < samples.size() && std::isfinite(samples[at]) ? samples[at] : 0.0;
        a[i] = window * v;
    }
    fft(a);
    std::vector<double> db(size / 2 + 1);
    const double scale = 1.0 / (static_cast<double>(size) * static_cast<double>(size));
    for (size_t k = 0; k < db.size(); ++k)
        db[k] = std::max(kFloorDb, 10.0 * std::log10(std::norm(a[k]) * scale + 1e-300));
    return db;
}

void writePicture(const std::string& path, const AudioData& audio, const PictureOptions& options) {
    const int width = std::clamp(options.width, 200, 8000);
    const int height = std::clamp(options.height, 200, 8000);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 0.08, 0.08, 0.1);
    cairo_paint(cr);

    const double margin = 30.0;
    const double plotWidth = width - 2 * margin;
    const double waveTop = margin;
    const double waveHeight = (height - 3 * margin) * 0.35;
    const double specTop = waveTop + waveHeight + margin;
    const double specHeight = height - specTop - margin;
    const size_t frames = audio.frames();
    const size_t channels = std::max<size_t>(audio.channels.size(), 1);

    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 13.0);
    cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
    cairo_move_to(cr, margin, margin - 10);
    const double seconds = audio.sampleRate > 0 ? static_cast<double>(frames) / audio.sampleRate : 0.0;
    const std::string caption = (options.title.empty() ? std::string("output") : options.title) + "   " +
                                std::to_string(channels) + " ch, " + std::to_string(seconds).substr(0, 5) + " s";
    cairo_show_text(cr, caption.c_str());

    // Waveforms: the range of each pixel column, one lane per channel.
    const double lane = waveHeight / static_cast<double>(channels);
    for (size_t c = 0; c < audio.channels.size(); ++c) {
        const auto& s = audio.channels[c];
        const double mid = waveTop + lane * (static_cast<double>(c) + 0.5);
        cairo_set_source_rgb(cr, 0.3, 0.3, 0.35);
        cairo_set_line_width(cr, 1.0);
        cairo_move_to(cr, margin, mid);
        cairo_line_to(cr, margin + plotWidth, mid);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.35, 0.8, 0.55);
        for (int x = 0; x < static_cast<int>(plotWidth) && frames > 0; ++x) {
            const size_t from = frames * static_cast<size_t>(x) / static_cast<size_t>(plotWidth);
            const size_t to = std::max(from + 1, frames * static_cast<size_t>(x + 1) / static_cast<size_t>(plotWidth));
            float low = 0.0f;
            float high = 0.0f;
            for (size_t i = from; i < to && i < s.size(); ++i) {
                if (!std::isfinite(s[i])) continue;
                low = std::min(low, s[i]);
                high = std::max(high, s[i]);
            }
            const double half = lane * 0.45;
            const double y0 = mid - std::clamp(static_cast<double>(high), -1.0, 1.0) * half;
            const double y1 = mid - std::clamp(static_cast<double>(low), -1.0, 1.0) * half;
            cairo_rectangle(cr, margin + x, y0, 1.0, std::max(1.0, y1 - y0));
        }
        cairo_fill(cr);
    }

    // Spectrogram of the channels' sum, 0 to -120 dB.
    if (frames > 0) {
        std::vector<float> sum(frames, 0.0f);
        for (const auto& s : audio.channels)
            for (size_t i = 0; i < frames && i < s.size(); ++i) sum[i] += s[i];
        const int columns = static_cast<int>(plotWidth);
        const double nyquist = audio.sampleRate / 2.0;
        const double top = options.maxFrequency > 0 ? std::min(options.maxFrequency, nyquist) : nyquist;
        const int rows = static_cast<int>(specHeight);
        for (int x = 0; x < columns; ++x) {
            const size_t centre = frames * static_cast<size_t>(x) / static_cast<size_t>(columns);
            const size_t start = centre >= kFftSize / 2 ? centre - kFftSize / 2 : 0;
            const auto db = spectrumDb(sum, start, kFftSize);
            for (int y = 0; y < rows; ++y) {
                const double frequency = top * (1.0 - static_cast<double>(y) / rows);
                const auto bin = std::min(db.size() - 1, static_cast<size_t>(frequency / nyquist * (db.size() - 1)));
                double r, g, b;
                heat((db[bin] + 120.0) / 120.0, r, g, b);
                cairo_set_source_rgb(cr, r, g, b);
                cairo_rectangle(cr, margin + x, specTop + y, 1.0, 1.0);
                cairo_fill(cr);
            }
        }
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        cairo_move_to(cr, margin + 4, specTop + 14);
        const std::string label = std::to_string(static_cast<int>(top)) + " Hz";
        cairo_show_text(cr, label.c_str());
    }

    cairo_destroy(cr);
    const std::filesystem::path target(path);
    const std::string temporary = temporaryPath(target);
    const cairo_status_t status = cairo_surface_write_to_png(surface, temporary.c_str());
    cairo_surface_destroy(surface);
    std::error_code code;
    if (status == CAIRO_STATUS_SUCCESS) std::filesystem::rename(temporary, target, code);
    if (status != CAIRO_STATUS_SUCCESS || code) {
        std::filesystem::remove(temporary, code);
        throw std::runtime_error("cannot write '" + path + "': " + cairo_status_to_string(status));
    }
}

}  // namespace tamhost
