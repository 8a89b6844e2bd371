// tam::File as a path: normalisation, names and extensions, parents and
// children, special locations, size texts, lists and filters.
#include <pwd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/tamFile.h"
#include "test_file_support.h"

namespace {

using tam::File;
using tam::String;
using tamtest::Shell;
using tamtest::Trimmed;

std::string Text(const File& file) { return static_cast<const char*>(file.GetFullPath()); }
std::string Text(const String& text) { return static_cast<const char*>(text); }

class FilePaths : public tamtest::TempFolderTest {
protected:
    void SetUp() override {
        TempFolderTest::SetUp();
        ASSERT_EQ(chdir(root.c_str()), 0);
    }
};

TEST_F(FilePaths, NormalisesToAbsoluteSlashedPaths) {
    EXPECT_EQ(Text(File("")), "");
    EXPECT_EQ(Text(File("abc\\def")), root + "/abc/def");
    EXPECT_EQ(Text(File("abc/")), root + "/abc");
    EXPECT_EQ(Text(File("./././x")), root + "/x");
    EXPECT_EQ(Text(File("./")), "");
    EXPECT_EQ(Text(File(".")), root);
    EXPECT_EQ(Text(File("../up")), root.substr(0, root.rfind('/')) + "/up");
    EXPECT_EQ(Text(File("/a/b///")), "/a/b");
    EXPECT_EQ(Text(File("/")), "/");
    EXPECT_EQ(Text(File("///")), "/");
    EXPECT_EQ(Text(File("\\a\\b")), "/a/b");

    File assigned;
    assigned = String("c:\\x\\");
    EXPECT_EQ(Text(assigned), root + "/c:/x");

    EXPECT_TRUE(File::IsAbsolutePath("/x"));
    EXPECT_TRUE(File::IsAbsolutePath("\\x"));
    EXPECT_TRUE(File::IsAbsolutePath("~"));
    EXPECT_FALSE(File::IsAbsolutePath("x/y"));
    EXPECT_FALSE(File::IsAbsolutePath(""));
}

TEST_F(FilePaths, TildeFollowsTheEnvironmentAndUserTable) {
    // A bare "~" stands for the Documents folder of the home directory.
    EXPECT_EQ(Text(File("~")), home + "/Documents");
    EXPECT_EQ(Text(File("~/x/y/")), home + "/Documents/x/y");
    setenv("HOME", (root + "/elsewhere").c_str(), 1);
    EXPECT_EQ(Text(File("~/x")), root + "/elsewhere/Documents/x");

    const std::string rootHome = Trimmed(Shell("getent passwd root | cut -d: -f6"));
    if (!rootHome.empty()) {
        EXPECT_EQ(Text(File("~root/z")), rootHome + "/z");
        EXPECT_EQ(Text(File("~root")), rootHome);
    }
    // An unknown user leaves the text alone and does not loop.
    EXPECT_EQ(Text(File("~nosuchuser_tam/z/")), "~nosuchuser_tam/z");
    EXPECT_EQ(Text(File("~nosuchuser_tam").GetChildFile("a")), "~nosuchuser_tam/a");
}

TEST_F(FilePaths, NamesAndExtensions) {
    EXPECT_EQ(Text(File("/p/.hidden").GetFileName(false)), ".hidden");
    EXPECT_EQ(Text(File("/p/a.b.c").GetFileName(false)), "a.b");
    EXPECT_EQ(Text(File("/p/a.b.c").GetFileName(true)), "a.b.c");
    EXPECT_EQ(Text(File("/p.d/name").GetFileName(false)), "name");
    EXPECT_EQ(Text(File("/p/a.b.c").GetFileExtension()), ".c");
    EXPECT_EQ(Text(File("/p.d/name").GetFileExtension()), "");
    EXPECT_EQ(Text(File("/p/.hidden").GetFileExtension()), ".hidden");

    // A real folder has a directory name and no extension.
    ASSERT_EQ(mkdir(Path("set.d").c_str(), 0755), 0);
    EXPECT_EQ(Text(File(Path("set.d").c_str()).GetFileExtension()), "");
    EXPECT_EQ(Text(File(Path("set.d").c_str()).GetDirectoryName()), "set.d");
    EXPECT_EQ(Text(File(Path("plain.txt").c_str()).GetDirectoryName()), "");
    EXPECT_EQ(Text(File("/").GetDirectoryName()), "");

    EXPECT_TRUE(File("/p/x.WAV").HasFileExtension("wav"));
    EXPECT_TRUE(File("/p/x.WAV").HasFileExtension(".wav"));
    EXPECT_FALSE(File("/p/x.wav").HasFileExtension("av"));  // needs the dot before the ending
    EXPECT_TRUE(File("/p/x.tar.gz").HasFileExtension("tar.gz"));
    EXPECT_FALSE(File("/p/xwav").HasFileExtension("wav"));
    EXPECT_FALSE(File("/p/x.wav").HasFileExtension("aiff"));
    EXPECT_TRUE(File("/p.d/x").HasFileExtension(""));
    EXPECT_FALSE(File("/p/x.wav").HasFileExtension(""));

    EXPECT_EQ(Text(File("/p/x.wav").WithFileExtension("aiff")), "/p/x.aiff");
    EXPECT_EQ(Text(File("/p/x.wav").WithFileExtension(".au")), "/p/x.au");
    EXPECT_EQ(Text(File("/p/x.wav").WithFileExtension("")), "/p/x");
    EXPECT_EQ(Text(File("/p/noext").WithFileExtension("txt")), "/p/noext.txt");
    EXPECT_EQ(Text(File("/p/.cfg").WithFileExtension("bak")), "/p/.cfg.bak");
    EXPECT_EQ(Text(File().WithFileExtension("txt")), "");
}

TEST_F(FilePaths, ParentsChildrenAndSiblings) {
    EXPECT_EQ(Text(File("/a/b").GetParentDirectory()), "/a");
    EXPECT_EQ(Text(File("/a").GetParentDirectory()), "/");
    EXPECT_EQ(Text(File("/").GetParentDirectory()), "/");
    EXPECT_EQ(Text(File().GetParentDirectory()), "");

    const File base("/a/b/c");
    EXPECT_EQ(Text(base.GetChildFile("d/e")), "/a/b/c/d/e");
    EXPECT_EQ(Text(base.GetChildFile("../../x")), "/a/x");
    EXPECT_EQ(Text(base.GetChildFile("./../x")), "/a/b/x");
    EXPECT_EQ(Text(base.GetChildFile("..")), "/a/b");
    EXPECT_EQ(Text(base.GetChildFile("..\\..\\w")), "/a/w");
    EXPECT_EQ(Text(base.GetChildFile("../../../../../x")), "/x");
    EXPECT_EQ(Text(base.GetChildFile("/abs")), "/abs");
    EXPECT_EQ(Text(base.GetChildFile("..name")), "/a/b/c/..name");
    EXPECT_EQ(Text(File("/").GetChildFile("x")), "/x");
    EXPECT_EQ(Text(File().GetChildFile("tmp")), "");
    EXPECT_EQ(Text(File().GetSiblingFile("tmp")), "");
    EXPECT_EQ(Text(base.GetSiblingFile("s.txt")), "/a/b/s.txt");

    EXPECT_TRUE(File("/a/b").IsAChildOf(File("/a")));
    EXPECT_TRUE(File("/a/b/c/d").IsAChildOf(File("/a")));
    EXPECT_TRUE(File("/A/b/c").IsAChildOf(File("/a/B")));
    EXPECT_TRUE(File("/a").IsAChildOf(File("/")));
    EXPECT_FALSE(File("/a").IsAChildOf(File("/a")));
    EXPECT_FALSE(File("/ab/c").IsAChildOf(File("/a/b")));
    EXPECT_FALSE(File("/x/y").IsAChildOf(File("/a/b/c/d/e")));
    EXPECT_FALSE(File("/").IsAChildOf(File()));
    EXPECT_FALSE(File().IsAChildOf(File("/q")));

    EXPECT_TRUE(File("/a") == File("/a"));
    EXPECT_TRUE(File("/a") != File("/A"));
    EXPECT_TRUE(File("/a").EqualsIgnoreCase(File("/A")));
}

TEST_F(FilePaths, SpecialLocationsComeFromHome) {
    const std::pair<int, std::string> table[] = {{0, "/Documents"},     {1, "/Desktop"},  {5, "/Music"},
                                                 {6, "/Movies"},        {12, "/Library"}, {13, "/Library"},
                                                 {14, "/Applications"}, {15, "/.cache"}};
    for (const auto& [code, tail] : table)
        EXPECT_EQ(Text(File::GetSpecialLocation(code)), home + tail) << code;
    for (int code : {-1, 2, 3, 4, 7, 11, 16, 100})
        EXPECT_EQ(Text(File::GetSpecialLocation(code)), "") << code;

    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    EXPECT_EQ(Text(File::GetSpecialLocation(15)), root + "/cache");
    setenv("XDG_CACHE_HOME", "relative/ignored", 1);
    EXPECT_EQ(Text(File::GetSpecialLocation(15)), home + "/.cache");

    File::List roots;
    File::FindRoots(roots);
    ASSERT_EQ(roots.GetCount(), 1);
    EXPECT_EQ(Text(*roots[0]), "/");
}

TEST_F(FilePaths, WorkingDirectory) {
    ASSERT_EQ(mkdir(Path("work").c_str(), 0755), 0);
    EXPECT_TRUE(File(Path("work").c_str()).SetAsCurrentWorkingDirectory());
    EXPECT_EQ(Text(File::GetCurrentWorkingDirectory()), Trimmed(Shell("pwd -P")));
    EXPECT_EQ(Text(File::GetCurrentWorkingDirectory()), root + "/work");
    EXPECT_FALSE(File(Path("missing").c_str()).SetAsCurrentWorkingDirectory());
    EXPECT_FALSE(File().SetAsCurrentWorkingDirectory());
    EXPECT_FALSE(File("/bin/sh").StartAsProcess(""));
}

TEST(FileSizeText, MatchesReferenceTable) {
    std::ifstream in(std::string(TAM_TEST_DATA_DIR) + "/foundation/files/sizes.tsv");
    ASSERT_TRUE(in.good());
    std::string line;
    int rows = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        const size_t tab = line.find('\t');
        const long long bytes = std::stoll(line.substr(0, tab));
        EXPECT_EQ(Text(File::SizeInBytesToString(bytes)), line.substr(tab + 1)) << bytes;
        ++rows;
    }
    EXPECT_GT(rows, 10);
}

