#include "trellisv7/TrellisV7Plugin.h"

#include "support/StoreContract.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

using ContactMgr::CContactId;

struct CTrellisV7PluginTest : testing::Test
{
    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    CTrellisV7Plugin plugin{alice};
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk{plugin.GetEnumerator()};

    void AddContact(const std::string& id, const std::string& headers = "")
    {
        store.Deliver(".Contacts/cur/" + id, headers + "Subject: x\n\nNICK:" + id + "\n");
    }

    // The nicknames that the walk gives from here on.
    static std::u16string Nicknames(CContactPlg::CContactEnumerator& walk)
    {
        std::u16string names, name;
        while (walk.MoveNext()) {
            EXPECT_TRUE(walk.GetCurrent()->GetProperty("Nickname", &name));
            names += name + u" ";
        }
        return names;
    }
};

TEST_F(CTrellisV7PluginTest, KeepsTheContractOfAStore)
{
    AddContact("1");
    AddContact("2");
    store.Deliver(".Contacts/cur/3", "Reply-To: Group\n\nno key\n");
    ExpectOpenKeepsItsContract(plugin, CContactId("TRELLISV7-1 alice example.org"),
                               CContactId("TRELLISV7-3 alice example.org"));
    ExpectNeitherCreatesNorReports(plugin);
    std::filesystem::remove(store / ".Contacts/cur/3");
    ExpectWalkKeepsItsContract(plugin);
}

TEST_F(CTrellisV7PluginTest, IdentifiersNameTheMessageAndItsMailbox)
{
    AddContact("1");
    constexpr std::uint32_t kNoCode = 4711;
    static const struct
    {
        const char *what, *id;
        bool isOwned;
        std::uint32_t error; // of both opening and deleting
    } kCases[] = {
        {"other case", "trellisv7-1 alice example.org", false, kNoCode},
        {"no blank", "TRELLISV7-1", true, kNoCode},
        {"no such message", "TRELLISV7-9 alice example.org", true, ERROR_FILE_NOT_FOUND},
        {"no such mailbox", "TRELLISV7-1 bob example.org", true, ERROR_PATH_NOT_FOUND},
        {"a mailbox without the folder", "TRELLISV7-1 carl example.org", true,
         ERROR_PATH_NOT_FOUND},
        {"path as mailbox", "TRELLISV7-1 ../example.org/alice example.org", true,
         ERROR_INVALID_PARAMETER},
        {"path as message", "TRELLISV7-../cur/1 alice example.org", true, ERROR_INVALID_PARAMETER},
    };
    store.AddMailbox("example.org/carl");
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const CContactId id(c.id);
        EXPECT_EQ(plugin.OwnsContact(id), c.isOwned);
        SetLastError(kNoCode);
        EXPECT_FALSE(plugin.OpenContact(id, nullptr));
        EXPECT_EQ(GetLastError(), c.error);
        SetLastError(kNoCode);
        EXPECT_FALSE(plugin.DeleteContact(id));
        EXPECT_EQ(GetLastError(), c.error);
    }
    EXPECT_TRUE(plugin.OpenContact(CContactId("TRELLISV7X-1 alice example.org"), nullptr))
        << "a longer namespace is owned";
}

TEST_F(CTrellisV7PluginTest, AnIdentifierFromAWalkOpensAndRemovesItsMessage)
{
    AddContact("123");
    ASSERT_TRUE(walk->Start(nullptr, nullptr) && walk->MoveNext());
    const CContactId id = walk->GetCurrent()->GetId();
    EXPECT_EQ(id.ToString(), "TRELLISV7-123 alice example.org");
    EXPECT_FALSE(id.IsNumeric());

    EXPECT_TRUE(plugin.DeleteContact(id));
    EXPECT_FALSE(plugin.DeleteContact(id));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(CTrellisV7PluginTest, AMessageOfAnotherFormatEndsTheWalk)
{
    AddContact("1");
    AddContact("0", "Reply-To: Group\n");
    store.Deliver(".Contacts/cur/2", "From: a@example.org\n\nHello\n");
    AddContact("3");
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(Nicknames(*walk), u"1 ");
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(walk->GetCurrent()->GetId().ToString(), "TRELLISV7-1 alice example.org");

    EXPECT_TRUE(plugin.DeleteContact(CContactId("TRELLISV7-2 alice example.org")));
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(Nicknames(*walk), u"1 3 ");
}

TEST_F(CTrellisV7PluginTest, AMailboxWithoutTheFolderHasNothingNew)
{
    store.AddMailbox("example.org/carl");
    CMailbox carl;
    ASSERT_TRUE(carl.Open(store.server, "carl", "example.org"));
    CTrellisV7Plugin ofCarl(carl);
    const std::unique_ptr<CContactPlg::CContactEnumerator> carls(ofCarl.GetEnumerator());
    for (int round = 0; round < 2; ++round) {
        bool changed = true;
        EXPECT_TRUE(carls->Start(nullptr, &changed));
        EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
        EXPECT_FALSE(changed || carls->IsStarted() || carls->MoveNext());
        EXPECT_EQ(carls->GetVersion(), FILETIME());
    }
    store.AddMailbox("example.org/carl/.Contacts");
    EXPECT_TRUE(carls->Start(nullptr, nullptr));
    EXPECT_TRUE(carls->IsStarted());
}

} // namespace
