// Filter behaviour through the factory and the reference host: settling and
// sleep after the input stops, clearing of NaN and infinite state, the
// modulated routines against the fixed ones, pin limits, the equaliser's
// bypass and channels, and hostile pin values.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "tests/sound/test_filter_support.h"

using filtertest::testTone;
using tamhost::DspModule;
using tamhost::DspOptions;

namespace {

constexpr int P1Signal = 0, P1Mode = 1, P1Pitch = 2, P1Out = 3, P1PitchMode = 4;
constexpr int FSignal = 0, FResponse = 1, FStages = 2, FPitch = 3, FResonance = 4, FOut = 5, FPitchMode = 6;
constexpr int EqLeft = 0, EqRight = 1, EqActive = 2, EqType = 3, EqGain = 4, EqFrequency = 5, EqBandwidth = 6,
              EqLeftOut = 7, EqRightOut = 8, EqPitchMode = 9;

constexpr int kBlock = 64;
const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const std::string kEq = "TamParametricEQ";
const std::string kAll[] = {"TamFilter1Pole", "TamFilter2Pole", "TamFilter4Pole", kEq};

// The (left) output of a filter.
int outPin(const std::string& id) { return id == "TamFilter1Pole" ? P1Out : (id == kEq ? EqLeftOut : FOut); }

bool lastStreaming(const DspModule& m, int pin) {
    const auto calls = m.streamingCalls(pin);
    return calls.empty() ? false : calls.back().streaming;
}

bool allFinite(const std::vector<float>& v, size_t from) {
    for (size_t i = from; i < v.size(); ++i)
        if (!std::isfinite(v[i])) return false;
    return true;
}

void expectSame(const std::vector<float>& a, const std::vector<float>& b, const std::string& what, float tolerance = 0.0f) {
    ASSERT_EQ(a.size(), b.size()) << what;
    for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], tolerance) << what << " sample " << i;
}

// Streams `x` into `pin`, stopping at `stop` (if not negative).
void feed(DspModule& m, int pin, const std::vector<float>& x, int64_t stop = -1) {
    m.setAudioInput(pin, x);
    m.setStreaming(pin, true);
    if (stop >= 0) m.setStreaming(pin, false, stop);
}

// ---- settling and sleep -----------------------------------------------------

// A tone (or level) streams for 20 blocks, then the input stops and holds its
// last value; the filter must settle, stop streaming and sleep.
TEST(FilterSilence, StoppedInputSettlesStopsStreamingAndSleeps) {
    const struct {
        std::string id;
        int response;
        float expectedTail;  // NaN: the last output, whatever it is
    } cases[] = {
        {"TamFilter1Pole", 0, 0.5f}, {"TamFilter1Pole", 1, 0.0f}, {"TamFilter2Pole", 0, NAN},
        {"TamFilter2Pole", 2, 0.0f}, {"TamFilter4Pole", 0, NAN},   {"TamFilter4Pole", 1, 0.0f},
    };
    for (const auto& c : cases) {
        const std::string what = c.id + " response " + std::to_string(c.response);
        DspModule m(c.id);
        const bool onePole = c.id == "TamFilter1Pole";
        m.setInt(onePole ? P1Mode : FResponse, c.response);
        m.setAudioInputConstant(onePole ? P1Pitch : FPitch, 0.6f);
        // A tone that ends on a steady level of 0.5 (zero for the band pass).
        std::vector<float> x = testTone(20 * kBlock);
        std::fill(x.begin() + 16 * kBlock, x.end(), c.response == 2 && !onePole ? 0.0f : 0.5f);
        feed(m, 0, x, 20 * kBlock);
        m.run(200 * kBlock, kBlock);

        const int out = outPin(c.id);
        EXPECT_FALSE(lastStreaming(m, out)) << what;
        EXPECT_GE(m.sleepCalls(), 1) << what;
        EXPECT_TRUE(m.sleeping()) << what;
        EXPECT_LT(m.processCalls(), 60) << what << ": a settled filter keeps running";
        // The stop is stamped where the filter found itself settled.
        const auto stops = m.streamingCalls(out);
        ASSERT_FALSE(stops.empty());
        EXPECT_GE(stops.back().time, 20 * kBlock) << what;
        const auto& y = m.output(out);
        const float tail = y.back();
        if (!std::isnan(c.expectedTail)) EXPECT_EQ(tail, c.expectedTail) << what;
        for (size_t i = static_cast<size_t>(stops.back().time) + 1; i < y.size(); ++i)
            ASSERT_EQ(y[i], tail) << what << ": not steady after the stop at sample " << i;
        if (c.response == 0 && !onePole) EXPECT_NEAR(tail, 0.5f, 1e-3f) << what;
    }
}

