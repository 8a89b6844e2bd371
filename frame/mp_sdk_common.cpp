// The factory: the registry of creation functions and the pack's one entry
// point. Nothing thrown by a module ever crosses into the host.
#include "frame/mp_sdk_common.h"

#include <cwchar>

namespace {

// Plain and lazily made, so that family initialisers may run in any order.
MpFactory* theFactory = nullptr;

const wchar_t kCompilerInformation[] = L"GCC Compiler V1002 (Release)";
constexpr int32_t kSdkVersion = 30800;

}  // namespace

MpFactory* Factory() {
    if (theFactory == nullptr) theFactory = new MpFactory;
    return theFactory;
}

// Frees the registry when the pack is unloaded.
class factory_deleter_helper {
public:
    ~factory_deleter_helper() {
        delete Factory();
        // Cleared so that a late caller makes a fresh factory rather than
        // reaching freed memory.
        theFactory = nullptr;
    }
};

namespace {
factory_deleter_helper factoryDeleter;
}

int32_t RegisterPlugin(int kind, const wchar_t* id, gmpi::IMpUnknown* (*create)()) {
    Factory()->RegisterPlugin(id, kind, create);
    return 0;
}

int32_t RegisterPluginXml(const char*) { return 0; }

extern "C" __attribute__((visibility("default"))) int32_t MP_GetFactory(void** object) {
    if (object == nullptr) return MP_FAIL;
    return Factory()->queryInterface(MP_IID_UNKNOWN, object);
}

int32_t MpFactory::queryInterface(const gmpi::MpGuid& iid, void** object) {
    if (object == nullptr) return MP_FAIL;
    if (iid == MP_IID_UNKNOWN || iid == MP_IID_FACTORY || iid == MP_IID_FACTORY2) {
        *object = static_cast<gmpi::IMpFactory2*>(this);
        addRef();
        return MP_OK;
    }
    *object = nullptr;
    return MP_NOSUPPORT;
}

// The factory lives until unload whatever the host does with references.
int32_t MpFactory::addRef() { return 1; }
int32_t MpFactory::release() { return 1; }

int32_t MpFactory::RegisterPlugin(const wchar_t* id, int32_t kind, CreateFunction create) {
    if (id == nullptr) return MP_OK;
    pluginMap.emplace(std::make_pair(kind, std::wstring(id)), create);
    return MP_OK;
}

MpFactory::CreateFunction MpFactory::findCreateFunction(const wchar_t* id, int32_t kind) const {
    if (id == nullptr) return nullptr;
    const auto it = pluginMap.find(std::make_pair(kind, std::wstring(id)));
    return it == pluginMap.end() ? nullptr : it->second;
}

int32_t MpFactory::createInstance2(const wchar_t* id, int32_t kind, void** object) {
    if (object == nullptr) return MP_FAIL;
    *object = nullptr;
    CreateFunction create = nullptr;
    try {
        create = findCreateFunction(id, kind);
    } catch (...) {
        return MP_FAIL;
    }
    if (create == nullptr) return MP_NOSUPPORT;
    try {
        *object = create();
    } catch (...) {
        *object = nullptr;
        return MP_FAIL;
    }
    return MP_OK;
}

int32_t MpFactory::createInstance(const wchar_t* id, int32_t kind, gmpi::IMpUnknown* host, void** object) {
    const int32_t result = createInstance2(id, kind, object);
    if (result != MP_OK || *object == nullptr) return result;
    auto* initialisation = dynamic_cast<IoldSchoolInitialisation*>(static_cast<gmpi::IMpUnknown*>(*object));
    if (initialisation == nullptr) return MP_OK;
    try {
        initialisation->setHost(host);
    } catch (...) {
        return MP_FAIL;  // the object stays with the caller
    }
    return MP_OK;
}

int32_t MpFactory::getSdkInformation(int32_t& sdkVersion, int32_t maxChars, wchar_t* compilerInformation) {
    sdkVersion = kSdkVersion;
    if (compilerInformation == nullptr || maxChars <= 0) return MP_OK;
    // Bounded by the caller's size so that a short buffer is never overrun;
    // a buffer of 29 or more gets the whole text.
    const size_t length = std::wcslen(kCompilerInformation);
    const size_t count = length < static_cast<size_t>(maxChars) ? length : static_cast<size_t>(maxChars) - 1;
    std::wmemcpy(compilerInformation, kCompilerInformation, count);
    compilerInformation[count] = L'\0';
    return MP_OK;
}
