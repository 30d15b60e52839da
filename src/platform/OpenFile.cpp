#include "platform/OpenFile.h"

#include <utility>

COpenFile::~COpenFile()
{
    if (descriptor >= 0) {
        CloseDescriptor(descriptor);
    }
}

COpenFile* FileOf(HANDLE handle) noexcept
{
    if (handle == INVALID_HANDLE_VALUE || handle == HANDLE{0}) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
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
        CloseDescriptor(m_descriptor);
        errno = error;
    }
}

int CDescriptor::Release() noexcept
{
    return std::exchange(m_descriptor, -1);
}

bool CDescriptor::Close() noexcept
{
    return CloseDescriptor(Release()) == 0;
}

int OpenFolder(const char* path) noexcept
{
    return RetryInterrupted(
        [&] { return CSystemCalls::Current().Open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0); });
}

int CloseDescriptor(int descriptor) noexcept
{
    const int result = CSystemCalls::Current().Close(descriptor);
    return result == -1 && errno == EINTR ? 0 : result;
}

std::string FolderOf(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) {
        return ".";
    }
    return std::string(path.substr(0, slash == 0 ? 1 : slash));
}

bool FailWithErrno() noexcept
{
    SetLastError(ErrorFromErrno(errno));
    return false;
}

bool FailWithErrno(const char* path)
{
    const int error = errno;
    SetLastError(ErrorFromErrno(error));
    if (error == ENOENT) {
        struct statx status = {};
        const std::string folder = FolderOf(path);
        const int found = RetryInterrupted(
            [&] { return CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), 0, &status); });
        if (found != 0) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
    }
    return false;
}

bool WriteAll(int file, std::string_view bytes, std::uint64_t position)
{
    while (!bytes.empty()) {
        const ssize_t written = RetryInterrupted([&] {
            return CSystemCalls::Current().WriteAt(file, bytes.data(), bytes.size(),
                                                   static_cast<off_t>(position));
        });
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
        const ssize_t count = RetryInterrupted([&] {
            return CSystemCalls::Current().ReadAt(file, buffer, size, static_cast<off_t>(position));
        });
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
    CSystemCalls& calls = CSystemCalls::Current();
    CDescriptor descriptor(OpenFolder(folder));
    if (!descriptor.IsOpen()) {
        return false;
    }
    return RetryInterrupted([&] { return calls.Sync(descriptor.Get()); }) == 0;
}
