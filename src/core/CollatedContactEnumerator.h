#pragma once

#include "core/ContactPlg.h"
#include "platform/List.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

inline namespace contactmgr_internal
{

class CContactPlgList;

// One walk over the contacts of all stores, store after store; CContactMgr::GetEnumerator tells
// what it shows. A resource, independent of the manager but not of its stores.
//
// One changed store opens all of them, since every store's contacts count for the duplicates. The
// version is the largest of the stores' versions and only grows. The mailbox directory gives the
// time of its Start as its version. What another store took in just before that, behind its own
// Start, is older than the version of the whole, and a poll finds it with the next change only.
class CCollatedContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    // Takes an enumerator of each store; a store that gives none is passed over. Throws
    // std::bad_alloc.
    explicit CCollatedContactEnumerator(const CContactPlgList& plugins);
    ~CCollatedContactEnumerator() override;

    // False if a store's Start fails, with its last error. Where nothing is new, GetVersion still
    // gives the version of the last walk, zero at first, and not the caller's.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_position != nullptr; }
    // False at the first store that cannot be finished; the ones behind it stay started.
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    bool MoveNext() override;
    // Null without a walk.
    CContact* GetCurrent() override;
    // The sums over all stores.
    CContactPlg::Counts GetPassedOver() override;

private:
    struct CHash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const
        {
            return std::hash<std::string_view>()(text);
        }
    };

    struct CStore
    {
        std::string type;
        std::unique_ptr<CContactPlg::CContactEnumerator> walk;
    };

    bool Begin(const FILETIME* version, bool* changed);
    bool StartStore(const CStore& store, const FILETIME* version, bool* changed);
    bool MoveToNextShown();
    bool IsAnythingNew(const FILETIME& version, bool* isNew);
    bool OpenAll();
    bool FindShown(CContactPlg::CContactEnumerator& store) const;
    void AddFaultsOf(const CStore& store, std::uint32_t error);
    bool IsShown(CContact& contact) const;
    void Remember(CContact& contact);

    CList<CStore> m_stores;
    POSITION m_position = nullptr;
    FILETIME m_version;
    std::unordered_set<std::string, CHash, std::equal_to<>> m_seen;
    bool m_isFound = false; // the store's current contact is the next to give, not remembered yet
};

} // namespace contactmgr_internal
