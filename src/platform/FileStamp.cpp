#include "platform/FileStamp.h"

#include "platform/ChangeProtocol.h"
#include "platform/Errno.h"
#include "platform/LastError.h"
#include "platform/NewFile.h"
#include "platform/RedoFile.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <sys/file.h>
#include <unistd.h>

inline namespace contactmgr_internal
{

namespace
{

// A sleeping thread wakes up this much late.
constexpr std::uint64_t kSpinWait = 50 * kFileTimeUnitsPerMicrosecond;

// With the lead doubled each time, the last attempt leads by 40 ms.
constexpr int kStampAttempts = 14;

constexpr std::uint32_t kNanosecondsOfProbe = 123'456'700;

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

// Sets the file's time and reads it back, since some file systems silently store another one. Those
// that store whole seconds get the next second, so that the stamp is not earlier than wanted.
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

// I4: a stamp later than `latest` and ahead of the clock. False with errno set.
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
        // Setting it takes long on a loaded network file system.
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
            return; // the clock was set back
        }
        if (rest > kSpinWait) {
            std::this_thread::sleep_for(std::chrono::nanoseconds(100 * (rest - kSpinWait)));
        }
    }
}

// When names change, the system sets the folder's last-write time from a coarse clock, which may be
// earlier than a version that was handed out. The access time still keeps that version.
struct CFolderTimes
{
    std::uint64_t lastWrite = 0;
    std::uint64_t latest = 0; // of all versions
};

bool ReadFolderTimes(const std::string& folder, CFolderTimes* times)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), AT_STATX_FORCE_SYNC, &status) != 0) {
        return false;
    }
    const std::uint64_t access = FileTimeToCount(FileTimeOf(status.stx_atime));
    // The system itself sets the access time too, to its clock.
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

// Locked while a stamp is given, so that two stamps have an order. It locks a file, since network
// file systems do not pass the lock of a folder on to other servers. Without the lock stamps are
// wrong only if the clock is set back, so a failure is ignored.
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
    // Closing is not enough: a child process may have a copy of the descriptor.
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
    CFolderTimes times;
    std::uint64_t stamp = 0;
    ReadFolderTimes(folder, &times); // without them the stamp is still ahead of the clock
    if (!StampFile(file, times.latest, &stamp)) {
        return FailWithErrno();
    }
    WaitForClock(stamp);
    SetFolderTimes(folder, stamp); // I5: a report makes up for a failure
    return true;
}

bool MoveFolderTime(const std::string& folder, const FILETIME& time, FILETIME* latest)
{
    const CStampLock lock(folder);
    CFolderTimes times;
    if (!ReadFolderTimes(folder, &times)) {
        return FailWithErrno(folder.c_str());
    }
    const std::uint64_t version = std::max(FileTimeToCount(time), times.latest);
    *latest = FileTimeFromCount(version);
    return times.lastWrite >= version || SetFolderTimes(folder, version) || FailWithErrno();
}

bool MoveFolderTimeToNow(const std::string& folder, FILETIME* latest)
{
    return MoveFolderTime(folder, FileTimeFromCount(ClockCount()), latest);
}

bool MayStamp(int file, const struct statx& status)
{
    // Only the owner may set times. Network file systems map user ids, so it is tried too.
    const struct timespec times[2] = {
        {.tv_sec = status.stx_atime.tv_sec, .tv_nsec = status.stx_atime.tv_nsec},
        {.tv_sec = status.stx_mtime.tv_sec, .tv_nsec = status.stx_mtime.tv_nsec}};
    return status.stx_uid == ::geteuid() || CSystemCalls::Current().SetTimes(file, times) == 0 ||
           FailWithErrno();
}

bool SetLastWriteTime(int file, const FILETIME& time)
{
    const struct timespec value = TimespecOf(FileTimeToCount(time));
    // Both, since some file systems take "leave it as it is" for a time.
    const struct timespec times[2] = {value, value};
    return CSystemCalls::Current().SetTimes(file, times) == 0;
}

bool KeepsFineFileTimes(const std::string& folder)
{
    const CKeepLastError keep;
    CSystemCalls& calls = CSystemCalls::Current();
    const FILETIME fraction = FileTimeFromUnix(0, kNanosecondsOfProbe);
    const std::string probe = folder + "/.times~";
    bool isFine = true;
    MakeFile(probe, std::nullopt, [&](int made) {
        struct statx status = {};
        isFine = !SetLastWriteTime(made, fraction) ||
                 calls.Stat(made, "", AT_EMPTY_PATH, &status) != 0 ||
                 FileTimeOf(status.stx_mtime) == fraction;
        return false; // so it gets no name
    });
    calls.Unlink(probe.c_str()); // for a file system that makes none without a name
    return isFine;
}

} // namespace contactmgr_internal
