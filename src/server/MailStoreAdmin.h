#pragma once

#include "platform/Export.h"
#include "server/MailServer.h"

#include <cstdint>
#include <string>
#include <vector>

inline namespace contactmgr_internal
{
struct _tMailServer;
} // namespace contactmgr_internal

// What an administrator does to a mail store: lay out mailboxes, set their properties, and find out
// what is wrong. Names and their last errors are those of CMailbox::Open. Any thread.

// Makes the mailbox with its folders `cur`, `new` and `tmp`, and the folders on the way to it.
// After a failure or a dead process there is no mailbox yet; the next call completes it. Last error
// ERROR_ALREADY_EXISTS (183): the mailbox exists.
CONTACTMGR_API bool CreateMailbox(_tMailServer* server, const char* name, const char* domain);

struct CMailboxPropertySetting
{
    std::string name;
    std::string value; // UTF-8; empty removes the file's own value
};

// Sets all given properties in the mailbox's own file, or none. The new file is written in the
// mailbox's `tmp`, flushed and renamed into place, so that a reader and a power cut find the old
// one or the new one. All other properties stay. A registered number property takes a number; of
// those that nothing reads (TypeOfProperty), one that the file holds as a number or a truth value
// takes a value of that type; any other is a text. Last
// error ERROR_INVALID_PARAMETER (87): an empty name, text that is no UTF-8, or a value of the wrong
// type; ERROR_INVALID_DATA (13): the present file is no JSON object, or nested deeper than 64
// levels; ERROR_LOCK_VIOLATION (33): another process is setting properties at this moment;
// ERROR_FILE_TOO_LARGE (223): the file would be over 1 MB.
CONTACTMGR_API bool SetMailboxProperties(_tMailServer* server, const char* name, const char* domain,
                                         const std::vector<CMailboxPropertySetting>& settings);

// Set properties in the file of a domain or of the server in the same way. A new file can be read
// by all who may enter its folder. Last errors as above; ERROR_NOT_SUPPORTED (50): the location
// gives the domain or the server no property file; ERROR_PATH_NOT_FOUND (3): there is no such
// domain.
CONTACTMGR_API bool SetDomainProperties(_tMailServer* server, const char* domain,
                                        const std::vector<CMailboxPropertySetting>& settings);
CONTACTMGR_API bool SetServerProperties(_tMailServer* server,
                                        const std::vector<CMailboxPropertySetting>& settings);

enum class EPropertyType
{
    kNone,
    kText,
    kNumber,
    kTruthValue,
    kOther // a list, an object, or a number that is no whole one of 32 bits
};

// The type in which a property of a mailbox is read, kText or kNumber. kNone: nothing reads a
// property of that name. ASCII case does not count. A name that ends in "Effective" is none: it is
// looked up without that ending.
CONTACTMGR_API EPropertyType TypeOfProperty(const char* name);

// Where a property stands.
enum class EPropertySource
{
    kMailbox,
    kDomain,
    kServer,
    kDefault // of a registered family; no file
};

struct CMailboxProperty
{
    std::string name;  // as the file spells it
    std::string value; // a text as it is; a number in decimal; "true" or "false"; empty for kOther
    EPropertyType type = EPropertyType::kNone;
    EPropertySource source = EPropertySource::kDefault;
    std::string path; // of the file
    std::uint32_t line = 0;
};

// Appends what stands in the property files of the mailbox, of its domain and of the server, each
// from top to bottom, and the registered defaults. Of several properties of one name the first
// holds. With a null name those of a domain alone, and with a null domain too those of the server.
// Last errors as CheckPropertyFiles; after false nothing is appended.
CONTACTMGR_API bool ListProperties(_tMailServer* server, const char* name, const char* domain,
                                   std::vector<CMailboxProperty>* properties);

struct CPropertyFileFault
{
    std::string path;
    std::uint32_t line = 0; // counted from 1; 0 where the file cannot be read at all
};

// Reads the property files of the mailbox, of its domain and of the server; name and domain may be
// null as in ListProperties. False at the first
// that cannot be used, which *fault then names, with last error ERROR_INVALID_DATA (13): no JSON
// object; ERROR_FILE_TOO_LARGE (223): over 1 MB; other codes: it cannot be read. Another failure
// leaves *fault as it was.
CONTACTMGR_API bool CheckPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                                       CPropertyFileFault* fault);

// Why CMailServer::Open refuses a location or its options, in a few English words for a report:
// "the location has no %n", "no folder /var/vmail". Empty where it does not, or the last error of
// Open says all. The last error stays.
CONTACTMGR_API std::string ExplainLocation(const char* location, const CMailServerOptions& options);

// Why CMailbox::Open does not find a mailbox: "no folder /var/vmail/example.org/ann", "no Maildir
// here: an mdbox in ...", "no user ann of this system". Empty as above. The last error stays.
CONTACTMGR_API std::string ExplainMailbox(_tMailServer* server, const char* name,
                                          const char* domain);

// Why StartMailboxEnumeration does not list a domain: "no folder /var/vmail/example.net", "the
// domain of the store is example.org". Empty as above. The last error stays.
CONTACTMGR_API std::string ExplainDomain(_tMailServer* server, const char* domain);

// Where the address book of a mailbox lies.
struct CAddressBookPlace
{
    std::string path;
    bool isThere = false;
    // A mail folder, or in one, or in another mailbox: whoever may delete these then deletes all
    // contacts.
    bool isAmongMailFolders = false;
};

// False with the last errors of CMailbox::Open; *place is written on success only.
CONTACTMGR_API bool LocateAddressBook(_tMailServer* server, const char* name, const char* domain,
                                      CAddressBookPlace* place);
