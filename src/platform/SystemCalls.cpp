#include "platform/SystemCalls.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstring>

#include <dirent.h>
#include <sys/file.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace
{

CSystemCalls g_system;
std::atomic<CSystemCalls*> g_current{&g_system};

} // namespace

CSystemCalls& CSystemCalls::Current() noexcept
{
    return *g_current.load(std::memory_order_acquire);
}

void CSystemCalls::Replace(CSystemCalls* calls) noexcept
{
    g_current.store(calls == nullptr ? &g_system : calls, std::memory_order_release);
}

int CSystemCalls::Open(const char* path, int flags, mode_t mode)
{
    return ::open(path, flags, mode);
}

int CSystemCalls::Close(int file)
{
    return ::close(file);
}

ssize_t CSystemCalls::ReadAt(int file, void* buffer, std::size_t size, off_t position)
{
    return ::pread(file, buffer, size, position);
}

ssize_t CSystemCalls::WriteAt(int file, const void* buffer, std::size_t size, off_t position)
{
    return ::pwrite(file, buffer, size, position);
}

int CSystemCalls::Truncate(int file, off_t length)
{
    return ::ftruncate(file, length);
}

int CSystemCalls::Allocate(int file, off_t position, off_t length)
{
    return ::fallocate(file, FALLOC_FL_KEEP_SIZE, position, length);
}

int CSystemCalls::Lock(int file, int operation)
{
    return ::flock(file, operation);
}

int CSystemCalls::Sync(int file)
{
    return ::fsync(file);
}

int CSystemCalls::SyncFileSystem(int file)
{
    return ::syncfs(file);
}

long CSystemCalls::FileSystemType(int file)
{
    struct statfs status = {};
    return ::fstatfs(file, &status) == 0 ? static_cast<long>(status.f_type) : -1;
}

int CSystemCalls::Stat(int folder, const char* path, int flags, struct statx* status)
{
    return ::statx(folder, path, flags, STATX_BASIC_STATS | STATX_BTIME, status);
}

int CSystemCalls::SetTimes(int file, const struct timespec times[2])
{
    return ::futimens(file, times);
}

int CSystemCalls::Access(const char* path, int mode)
{
    return ::faccessat(AT_FDCWD, path, mode, AT_EACCESS);
}

int CSystemCalls::Rename(const char* from, const char* to, unsigned flags)
{
    return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, flags);
}

int CSystemCalls::Unlink(const char* path)
{
    return ::unlink(path);
}

int CSystemCalls::LinkOpenFile(int file, const char* path)
{
    // A link from the descriptor itself wants a capability, the one from /proc does not.
    std::array<char, 40> source{"/proc/self/fd/"};
    const std::size_t prefix = std::strlen(source.data());
    std::to_chars(source.data() + prefix, source.data() + source.size() - 1, file);
    return ::linkat(AT_FDCWD, source.data(), AT_FDCWD, path, AT_SYMLINK_FOLLOW);
}

int CSystemCalls::MakeFolder(const char* path, mode_t mode)
{
    return ::mkdir(path, mode);
}

ssize_t CSystemCalls::ListEntries(int folder, void* buffer, std::size_t size)
{
    return ::getdents64(folder, buffer, size);
}

off_t CSystemCalls::Rewind(int folder)
{
    return ::lseek(folder, 0, SEEK_SET);
}

ssize_t CSystemCalls::GetAttribute(const char* path, const char* name, void* value,
                                   std::size_t size)
{
    return ::lgetxattr(path, name, value, size);
}

ssize_t CSystemCalls::GetOpenAttribute(int file, const char* name, void* value, std::size_t size)
{
    return ::fgetxattr(file, name, value, size);
}

int CSystemCalls::SetOpenAttribute(int file, const char* name, const void* value, std::size_t size)
{
    return ::fsetxattr(file, name, value, size, 0);
}

int CSystemCalls::Now(struct timespec* time)
{
    return ::clock_gettime(CLOCK_REALTIME, time);
}