// Zeros that still stream keep the filter awake: it settles only once the
// input has stopped streaming.
TEST(FilterSilence, StreamingZerosKeepTheFilterAwakeUntilTheStreamStops) {
    for (const auto& id : kAll) {
        DspModule m(id);
        if (id == kEq) {
            m.setInt(EqActive, 1);
            m.setAudioInputConstant(EqFrequency, 0.5f);
        }
        std::vector<float> x = testTone(2 * kBlock);
        x.resize(4 * kBlock, 0.0f);
        feed(m, 0, x);
        m.run(150 * kBlock);
        const int out = outPin(id);
        EXPECT_TRUE(lastStreaming(m, out)) << id;
        EXPECT_EQ(m.sleepCalls(), 0) << id;
        EXPECT_LT(std::fabs(m.output(out).back()), 1e-6f) << id;

        m.setStreaming(0, false, m.time());
        m.run(60 * kBlock);
        EXPECT_FALSE(lastStreaming(m, out)) << id;
        EXPECT_TRUE(m.sleeping()) << id;
    }
}

// A pin change wakes a sleeping filter, which streams again.
TEST(FilterSilence, PinChangeWakesTheFilter) {
    DspModule m("TamFilter4Pole");
    m.setAudioInputConstant(FPitch, 0.5f);
    std::vector<float> x = testTone(4 * kBlock);
    x.resize(5 * kBlock, 0.0f);
    feed(m, FSignal, x, 5 * kBlock);
    m.run(100 * kBlock);
    ASSERT_TRUE(m.sleeping());
    const auto before = m.processCalls();
    m.setInt(FResponse, 1);
    m.run(kBlock);
    EXPECT_GT(m.processCalls(), before);
    const auto calls = m.streamingCalls(FOut);
    ASSERT_GE(calls.size(), 2u);
    bool restarted = false;
    for (const auto& call : calls) restarted |= call.time >= 100 * kBlock && call.streaming;
    EXPECT_TRUE(restarted);
}

// Each channel of the equaliser settles on its own; the module sleeps only
// when both have.
TEST(FilterSilence, EqualiserChannelsSettleSeparately) {
    DspModule m(kEq);
    m.setInt(EqActive, 1);
    m.setAudioInputConstant(EqGain, 0.3f);
    m.setAudioInputConstant(EqFrequency, 0.5f);
    m.setAudioInputConstant(EqBandwidth, 0.5f);
    std::vector<float> left = testTone(8 * kBlock);
    left.resize(10 * kBlock, 0.0f);
    const auto right = testTone(400 * kBlock);
    feed(m, EqLeft, left, 10 * kBlock);
    feed(m, EqRight, right, 300 * kBlock);
    m.run(200 * kBlock);
    EXPECT_FALSE(lastStreaming(m, EqLeftOut));
    EXPECT_TRUE(lastStreaming(m, EqRightOut));
    EXPECT_FALSE(m.sleeping());
    // The right channel still filters: its output is not its input.
    EXPECT_GT(std::fabs(m.output(EqRightOut)[150 * kBlock] - right[150 * kBlock]), 1e-4f);

    m.setAudioInput(EqRight, std::vector<float>(1, 0.0f));
    m.run(400 * kBlock);
    EXPECT_FALSE(lastStreaming(m, EqRightOut));
    EXPECT_TRUE(m.sleeping());
}

// ---- NaN and infinity ---------------------------------------------------------

