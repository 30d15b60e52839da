#include "trellisv7/TrellisV7ContactEnumerator.h"

#include "platform/Failure.h"
#include "server/Mailbox.h"
#include "server/MessageInMessageStore.h"
#include "trellisv7/TrellisV7Contact.h"

#include <utility>

inline namespace contactmgr_internal
{

CTrellisV7ContactEnumerator::CTrellisV7ContactEnumerator(CMailbox& mailbox)
    : CMailFolderContactEnumerator(mailbox)
{
    m_server.Wrap(GetMailboxServerHandle(mailbox));
}

bool CTrellisV7ContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    const std::uint32_t before = GetLastError();
    if (!OpenOwner()) {
        return false;
    }
    const bool hasFolder = m_folder.Open(m_owner, CTrellisV7Contact::kFolder);
    if (hasFolder ? !StartWalk(version) : GetLastError() != ERROR_PATH_NOT_FOUND) {
        return false;
    }
    return FinishStart(before, changed);
}

bool CTrellisV7ContactEnumerator::MoveNext()
{
    const std::uint32_t before = GetLastError();
    _tMailFolderMessageInfo info;
    while (m_folder.IsValid() && FindNext(&info)) {
        CMessageInMessageStore message;
        FILETIME time;
        if (!message.Open(m_folder, info.szMessageId) || !message.GetInternalTime(&time)) {
            if (!PassOver(info)) {
                return false;
            }
            continue;
        }
        auto contact = Make<CTrellisV7Contact>(message, info.szMessageId, time, m_mailbox.GetName(),
                                               m_mailbox.GetDomain());
        if (!contact->Load()) {
            AddFault(info, GetLastError(), true);
            return false;
        }
        if (contact->IsIndividual()) {
            m_current = std::move(contact);
            SetLastError(before);
            return true;
        }
    }
    return false;
}

} // namespace contactmgr_internal
