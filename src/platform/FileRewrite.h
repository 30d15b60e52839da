#pragma once

#include "platform/Types.h"

#include <string_view>

inline namespace contactmgr_internal
{

// Changes of a file that is held exclusively for writing (platform/FileOpen.h). They follow
// platform/ChangeProtocol.h. Name, lock and creation time stay. Non-zero on success. Last errors:
// ERROR_FILE_NOT_FOUND (2): another file has the name by now; ERROR_ACCESS_DENIED (5): the file
// belongs to another user, or is not held; ERROR_DISK_FULL (112); ERROR_BUSY (170): no stamp could
// be given in time; ERROR_FILE_TOO_LARGE (223): more than 64 MiB.

// Replaces the whole content, stamps the file and moves its folder's time to the stamp. An empty
// content is a deletion. A process that dies at any point leaves the old or the new content, or a
// part of it that the next exclusive open for writing completes. So does a failure; then a second
// call completes it too.
int RewriteFile(HANDLE handle, std::string_view content);

// Stamps the file and moves its folder's time to the stamp. The content and a redo file stay.
int RestampFile(HANDLE handle);

} // namespace contactmgr_internal
