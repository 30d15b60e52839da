#include "core/ContactMgr.h"

#include "core/ContactMgrImpl.h"
#include "platform/LastError.h"
#include "server/MemoryDebugging.h"
#include "support/AllocationFault.h"
#include "support/FakeStore.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <array>

namespace
{

using ContactMgr::CContactIdList;

// The stores behind the fake factories, which the mask's bits 1, 2, 4 and 8 enable.
std::array<FakeStore, 4> g_stores;
std::string g_created;
std::uint32_t g_failing = 0; // the mask of the factories that give null

template <std::size_t Index>
CContactPlg* Create(CMailbox&)
{
    g_created += std::to_string(1u << Index) + ' ';
    SetLastError(ERROR_GEN_FAILURE);
    return (g_failing & (1u << Index)) != 0 ? nullptr : new CFakePlugin(g_stores[Index]);
}

constexpr StoreFactory kFakes[] = {
    {1, true, Create<0>, CFakePlugin::Release},
    {2, false, Create<1>, CFakePlugin::Release},
    {4, false, Create<2>, CFakePlugin::Release},
    {8, false, Create<3>, CFakePlugin::Release},
};

// A mailbox with the given property file, and fake stores of the types A to D, of which B and C
// own the same identifiers.
class ContactMgrTest : public testing::Test
{
protected:
    ContactMgrTest()
    {
        g_stores = {};
        g_created.clear();
        g_failing = 0;
        const char* const types[] = {"A", "B", "B", "D"};
        for (std::size_t i = 0; i < g_stores.size(); ++i) {
            g_stores[i].type = types[i];
        }
    }

    CMailbox& OpenMailbox(const std::string& properties)
    {
        mailStore.Deliver("properties.json", properties);
        mailbox = mailStore.OpenAlice();
        return mailbox;
    }

