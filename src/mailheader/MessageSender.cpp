#include "mailheader/MessageSender.h"

#include "platform/Failure.h"
#include "server/MailFolder.h"
#include "server/MailMessage.h"
#include "text/SenderReader.h"

inline namespace contactmgr_internal
{

bool ReadMessageSender(CMailFolder& folder, const char* messageId, CRfc822Address* sender,
                       FILETIME* received)
{
    CMailMessage message;
    const char* from = nullptr;
    if (!message.Open(folder, messageId, 0) ||
        (received != nullptr && !message.GetInternalTime(received))) {
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

} // namespace contactmgr_internal
