#pragma once

#include "platform/Types.h"

struct statx;

inline namespace contactmgr_internal
{

// The creation time of a contact file (platform/ChangeProtocol.h, I6). It is noted in an attribute
// of the file. A file system without user attributes keeps none.

// Notes the time, unless one is noted. False with errno set.
bool NoteCreation(int file, const FILETIME& creation);

// Notes the last-write time of a file that was born later, such as a restored one. Called before
// the last-write time moves. False with errno set.
bool KeepCreation(int file, const struct statx& status);

// The noted time, or the birth without one; the last write if that is earlier. 0 where the file
// system keeps no birth time.
FILETIME CreationTime(int file, const struct statx& status);
FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite);

} // namespace contactmgr_internal
