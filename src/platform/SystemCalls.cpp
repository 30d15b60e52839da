#include "platform/SystemCalls.h"

#include <array>
#include <atomic>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include <dirent.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

inline namespace contactmgr_internal
{

namespace
{

CSystemCalls g_system;
std::atomic<CSystemCalls*> g_current{&g_system};

constexpr std::size_t kFirstUserBuffer = 1024;
constexpr std::size_t kLargestUserBuffer = std::size_t{1} << 20;

// Some sources of users say that a user is unknown by one of these.
bool IsUserLookUpDone(int error)
{
    return error == 0 || error == ENOENT || error == ESRCH || error == EPERM || error == EBADF;
}

} // namespace

CSystemCalls& CSystemCalls::Current() noexcept
{
    return *g_current.load(std::memory_order_acquire);
}

void CSystemCalls::Replace(CSystemCalls* calls) noexcept
{
    g_current.store(calls == nullptr ? &g_system : calls, std::memory_order_release);
}

template <class Call>
auto CSystemCalls::Make(const char* name, Call call) -> decltype(call())
{
    for (;;) {
        const int error = Begin(name);
        if (error == 0) {
            const auto result = call();
            if (result != -1 || errno != EINTR) {
                return result;
            }
        } else if (error != EINTR) {
            errno = error;
            return -1;
        }
    }
}

int CSystemCalls::Open(const char* path, int flags, mode_t mode)
{
    return Make("open", [&] { return ::open(path, flags, mode); });
}

ssize_t CSystemCalls::ReadAt(int file, void* buffer, std::size_t size, off_t position)
{
    return Make("read", [&] { return ::pread(file, buffer, size, position); });
}

ssize_t CSystemCalls::WriteAt(int file, const void* buffer, std::size_t size, off_t position)
{
    return Make("write", [&] { return ::pwrite(file, buffer, size, position); });
}

int CSystemCalls::Truncate(int file, off_t length)
{
    return Make("truncate", [&] { return ::ftruncate(file, length); });
}

int CSystemCalls::Allocate(int file, off_t position, off_t length)
{
    return Make("allocate",
                [&] { return ::fallocate(file, FALLOC_FL_KEEP_SIZE, position, length); });
}

int CSystemCalls::Lock(int file, int operation)
{
    return Make("lock", [&] { return ::flock(file, operation); });
}

int CSystemCalls::Sync(int file)
{
    return Make("sync", [&] { return ::fsync(file); });
}

int CSystemCalls::SyncFileSystem(int file)
{
    return Make("syncfs", [&] { return ::syncfs(file); });
}

int CSystemCalls::Stat(int folder, const char* path, int flags, struct statx* status)
{
    return Make("stat", [&] {
        return ::statx(folder, path, flags, STATX_BASIC_STATS | STATX_BTIME, status);
    });
}

int CSystemCalls::StatFileSystem(const char* path, struct statfs* status)
{
    return Make("statfs", [&] { return ::statfs(path, status); });
}

int CSystemCalls::SetTimes(int file, const struct timespec times[2])
{
    return Make("times", [&] { return ::futimens(file, times); });
}

int CSystemCalls::SetTimes(const char* path, const struct timespec times[2])
{
    return Make("times", [&] { return ::utimensat(AT_FDCWD, path, times, 0); });
}

int CSystemCalls::SetOwner(int file, uid_t user, gid_t group)
{
    return Make("chown", [&] { return ::fchown(file, user, group); });
}

int CSystemCalls::SetMode(int file, mode_t mode)
{
    return Make("chmod", [&] { return ::fchmod(file, mode); });
}

int CSystemCalls::Access(const char* path, int mode)
{
    return Make("access", [&] { return ::faccessat(AT_FDCWD, path, mode, AT_EACCESS); });
}

int CSystemCalls::Rename(const char* from, const char* to, unsigned flags)
{
    return Make("rename", [&] { return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, flags); });
}

