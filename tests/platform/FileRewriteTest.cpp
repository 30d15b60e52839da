#include "platform/Errno.h"
#include "platform/FileTime.h"
#include "platform/Flushing.h"
#include "support/FaultySystemCalls.h"
#include "support/Files.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <tuple>
#include <utility>

#include <sys/stat.h>

namespace
{

// Rewrites the file and dies at that call; false once the rewrite makes fewer.
bool DiesWhileRewriting(const std::string& path, const std::string& content, int call)
{
    CFaultySystemCalls calls;
    calls.CutWrites(true);
    calls.DieAt(call);
    Rewrite(path, content);
    const bool wasHit = calls.WasHit();
    calls.Bury();
    return wasHit;
}

// The file beside which a writer has died with a whole redo file and half of the new content.
void MakeTorn(const CTempFolder& folder, const std::string& before, const std::string& after)
{
    ASSERT_TRUE(MakeFile(folder / "file", before));
    for (int call = 1; folder.Read("file") == before; ++call) {
        std::filesystem::remove(folder / ".redo/file");
        ASSERT_TRUE(DiesWhileRewriting(folder / "file", after, call));
    }
    ASSERT_NE(folder.Read("file"), after);
}

bool IsTidy(const CTempFolder& folder)
{
    return !std::filesystem::exists(folder / ".redo/file") &&
           !std::filesystem::exists(folder / ".redo.new~") &&
           LastWriteOf(folder.Path()) >= LastWriteOf(folder / "file");
}

// A disk without room for what is written over other files than redo files.
struct CFullDisk : CPlantedCalls
{
    ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
    {
        if (isFull && PathOf(file).parent_path().filename() != ".redo") {
            errno = ENOSPC;
            return position > 0 ? -1 : CSystemCalls::WriteAt(file, bytes, size / 2, position);
        }
        return CSystemCalls::WriteAt(file, bytes, size, position);
    }
    int Allocate(int /*file*/, off_t /*position*/, off_t /*length*/) override
    {
        errno = mayReserve ? EOPNOTSUPP : ENOSPC;
        return -1;
    }
    bool isFull = true;
    bool mayReserve = true;
};

} // namespace

TEST(FileRewriteTest, ProcessesThatDieAtAnyCallAndWhileTheyRepairLeaveAWholeFile)
{
    for (const auto& [isFlushing, oldSize, newSize] :
         {std::tuple{false, 6000u, 5000u}, {true, 100u, 3000u}}) {
        SetFlushing(isFlushing);
        const std::string before(oldSize, 'o');
        const std::string after(newSize, 'n');
        std::set<std::string> seen;
        int repairs = 0;
        bool isDying = true;
        for (int call = 1; isDying; ++call) {
            bool isRepairing = true;
            for (int repairCall = 1; isRepairing; ++repairCall) {
                SCOPED_TRACE(testing::Message()
                             << "killed at " << call << ", repair at " << repairCall);
                const CTempFolder folder;
                const std::string path = folder / "file";
                MakeFile(path, before);
                isDying = DiesWhileRewriting(path, after, call);
                repairs += std::filesystem::exists(folder / ".redo/file") ? 1 : 0;
                CFaultySystemCalls calls;
                calls.CutWrites(true);
                calls.DieAt(repairCall);
                CanOpen(path);
                isRepairing = calls.WasHit();
                calls.Bury();
                EXPECT_TRUE(CanOpen(path));
                const std::string content = folder.Read("file");
                ASSERT_TRUE(content == before || content == after);
                ASSERT_TRUE(IsTidy(folder));
                seen.insert(content);
            }
        }
        EXPECT_EQ(seen.size(), 2u);
        EXPECT_GT(repairs, 10);
    }
    SetFlushing(false);
}

