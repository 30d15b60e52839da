#include "platform/FileTime.h"

#include "platform/SystemCalls.h"

inline namespace contactmgr_internal
{

namespace
{

// From 1601 to 1970.
constexpr std::int64_t kEpochSeconds = 11'644'473'600;
// As a count it still fits 64 bits.
constexpr std::int64_t kLastUnixSecond = 1'800'000'000'000;
constexpr std::uint32_t kNanosecondsPerUnit = 100;

struct timespec Now()
{
    struct timespec now = {};
    CSystemCalls::Current().Now(&now);
    return now;
}

} // namespace

FILETIME FileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds)
{
    if (seconds < -kEpochSeconds) {
        return {};
    }
    if (seconds > kLastUnixSecond) {
        return FileTimeFromUnix(kLastUnixSecond, 0);
    }
    const auto whole = static_cast<std::uint64_t>(seconds + kEpochSeconds);
    return FileTimeFromCount(whole * kFileTimeUnitsPerSecond + nanoseconds / kNanosecondsPerUnit);
}

void FileTimeToUnix(const FILETIME& time, std::int64_t* seconds, std::uint32_t* nanoseconds)
{
    const std::uint64_t count = FileTimeToCount(time);
    *seconds = static_cast<std::int64_t>(count / kFileTimeUnitsPerSecond) - kEpochSeconds;
    *nanoseconds =
        static_cast<std::uint32_t>(count % kFileTimeUnitsPerSecond) * kNanosecondsPerUnit;
}

FILETIME FileTimeOf(const struct statx_timestamp& time)
{
    return FileTimeFromUnix(time.tv_sec, time.tv_nsec);
}

FILETIME BirthTimeOf(const struct statx& status)
{
    return (status.stx_mask & STATX_BTIME) != 0 ? FileTimeOf(status.stx_btime) : FILETIME{};
}

void GetSystemTime(SYSTEMTIME* time)
{
    const struct timespec now = Now();
    struct tm fields = {};
    gmtime_r(&now.tv_sec, &fields);
    time->wYear = static_cast<std::uint16_t>(fields.tm_year + 1900);
    time->wMonth = static_cast<std::uint16_t>(fields.tm_mon + 1);
    time->wDayOfWeek = static_cast<std::uint16_t>(fields.tm_wday);
    time->wDay = static_cast<std::uint16_t>(fields.tm_mday);
    time->wHour = static_cast<std::uint16_t>(fields.tm_hour);
    time->wMinute = static_cast<std::uint16_t>(fields.tm_min);
    time->wSecond = static_cast<std::uint16_t>(fields.tm_sec);
    time->wMilliseconds = static_cast<std::uint16_t>(now.tv_nsec / 1'000'000);
}

void GetSystemTimeAsFileTime(FILETIME* time)
{
    const struct timespec now = Now();
    *time = FileTimeFromUnix(now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec));
}

} // namespace contactmgr_internal
