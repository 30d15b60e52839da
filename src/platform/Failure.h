#pragma once

#include "platform/LastError.h"

#include <cstddef>
#include <new>
#include <type_traits>

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

// Inside the library exhausted memory is std::bad_alloc. Each operation that a caller can reach
// does its work in here, where that becomes a failed result with ERROR_NOT_ENOUGH_MEMORY (8).
template <class Work>
std::invoke_result_t<Work&> Guarded(Work&& work) noexcept
try {
    return work();
} catch (const std::bad_alloc&) {
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
}
