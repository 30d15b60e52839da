#include "core/ContactMgr.h"
#include "core/StoreFactories.h"
#include "platform/FileTime.h"
#include "support/AllocationFault.h"
#include "support/BookFolder.h"
#include "support/FaultySystemCalls.h"
#include "support/TestMailStore.h"

#include <gtest/gtest.h>

#include <map>

namespace
{

using ContactMgr::CContactId;
using Walk = std::unique_ptr<CContactPlg::CContactEnumerator>;

// A mailbox with that many contacts and as many deleted ones. Of the older client's contacts, of
// messages, and of mailboxes in the domain, there is one for ten contacts.
struct CFullMailbox
{
    explicit CFullMailbox(std::uint32_t count)
    {
        store.AddMailbox("example.org/alice/.Contacts");
        store.Deliver("properties.json", R"({"EnabledContactPlugins": 15})");
        for (const char* name : {"Contacts/00100000.nxt", "Other/00100000.nxt"}) {
            store.Deliver(name, "");
        }
        for (std::uint32_t i = 1; i <= 2 * count; ++i) {
            store.Deliver("Contacts/" + CPABContact::ContactIdToFileName(IdOf(i)),
                          i <= count ? Card("VERSION:3.0\r\nN:Lee;Ann\r\nFN:Ann Lee\r\n") : "");
        }
        for (std::uint32_t i = 1; i < count / 10; ++i) {
            const std::string number = std::to_string(i);
            store.Deliver("cur/" + number + ":2,S");
            store.Deliver(".Contacts/cur/" + number + ":2,S", "Reply-To: x\n\nNAME:Ann\n");
            store.folder.Write("example.org/" + number + "/properties.json", "{}");
            std::filesystem::create_directory(store.folder / ("example.org/" + number + "/cur"));
        }
        for (const char* name : {"cur", "new", ".Contacts/cur", ".Contacts/new"}) {
            SetAge(store / name, std::chrono::hours(1)); // the version is the time itself
        }
        alice = store.OpenAlice();
        manager = std::make_unique<CContactMgr>(alice);
    }

    ContactPtr Open(const CContactId& id) const
    {
        CContact* opened = nullptr;
        EXPECT_TRUE(manager->OpenContact(id, &opened));
        return ContactPtr(opened);
    }

    CTestMailStore store{std::filesystem::exists("/dev/shm") // quicker, with the same calls
                             ? "/dev/shm"
                             : std::filesystem::temp_directory_path()};
    CMailbox alice;
    std::unique_ptr<CContactMgr> manager;
};

template <class Store>
void Create(Store& store)
{
    const ContactPtr made(store.CreateContact(nullptr));
    EXPECT_TRUE(made && made->SetProperty("FullName", u"Ann Lee") && made->Save());
}

// How much memory a walk takes behind its first contact, when it has the names of its listing.
std::size_t GoThrough(CContactPlg& store)
{
    const Walk walk(store.GetEnumerator());
    EXPECT_TRUE(walk->Start(nullptr, nullptr) && walk->MoveNext());
    const CAllocationCount heap;
    while (walk->MoveNext()) {
    }
    return heap.PeakBytes();
}

template <class Run>
void ExpectCalls(const char* what, int most, Run run)
{
    struct CCountedCalls : CPlantedCalls
    {
        int Begin(const char* /*call*/) override
        {
            ++count;
            return 0;
        }
        int count = 0;
    };
    const CCountedCalls calls;
    run();
    EXPECT_LE(calls.count, most) << what;
}

// A stamp is made anew where the clock's tick was not over.
constexpr int kStampedAgain = 4;

// The bounds are exact for an operation, and for an entry of a walk or a report. So an operation
// lists no folder, and takes in a large store what it takes in a small one.
TEST(CostTest, NoOperationTakesMoreInALargeStore)
{
    const CContactId old("TRELLISV7-7 alice example.org");
    std::map<std::string, std::size_t> memory;
    for (const int count : {1000, 20'000}) {
        SCOPED_TRACE(count);
        CFullMailbox box(static_cast<std::uint32_t>(count));
        CPABPlugin other(box.store / "Other");
        CContactMgr& manager = *box.manager;
        const auto createInTurn = [&] {
            Create(other);
            Create(manager);
        };
        createInTurn(); // finds the counters, and makes the folders ".redo"
        ExpectCalls("create and save", 2 * (37 + kStampedAgain), createInTurn);
        FILETIME version;
        GetSystemTimeAsFileTime(&version);
        const Walk all(manager.GetEnumerator());
        ExpectCalls("poll", 12, [&] {
            bool isNew = true;
            EXPECT_TRUE(all->Start(&version, &isNew) && !isNew);
        });
        ContactPtr held;
        ExpectCalls("open", 4, [&] { held = box.Open(IdOf(7)); });
        held->SetProperty("FullName", u"Bob");
        ExpectCalls("first save", 16 + kStampedAgain, [&] { EXPECT_TRUE(held->Save()); });
        held->SetProperty("FullName", u"Eve");
        ExpectCalls("save", 14 + kStampedAgain, [&] { EXPECT_TRUE(held->Save()); });
        ExpectCalls("save unchanged", 0, [&] { EXPECT_TRUE(held->Save()); });
        ExpectCalls("close", 1, [&] { held.reset(); });
        ExpectCalls("delete", 21 + kStampedAgain,
                    [&] { EXPECT_TRUE(manager.DeleteContact(IdOf(7))); });
        ExpectCalls("open old", 8, [&] { EXPECT_TRUE(box.Open(old)); });
        ExpectCalls("delete old", 9, [&] { EXPECT_TRUE(manager.DeleteContact(old)); });

        version = {};
        for (const char* const what : {"report all", "report nothing"}) {
            const FILETIME since = std::exchange(version, FILETIME());
            ContactMgr::CContactIdList ids;
            ExpectCalls(what, 2 * count + 24, [&] {
                EXPECT_TRUE(manager.ChangesSince("VCARDPAB", since, &version, &ids, &ids, &ids));
            });
            EXPECT_EQ(ids.IsEmpty(), since != FILETIME());
        }

        static constexpr int kForEntry[] = {10 * (6 + 1), 4, 4, 3}; // 1 for each deleted contact
        for (std::size_t i = 0; i < std::size(kForEntry); ++i) {
            const StoreFactory& factory = StoreFactories()[i];
            const CContactPlgOwner store(factory.create(box.alice), factory.release);
            const std::string type = store->GetPluginType();
            std::size_t bytes = 0;
            ExpectCalls(type.c_str(), count / 10 * kForEntry[i] + 24,
                        [&] { bytes = GoThrough(*store); });
            EXPECT_LE(bytes, memory.emplace(type, bytes).first->second * 11 / 10) << type;
        }
    }
}

} // namespace
