#pragma once

#include "platform/Types.h"

#include <cstdint>
#include <memory>
#include <string>

class CMailFolder;
class CMailMessageImpl;

// One stored message, its file held open for reading. Copies share the handle; an object belongs to
// one thread at a time.
class CMailMessage
{
public:
    CMailMessage();
    virtual ~CMailMessage();

    // Opens a message of an open folder; flags is 0. A file that another client has renamed is
    // found again by its id. On failure the object is closed. Last error 2: no such message; 87: no
    // message id; 6: the folder is closed; others: the file cannot be opened.
    bool Open(CMailFolder& folder, const char* messageId, std::uint32_t flags);

    // The time at which the store received the message: its file's last-write time. Last error 6.
    bool GetInternalTime(FILETIME* time) const;

    // The first header field of that name, compared without regard to ASCII case: its value in
    // UTF-8, unfolded and trimmed (RFC 5322 section 2.2.3), encoded words not decoded. Raw 8-bit
    // bytes are taken as UTF-8 where they are, else as Latin-1; a NUL becomes U+FFFD. The text is
    // valid while the message is open. Reads no further than the field, in small steps, and never
    // behind the first 256 KB. Last error 1168: no such field; 6: closed.
    bool GetHeader(const char* name, const char** value) const;

    // The whole message as stored. Last error 223: over 4 MB; 6: closed.
    bool ReadAll(std::string* text) const;

    void Close();
    void Reset();

private:
    std::shared_ptr<CMailMessageImpl> m_message;
};
