#include "platform/CreationTime.h"
#include "platform/Failure.h"
#include "platform/FileRewrite.h"
#include "platform/FileStamp.h"
#include "platform/NewFile.h"
#include "platform/RedoFile.h"

#include <memory>
#include <optional>
#include <utility>

#include <sys/file.h>

namespace
{

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

bool OpenPath(COpenFile& file, int flags)
{
    file.descriptor =
        CSystemCalls::Current().Open(file.path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kFileMode);
    return file.descriptor >= 0;
}

bool CheckRegularFile(COpenFile& file)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(file.descriptor, "", AT_EMPTY_PATH, &status) != 0) {
        return FailWithErrno();
    }
    if (!S_ISREG(status.stx_mode)) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    file.size = status.stx_size;
    file.inode = status.stx_ino;
    return true;
}

// Nobody sees the name before the lock, where a file can be made without one. Otherwise a walk may
// just look at it and hold it for a moment.
int MakeLocked(const COpenFile& file, const std::optional<COwner>& owner, const FILETIME& creation)
{
    return MakeFile(file.path, owner, [&](int made) {
        // I6. The last write likewise: an empty file that is later than a version would read as
        // deleted behind it.
        return LockPatiently(made) && NoteCreation(made, creation) &&
               SetLastWriteTime(made, creation);
    });
}

// The new name moves the folder's time to the system's clock, which may lag behind versions that
// others have put there. So it is moved once more; that it can be, is found out before.
bool CreateExclusive(COpenFile& file)
{
    std::optional<COwner> owner;
    FILETIME latest;
    if (!MoveFolderToNow(file.folder, &latest)) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) {
            SetLastError(ERROR_PATH_NOT_FOUND);
        }
        return false;
    }
    if (!NewOwnerIn(file.folder, &owner) ||
        (file.descriptor = MakeLocked(file, owner, latest)) < 0) {
        return FailWithErrno(file.path.c_str());
    }
    {
        const CKeepLastError keep;
        MoveFolderToNow(file.folder, &latest);
    }
    return CheckRegularFile(file);
}

bool OpenExclusive(COpenFile& file, std::uint32_t access, std::uint32_t disposition)
{
    // Before the lock: taking over the marks of the first release passes over a locked file. Where
    // it fails, reading the redo file does too.
    EnsureRedoFolder(file.folder);
    // For writing in any case: NFS locks exclusively only what is open for writing.
    if (!OpenPath(file, O_RDWR | O_NOFOLLOW | O_NONBLOCK)) {
        errno = errno == ELOOP ? EACCES : errno;
        return FailWithErrno(file.path.c_str());
    }
    if (CSystemCalls::Current().Lock(file.descriptor, LOCK_EX | LOCK_NB) != 0) {
        return FailWithErrno();
    }
    if (!CheckRegularFile(file)) {
        return false;
    }
    if (disposition == TRUNCATE_EXISTING) {
        return EmptyOpenFile(file);
    }
    return (access & GENERIC_WRITE) == 0 || RepairOpenFile(file);
}

// For its name alone.
int MakePlain(const std::string& path)
{
    std::optional<COwner> owner;
    return NewOwnerIn(FolderOf(path), &owner) ? MakeFile(path, owner, [](int) { return true; })
                                              : -1;
}

bool OpenShared(COpenFile& file, std::uint32_t access, std::uint32_t disposition)
{
    if (disposition == CREATE_NEW) {
        file.descriptor = MakePlain(file.path);
    } else {
        OpenPath(file, AccessFlags(access) | O_NONBLOCK |
                           (disposition == TRUNCATE_EXISTING ? O_TRUNC : 0));
    }
    return file.descriptor >= 0 || FailWithErrno(file.path.c_str());
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
    return CSystemCalls::Current().Stat(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                                        status);
}

// Some network and FUSE file systems rename only with replacing, and tell two callers who rename
// one file at the same moment that both have done it. There the file's own lock keeps them apart.
// NFS locks exclusively only what is open for writing.
bool MoveUnderLock(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor file(calls.Open(from, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    struct statx opened = {};
    struct statx named = {};
    if (!file.IsOpen() || !LockPatiently(file.Get()) ||
        calls.Stat(file.Get(), "", AT_EMPTY_PATH, &opened) != 0 || LookAt(from, &named) != 0) {
        return FailWithErrno(from);
    }
    if (named.stx_ino != opened.stx_ino) {
        return Fail(ERROR_FILE_NOT_FOUND);
    }
    if (LookAt(to, &named) == 0) {
        return Fail(ERROR_ALREADY_EXISTS);
    }
    return (errno == ENOENT && calls.Rename(from, to, 0) == 0) || FailWithErrno(from);
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
{
    const bool isFolder = (flagsAndAttributes & FILE_FLAG_BACKUP_SEMANTICS) != 0;
    if (path == nullptr || !IsKnownDisposition(disposition) ||
        (isFolder && disposition != OPEN_EXISTING)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    auto file = std::make_unique<COpenFile>();
    file->path = path;
    file->folder = FolderOf(path);
    file->isFolder = isFolder;
    file->isExclusive = shareMode == 0 && !isFolder;
    if (!OpenByMode(*file, access, disposition)) {
        const CKeepLastError keep;
        file.reset();
        return INVALID_HANDLE_VALUE;
    }
    return HandleOf(file.release());
}

int CloseHandle(HANDLE handle)
{
    COpenFile* file = FileOf(handle);
    if (file == nullptr) {
        return 0;
    }
    if (file->descriptor >= 0 &&
        CSystemCalls::Current().Close(std::exchange(file->descriptor, -1)) != 0) {
        return FailWithErrno();
    }
    delete file;
    return 1;
}

int MoveFileA(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    if (calls.Rename(from, to, RENAME_NOREPLACE) == 0) {
        return 1;
    }
    return errno == EINVAL || errno == ENOSYS ? MoveUnderLock(from, to) : FailWithErrno(from);
}

int ReplaceFileA(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    // What somebody else has put there in the meantime is not given away.
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const CDescriptor replaced(calls.Open(to, kFlags, 0));
    if (replaced.IsOpen()) {
        const CDescriptor file(calls.Open(from, kFlags, 0));
        if (!file.IsOpen() || !CopyOwner(replaced.Get(), file.Get())) {
            return FailWithErrno(from);
        }
    }
    return calls.Rename(from, to, 0) == 0 || FailWithErrno(from);
}

int MakeEmptyFile(const char* path)
{
    CDescriptor file(MakePlain(path));
    return (file.IsOpen() && file.Close()) || FailWithErrno(path);
}

int DeleteFileA(const char* path)
{
    return CSystemCalls::Current().Unlink(path) == 0 || FailWithErrno(path);
}

int CreateDirectoryA(const char* path, const void* /*securityAttributes*/)
{
    if (MakeFolder(path)) {
        return 1;
    }
    if (errno == ENOENT) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    return FailWithErrno(path);
}
