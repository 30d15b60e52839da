#pragma once

#include "platform/Export.h"
#include <cstdint>

// Reasons of a failure, as numbers. Their values are those of the Windows interface.
inline constexpr std::uint32_t ERROR_SUCCESS = 0;
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr std::uint32_t ERROR_INVALID_DATA = 13;
inline constexpr std::uint32_t ERROR_NOT_SAME_DEVICE = 17;
inline constexpr std::uint32_t ERROR_NO_MORE_FILES = 18;
inline constexpr std::uint32_t ERROR_GEN_FAILURE = 31;
inline constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::uint32_t ERROR_LOCK_VIOLATION = 33;
inline constexpr std::uint32_t ERROR_HANDLE_EOF = 38;
inline constexpr std::uint32_t ERROR_NOT_SUPPORTED = 50;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_DISK_FULL = 112;
inline constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr std::uint32_t ERROR_DIR_NOT_EMPTY = 145;
inline constexpr std::uint32_t ERROR_BUSY = 170;
inline constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr std::uint32_t ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr std::uint32_t ERROR_FILE_TOO_LARGE = 223;
inline constexpr std::uint32_t ERROR_UNSUPPORTED_COMPRESSION = 618;
inline constexpr std::uint32_t ERROR_OPERATION_ABORTED = 995;
inline constexpr std::uint32_t ERROR_FILE_INVALID = 1006;
inline constexpr std::uint32_t ERROR_IO_DEVICE = 1117;
inline constexpr std::uint32_t ERROR_NOT_FOUND = 1168;
inline constexpr std::uint32_t ERROR_ALREADY_INITIALIZED = 1247;
inline constexpr std::uint32_t ERROR_DISK_QUOTA_EXCEEDED = 1295;
inline constexpr std::uint32_t ERROR_CANT_RESOLVE_FILENAME = 1921;

// The calling thread's last error: why its last failed operation failed. An operation that gives
// false, 0 or null sets it, unless its comment says otherwise. Every operation of the installed
// headers that succeeds leaves it as it was.
CONTACTMGR_API std::uint32_t GetLastError() noexcept;
CONTACTMGR_API void SetLastError(std::uint32_t code) noexcept;

// Whether a code says that a file, or a folder on the way to it, is missing:
// ERROR_FILE_NOT_FOUND (2) or ERROR_PATH_NOT_FOUND (3).
constexpr bool IsMissingFile(std::uint32_t code)
{
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

// A few English words for a code, for messages. "unknown error" for any other code. Never null.
CONTACTMGR_API const char* LastErrorText(std::uint32_t code) noexcept;

// Keeps the last error: its destruction restores what its construction found. So clean-up after a
// failure cannot replace the reason.
class CKeepLastError
{
public:
    CKeepLastError() noexcept : m_code(GetLastError()) {}
    ~CKeepLastError() { SetLastError(m_code); }
    CKeepLastError(const CKeepLastError&) = delete;
    CKeepLastError& operator=(const CKeepLastError&) = delete;

private:
    const std::uint32_t m_code;
};
