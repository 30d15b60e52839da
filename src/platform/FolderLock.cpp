#include "platform/FolderLock.h"

#include "platform/Errno.h"
#include "platform/LastError.h"
#include "platform/SystemCalls.h"

#include <utility>

#include <sys/file.h>

inline namespace contactmgr_internal
{

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
    CDescriptor opened = OpenFolder(folder);
    if (!opened.IsOpen()) {
        return FailWithErrno(folder);
    }
    if (CSystemCalls::Current().Lock(opened.Get(), operation | LOCK_NB) != 0) {
        // The table has ERROR_SHARING_VIOLATION (32) for it, as for a file.
        const bool isHeld = errno == EWOULDBLOCK;
        FailWithErrno();
        if (isHeld) {
            SetLastError(ERROR_LOCK_VIOLATION);
        }
        return false;
    }
    m_folder = std::move(opened);
    return true;
}

void CFolderLock::Release() noexcept
{
    m_folder = CDescriptor();
}

} // namespace contactmgr_internal
