#pragma once

#include "platform/LastError.h"

#include <cstdint>

namespace DirectoryUtils
{

// False, for a text that is refused without an error of the thread: the last error goes back to
// what it was before, unless memory was exhausted.
inline bool Refuse(std::uint32_t lastErrorBefore) noexcept
{
    if (GetLastError() != ERROR_NOT_ENOUGH_MEMORY) {
        SetLastError(lastErrorBefore);
    }
    return false;
}

} // namespace DirectoryUtils
