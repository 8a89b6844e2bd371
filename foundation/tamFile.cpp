// Paths, file-system queries and operations, directory scans, and the three
// desktop services (copy, Trash, removable media) on Linux.
#include "foundation/tamFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace tam {

namespace {

// The home directory, read from the environment at each use so that a caller
// (or a test) may move it; the password database only when HOME is unset.
std::string HomeDirectory() {
    const char* home = std::getenv("HOME");
    if (home && home[0] == '/') return home;
    struct passwd entry;
    struct passwd* found = nullptr;
    char text[4096];
    if (getpwuid_r(getuid(), &entry, text, sizeof text, &found) == 0 && found && found->pw_dir &&
        found->pw_dir[0] == '/')
        return found->pw_dir;
    return std::string();
}

// An absolute folder from an XDG variable, or the home-relative default.
std::string XdgDirectory(const char* variable, const char* fallback) {
    const char* value = std::getenv(variable);
    if (value && value[0] == '/') return value;
    const std::string home = HomeDirectory();
    return home.empty() ? std::string() : home + fallback;
}

// The text of a special location, built from the environment and never from
// tam::File, whose "~" expansion depends on location 0.
std::string SpecialLocationText(int type) {
    const char* tail = nullptr;
    switch (type) {
        case File::UserDocumentsDirectory:
            tail = "/Documents";
            break;
        case File::UserDesktopDirectory:
            tail = "/Desktop";
            break;
        case File::UserMusicDirectory:
            tail = "/Music";
            break;
        case File::UserMoviesDirectory:
            tail = "/Movies";
            break;
        case File::UserApplicationDataDirectory:
        case File::CommonApplicationDataDirectory:
            tail = "/Library";
            break;
        case File::GlobalApplicationsDirectory:
            tail = "/Applications";
            break;
        case File::UserCacheDirectory:
            return XdgDirectory("XDG_CACHE_HOME", "/.cache");
        default:
            return std::string();
    }
    const std::string home = HomeDirectory();
    return home.empty() ? std::string() : home + tail;
}

bool StatPath(const char* path, struct stat& info) { return path && *path && stat(path, &info) == 0; }

bool IsLinkOrMissing(const char* path) {
    struct stat info;
    return lstat(path, &info) != 0 || S_ISLNK(info.st_mode);
}

bool IsRealFolder(const char* path) {
    struct stat info;
    return lstat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// The raw names in a folder, without "." and "..". Internal operations use
// these rather than Find, whose names are folded to single bytes.
std::vector<std::string> RawChildren(const std::string& folder) {
    std::vector<std::string> names;
    DIR* dir = opendir(folder.c_str());
    if (!dir) return names;
    while (dirent* entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    closedir(dir);
    return names;
}

std::string JoinPath(const std::string& folder, const std::string& name) {
    if (!folder.empty() && folder.back() == '/') return folder + name;
    return folder + "/" + name;
}

// Deletes a file, link or whole folder tree by raw path; links are removed,
// never followed.
bool RemoveTree(const std::string& path) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) return unlink(path.c_str()) == 0;
    bool ok = true;
    for (const std::string& name : RawChildren(path)) ok = RemoveTree(JoinPath(path, name)) && ok;
    return rmdir(path.c_str()) == 0 && ok;
}

bool CopyRegularFile(const char* from, const char* to, const struct stat& info) {
    const int in = open(from, O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    const int out = open(to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, info.st_mode & 07777);
    if (out < 0) {
        close(in);
        return false;
    }
    bool ok = true;
    char block[65536];
    for (;;) {
        const ssize_t got = read(in, block, sizeof block);
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            ok = false;
            break;
        }
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = write(out, block + done, static_cast<size_t>(got - done));
            if (put < 0 && errno == EINTR) continue;
            if (put <= 0) {
                ok = false;
                break;
            }
            done += put;
        }
        if (!ok) break;
    }
    if (ok) {
        fchmod(out, info.st_mode & 07777);
        const struct timespec times[2] = {info.st_atim, info.st_mtim};
        futimens(out, times);
    }
    close(in);
    if (close(out) != 0) ok = false;
    if (!ok) unlink(to);
    return ok;
}

