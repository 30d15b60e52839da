#pragma once

#include "platform/Export.h"
#include <cstdint>
#include <memory>
#include <string>

inline namespace contactmgr_internal
{
struct _tMailServer;
struct _tMailbox;
struct _tMailboxEnumeration;
} // namespace contactmgr_internal

// Stands for one open mailbox. Copies share the handle. An open mailbox may be read by several
// threads at once; opening and closing belong to one thread.
//
// Names of mailboxes and domains are UTF-8. A name is one plain path component: 1 to 255 bytes
// without '/', blanks and control characters, not beginning with a dot. Any other is refused with
// ERROR_INVALID_PARAMETER (87) before a file is touched. A mailbox that is not there as given is
// looked for in lower case (ASCII letters), as mail servers fold names.
class CONTACTMGR_API CMailbox
{
public:
    CMailbox();
    ~CMailbox();

    // Opens the mailbox; a mailbox exists where its INBOX holds a folder `cur`. Last error
    // ERROR_INVALID_PARAMETER (87): a name is refused, such as "properties.json" where a property
    // file has that place; ERROR_INVALID_HANDLE (6): the server is null; ERROR_PATH_NOT_FOUND (3):
    // no such mailbox. On failure the object is closed.
    bool Open(_tMailServer* server, const char* name, const char* domain);

    // Opens the mailbox that FindNextMailbox gave last. It is not looked for again, and the
    // property files of its domain and of the server are read once in the whole walk. Last error
    // ERROR_INVALID_HANDLE (6): the walk is null or has given none yet. On failure the object is
    // closed.
    bool Open(const _tMailboxEnumeration* walk);

    // The handle, null when closed.
    operator _tMailbox*() const;

    // The names under which the mailbox was found. Valid while it is open; empty texts when it is
    // closed.
    const char* GetName() const;
    const char* GetDomain() const;

    // A property's value: the mailbox's own, else the domain's, else the server's, else the default
    // of its registered family. Names compare without regard to ASCII case; a name that ends in
    // "Effective" is looked up without that ending. Text is UTF-8, and a text property of a
    // contact is empty where nobody has filled it in. The files are read at the first use after
    // Open; a JSON null counts as absent.
    // Last error ERROR_NOT_FOUND (1168): no such property; ERROR_INVALID_DATA (13): its value is of
    // another type, or a file on the way to it is no JSON object (MailStoreAdmin.h tells the line);
    // ERROR_FILE_TOO_LARGE (223): a file is over 1 MB; ERROR_INVALID_HANDLE (6): closed; other
    // codes: a file cannot be read. *value is written on success only.
    bool GetProperty(const char* name, std::uint32_t* value) const;
    bool GetProperty(const char* name, std::string* value) const;
    bool GetProperty(const char* name, bool* value) const;

    void Close();
    void Reset();

private:
    std::shared_ptr<_tMailbox> m_mailbox;
};

// The server that the mailbox is open on; good as long as the mailbox is open. Null for null.
CONTACTMGR_API _tMailServer* GetMailboxServerHandle(_tMailbox* mailbox);

// Starts a walk of a domain's mailboxes, sorted by name. The caller ends it. Null on failure; last
// error ERROR_INVALID_PARAMETER (87): refused name; ERROR_INVALID_HANDLE (6): null server;
// ERROR_PATH_NOT_FOUND (3): no such domain. In a store of home folders it walks the users of the
// system; in the store of one mailbox it gives that one, once its name is known.
CONTACTMGR_API _tMailboxEnumeration* StartMailboxEnumeration(_tMailServer* server,
                                                             const char* domain);

// The next mailbox's name, without its domain and ended by a zero byte, which *size does not
// count: *size comes in as the longest name that fits and goes out as this one's length. Names that
// do not fit are passed over. The out word, which may be null, becomes 0. Gives 0 with last error
// ERROR_NO_MORE_FILES (18): at the end; ERROR_INVALID_HANDLE (6): null handle.
CONTACTMGR_API int FindNextMailbox(_tMailboxEnumeration* enumeration, char* name,
                                   std::uint32_t* size, std::uint32_t* flags);

// Ends a walk; 0 with last error ERROR_INVALID_HANDLE (6): null handle.
CONTACTMGR_API int CloseMailboxEnumeration(_tMailboxEnumeration* enumeration);
