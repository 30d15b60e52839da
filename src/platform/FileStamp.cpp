#include "platform/FileStamp.h"

#include "platform/FileTime.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdio>
#include <thread>

#include <linux/magic.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

// All in units of 100 ns.
constexpr std::uint64_t kFirstLead = 50;
constexpr std::uint64_t kLongestWait = 2 * kFileTimeUnitsPerSecond;
constexpr std::uint64_t kSpinWait = 500;
constexpr std::uint64_t kMarkLead = 3600 * kFileTimeUnitsPerSecond;
constexpr std::uint64_t kDay = 24 * kMarkLead;

constexpr int kStampAttempts = 14;
constexpr int kFolderLockAttempts = 100;
constexpr int kLockFileAttempts = 1500; // others hold it for as long as their network takes

std::uint64_t ClockCount()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return FileTimeToCount(now);
}

bool Stat(int folder, const char* path, int flags, struct statx* status)
{
    return RetryInterrupted(
               [&] { return CSystemCalls::Current().Stat(folder, path, flags, status); }) == 0;
}

bool LastWriteOfOpen(int file, std::uint64_t* count)
{
    struct statx status = {};
    if (!Stat(file, "", AT_EMPTY_PATH, &status)) {
        return false;
    }
    *count = FileTimeToCount(FileTimeOf(status.stx_mtime));
    return true;
}

// The latest time that a folder is known to have had. The access time keeps it, an hour ahead, so
// that reading the folder does not renew it; one that lies further ahead than any clock is set
// wrong is not ours.
std::uint64_t LatestOfFolder(const struct statx& status)
{
    const std::uint64_t lastWrite = FileTimeToCount(FileTimeOf(status.stx_mtime));
    const std::uint64_t access = FileTimeToCount(FileTimeOf(status.stx_atime));
    const bool isMark = access > kMarkLead && access - kMarkLead < ClockCount() + kDay;
    return isMark ? std::max(lastWrite, access - kMarkLead) : lastWrite;
}

struct timespec TimespecOf(std::uint64_t count)
{
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
    FileTimeToUnix(FileTimeFromCount(count), &seconds, &nanoseconds);
    return {.tv_sec = seconds, .tv_nsec = nanoseconds};
}

// Both times are always given: some FUSE file systems take "leave as it is" and store something
// else.
bool SetTimes(int file, const struct timespec& access, std::uint64_t lastWrite)
{
    const struct timespec times[2] = {access, TimespecOf(lastWrite)};
    return RetryInterrupted([&] { return CSystemCalls::Current().SetTimes(file, times); }) == 0;
}

// A stamp as it stands on the file, and the clock right after it was set.
struct Stamp
{
    std::uint64_t stored = 0;
    std::uint64_t clock = 0;
};

bool SetAndReadBack(int file, std::uint64_t wanted, Stamp* stamp)
{
    if (!SetTimes(file, TimespecOf(wanted), wanted)) {
        return false;
    }
    stamp->clock = ClockCount();
    return LastWriteOfOpen(file, &stamp->stored);
}

// One that keeps whole seconds only is moved to the next second, so that the stamp is never behind
// the one that was meant.
bool SetNotBefore(int file, std::uint64_t wanted, Stamp* stamp)
{
    if (!SetAndReadBack(file, wanted, stamp)) {
        return false;
    }
    if (stamp->stored >= wanted) {
        return true;
    }
    const std::uint64_t nextSecond =
        (wanted / kFileTimeUnitsPerSecond + 1) * kFileTimeUnitsPerSecond;
    return SetAndReadBack(file, nextSecond, stamp);
}

// A lock on a folder ends at this machine there.
bool SharesOnlyFileLocks(int folder) noexcept
{
    struct statfs status = {};
    return RetryInterrupted(
               [&] { return CSystemCalls::Current().StatFileSystem(folder, &status); }) == 0 &&
           (status.f_type == FUSE_SUPER_MAGIC || status.f_type == NFS_SUPER_MAGIC);
}

int OpenLockFile(const char* folder) noexcept
{
    std::array<char, PATH_MAX> path = {};
    const int length = std::snprintf(path.data(), path.size(), "%s/.lock~", folder);
    if (length < 0 || length >= PATH_MAX) {
        return -1;
    }
    constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    return RetryInterrupted(
        [&] { return CSystemCalls::Current().Open(path.data(), kFlags, kFileMode); });
}

