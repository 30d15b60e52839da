#pragma once

#include "core/ContactPlg.h"
#include "server/MailServer.h"
#include "userstore/UserStoreContact.h"

#include <memory>

inline namespace contactmgr_internal
{

struct _tMailboxEnumeration;

// Walks the mailboxes of the domain of an open mailbox, which stays the caller's. The names
// "mailboxtemplate" and "catchall", in any case, are no people and are passed over.
//
// The directory keeps no record of changes: a version is the time of a Start, and for 900 seconds
// from then on nothing counts as new. A domain that cannot be listed has no contacts; that is among
// the faults.
class CUserStoreContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CUserStoreContactEnumerator(CMailbox& mailbox);
    ~CUserStoreContactEnumerator() override;

    // False only without memory.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_enumeration != nullptr; }
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    // False at the end, with ERROR_NO_MORE_FILES (18), else as FindNextMailbox leaves it. A mailbox
    // name that no mail address can hold ends the walk, with ERROR_INVALID_DATA (13).
    bool MoveNext() override;
    CContact* GetCurrent() override { return m_current.get(); }

private:
    CMailbox& m_mailbox;
    CMailServer m_server;
    FILETIME m_version;
    _tMailboxEnumeration* m_enumeration = nullptr;
    std::unique_ptr<CUserStoreContact> m_current;
};

} // namespace contactmgr_internal
