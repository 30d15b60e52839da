#include "core/CollatedContactEnumerator.h"

#include "core/StoreFactories.h"
#include "mailheader/MailHeaderContact.h"
#include "platform/LastError.h"
#include "support/AllocationFault.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace
{

constexpr bool kWritable = false;
constexpr bool kReadOnly = true;
constexpr const char* kAnn = "ann@x.y";
constexpr const char* kBob = "bob@x.y";

// A contact of a fake store. One without a name stands for a contact that found no memory.
struct FakeEntry
{
    std::string name;
    bool isReadOnly;
    std::vector<const char*> emails;
};
using Entries = std::vector<FakeEntry>;

// What a fake store holds, the call that it refuses, and in `calls` what was asked of it.
struct FakeStore
{
    Entries entries;
    FILETIME version = FileTimeFromCount(1);
    std::string failing, calls;

    bool Call(const std::string& call)
    {
        calls += call + ' ';
        SetLastError(ERROR_ACCESS_DENIED);
        return call != failing;
    }
};

struct CFakeContact : CMailHeaderContact
{
    explicit CFakeContact(const FakeEntry& content) : CMailHeaderContact({}), entry(content)
    {
        m_emails.RemoveAll();
        for (const char* text : entry.emails) {
            m_emails.AddTail(CContactEmail());
            m_emails.GetTail().GetAddress().Parse(text);
        }
    }
    ContactMgr::CContactId GetId() override { return entry.name; }
    bool IsReadOnly() override { return entry.isReadOnly; }

    const FakeEntry entry;
};

// Makes its contacts at Start, so that MoveNext allocates nothing.
class CFakeEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CFakeEnumerator(FakeStore& store) : m_store(store) {}

    bool Start(const FILETIME* version, bool* changed) override
    {
        m_contacts.clear();
        m_reached = 0;
        const bool isPoll = version != nullptr;
        const bool isDone =
            m_store.Call(isPoll ? "poll:" + std::to_string(FileTimeToCount(*version)) : "open");
        m_isStarted = isDone && (!isPoll || m_store.version > *version);
        if (isPoll) {
            *changed = m_isStarted;
        }
        for (const FakeEntry& entry : m_store.entries) {
            m_contacts.push_back(std::make_unique<CFakeContact>(entry));
        }
        return isDone;
    }
    bool IsStarted() override { return m_isStarted; }
    bool Finish() override
    {
        m_isStarted = m_isStarted && !m_store.Call("finish");
        return !m_isStarted;
    }
    FILETIME GetVersion() override { return m_store.version; }
    bool MoveNext() override
    {
        SetLastError(ERROR_NO_MORE_FILES);
        return m_isStarted && ++m_reached <= m_contacts.size();
    }
    CContact* GetCurrent() override
    {
        CFakeContact* found = m_reached == 0 ? nullptr : m_contacts.at(m_reached - 1).get();
        return found == nullptr || found->entry.name.empty() ? nullptr : found;
    }

private:
    FakeStore& m_store;
    bool m_isStarted = false;
    std::size_t m_reached = 0; // contacts that were current, with the present one
    std::vector<std::unique_ptr<CFakeContact>> m_contacts;
};

// A store that has nothing but an enumerator.
class CFakePlugin final : public CContactPlg
{
public:
    using Maker = std::function<CContactEnumerator*()>;
    explicit CFakePlugin(Maker make) : m_make(std::move(make)) {}
    static void Release(CContactPlg* plugin) { delete static_cast<CFakePlugin*>(plugin); }

    std::string GetPluginType() override { return "FAKE"; }
    bool OwnsContact(ContactMgr::CContactId) override { return false; }
    bool OpenContact(ContactMgr::CContactId, CContact**) override { return false; }
    CContactEnumerator* GetEnumerator() override { return m_make(); }

private:
    const Maker m_make;
};

// Three fake stores, one without an enumerator between them, and the enumerator over them.
struct CCollatedContactEnumeratorTest : testing::Test
{
    CCollatedContactEnumeratorTest()
    {
        Add([this] { return new CFakeEnumerator(stores[0]); });
        Add([] { return nullptr; });
        Add([this] { return new CFakeEnumerator(stores[1]); });
        Add([this] { return new CFakeEnumerator(stores[2]); });
        walk = std::make_unique<CCollatedContactEnumerator>(plugins);
    }
    void Add(CFakePlugin::Maker make)
    {
        plugins.AddTail(CContactPlgOwner(new CFakePlugin(std::move(make)), CFakePlugin::Release));
    }

    // All names of a new walk.
    std::string Names()
    {
        std::string names;
        EXPECT_TRUE(walk->Start(nullptr, nullptr));
        while (walk->MoveNext()) {
            names += walk->GetCurrent()->GetId().ToString() + ' ';
        }
        return names;
    }

    FakeStore stores[3];
    CContactPlgList plugins;
    std::unique_ptr<CContactPlg::CContactEnumerator> walk;
};

