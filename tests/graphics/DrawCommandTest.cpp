// `tamhost draw` run as a command: pictures, pointer scripts, exit codes.
#include <gtest/gtest.h>

#include <cairo.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tamhost/CairoDrawing.h"

namespace {

// The tool sits in the build folder, beside the pack.
std::string tool() {
    if (const char* dir = std::getenv("TAM_TOOLS_DIR")) return std::string(dir) + "/tamhost";
    if (const char* pack = std::getenv("TAM_PACK")) {
        return (std::filesystem::path(pack).parent_path() / "tamhost").string();
    }
    return "./tamhost";
}

struct ToolRun {
    int code = -1;
    std::string output;
};

ToolRun run(const std::string& arguments) {
    std::string command = "'";
    command += tool();
    command += "' draw ";
    command += arguments;
    command += " 2>&1";
    ToolRun result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    char buffer[512];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr) result.output += buffer;
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

tamhost::Image readPng(const std::string& path) {
    return tamhost::Image(cairo_image_surface_create_from_png(path.c_str()));
}

class DrawCommand : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(tool())) GTEST_SKIP() << "no tamhost at " << tool();
        dir_ = std::filesystem::temp_directory_path() / ("tam-draw-" + std::to_string(::getpid()));
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    std::filesystem::path dir_;
};

TEST_F(DrawCommand, RendersShapesAndSkins) {
    ToolRun r = run("TamVectorRectangle1 --size 40x20 --no-antialias --pin 'Fill Color=0xFF102030' --pin 3=2 "
                "--pin 'Outline Color=0xFFFFFFFF' --pin 'Corner Radius=0' -o '" + path("rect.png") + "'");
    ASSERT_EQ(r.code, 0) << r.output;
    tamhost::Image rect = readPng(path("rect.png"));
    EXPECT_EQ(rect.width(), 40);
    EXPECT_EQ(rect.height(), 20);
    EXPECT_EQ(rect.pixel(20, 10), 0xFF102030u);
    EXPECT_EQ(rect.pixel(1, 10), 0xFFFFFFFFu);

    r = run("TamImageBackground1 --fit --folder '" + std::string(TAM_TEST_DATA_DIR) +
            "/graphics' --pin Image=skin.png --background 0xFF000000 -o '" + path("skin.png") + "'");
    ASSERT_EQ(r.code, 0) << r.output;
    tamhost::Image skin = readPng(path("skin.png"));
    EXPECT_EQ(skin.width(), 24);
    EXPECT_EQ(skin.height(), 16);
    EXPECT_EQ(skin.pixel(0, 0), 0xFFFF0000u);
    EXPECT_EQ(skin.pixel(23, 15), 0xFF000000u);  // transparent skin over the background
}

TEST_F(DrawCommand, PointerScriptReportsTransmissions) {
    {
        std::ofstream script(path("press.txt"));
        script << "down 5 5\nup 5 5\n";
    }
    const ToolRun r = run("TamImageBackground1 --size 30x30 --pointer '" + path("press.txt") + "' -o '" +
                      path("pressed.png") + "'");
    ASSERT_EQ(r.code, 0) << r.output;
    EXPECT_NE(r.output.find("pin 3 Mouse Down = true\npin 3 Mouse Down = false\n"), std::string::npos) << r.output;
}

TEST_F(DrawCommand, UsageErrors) {
    EXPECT_EQ(run("--help").code, 0);
    EXPECT_EQ(run("-o '" + path("x.png") + "'").code, 2);
    EXPECT_EQ(run("TamVectorEllipse1").code, 2);
    EXPECT_EQ(run("TamNoSuchControl -o '" + path("x.png") + "'").code, 2);
    EXPECT_EQ(run("TamVectorEllipse1 --size 0x4 -o '" + path("x.png") + "'").code, 2);
    EXPECT_EQ(run("TamVectorEllipse1 --pin Nope=1 -o '" + path("x.png") + "'").code, 2);
    EXPECT_EQ(run("TamVectorEllipse1 --pointer '" + path("missing.txt") + "' -o '" + path("x.png") + "'").code, 2);
    {
        std::ofstream script(path("bad.txt"));
        script << "tap 1 2\n";
    }
    EXPECT_EQ(run("TamVectorEllipse1 --pointer '" + path("bad.txt") + "' -o '" + path("x.png") + "'").code, 2);
    EXPECT_EQ(run("TamVectorEllipse1 -o '" + path("no/such/dir/x.png") + "'").code, 1);
}

}  // namespace
