#include "core/ContactMgr.h"

#include "platform/LastError.h"
#include "server/MemoryDebugging.h"
#include "support/AllocationFault.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <functional>
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
        const char *what, *properties, *shown, *permanent;
    } kCases[] = {
        {"missing", "{}", kDefault, "VCARDPAB"},
        {"unreadable", "{", kDefault, "VCARDPAB"},
        {"none", R"({"EnabledContactPlugins": 0})", "", ""},
        {"all bits", R"({"EnabledContactPlugins": 4294967295})",
         "VCARDPAB-1; TRELLISV7-1 alice example.org; UserStore-alice@example.org; "
         "INBOX-bob@example.org; ",
         "VCARDPAB"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CMailbox alice = Open(c.properties);
        const std::size_t before = CMemoryDebugging::LiveBlocks();
        SetLastError(4711);
        auto manager = std::make_unique<CContactMgr>(alice);
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(manager->GetPermanentPluginType(), c.permanent);

        std::unique_ptr<CContactPlg::CContactEnumerator> walk(manager->GetEnumerator());
        bool isNew = false;
        std::string ids;
        EXPECT_TRUE(walk->Start(nullptr, &isNew));
        EXPECT_EQ(isNew, *c.shown != '\0');
        while (walk->MoveNext()) {
            ids += walk->GetCurrent()->GetId().ToString() + "; ";
        }
        EXPECT_EQ(ids, c.shown);
        walk.reset();
        SetLastError(4711);
        manager.reset();
        EXPECT_EQ(GetLastError(), 4711u);
        EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before) << "a store was not released";
    }
}

TEST_F(CContactMgrTest, TheStoreThatIsNamedTakesTheCallAndItsFailureEndsIt)
{
    CMailbox alice = Open(R"({"EnabledContactPlugins": 14})");
    CContactMgr manager(alice);
    const auto changes = [&](const char* type) {
        return manager.ChangesSince(type, {}, &version, &deleted, &changed, &created);
    };
    const struct
    {
        const char* what;
        std::function<bool()> call;
        std::uint32_t error; // 0: true
    } kCases[] = {
        {"open", [&] { return manager.OpenContact("UserStore-bob@x.y", nullptr); }, 0},
        {"open in no book", [&] { return manager.OpenContact("VCARDPAB-1", nullptr); },
         ERROR_NOT_FOUND},
        {"create in no book", [&] { return manager.CreateContact(nullptr) != nullptr; },
         ERROR_NOT_SUPPORTED},
        {"delete", [&] { return manager.DeleteContact("TRELLISV7-1 alice example.org"); }, 0},
        {"changes refused", [&] { return changes("UserStore"); }, ERROR_NOT_SUPPORTED},
        {"type in another case", [&] { return changes("USERSTORE"); }, ERROR_NOT_FOUND},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        SetLastError(0);
        EXPECT_EQ(c.call(), c.error == 0);
        EXPECT_TRUE(c.error == 0 || GetLastError() == c.error) << GetLastError();
    }
}

TEST_F(CContactMgrTest, EveryOperationSaysThatMemoryWasExhaustedAtTheStart)
{
    CMailbox alice = Open(R"({"EnabledContactPlugins": 15})");
    const CContactMgr first(alice); // reads the property files
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    int exhausted = 0;
    bool wasHit = true;
    for (int number = 1; wasHit; ++number) {
        SCOPED_TRACE(number);
        auto fault = std::make_unique<CAllocationFault>(number);
        CContactMgr manager(alice);
        wasHit = fault->WasHit();
        fault.reset();
        SetLastError(0);
        if (manager.OpenContact("INBOX-a@x.y", nullptr) || GetLastError() == ERROR_NOT_FOUND) {
            continue;
        }
        ++exhausted;
        for (const bool isDone :
             {manager.CreateContact(nullptr) != nullptr, manager.DeleteContact("VCARDPAB-1"),
              manager.ChangesSince("VCARDPAB", {}, &version, &deleted, &changed, &created),
              !manager.GetPermanentPluginType().empty(), manager.GetEnumerator() != nullptr}) {
            EXPECT_FALSE(isDone);
        }
        EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    }
    EXPECT_GE(exhausted, 5) << "the implementation object and the four places of the stores";
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before);
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
            std::unique_ptr<CContactPlg::CContactEnumerator> walk(other.GetEnumerator());
            EXPECT_TRUE(walk->Start(nullptr, nullptr));
            while (walk->MoveNext()) {
            }
            walk.reset();
            while (round % 2 != 0 && !manager.DeleteContact(id)) {
                ASSERT_EQ(GetLastError(), ERROR_SHARING_VIOLATION) << "held by another's walk";
            }
        }
    };
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(
        CContactMgr(alice).ChangesSince("VCARDPAB", {}, &version, &deleted, &changed, &created));
    EXPECT_EQ(created.GetCount(), 1 + kThreads * kRounds / 2);
}

} // namespace
