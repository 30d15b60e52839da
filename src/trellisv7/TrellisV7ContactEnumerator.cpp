#include "trellisv7/TrellisV7ContactEnumerator.h"

#include "platform/Failure.h"
#include "server/MailMessage.h"
#include "server/Mailbox.h"
#include "server/MessageInMessageStore.h"
#include "trellisv7/TrellisV7Contact.h"

#include <utility>

CTrellisV7ContactEnumerator::CTrellisV7ContactEnumerator(CMailbox& mailbox)
    : CMailFolderContactEnumerator(mailbox)
{
    m_server.Wrap(GetMailboxServerHandle(mailbox));
}

bool CTrellisV7ContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    Finish();
    if (!m_owner.Open(m_mailbox)) {
        return false;
    }
    const bool hasFolder = m_folder.Open(m_owner, CTrellisV7Contact::kFolder);
    if (hasFolder ? !StartWalk(version) : GetLastError() != ERROR_PATH_NOT_FOUND) {
        return false;
    }
    if (changed != nullptr) {
        *changed = IsStarted();
    }
    return true;
}

bool CTrellisV7ContactEnumerator::MoveNext()
{
    if (!m_folder.IsValid()) {
        return false;
    }
    for (;;) {
        _tMailFolderMessageInfo info = {};
        info.dwSize = sizeof(info);
        if (!m_folder.FindNextMessage(&info)) {
            return false;
        }
        CMessageInMessageStore content;
        CMailMessage message;
        FILETIME time;
        if (!content.Open(m_folder, info.szMessageId) ||
            !message.Open(m_folder, info.szMessageId, 0) || !message.GetInternalTime(&time)) {
            if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
                return false;
            }
            continue;
        }
        auto contact = Make<CTrellisV7Contact>(content, info.szMessageId, time, m_mailbox.GetName(),
                                               m_mailbox.GetDomain());
        if (!contact->Load()) {
            return false;
        }
        if (contact->IsIndividual()) {
            m_current = std::move(contact);
            return true;
        }
    }
}
