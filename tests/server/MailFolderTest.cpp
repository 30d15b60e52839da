#include "server/MailFolder.h"

#include "platform/FolderLock.h"
#include "platform/LastError.h"
#include "server/MailMessage.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <linux/magic.h>

namespace
{

using std::chrono::hours;

bool CanOpen(CMailFolder& folder, const std::string& id)
{
    CMailMessage message;
    return message.Open(folder, id.c_str(), 0);
}

// The identifier of a walk's next message; empty behind the last.
std::string NextId(CMailFolder& folder)
{
    _tMailFolderMessageInfo info{sizeof(info), {}};
    return folder.FindNextMessage(&info) ? info.szMessageId : "";
}

TEST(MailFolderTest, FolderIsWhereCurIs)
{
    const CTestMailStore store;
    store.AddMailbox("example.org/alice/.Contacts");
    store.Deliver(".File/cur", "");
    static const std::pair<const char*, std::uint32_t> kErrors[] = {
        {"INBOX", 0},
        {"Contacts", 0},
        {"contacts", ERROR_PATH_NOT_FOUND},
        {"File", ERROR_PATH_NOT_FOUND},
        {"", ERROR_INVALID_PARAMETER},
        {"./../bob", ERROR_INVALID_PARAMETER},
        {"Con\ntacts", ERROR_INVALID_PARAMETER},
    };
    for (const auto& [name, error] : kErrors) {
        SCOPED_TRACE(name);
        SetLastError(0);
        EXPECT_EQ(store.OpenFolder(name).IsValid(), error == 0);
        EXPECT_EQ(GetLastError(), error);
    }
}

TEST(MailFolderTest, IdIsTheUniquePartOfTheFileName)
{
    const std::string longest(67, 'u');
    const std::pair<std::string, std::string> cases[] = {
        {"cur/1500000000.M1P2.host", "1500000000.M1P2.host"},
        {"cur/1.b,S=12,W=13:2,RS", "1.b"},
        {"new/1.c", "1.c"},
        {"cur/" + longest + ":2,", longest},
        {"cur/u" + longest + ":2,S",
         "~e98059c6a26abf8a9f5b8496e19f6d72e56c1e1df0c3a4dd7e06c8cb231768cf"},
        {"cur/1 2:2,", "~f71998fe363b9c29116c80b5eecf33a2fedca3b6159724384485804b71651029"},
        {"cur/1.folder/x", ""},
        {"cur/.1", ""},
    };
    for (const auto& [file, id] : cases) {
        SCOPED_TRACE(file);
        const CTestMailStore store;
        store.Deliver(file);
        CMailFolder folder = store.OpenFolder();
        FILETIME version;
        EXPECT_TRUE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(NextId(folder), id);
        CMailFolder other = store.OpenFolder();
        EXPECT_EQ(CanOpen(other, id), !id.empty());
    }
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
        const FILETIME expected = LastWriteOf(store / later);
        const std::uint64_t count = FileTimeToCount(expected);

        FILETIME version = FileTimeFromCount(count - 1);
        EXPECT_TRUE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(version, expected);
        EXPECT_FALSE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(GetLastError(), ERROR_ALREADY_INITIALIZED);
        version = FileTimeFromCount(count + 1);
        EXPECT_FALSE(folder.StartMessageEnumeration(0, &version));
        EXPECT_EQ(FileTimeToCount(version), count + 1);

        EXPECT_EQ(NextId(folder), "") << "the walk of before has ended";
        EXPECT_TRUE(CanOpen(folder, "1"));
        EXPECT_TRUE(folder.Lock(&version));
        EXPECT_EQ(version, expected); // and nothing has moved it
    }
}

// The system with a clock that stands, one kind of file system, and a count of folder listings.
struct CStandingClock : CPlantedCalls
{
    int Now(struct timespec* time) override
    {
        *time = now;
        return 0;
    }
    int StatFileSystem(const char*, struct statfs* status) override
    {
        status->f_type = isOnNetwork ? NFS_SUPER_MAGIC : RAMFS_MAGIC;
        return 0;
    }
    ssize_t ListEntries(int folder, void* buffer, std::size_t size) override
    {
        ++listings;
        return CSystemCalls::ListEntries(folder, buffer, size);
    }

