#include "platform/FileAttributes.h"

#include "platform/CreationTime.h"
#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "platform/OpenFile.h"
#include "platform/SystemCalls.h"

#include <algorithm>
#include <iterator>

#include <linux/magic.h>

inline namespace contactmgr_internal
{

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

bool IsFolder(const std::string& path)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, path.c_str(), AT_STATX_FORCE_SYNC, &status) != 0) {
        return FailWithErrnoOfFolder();
    }
    return S_ISDIR(status.stx_mode) || Fail(ERROR_PATH_NOT_FOUND);
}

int GetFileTime(HANDLE handle, FILETIME* creation, FILETIME* lastAccess, FILETIME* lastWrite)
{
    const COpenFile* file = COpenFile::FromHandle(handle);
    struct statx status = {};
    if (file == nullptr || !file->Stat(&status)) {
        return 0;
    }
    if (creation != nullptr) {
        *creation = CreationTime(file->Descriptor(), status);
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
    const COpenFile* file = COpenFile::FromHandle(handle);
    if (file == nullptr) {
        return 0;
    }
    if (creation != nullptr || lastAccess != nullptr || lastWrite == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (file->IsFolder()) {
        struct statx status = {};
        if (!file->Stat(&status)) {
            return 0;
        }
        if (FileTimeOf(status.stx_mtime) >= *lastWrite) {
            return 1;
        }
    }
    return SetLastWriteTime(file->Descriptor(), *lastWrite) || FailWithErrno();
}

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data)
{
    data->dwFileAttributes =
        S_ISDIR(status.stx_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    data->ftCreationTime = BirthTimeOf(status);
    data->ftLastAccessTime = FileTimeOf(status.stx_atime);
    data->ftLastWriteTime = FileTimeOf(status.stx_mtime);
    data->ftChangeTime = FileTimeOf(status.stx_ctime);
    data->nFileSizeLow = static_cast<std::uint32_t>(status.stx_size);
    data->nFileSizeHigh = static_cast<std::uint32_t>(status.stx_size >> 32);
}

bool HasTimesOfThisMachine(const char* path)
{
    constexpr unsigned kZfsMagic = 0x2FC12FC1;
    constexpr unsigned kLocalTypes[] = {
        EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, F2FS_SUPER_MAGIC,
        kZfsMagic,        TMPFS_MAGIC,     RAMFS_MAGIC,       OVERLAYFS_SUPER_MAGIC};
    struct statfs status = {};
    return CSystemCalls::Current().StatFileSystem(path, &status) == 0 &&
           std::ranges::find(kLocalTypes, static_cast<unsigned>(status.f_type)) !=
               std::end(kLocalTypes);
}

} // namespace contactmgr_internal
