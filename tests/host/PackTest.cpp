// The pack as a host sees it: the factory through dlopen, and the census of
// registrations against the identifier table and the list of built modules.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cmath>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "tamhost/DspHost.h"
#include "tamhost/Catalogue.h"
#include "tamhost/Pack.h"

namespace {

using Key = std::pair<int, std::string>;

std::vector<std::string> dataLines(const std::string& name) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/frame/" + name);
    EXPECT_TRUE(in) << name;
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> fields;
    std::stringstream stream(line);
    std::string field;
    while (std::getline(stream, field, '\t')) fields.push_back(field);
    return fields;
}

std::set<Key> tableKeys() {
    std::set<Key> keys;
    for (const auto& line : dataLines("registrations.tsv")) {
        const auto f = split(line);
        if (f.size() == 3) keys.emplace(std::stoi(f[1]), f[2]);
    }
    return keys;
}

std::set<Key> builtKeys() {
    std::set<Key> keys;
    for (const auto& line : dataLines("built.txt")) {
        const auto f = split(line);
        EXPECT_EQ(f.size(), 2u) << "malformed line in built.txt: " << line;
        if (f.size() == 2) {
            EXPECT_TRUE(keys.emplace(std::stoi(f[0]), f[1]).second) << "listed twice: " << line;
        }
    }
    return keys;
}

bool creates(int kind, const std::string& id) {
    void* object = nullptr;
    const int32_t result = tamhost::Pack::shared().createInstance2(tamhost::widen(id), kind, &object);
    if (result != MP_OK || object == nullptr) return false;
    static_cast<gmpi::IMpUnknown*>(object)->release();
    return true;
}

// A DSP module the pack builds, for the factory tests; empty if none yet.
std::string someBuiltDspModule() {
    for (const auto& [kind, id] : builtKeys())
        if (kind == 0) return id;
    return {};
}

}  // namespace

TEST(Census, TableHasEveryRegistrationOnce) {
    const auto lines = dataLines("registrations.tsv");
    EXPECT_EQ(lines.size(), 430u);
    EXPECT_EQ(tableKeys().size(), 430u);
    std::set<std::string> families;
    for (const auto& line : lines) {
        const auto f = split(line);
        ASSERT_EQ(f.size(), 3u) << line;
        families.insert(f[0]);
        EXPECT_EQ(f[2].rfind("Tam", 0), 0u) << line;
    }
    EXPECT_EQ(families.size(), 16u);
}

TEST(Census, PackRegistersExactlyTheBuiltSet) {
    const auto table = tableKeys();
    const auto built = builtKeys();
    for (const auto& key : built) EXPECT_TRUE(table.count(key)) << "built but not in the table: " << key.second << " kind " << key.first;

    std::set<std::string> ids;
    for (const auto& key : table) ids.insert(key.second);
    std::set<Key> made;
    for (const auto& id : ids)
        for (int kind = 0; kind <= 2; ++kind)
            if (creates(kind, id)) made.emplace(kind, id);
    for (const auto& key : made) EXPECT_TRUE(built.count(key)) << "registered but not in built.txt: " << key.first << "\t" << key.second;
    for (const auto& key : built) EXPECT_TRUE(made.count(key)) << "in built.txt but not made: " << key.first << "\t" << key.second;
}

TEST(PackFactory, InformationFacesAndUnknownKeys) {
    gmpi::IMpFactory2* factory = tamhost::Pack::shared().factory();
    ASSERT_NE(factory, nullptr);
    int32_t version = 0;
    wchar_t text[64] = {};
    EXPECT_EQ(factory->getSdkInformation(version, 64, text), MP_OK);
    EXPECT_EQ(version, 30800);
    EXPECT_EQ(std::wstring(text), L"GCC Compiler V1002 (Release)");

    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->queryInterface(MP_IID_HOST, &object), MP_NOSUPPORT);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->queryInterface(MP_IID_FACTORY, &object), MP_OK);
    EXPECT_EQ(object, static_cast<void*>(factory));

    object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->createInstance2(L"TamNoSuchModule", 0, &object), MP_NOSUPPORT);
    EXPECT_EQ(object, nullptr);
    object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->createInstance(L"TamNoSuchModule", 0, nullptr, &object), MP_NOSUPPORT);
    EXPECT_EQ(object, nullptr);

    // No count is kept: the factory outlives any number of releases.
    for (int i = 0; i < 10; ++i) EXPECT_EQ(factory->release(), 1);
    EXPECT_EQ(factory->getSdkInformation(version, 64, text), MP_OK);
}

TEST(PackFactory, BothCreationRoutes) {
    const std::string id = someBuiltDspModule();
    if (id.empty()) GTEST_SKIP() << "no DSP module built yet";
    tamhost::Pack& pack = tamhost::Pack::shared();

    // A DSP identifier under a kind it is not registered in.
    const auto built = builtKeys();
    if (!built.count({2, id})) {
        void* object = reinterpret_cast<void*>(1);
        EXPECT_EQ(pack.createInstance2(tamhost::widen(id), 2, &object), MP_NOSUPPORT);
        EXPECT_EQ(object, nullptr);
    }

    // Second route: no host reaches the module through the factory.
    void* object = nullptr;
    ASSERT_EQ(pack.createInstance2(tamhost::widen(id), 0, &object), MP_OK);
    tamhost::HostContext context;
    auto* host = new tamhost::AudioHost(context);
    auto* unknown = static_cast<gmpi::IMpUnknown*>(object);
    void* plugin2 = nullptr;
    ASSERT_EQ(unknown->queryInterface(MP_IID_PLUGIN2, &plugin2), MP_OK);
    EXPECT_EQ(host->addRef(), 2);  // nobody else holds the host
    host->release();
    static_cast<gmpi::IMpPlugin2*>(plugin2)->release();
    unknown->release();

    // First route: the factory hands the host over, the module keeps a
    // reference until it is destroyed.
    ASSERT_EQ(pack.createInstance(tamhost::widen(id), 0, host, &object), MP_OK);
    EXPECT_EQ(host->addRef(), 3);
    host->release();
    static_cast<gmpi::IMpUnknown*>(object)->release();
    EXPECT_EQ(host->release(), 0);
}