    struct timespec now = {1'500'000'000, 500'000'000};
    bool isOnNetwork = false;
    int listings = 0;
};

// Sets a folder's time as a clock that ticks would.
void SetTime(const std::string& path, const struct timespec& time, std::int64_t microsecondsAhead)
{
    const auto since1970 = std::chrono::seconds(time.tv_sec) +
                           std::chrono::nanoseconds(time.tv_nsec) +
                           std::chrono::microseconds(microsecondsAhead);
    std::filesystem::last_write_time(
        path, std::filesystem::file_time_type::clock::from_sys(
                  std::chrono::sys_time<std::chrono::nanoseconds>(since1970)));
}

TEST(MailFolderTest, VersionIsOneUnitLessWhileADeliveryCouldLeaveTheTimeAsItIs)
{
    static const struct
    {
        std::int64_t aheadUs;
        bool isOnNetwork;
        std::uint64_t less;
    } kCases[] = {
        {0, false, 1},       {-9'999, false, 1},    {-10'000, false, 0},
        {9'999, false, 1},   {9'999, true, 1},      {-10'000, true, 1},
        {-999'999, true, 1}, {-1'000'000, true, 0}, {60'000'000, false, 0},
    };
    const CTestMailStore store;
    store.Deliver("cur/1");
    CMailFolder folder = store.OpenFolder();
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.aheadUs);
        CStandingClock clock;
        clock.isOnNetwork = c.isOnNetwork;
        SetTime(store / "new", clock.now, c.aheadUs);
        SetTime(store / "cur", clock.now, c.aheadUs - 1);
        const std::uint64_t time = FileTimeToCount(LastWriteOf(store / "new"));
        FILETIME version, locked;
        EXPECT_TRUE(folder.StartMessageEnumeration(0, &version) && folder.Lock(&locked));
        EXPECT_EQ(FileTimeToCount(version), time - c.less);
        EXPECT_EQ(locked, version);
        clock.now.tv_sec += 2;
        EXPECT_EQ(folder.StartMessageEnumeration(0, &version), c.less != 0);
        EXPECT_EQ(FileTimeToCount(version), time);
        EXPECT_FALSE(folder.StartMessageEnumeration(0, &version));
    }
}

TEST(MailFolderTest, FolderIsListedAgainOnlyIfItMayHaveChanged)
{
    const CTestMailStore store;
    store.Deliver("cur/1:2,");
    for (const char* name : {"cur/2", "cur/3", "cur/4"}) {
        std::filesystem::create_symlink("nowhere", store / name);
    }
    CStandingClock clock;
    const auto setTimes = [&] {
        for (const char* name : {"cur", "new"}) {
            SetTime(store / name, clock.now, 0);
        }
    };
    setTimes();
    CMailFolder folder = store.OpenFolder();
    FILETIME version;
    ASSERT_TRUE(folder.StartMessageEnumeration(0, &version));
    EXPECT_EQ(NextId(folder), "1");
    std::filesystem::rename(store / "cur/1:2,", store / "cur/1:2,S");
    setTimes();
    EXPECT_TRUE(CanOpen(folder, "1")) << "renamed in the tick of the listing";

    clock.now.tv_sec += 1;
    ASSERT_TRUE(folder.StartMessageEnumeration(0, &version));
    EXPECT_EQ(NextId(folder), "1");
    clock.listings = 0;
    for (const char* id : {"2", "3", "4", "none"}) {
        EXPECT_FALSE(CanOpen(folder, id));
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(clock.listings, 0);
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
    EXPECT_EQ(NextId(folder), "1");
    std::filesystem::rename(store / "new/1", store / "cur/1:2,S");
    EXPECT_TRUE(CanOpen(folder, "1"));
    std::filesystem::rename(store / "cur/4:2,", store / "cur/4:2,F");
    std::filesystem::remove(store / "cur/2:2,");
    EXPECT_FALSE(CanOpen(folder, "2"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    for (const char* id : {"3", "4"}) {
        EXPECT_EQ(NextId(folder), id);
        EXPECT_TRUE(CanOpen(folder, id));
    }
    EXPECT_EQ(NextId(folder), "");
}

TEST(MailFolderTest, ReadersShareTheLockAndAWriterExcludesThem)
{
    const CTestMailStore store;
    CMailFolder first = store.OpenFolder();
    CMailFolder second = store.OpenFolder();
    EXPECT_TRUE(first.Lock(nullptr) && first.Lock(nullptr) && second.Lock(nullptr));
    CFolderLock writer;
    EXPECT_FALSE(writer.AcquireExclusive((store / "").c_str()));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    second.Close();
    EXPECT_FALSE(writer.AcquireExclusive((store / "").c_str()));
    first.Close();
    EXPECT_TRUE(writer.AcquireExclusive((store / "").c_str()));
    first = store.OpenFolder();
    EXPECT_FALSE(first.Lock(nullptr));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
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
        FILETIME before, after;
        ASSERT_TRUE(folder.Lock(&before));
        EXPECT_TRUE(folder.RemoveMessage(id));
        ASSERT_TRUE(folder.Lock(&after));
        EXPECT_GT(after, before);
        EXPECT_FALSE(folder.RemoveMessage(id));
        EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    }
}

TEST(MailFolderTest, IdThatIsNoneTouchesNoFile)
{
    const CTestMailStore store;
    CMailFolder folder = store.OpenFolder();
    const CFaultySystemCalls calls;
    const std::string tooLong(68, '1');
    for (const char* id : {"", "../cur/1", "1 ", "1\n", tooLong.c_str()}) {
        EXPECT_FALSE(folder.RemoveMessage(id) || CanOpen(folder, id));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(calls.Calls(), 0);
}

TEST(MailFolderTest, FailedCallLeavesTheMessageOrRemovesIt)
{
    bool wasHit = true;
    for (int call = 1; wasHit; ++call) {
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
        EXPECT_TRUE(isRemoved || GetLastError() == ERROR_IO_DEVICE);
        EXPECT_EQ(std::filesystem::exists(store / "cur/1:2,S"), !isRemoved);
        EXPECT_EQ(calls.OpenFiles(), 0u);
        wasHit = calls.WasHit();
    }
}

} // namespace