TEST(FileRewriteTest, AChangeOfADeadProcessIsStampedBehindEveryVersionTakenSince)
{
    const CTempFolder folder;
    MakeTorn(folder, std::string(900, 'o'), std::string(1000, 'n'));
    FILETIME version;
    EXPECT_TRUE(MakeFile(folder / "other", "text"));
    GetSystemTimeAsFileTime(&version);
    EXPECT_TRUE(CanOpen(folder / "file"));
    EXPECT_EQ(folder.Read("file"), std::string(1000, 'n'));
    EXPECT_GT(LastWriteOf(folder / "file"), version);
    EXPECT_TRUE(IsTidy(folder));
}

TEST(FileRewriteTest, AFullDiskLosesNothingAndTheNextSaveOrOpenCompletesIt)
{
    const std::string before(6000, 'o');
    for (const bool isSameObject : {true, false}) {
        const CTempFolder folder;
        MakeFile(folder / "file", before);
        CFullDisk disk;
        CFileHandle file(OpenExclusive(folder / "file"));
        disk.isFull = disk.mayReserve = false;
        EXPECT_EQ(RewriteFile(file.Get(), std::string(9000, 'n')), 0);
        EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        EXPECT_EQ(folder.Read("file"), before) << "no room was reserved, so it is not touched";
        EXPECT_TRUE(IsTidy(folder));
        disk.isFull = disk.mayReserve = true;
        folder.Write(".redo/file", std::string(20'000, 'x')); // one that could not be removed
        for (const char text : {'a', 'b'}) {
            EXPECT_EQ(RewriteFile(file.Get(), std::string(9000, text)), 0);
            EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        }
        if (isSameObject) {
            disk.isFull = false;
            EXPECT_EQ(RewriteFile(file.Get(), std::string(5000, 'c')), 1);
            EXPECT_EQ(folder.Read("file"), std::string(5000, 'c'));
        } else {
            file.Reset();
            SetLastError(ERROR_SUCCESS);
            EXPECT_FALSE(CanOpen(folder / "file"));
            EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
            disk.isFull = false;
            EXPECT_TRUE(CanOpen(folder / "file"));
            EXPECT_EQ(folder.Read("file"), std::string(9000, 'a'))
                << "the first is completed first";
        }
        EXPECT_TRUE(IsTidy(folder));
    }
}

// The disk as a power cut leaves it: names in the order in which they came, bytes only where they
// were flushed. Holds the rules of flushing against every call.
struct CPowerCut : CPlantedCalls
{
    explicit CPowerCut(const CTempFolder& watched) : folder(watched.Path()) {}
    ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
    {
        const std::filesystem::path path = PathOf(file);
        unflushed.insert({path, path.parent_path()});
        const bool isRedo = path.parent_path().filename() == ".redo";
        hasRedo = hasRedo || isRedo;
        if (!isRedo) {
            EXPECT_EQ(unflushed, (std::set<std::string>{path, folder})) << "redo file not flushed";
            unflushed.erase(folder);
        }
        return CSystemCalls::WriteAt(file, bytes, size, position);
    }
    int Truncate(int file, off_t length) override
    {
        unflushed.insert(PathOf(file));
        return CSystemCalls::Truncate(file, length);
    }
    int Sync(int file) override
    {
        unflushed.erase(PathOf(file));
        hasFlushedFolder = hasFlushedFolder || PathOf(file) == folder;
        return CSystemCalls::Sync(file);
    }
    int Unlink(const char* path) override
    {
        EXPECT_FALSE(unflushed.contains(folder + "/file")) << "redo file removed too early";
        return CSystemCalls::Unlink(path);
    }
    const std::string folder;
    std::set<std::string> unflushed;
    bool hasRedo = false;
    bool hasFlushedFolder = false;
};

TEST(FileRewriteTest, AFlushedSaveAndEveryRepairAreOnTheDiskBeforeTheRedoFileGoes)
{
    {
        const CTempFolder folder;
        MakeFile(folder / "file", "text");
        CPowerCut disk(folder);
        SetFlushing(true);
        EXPECT_TRUE(Rewrite(folder / "file", std::string(3000, 'n')));
        EXPECT_TRUE(CanOpen(folder / "file", TRUNCATE_EXISTING));
        SetFlushing(false);
        EXPECT_TRUE(disk.hasRedo && disk.hasFlushedFolder);
    }
    const CTempFolder folder;
    MakeTorn(folder, "text", std::string(3000, 'n'));
    const CPowerCut disk(folder);
    EXPECT_TRUE(CanOpen(folder / "file"));
    EXPECT_TRUE(IsTidy(folder));
}

TEST(FileRewriteTest, AFailedCallLeavesADefinedFileAndARetryWorks)
{
    // The others move the folder's time or lock its stamps, and a save is whole without.
    const std::set<std::string> kVitalCalls = {"write", "truncate", "unlink", "allocate"};
    const std::string before(500, 'o');
    for (const auto& [error, size] : {std::pair{EIO, 400u},
                                      {EIO, 4000u},
                                      {ENOSPC, 9000u},
                                      {EDQUOT, 9000u},
                                      {EMFILE, 400u},
                                      {EINTR, 9000u}}) {
        const std::string after(size, 'n');
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            const CTempFolder folder;
            MakeFile(folder / "file", before);
            CFaultySystemCalls calls;
            const CFileHandle file(OpenExclusive(folder / "file"));
            FILETIME creation, creationAfter;
            ASSERT_EQ(GetFileTime(file.Get(), &creation, nullptr, nullptr), 1);
            calls.FailAt(call, error);
            const bool isGood = RewriteFile(file.Get(), after) == 1;
            wasHit = calls.WasHit();
            SCOPED_TRACE(testing::Message() << "errno " << error << " at " << calls.LastHit());
            EXPECT_EQ(calls.OpenFiles(), 1u);
            const bool isVital = kVitalCalls.contains(calls.LastHit()) && error != EINTR;
            EXPECT_TRUE(isGood ? !wasHit || !isVital : GetLastError() == ErrorFromErrno(error));
            EXPECT_TRUE(isGood || error != EINTR) << "it is made again";
            const bool isUnfinished = std::filesystem::exists(folder / ".redo/file");
            EXPECT_TRUE(isUnfinished || folder.Read("file") == (isGood ? after : before));
            calls.FailAt(0, 0);
            ASSERT_EQ(RewriteFile(file.Get(), after), 1);
            EXPECT_EQ(folder.Read("file"), after);
            EXPECT_EQ(GetFileTime(file.Get(), &creationAfter, nullptr, nullptr), 1);
            EXPECT_EQ(creationAfter, creation);
            EXPECT_TRUE(IsTidy(folder));
        }
    }
}

// A user of the same group, who may write a file and its folder but not set their times.
struct CGroupMember : CPlantedCalls
{
    int Stat(int folder, const char* path, int flags, struct statx* status) override
    {
        const int result = CSystemCalls::Stat(folder, path, flags, status);
        status->stx_uid += 1;
        return result;
    }
    int SetTimes(int /*file*/, const struct timespec* /*times*/) override { return Refuse(); }
    int SetTimes(const char* /*path*/, const struct timespec* /*times*/) override
    {
        return Refuse();
    }
    static int Refuse()
    {
        errno = EPERM;
        return -1;
    }
};

TEST(FileRewriteTest, AChangeThatCannotBeHeldIsRefusedBeforeItIsMade)
{
    const std::string after(3000, 'n');
    const CTempFolder folder;
    MakeTorn(folder, "text", after);
    EXPECT_TRUE(MakeFile(folder / "held", "text"));
    const CFileHandle file(OpenExclusive(folder / "held"));
    {
        const CGroupMember member;
        for (const char* text : {"new text", ""}) {
            EXPECT_EQ(RewriteFile(file.Get(), text), 0);
            EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
        }
        EXPECT_FALSE(CanOpen(folder / "new", CREATE_NEW));
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
        EXPECT_FALSE(CanOpen(folder / "file")) << "a repair is a change too";
    }
    EXPECT_EQ(folder.Read("held"), "text");
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));
    EXPECT_NE(folder.Read("file"), after);

    // Somebody who restores files under their names.
    std::filesystem::rename(folder.Write("restored", "restored"), folder / "held");
    EXPECT_EQ(RewriteFile(file.Get(), "new text"), 0);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(folder.Read("held"), "restored");
    EXPECT_FALSE(std::filesystem::exists(folder / ".redo/held"));
}

