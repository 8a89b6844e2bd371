// GUI modules through a factory and the reference host's GUI side: the
// creation routes, the host calls a module makes, callbacks, transmission on
// change only, pins by voice, and creation against a host that offers no
// GUI-side host.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "ProbeGui.h"
#include "tamhost/GuiHost.h"

namespace {

using tamhost::GuiModule;
using tamhost::GuiOptions;
using tamhost::Transmission;

class GuiModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        probe::liveProbes = 0;
        catalogue.loadText(probe::kProbeCatalogue, "probe catalogue");
        factory.RegisterPlugin(L"TestProbeGui", 1, &probe::createProbeGui);
        factory.RegisterPlugin(L"TestProbeGui2", 2, &probe::createProbeGui2);
    }
    void TearDown() override { EXPECT_EQ(probe::liveProbes, 0) << "an instance was not destroyed"; }

    static probe::ProbeGui& probeOf(GuiModule& m) { return *static_cast<probe::ProbeGui*>(m.face1()); }
    static probe::ProbeGui2& probe2Of(GuiModule& m) { return *static_cast<probe::ProbeGui2*>(m.face2()); }

    tamhost::Catalogue catalogue;
    MpFactory factory;
};

TEST_F(GuiModuleTest, FirstRouteGivesTheHostBeforeInitializeAndDefaultsArrive) {
    GuiOptions options;
    options.baseFolder = "/samples";
    GuiModule m(&factory, catalogue.get("TestProbeGui", 1), options);
    ASSERT_NE(m.face1(), nullptr);
    EXPECT_FALSE(m.secondGeneration());
    probe::ProbeGui& p = probeOf(m);
    EXPECT_EQ(p.pinCountSeen, probe::kPinCount);  // the catalogue's count
    EXPECT_EQ(p.resolvedName, L"/samples/take.wav");
    EXPECT_EQ(m.host().pinCountCalls, 1);

    // Defaults in index order, each set then notified.
    EXPECT_EQ(p.floatIn.value, 1.5f);
    EXPECT_EQ(p.intIn.value, 7);
    EXPECT_TRUE(p.boolIn.value);
    EXPECT_EQ(p.textIn.value, L"hi");
    EXPECT_FALSE(p.colourIn.invalid);
    EXPECT_EQ(p.colourIn.color, 0xFF010203u);
    const std::vector<std::string> expected = {"float",  "int 7",  "bool true",  "text",
                                               "blob 0", "poly 0", "polyblob 0", "colour"};
    EXPECT_EQ(p.log, expected);
    EXPECT_EQ(m.lastTransmission(probe::kFloatOut)->asFloat(), 3.0f);
    EXPECT_EQ(m.lastTransmission(probe::kTextOut)->asString(), L"hi!");

    GuiOptions counted;
    counted.pinCount = 40;
    counted.sendDefaults = false;
    GuiModule n(&factory, catalogue.get("TestProbeGui", 1), counted);
    EXPECT_EQ(probeOf(n).pinCountSeen, 40);
    EXPECT_TRUE(probeOf(n).log.empty());
    EXPECT_EQ(probeOf(n).resolvedName, L"take.wav");  // no base folder: the name as it stands
}

TEST_F(GuiModuleTest, CallbacksRunOnNotifyAndOutputsTransmitOnChangeOnly) {
    GuiOptions options;
    options.sendDefaults = false;
    GuiModule m(&factory, catalogue.get("TestProbeGui", 1), options);
    probe::ProbeGui& p = probeOf(m);

    EXPECT_EQ(m.setPinRaw(probe::kFloatIn, tamhost::rawFloat(2.0f)), MP_OK);
    EXPECT_TRUE(p.log.empty());  // stored, not yet heard
    EXPECT_EQ(m.notifyPin(probe::kFloatIn), MP_OK);
    EXPECT_EQ(m.setFloat(probe::kFloatIn, 2.0f), MP_OK);  // heard again, output unchanged
    EXPECT_EQ(m.setFloat(probe::kFloatIn, 3.0f), MP_OK);
    EXPECT_EQ(p.log, (std::vector<std::string>{"float", "float", "float"}));
    const auto sent = m.transmissionsForPin(probe::kFloatOut);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].asFloat(), 4.0f);
    EXPECT_EQ(sent[1].asFloat(), 6.0f);
    EXPECT_EQ(sent[1].voice, 0);
    EXPECT_EQ(m.transmissions().size(), 2u);  // nothing else went out

    // A pin without a callback takes its value quietly; unknown pins fail.
    EXPECT_EQ(m.setFloat(probe::kPlainIn, 8.0f), MP_OK);
    EXPECT_EQ(p.plainIn.value, 8.0f);
    EXPECT_EQ(m.setFloat(99, 1.0f), MP_FAIL);
    EXPECT_EQ(m.notifyPin(-1), MP_FAIL);
    EXPECT_EQ(p.log.size(), 3u);
}

