#include "mailheader/MailHeaderContactEnumerator.h"

#include "mailheader/MailHeaderContact.h"
#include "mailheader/MessageSender.h"
#include "platform/Failure.h"

#include <utility>

inline namespace contactmgr_internal
{

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
        if (ReadMessageSender(m_folder, info.szMessageId, &sender)) {
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
