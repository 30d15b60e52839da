#pragma once

#include "server/MailMessage.h"
#include "server/Message.h"

#include <string>

class CMailFolder;

// A stored message that is read whole, at most 4 MB of it, and parsed at the first use.
class CMessageInMessageStore : public CMessageImpl
{
public:
    // Opens a message of an open folder in the place of the one before. On failure none is open.
    // Last errors as CMailMessage::Open and ReadAll leave them.
    bool Open(CMailFolder& folder, const char* messageId);

    const char* GetBodySegment(std::uint32_t offset, std::uint32_t length) const override;
    std::uint32_t GetSize() const override;

protected:
    // Last error 13: the message is empty, or none is open.
    bool LoadMessageStructure() override;

private:
    CMailMessage m_message;
    std::string m_text;
};
