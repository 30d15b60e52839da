#include "server/StoreLayout.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "platform/SystemUsers.h"
#include "server/PropertyFile.h"
#include "server/StorePaths.h"

#include <algorithm>
#include <utility>

inline namespace contactmgr_internal
{

namespace
{

constexpr std::string_view kEveryMailbox = "/%d/%n";

// What a mail server may have in front of a location, and what a report calls it.
constexpr std::pair<std::string_view, const char*> kOtherFormats[] = {
    {"mdbox", "an mdbox"}, {"sdbox", "an sdbox"}, {"dbox", "a dbox"}, {"mbox", "an mbox"},
    {"obox", "an obox"},   {"cydir", "a cydir"},  {"imapc", "imapc"}, {"pop3c", "a POP3 server"}};

// Settings of a location that move no mail.
constexpr std::string_view kHarmlessSettings[] = {
    "INDEX",         "INDEXPVT", "INDEXCACHE",  "LISTINDEX",  "ITERINDEX",   "CONTROL",
    "SUBSCRIPTIONS", "UTF-8",    "VOLATILEDIR", "BROKENCHAR", "NO-NOSELECT", "NO-FS-VALIDATION"};

// Takes what stands in front of the next colon off the text. Two colons stand for one.
std::string TakeField(std::string_view* text)
{
    std::string field;
    while (!text->empty()) {
        const bool isColon = text->front() == ':';
        text->remove_prefix(isColon ? 1 : 0);
        if (isColon && !text->starts_with(':')) {
            break;
        }
        field += text->front();
        text->remove_prefix(1);
    }
    return field;
}

bool IsTemplate(std::string_view location)
{
    return location.find('%') != location.npos || location.starts_with('~');
}

bool IsMaildir(std::string_view folder)
{
    const CKeepLastError keep;
    return IsFolder(std::string(folder) + "/cur");
}

} // namespace

bool CStoreLayout::Refuse(std::string fault)
{
    m_fault = std::move(fault);
    return Fail(ERROR_INVALID_PARAMETER);
}

bool CStoreLayout::Parse(const char* location, const CMailServerOptions& options)
{
    *this = CStoreLayout();
    if (location == nullptr || *location == '\0') {
        return Refuse("the location is empty");
    }
    if (!options.domain.empty() && !IsPlainName(options.domain.c_str())) {
        return Refuse("the default domain is no domain name");
    }
    m_defaultDomain = options.domain;
    return ParseLocation(location) && ParseBook(options.book) && CheckRoots();
}

bool CStoreLayout::ParseLocation(std::string_view location)
{
    const std::string_view front = location.substr(0, location.find(':'));
    if (front.size() < location.size() && EqualIgnoringCase(front, "maildir")) {
        return ParseDriver(location.substr(front.size() + 1));
    }
    for (const auto& [format, text] : kOtherFormats) {
        if (front.size() < location.size() && EqualIgnoringCase(front, format)) {
            return Refuse(std::string("no Maildir here: the location names ") + text);
        }
    }
    std::string text(location);
    if (!IsTemplate(location) && !IsMaildir(location)) {
        text += kEveryMailbox;
    }
    return ParseTemplate("location", text, &m_folders);
}

// What stands behind "maildir:".
bool CStoreLayout::ParseDriver(std::string_view location)
{
    m_layout = EFolderLayout::kMaildirPlusPlus;
    const std::string path = TakeField(&location);
    if (path.empty()) {
        return Refuse("the location has no path");
    }
    if (!ParseTemplate("location", path, &m_folders)) {
        return false;
    }
    while (!location.empty()) {
        if (!ParseSetting(TakeField(&location))) {
            return false;
        }
    }
    return true;
}

bool CStoreLayout::ParseSetting(std::string_view setting)
{
    const std::string_view key = setting.substr(0, setting.find('='));
    const std::string_view value = setting.substr(std::min(key.size() + 1, setting.size()));
    if (key == "INBOX" && !value.empty()) {
        return ParseTemplate("INBOX", value, &m_inbox.emplace());
    }
    if (key == "LAYOUT" && EqualIgnoringCase(value, "fs")) {
        m_layout = EFolderLayout::kFileSystem;
        return true;
    }
    if (key == "LAYOUT" && EqualIgnoringCase(value, "maildir++")) {
        m_layout = EFolderLayout::kMaildirPlusPlus;
        return true;
    }
    if (key.empty() || std::ranges::find(kHarmlessSettings, key) != std::end(kHarmlessSettings)) {
        return true;
    }
    return Refuse("the location has " + std::string(setting) + ", which is not supported");
}

bool CStoreLayout::ParseTemplate(std::string_view what, std::string_view text, CPathTemplate* made)
{
    std::string fault;
    if (!made->Parse(text, &fault)) {
        return Refuse("the " + std::string(what) + ' ' + fault);
    }
    if (!made->TellsNamesApart() && !made->IsFixed()) {
        return Refuse("the " + std::string(what) + " has no %n");
    }
    return true;
}

bool CStoreLayout::ParseBook(std::string_view book)
{
    if (book.empty()) {
        return true;
    }
    std::string text(book);
    if (!IsTemplate(book) && !IsOneMailbox()) {
        text += kEveryMailbox;
    }
    m_book.emplace();
    if (!ParseTemplate("address book location", text, &*m_book)) {
        return false;
    }
    if (m_book->IsFixed() && !IsOneMailbox()) {
        return Refuse("the address book location has no %n");
    }
    if (m_folders.HasDomain() && !m_book->HasDomain()) {
        return Refuse("the address book location has no %d, which the location has");
    }
    return true;
}

bool CStoreLayout::CheckRoots()
{
    const auto isThere = [this](const CPathTemplate& path) {
        if (path.StartsAtHome() || IsFolder(path.Root())) {
            return true;
        }
        m_fault = GetLastError() == ERROR_PATH_NOT_FOUND ? "no folder " + path.Root() : "";
        return false;
    };
    return isThere(m_folders) && (!m_book || isThere(*m_book));
}

bool CStoreLayout::HasOtherDomain(std::string_view domain) const
{
    return !m_folders.HasDomain() && !m_defaultDomain.empty() &&
           !EqualIgnoringCase(domain, m_defaultDomain);
}

std::string CStoreLayout::OtherDomainText() const
{
    return "the domain of the store is " + m_defaultDomain;
}

bool CStoreLayout::Locate(std::string_view name, std::string_view domain, CMailboxPlace* place,
                          std::string* fault) const
{
    const auto refuse = [fault](std::uint32_t code, std::string text) {
        if (fault != nullptr) {
            *fault = std::move(text);
        }
        return Fail(code);
    };
    if (HasOtherDomain(domain)) {
        return refuse(ERROR_PATH_NOT_FOUND, OtherDomainText());
    }
    std::string home;
    const std::string user(name);
    if (NeedsHome() && !FindHomeFolder(user.c_str(), &home)) {
        const std::uint32_t code = GetLastError();
        return refuse(code,
                      code == ERROR_PATH_NOT_FOUND ? "no user " + user + " of this system" : "");
    }
    const CTemplateNames names{name, domain, home};
    CMailboxPlace found = Fill(names);
    if (found.folders.empty() || found.inbox.empty() || (m_book && found.store.empty())) {
        return refuse(ERROR_INVALID_PARAMETER, "the location makes no path of this name");
    }
    if (found.folders.find(kPropertyFileName) != found.folders.npos && TakesPropertyFile(names)) {
        return refuse(ERROR_INVALID_PARAMETER, "a property file has that place");
    }
    *place = std::move(found);
    return true;
}

bool CStoreLayout::NeedsHome() const
{
    return m_folders.StartsAtHome() || (m_inbox && m_inbox->StartsAtHome()) ||
           (m_book && m_book->StartsAtHome());
}

CMailboxPlace CStoreLayout::Fill(const CTemplateNames& names) const
{
    const auto rootOf = [&names](const CPathTemplate& path) {
        return path.StartsAtHome() ? std::string(names.home) : path.Root();
    };
    const CPathTemplate& inbox = m_inbox ? *m_inbox : m_folders;
    CMailboxPlace place;
    place.name = names.name;
    place.domain = names.domain;
    place.folders = m_folders.Fill(names);
    place.foldersRoot = rootOf(m_folders);
    place.inbox = inbox.Fill(names);
    place.inboxRoot = rootOf(inbox);
    if (m_book) {
        place.store = m_book->Fill(names);
        place.storeRoot = rootOf(*m_book);
    }
    place.layout = m_layout;
    place.isOneOfSeveral = !IsOneMailbox();
    return place;
}

// Whether a folder of the mailbox would have the path of a property file.
bool CStoreLayout::TakesPropertyFile(const CTemplateNames& names) const
{
    const std::string files[] = {ServerPath(), DomainPath(names.domain)};
    const std::vector<std::string> folders = m_folders.FillDown(names);
    return std::ranges::any_of(files, [&folders](const std::string& file) {
        return !file.empty() &&
               std::ranges::find(folders, file + std::string(kPropertyFileName)) != folders.end();
    });
}

std::string CStoreLayout::ServerPath() const
{
    return IsOneMailbox() || IsOfSystemUsers() ? std::string() : m_folders.Root();
}

std::string CStoreLayout::DomainPath(std::string_view domain) const
{
    return m_folders.DomainPath(domain);
}

bool CStoreLayout::ListNames(std::string_view domain, std::vector<std::string>* names,
                             std::string* fault) const
{
    std::string ignored;
    std::string& why = fault == nullptr ? ignored : *fault;
    if (HasOtherDomain(domain)) {
        why = OtherDomainText();
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    if (IsOfSystemUsers() ? ListSystemUsers(names) : m_folders.ListNames(domain, names)) {
        return true;
    }
    const CKeepLastError keep;
    const std::string folder = DomainPath(domain);
    why = folder.empty() || IsFolder(folder) ? "" : "no folder " + folder;
    return false;
}

} // namespace contactmgr_internal