bool CopyTree(const std::string& from, const std::string& to) {
    struct stat info;
    if (lstat(from.c_str(), &info) != 0) return false;
    if (S_ISLNK(info.st_mode)) {
        std::vector<char> target(static_cast<size_t>(PATH_MAX) + 1);
        const ssize_t length = readlink(from.c_str(), target.data(), PATH_MAX);
        if (length < 0) return false;
        target[static_cast<size_t>(length)] = 0;
        return symlink(target.data(), to.c_str()) == 0;
    }
    if (!S_ISDIR(info.st_mode)) return CopyRegularFile(from.c_str(), to.c_str(), info);
    if (mkdir(to.c_str(), (info.st_mode & 07777) | S_IRWXU) != 0) return false;
    for (const std::string& name : RawChildren(from)) {
        if (!CopyTree(JoinPath(from, name), JoinPath(to, name))) return false;
    }
    chmod(to.c_str(), info.st_mode & 07777);
    const struct timespec times[2] = {info.st_atim, info.st_mtim};
    utimensat(AT_FDCWD, to.c_str(), times, 0);
    return true;
}

struct FileSystemKind {
    unsigned long magic;
    const char* name;
};

// statfs magic numbers under the names the CD and network lists use. tmpfs
// counts as "ramfs" (memory), and CIFS and SMB2 as "smbfs" (network).
constexpr FileSystemKind kFileSystems[] = {
    {0x9660, "cd9660"},    {0x15013346, "udf"},   {0x6969, "nfs"},       {0x517B, "smbfs"},
    {0xFE534D42, "smbfs"}, {0xFF534D42, "smbfs"}, {0x858458F6, "ramfs"}, {0x01021994, "ramfs"},
    {0xEF53, "ext2/ext3"}, {0x58465342, "xfs"},   {0x9123683E, "btrfs"}, {0x794C7630, "overlayfs"},
};

const char* FileSystemName(const String& path) {
    struct statfs info;
    if (path.IsEmpty() || statfs(path, &info) != 0) return "";
    for (const FileSystemKind& kind : kFileSystems) {
        if (kind.magic == static_cast<unsigned long>(info.f_type)) return kind.name;
    }
    return "other";
}

bool NameInList(const char* name, const char* const* list) {
    for (; *list; ++list) {
        if (strcasecmp(name, *list) == 0) return true;
    }
    return false;
}

const char* const kCdFileSystems[] = {"cd9660", "cdfs", "cddafs", "udf", nullptr};
const char* const kNonDiskFileSystems[] = {"nfs", "smbfs", "ramfs", nullptr};

// Percent-encodes a path for a .trashinfo file; "/" and unreserved
// characters stay.
std::string EncodeTrashPath(const std::string& path) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' ||
            c == '-' || c == '_' || c == '.' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

bool MakeFolders(const std::string& path) {
    if (path.empty()) return false;
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
        if (slash == std::string::npos) break;
    }
    return IsRealFolder(path.c_str());
}

String FoldName(const char* name) {
    return String::CreateFromUTF8(reinterpret_cast<const unsigned char*>(name),
                                  static_cast<int>(std::strlen(name)));
}

}  // namespace

// ---- Path normalisation -----------------------------------------------------

