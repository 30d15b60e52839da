#include "platform/Links.h"

#include "platform/Errno.h"
#include "platform/Failure.h"
#include "platform/FileAttributes.h"
#include "platform/FileHandle.h"
#include "platform/SystemCalls.h"

#include <sys/stat.h>

inline namespace contactmgr_internal
{

bool IsLink(const char* path)
{
    const CKeepLastError keep;
    struct statx status = {};
    return CSystemCalls::Current().Stat(AT_FDCWD, path, AT_SYMLINK_NOFOLLOW, &status) == 0 &&
           S_ISLNK(status.stx_mode);
}

bool LeadsToFolder(const std::string& path, bool* isLink)
{
    struct statx status = {};
    if (CSystemCalls::Current().Stat(AT_FDCWD, path.c_str(),
                                     AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC, &status) != 0) {
        return FailWithErrnoOfFolder();
    }
    *isLink = S_ISLNK(status.stx_mode);
    return *isLink ? IsFolder(path) : S_ISDIR(status.stx_mode) || Fail(ERROR_PATH_NOT_FOUND);
}

bool ResolveLinks(const char* path, std::string* resolved)
{
    return CSystemCalls::Current().ResolvePath(path, resolved) == 0 || FailWithErrno(path);
}

} // namespace contactmgr_internal
