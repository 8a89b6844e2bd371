// Threads and their locks.
//
// tam::CriticalSection is a recursive mutex that can be locked through a const
// object. tam::WaitableEvent is an auto-reset event: a signal is consumed by
// the first waiter that sees it. tam::Thread is a named worker whose OnRun
// polls exitRequested; StopThread asks it to leave, waits, and cancels it when
// the wait runs out. The threads inside their start routine are listed in
// tam::RunningThreads.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "foundation/tamArray.h"
#include "foundation/tamString.h"

namespace tam {

class CriticalSection {
public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Lock() const;
    bool TryLock() const;  // true when the lock was taken
    void Unlock() const;

private:
    mutable pthread_mutex_t mutex;
};

// Holds a CriticalSection for a scope.
class ScopedLock {
public:
    explicit ScopedLock(const CriticalSection& section) : section(section) { section.Lock(); }
    ~ScopedLock() { section.Unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    const CriticalSection& section;
};

class WaitableEvent {
public:
    struct Block {
        pthread_cond_t condition;
        pthread_mutex_t mutex;
        bool signalled;
    };

    WaitableEvent();
    ~WaitableEvent();
    WaitableEvent(const WaitableEvent&) = delete;
    WaitableEvent& operator=(const WaitableEvent&) = delete;

    void Signal() const;
    void Reset() const;
    // A negative time waits without limit. True when the signal was seen (and
    // consumed); false on a time-out, which also clears the signal.
    bool Wait(int milliseconds) const;
    Block* GetHandle() const { return block.get(); }
    // The block with shared ownership, and a wait on it that does not need
    // the event object itself.
    std::shared_ptr<Block> GetSharedHandle() const { return block; }
    static bool Wait(const std::shared_ptr<Block>& block, int milliseconds);

private:
    // Shared with a waiter, so that a thread cancelled inside Wait can unwind
    // through the block even when the event has gone meanwhile.
    std::shared_ptr<Block> block;
};

class Thread {
public:
    explicit Thread(const String& name);
    virtual void OnRun() = 0;
    // Stops with a 100 ms grace time. Subclasses stop the thread themselves
    // before their own members go.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Starts (or re-prioritises) the thread; priority runs 0 to 11. Priorities
    // the scheduler refuses are ignored.
    void StartThread(int priority = 5);
    // Requests exit and waits up to the time (0: no wait; negative: no limit),
    // then cancels a thread that is still there. Called from the thread
    // itself it only requests exit.
    void StopThread(int timeoutMilliseconds);
    // Polls every 5 ms; zero or a negative time waits without limit. True
    // when the thread has gone.
    bool WaitForThreadToExit(int milliseconds) const;

    bool IsThreadRunning() const { return threadHandle.load() != 0; }
    pthread_t GetThreadId() const { return threadId.load(); }
    const String& GetThreadName() const { return name; }
    static pthread_t GetCurrentThreadId() { return pthread_self(); }

    void SignalThreadExit() { exitRequested.store(true, std::memory_order_relaxed); }
    bool ThreadShouldExit() const { return exitRequested.load(std::memory_order_relaxed); }
    bool WaitThread(int milliseconds) { return defaultEvent.Wait(milliseconds); }
    void NotifyThread() { defaultEvent.Signal(); }

    void SetAffinityMask(unsigned int mask) { affinityMask = mask; }
    static void SetCurrentThreadAffinityMask(unsigned int) {}

    static void SleepThread(int milliseconds);
    static void YieldThread();

    struct Launch;  // what a started thread shares with its object

protected:
    String name;
    std::atomic<pthread_t> threadId{0};
    std::atomic<pthread_t> threadHandle{0};
    // A plain flag in meaning: written by the controller, polled by OnRun.
    std::atomic<bool> exitRequested{false};
    CriticalSection startLock;
    uint32_t affinityMask = 0;
    WaitableEvent defaultEvent;
    WaitableEvent startEvent;

private:
    std::shared_ptr<Launch> launch;

    friend void* TamThreadProc(void*);
};

// The start routine of every tam::Thread.
void* TamThreadProc(void* argument);

// The tam::Thread objects whose threads are inside TamThreadProc, guarded by
// RunningThreadsLock (taken after a thread's startLock, never before).
extern ValArray<void*> RunningThreads;
extern CriticalSection RunningThreadsLock;

}  // namespace tam
