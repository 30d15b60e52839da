#include "server/Mailbox.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileSearch.h"
#include "server/MailStoreHandles.h"
#include "server/PropertyNames.h"
#include "server/StorePaths.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace
{

constexpr std::string_view kEffective = "effective";

// The value of a name, from a file or *made; null with the reason in the last error. It is not
// copied: in libstdc++ 12 a variant that finds no memory while it is copied is undefined.
const PropertyValue* LookUp(const _tMailbox& mailbox, const char* name, PropertyValue* made)
{
    std::string key = PropertyKey(name);
    if (key.size() > kEffective.size() && key.ends_with(kEffective)) {
        key.resize(key.size() - kEffective.size());
    }
    for (const auto& file : mailbox.Properties()) {
        if (file->Error() != ERROR_SUCCESS) {
            return Fail(file->Error());
        }
        if (const PropertyValue* value = file->Find(key)) {
            return value;
        }
    }
    if (const auto value = RegisteredDefault(key)) {
        *made = *value;
        return made;
    }
    if (IsContactText(key)) {
        *made = std::string();
        return made;
    }
    return Fail(ERROR_NOT_FOUND);
}

template <class Type>
bool ReadProperty(const _tMailbox* mailbox, const char* name, Type* value)
try {
    if (mailbox == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (name == nullptr || value == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    PropertyValue made;
    const PropertyValue* found = LookUp(*mailbox, name, &made);
    if (found == nullptr) {
        return false;
    }
    const Type* typed = std::get_if<Type>(found);
    if (typed == nullptr) {
        return Fail(ERROR_INVALID_DATA);
    }
    *value = *typed;
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

} // namespace

struct contactmgr_internal::_tMailboxEnumeration
{
    std::shared_ptr<_tMailServer> server;
    std::string domain;
    std::vector<std::string> names;
    std::size_t next = 0;
    CMailboxPlace found; // the mailbox that was given last
    const std::shared_ptr<CSharedProperties> shared = std::make_shared<CSharedProperties>();
};

bool contactmgr_internal::IsContactText(std::string_view name)
{
    return std::ranges::any_of(kPropertyNames, [name](const CPropertyName& known) {
        return EqualIgnoringCase(name, std::string_view(known.name));
    });
}

bool contactmgr_internal::CheckMailboxNames(_tMailServer* server, const char* name,
                                            const char* domain)
{
    if (server == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (!IsPlainName(name) || !IsPlainName(domain)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return true;
}

namespace
{

bool FindAsGiven(_tMailServer* server, std::string_view name, std::string_view domain,
                 CMailboxPlace* place)
{
    CMailboxPlace found;
    if (!server->layout.Locate(name, domain, &found) || !IsFolder(found.inbox + "/cur") ||
        !server->TakeName(&found)) {
        return false;
    }
    *place = std::move(found);
    return true;
}

} // namespace

bool contactmgr_internal::FindMailbox(_tMailServer* server, const char* name, const char* domain,
                                      CMailboxPlace* place)
{
    if (!CheckMailboxNames(server, name, domain)) {
        return false;
    }
    const std::uint32_t before = GetLastError();
    if (FindAsGiven(server, name, domain, place)) {
        return true;
    }
    // Mail servers fold the names of mailboxes to lower case.
    const std::string lowerName = PropertyKey(name);
    const std::string lowerDomain = PropertyKey(domain);
    if (!IsMissingFile(GetLastError()) || (lowerName == name && lowerDomain == domain) ||
        !FindAsGiven(server, lowerName, lowerDomain, place)) {
        return false;
    }
    SetLastError(before);
    return true;
}

std::array<std::string, 3> contactmgr_internal::PropertyFilePaths(const _tMailServer& server,
                                                                  const CMailboxPlace& place)
{
    std::array<std::string, 3> paths = {place.folders, server.layout.DomainPath(place.domain),
                                        server.layout.ServerPath()};
    for (std::string& path : paths) {
        path += path.empty() ? std::string_view() : kPropertyFileName;
    }
    return paths;
}

// A file that could not be read is tried again.
CSharedProperties::Files CSharedProperties::Read(CPropertyFileCache& cache, const Paths& paths)
{
    const std::lock_guard lock(m_mutex);
    for (std::size_t i = 0; i < m_files.size(); ++i) {
        if (m_files[i] == nullptr ||
            (m_files[i]->Error() != ERROR_SUCCESS && m_files[i]->Error() != ERROR_INVALID_DATA)) {
            m_files[i] =
                paths[i].empty() ? std::make_shared<const CPropertyFile>() : cache.Get(paths[i]);
        }
    }
    return m_files;
}

const _tMailbox::PropertyFiles& _tMailbox::Properties() const
{
    std::call_once(m_propertiesRead, [this] {
        CSharedProperties alone;
        const auto [own, ofDomain, ofServer] = PropertyFilePaths(*server, place);
        const auto files = (shared == nullptr ? alone : *shared)
                               .Read(server->sharedProperties, {ofDomain, ofServer});
        m_properties = {CPropertyFile::Read(own), files[0], files[1]};
    });
    return m_properties;
}

CMailbox::CMailbox() = default;
CMailbox::~CMailbox() = default;

bool CMailbox::Open(_tMailServer* server, const char* name, const char* domain)
try {
    // The names and the server may be this object's own.
    const std::shared_ptr<_tMailbox> previous = std::exchange(m_mailbox, nullptr);
    auto mailbox = std::make_shared<_tMailbox>();
    if (!FindMailbox(server, name, domain, &mailbox->place)) {
        return false;
    }
    mailbox->server = server->shared_from_this();
    m_mailbox = std::move(mailbox);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CMailbox::Open(const _tMailboxEnumeration* walk)
try {
    Reset();
    if (walk == nullptr || walk->found.name.empty()) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    auto mailbox = std::make_shared<_tMailbox>();
    mailbox->server = walk->server;
    mailbox->place = walk->found;
    mailbox->shared = walk->shared;
    m_mailbox = std::move(mailbox);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

CMailbox::operator _tMailbox*() const
{
    return m_mailbox.get();
}

const char* CMailbox::GetName() const
{
    return m_mailbox == nullptr ? "" : m_mailbox->place.name.c_str();
}

const char* CMailbox::GetDomain() const
{
    return m_mailbox == nullptr ? "" : m_mailbox->place.domain.c_str();
}

bool CMailbox::GetProperty(const char* name, std::uint32_t* value) const
{
    return ReadProperty(m_mailbox.get(), name, value);
}

bool CMailbox::GetProperty(const char* name, std::string* value) const
{
    return ReadProperty(m_mailbox.get(), name, value);
}

bool CMailbox::GetProperty(const char* name, bool* value) const
{
    return ReadProperty(m_mailbox.get(), name, value);
}

void CMailbox::Close()
{
    Reset();
}

void CMailbox::Reset()
{
    m_mailbox.reset();
}

_tMailServer* GetMailboxServerHandle(_tMailbox* mailbox)
{
    return mailbox == nullptr ? nullptr : mailbox->server.get();
}

_tMailboxEnumeration* StartMailboxEnumeration(_tMailServer* server, const char* domain)
try {
    if (server == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (!IsPlainName(domain)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    auto enumeration = std::make_unique<_tMailboxEnumeration>();
    if (!server->ListNames(domain, &enumeration->names)) {
        return nullptr;
    }
    enumeration->server = server->shared_from_this();
    enumeration->domain = domain;
    std::ranges::sort(enumeration->names);
    return enumeration.release();
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int FindNextMailbox(_tMailboxEnumeration* enumeration, char* name, std::uint32_t* size,
                    std::uint32_t* flags)
try {
    if (enumeration == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (name == nullptr || size == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    while (enumeration->next < enumeration->names.size()) {
        const std::string& found = enumeration->names[enumeration->next++];
        const CKeepLastError keep;
        CMailboxPlace place;
        if (found.size() > *size || !IsPlainName(found.c_str()) ||
            !FindAsGiven(enumeration->server.get(), found, enumeration->domain, &place)) {
            continue;
        }
        enumeration->found = std::move(place);
        name[found.copy(name, found.size())] = '\0';
        *size = static_cast<std::uint32_t>(found.size());
        if (flags != nullptr) {
            *flags = 0;
        }
        return 1;
    }
    return Fail(ERROR_NO_MORE_FILES);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int CloseMailboxEnumeration(_tMailboxEnumeration* enumeration)
{
    if (enumeration == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    delete enumeration;
    return 1;
}
