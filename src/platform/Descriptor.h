#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

inline namespace contactmgr_internal
{

// Owns a descriptor of an open file or folder; -1 stands for none. Its destruction keeps the last
// error and errno. A resource; movable.
class CDescriptor
{
public:
    CDescriptor() = default;
    explicit CDescriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    CDescriptor(CDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1))
    {}
    CDescriptor& operator=(CDescriptor&& other) noexcept
    {
        CDescriptor moved(std::move(other));
        std::swap(m_descriptor, moved.m_descriptor);
        return *this;
    }
    ~CDescriptor();

    bool IsOpen() const noexcept { return m_descriptor >= 0; }
    int Get() const noexcept { return m_descriptor; }
    // False with errno set. The descriptor is closed in any case.
    bool Close() noexcept;

private:
    int m_descriptor = -1;
};

// Opens a folder for reading. None with errno set.
CDescriptor OpenFolder(const char* path) noexcept;

// Locks an open file exclusively; tries for about a second. False with errno set, EWOULDBLOCK where
// another owner kept the lock.
bool LockPatiently(int file);

// Move all bytes, or give false with errno set. ReadAll fails with EIO where the file ends earlier.
bool WriteAll(int file, std::string_view bytes, std::uint64_t position);
bool ReadAll(int file, char* buffer, std::size_t size, std::uint64_t position);

} // namespace contactmgr_internal
