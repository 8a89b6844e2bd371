// Table groups across voices and named tables, the LFO, and the GUI
// modules that make waveform blobs.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "sound/SemLFO.h"
#include "sound/SemOscillator.h"
#include "sound/tamBlobWaveform.h"
#include "tamhost/Catalogue.h"
#include "tamhost/DspHost.h"
#include "tamhost/GuiHost.h"
#include "test_osc_support.h"

using namespace osctest;
using tamhost::DspModule;

namespace {

// A voice compiled into the test, so that the process-wide table list is
// the one the test sees.
struct Voice {
    SemOscillator* osc;
    std::unique_ptr<DspModule> module;
};

Voice makeVoice(tamhost::HostContext& context, int32_t handle) {
    Voice v;
    v.osc = new SemOscillator(nullptr);
    const tamhost::DspOptions o{.context = &context};
    v.module = std::make_unique<DspModule>(asUnknown(v.osc), tamhost::Catalogue::shared().get("TamOscillator", 0), o);
    v.module->host().handle = handle;
    return v;
}

std::vector<uint8_t> blobBytes(const MpBlob& blob) {
    return std::vector<uint8_t>(blob.getData(), blob.getData() + blob.getSize());
}

}  // namespace

TEST(OscillatorVoices, OneTablePerGroup) {
    auto& tables = SemOscillator::SharedTables();
    const int before = tables.GetCount();
    {
        tamhost::HostContext context(44100.0f, 64);
        std::vector<Voice> voices;
        for (int i = 0; i < 3; ++i)
            voices.push_back(makeVoice(context, 77));
        voices.push_back(makeVoice(context, 78));  // another module in the graph
        for (auto& v : voices) {
            v.module->setInt(kWaveform, 2);
            v.module->run(64);
        }
        // The first voice made the group id; the block keeps it.
        void* block = nullptr;
        int32_t needsInit = -1;
        ASSERT_EQ(context.requestSharedBlock(L"TamOscillatorInstanceId", &block, 4, &needsInit), MP_OK);
        EXPECT_EQ(needsInit, 0);
        SemOscillator::SharedTable* shared = voices[0].osc->GetSharedTable();
        ASSERT_NE(shared, nullptr);
        EXPECT_EQ(*static_cast<int32_t*>(block), shared->instanceId);
        EXPECT_EQ(voices[1].osc->GetSharedTable(), shared);
        EXPECT_EQ(voices[2].osc->GetSharedTable(), shared);
        EXPECT_NE(voices[3].osc->GetSharedTable(), shared);
        EXPECT_EQ(shared->GetReferenceCount(), 4);  // three voices and the list
        EXPECT_EQ(tables.GetCount(), before + 2);

        // Voices keep their own phase on the shared table.
        voices[0].module->setAudioInputConstant(kPitch, 0.7f);
        voices[0].module->run(64);
        EXPECT_NE(voices[0].module->output(kOut), voices[1].module->output(kOut));

        voices.pop_back();
        EXPECT_EQ(tables.GetCount(), before + 1);
        voices.pop_back();
        EXPECT_EQ(shared->GetReferenceCount(), 3);
    }
    EXPECT_EQ(tables.GetCount(), before);
}

TEST(OscillatorVoices, NamedTableIsBuiltByItsBuilder) {
    tamhost::HostContext context(48000.0f, 64);
    auto make = [&](int waveform, const wchar_t* name, bool builder) {
        const tamhost::DspOptions o{.context = &context};
        auto m = std::make_unique<DspModule>("TamOscillator", o);
        setupLinear(*m, waveform, 500.0);
        m->setString(kTableName, name);
        m->setBool(kTableBuilder, builder);
        return m;
    };
    auto builder = make(2, L"pad", true);
    auto player = make(0, L"pad", false);    // asks for a sine, plays the shared ramp
    auto orphan = make(0, L"other", false);  // nobody builds "other"
    builder->run(960);
    player->run(960);
    orphan->run(960);
    EXPECT_EQ(player->output(kOut), builder->output(kOut));
    for (float v : orphan->output(kOut))
        ASSERT_EQ(v, 0.0f);
    // A waveform change on a non-builder leaves the table alone.
    player->setInt(kWaveform, 3, 960);
    builder->run(960);
    player->run(960);
    EXPECT_EQ(player->output(kOut), builder->output(kOut));
}

TEST(LFO, BarDivisions) {
    SemLFO lfo(nullptr);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(4, 4, 4), 1.0);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(0, 4, 4), 16.0);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(0, 0, 4), 64.0);        // numerator 0 counts as 1
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(6, 3, 4), 4.0 / 3.0 * 0.333333333);  // real division
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(10, 7, 8), 8.0 / 7.0 * 0.03125);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(11, 4, 4), 1.0);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(-1, 4, 4), 1.0);
    EXPECT_DOUBLE_EQ(lfo.calcBarDivide(3, -2, -9), 2.0);
}

