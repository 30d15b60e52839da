#include "platform/OpenFile.h"

#include "platform/ChangeProtocol.h"
#include "platform/Failure.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <sys/file.h>

COpenFile::~COpenFile()
{
    if (descriptor >= 0) {
        CSystemCalls::Current().Close(descriptor);
    }
}

COpenFile* FileOf(HANDLE handle) noexcept
{
    if (handle == INVALID_HANDLE_VALUE || handle == HANDLE{0}) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    return reinterpret_cast<COpenFile*>(static_cast<std::intptr_t>(handle));
}

HANDLE HandleOf(COpenFile* file) noexcept
{
    return HANDLE{reinterpret_cast<std::intptr_t>(file)};
}

CDescriptor::~CDescriptor()
{
    if (IsOpen()) {
        const CKeepLastError keep;
        const int error = errno;
        CSystemCalls::Current().Close(m_descriptor);
        errno = error;
    }
}

int CDescriptor::Release() noexcept
{
    return std::exchange(m_descriptor, -1);
}

bool CDescriptor::Close() noexcept
{
    return CSystemCalls::Current().Close(Release()) == 0;
}

int OpenFolder(const char* path) noexcept
{
    return CSystemCalls::Current().Open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
}

std::string FolderOf(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ".";
    }
    return std::string(path.substr(0, slash == 0 ? 1 : slash));
}

std::string_view NameOf(std::string_view path) noexcept
{
    return path.substr(path.rfind('/') + 1);
}

bool LockPatiently(int file)
{
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

bool FailWithErrno() noexcept
{
    return Fail(ErrorFromErrno(errno));
}

bool FailWithErrno(const char* path)
{
    const int error = errno;
    SetLastError(ErrorFromErrno(error));
    if (error == ENOENT) {
        struct statx status = {};
        const std::string folder = FolderOf(path);
        const int found = CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), 0, &status);
        if (found != 0) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
    }
    return false;
}

bool WriteAll(int file, std::string_view bytes, std::uint64_t position)
{
    while (!bytes.empty()) {
        const ssize_t written = CSystemCalls::Current().WriteAt(file, bytes.data(), bytes.size(),
                                                                static_cast<off_t>(position));
        if (written <= 0) {
            errno = written == 0 ? EIO : errno;
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

bool SyncFolder(const char* folder)
{
    const CDescriptor descriptor(OpenFolder(folder));
    return descriptor.IsOpen() && CSystemCalls::Current().Sync(descriptor.Get()) == 0;
}

FILETIME FileTimeOf(const struct statx_timestamp& time)
{
    return FileTimeFromUnix(time.tv_sec, time.tv_nsec);
}

FILETIME BirthTimeOf(const struct statx& status)
{
    return (status.stx_mask & STATX_BTIME) != 0 ? FileTimeOf(status.stx_btime) : FILETIME{};
}
