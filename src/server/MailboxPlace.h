#pragma once

#include <string>

inline namespace contactmgr_internal
{

// How the mail folders of a mailbox lie in its folder.
// The address book in the message store of a mailbox.
inline constexpr const char* kAddressBookFolder = "/Contacts";

enum class EFolderLayout
{
    kMaildirPlusPlus, // "Sent" is `.Sent`
    kFileSystem,      // "Sent" is `Sent`
    kUnknown          // the location does not say; what lies there decides
};

// Where the parts of one mailbox lie. A value. A root is the folder in front of a path that must be
// there; what follows may be made.
struct CMailboxPlace
{
    std::string name;
    std::string domain;
    std::string folders; // holds the mail folders and the mailbox's property file
    std::string foldersRoot;
    std::string inbox;
    std::string inboxRoot;
    std::string store; // as the options say; empty: MessageStoreLocation decides
    std::string storeRoot;
    EFolderLayout layout = EFolderLayout::kUnknown;
    bool isOneOfSeveral = false; // the location is a template
};

// The folder of an existing mail folder, "INBOX" or another plain name. False with
// ERROR_PATH_NOT_FOUND (3): there is none that holds `cur`; ERROR_ACCESS_DENIED (5): it is, or its
// `cur` or `new` is, a link that leads out of a mailbox that is one of several; other codes: it
// cannot be looked at.
bool FindMailFolder(const CMailboxPlace& place, const std::string& name, std::string* path);

// The folder below which the address book lies. The last error stays.
//
// With Maildir++ it is the mailbox folder: "Contacts" without a dot is no mail folder there. With
// the plain layout "Contacts" is one, so the address book lies beside the mailbox folder NAME,
// below
// `.NAME.contactmgr`; no mailbox has such a name. Where the location does not tell the layout,
// plain subfolders that hold `cur` do. An address book that is there already, in the one place or
// the other, stays where it is.
std::string MessageStoreLocation(const CMailboxPlace& place);

// Makes the folders of the message store location. False with ERROR_PATH_NOT_FOUND (3): it is the
// mailbox folder, which is made with the mailbox, or its root is missing; other codes: a folder
// cannot be made.
bool MakeMessageStore(const CMailboxPlace& place);

// Whether a path is a mail folder, or lies in one, as a mail server would see it. A place that the
// options give may not lie in another mailbox either. The last error stays.
bool IsAmongMailFolders(const CMailboxPlace& place, const std::string& path);

} // namespace contactmgr_internal
