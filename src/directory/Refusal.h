#pragma once

#include "platform/LastError.h"

#include <cstdint>
#include <new>

namespace DirectoryUtils
{

// Runs an operation that builds a line, and throws where memory was exhausted, so that half a line
// is not taken for a whole one. A text that is refused is no failure and leaves the last error
// alone.
template <class Operation>
void BuildOrThrow(Operation operation)
{
    const std::uint32_t lastError = GetLastError();
    SetLastError(ERROR_SUCCESS);
    if (!operation() && GetLastError() == ERROR_NOT_ENOUGH_MEMORY) {
        throw std::bad_alloc();
    }
    SetLastError(lastError);
}

} // namespace DirectoryUtils
