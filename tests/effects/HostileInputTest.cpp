// Every effect: switched off it passes its input through; under hostile
// conditions (absurd rates, NaN and huge values, extreme integers, short raw
// values, blocks of zero and one frame) it neither crashes nor touches memory
// it does not own (the suite also runs under AddressSanitizer), and settles
// once sane values return.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "EffectsTestUtil.h"
#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"

namespace {

using tamhost::DspModule;
using tamhost::DspOptions;
using tamhost::PinType;

const char* const kEffects[] = {"TamFxDetune", "TamFxEcho",   "TamFxFlanger", "TamFxLeslie",
                                "TamFxPhaser", "TamFxReverb", "TamFxUnison"};

TEST(Effects, OffCopiesEachInputToItsOutputs) {
    struct Case {
        const char* id;
        int onPin;
        std::vector<std::pair<int, int>> outFromIn;
    };
    const Case cases[] = {{"TamFxDetune", 2, {{7, 0}, {8, 1}}}, {"TamFxEcho", 1, {{11, 0}}},
                          {"TamFxFlanger", 1, {{8, 0}}},        {"TamFxLeslie", 1, {{11, 0}, {12, 0}}},
                          {"TamFxPhaser", 1, {{9, 0}}},         {"TamFxReverb", 2, {{10, 0}, {11, 1}}},
                          {"TamFxUnison", 1, {{7, 0}}}};
    const int frames = 44100 * 3;
    const std::vector<float> x[2] = {fxtest::noise(frames, 0.3f, 1u), fxtest::noise(frames, 0.3f, 2u)};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.id);
        auto m = fxtest::module(c.id, 44100.0f, 64);
        m->setBool(c.onPin, false);
        for (auto [out, in] : c.outFromIn) fxtest::feed(*m, in, x[in]);
        m->run(frames);
        for (auto [out, in] : c.outFromIn) EXPECT_EQ(fxtest::slice(m->output(out), 0, frames), x[in]);
        // The reverb switched off never checks its tail.
        if (std::string(c.id) == "TamFxReverb") {
            EXPECT_EQ(m->sleepCalls(), 0);
        }
    }
}

TEST(HostileInput, AbsurdRatesAndValuesNeverCrash) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (const char* id : kEffects) {
        const auto& info = tamhost::Catalogue::shared().get(id, 0);
        for (float rate : {0.0f, nan, -44100.0f, 1.0f, 8000.0f, 192000.0f}) {
            for (int variant = 0; variant < 3; ++variant) {
                SCOPED_TRACE(std::string(id) + " rate " + std::to_string(rate) + " variant " +
                             std::to_string(variant));
                DspOptions options;
                options.sampleRate = rate;
                options.blockSize = variant == 2 ? 0 : 64;
                DspModule m(id, options);
                const float odd[3] = {nan, 1e30f, -inf};
                const int32_t oddInt[3] = {INT_MIN, INT_MAX, -1};
                for (const auto& pin : info.pins) {
                    if (pin.output) continue;
                    switch (pin.type) {
                        case PinType::Audio:
                            m.setAudioInput(pin.index, {odd[variant], 0.5f, odd[(variant + 1) % 3]});
                            m.setStreaming(pin.index, pin.index % 2 == 0);
                            break;
                        case PinType::Int:
                            m.setInt(pin.index, oddInt[variant]);
                            break;
                        case PinType::Float:
                            m.setFloat(pin.index, odd[variant]);
                            break;
                        case PinType::Bool:
                            // A short raw value on the first variant.
                            if (variant == 0)
                                m.setRaw(pin.index, {});
                            else
                                m.setBool(pin.index, true);
                            break;
                        default:
                            break;
                    }
                }
                m.runBlock(0);
                m.runBlock(1);
                m.runBlock(0);
                m.run(3000, 100);
                // Changes of every control mid-stream, then blocks of one frame.
                for (const auto& pin : info.pins)
                    if (!pin.output && pin.type == PinType::Int) m.setInt(pin.index, variant, m.time() + 7);
                m.run(200, 1);
            }
        }
    }
}

TEST(HostileInput, SaneValuesAfterGarbageGiveFiniteSound) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const char* id : kEffects) {
        SCOPED_TRACE(id);
        const auto& info = tamhost::Catalogue::shared().get(id, 0);
        DspOptions options;
        options.sampleRate = 44100.0f;
        DspModule m(id, options);
        // Signals carry NaN and infinities for a moment; parameters stay at
        // their catalogue defaults.
        auto garbage = fxtest::noise(44100 * 3, 0.3f);
        garbage[10] = nan;
        garbage[11] = std::numeric_limits<float>::infinity();
        for (size_t i = 500; i < garbage.size(); ++i) garbage[i] = 0.0f;
        for (const auto& pin : info.pins)
            if (!pin.output && pin.type == PinType::Audio && pin.name.find(" In") != std::string::npos) {
                fxtest::feed(m, pin.index, garbage);
            }
        m.run(44100 * 3);
        for (const auto& pin : info.pins) {
            if (!pin.output || pin.type != PinType::Audio) continue;
            const auto& out = m.output(pin.index);
            // Two seconds on, at least one silence check has cleared the state.
            for (size_t i = 44100 * 2 + 1000; i < out.size(); ++i)
                ASSERT_TRUE(std::isfinite(out[i])) << pin.name << " sample " << i;
        }
    }
}

}  // namespace
