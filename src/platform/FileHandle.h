#pragma once

#include "platform/FileOpen.h"
#include "platform/FileSearch.h"
#include "platform/LastError.h"

#include <utility>

inline namespace contactmgr_internal
{

// Owns the handle of an open file, folder or search. Its destruction closes the handle with the
// given operation and leaves the last error as it was. A resource; movable.
template <int (*CloseOwned)(HANDLE)>
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
            // A failed close has still closed the file. The second one frees the handle.
            if (CloseOwned(m_handle) == 0) {
                CloseOwned(m_handle);
            }
        }
        m_handle = handle;
    }

    // False with the last error set, and the handle kept for another close.
    bool Close() noexcept
    {
        if (IsOpen() && CloseOwned(m_handle) == 0) {
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

} // namespace contactmgr_internal
