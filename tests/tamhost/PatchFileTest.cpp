// Patch files: what a bad patch is told (file, line, JSON path), hostile
// text, and the timing of what a good patch asks for.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tamhost/PatchFile.h"
#include "tamhost/Render.h"

using namespace tamhost;

namespace {

// A small valid patch, one key per line so that lines are easy to count.
std::string goodPatch(const std::string& extraModule = "", const std::string& extraConnection = "") {
    return "{\n"                                                                  // 1
           "  \"sampleRate\": 48000,\n"                                           // 2
           "  \"length\": 0.1,\n"                                                 // 3
           "  \"inputs\": [{\"name\": \"tone\", \"signal\": \"sine\", \"frequency\": 1000, \"amplitude\": 0.5}],\n"  // 4
           "  \"modules\": [\n"                                                   // 5
           "    {\"name\": \"vca\", \"id\": \"TamVCA\", \"pins\": {\"Volume\": 10, \"Volume Scale\": 1}}" +  // 6
           extraModule +
           "\n  ],\n"
           "  \"connections\": [\n"
           "    {\"from\": \"tone.0\", \"to\": \"vca.Signal In\"}" +
           extraConnection +
           "\n  ],\n"
           "  \"output\": {\"channels\": [\"vca.Signal Out\"]}\n"
           "}\n";
}

PatchError errorOf(const std::string& text) {
    try {
        loadPatchText(text, "bad.json", "");
    } catch (const PatchError& e) {
        return e;
    }
    ADD_FAILURE() << "no error for:\n" << text;
    return PatchError("", 0, "", "");
}

}  // namespace

TEST(PatchFileTest, JsonLinesFindsValuesAndFallsBackToTheirParents) {
    const std::string text = "{\n\"a\": [1,\n 2, {\"b/c\": \"x\",\n \"d\": {}}],\n\"e\": true}";
    JsonLines lines(text);
    EXPECT_EQ(lines.lineOf(""), 1);
    EXPECT_EQ(lines.lineOf("/a"), 2);
    EXPECT_EQ(lines.lineOf("/a/0"), 2);
    EXPECT_EQ(lines.lineOf("/a/1"), 3);
    EXPECT_EQ(lines.lineOf("/a/2/b~1c"), 3);
    EXPECT_EQ(lines.lineOf("/a/2/d"), 4);
    EXPECT_EQ(lines.lineOf("/a/2/d/missing/deeper"), 4);
    EXPECT_EQ(lines.lineOf("/e"), 5);
}

TEST(PatchFileTest, SyntaxAndSemanticErrorsNameFileLineAndPath) {
    // A missing comma on line 3.
    PatchError e = errorOf("{\n  \"sampleRate\": 48000\n  \"length\": 1\n}");
    EXPECT_EQ(e.file(), "bad.json");
    EXPECT_EQ(e.line(), 3);
    EXPECT_NE(std::string(e.what()).find("bad.json:3:"), std::string::npos) << e.what();

    e = errorOf(goodPatch(",\n    {\"name\": \"f\", \"id\": \"TamNoSuchFilter\"}"));
    EXPECT_EQ(e.path(), "/modules/1/id");
    EXPECT_EQ(e.line(), 7);
    EXPECT_NE(std::string(e.what()).find("TamNoSuchFilter"), std::string::npos);

    e = errorOf(goodPatch("", ",\n    {\"from\": \"vca.Signal Out\", \"to\": \"vca.Pich\"}"));
    EXPECT_EQ(e.path(), "/connections/1/to");
    EXPECT_NE(std::string(e.what()).find("no pin 'Pich'"), std::string::npos) << e.what();
    EXPECT_NE(std::string(e.what()).find("Volume"), std::string::npos) << "lists the pins";

    std::string notes = goodPatch();
    notes.replace(notes.find("  \"output\""), 0,
                  "  \"notes\": [{\"pin\": \"vca.Volume\", \"time\": 0, \"duration\": 0.1, \"note\": 60}],\n");
    e = errorOf(notes);
    EXPECT_EQ(e.path(), "/notes/0/pin");
    EXPECT_NE(std::string(e.what()).find("MIDI input"), std::string::npos) << e.what();

    struct Case {
        std::string from, to, path, words;
    };
    const Case cases[] = {
        {"\"length\": 0.1", "\"lenght\": 0.1", "/lenght", "unknown key"},
        {"\"length\": 0.1", "\"length\": -1", "/length", "must lie in"},
        {"\"length\": 0.1", "\"length\": 1e12", "/length", "must lie in"},
        {"\"sampleRate\": 48000", "\"sampleRate\": \"fast\"", "/sampleRate", "number"},
        {"\"Volume Scale\": 1", "\"Volume Scale\": 1.5", "/modules/0/pins/Volume Scale", "integer"},
        {"\"Volume Scale\": 1", "\"Enable\": \"yes\"", "/modules/0/pins/Enable", "true or false"},
        {"\"Volume Scale\": 1", "\"Signal In\": 1", "/modules/0/pins/Signal In", "has a connection"},
        {"\"Volume Scale\": 1", "\"Signal Out\": 1", "/modules/0/pins/Signal Out", "output"},
        {"\"tone.0\"", "\"tone.3\"", "/connections/0/from", "channels 0 .. 0"},
        {"\"tone.0\"", "\"vca.Signal In\"", "/connections/0/from", "input; an output is needed"},
        {"\"signal\": \"sine\"", "\"signal\": \"organ\"", "/inputs/0/signal", "unknown signal"},
        {"\"vca.Signal Out\"]", "\"vca\"]", "/output/channels/0", "module.pin"},
        {"\"name\": \"vca\"", "\"name\": \"v.a\"", "/modules/0/name", "no '.'"},
    };
    for (const Case& c : cases) {
        std::string text = goodPatch();
        const size_t at = text.find(c.from);
        ASSERT_NE(at, std::string::npos) << c.from;
        text.replace(at, c.from.size(), c.to);
        e = errorOf(text);
        EXPECT_EQ(e.path(), c.path) << c.to << ": " << e.what();
        EXPECT_NE(std::string(e.what()).find(c.words), std::string::npos) << c.to << ": " << e.what();
        EXPECT_GT(e.line(), 0) << c.to;
    }
}

