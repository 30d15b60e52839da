#include "platform/FileRewrite.h"
#include "platform/FileStamp.h"
#include "platform/FileTime.h"
#include "platform/OpenFile.h"

#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include <sys/file.h>

namespace
{

constexpr mode_t kFolderMode = 0770;

constexpr int kLockAttempts = 100;

int AccessFlags(std::uint32_t access)
{
    switch (access & (GENERIC_READ | GENERIC_WRITE)) {
    case GENERIC_READ:
        return O_RDONLY;
    case GENERIC_WRITE:
        return O_WRONLY;
    default:
        return O_RDWR;
    }
}

bool LockNow(int file)
{
    return RetryInterrupted(
               [&] { return CSystemCalls::Current().Lock(file, LOCK_EX | LOCK_NB); }) == 0;
}

// False with errno set: EWOULDBLOCK where somebody else holds the file for long.
bool LockPatiently(int file)
{
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (LockNow(file)) {
            return true;
        }
        if (errno != EWOULDBLOCK) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100 * (attempt + 1)));
    }
    errno = EWOULDBLOCK;
    return false;
}

bool OpenPath(COpenFile& file, int flags)
{
    file.descriptor = RetryInterrupted([&] {
        return CSystemCalls::Current().Open(file.path.c_str(), flags | O_CLOEXEC | O_NOCTTY,
                                            kFileMode);
    });
    return file.descriptor >= 0;
}

// A file without a name is locked first and then gets its name, so nobody sees it unlocked. False
// with errno set; `isSupported` says whether the file system can do this at all.
bool CreateLocked(COpenFile& file, bool* isSupported)
{
    CSystemCalls& calls = CSystemCalls::Current();
    CDescriptor unnamed(RetryInterrupted([&] {
        return calls.Open(file.folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kFileMode);
    }));
    if (!unnamed.IsOpen()) {
        *isSupported = errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL;
        return false;
    }
    if (!LockNow(unnamed.Get())) {
        return false;
    }
    if (RetryInterrupted([&] { return calls.LinkOpenFile(unnamed.Get(), file.path.c_str()); }) !=
        0) {
        *isSupported = errno != ENOENT && errno != EXDEV && errno != EOPNOTSUPP;
        return false;
    }
    file.descriptor = unnamed.Release();
    return true;
}

// The name appears before the lock: a walk may just look at the file and hold it for a moment.
bool CreateThenLock(COpenFile& file)
{
    if (!OpenPath(file, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW)) {
        return false;
    }
    return LockPatiently(file.descriptor);
}

bool CheckRegularFile(COpenFile& file)
{
    struct statx status = {};
    if (RetryInterrupted([&] {
            return CSystemCalls::Current().Stat(file.descriptor, "", AT_EMPTY_PATH, &status);
        }) != 0) {
        return FailWithErrno();
    }
    if (!S_ISREG(status.stx_mode)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    file.size = status.stx_size;
    file.inode = status.stx_ino;
    file.isCreationOpen = status.stx_size == 0;
    return true;
}

// The new name moves the folder's time to the kernel's clock, which may lag behind stamps that
// others have put there. So it is moved once more; that it can be, is found out before.
bool CreateExclusive(COpenFile& file)
{
    bool isSupported = true;
    if (!MoveFolderTimeToNow(file.folder.c_str())) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return false;
    }
    if (!CreateLocked(file, &isSupported) && (isSupported || !CreateThenLock(file))) {
        return FailWithErrno(file.path.c_str());
    }
    {
        const CKeepLastError keep;
        DropRedo(file); // of somebody who had the name before; moves the folder's time
    }
    return CheckRegularFile(file);
}

bool OpenExclusive(COpenFile& file, std::uint32_t access, std::uint32_t disposition)
{
    if (!OpenPath(file, AccessFlags(access) | O_NOFOLLOW | O_NONBLOCK)) {
        errno = errno == ELOOP ? EACCES : errno;
        return FailWithErrno(file.path.c_str());
    }
    if (!LockNow(file.descriptor)) {
        return FailWithErrno();
    }
    if (!CheckRegularFile(file)) {
        return false;
    }
    {
        const CKeepLastError keep;
        ReadNote(file.descriptor, &file.note); // whoever changes the file tries again
    }
    if (disposition == TRUNCATE_EXISTING) {
        return EmptyOpenFile(file);
    }
    return (access & GENERIC_WRITE) == 0 || RepairOpenFile(file);
}

