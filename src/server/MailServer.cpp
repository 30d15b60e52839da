#include "server/MailServer.h"

#include "platform/Failure.h"
#include "server/MailStoreHandles.h"

#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace
{

using Defaults = std::map<std::string, std::uint32_t>;

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
try {
    Reset();
    auto server = std::make_shared<_tMailServer>();
    if (!server->layout.Parse(location) || !IsFolder(server->layout.Root())) {
        return false;
    }
    m_server = std::move(server);
    return true;
} catch (const std::bad_alloc&) {
    return FailForMemory();
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
        defaults.insert_or_assign(PropertyKey(records->name), records->defaultValue);
    }
    const std::lock_guard lock(Families().mutex);
    Families().families.insert_or_assign(family, std::move(defaults));
    return 0;
} catch (const std::bad_alloc&) {
    FailForMemory();
    return -1;
}

std::optional<std::uint32_t> RegisteredDefault(const std::string& key)
{
    const std::lock_guard lock(Families().mutex);
    for (const auto& [family, defaults] : Families().families) {
        const auto found = defaults.find(key);
        if (found != defaults.end()) {
            return found->second;
        }
    }
    return std::nullopt;
}
