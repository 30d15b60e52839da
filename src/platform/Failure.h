#pragma once

#include "platform/LastError.h"

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

// What a failed operation gives: false, 0 or null, as its result type has it.
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

// For exhausted memory. Inside the library that is std::bad_alloc; each operation that a caller can
// reach catches it and gives this.
inline CFailed FailForMemory() noexcept
{
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}

// Runs an operation. Where it succeeds, the last error is put back to what it was before: a code
// that was set on the way there is no failure.
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

// A new object of a class whose `new` gives null when memory is exhausted; throws std::bad_alloc
// then.
template <class T, class... Arguments>
std::unique_ptr<T> Make(Arguments&&... arguments)
{
    std::unique_ptr<T> made(new T(std::forward<Arguments>(arguments)...));
    if (made == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}
