#pragma once

#include "platform/Types.h"

#include <sys/stat.h>

// When a followed file was created (platform/ChangeProtocol.h, I6). The attribute says it; file
// systems without user attributes note nothing.

// Notes it, unless it is noted. False with errno set.
bool NoteCreation(int file, const FILETIME& creation);

// To be called before a file's last write is moved. A restored file, born after its last write, has
// no earlier time than that one.
bool KeepCreation(int file, const struct statx& status);

// The noted time, else the earlier of birth and last write; 0 where the file system tells no birth.
FILETIME CreationTime(int file, const struct statx& status);
FILETIME CreationTime(const char* path, const FILETIME& birth, const FILETIME& lastWrite);
