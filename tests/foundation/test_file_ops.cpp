// tam::File against the real file system in a temporary folder: queries,
// changes, times, volumes, the Trash and directory scans. Answers are checked
// against what stat, find and the shell report.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "foundation/tamFile.h"
#include "test_file_support.h"

namespace {

using tam::File;
using tam::String;
using tamtest::PathExists;
using tamtest::Quote;
using tamtest::ReadFile;
using tamtest::Shell;
using tamtest::Trimmed;
using tamtest::WriteFile;

std::string Text(const File& file) { return static_cast<const char*>(file.GetFullPath()); }
std::string Text(const String& text) { return static_cast<const char*>(text); }

std::string StatField(const std::string& format, const std::string& path) {
    return Trimmed(Shell("stat -c '" + format + "' " + Quote(path)));
}

class FileOnDisk : public tamtest::TempFolderTest {
protected:
    File At(const std::string& relative) const { return File(Path(relative).c_str()); }
};

TEST_F(FileOnDisk, QueriesAgreeWithStat) {
    WriteFile(Path("data.bin"), std::string(1234, 'x'));
    ASSERT_EQ(mkdir(Path("dir").c_str(), 0755), 0);

    EXPECT_TRUE(At("data.bin").Exists());
    EXPECT_TRUE(At("data.bin").ExistsAsFile());
    EXPECT_TRUE(At("dir").Exists());
    EXPECT_FALSE(At("dir").ExistsAsFile());
    EXPECT_FALSE(At("missing").Exists());
    EXPECT_FALSE(At("missing").ExistsAsFile());
    EXPECT_FALSE(File().Exists());

    // The long-standing answer: false for folders, files and missing paths.
    EXPECT_FALSE(At("dir").IsDirectory());
    EXPECT_FALSE(At("data.bin").IsDirectory());
    EXPECT_FALSE(At("missing").IsDirectory());
    EXPECT_TRUE(At("dir").IsFolderOnDisk());
    EXPECT_FALSE(At("data.bin").IsFolderOnDisk());

    EXPECT_EQ(std::to_string(At("data.bin").GetSizeInBytes()), StatField("%s", Path("data.bin")));
    EXPECT_EQ(At("missing").GetSizeInBytes(), 0);

    EXPECT_TRUE(At("missing/deeper/x").HasWriteAccess());
    EXPECT_FALSE(File().HasWriteAccess());
    if (geteuid() != 0) {
        ASSERT_EQ(chmod(Path("dir").c_str(), 0555), 0);
        EXPECT_FALSE(At("dir/new/file").HasWriteAccess());
        EXPECT_FALSE(At("dir").HasWriteAccess());
    }
}

TEST_F(FileOnDisk, TimesReadAndWritten) {
    WriteFile(Path("t.txt"), "t");
    const File file = At("t.txt");
    EXPECT_EQ(std::to_string(file.GetLastModificationTime().GetTime()),
              StatField("%Y", Path("t.txt")) + "000");
    EXPECT_EQ(std::to_string(file.GetCreationTime().GetTime()), StatField("%Z", Path("t.txt")) + "000");
    EXPECT_EQ(std::to_string(file.GetLastAccessTime().GetTime()), StatField("%X", Path("t.txt")) + "000");
    EXPECT_EQ(At("missing").GetLastModificationTime().GetTime(), 0);

    // Setting one of the two times writes the other as 0.
    ASSERT_TRUE(file.SetLastModificationTime(tam::Time(1600000000123LL)));
    EXPECT_EQ(StatField("%Y %X", Path("t.txt")), "1600000000 0");
    ASSERT_TRUE(file.SetLastAccessTime(tam::Time(1500000000999LL)));
    EXPECT_EQ(StatField("%Y %X", Path("t.txt")), "0 1500000000");
    EXPECT_FALSE(file.SetCreationTime(tam::Time(5)));
    EXPECT_FALSE(At("missing").SetLastModificationTime(tam::Time(5)));
}

TEST_F(FileOnDisk, CreateAndDelete) {
    // Makes the whole chain; the answer is false even so, as it always was.
    const File deep = At("a/b/c");
    EXPECT_FALSE(deep.CreateDirectory());
    EXPECT_EQ(Trimmed(Shell("test -d " + Quote(Path("a/b/c")) + " && echo yes")), "yes");
    EXPECT_EQ(StatField("%a", Path("a/b/c")), Trimmed(Shell("printf '%o' $((0777 & ~$(umask)))")));
    EXPECT_FALSE(deep.CreateDirectory());
    EXPECT_FALSE(File().CreateDirectory());
    WriteFile(Path("plain"), "p");
    At("plain/sub").CreateDirectory();
    EXPECT_FALSE(PathExists(Path("plain/sub")));

    WriteFile(Path("a/b/c/f1"), "1");
    WriteFile(Path("a/b/f2"), "2");
    ASSERT_EQ(mkdir(Path("outside").c_str(), 0755), 0);
    WriteFile(Path("outside/keep"), "k");
    ASSERT_EQ(symlink(Path("outside").c_str(), Path("a/link").c_str()), 0);

    EXPECT_TRUE(At("plain").DeleteFile(false));
    EXPECT_FALSE(PathExists(Path("plain")));
    EXPECT_FALSE(At("plain").DeleteFile(false));
    EXPECT_FALSE(At("a").DeleteFile(false));  // not empty
    EXPECT_TRUE(PathExists(Path("a/b/f2")));
    EXPECT_TRUE(At("a").DeleteFile(true));
    EXPECT_FALSE(PathExists(Path("a")));
    // The link went, not what it pointed at.
    EXPECT_EQ(ReadFile(Path("outside/keep")), "k");
    EXPECT_FALSE(File().DeleteFile(true));
}

TEST_F(FileOnDisk, MoveAndCopy) {
    WriteFile(Path("src.txt"), "source bytes");
    ASSERT_EQ(chmod(Path("src.txt").c_str(), 0640), 0);
    WriteFile(Path("old.txt"), "old");

    EXPECT_TRUE(At("src.txt").CopyFileTo(At("copy.txt")));
    EXPECT_EQ(
        Trimmed(Shell("cmp " + Quote(Path("src.txt")) + " " + Quote(Path("copy.txt")) + " && echo same")),
        "same");
    EXPECT_EQ(StatField("%a %Y", Path("copy.txt")), StatField("%a %Y", Path("src.txt")));
    EXPECT_TRUE(At("src.txt").CopyFileTo(At("old.txt")));  // replaces
    EXPECT_EQ(ReadFile(Path("old.txt")), "source bytes");
    EXPECT_TRUE(At("src.txt").CopyFileTo(At("SRC.TXT")));  // same path ignoring case: nothing to do
    EXPECT_FALSE(PathExists(Path("SRC.TXT")));
    EXPECT_FALSE(At("missing").CopyFileTo(At("x")));

    // A copy onto itself through a link must not truncate the source.
    ASSERT_EQ(symlink(Path("src.txt").c_str(), Path("alias").c_str()), 0);
    EXPECT_FALSE(tam::tamCopyFile(Path("src.txt").c_str(), Path("alias").c_str()));
    EXPECT_EQ(ReadFile(Path("src.txt")), "source bytes");

    EXPECT_TRUE(At("copy.txt").MoveFileTo(At("moved.txt")));
    EXPECT_FALSE(PathExists(Path("copy.txt")));
    EXPECT_EQ(ReadFile(Path("moved.txt")), "source bytes");
    EXPECT_TRUE(At("moved.txt").MoveFileTo(At("moved.txt")));
    WriteFile(Path("target"), "t");
    EXPECT_TRUE(At("moved.txt").MoveFileTo(At("target")));
    EXPECT_EQ(ReadFile(Path("target")), "source bytes");

    ASSERT_EQ(mkdir(Path("full").c_str(), 0755), 0);
    WriteFile(Path("full/x"), "x");
    EXPECT_FALSE(At("target").MoveFileTo(At("full")));  // a folder with content is not deleted
    EXPECT_TRUE(PathExists(Path("target")));
    EXPECT_FALSE(At("missing").MoveFileTo(At("elsewhere")));
}

TEST_F(FileOnDisk, CopyDirectoryTree) {
    Shell("cd " + Quote(root) +
          " && mkdir -p tree/sub/deeper tree/.hid && echo a > tree/a.txt && "
          "echo b > tree/sub/b.wav && echo c > tree/sub/deeper/c && echo h > tree/.hid/h && "
          "echo d > tree/.dot && echo e > tree/caf\xC3\xA9 && ln -s .. tree/sub/up");
    EXPECT_TRUE(At("tree").CopyDirectoryTo(At("copy/of/tree")));
    EXPECT_EQ(Shell("diff -r --no-dereference " + Quote(Path("tree")) + " " + Quote(Path("copy/of/tree")) +
                    " && echo same"),
              "same\n");
    EXPECT_EQ(Trimmed(Shell("readlink " + Quote(Path("copy/of/tree/sub/up")))), "..");

    // Into itself would never end.
    EXPECT_FALSE(At("tree").CopyDirectoryTo(At("tree/sub/inner")));
    EXPECT_FALSE(At("tree").CopyDirectoryTo(At("tree")));
    EXPECT_FALSE(At("tree/a.txt").CopyDirectoryTo(At("x")));
}

TEST_F(FileOnDisk, ReadOnlyModes) {
    Shell("cd " + Quote(root) +
          " && mkdir -p ro/sub && echo 1 > ro/f && echo 2 > ro/sub/g && "
          "chmod 644 ro/f ro/sub/g && chmod 755 ro ro/sub");
    EXPECT_TRUE(At("ro").SetReadOnly(true, true));
    EXPECT_EQ(
        StatField("%a", Path("ro")) + StatField(" %a", Path("ro/f")) + StatField(" %a", Path("ro/sub/g")),
        "555 444 444");
    EXPECT_TRUE(At("ro").SetReadOnly(false, true));
    EXPECT_EQ(
        StatField("%a", Path("ro")) + StatField(" %a", Path("ro/sub")) + StatField(" %a", Path("ro/sub/g")),
        "777 777 666");
    EXPECT_TRUE(At("ro/f").SetReadOnly(true, false));
    EXPECT_EQ(StatField("%a", Path("ro/f")), "444");
    EXPECT_EQ(StatField("%a", Path("ro/sub/g")), "666");
    EXPECT_FALSE(At("missing").SetReadOnly(true, true));
}

TEST_F(FileOnDisk, VolumeQueries) {
    const std::string fields = Trimmed(Shell("stat -f -c '%a %b %S %T' " + Quote(root)));
    long long available = 0, blocks = 0, blockSize = 0;
    char type[64] = {0};
    ASSERT_EQ(std::sscanf(fields.c_str(), "%lld %lld %lld %63s", &available, &blocks, &blockSize, type), 4);
    const File here(root.c_str());
    EXPECT_EQ(here.GetBytesTotalOnVolume(), blocks * blockSize);
    // Free space moves as other programs write; a small margin is enough.
    EXPECT_NEAR(static_cast<double>(here.GetBytesFreeOnVolume()), static_cast<double>(available * blockSize),
                64.0 * 1024 * 1024);
    EXPECT_EQ(File().GetBytesFreeOnVolume(), 0);
    EXPECT_EQ(At("missing/x").GetBytesTotalOnVolume(), 0);

    const std::string kind(type);
    const bool memoryOrNetwork = kind == "tmpfs" || kind == "ramfs" || kind == "nfs" || kind == "smb2" ||
                                 kind == "cifs" || kind == "smb";
    const bool cd = kind == "isofs" || kind == "udf";
    EXPECT_EQ(here.IsOnHardDisk(), !memoryOrNetwork && !cd) << kind;
    EXPECT_EQ(here.IsOnCDRomDrive(), cd) << kind;
    EXPECT_FALSE(File().IsOnHardDisk());
    if (Trimmed(Shell("stat -f -c %T /dev/shm 2>/dev/null")) == "tmpfs") {
        EXPECT_FALSE(File("/dev/shm").IsOnHardDisk());
    }

    // Removable media as the kernel reports them for the device of the path.
    const std::string flag = Trimmed(Shell("cat /sys/dev/block/$(stat -c '%Hd:%Ld' " + Quote(root) +
                                           ")/removable 2>/dev/null || "
                                           "cat /sys/dev/block/$(stat -c '%Hd:%Ld' " +
                                           Quote(root) + ")/../removable 2>/dev/null"));
    EXPECT_EQ(here.IsOnRemovableDrive(), flag == "1") << flag;
    EXPECT_FALSE(File().IsOnRemovableDrive());
    EXPECT_FALSE(File("/proc/self").IsOnRemovableDrive());

    // Without published labels the mount point's name stands in.
    if (!PathExists("/dev/disk/by-label")) {
        const std::string mount = StatField("%m", root);
        const std::string expected = mount == "/" ? "" : mount.substr(mount.rfind('/') + 1);
        EXPECT_EQ(Text(here.GetVolumeLabel()), expected);
        EXPECT_EQ(Text(At("missing/deeper/x").GetVolumeLabel()), expected);
    }
    EXPECT_EQ(Text(File("~nosuchuser_tam/x").GetVolumeLabel()), "");
    EXPECT_EQ(here.GetVolumeSerialNumber(), 0);
}

TEST_F(FileOnDisk, TrashFollowsTheDesktopLayout) {
    WriteFile(Path("junk file%.txt"), "junk");
    const std::string original = Path("junk file%.txt");
    ASSERT_TRUE(File(original.c_str()).MoveFileToRecycleBin());
    EXPECT_FALSE(PathExists(original));

    const std::string trash = home + "/.local/share/Trash";
    EXPECT_EQ(ReadFile(trash + "/files/junk file%.txt"), "junk");
    const std::string info = ReadFile(trash + "/info/junk file%.txt.trashinfo");
    // The path, decoded by an independent URL decoder, is the original one.
    const std::string decoded =
        Trimmed(Shell("sed -n 's/^Path=//p' " + Quote(trash + "/info/junk file%.txt.trashinfo") +
                      " | /usr/bin/python3 -c 'import "
                      "sys,urllib.parse;print(urllib.parse.unquote(sys.stdin.read().strip()))'"));
    EXPECT_EQ(decoded, original);
    EXPECT_EQ(info.rfind("[Trash Info]\n", 0), 0u) << info;
    // The date parses as local time and is close to now.
    const std::string stamp =
        Trimmed(Shell("sed -n 's/^DeletionDate=//p' " + Quote(trash + "/info/junk file%.txt.trashinfo")));
    const std::string seconds = Trimmed(Shell("date -d '" + stamp + "' +%s"));
    ASSERT_FALSE(seconds.empty()) << stamp;
    EXPECT_LE(std::llabs(std::stoll(seconds) - static_cast<long long>(std::time(nullptr))), 5);

    // A second file of the same name gets a free name; a folder goes whole.
    WriteFile(original, "again");
    ASSERT_TRUE(File(original.c_str()).MoveFileToRecycleBin());
    EXPECT_EQ(ReadFile(trash + "/files/junk file%.txt.2"), "again");
    EXPECT_TRUE(PathExists(trash + "/info/junk file%.txt.2.trashinfo"));
    Shell("mkdir -p " + Quote(Path("folder/in")) + " && echo z > " + Quote(Path("folder/in/z")));
    ASSERT_TRUE(At("folder").MoveFileToRecycleBin());
    EXPECT_EQ(ReadFile(trash + "/files/folder/in/z"), "z\n");

    EXPECT_FALSE(At("missing").MoveFileToRecycleBin());
    EXPECT_FALSE(File("/").MoveFileToRecycleBin());

    // XDG_DATA_HOME moves the Trash.
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    WriteFile(Path("other"), "o");
    ASSERT_TRUE(At("other").MoveFileToRecycleBin());
    EXPECT_EQ(ReadFile(root + "/data/Trash/files/other"), "o");
    EXPECT_TRUE(PathExists(root + "/data/Trash/info/other.trashinfo"));
}

// ---- Find against find(1) -------------------------------------------------------

class FileFind : public tamtest::TempFolderTest {
protected:
    void SetUp() override {
        TempFolderTest::SetUp();
        Shell("cd " + Quote(root) +
              " && mkdir -p t/Sub/Deep t/.hidden_dir t/other.wav t/sub2 && "
              "touch t/a.wav t/B.WAV t/c.txt t/.hid.wav t/... t/Abc t/abd.Wav t/Sub/x.wav t/Sub/Y.txt "
              "t/Sub/Deep/z.WAV t/Sub/Deep/.q t/.hidden_dir/in.wav t/sub2/ab t/other.wav/inner.wav && "
              "ln -s ../.. t/Sub/Deep/loop && ln -s a.wav t/link.wav");
        folder = root + "/t";
    }

