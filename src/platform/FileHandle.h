#pragma once

#include "platform/FileApi.h"

#include <utility>

// Owns one open file, folder or search, and ends it with the given operation. Movable, not
// copyable. Ending it by destruction leaves the last error alone.
template <int (*EndHandle)(HANDLE)>
class COwnedHandle
{
public:
    COwnedHandle() = default;
    explicit COwnedHandle(HANDLE handle) noexcept : m_handle(handle) {}
    COwnedHandle(COwnedHandle&& other) noexcept : m_handle(other.Release()) {}
    COwnedHandle& operator=(COwnedHandle&& other) noexcept
    {
        Reset(other.Release());
        return *this;
    }
    ~COwnedHandle() { Reset(); }

    bool IsOpen() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const noexcept { return m_handle; }
    HANDLE Release() noexcept { return std::exchange(m_handle, INVALID_HANDLE_VALUE); }

    void Reset(HANDLE handle = INVALID_HANDLE_VALUE) noexcept
    {
        if (IsOpen()) {
            const CKeepLastError keep;
            // One that fails has ended what stands behind the handle, and frees it the next time.
            if (EndHandle(m_handle) == 0) {
                EndHandle(m_handle);
            }
        }
        m_handle = handle;
    }

    // Ends it and says whether that worked; a handle that could not be ended stays.
    bool Close() noexcept
    {
        if (IsOpen() && EndHandle(m_handle) == 0) {
            return false;
        }
        m_handle = INVALID_HANDLE_VALUE;
        return true;
    }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

using CFileHandle = COwnedHandle<CloseHandle>;
using CFindHandle = COwnedHandle<FindClose>;
