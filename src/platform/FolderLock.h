#pragma once

// An advisory lock on a folder, by which readers and writers of a mail folder keep apart: any
// number of readers hold it at once, in one thread too, or one writer alone. It wants no right to
// write the folder. FUSE file systems, GlusterFS among them, keep it to themselves: two of their
// mounts do not see each other's. A resource; destruction releases it and leaves the last error
// alone.
class CFolderLock
{
public:
    CFolderLock() = default;
    ~CFolderLock() { Release(); }
    CFolderLock(const CFolderLock&) = delete;
    CFolderLock& operator=(const CFolderLock&) = delete;

    // Take the lock without waiting; a lock that is held is released first. Last error 33: someone
    // else's lock stands against it; others: the folder cannot be opened.
    bool AcquireShared(const char* folder);
    bool AcquireExclusive(const char* folder);

    bool IsHeld() const noexcept { return m_descriptor >= 0; }
    void Release() noexcept;

private:
    bool Acquire(const char* folder, int operation);

    int m_descriptor = -1;
};
