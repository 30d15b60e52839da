#pragma once

#include "core/ContactPlg.h"
#include "platform/List.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>

class CContactPlgList;

// One walk over the contacts of all stores, store after store. A contact that can be changed is
// always shown. A read-only one is shown only if its first e-mail address has not been seen in this
// walk, in whatever store; one without an address never is. Addresses compare exactly
// (CRfc822Address::RawAddress).
//
// The version of the whole is the largest of the stores' versions and only grows. A poll that finds
// nothing new asks each store once and opens nothing; one changed store opens all of them, since
// every store's contacts count for the duplicates. Since a store may give the time of its Start as
// its version (the mailbox directory does), a contact that another store took in between its own
// Start and that one is older than the version of the whole: the walk lacks it, and a poll finds it
// with that store's next change only. A store that fails in the middle of a walk looks like that
// store's end. A resource, independent of the manager but not of its stores.
class CCollatedContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    // Takes an enumerator of each store; a store that gives none is passed over. Throws
    // std::bad_alloc.
    explicit CCollatedContactEnumerator(const CContactPlgList& plugins);
    ~CCollatedContactEnumerator() override;

    // False if a store's Start fails, with its last error. Where nothing is new GetVersion keeps
    // what the last walk gave, zero at first, and not the caller's version.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_position != nullptr; }
    // False at the first store that cannot be finished; the ones behind it are then still open.
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    // After ERROR_NOT_ENOUGH_MEMORY (8) the walk is still open (IsStarted), but may have lost the
    // contact that was due: begin anew.
    bool MoveNext() override;
    // Null without a walk.
    CContact* GetCurrent() override;

private:
    struct CHash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const
        {
            return std::hash<std::string_view>()(text);
        }
    };

    bool IsAnythingNew(const FILETIME& version, bool* isNew);
    bool OpenAll();
    bool FindShown(CContactPlg::CContactEnumerator& store) const;
    bool IsShown(CContact& contact) const;
    void Remember(CContact& contact);

    CList<std::unique_ptr<CContactPlg::CContactEnumerator>> m_stores;
    POSITION m_position = nullptr;
    FILETIME m_version;
    std::unordered_set<std::string, CHash, std::equal_to<>> m_seen;
    bool m_isFound = false; // the store's current contact is the next to give, not remembered yet
};