namespace {

String tamAbsolutePath(String path) {
    if (path.IsEmpty()) return path;
    path = path.ReplaceCharacter('\\', '/');
    if (path[0] == '~') {
        if (path.GetLength() == 1 || path[1] == '/') {
            path = String(SpecialLocationText(File::UserDocumentsDirectory).c_str()) + path.Substring(1);
        } else {
            const int slash = path.IndexOfCharacter('/');
            const String user = slash < 0 ? path.Substring(1) : path.Substring(1, slash);
            struct passwd entry;
            struct passwd* found = nullptr;
            char text[4096];
            if (getpwnam_r(user, &entry, text, sizeof text, &found) == 0 && found && found->pw_dir)
                path = String(found->pw_dir) + (slash < 0 ? String() : path.Substring(slash));
        }
    }
    // An unknown "~name" stays as it is: joining it to the working folder
    // would come back here, since "~" counts as absolute.
    if (path[0] != '/' && path[0] != '~') {
        while (path.StartsWith("./")) path = path.Substring(2);
        if (path.IsEmpty()) return path;
        const File workingDirectory = File::GetCurrentWorkingDirectory();
        if (workingDirectory.GetFullPath().IsEmpty()) return String();  // no working folder to lean on
        return workingDirectory.GetChildFile(path).GetFullPath();
    }
    int end = path.GetLength();
    while (end > 1 && path[end - 1] == '/') --end;
    return end == path.GetLength() ? path : path.Substring(0, end);
}

}  // namespace

File::File(const String& path) : fullPath(tamAbsolutePath(path)) {}

File& File::operator=(const String& path) {
    fullPath = tamAbsolutePath(path);
    return *this;
}

bool File::IsAbsolutePath(const String& path) {
    const char c = path.GetFirstCharacter();
    return c == '/' || c == '\\' || c == '~';
}

// ---- Queries ------------------------------------------------------------------

bool File::IsDirectory() const {
    // The library has always answered false here, folders included; callers
    // that need the real answer use IsFolderOnDisk.
    return false;
}

bool File::IsFolderOnDisk() const {
    struct stat info;
    return StatPath(fullPath, info) && S_ISDIR(info.st_mode);
}

bool File::Exists() const { return !fullPath.IsEmpty() && access(fullPath, F_OK) == 0; }

bool File::ExistsAsFile() const {
    if (!Exists()) return false;
    struct stat info;
    return !StatPath(fullPath, info) || !S_ISDIR(info.st_mode);
}

bool File::HasWriteAccess() const {
    File file = *this;
    while (!file.fullPath.IsEmpty()) {
        if (file.Exists()) return access(file.fullPath, W_OK) == 0;
        if (!file.fullPath.ContainsCharacter('/')) return false;
        File parent = file.GetParentDirectory();
        if (parent == file) return false;
        file = parent;
    }
    return false;
}

String File::GetFileName(bool withExtension) const {
    const int slash = fullPath.LastIndexOfCharacter('/');
    if (slash < 0 && IsFolderOnDisk()) return String();
    String name = fullPath.Substring(slash + 1);
    if (!withExtension) {
        // A leading dot is part of the name: ".hidden" keeps all of it.
        const int dot = name.LastIndexOfCharacter('.');
        if (dot > 0) name = name.Substring(0, dot);
    }
    return name;
}

String File::GetFileExtension() const {
    const int dot = fullPath.LastIndexOfCharacter('.');
    if (dot < 0 || dot < fullPath.LastIndexOfCharacter('/') || IsFolderOnDisk()) return String();
    return fullPath.Substring(dot);
}

String File::GetDirectoryName() const {
    if (!IsFolderOnDisk()) return String();
    const int slash = fullPath.LastIndexOfCharacter('/');
    return slash > 0 ? fullPath.Substring(slash + 1) : String();
}

File File::GetParentDirectory() const {
    const int slash = fullPath.LastIndexOfCharacter('/');
    if (slash < 0) return *this;
    File parent;
    parent.fullPath = slash == 0 ? String("/") : fullPath.Substring(0, slash);
    return parent;
}

