#pragma once

#include "platform/FileHandle.h"

#include <cstdint>
#include <memory>
#include <string>

inline namespace contactmgr_internal
{

class CGunzip;

// The file of a stored message, open for reading. It is read from its beginning on, piece by piece.
// A file in gzip (RFC 1952) gives the text that it was made from. A resource.
class CMessageFile
{
public:
    explicit CMessageFile(CFileHandle file);
    CMessageFile(const CMessageFile&) = delete;
    CMessageFile& operator=(const CMessageFile&) = delete;
    ~CMessageFile();

    HANDLE Handle() const { return m_file.Get(); }

    // Appends the next bytes of the text, at most that many. *isEnd says that there are no more.
    // On failure nothing is appended. Last error ERROR_UNSUPPORTED_COMPRESSION (618);
    // ERROR_INVALID_DATA (13): damaged gzip data; others as ReadFile leaves them. May throw
    // std::bad_alloc.
    bool Read(std::uint32_t size, std::string* text, bool* isEnd);

    // Back to the beginning of the text.
    void Rewind();

    // The name of the compression: "gzip", "bzip2", "xz", "lz4" or "zstd"; empty for none. Null
    // until something has been read.
    const char* Compression() const { return m_compression; }

private:
    CFileHandle m_file;
    const char* m_compression = nullptr;
    std::unique_ptr<CGunzip> m_gunzip; // only for gzip
};

} // namespace contactmgr_internal
