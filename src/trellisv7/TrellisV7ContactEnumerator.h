#pragma once

#include "core/MailFolderContactEnumerator.h"
#include "server/MailServer.h"

// Walks the entries in the folder "Contacts" of an open mailbox, which stays the caller's. Group
// entries are left out, and a message that cannot be opened, because it has gone, is passed over.
// One that opens and is not in the format of the store ends the walk. One message at a time is read
// and held; the folder is not locked.
class CTrellisV7ContactEnumerator : public CMailFolderContactEnumerator
{
public:
    explicit CTrellisV7ContactEnumerator(CMailbox& mailbox);

    // No folder "Contacts" is no change: true, with last error 3. Nothing new since the version:
    // true, with last error 1247. False as the mailbox's owner and the folder leave it.
    bool Start(const FILETIME* version, bool* changed) override;
    // False at the end with last error 18, at a message of another format as
    // CTrellisV7Contact::Load leaves it. The current contact then stays.
    bool MoveNext() override;

private:
    CMailServer m_server;
};
