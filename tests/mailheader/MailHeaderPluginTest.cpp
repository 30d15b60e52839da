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
        {"several addresses", "From: a@example.org, b@example.org\n\n", ""},
        {"a name alone", "From: Ann\n\n", ""},
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

} // namespace
