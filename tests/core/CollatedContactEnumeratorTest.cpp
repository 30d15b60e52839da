#include "core/CollatedContactEnumerator.h"

#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/FakeStore.h"

#include <gtest/gtest.h>

namespace
{

using Entries = std::vector<FakeEntry>;

constexpr bool kWritable = false;
constexpr bool kReadOnly = true;
constexpr const char* kAnn = "ann@example.org";
constexpr const char* kBob = "bob@example.org";

FakeStore StoreOf(const Entries& entries)
{
    FakeStore store;
    store.entries = entries;
    return store;
}

// Some fake stores and the enumerator over them.
class CWalk
{
public:
    explicit CWalk(std::vector<FakeStore> fakes) : stores(std::move(fakes))
    {
        for (FakeStore& store : stores) {
            m_plugins.AddTail(CContactPlgOwner(new CFakePlugin(store), CFakePlugin::Release));
        }
        enumerator = std::make_unique<CCollatedContactEnumerator>(m_plugins);
    }

    // All names of a new walk.
    std::string Names()
    {
        std::string names;
        EXPECT_TRUE(enumerator->Start(nullptr, nullptr));
        while (enumerator->MoveNext()) {
            names += enumerator->GetCurrent()->GetId().ToString() + ' ';
        }
        return names;
    }

