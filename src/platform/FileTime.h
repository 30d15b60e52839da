#pragma once

#include "platform/Types.h"

struct statx;
struct statx_timestamp;

inline namespace contactmgr_internal
{

// Converts between FILETIME and the system's times, which count nanoseconds since 1970. Rounding
// goes down to 100 ns and keeps the order of two times. So a file's time that was copied to its
// folder reads equal there.
inline constexpr std::uint64_t kFileTimeUnitsPerMicrosecond = 10;
inline constexpr std::uint64_t kFileTimeUnitsPerSecond = 10'000'000;

// A time before 1601 gives 0. A time too far ahead for FILETIME gives one about 57,000 years ahead.
FILETIME FileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds);

// *nanoseconds is a multiple of 100. A time before 1970 gives negative seconds.
void FileTimeToUnix(const FILETIME& time, std::int64_t* seconds, std::uint32_t* nanoseconds);

FILETIME FileTimeOf(const struct statx_timestamp& time);
// The birth of a file; 0 where the file system keeps none.
FILETIME BirthTimeOf(const struct statx& status);

// The present UTC time.
void GetSystemTime(SYSTEMTIME* time);
void GetSystemTimeAsFileTime(FILETIME* time);

} // namespace contactmgr_internal