// A bad sample in a streaming input poisons the state until the next check,
// at most about 51 blocks later; after that the output is finite and the
// filter recovers, and a stopped input settles to sleep as usual.
TEST(FilterNaN, BadSampleIsClearedAtTheCheck) {
    for (const float poison : {kNaN, kInf, -kInf}) {
        for (const auto& id : kAll) {
            const std::string what = id + " with " + std::to_string(poison);
            const int frames = 120 * kBlock;
            // The tone ends in silence, which the filters settle on.
            std::vector<float> tone = testTone(frames);
            tone.push_back(0.0f);
            std::vector<float> x = tone;
            x[10] = poison;
            DspModule m(id), clean(id);
            for (DspModule* module : {&m, &clean}) {
                feed(*module, 0, module == &m ? x : tone, frames);
                if (id == kEq) {
                    module->setInt(EqActive, 1);
                    module->setAudioInputConstant(EqGain, 0.2f);
                    module->setAudioInputConstant(EqFrequency, 0.5f);
                    module->setAudioInputConstant(EqBandwidth, 0.5f);
                    feed(*module, EqRight, tone, frames);
                }
                module->run(frames + 100 * kBlock, kBlock);
            }
            const auto& y = m.output(outPin(id));
            const auto& reference = clean.output(outPin(id));
            EXPECT_TRUE(allFinite(y, 60 * kBlock)) << what;
            // Long after the clearing the filter is where a clean one is.
            for (size_t i = 100 * kBlock; i < static_cast<size_t>(frames); ++i)
                ASSERT_NEAR(y[i], reference[i], 1e-4f) << what << " sample " << i;
            EXPECT_TRUE(m.sleeping()) << what;
            if (id == kEq) expectSame(m.output(EqRightOut), clean.output(EqRightOut), what + " right channel");
        }
    }
}

// A bad sample just before the input stops is cleared by the check that
// follows, and the filter still settles.
TEST(FilterNaN, BadLastSampleStillSettles) {
    for (const auto& id : kAll) {
        DspModule m(id);
        if (id == kEq) m.setInt(EqActive, 1);
        std::vector<float> x = testTone(4 * kBlock);
        x.back() = kNaN;
        x.push_back(0.0f);
        feed(m, 0, x, 4 * kBlock);
        m.run(100 * kBlock);
        EXPECT_TRUE(std::isfinite(m.output(outPin(id)).back())) << id;
        EXPECT_TRUE(m.sleeping()) << id;
    }
}

// ---- modulated routines -----------------------------------------------------------

// Runs a filter with a steady pitch given either as a streaming signal (the
// modulated routine) or as a still value (the fixed routine). The equaliser
// answers on its right channel.
std::vector<float> runWithPitch(const std::string& id, int law, float pitch, float resonance, int response,
                                bool streamingPitch, bool streamingResonance, int stages = 0) {
    DspModule m(id);
    const int frames = 16 * kBlock;
    feed(m, 0, testTone(frames));
    int pitchPin = FPitch, resonancePin = FResonance;
    if (id == "TamFilter1Pole") {
        m.setInt(P1Mode, response);
        m.setInt(P1PitchMode, law);
        pitchPin = P1Pitch;
        resonancePin = -1;
    } else if (id == kEq) {
        m.setInt(EqActive, 1);
        m.setInt(EqType, response);
        m.setInt(EqPitchMode, law);
        m.setAudioInputConstant(EqGain, 0.3f);
        feed(m, EqRight, testTone(frames));
        pitchPin = EqFrequency;
        resonancePin = EqBandwidth;
    } else {
        m.setInt(FResponse, response);
        m.setInt(FPitchMode, law);
        m.setInt(FStages, stages);
    }
    m.setAudioInputConstant(pitchPin, pitch);
    if (streamingPitch) m.setStreaming(pitchPin, true);
    if (resonancePin >= 0) {
        m.setAudioInputConstant(resonancePin, resonance);
        if (streamingResonance) m.setStreaming(resonancePin, true);
    }
    m.run(frames);
    return m.output(id == kEq ? EqRightOut : outPin(id));
}

// Fixed routine, no streaming control.
std::vector<float> runFixed(const std::string& id, int law, float pitch, float resonance, int response, int stages = 0) {
    return runWithPitch(id, law, pitch, resonance, response, false, false, stages);
}

TEST(FilterModulation, StreamingSteadyPitchMatchesFixedRoutine) {
    const std::pair<int, float> laws[] = {{0, 0.62f}, {1, 0.21f}, {2, 350.0f}};
    const int responses[] = {2, 4, 5, 3};
    for (int f = 0; f < 4; ++f) {
        const std::string& id = kAll[f];
        for (const auto& [law, pitch] : laws) {
            for (int response = 0; response < responses[f]; ++response) {
                const std::string what = id + " law " + std::to_string(law) + " response " + std::to_string(response);
                const auto fixed = runFixed(id, law, pitch, 0.4f, response, 1);
                expectSame(runWithPitch(id, law, pitch, 0.4f, response, true, false, 1), fixed,
                           what + " (pitch streams)", 1e-6f);
                if (f != 0)
                    expectSame(runWithPitch(id, law, pitch, 0.4f, response, false, true, 1), fixed,
                               what + " (resonance streams)", 1e-6f);
            }
        }
    }
}

