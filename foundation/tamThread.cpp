// Threads, the recursive lock and the auto-reset event.
//
// A started thread shares a small Launch record with its object. When
// StopThread has to cancel a thread it marks the record abandoned and does the
// thread's bookkeeping itself; the cancelled thread, unwinding, never touches
// the object again (the object may be gone by then).
#include "foundation/tamThread.h"

#include <cxxabi.h>
#include <errno.h>
#include <sched.h>
#include <sys/time.h>
#include <time.h>

namespace tam {

ValArray<void*> RunningThreads;
CriticalSection RunningThreadsLock;

namespace {

// Holds a pthread mutex for a scope; unlocks also when a cancelled thread
// unwinds through it.
class MutexHolder {
public:
    explicit MutexHolder(pthread_mutex_t& mutex) : mutex(mutex) { pthread_mutex_lock(&mutex); }
    ~MutexHolder() { pthread_mutex_unlock(&mutex); }
    MutexHolder(const MutexHolder&) = delete;
    MutexHolder& operator=(const MutexHolder&) = delete;

private:
    pthread_mutex_t& mutex;
};

// Lets cancellation act only inside its scope.
class CancellationWindow {
public:
    CancellationWindow() { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &previous); }
    ~CancellationWindow() {
        int ignored;
        pthread_setcancelstate(previous, &ignored);
    }
    CancellationWindow(const CancellationWindow&) = delete;
    CancellationWindow& operator=(const CancellationWindow&) = delete;

private:
    int previous = PTHREAD_CANCEL_DISABLE;
};

void RemoveRunningThread(void* thread) {
    for (int i = RunningThreads.GetCount() - 1; i >= 0; --i) {
        if (RunningThreads[i] == thread) {
            RunningThreads.Remove(i);
            return;
        }
    }
}

}  // namespace

// ---- CriticalSection ---------------------------------------------------------

CriticalSection::CriticalSection() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(&mutex); }

void CriticalSection::Lock() const { pthread_mutex_lock(&mutex); }

bool CriticalSection::TryLock() const { return pthread_mutex_trylock(&mutex) == 0; }

void CriticalSection::Unlock() const { pthread_mutex_unlock(&mutex); }

// ---- WaitableEvent -----------------------------------------------------------

WaitableEvent::WaitableEvent() : block(std::make_shared<Block>()) {
    pthread_cond_init(&block->condition, nullptr);
    pthread_mutex_init(&block->mutex, nullptr);
    block->signalled = false;
}

WaitableEvent::~WaitableEvent() = default;

void WaitableEvent::Signal() const {
    MutexHolder hold(block->mutex);
    block->signalled = true;
    pthread_cond_broadcast(&block->condition);
}

void WaitableEvent::Reset() const {
    MutexHolder hold(block->mutex);
    block->signalled = false;
}

bool WaitableEvent::Wait(int milliseconds) const { return Wait(block, milliseconds); }

bool WaitableEvent::Wait(const std::shared_ptr<Block>& block, int milliseconds) {
    const std::shared_ptr<Block> keep = block;
    MutexHolder hold(keep->mutex);
    while (!keep->signalled) {
        if (milliseconds < 0) {
            pthread_cond_wait(&keep->condition, &keep->mutex);
            continue;
        }
        // The deadline is worked out anew on each turn.
        timeval now;
        gettimeofday(&now, nullptr);
        long long nanoseconds =
            static_cast<long long>(now.tv_usec) * 1000 + (milliseconds % 1000) * 1000000LL;
        timespec deadline;
        deadline.tv_sec = now.tv_sec + milliseconds / 1000 + static_cast<time_t>(nanoseconds / 1000000000LL);
        deadline.tv_nsec = static_cast<long>(nanoseconds % 1000000000LL);
        if (pthread_cond_timedwait(&keep->condition, &keep->mutex, &deadline) == ETIMEDOUT) {
            keep->signalled = false;
            return false;
        }
    }
    keep->signalled = false;
    return true;
}

// ---- Thread ------------------------------------------------------------------

struct Thread::Launch {
    Thread* owner;
    bool abandoned = false;  // guarded by RunningThreadsLock
    WaitableEvent finished;  // signalled when the thread has fully unwound
};

