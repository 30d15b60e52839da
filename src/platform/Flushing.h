#pragma once

inline namespace contactmgr_internal
{

// Whether the rewrites and deletions of this process are flushed to the disk before they
// count as done. Flushed changes survive a power cut. A new file is flushed by its first rewrite.
// Off at start. Set it before other threads use the library.
void SetFlushing(bool on) noexcept;
bool IsFlushing() noexcept;

// Flushes a folder's entries. False with errno set.
bool SyncFolder(const char* folder);

// Flushes everything that is not yet on the disk of the path's file system. Last error
// ERROR_FILE_NOT_FOUND (2) or ERROR_PATH_NOT_FOUND (3): there is no such path; ERROR_DISK_FULL
// (112), ERROR_IO_DEVICE (1117): the disk refused it.
int FlushFileSystem(const char* path);

} // namespace contactmgr_internal
