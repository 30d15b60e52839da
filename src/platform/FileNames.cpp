#include "platform/FileNames.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/NewFile.h"
#include "platform/Path.h"
#include "platform/SystemCalls.h"

#include <unistd.h>

inline namespace contactmgr_internal
{

namespace
{

int StatName(const char* path, struct statx* status)
{
    return CSystemCalls::Current().Stat(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                                        status);
}

// Some network and FUSE file systems rename only with replacing, and report success to two callers
// who rename one file at once. There the file's lock decides.
bool MoveUnderLock(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    // Open for writing: NFS gives no exclusive lock otherwise.
    const CDescriptor file(calls.Open(from, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    struct statx opened = {};
    struct statx named = {};
    if (!file.IsOpen() || !LockPatiently(file.Get()) ||
        calls.Stat(file.Get(), "", AT_EMPTY_PATH, &opened) != 0 || StatName(from, &named) != 0) {
        return FailWithErrno(from);
    }
    if (named.stx_ino != opened.stx_ino) {
        return Fail(ERROR_FILE_NOT_FOUND);
    }
    if (StatName(to, &named) == 0) {
        return Fail(ERROR_ALREADY_EXISTS);
    }
    return (errno == ENOENT && calls.Rename(from, to, 0) == 0) || FailWithErrno(from);
}

} // namespace

int MoveFileA(const char* from, const char* to)
{
    if (CSystemCalls::Current().Rename(from, to, RENAME_NOREPLACE) == 0) {
        return 1;
    }
    return errno == EINVAL || errno == ENOSYS ? MoveUnderLock(from, to) : FailWithErrno(from);
}

int ReplaceFileA(const char* from, const char* to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    // A link that another user put there is not followed: CopyOwner would give its target away.
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

int DeleteFileA(const char* path)
{
    return CSystemCalls::Current().Unlink(path) == 0 || FailWithErrno(path);
}

int MakeEmptyFile(const char* path)
{
    CDescriptor file = MakeFile(path);
    return (file.IsOpen() && file.Close()) || FailWithErrno(path);
}

int ShareLikeFolder(const char* path)
{
    CSystemCalls& calls = CSystemCalls::Current();
    const CDescriptor folder = OpenFolder(FolderOf(path).c_str());
    const CDescriptor file(calls.Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    struct statx status = {};
    if (!folder.IsOpen() || !file.IsOpen() ||
        calls.Stat(folder.Get(), "", AT_EMPTY_PATH, &status) != 0) {
        return FailWithErrno(path);
    }
    const mode_t mayEnter = status.stx_mode & 0111;
    const mode_t mayWrite = status.stx_mode & 0222;
    return calls.SetMode(file.Get(), mayEnter << 2 | mayWrite) == 0 || FailWithErrno(path);
}

int CreateDirectoryA(const char* path, const void* /*securityAttributes*/)
{
    return MakeFolder(path) || FailWithErrnoOfFolder();
}

bool MayWriteFolder(const char* path)
{
    return CSystemCalls::Current().Access(path, W_OK | X_OK) == 0 || FailWithErrno(path);
}

} // namespace contactmgr_internal
