#pragma once

#include <string>

inline namespace contactmgr_internal
{

// Symbolic links. Paths are bytes, divided by '/'.

// Whether the path itself is a symbolic link. False too for a path that cannot be looked at. One
// system call; the last error stays.
bool IsLink(const char* path);

// Whether a path leads to a folder, and whether the path itself is a link to it. One system call
// where it is none. False with the last errors of IsFolder (platform/FileAttributes.h).
bool LeadsToFolder(const std::string& path, bool* isLink);

// The absolute path that is left once all symbolic links on the way are followed. False with
// ERROR_FILE_NOT_FOUND (2) or ERROR_PATH_NOT_FOUND (3): it leads nowhere; other codes: it cannot be
// followed. *resolved is written on success only.
bool ResolveLinks(const char* path, std::string* resolved);

} // namespace contactmgr_internal
