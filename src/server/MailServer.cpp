#include "server/MailServer.h"

#include "platform/Ascii.h"
#include "platform/Failure.h"
#include "server/MailStoreHandles.h"

#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace
{

using Defaults = std::map<std::string, CPropertyDefault>; // by key

// The families of the process, by name.
struct CFamilies
{
    std::mutex mutex;
    std::map<std::string, Defaults> families;
};

CFamilies& Families()
{
    static CFamilies families;
    return families;
}

} // namespace

CMailServer::CMailServer() = default;
CMailServer::~CMailServer() = default;

bool CMailServer::Open(const char* location)
{
    return Open(location, {});
}

bool CMailServer::Open(const char* location, const CMailServerOptions& options)
try {
    Reset();
    auto server = std::make_shared<_tMailServer>();
    if (!server->layout.Parse(location, options)) {
        return false;
    }
    m_server = std::move(server);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool _tMailServer::TakeName(CMailboxPlace* place)
{
    if (!layout.IsOneMailbox()) {
        return true;
    }
    const std::lock_guard lock(m_nameMutex);
    if (m_name.empty()) {
        m_domain = place->domain;
        m_name = place->name;
    }
    if (!EqualIgnoringCase(place->name, m_name) || !EqualIgnoringCase(place->domain, m_domain)) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    place->name = m_name;
    place->domain = m_domain;
    return true;
}

bool _tMailServer::ListNames(std::string_view domain, std::vector<std::string>* names)
{
    if (!layout.IsOneMailbox()) {
        return layout.ListNames(domain, names);
    }
    const std::lock_guard lock(m_nameMutex);
    if (m_name.empty() || !EqualIgnoringCase(domain, m_domain)) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    names->push_back(m_name);
    return true;
}

void CMailServer::Wrap(_tMailServer* server)
{
    m_server = server == nullptr ? nullptr : server->shared_from_this();
}

CMailServer::operator _tMailServer*() const
{
    return m_server.get();
}

void CMailServer::Close()
{
    Reset();
}

void CMailServer::Reset()
{
    m_server.reset();
}

int RegisterMailServerPropertyFamily(const char* family, const MailServerPropertyRecord* records)
try {
    if (family == nullptr || records == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    Defaults defaults;
    for (; records->name != nullptr; ++records) {
        if (records->type != kMailServerPropertyNumber) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return -1;
        }
        defaults.insert_or_assign(PropertyKey(records->name),
                                  CPropertyDefault{records->name, records->defaultValue});
    }
    const std::lock_guard lock(Families().mutex);
    Families().families.insert_or_assign(family, std::move(defaults));
    return 0;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return -1;
}

std::optional<std::uint32_t> contactmgr_internal::RegisteredDefault(const std::string& key)
{
    const std::lock_guard lock(Families().mutex);
    for (const auto& [family, defaults] : Families().families) {
        const auto found = defaults.find(key);
        if (found != defaults.end()) {
            return found->second.value;
        }
    }
    return std::nullopt;
}

std::vector<CPropertyDefault> contactmgr_internal::RegisteredDefaults()
{
    std::vector<CPropertyDefault> all;
    const std::lock_guard lock(Families().mutex);
    for (const auto& [family, defaults] : Families().families) {
        for (const auto& [key, property] : defaults) {
            all.push_back(property);
        }
    }
    return all;
}