    std::vector<FakeStore> stores;
    std::unique_ptr<CContactPlg::CContactEnumerator> enumerator;

private:
    CContactPlgList m_plugins;
};

TEST(CollatedContactEnumeratorTest, ReadOnlyContactIsShownOnlyWithANewFirstAddress)
{
    static const struct
    {
        const char* what;
        Entries first, second;
        const char* shown;
    } kCases[] = {
        {"the book's entry hides the mailbox",
         {{"book", kWritable, {kAnn}}},
         {{"box", kReadOnly, {kAnn}}, {"other", kReadOnly, {kBob}}},
         "book other "},
        {"the same sender twice", {{"a", kReadOnly, {kAnn}}, {"b", kReadOnly, {kAnn}}}, {}, "a "},
        {"writable ones never hide each other",
         {{"a", kWritable, {kAnn}}, {"b", kWritable, {kAnn}}},
         {},
         "a b "},
        {"a writable one is shown after a read-only one",
         {{"a", kReadOnly, {kAnn}}},
         {{"b", kWritable, {kAnn}}},
         "a b "},
        {"without an address", {{"a", kWritable, {}}, {"b", kReadOnly, {}}}, {}, "a "},
        {"only the second address was seen",
         {{"a", kWritable, {kAnn}}},
         {{"b", kReadOnly, {kBob, kAnn}}},
         "a b "},
        {"further addresses of a shown one are remembered",
         {{"a", kReadOnly, {kAnn, kBob}}},
         {{"b", kReadOnly, {kBob}}},
         "a "},
        {"further addresses of a hidden one are not",
         {{"a", kReadOnly, {kAnn}}, {"b", kReadOnly, {kAnn, kBob}}},
         {{"c", kReadOnly, {kBob}}},
         "a c "},
        {"case differs",
         {{"a", kReadOnly, {kAnn}}},
         {{"b", kReadOnly, {"Ann@example.org"}}},
         "a b "},
        {"a store is empty", {}, {{"b", kReadOnly, {kAnn}}}, "b "},
        {"no memory for one", {{"", kWritable, {}}, {"b", kWritable, {}}}, {}, "b "},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CWalk walk({StoreOf(c.first), StoreOf(c.second)});
        EXPECT_EQ(walk.Names(), c.shown);
        EXPECT_TRUE(walk.enumerator->Finish());
        EXPECT_EQ(walk.Names(), c.shown) << "the second walk remembers the first";
    }
}

TEST(CollatedContactEnumeratorTest, VersionIsTheLargestAndOnlyGrows)
{
    static const struct
    {
        const char* what;
        std::uint64_t first, second, expected;
    } kCases[] = {
        {"first", 9, 7, 9},
        {"second", 7, 9, 9},
        {"high half first", 0x1'0000'0000, 0xFFFF'FFFF, 0x1'0000'0000},
        {"high half is signed", 5, 0x8000'0000'0000'0000, 5},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        CWalk walk(std::vector<FakeStore>(2));
        walk.stores[0].version = FileTimeFromCount(c.first);
        walk.stores[0].isNew = false;
        walk.stores[1].version = FileTimeFromCount(c.second);
        EXPECT_TRUE(walk.enumerator->Start(nullptr, nullptr));
        EXPECT_EQ(FileTimeToCount(walk.enumerator->GetVersion()), c.expected);
        walk.stores[0].version = walk.stores[1].version = FileTimeFromCount(1);
        EXPECT_TRUE(walk.enumerator->Start(nullptr, nullptr));
        EXPECT_EQ(FileTimeToCount(walk.enumerator->GetVersion()), c.expected);
    }
}

TEST(CollatedContactEnumeratorTest, PollAsksEachStoreOnceAndStopsAtTheFirstChange)
{
    CWalk walk(std::vector<FakeStore>(3));
    for (FakeStore& store : walk.stores) {
        store.isNew = false;
        store.version = FileTimeFromCount(9);
    }
    const FILETIME since = FileTimeFromCount(5);
    bool changed = true;
    EXPECT_TRUE(walk.enumerator->Start(&since, &changed));
    EXPECT_FALSE(changed || walk.enumerator->IsStarted() || walk.enumerator->MoveNext());
    EXPECT_EQ(walk.enumerator->GetVersion(), FILETIME());
    for (FakeStore& store : walk.stores) {
        EXPECT_EQ(std::exchange(store.calls, ""), "poll:5");
    }

    walk.stores[1].isNew = true;
    EXPECT_TRUE(walk.enumerator->Start(nullptr, &changed));
    EXPECT_TRUE(changed && walk.enumerator->IsStarted());
    EXPECT_EQ(walk.enumerator->GetCurrent(), nullptr);
    EXPECT_EQ(walk.stores[0].calls, "poll:0 open");
    EXPECT_EQ(walk.stores[1].calls, "poll:0") << "it is open already";
    EXPECT_EQ(walk.stores[2].calls, "open");
}

TEST(CollatedContactEnumeratorTest, StartPassesOnAStoresFailure)
{
    CWalk walk(std::vector<FakeStore>(3));
    walk.stores[0].isNew = false;
    walk.stores[1].pollError = ERROR_ACCESS_DENIED;
    bool changed = true;
    EXPECT_FALSE(walk.enumerator->Start(nullptr, &changed));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(changed) << "written by a failed poll";
    EXPECT_FALSE(walk.enumerator->IsStarted());

    walk.stores[1].pollError = 0;
    walk.stores[2].openError = ERROR_SHARING_VIOLATION;
    changed = false;
    EXPECT_FALSE(walk.enumerator->Start(nullptr, &changed));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(changed);
    EXPECT_FALSE(walk.enumerator->IsStarted());
    EXPECT_TRUE(walk.enumerator->Finish());
    EXPECT_TRUE(walk.stores[0].calls.ends_with("open finish"));
    EXPECT_TRUE(walk.stores[1].calls.ends_with("poll:0 finish"));
}

TEST(CollatedContactEnumeratorTest, FinishStopsAtTheFirstStoreThatFails)
{
    CWalk walk({StoreOf({{"a", kReadOnly, {kAnn}}}), FakeStore()});
    EXPECT_EQ(walk.Names(), "a ");
    walk.stores[0].finishError = ERROR_INVALID_HANDLE;
    EXPECT_FALSE(walk.enumerator->Finish());
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(walk.stores[1].calls, "open");
    SetLastError(0);
    EXPECT_TRUE(walk.enumerator->Start(nullptr, nullptr));
    EXPECT_EQ(GetLastError(), 0u) << "Start ignores what Finish says";
}

TEST(CollatedContactEnumeratorTest, HasNoContactWithoutAWalk)
{
    std::vector<FakeStore> stores = {FakeStore(), StoreOf({{"a", kWritable, {}}})};
    stores[0].hasEnumerator = false;
    CWalk walk(stores);
    const auto expectNone = [&](const char* when) {
        EXPECT_FALSE(walk.enumerator->MoveNext()) << when;
        EXPECT_EQ(walk.enumerator->GetCurrent(), nullptr) << when;
        EXPECT_FALSE(walk.enumerator->IsStarted()) << when;
    };
    expectNone("never started");
    EXPECT_EQ(walk.Names(), "a ");
    expectNone("at the end");
    EXPECT_TRUE(walk.enumerator->Start(nullptr, nullptr));
    EXPECT_TRUE(walk.enumerator->MoveNext());
    EXPECT_TRUE(walk.enumerator->Finish() && walk.enumerator->Finish());
    expectNone("finished");
}

TEST(CollatedContactEnumeratorTest, EndsInTheMiddleOfAWalkWithoutATrace)
{
    CWalk walk({StoreOf({{"a", kWritable, {}}}), FakeStore()});
    ASSERT_TRUE(walk.enumerator->Start(nullptr, nullptr) && walk.enumerator->MoveNext());
    EXPECT_EQ(walk.stores[0].live, 3);
    SetLastError(4711);
    walk.enumerator.reset();
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_EQ(walk.stores[0].live, 1) << "the plug-in stays";
    EXPECT_EQ(walk.stores[1].live, 1);
}

TEST(CollatedContactEnumeratorTest, LosesNoContactWhenMemoryIsExhausted)
{
    const char* longAddress = "somebody-with-a-long-name@a-long-domain.example.org";
    const Entries entries = {{"a", kReadOnly, {longAddress, kAnn, kBob}},
                             {"b", kReadOnly, {kAnn}},
                             {"c", kReadOnly, {"c@example.org", longAddress}}};
    int hits = 1;
    for (int number = 1; hits > 0; ++number) {
        SCOPED_TRACE(number);
        CWalk walk({StoreOf(entries)});
        ASSERT_TRUE(walk.enumerator->Start(nullptr, nullptr));
        std::string names;
        for (hits = 0; walk.enumerator->IsStarted();) {
            bool isMoved = false;
            bool isHit = false;
            {
                const CAllocationFault fault(number);
                isMoved = walk.enumerator->MoveNext();
                isHit = fault.WasHit();
            }
            if (isHit) {
                ++hits;
                EXPECT_FALSE(isMoved);
                EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
                EXPECT_EQ(walk.enumerator->GetCurrent(), nullptr);
                isMoved = walk.enumerator->MoveNext();
            }
            if (isMoved) {
                names += walk.enumerator->GetCurrent()->GetId().ToString() + ' ';
            }
        }
        EXPECT_EQ(names, "a c ");
        EXPECT_TRUE(number > 1 || hits > 0) << "no fault was planted";
    }
}

} // namespace
