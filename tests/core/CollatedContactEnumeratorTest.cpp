#include "core/CollatedContactEnumerator.h"

#include "core/StoreFactories.h"
#include "mailheader/MailHeaderContact.h"
#include "platform/LastError.h"
#include "support/AllocationFault.h"
#include "support/ContactText.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

constexpr bool kWritable = false, kReadOnly = true;
constexpr const char *kAnn = "ann@x.y", *kBob = "bob@x.y";

// One without a name stands for a contact that found no memory.
struct CFakeContact : CMailHeaderContact
{
    CFakeContact(const char* name, bool isReadOnly, std::initializer_list<const char*> emails)
        : CMailHeaderContact({}), m_name(name), m_isReadOnly(isReadOnly)
    {
        m_emails.RemoveAll();
        for (const char* text : emails) {
            m_emails.AddTail(CContactEmail());
            m_emails.GetTail().GetAddress().Parse(text);
        }
    }
    ContactMgr::CContactId GetId() override { return m_name; }
    bool IsReadOnly() override { return m_isReadOnly; }

    const char* const m_name;
    const bool m_isReadOnly;
};
using Contacts = std::vector<std::shared_ptr<CFakeContact>>;

std::shared_ptr<CFakeContact> Fake(const char* name, bool isReadOnly,
                                   std::initializer_list<const char*> emails)
{
    return std::shared_ptr<CFakeContact>(new CFakeContact(name, isReadOnly, emails));
}

// A store that has nothing but a walk. It remembers what was asked of that.
struct CFakeStore final : CContactPlg
{
    std::string GetPluginType() override { return "FAKE"; }
    bool OwnsContact(ContactMgr::CContactId) override { return false; }
    bool OpenContact(ContactMgr::CContactId, CContact**) override { return false; }
    CContactEnumerator* GetEnumerator() override;

    bool Call(const std::string& call)
    {
        calls += call + ' ';
        SetLastError(ERROR_ACCESS_DENIED);
        return call != failing;
    }

    Contacts contacts;
    FILETIME version = FileTimeFromCount(1);
    std::string failing, calls;
    std::uint32_t endError = ERROR_NO_MORE_FILES;
    bool hasWalk = true;
};

class CFakeEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CFakeEnumerator(CFakeStore& store) : m_store(store) {}

    bool Start(const FILETIME* version, bool* changed) override
    {
        m_reached = 0;
        const bool isPoll = version != nullptr;
        const bool isDone =
            m_store.Call(isPoll ? "poll:" + std::to_string(FileTimeToCount(*version)) : "open");
        m_isStarted = isDone && (!isPoll || m_store.version > *version);
        if (isPoll) {
            *changed = m_isStarted;
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
        SetLastError(m_store.endError);
        return m_isStarted && ++m_reached <= m_store.contacts.size();
    }
    CContact* GetCurrent() override
    {
        CFakeContact* found = m_reached == 0 ? nullptr : m_store.contacts.at(m_reached - 1).get();
        return found == nullptr || *found->m_name == '\0' ? nullptr : found;
    }

private:
    CFakeStore& m_store;
    bool m_isStarted = false;
    std::size_t m_reached = 0; // contacts that were current, with the present one
};

CContactPlg::CContactEnumerator* CFakeStore::GetEnumerator()
{
    return hasWalk ? new CFakeEnumerator(*this) : nullptr;
}

// Three fake stores, one without a walk between them, and the enumerator over them.
struct CCollatedContactEnumeratorTest : testing::Test
{
    CCollatedContactEnumeratorTest()
    {
        other.hasWalk = false;
        for (CFakeStore* store : {&stores[0], &other, &stores[1], &stores[2]}) {
            plugins.AddTail(CContactPlgOwner(store, [](CContactPlg*) {}));
        }
        walk = std::make_unique<CCollatedContactEnumerator>(plugins);
    }

    CFakeStore stores[3], other;
    CContactPlgList plugins;
    std::unique_ptr<CContactPlg::CContactEnumerator> walk;
};

