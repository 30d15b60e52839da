#include "mailheader/MailHeaderContactEnumerator.h"

#include "mailheader/MailHeaderContact.h"
#include "platform/Failure.h"
#include "server/MailMessage.h"
#include "text/SenderReader.h"

#include <utility>

namespace
{

static_assert(sizeof(_tMailFolderMessageInfo) == 72);

// False: the message has no sender, or has gone.
bool ReadSender(CMailFolder& folder, const char* messageId, CRfc822Address* sender)
{
    CMailMessage message;
    const char* from = nullptr;
    return message.Open(folder, messageId, 0) && message.GetHeader("From", &from) &&
           ReadSender(from, sender);
}

} // namespace

bool CMailHeaderContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    Finish();
    if (!m_owner.Open(m_mailbox) || !m_folder.Open(m_owner, "INBOX") || !m_folder.Lock(nullptr) ||
        !StartWalk(version)) {
        return false;
    }
    if (changed != nullptr) {
        *changed = IsStarted();
    }
    return true;
}

bool CMailHeaderContactEnumerator::MoveNext()
{
    for (;;) {
        _tMailFolderMessageInfo info = {};
        info.dwSize = sizeof(info);
        if (!m_folder.FindNextMessage(&info)) {
            return false;
        }
        CRfc822Address sender;
        if (!ReadSender(m_folder, info.szMessageId, &sender)) {
            if (GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
                return false;
            }
            continue;
        }
        m_current = Make<CMailHeaderContact>(std::move(sender));
        return true;
    }
}
