#pragma once

#include "platform/Types.h"

// Times of the system's clock and of its file systems, which count nanoseconds since 1970, become
// FILETIME here and nowhere else. The count is floored to 100 ns; flooring is monotone, so a file's
// time copied to its folder stays equal to it.
inline constexpr std::uint64_t kFileTimeUnitsPerMicrosecond = 10;
inline constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;

FILETIME FileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds);

// The way back; nanoseconds is a multiple of 100. Times from 1601 to
// 1970 give negative seconds; the type has none before 1601.
void FileTimeToUnix(const FILETIME& time, std::int64_t* seconds, std::uint32_t* nanoseconds);

// The present UTC time: in calendar fields, and as a count.
void GetSystemTime(SYSTEMTIME* time);
void GetSystemTimeAsFileTime(FILETIME* time);
