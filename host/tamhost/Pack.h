// Loads the pack with dlopen and hands out its factory. The pack is reached
// only through its exported entry point and the binary interfaces.
#pragma once

#include <cstdint>
#include <string>

#include "frame/mp_sdk_common.h"

namespace tamhost {

class Pack {
public:
    // Loads the shared object at path (RTLD_NOW | RTLD_LOCAL). Throws
    // std::runtime_error with the loader's message on failure.
    explicit Pack(const std::string& path = defaultPath());
    ~Pack();
    Pack(const Pack&) = delete;
    Pack& operator=(const Pack&) = delete;

    // Env TAM_PACK, else the path of the pack this tree builds.
    static std::string defaultPath();
    // One pack per process from defaultPath(), loaded on first use and never
    // unloaded, so instances may outlive any test fixture.
    static Pack& shared();

    const std::string& path() const { return path_; }
    gmpi::IMpFactory2* factory() const { return factory_; }

    // Both creation routes, results as the factory gives them.
    int32_t createInstance2(const std::wstring& id, int kind, void** object) const;
    int32_t createInstance(const std::wstring& id, int kind, gmpi::IMpUnknown* host, void** object) const;

    // The pack's timer pump, for a GUI loop: fires the calling thread's due
    // timers (returns how many), tells the milliseconds to the next one (-1
    // for none), and swaps the timers' clock (null: the monotonic clock) so
    // tests can drive time. A pack without a pump fires nothing.
    using TimerClock = long long (*)();
    int processTimers() const;
    long long millisecondsToNextTimer() const;
    void setTimerClock(TimerClock clock) const;

private:
    std::string path_;
    void* handle_ = nullptr;
    gmpi::IMpFactory2* factory_ = nullptr;
    int (*processTimers_)() = nullptr;
    long long (*millisecondsToNextTimer_)() = nullptr;
    void (*setTimerClock_)(TimerClock) = nullptr;
};

std::wstring widen(const std::string& text);
std::string narrow(const std::wstring& text);

}  // namespace tamhost