TEST(LFO, FollowsTempoAndTransport) {
    enum { kTempo = 0, kSongPos, kLfoEnable, kNum, kDen, kTransport, kLfoWave, kLfoCustomOn, kLfoCustom, kDivision,
           kLfoLevel, kLfoOffset, kLfoSync, kLfoOut };
    const tamhost::DspOptions o{.sampleRate = 48000.0f, .blockSize = 256};
    DspModule m("TamLFO", o);
    m.setFloat(kTempo, 120.0f);
    m.setInt(kNum, 4);
    m.setInt(kDen, 4);
    m.setInt(kDivision, 4);  // one beat: half a second at 120 bpm
    m.setInt(kLfoWave, 0);
    m.setAudioInputConstant(kLfoLevel, 1.0f);
    m.run(48000);
    const auto& out = m.output(kLfoOut);
    ASSERT_TRUE(allFinite(out));
    for (int i = 0; i < 24000; i += 97)
        ASSERT_NEAR(out[i + 24000], out[i], 5e-3) << i;
    EXPECT_NEAR(amplitudeAt(out, 0, 48000, 2.0, 48000.0), refs()["harm_sine"]["amplitudes"][0].get<double>(), 2e-3);
    // Transport stopped: silence, not streaming.
    m.setBool(kTransport, false, 48000);
    m.run(1024);
    for (int i = 48256; i < 49024; ++i)
        ASSERT_EQ(m.outputAt(kLfoOut, i), 0.0f);
    EXPECT_FALSE(m.streamingCalls(kLfoOut).back().streaming);

    // Hostile tempo and no buildable waveform: finite output.
    DspModule bad("TamLFO", o);
    bad.setFloat(kTempo, -1e30f);
    bad.setInt(kLfoWave, 7);
    bad.setAudioInputConstant(kLfoLevel, 1.0f);
    bad.run(512);
    for (float v : bad.output(kLfoOut))
        ASSERT_EQ(v, 0.0f);
    DspModule fast("TamLFO", o);
    fast.setFloat(kTempo, std::nanf(""));
    fast.setInt(kLfoWave, 2);
    fast.setBool(kLfoCustomOn, true);
    fast.setBlob(kLfoCustom, waveBlob({0.0f, 1.0f, 0.0f, -1.0f}));
    fast.setAudioInputConstant(kLfoLevel, 1.0f);
    fast.run(512);
    EXPECT_TRUE(allFinite(fast.output(kLfoOut)));
}

TEST(WaveBlobGui, ModesAndTriggers) {
    tamhost::GuiOptions quiet;
    quiet.sendDefaults = false;
    {
        tamhost::GuiModule mode("TamWaveMode", 1, quiet);
        mode.setInt(0, 4);
        mode.setFloat(1, 7.5f);
        auto last = mode.lastTransmission(2);
        ASSERT_TRUE(last.has_value());
        tam::Buffer<float> got;
        MpBlob blob(static_cast<int32_t>(last->data.size()), last->data.data());
        ASSERT_TRUE(BlobWaveform::Read(blob, &got));
        ASSERT_EQ(got.GetSize(), 256);
        const auto& expected = refs()["blob_7v5"]["4"];
        for (int i = 0; i < 256; ++i)
            ASSERT_NEAR(got.GetData()[i], expected[i].get<float>(), 1e-6);
    }
    {
        tamhost::GuiModule gen("TamWaveGen", 1, quiet);
        gen.setInt(0, 2);
        gen.setFloat(1, 10.0f);
        EXPECT_TRUE(gen.transmissionsForPin(2).empty());  // not automatic, no trigger
        gen.setBool(4, true);
        ASSERT_EQ(gen.transmissionsForPin(2).size(), 1u);
        EXPECT_EQ(gen.lastTransmission(2)->data, blobBytes(BuildWaveformToBlob(2, 10.0f)));
        gen.setBool(4, false);
        gen.setBool(3, true);
        gen.setInt(0, 3);
        EXPECT_EQ(gen.lastTransmission(2)->data, blobBytes(BuildWaveformToBlob(3, 10.0f)));
    }
}

TEST(WaveBlobGui, DrivesTheOscillatorsCustomWaveform) {
    tamhost::GuiOptions quiet;
    quiet.sendDefaults = false;
    tamhost::GuiModule mode("TamWaveMode", 1, quiet);
    const tamhost::DspOptions o{.sampleRate = 48000.0f};
    DspModule osc("TamOscillator", o);
    setupLinear(osc, 1, 187.5);  // 256 samples per cycle
    osc.setBool(kCustomOn, true);
    tamhost::GuiDspBridge bridge(mode, osc);
    bridge.linkGuiToDsp(2, kCustomWave);
    mode.setInt(0, 0);
    mode.setFloat(1, 10.0f);
    bridge.run(48000);
    // The blob's sine runs 1.41 degrees a sample: just under 1.003 cycles in
    // 256 samples, so the table holds mostly the fundamental.
    const double fundamental = amplitudeAt(osc.output(kOut), 0, 48000, 187.5, 48000.0);
    EXPECT_GT(fundamental, 0.9);
    EXPECT_LT(fundamental, 1.0);
}
