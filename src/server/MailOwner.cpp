#include "server/MailOwner.h"

#include "platform/LastError.h"
#include "server/MailStoreHandles.h"
#include "server/Mailbox.h"

#include <new>
#include <utility>

CMailOwner::CMailOwner() = default;
CMailOwner::~CMailOwner() = default;

bool CMailOwner::Open(_tMailServer* server, const char* mailboxName, const char* domain,
                      std::uint32_t /*flags*/)
try {
    Reset();
    std::string path;
    return FindMailbox(server, mailboxName, domain, &path) && OpenAt(std::move(path));
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

bool CMailOwner::OpenAt(std::string path)
{
    m_owner = std::make_shared<const CMailOwnerImpl>(std::move(path));
    return true;
}

bool CMailOwner::GetMessageStoreLocation(char* buffer, std::uint32_t* size) const
{
    if (m_owner == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    if (buffer == nullptr || size == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const std::string& path = m_owner->Path();
    const auto length = static_cast<std::uint32_t>(path.size());
    if (length >= *size) {
        *size = length + 1;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return false;
    }
    buffer[path.copy(buffer, length)] = '\0';
    *size = length;
    return true;
}

void CMailOwner::Close()
{
    Reset();
}

void CMailOwner::Reset()
{
    m_owner.reset();
}

bool CMailboxMailOwner::Open(CMailbox& mailbox)
try {
    Reset();
    const _tMailbox* handle = mailbox;
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    return OpenAt(handle->path);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