TEST(FileListAndFilter, SortContainsAndOwnership) {
    const std::vector<std::string> names = {"/m/b", "/m/A", "/m/c", "/m/a2", "/m/B1", "/m/z", "/m/Y",
                                            "/m/x", "/m/d", "/m/E", "/m/f",  "/m/G0", "/m/h"};
    File::List list;
    for (const std::string& name : names) list.Add(new File(name.c_str()));
    EXPECT_EQ(list.GetCount(), static_cast<int>(names.size()));

    std::vector<std::string> exact = names;
    std::sort(exact.begin(), exact.end());
    list.Sort(false);
    for (int i = 0; i < list.GetCount(); ++i) EXPECT_EQ(Text(*list[i]), exact[static_cast<size_t>(i)]);

    std::vector<std::string> folded = names;
    std::sort(folded.begin(), folded.end(), [](const std::string& a, const std::string& b) {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    });
    list.Sort(true);
    for (int i = 0; i < list.GetCount(); ++i) EXPECT_EQ(Text(*list[i]), folded[static_cast<size_t>(i)]);

    const File probe("/m/c");
    EXPECT_TRUE(list.Contains(&probe));
    const File absent("/m/C");
    EXPECT_FALSE(list.Contains(&absent));
    EXPECT_FALSE(list.Contains(nullptr));

    File::Filter filter;
    filter.Add("Wave files", "wav");
    filter.Add("AIFF files", "aif");
    EXPECT_EQ(Text(filter.GetName(1)) + "|" + Text(filter.GetExtension(0)), "AIFF files|wav");
    // Never reports a match, by long-standing design.
    EXPECT_FALSE(filter.ContainsExtension("wav"));
}

}  // namespace