int CSystemCalls::Unlink(const char* path)
{
    return Make("unlink", [&] { return ::unlink(path); });
}

int CSystemCalls::MakeFolder(const char* path, mode_t mode)
{
    return Make("mkdir", [&] { return ::mkdir(path, mode); });
}

int CSystemCalls::RemoveFolder(const char* path)
{
    return Make("rmdir", [&] { return ::rmdir(path); });
}

ssize_t CSystemCalls::ListEntries(int folder, void* buffer, std::size_t size)
{
    return Make("list", [&] { return ::getdents64(folder, buffer, size); });
}

off_t CSystemCalls::Rewind(int folder)
{
    return Make("rewind", [&] { return ::lseek(folder, 0, SEEK_SET); });
}

ssize_t CSystemCalls::GetAttribute(const char* path, const char* name, void* value,
                                   std::size_t size)
{
    return Make("getxattr", [&] { return ::lgetxattr(path, name, value, size); });
}

ssize_t CSystemCalls::GetAttribute(int file, const char* name, void* value, std::size_t size)
{
    return Make("getxattr", [&] { return ::fgetxattr(file, name, value, size); });
}

int CSystemCalls::AddAttribute(int file, const char* name, const void* value, std::size_t size)
{
    return Make("setxattr", [&] { return ::fsetxattr(file, name, value, size, XATTR_CREATE); });
}

int CSystemCalls::Close(int file)
{
    // Not through Make: after EINTR the descriptor is closed, and may already be another file's.
    const int error = Begin("close");
    errno = error != 0 ? error : errno;
    return (error == 0 && ::close(file) == 0) || errno == EINTR ? 0 : -1;
}

int CSystemCalls::Link(int file, const char* path)
{
    // A link from the descriptor itself needs a capability; one from /proc does not.
    std::array<char, 40> source{"/proc/self/fd/"};
    const std::size_t prefix = std::strlen(source.data());
    std::to_chars(source.data() + prefix, source.data() + source.size() - 1, file);
    return Make("link", [&] {
        return ::linkat(AT_FDCWD, source.data(), AT_FDCWD, path, AT_SYMLINK_FOLLOW);
    });
}

int CSystemCalls::ResolvePath(const char* path, std::string* resolved)
{
    char* found = nullptr;
    const int result = Make("realpath", [&] {
        found = ::realpath(path, nullptr);
        return found == nullptr ? -1 : 0;
    });
    const std::unique_ptr<char, decltype(&std::free)> owned(found, &std::free);
    if (result == 0) {
        *resolved = owned.get();
    }
    return result;
}

int CSystemCalls::GetHomeFolder(const char* user, std::string* home)
{
    std::vector<char> buffer(kFirstUserBuffer);
    for (;;) {
        struct passwd entry = {};
        struct passwd* found = nullptr;
        const int result = Make("getpwnam", [&] {
            errno = ::getpwnam_r(user, &entry, buffer.data(), buffer.size(), &found);
            return IsUserLookUpDone(errno) ? 0 : -1;
        });
        if (result == 0) {
            *home = found == nullptr ? "" : found->pw_dir;
            return 0;
        }
        if (errno != ERANGE || buffer.size() > kLargestUserBuffer) {
            return -1;
        }
        buffer.resize(buffer.size() * 4);
    }
}

// The C library has one walk of the database for the whole process.
int CSystemCalls::ListUsers(std::vector<std::string>* names)
{
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::vector<std::string> found;
    const int result = Make("getpwent", [&] {
        found.clear();
        ::setpwent();
        errno = 0;
        while (const struct passwd* const entry = ::getpwent()) {
            found.emplace_back(entry->pw_name);
        }
        return IsUserLookUpDone(errno) ? 0 : -1;
    });
    ::endpwent();
    if (result == 0) {
        *names = std::move(found);
    }
    return result;
}

int CSystemCalls::Now(struct timespec* time)
{
    return ::clock_gettime(CLOCK_REALTIME, time);
}

} // namespace contactmgr_internal
