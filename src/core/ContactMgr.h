#pragma once

#include "core/Contact.h"
#include "core/ContactId.h"
#include "core/ContactPlg.h"
#include "platform/Export.h"
#include "platform/LastError.h"
#include "platform/Types.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <string>

inline namespace contactmgr_internal
{
class CContactMgrImpl;
} // namespace contactmgr_internal

class CMailbox;

// One address book for one open mailbox: opens, creates and deletes contacts by identifier, tells
// what changed, and walks all contacts of all stores. A resource.
//
// The stores are those that the mailbox property "EnabledContactPlugins" enables, a mask. They do
// not change during a manager's life.
//
//   1  "VCARDPAB"   the personal address book
//   2  "TRELLISV7"  the older web client's contacts
//   4  "UserStore"  the mailboxes of the domain
//   8  "INBOX"      the senders of the messages in "INBOX"
//
// Without the property, or where it cannot be read, the mask is 11: all but the mailboxes.
//
// The mailbox stays the caller's and outlives the manager; enumerators and contacts end before the
// manager. A manager and all that came from it are used by one thread at a time; different threads
// may use managers of their own over one mailbox.
//
// A false or null result leaves its reason in the last error: ERROR_NOT_ENOUGH_MEMORY (8) where
// memory is exhausted, else as each operation says. Some refusals leave the last error as it was: a
// contact of the address book that was deleted, or whose file is no vCard 3.0, and an identifier
// without the parts that its store needs. So set it to 0 before a call whose reason you want.
//
// An identifier of the older web client's store names its mailbox itself, and one of the domain's
// mailboxes names its domain. A caller who takes identifiers from outside checks them.
class CONTACTMGR_API CContactMgr : public CTracedAllocation
{
public:
    explicit CContactMgr(CMailbox& mailbox);
    ~CContactMgr();
    CContactMgr(const CContactMgr&) = delete;
    CContactMgr& operator=(const CContactMgr&) = delete;

    // Opens a contact in the store that owns the identifier. *contact comes in as null or as a
    // contact that the caller gives up: on success that one is destroyed, and the new one, which is
    // the caller's, takes its place. A null `contact` only asks whether it opens.
    //
    // A contact of the address book is locked as long as its object lives, also against other
    // processes; another open fails with ERROR_SHARING_VIOLATION (32) at once. A child process that
    // was forked meanwhile keeps the lock until it ends or calls exec.
    //
    // Last error ERROR_NOT_FOUND (1168): no enabled store owns the identifier;
    // ERROR_FILE_NOT_FOUND (2): there was never such a contact, or its message has gone;
    // ERROR_INVALID_PARAMETER (87): the identifier holds no number, or a name that can be no
    // mailbox; ERROR_INVALID_DATA (13): no mail address in it; else of the file or the mail store.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact);

    // Makes a contact in the personal address book. It is the caller's, is locked as above, and
    // stands there once it is saved. The template, a contact of any store, may be null and is only
    // read: its properties and its four lists are copied. After null a number may be used up. Last
    // error ERROR_NOT_SUPPORTED (50): the personal address book is not enabled;
    // ERROR_INVALID_PARAMETER (87): no number could be claimed, as in a folder that may not be
    // written; else of the folder, the file, or the template.
    CContact* CreateContact(CContact* contact);

    // Deletes a contact of the address book, or removes the message of an older web client's one.
    // Last errors as OpenContact; ERROR_NOT_SUPPORTED (50): its store removes nothing. Deleting a
    // deleted contact is success.
    bool DeleteContact(ContactMgr::CContactId id);

    // What changed since a version in the store of that type, compared with case: only the address
    // book ("VCARDPAB") can tell. The identifiers are appended to the lists. *version becomes what
    // to hand in as `since` the next time; the first time that is zero.
    //
    // A contact that was created and deleted since then is in no list. One that was made before the
    // version and first saved behind it is in `changed`: take a changed contact that you do not
    // know for a new one, and pass over a deleted one that you do not know. Last error
    // ERROR_NOT_FOUND (1168): no such store is enabled; ERROR_NOT_SUPPORTED (50): it keeps no
    // changes; ERROR_INVALID_PARAMETER (87): a null pointer. After another failure the lists keep
    // what was found so far.
    bool ChangesSince(std::string pluginType, FILETIME since, FILETIME* version,
                      ContactMgr::CContactIdList* deleted, ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created);

    // The type of the store where new contacts go; empty without one.
    std::string GetPermanentPluginType() const;

    // A walk of all stores as one, in the order of the table above. It is the caller's; several may
    // be there at once. Null when memory is exhausted.
    //
    // Start with a version asks each store whether it has anything newer; if none has, nothing
    // opens. One that has opens all of them. The version of the walk is the largest of the stores'.
    //
    // The walk shows every contact of the address book that it can open. It passes over one that
    // somebody holds, and a file that is damaged or may not be written. Of the other stores it
    // shows a contact only if it has an e-mail address, and if no contact shown before has the
    // first of its addresses; addresses compare with case (CRfc822Address::RawAddress). A store
    // that fails in the middle of a walk looks like that store's end, so a message of another
    // program in the older web client's folder ends that store. What was passed over for a fault,
    // and where a store ended before its end, stands in GetFaults of the walk
    // (CContactPlg::CWalkFault).
    //
    // MoveNext gives false at the end, and the last error then says nothing, except
    // ERROR_NOT_ENOUGH_MEMORY (8): the walk is then still open, but a contact may be missing; begin
    // anew. A contact that a store took in while the walk was opening may be missing from it, and
    // is then told by a poll with that store's next change.
    CContactPlg::CContactEnumerator* GetEnumerator() const;

    // From now on each change of a contact in this process is flushed to the disk before it counts
    // as done, and survives a power cut. Off at start: a power cut can then lose the saves of the
    // last seconds, and no older ones. Call it before other threads use the library.
    static void FlushEachChange() noexcept;

private:
    CContactMgrImpl* m_impl;
};
