#pragma once

#include "platform/Types.h"
#include "text/Rfc822Address.h"

inline namespace contactmgr_internal
{

class CMailFolder;

// Reads the sender of a message in an open folder (text/SenderReader.h), and if it is asked for the
// time at which the store received the message (CMailMessage::GetInternalTime). Last error
// ERROR_SUCCESS (0): the first "From" names none, or several; others: the message cannot be read.
// May throw std::bad_alloc.
bool ReadMessageSender(CMailFolder& folder, const char* messageId, CRfc822Address* sender,
                       FILETIME* received = nullptr);

} // namespace contactmgr_internal