namespace {

struct LaunchArgument {
    std::shared_ptr<Thread::Launch> launch;
};

// Signals the end of a thread's run on every way out, cancellation included,
// after everything above it on the thread's stack has unwound.
class FinishSignal {
public:
    explicit FinishSignal(std::shared_ptr<Thread::Launch> launch) : launch(std::move(launch)) {}
    ~FinishSignal() { launch->finished.Signal(); }
    FinishSignal(const FinishSignal&) = delete;
    FinishSignal& operator=(const FinishSignal&) = delete;

private:
    std::shared_ptr<Thread::Launch> launch;
};

// How long a stop waits for a cancelled thread to unwind (and release its
// locks) before it lets the object go; a thread that never reaches a
// cancellation point would otherwise hold the caller for ever.
constexpr int kCancelUnwindMilliseconds = 1000;

// Waits for the start and runs the thread's body; its exceptions are dropped,
// except cancellation, which must unwind on. The runtime hands cancellation
// over as an exception without an object, so binding the handler's reference
// trips the sanitizer's null check although nothing is dereferenced.
__attribute__((no_sanitize_undefined)) void RunStarted(Thread* owner,
                                                       const std::shared_ptr<WaitableEvent::Block>& start) {
    try {
        CancellationWindow window;
        if (WaitableEvent::Wait(start, 10000)) {
            pthread_testcancel();  // a stop that came during the start wins
            owner->OnRun();
        }
    } catch (abi::__forced_unwind&) {
        // Cancelled by StopThread, which has done the bookkeeping.
        throw;
    } catch (...) {
    }
}

}  // namespace

Thread::Thread(const String& name) : name(name) {}

Thread::~Thread() { StopThread(100); }

void* TamThreadProc(void* argument) {
    // Cancellation may act only while waiting for the start and in OnRun.
    int ignored;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    std::shared_ptr<Thread::Launch> launch;
    {
        std::unique_ptr<LaunchArgument> taken(static_cast<LaunchArgument*>(argument));
        launch = std::move(taken->launch);
    }
    const FinishSignal finish(launch);
    std::shared_ptr<WaitableEvent::Block> start;
    Thread* owner = nullptr;
    {
        ScopedLock lock(RunningThreadsLock);
        if (launch->abandoned) return nullptr;
        owner = launch->owner;
        RunningThreads.Add(owner);
        owner->threadId.store(pthread_self());
        start = owner->startEvent.GetSharedHandle();
    }
    RunStarted(owner, start);
    ScopedLock lock(RunningThreadsLock);
    if (!launch->abandoned) {
        // The handle goes last: once it reads 0 the object may be destroyed.
        RemoveRunningThread(owner);
        if (owner->launch == launch) owner->launch.reset();
        owner->threadId.store(0);
        owner->threadHandle.store(0);
    }
    return nullptr;
}

void Thread::StartThread(int priority) {
    ScopedLock start(startLock);
    exitRequested.store(false, std::memory_order_relaxed);
    {
        ScopedLock running(RunningThreadsLock);
        if (threadHandle.load() == 0) {
            auto fresh = std::make_shared<Launch>();
            fresh->owner = this;
            auto* argument = new LaunchArgument{fresh};
            pthread_t handle;
            if (pthread_create(&handle, nullptr, TamThreadProc, argument) == 0) {
                pthread_detach(handle);
                threadHandle.store(handle);
                launch = std::move(fresh);
            } else {
                delete argument;
            }
        }
        // Under the list's lock the thread cannot finish, so its handle is
        // valid here.
        pthread_t target = threadHandle.load();
        if (target == 0) target = pthread_self();
        int policy;
        sched_param parameters;
        if (pthread_getschedparam(target, &policy, &parameters) == 0) {
            long long level = static_cast<long long>(priority) * 126 / 11;  // wide: no overflow
            if (level < 1) level = 1;
            if (level > 127) level = 127;
            parameters.sched_priority = static_cast<int>(level);
            pthread_setschedparam(target, policy, &parameters);  // refused levels are ignored
        }
    }
    startEvent.Signal();
}

void Thread::StopThread(int timeoutMilliseconds) {
    ScopedLock start(startLock);
    const pthread_t handle = threadHandle.load();
    if (handle == 0) return;
    exitRequested.store(true, std::memory_order_relaxed);
    defaultEvent.Signal();
    // A thread cannot wait for itself or cancel itself from here.
    if (pthread_equal(handle, pthread_self())) return;
    if (timeoutMilliseconds != 0) WaitForThreadToExit(timeoutMilliseconds);
    std::shared_ptr<Launch> cancelled;
    {
        ScopedLock running(RunningThreadsLock);
        const pthread_t still = threadHandle.load();
        if (still == 0) return;
        pthread_cancel(still);
        cancelled = std::move(launch);
        if (cancelled) cancelled->abandoned = true;
        threadHandle.store(0);
        threadId.store(0);
        RemoveRunningThread(this);
    }
    if (cancelled) cancelled->finished.Wait(kCancelUnwindMilliseconds);
}

bool Thread::WaitForThreadToExit(int milliseconds) const {
    int polls = milliseconds > 0 ? milliseconds / 5 : -1;
    while (threadHandle.load() != 0) {
        if (polls == 0) return false;
        if (polls > 0) --polls;
        SleepThread(5);
    }
    return true;
}

void Thread::SleepThread(int milliseconds) {
    if (milliseconds < 0) milliseconds = 0;
    timespec delay;
    delay.tv_sec = milliseconds / 1000;
    delay.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L;
    while (nanosleep(&delay, &delay) != 0 && errno == EINTR) {
    }
}

void Thread::YieldThread() { sched_yield(); }

}  // namespace tam
