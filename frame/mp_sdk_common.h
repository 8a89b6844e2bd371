// The pack's side of the host boundary shared by every face of a module:
// interface identifiers, result codes, the reference-counted base interface,
// the factory interfaces and the registry that family files fill while the
// pack loads.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace gmpi {

// A 16-byte interface identifier, compared field by field.
struct MpGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    unsigned char data4[8];
};

inline bool operator==(const MpGuid& a, const MpGuid& b) {
    if (a.data1 != b.data1 || a.data2 != b.data2 || a.data3 != b.data3) return false;
    for (int i = 0; i < 8; ++i) {
        if (a.data4[i] != b.data4[i]) return false;
    }
    return true;
}

inline bool operator!=(const MpGuid& a, const MpGuid& b) { return !(a == b); }

class IMpUnknown {
public:
    virtual int32_t queryInterface(const MpGuid& iid, void** object) = 0;
    virtual int32_t addRef() = 0;
    virtual int32_t release() = 0;
};

class IMpFactory : public IMpUnknown {
public:
    virtual int32_t createInstance(const wchar_t* id, int32_t kind, IMpUnknown* host, void** object) = 0;
    virtual int32_t getSdkInformation(int32_t& sdkVersion, int32_t maxChars, wchar_t* compilerInformation) = 0;
};

class IMpFactory2 : public IMpFactory {
public:
    virtual int32_t createInstance2(const wchar_t* id, int32_t kind, void** object) = 0;
};

// Module kinds, the second half of a registry key.
enum MpModuleKind : int32_t {
    MP_SUB_TYPE_AUDIO = 0,
    MP_SUB_TYPE_GUI = 1,
    MP_SUB_TYPE_GUI2 = 2,
};

}  // namespace gmpi

// Result codes of every host-facing operation.
inline constexpr int32_t MP_OK = 0;
inline constexpr int32_t MP_FAIL = -1;
inline constexpr int32_t MP_NOSUPPORT = -2;

