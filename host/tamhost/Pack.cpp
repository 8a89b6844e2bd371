// Loads the pack and reaches its factory through the one exported entry point.
#include "tamhost/Pack.h"

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>

#ifndef TAM_DEFAULT_PACK_PATH
#define TAM_DEFAULT_PACK_PATH "tam.so"
#endif

namespace tamhost {

namespace {
using GetFactoryFunction = int32_t (*)(void**);
}

std::string Pack::defaultPath() {
    const char* fromEnvironment = std::getenv("TAM_PACK");
    if (fromEnvironment != nullptr && *fromEnvironment != '\0') return fromEnvironment;
    return TAM_DEFAULT_PACK_PATH;
}

Pack& Pack::shared() {
    // Never destroyed: module instances may be released after static
    // destructors have begun.
    static Pack* pack = new Pack(defaultPath());
    return *pack;
}

Pack::Pack(const std::string& path) : path_(path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        const char* error = dlerror();
        throw std::runtime_error("cannot load pack " + path + ": " + (error ? error : "unknown error"));
    }
    auto getFactory = reinterpret_cast<GetFactoryFunction>(dlsym(handle_, "MP_GetFactory"));
    if (getFactory == nullptr) {
        dlclose(handle_);
        throw std::runtime_error("pack " + path + " exports no MP_GetFactory");
    }
    void* unknown = nullptr;
    if (getFactory(&unknown) != MP_OK || unknown == nullptr) {
        dlclose(handle_);
        throw std::runtime_error("MP_GetFactory of " + path + " failed");
    }
    void* factory = nullptr;
    auto* factoryUnknown = static_cast<gmpi::IMpUnknown*>(unknown);
    if (factoryUnknown->queryInterface(MP_IID_FACTORY2, &factory) != MP_OK || factory == nullptr) {
        factoryUnknown->release();
        dlclose(handle_);
        throw std::runtime_error("the factory of " + path + " has no IMpFactory2 face");
    }
    factoryUnknown->release();
    factory_ = static_cast<gmpi::IMpFactory2*>(factory);
    processTimers_ = reinterpret_cast<int (*)()>(dlsym(handle_, "TamProcessTimers"));
    millisecondsToNextTimer_ = reinterpret_cast<long long (*)()>(dlsym(handle_, "TamMillisecondsToNextTimer"));
    setTimerClock_ = reinterpret_cast<void (*)(TimerClock)>(dlsym(handle_, "TamSetTimerClock"));
}

Pack::~Pack() {
    if (factory_ != nullptr) factory_->release();
    if (handle_ != nullptr) dlclose(handle_);
}

int32_t Pack::createInstance2(const std::wstring& id, int kind, void** object) const {
    return factory_->createInstance2(id.c_str(), kind, object);
}

int32_t Pack::createInstance(const std::wstring& id, int kind, gmpi::IMpUnknown* host, void** object) const {
    return factory_->createInstance(id.c_str(), kind, host, object);
}

int Pack::processTimers() const { return processTimers_ != nullptr ? processTimers_() : 0; }

long long Pack::millisecondsToNextTimer() const {
    return millisecondsToNextTimer_ != nullptr ? millisecondsToNextTimer_() : -1;
}

void Pack::setTimerClock(TimerClock clock) const {
    if (setTimerClock_ != nullptr) setTimerClock_(clock);
}

// Identifiers and file names are UTF-8; a malformed sequence becomes U+FFFD.
std::wstring widen(const std::string& text) {
    std::wstring out;
    const size_t n = text.size();
    size_t i = 0;
    while (i < n) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        int extra = 0;
        uint32_t code = lead;
        if (lead >= 0xC2 && lead < 0xE0) {
            extra = 1;
            code = lead & 0x1F;
        } else if (lead >= 0xE0 && lead < 0xF0) {
            extra = 2;
            code = lead & 0x0F;
        } else if (lead >= 0xF0 && lead < 0xF5) {
            extra = 3;
            code = lead & 0x07;
        } else if (lead >= 0x80) {
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            continue;
        }
        bool valid = i + static_cast<size_t>(extra) < n;
        for (int k = 1; valid && k <= extra; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) valid = false;
            else code = (code << 6) | (next & 0x3F);
        }
        if (!valid) {
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(code);
        i += static_cast<size_t>(extra) + 1;
    }
    return out;
}

std::string narrow(const std::wstring& text) {
    std::string out;
    for (const wchar_t wc : text) {
        uint32_t c = static_cast<uint32_t>(wc);
        if (c > 0x10FFFF) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

}  // namespace tamhost
