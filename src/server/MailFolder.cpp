#include "server/MailFolder.h"

#include "platform/Failure.h"
#include "server/MailFolderImpl.h"
#include "server/MailOwner.h"
#include "server/MailStoreHandles.h"

#include <algorithm>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

static_assert(sizeof(_tMailFolderMessageInfo) == 72);

namespace
{

constexpr std::size_t kMaxFolderNameLength = 254; // a dot comes in front

// Blanks are allowed. A dot divides the levels of the hierarchy.
bool IsFolderName(const char* name)
{
    if (name == nullptr) {
        return false;
    }
    const std::string_view text(name);
    return !text.empty() && text.size() <= kMaxFolderNameLength && text.front() != '.' &&
           std::ranges::none_of(text, [](char c) {
               return c == '/' || static_cast<unsigned char>(c) < ' ' || c == '\x7F';
           });
}

} // namespace

CMailFolder::CMailFolder() = default;
CMailFolder::~CMailFolder() = default;

bool CMailFolder::Open(CMailOwner& owner, const char* name)
{
    Reset();
    if (owner.m_owner == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (!IsFolderName(name)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    std::string path;
    if (!FindMailFolder(owner.m_owner->Place(), name, &path)) {
        return false;
    }
    m_folder = std::make_shared<CMailFolderImpl>(std::move(path));
    return true;
}

bool CMailFolder::IsValid() const
{
    return m_folder != nullptr;
}

std::string CMailFolder::GetPath() const
{
    return m_folder == nullptr ? "" : m_folder->Path();
}

bool CMailFolder::Lock(FILETIME* version)
{
    if (m_folder == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    CMailFolderImpl::Version current;
    if (!m_folder->Lock() || (version != nullptr && !m_folder->ReadVersion(&current))) {
        return false;
    }
    if (version != nullptr) {
        *version = current.given;
    }
    return true;
}

bool CMailFolder::StartMessageEnumeration(std::uint32_t /*flags*/, FILETIME* version)
{
    if (m_folder == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (version == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    m_folder->EndWalk();
    CMailFolderImpl::Version current;
    if (!m_folder->ReadVersion(&current)) {
        return false;
    }
    if (current.time <= *version) {
        return Fail(ERROR_ALREADY_INITIALIZED);
    }
    m_folder->StartWalk(current.times);
    *version = current.given;
    return true;
}

bool CMailFolder::FindNextMessage(_tMailFolderMessageInfo* info)
{
    if (info == nullptr || info->dwSize != sizeof(*info)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (m_folder == nullptr || !m_folder->IsWalking()) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    std::string_view id;
    if (!m_folder->NextId(&id)) {
        return false;
    }
    info->szMessageId[id.copy(info->szMessageId, kMaxMessageIdLength)] = '\0';
    return true;
}

bool CMailFolder::CloseMessageEnumeration()
{
    if (m_folder == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    m_folder->EndWalk();
    return true;
}

bool CMailFolder::RemoveMessage(const char* messageId)
{
    if (m_folder == nullptr) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    if (!IsMessageId(messageId)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return m_folder->Remove(messageId);
}

void CMailFolder::Close()
{
    Reset();
}

void CMailFolder::Reset()
{
    m_folder.reset();
}

} // namespace contactmgr_internal
