// Timers that call back on the thread that started them.
//
// There is no run loop inside the pack: each thread has a timer queue, and the
// thread's owner (the host's GUI loop) pumps it with ProcessTimers. A callback
// may stop, restart or destroy any timer, its own included. The clock behind
// the queues can be replaced, so that a test decides when time passes.
#pragma once

#include <cstdint>

namespace tam {

class MMTimer {
public:
    explicit MMTimer(int intervalMilliseconds = 1000, bool oneOff = false)
        : intervalMilliseconds(intervalMilliseconds), oneOff(oneOff) {}
    // What the timer does when it fires.
    virtual void OnTimerCallback() = 0;
    virtual ~MMTimer();
    MMTimer(const MMTimer&) = delete;
    MMTimer& operator=(const MMTimer&) = delete;

    // (Re)starts on the calling thread's queue; the first firing is one
    // interval from now.
    void StartTimer();
    // False if no timer ran. A one-off timer no longer runs once it has fired.
    bool StopTimer();
    bool IsTimerRunning() const { return timerObject != nullptr; }

    void SetIntervalMilliseconds(int milliseconds) { intervalMilliseconds = milliseconds; }
    int GetIntervalMilliseconds() const { return intervalMilliseconds; }
    void SetOneOff(bool value) { oneOff = value; }
    bool IsOneOff() const { return oneOff; }

    // Fires every timer of the calling thread's queue that is due, earliest
    // first, each at most once per call; returns how many fired.
    static int ProcessTimers();
    // Milliseconds until the calling thread's next timer is due (0 if one is
    // due now), or -1 when it has none.
    static long long MillisecondsToNextTimer();

    // The clock of all queues, in milliseconds; null restores the monotonic
    // clock.
    using Clock = long long (*)();
    static void SetClock(Clock clock);
    static long long Now();

protected:
    int32_t intervalMilliseconds;
    bool oneOff;
    void* timerObject = nullptr;  // the queue entry while the timer runs
};

}  // namespace tam

// The pump as a plain entry point, for a host that has loaded the pack.
extern "C" {
__attribute__((visibility("default"))) int TamProcessTimers();
__attribute__((visibility("default"))) long long TamMillisecondsToNextTimer();
__attribute__((visibility("default"))) void TamSetTimerClock(long long (*clock)());
}