TEST(FileRewriteTest, WhatIsLeftBesideAFileIsUsedOnlyWhereItIsWhole)
{
    // As it lies on the disks of users.
    const std::string text = "new text of 16 b";
    const std::string redo = text + "\ncontactmgr-redo" + std::string("\x10\0\0\0\0\0\0\0", 8) +
                             std::string("\x5C\xE6\xEB\xCE\x78\xC5\x4E\x88", 8);
    std::string flipped = redo;
    flipped[3] ^= 1;
    const std::string old = "a text that is longer";
    const struct
    {
        const char* what;
        std::string file, left, expected;
    } kCases[] = {
        {"whole", old, redo, text},
        {"cut by one byte", old, redo.substr(0, redo.size() - 1), old},
        {"one bit flipped", old, flipped, old},
        {"empty", old, "", old},
        {"beside a file that was emptied", "", redo, ""},
        {"foreign", old, std::string(5000, 'x'), old},
        {"of another form", old, std::string(redo).replace(17, 1, "k"), old},
        {"of another length", old, std::string(redo).replace(32, 1, "k"), old},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTempFolder folder;
        folder.Write("file", c.file);
        folder.Write(".redo/file", c.left);
        EXPECT_TRUE(CanOpen(folder / "file"));
        EXPECT_EQ(folder.Read("file"), c.expected);
        EXPECT_FALSE(std::filesystem::exists(folder / ".redo/file"));
        std::filesystem::remove_all(folder / ".redo");
        ASSERT_EQ(mkdir((folder / ".redo.new~").c_str(), 0), 0); // another user's
        EXPECT_TRUE(Rewrite(folder / "file", "text"));
        EXPECT_NE(std::filesystem::status(folder / ".redo").permissions(),
                  std::filesystem::perms::none);
    }
    const CTempFolder full; // as where the redo folder cannot be made
    full.Write(".redo.new~", "");
    full.Write("whole", "text");
    full.Write("cut.redo~", full.Write("cut", "te"));
    EXPECT_TRUE(CanOpen(full / "whole"));
    EXPECT_FALSE(CanOpen(full / "cut"));
}

