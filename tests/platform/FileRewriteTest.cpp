#include "platform/FileApi.h"
#include "platform/FileHandle.h"
#include "platform/FileTime.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <tuple>
#include <utility>

#include <sys/xattr.h>

namespace
{

HANDLE OpenExclusive(const std::string& path, std::uint32_t disposition)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE);
}

// Makes the file with the old content, as its creator would.
void MakeFile(const std::string& path, const std::string& content)
{
    const CFileHandle file(OpenExclusive(path, CREATE_NEW));
    ASSERT_TRUE(file.IsOpen());
    ASSERT_EQ(RewriteFile(file.Get(), content), 1);
}

// Rewrites a file that an object of this process opens, and dies at that call. Gives what the
// writer leaves beside it; false in *wasHit once it makes fewer calls.
std::string LeftByDeadWriter(const std::string& path, const std::string& content, int call,
                             bool* wasHit, bool isCutting = false)
{
    CFaultySystemCalls calls;
    calls.CutWrites(isCutting);
    calls.DieAt(call);
    {
        const CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
        if (file.IsOpen()) {
            RewriteFile(file.Get(), content);
        }
    }
    *wasHit = calls.WasHit();
    calls.Bury();
    std::ifstream redo(path + ".redo~", std::ios::binary);
    return {std::istreambuf_iterator<char>(redo), std::istreambuf_iterator<char>()};
}

FILETIME LastWriteOf(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    EXPECT_EQ(GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data), 1);
    return data.ftLastWriteTime;
}

std::string NoteOf(const std::string& path)
{
    char text[64];
    const ssize_t size = ::lgetxattr(path.c_str(), "user.contact.btime", text, sizeof(text));
    return {text, size < 0 ? 0 : static_cast<std::size_t>(size)};
}

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
                repairs += LeftByDeadWriter(path, after, call, &isDying, true).empty() ? 0 : 1;
                CFaultySystemCalls calls;
                calls.CutWrites(true);
                calls.DieAt(repairCall);
                CFileHandle(OpenExclusive(path, OPEN_EXISTING)).Reset();
                isRepairing = calls.WasHit();
                calls.Bury();
                EXPECT_TRUE(CFileHandle(OpenExclusive(path, OPEN_EXISTING)).IsOpen());
                const std::string content = folder.Read("file");
                ASSERT_TRUE(content == before || content == after);
                ASSERT_FALSE(std::filesystem::exists(path + ".redo~"));
                seen.insert(content);
            }
        }
        EXPECT_EQ(seen.size(), 2u);
        EXPECT_GT(repairs, 10);
    }
    SetFlushing(false);
}

TEST(FileRewriteTest, AWriterWhoDiesWithoutARedoFileHidesNoChange)
{
    for (const bool isNew : {true, false}) {
        int whole = 0;
        bool isDying = true;
        for (int call = 1; isDying; ++call) {
            SCOPED_TRACE(testing::Message() << (isNew ? "created" : "changed") << ", at " << call);
            const CTempFolder folder;
            const std::string path = folder / "file";
            const std::string before(isNew ? 0 : 900, 'o');
            const std::string after(1000, 'n');
            if (isNew) {
                ASSERT_TRUE(CFileHandle(OpenExclusive(path, CREATE_NEW)).IsOpen());
            } else {
                MakeFile(path, before);
            }
            const FILETIME folderTime = LastWriteOf(folder.Path());
            EXPECT_EQ(LeftByDeadWriter(path, after, call, &isDying), "");
            const bool isHanging = !folder.Read("file").empty() && NoteOf(path).ends_with('~');
            if (folder.Read("file") == after) {
                EXPECT_GT(LastWriteOf(folder.Path()), folderTime);
                EXPECT_TRUE(isHanging || LastWriteOf(folder.Path()) >= LastWriteOf(path));
            }
            // Somebody else saves, and a follower takes that version.
            FILETIME version, lastWrite;
            MakeFile(folder / "other", "text");
            GetSystemTimeAsFileTime(&version);

            const CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
            ASSERT_EQ(GetFileTime(file.Get(), nullptr, nullptr, &lastWrite), 1);
            const std::string content = folder.Read("file");
            EXPECT_TRUE(content == before || content == after);
            EXPECT_TRUE(content.empty() || !NoteOf(path).ends_with('~'));
            EXPECT_EQ(lastWrite > version, isHanging);
            EXPECT_TRUE(!isHanging || LastWriteOf(folder.Path()) >= lastWrite);
            whole += isHanging ? 1 : 0;
        }
        EXPECT_GE(whole, 4); // the calls that stamp it and close its note
    }
}

