#pragma once

#include "platform/Export.h"
#include <cstdint>
#include <memory>
#include <string>

inline namespace contactmgr_internal
{
struct _tMailServer;
} // namespace contactmgr_internal

struct CMailServerOptions
{
    // The domain of the mailboxes where the location has none. Empty: any domain that is asked for.
    std::string domain;

    // Where the message stores lie, below which the address books are folders "Contacts": a
    // location without "maildir:". Empty: in the mailbox folder, or beside it where "Contacts"
    // would be a mail folder.
    std::string book;
};

// Stands for an open mail store of Maildir folders. Copies share the handle, which lives as long
// as anything that was opened on it; opening anew replaces it. Different threads may use one
// store through objects of their own.
//
// A location is one of
//
//   /var/vmail                   a folder: means /var/vmail/%d/%n
//   /var/vmail/%d/%n/Maildir     a template
//   /home/ann/Maildir            a folder that holds `cur`: the store of one mailbox
//   maildir:PATH:INBOX=PATH:LAYOUT=fs    as mail servers write it; INBOX and LAYOUT may be missing,
//                                and PATH without a variable is the store of one mailbox
//
// Variables of a template: %n is the mailbox name without its domain, %d the domain, %u both with
// an at sign, %h or ~ in front the home folder of the user of the system who has the mailbox name,
// %% a percent sign. Between percent sign and letter may stand OFFSET.WIDTH or WIDTH, which cut the
// value (in bytes; %1n is the first, %2.1n the third, a negative offset counts from the end), and
// then L or U, for lower and upper case. The whole name must occur, or the home folder. The
// filled-in template is the mailbox folder; a name that makes a component empty, "." or ".." is
// refused.
//
// The mail folders lie in the mailbox folder: "Sent" is `.Sent` (Maildir++), with LAYOUT=fs `Sent`.
// Where a location without "maildir:" leaves it open, both are looked for. INBOX is the mailbox
// folder itself unless INBOX= gives it another. In a store of several mailboxes a mail folder is
// not followed where it is a link that leads out of its mailbox: all mailboxes are open to one
// process there, and the link may lead into somebody else's. The link is followed in the store of
// one mailbox.
//
// The store of one mailbox has the name under which its mailbox is found first.
//
// Property values stand in files properties.json: the mailbox's own in the mailbox folder, the
// domain's in the folder that the first component with the domain names, provided that the name
// comes in a later component, and the server-wide ones in the root, which is what stands in front
// of the first component with a variable. The store of one mailbox and that of home folders have
// the mailbox's own only.
class CONTACTMGR_API CMailServer
{
public:
    CMailServer();
    ~CMailServer();

    // Opens the store at a location, UTF-8; a relative path counts from the process's folder of
    // this moment. Last error ERROR_INVALID_PARAMETER (87): a location or an option that cannot be
    // used; ERROR_PATH_NOT_FOUND (3): the root of the store or of the address books is missing or
    // is no folder. ExplainLocation (MailStoreAdmin.h) says more. On failure the object is closed.
    bool Open(const char* location);
    bool Open(const char* location, const CMailServerOptions& options);

    // Stands for that handle from now on; null closes.
    void Wrap(_tMailServer* server);

    // The handle, null when closed. It stays good while this object or a mailbox on it holds it.
    operator _tMailServer*() const;

    void Close();
    void Reset();

private:
    std::shared_ptr<_tMailServer> m_server;
};

// One property of a family. The type is kMailServerPropertyNumber.
struct MailServerPropertyRecord
{
    const char* name; // null ends a table
    std::uint32_t type;
    std::uint32_t flags; // 0
    std::uint32_t defaultValue;
};

inline constexpr std::uint32_t kMailServerPropertyNumber = 4;

// Makes the properties of a table known to all stores of the process: each has its default value
// wherever no property file holds it. The table is copied; a family that is registered again is
// replaced. Gives 0, or -1 with last error ERROR_INVALID_PARAMETER (87): null argument or other
// type; ERROR_NOT_ENOUGH_MEMORY (8): memory is exhausted. Any thread.
CONTACTMGR_API int RegisterMailServerPropertyFamily(const char* family,
                                                    const MailServerPropertyRecord* records);
