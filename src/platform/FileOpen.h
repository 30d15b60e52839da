#pragma once

#include "platform/FileAttributes.h"
#include "platform/LastError.h"
#include "platform/Types.h"

#include <cstdint>

inline namespace contactmgr_internal
{

// The file operations of this and the other File headers have the names, arguments, results and
// last errors of the Windows interface. Paths are bytes, divided by '/'. A result of 0, false or
// INVALID_HANDLE_VALUE is a failure with the reason in the last error: ERROR_FILE_NOT_FOUND (2) for
// a missing file, ERROR_PATH_NOT_FOUND (3) for a missing folder on the way to it,
// ERROR_ACCESS_DENIED (5), ERROR_DISK_FULL (112) and so on (platform/Errno.cpp). They throw
// std::bad_alloc when memory is exhausted. One thread at a time uses a handle.

inline constexpr std::uint32_t GENERIC_READ = 0x80000000;
inline constexpr std::uint32_t GENERIC_WRITE = 0x40000000;
inline constexpr std::uint32_t FILE_SHARE_READ = 1;
inline constexpr std::uint32_t FILE_SHARE_WRITE = 2;
inline constexpr std::uint32_t CREATE_NEW = 1;
inline constexpr std::uint32_t OPEN_EXISTING = 3;
inline constexpr std::uint32_t TRUNCATE_EXISTING = 5;
inline constexpr std::uint32_t FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;

// Opens or creates a file, or opens a folder (FILE_FLAG_BACKUP_SEMANTICS, OPEN_EXISTING).
//
// Share mode 0 holds the file exclusively until CloseHandle. Another open with share mode 0, in any
// process, then fails at once with ERROR_SHARING_VIOLATION (32). Every other share mode takes no
// lock and ignores locks. A child process that was forked while a file is held, and has not called
// exec, holds it too. Under share mode 0:
//
// - CREATE_NEW: the new file has its lock before it has its name, where the file system can do so.
//   ERROR_ALREADY_EXISTS (183): the name exists.
// - OPEN_EXISTING for writing completes an interrupted rewrite first. It fails with the code of the
//   step that it could not do, such as ERROR_DISK_FULL (112). It makes the folder ".redo" if it
//   can.
// - TRUNCATE_EXISTING empties and stamps the file once the lock is held. Where only the stamp
//   failed, the file is empty after the failure; the same call again stamps it.
// - Symbolic links, devices and pipes are refused with ERROR_ACCESS_DENIED (5).
HANDLE CreateFileA(const char* path, std::uint32_t access, std::uint32_t shareMode,
                   const void* securityAttributes, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes, HANDLE templateFile);

// A failed close has still closed the file. The handle stays valid for one more CloseHandle, which
// frees it.
int CloseHandle(HANDLE handle);

} // namespace contactmgr_internal