// Every interface identifier the pack knows.
inline constexpr gmpi::MpGuid MP_IID_UNKNOWN = {0x00000000, 0x0000, 0xC000, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr gmpi::MpGuid MP_IID_FACTORY = {0x9A7904B7, 0x7F7F, 0x4D61, {0xB5, 0x58, 0xC1, 0xA6, 0x69, 0x5B, 0xB6, 0x38}};
inline constexpr gmpi::MpGuid MP_IID_FACTORY2 = {0x91C3D2EE, 0xC701, 0x4F35, {0x91, 0xA6, 0x09, 0x4D, 0xC7, 0xE0, 0x59, 0x76}};
inline constexpr gmpi::MpGuid MP_IID_PLUGIN = {0x2B0DFC7E, 0xA539, 0x49CD, {0xB7, 0x2D, 0x32, 0xFF, 0x9D, 0xF0, 0xD9, 0xE4}};
inline constexpr gmpi::MpGuid MP_IID_PLUGIN2 = {0x1E07E3E8, 0x8118, 0x457F, {0xA6, 0x3C, 0xD4, 0xF2, 0x82, 0xA0, 0xF5, 0x19}};
inline constexpr gmpi::MpGuid MP_IID_HOST = {0x4F1B532F, 0x3C46, 0x4927, {0xA4, 0x98, 0x61, 0x48, 0x67, 0x42, 0x5B, 0xE7}};
inline constexpr gmpi::MpGuid MP_IID_GUI_PLUGIN = {0xCACB3203, 0x4A57, 0x4209, {0x9E, 0x00, 0x0C, 0x4B, 0x95, 0x04, 0x57, 0xF6}};
inline constexpr gmpi::MpGuid MP_IID_GUI_PLUGIN2 = {0x9CD06775, 0xF5C2, 0x4321, {0x81, 0x2D, 0x09, 0x58, 0x15, 0x32, 0x94, 0xB8}};
inline constexpr gmpi::MpGuid MP_IID_GUI_PLUGIN2B = {0x21B0EC11, 0x6B66, 0x4B72, {0x92, 0x8E, 0x77, 0xE9, 0x3A, 0x31, 0xA6, 0x28}};
inline constexpr gmpi::MpGuid MP_IID_UI_HOST = {0x174F9DDC, 0x1850, 0x40DB, {0xBA, 0xF0, 0xE0, 0xB4, 0x1D, 0x07, 0x96, 0x45}};
inline constexpr gmpi::MpGuid MP_IID_UI_HOST2 = {0xDE009D92, 0xE281, 0x4F92, {0x99, 0x96, 0x20, 0x0F, 0x49, 0x69, 0x00, 0x28}};
inline constexpr gmpi::MpGuid MP_IID_RETURNSTRING = {0xAB8FFB21, 0x44FF, 0x42B7, {0x88, 0x85, 0x29, 0x43, 0x13, 0x99, 0xE7, 0xE4}};
inline constexpr gmpi::MpGuid MP_IID_CONTEXT_ITEMS_SINK = {0xBC152E7E, 0x7FB8, 0x4921, {0x84, 0xEE, 0xBE, 0xD7, 0xCF, 0xD9, 0xA8, 0x97}};
inline constexpr gmpi::MpGuid SE_IID_GRAPHICS_MPGUI = {0x4540C6EE, 0x98AB, 0x4C79, {0xB8, 0x57, 0x66, 0xAE, 0x64, 0x24, 0x91, 0x25}};
inline constexpr gmpi::MpGuid SE_IID_GRAPHICS_MPGUI2 = {0x6AEF51B9, 0xC92A, 0x472B, {0xA5, 0x3E, 0x4A, 0x47, 0x6D, 0xF8, 0x5C, 0x85}};
inline constexpr gmpi::MpGuid SE_IID_GRAPHICS_HOST = {0xE394AF51, 0xC4D0, 0x4885, {0x84, 0xF1, 0x96, 0x3C, 0xA8, 0x18, 0x29, 0x64}};
inline constexpr gmpi::MpGuid SE_IID_DEVICECONTEXT_MPGUI = {0xA1D9751D, 0x0C43, 0x4F57, {0x89, 0x58, 0xE0, 0xBC, 0xE3, 0x59, 0xB2, 0xFD}};
inline constexpr gmpi::MpGuid SE_IID_COMPLETION_CALLBACK = {0x709582BA, 0xAF65, 0x43E6, {0xA2, 0x4C, 0xAB, 0x05, 0xF8, 0xD6, 0x98, 0x0B}};

// How a module made by the first creation route gets its host. DSP modules
// and first-generation GUI modules inherit it.
class IoldSchoolInitialisation {
public:
    virtual int32_t setHost(gmpi::IMpUnknown* host) = 0;
};

// The registry: (kind, identifier) -> creation function. Filled by static
// initialisers while the pack loads, read only afterwards, so no lock.
class MpFactory : public gmpi::IMpFactory2 {
public:
    using CreateFunction = gmpi::IMpUnknown* (*)();

    MpFactory() = default;
    MpFactory(const MpFactory&) = delete;
    MpFactory& operator=(const MpFactory&) = delete;

    int32_t queryInterface(const gmpi::MpGuid& iid, void** object) override;
    int32_t addRef() override;
    int32_t release() override;
    int32_t createInstance(const wchar_t* id, int32_t kind, gmpi::IMpUnknown* host, void** object) override;
    int32_t getSdkInformation(int32_t& sdkVersion, int32_t maxChars, wchar_t* compilerInformation) override;
    int32_t createInstance2(const wchar_t* id, int32_t kind, void** object) override;
    virtual ~MpFactory() = default;

    // The first registration of a key stays; later ones are dropped.
    int32_t RegisterPlugin(const wchar_t* id, int32_t kind, CreateFunction create);

private:
    // Null when the key is absent or registered without a function.
    CreateFunction findCreateFunction(const wchar_t* id, int32_t kind) const;

    std::map<std::pair<int32_t, std::wstring>, CreateFunction> pluginMap;
};

// The one factory of the process, made on first use.
MpFactory* Factory();

// Called by each family's static initialiser; always 0 so that it can
// initialise a static.
int32_t RegisterPlugin(int kind, const wchar_t* id, gmpi::IMpUnknown* (*create)());

// The pack keeps no module descriptions; kept for family files that call it.
int32_t RegisterPluginXml(const char* xml);

extern "C" __attribute__((visibility("default"))) int32_t MP_GetFactory(void** object);
