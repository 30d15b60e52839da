#pragma once

#include "core/ContactPlg.h"
#include "mailheader/MailHeaderContact.h"
#include "server/MailFolder.h"
#include "server/MailOwner.h"

#include <memory>

class CMailbox;

// Walks the senders of the messages in the folder "INBOX" of an open mailbox, which stays the
// caller's. Each message whose first "From" is exactly one mail address gives a contact, so that a
// sender of ten messages comes ten times; all other messages are passed over. Reads the header of
// one message at a time. A version is the folder's (server/MailFolder.h).
class CMailHeaderContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CMailHeaderContactEnumerator(CMailbox& mailbox) : m_mailbox(mailbox) {}
    ~CMailHeaderContactEnumerator() override;

    // Takes the folder's shared lock and keeps it for the life of the object. Nothing new since the
    // version: true, with last error 1247. False as the mailbox's owner, the folder and its lock
    // leave it: 3: no such folder; 33: a writer holds the folder.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_started; }
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    // False at the end with last error 18, with no walk open 6. The current contact then stays.
    bool MoveNext() override;
    CContact* GetCurrent() override { return m_current.get(); }

private:
    CMailbox& m_mailbox;
    CMailboxMailOwner m_owner;
    FILETIME m_version;
    CMailFolder m_folder;
    bool m_started = false;
    std::unique_ptr<CMailHeaderContact> m_current;
};
