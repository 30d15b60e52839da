#pragma once

#include <compare>
#include <cstdint>

// A time or a version: a count of 100-nanosecond units since 1601-01-01 UTC, in two halves. Two
// compare as 64-bit counts. A value.
struct FILETIME
{
    std::uint32_t dwLowDateTime = 0;
    std::uint32_t dwHighDateTime = 0;
};

// The two halves as one count, and back.
constexpr std::uint64_t FileTimeToCount(const FILETIME& time)
{
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

constexpr FILETIME FileTimeFromCount(std::uint64_t count)
{
    return {static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(count >> 32)};
}

constexpr bool operator==(const FILETIME& left, const FILETIME& right)
{
    return FileTimeToCount(left) == FileTimeToCount(right);
}

constexpr std::strong_ordering operator<=>(const FILETIME& left, const FILETIME& right)
{
    return FileTimeToCount(left) <=> FileTimeToCount(right);
}

// A UTC date and time of day. A value.
struct SYSTEMTIME
{
    std::uint16_t wYear = 0;
    std::uint16_t wMonth = 0;     // 1 to 12
    std::uint16_t wDayOfWeek = 0; // 0 is Sunday
    std::uint16_t wDay = 0;       // 1 to 31
    std::uint16_t wHour = 0;
    std::uint16_t wMinute = 0;
    std::uint16_t wSecond = 0;
    std::uint16_t wMilliseconds = 0;
};

// An open file, folder or search; opaque. Whoever opened it closes it.
enum class HANDLE : std::intptr_t
{
};

inline constexpr HANDLE INVALID_HANDLE_VALUE{-1};