TEST(FileRewriteTest, NoMoreThanAContactMayHoldIsWrittenOrReadFromARedoFile)
{
    struct CCountingReads : CPlantedCalls
    {
        ssize_t ReadAt(int file, void* bytes, std::size_t size, off_t position) override
        {
            read += size;
            return CSystemCalls::ReadAt(file, bytes, size, position);
        }
        std::size_t read = 0;
    };
    struct CKeepingRedo : CPlantedCalls
    {
        int Unlink(const char* /*path*/) override
        {
            errno = EIO;
            return -1;
        }
    };
    constexpr std::size_t kLargest = std::size_t{64} << 20;
    const CTempFolder folder;
    EXPECT_TRUE(MakeFile(folder / "file", "text"));
    std::filesystem::resize_file(folder.Write(".redo/file", "x"), kLargest);
    {
        const CCountingReads calls;
        EXPECT_TRUE(CanOpen(folder / "file"));
        EXPECT_LT(calls.read, 100'000u);
    }
    EXPECT_FALSE(Rewrite(folder / "file", std::string(kLargest + 1, 'n')));
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
    {
        const CKeepingRedo calls;
        EXPECT_FALSE(Rewrite(folder / "file", std::string(kLargest, 'n')));
    }
    folder.Write("file", "torn");
    EXPECT_TRUE(CanOpen(folder / "file"));
    EXPECT_EQ(std::filesystem::file_size(folder / "file"), kLargest);
}
