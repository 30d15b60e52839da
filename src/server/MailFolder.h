#pragma once

#include "platform/Types.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

inline namespace contactmgr_internal
{

class CMailFolderImpl;
class CMailOwner;

// The longest message id, without the zero byte that ends it.
inline constexpr std::size_t kMaxMessageIdLength = 67;

// How a walk reports a message. The caller zeroes the record and sets its size.
struct _tMailFolderMessageInfo
{
    std::uint32_t dwSize; // 72
    char szMessageId[kMaxMessageIdLength + 1];
};

// One Maildir folder of a mailbox. Copies share the handle; an object belongs to one thread at a
// time, and different objects may stand for the same folder.
//
// The messages are the files in `cur` and `new`. Names that begin with a dot and folders are no
// messages. A message id is the unique part of the file's name, in front of the first ',' or ':',
// so it survives a change of flags. If the unique part is longer than 67 bytes or holds a blank or
// a control character, the id is '~' and the SHA-256 digest of the part in hexadecimal.
//
// A folder's version is the later last-write time of its `cur` and `new`. Deliveries, removals and
// changes of flags by any client move it; of this class only RemoveMessage does. While that time is
// less than 10 ms from the clock, or a second on a network file system, the version that is given
// out is one unit less. A delivery in the same tick of the clock leaves the time as it is, and so
// is told all the same. The price is one more walk, even if nothing was delivered.
class CMailFolder
{
public:
    CMailFolder();
    virtual ~CMailFolder();

    // Opens an existing folder: "INBOX", or NAME as the layout of the mailbox has it (CMailServer).
    // Open on an open object replaces what it held, its lock and walk included; on failure the
    // object is closed. Last error ERROR_PATH_NOT_FOUND (3): no such folder (none that holds
    // `cur`); ERROR_ACCESS_DENIED (5): it is a link that is not followed; ERROR_INVALID_PARAMETER
    // (87): a name that is no plain path component; ERROR_INVALID_HANDLE (6): the owner is closed.
    bool Open(CMailOwner& owner, const char* name);

    bool IsValid() const;

    // The path of the folder that holds `cur` and `new`; empty when closed.
    std::string GetPath() const;

    // Takes the folder's shared lock without waiting and keeps it until the object is opened anew,
    // closed or destroyed. Any number of readers hold it at once; it needs no right to write.
    // *version, if any, becomes the folder's version under the lock. Last error
    // ERROR_LOCK_VIOLATION (33): a writer holds the folder exclusively; ERROR_INVALID_HANDLE (6):
    // closed.
    bool Lock(FILETIME* version);

    // Starts a walk of all messages, sorted by id; flags is 0. *version comes in as the version
    // that the caller knows, zero for none, and goes out as the folder's, taken before the names
    // are listed, at the first FindNextMessage. Last error ERROR_ALREADY_INITIALIZED (1247): the
    // folder's time is not later than the version; ERROR_INVALID_PARAMETER (87): null;
    // ERROR_INVALID_HANDLE (6): closed. A failure leaves no walk open and *version as it was.
    bool StartMessageEnumeration(std::uint32_t flags, FILETIME* version);

    // The next message. Last error ERROR_NO_MORE_FILES (18): no more; ERROR_INVALID_HANDLE (6): no
    // walk is open; ERROR_INVALID_PARAMETER (87): wrong record size; others: the folder cannot be
    // listed.
    bool FindNextMessage(_tMailFolderMessageInfo* info);

    // Ends the walk; true without one too. Last error ERROR_INVALID_HANDLE (6): closed.
    bool CloseMessageEnumeration();

    // Removes the message's file. The folder's version is later afterwards, also if the clock is
    // coarse or behind the folder's time. Last error ERROR_FILE_NOT_FOUND (2): no such message;
    // ERROR_INVALID_PARAMETER (87): no message id; ERROR_INVALID_HANDLE (6): closed; others: the
    // file cannot be removed.
    bool RemoveMessage(const char* messageId);

    void Close();
    void Reset();

private:
    friend class CMailMessage;

    std::shared_ptr<CMailFolderImpl> m_folder;
};

} // namespace contactmgr_internal