TEST(FileRewriteTest, WhatOneWriteMayNotHoldIsRewrittenByARedoFile)
{
    struct : CFaultySystemCalls
    {
        int Begin(const char* call) override
        {
            writes += std::string_view(call) == "write" ? 1 : 0;
            const int error = CFaultySystemCalls::Begin(call);
            return std::string_view(call) == "setxattr" && !bearsNotes ? EOPNOTSUPP : error;
        }
        std::uint64_t LargestFileSize() override { return largest; }
        ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
        {
            const bool isCut = std::exchange(isCutting, false);
            return CFaultySystemCalls::WriteAt(file, bytes, isCut ? size / 2 : size, position);
        }
        int writes = 0;
        bool isCutting = false;
        bool bearsNotes = false;
        std::uint64_t largest = 1000;
    } calls;
    const CTempFolder folder;
    MakeFile(folder / "file", "text");
    EXPECT_EQ(calls.writes, 2);
    const CFileHandle file(OpenExclusive(folder / "file", OPEN_EXISTING));
    EXPECT_EQ(RewriteFile(file.Get(), "new text"), 1);
    EXPECT_EQ(calls.writes, 4);
    calls.bearsNotes = true;
    MakeFile(folder / "noted", "text");
    EXPECT_EQ(calls.writes, 5);
    calls.isCutting = true; // goes on by a redo file
    MakeFile(folder / "cut", "text");
    EXPECT_EQ(calls.writes, 8);
    EXPECT_EQ(folder.Read("cut"), "text");
    calls.largest = 3; // which would end a longer write in the middle
    MakeFile(folder / "limited", "text");
    EXPECT_EQ(calls.writes, 10);
}

TEST(FileRewriteTest, ARefusedWriteHidesNoEarlierOneAndSpoilsNoLaterOne)
{
    // The kernel moves a file's time before it refuses the bytes, by a clock that lags behind.
    struct : CSystemCalls
    {
        ssize_t WriteAt(int file, const void* bytes, std::size_t size, off_t position) override
        {
            if (isFull) {
                return CSystemCalls::WriteAt(file, bytes, size, position);
            }
            const struct timespec times[2] = {{.tv_sec = 1, .tv_nsec = 0},
                                              {.tv_sec = 1, .tv_nsec = 0}};
            SetTimes(file, times);
            errno = EIO;
            return -1;
        }
        int Allocate(int /*file*/, off_t /*position*/, off_t /*length*/) override
        {
            errno = ENOSPC;
            return -1;
        }
        bool isFull = false;
    } refusing;
    const CTempFolder folder;
    MakeFile(folder / "file", "text");
    const FILETIME lastWrite = LastWriteOf(folder / "file");
    CFileHandle file(OpenExclusive(folder / "file", OPEN_EXISTING));
    CSystemCalls::Replace(&refusing);
    EXPECT_EQ(RewriteFile(file.Get(), "new text"), 0);
    EXPECT_GT(LastWriteOf(folder / "file"), lastWrite);
    EXPECT_FALSE(NoteOf(folder / "file").ends_with('~'));
    refusing.isFull = true;
    EXPECT_EQ(RewriteFile(file.Get(), std::string(9000, 'n')), 0);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    CSystemCalls::Replace(nullptr);
    EXPECT_EQ(folder.Read("file"), "text");
}

