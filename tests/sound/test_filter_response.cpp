// Frequency responses of the four filters, measured on the module's output
// (impulse in, through the factory and the reference host), against sox's
// impulse responses and scipy's designs of the same filters. Where the
// module departs from the textbook design, the textbook response must miss.
#include <gtest/gtest.h>

#include "tests/sound/test_filter_support.h"

using filtertest::ResponseCase;
using tamhost::DspModule;
using tamhost::DspOptions;

namespace {

struct Measured {
    std::vector<float> left;
    std::vector<float> right;  // the equaliser's second channel, fed half the impulse
};

Measured measure(const ResponseCase& c, int blockSize) {
    const DspOptions options{.sampleRate = c.rate, .blockSize = blockSize};
    DspModule m(c.module, options);
    filtertest::applyPins(m, c.pins);
    m.setAudioInput(0, filtertest::impulse(c.length));
    m.setStreaming(0, true);
    const bool stereo = c.module == "TamParametricEQ";
    if (stereo) {
        m.setAudioInput(1, filtertest::impulse(c.length, 0.5f));
        m.setStreaming(1, true);
    }
    m.run(c.length);
    Measured result;
    if (stereo) {
        result.left = m.output(7);
        result.right = m.output(8);
    } else {
        result.left = m.output(c.module == "TamFilter1Pole" ? 3 : 5);
    }
    return result;
}

// Magnitude to 0.05 dB and phase to 0.01 rad down to -40 dB; below that the
// complex difference stays under 1e-3 of the input.
void expectResponse(const ResponseCase& c, const std::vector<float>& h, double scale, const std::string& channel) {
    ASSERT_EQ(h.size(), static_cast<size_t>(c.length)) << c.name;
    for (const auto& p : c.points) {
        const auto measured = filtertest::transformAt(h, p.hz, c.rate, scale);
        const std::string where = c.name + channel + " at " + std::to_string(p.hz) + " Hz";
        if (p.magnitudeDb > -40.0) {
            EXPECT_NEAR(filtertest::toDb(measured), p.magnitudeDb, 0.05) << where;
            EXPECT_NEAR(filtertest::phaseDifference(std::arg(measured), p.phase), 0.0, 0.01) << where;
        } else {
            const auto expected = std::polar(std::pow(10.0, p.magnitudeDb / 20.0), p.phase);
            EXPECT_LT(std::abs(measured - expected), 1e-3) << where;
        }
    }
}

}  // namespace

namespace filtertest {
// Names the case instead of dumping its bytes.
void PrintTo(const ResponseCase& c, std::ostream* os) { *os << c.name; }
}  // namespace filtertest

namespace {

class FilterResponse : public ::testing::TestWithParam<ResponseCase> {};

TEST_P(FilterResponse, MatchesIndependentReference) {
    const ResponseCase& c = GetParam();
    const Measured m = measure(c, 64);
    expectResponse(c, m.left, 1.0, "");
    if (!m.right.empty()) expectResponse(c, m.right, 0.5, " (right)");

    // Where the design departs from the textbook one, the textbook misses.
    double worst = -1.0;
    for (const auto& p : c.points) {
        if (std::isnan(p.textbookDb) || p.magnitudeDb < -40.0) continue;
        const double db = filtertest::toDb(filtertest::transformAt(m.left, p.hz, c.rate));
        worst = std::max(worst, std::fabs(db - p.textbookDb));
    }
    if (worst >= 0.0) {
        EXPECT_GT(worst, 0.25) << c.name << ": the output looks like the textbook filter";
    }
}

// The block size only cuts the work: an odd one gives the same samples, but
// for the flush of tiny states at block ends (below 1e-10).
TEST_P(FilterResponse, BlockSizeDoesNotChangeTheOutput) {
    const ResponseCase& c = GetParam();
    const Measured a = measure(c, 64);
    const Measured b = measure(c, 37);
    ASSERT_EQ(a.left.size(), b.left.size());
    for (size_t i = 0; i < a.left.size(); ++i) ASSERT_NEAR(a.left[i], b.left[i], 1e-8) << c.name << " sample " << i;
}

INSTANTIATE_TEST_SUITE_P(Cases, FilterResponse, ::testing::ValuesIn(filtertest::loadResponses()),
                         [](const ::testing::TestParamInfo<ResponseCase>& info) { return info.param.name; });

}  // namespace
