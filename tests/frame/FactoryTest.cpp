// The registry, white-boxed on a factory of its own, and the rounding step.
#include <gtest/gtest.h>

#include <stdexcept>

#include "frame/fastRound.h"
#include "frame/mp_sdk_audio.h"
#include "frame/mp_sdk_common.h"
#include "tamhost/DspHost.h"

namespace {

class Plain : public MpBase {
public:
    void process(int32_t, const gmpi::MpEvent*) override {}
    int tag = 0;
};

class ThrowsOnHost : public MpBase {
public:
    int32_t setHost(gmpi::IMpUnknown*) override { throw std::runtime_error("no host for me"); }
};

// Neither face of the old initialisation.
class Bare : public gmpi::IMpUnknown {
public:
    int32_t queryInterface(const gmpi::MpGuid&, void** object) override {
        *object = nullptr;
        return MP_NOSUPPORT;
    }
    int32_t addRef() override { return 1; }
    int32_t release() override {
        delete this;
        return 0;
    }
    virtual ~Bare() = default;
};

gmpi::IMpUnknown* makeFirst() {
    auto* p = new Plain;
    p->tag = 1;
    return asUnknown(p);
}
gmpi::IMpUnknown* makeSecond() {
    auto* p = new Plain;
    p->tag = 2;
    return asUnknown(p);
}
gmpi::IMpUnknown* makeThrowing() { throw std::runtime_error("constructor failed"); }
gmpi::IMpUnknown* makeNothing() { return nullptr; }
gmpi::IMpUnknown* makeThrowsOnHost() { return asUnknown(new ThrowsOnHost); }
gmpi::IMpUnknown* makeBare() { return new Bare; }

Plain* asPlain(void* object) { return static_cast<Plain*>(static_cast<gmpi::IMpPlugin*>(static_cast<gmpi::IMpUnknown*>(object))); }

}  // namespace

TEST(Registry, FirstRegistrationWinsAndKindsAreSeparate) {
    MpFactory factory;
    EXPECT_EQ(factory.RegisterPlugin(L"TamThing", 0, makeFirst), MP_OK);
    EXPECT_EQ(factory.RegisterPlugin(L"TamThing", 0, makeSecond), MP_OK);
    EXPECT_EQ(factory.RegisterPlugin(L"TamThing", 1, makeSecond), MP_OK);
    void* object = reinterpret_cast<void*>(1);
    ASSERT_EQ(factory.createInstance2(L"TamThing", 0, &object), MP_OK);
    EXPECT_EQ(asPlain(object)->tag, 1);
    asPlain(object)->release();
    ASSERT_EQ(factory.createInstance2(L"TamThing", 1, &object), MP_OK);
    EXPECT_EQ(asPlain(object)->tag, 2);
    asPlain(object)->release();

    object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory.createInstance2(L"TamThing", 2, &object), MP_NOSUPPORT);
    EXPECT_EQ(object, nullptr);
    object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory.createInstance(L"TamOther", 0, nullptr, &object), MP_NOSUPPORT);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory.createInstance2(nullptr, 0, &object), MP_NOSUPPORT);
}

TEST(Registry, ExceptionsNeverCrossAndNullCreationsAreNoFailure) {
    MpFactory factory;
    factory.RegisterPlugin(L"Throwing", 0, makeThrowing);
    factory.RegisterPlugin(L"Nothing", 0, makeNothing);
    factory.RegisterPlugin(L"NullFunction", 0, nullptr);
    factory.RegisterPlugin(L"HostThrows", 0, makeThrowsOnHost);
    factory.RegisterPlugin(L"Bare", 0, makeBare);

    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory.createInstance2(L"Throwing", 0, &object), MP_FAIL);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory.createInstance(L"Throwing", 0, nullptr, &object), MP_FAIL);
    EXPECT_EQ(factory.createInstance2(L"Nothing", 0, &object), MP_OK);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory.createInstance(L"NullFunction", 0, nullptr, &object), MP_NOSUPPORT);

    // setHost throws: MP_FAIL, the object stays with the caller.
    tamhost::HostContext context;
    auto* host = new tamhost::AudioHost(context);
    EXPECT_EQ(factory.createInstance(L"HostThrows", 0, host, &object), MP_FAIL);
    ASSERT_NE(object, nullptr);
    static_cast<gmpi::IMpUnknown*>(object)->release();

    // An object that is no IoldSchoolInitialisation is simply handed over.
    EXPECT_EQ(factory.createInstance(L"Bare", 0, host, &object), MP_OK);
    ASSERT_NE(object, nullptr);
    static_cast<gmpi::IMpUnknown*>(object)->release();
    host->release();
}