File File::GetChildFile(String relative) const {
    if (IsAbsolutePath(relative)) return File(relative);
    // An invalid file has no children: joining would name a file under "/".
    if (fullPath.IsEmpty()) return File();
    String base = fullPath;
    if (relative.GetFirstCharacter() == '.') {
        relative = relative.ReplaceCharacter('\\', '/').TrimStart();
        for (;;) {
            if (relative.StartsWith("..") && (relative.GetLength() == 2 || relative[2] == '/')) {
                const int slash = base.LastIndexOfCharacter('/');
                if (slash > 0)
                    base = base.Substring(0, slash);
                else if (slash == 0)
                    base = "/";
                relative = relative.Substring(3);
            } else if (relative.StartsWith("./")) {
                relative = relative.Substring(2);
            } else if (relative == ".") {
                relative = String();  // the folder itself
            } else {
                break;
            }
        }
    }
    if (base.EndsWithCharacter('/')) return File(base + relative);
    return File(base + "/" + relative);
}

File File::GetSiblingFile(const String& name) const { return GetParentDirectory().GetChildFile(name); }

bool File::HasFileExtension(const String& extension) const {
    if (extension.IsEmpty()) return fullPath.LastIndexOfCharacter('.') <= fullPath.LastIndexOfCharacter('/');
    if (!fullPath.EndsWithIgnoreCase(extension)) return false;
    if (extension.GetFirstCharacter() == '.') return true;
    const int before = fullPath.GetLength() - extension.GetLength() - 1;
    return before >= 0 && fullPath[before] == '.';
}

File File::WithFileExtension(const String& extension) const {
    if (fullPath.IsEmpty()) return File();
    String name = GetFileName(false);
    if (!extension.IsEmpty()) {
        if (extension.GetFirstCharacter() != '.') name += '.';
        name += extension;
    }
    return GetSiblingFile(name);
}

bool File::IsAChildOf(const File& parent) const {
    File file = *this;
    for (;;) {
        const File up = file.GetParentDirectory();
        if (up.EqualsIgnoreCase(parent)) return true;
        // Stops at the root, whose parent is itself.
        if (parent.fullPath.GetLength() >= up.fullPath.GetLength() || up == file) return false;
        file = up;
    }
}

// ---- Volumes ------------------------------------------------------------------

bool File::IsOnHardDisk() const {
    if (fullPath.IsEmpty()) return false;
    const char* name = FileSystemName(fullPath);
    return !NameInList(name, kCdFileSystems) && !NameInList(name, kNonDiskFileSystems);
}

bool File::IsOnCDRomDrive() const { return NameInList(FileSystemName(fullPath), kCdFileSystems); }

bool File::IsOnRemovableDrive() const { return !fullPath.IsEmpty() && tamIsFileOnRemovableDrive(fullPath); }

String File::GetVolumeLabel() const {
    // The nearest existing folder up the path, then the volume it lies on.
    File file = *this;
    struct stat info;
    while (!StatPath(file.fullPath, info)) {
        const File parent = file.GetParentDirectory();
        if (parent == file) return String();
        file = parent;
    }
    const dev_t device = info.st_dev;
    // A file-system label, where udev publishes one.
    const std::string labels = "/dev/disk/by-label";
    for (const std::string& name : RawChildren(labels)) {
        struct stat node;
        if (stat(JoinPath(labels, name).c_str(), &node) == 0 && S_ISBLK(node.st_mode) &&
            node.st_rdev == device) {
            std::string decoded;
            for (size_t i = 0; i < name.size(); ++i) {
                unsigned int code = 0;
                if (name[i] == '\\' && i + 3 < name.size() && name[i + 1] == 'x' &&
                    std::sscanf(name.c_str() + i + 2, "%2x", &code) == 1) {
                    decoded += static_cast<char>(code);
                    i += 3;
                } else {
                    decoded += name[i];
                }
            }
            return FoldName(decoded.c_str());
        }
    }
    // Otherwise the name of the mount point: the highest folder on the same
    // device ("" for the root).
    if (!S_ISDIR(info.st_mode)) file = file.GetParentDirectory();
    for (;;) {
        const File parent = file.GetParentDirectory();
        struct stat above;
        if (parent == file || !StatPath(parent.fullPath, above) || above.st_dev != device) break;
        file = parent;
    }
    return file.fullPath == "/" ? String() : file.GetFileName(true);
}

