#include "mailheader/MailHeaderContactEnumerator.h"

#include "mailheader/MailHeaderContact.h"
#include "platform/Failure.h"
#include "server/MailMessage.h"
#include "text/SenderReader.h"

#include <utility>

inline namespace contactmgr_internal
{

namespace
{

// Reads the sender of a message. Last error ERROR_SUCCESS (0): it names none, or several; others:
// it cannot be read.
bool ReadSenderOf(CMailFolder& folder, const char* messageId, CRfc822Address* sender)
{
    CMailMessage message;
    const char* from = nullptr;
    if (!message.Open(folder, messageId, 0)) {
        return false;
    }
    const bool hasField = message.GetHeader("From", &from);
    if (hasField && ReadSender(from, sender)) {
        return true;
    }
    if (GetLastError() == (hasField ? ERROR_INVALID_DATA : ERROR_NOT_FOUND)) {
        SetLastError(ERROR_SUCCESS);
    }
    return false;
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

} // namespace contactmgr_internal