    // Names find(1) reports, with this scan's rules: case-blind wildcard,
    // kinds by following links, hidden names left out on request, names made
    // only of dots never counted.
    std::set<std::string> Reference(const std::string& pattern, int flags, bool recursive) const {
        std::string command = "find " + Quote(folder) + " -mindepth 1";
        if (!recursive) command += " -maxdepth 1";
        command += " -iname " + Quote(pattern);
        std::set<std::string> out;
        std::string listing = Shell(command + " -printf '%y%Y %p\\n'");
        size_t at = 0;
        while (at < listing.size()) {
            const size_t end = listing.find('\n', at);
            const std::string line = listing.substr(at, end - at);
            at = end + 1;
            const bool isDirectory = line[1] == 'd';
            const std::string path = line.substr(3);
            const std::string name = path.substr(path.rfind('/') + 1);
            if (name.find_first_not_of('.') == std::string::npos) continue;
            if (!(flags & (isDirectory ? 1 : 2))) continue;
            if ((flags & 4) && name[0] == '.') continue;
            out.insert(path);
        }
        return out;
    }

    std::set<std::string> Found(const std::string& pattern, int flags, bool recursive, int* added) const {
        File::List list;
        *added = File(folder.c_str()).Find(list, flags, recursive, pattern.c_str());
        std::set<std::string> out;
        for (int i = 0; i < list.GetCount(); ++i) out.insert(Text(*list[i]));
        EXPECT_EQ(static_cast<int>(out.size()), list.GetCount()) << "duplicates for " << pattern;
        return out;
    }

