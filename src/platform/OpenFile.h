#pragma once

#include "platform/FileApi.h"
#include "platform/FileNote.h"
#include "platform/SystemCalls.h"

#include <string>
#include <string_view>

// What stands behind a HANDLE, and the small pieces that the sources of this folder share.

// Contacts are private: the mail server's user and group, as far as the umask lets them.
inline constexpr mode_t kFileMode = 0660;

// Ends the name of a redo file (platform/FileRewrite.h). No editor's backup has such a name.
inline constexpr const char* kRedoSuffix = ".redo~";

// An open file or folder. A resource; CloseHandle ends it.
struct COpenFile
{
    COpenFile() = default;
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;
    ~COpenFile();

    int descriptor = -1;
    std::string path;
    std::string folder;   // known from the start: where a write has begun, memory may be short
    std::string redoPath; // likewise
    std::uint64_t position = 0;
    std::uint64_t size = 0;  // kept for exclusive files only
    std::uint64_t inode = 0; // likewise
    bool isExclusive = false;
    bool isFolder = false;
    bool isCreationOpen = false; // was empty; its first content is its creation
    FILETIME creationBegin;      // of the first save
    bool mayHaveRedo = false;    // one of this object, or one that could not be removed
    FileNote note;               // kept for exclusive files only
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

// Closes and gives the call's result; an interrupted close has closed.
int CloseDescriptor(int descriptor) noexcept;

// The folder part of a path, "." where it has none.
std::string FolderOf(std::string_view path);

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

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data);