TEST_F(GuiModuleTest, PinsByVoiceStringsAndBlobs) {
    GuiOptions options;
    options.sendDefaults = false;
    GuiModule m(&factory, catalogue.get("TestProbeGui", 1), options);
    probe::ProbeGui& p = probeOf(m);

    m.setFloat(probe::kPolyIn, 5.0f, 3);
    m.setFloat(probe::kPolyIn, 1.0f, 127);
    EXPECT_EQ(p.polyIn[3], 5.0f);
    EXPECT_EQ(p.polyIn[4], 0.0f);
    auto poly = m.transmissionsForPin(probe::kPolyOut);
    ASSERT_EQ(poly.size(), 2u);
    EXPECT_EQ(poly[0].voice, 3);
    EXPECT_EQ(poly[0].asFloat(), 6.0f);
    EXPECT_EQ(poly[1].voice, 127);
    EXPECT_EQ(m.lastTransmission(probe::kPolyOut, 3)->asFloat(), 6.0f);

    // A voice beyond the cells is ignored by the pin; the callback still
    // hears it and its answer goes nowhere.
    EXPECT_EQ(m.setFloat(probe::kPolyIn, 9.0f, 128), MP_OK);
    EXPECT_EQ(p.log.back(), "poly 128");
    EXPECT_EQ(m.transmissionsForPin(probe::kPolyOut).size(), 2u);

    m.setString(probe::kTextIn, L"h\u00E9llo \u266A");
    EXPECT_EQ(m.lastTransmission(probe::kTextOut)->asString(), L"h\u00E9llo \u266A!");
    m.setBlob(probe::kBlobIn, {1, 2, 3, 4, 5});
    EXPECT_EQ(p.log.back(), "blob 5");
    m.setBlob(probe::kPolyBlobIn, {9, 9}, 2);
    EXPECT_EQ(p.log.back(), "polyblob 2");
    EXPECT_EQ(p.polyBlobIn[2].getSize(), 2);
    EXPECT_EQ(p.polyBlobIn[1].getSize(), 0);
}

