#include "platform/NewFile.h"

#include <unistd.h>

namespace
{

// Makers of one folder may take the unfinished one from each other, so often at most.
constexpr int kMakers = 10;

bool IsRoot() noexcept
{
    return ::geteuid() == 0;
}

bool GiveTo(int file, const std::optional<COwner>& owner)
{
    return !owner || CSystemCalls::Current().SetOwner(file, owner->user, owner->group) == 0;
}

// The name comes first where a file cannot be made without one.
int MakeNamed(const std::string& path, const std::optional<COwner>& owner,
              const std::function<bool(int file)>& prepare)
{
    CDescriptor file(CSystemCalls::Current().Open(
        path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    const bool isReady = file.IsOpen() && GiveTo(file.Get(), owner) && prepare(file.Get());
    return isReady ? file.Release() : -1;
}

// A folder with that name was begun by a process that died. It goes, since it may be root's own;
// one with something in it has its owner.
bool BeginFolder(const std::string& path, const std::optional<COwner>& owner)
{
    CSystemCalls& calls = CSystemCalls::Current();
    calls.RemoveFolder(path.c_str());
    if (calls.MakeFolder(path.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        return false;
    }
    // A link is not followed: what it leads to belongs to somebody else.
    const CDescriptor folder(
        calls.Open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    return folder.IsOpen() && GiveTo(folder.Get(), owner);
}

bool IsThere(const std::string& path)
{
    return CSystemCalls::Current().Access(path.c_str(), F_OK) == 0;
}

// Where the file system cannot rename without replacing, an empty folder may be replaced by an
// empty one, which is no loss.
bool GiveName(const std::string& from, const std::string& to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    return calls.Rename(from.c_str(), to.c_str(), RENAME_NOREPLACE) == 0 ||
           (errno == EINVAL && calls.Rename(from.c_str(), to.c_str(), 0) == 0);
}

} // namespace

std::optional<COwner> NewOwner(const struct statx& status) noexcept
{
    const bool isOwn = status.stx_uid == 0 && status.stx_gid == ::getegid();
    return IsRoot() && !isOwn ? std::optional(COwner{status.stx_uid, status.stx_gid})
                              : std::nullopt;
}

bool NewOwnerIn(const std::string& folder, std::optional<COwner>* owner)
{
    struct statx status = {};
    if (IsRoot() && CSystemCalls::Current().Stat(AT_FDCWD, folder.c_str(), 0, &status) != 0) {
        return false;
    }
    *owner = NewOwner(status);
    return true;
}

int MakeFile(const std::string& path, const std::optional<COwner>& owner,
             const std::function<bool(int file)>& prepare)
{
    CSystemCalls& calls = CSystemCalls::Current();
    CDescriptor file(calls.Open(FolderOf(path).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kFileMode));
    if (!file.IsOpen()) {
        const bool isUnable = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
        return isUnable ? MakeNamed(path, owner, prepare) : -1;
    }
    if (!GiveTo(file.Get(), owner) || !prepare(file.Get())) {
        return -1;
    }
    if (calls.LinkOpenFile(file.Get(), path.c_str()) != 0) {
        const bool isUnable = errno == ENOENT || errno == EXDEV || errno == EOPNOTSUPP;
        return isUnable ? MakeNamed(path, owner, prepare) : -1;
    }
    return file.Release();
}

bool MakeFolder(const std::string& path,
                const std::function<bool(const std::string& folder)>& prepare)
{
    CSystemCalls& calls = CSystemCalls::Current();
    std::optional<COwner> owner;
    if (!NewOwnerIn(FolderOf(path), &owner)) {
        return false;
    }
    if (prepare == nullptr && !owner) {
        return calls.MakeFolder(path.c_str(), kFolderMode) == 0;
    }
    const std::string unfinished = path + ".new~";
    int error = EEXIST;
    for (int attempt = 0; attempt < kMakers && !IsThere(path); ++attempt) {
        if (BeginFolder(unfinished, owner) && (prepare == nullptr || prepare(unfinished)) &&
            GiveName(unfinished, path)) {
            return true;
        }
        error = errno;
        calls.RemoveFolder(unfinished.c_str());
        if (error != ENOENT) {
            break;
        }
    }
    errno = IsThere(path) ? EEXIST : error;
    return false;
}

bool CopyOwner(int from, int to)
{
    CSystemCalls& calls = CSystemCalls::Current();
    struct statx status = {};
    struct statx own = {};
    if (calls.Stat(from, "", AT_EMPTY_PATH, &status) != 0 ||
        calls.Stat(to, "", AT_EMPTY_PATH, &own) != 0) {
        return false;
    }
    // Another name of the file may be one that is nobody else's business.
    if (IsRoot() && (!S_ISREG(own.stx_mode) || own.stx_nlink != 1)) {
        errno = EACCES;
        return false;
    }
    // The mode last: a change of the owner may take bits from it.
    return (calls.SetOwner(to, status.stx_uid, status.stx_gid) == 0 || !IsRoot()) &&
           (calls.SetMode(to, status.stx_mode & 07777) == 0 || !IsRoot());
}
