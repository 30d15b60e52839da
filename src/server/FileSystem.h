#pragma once

#include "platform/FileOpen.h"

#include <string>

inline namespace contactmgr_internal
{

// The platform's file operations under the same names, with their arguments, results and last
// errors (platform/FileOpen.h).
class CFileSystem
{
public:
    static HANDLE CreateFileA(const char* path, std::uint32_t access, std::uint32_t shareMode,
                              const void* securityAttributes, std::uint32_t disposition,
                              std::uint32_t flagsAndAttributes, HANDLE templateFile)
    {
        return ::CreateFileA(path, access, shareMode, securityAttributes, disposition,
                             flagsAndAttributes, templateFile);
    }
    static int CloseHandle(HANDLE handle) { return ::CloseHandle(handle); }
    static int GetFileTime(HANDLE file, FILETIME* creation, FILETIME* lastAccess,
                           FILETIME* lastWrite)
    {
        return ::GetFileTime(file, creation, lastAccess, lastWrite);
    }
    static int GetFileAttributesExA(const char* path, GET_FILEEX_INFO_LEVELS level, void* data)
    {
        return ::GetFileAttributesExA(path, level, data);
    }
};

// Makes the folder unless it is there, but not its parents. Non-zero on success; 0 with last error
// ERROR_PATH_NOT_FOUND (3): the parent is missing; ERROR_ALREADY_EXISTS (183): something that is no
// folder has the name; ERROR_INVALID_PARAMETER (87): the path is null or empty; other codes: as
// CreateDirectoryA left it.
int EnsureDirectory(const char* path);

// The same for all folders of a path that are below the folder root.
int EnsureDirectories(const std::string& root, const std::string& path);

// Moves a folder's last-write time forward, as SetFileTime does. 0 with the last error of
// CreateFileA or SetFileTime.
int MoveFolderTimeForward(const char* path, const FILETIME& lastWrite);

} // namespace contactmgr_internal