// A pitch that jumps inside a streaming signal acts at that sample, as a
// value event at the same time does on the fixed routine.
TEST(FilterModulation, PitchStepActsAtItsSample) {
    for (int f = 0; f < 3; ++f) {
        const std::string& id = kAll[f];
        const int pitchPin = f == 0 ? P1Pitch : FPitch;
        const int frames = 8 * kBlock, step = 3 * kBlock + 17;
        std::vector<float> pitch(frames, 0.3f);
        std::fill(pitch.begin() + step, pitch.end(), 0.7f);
        DspModule modulated(id), stepped(id);
        feed(modulated, 0, testTone(frames));
        feed(modulated, pitchPin, pitch);
        feed(stepped, 0, testTone(frames));
        stepped.setAudioInput(pitchPin, pitch);
        stepped.setStreaming(pitchPin, false, step);  // a new still value at the step
        modulated.run(frames);
        stepped.run(frames);
        expectSame(modulated.output(outPin(id)), stepped.output(outPin(id)), id, 1e-6f);
    }
}

// ---- pin limits and quirks ---------------------------------------------------------------

TEST(FilterLimits, StateVariableResonanceIsLimited) {
    // Above 0.9992 acts as 0.9992; below 0 as 0 (damping 2, first limit).
    expectSame(runFixed("TamFilter2Pole", 0, 0.6f, 1.2f, 0), runFixed("TamFilter2Pole", 0, 0.6f, 0.9992f, 0),
               "resonance 1.2");
    expectSame(runFixed("TamFilter2Pole", 1, 1.0f, -0.1f, 0), runFixed("TamFilter2Pole", 1, 1.0f, 0.0f, 0),
               "resonance -0.1");
    // The first limit (0.78) caps a 10 kHz cut-off at 44.1 kHz: 10 kHz and
    // 8 kHz give the same filter.
    expectSame(runFixed("TamFilter2Pole", 1, 1.0f, 0.0f, 0), runFixed("TamFilter2Pole", 1, 0.8f, 0.0f, 0),
               "frequency limit");
}

TEST(FilterLimits, StageCountIsLimitedToFour) {
    for (const std::string id : {"TamFilter2Pole", "TamFilter4Pole"}) {
        const auto four = runFixed(id, 0, 0.6f, 0.2f, 0, 3);
        expectSame(runFixed(id, 0, 0.6f, 0.2f, 0, 9), four, id + " stages 9");
        expectSame(runFixed(id, 0, 0.6f, 0.2f, 0, INT_MAX), four, id + " stages INT_MAX");
        expectSame(runWithPitch(id, 0, 0.6f, 0.2f, 0, true, true, 7), runWithPitch(id, 0, 0.6f, 0.2f, 0, true, true, 3),
                   id + " modulated stages 7");
        const auto one = runFixed(id, 0, 0.6f, 0.2f, 0, 0);
        expectSame(runFixed(id, 0, 0.6f, 0.2f, 0, -4), one, id + " stages -4");
        // More stages do make a difference.
        EXPECT_GT(std::fabs(one[500] - four[500]), 1e-4f) << id;
    }
}

TEST(FilterLimits, UnknownResponsesAndTypes) {
    // Biquad: any response outside 1..4 is the low pass.
    for (int response : {9, -1, 1000})
        expectSame(runFixed("TamFilter4Pole", 0, 0.6f, 0.2f, response), runFixed("TamFilter4Pole", 0, 0.6f, 0.2f, 0),
                   "biquad " + std::to_string(response));
    // Equaliser: any type but 1 and 2 peaks; bandwidth 0 acts as 0.002.
    expectSame(runFixed(kEq, 0, 0.5f, 0.4f, 7), runFixed(kEq, 0, 0.5f, 0.4f, 0), "eq type 7");
    expectSame(runFixed(kEq, 0, 0.5f, 0.0f, 0), runFixed(kEq, 0, 0.5f, 0.002f, 0), "eq bandwidth 0");
}

// A state-variable response outside 0..3 keeps the routine that ran before;
// given first, no routine runs and the output is never written.
TEST(FilterLimits, StateVariableUnknownResponseKeepsRoutine) {
    const int frames = 8 * kBlock;
    DspModule first("TamFilter2Pole"), kept("TamFilter2Pole"), highPass("TamFilter2Pole");
    first.setInt(FResponse, 7);
    feed(first, FSignal, testTone(frames));
    first.run(frames);
    for (float v : first.output(FOut)) ASSERT_EQ(v, 0.0f);

    for (DspModule* m : {&kept, &highPass}) {
        m->setInt(FResponse, 1);
        feed(*m, FSignal, testTone(frames));
        m->setInt(FResponse, m == &kept ? 7 : 1, 2 * kBlock + 5);
        m->run(frames);
    }
    expectSame(kept.output(FOut), highPass.output(FOut), "response 7 after high pass");
}

