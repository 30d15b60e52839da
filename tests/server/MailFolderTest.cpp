#include "server/MailFolder.h"

#include "platform/FolderLock.h"
#include "platform/LastError.h"
#include "server/MailMessage.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

using Ids = std::vector<std::string>;
using std::chrono::hours;

bool CanOpen(CMailFolder& folder, const std::string& id)
{
    CMailMessage message;
    return message.Open(folder, id.c_str(), 0);
}

TEST(MailFolderTest, FolderIsWhereCurIs)
{
    const CTestMailStore store;
    store.AddMailbox("example.org/alice/.Contacts");
    std::filesystem::create_directories(store / ".Broken/new");
    store.folder.Write("example.org/alice/.File/cur", "");
    static const struct
    {
        const char *what, *name;
        std::uint32_t error;
    } kCases[] = {
        {"the mailbox itself", "INBOX", 0},
        {"subfolder", "Contacts", 0},
        {"names have case", "contacts", ERROR_PATH_NOT_FOUND},
        {"missing", "Sent Items", ERROR_PATH_NOT_FOUND},
        {"without cur", "Broken", ERROR_PATH_NOT_FOUND},
        {"cur is a file", "File", ERROR_PATH_NOT_FOUND},
        {"empty", "", ERROR_INVALID_PARAMETER},
        {"way out", "./../bob", ERROR_INVALID_PARAMETER},
        {"dots", "..", ERROR_INVALID_PARAMETER},
        {"control character", "Con\ntacts", ERROR_INVALID_PARAMETER},
    };
    CMailOwner owner;
    ASSERT_TRUE(owner.Open(store.server, "alice", "example.org", 0));
    CMailFolder folder;
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(0);
        EXPECT_EQ(folder.Open(owner, c.name), c.error == 0);
        EXPECT_EQ(GetLastError(), c.error);
        EXPECT_EQ(folder.IsValid(), c.error == 0);
    }
    EXPECT_EQ(WalkFolder(folder), Ids{"!6"});
    CMailOwner closed;
    EXPECT_FALSE(folder.Open(closed, "INBOX"));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(MailFolderTest, IdIsTheUniquePartOfTheFileName)
{
    const std::string longest(67, 'u');
    const struct
    {
        const char* what;
        std::string file, id;
    } kCases[] = {
        {"bare", "cur/1500000000.M1P2.host", "1500000000.M1P2.host"},
        {"flags", "cur/1.a:2,RS", "1.a"},
        {"size and flags", "cur/1.b,S=12,W=13:2,S", "1.b"},
        {"in new", "new/1.c", "1.c"},
        {"longest", "cur/" + longest + ":2,", longest},
        {"too long", "cur/u" + longest + ":2,S",
         "~e98059c6a26abf8a9f5b8496e19f6d72e56c1e1df0c3a4dd7e06c8cb231768cf"},
        {"blank", "cur/1 2:2,",
         "~f71998fe363b9c29116c80b5eecf33a2fedca3b6159724384485804b71651029"},
        {"nothing unique", "cur/:2,S",
         "~bc9e46872a11198c82267725f7d2180189ef3d0c7d7f901a39a6a6d75da7a8f2"},
        {"folder", "cur/1.folder/x", ""},
        {"hidden", "cur/.1", ""},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTestMailStore store;
        store.Deliver(c.file);
        CMailFolder folder = store.OpenFolder();
        const Ids ids = WalkFolder(folder);
        ASSERT_EQ(ids.size(), c.id.empty() ? 0u : 1u);
        if (ids.empty()) {
            continue;
        }
        EXPECT_EQ(ids[0], c.id);
        CMailFolder other = store.OpenFolder();
        SetLastError(0);
        EXPECT_TRUE(CanOpen(other, ids[0]));
        EXPECT_EQ(GetLastError(), 0u);
    }
}

