#include "platform/FileApi.h"
#include "platform/FileHandle.h"
#include "support/FaultySystemCalls.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace
{

HANDLE OpenExclusive(const std::string& path, std::uint32_t disposition)
{
    return CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, INVALID_HANDLE_VALUE);
}

std::string ContentOf(std::size_t size, char fill)
{
    return std::string(size, fill);
}

constexpr std::size_t kSizes[][2] = {{1, 1},      {300, 200},   {200, 300},    {4096, 4097},
                                     {4097, 100}, {100, 20000}, {20000, 19999}};

struct Identity
{
    ino_t inode = 0;
    FILETIME created;

    bool operator==(const Identity&) const = default;
};

Identity IdentityOf(const std::string& path)
{
    Identity identity;
    struct stat status = {};
    stat(path.c_str(), &status);
    identity.inode = status.st_ino;
    const CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
    GetFileTime(file.Get(), &identity.created, nullptr, nullptr);
    return identity;
}

// Makes the file with the old content, as its creator would.
void MakeFile(const std::string& path, const std::string& content)
{
    const CFileHandle file(OpenExclusive(path, CREATE_NEW));
    ASSERT_TRUE(file.IsOpen());
    ASSERT_EQ(RewriteFile(file.Get(), content), 1);
}

// What a writer leaves who dies between the redo file and the file itself.
std::string RedoOfDeadWriter(const std::string& before, const std::string& after)
{
    for (int call = 1;; ++call) {
        const CTempFolder folder;
        MakeFile(folder / "file", before);
        CFaultySystemCalls calls;
        calls.DieAt(call);
        CFileHandle file(OpenExclusive(folder / "file", OPEN_EXISTING));
        RewriteFile(file.Get(), after);
        file.Reset();
        if (folder.Read("file.redo~").size() > after.size()) {
            EXPECT_EQ(folder.Read("file"), before);
            return folder.Read("file.redo~");
        }
    }
}

} // namespace

TEST(FileRewriteTest, AProcessThatDiesAtAnyCallLeavesTheOldOrTheNewContent)
{
    for (const bool isFlushing : {false, true}) {
        SetFlushing(isFlushing);
        for (const auto& [oldSize, newSize] : kSizes) {
            for (const bool isCutting : {false, true}) {
                SCOPED_TRACE(testing::Message() << oldSize << " to " << newSize << " bytes");
                const std::string before = ContentOf(oldSize, 'o');
                const std::string after = ContentOf(newSize, 'n');
                std::set<std::string> seen;
                for (int call = 1, alive = 0; alive == 0; ++call) {
                    const CTempFolder folder;
                    const std::string path = folder / "file";
                    MakeFile(path, before);
                    const Identity identity = IdentityOf(path);
                    CFaultySystemCalls calls;
                    calls.CutWrites(isCutting);
                    calls.DieAt(call);
                    {
                        CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
                        if (file.IsOpen() && RewriteFile(file.Get(), after) == 1) {
                            file.Reset();
                            alive = calls.WasHit() ? 0 : 1;
                        }
                    }
                    calls.Bury();
                    ASSERT_TRUE(IdentityOf(path) == identity) << "killed at call " << call;
                    const std::string content = folder.Read("file");
                    ASSERT_TRUE(content == before || content == after)
                        << "torn when killed at call " << call;
                    ASSERT_FALSE(std::filesystem::exists(path + ".redo~"));
                    seen.insert(content);
                }
                EXPECT_EQ(seen.size(), 2u);
            }
        }
    }
    SetFlushing(false);
}

TEST(FileRewriteTest, AProcessThatDiesWhileItRepairsLeavesAWholeFile)
{
    const std::string before = ContentOf(6000, 'o');
    const std::string after = ContentOf(5000, 'n');
    int repairs = 0;
    for (int call = 1, alive = 0; alive == 0; ++call) {
        for (int repairCall = 1, repaired = 0; repaired == 0; ++repairCall) {
            const CTempFolder folder;
            const std::string path = folder / "file";
            MakeFile(path, before);
            CFaultySystemCalls calls;
            calls.CutWrites(true);
            calls.DieAt(call);
            {
                CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
                if (file.IsOpen() && RewriteFile(file.Get(), after) == 1) {
                    alive = calls.WasHit() ? 0 : 1;
                }
            }
            calls.Bury();
            const bool hasRedo = std::filesystem::exists(path + ".redo~");
            calls.DieAt(repairCall);
            CFileHandle(OpenExclusive(path, OPEN_EXISTING)).Reset();
            repaired = calls.WasHit() ? 0 : 1;
            repairs += hasRedo ? 1 : 0;
            calls.Bury();
            CFileHandle(OpenExclusive(path, OPEN_EXISTING)).Reset();
            const std::string content = folder.Read("file");
            ASSERT_TRUE(content == before || content == after)
                << "torn when killed at " << call << ", repair at " << repairCall;
        }
    }
    EXPECT_GT(repairs, 10);
}

TEST(FileRewriteTest, AFailedCallLeavesADefinedFileAndARetryWorks)
{
    const std::string before = ContentOf(500, 'o');
    const std::string after = ContentOf(400, 'n');
    for (const int error : {EIO, ENOSPC, EDQUOT, EMFILE, EINTR}) {
        for (int call = 1, isDone = 0; isDone == 0; ++call) {
            const CTempFolder folder;
            const std::string path = folder / "file";
            MakeFile(path, before);
            CFaultySystemCalls calls;
            CFileHandle file(OpenExclusive(path, OPEN_EXISTING));
            SetLastError(ERROR_SUCCESS);
            calls.FailAt(call, error);
            const int result = RewriteFile(file.Get(), after);
            isDone = calls.WasHit() ? 0 : 1;
            SCOPED_TRACE(testing::Message() << "errno " << error << " at " << calls.LastHit());
            EXPECT_EQ(calls.OpenFiles(), 1u);
            const std::string content = folder.Read("file");
            if (result == 1) {
                EXPECT_EQ(content, after);
                EXPECT_TRUE(isDone != 0 || error == EINTR);
            } else {
                EXPECT_EQ(GetLastError(), ErrorFromErrno(error));
                EXPECT_TRUE(content == before || content == after || content.empty());
            }
            calls.FailAt(0, 0);
            ASSERT_EQ(RewriteFile(file.Get(), after), 1);
            EXPECT_EQ(folder.Read("file"), after);
            EXPECT_FALSE(std::filesystem::exists(path + ".redo~"));
        }
    }
}

TEST(FileRewriteTest, WhatIsLeftBesideAFileIsUsedOnlyWhereItIsWhole)
{
    const std::string redo = RedoOfDeadWriter("old text", "new text!");
    const CTempFolder folder;
    const std::string path = folder / "file";
    std::string flipped = redo;
    flipped[3] ^= 1;
    const struct
    {
        const char* what;
        std::string file, left, expected;
    } kCases[] = {
        {"whole", "old text", redo, "new text!"},
        {"cut by one byte", "old text", redo.substr(0, redo.size() - 1), "old text"},
        {"one bit flipped", "old text", flipped, "old text"},
        {"empty", "old text", "", "old text"},
        {"beside a file that was emptied", "", redo, ""},
        {"foreign", "old text", std::string(5000, 'x'), "old text"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        folder.Write("file", c.file);
        folder.Write("file.redo~", c.left);
        EXPECT_TRUE(CFileHandle(OpenExclusive(path, OPEN_EXISTING)).IsOpen());
        EXPECT_EQ(folder.Read("file"), c.expected);
        EXPECT_FALSE(std::filesystem::exists(path + ".redo~"));
    }
}