TEST(PackFactory, MemoryAudioHasDifferentClassesPerKind) {
    const auto built = builtKeys();
    if (!built.count({0, "TamMemoryAudio"}) || !built.count({1, "TamMemoryAudio"}))
        GTEST_SKIP() << "TamMemoryAudio not built yet";
    tamhost::Pack& pack = tamhost::Pack::shared();
    void* dsp = nullptr;
    void* gui = nullptr;
    ASSERT_EQ(pack.createInstance2(L"TamMemoryAudio", 0, &dsp), MP_OK);
    ASSERT_EQ(pack.createInstance2(L"TamMemoryAudio", 1, &gui), MP_OK);
    void* face = nullptr;
    EXPECT_EQ(static_cast<gmpi::IMpUnknown*>(dsp)->queryInterface(MP_IID_PLUGIN2, &face), MP_OK);
    static_cast<gmpi::IMpUnknown*>(face)->release();
    EXPECT_NE(static_cast<gmpi::IMpUnknown*>(gui)->queryInterface(MP_IID_PLUGIN2, &face), MP_OK);
    void* none = reinterpret_cast<void*>(1);
    EXPECT_EQ(pack.createInstance2(L"TamMemoryAudio", 2, &none), MP_NOSUPPORT);
    static_cast<gmpi::IMpUnknown*>(dsp)->release();
    static_cast<gmpi::IMpUnknown*>(gui)->release();
}

TEST(PackLoading, ClearErrorForAMissingPack) {
    try {
        tamhost::Pack pack("/nonexistent/tam.so");
        FAIL() << "loaded a pack that does not exist";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("/nonexistent/tam.so"), std::string::npos);
    }
}

TEST(PackLoading, OnlyTheEntryPointAndNamedTablesAreVisible) {
    void* handle = dlopen(tamhost::Pack::shared().path().c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(dlsym(handle, "MP_GetFactory"), nullptr);
    EXPECT_EQ(dlsym(handle, "_Z7Factoryv"), nullptr);
    EXPECT_EQ(dlsym(handle, "_Z14RegisterPluginiPKwPFPN4gmpi10IMpUnknownEvE"), nullptr);
    for (const char* pump : {"TamProcessTimers", "TamMillisecondsToNextTimer", "TamSetTimerClock"})
        EXPECT_NE(dlsym(handle, pump), nullptr) << pump;
    EXPECT_EQ(dlsym(handle, "_ZN3tam7MMTimer13ProcessTimersEv"), nullptr);
    dlclose(handle);
}

// The host's GUI loop reaches the pack's timer queue through the pump. A
// thread with no timers has nothing due, whatever the clock says.
TEST(PackLoading, TimerPumpAnswersForAThreadWithoutTimers) {
    const tamhost::Pack& pack = tamhost::Pack::shared();
    static long long fakeNow = 0;
    pack.setTimerClock([] { return fakeNow; });
    fakeNow = 1'000'000;
    EXPECT_EQ(pack.processTimers(), 0);
    EXPECT_EQ(pack.millisecondsToNextTimer(), -1);
    pack.setTimerClock(nullptr);
}

// Every DSP module the pack builds and the catalogue describes runs on the
// reference host with its defaults, at the usual rates, without crashing,
// and its outputs stay finite.
TEST(PackModules, EveryCataloguedDspModuleRunsWithItsDefaults) {
    const auto built = builtKeys();
    int ran = 0;
    for (const tamhost::ModuleInfo* info : tamhost::Catalogue::shared().modules()) {
        if (info->kind != 0 || !built.count({0, info->id})) continue;
        for (const float rate : {44100.0f, 48000.0f, 96000.0f}) {
            tamhost::DspModule m(info->id, {.sampleRate = rate, .blockSize = 64});
            m.run(1000, 64);
            for (const auto& pin : info->pins) {
                if (pin.type != tamhost::PinType::Audio || !pin.output) continue;
                const auto& out = m.output(pin.index);
                ASSERT_EQ(out.size(), 1000u) << info->id;
                for (size_t i = 0; i < out.size(); ++i)
                    ASSERT_TRUE(std::isfinite(out[i])) << info->id << " pin " << pin.index << " sample " << i << " at " << rate;
            }
        }
        ++ran;
    }
    RecordProperty("modules", ran);
}

TEST(PackModules, FirstRouteModulesRunLikeSecondRouteOnes) {
    const std::string id = someBuiltDspModule();
    if (id.empty() || tamhost::Catalogue::shared().find(id, 0) == nullptr) GTEST_SKIP() << "no catalogued DSP module yet";
    tamhost::DspModule second(id, {.blockSize = 32});
    tamhost::DspModule first(id, {.blockSize = 32, .firstRoute = true});
    second.run(256);
    first.run(256);
    for (const auto& pin : second.info().pins) {
        if (pin.type == tamhost::PinType::Audio && pin.output) {
            EXPECT_EQ(first.output(pin.index), second.output(pin.index)) << id;
        }
    }
    EXPECT_EQ(first.calls().size(), second.calls().size());
}