TEST_F(GuiModuleTest, FacesAnswerTheirOwnIdentifiersOnly) {
    GuiModule first(&factory, catalogue.get("TestProbeGui", 1));
    void* face = reinterpret_cast<void*>(1);
    EXPECT_EQ(first.face1()->queryInterface(MP_IID_GUI_PLUGIN2, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);
    EXPECT_EQ(first.face1()->queryInterface(MP_IID_PLUGIN, &face), MP_NOSUPPORT);
    ASSERT_EQ(first.face1()->queryInterface(MP_IID_UNKNOWN, &face), MP_OK);
    EXPECT_EQ(face, static_cast<void*>(first.face1()));
    first.face1()->release();

    GuiModule second(&factory, catalogue.get("TestProbeGui2", 2));
    for (const gmpi::MpGuid& iid : {MP_IID_UNKNOWN, MP_IID_GUI_PLUGIN2, MP_IID_GUI_PLUGIN2B}) {
        ASSERT_EQ(second.face2()->queryInterface(iid, &face), MP_OK);
        EXPECT_EQ(face, static_cast<void*>(second.face2()));
        second.face2()->release();
    }
    EXPECT_EQ(second.face2()->queryInterface(MP_IID_GUI_PLUGIN, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);
}

TEST_F(GuiModuleTest, SecondGenerationGetsItsHostThroughItsOwnInterface) {
    GuiModule m(&factory, catalogue.get("TestProbeGui2", 2));
    ASSERT_TRUE(m.secondGeneration());
    probe::ProbeGui2& p = probe2Of(m);
    EXPECT_EQ(p.pinCountSeen, 4);
    m.clearTransmissions();
    p.log.clear();

    m.setFloat(0, 1.0f);
    m.setFloat(1, 2.0f, 6);
    EXPECT_EQ(m.setFloat(2, 3.0f), MP_OK);  // wired with a null handler: no callback
    EXPECT_EQ(p.quietIn.value, 3.0f);
    EXPECT_EQ(p.log, (std::vector<std::string>{"float", "poly 6"}));
    ASSERT_EQ(m.transmissions().size(), 1u);
    EXPECT_EQ(m.transmissions()[0].pinId, 3);
    EXPECT_EQ(m.transmissions()[0].asFloat(), 2.0f);

    // A host without the second-version GUI host is refused without a throw.
    auto* bare = new tamhost::BareUnknown();
    EXPECT_EQ(m.face2()->setHost(bare), MP_NOSUPPORT);
    EXPECT_EQ(p.host, nullptr);
    p.floatOut = 50.0f;  // no host to tell: nothing happens
    EXPECT_EQ(m.face2()->setHost(&m.host()), MP_OK);
    bare->release();
}

TEST_F(GuiModuleTest, FirstRouteWithoutAGuiHostFailsAndLeavesTheObjectToTheCaller) {
    auto* bare = new tamhost::BareUnknown();
    for (gmpi::IMpUnknown* host :
         {static_cast<gmpi::IMpUnknown*>(bare), static_cast<gmpi::IMpUnknown*>(nullptr)}) {
        void* object = nullptr;
        EXPECT_EQ(factory.createInstance(L"TestProbeGui", 1, host, &object), MP_FAIL);
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(probe::liveProbes, 1);
        // Releasing it frees the module and the callbacks its pins were given.
        EXPECT_EQ(static_cast<gmpi::IMpUnknown*>(object)->release(), 0);
        EXPECT_EQ(probe::liveProbes, 0);
    }
    bare->release();

    // The second route leaves the first generation without a host: values
    // still arrive, and answers go nowhere.
    void* object = nullptr;
    ASSERT_EQ(factory.createInstance2(L"TestProbeGui", 1, &object), MP_OK);
    auto* ui = static_cast<gmpi::IMpUserInterface*>(static_cast<gmpi::IMpUnknown*>(object));
    const tamhost::RawValue one = tamhost::rawFloat(1.0f);
    EXPECT_EQ(ui->setPin(probe::kFloatIn, 0, 4, const_cast<uint8_t*>(one.data())), MP_OK);
    EXPECT_EQ(ui->notifyPin(probe::kFloatIn, 0), MP_OK);
    auto* module = static_cast<probe::ProbeGui*>(ui);
    EXPECT_EQ(module->host, nullptr);
    EXPECT_EQ(module->floatOut.value, 2.0f);
    EXPECT_EQ(module->getPinCount(), 0);
    ui->release();

    // The reference host reports a first-generation module it cannot serve.
    GuiOptions secondRoute;
    secondRoute.firstRoute = false;
    EXPECT_THROW({ GuiModule m(&factory, catalogue.get("TestProbeGui", 1), secondRoute); },
                 std::runtime_error);
    tamhost::ModuleInfo unknown;
    unknown.id = "NoSuchGui";
    unknown.kind = 1;
    EXPECT_THROW({ GuiModule m(&factory, unknown); }, std::runtime_error);
}

TEST(UiHostTest, AnswersBothHostIdentifiersAndBoundsFileNames) {
    auto* host = new tamhost::UiHost();
    void* face = nullptr;
    for (const gmpi::MpGuid& iid : {MP_IID_UNKNOWN, MP_IID_UI_HOST, MP_IID_UI_HOST2}) {
        ASSERT_EQ(host->queryInterface(iid, &face), MP_OK);
        EXPECT_EQ(face, static_cast<void*>(static_cast<gmpi::IMpUserInterfaceHost2*>(host)));
        host->release();
    }
    EXPECT_EQ(host->queryInterface(MP_IID_HOST, &face), MP_NOSUPPORT);
    EXPECT_EQ(face, nullptr);

    host->baseFolder = "/base";
    wchar_t buffer[260];
    EXPECT_EQ(host->resolveFileName(L"a.wav", 260, buffer), MP_OK);
    EXPECT_EQ(std::wstring(buffer), L"/base/a.wav");
    EXPECT_EQ(host->resolveFileName(L"/abs/b.wav", 260, buffer), MP_OK);
    EXPECT_EQ(std::wstring(buffer), L"/abs/b.wav");
    wchar_t small[4] = {L'x', L'x', L'x', L'x'};
    EXPECT_EQ(host->resolveFileName(L"a.wav", 4, small), MP_FAIL);
    EXPECT_EQ(std::wstring(small), L"/ba");
    EXPECT_EQ(host->resolveFileName(nullptr, 260, buffer), MP_FAIL);
    EXPECT_EQ(host->release(), 0);
}

}  // namespace