TEST(FileRewriteTest, AFailedCallLeavesADefinedFileAndARetryWorks)
{
    // The others choose the way, or move the folder's time at last, and a save is whole without.
    const std::set<std::string> kVitalCalls = {"write", "truncate", "unlink", "allocate"};
    const std::string before(500, 'o');
    for (const auto& [error, size] : {std::pair{EIO, 400u},
                                      {EIO, 4000u},
                                      {ENOSPC, 9000u},
                                      {ENOSPC, 4000u},
                                      {EDQUOT, 9000u},
                                      {EMFILE, 400u},
                                      {EINTR, 9000u},
                                      {EINTR, 4000u}}) {
        const std::string after(size, 'n');
        bool wasHit = true;
        for (int call = 1; wasHit; ++call) {
            const CTempFolder folder;
            MakeFile(folder / "file", before);
            CFaultySystemCalls calls;
            const CFileHandle file(OpenExclusive(folder / "file", OPEN_EXISTING));
            FILETIME creation, creationAfter;
            ASSERT_EQ(GetFileTime(file.Get(), &creation, nullptr, nullptr), 1);
            calls.FailAt(call, error);
            const bool isGood = RewriteFile(file.Get(), after) == 1;
            wasHit = calls.WasHit();
            SCOPED_TRACE(testing::Message() << "errno " << error << " at " << calls.LastHit());
            EXPECT_EQ(calls.OpenFiles(), 1u);
            const std::string content = folder.Read("file");
            const bool isVital = kVitalCalls.contains(calls.LastHit()) && error != EINTR;
            EXPECT_TRUE(isGood ? !wasHit || !isVital : GetLastError() == ErrorFromErrno(error));
            EXPECT_TRUE(content == after || (!isGood && (content == before || content.empty())));
            EXPECT_TRUE(content != before || !NoteOf(folder / "file").ends_with('~'));
            EXPECT_TRUE(isGood || content == before || calls.LastHit() != "allocate")
                << "full disk";
            calls.FailAt(0, 0);
            ASSERT_EQ(RewriteFile(file.Get(), after), 1);
            EXPECT_EQ(folder.Read("file"), after);
            EXPECT_EQ(GetFileTime(file.Get(), &creationAfter, nullptr, nullptr), 1);
            EXPECT_EQ(creationAfter, creation);
            EXPECT_FALSE(std::filesystem::exists(folder / "file.redo~"));
        }
    }
}

TEST(FileRewriteTest, AChangeThatCannotBeHeldIsRefusedBeforeItIsMade)
{
    // A user of the same group, who may write a file and its folder but not set their times.
    struct : CSystemCalls
    {
        int Stat(int folder, const char* path, int flags, struct statx* status) override
        {
            const int result = CSystemCalls::Stat(folder, path, flags, status);
            status->stx_uid += 1;
            return result;
        }
        int SetTimes(int /*file*/, const struct timespec* /*times*/) override
        {
            errno = EPERM;
            return -1;
        }
    } groupMember;
    const CTempFolder folder;
    MakeFile(folder / "file", "text");
    CFileHandle file(OpenExclusive(folder / "file", OPEN_EXISTING));
    CSystemCalls::Replace(&groupMember);
    EXPECT_EQ(RewriteFile(file.Get(), "new text"), 0);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(SetEndOfFile(file.Get()), 0);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(OpenExclusive(folder / "new", CREATE_NEW), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    CSystemCalls::Replace(nullptr);
    EXPECT_EQ(folder.Read("file"), "text");
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));

    // Somebody who restores files under their names.
    std::filesystem::rename(folder.Write("restored", "restored"), folder / "file");
    EXPECT_EQ(RewriteFile(file.Get(), "new text"), 0);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(folder.Read("file"), "restored");
    EXPECT_FALSE(std::filesystem::exists(folder / "file.redo~"));
}

TEST(FileRewriteTest, WhatIsLeftBesideAFileIsUsedOnlyWhereItIsWhole)
{
    const CTempFolder folder;
    const std::string path = folder / "file";
    std::string redo;
    bool isDying = true;
    for (int call = 1; redo.size() <= 16 + 16; ++call) {
        const CTempFolder dying;
        MakeFile(dying / "file", "a text that is longer");
        redo = LeftByDeadWriter(dying / "file", "new text of 16 b", call, &isDying);
        ASSERT_TRUE(isDying);
    }
    std::string flipped = redo;
    flipped[3] ^= 1;
    const struct
    {
        const char* what;
        std::string file, left, expected;
    } kCases[] = {
        {"whole", "a text that is longer", redo, "new text of 16 b"},
        {"cut by one byte", "a text that is longer", redo.substr(0, redo.size() - 1),
         "a text that is longer"},
        {"one bit flipped", "a text that is longer", flipped, "a text that is longer"},
        {"empty", "a text that is longer", "", "a text that is longer"},
        {"beside a file that was emptied", "", redo, ""},
        {"foreign", "a text that is longer", std::string(5000, 'x'), "a text that is longer"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        folder.Write("file", c.file);
        folder.Write("file.redo~", c.left);
        EXPECT_TRUE(CFileHandle(OpenExclusive(path, OPEN_EXISTING)).IsOpen());
        EXPECT_EQ(folder.Read("file"), c.expected);
        EXPECT_FALSE(std::filesystem::exists(path + ".redo~"));
    }
    folder.Write("new.redo~", redo); // of somebody who had the name before
    MakeFile(folder / "new", "text");
    EXPECT_FALSE(std::filesystem::exists(folder / "new.redo~"));
}