TEST(Registry, FirstRouteSetsTheHost) {
    MpFactory factory;
    factory.RegisterPlugin(L"TamThing", 0, makeFirst);
    tamhost::HostContext context;
    auto* host = new tamhost::AudioHost(context);
    void* object = nullptr;
    ASSERT_EQ(factory.createInstance(L"TamThing", 0, host, &object), MP_OK);
    Plain* plain = asPlain(object);
    EXPECT_EQ(plain->getHost(), static_cast<gmpi::IMpHost*>(host));
    EXPECT_EQ(plain->getSampleRate(), context.sampleRate);
    plain->release();
    // The module gave its reference back: ours is the last.
    EXPECT_EQ(host->release(), 0);
}

TEST(Registry, FactoryFacesAndSdkInformation) {
    MpFactory factory;
    void* face = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory.queryInterface(MP_IID_FACTORY2, &face), MP_OK);
    EXPECT_EQ(face, static_cast<gmpi::IMpFactory2*>(&factory));
    EXPECT_EQ(factory.queryInterface(MP_IID_PLUGIN, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);

    int32_t version = 0;
    wchar_t text[40];
    std::fill(std::begin(text), std::end(text), L'#');
    EXPECT_EQ(factory.getSdkInformation(version, 40, text), MP_OK);
    EXPECT_EQ(version, 30800);
    EXPECT_EQ(std::wstring(text), L"GCC Compiler V1002 (Release)");
    // A short buffer is never overrun.
    wchar_t shortText[6];
    EXPECT_EQ(factory.getSdkInformation(version, 6, shortText), MP_OK);
    EXPECT_EQ(std::wstring(shortText), L"GCC C");
    EXPECT_EQ(factory.getSdkInformation(version, 0, nullptr), MP_OK);
}

TEST(Registry, ModuleFacesAndCounting) {
    auto* plain = new Plain;
    void* face = nullptr;
    EXPECT_EQ(plain->queryInterface(MP_IID_PLUGIN2, &face), MP_OK);
    EXPECT_EQ(face, static_cast<gmpi::IMpPlugin2*>(plain));
    EXPECT_EQ(plain->queryInterface(MP_IID_UNKNOWN, &face), MP_OK);
    EXPECT_EQ(face, static_cast<gmpi::IMpPlugin*>(plain));
    EXPECT_EQ(plain->queryInterface(MP_IID_HOST, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);
    EXPECT_EQ(plain->release(), 2);
    EXPECT_EQ(plain->release(), 1);
    // Without overrides, messages from the GUI bounce once and end with 0.
    EXPECT_EQ(static_cast<gmpi::IMpPlugin*>(plain)->receiveMessageFromGui(1, 2, nullptr), 0);
    EXPECT_EQ(static_cast<gmpi::IMpPlugin2*>(plain)->receiveMessageFromGui(1, 2, nullptr), 0);
    EXPECT_EQ(plain->setHost(nullptr), MP_FAIL);
    EXPECT_EQ(plain->release(), 0);
}

TEST(Registry, GuidsCompareEveryField) {
    gmpi::MpGuid g = MP_IID_HOST;
    EXPECT_TRUE(g == MP_IID_HOST);
    g.data4[7] ^= 1;
    EXPECT_FALSE(g == MP_IID_HOST);
    g = MP_IID_HOST;
    g.data3 ^= 1;
    EXPECT_TRUE(g != MP_IID_HOST);
    EXPECT_EQ(MP_IID_UNKNOWN.data3, 0xC000);
    EXPECT_EQ(MP_IID_UNKNOWN.data4[7], 0x46);
}

TEST(FastRound, LowerWordRoundsToNearestEven) {
    EXPECT_EQ(tam::fastRoundHi(0.5), 0);
    EXPECT_EQ(tam::fastRoundHi(1.5), 2);
    EXPECT_EQ(tam::fastRoundHi(2.5), 2);
    EXPECT_EQ(tam::fastRoundHi(-0.5), 0);
    EXPECT_EQ(tam::fastRoundHi(-1.5), -2);
    EXPECT_EQ(tam::fastRoundHi(2.4999), 2);
    EXPECT_EQ(tam::fastRoundHi(-7.6), -8);
    EXPECT_EQ(tam::fastRoundHi(1000000.5), 1000000);
}

TEST(FastRound, UpperWordIsTheExponentImage) {
    EXPECT_EQ(tam::fastRoundHiUpper(0.0), 0x43380000);
    EXPECT_EQ(tam::fastRoundHiUpper(513.7), 0x43380000);
    EXPECT_EQ(tam::fastRoundHiUpper(4294967295.0), 0x43380000);
    EXPECT_EQ(tam::fastRoundHiUpper(-1.0), 0x4337FFFF);
    EXPECT_EQ(tam::fastRoundHiUpper(-0.75), 0x4337FFFF);
}
