#include "server/MailServer.h"

#include "platform/LastError.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

TEST(MailServerTest, LocationSaysWhereMailboxesAreAndHowMuchRoomTheirPathsTake)
{
    static const struct
    {
        const char *location, *mailbox;
        std::uint32_t error;
    } kCases[] = {
        {"/store//", "/store/example.org/alice", 0},
        {"/store/%d/%n/Maildir", "/store/example.org/alice/Maildir", 0},
        {"/store/%n@%d", "/store/alice@example.org", 0},
        {"/store/%n/%d", "/store/alice/example.org", 0},
        {"/store/%%%d/%n%%", "/store/%example.org/alice%", 0},
        {"/store/%d/%n/%u", "", ERROR_INVALID_PARAMETER},
        {"/store/%d/%n/%", "", ERROR_INVALID_PARAMETER},
        {"/file", "", ERROR_PATH_NOT_FOUND},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.location);
        const CTempFolder folder;
        folder.Write("file", "");
        std::filesystem::create_directory(folder / "store");
        CMailServer server;
        SetLastError(0);
        ASSERT_EQ(server.Open((folder.Path() + c.location).c_str()), c.error == 0);
        ASSERT_EQ(GetLastError(), c.error);
        if (c.error != 0) {
            continue;
        }
        const std::string path = folder.Path() + c.mailbox;
        std::filesystem::create_directories(path + "/cur");
        CMailOwner owner;
        ASSERT_TRUE(owner.Open(server, "alice", "example.org", 0));
        const auto length = static_cast<std::uint32_t>(path.size());
        std::vector<char> buffer(path.size() + 1, 'x');
        std::uint32_t size = length;
        EXPECT_FALSE(owner.GetMessageStoreLocation(buffer.data(), &size));
        EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(size, length + 1);
        EXPECT_EQ(buffer.back(), 'x');
        EXPECT_TRUE(owner.GetMessageStoreLocation(buffer.data(), &size));
        EXPECT_EQ(buffer.data(), path);
        EXPECT_EQ(size, length);

        _tMailboxEnumeration* walk = StartMailboxEnumeration(server, "example.org");
        char name[65];
        size = 64;
        EXPECT_TRUE(FindNextMailbox(walk, name, &size, nullptr));
        EXPECT_STREQ(name, "alice");
        EXPECT_FALSE(FindNextMailbox(walk, name, &size, nullptr));
        EXPECT_TRUE(CloseMailboxEnumeration(walk));
    }
}

TEST(MailServerTest, RelativeLocationIsThatOfTheMomentOfOpening)
{
    const CTestMailStore store;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(store.folder.Path());
    CMailServer here, below;
    EXPECT_TRUE(here.Open(".") && below.Open("%d/%n"));
    std::filesystem::current_path(before);
    for (const CMailServer* server : {&here, &below}) {
        EXPECT_TRUE(CMailbox().Open(*server, "alice", "example.org"));
    }
}

TEST(MailServerTest, RegisteredDefaultAnswersWhereNoFileDoes)
{
    static const MailServerPropertyRecord kRecords[] = {
        {"TestMask", kMailServerPropertyNumber, 0, 11}, {nullptr, 0, 0, 0}};
    static const MailServerPropertyRecord kOtherType[] = {{"Odd", 5, 0, 1}, {nullptr, 0, 0, 0}};
    const CTestMailStore store;
    const CMailbox mailbox = store.OpenAlice();
    std::uint32_t value = 0;
    EXPECT_FALSE(mailbox.GetProperty("TestMaskEffective", &value));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_NE(RegisterMailServerPropertyFamily("Test", kRecords), -1);
    EXPECT_TRUE(mailbox.GetProperty("TestMaskEffective", &value));
    EXPECT_EQ(value, 11u);
    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", kOtherType), -1);
    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", nullptr), -1);
}

} // namespace
