#pragma once

#include "core/Contact.h"
#include "core/ContactId.h"
#include "core/ContactPlg.h"
#include "platform/Types.h"
#include "trace/MemoryDebugging.h"

#include <cstddef>
#include <cstdint>
#include <string>

class CContactMgrImpl;
class CMailbox;

// One address book for one open mailbox: opens, creates and deletes contacts by identifier, tells
// what changed, and walks all contacts of all stores. The stores are those that the mailbox
// property "EnabledContactPluginsEffective" enables, a mask: 1 the personal address book
// ("VCARDPAB"), 2 the older web client's contacts ("TRELLISV7"), 4 the mailboxes of the domain
// ("UserStore"), 8 the senders in "INBOX" ("INBOX"); 11 where the property cannot be read. They do
// not change during a manager's life.
//
// The mailbox stays the caller's and outlives the manager; enumerators and contacts end before the
// manager. A manager and all that came from it are used by one thread at a time; different threads
// may use managers of their own over one mailbox. A contact of the personal address book is locked
// while its object lives. A child process that was forked meanwhile keeps it locked until it ends
// or calls exec. A false or null result leaves its reason in the last error; 8 means exhausted
// memory everywhere.
//
// An identifier of the older web client's store names its mailbox itself, and one of the domain's
// mailboxes names its domain. A caller who takes identifiers from outside checks them.
class CContactMgr : public CTracedAllocation
{
public:
    explicit CContactMgr(CMailbox& mailbox);
    ~CContactMgr();
    CContactMgr(const CContactMgr&) = delete;
    CContactMgr& operator=(const CContactMgr&) = delete;

    // Opens a contact in the store that owns the identifier. In-out: on success the object behind
    // *contact, if any, is destroyed and the new one, which is the caller's, takes its place; a
    // null `contact` only asks whether it opens. Last error 1168: no store owns it; else the
    // store's.
    bool OpenContact(ContactMgr::CContactId id, CContact** contact);

    // Makes a contact in the personal address book; it is the caller's, and stands there once it is
    // saved. The template, of any store, may be null, and is only read. Null with last error 50
    // where the personal address book is not enabled; else the store's.
    CContact* CreateContact(CContact* contact);

    // Last error 1168: no store owns the identifier; 50: its store removes nothing; else the
    // store's.
    bool DeleteContact(ContactMgr::CContactId id);

    // The changes of the store of that type, compared with case, since a version; see
    // CContactPlg::ChangesSince. Last error 1168: no such store; 50: it keeps no changes; 87: a
    // null pointer.
    bool ChangesSince(std::string pluginType, FILETIME since, FILETIME* version,
                      ContactMgr::CContactIdList* deleted, ContactMgr::CContactIdList* changed,
                      ContactMgr::CContactIdList* created);

    // The type of the store where new contacts go; empty without one.
    std::string GetPermanentPluginType() const;

    // A walk of all stores as one (core/CollatedContactEnumerator.h), the caller's; several may be
    // there at once. Null when memory is exhausted.
    CContactPlg::CContactEnumerator* GetEnumerator() const;

private:
    CContactMgrImpl* m_impl;
};
