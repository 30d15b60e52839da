#include "platform/FileApi.h"

#include "platform/CreationTime.h"
#include "platform/Failure.h"
#include "platform/FileRewrite.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "platform/NewFile.h"
#include "platform/RedoFile.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include <unistd.h>

namespace
{

std::atomic<bool> g_isFlushing{false};

constexpr std::uint32_t kNanosecondsOfProbe = 123'456'700;

bool StatOpenFile(const COpenFile& file, struct statx* status)
{
    return CSystemCalls::Current().Stat(file.descriptor, "", AT_EMPTY_PATH, status) == 0 ||
           FailWithErrno();
}

void StoreHalves(std::uint64_t size, std::uint32_t* low, std::uint32_t* high)
{
    *low = static_cast<std::uint32_t>(size);
    *high = static_cast<std::uint32_t>(size >> 32);
}

} // namespace

bool IsFlushing() noexcept
{
    return g_isFlushing.load(std::memory_order_relaxed);
}

void SetFlushing(bool on) noexcept
{
    g_isFlushing.store(on, std::memory_order_relaxed);
}

int FlushFileSystem(const char* path)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor file(calls.Open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    if (!file.IsOpen()) {
        return FailWithErrno(path);
    }
    return calls.SyncFileSystem(file.Get()) == 0 || FailWithErrno();
}

bool KeepsFineFileTimes(const char* folder)
{
    const CKeepLastError keep;
    CSystemCalls& calls = CSystemCalls::Current();
    const FILETIME fraction = FileTimeFromUnix(0, kNanosecondsOfProbe);
    const std::string probe = std::string(folder) + "/.times~";
    bool isFine = true;
    MakeFile(probe, std::nullopt, [&](int made) {
        struct statx status = {};
        isFine = !SetLastWriteTime(made, fraction) ||
                 calls.Stat(made, "", AT_EMPTY_PATH, &status) != 0 ||
                 FileTimeOf(status.stx_mtime) == fraction;
        return false; // no name for it
    });
    calls.Unlink(probe.c_str()); // where it had to have one
    return isFine;
}

bool MayWriteFolder(const char* path)
{
    return CSystemCalls::Current().Access(path, W_OK | X_OK) == 0 || FailWithErrno(path);
}

int ReadFile(HANDLE handle, void* buffer, std::uint32_t size, std::uint32_t* count,
             void* /*overlapped*/)
{
    COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    std::uint32_t total = 0;
    while (total < size) {
        const ssize_t moved =
            CSystemCalls::Current().ReadAt(file->descriptor, static_cast<char*>(buffer) + total,
                                           size - total, static_cast<off_t>(file->position));
        if (moved < 0) {
            return FailWithErrno();
        }
        if (moved == 0) {
            break;
        }
        total += static_cast<std::uint32_t>(moved);
        file->position += static_cast<std::uint64_t>(moved);
        // A file held exclusively has the length that its open found; what is behind it needs no
        // further call.
        if (file->isExclusive && file->position >= file->size) {
            break;
        }
    }
    *count = total;
    return 1;
}

int WriteFile(HANDLE handle, const void* buffer, std::uint32_t size, std::uint32_t* count,
              void* /*overlapped*/)
{
    COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    if (!WriteAll(file->descriptor, {static_cast<const char*>(buffer), size}, file->position)) {
        return FailWithErrno();
    }
    file->position += size;
    file->size = std::max(file->size, file->position);
    *count = size;
    return 1;
}

