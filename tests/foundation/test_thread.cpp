// Locks, events, worker threads and the per-thread timer queues.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/tamThread.h"
#include "foundation/tamTimer.h"

namespace {

using Clock = std::chrono::steady_clock;

long long ElapsedMilliseconds(Clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count();
}

bool IsListedAsRunning(const tam::Thread* thread) {
    tam::ScopedLock lock(tam::RunningThreadsLock);
    return tam::RunningThreads.Contains(const_cast<tam::Thread*>(thread));
}

int RunningThreadCount() {
    tam::ScopedLock lock(tam::RunningThreadsLock);
    return tam::RunningThreads.GetCount();
}

// ---- CriticalSection ---------------------------------------------------------

TEST(CriticalSectionTest, RecursiveForItsOwnerExclusiveForOthers) {
    const tam::CriticalSection section;  // const: locking must still work
    section.Lock();
    EXPECT_TRUE(section.TryLock());  // recursive
    bool otherGotIt = true;
    std::thread other([&] { otherGotIt = section.TryLock(); });
    other.join();
    EXPECT_FALSE(otherGotIt);
    section.Unlock();
    section.Unlock();
    std::thread again([&] {
        otherGotIt = section.TryLock();
        if (otherGotIt) section.Unlock();
    });
    again.join();
    EXPECT_TRUE(otherGotIt);
}

TEST(CriticalSectionTest, SerialisesCounting) {
    tam::CriticalSection section;
    long long counter = 0;
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                tam::ScopedLock lock(section);
                ++counter;
            }
        });
    for (auto& worker : workers) worker.join();
    EXPECT_EQ(counter, 80000);
}

// ---- WaitableEvent -----------------------------------------------------------

TEST(WaitableEventTest, ZeroWaitConsumesASignalAndTimesOutWithout) {
    tam::WaitableEvent event;
    EXPECT_FALSE(event.Wait(0));
    event.Signal();
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.Wait(0)) << "the signal is consumed by the first wait";
    event.Signal();
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
    EXPECT_NE(event.GetHandle(), nullptr);
}

TEST(WaitableEventTest, TimedWaitRunsOutAfterItsTime) {
    tam::WaitableEvent event;
    const auto start = Clock::now();
    EXPECT_FALSE(event.Wait(60));
    EXPECT_GE(ElapsedMilliseconds(start), 55);
    // An odd millisecond count crossing a second boundary still works.
    const auto second = Clock::now();
    EXPECT_FALSE(event.Wait(1001 % 7));
    EXPECT_LT(ElapsedMilliseconds(second), 1000);
}

