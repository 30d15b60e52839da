#include "platform/FileHandle.h"
#include "platform/FileNames.h"
#include "platform/FileRewrite.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace
{

HANDLE OpenExclusive(const std::string& path, std::uint32_t disposition)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE);
}

HANDLE OpenFolder(const std::string& path)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, INVALID_HANDLE_VALUE);
}

std::uint64_t LastWriteOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    EXPECT_EQ(GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data), 1);
    return FileTimeToCount(data.ftLastWriteTime);
}

std::multiset<std::string> Search(const std::string& pattern)
{
    std::multiset<std::string> names;
    WIN32_FIND_DATA data;
    const CFindHandle search(FindFirstFileA(pattern.c_str(), &data));
    if (search.IsOpen()) {
        do {
            names.insert(data.cFileName);
        } while (FindNextFileA(search.Get(), &data) != 0);
        EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    }
    return names;
}

} // namespace

TEST(FileOperationsTest, FailedOpensLeaveTheDocumentedCode)
{
    const CTempFolder folder;
    folder.Write("file", "text");
    std::filesystem::create_directory(folder / "folder");
    std::filesystem::create_symlink(folder / "file", folder / "link");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    static const struct
    {
        const char *what, *name;
        std::uint32_t disposition, code;
    } kCases[] = {
        {"missing file", "none", OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
        {"a file on the way", "file/file", OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
        {"exclusive create of an existing file", "file", CREATE_NEW, ERROR_ALREADY_EXISTS},
        {"a folder", "folder", OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {"a symbolic link", "link", OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {"a pipe, without hanging", "pipe", OPEN_EXISTING, ERROR_ACCESS_DENIED},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(OpenExclusive(folder / c.name, c.disposition), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), c.code);
    }
    EXPECT_EQ(folder.Read("file"), "text");
}

// A file system that renames only with replacing, and locks only what is open for writing.
struct CReplacingRenames : CSystemCalls
{
    int Lock(int file, int operation) override
    {
        errno = EBADF;
        return (fcntl(file, F_GETFL) & O_ACCMODE) == O_RDONLY ? -1
                                                              : CSystemCalls::Lock(file, operation);
    }
    int Rename(const char* from, const char* to, unsigned flags) override
    {
        errno = EINVAL;
        return flags == 0 ? CSystemCalls::Rename(from, to, flags) : -1;
    }
};

TEST(FileOperationsTest, RenamesReplaceNothing)
{
    CReplacingRenames replacing;
    for (CSystemCalls* calls :
         {static_cast<CSystemCalls*>(nullptr), static_cast<CSystemCalls*>(&replacing)}) {
        SCOPED_TRACE(calls != nullptr);
        CSystemCalls::Replace(calls);
        const CTempFolder folder;
        folder.Write("one", "1");
        folder.Write("two", "2");
        EXPECT_EQ(MoveFileA((folder / "one").c_str(), (folder / "two").c_str()), 0);
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
        EXPECT_EQ(MoveFileA((folder / "none").c_str(), (folder / "two").c_str()), 0);
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(MoveFileA((folder / "one").c_str(), (folder / "three").c_str()), 1);
        EXPECT_EQ(folder.Read("two") + folder.Read("three"), "21");
    }
    {
        const CTempFolder folder;
        folder.Write("one", "1");
        const CFileHandle other(OpenExclusive(folder / "one", OPEN_EXISTING));
        EXPECT_EQ(MoveFileA((folder / "one").c_str(), (folder / "two").c_str()), 0);
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION) << "two would have renamed it";
    }
    CSystemCalls::Replace(nullptr);
}

TEST(FileOperationsTest, SearchesMatchNamesAsThePatternSays)
{
    const CTempFolder folder;
    for (const char* name : {"a.vcf", "B.VCF", "c.vcf~", ".vcf", "d.nxt", "vcf"}) {
        folder.Write(name, "");
    }
    using Names = std::multiset<std::string>;
    EXPECT_EQ(Search(folder / "*.vcf"), (Names{"a.vcf", "B.VCF", ".vcf"}));
    EXPECT_EQ(Search(folder / "*").size(), 6u);
    EXPECT_EQ(Search(folder / "d.nxt"), Names{"d.nxt"});
    EXPECT_EQ(Search(folder / "*.none"), Names{});
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Search(folder / "none/*"), Names{});
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST(FileOperationsTest, AFoldersTimeOnlyMovesForward)
{
    const CTempFolder folder;
    const std::uint64_t before = LastWriteOf(folder.Path());
    const CFileHandle handle(OpenFolder(folder.Path()));
    ASSERT_TRUE(handle.IsOpen());
    const FILETIME later = FileTimeFromCount(before + 12345);
    const FILETIME earlier = FileTimeFromCount(before + 12344);
    EXPECT_EQ(SetFileTime(handle.Get(), nullptr, nullptr, &later), 1);
    EXPECT_EQ(SetFileTime(handle.Get(), nullptr, nullptr, &earlier), 1);
    EXPECT_EQ(LastWriteOf(folder.Path()), before + 12345);
}

TEST(FileOperationsTest, AFileSystemOfWholeSecondsIsToldAndStampsAreNeverBehind)
{
    struct : CSystemCalls
    {
        int SetTimes(int file, const struct timespec times[2]) override
        {
            const struct timespec cut[2] = {{times[0].tv_sec, 0}, {times[1].tv_sec, 0}};
            return CSystemCalls::SetTimes(file, cut);
        }
        using CSystemCalls::SetTimes;
        // As FUSE file systems do.
        int Open(const char* path, int flags, mode_t mode) override
        {
            errno = EOPNOTSUPP;
            return (flags & O_TMPFILE) == O_TMPFILE ? -1 : CSystemCalls::Open(path, flags, mode);
        }
    } coarse;
    const CTempFolder folder;
    const CFileHandle file(OpenExclusive(folder / "file", CREATE_NEW));
    EXPECT_TRUE(KeepsFineFileTimes(folder.Path()));
    CSystemCalls::Replace(&coarse);
    EXPECT_FALSE(KeepsFineFileTimes(folder.Path()));
    EXPECT_FALSE(std::filesystem::exists(folder / ".times~"));
    const std::uint64_t version = LastWriteOf(folder.Path());
    FILETIME written;
    EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
    EXPECT_EQ(GetFileTime(file.Get(), nullptr, nullptr, &written), 1);
    EXPECT_GT(FileTimeToCount(written), version);
    CSystemCalls::Replace(nullptr);
    EXPECT_TRUE(KeepsFineFileTimes("none"));
}

TEST(FileOperationsTest, WhatRootMakesBelongsToTheOwnerOfItsFolderBeforeItHasItsName)
{
    constexpr uid_t kUser = 65534;
    if (geteuid() != 0) {
        GTEST_SKIP() << "wants root";
    }
    bool wasHit = true;
    for (int call = 1; wasHit; ++call) {
        const CTempFolder temp;
        const std::string folder = temp / "Contacts";
        ASSERT_EQ(chown(temp.Path().c_str(), kUser, kUser), 0);
        CFaultySystemCalls calls;
        calls.DieAt(call);
        CreateDirectoryA(folder.c_str(), nullptr);
        MakeEmptyFile((folder + "/counter").c_str());
        {
            const CFileHandle file(OpenExclusive(folder + "/file", CREATE_NEW));
            RewriteFile(file.Get(), "text");
        }
        wasHit = calls.WasHit();
        SCOPED_TRACE(testing::Message() << "killed at " << call << ", " << calls.LastHit());
        calls.Bury();
        for (const auto& entry : std::filesystem::recursive_directory_iterator(temp.Path())) {
            struct stat status = {};
            EXPECT_EQ(stat(entry.path().c_str(), &status), 0);
            EXPECT_TRUE((status.st_uid == kUser && status.st_gid == kUser) ||
                        entry.path().native().ends_with(".new~"))
                << entry.path();
        }
    }
    struct : CSystemCalls
    {
        int Open(const char* path, int flags, mode_t mode) override
        {
            errno = EOPNOTSUPP;
            return (flags & O_TMPFILE) == O_TMPFILE ? -1 : CSystemCalls::Open(path, flags, mode);
        }
    } naming;
    const CTempFolder temp;
    struct stat status = {};
    temp.Write("marked", "by the first release");
    for (const std::string& path : {temp.Path(), temp / "marked"}) {
        ASSERT_EQ(chown(path.c_str(), kUser, kUser), 0);
    }
    ASSERT_EQ(setxattr((temp / "marked").c_str(), "user.contact.btime", "1~", 2, 0), 0);
    CSystemCalls::Replace(&naming);
    const mode_t mask = umask(0);
    EXPECT_TRUE(CFileHandle(OpenExclusive(temp / "named", CREATE_NEW)).IsOpen());
    umask(mask);
    CSystemCalls::Replace(nullptr);
    for (const char* name : {"named", ".redo", ".redo/marked"}) {
        EXPECT_TRUE(stat((temp / name).c_str(), &status) == 0 && status.st_uid == kUser) << name;
        EXPECT_EQ(status.st_mode & 07777, S_ISDIR(status.st_mode) ? 0770u : 0660u) << name;
    }
    temp.Write("new", "new");
    temp.Write("old", "old");
    ASSERT_EQ(chown((temp / "old").c_str(), kUser, kUser - 1), 0);
    ASSERT_EQ(chmod((temp / "old").c_str(), 04604), 0);
    // What the store's user points at something else is not given away.
    const std::string book = temp / "Contacts";
    std::filesystem::create_directories(book + "/elsewhere");
    ASSERT_EQ(chown(book.c_str(), kUser, kUser), 0);
    std::filesystem::create_directory_symlink("elsewhere", book + "/inner.new~");
    EXPECT_EQ(CreateDirectoryA((book + "/inner").c_str(), nullptr), 0);
    std::filesystem::create_directory_symlink("elsewhere", book + "/.redo");
    EXPECT_FALSE(CFileHandle(OpenExclusive(book + "/file", CREATE_NEW)).IsOpen() &&
                 std::filesystem::exists(book + "/elsewhere/.lock"));
    std::filesystem::create_hard_link(temp / "new", temp / "other name");
    EXPECT_EQ(ReplaceFileA((temp / "new").c_str(), (temp / "old").c_str()), 0);
    std::filesystem::remove(temp / "other name");
    for (const std::string& path : {book + "/elsewhere", temp / "new"}) {
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, 0u) << path;
    }

    ASSERT_EQ(ReplaceFileA((temp / "new").c_str(), (temp / "old").c_str()), 1);
    EXPECT_EQ(stat((temp / "old").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kUser);
    EXPECT_EQ(status.st_gid, kUser - 1);
    EXPECT_EQ(status.st_mode & 07777, 04604u);
}
