#include "platform/FileStamp.h"

#include "platform/ChangeProtocol.h"
#include "platform/OpenFile.h"
#include "platform/RedoFile.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <sys/file.h>
#include <unistd.h>

namespace
{

// A thread that sleeps wakes up so much later.
constexpr std::uint64_t kSpinWait = 50 * kFileTimeUnitsPerMicrosecond;

constexpr int kStampAttempts = 14;

std::uint64_t ClockCount()
{
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return FileTimeToCount(now);
}

struct timespec TimespecOf(std::uint64_t count)
{
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
    FileTimeToUnix(FileTimeFromCount(count), &seconds, &nanoseconds);
    return {.tv_sec = seconds, .tv_nsec = nanoseconds};
}

// Sets the file's time and reads it back: some file systems store something else and say nothing.
// Both times are always given, since some take "leave as it is" for a time. Those that keep whole
// seconds only get the next second, so that the stamp is never earlier than the one wanted.
bool SetAndReadBack(int file, std::uint64_t wanted, std::uint64_t* stored)
{
    struct statx status = {};
    for (const std::uint64_t rounding : {std::uint64_t{0}, kFileTimeUnitsPerSecond}) {
        const FILETIME time = FileTimeFromCount(wanted + rounding);
        if (!SetLastWriteTime(file, time) ||
            CSystemCalls::Current().Stat(file, "", AT_EMPTY_PATH, &status) != 0) {
            return false;
        }
        *stored = FileTimeToCount(FileTimeOf(status.stx_mtime));
        if (*stored >= wanted) {
            break;
        }
    }
    return true;
}

// I4: later than `latest`, and than the clock behind it. False with errno set.
bool StampFile(int file, std::uint64_t latest, std::uint64_t* stamp)
{
    std::uint64_t lead = kStampLead;
    for (int attempt = 0; attempt < kStampAttempts; ++attempt) {
        const std::uint64_t begin = ClockCount();
        if (!SetAndReadBack(file, std::max(begin + lead, latest + 1), stamp)) {
            return false;
        }
        const std::uint64_t clock = ClockCount();
        if (clock < *stamp) {
            return true;
        }
        // A loaded network file system takes long to set it.
        lead = 2 * std::max(lead, clock - std::min(begin, clock));
    }
    errno = EBUSY;
    return false;
}

void WaitForClock(std::uint64_t until)
{
    for (std::uint64_t now = ClockCount(); now < until; now = ClockCount()) {
        const std::uint64_t rest = until - now;
        if (rest > kLongestStampWait) {
            return;
        }
        if (rest > kSpinWait) {
            std::this_thread::sleep_for(std::chrono::nanoseconds(100 * (rest - kSpinWait)));
        }
    }
}

// What the folder's times tell. When names change, the system sets the last-write time from a
// coarse clock, which may be earlier than a version that was handed out; the access time keeps it.
struct FolderTimes
{
    std::uint64_t lastWrite = 0;
    std::uint64_t latest = 0;
};

bool ReadFolderTimes(const std::string& folder, FolderTimes* times)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), AT_STATX_FORCE_SYNC, &status) != 0) {
        return false;
    }
    const std::uint64_t access = FileTimeToCount(FileTimeOf(status.stx_atime));
    const bool isKept =
        access > kAccessTimeLead && access - kAccessTimeLead < ClockCount() + kFarthestVersion;
    times->lastWrite = FileTimeToCount(FileTimeOf(status.stx_mtime));
    times->latest =
        isKept ? std::max(times->lastWrite, access - kAccessTimeLead) : times->lastWrite;
    return true;
}

bool SetFolderTimes(const std::string& folder, std::uint64_t version)
{
    const struct timespec times[2] = {TimespecOf(version + kAccessTimeLead), TimespecOf(version)};
    return CSystemCalls::Current().SetTimes(folder.c_str(), times) == 0;
}

// Held while a stamp is given, so that the folder's time goes from one to the next. A lock on the
// folder itself does not reach the other clients of a network file system. Without the lock a stamp
// is still right as long as the clock is not set back, so a failure is passed over.
class CStampLock
{
public:
    explicit CStampLock(const std::string& folder)
        : m_file(OpenInRedoFolder(folder, kStampLock, O_RDWR))
    {
        if (m_file.IsOpen()) {
            LockPatiently(m_file.Get());
        }
    }
    // By hand, since a child process may have a copy of the descriptor.
    ~CStampLock()
    {
        if (m_file.IsOpen()) {
            const int error = errno;
            CSystemCalls::Current().Lock(m_file.Get(), LOCK_UN);
            errno = error;
        }
    }
    CStampLock(const CStampLock&) = delete;
    CStampLock& operator=(const CStampLock&) = delete;

private:
    const CDescriptor m_file;
};

} // namespace

bool StampAndMoveFolder(int file, const std::string& folder)
{
    const CStampLock lock(folder);
    FolderTimes times;
    std::uint64_t stamp = 0;
    ReadFolderTimes(folder, &times);
    if (!StampFile(file, times.latest, &stamp)) {
        return FailWithErrno();
    }
    WaitForClock(stamp);
    SetFolderTimes(folder, stamp);
    return true;
}

bool MoveFolder(const std::string& folder, const FILETIME& time, FILETIME* latest)
{
    const CStampLock lock(folder);
    FolderTimes times;
    if (!ReadFolderTimes(folder, &times)) {
        return FailWithErrno(folder.c_str());
    }
    const std::uint64_t version = std::max(FileTimeToCount(time), times.latest);
    *latest = FileTimeFromCount(version);
    return times.lastWrite >= version || SetFolderTimes(folder, version) || FailWithErrno();
}

bool MoveFolderToNow(const std::string& folder, FILETIME* latest)
{
    return MoveFolder(folder, FileTimeFromCount(ClockCount()), latest);
}

bool MayStamp(int file, const struct statx& status)
{
    // Only the owner sets times; where ids are mapped, as on network file systems, trying tells.
    const struct timespec times[2] = {
        {.tv_sec = status.stx_atime.tv_sec, .tv_nsec = status.stx_atime.tv_nsec},
        {.tv_sec = status.stx_mtime.tv_sec, .tv_nsec = status.stx_mtime.tv_nsec}};
    return status.stx_uid == ::geteuid() || CSystemCalls::Current().SetTimes(file, times) == 0 ||
           FailWithErrno();
}

bool SetLastWriteTime(int file, const FILETIME& time)
{
    const struct timespec value = TimespecOf(FileTimeToCount(time));
    const struct timespec times[2] = {value, value};
    return CSystemCalls::Current().SetTimes(file, times) == 0;
}