long long File::GetBytesFreeOnVolume() const {
    struct statfs info;
    if (fullPath.IsEmpty() || statfs(fullPath, &info) != 0) return 0;
    const long long block = info.f_frsize ? info.f_frsize : info.f_bsize;
    return static_cast<long long>(info.f_bavail) * block;
}

long long File::GetBytesTotalOnVolume() const {
    struct statfs info;
    if (fullPath.IsEmpty() || statfs(fullPath, &info) != 0) return 0;
    const long long block = info.f_frsize ? info.f_frsize : info.f_bsize;
    return static_cast<long long>(info.f_blocks) * block;
}

long long File::GetSizeInBytes() const {
    struct stat info;
    return StatPath(fullPath, info) ? static_cast<long long>(info.st_size) : 0;
}

String File::SizeInBytesToString(long long bytes) {
    if (bytes == 1) return String("1 byte");
    if (bytes < 1024) return String::Formatted("%lld bytes", bytes);
    if (bytes < 0x100000) return String::Formatted("%.1f KB", static_cast<double>(bytes) / 1024.0);
    if (bytes <= 0x3fffffff) return String::Formatted("%.1f MB", static_cast<double>(bytes) / 1048576.0);
    if (bytes <= 0xffffffffffLL)
        return String::Formatted("%.1f GB", static_cast<double>(bytes) / 1073741824.0);
    return String::Formatted("%.1f TB", static_cast<double>(bytes) / 1099511627776.0);
}

// ---- Changes ------------------------------------------------------------------

bool File::CreateDirectory() const {
    if (IsDirectory()) return true;
    const File parent = GetParentDirectory();
    if (parent == *this) return false;
    // The parent's answer is ignored: it is false for folders that exist.
    parent.CreateDirectory();
    mkdir(fullPath, 511);
    return IsDirectory();
}

