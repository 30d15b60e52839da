#pragma once

#include <cstdint>
#include <memory>
#include <string>

class CMailbox;

inline namespace contactmgr_internal
{

class CMailOwnerImpl;
struct CMailboxPlace;
struct _tMailServer;

// Stands for the owner of a message store, which is always a mailbox. Copies share the handle. An
// object belongs to one thread at a time. Open on an open object replaces what it held; on failure
// the object is closed.
class CMailOwner
{
public:
    CMailOwner();
    ~CMailOwner();

    // Finds the owner by name; flags is 0. Last errors as CMailbox::Open leaves them.
    bool Open(_tMailServer* server, const char* mailboxName, const char* domain,
              std::uint32_t flags);

    // The path of the message store, ended by a zero byte: the folder of the mailbox, or another
    // one where "Contacts" in it would be a mail folder or the options of CMailServer::Open say so.
    // *size comes in as the buffer's room and goes out as the path's length without that byte. Last
    // error ERROR_INSUFFICIENT_BUFFER (122): the room is too small, and *size becomes the room that
    // it takes; ERROR_INVALID_HANDLE (6): closed; ERROR_INVALID_PARAMETER (87): null argument.
    bool GetMessageStoreLocation(char* buffer, std::uint32_t* size) const;

    // Makes the folders of a message store that is not the folder of the mailbox. Last error
    // ERROR_PATH_NOT_FOUND (3): it is, or the folder for it is missing; ERROR_INVALID_HANDLE (6):
    // closed; other codes: a folder cannot be made.
    bool MakeMessageStore() const;

    void Close();
    void Reset();

protected:
    bool OpenAt(CMailboxPlace place);

private:
    friend class CMailFolder;

    std::shared_ptr<const CMailOwnerImpl> m_owner;
};

// The owner of a mailbox that is open already.
class CMailboxMailOwner : public CMailOwner
{
public:
    // Touches no file. Last error ERROR_INVALID_HANDLE (6): the mailbox is closed.
    bool Open(CMailbox& mailbox);
};

} // namespace contactmgr_internal
