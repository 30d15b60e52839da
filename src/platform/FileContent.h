#pragma once

#include "platform/Types.h"

#include <cstdint>

inline namespace contactmgr_internal
{

// The content of an open file (platform/FileOpen.h): reading, writing, position and length.

inline constexpr std::uint32_t FILE_BEGIN = 0;
inline constexpr std::uint32_t FILE_CURRENT = 1;
inline constexpr std::uint32_t FILE_END = 2;
inline constexpr std::uint32_t INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr std::uint32_t INVALID_FILE_SIZE = 0xFFFFFFFF;

// Read or write at the handle's position and move it on. *count is the number of bytes moved. A
// read at the end of the file succeeds with 0 bytes. A write moves all bytes or fails.
int ReadFile(HANDLE handle, void* buffer, std::uint32_t size, std::uint32_t* count,
             void* overlapped);
int WriteFile(HANDLE handle, const void* buffer, std::uint32_t size, std::uint32_t* count,
              void* overlapped);

// The low 32 bits of the new position, the high ones in *distanceHigh, which may be null;
// INVALID_SET_FILE_POINTER on failure. ERROR_INVALID_PARAMETER (87): no method of these three, or a
// position before the beginning.
std::uint32_t SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method);

// The low 32 bits of the length, the high ones in *sizeHigh, which may be null; INVALID_FILE_SIZE
// on failure.
std::uint32_t GetFileSize(HANDLE handle, std::uint32_t* sizeHigh);

} // namespace contactmgr_internal
