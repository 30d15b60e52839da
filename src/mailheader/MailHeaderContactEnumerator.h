#pragma once

#include "core/MailFolderContactEnumerator.h"

// Walks the senders of the messages in the folder "INBOX" of an open mailbox, which stays the
// caller's. Each message whose first "From" names one sender (text/SenderReader.h) gives a contact,
// so a sender of ten messages comes ten times. All other messages are passed over. Reads the header
// of one message at a time.
class CMailHeaderContactEnumerator : public CMailFolderContactEnumerator
{
public:
    using CMailFolderContactEnumerator::CMailFolderContactEnumerator;

    // Takes the folder's shared lock and keeps it for the life of the object. Nothing new since the
    // version: true, with last error 1247. False as the mailbox's owner, the folder and its lock
    // leave it: 3: no such folder; 33: a writer holds the folder.
    bool Start(const FILETIME* version, bool* changed) override;
    // False at the end with last error 18, with no walk open 6. The current contact then stays.
    bool MoveNext() override;
};
