#include "platform/Descriptor.h"

#include "platform/ChangeProtocol.h"
#include "platform/LastError.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <sys/file.h>

inline namespace contactmgr_internal
{

CDescriptor::~CDescriptor()
{
    if (IsOpen()) {
        const CKeepLastError keep;
        const int error = errno;
        CSystemCalls::Current().Close(m_descriptor);
        errno = error;
    }
}

bool CDescriptor::Close() noexcept
{
    // Linux frees the descriptor also when close fails.
    return CSystemCalls::Current().Close(std::exchange(m_descriptor, -1)) == 0;
}

CDescriptor OpenFolder(const char* path) noexcept
{
    return CDescriptor(CSystemCalls::Current().Open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

bool LockPatiently(int file)
{
    // Most owners keep the lock for microseconds only.
    constexpr int kAttemptsWithoutSleep = 20;
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (CSystemCalls::Current().Lock(file, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        if (errno != EWOULDBLOCK) {
            return false;
        }
        if (attempt < kAttemptsWithoutSleep) {
            std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(std::min(20 * attempt, 2000)));
        }
    }
    errno = EWOULDBLOCK;
    return false;
}

bool WriteAll(int file, std::string_view bytes, std::uint64_t position)
{
    while (!bytes.empty()) {
        const ssize_t written = CSystemCalls::Current().WriteAt(file, bytes.data(), bytes.size(),
                                                                static_cast<off_t>(position));
        if (written <= 0) {
            errno = written == 0 ? EIO : errno; // writing nothing would go on for ever
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
        position += static_cast<std::uint64_t>(written);
    }
    return true;
}

bool ReadAll(int file, char* buffer, std::size_t size, std::uint64_t position)
{
    while (size > 0) {
        const ssize_t count =
            CSystemCalls::Current().ReadAt(file, buffer, size, static_cast<off_t>(position));
        if (count <= 0) {
            errno = count == 0 ? EIO : errno;
            return false;
        }
        buffer += count;
        size -= static_cast<std::size_t>(count);
        position += static_cast<std::uint64_t>(count);
    }
    return true;
}

} // namespace contactmgr_internal
