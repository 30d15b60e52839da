#include "platform/FolderLock.h"

#include "platform/LastError.h"
#include "platform/OpenFile.h"

#include <utility>

#include <sys/file.h>

bool CFolderLock::AcquireShared(const char* folder)
{
    return Acquire(folder, LOCK_SH);
}

bool CFolderLock::AcquireExclusive(const char* folder)
{
    return Acquire(folder, LOCK_EX);
}

bool CFolderLock::Acquire(const char* folder, int operation)
{
    Release();
    CSystemCalls& calls = CSystemCalls::Current();
    CDescriptor descriptor(OpenFolder(folder));
    if (!descriptor.IsOpen()) {
        return FailWithErrno(folder);
    }
    if (calls.Lock(descriptor.Get(), operation | LOCK_NB) != 0) {
        const bool isHeld = errno == EWOULDBLOCK;
        FailWithErrno();
        if (isHeld) {
            SetLastError(ERROR_LOCK_VIOLATION);
        }
        return false;
    }
    m_descriptor = descriptor.Release();
    return true;
}

void CFolderLock::Release() noexcept
{
    const CDescriptor released(std::exchange(m_descriptor, -1));
}
