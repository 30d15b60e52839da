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

// The same for a folder that is not open.
bool MoveFolderTime(const char* path, const FILETIME& time);
bool MoveFolderTimeToNow(const char* path);

// Sets a file's last-write time as it is given. False with errno set.
bool SetLastWriteTime(int file, const FILETIME& time);

// The creation of a file, its first content, is noted as right before the stamp of that content:
// not earlier than any version that was taken before, and earlier than the folder's time from then
// on. Until the content is there and stamped, a time that lies ahead of every stamp is noted: a
// report that sees the content must not take the file for an old one. BeginCreation gives the
// moment; with one that lies back so far that reports have given the maker up, an earlier creation
// is noted, as they have told it. File systems without user attributes are passed over.
bool BeginCreation(int file, const char* folder, FILETIME* begin);
bool EndCreation(int file, const FILETIME& begin, const FILETIME& stamp);

// Where a creation later than the last write stands on a file with content, its maker has died or
// the file is a copy: notes one right before the last write.
bool MendCreation(int file, const struct statx& status);

// The noted creation time, else one right before the birth time and the last write, else 0: what
// may be old is never taken for new, or the report of its deletion would be left out.
FILETIME CreationTime(int file, const struct statx& status);
FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite);

FILETIME FileTimeOf(const struct statx_timestamp& time);
FILETIME BirthTimeOf(const struct statx& status);
