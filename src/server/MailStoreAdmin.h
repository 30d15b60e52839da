#pragma once

#include "server/MailServer.h"

#include <cstdint>
#include <string>
#include <vector>

struct _tMailServer;

// What an administrator does to a mail store: lay out mailboxes, set their properties, and find out
// what is wrong. Names and their last errors are those of CMailbox::Open. Any thread.

// Makes the mailbox with its folders `cur`, `new` and `tmp`, and the folders on the way to it.
// After a failure or a dead process there is no mailbox yet; the next call completes it. Last error
// ERROR_ALREADY_EXISTS (183): the mailbox exists.
bool CreateMailbox(_tMailServer* server, const char* name, const char* domain);

struct CMailboxPropertySetting
{
    std::string name;
    std::string value; // UTF-8; empty removes the mailbox's own value
};

// Sets all given properties in the mailbox's own file, or none. The new file is written in the
// mailbox's `tmp`, flushed and renamed into place, so that a reader and a power cut find the old
// one or the new one. All other properties stay. A registered number property, and one that the
// file holds as a number or a truth value, takes a value of that type; any other is a text. Last
// error ERROR_INVALID_PARAMETER (87): an empty name, text that is no UTF-8, or a value of the wrong
// type; ERROR_INVALID_DATA (13): the present file is no JSON object, or nested deeper than 64
// levels; ERROR_LOCK_VIOLATION (33): another process is setting properties at this moment;
// ERROR_FILE_TOO_LARGE (223): the file would be over 1 MB.
bool SetMailboxProperties(_tMailServer* server, const char* name, const char* domain,
                          const std::vector<CMailboxPropertySetting>& settings);

struct CPropertyFileFault
{
    std::string path;
    std::uint32_t line = 0; // counted from 1; 0 where the file cannot be read at all
};

// Reads the property files of the mailbox, of its domain and of the server. False at the first
// that cannot be used, which *fault then names, with last error ERROR_INVALID_DATA (13): no JSON
// object; ERROR_FILE_TOO_LARGE (223): over 1 MB; other codes: it cannot be read. Another failure
// leaves *fault as it was.
bool CheckPropertyFiles(_tMailServer* server, const char* name, const char* domain,
                        CPropertyFileFault* fault);

// Why CMailServer::Open refuses a location or its options, in a few English words for a report:
// "the location has no %n", "no folder /var/vmail". Empty where it does not, or the last error of
// Open says all. The last error stays.
std::string ExplainLocation(const char* location, const CMailServerOptions& options);

// Why CMailbox::Open does not find a mailbox: "no folder /var/vmail/example.org/ann", "no Maildir
// here: an mdbox in ...", "no user ann of this system". Empty as above. The last error stays.
std::string ExplainMailbox(_tMailServer* server, const char* name, const char* domain);

// Where the address book of a mailbox lies.
struct CAddressBookPlace
{
    std::string path;
    bool isThere = false;
    // A mail folder, or in one: whoever may delete mail folders then deletes all contacts.
    bool isAmongMailFolders = false;
};

// False with the last errors of CMailbox::Open; *place is written on success only.
bool LocateAddressBook(_tMailServer* server, const char* name, const char* domain,
                       CAddressBookPlace* place);
