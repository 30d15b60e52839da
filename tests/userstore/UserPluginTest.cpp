#include "userstore/UserPlugin.h"

#include "platform/FileTime.h"
#include "support/StoreContract.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using ContactMgr::CContactId;

struct CUserPluginTest : testing::Test
{
    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    CUserPlugin plugin{alice};
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk{plugin.GetEnumerator()};
};

TEST_F(CUserPluginTest, KeepsTheContractOfAStore)
{
    ExpectOpenKeepsItsContract(plugin, CContactId("UserStore-alice@example.org"),
                               CContactId("UserStore-alice"));
    ExpectWalkKeepsItsContract(plugin);
    ExpectNeitherCreatesNorReports(plugin);
}

TEST_F(CUserPluginTest, OpensEveryIdentifierThatHoldsAnAddress)
{
    static const struct
    {
        const char *what, *id;
        bool isOwned, opens;
    } kCases[] = {
        {"no such mailbox, hyphens", "UserStore-a-b@c-d.example", true, true},
        {"a longer namespace", "UserStores-x@y.example", true, true},
        {"no address", "UserStore-", true, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(plugin.OwnsContact(CContactId(c.id)), c.isOwned);
        EXPECT_EQ(plugin.OpenContact(CContactId(c.id), nullptr), c.opens);
    }
}

TEST_F(CUserPluginTest, WalkPassesOverTheMailboxesThatAreNoPeople)
{
    const std::string longest(64, 'x');
    for (const std::string& name : {std::string("CatchAll"), std::string("mailboxTEMPLATE"),
                                    std::string("catchall2"), longest, longest + "x"}) {
        store.AddMailbox("example.org/" + name);
    }
    std::string ids;
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    while (walk->MoveNext()) {
        ids += walk->GetCurrent()->GetId().ToString() + "; ";
    }
    EXPECT_EQ(ids, "UserStore-alice@example.org; UserStore-catchall2@example.org; UserStore-" +
                       longest + "@example.org; ");
}

TEST_F(CUserPluginTest, AVersionLastsNineHundredSeconds)
{
    static const struct
    {
        const char* what;
        std::int64_t ageMs;
        bool changed;
    } kCases[] = {
        {"of the future", -3'600'000, false},
        {"899 whole seconds old", 899'500, false},
        {"900 seconds old", 900'000, true},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        const FILETIME version =
            FileTimeFromCount(FileTimeToCount(now) - static_cast<std::uint64_t>(c.ageMs * 10'000));
        bool changed = !c.changed;
        EXPECT_TRUE(walk->Start(&version, &changed));
        EXPECT_EQ(changed, c.changed);
        EXPECT_EQ(walk->IsStarted(), c.changed);
        EXPECT_TRUE(c.changed ? walk->GetVersion() >= now : walk->GetVersion() == version);
    }
}

} // namespace
