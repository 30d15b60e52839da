#pragma once

#include "platform/Types.h"

#include <string>

#include <sys/stat.h>

// Stamps, and the time of the folder that follows them (platform/ChangeProtocol.h, I4 and I5).

// Stamps an exclusively held file, waits until the clock has passed the stamp, and moves the
// folder's time there. False with the last error set where the file could not be stamped; what the
// folder refuses does not count.
bool StampAndMoveFolder(int file, const std::string& folder);

// Moves the folder's time forward to the given one, and to the latest that it has had. *latest is
// where it stands then. False with the last error set.
bool MoveFolder(const std::string& folder, const FILETIME& time, FILETIME* latest);
bool MoveFolderToNow(const std::string& folder, FILETIME* latest);

// Whether this process may stamp an open file: it belongs to its user, or rights go beyond that.
bool MayStamp(int file, const struct statx& status);

// Sets a file's last-write time as it is given. False with errno set.
bool SetLastWriteTime(int file, const FILETIME& time);
