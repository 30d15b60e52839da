#pragma once

#include "core/MailFolderContactEnumerator.h"

inline namespace contactmgr_internal
{

// Walks the senders of the messages in the folder "INBOX" of an open mailbox, which stays the
// caller's. Each message whose first "From" names one sender (text/SenderReader.h) gives a contact,
// so a sender of ten messages comes ten times. All other messages are passed over. Reads the header
// of one message at a time.
class CMailHeaderContactEnumerator : public CMailFolderContactEnumerator
{
public:
    using CMailFolderContactEnumerator::CMailFolderContactEnumerator;

    // Takes the folder's shared lock and keeps it for the life of the object. With changed true the
    // last error stays as it was; nothing new since the version is true with last error
    // ERROR_ALREADY_INITIALIZED (1247). False as the mailbox's owner, the folder and its lock leave
    // it: ERROR_PATH_NOT_FOUND (3): no such folder; ERROR_LOCK_VIOLATION (33): a writer holds it.
    bool Start(const FILETIME* version, bool* changed) override;
    // True leaves the last error as it was. False at the end with ERROR_NO_MORE_FILES (18), with no
    // walk open with ERROR_INVALID_HANDLE (6). The current contact then stays.
    bool MoveNext() override;
};

} // namespace contactmgr_internal