bool File::DeleteFile(bool recursive) const {
    struct stat info;
    if (fullPath.IsEmpty() || lstat(fullPath, &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) return remove(fullPath) == 0;
    bool ok = true;
    if (recursive) {
        const std::string folder(static_cast<const char*>(fullPath));
        const std::vector<std::string> names = RawChildren(folder);
        for (size_t i = names.size(); i-- > 0;) ok = RemoveTree(JoinPath(folder, names[i])) && ok;
    }
    return rmdir(fullPath) == 0 && ok;
}

bool File::MoveFileTo(const File& destination) const {
    if (fullPath == destination.fullPath) return true;
    if (fullPath.IsEmpty() || destination.fullPath.IsEmpty()) return false;
    struct stat info;
    if (lstat(destination.fullPath, &info) == 0 && !destination.DeleteFile(false)) return false;
    if (rename(fullPath, destination.fullPath) == 0) return true;
    if (!HasWriteAccess() || !tamCopyFile(fullPath, destination.fullPath)) return false;
    if (RemoveTree(static_cast<const char*>(fullPath))) return true;
    RemoveTree(static_cast<const char*>(destination.fullPath));
    return false;
}

bool File::CopyFileTo(const File& destination) const {
    if (fullPath.EqualsIgnoreCase(destination.fullPath)) return true;
    struct stat info;
    if (lstat(destination.fullPath, &info) == 0) destination.DeleteFile(false);
    return tamCopyFile(fullPath, destination.fullPath);
}

namespace {

// Files first, then folders, by raw name; the first failure stops it. A linked
// folder is copied as the link, so a link back up cannot recurse.
bool CopyFolderContents(const std::string& from, const std::string& to) {
    const std::vector<std::string> names = RawChildren(from);
    for (int pass = 0; pass < 2; ++pass) {
        for (const std::string& name : names) {
            const std::string source = JoinPath(from, name);
            const std::string target = JoinPath(to, name);
            struct stat info;
            const bool isFolder = stat(source.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
            if (isFolder != (pass == 1)) continue;
            if (!isFolder || IsLinkOrMissing(source.c_str())) {
                remove(target.c_str());
                if (!CopyTree(source, target)) return false;
                continue;
            }
            mkdir(target.c_str(), 511);
            if (!IsRealFolder(target.c_str()) || !CopyFolderContents(source, target)) return false;
        }
    }
    return true;
}

}  // namespace

bool File::CopyDirectoryTo(const File& destination) const {
    if (!IsFolderOnDisk() || destination == *this || destination.IsAChildOf(*this))
        return false;  // a copy into itself would never end
    destination.CreateDirectory();
    if (!destination.IsFolderOnDisk()) return false;
    return CopyFolderContents(static_cast<const char*>(fullPath),
                              static_cast<const char*>(destination.fullPath));
}

bool File::MoveFileToRecycleBin() const { return Exists() && tamMoveFileToRecycleBin(fullPath); }

namespace {

// Children first, from the last to the first; linked folders are not entered.
bool SetWriteBits(const std::string& path, bool readOnly, bool recursive) {
    bool ok = true;
    if (recursive && IsRealFolder(path.c_str())) {
        const std::vector<std::string> names = RawChildren(path);
        for (size_t i = names.size(); i-- > 0;)
            ok = SetWriteBits(JoinPath(path, names[i]), readOnly, true) && ok;
    }
    struct stat info;
    if (!StatPath(path.c_str(), info)) return false;
    const mode_t mode = (info.st_mode & 0x16d) + (readOnly ? 0 : 146);  // 0555, plus 0222 for writable
    return chmod(path.c_str(), mode) == 0 && ok;
}

}  // namespace

bool File::SetReadOnly(bool readOnly, bool recursive) const {
    return !fullPath.IsEmpty() && SetWriteBits(static_cast<const char*>(fullPath), readOnly, recursive);
}

// ---- Locations ----------------------------------------------------------------

bool File::SetAsCurrentWorkingDirectory() const { return !fullPath.IsEmpty() && chdir(fullPath) == 0; }

File File::GetCurrentWorkingDirectory() {
    char text[2048];
    if (!getcwd(text, sizeof text) || text[0] != '/') return File();
    return File(Utilities::ConvertToPrecomposedUnicode(String(text)));
}

File File::GetSpecialLocation(int type) {
    const std::string text = SpecialLocationText(type);
    if (text.empty()) return File();
    return File(Utilities::ConvertToPrecomposedUnicode(String(text.c_str())));
}

void File::FindRoots(List& roots) { roots.Add(new File(String("/"))); }

bool File::StartAsProcess(const String&) const { return false; }

// ---- Times --------------------------------------------------------------------

Time File::GetCreationTime() const {
    struct stat info;
    return Time(StatPath(fullPath, info) ? static_cast<long long>(info.st_ctime) * 1000 : 0);
}

Time File::GetLastModificationTime() const {
    struct stat info;
    return Time(StatPath(fullPath, info) ? static_cast<long long>(info.st_mtime) * 1000 : 0);
}

Time File::GetLastAccessTime() const {
    struct stat info;
    return Time(StatPath(fullPath, info) ? static_cast<long long>(info.st_atime) * 1000 : 0);
}

bool File::SetLastModificationTime(const Time& time) const {
    if (fullPath.IsEmpty()) return false;
    struct utimbuf times;
    times.actime = 0;
    times.modtime = static_cast<time_t>(time.GetTime() / 1000);
    return utime(fullPath, &times) == 0;
}

bool File::SetLastAccessTime(const Time& time) const {
    if (fullPath.IsEmpty()) return false;
    struct utimbuf times;
    times.actime = static_cast<time_t>(time.GetTime() / 1000);
    times.modtime = 0;
    return utime(fullPath, &times) == 0;
}

bool File::SetCreationTime(const Time&) const { return false; }

// ---- Scans --------------------------------------------------------------------

namespace {

bool EntryCounts(const String& name, bool isDirectory, bool isHidden, int flags) {
    const int kind = isDirectory ? File::FindDirectories : File::FindFiles;
    return (flags & kind) && (!isHidden || !(flags & File::IgnoreHiddenFiles)) && !name.ContainsOnly(".");
}

}  // namespace

int File::Find(List& out, int flags, bool recursive, const String& wildcard) const {
    if (!IsFolderOnDisk()) return 0;
    const String folder = fullPath.EndsWithCharacter('/') ? fullPath : fullPath + "/";
    int added = 0;
    String name;
    bool isDirectory = false;
    bool isHidden = false;
    if (FindFileHandle* handle = FileFindFirst(folder, wildcard, name, isDirectory, isHidden)) {
        do {
            if (EntryCounts(name, isDirectory, isHidden, flags)) {
                out.Add(new File(folder + name));
                ++added;
            }
        } while (handle->GetInfo(name, isDirectory, isHidden));
        FileFindClose(handle);
    }
    if (recursive) {
        // Linked folders are not entered, so a link back up cannot loop.
        const std::string base(static_cast<const char*>(folder));
        for (const std::string& child : RawChildren(base)) {
            const std::string path = base + child;
            if (IsRealFolder(path.c_str()))
                added += File(String(path.c_str())).Find(out, flags, true, wildcard);
        }
    }
    return added;
}

int File::GetNumberOfChildFiles(int flags, const String& wildcard) const {
    if (!IsFolderOnDisk()) return 0;
    const String folder = fullPath.EndsWithCharacter('/') ? fullPath : fullPath + "/";
    int found = 0;
    String name;
    bool isDirectory = false;
    bool isHidden = false;
    if (FindFileHandle* handle = FileFindFirst(folder, wildcard, name, isDirectory, isHidden)) {
        do {
            if (EntryCounts(name, isDirectory, isHidden, flags)) ++found;
        } while (handle->GetInfo(name, isDirectory, isHidden));
        FileFindClose(handle);
    }
    return found;
}

FindFileHandle::FindFileHandle(const String& directory, const String& wildcard, DIR* dir)
    : directory(directory), pattern(wildcard), dir(dir) {}

FindFileHandle::~FindFileHandle() {
    if (dir) closedir(dir);
}

bool FindFileHandle::GetInfo(String& name, bool& isDirectory, bool& isHidden) {
    while (dir) {
        dirent* entry = readdir(dir);
        if (!entry) break;
        // Names match without regard to case, as the desktop's own searches do.
        if (fnmatch(pattern, entry->d_name, FNM_CASEFOLD) != 0) continue;
        name = FoldName(entry->d_name);
        const std::string path = std::string(static_cast<const char*>(directory)) + entry->d_name;
        struct stat info;
        isDirectory = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
        isHidden = entry->d_name[0] == '.';
        return true;
    }
    name = String();
    isDirectory = false;
    isHidden = false;
    return false;
}

FindFileHandle* FileFindFirst(const String& directory, const String& wildcard, String& name,
                              bool& isDirectory, bool& isHidden) {
    name = String();
    isDirectory = false;
    isHidden = false;
    DIR* dir = directory.IsEmpty() ? nullptr : opendir(directory);
    if (!dir) return nullptr;
    auto* handle = new FindFileHandle(directory, wildcard, dir);
    if (!handle->GetInfo(name, isDirectory, isHidden)) {
        delete handle;
        return nullptr;
    }
    return handle;
}

void FileFindClose(FindFileHandle* handle) { delete handle; }

// ---- Lists and filters --------------------------------------------------------

int TamFileListComparator(File* const& a, File* const& b) {
    return a->GetFullPath().Compare(b->GetFullPath());
}

int TamFileListInsensitiveComparator(File* const& a, File* const& b) {
    return a->GetFullPath().CompareIgnoreCase(b->GetFullPath());
}

bool File::List::Contains(const File* file) const {
    if (!file) return false;
    for (int i = 0; i < this->count; ++i) {
        if (this->data[i] == file || (this->data[i] && *this->data[i] == *file)) return true;
    }
    return false;
}

void File::List::Sort(bool ignoreCase) {
    if (this->count < 2) return;
    if (ignoreCase)
        Sorter::Sort(TamFileListInsensitiveComparator, this->data, 0, this->count - 1, false);
    else
        Sorter::Sort(TamFileListComparator, this->data, 0, this->count - 1, false);
}

bool File::Filter::ContainsExtension(const String& extension) const {
    // Walks the entries but never reports a match; kept so, as no caller
    // depends on a true.
    for (int i = 0; i < GetCount(); ++i) (void)GetExtension(i).EqualsIgnoreCase(extension);
    return false;
}

// ---- Desktop services ---------------------------------------------------------

bool tamCopyFile(const String& from, const String& to) {
    struct stat source;
    if (from.IsEmpty() || to.IsEmpty() || lstat(from, &source) != 0) return false;
    // Never copy a file onto itself (the copy would truncate its source) nor
    // a folder into itself.
    struct stat target;
    struct stat followed;
    if (stat(to, &target) == 0 && stat(from, &followed) == 0 && target.st_dev == followed.st_dev &&
        target.st_ino == followed.st_ino)
        return false;
    const std::string fromText(static_cast<const char*>(from));
    const std::string toText(static_cast<const char*>(to));
    if (toText.compare(0, fromText.size() + 1, fromText + "/") == 0) return false;
    return CopyTree(fromText, toText);
}

bool tamMoveFileToRecycleBin(const String& path) {
    const File file(path);
    struct stat info;
    if (file.GetFullPath().IsEmpty() || file.GetFullPath() == "/" || lstat(file.GetFullPath(), &info) != 0)
        return false;
    const std::string trash = XdgDirectory("XDG_DATA_HOME", "/.local/share");
    if (trash.empty()) return false;
    const std::string files = trash + "/Trash/files";
    const std::string infos = trash + "/Trash/info";
    if (!MakeFolders(files) || !MakeFolders(infos)) return false;
    const std::string source(static_cast<const char*>(file.GetFullPath()));
    const std::string base = source.substr(source.rfind('/') + 1);

    char date[32];
    const time_t now = std::time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    const std::string record =
        "[Trash Info]\nPath=" + EncodeTrashPath(source) + "\nDeletionDate=" + date + "\n";

    for (int attempt = 1; attempt < 10000; ++attempt) {
        const std::string name = attempt == 1 ? base : base + "." + std::to_string(attempt);
        const std::string infoPath = infos + "/" + name + ".trashinfo";
        const std::string target = files + "/" + name;
        // The info file is made first and exclusively: it reserves the name.
        const int fd = open(infoPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return false;
        }
        const bool written = write(fd, record.data(), record.size()) == static_cast<ssize_t>(record.size());
        close(fd);
        struct stat existing;
        if (!written || lstat(target.c_str(), &existing) == 0) {
            unlink(infoPath.c_str());
            if (!written) return false;
            continue;
        }
        if (rename(source.c_str(), target.c_str()) == 0) return true;
        if (errno == EXDEV && CopyTree(source, target)) {
            if (RemoveTree(source)) return true;
            RemoveTree(target);
        }
        unlink(infoPath.c_str());
        return false;
    }
    return false;
}

bool tamIsFileOnRemovableDrive(const String& path) {
    struct stat info;
    if (!StatPath(path, info)) return false;
    char device[64];
    std::snprintf(device, sizeof device, "/sys/dev/block/%u:%u", major(info.st_dev), minor(info.st_dev));
    char resolved[PATH_MAX];
    if (!realpath(device, resolved)) return false;
    // A partition has no flag of its own: its disk is the folder above.
    const std::string disk(resolved);
    for (const std::string& flag : {disk + "/removable", disk + "/../removable"}) {
        if (FILE* in = std::fopen(flag.c_str(), "r")) {
            const int c = std::fgetc(in);
            std::fclose(in);
            return c == '1';
        }
    }
    return false;
}

}  // namespace tam