std::uint32_t SetFilePointer(HANDLE handle, std::int32_t distance, std::int32_t* distanceHigh,
                             std::uint32_t method)
{
    COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return INVALID_SET_FILE_POINTER;
    }
    std::uint64_t origin = 0;
    if (method == FILE_CURRENT) {
        origin = file->position;
    } else if (method == FILE_END) {
        struct statx status = {};
        if (!StatOpenFile(*file, &status)) {
            return INVALID_SET_FILE_POINTER;
        }
        origin = status.stx_size;
    }
    std::int64_t offset = distance;
    if (distanceHigh != nullptr) {
        const auto low = static_cast<std::uint32_t>(distance);
        const auto high = std::uint64_t{static_cast<std::uint32_t>(*distanceHigh)} << 32;
        offset = static_cast<std::int64_t>(high | low);
    }
    const std::uint64_t target = origin + static_cast<std::uint64_t>(offset);
    if (method > FILE_END || target > std::numeric_limits<std::int64_t>::max()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    file->position = target;
    if (distanceHigh != nullptr) {
        *distanceHigh = static_cast<std::int32_t>(target >> 32);
    }
    return static_cast<std::uint32_t>(target);
}

std::uint32_t GetFileSize(HANDLE handle, std::uint32_t* sizeHigh)
{
    const COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return INVALID_FILE_SIZE;
    }
    std::uint64_t size = file->size;
    if (!file->isExclusive) {
        struct statx status = {};
        if (!StatOpenFile(*file, &status)) {
            return INVALID_FILE_SIZE;
        }
        size = status.stx_size;
    }
    if (sizeHigh != nullptr) {
        *sizeHigh = static_cast<std::uint32_t>(size >> 32);
    }
    return static_cast<std::uint32_t>(size);
}

namespace
{

// Null, with the last error set, for what is not held exclusively.
COpenFile* HeldFileOf(HANDLE handle)
{
    COpenFile* file = FileOf(handle);
    if (file != nullptr && !file->isExclusive) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    return file;
}

} // namespace

int RewriteFile(HANDLE handle, std::string_view content)
{
    COpenFile* file = HeldFileOf(handle);
    return file != nullptr &&
           (content.empty() ? EmptyOpenFile(*file) : RewriteOpenFile(*file, content));
}

int RestampFile(HANDLE handle)
{
    COpenFile* file = HeldFileOf(handle);
    return file != nullptr && RestampOpenFile(*file);
}

int TakeOldRedoFiles(const char* folder)
{
    return TakeOldRedoFiles(std::string(folder));
}

int MoveFolderTime(const char* folder, const FILETIME& time, FILETIME* latest)
{
    return MoveFolder(folder, time, latest);
}

int GetFileTime(HANDLE handle, FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite)
{
    const COpenFile* file = FileOf(handle);
    struct statx status = {};
    if (file == nullptr || !StatOpenFile(*file, &status)) {
        return 0;
    }
    if (creation != nullptr) {
        *creation = CreationTime(file->descriptor, status);
    }
    if (lastAccess != nullptr) {
        *lastAccess = FileTimeOf(status.stx_atime);
    }
    if (lastWrite != nullptr) {
        *lastWrite = FileTimeOf(status.stx_mtime);
    }
    return 1;
}

int SetFileTime(HANDLE handle, const FILETIME* creation, const FILETIME* lastAccess,
                const FILETIME* lastWrite)
{
    const COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    if (creation != nullptr || lastAccess != nullptr || lastWrite == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (file->isFolder) {
        struct statx status = {};
        if (!StatOpenFile(*file, &status)) {
            return 0;
        }
        if (FileTimeOf(status.stx_mtime) >= *lastWrite) {
            return 1;
        }
    }
    return SetLastWriteTime(file->descriptor, *lastWrite) || FailWithErrno();
}

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data)
{
    data->dwFileAttributes =
        S_ISDIR(status.stx_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    data->ftCreationTime = BirthTimeOf(status);
    data->ftLastAccessTime = FileTimeOf(status.stx_atime);
    data->ftLastWriteTime = FileTimeOf(status.stx_mtime);
    StoreHalves(status.stx_size, &data->nFileSizeLow, &data->nFileSizeHigh);
}

int GetFileAttributesExA(const char* path, GET_FILEEX_INFO_LEVELS level, void* data)
{
    if (path == nullptr || level != GetFileExInfoStandard || data == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, path, AT_STATX_FORCE_SYNC, &status) != 0) {
        return FailWithErrno(path);
    }
    FillAttributes(status, static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data));
    return 1;
}
