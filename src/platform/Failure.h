#pragma once

#include "platform/LastError.h"

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

inline namespace contactmgr_internal
{

// The result of a failed operation: false, 0 or null, whichever its type needs.
class CFailed
{
public:
    constexpr operator bool() const noexcept { return false; }
    constexpr operator std::nullptr_t() const noexcept { return nullptr; }
    template <class T>
    constexpr operator T*() const noexcept
    {
        return nullptr;
    }
};

// Sets the last error.
inline CFailed Fail(std::uint32_t code) noexcept
{
    SetLastError(code);
    return {};
}

// For exhausted memory: ERROR_NOT_ENOUGH_MEMORY (8). Operations for callers return it where they
// catch std::bad_alloc.
inline CFailed FailForMemory() noexcept
{
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

// Runs an operation. If it succeeds, the last error is as it was before.
template <class Operation>
bool KeepingLastError(Operation operation)
{
    const std::uint32_t before = GetLastError();
    const bool isDone = operation();
    if (isDone) {
        SetLastError(before);
    }
    return isDone;
}

// A new object. Throws std::bad_alloc also for a class whose `new` gives null.
template <class T, class... Arguments>
std::unique_ptr<T> Make(Arguments&&... arguments)
{
    std::unique_ptr<T> made(new T(std::forward<Arguments>(arguments)...));
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}

} // namespace contactmgr_internal
