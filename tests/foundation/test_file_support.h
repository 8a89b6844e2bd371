// Shared fixture for the file and stream tests: a fresh temporary folder, with
// HOME and the XDG folders pointed into it so no test touches the real home,
// and a helper that runs a shell command for an independent answer.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tamtest {

// Runs a shell command and returns its standard output.
inline std::string Shell(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char block[4096];
        size_t got;
        while ((got = fread(block, 1, sizeof block, pipe)) > 0) out.append(block, got);
        pclose(pipe);
    }
    return out;
}

inline std::string Trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    return text;
}

inline std::string Quote(const std::string& path) {
    std::string out = "'";
    for (char c : path) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline bool PathExists(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

class TempFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tamfiles-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        // Real path, so that answers from the shell compare as text.
        char resolved[4096];
        ASSERT_NE(realpath(pattern, resolved), nullptr);
        root = resolved;
        home = root + "/home";
        ASSERT_EQ(mkdir(home.c_str(), 0755), 0);
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) Save(name);
        setenv("HOME", home.c_str(), 1);
        unsetenv("XDG_DATA_HOME");
        unsetenv("XDG_CACHE_HOME");
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
        oldCwd = cwd;
    }

    void TearDown() override {
        if (chdir(oldCwd.c_str()) != 0) ADD_FAILURE() << "could not return to " << oldCwd;
        for (const auto& [name, value, set] : saved) {
            if (set)
                setenv(name.c_str(), value.c_str(), 1);
            else
                unsetenv(name.c_str());
        }
        Shell("chmod -R u+rwx " + Quote(root) + " 2>/dev/null; rm -rf " + Quote(root));
    }

    std::string Path(const std::string& relative) const { return root + "/" + relative; }

    std::string root;
    std::string home;

private:
    void Save(const char* name) {
        const char* value = getenv(name);
        saved.push_back({name, value ? value : "", value != nullptr});
    }

    struct Saved { std::string name, value; bool set; };
    std::vector<Saved> saved;
    std::string oldCwd;
};

}  // namespace tamtest