TEST(PatchFileTest, HostileTextFailsCleanly) {
    EXPECT_THROW(loadPatchText("", "x.json", ""), PatchError);
    EXPECT_THROW(loadPatchText("[]", "x.json", ""), PatchError);
    EXPECT_THROW(loadPatchText("{\"modules\": 5, \"length\": 1}", "x.json", ""), PatchError);
    EXPECT_THROW(loadPatchText(std::string(100000, '[') , "x.json", ""), PatchError);
    EXPECT_THROW(loadPatchText("{\"length\": 1, \"modules\": [{\"name\": \"a\", \"id\": \"TamVCA\", \"kind\": 7}]}", "x.json", ""),
                 PatchError);
    std::string text = goodPatch();
    text.replace(text.find("\"output\""), 8, "\"outputs\"");
    EXPECT_THROW(loadPatchText(text, "x.json", ""), PatchError);
    // A deep but valid structure inside an unknown key is still named.
    std::string deep = goodPatch();
    deep.replace(deep.find("\"length\": 0.1"), 13, "\"length\": 0.1, \"extra\": " + std::string(500, '[') + std::string(500, ']'));
    EXPECT_EQ(errorOf(deep).path(), "/extra");
    // A missing file is an error with the file named.
    EXPECT_THROW(loadPatch("/nonexistent/patch.json"), PatchError);
}

TEST(PatchFileTest, TimelineStepsAndRampsLandAtTheirSample) {
    std::string text = goodPatch();
    text.replace(text.find("\"Volume\": 10"), 12, "\"Volume\": 0");
    text.replace(text.find("  \"output\""), 0,
                 "  \"timeline\": [{\"time\": 0.025, \"pin\": \"vca.Volume\", \"value\": 10},\n"
                 "               {\"frame\": 3600, \"pin\": \"vca.Volume\", \"value\": 0, \"ramp\": 0.01}],\n");
    LoadedPatch patch = loadPatchText(text, "timed.json", "");
    ASSERT_EQ(patch.frames, 4800);
    const AudioData out = renderPatch(patch);
    ASSERT_EQ(out.channels.size(), 1u);
    const auto& s = out.channels[0];
    ASSERT_EQ(s.size(), 4800u);
    auto peak = [&](size_t from, size_t to) {
        float p = 0.0f;
        for (size_t i = from; i < to; ++i) p = std::max(p, std::fabs(s[i]));
        return p;
    };
    EXPECT_EQ(peak(0, 1200), 0.0f);           // silent before 25 ms
    EXPECT_GT(peak(1200, 1260), 0.3f);         // the step comes at its sample
    EXPECT_NEAR(peak(1500, 3600), 0.5f, 0.01f);  // full volume: the tone's amplitude
    EXPECT_LT(peak(4090, 4800), 0.01f);        // the ramp has closed 10 ms after 3600
    EXPECT_GT(peak(3600, 3800), peak(4000, 4080));  // and falls on the way
}

TEST(PatchFileTest, FileInputsResolveAgainstThePatchFolderAndMustMatchTheRate) {
    const std::string folder = std::string(TAM_TEST_DATA_DIR) + "/tamhost";
    std::string text = goodPatch();
    const std::string tone = "{\"name\": \"tone\", \"signal\": \"sine\", \"frequency\": 1000, \"amplitude\": 0.5}";
    text.replace(text.find(tone), tone.size(), "{\"name\": \"tone\", \"file\": \"two_tones.wav\"}");
    LoadedPatch patch = loadPatchText(text, "files.json", folder);
    const AudioData out = renderPatch(patch);
    const AudioData in = readAudioFile(folder + "/two_tones.wav");
    ASSERT_EQ(out.frames(), 4800u);
    double difference = 0.0;
    for (size_t i = 0; i < 4800; ++i) difference = std::max(difference, std::fabs(double(out.channels[0][i]) - in.channels[0][i]));
    EXPECT_LT(difference, 1e-4);  // unity gain: the file came through

    text.replace(text.find("48000"), 5, "44100");
    try {
        loadPatchText(text, "files.json", folder);
        FAIL();
    } catch (const PatchError& error) {
        EXPECT_EQ(error.path(), "/inputs/0/file");
        EXPECT_NE(std::string(error.what()).find("48000 Hz"), std::string::npos);
    }
}
