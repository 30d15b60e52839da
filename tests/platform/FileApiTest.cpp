#include "platform/FileApi.h"

#include "platform/FileHandle.h"
#include "platform/FileTime.h"
#include "platform/SystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>

#include <linux/magic.h>
#include <sys/stat.h>

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

TEST(FileApiTest, FailedOpensLeaveTheDocumentedCode)
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

TEST(FileApiTest, RenamesReplaceNothing)
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

TEST(FileApiTest, SearchesMatchNamesAsThePatternSays)
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

TEST(FileApiTest, AFoldersTimeOnlyMovesForward)
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

// A file system whose locks on folders reach nobody else, with another client who sets a folder's
// time at the worst moment.
struct CTwoClients : CSystemCalls
{
    int StatFileSystem(int /*file*/, struct statfs* status) override
    {
        status->f_type = FUSE_SUPER_MAGIC;
        return 0;
    }
    int Lock(int file, int operation) override
    {
        struct stat status = {};
        fstat(file, &status);
        return S_ISDIR(status.st_mode) ? 0 : CSystemCalls::Lock(file, operation);
    }
    int SetTimes(int file, const struct timespec times[2]) override
    {
        if (!isSetting.exchange(true)) {
            other = std::thread(setLater);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return CSystemCalls::SetTimes(file, times);
    }
    std::atomic<bool> isSetting{false};
    std::function<void()> setLater;
    std::thread other;
};

TEST(FileApiTest, OfTwoFolderTimesTheLaterStaysThoughFolderLocksReachNobody)
{
    const CTempFolder folder;
    const std::uint64_t before = LastWriteOf(folder.Path());
    const auto set = [&](std::uint64_t count) {
        const CFileHandle handle(OpenFolder(folder.Path()));
        const FILETIME time = FileTimeFromCount(count);
        EXPECT_EQ(SetFileTime(handle.Get(), nullptr, nullptr, &time), 1);
    };
    const std::uint64_t later = before + 2 * kFileTimeUnitsPerSecond;
    CTwoClients clients;
    clients.setLater = [&] { set(later); };
    CSystemCalls::Replace(&clients);
    set(later - 1);
    clients.other.join();
    CSystemCalls::Replace(nullptr);
    EXPECT_EQ(LastWriteOf(folder.Path()), later);
}

TEST(FileApiTest, TheCreationTimeIsThatOfTheFirstContentAndStays)
{
    const CTempFolder folder;
    const CFileHandle folderHandle(OpenFolder(folder.Path()));
    for (int number = 0; number < 50; ++number) {
        const CFileHandle file(OpenExclusive(folder / std::to_string(number), CREATE_NEW));
        const std::uint64_t version = LastWriteOf(folder.Path());
        FILETIME created;
        FILETIME written;
        FILETIME kept;
        ASSERT_EQ(RewriteFile(file.Get(), "text"), 1);
        ASSERT_EQ(GetFileTime(file.Get(), &created, nullptr, &written), 1);
        EXPECT_GE(FileTimeToCount(created), version);
        EXPECT_EQ(FileTimeToCount(created), FileTimeToCount(written) - 1);
        ASSERT_EQ(RewriteFile(file.Get(), "other text"), 1);
        ASSERT_EQ(GetFileTime(file.Get(), &kept, nullptr, &written), 1);
        EXPECT_EQ(kept, created);
        EXPECT_GT(written, created);
        SetFileTime(folderHandle.Get(), nullptr, nullptr, &written);
    }
}

TEST(FileApiTest, AStampIsNotToldOfBeforeTheClockHasPassedIt)
{
    // Behind the clock that the kernel stamps the folder with.
    struct : CSystemCalls
    {
        int Now(struct timespec* time) override
        {
            const int result = CSystemCalls::Now(time);
            const bool borrows = time->tv_nsec < 10'000'000;
            time->tv_nsec += borrows ? 990'000'000 : -10'000'000;
            time->tv_sec -= borrows ? 1 : 0;
            return result;
        }
    } late;
    const CTempFolder folder;
    const CFileHandle file(OpenExclusive(folder / "file", CREATE_NEW));
    CSystemCalls::Replace(&late);
    FILETIME written, now;
    EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
    GetSystemTimeAsFileTime(&now);
    EXPECT_EQ(GetFileTime(file.Get(), nullptr, nullptr, &written), 1);
    EXPECT_LE(written, now);
    CSystemCalls::Replace(nullptr);
}

TEST(FileApiTest, AFileSystemOfWholeSecondsIsToldAndStampsAreNeverBehind)
{
    struct : CSystemCalls
    {
        int SetTimes(int file, const struct timespec times[2]) override
        {
            const struct timespec cut[2] = {{times[0].tv_sec, 0}, {times[1].tv_sec, 0}};
            return CSystemCalls::SetTimes(file, cut);
        }
    } coarse;
    const CTempFolder folder;
    const CFileHandle file(OpenExclusive(folder / "file", CREATE_NEW));
    EXPECT_TRUE(KeepsFineFileTimes(folder.Path().c_str()));
    CSystemCalls::Replace(&coarse);
    EXPECT_FALSE(KeepsFineFileTimes(folder.Path().c_str()));
    const std::uint64_t version = LastWriteOf(folder.Path());
    FILETIME written;
    EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
    EXPECT_EQ(GetFileTime(file.Get(), nullptr, nullptr, &written), 1);
    EXPECT_GT(FileTimeToCount(written), version);
    CSystemCalls::Replace(nullptr);
    EXPECT_TRUE(KeepsFineFileTimes("none"));
}
