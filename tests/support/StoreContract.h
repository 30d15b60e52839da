#pragma once

#include "core/ContactPlg.h"
#include "platform/LastError.h"
#include "support/TestMailStore.h"
#include "trace/MemoryDebugging.h"

#include <gtest/gtest.h>

#include <memory>

// One of alice's contact stores, and a walk over it.
template <class Plugin>
struct CStoreTest : testing::Test
{
    // The contact of the identifier; null where it does not open.
    std::unique_ptr<CContact> Open(const ContactMgr::CContactId& id)
    {
        CContact* contact = nullptr;
        plugin.OpenContact(id, &contact);
        return std::unique_ptr<CContact>(contact);
    }

    CTestMailStore store;
    CMailbox alice = store.OpenAlice();
    Plugin plugin{alice};
    const std::unique_ptr<CContactPlg::CContactEnumerator> walk{plugin.GetEnumerator()};
};

// What every store promises alike, checked of one that has a contact. `good` opens; `bad` is the
// store's, but does not.
inline void ExpectKeepsTheContract(CContactPlg& store, const ContactMgr::CContactId& good,
                                   const ContactMgr::CContactId& bad)
{
    const std::size_t before = CMemoryDebugging::LiveBlocks();
    EXPECT_TRUE(store.OpenContact(good, nullptr));
    EXPECT_FALSE(store.OpenContact(bad, nullptr));
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before);

    CContact* contact = nullptr;
    ASSERT_TRUE(store.OpenContact(good, &contact));
    EXPECT_EQ(contact->GetId(), good);
    const std::size_t withOne = CMemoryDebugging::LiveBlocks();
    CContact* const first = contact;
    SetLastError(4711);
    EXPECT_FALSE(store.OpenContact(ContactMgr::CContactId("OTHER-1"), &contact));
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_FALSE(store.OpenContact(bad, &contact));
    EXPECT_EQ(contact, first);
    EXPECT_TRUE(store.OpenContact(good, &contact));
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), withOne) << "the old contact was not destroyed";
    delete contact;

    std::unique_ptr<CContactPlg::CContactEnumerator> walk(store.GetEnumerator());
    EXPECT_FALSE(walk->MoveNext());
    EXPECT_EQ(walk->GetCurrent(), nullptr);
    EXPECT_TRUE(walk->Finish());
    bool changed = false;
    ASSERT_TRUE(walk->Start(nullptr, &changed));
    EXPECT_TRUE(changed && walk->IsStarted());
    ASSERT_TRUE(walk->MoveNext());
    const ContactMgr::CContactId id = walk->GetCurrent()->GetId();
    while (walk->MoveNext()) {
    }
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(walk->Start(nullptr, nullptr) && walk->MoveNext()) << "anew, without Finish";
    EXPECT_EQ(walk->GetCurrent()->GetId(), id);
    EXPECT_TRUE(walk->Finish() && walk->Finish());
    EXPECT_EQ(walk->GetCurrent(), nullptr);
    EXPECT_FALSE(walk->IsStarted() || walk->MoveNext());

    FILETIME version = walk->GetVersion();
    EXPECT_TRUE(walk->Start(&version, &changed));
    EXPECT_FALSE(changed || walk->IsStarted() || walk->MoveNext());
    EXPECT_EQ(walk->GetVersion(), version);
    walk.reset();
    EXPECT_EQ(CMemoryDebugging::LiveBlocks(), before) << "ended in the middle of a walk";

    ContactMgr::CContactIdList ids;
    SetLastError(4711);
    EXPECT_EQ(store.CreateContact(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_FALSE(store.ChangesSince({}, &version, &ids, &ids, &ids));
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}