// Serialises the writers of a folder's time, as far as it can. It is held for microseconds; whoever
// stopped while holding it must not stop the others for ever.
class CFolderTimeLock
{
public:
    CFolderTimeLock(int folder, const char* path) noexcept
        : m_file(SharesOnlyFileLocks(folder) ? OpenLockFile(path) : -1),
          m_locked(m_file.IsOpen() ? m_file.Get() : folder)
    {
        CSystemCalls& calls = CSystemCalls::Current();
        const int attempts = m_file.IsOpen() ? kLockFileAttempts : kFolderLockAttempts;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            if (RetryInterrupted([&] { return calls.Lock(m_locked, LOCK_EX | LOCK_NB); }) == 0 ||
                errno != EWOULDBLOCK) {
                return;
            }
            std::this_thread::sleep_for(
                std::chrono::microseconds(std::min(20 * (attempt + 1), 2000)));
        }
    }
    ~CFolderTimeLock()
    {
        const int error = errno;
        CSystemCalls::Current().Lock(m_locked, LOCK_UN);
        errno = error;
    }
    CFolderTimeLock(const CFolderTimeLock&) = delete;
    CFolderTimeLock& operator=(const CFolderTimeLock&) = delete;

private:
    const CDescriptor m_file;
    const int m_locked;
};

} // namespace

FILETIME FileTimeOf(const struct statx_timestamp& time)
{
    return FileTimeFromUnix(time.tv_sec, time.tv_nsec);
}

FILETIME BirthTimeOf(const struct statx& status)
{
    return (status.stx_mask & STATX_BTIME) != 0 ? FileTimeOf(status.stx_btime) : FILETIME{};
}

bool LatestTimeOf(const char* folder, FILETIME* latest)
{
    struct statx status = {};
    if (!Stat(AT_FDCWD, folder, AT_STATX_FORCE_SYNC, &status)) {
        return FailWithErrno();
    }
    *latest = FileTimeFromCount(LatestOfFolder(status));
    return true;
}

bool StampFile(int file, const char* folder, FILETIME* stamp)
{
    std::uint64_t lead = kFirstLead;
    std::uint64_t least = 0;
    Stamp last;
    for (int attempt = 0; attempt < kStampAttempts; ++attempt) {
        const std::uint64_t begin = ClockCount();
        const std::uint64_t wanted = std::max(begin + lead, least);
        FILETIME latest;
        if (!SetNotBefore(file, wanted, &last)) {
            return FailWithErrno();
        }
        if (!LatestTimeOf(folder, &latest)) {
            return false;
        }
        const std::uint64_t folderTime = FileTimeToCount(latest);
        if (folderTime < last.stored && last.clock < last.stored) {
            break;
        }
        least = folderTime + 1;
        // A loaded network file system takes long to set it.
        lead = 2 * std::max(lead, last.clock - std::min(begin, last.clock));
    }
    *stamp = FileTimeFromCount(last.stored);
    return true;
}

void WaitForStamp(const FILETIME& stamp) noexcept
{
    const std::uint64_t until = FileTimeToCount(stamp);
    for (std::uint64_t now = ClockCount(); now < until; now = ClockCount()) {
        const std::uint64_t rest = until - now;
        if (rest > kLongestWait) {
            return;
        }
        if (rest > kSpinWait) {
            std::this_thread::sleep_for(std::chrono::nanoseconds(100 * (rest - kSpinWait)));
        }
    }
}

bool MoveFolderTime(int folder, const char* path, const FILETIME& time)
{
    const CFolderTimeLock lock(folder, path);
    struct statx status = {};
    if (!Stat(folder, "", AT_EMPTY_PATH | AT_STATX_FORCE_SYNC, &status)) {
        return FailWithErrno();
    }
    const std::uint64_t latest = std::max(FileTimeToCount(time), LatestOfFolder(status));
    return FileTimeToCount(FileTimeOf(status.stx_mtime)) >= latest ||
           SetTimes(folder, TimespecOf(latest + kMarkLead), latest) || FailWithErrno();
}

bool MoveFolderTime(const char* path, const FILETIME& time)
{
    const CDescriptor folder(OpenFolder(path));
    return folder.IsOpen() ? MoveFolderTime(folder.Get(), path, time) : FailWithErrno(path);
}

bool MoveFolderTimeToNow(int folder, const char* path)
{
    return MoveFolderTime(folder, path, FileTimeFromCount(ClockCount()));
}

bool MoveFolderTimeToNow(const char* path)
{
    return MoveFolderTime(path, FileTimeFromCount(ClockCount()));
}

bool MayStamp(int file, const struct statx& status)
{
    // Only the owner sets times; where ids are mapped, as on network file systems, trying tells.
    const struct timespec times[2] = {
        {.tv_sec = status.stx_atime.tv_sec, .tv_nsec = status.stx_atime.tv_nsec},
        {.tv_sec = status.stx_mtime.tv_sec, .tv_nsec = status.stx_mtime.tv_nsec}};
    return status.stx_uid == ::geteuid() ||
           RetryInterrupted([&] { return CSystemCalls::Current().SetTimes(file, times); }) == 0 ||
           FailWithErrno();
}

bool SetLastWriteTime(int file, const FILETIME& time)
{
    const std::uint64_t count = FileTimeToCount(time);
    return SetTimes(file, TimespecOf(count), count);
}