// Bypass copies both channels and never settles: the outputs keep streaming.
TEST(FilterLimits, EqualiserBypassCopiesAndKeepsStreaming) {
    for (int active : {0, 2, -1}) {
        DspModule m(kEq);
        m.setInt(EqActive, active);
        m.setAudioInputConstant(EqGain, 0.5f);
        const auto left = testTone(6 * kBlock);
        const std::vector<float> right(left.rbegin(), left.rend());
        feed(m, EqLeft, left, 6 * kBlock);
        feed(m, EqRight, right, 6 * kBlock);
        m.run(60 * kBlock);
        for (int i = 0; i < 6 * kBlock; ++i) {
            ASSERT_EQ(m.output(EqLeftOut)[i], left[i]) << active;
            ASSERT_EQ(m.output(EqRightOut)[i], right[i]) << active;
        }
        EXPECT_TRUE(lastStreaming(m, EqLeftOut)) << active;
        EXPECT_TRUE(lastStreaming(m, EqRightOut)) << active;
        EXPECT_EQ(m.sleepCalls(), 0) << active;
    }
}

// ---- hostile input -----------------------------------------------------------------------

// Pitch, resonance, gain and bandwidth of NaN, infinity or far out of range
// neither crash nor read outside the tables; a sane value afterwards gives
// a finite output again once the check has cleared the state.
TEST(FilterHostile, OddControlSignals) {
    const float odd[] = {kNaN, kInf, -kInf, 1e30f, -1e30f, std::numeric_limits<float>::denorm_min()};
    for (const auto& id : kAll) {
        for (int law = 0; law < 3; ++law) {
            for (bool streams : {false, true}) {
                const int frames = 70 * kBlock;
                std::vector<float> control(frames, 0.5f);
                for (int i = 0; i < 6; ++i) std::fill(control.begin() + i * 10, control.begin() + (i + 1) * 10, odd[i]);
                DspModule m(id);
                feed(m, 0, testTone(frames));
                std::vector<int> controls = {FPitch, FResonance};
                if (id == "TamFilter1Pole") {
                    m.setInt(P1PitchMode, law);
                    controls = {P1Pitch};
                } else if (id == kEq) {
                    m.setInt(EqActive, 1);
                    m.setInt(EqPitchMode, law);
                    controls = {EqGain, EqFrequency, EqBandwidth};
                } else {
                    m.setInt(FPitchMode, law);
                }
                for (int pin : controls) {
                    m.setAudioInput(pin, control);
                    if (streams) m.setStreaming(pin, true);
                    for (int i = 1; i <= 6 && !streams; ++i) m.setStreaming(pin, false, i * 10);
                }
                m.run(frames);
                EXPECT_TRUE(allFinite(m.output(outPin(id)), 60 * kBlock)) << id << " law " << law << " streams " << streams;
            }
        }
    }
}

// A host that reports no usable sample rate gets the filters of 44.1 kHz.
TEST(FilterHostile, UnusableSampleRate) {
    for (const auto& id : kAll) {
        std::vector<float> reference;
        for (float rate : {44100.0f, 0.0f, -48000.0f, kNaN}) {
            const DspOptions options{.sampleRate = rate};
            DspModule m(id, options);
            feed(m, 0, testTone(4 * kBlock));
            if (id == kEq) {
                m.setInt(EqActive, 1);
                m.setAudioInputConstant(EqGain, 0.3f);
            }
            m.run(4 * kBlock);
            const auto& y = m.output(outPin(id));
            if (reference.empty()) reference = y;
            else expectSame(y, reference, id + " rate " + std::to_string(rate));
        }
    }
}

// Empty blocks and blocks longer than the size the host reported.
TEST(FilterHostile, EmptyAndOddBlocks) {
    for (const auto& id : kAll) {
        DspModule m(id);
        if (id == kEq) m.setInt(EqActive, 1);
        feed(m, 0, testTone(kBlock), 2);
        for (int i = 0; i < 40; ++i)
            for (int frames : {0, 1, 3}) m.runBlock(frames);
        m.runBlock(5 * kBlock);
        EXPECT_TRUE(std::isfinite(m.output(outPin(id)).back())) << id;
    }
}

}  // namespace
