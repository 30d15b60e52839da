#pragma once

#include "platform/Types.h"

#include <cstdint>
#include <string>

struct statx;

inline namespace contactmgr_internal
{

// Times, length and kind of a file or folder (platform/FileOpen.h).

inline constexpr std::uint32_t FILE_ATTRIBUTE_DIRECTORY = 16;
inline constexpr std::uint32_t FILE_ATTRIBUTE_NORMAL = 128;

enum GET_FILEEX_INFO_LEVELS
{
    GetFileExInfoStandard = 0
};

struct WIN32_FILE_ATTRIBUTE_DATA
{
    std::uint32_t dwFileAttributes = 0; // FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL
    FILETIME ftCreationTime;            // the birth, 0 where the file system keeps none
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    FILETIME ftChangeTime; // of content, name, owner or times: no program can set it
    std::uint32_t nFileSizeHigh = 0;
    std::uint32_t nFileSizeLow = 0;
};

// The attributes of a path, in one system call. `data` is a WIN32_FILE_ATTRIBUTE_DATA.
int GetFileAttributesExA(const char* path, GET_FILEEX_INFO_LEVELS level, void* data);

// Whether a path leads to a folder, in one system call. False with ERROR_PATH_NOT_FOUND (3): it
// leads nowhere or to something else; other codes: it cannot be looked at.
bool IsFolder(const std::string& path);

// The times of an open file. Each pointer may be null. The creation time is that of
// GetEntryCreationTime (platform/FileSearch.h).
int GetFileTime(HANDLE handle, FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite);

// Sets the last-write time. The two other pointers must be null: ERROR_INVALID_PARAMETER (87). A
// folder's time only moves forward: an earlier or equal time succeeds without effect.
int SetFileTime(HANDLE handle, const FILETIME* creation, const FILETIME* lastAccess,
                const FILETIME* lastWrite);

// Whether a path lies on a file system whose times come from this machine's clock: ext, XFS, btrfs,
// F2FS, ZFS, tmpfs, ramfs or overlay. False for all others, NFS and FUSE among them, and if the
// system does not tell. Leaves the last error as it was.
bool HasTimesOfThisMachine(const char* path);

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data);

} // namespace contactmgr_internal
