#pragma once

#include <cstdint>
#include <memory>
#include <string>

class CMailbox;
class CMailOwnerImpl;
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

    // The path of the message store, which is the mailbox folder, ended by a zero byte. *size comes
    // in as the buffer's room and goes out as the path's length without that byte. Last error 122:
    // the room is too small, and *size becomes the room it takes; 6: closed; 87: null argument.
    bool GetMessageStoreLocation(char* buffer, std::uint32_t* size) const;

    void Close();
    void Reset();

protected:
    bool OpenAt(std::string path);

private:
    friend class CMailFolder;

    std::shared_ptr<const CMailOwnerImpl> m_owner;
};

// The owner of a mailbox that is open already.
class CMailboxMailOwner : public CMailOwner
{
public:
    // Touches no file. Last error 6: the mailbox is closed.
    bool Open(CMailbox& mailbox);
};