TEST_F(CCollatedContactEnumeratorTest, ReadOnlyContactIsShownOnlyWithANewFirstAddress)
{
    static const struct
    {
        const char* what;
        Contacts first, second;
        const char* shown;
    } kCases[] = {
        {"the book's entry hides the mailbox",
         {Fake("book", kWritable, {kAnn})},
         {Fake("box", kReadOnly, {kAnn}), Fake("other", kReadOnly, {kBob})},
         "book; other; "},
        {"writable ones are never hidden",
         {Fake("a", kReadOnly, {kAnn})},
         {Fake("b", kWritable, {kAnn}), Fake("c", kWritable, {kAnn})},
         "a; b; c; "},
        {"without an address", {Fake("a", kWritable, {}), Fake("b", kReadOnly, {})}, {}, "a; "},
        {"further addresses of a shown one alone are remembered",
         {Fake("a", kReadOnly, {kAnn, kBob})},
         {Fake("b", kReadOnly, {kBob}), Fake("c", kReadOnly, {"c@x.y", kAnn})},
         "a; c; "},
        {"no memory for one", {Fake("", kWritable, {}), Fake("b", kWritable, {})}, {}, "b; "},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        stores[0].contacts = c.first;
        stores[2].contacts = c.second;
        for (int round = 0; round < 2; ++round) { // the second remembers nothing of the first
            EXPECT_TRUE(walk->Start(nullptr, nullptr));
            EXPECT_EQ(IdsOf(*walk), c.shown);
        }
    }
}

TEST_F(CCollatedContactEnumeratorTest, VersionIsTheLargestAndOnlyGrows)
{
    static constexpr std::uint64_t kCases[][3] = {
        {9, 7, 9},
        {7, 10, 10},
        {0x1'0000'0000, 0xFFFF'FFFF, 0x1'0000'0000},
        {5, 0x8000'0000'0000'0000, 0x1'0000'0000}, // the high half is signed
    };
    for (const auto& [first, last, expected] : kCases) {
        stores[0].version = FileTimeFromCount(first);
        stores[2].version = FileTimeFromCount(last);
        EXPECT_TRUE(walk->Start(nullptr, nullptr));
        EXPECT_EQ(FileTimeToCount(walk->GetVersion()), expected);
    }
}

TEST_F(CCollatedContactEnumeratorTest, PollAsksEachStoreOnceAndStopsAtTheFirstChange)
{
    const FILETIME since = FileTimeFromCount(5);
    bool changed = true;
    SetLastError(4711);
    EXPECT_TRUE(walk->Start(&since, &changed));
    EXPECT_FALSE(changed || walk->IsStarted() || walk->MoveNext());
    EXPECT_EQ(walk->GetVersion(), FILETIME());
    for (CFakeStore& store : stores) {
        EXPECT_EQ(std::exchange(store.calls, ""), "poll:5 ");
    }

    stores[1].version = FileTimeFromCount(6);
    stores[1].contacts = {Fake("a", kWritable, {})};
    EXPECT_TRUE(walk->Start(&since, &changed));
    EXPECT_TRUE(changed && walk->IsStarted());
    EXPECT_EQ(walk->GetCurrent(), nullptr);
    EXPECT_EQ(stores[0].calls, "poll:5 open ");
    EXPECT_EQ(stores[1].calls, "poll:5 ") << "it is open already";
    EXPECT_EQ(stores[2].calls, "open ");
    EXPECT_TRUE(walk->MoveNext());
    EXPECT_EQ(GetLastError(), 4711u) << "every fake store set another one";
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
    EXPECT_EQ(FaultsOf(*walk), "FAKE 5 end; ");

    stores[1].failing = "";
    stores[2].failing = "open";
    EXPECT_FALSE(walk->Start(nullptr, &changed));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(changed);
    EXPECT_FALSE(walk->IsStarted() || walk->MoveNext());

    stores[2].failing = "";
    stores[1].endError = ERROR_IO_DEVICE;
    stores[2].contacts = {Fake("a", kWritable, {})};
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_EQ(IdsOf(*walk), "a; ") << "the walk goes on with the next store";
    EXPECT_TRUE(walk->Finish());
    EXPECT_EQ(FaultsOf(*walk), "FAKE 1117 end; ");

    stores[0].failing = stores[2].failing = "finish";
    EXPECT_TRUE(walk->Start(nullptr, nullptr));
    EXPECT_FALSE(walk->Finish());
    EXPECT_TRUE(stores[1].calls.ends_with("poll:0 ")) << "still open";
    EXPECT_TRUE(walk->Start(nullptr, nullptr)) << "Start ignores what Finish says";
}

TEST_F(CCollatedContactEnumeratorTest, LosesNoContactWhenMemoryIsExhausted)
{
    const char* longAddress = "somebody-with-a-long-name@a-long-domain.example.org";
    stores[0].contacts = {Fake("a", kReadOnly, {longAddress, kAnn, kBob}),
                          Fake("b", kReadOnly, {kAnn}),
                          Fake("c", kReadOnly, {"c@example.org", longAddress})};
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
