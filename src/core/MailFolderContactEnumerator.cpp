#include "core/MailFolderContactEnumerator.h"

#include "platform/LastError.h"
#include "server/MailMessage.h"

inline namespace contactmgr_internal
{

CMailFolderContactEnumerator::~CMailFolderContactEnumerator()
{
    const CKeepLastError keep;
    CMailFolderContactEnumerator::Finish();
}

bool CMailFolderContactEnumerator::OpenOwner()
{
    Finish();
    m_passedOver.clear();
    m_faults.clear();
    return m_owner.Open(m_mailbox);
}

// The folder takes the caller's version and puts its own in its place.
bool CMailFolderContactEnumerator::StartWalk(const FILETIME* version)
{
    m_version = version == nullptr ? FILETIME() : *version;
    m_started = m_folder.StartMessageEnumeration(0, &m_version);
    return m_started || GetLastError() == ERROR_ALREADY_INITIALIZED;
}

bool CMailFolderContactEnumerator::FinishStart(std::uint32_t before, bool* changed)
{
    if (m_started) {
        SetLastError(before);
    }
    if (changed != nullptr) {
        *changed = m_started;
    }
    return true;
}

bool CMailFolderContactEnumerator::FindNext(_tMailFolderMessageInfo* info)
{
    *info = {};
    info->dwSize = sizeof(*info);
    return m_folder.FindNextMessage(info);
}

bool CMailFolderContactEnumerator::PassOver(const _tMailFolderMessageInfo& info)
{
    const std::uint32_t reason = GetLastError();
    CMailMessage message;
    if (reason == ERROR_UNSUPPORTED_COMPRESSION && message.Open(m_folder, info.szMessageId, 0)) {
        ++m_passedOver[message.GetCompression()];
    } else if (reason != ERROR_SUCCESS && !IsMissingFile(reason)) {
        AddFault(info, reason, false);
    }
    return reason != ERROR_NOT_ENOUGH_MEMORY;
}

void CMailFolderContactEnumerator::AddFault(const _tMailFolderMessageInfo& info,
                                            std::uint32_t error, bool endsStore)
{
    m_faults.push_back({{}, info.szMessageId, error, endsStore});
}

bool CMailFolderContactEnumerator::Finish()
{
    if (m_started && !m_folder.CloseMessageEnumeration()) {
        return false; // the walk stays open
    }
    m_started = false;
    m_current.reset();
    return true;
}

} // namespace contactmgr_internal
