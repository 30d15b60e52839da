#pragma once

#include "platform/Types.h"

#include <string>

struct statx;

inline namespace contactmgr_internal
{

// Stamps of files, and the time of their folder, which is the version (platform/ChangeProtocol.h,
// I4 and I5). False comes with the last error set, unless errno is named.

// Stamps a held file, waits until the clock has passed the stamp, and moves the folder's time to
// it. True also where only the folder's time could not be moved.
bool StampAndMoveFolder(int file, const std::string& folder);

// Moves the time of a folder of contacts forward to the given one, but not behind the latest that
// it has had. *latest is the folder's latest time after that, also if this process may not move it
// (ERROR_ACCESS_DENIED, 5). ERROR_FILE_NOT_FOUND (2) or ERROR_PATH_NOT_FOUND (3): no such folder.
bool MoveFolderTime(const std::string& folder, const FILETIME& time, FILETIME* latest);
bool MoveFolderTimeToNow(const std::string& folder, FILETIME* latest);

// Whether this process may stamp an open file. `status` is the file's.
bool MayStamp(int file, const struct statx& status);

// Sets the last-write time of an open file. False with errno set.
bool SetLastWriteTime(int file, const FILETIME& time);

// Whether the folder's file system keeps fractions of a second in file times, which stamps need.
// Tries it on a file without a name, or one that is removed at once. True where none can be made.
// Leaves the last error as it was.
bool KeepsFineFileTimes(const std::string& folder);

} // namespace contactmgr_internal
