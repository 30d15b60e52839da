#pragma once

#include "core/MailFolderContactEnumerator.h"
#include "server/MailServer.h"

inline namespace contactmgr_internal
{

// Walks the entries in the folder "Contacts" of an open mailbox, which stays the caller's. Group
// entries are left out. A message that cannot be opened or decompressed is passed over. One that
// opens and is not in the format of the store ends the walk. Both are among the faults, except a
// message that has gone. One message at a time is read and
// held; the folder is not locked.
class CTrellisV7ContactEnumerator : public CMailFolderContactEnumerator
{
public:
    explicit CTrellisV7ContactEnumerator(CMailbox& mailbox);

    // With changed true the last error stays as it was. No folder "Contacts" is no change: true,
    // with last error ERROR_PATH_NOT_FOUND (3). Nothing new since the version: true, with
    // ERROR_ALREADY_INITIALIZED (1247). False as the mailbox's owner and the folder leave it.
    bool Start(const FILETIME* version, bool* changed) override;
    // True leaves the last error as it was. False at the end with ERROR_NO_MORE_FILES (18), at a
    // message of another format as CTrellisV7Contact::Load leaves it. The current contact then
    // stays.
    bool MoveNext() override;

private:
    CMailServer m_server;
};

} // namespace contactmgr_internal
