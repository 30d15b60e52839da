#include "server/MailboxPlace.h"

#include "platform/ChangeProtocol.h"
#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "platform/FileSearch.h"
#include "platform/Links.h"
#include "server/FileSystem.h"
#include "server/StorePaths.h"

#include <algorithm>
#include <vector>

inline namespace contactmgr_internal
{

namespace
{

bool IsMailFolder(const std::string& path)
{
    return IsFolder(path + "/cur");
}

// Everything but a link lies where its name says.
bool LinkLeadsOutOf(const std::string& folder, const std::string& path)
{
    std::string target;
    std::string root;
    return !ResolveLinks(folder.c_str(), &root) || !ResolveLinks(path.c_str(), &target) ||
           !target.starts_with(root + '/');
}

bool LeadsOutOf(const std::string& folder, const std::string& path)
{
    return IsLink(path.c_str()) && LinkLeadsOutOf(folder, path);
}

bool HasPlainSubfolder(const std::string& mailbox)
{
    std::vector<std::string> names;
    return ListFolder(mailbox.c_str(), &names) &&
           std::ranges::any_of(names, [&mailbox](const std::string& name) {
               return name.front() != '.' && IsMailFolder(mailbox + '/' + name);
           });
}

bool IsPlainLayout(const CMailboxPlace& place)
{
    return place.layout == EFolderLayout::kFileSystem ||
           (place.layout == EFolderLayout::kUnknown && HasPlainSubfolder(place.folders));
}

// The path without links, as far as it exists.
std::string Resolved(const std::string& path)
{
    std::string resolved;
    const std::size_t slash = path.rfind('/');
    if (ResolveLinks(path.c_str(), &resolved) || slash == path.npos) {
        return resolved.empty() ? path : resolved;
    }
    return Resolved(path.substr(0, slash)) + path.substr(slash);
}

std::string PlaceBeside(const std::string& mailbox)
{
    const std::size_t slash = mailbox.rfind('/');
    return mailbox.substr(0, slash + 1) + '.' + mailbox.substr(slash + 1) + ".contactmgr";
}

// Whether a folder that may be a mail folder too is an address book.
bool HoldsContacts(const std::string& folder)
{
    bool isFound = IsFolder(folder + kRedoFolder);
    for (const char* suffix : {".nxt", ".vcf"}) {
        const auto find = [&isFound](std::string_view) { isFound = true; };
        if (!isFound) {
            ForEachFile(folder.c_str(), suffix, find);
        }
    }
    return isFound;
}

// Whether a folder above the path is a Maildir other than that one.
bool IsInOtherMaildir(const std::string& own, std::string path)
{
    for (std::size_t slash = path.rfind('/'); slash != 0 && slash != path.npos;
         slash = path.rfind('/')) {
        path.resize(slash);
        if (path != own && IsMailFolder(path)) {
            return true;
        }
    }
    return false;
}

} // namespace

bool FindMailFolder(const CMailboxPlace& place, const std::string& name, std::string* path)
{
    const bool isInbox = name == "INBOX";
    const std::string& mailbox = isInbox ? place.inbox : place.folders;
    const std::string plain = mailbox + '/' + name;
    std::string found = mailbox;
    if (!isInbox) {
        found = place.layout == EFolderLayout::kFileSystem ? plain : mailbox + "/." + name;
    }
    bool isLink = false;
    bool isThere = LeadsToFolder(found + "/cur", &isLink);
    if (!isThere && !isInbox && place.layout == EFolderLayout::kUnknown &&
        IsMissingFile(GetLastError())) {
        found = plain;
        isThere = LeadsToFolder(found + "/cur", &isLink);
    }
    if (!isThere) {
        return false;
    }
    // The folder of the mailbox itself may be a link, as to another disk.
    const bool isWithin = found.starts_with(place.folders + '/');
    if (place.isOneOfSeveral && ((isWithin && LeadsOutOf(place.folders, found)) ||
                                 (isLink && LinkLeadsOutOf(mailbox, found + "/cur")) ||
                                 LeadsOutOf(mailbox, found + "/new"))) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    *path = std::move(found);
    return true;
}

std::string MessageStoreLocation(const CMailboxPlace& place)
{
    const CKeepLastError keep;
    if (!place.store.empty()) {
        return place.store;
    }
    const std::string inside = place.folders + kAddressBookFolder;
    const std::string beside = PlaceBeside(place.folders);
    const bool isInside = IsFolder(inside);
    const bool isBeside = IsFolder(beside + kAddressBookFolder);
    const bool mayBeMailFolder = place.layout == EFolderLayout::kFileSystem || IsMailFolder(inside);
    if (isInside && !isBeside && !mayBeMailFolder) {
        return place.folders;
    }
    // A mail client may have made the folder inside, to hold further mail folders.
    const bool isElsewhere = isBeside || IsPlainLayout(place);
    return !isElsewhere || (isInside && HoldsContacts(inside)) ? place.folders : beside;
}

bool MakeMessageStore(const CMailboxPlace& place)
{
    const std::string store = MessageStoreLocation(place);
    if (store == place.folders) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    const std::string root =
        place.store.empty() ? store.substr(0, store.rfind('/')) : place.storeRoot;
    return EnsureDirectories(root, store) != 0;
}

bool IsAmongMailFolders(const CMailboxPlace& place, const std::string& path)
{
    const CKeepLastError keep;
    const std::string mailbox = Resolved(place.folders);
    const std::string target = Resolved(path);
    if (target.starts_with(mailbox + '/')) {
        return target[mailbox.size() + 1] == '.' || IsPlainLayout(place);
    }
    return !place.store.empty() && IsInOtherMaildir(Resolved(place.inbox), target);
}

} // namespace contactmgr_internal