TEST(MailFolderTest, WalkGivesEachMessageOnceSortedById)
{
    const CTestMailStore store;
    for (const char* name : {"cur/3:2,S", "cur/1:2,", "new/2", "new/3", "cur/2.x", "cur/2-x"}) {
        store.Deliver(name);
    }
    CMailFolder folder = store.OpenFolder();
    EXPECT_EQ(WalkFolder(folder), (Ids{"1", "2", "2-x", "2.x", "3"}));
    std::filesystem::remove_all(store / "new");
    EXPECT_EQ(WalkFolder(folder), (Ids{"1", "2-x", "2.x", "3"}));

    _tMailFolderMessageInfo info{sizeof(info), {}};
    EXPECT_FALSE(folder.FindNextMessage(&info));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    info.dwSize = 71;
    EXPECT_FALSE(folder.FindNextMessage(&info));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(MailFolderTest, VersionIsTheLaterTimeOfCurAndNew)
{
    const CTestMailStore store;
    store.Deliver("cur/1");
    CMailFolder folder = store.OpenFolder();
    for (const auto& [older, later] : {std::pair{"cur", "new"}, std::pair{"new", "cur"}}) {
        SCOPED_TRACE(later);
        SetAge(store / older, hours(2));
        SetAge(store / later, hours(1));
        const FILETIME expected = LastWriteTime(store / later);
        const std::uint64_t count = FileTimeToCount(expected);

        FILETIME version = FileTimeFromCount(count - 1);
        EXPECT_TRUE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(version, expected);
        EXPECT_FALSE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_INITIALIZED);
        EXPECT_EQ(version, expected);
        version = FileTimeFromCount(count + 1);
        EXPECT_FALSE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(FileTimeToCount(version), count + 1);

        _tMailFolderMessageInfo info{sizeof(info), {}};
        EXPECT_FALSE(folder.FindNextMessage(&info)); // the walk of before has ended
        EXPECT_TRUE(CanOpen(folder, "1"));
        EXPECT_TRUE(folder.Lock(&version));
        EXPECT_EQ(version, expected); // and nothing has moved it
    }
    EXPECT_FALSE(folder.StartMessageEnumeration(0, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(MailFolderTest, WalkFindsRenamedMessagesAndPassesOverRemovedOnes)
{
    const CTestMailStore store;
    for (const char* name : {"new/1", "cur/2:2,", "cur/3:2,", "cur/4:2,"}) {
        store.Deliver(name);
    }
    CMailFolder folder = store.OpenFolder();
    FILETIME version;
    ASSERT_TRUE(folder.StartMessageEnumeration(0, &version));
    _tMailFolderMessageInfo info{sizeof(info), {}};
    ASSERT_TRUE(folder.FindNextMessage(&info));
    std::filesystem::rename(store / "new/1", store / "cur/1:2,S");
    EXPECT_TRUE(CanOpen(folder, "1"));
    std::filesystem::rename(store / "cur/4:2,", store / "cur/4:2,F");
    std::filesystem::remove(store / "cur/2:2,");
    EXPECT_FALSE(CanOpen(folder, "2"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    Ids rest;
    while (folder.FindNextMessage(&info)) {
        rest.emplace_back(info.szMessageId);
        EXPECT_TRUE(CanOpen(folder, rest.back()));
    }
    EXPECT_EQ(rest, (Ids{"3", "4"}));
    store.Deliver("cur/5:2,");
    EXPECT_TRUE(CanOpen(folder, "5"));
}

TEST(MailFolderTest, HeaderWalkTakesFourCallsAMessage)
{
    constexpr int kMessages = 50;
    const CTestMailStore store;
    for (int i = 0; i < kMessages; ++i) {
        store.Deliver("cur/" + std::to_string(i) + ":2,S",
                      "From: a@example.org\n\n" + std::string(8000, 'x'));
    }
    CFaultySystemCalls calls;
    CMailFolder folder = store.OpenFolder();
    FILETIME version;
    ASSERT_TRUE(folder.Lock(nullptr) && folder.StartMessageEnumeration(0, &version));
    int seen = 0;
    for (_tMailFolderMessageInfo info{sizeof(info), {}}; folder.FindNextMessage(&info); ++seen) {
        CMailMessage message;
        const char* from = nullptr;
        ASSERT_TRUE(message.Open(folder, info.szMessageId, 0) && message.GetHeader("From", &from));
    }
    EXPECT_EQ(seen, kMessages);
    EXPECT_LE(calls.Calls(), 4 * kMessages + 20);
}

TEST(MailFolderTest, ReadersShareTheLockAndAWriterExcludesThem)
{
    const CTestMailStore store;
    CMailOwner owner;
    ASSERT_TRUE(owner.Open(store.server, "alice", "example.org", 0));
    CMailFolder first = store.OpenFolder();
    CMailFolder second = store.OpenFolder();
    EXPECT_TRUE(first.Lock(nullptr));
    EXPECT_TRUE(first.Lock(nullptr));
    EXPECT_TRUE(second.Lock(nullptr));
    CFolderLock writer;
    EXPECT_FALSE(writer.AcquireExclusive((store / "").c_str()));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);

    second.Close();
    EXPECT_FALSE(writer.AcquireExclusive((store / "").c_str()));
    ASSERT_TRUE(first.Open(owner, "INBOX")); // opened anew without its lock
    EXPECT_TRUE(writer.AcquireExclusive((store / "").c_str()));
    EXPECT_FALSE(first.Lock(nullptr));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    writer.Release();
    EXPECT_TRUE(first.Lock(nullptr));
}

TEST(MailFolderTest, RemovalMovesTheVersionWhateverTheClockSays)
{
    const CTestMailStore store;
    store.Deliver("cur/1:2,S");
    store.Deliver("new/2");
    CMailFolder folder = store.OpenFolder();
    for (const char* id : {"1", "2"}) {
        SetAge(store / "cur", hours(-1));
        SetAge(store / "new", hours(-2));
        FILETIME before;
        FILETIME after;
        ASSERT_TRUE(folder.Lock(&before));
        EXPECT_TRUE(folder.RemoveMessage(id));
        ASSERT_TRUE(folder.Lock(&after));
        EXPECT_GT(after, before);
        EXPECT_FALSE(folder.RemoveMessage(id));
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(WalkFolder(folder), Ids());
}

TEST(MailFolderTest, IdThatIsNoneTouchesNoFile)
{
    const CTestMailStore store;
    store.Deliver("cur/1:2,S");
    CMailFolder folder = store.OpenFolder();
    const std::string tooLong(68, '1');
    CFaultySystemCalls calls;
    for (const char* id : {"", ".", "../cur/1", "../../alice/cur/1:2,S", "1 ", "1\n",
                           tooLong.c_str(), static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(folder.RemoveMessage(id));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        CMailMessage message;
        EXPECT_FALSE(message.Open(folder, id, 0));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(calls.Calls(), 0);
}

TEST(MailFolderTest, FailedCallLeavesTheMessageOrRemovesIt)
{
    for (int call = 1;; ++call) {
        SCOPED_TRACE(call);
        const CTestMailStore store;
        store.Deliver("cur/1:2,S");
        CFaultySystemCalls calls;
        calls.FailAt(call, EIO);
        bool isRemoved = false;
        {
            CMailFolder folder = store.OpenFolder();
            isRemoved = folder.IsValid() && folder.Lock(nullptr) && folder.RemoveMessage("1");
        }
        if (!isRemoved) {
            EXPECT_EQ(GetLastError(), ERROR_IO_DEVICE);
        }
        EXPECT_EQ(std::filesystem::exists(store / "cur/1:2,S"), !isRemoved);
        EXPECT_EQ(calls.OpenFiles(), 0u);
        if (!calls.WasHit()) {
            break;
        }
    }
}

} // namespace
