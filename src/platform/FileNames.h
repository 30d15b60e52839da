#pragma once

inline namespace contactmgr_internal
{

// Operations on the names of files and folders (platform/FileOpen.h). Non-zero on success.

// Renames a file, but replaces nothing. Of two callers who rename one file, exactly one succeeds.
// ERROR_FILE_NOT_FOUND (2): the source is gone; ERROR_ALREADY_EXISTS (183): the target exists.
// ERROR_SHARING_VIOLATION (32): the file system only renames with replacing, and another owner kept
// the lock that is needed there for about a second.
int MoveFileA(const char* from, const char* to);

// Renames a file and replaces an existing target in one step. The file gets the target's owner,
// group and mode, as far as this process may set them. ERROR_ACCESS_DENIED (5): root is refused
// where the file has a second name, since any user may have made that.
int ReplaceFileA(const char* from, const char* to);

int DeleteFileA(const char* path);

// Makes an empty file. ERROR_ALREADY_EXISTS (183): the name exists.
int MakeEmptyFile(const char* path);

// Lets all those read a file who may enter its folder, and all those write it who may make names
// there. A file is made for its owner and group alone.
int ShareLikeFolder(const char* path);

// Makes one folder, not its parents. ERROR_ALREADY_EXISTS (183): the name exists;
// ERROR_PATH_NOT_FOUND (3): the parent is missing.
int CreateDirectoryA(const char* path, const void* securityAttributes);

// Whether this process may make names in a folder. False with the reason in the last error.
bool MayWriteFolder(const char* path);

} // namespace contactmgr_internal
