// Paths with operations.
//
// tam::File is a value holding one absolute path with forward slashes. It
// answers questions about the file system (existence, sizes, times, volume),
// creates, deletes, moves and copies, and finds children by wildcard. Nothing
// throws: predicates answer false and lookups give empty results.
//
// Two answers are kept as the library has always given them, and callers rely
// on neither being "fixed": IsDirectory() is false whenever stat succeeds (so
// CreateDirectory() reports false even when it made the folder - check
// Exists() instead), and Filter::ContainsExtension() is always false. A
// leading "~" stands for the Documents folder of the home directory, "~name"
// for that user's home.
#pragma once

#include <dirent.h>

#include "foundation/tamArray.h"
#include "foundation/tamString.h"
#include "foundation/tamTime.h"

namespace tam {

class File {
public:
    static constexpr char SeparatorChar = '/';
    static constexpr const char* SeparatorString = "/";

    // Codes of GetSpecialLocation. 15 is the per-user cache folder.
    enum SpecialLocationType : int {
        UserDocumentsDirectory = 0,
        UserDesktopDirectory = 1,
        UserMusicDirectory = 5,
        UserMoviesDirectory = 6,
        UserApplicationDataDirectory = 12,
        CommonApplicationDataDirectory = 13,
        GlobalApplicationsDirectory = 14,
        UserCacheDirectory = 15,
    };

    enum FindFlags : int { FindDirectories = 1, FindFiles = 2, IgnoreHiddenFiles = 4 };

    // Owns its files (Add, Insert, Get, operator[], GetCount, IsEmpty come
    // from PtrArray); Clear() deletes them.
    class List : public PtrArray<File> {
    public:
        List() : PtrArray<File>(8) {}
        using PtrArray<File>::Clear;
        void Clear() { PtrArray<File>::Clear(true); }
        // True when a file of the same path is in the list.
        bool Contains(const File* file) const;
        // By full path, with or without regard to case.
        void Sort(bool ignoreCase);
    };

    // Display names with their file extensions, for file dialogs (Add, Clear,
    // GetCount, IsEmpty come from StrPairArray).
    class Filter : public StrPairArray {
    public:
        String GetName(int index) const { return GetKey(index); }
        String GetExtension(int index) const { return GetValue(index); }
        // Always false; no caller depends on a match.
        bool ContainsExtension(const String& extension) const;
    };

    File() = default;
    File(const String& path);
    File(const char* path) : File(String(path)) {}
    File(const File& other) = default;
    File& operator=(const File& other) = default;
    File& operator=(const String& path);
    File& operator=(const char* path) { return *this = String(path); }

    static bool IsAbsolutePath(const String& path);

    const String& GetFullPath() const { return fullPath; }
    bool operator==(const File& other) const { return fullPath.Equals(other.fullPath); }
    bool operator!=(const File& other) const { return !fullPath.Equals(other.fullPath); }
    bool Equals(const File& other) const { return fullPath.Equals(other.fullPath); }
    bool EqualsIgnoreCase(const File& other) const { return fullPath.EqualsIgnoreCase(other.fullPath); }

    // False whenever stat succeeds, folders included (see the top of file).
    bool IsDirectory() const;
    bool Exists() const;
    bool ExistsAsFile() const;
    bool HasWriteAccess() const;

    String GetFileName(bool withExtension = true) const;
    String GetFileExtension() const;
    String GetDirectoryName() const;
    File GetParentDirectory() const;
    File GetChildFile(String relative) const;
    File GetSiblingFile(const String& name) const;
    bool HasFileExtension(const String& extension) const;
    File WithFileExtension(const String& extension) const;
    bool IsAChildOf(const File& parent) const;

    bool IsOnHardDisk() const;
    bool IsOnCDRomDrive() const;
    bool IsOnRemovableDrive() const;
    String GetVolumeLabel() const;
    int GetVolumeSerialNumber() const { return 0; }
    long long GetBytesFreeOnVolume() const;
    long long GetBytesTotalOnVolume() const;
    long long GetSizeInBytes() const;
    static String SizeInBytesToString(long long bytes);

    bool CreateDirectory() const;
    bool DeleteFile(bool recursive = false) const;
    bool MoveFileTo(const File& destination) const;
    bool CopyFileTo(const File& destination) const;
    bool CopyDirectoryTo(const File& destination) const;
    bool MoveFileToRecycleBin() const;
    bool SetReadOnly(bool readOnly, bool recursive = false) const;

    bool SetAsCurrentWorkingDirectory() const;
    static File GetCurrentWorkingDirectory();
    static File GetSpecialLocation(int type);
    static void FindRoots(List& roots);
    bool StartAsProcess(const String& parameters) const;

    Time GetCreationTime() const;
    Time GetLastModificationTime() const;
    Time GetLastAccessTime() const;
    // Setting one of the two times writes the other as 0.
    bool SetLastModificationTime(const Time& time) const;
    bool SetLastAccessTime(const Time& time) const;
    bool SetCreationTime(const Time& time) const;

    // Adds matching children to `out` and returns how many it added. The
    // wildcard matches names without regard to case.
    int Find(List& out, int flags, bool recursive = false, const String& wildcard = "*") const;
    int GetNumberOfChildFiles(int flags, const String& wildcard = "*") const;

    // A real directory test, for callers that need one.
    bool IsFolderOnDisk() const;

private:
    String fullPath;
};

// The state of one directory scan.
class FindFileHandle {
public:
    FindFileHandle(const String& directory, const String& wildcard, DIR* dir);
    ~FindFileHandle();
    FindFileHandle(const FindFileHandle&) = delete;
    FindFileHandle& operator=(const FindFileHandle&) = delete;

    // The next entry that matches the wildcard; false at the end.
    bool GetInfo(String& name, bool& isDirectory, bool& isHidden);

private:
    String directory;  // with a trailing "/"
    String pattern;
    DIR* dir;
};

FindFileHandle* FileFindFirst(const String& directory, const String& wildcard, String& name,
                              bool& isDirectory, bool& isHidden);
void FileFindClose(FindFileHandle* handle);

int TamFileListComparator(File* const& a, File* const& b);
int TamFileListInsensitiveComparator(File* const& a, File* const& b);

bool tamCopyFile(const String& from, const String& to);
// Moves the file into the user's Trash (freedesktop.org layout).
bool tamMoveFileToRecycleBin(const String& path);
bool tamIsFileOnRemovableDrive(const String& path);

}  // namespace tam
