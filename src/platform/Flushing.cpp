#include "platform/Flushing.h"

#include "platform/Descriptor.h"
#include "platform/Errno.h"
#include "platform/SystemCalls.h"

#include <atomic>

inline namespace contactmgr_internal
{

namespace
{

std::atomic<bool> g_isFlushing{false};

} // namespace

void SetFlushing(bool on) noexcept
{
    g_isFlushing.store(on, std::memory_order_relaxed);
}

bool IsFlushing() noexcept
{
    return g_isFlushing.load(std::memory_order_relaxed);
}

bool SyncFolder(const char* folder)
{
    const CDescriptor descriptor = OpenFolder(folder);
    return descriptor.IsOpen() && CSystemCalls::Current().Sync(descriptor.Get()) == 0;
}

int FlushFileSystem(const char* path)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor file(calls.Open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    if (!file.IsOpen()) {
        return FailWithErrno(path);
    }
    return calls.SyncFileSystem(file.Get()) == 0 || FailWithErrno();
}

} // namespace contactmgr_internal