TEST_F(CCollatedContactEnumeratorTest, ReadOnlyContactIsShownOnlyWithANewFirstAddress)
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
        {"writable ones are never hidden",
         {{"a", kReadOnly, {kAnn}}},
         {{"b", kWritable, {kAnn}}, {"c", kWritable, {kAnn}}},
         "a b c "},
        {"without an address", {{"a", kWritable, {}}, {"b", kReadOnly, {}}}, {}, "a "},
        {"only the second address was seen",
         {{"a", kWritable, {kAnn}}},
         {{"b", kReadOnly, {kBob, kAnn}}},
         "a b "},
        {"further addresses of a shown one are remembered",
         {{"a", kReadOnly, {kAnn, kBob}}},
         {{"b", kReadOnly, {kBob}}},
         "a "},
        {"no memory for one", {{"", kWritable, {}}, {"b", kWritable, {}}}, {}, "b "},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        stores[0].entries = c.first;
        stores[2].entries = c.second;
        EXPECT_EQ(Names(), c.shown);
        EXPECT_EQ(Names(), c.shown) << "the second walk remembers the first";
    }
}

TEST_F(CCollatedContactEnumeratorTest, VersionIsTheLargestAndOnlyGrows)
{
    static const struct
    {
        std::uint64_t first, last, expected;
    } kCases[] = {{9, 7, 9},
                  {7, 10, 10},
                  {0x1'0000'0000, 0xFFFF'FFFF, 0x1'0000'0000},
                  {5, 0x8000'0000'0000'0000, 0x1'0000'0000}}; // the high half is signed
    for (const auto& c : kCases) {
        stores[0].version = FileTimeFromCount(c.first);
        stores[2].version = FileTimeFromCount(c.last);
        EXPECT_TRUE(walk->Start(nullptr, nullptr));
        EXPECT_EQ(FileTimeToCount(walk->GetVersion()), c.expected);
    }
}

TEST_F(CCollatedContactEnumeratorTest, PollAsksEachStoreOnceAndStopsAtTheFirstChange)
{
    const FILETIME since = FileTimeFromCount(5);
    bool changed = true;
    EXPECT_TRUE(walk->Start(&since, &changed));
    EXPECT_FALSE(changed || walk->IsStarted() || walk->MoveNext());
    EXPECT_EQ(walk->GetVersion(), FILETIME());
    for (FakeStore& store : stores) {
        EXPECT_EQ(std::exchange(store.calls, ""), "poll:5 ");
    }

    stores[1].version = FileTimeFromCount(6);
    EXPECT_TRUE(walk->Start(&since, &changed));
    EXPECT_TRUE(changed && walk->IsStarted());
    EXPECT_EQ(walk->GetCurrent(), nullptr);
    EXPECT_EQ(stores[0].calls, "poll:5 open ");
    EXPECT_EQ(stores[1].calls, "poll:5 ") << "it is open already";
    EXPECT_EQ(stores[2].calls, "open ");
}

TEST_F(CCollatedContactEnumeratorTest, AStoresFailureEndsTheCall)
{
    const FILETIME never;
    stores[0].version = never;
    stores[1].failing = "poll:0";
    bool changed = true;
    EXPECT_FALSE(walk->Start(&never, &changed));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(changed) << "written by a failed poll";
    EXPECT_FALSE(walk->IsStarted());

    stores[1].failing = "";
    stores[0].failing = stores[2].failing = "finish";
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_FALSE(walk->Finish());
    EXPECT_TRUE(stores[1].calls.ends_with("poll:0 ")) << "still open";
    EXPECT_TRUE(walk->Start(nullptr, nullptr)) << "Start ignores what Finish says";
}

TEST_F(CCollatedContactEnumeratorTest, LosesNoContactWhenMemoryIsExhausted)
{
    const char* longAddress = "somebody-with-a-long-name@a-long-domain.example.org";
    stores[0].entries = {{"a", kReadOnly, {longAddress, kAnn, kBob}},
                         {"b", kReadOnly, {kAnn}},
                         {"c", kReadOnly, {"c@example.org", longAddress}}};
    int hits = 1;
    for (int number = 1; hits > 0; ++number) {
        SCOPED_TRACE(number);
        ASSERT_TRUE(walk->Start(nullptr, nullptr));
        std::string names;
        for (hits = 0; walk->IsStarted();) {
            auto fault = std::make_unique<CAllocationFault>(number);
            bool isMoved = walk->MoveNext();
            const bool isHit = fault->WasHit();
            fault.reset();
            if (isHit) {
                ++hits;
                EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
                EXPECT_TRUE(!isMoved && walk->GetCurrent() == nullptr);
                isMoved = walk->MoveNext();
            }
            names += isMoved ? walk->GetCurrent()->GetId().ToString() + ' ' : "";
        }
        EXPECT_EQ(names, "a c ");
        EXPECT_TRUE(number > 1 || hits > 0) << "no fault was planted";
    }
}

} // namespace
