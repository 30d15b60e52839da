#include "mailheader/MailHeaderContactEnumerator.h"

#include "mailheader/MailHeaderContact.h"
#include "platform/Failure.h"
#include "server/MailMessage.h"
#include "text/SenderReader.h"

#include <utility>

namespace
{

// False: the message has no sender, or has gone.
bool ReadSenderOf(CMailFolder& folder, const char* messageId, CRfc822Address* sender)
{
    CMailMessage message;
    const char* from = nullptr;
    return message.Open(folder, messageId, 0) && message.GetHeader("From", &from) &&
           ReadSender(from, sender);
}

} // namespace

bool CMailHeaderContactEnumerator::Start(const FILETIME* version, bool* changed)
{
    const std::uint32_t before = GetLastError();
    return OpenOwner() && m_folder.Open(m_owner, "INBOX") && m_folder.Lock(nullptr) &&
           StartWalk(version) && FinishStart(before, changed);
}

bool CMailHeaderContactEnumerator::MoveNext()
{
    const std::uint32_t before = GetLastError();
    _tMailFolderMessageInfo info;
    while (FindNext(&info)) {
        CRfc822Address sender;
        if (ReadSenderOf(m_folder, info.szMessageId, &sender)) {
            m_current = Make<CMailHeaderContact>(std::move(sender));
            SetLastError(before);
            return true;
        }
        if (!PassOver(info)) {
            return false;
        }
    }
    return false;
}
