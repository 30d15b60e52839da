#pragma once

#include "platform/Descriptor.h"

inline namespace contactmgr_internal
{

// An advisory lock on a folder, for the readers and writers of a mail folder. Any number of readers
// may hold it at once, in one thread too, or one writer alone. It does not need the right to write
// the folder. FUSE file systems, GlusterFS among them, do not pass the lock on to other mounts. A
// resource; destruction releases the lock and leaves the last error as it was.
class CFolderLock
{
public:
    CFolderLock() = default;
    CFolderLock(const CFolderLock&) = delete;
    CFolderLock& operator=(const CFolderLock&) = delete;

    // Acquire the lock without waiting, after releasing what this object holds. Last error
    // ERROR_LOCK_VIOLATION (33): another owner's lock is in the way; any other: the folder cannot
    // be opened.
    bool AcquireShared(const char* folder);
    bool AcquireExclusive(const char* folder);

    bool IsHeld() const noexcept { return m_folder.IsOpen(); }
    void Release() noexcept;

private:
    bool Acquire(const char* folder, int operation);

    CDescriptor m_folder; // open while the lock is held
};

} // namespace contactmgr_internal
