// The two halves of one module tested together: the GUI probe's output
// feeds a DSP module's input, the DSP module's output feeds a GUI pin, and
// the bridge carries values both ways with the times the DSP side expects.
#include <gtest/gtest.h>

#include "ProbeGui.h"
#include "frame/mp_sdk_audio.h"
#include "tamhost/DspHost.h"
#include "tamhost/GuiHost.h"

namespace {

// Output = input * 10, sent when the input changes.
class TimesTen : public MpBase {
public:
    TimesTen() {
        initializePin(0, in);
        initializePin(1, out);
        setSubProcess(&TimesTen::subProcessNothing);
    }
    void onSetPins() override {
        if (in.isUpdated()) out = in * 10.0f;
        setSleep(true);
    }
    FloatInPin in;
    FloatOutPin out;
};

const char* kTimesTenCatalogue = R"({"family":"TEST_DSP","modules":[
 {"id":"TestTimesTen","kind":0,"class":"TimesTen","pins":[
  {"index":0,"name":"In","type":"float","direction":"in"},
  {"index":1,"name":"Out","type":"float","direction":"out"}]}]})";

TEST(GuiDspBridgeTest, ValuesCrossBothWaysAtTheDspModulesTime) {
    probe::liveProbes = 0;
    {
        tamhost::Catalogue catalogue;
        catalogue.loadText(probe::kProbeCatalogue, "probe catalogue");
        catalogue.loadText(kTimesTenCatalogue, "dsp catalogue");
        MpFactory factory;
        factory.RegisterPlugin(L"TestProbeGui", 1, &probe::createProbeGui);
        tamhost::GuiModule gui(&factory, catalogue.get("TestProbeGui", 1));
        auto& p = *static_cast<probe::ProbeGui*>(gui.face1());
        tamhost::DspModule dsp(static_cast<gmpi::IMpPlugin*>(new TimesTen()),
                               catalogue.get("TestTimesTen", 0));

        tamhost::GuiDspBridge bridge(gui, dsp);
        bridge.linkGuiToDsp(probe::kFloatOut, 0);
        bridge.linkDspToGui(1, probe::kPlainIn);
        bridge.linkDspToGui(1, probe::kPolyIn, 7);

        gui.setFloat(probe::kFloatIn, 2.0f);  // out 4 -> the DSP input's first value
        // Graph start sends the output's first value (0), then the answer.
        EXPECT_EQ(bridge.run(64, 64), 4);
        EXPECT_EQ(p.plainIn.value, 40.0f);
        EXPECT_EQ(p.polyIn[7], 40.0f);
        EXPECT_EQ(p.log.back(), "poly 7");
        EXPECT_EQ(dsp.valueCalls(1).back().time, 0);

        gui.setFloat(probe::kFloatIn, 5.0f);  // out 10, queued at sample 64
        EXPECT_EQ(bridge.run(64, 64), 2);
        EXPECT_EQ(p.plainIn.value, 100.0f);
        EXPECT_EQ(dsp.valueCalls(1).back().time, 64);

        gui.setFloat(probe::kFloatIn, 5.0f);  // no change: nothing crosses
        EXPECT_EQ(bridge.run(64, 64), 0);
        dsp.clearCalls();
        EXPECT_EQ(bridge.pump(), 0);
    }
    EXPECT_EQ(probe::liveProbes, 0);
}

}  // namespace
