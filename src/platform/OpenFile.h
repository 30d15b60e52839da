#pragma once

#include "platform/Descriptor.h"
#include "platform/Types.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

struct statx;

inline namespace contactmgr_internal
{

class CHeldFile;

// Whether a short read up to there may be something else than the end of the file. The kernel reads
// by pages: in front of a page that it cannot read it gives what it has, and the error at the next
// call.
constexpr bool IsPageEnd(std::uint64_t position)
{
    return position % 4096 == 0;
}

// What a HANDLE of CreateFileA refers to: an open file or folder, and the position in it. A
// resource; CloseHandle deletes it. False comes with the last error set, unless errno is named.
class COpenFile
{
public:
    explicit COpenFile(bool isFolder) noexcept : m_isFolder(isFolder) {}
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;
    virtual ~COpenFile() = default;

    // The handle owns the file. INVALID_HANDLE_VALUE for null, and back.
    static HANDLE ToHandle(std::unique_ptr<COpenFile> file) noexcept;
    // Null with ERROR_INVALID_HANDLE (6) for a handle that is 0 or INVALID_HANDLE_VALUE.
    static COpenFile* FromHandle(HANDLE handle) noexcept;

    // False with errno set.
    bool Open(const char* path, int flags) noexcept;
    bool Own(CDescriptor file) noexcept;
    // False with errno set. The file is closed in any case; closing it again succeeds.
    bool Close() noexcept;

    bool IsFolder() const noexcept { return m_isFolder; }
    int Descriptor() const noexcept { return m_file.Get(); }
    bool Stat(struct statx* status) const;

    // Null with ERROR_ACCESS_DENIED (5) for a file that is not held exclusively.
    virtual CHeldFile* Held() noexcept;

    // Read or write at the position and move it on. *count is less than the size at the end of the
    // file alone.
    virtual bool Read(char* buffer, std::size_t size, std::size_t* count);
    virtual bool Write(std::string_view bytes);
    std::uint64_t Position() const noexcept { return m_position; }
    void SetPosition(std::uint64_t position) noexcept { m_position = position; }
    virtual bool GetSize(std::uint64_t* size) const;

private:
    CDescriptor m_file;
    std::uint64_t m_position = 0;
    const bool m_isFolder;
};

} // namespace contactmgr_internal