TEST(WaitableEventTest, SignalWakesAnEndlessWait) {
    tam::WaitableEvent event;
    std::atomic<bool> woke{false};
    std::thread waiter([&] { woke = event.Wait(-1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    event.Signal();
    waiter.join();
    EXPECT_TRUE(woke);
}

TEST(WaitableEventTest, OneSignalReleasesOnlyOneOfTwoWaiters) {
    tam::WaitableEvent event;
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 2; ++i)
        waiters.emplace_back([&] {
            if (event.Wait(300)) ++woken;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    event.Signal();
    for (auto& waiter : waiters) waiter.join();
    EXPECT_EQ(woken.load(), 1);
}

// ---- Thread ------------------------------------------------------------------

// Counts its runs; either returns at once or waits for the exit request.
class Worker : public tam::Thread {
public:
    explicit Worker(bool loop = true) : tam::Thread("worker"), loop(loop) {}
    ~Worker() override { StopThread(1000); }

    void OnRun() override {
        ++runs;
        running = true;
        while (loop && !ThreadShouldExit()) WaitThread(-1);
        running = false;
    }

    bool loop;
    std::atomic<int> runs{0};
    std::atomic<bool> running{false};
};

bool WaitFor(const std::function<bool()>& condition, int milliseconds = 2000) {
    const auto start = Clock::now();
    while (!condition()) {
        if (ElapsedMilliseconds(start) > milliseconds) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST(ThreadTest, RunsListedAndLeavesOnRequest) {
    Worker worker;
    EXPECT_FALSE(worker.IsThreadRunning());
    EXPECT_TRUE(worker.WaitForThreadToExit(10)) << "nothing to wait for";
    EXPECT_STREQ(worker.GetThreadName(), "worker");
    worker.StartThread(5);
    ASSERT_TRUE(WaitFor([&] { return worker.running.load(); }));
    EXPECT_TRUE(worker.IsThreadRunning());
    EXPECT_TRUE(IsListedAsRunning(&worker));
    EXPECT_NE(worker.GetThreadId(), pthread_t{0});
    EXPECT_NE(worker.GetThreadId(), tam::Thread::GetCurrentThreadId());

    worker.StopThread(2000);
    EXPECT_FALSE(worker.IsThreadRunning());
    EXPECT_FALSE(worker.running.load()) << "left through its own loop";
    EXPECT_FALSE(IsListedAsRunning(&worker));
    EXPECT_EQ(worker.GetThreadId(), pthread_t{0});
}

TEST(ThreadTest, FinishedThreadStartsAgain) {
    Worker worker(false);
    worker.StartThread(3);
    ASSERT_TRUE(worker.WaitForThreadToExit(2000));
    worker.StartThread(3);
    ASSERT_TRUE(worker.WaitForThreadToExit(2000));
    EXPECT_EQ(worker.runs.load(), 2);
    EXPECT_FALSE(IsListedAsRunning(&worker));
}

TEST(ThreadTest, WaitForExitGivesUpOnAThreadThatStays) {
    Worker worker;
    worker.StartThread(5);
    ASSERT_TRUE(WaitFor([&] { return worker.running.load(); }));
    const auto start = Clock::now();
    EXPECT_FALSE(worker.WaitForThreadToExit(20));
    EXPECT_GE(ElapsedMilliseconds(start), 15);
    EXPECT_FALSE(worker.WaitForThreadToExit(3)) << "under one poll: an immediate false";
}

// Blocks where only cancellation can reach it, holding a lock of its own.
class Stubborn : public tam::Thread {
public:
    Stubborn() : tam::Thread("stubborn") {}
    ~Stubborn() override { StopThread(0); }
    void OnRun() override {
        tam::ScopedLock hold(held);
        inside = true;
        for (;;) never.Wait(-1);  // ignores exit requests
    }
    tam::CriticalSection held;
    tam::WaitableEvent never;
    std::atomic<bool> inside{false};
};

TEST(ThreadTest, ZeroTimeoutStopCancelsAtOnceAndFreesLocks) {
    Stubborn thread;
    thread.StartThread(5);
    ASSERT_TRUE(WaitFor([&] { return thread.inside.load(); }));
    const auto start = Clock::now();
    thread.StopThread(0);
    EXPECT_LT(ElapsedMilliseconds(start), 50);
    EXPECT_FALSE(thread.IsThreadRunning());
    EXPECT_FALSE(IsListedAsRunning(&thread));
    // The stop waited for the cancelled thread to unwind: its locks are free.
    ASSERT_TRUE(thread.held.TryLock());
    thread.held.Unlock();
    thread.never.Signal();  // the event's own mutex is free as well
    EXPECT_TRUE(thread.never.Wait(0));
}

TEST(ThreadTest, TimedStopCancelsAThreadThatIgnoresTheRequest) {
    Stubborn thread;
    thread.StartThread(5);
    ASSERT_TRUE(WaitFor([&] { return thread.inside.load(); }));
    const auto start = Clock::now();
    thread.StopThread(30);
    EXPECT_GE(ElapsedMilliseconds(start), 25);
    EXPECT_FALSE(thread.IsThreadRunning());
    ASSERT_TRUE(thread.held.TryLock());
    thread.held.Unlock();
}

class Thrower : public tam::Thread {
public:
    Thrower() : tam::Thread("thrower") {}
    ~Thrower() override { StopThread(1000); }
    void OnRun() override { throw std::runtime_error("dropped by the start routine"); }
};

TEST(ThreadTest, ExceptionFromOnRunEndsTheThreadQuietly) {
    Thrower thread;
    thread.StartThread(5);
    EXPECT_TRUE(thread.WaitForThreadToExit(2000));
    EXPECT_FALSE(IsListedAsRunning(&thread));
}

class SelfStopper : public tam::Thread {
public:
    SelfStopper() : tam::Thread("self") {}
    ~SelfStopper() override { StopThread(1000); }
    void OnRun() override {
        StopThread(-1);  // must not wait for itself
        sawRequest = ThreadShouldExit();
    }
    std::atomic<bool> sawRequest{false};
};

TEST(ThreadTest, StopFromInsideOnlyRequestsExit) {
    SelfStopper thread;
    thread.StartThread(5);
    ASSERT_TRUE(thread.WaitForThreadToExit(2000));
    EXPECT_TRUE(thread.sawRequest.load());
}

TEST(ThreadTest, PrioritiesAcrossTheScaleAndBeyondAreAccepted) {
    for (int priority : {INT_MIN, -4, 0, 1, 6, 11, 40, INT_MAX}) {
        Worker worker;
        worker.StartThread(priority);
        ASSERT_TRUE(WaitFor([&] { return worker.running.load(); })) << priority;
        worker.StartThread(priority);  // a running thread only takes the priority
        worker.StopThread(2000);
        EXPECT_EQ(worker.runs.load(), 1) << priority;
    }
}

TEST(ThreadTest, ManyStartsAndStopsLeaveNothingBehind) {
    const int before = RunningThreadCount();
    for (int i = 0; i < 150; ++i) {
        Worker polite;
        polite.StartThread(5);
        if (i % 3 == 0) {
            ASSERT_TRUE(WaitFor([&] { return polite.running.load(); }));
        }
        polite.StopThread(i % 2 == 0 ? 2000 : 0);  // half of them cancelled
        EXPECT_FALSE(polite.IsThreadRunning());
    }
    {
        // Destroyed while running: the destructor stops the thread.
        Worker left;
        left.StartThread(5);
        ASSERT_TRUE(WaitFor([&] { return left.running.load(); }));
    }
    EXPECT_EQ(RunningThreadCount(), before);
}

TEST(ThreadTest, SleepAndYield) {
    const auto start = Clock::now();
    tam::Thread::SleepThread(15);
    EXPECT_GE(ElapsedMilliseconds(start), 14);
    tam::Thread::SleepThread(-3);  // no wait, no error
    tam::Thread::YieldThread();
}

// ---- MMTimer -----------------------------------------------------------------

std::atomic<long long> fakeNow{0};
long long FakeClock() { return fakeNow.load(); }

class TimerTest : public ::testing::Test {
protected:
    void SetUp() override {
        fakeNow = 1000;
        tam::MMTimer::SetClock(&FakeClock);
    }
    void TearDown() override {
        tam::MMTimer::ProcessTimers();
        tam::MMTimer::SetClock(nullptr);
    }
    static int Advance(long long milliseconds) {
        fakeNow += milliseconds;
        return tam::MMTimer::ProcessTimers();
    }
};

// Appends its tag to a shared log when it fires.
class Recorder : public tam::MMTimer {
public:
    Recorder(std::vector<int>& log, int tag, int interval, bool oneOff)
        : tam::MMTimer(interval, oneOff), log(log), tag(tag) {}
    void OnTimerCallback() override {
        log.push_back(tag);
        if (action) action(*this);
    }
    std::vector<int>& log;
    int tag;
    std::function<void(Recorder&)> action;
};

TEST_F(TimerTest, FiresInOrderOfDueTime) {
    std::vector<int> log;
    Recorder slow(log, 30, 30, true), fast(log, 10, 10, true), middle(log, 20, 20, true);
    slow.StartTimer();
    fast.StartTimer();
    middle.StartTimer();
    EXPECT_EQ(tam::MMTimer::MillisecondsToNextTimer(), 10);
    EXPECT_EQ(Advance(9), 0);
    EXPECT_EQ(Advance(100), 3);
    EXPECT_EQ(log, (std::vector<int>{10, 20, 30}));
    EXPECT_FALSE(fast.IsTimerRunning()) << "a one-off timer is over once it fired";
    EXPECT_FALSE(fast.StopTimer());
    EXPECT_EQ(tam::MMTimer::MillisecondsToNextTimer(), -1);
}

TEST_F(TimerTest, EqualDueTimesFireInStartOrder) {
    std::vector<int> log;
    Recorder a(log, 1, 10, true), b(log, 2, 10, true), c(log, 3, 10, true);
    b.StartTimer();
    c.StartTimer();
    a.StartTimer();
    Advance(10);
    EXPECT_EQ(log, (std::vector<int>{2, 3, 1}));
}

TEST_F(TimerTest, RepeatingTimerKeepsItsPhaseAndSkipsMissedPeriods) {
    std::vector<int> log;
    Recorder tick(log, 1, 10, false);
    tick.StartTimer();
    EXPECT_EQ(Advance(10), 1);
    EXPECT_EQ(Advance(25), 1) << "fires once for the periods it missed";
    EXPECT_EQ(tam::MMTimer::MillisecondsToNextTimer(), 5);
    EXPECT_EQ(Advance(5), 1);
    EXPECT_TRUE(tick.IsTimerRunning());
    EXPECT_TRUE(tick.StopTimer());
    EXPECT_FALSE(tick.StopTimer());
    EXPECT_EQ(Advance(100), 0);
    EXPECT_EQ(log.size(), 3u);
}

TEST_F(TimerTest, RestartMovesTheDueTime) {
    std::vector<int> log;
    Recorder timer(log, 1, 50, true);
    timer.StartTimer();
    Advance(40);
    timer.StartTimer();  // now due at +50 from here
    EXPECT_EQ(Advance(40), 0);
    EXPECT_EQ(Advance(10), 1);
}

TEST_F(TimerTest, CallbackMayDeleteItsOwnTimer) {
    std::vector<int> log;
    auto* doomed = new Recorder(log, 1, 10, false);
    doomed->action = [](Recorder& self) { delete &self; };
    Recorder later(log, 2, 15, true);
    doomed->StartTimer();
    later.StartTimer();
    EXPECT_EQ(Advance(20), 2);
    EXPECT_EQ(log, (std::vector<int>{1, 2}));
    EXPECT_EQ(Advance(100), 0);
}

TEST_F(TimerTest, CallbackMayStopAnotherDueTimer) {
    std::vector<int> log;
    Recorder first(log, 1, 10, true), second(log, 2, 12, false);
    first.action = [&](Recorder&) { second.StopTimer(); };
    first.StartTimer();
    second.StartTimer();
    EXPECT_EQ(Advance(20), 1);
    EXPECT_EQ(log, (std::vector<int>{1}));
    EXPECT_FALSE(second.IsTimerRunning());
}

TEST_F(TimerTest, CallbackRestartingWithZeroIntervalDoesNotSpin) {
    std::vector<int> log;
    Recorder echo(log, 1, 0, true);
    echo.action = [](Recorder& self) { self.StartTimer(); };
    echo.StartTimer();
    EXPECT_EQ(Advance(1), 1);
    EXPECT_EQ(Advance(1), 1);
    EXPECT_TRUE(echo.IsTimerRunning());
    echo.StopTimer();
}

TEST_F(TimerTest, TimersBelongToTheThreadThatStartedThem) {
    std::vector<int> log;
    pthread_t firedOn{};
    Recorder remote(log, 7, 10, true);
    remote.action = [&](Recorder&) { firedOn = pthread_self(); };
    pthread_t worker{};
    std::thread other([&] {
        worker = pthread_self();
        remote.StartTimer();
        fakeNow += 10;
        tam::MMTimer::ProcessTimers();
    });
    other.join();
    EXPECT_EQ(log, (std::vector<int>{7}));
    EXPECT_TRUE(pthread_equal(firedOn, worker));

    // A timer left on a thread that has ended never fires and still stops.
    Recorder orphan(log, 8, 10, false);
    std::thread starter([&] { orphan.StartTimer(); });
    starter.join();
    EXPECT_EQ(Advance(50), 0);
    EXPECT_TRUE(orphan.StopTimer());
}

TEST_F(TimerTest, PlainEntryPointsDriveTheSameQueue) {
    std::vector<int> log;
    Recorder timer(log, 3, 10, true);
    TamSetTimerClock(&FakeClock);
    timer.StartTimer();
    EXPECT_EQ(TamMillisecondsToNextTimer(), 10);
    fakeNow += 10;
    EXPECT_EQ(TamProcessTimers(), 1);
}

TEST(TimerClockTest, DefaultClockIsMonotonicMilliseconds) {
    tam::MMTimer::SetClock(nullptr);
    const long long first = tam::MMTimer::Now();
    std::this_thread::sleep_for(std::chrono::milliseconds(12));
    const long long second = tam::MMTimer::Now();
    EXPECT_GE(second - first, 10);
    EXPECT_LT(second - first, 2000);
}

}  // namespace
