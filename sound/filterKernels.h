// Arithmetic shared by the filter modules: the pitch laws, the biquad design,
// per-sample-rate table sharing, state hygiene at block ends, and the scoped
// flush-to-zero mode that surrounds a block.
//
// The sample loops themselves live in the modules; each module's routines
// pick a template instance here once per slice, so no mode is tested inside
// a loop.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "frame/fastRound.h"

#if defined(__SSE__) || defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#define TAM_FILTERS_HAVE_MXCSR 1
#endif

namespace tam::filters {

// The pack's single-precision 2 * pi, kept as the filters compute with it.
inline constexpr double kTwoPi = 6.2831855;
// Entries in each shared table: 512 steps over the pitch range plus guards.
inline constexpr int kTableSize = 514;
// Feedback state smaller than this is flushed at the end of a routine.
inline constexpr float kDenormalLimit = 1e-10f;

// Pitch laws of the pitch mode pin: 0 volts per octave, 1 linear with
// 1.0 = 10 kHz, any other value linear with 1.0 = 10 Hz.
enum PitchLaw : int { kPitchVolts = 0, kPitchLinear10k = 1, kPitchLinear10Hz = 2 };

inline int pitchLawOf(int pitchModePin) {
    return pitchModePin == 0 ? kPitchVolts : (pitchModePin == 1 ? kPitchLinear10k : kPitchLinear10Hz);
}

// A rate that cannot divide (0, negative, NaN) is taken as 44.1 kHz.
inline float usableSampleRate(float rate) {
    return (rate > 0.0f && std::isfinite(rate)) ? rate : 44100.0f;
}

// Limits x to [low, high]. NaN goes to low, so that an index made from it
// always lies inside its table.
inline float limitTo(float x, float low, float high) {
    return x > low ? (x < high ? x : high) : low;
}

// Index into a 514-entry table for a value already limited to 0..1 (times
// 511), so it lies in 0..511.
inline int tableIndex(float unit) { return tam::fastRoundHi(unit * 511.0); }

// Hz of the two linear laws; a negative result is 0.
template <int Law>
inline double linearHz(float p) {
    static_assert(Law != kPitchVolts);
    double hz;
    if constexpr (Law == kPitchLinear10k) {
        hz = std::min(static_cast<double>(p), 1.0) * 10000.0;
    } else {
        hz = std::min(static_cast<double>(p) * 10.0, 20000.0);
    }
    return hz < 0.0 ? 0.0 : hz;
}

// Hz of the biquad filters' pitch: volts per octave from about 27.5 Hz
// (below 0.0001) to about 17.7 kHz (0.933 and up), or the linear laws.
template <int Law>
inline double biquadHz(float p) {
    if constexpr (Law == kPitchVolts) {
        const double e = p < 0.0001f ? -3.999 : std::min(0.933, static_cast<double>(p)) * 10.0 + 1.0 - 5.0;
        return 440.0 * std::exp2(e);
    } else {
        return linearHz<Law>(p);
    }
}

// Calls f with std::integral_constant<int, Law> for a pitch mode pin value.
template <typename F>
inline void withPitchLaw(int law, F&& f) {
    switch (law) {
        case kPitchVolts: f(std::integral_constant<int, kPitchVolts>{}); break;
        case kPitchLinear10k: f(std::integral_constant<int, kPitchLinear10k>{}); break;
        default: f(std::integral_constant<int, kPitchLinear10Hz>{}); break;
    }
}

// Calls f with std::integral_constant<int, stages> for 1 to 4 stages.
template <typename F>
inline void withStageCount(int stages, F&& f) {
    switch (stages) {
        case 1: f(std::integral_constant<int, 1>{}); break;
        case 2: f(std::integral_constant<int, 2>{}); break;
        case 3: f(std::integral_constant<int, 3>{}); break;
        default: f(std::integral_constant<int, 4>{}); break;
    }
}

// Biquad in the form y = c0 x + c1 x1 + c2 x2 - c3 y1 - c4 y2.
struct BiquadCoefficients {
    float c0 = 0.0f;
    float c1 = 0.0f;
    float c2 = 0.0f;
    float c3 = 0.0f;
    float c4 = 0.0f;
};

// Responses of the cascadable biquad; anything else is a low pass.
enum BiquadResponse : int { kBiquadLowPass = 0, kBiquadHighPass = 1, kBiquadBandPass = 2, kBiquadNotch = 3, kBiquadAllPass = 4 };

inline int biquadResponseOf(int responsePin) {
    return (responsePin >= kBiquadHighPass && responsePin <= kBiquadAllPass) ? responsePin : kBiquadLowPass;
}

// The biquad design. Its Q runs 0.6 .. 20.5 and divides the sine directly
// (not twice the Q), so the resonance is half of what a cookbook filter with
// the same figure gives.
template <int Response>
inline BiquadCoefficients designBiquad(double hz, float resonance, double sampleRate) {
    const double w = hz * kTwoPi / sampleRate;
    const double sn = std::sin(w);
    const double cs = std::cos(w);
    const double q = (resonance < 0.005f ? 0.099999994 : 2.0 * std::min(1.0, static_cast<double>(resonance)) * 10.0) + 0.5;
    const double alpha = sn / q;
    double b0, b1, b2;
    if constexpr (Response == kBiquadHighPass) {
        b0 = 0.5 * (1.0 + cs);
        b1 = -(1.0 + cs);
        b2 = 0.5 * (1.0 + cs);
    } else if constexpr (Response == kBiquadBandPass) {
        b0 = alpha;
        b1 = 0.0;
        b2 = -alpha;
    } else if constexpr (Response == kBiquadNotch) {
        b0 = 1.0;
        b1 = -2.0 * cs;
        b2 = 1.0;
    } else if constexpr (Response == kBiquadAllPass) {
        b0 = 1.0 - alpha;
        b1 = -2.0 * cs;
        b2 = 1.0 + alpha;
    } else {
        b0 = 0.5 * (1.0 - cs);
        b1 = 1.0 - cs;
        b2 = 0.5 * (1.0 - cs);
    }
    const double a0 = 1.0 + alpha;
    const double a1 = -2.0 * cs;
    const double a2 = 1.0 - alpha;
    return {static_cast<float>(b0 / a0), static_cast<float>(b1 / a0), static_cast<float>(b2 / a0),
            static_cast<float>(a1 / a0), static_cast<float>(a2 / a0)};
}

// Calls f with std::integral_constant<int, Response> for a response pin value.
template <typename F>
inline void withBiquadResponse(int response, F&& f) {
    switch (biquadResponseOf(response)) {
        case kBiquadHighPass: f(std::integral_constant<int, kBiquadHighPass>{}); break;
        case kBiquadBandPass: f(std::integral_constant<int, kBiquadBandPass>{}); break;
        case kBiquadNotch: f(std::integral_constant<int, kBiquadNotch>{}); break;
        case kBiquadAllPass: f(std::integral_constant<int, kBiquadAllPass>{}); break;
        default: f(std::integral_constant<int, kBiquadLowPass>{}); break;
    }
}

// One biquad step on one stage's state.
inline float biquadStep(const BiquadCoefficients& c, float x, float& x1, float& x2, float& y1, float& y2) {
    const float y = x2 * c.c2 + (c.c1 * x1 + c.c0 * x) - c.c3 * y1 - y2 * c.c4;
    x2 = x1;
    x1 = x;
    y2 = y1;
    y1 = y;
    return y;
}

// A state that has gone infinite or NaN (tested on the double widening)
// becomes 0.
inline void clearIfNotFinite(float& state) {
    if (!std::isfinite(static_cast<double>(state))) state = 0.0f;
}

inline void flushDenormal(float& state) {
    if (std::fabs(state) < kDenormalLimit) state = 0.0f;
}

// Sets flush-to-zero and denormals-are-zero for its lifetime and puts the
// caller's mode back afterwards.
class FlushToZeroScope {
public:
#ifdef TAM_FILTERS_HAVE_MXCSR
    FlushToZeroScope() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | kFlushBits); }
    ~FlushToZeroScope() { _mm_setcsr(saved_); }

