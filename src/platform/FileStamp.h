#pragma once

#include "platform/OpenFile.h"

// A folder's last-write time is the version of what is stored in it, and a change is found by its
// file's time being later than the version that somebody holds. Every version that anybody can
// hold stood on the folder at some moment, and was then not later than the clock. So a file is
// stamped a little ahead of the clock, and the stamp holds if the clock is still behind it once it
// is on the file: then it is later than every version taken before the change could be seen. The
// folder gets the stamp only after the clock has passed it.

// Stamps an exclusively held file and reads the stamp back. False with the last error set.
bool StampFile(int file, const char* folder, FILETIME* stamp);

// Returns once the clock has passed the stamp; at once for one that lies far ahead, as after the
// clock was set back.
void WaitForStamp(const FILETIME& stamp) noexcept;

// Whether this process may stamp an open file: it belongs to its user, or rights go beyond that.
bool MayStamp(int file, const struct statx& status);

// Moves an open folder's last-write time forward to the given one; an earlier or equal time is
// success without effect. Concurrent calls leave the latest time: the folder is locked meanwhile,
// or the file ".lock~" in it, which is made and stays there, where a lock on a folder does not
// reach other clients of the file system (FUSE, NFS). What the kernel's coarser clock puts in the
// time's place as names come and go may be earlier than a change that callers were told of, so the
// folder's access time keeps the latest one as well, and it is put back from there.
bool MoveFolderTime(int folder, const char* path, const FILETIME& time);
bool MoveFolderTimeToNow(int folder, const char* path);

// The same for a folder that is not open.
bool MoveFolderTime(const char* path, const FILETIME& time);
bool MoveFolderTimeToNow(const char* path);

// The latest time that a folder is known to have had.
bool LatestTimeOf(const char* folder, FILETIME* latest);

// Sets a file's last-write time as it is given. False with errno set.
bool SetLastWriteTime(int file, const FILETIME& time);

FILETIME FileTimeOf(const struct statx_timestamp& time);
FILETIME BirthTimeOf(const struct statx& status);