    std::string folder;
};

TEST_F(FileFind, MatchesFindForFlagsAndWildcards) {
    const char* const patterns[] = {"*", "*.wav", "A*", "*b*", "?b?", "[ab]*", ".*", "*.WAV", "nothing*"};
    for (const char* pattern : patterns) {
        for (int flags : {1, 2, 3, 5, 6, 7}) {
            for (bool recursive : {false, true}) {
                int added = 0;
                const std::set<std::string> found = Found(pattern, flags, recursive, &added);
                EXPECT_EQ(found, Reference(pattern, flags, recursive))
                    << "pattern " << pattern << " flags " << flags << " recursive " << recursive;
                EXPECT_EQ(added, static_cast<int>(found.size()));
                if (!recursive) {
                    EXPECT_EQ(File(folder.c_str()).GetNumberOfChildFiles(flags, pattern), added) << pattern;
                }
            }
        }
    }
}

TEST_F(FileFind, EdgesOfTheScan) {
    File::List list;
    EXPECT_EQ(File((folder + "/a.wav").c_str()).Find(list, 3, true, "*"), 0);
    EXPECT_EQ(File((folder + "/missing").c_str()).Find(list, 3, true, "*"), 0);
    EXPECT_EQ(File().Find(list, 3, true, "*"), 0);
    EXPECT_EQ(File(folder.c_str()).Find(list, 3, false, ""), 0);
    EXPECT_EQ(File(folder.c_str()).Find(list, 0, true, "*"), 0);
    EXPECT_TRUE(list.IsEmpty());

    // Adds to what the list holds already.
    list.Add(new File("/kept"));
    const int added = File(folder.c_str()).Find(list, 2, false, "*.txt");
    EXPECT_EQ(added, 1);
    ASSERT_EQ(list.GetCount(), 2);
    EXPECT_EQ(Text(*list[0]), "/kept");

    String name;
    bool isDirectory = true;
    bool isHidden = true;
    EXPECT_EQ(tam::FileFindFirst((folder + "/missing/").c_str(), "*", name, isDirectory, isHidden), nullptr);
    EXPECT_TRUE(name.IsEmpty());
    EXPECT_FALSE(isDirectory);
    EXPECT_FALSE(isHidden);
    tam::FindFileHandle* handle =
        tam::FileFindFirst((folder + "/").c_str(), "Sub", name, isDirectory, isHidden);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(Text(name), "Sub");
    EXPECT_TRUE(isDirectory);
    EXPECT_FALSE(isHidden);
    tam::FileFindClose(handle);

    // Names are folded to one byte per character, as tam::String keeps them.
    WriteFile(folder + "/caf\xC3\xA9", "");
    File::List folded;
    ASSERT_EQ(File(folder.c_str()).Find(folded, 2, false, "caf*"), 1);
    EXPECT_EQ(Text(*folded[0]), folder + "/caf\xE9");
}

}  // namespace