bool OpenShared(COpenFile& file, std::uint32_t access, std::uint32_t disposition)
{
    int flags = AccessFlags(access) | O_NONBLOCK;
    if (disposition == CREATE_NEW) {
        flags |= O_CREAT | O_EXCL;
    } else if (disposition == TRUNCATE_EXISTING) {
        flags |= O_TRUNC;
    }
    return OpenPath(file, flags) || FailWithErrno(file.path.c_str());
}

bool OpenByMode(COpenFile& file, std::uint32_t access, std::uint32_t disposition)
{
    if (file.isFolder) {
        return OpenPath(file, O_RDONLY | O_DIRECTORY) || FailWithErrno(file.path.c_str());
    }
    if (!file.isExclusive) {
        return OpenShared(file, access, disposition);
    }
    return disposition == CREATE_NEW ? CreateExclusive(file)
                                     : OpenExclusive(file, access, disposition);
}

int LookAt(const char* path, struct statx* status)
{
    return RetryInterrupted([&] {
        return CSystemCalls::Current().Stat(AT_FDCWD, path,
                                            AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC, status);
    });
}

// Some network and FUSE file systems rename only with replacing, and tell two callers who rename
// one file at the same moment that both have done it. There the file's own lock keeps them apart.
// NFS locks exclusively only what is open for writing.
bool MoveUnderLock(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor file(RetryInterrupted(
        [&] { return calls.Open(from, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0); }));
    struct statx opened = {};
    struct statx named = {};
    if (!file.IsOpen() || !LockPatiently(file.Get()) ||
        RetryInterrupted([&] { return calls.Stat(file.Get(), "", AT_EMPTY_PATH, &opened); }) != 0 ||
        LookAt(from, &named) != 0) {
        return FailWithErrno(from);
    }
    if (named.stx_ino != opened.stx_ino) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    if (LookAt(to, &named) == 0) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return false;
    }
    return errno == ENOENT ? ReplaceFileA(from, to) != 0 : FailWithErrno(to);
}

bool IsKnownDisposition(std::uint32_t disposition)
{
    return disposition == CREATE_NEW || disposition == OPEN_EXISTING ||
           disposition == TRUNCATE_EXISTING;
}

} // namespace

HANDLE CreateFileA(const char* path, std::uint32_t access, std::uint32_t shareMode,
                   const void* /*securityAttributes*/, std::uint32_t disposition,
                   std::uint32_t flagsAndAttributes, HANDLE /*templateFile*/)
try {
    const bool isFolder = (flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) != 0;
    if (path == nullptr || !IsKnownDisposition(disposition) ||
        (isFolder && disposition != OPEN_EXISTING)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    auto file = std::make_unique<COpenFile>();
    file->path = path;
    file->folder = FolderOf(path);
    file->redoPath = file->path + kRedoSuffix;
    file->isFolder = isFolder;
    file->isExclusive = shareMode == 0 && !isFolder;
    if (!OpenByMode(*file, access, disposition)) {
        const CKeepLastError keep;
        file.reset();
        return INVALID_HANDLE_VALUE;
    }
    return HandleOf(file.release());
} catch (const std::bad_alloc&) {
    FailForMemory();
    return INVALID_HANDLE_VALUE;
}

int CloseHandle(HANDLE handle)
{
    COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    if (file->descriptor >= 0 && CloseDescriptor(std::exchange(file->descriptor, -1)) != 0) {
        return FailWithErrno();
    }
    delete file;
    return 1;
}

int MoveFileA(const char* from, const char* to)
try {
    CSystemCalls& calls = CSystemCalls::Current();
    if (RetryInterrupted([&] { return calls.Rename(from, to, RENAME_NOREPLACE); }) == 0) {
        return 1;
    }
    return errno == EINVAL || errno == ENOSYS ? MoveUnderLock(from, to) : FailWithErrno(from);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int ReplaceFileA(const char* from, const char* to)
try {
    return RetryInterrupted([&] { return CSystemCalls::Current().Rename(from, to, 0); }) == 0 ||
           FailWithErrno(from);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int MakeEmptyFile(const char* path)
try {
    CDescriptor file(RetryInterrupted([&] {
        return CSystemCalls::Current().Open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                            kFileMode);
    }));
    return (file.IsOpen() && file.Close()) || FailWithErrno(path);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int DeleteFileA(const char* path)
try {
    return RetryInterrupted([&] { return CSystemCalls::Current().Unlink(path); }) == 0 ||
           FailWithErrno(path);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}

int CreateDirectoryA(const char* path, const void* /*securityAttributes*/)
try {
    if (RetryInterrupted([&] { return CSystemCalls::Current().MakeFolder(path, kFolderMode); }) ==
        0) {
        return 1;
    }
    if (errno == ENOENT) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    return FailWithErrno(path);
} catch (const std::bad_alloc&) {
    return FailForMemory();
}
