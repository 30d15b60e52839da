#pragma once

#include "platform/FileApi.h"
#include "platform/SystemCalls.h"

#include <string>
#include <string_view>

// What stands behind a HANDLE, and the small pieces that the sources of this folder share.

// An open file or folder. A resource; CloseHandle ends it.
struct COpenFile
{
    COpenFile() = default;
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;
    ~COpenFile();

    int descriptor = -1;
    std::string path;
    std::string folder;
    std::uint64_t position = 0;
    std::uint64_t size = 0;  // kept for exclusive files only
    std::uint64_t inode = 0; // likewise
    bool isExclusive = false;
    bool isFolder = false;
    bool isUnfinished = false; // a rewrite failed behind its redo file, which is to be used first
};

// Null, with last error 6, for INVALID_HANDLE_VALUE.
COpenFile* FileOf(HANDLE handle) noexcept;
HANDLE HandleOf(COpenFile* file) noexcept;

// Owns a bare descriptor. Closing by destruction leaves the last error and errno alone.
class CDescriptor
{
public:
    explicit CDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    ~CDescriptor();

    bool IsOpen() const noexcept { return m_descriptor >= 0; }
    int Get() const noexcept { return m_descriptor; }
    int Release() noexcept;
    // False with errno set; the descriptor is gone in any case.
    bool Close() noexcept;

private:
    int m_descriptor;
};

// A folder's descriptor, or -1 with errno set.
int OpenFolder(const char* path) noexcept;

// The folder part of a path, "." where it has none; and what stands behind it.
std::string FolderOf(std::string_view path);
std::string_view NameOf(std::string_view path) noexcept;

// Locks an open file exclusively, trying for about a second. False with errno set: EWOULDBLOCK
// where somebody else holds it for longer.
bool LockPatiently(int file);

// Set the last error from errno and give false. The second tells a missing file (2) from a missing
// folder on the way to it (3).
bool FailWithErrno() noexcept;
bool FailWithErrno(const char* path);

// Move all bytes or give false with errno set. ReadAll also gives false, with EIO, at an early end.
bool WriteAll(int file, std::string_view bytes, std::uint64_t position);
bool ReadAll(int file, char* buffer, std::size_t size, std::uint64_t position);

// Flushes a folder's entries to the disk.
bool SyncFolder(const char* folder);

bool IsFlushing() noexcept;

FILETIME FileTimeOf(const struct statx_timestamp& time);
// 0 where the file system tells none.
FILETIME BirthTimeOf(const struct statx& status);

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data);
