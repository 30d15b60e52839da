#include "server/MailOwner.h"

#include "platform/Failure.h"
#include "server/MailStoreHandles.h"
#include "server/Mailbox.h"

#include <utility>

inline namespace contactmgr_internal
{

CMailOwner::CMailOwner() = default;
CMailOwner::~CMailOwner() = default;

bool CMailOwner::Open(_tMailServer* server, const char* mailboxName, const char* domain,
                      std::uint32_t /*flags*/)
{
    Reset();
    CMailboxPlace place;
    return FindMailbox(server, mailboxName, domain, &place) && OpenAt(std::move(place));
}

bool CMailOwner::OpenAt(CMailboxPlace place)
{
    m_owner = std::make_shared<const CMailOwnerImpl>(std::move(place));
    return true;
}

bool CMailOwner::GetMessageStoreLocation(char* buffer, std::uint32_t* size) const
{
    if (m_owner == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (buffer == nullptr || size == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::string path = MessageStoreLocation(m_owner->Place());
    const auto length = static_cast<std::uint32_t>(path.size());
    if (length >= *size) {
        *size = length + 1;
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    buffer[path.copy(buffer, length)] = '\0';
    *size = length;
    return true;
}

bool CMailOwner::MakeMessageStore() const
{
    if (m_owner == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return ::MakeMessageStore(m_owner->Place());
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
{
    Reset();
    const _tMailbox* handle = mailbox;
    if (handle == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return OpenAt(handle->place);
}

} // namespace contactmgr_internal
