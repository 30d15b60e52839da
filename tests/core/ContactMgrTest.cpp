#include "core/ContactMgr.h"

#include "platform/LastError.h"
#include "support/ContactText.h"
#include "support/TestMailStore.h"
#include "trace/MemoryDebugging.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace
{

using ContactMgr::CContactIdList;

// A mailbox with a contact in each store; that of the address book has written a message too.
struct CContactMgrTest : testing::Test
{
    CContactMgrTest()
    {
        store.AddMailbox("example.org/alice/.Contacts");
        store.Deliver("Contacts/80000000.vcf",
                      "BEGIN:VCARD\r\nN:Lee\r\nFN:Ann\r\nEMAIL:ann@example.org\r\nEND:VCARD\r\n");
        store.Deliver(".Contacts/cur/1", "Content-Type: text/plain\n\nEMAIL:old@example.org\n");
        store.Deliver("cur/1", "From: ann@example.org\n\n");
        store.Deliver("cur/2", "From: bob@example.org\n\n");
    }

    CMailbox Open(const std::string& properties) const
    {
        store.Deliver("properties.json", properties);
        return store.OpenAlice();
    }

    const CTestMailStore store;
    CContactIdList deleted, changed, created;
    FILETIME version;
};

TEST_F(CContactMgrTest, MaskOfTheMailboxSaysWhichStoresThereAreInOneOrder)
{
    constexpr const char* kDefault =
        "VCARDPAB-1; TRELLISV7-1 alice example.org; INBOX-bob@example.org; ";
    const struct
    {
        const char *properties, *shown, *permanent;
    } kCases[] = {
        {"{}", kDefault, "VCARDPAB"},
        {"{", kDefault, "VCARDPAB"},
        {R"({"EnabledContactPlugins": 0})", "", ""},
        {R"({"EnabledContactPlugins": 4294967295})",
         "VCARDPAB-1; TRELLISV7-1 alice example.org; UserStore-alice@example.org; "
         "INBOX-bob@example.org; ",
         "VCARDPAB"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.properties);
        CMailbox alice = Open(c.properties);
        const std::size_t before = CMemoryDebugging::LiveBlocks();
        SetLastError(4711);
        {
            const CContactMgr manager(alice);
            EXPECT_EQ(GetLastError(), 4711u);
            EXPECT_EQ(manager.GetPermanentPluginType(), c.permanent);
            std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());
            bool isNew = false;
            EXPECT_TRUE(walk->Start(nullptr, &isNew));
            EXPECT_EQ(isNew, *c.shown != '\0');
            EXPECT_EQ(IdsOf(*walk), c.shown);
            walk.reset();
            SetLastError(4711);
        }
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before) << "a store was not released";
    }
}

TEST_F(CContactMgrTest, TheStoreThatIsNamedTakesTheCallAndItsFailureEndsIt)
{
    CMailbox alice = Open(R"({"EnabledContactPlugins": 14})"); // no address book
    CContactMgr manager(alice);
    const auto changes = [&](const char* type) {
        return manager.ChangesSince(type, {}, &version, &deleted, &changed, &created);
    };
    EXPECT_TRUE(manager.OpenContact("UserStore-bob@x.y", nullptr));
    EXPECT_FALSE(manager.OpenContact("VCARDPAB-1", nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_EQ(manager.CreateContact(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_TRUE(manager.DeleteContact("TRELLISV7-1 alice example.org"));
    EXPECT_FALSE(changes("USERSTORE"));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_FALSE(changes("UserStore"));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}

TEST_F(CContactMgrTest, ThreadsWithManagersOfTheirOwnShareAMailbox)
{
    constexpr std::size_t kThreads = 8;
    constexpr std::size_t kRounds = 20;
    CMailbox alice = Open(R"({"EnabledContactPlugins": 15})");
    const auto work = [&alice] {
        CContactMgr manager(alice), other(alice);
        for (std::size_t round = 0; round < kRounds; ++round) {
            std::unique_ptr<CContact> contact(manager.CreateContact(nullptr));
            ASSERT_NE(contact, nullptr);
            const ContactMgr::CContactId id = contact->GetId();
            EXPECT_TRUE(contact->SetProperty("FullName", u"Bob") && contact->Save());
            contact.reset();
            const std::unique_ptr<CContactPlg::CContactEnumerator> walk(other.GetEnumerator());
            EXPECT_TRUE(walk->Start(nullptr, nullptr));
            IdsOf(*walk);
            EXPECT_TRUE(walk->Finish());
            while (round % 2 != 0 && !manager.DeleteContact(id)) {
                ASSERT_EQ(GetLastError(), ERROR_SHARING_VIOLATION) << "held by another's walk";
            }
        }
    };
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(work);
    }
    threads.clear(); // which waits for them
    EXPECT_TRUE(
        CContactMgr(alice).ChangesSince("VCARDPAB", {}, &version, &deleted, &changed, &created));
    EXPECT_EQ(created.GetCount(), 1 + kThreads * kRounds / 2);
}

} // namespace
