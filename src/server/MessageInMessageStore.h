#pragma once

#include "server/MailMessage.h"
#include "server/Message.h"

#include <string>

inline namespace contactmgr_internal
{

class CMailFolder;

// A stored message. Open reads it whole, up to 4 MB; the first use parses it.
class CMessageInMessageStore : public CMessageImpl
{
public:
    // Opens a message of an open folder; one that was open is closed. On failure none is open. Last
    // errors as CMailMessage::Open and ReadAll leave them.
    bool Open(CMailFolder& folder, const char* messageId);

    // As CMailMessage::GetInternalTime of the open message.
    bool GetInternalTime(FILETIME* time) const { return m_message.GetInternalTime(time); }

    const char* GetBodySegment(std::uint32_t offset, std::uint32_t length) const override;
    std::uint32_t GetSize() const override;

protected:
    // Last error ERROR_INVALID_DATA (13): the message is empty, or none is open.
    bool LoadMessageStructure() override;

private:
    CMailMessage m_message;
    std::string m_text;
};

} // namespace contactmgr_internal
