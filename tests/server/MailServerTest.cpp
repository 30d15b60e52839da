#include "server/MailServer.h"

#include "platform/LastError.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

namespace
{

TEST(MailServerTest, LocationSaysWhereMailboxesAre)
{
    static const struct
    {
        const char *what, *location, *mailbox;
        std::uint32_t error;
    } kCases[] = {
        {"no template", "/store", "/store/example.org/alice", 0},
        {"slashes at the end", "/store//", "/store/example.org/alice", 0},
        {"template", "/store/%d/%n", "/store/example.org/alice", 0},
        {"mail below the name", "/store/%d/%n/Maildir", "/store/example.org/alice/Maildir", 0},
        {"decorated names", "/store/d-%d/%n.box", "/store/d-example.org/alice.box", 0},
        {"both in one component", "/store/%n@%d", "/store/alice@example.org", 0},
        {"name first", "/store/%n/%d", "/store/alice/example.org", 0},
        {"percent sign", "/store/%%%d/%n%%", "/store/%example.org/alice%", 0},
        {"name twice", "/store/%d/%n-%n", "/store/example.org/alice-alice", 0},
        {"no mailbox name", "/store/%d", "", ERROR_INVALID_PARAMETER},
        {"no domain", "/store/%n", "", ERROR_INVALID_PARAMETER},
        {"unknown letter", "/store/%d/%n/%u", "", ERROR_INVALID_PARAMETER},
        {"lone percent sign", "/store/%d/%n/%", "", ERROR_INVALID_PARAMETER},
        {"missing root", "/stores/%d/%n", "", ERROR_PATH_NOT_FOUND},
        {"root is a file", "/file", "", ERROR_PATH_NOT_FOUND},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CTempFolder folder;
        folder.Write("file", "");
        std::filesystem::create_directory(folder / "store");
        CMailServer server;
        SetLastError(0);
        ASSERT_EQ(server.Open((folder.Path() + c.location).c_str()), c.error == 0);
        ASSERT_EQ(GetLastError(), c.error);
        if (c.error != 0) {
            EXPECT_EQ(static_cast<_tMailServer*>(server), nullptr);
            continue;
        }
        const std::string path = folder.Path() + c.mailbox;
        std::filesystem::create_directories(path + "/cur");
        CMailOwner owner;
        char buffer[261];
        std::uint32_t size = sizeof(buffer);
        ASSERT_TRUE(owner.Open(server, "alice", "example.org", 0));
        ASSERT_TRUE(owner.GetMessageStoreLocation(buffer, &size));
        EXPECT_EQ(std::string(buffer), path);

        _tMailboxEnumeration* walk = StartMailboxEnumeration(server, "example.org");
        char name[65];
        size = 64;
        EXPECT_TRUE(FindNextMailbox(walk, name, &size, nullptr));
        EXPECT_STREQ(name, "alice");
        EXPECT_FALSE(FindNextMailbox(walk, name, &size, nullptr));
        EXPECT_TRUE(CloseMailboxEnumeration(walk));
    }
    CMailServer server;
    EXPECT_FALSE(server.Open(nullptr));
    EXPECT_FALSE(server.Open(""));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
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
    EXPECT_NE(RegisterMailServerPropertyFamily("Test", kRecords), -1);
    EXPECT_TRUE(mailbox.GetProperty("TestMaskEffective", &value));
    EXPECT_EQ(value, 11u);

    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", kOtherType), -1);
    EXPECT_EQ(RegisterMailServerPropertyFamily(nullptr, kRecords), -1);
    EXPECT_EQ(RegisterMailServerPropertyFamily("Other", nullptr), -1);
    EXPECT_FALSE(mailbox.GetProperty("Odd", &value));
}

} // namespace
