#pragma once

#include "core/ContactPlg.h"
#include "server/MailFolder.h"
#include "server/MailOwner.h"
#include "server/MailServer.h"
#include "trellisv7/TrellisV7Contact.h"

#include <memory>

class CMailbox;

// Walks the entries in the folder "Contacts" of an open mailbox, which stays the caller's. Group
// entries are left out, and a message that cannot be opened, because it has gone, is passed over.
// One that opens and is not in the format of the store ends the walk. One message at a time is read
// and held; the folder is not locked. A version is the folder's (server/MailFolder.h).
class CTrellisV7ContactEnumerator : public CContactPlg::CContactEnumerator
{
public:
    explicit CTrellisV7ContactEnumerator(CMailbox& mailbox);
    ~CTrellisV7ContactEnumerator() override;

    // No folder "Contacts" is no change: true, with last error 3. Nothing new since the version:
    // true, with last error 1247. False as the mailbox's owner and the folder leave it.
    bool Start(const FILETIME* version, bool* changed) override;
    bool IsStarted() override { return m_started; }
    bool Finish() override;
    FILETIME GetVersion() override { return m_version; }
    // False at the end with last error 18, at a message of another format as
    // CTrellisV7Contact::Load leaves it. The current contact then stays.
    bool MoveNext() override;
    CContact* GetCurrent() override { return m_current.get(); }

private:
    CMailbox& m_mailbox;
    CMailServer m_server;
    CMailboxMailOwner m_owner;
    FILETIME m_version;
    CMailFolder m_folder;
    bool m_started = false;
    std::unique_ptr<CTrellisV7Contact> m_current;
};
