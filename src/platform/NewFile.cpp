#include "platform/NewFile.h"

#include "platform/Path.h"
#include "platform/SystemCalls.h"

#include <unistd.h>

inline namespace contactmgr_internal
{

namespace
{

// Two makers of one folder may remove each other's unfinished folder, so each tries again.
constexpr int kMakeAttempts = 10;

bool IsRoot() noexcept
{
    return ::geteuid() == 0;
}

bool GiveTo(int file, const std::optional<COwner>& owner)
{
    return !owner || CSystemCalls::Current().SetOwner(file, owner->user, owner->group) == 0;
}

// For a file system that cannot make a file without a name.
CDescriptor MakeNamed(const std::string& path, const std::optional<COwner>& owner,
                      const std::function<bool(int file)>& prepare)
{
    CDescriptor file(CSystemCalls::Current().Open(
        path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    const bool isReady = file.IsOpen() && GiveTo(file.Get(), owner) && prepare(file.Get());
    return isReady ? std::move(file) : CDescriptor();
}

// A folder with that name comes from a process that died. It is removed, since its owner may be
// root. One that is not empty has its right owner.
bool BeginFolder(const std::string& path, const std::optional<COwner>& owner)
{
    CSystemCalls& calls = CSystemCalls::Current();
    calls.RemoveFolder(path.c_str());
    if (calls.MakeFolder(path.c_str(), kFolderMode) != 0 && errno != EEXIST) {
        return false;
    }
    // A link is not followed: its target may be another user's.
    const CDescriptor folder(
        calls.Open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC, 0));
    return folder.IsOpen() && GiveTo(folder.Get(), owner);
}

bool Exists(const std::string& path)
{
    return CSystemCalls::Current().Access(path.c_str(), F_OK) == 0;
}

// A file system that only renames with replacing replaces an empty folder at most.
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

CDescriptor MakeFile(const std::string& path, const std::optional<COwner>& owner,
                     const std::function<bool(int file)>& prepare)
{
    CSystemCalls& calls = CSystemCalls::Current();
    CDescriptor file(calls.Open(FolderOf(path).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kFileMode));
    if (!file.IsOpen()) {
        // Three ways in which file systems and kernels refuse O_TMPFILE.
        const bool isUnable = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
        return isUnable ? MakeNamed(path, owner, prepare) : CDescriptor();
    }
    if (!GiveTo(file.Get(), owner) || !prepare(file.Get())) {
        return {};
    }
    if (calls.Link(file.Get(), path.c_str()) != 0) {
        // Without /proc, or on a file system that cannot link a file without a name.
        const bool isUnable = errno == ENOENT || errno == EXDEV || errno == EOPNOTSUPP;
        return isUnable ? MakeNamed(path, owner, prepare) : CDescriptor();
    }
    return file;
}

CDescriptor MakeFile(const std::string& path)
{
    std::optional<COwner> owner;
    return NewOwnerIn(FolderOf(path), &owner) ? MakeFile(path, owner, [](int) { return true; })
                                              : CDescriptor();
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
    // Others see the folder only with its owner set and its content in place.
    const std::string unfinished = path + ".new~";
    int error = EEXIST;
    for (int attempt = 0; attempt < kMakeAttempts && !Exists(path); ++attempt) {
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
    errno = Exists(path) ? EEXIST : error;
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
    // A user may have given a file of another user a second name here.
    if (IsRoot() && (!S_ISREG(own.stx_mode) || own.stx_nlink != 1)) {
        errno = EACCES;
        return false;
    }
    // The mode last: a change of the owner clears some of its bits.
    return (calls.SetOwner(to, status.stx_uid, status.stx_gid) == 0 || !IsRoot()) &&
           (calls.SetMode(to, status.stx_mode & 07777) == 0 || !IsRoot());
}

} // namespace contactmgr_internal
