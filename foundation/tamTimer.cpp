// Per-thread timer queues.
//
// A running timer owns one entry in the queue of the thread that started it.
// The pump takes an entry out (one-off) or moves it on by whole intervals
// (repeating) before it calls back, so that whatever the callback does to its
// timer - stop, restart, delete - finds the queue consistent. Entries made
// during a pump wait for the next pump, which keeps a zero interval from
// spinning.
#include "foundation/tamTimer.h"

#include <time.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace tam {

namespace {

struct TimerQueue;

struct TimerEntry {
    MMTimer* owner;
    std::shared_ptr<TimerQueue> queue;
    long long due;
    long long interval;
    uint64_t sequence;
};

struct TimerQueue {
    std::mutex mutex;
    std::vector<TimerEntry*> entries;
    uint64_t nextSequence = 0;
};

long long MonotonicMilliseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000LL + now.tv_nsec / 1000000;
}

std::atomic<MMTimer::Clock> currentClock{nullptr};

const std::shared_ptr<TimerQueue>& ThisThreadQueue() {
    thread_local const std::shared_ptr<TimerQueue> queue = std::make_shared<TimerQueue>();
    return queue;
}

void RemoveEntry(TimerQueue& queue, TimerEntry* entry) {
    auto found = std::find(queue.entries.begin(), queue.entries.end(), entry);
    if (found != queue.entries.end()) queue.entries.erase(found);
}

}  // namespace

MMTimer::~MMTimer() { StopTimer(); }

long long MMTimer::Now() {
    const Clock clock = currentClock.load();
    return clock != nullptr ? clock() : MonotonicMilliseconds();
}

void MMTimer::SetClock(Clock clock) { currentClock.store(clock); }

void MMTimer::StartTimer() {
    StopTimer();
    const std::shared_ptr<TimerQueue>& queue = ThisThreadQueue();
    // A zero or negative interval would fire on every pump; one millisecond
    // is the shortest period.
    const long long interval = intervalMilliseconds > 0 ? intervalMilliseconds : 1;
    auto* entry = new TimerEntry{this, queue, Now() + interval, interval, 0};
    {
        std::lock_guard<std::mutex> lock(queue->mutex);
        entry->sequence = queue->nextSequence++;
        queue->entries.push_back(entry);
    }
    timerObject = entry;
}

bool MMTimer::StopTimer() {
    auto* entry = static_cast<TimerEntry*>(timerObject);
    if (entry == nullptr) return false;
    {
        std::lock_guard<std::mutex> lock(entry->queue->mutex);
        RemoveEntry(*entry->queue, entry);
    }
    timerObject = nullptr;
    delete entry;
    return true;
}

int MMTimer::ProcessTimers() {
    const std::shared_ptr<TimerQueue>& queue = ThisThreadQueue();
    const long long now = Now();
    uint64_t limit;
    {
        std::lock_guard<std::mutex> lock(queue->mutex);
        limit = queue->nextSequence;
    }
    int fired = 0;
    for (;;) {
        MMTimer* target = nullptr;
        {
            std::lock_guard<std::mutex> lock(queue->mutex);
            TimerEntry* next = nullptr;
            for (TimerEntry* entry : queue->entries) {
                if (entry->due > now || entry->sequence >= limit) continue;
                if (next == nullptr || entry->due < next->due ||
                    (entry->due == next->due && entry->sequence < next->sequence))
                    next = entry;
            }
            if (next == nullptr) break;
            target = next->owner;
            if (target->oneOff) {
                RemoveEntry(*queue, next);
                target->timerObject = nullptr;
                delete next;
            } else {
                // Missed periods are skipped, the phase is kept.
                const long long late = now - next->due;
                next->due += (late / next->interval + 1) * next->interval;
                next->sequence = queue->nextSequence++;
            }
        }
        target->OnTimerCallback();
        ++fired;
    }
    return fired;
}

long long MMTimer::MillisecondsToNextTimer() {
    const std::shared_ptr<TimerQueue>& queue = ThisThreadQueue();
    const long long now = Now();
    std::lock_guard<std::mutex> lock(queue->mutex);
    if (queue->entries.empty()) return -1;
    long long earliest = queue->entries.front()->due;
    for (const TimerEntry* entry : queue->entries) earliest = std::min(earliest, entry->due);
    return std::max(0LL, earliest - now);
}

}  // namespace tam

extern "C" {
int TamProcessTimers() { return tam::MMTimer::ProcessTimers(); }
long long TamMillisecondsToNextTimer() { return tam::MMTimer::MillisecondsToNextTimer(); }
void TamSetTimerClock(long long (*clock)()) { tam::MMTimer::SetClock(clock); }
}
