#pragma once

#include "core/Contact.h"
#include "core/ContactId.h"
#include "platform/Export.h"
#include "platform/Types.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Walks items, and tells first whether there is anything new since a version that the caller
// holds. A version is opaque: keep the one that a walk gave, and hand it to the next Start. A
// resource, destroyed through its destructor, which also finishes it; used by one thread at a time.
//
// False leaves its reason in the last error; true leaves the last error as it was, except in the
// Start of a single store that finds nothing new. Where memory ends, the walk that a manager gives
// leaves ERROR_NOT_ENOUGH_MEMORY (8); the walks of its stores throw std::bad_alloc.
template <class Item, class Version>
class CONTACTMGR_API CVersionedEnumerator : public CTracedAllocation
{
public:
    CVersionedEnumerator() = default;
    CVersionedEnumerator(const CVersionedEnumerator&) = delete;
    CVersionedEnumerator& operator=(const CVersionedEnumerator&) = delete;
    virtual ~CVersionedEnumerator() = default;

    // Begins anew, whatever was open. Where nothing is newer than the version, *changed becomes
    // false, nothing opens, and the result is true. Otherwise *changed becomes true and the walk is
    // open, with no current item yet. `changed` may be null. A null version stands for zero in the
    // walk of a manager, and opens without asking in that of a store. The address book's own walk
    // asks only where both pointers are given. A store that does not exist yet is no failure: true,
    // no change.
    virtual bool Start(const Version* version, bool* changed) = 0;
    virtual bool IsStarted() = 0;
    // Closes the walk and destroys the current item; true if nothing is open. False leaves it open.
    virtual bool Finish() = 0;
    // What the last Start arrived at; Finish does not touch it.
    virtual Version GetVersion() = 0;
    // True with the next item current, the one before it destroyed; false at the end, on failure,
    // and with no walk open.
    virtual bool MoveNext() = 0;
    // The current item. It stays the enumerator's, until the next MoveNext, Finish or Start. Only
    // to be asked for after a MoveNext that gave true.
    virtual Item* GetCurrent() = 0;
};

// A contact store, as the manager sees it. It ends after all that came from it. Where memory ends
// its operations throw std::bad_alloc; the manager, through which callers come, answers with
// ERROR_NOT_ENOUGH_MEMORY (8). Callers use CContactMgr, and of this class the enumerator alone.
class CONTACTMGR_API CContactPlg : public CTracedAllocation
{
public:
    // How many of something, by its name.
    using Counts = std::map<std::string, std::size_t>;

    // What a walk did not show because it could not be read. A value.
    struct CWalkFault
    {
        std::string store; // its type; only in the walk of a manager
        std::string item;  // the contact's identifier, or the id of a message in a mail folder;
                           // empty: the store as a whole
        std::uint32_t error = 0; // its last error; 0: as OpenContact of the store leaves it
        bool endsStore = false;  // nothing of the store behind it was shown
    };
    using CWalkFaults = std::vector<CWalkFault>;

    class CContactEnumerator : public CVersionedEnumerator<CContact, FILETIME>
    {
    public:
        // How many messages the walk has passed over so far since it does not read the compression
        // that they are stored in: "bzip2", "xz", "lz4" or "zstd". Kept until the next Start. Empty
        // in a store that keeps no messages.
        virtual Counts GetPassedOver() { return {}; }

        // All else that it did not show, in the order of the walk; kept until the next Start. A
        // contact that was deleted just then may be among them.
        const CWalkFaults& GetFaults() const { return m_faults; }

    protected:
        CWalkFaults m_faults;
    };

    // The store's type: the namespace of its identifiers.
    virtual std::string GetPluginType() = 0;
    virtual bool OwnsContact(ContactMgr::CContactId id) = 0;

    // On success the object behind *contact, if any, is destroyed, and the new contact, which is
    // the caller's, takes its place. A null `contact` only asks whether it opens. After failure
    // *contact is as it was. For another store's identifier the last error stays as it was.
    virtual bool OpenContact(ContactMgr::CContactId id, CContact** contact) = 0;

    // Makes a contact, which is the caller's, or gives null. The template may be null, and is only
    // read: its supported properties and its four lists are copied. A store that makes none gives
    // null and leaves the last error as it was.
    virtual CContact* CreateContact(CContact* contact);

    // Last error ERROR_NOT_SUPPORTED (50), here and below: the store cannot do it.
    virtual bool DeleteContact(ContactMgr::CContactId id);

    // Appends the identifiers of the contacts deleted, changed and created after `since`, and gives
    // the store's version, to be handed in as `since` the next time.
    virtual bool ChangesSince(FILETIME since, FILETIME* version,
                              ContactMgr::CContactIdList* deleted,
                              ContactMgr::CContactIdList* changed,
                              ContactMgr::CContactIdList* created);

    // A new enumerator, the caller's. It ends before the store.
    virtual CContactEnumerator* GetEnumerator() = 0;

protected:
    CContactPlg() = default;
    CContactPlg(const CContactPlg&) = delete;
    CContactPlg& operator=(const CContactPlg&) = delete;
    ~CContactPlg() = default;
};
