#include "platform/Errno.h"

#include "platform/Failure.h"
#include "platform/Path.h"
#include "platform/SystemCalls.h"

inline namespace contactmgr_internal
{

namespace
{

struct ErrnoRow
{
    int error;
    std::uint32_t code;
};

constexpr ErrnoRow kErrnoTable[] = {
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EROFS, ERROR_ACCESS_DENIED},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {EWOULDBLOCK, ERROR_SHARING_VIOLATION}, // another owner holds the lock
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {EOVERFLOW, ERROR_FILE_TOO_LARGE},
    {EINTR, ERROR_OPERATION_ABORTED},
    {ESTALE, ERROR_FILE_INVALID}, // a network file system replaced the file
    {EIO, ERROR_IO_DEVICE},
    {EDQUOT, ERROR_DISK_QUOTA_EXCEEDED},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
};

} // namespace

std::uint32_t ErrorFromErrno(int error) noexcept
{
    for (const ErrnoRow& row : kErrnoTable) {
        if (row.error == error) {
            return row.code;
        }
    }
    return ERROR_GEN_FAILURE;
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
        if (CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), 0, &status) != 0) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
    }
    return false;
}

bool FailWithErrnoOfFolder() noexcept
{
    return Fail(errno == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(errno));
}

} // namespace contactmgr_internal
