#pragma once

#include <cstdint>

inline namespace contactmgr_internal
{

// The code for an errno value, from the library's only table. A value that the table lacks gives
// ERROR_GEN_FAILURE (31).
std::uint32_t ErrorFromErrno(int error) noexcept;

// Sets the last error from errno and gives false. ENOENT gives ERROR_FILE_NOT_FOUND (2).
bool FailWithErrno() noexcept;

// The same for an operation on a path. Where the path's folder is missing too, ENOENT gives
// ERROR_PATH_NOT_FOUND (3).
bool FailWithErrno(const char* path);

// The same for an operation on a folder: ENOENT gives ERROR_PATH_NOT_FOUND (3).
bool FailWithErrnoOfFolder() noexcept;

} // namespace contactmgr_internal
