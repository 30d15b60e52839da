#include "mailheader/MailHeaderPlugin.h"

#include "support/StoreContract.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using ContactMgr::CContactId;

struct CMailHeaderPluginTest : testing::Test
{
    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    CMailHeaderPlugin plugin{alice};
};

TEST_F(CMailHeaderPluginTest, KeepsTheContractOfAStore)
{
    store.Deliver("cur/1");
    ExpectOpenKeepsItsContract(plugin, CContactId("INBOX-Ann-Marie <a-b@example.org>"),
                               CContactId("INBOX-Ann"));
    ExpectWalkKeepsItsContract(plugin);
    ExpectNeitherCreatesNorReports(plugin);
    EXPECT_FALSE(plugin.OwnsContact(CContactId("Inbox-a@example.org")));
    EXPECT_FALSE(plugin.OwnsContact(CContactId("INBOXES-a@example.org")));
}

TEST_F(CMailHeaderPluginTest, WalkGivesTheSenderOfEachMessageThatHasOne)
{
    static const struct
    {
        const char *what, *message, *id;
    } kCases[] = {
        {"name and address", "From: Ann Lee <a@example.org>\n\n", "INBOX-Ann Lee <a@example.org>"},
        {"the same sender again", "From: a@example.org\n\nFrom: x@example.org\n",
         "INBOX-a@example.org"},
        {"encoded words", "From: =?ISO-8859-1?Q?J=F6rg?= <j@example.org>\n\n",
         "INBOX-Jörg <j@example.org>"},
        {"other senders play no part", "Sender: s@example.org\nReply-To: r@example.org\n\n", ""},
        {"the first of two", "From: a@example.org\nFrom: b@example.org\n\n", "INBOX-a@example.org"},
        {"several addresses", "From: a@example.org, b@example.org\n\n", ""},
        {"a group", "From: all: a@example.org;\n\n", ""},
        {"a name alone", "From: Ann\n\n", ""},
        {"an empty message", "", ""},
        {"only a body", "\nFrom: a@example.org\n", ""},
    };
    std::string expected;
    char messageId[] = "a";
    for (const auto& c : kCases) {
        store.Deliver(std::string("cur/") + messageId, c.message);
        ++*messageId;
        expected += *c.id == '\0' ? "" : std::string(c.id) + "\n";
    }

    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(plugin.GetEnumerator());
    const std::unique_ptr<CContactPlg::CContactEnumerator> second(plugin.GetEnumerator());
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_TRUE(second->Start(nullptr, nullptr)) << "readers share the lock of the folder";
    std::string senders, last;
    while (walk->MoveNext()) {
        last = walk->GetCurrent()->GetId().ToString();
        senders += last + "\n";
    }
    EXPECT_EQ(senders, expected);
    EXPECT_EQ(walk->GetCurrent()->GetId().ToString(), last) << "stays until Finish";
}

TEST_F(CMailHeaderPluginTest, TheVersionIsTheFoldersOwn)
{
    store.Deliver("cur/1");
    SetAge(store / "cur", std::chrono::hours(1));
    SetAge(store / "new", std::chrono::hours(1));
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(plugin.GetEnumerator());
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    const FILETIME version = walk->GetVersion();
    bool changed = true;
    EXPECT_TRUE(walk->Start(&version, &changed));
    EXPECT_FALSE(changed);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_INITIALIZED);

    std::filesystem::remove(store / "cur/1");
    EXPECT_TRUE(walk->Start(&version, &changed));
    EXPECT_TRUE(changed);
    EXPECT_GT(walk->GetVersion(), version);
    EXPECT_FALSE(walk->MoveNext());
}

} // namespace