    CTestMailStore mailStore;
    CMailbox mailbox;
    CContactIdList deleted, changed, created;
    FILETIME version;
};

TEST_F(ContactMgrTest, MaskOfTheMailboxSaysWhichStoresAreMade)
{
    static const struct
    {
        const char *what, *properties, *made;
    } kCases[] = {
        {"missing", "{}", "1 2 8 "},
        {"of another type", R"({"EnabledContactPlugins": "15"})", "1 2 8 "},
        {"unreadable", "{", "1 2 8 "},
        {"none", R"({"EnabledContactPlugins": 0})", ""},
        {"mailboxes only", R"({"EnabledContactPlugins": 4})", "4 "},
        {"unknown bits only", R"({"EnabledContactPlugins": 4294967280})", ""},
        {"all bits", R"({"EnabledContactPlugins": 4294967295})", "1 2 4 8 "},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        g_created.clear();
        SetLastError(4711);
        const CContactMgrImpl manager(OpenMailbox(c.properties), kFakes);
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(g_created, c.made);
    }
}

TEST_F(ContactMgrTest, FirstOwnerTakesTheCallAndItsFailureEndsIt)
{
    CContactMgrImpl manager(OpenMailbox(R"({"EnabledContactPlugins": 15})"), kFakes);
    CContact* contact = nullptr;
    EXPECT_TRUE(manager.OpenContact("D-1", &contact));
    EXPECT_TRUE(manager.DeleteContact("D-2"));
    EXPECT_EQ(g_stores[3].calls, "open:D-1 delete:D-2");

    g_stores[1].callError = ERROR_ACCESS_DENIED;
    SetLastError(0);
    EXPECT_FALSE(manager.OpenContact("B-1", &contact));
    EXPECT_FALSE(manager.DeleteContact("B-2"));
    EXPECT_FALSE(manager.ChangesSince("B", {}, &version, &deleted, &changed, &created));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(g_stores[1].calls, "open:B-1 delete:B-2 changes");
    EXPECT_EQ(g_stores[0].calls + g_stores[2].calls, "");
}

TEST_F(ContactMgrTest, WithoutAnOwnerNothingIsFound)
{
    for (const char* properties :
         {R"({"EnabledContactPlugins": 0})", R"({"EnabledContactPlugins": 15})"}) {
        SCOPED_TRACE(properties);
        CContactMgrImpl manager(OpenMailbox(properties), kFakes);
        SetLastError(0);
        EXPECT_FALSE(manager.OpenContact("X-1", nullptr));
        EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
        SetLastError(0);
        EXPECT_FALSE(manager.DeleteContact("X-1"));
        EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
        SetLastError(0);
        // The type compares whole and with case.
        for (const char* type : {"a", "A-1", ""}) {
            EXPECT_FALSE(manager.ChangesSince(type, {}, &version, &deleted, &changed, &created));
            EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
        }
    }
}

TEST_F(ContactMgrTest, ChangesGoByTheTypeWithAllArguments)
{
    CContactMgrImpl manager(OpenMailbox(R"({"EnabledContactPlugins": 15})"), kFakes);
    const FILETIME since = FileTimeFromCount(5);
    EXPECT_TRUE(manager.ChangesSince("D", since, &version, &deleted, &changed, &created));
    EXPECT_EQ(version, since);
    EXPECT_EQ(deleted.GetHead().ToString(), "deleted");
    EXPECT_EQ(changed.GetHead().ToString(), "changed");
    EXPECT_EQ(created.GetHead().ToString(), "created");
}

TEST_F(ContactMgrTest, OnlyThePermanentStoreMakesContacts)
{
    CMailbox& alice = OpenMailbox(R"({"EnabledContactPlugins": 15})");
    const FakeEntry entry;
    CFakeContact pattern(g_stores[3], entry);
    {
        CContactMgrImpl manager(alice, kFakes);
        EXPECT_EQ(manager.GetPermanentPluginType(), "A");
        EXPECT_EQ(manager.CreateContact(&pattern), &pattern);
        EXPECT_EQ(g_stores[0].calls, "create");
    }
    g_failing = 1;
    CContactMgrImpl manager(alice, kFakes);
    EXPECT_EQ(manager.GetPermanentPluginType(), "");
    EXPECT_EQ(manager.CreateContact(&pattern), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_TRUE(manager.DeleteContact("D-1")) << "the other stores come up";
}

TEST_F(ContactMgrTest, StoresAreReleasedOnceWithTheirManager)
{
    CMailbox& alice = OpenMailbox(R"({"EnabledContactPlugins": 15})");
    {
        const CContactMgrImpl manager(alice, kFakes);
        const std::unique_ptr<CContactPlg::CContactEnumerator> first(manager.GetEnumerator());
        const std::unique_ptr<CContactPlg::CContactEnumerator> second(manager.GetEnumerator());
        EXPECT_EQ(g_stores[2].live, 3);
        SetLastError(4711);
    }
    EXPECT_EQ(GetLastError(), 4711u);
    for (const FakeStore& store : g_stores) {
        EXPECT_EQ(store.live, 0);
    }
}

TEST_F(ContactMgrTest, FactoriesMakeTheFourStoresInTheirOrder)
{
    CMailbox& alice = OpenMailbox("{}");
    std::string types;
    for (const StoreFactory& factory : StoreFactories()) {
        const CContactPlgOwner plugin(factory.create(alice), factory.release);
        ASSERT_NE(plugin, nullptr);
        types += std::to_string(factory.mask) + (factory.isPermanent ? "!" : "=") +
                 plugin->GetPluginType() + ' ';
    }
    EXPECT_EQ(types, "1!VCARDPAB 2=TRELLISV7 4=UserStore 8=INBOX ");
}

TEST_F(ContactMgrTest, ManagerOfTheDirectoryAloneReadsAndReportsNothing)
{
    CContactMgr manager(OpenMailbox(R"({"EnabledContactPlugins": 4})"));
    CContact* contact = nullptr;
    ASSERT_TRUE(manager.OpenContact("UserStore-alice@example.org", &contact));
    EXPECT_EQ(contact->GetPluginType(), "UserStore");
    delete contact;
    EXPECT_FALSE(manager.OpenContact("VCARDPAB-1", nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_FALSE(manager.ChangesSince("UserStore", {}, &version, &deleted, &changed, &created));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_FALSE(manager.DeleteContact("UserStore-alice@example.org"));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(manager.CreateContact(nullptr), nullptr);
    EXPECT_EQ(manager.GetPermanentPluginType(), "");
}

TEST_F(ContactMgrTest, WithoutStoresTheWalkFindsNothingNew)
{
    const CContactMgr manager(OpenMailbox(R"({"EnabledContactPlugins": 0})"));
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager.GetEnumerator());
    bool isNew = true;
    EXPECT_TRUE(walk->Start(nullptr, &isNew));
    EXPECT_FALSE(isNew || walk->IsStarted());
}

TEST_F(ContactMgrTest, EveryOperationSaysThatMemoryWasExhaustedAtTheStart)
{
    CMailbox& alice = OpenMailbox(R"({"EnabledContactPlugins": 15})");
    std::uint32_t mask = 0;
    ASSERT_TRUE(alice.GetProperty("EnabledContactPlugins", &mask)) << "the files are read now";
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    int exhausted = 0;
    bool wasHit = true;
    for (int number = 1; wasHit; ++number) {
        SCOPED_TRACE(number);
        std::unique_ptr<CContactMgr> manager;
        {
            const CAllocationFault fault(number + 1); // behind the manager itself
            manager = std::make_unique<CContactMgr>(alice);
            wasHit = fault.WasHit();
        }
        SetLastError(0);
        if (manager->OpenContact("UserStore-alice@example.org", nullptr) ||
            GetLastError() != ERROR_NOT_ENOUGH_MEMORY) {
            continue;
        }
        ++exhausted;
        const std::array<std::function<bool()>, 5> calls = {
            [&] { return manager->CreateContact(nullptr) != nullptr; },
            [&] { return manager->DeleteContact("VCARDPAB-1"); },
            [&] {
                return manager->ChangesSince("VCARDPAB", {}, &version, &deleted, &changed,
                                             &created);
            },
            [&] { return !manager->GetPermanentPluginType().empty(); },
            [&] { return manager->GetEnumerator() != nullptr; },
        };
        for (const auto& call : calls) {
            SetLastError(0);
            EXPECT_FALSE(call());
            EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
        }
    }
    EXPECT_GE(exhausted, 5) << "the implementation object and the four places of the stores";
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before);
}

} // namespace
