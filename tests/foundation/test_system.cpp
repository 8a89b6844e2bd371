// Dialog providers and their button table, processor features, the log and
// the process-wide generator.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/tamLog.h"
#include "foundation/tamRandom.h"
#include "foundation/tamSystem.h"

namespace {

// Answers every request as told and keeps what it was shown.
class ScriptedProvider : public tam::SystemDialog::Provider {
public:
    bool RunSavePanel(const tam::SystemDialog::FilePanel& panel, tam::String& chosen) override {
        lastPanel = panel;
        ++panels;
        if (!confirm) return false;
        chosen = answers.empty() ? tam::String() : tam::String(answers[0].c_str());
        return true;
    }
    bool RunOpenPanel(const tam::SystemDialog::FilePanel& panel, tam::StrArray& chosen) override {
        lastPanel = panel;
        ++panels;
        if (!confirm) return false;
        for (const auto& answer : answers) chosen.Add(tam::String(answer.c_str()));
        return true;
    }
    int RunAlert(const tam::SystemDialog::Alert& alert) override {
        lastAlert = alert;
        buttons.clear();
        for (int i = 0; i < alert.buttonCount; ++i) buttons.push_back(alert.buttons[i]);
        return pressed;
    }

    bool confirm = true;
    std::vector<std::string> answers;
    int pressed = 1000;
    int panels = 0;
    tam::SystemDialog::FilePanel lastPanel;
    tam::SystemDialog::Alert lastAlert;
    std::vector<std::string> buttons;
};

class SystemDialogTest : public ::testing::Test {
protected:
    void SetUp() override { tam::SystemDialog::SetProvider(&provider); }
    void TearDown() override { tam::SystemDialog::SetProvider(nullptr); }
    ScriptedProvider provider;
};

using Buttons = std::vector<std::string>;

TEST_F(SystemDialogTest, MessageButtonsAndResultsFollowTheFlags) {
    struct Case {
        unsigned int flags;
        Buttons buttons;
        std::vector<int> results;
    };
    const Case cases[] = {
        {0, {"OK"}, {1}},
        {1, {"OK", "Cancel"}, {1, 2}},
        {3, {"OK", "Cancel"}, {1, 2}},  // two bits: the first row that matches
        {2, {"Abort", "Retry", "Ignore"}, {3, 4, 5}},
        {6, {"Abort", "Retry", "Ignore"}, {3, 4, 5}},
        {4, {"Yes", "No"}, {6, 7}},
        {8, {"OK"}, {1}},
        {0x14, {"Yes", "No"}, {6, 7}},
    };
    for (const Case& c : cases) {
        for (size_t i = 0; i < c.results.size(); ++i) {
            provider.pressed = 1000 + static_cast<int>(i);
            EXPECT_EQ(tam::SystemDialog::MessageDlg(nullptr, "message", "details", c.flags), c.results[i])
                << "flags " << c.flags << " button " << i;
            EXPECT_EQ(provider.buttons, c.buttons) << "flags " << c.flags;
        }
        // Past the last button, before the first, or nonsense: 0.
        for (int odd : {1000 + static_cast<int>(c.results.size()), 999, 0, -1, 1}) {
            provider.pressed = odd;
            EXPECT_EQ(tam::SystemDialog::MessageDlg(nullptr, "m", "d", c.flags), 0) << odd;
        }
    }
    provider.pressed = 1000;
    tam::SystemDialog::MessageDlg(nullptr, "Disk full", "Nothing was saved.", 16);
    EXPECT_EQ(provider.lastAlert.style, tam::SystemDialog::CriticalStyle);
    EXPECT_STREQ(provider.lastAlert.message, "Disk full");
    EXPECT_STREQ(provider.lastAlert.details, "Nothing was saved.");
    tam::SystemDialog::MessageDlg(nullptr, "Note", "", 1);
    EXPECT_EQ(provider.lastAlert.style, tam::SystemDialog::InformationalStyle);
}

TEST_F(SystemDialogTest, SavePanelStartsAtTheGivenFileAndDecodesTheAnswer) {
    const tam::File folder(TAM_TEST_DATA_DIR);
    tam::File chosen;
    provider.answers = {"/tmp/caf\xc3\xa9.wav"};
    ASSERT_TRUE(tam::SystemDialog::SaveDlg(nullptr, chosen, folder, "Save preset", nullptr));
    EXPECT_STREQ(provider.lastPanel.directory, folder.GetFullPath()) << "a folder stands for itself";
    EXPECT_STREQ(provider.lastPanel.fileName, "");
    EXPECT_STREQ(provider.lastPanel.title, "Save preset");
    EXPECT_STREQ(chosen.GetFullPath(), "/tmp/caf\xe9.wav") << "UTF-8 folds to one byte a character";

    const tam::File file(tam::String(TAM_TEST_DATA_DIR) + "/foundation/color/blend.tsv");
    tam::File::Filter filter;
    filter.Add("Tables (tsv)", "tsv");
    ASSERT_TRUE(tam::SystemDialog::SaveDlg(nullptr, chosen, file, "Save", &filter));
    EXPECT_STREQ(provider.lastPanel.directory, file.GetParentDirectory().GetFullPath());
    EXPECT_STREQ(provider.lastPanel.fileName, "blend.tsv");
    EXPECT_EQ(provider.lastPanel.filter, &filter);

    provider.confirm = false;
    chosen = tam::File("/kept");
    EXPECT_FALSE(tam::SystemDialog::SaveDlg(nullptr, chosen, file, "Save", nullptr));
    EXPECT_STREQ(chosen.GetFullPath(), "/kept");
}

TEST_F(SystemDialogTest, OpenAndDirectoryPanels) {
    tam::File::List chosen;
    provider.answers = {"/a/one.wav", "/b/two.wav"};
    ASSERT_TRUE(
        tam::SystemDialog::OpenDlg(nullptr, chosen, tam::File(TAM_TEST_DATA_DIR), "Open", nullptr, true));
    EXPECT_TRUE(provider.lastPanel.multiple);
    EXPECT_FALSE(provider.lastPanel.directoriesOnly);
    ASSERT_EQ(chosen.GetCount(), 2);
    EXPECT_STREQ(chosen[0]->GetFullPath(), "/a/one.wav");
    EXPECT_STREQ(chosen[1]->GetFullPath(), "/b/two.wav");

    tam::File folder(TAM_TEST_DATA_DIR);
    provider.answers = {"/picked"};
    ASSERT_TRUE(tam::SystemDialog::DirectoryDlg(nullptr, folder, "Pick"));
    EXPECT_TRUE(provider.lastPanel.directoriesOnly);
    EXPECT_FALSE(provider.lastPanel.multiple);
    EXPECT_STREQ(provider.lastPanel.directory, TAM_TEST_DATA_DIR);
    EXPECT_STREQ(folder.GetFullPath(), "/picked");

    // A confirmed directory panel with no path is a cancel.
    provider.answers.clear();
    EXPECT_FALSE(tam::SystemDialog::DirectoryDlg(nullptr, folder, "Pick"));
    EXPECT_STREQ(folder.GetFullPath(), "/picked");
}

TEST(SystemDialogHeadlessTest, CancelsPanelsAndTakesTheDefaultButton) {
    tam::SystemDialog::SetProvider(nullptr);
    EXPECT_EQ(tam::SystemDialog::MessageDlg(nullptr, "m", "d", 4), 6);
    EXPECT_EQ(tam::SystemDialog::MessageDlg(nullptr, "m", "d", 2), 3);
    tam::File chosen("/unchanged");
    EXPECT_FALSE(tam::SystemDialog::SaveDlg(nullptr, chosen, tam::File("/tmp"), "t", nullptr));
    EXPECT_FALSE(tam::SystemDialog::DirectoryDlg(nullptr, chosen, "t"));
    EXPECT_STREQ(chosen.GetFullPath(), "/unchanged");
    tam::File::List list;
    EXPECT_FALSE(tam::SystemDialog::OpenDlg(nullptr, list, tam::File(), "t", nullptr, false));
    EXPECT_EQ(list.GetCount(), 0);
}

TEST(SystemCpuFeatureTest, AgreesWithTheKernelsView) {
    std::ifstream info("/proc/cpuinfo");
    std::string line, vendor, flags;
    while (std::getline(info, line)) {
        if (vendor.empty() && line.rfind("vendor_id", 0) == 0) vendor = line.substr(line.find(':') + 2);
        if (flags.empty() && line.rfind("flags", 0) == 0) {
            flags = line.substr(line.find(':') + 1);
            flags.push_back(' ');
        }
    }
    if (vendor.empty() || flags.empty()) GTEST_SKIP() << "no x86 processor description";
    const auto& cpu = tam::CpuFeature::_info;
    EXPECT_EQ(cpu.isIntel, vendor == "GenuineIntel");
    EXPECT_EQ(cpu.isAMD, vendor == "AuthenticAMD");
    EXPECT_EQ(tam::CpuFeature::HasSSE2(), flags.find(" sse2 ") != std::string::npos);
    EXPECT_EQ(tam::CpuFeature::HasSSE(), flags.find(" sse ") != std::string::npos);
    EXPECT_EQ((cpu.cpuid1_ecx & 1u) != 0, flags.find(" pni ") != std::string::npos);  // SSE3
    EXPECT_EQ((cpu.cpuid7_ebx & (1u << 5)) != 0, flags.find(" avx2 ") != std::string::npos);
    EXPECT_EQ((cpu.cpuid80000001_edx & (1u << 29)) != 0, flags.find(" lm ") != std::string::npos);
}

TEST(SystemLogTest, OutputWritesOneLineAndDebugNothing) {
    testing::internal::CaptureStderr();
    tam::Log::Output("WaveFile: %s at %d", "bad chunk", 44);
    tam::Log::Debug("never %d", 1);
    tam::Log::Output("%s", "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "WaveFile: bad chunk at 44\n\n");
}

TEST(SystemRandomTest, SharedGeneratorFollowsItsRecurrence) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/foundation/system/random.tsv");
    std::string line;
    std::getline(in, line);
    tam::Random& random = tam::Random::GetInstance();
    EXPECT_EQ(&random, &tam::Random::GetInstance());
    const uint64_t saved = random.GetState();
    random.SetState(1);
    int draws = 0;
    while (std::getline(in, line)) {
        std::stringstream row(line);
        long long draw, value;
        unsigned long long state;
        row >> draw >> value >> state;
        EXPECT_EQ(random.NextInt(), value) << "draw " << draw;
        EXPECT_EQ(random.GetState(), state);
        ++draws;
    }
    EXPECT_EQ(draws, 20);
    random.SetState(saved);
    for (int i = 0; i < 1000; ++i) {
        const int r = tam::Random::Rand15();
        ASSERT_GE(r, 0);
        ASSERT_LE(r, 32767);
    }
}

}  // namespace
