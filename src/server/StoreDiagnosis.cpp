#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "server/MailStoreAdmin.h"
#include "server/MailStoreHandles.h"
#include "server/StorePaths.h"

#include <new>
#include <string_view>
#include <vector>

namespace
{

// Where people keep a Maildir in a mailbox's folder, or another format.
constexpr std::string_view kUsualSubfolders[] = {"/Maildir", "/.maildir", "/mail", "/.mail",
                                                 "/mdbox",   "/sdbox",    "/dbox"};

bool IsFile(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) != 0 &&
           (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// What a place holds that is no Maildir; null if it is none of these.
const char* OtherFormatAt(const std::string& path)
{
    if (IsFile(path)) {
        return "an mbox";
    }
    if (IsFolder(path + "/mailboxes")) {
        return IsFolder(path + "/storage") ? "an mdbox" : "an sdbox";
    }
    if (IsFile(path + "/.mh_sequences")) {
        return "an MH folder";
    }
    const bool hasMboxes = IsFolder(path + "/.imap") || IsFile(path + "/mbox") ||
                           IsFile(path + "/inbox") || IsFile(path + "/INBOX");
    return hasMboxes ? "an mbox" : nullptr;
}

constexpr const char* kPlainNames =
    "names of mailboxes and domains have 1 to 255 bytes, no slash, blank or control character, and "
    "no dot in front";

std::string DescribeMissing(const CMailboxPlace& place)
{
    if (const char* const format = OtherFormatAt(place.inbox)) {
        return std::string("no Maildir here: ") + format + " in " + place.inbox;
    }
    if (!IsFolder(place.inbox)) {
        return "no folder " + place.inbox;
    }
    for (const std::string_view subfolder : kUsualSubfolders) {
        const std::string path = place.inbox + std::string(subfolder);
        if (IsFolder(path + "/cur")) {
            return "the Maildir is in " + path + ": the location has to end with " +
                   std::string(subfolder);
        }
        const char* const format = OtherFormatAt(path);
        if (IsFolder(path) && format != nullptr) {
            return std::string("no Maildir here: ") + format + " in " + path;
        }
    }
    return "no folder cur in " + place.inbox;
}

} // namespace

std::string ExplainLocation(const char* location, const CMailServerOptions& options)
try {
    const CKeepLastError keep;
    CStoreLayout layout;
    layout.Parse(location, options);
    return layout.Fault();
} catch (const std::bad_alloc&) {
    return {};
}

std::string ExplainMailbox(_tMailServer* server, const char* name, const char* domain)
try {
    const CKeepLastError keep;
    CMailboxPlace place;
    std::string fault;
    if (!CheckMailboxNames(server, name, domain)) {
        return GetLastError() == ERROR_INVALID_PARAMETER ? kPlainNames : "";
    }
    if (FindMailbox(server, name, domain, &place)) {
        return {};
    }
    if (!server->layout.Locate(name, domain, &place, &fault)) {
        return fault;
    }
    if (IsFolder(place.inbox + "/cur")) {
        return "the store is that of another mailbox";
    }
    return IsMissingFile(GetLastError()) ? DescribeMissing(place) : std::string();
} catch (const std::bad_alloc&) {
    return {};
}

std::string ExplainDomain(_tMailServer* server, const char* domain)
try {
    const CKeepLastError keep;
    if (!CheckMailboxNames(server, "any", domain)) {
        return GetLastError() == ERROR_INVALID_PARAMETER ? kPlainNames : "";
    }
    std::vector<std::string> names;
    std::string fault;
    if (server->layout.IsOneMailbox()) {
        return server->ListNames(domain, &names)
                   ? ""
                   : "the location is the folder of one mailbox, and lists none";
    }
    server->layout.ListNames(domain, &names, &fault);
    return fault;
} catch (const std::bad_alloc&) {
    return {};
}

bool LocateAddressBook(_tMailServer* server, const char* name, const char* domain,
                       CAddressBookPlace* place)
try {
    CMailboxPlace mailbox;
    if (!FindMailbox(server, name, domain, &mailbox)) {
        return false;
    }
    const CKeepLastError keep;
    CAddressBookPlace found;
    found.path = MessageStoreLocation(mailbox) + kAddressBookFolder;
    found.isThere = IsFolder(found.path);
    found.isAmongMailFolders = IsAmongMailFolders(mailbox, found.path);
    *place = std::move(found);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
