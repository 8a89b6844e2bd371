// Shared pieces of the effect modules: the level and mix curves, a scoped
// flush-to-zero mode, clamps that turn NaN into the low end of their range,
// and the base that runs the once-a-second silence check.
#pragma once

#include <cmath>
#include <cstdint>

#include "frame/fastRound.h"
#include "frame/mp_sdk_audio.h"

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace tam::fx {

// Limits x to [low, high]; NaN gives low, so a hostile pin value can never
// become an out-of-range table index.
inline float clampf(float x, float low, float high) { return std::fmin(std::fmax(x, low), high); }

// The two response curves of tam::PerimeterCurve that the effects read,
// through pointers cached when the tables are built:
//   dbAdj[i] = 10^(2 i / 512 - 1) (index 256 is unity)
//   sine[i]  = sin(i * 1.5707964 / 512)
struct FxCurves {
    static const float* dbAdj;
    static const float* sine;
    static void BuildTableDbAdj();
    static void BuildTableSin();

    // Index of a control in 0..1 into a 512-entry curve.
    static int index(float x) { return fastRoundHi(clampf(x, 0.0f, 1.0f) * 511.0f); }
    static float level(float x) { return dbAdj[index(x)]; }
    static float sineAt(float x) { return sine[index(x)]; }
};

// Sets flush-to-zero and denormals-are-zero for its lifetime and puts the
// caller's mode back afterwards, so that decaying feedback never slows down.
class DenormalGuard {
public:
    DenormalGuard() {
#if defined(__SSE__) || defined(__x86_64__)
        saved_ = _mm_getcsr();
        _mm_setcsr(saved_ | 0x8040u);  // FTZ (bit 15) and DAZ (bit 6)
#elif defined(__aarch64__)
        uint64_t fpcr;
        __asm__ __volatile__("mrs %0, fpcr" : "=r"(fpcr));
        saved_ = fpcr;
        __asm__ __volatile__("msr fpcr, %0" ::"r"(fpcr | (1ull << 24)));
#endif
    }
    ~DenormalGuard() {
#if defined(__SSE__) || defined(__x86_64__)
        _mm_setcsr(static_cast<unsigned>(saved_));
#elif defined(__aarch64__)
        __asm__ __volatile__("msr fpcr, %0" ::"r"(saved_));
#endif
    }
    DenormalGuard(const DenormalGuard&) = delete;
    DenormalGuard& operator=(const DenormalGuard&) = delete;

private:
#if defined(__aarch64__)
    uint64_t saved_ = 0;
#else
    unsigned saved_ = 0;
#endif
};

// A state under 1e-10 in magnitude is cleared at block ends.
inline float flushTiny(float x) { return std::fabs(x) > 1e-10f ? x : 0.0f; }

// True if any of the n values is NaN or infinite.
bool anyNonFinite(const float* values, int n);
// True if any of the n values is above the silence threshold (signed test:
// only positive peaks count).
bool anyAboveThreshold(const float* values, int n);

inline constexpr float kSilenceThreshold = 0.000005f;

// Base of every effect: the host's rate and block size, the silence-check
// counter, and a process() that runs the block loop under the denormal guard.
class FxBase : public MpBase {
public:
    void process(int32_t count, const gmpi::MpEvent* events) override {
        DenormalGuard guard;
        MpBase::process(count, events);
    }
    using MpBase::process;

protected:
    // Reads the rate and block size from the host; a rate that is not a
    // positive finite number (or absurdly high) falls back to 44.1 kHz so
    // that sizes and counters stay defined.
    void readHostSettings();

    // Counts blocks down; true when the silence check is due.
    bool checkDue() { return checkCounter-- < 0; }
    // About once a second whatever the block size; the host's block size is
    // the divisor, never a slice length, never zero.
    void restartCheckCounter() {
        checkCounter = static_cast<int>(sampleRate) / (hostBlockSize > 0 ? hostBlockSize : 1);
    }

    float sampleRate = 44100.0f;
    int hostBlockSize = 1;
    int checkCounter = 0;
    bool isStatic = false;
};

}  // namespace tam::fx
