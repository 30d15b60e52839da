#pragma once

#include "platform/Types.h"

#include <cstdint>
#include <memory>
#include <string>

inline namespace contactmgr_internal
{

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
    // found again by its id. On failure the object is closed. Last error ERROR_FILE_NOT_FOUND (2):
    // no such message; ERROR_INVALID_PARAMETER (87): no message id; ERROR_INVALID_HANDLE (6): the
    // folder is closed; others: the file cannot be opened.
    bool Open(CMailFolder& folder, const char* messageId, std::uint32_t flags);

    // The time at which the store received the message: its file's last-write time. Last
    // error ERROR_INVALID_HANDLE (6): closed.
    bool GetInternalTime(FILETIME* time) const;

    // The name of the compression that the message's file is stored in: "gzip", which is read,
    // "bzip2", "xz", "lz4" or "zstd", which are not. Empty for none, if the file cannot be read,
    // and on a closed object. Leaves the last error alone.
    const char* GetCompression() const;

    // The first header field of that name, compared without regard to ASCII case: its value in
    // UTF-8, unfolded and trimmed (RFC 5322 section 2.2.3), encoded words not decoded. Raw 8-bit
    // bytes are taken as UTF-8 if they are valid UTF-8, else as Latin-1; a NUL becomes U+FFFD. The
    // value is valid while the message is open. Reads no further than the field, in small steps,
    // and never behind the first 256 KB of the text. Last error ERROR_NOT_FOUND (1168): no such
    // field; ERROR_UNSUPPORTED_COMPRESSION (618); ERROR_INVALID_DATA (13): damaged gzip data;
    // ERROR_INVALID_HANDLE (6): closed.
    bool GetHeader(const char* name, const char** value) const;

    // The whole text of the message. Last error ERROR_FILE_TOO_LARGE (223): over 4 MB;
    // ERROR_UNSUPPORTED_COMPRESSION (618); ERROR_INVALID_DATA (13): damaged gzip data;
    // ERROR_INVALID_HANDLE (6): closed.
    bool ReadAll(std::string* text) const;

    void Close();
    void Reset();

private:
    std::shared_ptr<CMailMessageImpl> m_message;
};

} // namespace contactmgr_internal