private:
    static constexpr unsigned kFlushBits = 0x8040;  // FTZ | DAZ
    unsigned saved_;
#else
    FlushToZeroScope() = default;
#endif
public:
    FlushToZeroScope(const FlushToZeroScope&) = delete;
    FlushToZeroScope& operator=(const FlushToZeroScope&) = delete;
};

// Per-sample-rate tables shared by all instances of a filter class. Table is
// a tam::RefObject with a float sampleRate and a fill(sampleRate) operation;
// List is the class's process-wide tam::RefObjArray. An instance takes one
// reference; the list holds another, and the last instance to let go takes
// the entry off the list, which frees it.
template <typename Table, typename List>
Table* acquireSharedTable(List& list, float sampleRate) {
    for (int i = 0; i < list.GetCount(); ++i) {
        Table* existing = list[i];
        if (existing != nullptr && existing->sampleRate == sampleRate) {
            existing->AddRef();
            return existing;
        }
    }
    Table* table = new Table();  // starts with the instance's reference
    table->fill(sampleRate);
    list.Add(table);  // the list takes its own
    return table;
}

template <typename Table, typename List>
void releaseSharedTable(List& list, Table*& table) {
    if (table == nullptr) return;
    Table* held = table;
    table = nullptr;
    if (held->Release() == 1) list.RemoveObject(held);
}

}  // namespace tam::filters
