#include "platform/FileContent.h"
#include "platform/FileNames.h"
#include "platform/FileSearch.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "support/FaultySystemCalls.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace
{

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

// A file system that makes no file without a name, as those of FUSE.
struct CNamingCalls : CPlantedCalls
{
    int Open(const char* path, int flags, mode_t mode) override
    {
        errno = EOPNOTSUPP;
        return (flags & O_TMPFILE) == O_TMPFILE ? -1 : CSystemCalls::Open(path, flags, mode);
    }
};

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
        std::uint32_t flags = FILE_ATTRIBUTE_NORMAL;
    } kCases[] = {
        {"missing file", "none", OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
        {"a file on the way", "file/file", OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
        {"exclusive create of an existing file", "file", CREATE_NEW, ERROR_ALREADY_EXISTS},
        {"a folder", "folder", OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {"a symbolic link", "link", OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {"a pipe, without hanging", "pipe", OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {"a disposition that is none", "file", 4, ERROR_INVALID_PARAMETER},
        {"a folder is not made", "new", CREATE_NEW, ERROR_INVALID_PARAMETER,
         FILE_FLAG_BACKUP_SEMANTICS},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(CreateFileA((folder / c.name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                              c.disposition, c.flags, INVALID_HANDLE_VALUE),
                  INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), c.code);
    }
    EXPECT_EQ(folder.Read("file"), "text");
}

// A file system that renames only with replacing, and locks only what is open for writing.
struct CReplacingRenames : CPlantedCalls
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
    std::optional<CReplacingRenames> replacing;
    for (const bool isReplacing : {false, true}) {
        SCOPED_TRACE(isReplacing);
        isReplacing ? (void)replacing.emplace() : replacing.reset();
        const CTempFolder folder;
        folder.Write("one", "1");
        folder.Write("two", "2");
        const auto move = [&](const char* from, const char* to) {
            SetLastError(ERROR_SUCCESS);
            MoveFileA((folder / from).c_str(), (folder / to).c_str());
            return GetLastError();
        };
        EXPECT_EQ(move("one", "two"), ERROR_ALREADY_EXISTS);
        EXPECT_EQ(move("none", "two"), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(move("one", "three"), ERROR_SUCCESS);
        EXPECT_EQ(folder.Read("two") + folder.Read("three"), "21");
        if (isReplacing) {
            const CFileHandle other(OpenExclusive(folder / "two"));
            EXPECT_EQ(move("two", "four"), ERROR_SHARING_VIOLATION) << "two would have renamed it";
        }
    }
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

TEST(FileOperationsTest, ManyFilesAreLookedAtByThreadsAndToldInTheirOrder)
{
    const CTempFolder folder;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < 9001; ++i) {
        names.push_back(std::to_string(i));
        std::ofstream(folder / names.back()) << std::string(i % 7, 'x');
    }
    unlink((folder / "4711").c_str());
    std::vector<std::optional<WIN32_FILE_ATTRIBUTE_DATA>> data;
    ASSERT_TRUE(ReadAttributes(folder.Path().c_str(), names, &data));
    ASSERT_EQ(data.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        ASSERT_EQ(data[i].has_value(), i != 4711) << i;
        ASSERT_TRUE(!data[i] || data[i]->nFileSizeLow == i % 7) << i;
    }
    names[8000] = std::string(300, 'x'); // no name of a file
    EXPECT_FALSE(ReadAttributes(folder.Path().c_str(), names, &data));
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(data.size(), names.size()) << "as it was";
    EXPECT_FALSE(ReadAttributes((folder / "none").c_str(), names, &data));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST(FileOperationsTest, AFoldersTimeOnlyMovesForward)
{
    const CTempFolder folder;
    const std::uint64_t before = FileTimeToCount(LastWriteOf(folder.Path()));
    const CFileHandle handle(CreateFileA(folder.Path().c_str(), GENERIC_READ | GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                         FILE_FLAG_BACKUP_SEMANTICS, INVALID_HANDLE_VALUE));
    for (const std::uint64_t ahead : {12345u, 12344u}) {
        const FILETIME time = FileTimeFromCount(before + ahead);
        EXPECT_EQ(SetFileTime(handle.Get(), nullptr, nullptr, &time), 1);
        EXPECT_EQ(LastWriteOf(folder.Path()), FileTimeFromCount(before + 12345));
    }
}

TEST(FileOperationsTest, AFileSystemOfWholeSecondsIsToldAndStampsAreNeverBehind)
{
    struct CCoarseCalls : CNamingCalls
    {
        int SetTimes(int file, const struct timespec times[2]) override
        {
            const struct timespec cut[2] = {{times[0].tv_sec, 0}, {times[1].tv_sec, 0}};
            return CSystemCalls::SetTimes(file, cut);
        }
        using CSystemCalls::SetTimes;
    };
    const CTempFolder folder;
    const CFileHandle file(OpenExclusive(folder / "file", CREATE_NEW));
    EXPECT_TRUE(KeepsFineFileTimes(folder.Path()));
    EXPECT_TRUE(KeepsFineFileTimes("none"));
    const CCoarseCalls coarse;
    EXPECT_FALSE(KeepsFineFileTimes(folder.Path()));
    EXPECT_FALSE(std::filesystem::exists(folder / ".times~"));
    const FILETIME version = LastWriteOf(folder.Path());
    EXPECT_EQ(RewriteFile(file.Get(), "text"), 1);
    EXPECT_GT(LastWriteOf(folder / "file"), version);
}

// Root's work, which belongs to the user whose folder it is. The trial of root's deaths has the
// same at every system call.
struct CRootTest : testing::Test
{
    static constexpr uid_t kUser = 65534;

    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "wants root";
        }
        GiveAway(temp.Path());
    }
    static void GiveAway(const std::string& path, gid_t group = kUser)
    {
        ASSERT_EQ(chown(path.c_str(), kUser, group), 0);
    }
    static struct stat StatusOf(const std::string& path)
    {
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status;
    }

    const CTempFolder temp;
};

TEST_F(CRootTest, WhatIsMadeWhereFilesHaveNamesFirstBelongsToTheFoldersOwner)
{
    GiveAway(temp.Write("marked", "by the first release"));
    ASSERT_EQ(setxattr((temp / "marked").c_str(), "user.contact.btime", "1~", 2, 0), 0);
    const CNamingCalls naming;
    const mode_t mask = umask(0);
    EXPECT_TRUE(CanOpen(temp / "named", CREATE_NEW));
    umask(mask);
    for (const char* name : {"named", ".redo", ".redo/marked"}) {
        const struct stat status = StatusOf(temp / name);
        EXPECT_EQ(status.st_uid, kUser) << name;
        EXPECT_EQ(status.st_mode & 07777, S_ISDIR(status.st_mode) ? 0770u : 0660u) << name;
    }
}

TEST_F(CRootTest, WhatTheStoresUserPointsAtSomethingElseIsNotGivenAway)
{
    const std::string elsewhere = temp / "Contacts/elsewhere";
    std::filesystem::create_directories(elsewhere);
    GiveAway(temp / "Contacts");
    std::filesystem::create_directory_symlink("elsewhere", temp / "Contacts/inner.new~");
    EXPECT_EQ(CreateDirectoryA((temp / "Contacts/inner").c_str(), nullptr), 0);
    std::filesystem::create_directory_symlink("elsewhere", temp / "Contacts/.redo");
    EXPECT_FALSE(CanOpen(temp / "Contacts/file", CREATE_NEW) &&
                 std::filesystem::exists(elsewhere + "/.lock"));
    temp.Write("new", "new");
    GiveAway(temp.Write("old", "old"));
    std::filesystem::create_hard_link(temp / "new", temp / "other name");
    EXPECT_EQ(ReplaceFileA((temp / "new").c_str(), (temp / "old").c_str()), 0);
    EXPECT_EQ(StatusOf(elsewhere).st_uid, 0u);
    EXPECT_EQ(StatusOf(temp / "new").st_uid, 0u);
}

TEST_F(CRootTest, AReplacedFileKeepsItsOwnerAndMode)
{
    temp.Write("new", "new");
    GiveAway(temp.Write("old", "old"), kUser - 1);
    ASSERT_EQ(chmod((temp / "old").c_str(), 04604), 0);
    ASSERT_EQ(ReplaceFileA((temp / "new").c_str(), (temp / "old").c_str()), 1);
    const struct stat status = StatusOf(temp / "old");
    EXPECT_EQ(status.st_uid, kUser);
    EXPECT_EQ(status.st_gid, kUser - 1);
    EXPECT_EQ(status.st_mode & 07777, 04604u);
}

// A disk with a page that cannot be read gives what lies in front of it, and the error next.
TEST(FileOperationsTest, AReadThatAnErrorCutsShortIsNoEnd)
{
    struct CBadPage : CPlantedCalls
    {
        ssize_t ReadAt(int file, void* buffer, std::size_t size, off_t position) override
        {
            constexpr off_t kBad = 8192;
            if (position >= kBad) {
                errno = EIO;
                return -1;
            }
            return CPlantedCalls::ReadAt(
                file, buffer, std::min(size, static_cast<std::size_t>(kBad - position)), position);
        }
    };
    const CTempFolder folder;
    folder.Write("a", std::string(10'000, 'x'));
    const std::string path = folder.Path() + "/a";
    const CBadPage calls;
    for (const std::uint32_t share : {0u, FILE_SHARE_READ | FILE_SHARE_WRITE}) {
        const std::uint32_t access = share == 0 ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ;
        const CFileHandle file(CreateFileA(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0,
                                           INVALID_HANDLE_VALUE));
        ASSERT_TRUE(file.IsOpen());
        EXPECT_EQ(GetFileSize(file.Get(), nullptr), 10'000u);
        std::string content(20'000, '\0');
        std::uint32_t count = 0;
        EXPECT_FALSE(ReadFile(file.Get(), content.data(), 20'000, &count, nullptr));
        EXPECT_EQ(GetLastError(), ERROR_IO_DEVICE);
    }
}
