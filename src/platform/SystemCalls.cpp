#include "platform/SystemCalls.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstring>

#include <dirent.h>
#include <sys/file.h>
#include <sys/resource.h>
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

bool CSystemCalls::IsAllowed(const char* call)
{
    const int error = Begin(call);
    errno = error != 0 ? error : errno;
    return error == 0;
}

int CSystemCalls::Open(const char* path, int flags, mode_t mode)
{
    return IsAllowed("open") ? ::open(path, flags, mode) : -1;
}

int CSystemCalls::Close(int file)
{
    return IsAllowed("close") ? ::close(file) : -1;
}

ssize_t CSystemCalls::ReadAt(int file, void* buffer, std::size_t size, off_t position)
{
    return IsAllowed("read") ? ::pread(file, buffer, size, position) : -1;
}

ssize_t CSystemCalls::WriteAt(int file, const void* buffer, std::size_t size, off_t position)
{
    return IsAllowed("write") ? ::pwrite(file, buffer, size, position) : -1;
}

int CSystemCalls::Truncate(int file, off_t length)
{
    return IsAllowed("truncate") ? ::ftruncate(file, length) : -1;
}

int CSystemCalls::Allocate(int file, off_t position, off_t length)
{
    return IsAllowed("allocate") ? ::fallocate(file, FALLOC_FL_KEEP_SIZE, position, length) : -1;
}

int CSystemCalls::Lock(int file, int operation)
{
    return IsAllowed("lock") ? ::flock(file, operation) : -1;
}

int CSystemCalls::Sync(int file)
{
    return IsAllowed("sync") ? ::fsync(file) : -1;
}

int CSystemCalls::SyncFileSystem(int file)
{
    return IsAllowed("syncfs") ? ::syncfs(file) : -1;
}

int CSystemCalls::StatFileSystem(int file, struct statfs* status)
{
    return IsAllowed("statfs") ? ::fstatfs(file, status) : -1;
}

std::uint64_t CSystemCalls::LargestFileSize()
{
    struct rlimit limit = {};
    return ::getrlimit(RLIMIT_FSIZE, &limit) == 0 ? limit.rlim_cur : 0;
}

int CSystemCalls::Stat(int folder, const char* path, int flags, struct statx* status)
{
    return IsAllowed("stat") ? ::statx(folder, path, flags, STATX_BASIC_STATS | STATX_BTIME, status)
                             : -1;
}

int CSystemCalls::SetTimes(int file, const struct timespec times[2])
{
    return IsAllowed("times") ? ::futimens(file, times) : -1;
}

int CSystemCalls::Access(const char* path, int mode)
{
    return IsAllowed("access") ? ::faccessat(AT_FDCWD, path, mode, AT_EACCESS) : -1;
}

int CSystemCalls::Rename(const char* from, const char* to, unsigned flags)
{
    return IsAllowed("rename") ? ::renameat2(AT_FDCWD, from, AT_FDCWD, to, flags) : -1;
}

int CSystemCalls::Unlink(const char* path)
{
    return IsAllowed("unlink") ? ::unlink(path) : -1;
}

int CSystemCalls::LinkOpenFile(int file, const char* path)
{
    // A link from the descriptor itself wants a capability, the one from /proc does not.
    std::array<char, 40> source{"/proc/self/fd/"};
    const std::size_t prefix = std::strlen(source.data());
    std::to_chars(source.data() + prefix, source.data() + source.size() - 1, file);
    return IsAllowed("link") ? ::linkat(AT_FDCWD, source.data(), AT_FDCWD, path, AT_SYMLINK_FOLLOW)
                             : -1;
}

int CSystemCalls::MakeFolder(const char* path, mode_t mode)
{
    return IsAllowed("mkdir") ? ::mkdir(path, mode) : -1;
}

ssize_t CSystemCalls::ListEntries(int folder, void* buffer, std::size_t size)
{
    return IsAllowed("list") ? ::getdents64(folder, buffer, size) : -1;
}

off_t CSystemCalls::Rewind(int folder)
{
    return IsAllowed("rewind") ? ::lseek(folder, 0, SEEK_SET) : -1;
}

ssize_t CSystemCalls::GetAttribute(const char* path, const char* name, void* value,
                                   std::size_t size)
{
    return IsAllowed("getxattr") ? ::lgetxattr(path, name, value, size) : -1;
}

ssize_t CSystemCalls::GetOpenAttribute(int file, const char* name, void* value, std::size_t size)
{
    return IsAllowed("getxattr") ? ::fgetxattr(file, name, value, size) : -1;
}

int CSystemCalls::SetOpenAttribute(int file, const char* name, const void* value, std::size_t size)
{
    return IsAllowed("setxattr") ? ::fsetxattr(file, name, value, size, 0) : -1;
}

int CSystemCalls::Now(struct timespec* time)
{
    return ::clock_gettime(CLOCK_REALTIME, time);
}
